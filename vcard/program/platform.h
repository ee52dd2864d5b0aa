// What the command line has on one system only.
#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

namespace tarn::vcard {

// What is in the folder of --dir.
extern const char *const kDirectoryHelp;

// Options of the driver, for the commands that serve cards.
void add_driver_options(CLI::App &command, std::string &driver_version);

// Commands for the driver. The one that is given sets `run`.
void add_driver_commands(CLI::App &app, std::function<int()> &run);

// Lets standard output take bytes as they are.
void set_binary_output();

} // namespace tarn::vcard
