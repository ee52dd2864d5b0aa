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

class DeviceSet {
  public:
    DeviceSet()
        : set_(SetupDiGetClassDevsA(&kFirmwareInterface, nullptr, nullptr,
                                    DIGCF_PRESENT | DIGCF_DEVICEINTERFACE)) {}
    ~DeviceSet() {
        if (set_ != INVALID_HANDLE_VALUE) {
            SetupDiDestroyDeviceInfoList(set_);
        }
    }
    DeviceSet(const DeviceSet &) = delete;
    DeviceSet &operator=(const DeviceSet &) = delete;
    [[nodiscard]] HDEVINFO get() const { return set_; }

  private:
    HDEVINFO set_;
};

// Empty when the node has gone meanwhile.
std::string interface_path(HDEVINFO set, SP_DEVICE_INTERFACE_DATA &data) {
    DWORD size = 0;
    SetupDiGetDeviceInterfaceDetailA(set, &data, nullptr, 0, &size, nullptr);
    std::vector<uint8_t> buffer(std::max<size_t>(size, sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A)));
    auto *detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_A *>(buffer.data());
    detail->cbSize = sizeof(*detail);
    const BOOL read = SetupDiGetDeviceInterfaceDetailA(set, &data, detail, size, nullptr, nullptr);
    return read != FALSE ? detail->DevicePath : "";
}

// A control request that is waited for.
bool run_request(HANDLE device, uint32_t code, const void *input, size_t input_size, void *output,
                 size_t output_size, HANDLE event) {
    OVERLAPPED request = {};
    request.hEvent = event;
    DWORD bytes = 0;
    // The input is only read, whatever the declaration says.
    if (DeviceIoControl(device, code, const_cast<void *>(input), static_cast<DWORD>(input_size),
                        output, static_cast<DWORD>(output_size), nullptr, &request) == FALSE &&
        GetLastError() != ERROR_IO_PENDING) {
        return false;
    }
    return GetOverlappedResult(device, &request, &bytes, TRUE) != FALSE;
}

} // namespace

std::vector<std::string> driver_node_paths() {
    std::vector<std::string> paths;
    const DeviceSet set;
    SP_DEVICE_INTERFACE_DATA data = {};
    data.cbSize = sizeof(data);
    for (DWORD index = 0; SetupDiEnumDeviceInterfaces(set.get(), nullptr, &kFirmwareInterface,
                                                      index, &data) != FALSE;
         ++index) {
        std::string path = interface_path(set.get(), data);
        if (!path.empty()) {
            paths.push_back(std::move(path));
        }
    }
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
    // Closing the handle withdraws the card as well, but perhaps a moment later.
    const uint32_t off = 0;
    control(kShow, &off, sizeof(off), nullptr, 0);
    if (asked_) {
        DWORD bytes = 0;
        CancelIoEx(device_, as_record(request_));
        GetOverlappedResult(device_, as_record(request_), &bytes, TRUE);
    }
    for (const auto &[bar, address] : mapped_) {
        const driver::UnmapRequest request = {static_cast<uint8_t>(bar), address};
        control(driver::kUnmapBar, &request, sizeof(request), nullptr, 0);
    }
    CloseHandle(device_);
    CloseHandle(event_);
}

// The event is made for each request: the run time of MinGW loses what a thread keeps for itself.
bool DriverNode::control(uint32_t code, const void *input, size_t input_size, void *output,
                         size_t output_size) noexcept {
    HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    if (event == nullptr) {
        return false;
    }
    const bool done = run_request(device_, code, input, input_size, output, output_size, event);
    const DWORD error = GetLastError();
    CloseHandle(event);
    SetLastError(error);
    return done;
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
    mapped_.emplace_back(bar, address);
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
