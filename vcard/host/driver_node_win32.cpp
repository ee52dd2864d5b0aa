#include "vcard/host/driver_node_win32.h"

#include "device/driver_interface_win32.h"

#include <windows.h>

#include <setupapi.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace tarn::vcard {

namespace {

[[noreturn]] void fail(const std::string &what) {
    const auto error = static_cast<int>(GetLastError());
    throw std::runtime_error(what + ": " + std::system_category().message(error));
}

// Length of the request record is the system's.
static_assert(sizeof(OVERLAPPED) == 32);

OVERLAPPED *as_record(void *request) {
    return static_cast<OVERLAPPED *>(request);
}

// For a request that is waited for at once. Made for each: the run time of MinGW loses what a
// thread keeps for itself.
class RequestEvent {
  public:
    RequestEvent() : handle_(CreateEventA(nullptr, FALSE, FALSE, nullptr)) {}
    ~RequestEvent() { CloseHandle(handle_); }
    RequestEvent(const RequestEvent &) = delete;
    RequestEvent &operator=(const RequestEvent &) = delete;

    [[nodiscard]] HANDLE get() const { return handle_; }

  private:
    HANDLE handle_;
};

std::string interface_path(HDEVINFO set, SP_DEVICE_INTERFACE_DATA &data) {
    DWORD size = 0;
    SetupDiGetDeviceInterfaceDetailA(set, &data, nullptr, 0, &size, nullptr);
    std::vector<uint8_t> buffer(std::max<size_t>(size, sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A)));
    auto *detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_A *>(buffer.data());
    detail->cbSize = sizeof(*detail);
    if (SetupDiGetDeviceInterfaceDetailA(set, &data, detail, size, nullptr, nullptr) == FALSE) {
        fail("cannot read the path of a device node");
    }
    return detail->DevicePath;
}

} // namespace

std::vector<std::string> driver_node_paths() {
    std::vector<std::string> paths;
    const HDEVINFO set = SetupDiGetClassDevsA(&kFirmwareInterface, nullptr, nullptr,
                                              DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
    if (set == INVALID_HANDLE_VALUE) {
        return paths;
    }
    SP_DEVICE_INTERFACE_DATA data = {};
    data.cbSize = sizeof(data);
    for (DWORD index = 0;
         SetupDiEnumDeviceInterfaces(set, nullptr, &kFirmwareInterface, index, &data) != FALSE;
         ++index) {
        paths.push_back(interface_path(set, data));
    }
    SetupDiDestroyDeviceInfoList(set);
    return paths;
}

DriverNode::DriverNode(const std::string &path)
    : device_(CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                          FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                          FILE_FLAG_OVERLAPPED, nullptr)) {
    if (device_ == INVALID_HANDLE_VALUE) {
        fail("cannot open the device node " + path);
    }
    event_ = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (event_ == nullptr) {
        CloseHandle(device_);
        fail("cannot make an event");
    }
}

DriverNode::~DriverNode() {
    if (asked_) {
        DWORD bytes = 0;
        CancelIoEx(device_, as_record(request_));
        GetOverlappedResult(device_, as_record(request_), &bytes, TRUE);
    }
    CloseHandle(device_);
    CloseHandle(event_);
}

bool DriverNode::control(uint32_t code, const void *input, size_t input_size, void *output,
                         size_t output_size) noexcept {
    const RequestEvent over;
    OVERLAPPED request = {};
    request.hEvent = over.get();
    DWORD bytes = 0;
    // The input is only read, whatever the declaration says.
    if (DeviceIoControl(device_, code, const_cast<void *>(input), static_cast<DWORD>(input_size),
                        output, static_cast<DWORD>(output_size), nullptr, &request) == FALSE &&
        GetLastError() != ERROR_IO_PENDING) {
        return false;
    }
    return GetOverlappedResult(device_, &request, &bytes, TRUE) != FALSE;
}

bool DriverNode::attach(std::span<const uint32_t> bar_sizes) {
    AttachRequest request = {kFirmwareInterfaceVersion, {}};
    std::copy_n(bar_sizes.begin(), std::min(bar_sizes.size(), std::size(request.bar_sizes)),
                request.bar_sizes);
    if (control(kAttach, &request, sizeof(request), nullptr, 0)) {
        return true;
    }
    if (GetLastError() != ERROR_BUSY) {
        fail("cannot become the card of a device node");
    }
    return false;
}

uint8_t *DriverNode::map(uint32_t bar) {
    uint64_t address = 0;
    if (!control(driver::kMapBar, &bar, sizeof(bar), &address, sizeof(address))) {
        fail("cannot map the memory of a card");
    }
    return reinterpret_cast<uint8_t *>(address);
}

void DriverNode::show() {
    const uint32_t on = 1;
    if (!control(kShow, &on, sizeof(on), nullptr, 0)) {
        fail("cannot show a card");
    }
}

void DriverNode::raise(uint32_t interrupt) noexcept {
    control(kRaise, &interrupt, sizeof(interrupt), nullptr, 0);
}

bool DriverNode::ask() {
    OVERLAPPED &request = *new (request_) OVERLAPPED{};
    request.hEvent = event_;
    asked_ = DeviceIoControl(device_, kNextEvent, nullptr, 0, &answer_, sizeof(answer_), nullptr,
                             &request) != FALSE ||
             GetLastError() == ERROR_IO_PENDING;
    return asked_;
}

bool DriverNode::next_event(FirmwareEvent &event) {
    DWORD bytes = 0;
    asked_ = false;
    if (GetOverlappedResult(device_, as_record(request_), &bytes, FALSE) == FALSE ||
        bytes != sizeof(answer_)) {
        return false;
    }
    event = answer_;
    return ask();
}

bool DriverNode::fetch(const FirmwareEvent &transfer, std::span<uint8_t> data) {
    for (size_t offset = 0; offset < data.size(); offset += kPieceLimit) {
        const size_t length = std::min<size_t>(data.size() - offset, kPieceLimit);
        const Piece piece = {transfer.id, static_cast<uint32_t>(offset),
                             static_cast<uint32_t>(length)};
        if (!control(kFetch, &piece, sizeof(piece), data.data() + offset, length)) {
            return false;
        }
    }
    return true;
}

bool DriverNode::store(const FirmwareEvent &transfer, std::span<const uint8_t> data) {
    std::vector<uint8_t> message;
    for (size_t offset = 0; offset < data.size(); offset += kPieceLimit) {
        const size_t length = std::min<size_t>(data.size() - offset, kPieceLimit);
        const Piece piece = {transfer.id, static_cast<uint32_t>(offset),
                             static_cast<uint32_t>(length)};
        message.resize(sizeof(piece) + length);
        std::memcpy(message.data(), &piece, sizeof(piece));
        std::memcpy(message.data() + sizeof(piece), data.data() + offset, length);
        if (!control(kStore, message.data(), message.size(), nullptr, 0)) {
            return false;
        }
    }
    return true;
}

bool DriverNode::complete(const FirmwareEvent &transfer, bool ok, uint32_t length) {
    const Completion completion = {transfer.id, ok ? 1U : 0U, length};
    return control(kComplete, &completion, sizeof(completion), nullptr, 0);
}

} // namespace tarn::vcard
