// Files of this computer that a command reads or writes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tarn {

// All of these throw Failure.

std::vector<uint8_t> read_file(const std::string &path);
void write_file(const std::string &path, const std::vector<uint8_t> &data);

// All that comes from standard input.
std::vector<uint8_t> read_standard_input();
// A file, or standard input when the path is "-".
std::vector<uint8_t> read_file_or_input(const std::string &path);

// Writes the file as a whole or not at all: what was there stays until all is written.
void replace_file(const std::string &path, const std::vector<uint8_t> &data);

// Size of a file that the library is to send. It opens the file for writing as well, and of one
// that cannot be opened so it sends nothing without telling.
uint64_t check_sendable(const std::string &path);

// The last part of a path, as the name on the other side. Throws UsageError when there is none.
std::string last_part(const std::string &path);

// An empty file with a name of its own, which goes at the end unless it became another one.
class TempFile {
  public:
    explicit TempFile(const std::filesystem::path &folder);
    ~TempFile();
    TempFile(const TempFile &) = delete;
    TempFile &operator=(const TempFile &) = delete;

    // Beside a file that it is to become; a folder cannot be replaced so.
    static std::filesystem::path folder_for(const std::string &target);

    [[nodiscard]] std::string path() const { return path_.string(); }
    void become(const std::string &target) const;

  private:
    std::filesystem::path path_;
};

} // namespace tarn
