// The control socket of a running service: one request and one answer per connection.
#pragma once

#include <functional>
#include <string>
#include <thread>
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
    void run() const;
    void serve(int client) const;

    std::string path_;
    std::function<ControlAnswer(const ControlRequest &)> handler_;
    std::function<void(const ControlRequest &)> after_answer_;
    int listener_ = -1;
    int stop_ = -1;
    std::thread thread_;
};

// Asks the service of a directory. Throws std::runtime_error when there is none or it is silent.
ControlAnswer ask_service(const std::string &directory, const ControlRequest &request);

} // namespace tarn::vcard
