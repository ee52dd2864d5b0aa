// The driver's operations on Windows: SetupAPI finds the cards, overlapped I/O talks to them.
#include "device/driver_interface_win32.h"
#include "device/driver_port.h"

#include <windows.h>

#include <setupapi.h>

#include <cstdlib>
#include <cstring>

using namespace tarn;

namespace {

// The request record of an interrupt has the size of the system's.
static_assert(sizeof(OVERLAPPED) == 32);

// So long a request that the system does not know may still be about to be marked as over.
constexpr uint64_t kLostRequestMs = 100;

// ---- finding the cards -----------------------------------------------------------------------

// The cards that are present.
class CardSet {
  public:
    CardSet() noexcept
        : set_(SetupDiGetClassDevsA(&driver::kCardInterface, nullptr, nullptr,
                                    DIGCF_PRESENT | DIGCF_DEVICEINTERFACE)) {}
    ~CardSet() {
        if (valid()) {
            SetupDiDestroyDeviceInfoList(set_);
        }
    }
    CardSet(const CardSet &) = delete;
    CardSet &operator=(const CardSet &) = delete;

    [[nodiscard]] bool valid() const noexcept { return set_ != INVALID_HANDLE_VALUE; }
    [[nodiscard]] HDEVINFO get() const noexcept { return set_; }

    bool element(DWORD index, SP_DEVINFO_DATA &info) const noexcept {
        info = {};
        info.cbSize = sizeof(info);
        return valid() && SetupDiEnumDeviceInfo(set_, index, &info) != FALSE;
    }

  private:
    HDEVINFO set_;
};

// Path of a card's interface; null on failure. To be freed by the caller.
SP_DEVICE_INTERFACE_DETAIL_DATA_A *interface_detail(uint32_t index) noexcept {
    const CardSet cards;
    SP_DEVICE_INTERFACE_DATA interface_data = {};
    interface_data.cbSize = sizeof(interface_data);
    if (!cards.valid() || SetupDiEnumDeviceInterfaces(cards.get(), nullptr, &driver::kCardInterface,
                                                      index, &interface_data) == FALSE) {
        return nullptr;
    }
    DWORD size = 0;
    if (SetupDiGetDeviceInterfaceDetailA(cards.get(), &interface_data, nullptr, 0, &size,
                                         nullptr) != FALSE ||
        GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
        return nullptr;
    }
    auto *detail = static_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_A *>(std::calloc(1, size));
    if (detail == nullptr) {
        return nullptr;
    }
    static_assert(sizeof(*detail) == 8);
    detail->cbSize = sizeof(*detail);
    if (SetupDiGetDeviceInterfaceDetailA(cards.get(), &interface_data, detail, size, nullptr,
                                         nullptr) == FALSE) {
        std::free(detail);
        return nullptr;
    }
    return detail;
}

// ---- requests --------------------------------------------------------------------------------

// An overlapped request that is over when this object goes: the system must not write to a record
// that is no longer there.
class Request {
  public:
    explicit Request(HANDLE device) noexcept : device_(device) {
        record_.hEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    }
    ~Request() {
        if (pending_) {
            DWORD bytes = 0;
            CancelIoEx(device_, &record_);
            GetOverlappedResult(device_, &record_, &bytes, TRUE);
        }
        if (valid()) {
            CloseHandle(record_.hEvent);
        }
    }
    Request(const Request &) = delete;
    Request &operator=(const Request &) = delete;

    [[nodiscard]] bool valid() const noexcept { return record_.hEvent != nullptr; }
    OVERLAPPED *record() noexcept { return &record_; }

    // Takes the result of the call that issued the request. False when it failed at once.
    bool issued(BOOL success) noexcept {
        pending_ = success != FALSE || GetLastError() == ERROR_IO_PENDING;
        return pending_;
    }
    // Waits for the end. False when it did not come in time or the request failed.
    bool wait(uint32_t timeout_ms, DWORD &bytes) noexcept {
        if (WaitForSingleObject(record_.hEvent, timeout_ms) != WAIT_OBJECT_0) {
            return false;
        }
        pending_ = false;
        return GetOverlappedResult(device_, &record_, &bytes, FALSE) != FALSE;
    }

  private:
    HANDLE device_;
    OVERLAPPED record_ = {};
    bool pending_ = false;
};

// A control request that is waited for.
bool control(HANDLE device, driver::ControlCode code, void *input, uint32_t input_size,
             void *output, uint32_t output_size, DWORD &bytes) noexcept {
    Request request(device);
    return request.valid() &&
           request.issued(DeviceIoControl(device, code, input, input_size, output, output_size,
                                          nullptr, request.record())) &&
           request.wait(INFINITE, bytes);
}

OVERLAPPED *as_record(void *request) noexcept {
    return static_cast<OVERLAPPED *>(request);
}

} // namespace

uint32_t driver::count() noexcept {
    const CardSet cards;
    SP_DEVINFO_DATA info;
    uint32_t found = 0;
    while (cards.element(found, info)) {
        ++found;
    }
    return found;
}

uint64_t driver::version() noexcept {
    const CardSet cards;
    SP_DEVINFO_DATA info;
    if (!cards.element(0, info) ||
        SetupDiBuildDriverInfoList(cards.get(), &info, SPDIT_COMPATDRIVER) == FALSE) {
        return 0;
    }
    SP_DRVINFO_DATA_V2_A data = {};
    data.cbSize = sizeof(data);
    if (SetupDiEnumDriverInfoA(cards.get(), &info, SPDIT_COMPATDRIVER, 0, &data) == FALSE) {
        return 0;
    }
    return data.DriverVersion;
}

void *driver::open(uint32_t index) noexcept {
    SP_DEVICE_INTERFACE_DETAIL_DATA_A *detail = interface_detail(index);
    if (detail == nullptr) {
        return kNoDevice;
    }
    HANDLE device = CreateFileA(detail->DevicePath, GENERIC_READ | GENERIC_WRITE,
                                FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                FILE_FLAG_OVERLAPPED, nullptr);
    std::free(detail);
    return device;
}

void driver::close(void *device) noexcept {
    CloseHandle(device);
}

void *driver::map_bar(void *device, uint32_t bar) noexcept {
    uint64_t address = 0;
    DWORD bytes = 0;
    return control(device, driver::kMapBar, &bar, sizeof(bar), &address, sizeof(address), bytes)
               ? reinterpret_cast<void *>(address)
               : nullptr;
}

void driver::unmap_bar(void *device, uint32_t bar, void *address) noexcept {
    driver::UnmapRequest request = {static_cast<uint8_t>(bar), reinterpret_cast<uint64_t>(address)};
    DWORD bytes = 0;
    control(device, driver::kUnmapBar, &request, sizeof(request), nullptr, 0, bytes);
}

uint32_t driver::dma(void *device, Direction direction, uint32_t card_address, void *buffer,
                     uint32_t length, uint32_t timeout_ms) noexcept {
    Request request(device);
    if (!request.valid()) {
        return 0;
    }
    request.record()->Offset = card_address;
    const BOOL success = direction == Direction::Read
                             ? ReadFile(device, buffer, length, nullptr, request.record())
                             : WriteFile(device, buffer, length, nullptr, request.record());
    DWORD bytes = 0;
    return request.issued(success) && request.wait(timeout_ms, bytes) ? bytes : 0;
}

uint32_t driver::transfer(void *device, Direction direction, uint32_t first, uint32_t second,
                          void *buffer, uint32_t length) noexcept {
    driver::Selectors selectors = {first, second};
    DWORD bytes = 0;
    return control(device, direction == Direction::Read ? driver::kRead : driver::kWrite,
                   &selectors, sizeof(selectors), buffer, length, bytes)
               ? bytes
               : 0;
}

bool driver::create_event(void *, uint32_t, void *request) noexcept {
    as_record(request)->hEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    return as_record(request)->hEvent != nullptr;
}

void driver::close_event(void *, uint32_t, void *request) noexcept {
    CloseHandle(as_record(request)->hEvent);
}

bool driver::issue_wait(void *device, uint32_t interrupt, void *request) noexcept {
    return DeviceIoControl(device, driver::kWaitForInterrupt, &interrupt, sizeof(interrupt),
                           nullptr, 0, nullptr, as_record(request)) != FALSE ||
           GetLastError() == ERROR_IO_PENDING;
}

uint32_t driver::await(void *, uint32_t, void *request, uint32_t timeout_ms) noexcept {
    return WaitForSingleObject(as_record(request)->hEvent, timeout_ms);
}

bool driver::finish_wait(void *device, uint32_t, void *request) noexcept {
    DWORD bytes = 0;
    return GetOverlappedResult(device, as_record(request), &bytes, FALSE) != FALSE;
}

void driver::cancel_wait(void *device, uint32_t, void *request) noexcept {
    // The record goes with its object: the request must be over before. Its event may be closed, so
    // it is not waited for. A request that ended with the thread that issued it is known to nobody
    // any more, and its record stays as it was.
    CancelIoEx(device, as_record(request));
    const uint64_t patience = GetTickCount64() + kLostRequestMs;
    while (!HasOverlappedIoCompleted(as_record(request))) {
        if (GetTickCount64() >= patience && CancelIoEx(device, as_record(request)) == FALSE &&
            GetLastError() == ERROR_NOT_FOUND) {
            return;
        }
        Sleep(1); // at the priority of the data-swap thread nothing less lets the driver run
    }
}
