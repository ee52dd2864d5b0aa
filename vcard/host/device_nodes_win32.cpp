#include "vcard/host/device_nodes_win32.h"

#include <windows.h>

#include <cfgmgr32.h>
#include <newdev.h>
#include <setupapi.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <set>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace tarn::vcard {

namespace {

constexpr char kHardwareId[] = "root\\tarn_vcard";
constexpr char kIdFormat[] = "root\\tarn_vcard\\%04u";
constexpr GUID kSystemClass = {
    0x4D36E97D, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

constexpr DWORD kInvalidImageHash = 577; // not in MinGW's header

// What the device installer says of a driver that is not signed, or not by somebody whom the
// machine trusts.
constexpr DWORD kSignatureErrors[] = {
    ERROR_NO_CATALOG_FOR_OEM_INF,
    ERROR_NO_AUTHENTICODE_CATALOG,
    ERROR_AUTHENTICODE_DISALLOWED,
    ERROR_AUTHENTICODE_TRUSTED_PUBLISHER,
    ERROR_AUTHENTICODE_TRUST_NOT_ESTABLISHED,
    ERROR_AUTHENTICODE_PUBLISHER_NOT_TRUSTED,
    ERROR_SIGNATURE_OSATTRIBUTE_MISMATCH,
    kInvalidImageHash,
    static_cast<DWORD>(CRYPT_E_FILE_ERROR),
    static_cast<DWORD>(TRUST_E_NOSIGNATURE),
    static_cast<DWORD>(TRUST_E_SUBJECT_NOT_TRUSTED),
    static_cast<DWORD>(CERT_E_UNTRUSTEDROOT),
    static_cast<DWORD>(CERT_E_EXPIRED),
};

std::string reason(DWORD error) {
    char number[32];
    std::snprintf(number, sizeof(number), " (0x%08lX)", error);
    if (error == ERROR_ACCESS_DENIED) {
        return "access denied; run it as administrator";
    }
    if (std::find(std::begin(kSignatureErrors), std::end(kSignatureErrors), error) !=
        std::end(kSignatureErrors)) {
        return "the driver is not signed, or by nobody whom this machine trusts" +
               std::string(number) + "; docs/windows.md says how to sign it";
    }
    return std::system_category().message(static_cast<int>(error)) + number;
}

[[noreturn]] void fail(const std::string &what, DWORD error = GetLastError()) {
    throw std::runtime_error(what + ": " + reason(error));
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

// A text of a node, the first one of a list; empty when there is none.
std::string property(HDEVINFO set, SP_DEVINFO_DATA &device, DWORD which) {
    char texts[512] = {};
    return SetupDiGetDeviceRegistryPropertyA(set, &device, which, nullptr,
                                             reinterpret_cast<BYTE *>(texts), sizeof(texts) - 2,
                                             nullptr) != FALSE
               ? texts
               : "";
}

bool is_ours(HDEVINFO set, SP_DEVINFO_DATA &device) {
    return _stricmp(property(set, device, SPDRP_HARDWAREID).c_str(), kHardwareId) == 0;
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

// Returns whether the system must be started anew before the node is gone.
bool remove_node(HDEVINFO set, SP_DEVINFO_DATA &device) {
    if (SetupDiCallClassInstaller(DIF_REMOVE, set, &device) == FALSE) {
        fail("cannot remove a device node");
    }
    SP_DEVINSTALL_PARAMS_A parameters = {};
    parameters.cbSize = sizeof(parameters);
    return SetupDiGetDeviceInstallParamsA(set, &device, &parameters) != FALSE &&
           (parameters.Flags & (DI_NEEDRESTART | DI_NEEDREBOOT)) != 0;
}

// Name under which the system keeps the INF file of a node's driver; empty when it has none.
std::string package_of(HDEVINFO set, SP_DEVINFO_DATA &device) {
    const HKEY key =
        SetupDiOpenDevRegKey(set, &device, DICS_FLAG_GLOBAL, 0, DIREG_DRV, KEY_QUERY_VALUE);
    if (key == INVALID_HANDLE_VALUE) {
        return {};
    }
    char name[MAX_PATH] = {};
    DWORD size = sizeof(name) - 1;
    const LSTATUS status =
        RegQueryValueExA(key, "InfPath", nullptr, nullptr, reinterpret_cast<BYTE *>(name), &size);
    RegCloseKey(key);
    return status == ERROR_SUCCESS ? name : "";
}

void remove_package(const std::string &name) {
    if (!name.empty() && SetupUninstallOEMInfA(name.c_str(), SUOI_FORCEDELETE, nullptr) == FALSE &&
        GetLastError() != ERROR_FILE_NOT_FOUND) {
        fail("the device nodes are removed, but not the driver's package " + name);
    }
}

// Nodes that one call makes. They go with it unless they are kept.
class NewNodes {
  public:
    NewNodes() : set_(SetupDiCreateDeviceInfoList(&kSystemClass, nullptr)) {}
    ~NewNodes() {
        for (SP_DEVINFO_DATA &device : made_) {
            SetupDiCallClassInstaller(DIF_REMOVE, set_.get(), &device);
        }
    }
    NewNodes(const NewNodes &) = delete;
    NewNodes &operator=(const NewNodes &) = delete;

    // Makes the node of a card unless there is one already.
    void make(uint32_t number);
    void keep() { made_.clear(); }

  private:
    DeviceSet set_;
    std::vector<SP_DEVINFO_DATA> made_;
};

void NewNodes::make(uint32_t number) {
    char id[64];
    std::snprintf(id, sizeof(id), kIdFormat, number);
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    if (SetupDiCreateDeviceInfoA(set_.get(), id, &kSystemClass, nullptr, nullptr, 0, &device) ==
        FALSE) {
        if (GetLastError() == ERROR_DEVINST_ALREADY_EXISTS) {
            return;
        }
        fail("cannot make a device node");
    }
    char ids[sizeof(kHardwareId) + 1] = {}; // a list, with an empty text at its end
    std::memcpy(ids, kHardwareId, sizeof(kHardwareId));
    if (SetupDiSetDeviceRegistryPropertyA(set_.get(), &device, SPDRP_HARDWAREID,
                                          reinterpret_cast<const BYTE *>(ids),
                                          sizeof(ids)) == FALSE ||
        SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set_.get(), &device) == FALSE) {
        fail("cannot register a device node");
    }
    made_.push_back(device);
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
    NewNodes nodes;
    for (uint32_t number = 0; number < count; ++number) {
        nodes.make(number);
    }
    BOOL restart = FALSE;
    if (UpdateDriverForPlugAndPlayDevicesA(nullptr, kHardwareId, inf.string().c_str(),
                                           INSTALLFLAG_FORCE, &restart) == FALSE) {
        fail("cannot install the driver " + inf.string());
    }
    // Wine finds nothing wrong with an INF file that names no such device.
    Installation installation = {0, restart != FALSE};
    for_each_node([&](HDEVINFO set, SP_DEVINFO_DATA &device) {
        if (property(set, device, SPDRP_SERVICE).empty()) {
            throw std::runtime_error("cannot install the driver " + inf.string() +
                                     ": it is not for this device");
        }
        ++installation.nodes;
    });
    nodes.keep();
    return installation;
}

Removal uninstall_device_nodes() {
    Removal removal;
    std::set<std::string> packages;
    for_each_node([&](HDEVINFO set, SP_DEVINFO_DATA &device) {
        packages.insert(package_of(set, device));
        removal.restart |= remove_node(set, device);
        ++removal.nodes;
    });
    std::for_each(packages.begin(), packages.end(), remove_package);
    return removal;
}

uint32_t device_node_count() {
    uint32_t count = 0;
    for_each_node([&count](HDEVINFO, SP_DEVINFO_DATA &) { ++count; });
    return count;
}

} // namespace tarn::vcard
