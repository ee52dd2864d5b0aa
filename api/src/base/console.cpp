#include "base/console.h"

#include "base/os.h"

#include <cstdarg>
#include <cstdio>

namespace tarn {

int print(const char *format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    const int written = std::vprintf(format, arguments);
    va_end(arguments);
    std::fflush(stdout);
    return written;
}

int print_red(const char *format, ...) noexcept {
    std::fflush(stdout); // what was printed before keeps its colour
    os::console_red();
    std::va_list arguments;
    va_start(arguments, format);
    const int written = std::vprintf(format, arguments);
    va_end(arguments);
    std::fflush(stdout);
    os::console_red();
    std::fflush(stdout);
    return written;
}

} // namespace tarn
