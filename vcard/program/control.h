// The control channel of a running service: one request and one answer per connection. On Linux a
// socket in the runtime directory, on Windows a named pipe that only the same user can open.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarn::vcard {

// A request is a command with its arguments.
using ControlRequest = std::vector<std::string>;

struct ControlAnswer {
    bool ok = false;
    std::string text; // result or error, for the user
};

class ControlServer {
  public:
    // Answers requests on a thread of its own. An exception of the handler becomes an error.
    // `after_answer` is called for each request once its answer is on its way.
    ControlServer(const std::string &directory,
                  std::function<ControlAnswer(const ControlRequest &)> handler,
                  std::function<void(const ControlRequest &)> after_answer);
    ~ControlServer();
    ControlServer(const ControlServer &) = delete;
    ControlServer &operator=(const ControlServer &) = delete;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

// Asks the service of a directory. Throws std::runtime_error when there is none or it is silent.
ControlAnswer ask_service(const std::string &directory, const ControlRequest &request);

} // namespace tarn::vcard
