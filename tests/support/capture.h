// What is printed on standard output, by the test or by the library.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>

namespace tarn::test {

// Catches everything that is written to file descriptor 1 from construction to destruction, byte
// by byte: no line ends are translated, on either system.
class StdoutCapture {
  public:
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture &) = delete;
    StdoutCapture &operator=(const StdoutCapture &) = delete;

    // All text so far.
    std::string text() const;

  private:
    std::filesystem::path path_;
    std::FILE *file_;
    int saved_;
};

} // namespace tarn::test
