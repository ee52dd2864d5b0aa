// A device node with no firmware behind it but the test itself, and its users at the level of the
// system's calls.
#pragma once

#include "support/card_environment.h"
#include "support/process.h"
#include "vcard/host/driver_node_win32.h"

#include <windows.h>

#include <chrono>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarn::test {

inline constexpr uint32_t kRawBarSizes[] = {0x1000, 0, 0x10000};

class RawCard {
  public:
    explicit RawCard(std::span<const uint32_t> bar_sizes = kRawBarSizes)
        : node_(vcard::driver_node_paths().at(0)) {
        enter_card_environment({}, 0x0001000000000004);
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (!node_.attach(bar_sizes)) {
            if (std::chrono::steady_clock::now() > end) {
                throw std::runtime_error("another process is the card");
            }
            Sleep(1);
        }
        node_.show();
        node_.ask();
    }

    vcard::DriverNode &node() { return node_; }

    // Waits for the next event that is no kick.
    vcard::FirmwareEvent next_transfer() {
        vcard::FirmwareEvent event = {};
        do {
            event = next_event();
        } while (event.kind == vcard::kKick);
        return event;
    }
    vcard::FirmwareEvent next_event() {
        vcard::FirmwareEvent event = {};
        if (WaitForSingleObject(node_.event(), 60000) != WAIT_OBJECT_0 ||
            !node_.next_event(event)) {
            throw std::runtime_error("no event comes");
        }
        return event;
    }

  private:
    vcard::DriverNode node_;
};

// One handle on the node.
class RawUser {
  public:
    RawUser()
        : device_(CreateFileA(vcard::driver_node_paths().at(0).c_str(),
                              GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr)) {}
    ~RawUser() { CloseHandle(device_); }
    RawUser(const RawUser &) = delete;
    RawUser &operator=(const RawUser &) = delete;

    [[nodiscard]] HANDLE handle() const { return device_; }

    // A request that is waited for. Returns the system's error, 0 for success.
    DWORD control(uint32_t code, std::vector<uint8_t> input, size_t output_size = 0) {
        answer.assign(output_size, 0);
        OVERLAPPED request = {};
        request.hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        const DWORD error = finish(
            DeviceIoControl(device_, code, input.data(), static_cast<DWORD>(input.size()),
                            answer.data(), static_cast<DWORD>(answer.size()), nullptr, &request),
            request);
        CloseHandle(request.hEvent);
        return error;
    }

    std::vector<uint8_t> answer;

  private:
    DWORD finish(BOOL issued, OVERLAPPED &request) {
        DWORD bytes = 0;
        if (issued == FALSE && GetLastError() != ERROR_IO_PENDING) {
            return GetLastError();
        }
        return GetOverlappedResult(device_, &request, &bytes, TRUE) != FALSE ? 0 : GetLastError();
    }

    HANDLE device_;
};

// A wait for an interrupt that is outstanding.
class RawWait {
  public:
    RawWait(const RawUser &user, uint32_t interrupt) : device_(user.handle()), number_(interrupt) {
        request_.hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        issued_ = DeviceIoControl(device_, 0x22200D, &number_, sizeof(number_), nullptr, 0, nullptr,
                                  &request_) != FALSE ||
                  GetLastError() == ERROR_IO_PENDING;
    }
    ~RawWait() {
        if (issued_) {
            cancel();
            DWORD bytes = 0;
            GetOverlappedResult(device_, &request_, &bytes, TRUE);
        }
        CloseHandle(request_.hEvent);
    }
    RawWait(const RawWait &) = delete;
    RawWait &operator=(const RawWait &) = delete;

    [[nodiscard]] bool issued() const { return issued_; }
    bool cancel() { return CancelIoEx(device_, &request_) != FALSE; }
    // True when it is over within the time; `error` is 0 for success.
    bool over(DWORD timeout_ms, DWORD &error) {
        if (WaitForSingleObject(request_.hEvent, timeout_ms) != WAIT_OBJECT_0) {
            return false;
        }
        DWORD bytes = 0;
        error =
            GetOverlappedResult(device_, &request_, &bytes, FALSE) != FALSE ? 0 : GetLastError();
        return true;
    }

  private:
    HANDLE device_;
    uint32_t number_;
    OVERLAPPED request_ = {};
    bool issued_ = false;
};

// Bytes of 32-bit words.
inline std::vector<uint8_t> words(std::initializer_list<uint32_t> values) {
    std::vector<uint8_t> bytes;
    for (const uint32_t value : values) {
        for (uint32_t shift = 0; shift < 32; shift += 8) {
            bytes.push_back(static_cast<uint8_t>(value >> shift));
        }
    }
    return bytes;
}

} // namespace tarn::test
