// Files of this computer that a command reads or writes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace tarn {

// All of these throw Failure.

std::vector<uint8_t> read_file(const std::string &path);
void write_file(const std::string &path, const std::vector<uint8_t> &data);

// Also by another name, or through a link.
bool is_same_file(const std::string &one, const std::string &other);

// All that comes from standard input.
std::vector<uint8_t> read_standard_input();
// A file, or standard input when the path is "-".
std::vector<uint8_t> read_file_or_input(const std::string &path);

// Writes the file as a whole or not at all: what was there stays until all is written. A link
// stays and what it leads to is replaced; what is no file, as a device or a pipe, is written to.
void replace_file(const std::string &path, const std::vector<uint8_t> &data);

// Throws when replace_file() could not write there, before something is done that takes long or
// cannot be done twice.
void check_writable(const std::string &path);

// A file that grows piece by piece. It is made with the first one; until then what was there stays.
class PieceFile {
  public:
    explicit PieceFile(std::string path); // throws when the file could not be written
    void add(const std::vector<uint8_t> &data);

  private:
    std::string path_;
    std::ofstream file_;
};

// Size of a file that the library is to send. It opens the file for writing as well, and of one
// that cannot be opened so it sends nothing without telling.
uint64_t check_sendable(const std::string &path);

// The last part of a path, as the name on the other side. Throws UsageError when there is none.
std::string last_part(const std::string &path);

// An empty file with a name of its own, which goes at the end unless it became another one, also
// when Ctrl-C ends the program.
class TempFile {
  public:
    explicit TempFile(const std::filesystem::path &folder);
    ~TempFile();
    TempFile(const TempFile &) = delete;
    TempFile &operator=(const TempFile &) = delete;

    // Where a file that is to become this target must lie; a folder cannot be replaced.
    static std::filesystem::path folder_for(const std::string &target);

    [[nodiscard]] std::string path() const { return path_.string(); }
    void become(const std::string &target) const; // as replace_file()

  private:
    std::filesystem::path path_;
};

} // namespace tarn
