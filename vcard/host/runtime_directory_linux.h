// The directory in which the sockets of the cards lie, and who serves them.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

namespace tarn::vcard {

// Where the library looks for the caller's own cards. Throws when the name is too long.
std::string user_runtime_directory();

// Makes the directory when it is missing. Throws std::runtime_error when it belongs to somebody
// else or is open to others (`closed`: to their eyes as well).
void make_runtime_directory(const std::string &directory, bool closed);

// Process that serves the cards of a directory; none when nobody does, whatever an earlier server
// left there.
std::optional<pid_t> runtime_owner(const std::string &directory);

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
    std::string path_;
    int fd_ = -1;
};

} // namespace tarn::vcard
