#include "support/this_process.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace tarn::test {

namespace fs = std::filesystem;

namespace {

size_t page_size() {
    return static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

} // namespace

size_t open_handles() {
    return static_cast<size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), {}));
}

bool has_open(const fs::path &file) {
    const fs::path wanted = fs::canonical(file);
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        if (fs::read_symlink(entry.path(), ignored) == wanted) {
            return true;
        }
    }
    return false;
}

size_t resident_bytes() {
    std::ifstream file("/proc/self/statm");
    size_t total = 0;
    size_t resident = 0;
    file >> total >> resident;
    return resident * page_size();
}

bool is_mapped(const void *address) {
    auto *byte = static_cast<char *>(const_cast<void *>(address));
    char *page = byte - reinterpret_cast<uintptr_t>(byte) % page_size();
    return msync(page, page_size(), MS_ASYNC) == 0;
}

bool system_calls_are_slow() {
    return false;
}

void set_time_zone(const char *zone) {
    setenv("TZ", zone, 1);
    tzset();
}

} // namespace tarn::test
