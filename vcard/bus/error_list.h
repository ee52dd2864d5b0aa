// What went wrong on a channel, newest last. It outlives starts and stops of the bus.
#pragma once

#include "tarn_vcard/diagnostics.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace tarn::vcard {

struct BusError {
    VcardErrorKind kind = VCARD_ERROR_CONFIGURATION;
    uint32_t status = 0; // of the library's table
    uint16_t slave = VCARD_NO_SLAVE;
    uint16_t port = 0xFFFF;
    uint16_t al_status_code = 0;
    std::string text;
};

// All functions may be called from any thread.
class ErrorList {
  public:
    // `utc_ns` gives the time since 1970, or 0; empty: nobody knows it.
    explicit ErrorList(std::function<uint64_t()> utc_ns);

    // Returns the number of the entry, from 1.
    uint32_t add(const BusError &error);
    // Gives the entry another text, as long as it is the newest; false when it is not.
    bool change(uint32_t number, const std::string &text);

    [[nodiscard]] uint32_t count() const; // entries ever made
    [[nodiscard]] std::vector<VcardErrorRecord> newest_first() const;
    // Since power-up.
    [[nodiscard]] uint64_t time_ns() const;

  private:
    const std::function<uint64_t()> utc_ns_;
    const std::chrono::steady_clock::time_point power_up_ = std::chrono::steady_clock::now();
    mutable std::mutex mutex_;
    uint32_t count_ = 0;
    std::deque<VcardErrorRecord> records_; // oldest first
};

// Copies as many whole characters as fit, and a NUL.
void copy_text(char *field, size_t size, const std::string &text);

template <size_t Size>
void copy_text(char (&field)[Size], const std::string &text) {
    copy_text(field, Size, text);
}

} // namespace tarn::vcard
