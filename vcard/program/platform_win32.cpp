#include "vcard/program/platform.h"

#include "vcard/host/device_nodes_win32.h"
#include "vcard/program/program_path_win32.h"

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <filesystem>
#include <memory>

namespace tarn::vcard {

namespace {

std::string driver_beside_the_program() {
    return (std::filesystem::path(program_path()).parent_path() / "tarn_vcard.inf").string();
}

const char *plural(uint32_t count) {
    return count == 1 ? "" : "s";
}

int install(uint32_t cards, const std::string &inf) {
    const Installation installation = install_device_nodes(cards, inf);
    std::printf("there are device nodes for %u card%s\n", installation.nodes,
                plural(installation.nodes));
    if (installation.restart) {
        std::printf("restart the system before you use them\n");
    }
    return 0;
}

int uninstall() {
    const Removal removal = uninstall_device_nodes();
    std::printf("removed the device nodes of %u card%s\n", removal.nodes, plural(removal.nodes));
    if (removal.restart) {
        std::printf("some are still in use; restart the system to be rid of them\n");
    }
    return 0;
}

} // namespace

const char *const kDirectoryHelp =
    "Folder of the pid file and the log; %LOCALAPPDATA%\\pci_tarn by default";

// The version is the one of the INF file.
void add_driver_options(CLI::App &, std::string &) {}

void add_driver_commands(CLI::App &app, std::function<int()> &run) {
    struct Options {
        uint32_t cards = 1;
        std::string inf = driver_beside_the_program();
    };
    const auto options = std::make_shared<Options>();
    CLI::App *command =
        app.add_subcommand("install", "Install the driver and make device nodes for cards; needs "
                                      "administrator rights");
    command->add_option("--cards", options->cards, "For how many cards")
        ->type_name("N")
        ->check(CLI::Range(uint32_t{1}, kMaxDeviceNodes))
        ->capture_default_str();
    command
        ->add_option("--inf", options->inf,
                     "The driver; tarn_vcard.inf beside this program "
                     "by default")
        ->type_name("FILE");
    command->callback(
        [options, &run] { run = [options] { return install(options->cards, options->inf); }; });
    command->footer("Examples:\n"
                    "  tarn-vcard install\n"
                    "  tarn-vcard install --cards 4");
    command = app.add_subcommand("uninstall", "Remove all device nodes and the driver's package; "
                                              "needs administrator rights");
    command->callback([&run] { run = uninstall; });
}

void set_binary_output() {
    _setmode(_fileno(stdout), _O_BINARY);
}

} // namespace tarn::vcard
