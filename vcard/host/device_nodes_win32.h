// The device nodes that the virtual cards sit on, made and removed through the device installer.
#pragma once

#include <cstdint>
#include <string>

namespace tarn::vcard {

inline constexpr uint32_t kMaxDeviceNodes = 16;

struct Installation {
    uint32_t nodes = 0;   // that there are now
    bool restart = false; // the system must be started anew before they can be used
};

// Installs the driver of an INF file and makes nodes until there are `count`. When it fails, the
// nodes that it made are gone again. Throws std::runtime_error with a text for the user.
Installation install_device_nodes(uint32_t count, const std::string &inf_path);

struct Removal {
    uint32_t nodes = 0;   // that there were
    bool restart = false; // cards in use go when the system is started anew
};

// Removes all nodes and the driver's package. Throws std::runtime_error.
Removal uninstall_device_nodes();

// Nodes that there are, started or not.
uint32_t device_node_count();

} // namespace tarn::vcard
