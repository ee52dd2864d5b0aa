#include "support/driver_version/import_patch.h"

#include "device/driver_interface_win32.h"
#include "support/imports_win32.h"

#include <stdexcept>
#include <windows.h>

#include <setupapi.h>

namespace tarn::test {

namespace {

uint64_t g_version = kDefaultDriverVersion;

BOOL WINAPI enum_driver_info(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD type, DWORD index,
                             PSP_DRVINFO_DATA_A data) {
    if (g_version == 0) {
        SetLastError(ERROR_NO_MORE_ITEMS);
        return FALSE;
    }
    if (SetupDiEnumDriverInfoA(set, device, type, index, data) == FALSE) {
        return FALSE;
    }
    data->DriverVersion = g_version;
    return TRUE;
}

// Wine counts the devices whose interface is switched off as well; Windows leaves them out.
BOOL WINAPI enum_device_info(HDEVINFO set, DWORD wanted, PSP_DEVINFO_DATA device) {
    SP_DEVICE_INTERFACE_DATA interface_data = {};
    interface_data.cbSize = sizeof(interface_data);
    for (DWORD index = 0, present = 0; SetupDiEnumDeviceInfo(set, index, device) != FALSE;
         ++index) {
        const bool shown = SetupDiEnumDeviceInterfaces(set, device, &driver::kCardInterface, 0,
                                                       &interface_data) != FALSE;
        if (shown && present++ == wanted) {
            return TRUE;
        }
    }
    return FALSE;
}

} // namespace

void patch_driver_version_of(const char *module) {
    // Stays until the process ends.
    new ReplacedImport(module, "SetupDiEnumDriverInfoA", as_import(&enum_driver_info));
    new ReplacedImport(module, "SetupDiEnumDeviceInfo", as_import(&enum_device_info));
}

void patch_driver_version(uint64_t version) {
    g_version = version;
    [[maybe_unused]] static const bool once = (patch_driver_version_of("pci_tarn.dll"), true);
}

} // namespace tarn::test
