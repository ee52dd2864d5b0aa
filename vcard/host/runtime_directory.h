// The directory of a service: its pid file and its log and, on Linux, the sockets of the cards.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace tarn::vcard {

// The caller's own directory. On Linux the library looks for the caller's cards there. Throws when
// there is none.
std::string user_runtime_directory();

// Makes the directory when it is missing. Throws std::runtime_error when it cannot be used; on
// Linux also when it belongs to somebody else or is open to others (`closed`: to their eyes as
// well).
void make_runtime_directory(const std::string &directory, bool closed);

// Process that serves the cards of a directory; none when nobody does, whatever an earlier server
// left there.
std::optional<int64_t> runtime_owner(const std::string &directory);

// Makes the calling process the one that serves a directory. The mark is gone with the process, in
// whatever way it ends.
class RuntimeOwnership {
  public:
    // Throws std::runtime_error when there is such a process already.
    explicit RuntimeOwnership(const std::string &directory);
    ~RuntimeOwnership();
    RuntimeOwnership(const RuntimeOwnership &) = delete;
    RuntimeOwnership &operator=(const RuntimeOwnership &) = delete;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tarn::vcard
