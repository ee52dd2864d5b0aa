// What the commands about the card itself share.
#pragma once

#include "command.h"

namespace tarn {

// pwm and pulse of "tarn board".
void add_timer_commands(CLI::App &board, Context &context);

} // namespace tarn
