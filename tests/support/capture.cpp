#include "support/capture.h"

#include "support/temp_dir.h"

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace tarn::test {
namespace {

constexpr int kStdout = 1;

} // namespace

StdoutCapture::StdoutCapture()
    : path_(fresh_temp_path()), file_(std::fopen(path_.string().c_str(), "w+b")),
      saved_(dup(kStdout)) {
    if (file_ == nullptr || saved_ < 0) {
        throw std::runtime_error("standard output cannot be captured");
    }
    std::fflush(stdout);
    dup2(fileno(file_), kStdout);
}

StdoutCapture::~StdoutCapture() {
    std::fflush(stdout);
    dup2(saved_, kStdout);
    close(saved_);
    std::fclose(file_);
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

std::string StdoutCapture::text() const {
    std::fflush(stdout);
    std::ifstream in(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace tarn::test
