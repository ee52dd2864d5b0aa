#include "selection.h"

#include "host_file.h"

namespace tarn {

const char *const kSelectionHelp =
    "Without --offset, --length, --bit or --slave the whole image is meant. Bytes and bits count\n"
    "from 0, bit n is bit n mod 8 of byte n / 8. With --slave they count inside the slave's data,\n"
    "which also works when that does not begin at a whole byte; otherwise in the whole image, at\n"
    "logical addresses when the ENI file maps them.\n";

namespace {

constexpr const char *kTransferred = "the data was transferred all the same";

BitRun parse_bits(const std::string &text) {
    const size_t colon = text.find(':');
    const std::optional<uint64_t> bit = parse_unsigned(text.substr(0, colon));
    const std::optional<uint64_t> count =
        colon == std::string::npos ? 1 : parse_unsigned(text.substr(colon + 1));
    if (!bit || !count || *bit > UINT16_MAX || *count == 0 || *count > UINT16_MAX) {
        throw CLI::ValidationError("--bit", "\"" + text + "\" is no BIT or BIT:COUNT");
    }
    return {static_cast<uint32_t>(*bit), static_cast<uint32_t>(*count)};
}

// The part of a whole (the image, or a slave's run in it) that was selected. Typed values give the
// length when nothing else does; 0 values: all that follows.
BitRun part_of(const BitRun &whole, const Selection &selection, uint32_t values,
               const std::string &name) {
    BitRun part{0, whole.bits};
    if (selection.bits) {
        part = *selection.bits;
    } else if (selection.offset || selection.length) {
        part.bit = 8 * selection.offset.value_or(0);
        part.bits = part.bit < whole.bits ? whole.bits - part.bit : 0;
        if (selection.length) {
            part.bits = 8 * *selection.length;
        } else if (selection.format.typed() && selection.offset && values > 0) {
            part.bits = values * selection.format.bits;
        }
    }
    if (part.bits == 0 || part.bit + part.bits > whole.bits) {
        const std::string at = selection.bits ? "bit " + std::to_string(part.bit)
                                              : "byte " + std::to_string(part.bit / 8);
        throw Failure(PCI_TARN_E_OUT_OF_PI,
                      (part.bits == 0 ? "nothing" : counted(part.bits, "bit")) + " at " + at +
                          " of " + name + ", which has " + counted(whole.bits, "bit"));
    }
    part.bit += whole.bit;
    return part;
}

void check_fits(uint64_t bits, const char *where, const Place &place) {
    if (bits == 0 || bits > place.run.bits) {
        throw Failure(PCI_TARN_E_OUT_OF_PI, counted(bits, "bit") + " " + where + " for " +
                                                counted(place.run.bits, "bit") + " of data");
    }
}

} // namespace

Place resolve(EcatHandle *channel, const Selection &selection, uint32_t values) {
    const Area &area = selection.area;
    const bool output = area.direction == ECAT_PI_DIRECTION_OUTPUT;
    const bool part = selection.bits || selection.offset || selection.length;
    BitRun whole{0, 8 * image_bytes(channel, area)};
    std::string name = std::string("the ") + (output ? "output" : "input") + " image";
    if (selection.slave) {
        const auto slave = static_cast<uint16_t>(*selection.slave);
        name = std::string("the ") + (output ? "outputs" : "inputs") + " of slave " +
               std::to_string(slave);
        whole = slave_run(channel, area.direction, slave);
        if (whole.bits == 0) {
            throw Failure(PCI_TARN_E_NO_PI_REGION, name);
        }
    }
    return {area, selection.format, part_of(whole, selection, values, name),
            selection.slave || selection.bits,
            selection.bits || selection.length || (selection.slave && !part)};
}

BitData given_values(EcatHandle *channel, const Selection &selection,
                     const std::vector<std::string> &values, Place &place) {
    const bool from_input = values == std::vector<std::string>{"-"};
    const auto count = from_input ? 0 : static_cast<uint32_t>(values.size());
    place = resolve(channel, selection, count);
    if (from_input) {
        return whole_bytes(read_standard_input(), "of values", place);
    }
    BitData data = parse_values(place.format, values, place.exact ? place.run.bits : 0);
    check_fits(data.bits, "of values", place);
    place.run.bits = data.bits;
    return data;
}

BitData whole_bytes(std::vector<uint8_t> bytes, const char *where, Place &place) {
    const uint64_t bits = 8 * uint64_t{bytes.size()}; // of a file of any size
    check_fits(bits, where, place);
    place.run.bits = static_cast<uint32_t>(bits);
    return {std::move(bytes), place.run.bits};
}

Place resolve_to_show(EcatHandle *channel, const Selection &selection) {
    Place place = resolve(channel, selection, 1);
    check_whole_values(place.format, place.run.bits);
    return place;
}

void warn_not_ready(uint32_t status) {
    if (status != PCI_TARN_OK) {
        Output::warning(status_text(status) + ": " + kTransferred + "; " + hint_of(status));
    }
}

void add_warning(Json &json, uint32_t status) {
    if (status != PCI_TARN_OK) {
        json.set("warning", Failure(status, kTransferred).json());
    }
}

Json run_json(const Place &place) {
    return Json::object()
        .set("area", place.area.name)
        .set("bit", place.run.bit)
        .set("bits", place.run.bits);
}

std::vector<std::string> show(const Place &place, const BitData &data) {
    return show(place.format, data, place.as_number, place.run.bit / 8);
}

void add_part_options(CLI::App *command, Selection &selection) {
    add_number(command, "-p,--slave", selection.slave, "Data of the slave at this position",
               "POSITION", 0, UINT16_MAX);
    add_number(command, "--offset", selection.offset, "First byte", "BYTE", 0, UINT16_MAX);
    add_number(command, "--length", selection.length, "Number of bytes", "BYTES", 0, UINT16_MAX);
    CLI::Option *bit = command->add_option_function<std::string>(
        "--bit", [&selection](const std::string &text) { selection.bits = parse_bits(text); },
        "First bit, and how many (1)");
    bit->type_name("BIT[:COUNT]");
    bit->excludes(command->get_option("--offset"))->excludes(command->get_option("--length"));
    command
        ->add_option_function<std::string>(
            "--format",
            [&selection](const std::string &text) { selection.format = parse_format(text); },
            kFormatNames)
        ->type_name("FORMAT");
}

void add_selection(CLI::App *command, Selection &selection, const char *default_area) {
    selection.area = parse_area(default_area);
    add_part_options(command, selection);
    command
        ->add_option_function<std::string>(
            "--area", [&selection](const std::string &text) { selection.area = parse_area(text); },
            std::string(kAreaNames) + ", or 0 to 4")
        ->type_name("AREA")
        ->default_str(default_area);
}

} // namespace tarn
