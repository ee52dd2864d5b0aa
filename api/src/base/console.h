// Messages of the library: standard output, flushed at once so that a pipe sees them too.
#pragma once

namespace tarn {

#if defined(__GNUC__)
#define TARN_PRINTF_LIKE __attribute__((format(__gnu_printf__, 1, 2)))
#endif

// Like printf; returns what it returns.
TARN_PRINTF_LIKE int print(const char *format, ...) noexcept;

// The same in bright red. The colour is set before and after the message and never taken back.
TARN_PRINTF_LIKE int print_red(const char *format, ...) noexcept;

} // namespace tarn
