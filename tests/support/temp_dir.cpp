#include "support/temp_dir.h"

#include <chrono>
#include <random>
#include <string>
#include <system_error>

namespace tarn::test {

namespace fs = std::filesystem;

namespace {

constexpr char kPrefix[] = "tarn-";

// What earlier runs could not remove, because the system held on to it or they were killed.
bool sweep_leftovers() {
    const auto now = fs::file_time_type::clock::now();
    std::error_code ignored;
    for (const auto &entry : fs::directory_iterator(fs::temp_directory_path(), ignored)) {
        const bool ours = entry.path().filename().string().starts_with(kPrefix);
        if (ours && now - entry.last_write_time(ignored) > std::chrono::hours(1)) {
            fs::remove_all(entry.path(), ignored);
        }
    }
    return true;
}

} // namespace

fs::path fresh_temp_path() {
    [[maybe_unused]] static const bool swept = sweep_leftovers();
    std::random_device random;
    const std::string name = kPrefix + std::to_string(random()) + "-" + std::to_string(random());
    return fs::temp_directory_path() / name;
}

TempDir::TempDir() : path_(fresh_temp_path()), previous_(fs::current_path()) {
    fs::create_directories(path_);
    fs::current_path(path_);
}

TempDir::~TempDir() {
    std::error_code ignored;
    fs::current_path(previous_, ignored);
    fs::remove_all(path_, ignored);
}

} // namespace tarn::test
