// What differs between the consoles of the operating systems.
#pragma once

#include <cstdio>
#include <string>

namespace tarn::terminal {

// Stream for the tool's own results. The library prints its messages to standard output; from here
// on they go to standard error instead, so that results stay clean for pipes and JSON readers.
FILE *take_output();

// Whether the stream is a terminal that understands cursor movement; switches that on.
bool is_terminal(FILE *stream);

struct Size {
    unsigned columns = 80;
    unsigned rows = 24;
};
// Of a terminal; the usual size when unknown.
Size size(FILE *stream);

// From here on Ctrl-C, and a request to end, only sets a flag.
void catch_interrupt();
bool interrupted();

// A file that goes when Ctrl-C ends the program; none for an empty path. The last one counts.
void remove_on_interrupt(const std::string &path);

// Raw bytes: no line-end conversion.
void set_binary(FILE *stream);

} // namespace tarn::terminal
