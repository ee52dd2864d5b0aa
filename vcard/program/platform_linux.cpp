#include "vcard/program/platform.h"

namespace tarn::vcard {

const char *const kDirectoryHelp =
    "Folder of the sockets, the pid file and the log. The library looks in "
    "$XDG_RUNTIME_DIR/pci_tarn (/tmp/pci_tarn-UID without that variable), then in /run/pci_tarn";

void add_driver_options(CLI::App &command, std::string &driver_version) {
    command.add_option("--driver-version", driver_version, "What the driver says it is")
        ->type_name("A.B.C.D")
        ->capture_default_str();
}

// The cards are sockets; nothing has to be installed.
void add_driver_commands(CLI::App &, std::function<int()> &) {}

void set_binary_output() {}

} // namespace tarn::vcard
