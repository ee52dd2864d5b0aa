// Which part of the process image a command works on.
#pragma once

#include "command.h"
#include "image.h"

namespace tarn {

// As the command line gives it.
struct Selection {
    std::optional<uint32_t> slave;
    std::optional<uint32_t> offset; // bytes, in the image or in the slave's run
    std::optional<uint32_t> length; // bytes
    std::optional<BitRun> bits;     // the same in bits
    Area area;
    Format format;
};

// The same part, resolved on the running bus.
struct Place {
    Area area;
    Format format;
    BitRun run;     // in the image
    bool as_number; // rather one number than bytes
    bool exact;     // the run was asked for in this width
};

extern const char *const kSelectionHelp;

// --slave, --offset, --length, --bit and --format.
void add_part_options(CLI::App *command, Selection &selection);
// The same and --area.
void add_selection(CLI::App *command, Selection &selection, const char *default_area);

// `values` typed values give the length where nothing else does; 0: all that follows. Throws
// Failure when the part is not in the image.
Place resolve(EcatHandle *channel, const Selection &selection, uint32_t values);

// The same for a part that is shown: throws UsageError when a typed format does not divide it.
Place resolve_to_show(EcatHandle *channel, const Selection &selection);

// Bytes of a file or of standard input for a place, whose run is made as long as they are. Throws
// Failure, which says where they are, when they do not fit.
BitData whole_bytes(std::vector<uint8_t> bytes, const char *where, Place &place);

// A status that says that a slave behind the data is not active: a warning, and "warning" in an
// object. Nothing for status 0.
void warn_not_ready(uint32_t status);
void add_warning(Json &json, uint32_t status);

// What was written on the command line, or standard input for "-", with the run of the place made
// as long as it. Throws UsageError, or Failure when it does not fit the place.
BitData given_values(EcatHandle *channel, const Selection &selection,
                     const std::vector<std::string> &values, Place &place);

// Area, bit and bits, as the beginning of a document.
Json run_json(const Place &place);

// Lines of a value, as show() makes them.
std::vector<std::string> show(const Place &place, const BitData &data);

} // namespace tarn
