#include "vcard/host/device_nodes_win32.h"

#include <windows.h>

#include <cfgmgr32.h>
#include <newdev.h>
#include <setupapi.h>

#include <cctype>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <system_error>

namespace tarn::vcard {

namespace {

constexpr char kHardwareId[] = "root\\tarn_vcard";
constexpr char kIdFormat[] = "root\\tarn_vcard\\%04u";
constexpr GUID kSystemClass = {
    0x4D36E97D, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

[[noreturn]] void fail(const std::string &what, DWORD error = GetLastError()) {
    throw std::runtime_error(what + ": " + std::system_category().message(static_cast<int>(error)) +
                             (error == ERROR_ACCESS_DENIED ? " (run it as administrator)" : ""));
}

class DeviceSet {
  public:
    explicit DeviceSet(HDEVINFO set) : set_(set) {
        if (set_ == INVALID_HANDLE_VALUE) {
            fail("cannot list the devices");
        }
    }
    ~DeviceSet() { SetupDiDestroyDeviceInfoList(set_); }
    DeviceSet(const DeviceSet &) = delete;
    DeviceSet &operator=(const DeviceSet &) = delete;
    [[nodiscard]] HDEVINFO get() const { return set_; }

  private:
    HDEVINFO set_;
};

bool is_ours(HDEVINFO set, SP_DEVINFO_DATA &device) {
    char ids[512] = {};
    return SetupDiGetDeviceRegistryPropertyA(set, &device, SPDRP_HARDWAREID, nullptr,
                                             reinterpret_cast<BYTE *>(ids), sizeof(ids) - 2,
                                             nullptr) != FALSE &&
           _stricmp(ids, kHardwareId) == 0;
}

// Calls `visit` for every node that there is, present or not.
void for_each_node(const std::function<void(HDEVINFO, SP_DEVINFO_DATA &)> &visit) {
    const DeviceSet set(SetupDiGetClassDevsA(nullptr, "ROOT", nullptr, DIGCF_ALLCLASSES));
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    for (DWORD index = 0; SetupDiEnumDeviceInfo(set.get(), index, &device) != FALSE; ++index) {
        if (is_ours(set.get(), device)) {
            visit(set.get(), device);
        }
    }
}

// Makes the node of a card. False when there is one already.
bool make_node(uint32_t number) {
    const DeviceSet set(SetupDiCreateDeviceInfoList(&kSystemClass, nullptr));
    char id[64];
    std::snprintf(id, sizeof(id), kIdFormat, number);
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    if (SetupDiCreateDeviceInfoA(set.get(), id, &kSystemClass, nullptr, nullptr, 0, &device) ==
        FALSE) {
        if (GetLastError() == ERROR_DEVINST_ALREADY_EXISTS) {
            return false;
        }
        fail("cannot make a device node");
    }
    char ids[sizeof(kHardwareId) + 1] = {}; // a list, with an empty text at its end
    std::memcpy(ids, kHardwareId, sizeof(kHardwareId));
    if (SetupDiSetDeviceRegistryPropertyA(set.get(), &device, SPDRP_HARDWAREID,
                                          reinterpret_cast<const BYTE *>(ids),
                                          sizeof(ids)) == FALSE ||
        SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set.get(), &device) == FALSE) {
        fail("cannot register a device node");
    }
    return true;
}

} // namespace

Installation install_device_nodes(uint32_t count, const std::string &inf_path) {
    if (count == 0 || count > kMaxDeviceNodes) {
        throw std::invalid_argument("there can be 1 to " + std::to_string(kMaxDeviceNodes) +
                                    " cards");
    }
    const std::filesystem::path inf = std::filesystem::absolute(inf_path);
    if (!std::filesystem::exists(inf)) {
        throw std::runtime_error("there is no driver at " + inf.string());
    }
    for (uint32_t number = 0; number < count; ++number) {
        make_node(number);
    }
    BOOL restart = FALSE;
    if (UpdateDriverForPlugAndPlayDevicesA(nullptr, kHardwareId, inf.string().c_str(),
                                           INSTALLFLAG_FORCE, &restart) == FALSE) {
        fail("cannot install the driver " + inf.string());
    }
    return {device_node_count(), restart != FALSE};
}

uint32_t uninstall_device_nodes() {
    uint32_t removed = 0;
    for_each_node([&removed](HDEVINFO set, SP_DEVINFO_DATA &device) {
        if (SetupDiCallClassInstaller(DIF_REMOVE, set, &device) == FALSE) {
            fail("cannot remove a device node");
        }
        ++removed;
    });
    return removed;
}

uint32_t device_node_count() {
    uint32_t count = 0;
    for_each_node([&count](HDEVINFO, SP_DEVINFO_DATA &) { ++count; });
    return count;
}

} // namespace tarn::vcard
