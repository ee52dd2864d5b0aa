// What the commands that ask something of one slave share.
#pragma once

#include "command.h"

#include <string>
#include <vector>

namespace tarn {

// The slave that a command works on.
struct SlaveChoice {
    uint16_t position = 0;

    [[nodiscard]] std::string text() const { return "slave " + std::to_string(position); }
};

// SLAVE, or -p and --slave; one of them is needed.
void add_slave(CLI::App *command, SlaveChoice &slave);

// Throws Failure for a status that is not 0. Where the status alone does not tell, asks for the
// slave's state, because most services need a slave in PREOP or above.
void check_service(EcatHandle *channel, const SlaveChoice &slave, uint32_t status,
                   const std::string &what, const std::string &hint = {});

// Whether a status only refuses what was asked for, so that the slave may be asked for something
// else; otherwise it, the bus or the card does not answer at all.
bool is_refusal(EcatHandle *channel, const SlaveChoice &slave, uint32_t status);

} // namespace tarn
