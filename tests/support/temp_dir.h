// A folder of its own for a test.
#pragma once

#include <filesystem>

namespace tarn::test {

// Makes a fresh folder and enters it; at destruction goes back to where it came from and removes
// the folder. What the system holds on to, as Windows does with mapped files, stays behind.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    const std::filesystem::path &path() const { return path_; }

  private:
    std::filesystem::path path_;
    std::filesystem::path previous_;
};

// A path in the system's folder for temporary files that nothing uses yet.
std::filesystem::path fresh_temp_path();

} // namespace tarn::test
