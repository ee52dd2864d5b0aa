// What the commands about the card itself share.
#pragma once

#include "command.h"

namespace tarn {

// pwm and pulse of "tarn board".
void add_timer_commands(CLI::App &board, Context &context);

// Reads the word by which a card is told to reset; it goes back to 0 when that is done.
bool reset_request(BoardHandle *board, uint32_t &value);

} // namespace tarn
