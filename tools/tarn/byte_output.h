// Bytes that a command shows, or saves where -o says.
#pragma once

#include "command.h"

#include <functional>
#include <string>
#include <vector>

namespace tarn {

// -o and --output. With --json they do not take "-": standard output is the document then.
CLI::Option *
add_output(CLI::App *command, const Context &context, std::string &file,
           const std::string &description = "Write the bytes to this file, - for standard output");

// Bytes as they are, to a file or, for "-", to standard output. A file is replaced only when all
// is written.
void give_bytes(const Output &output, const std::string &file, const std::vector<uint8_t> &data);

// What a command has to say of bytes that it read.
struct ByteResult {
    Json head;                           // of the document
    std::string place;                   // " of 0x6041:00", after how many were read
    std::function<void(Json &)> members; // adds them to the document
    std::function<void()> show;          // prints them as text
};

// Gives the bytes to the file, or shows them when there is none. Returns the exit status.
int give_result(const Output &output, const std::string &file, const std::vector<uint8_t> &data,
                ByteResult result);

} // namespace tarn
