// Runs the virtual cards, in the foreground or as a background service, and talks to it.
#pragma once

#include "vcard/card/config.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::vcard {

struct ServiceOptions {
    std::string directory;         // runtime directory
    std::vector<CardConfig> cards; // an empty name of a flash file stands for none
    uint64_t driver_version = 0;
    // What the command line says behind the name of the command, for a system that starts the
    // program once more.
    std::vector<std::string> arguments;
};

// Each returns when its work is done and throws std::runtime_error with a text for the user when it
// could not be done.

// Serves until Ctrl-C, a signal or stop_service() asks it to end.
void run_service(const ServiceOptions &options);

// Starts a process that serves; the cards can be opened when this returns.
void start_service(const ServiceOptions &options);

// Asks the service to end and waits for it.
void stop_service(const std::string &directory);

// Prints what the service serves. False when none runs.
bool print_status(const std::string &directory);

// Sends a fault to the running service.
void send_fault(const std::string &directory, uint32_t card, uint32_t channel,
                const std::vector<std::string> &words);

// Wires a digital input of a card of the running service, or "all" of them.
void wire_input(const std::string &directory, uint32_t card, const std::string &input,
                const std::string &source);

} // namespace tarn::vcard
