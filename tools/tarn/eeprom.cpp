// tarn eeprom read, tarn eeprom write, tarn eeprom decode
#include "byte_output.h"
#include "host_file.h"
#include "progress.h"
#include "sii.h"
#include "slave_service.h"
#include "terminal.h"

#include <pci_tarn/pci_tarn.h>

#include <algorithm>
#include <filesystem>

namespace tarn {

namespace {

constexpr size_t kReadPiece = 512; // bytes of one request
constexpr size_t kWritePiece = 64;

// From replace() on Ctrl-C only sets a flag: a slave does not start with half of an image.
void put_off_interrupt() {
    static bool told = false;
    if (terminal::interrupted() && !told) {
        told = true;
        Output::warning("Ctrl-C comes too late, the EEPROM is written to its end");
    }
}

// The EEPROM of one slave.
class Eeprom {
  public:
    Eeprom(Context &context, const SlaveChoice &slave)
        : slave_(slave), json_(context.output.json()), channel_(context.session.channel()) {}

    // `place` is an even byte.
    [[nodiscard]] std::vector<uint8_t> read(size_t place, size_t length) const {
        std::vector<uint8_t> data(length);
        Progress progress("reading", json_);
        for (size_t done = 0; done < length;) {
            const size_t piece = std::min(kReadPiece, length - done);
            check_service(channel_, slave_,
                          EcatSlaveEepromRead(channel_, slave_.position, word(place + done),
                                              static_cast<uint16_t>(piece), data.data() + done),
                          format("cannot read the EEPROM of %s at word 0x%04x",
                                 slave_.text().c_str(), word(place + done)));
            done += piece;
            show(progress, done, length);
        }
        return data;
    }

    // Bytes that it has; 0 when it does not tell.
    [[nodiscard]] size_t size() const { return sii_declared_size(read(0, kSiiHeaderSize)); }

    // Writes what differs from what is there.
    void write(const std::vector<uint8_t> &wanted, const std::vector<uint8_t> &there) const {
        Progress progress("writing", json_);
        for (size_t done = 0; done < wanted.size();) {
            const size_t piece = std::min(kWritePiece, wanted.size() - done);
            const auto first = wanted.begin() + static_cast<std::ptrdiff_t>(done);
            const auto before = there.begin() + static_cast<std::ptrdiff_t>(done);
            if (!std::equal(first, first + static_cast<std::ptrdiff_t>(piece), before)) {
                check_service(channel_, slave_,
                              EcatSlaveEepromWrite(channel_, slave_.position, word(done),
                                                   static_cast<uint16_t>(piece), &*first),
                              format("cannot write the EEPROM of %s at word 0x%04x; what lies "
                                     "before it is written",
                                     slave_.text().c_str(), word(done)));
            }
            done += piece;
            show(progress, done, wanted.size());
        }
    }

  private:
    static uint16_t word(size_t place) { return static_cast<uint16_t>(place / 2); }

    // Most of it is over before it is worth telling.
    static void show(Progress &progress, size_t done, size_t of) {
        put_off_interrupt();
        constexpr double kPatience = 1.0; // seconds
        if (progress.seconds() > kPatience) {
            progress.show(static_cast<float>(done) / static_cast<float>(of));
        }
    }

    SlaveChoice slave_;
    bool json_;
    EcatHandle *channel_;
};

Failure unknown_size(const SlaveChoice &slave) {
    return Failure("the EEPROM of " + slave.text() + " does not tell its size; is it empty?",
                   "read a part of it: --address WORD --length BYTES");
}

std::vector<uint8_t> read_all(const Eeprom &eeprom, const SlaveChoice &slave) {
    const size_t size = eeprom.size();
    if (size == 0) {
        throw unknown_size(slave);
    }
    return eeprom.read(0, size);
}

// ---- read ---------------------------------------------------------------------------------------

struct ReadArguments {
    SlaveChoice slave;
    std::optional<uint32_t> address; // word
    std::optional<uint32_t> length;  // bytes
    std::string file;
};

int read(Context &context, const ReadArguments &arguments) {
    const size_t place = 2 * size_t{arguments.address.value_or(0)};
    if (arguments.length && *arguments.length > kSiiSizeMax - place) {
        throw UsageError("an EEPROM ends at word 0x10000, at the latest");
    }
    const Eeprom eeprom(context, arguments.slave);
    size_t length = arguments.length.value_or(0);
    if (!arguments.length) {
        const size_t size = eeprom.size();
        if (size == 0) {
            throw unknown_size(arguments.slave);
        }
        if (place >= size) {
            throw UsageError(
                format("the EEPROM ends at word 0x%04x", static_cast<unsigned>(size / 2)));
        }
        length = size - place;
    }
    const std::vector<uint8_t> data = eeprom.read(place, length);
    const Output &output = context.output;
    return give_result(output, arguments.file, data,
                       {Json::object()
                            .set("slave", arguments.slave.position)
                            .set("address", place / 2)
                            .set("length", data.size()),
                        " of the EEPROM of " + arguments.slave.text(),
                        [&](Json &document) { document.set("hex", hex(data, false)); },
                        [&] { output.text(hex_dump(static_cast<uint32_t>(place), data, 5)); }});
}

// ---- write --------------------------------------------------------------------------------------

struct WriteArguments {
    SlaveChoice slave;
    std::string file;
    std::optional<uint32_t> alias;
    std::string backup;
    bool force = false;
    bool rollback = false;
};

// The file, when it is an image that an EEPROM may have.
std::vector<uint8_t> image_from_file(const WriteArguments &arguments) {
    std::vector<uint8_t> image = read_file_or_input(arguments.file);
    const std::string name = "\"" + printable(arguments.file) + "\"";
    if (image.empty() || image.size() > kSiiSizeMax) {
        throw Failure(name + " has " + counted(image.size(), "byte") +
                          ", and an EEPROM has at most " + std::to_string(kSiiSizeMax),
                      "nothing was written");
    }
    const std::vector<std::string> problems = parse_sii(image).problems;
    if (!problems.empty() && !arguments.force) {
        throw Failure(name + " is no good EEPROM image: " + joined(problems, "; "),
                      "nothing was written; --force writes it all the same");
    }
    if (image.size() % 2 != 0) {
        image.push_back(0xFF);
    }
    return image;
}

// What is there, with another alias and the checksum that belongs to it.
std::vector<uint8_t> image_with_alias(std::vector<uint8_t> image, uint32_t alias) {
    constexpr size_t kChecksum = kSiiConfigSize - 2;
    image[kSiiAliasOffset] = static_cast<uint8_t>(alias);
    image[kSiiAliasOffset + 1] = static_cast<uint8_t>(alias >> 8);
    image[kChecksum] = sii_checksum(image);
    image[kChecksum + 1] = 0;
    return image;
}

constexpr const char *kForce = "nothing was written; --force writes it all the same";

void check_size(const WriteArguments &arguments, const std::vector<uint8_t> &image, size_t size) {
    if (arguments.force) {
        return;
    }
    if (size == 0) {
        throw Failure("the EEPROM of " + arguments.slave.text() +
                          " does not tell its size; is it empty?",
                      kForce);
    }
    if (image.size() > size) {
        throw Failure("the image has " + counted(image.size(), "byte") + ", and the EEPROM of " +
                          arguments.slave.text() + " has " + std::to_string(size),
                      kForce);
    }
}

void check_belongs(const WriteArguments &arguments, const std::vector<uint8_t> &image,
                   const std::vector<uint8_t> &there) {
    if (arguments.force) {
        return;
    }
    const Sii wanted = parse_sii(image);
    const Sii now = parse_sii(there);
    if (wanted.vendor_id != now.vendor_id || wanted.product_code != now.product_code) {
        throw Failure(format("the image is for vendor 0x%08x, product 0x%08x, and %s is vendor "
                             "0x%08x, product 0x%08x",
                             wanted.vendor_id, wanted.product_code, arguments.slave.text().c_str(),
                             now.vendor_id, now.product_code),
                      kForce);
    }
}

// A name that no file has yet, so that the first backup is never lost.
std::string free_backup_name(const SlaveChoice &slave) {
    const std::string begin = "eeprom-slave" + std::to_string(slave.position);
    std::string name = begin + ".bin";
    std::error_code ignored;
    for (unsigned i = 2; std::filesystem::exists(name, ignored); ++i) {
        name = begin + "-" + std::to_string(i) + ".bin";
    }
    return name;
}

size_t bytes_changed(const std::vector<uint8_t> &image, const std::vector<uint8_t> &there) {
    size_t changed = 0;
    for (size_t i = 0; i < image.size(); ++i) {
        changed += image[i] != there[i] ? 1U : 0U;
    }
    return changed;
}

// Throws Failure when the slave does not have the image.
void verify(const Eeprom &eeprom, const std::vector<uint8_t> &image) {
    const std::vector<uint8_t> now = eeprom.read(0, image.size());
    const auto [wrong, right] = std::mismatch(now.begin(), now.end(), image.begin());
    if (wrong != now.end()) {
        throw Failure(format("at byte 0x%05x the EEPROM reads 0x%02x, and 0x%02x was written",
                             static_cast<unsigned>(wrong - now.begin()), unsigned{*wrong},
                             unsigned{*right}));
    }
}

std::string how_to_put_back(const WriteArguments &arguments, const std::string &backup) {
    return "put back what was there: tarn eeprom write " +
           std::to_string(arguments.slave.position) + " " + printable(backup) + " --force";
}

// The hint that goes with what has failed.
std::string roll_back(const Eeprom &eeprom, const WriteArguments &arguments,
                      const std::string &backup, const std::vector<uint8_t> &before) {
    try {
        eeprom.write(before, eeprom.read(0, before.size()));
        verify(eeprom, before);
    } catch (const Failure &again) {
        return "writing back what was there failed, too: " + again.reason() +
               "; do not switch the slave off; when it answers again " +
               how_to_put_back(arguments, backup);
    }
    return "what was there before has been written back and read again; it is also in " +
           printable(backup);
}

// Throws Failure with what to do next when the slave does not take or does not keep the image.
void replace(const Eeprom &eeprom, const WriteArguments &arguments, const std::string &backup,
             const std::vector<uint8_t> &image, const std::vector<uint8_t> &there) {
    terminal::catch_interrupt();
    try {
        eeprom.write(image, there);
        verify(eeprom, image);
    } catch (const Failure &failure) {
        const auto end = there.begin() + static_cast<std::ptrdiff_t>(image.size());
        const std::string hint = arguments.rollback
                                     ? roll_back(eeprom, arguments, backup, {there.begin(), end})
                                     : "do not switch the slave off; when it answers again " +
                                           how_to_put_back(arguments, backup);
        throw failure.status() != 0 ? Failure(failure.status(), failure.reason(), hint)
                                    : Failure(failure.reason(), hint);
    }
}

void print_written(const Output &output, const WriteArguments &arguments, size_t changed,
                   const std::string &backup) {
    if (output.json()) {
        output.document(Json::object()
                            .set("slave", arguments.slave.position)
                            .set("changed", changed)
                            .set("backup", backup.empty() ? Json() : Json(printable(backup)))
                            .set("restart_needed", changed != 0));
    } else if (changed == 0) {
        output.line("The EEPROM of " + arguments.slave.text() +
                    " has this content already, nothing was written");
    } else {
        output.line("Wrote the EEPROM of " + arguments.slave.text() + ", " +
                    counted(changed, "byte") + " changed, and read it back");
        output.line("What was there is in " + printable(backup));
        output.line("The slave takes it over when it is switched off and on; then start the bus "
                    "again");
    }
}

int write(Context &context, const WriteArguments &arguments) {
    if (arguments.file.empty() == !arguments.alias.has_value()) {
        throw UsageError("write what, FILE or --alias N?");
    }
    if (!arguments.backup.empty() && is_same_file(arguments.backup, arguments.file)) {
        throw UsageError("the backup would replace the image that is to be written");
    }
    std::vector<uint8_t> image;
    if (!arguments.alias) {
        image = image_from_file(arguments);
    }
    const Eeprom eeprom(context, arguments.slave);
    const size_t size = eeprom.size();
    check_size(arguments, image, size);
    const std::vector<uint8_t> there =
        eeprom.read(0, std::max({size, image.size(), kSiiHeaderSize}));
    if (arguments.alias) {
        image = image_with_alias(there, *arguments.alias);
    }
    check_belongs(arguments, image, there);
    const size_t changed = bytes_changed(image, there);
    std::string backup;
    if (changed != 0) {
        backup = arguments.backup.empty() ? free_backup_name(arguments.slave) : arguments.backup;
        replace_file(backup, there);
        replace(eeprom, arguments, backup, image, there);
    }
    print_written(context.output, arguments, changed, backup);
    return kSuccess;
}

// ---- decode -------------------------------------------------------------------------------------

struct DecodeArguments {
    std::string source; // a position or a file
};

std::vector<uint8_t> read_source(Context &context, const std::string &source) {
    const std::optional<uint64_t> position = parse_unsigned(source);
    if (!position) {
        return read_file_or_input(source);
    }
    if (*position > UINT16_MAX) {
        throw UsageError("\"" + source + "\" is no slave position from 0 to 65535");
    }
    const SlaveChoice slave{static_cast<uint16_t>(*position)};
    return read_all(Eeprom(context, slave), slave);
}

int decode(Context &context, const DecodeArguments &arguments) {
    const std::vector<uint8_t> data = read_source(context, arguments.source);
    const Sii sii = parse_sii(data);
    if (data.size() < kSiiHeaderSize) {
        throw Failure("\"" + printable(arguments.source) +
                          "\" is no EEPROM image: " + joined(sii.problems, "; "),
                      "tarn eeprom read SLAVE -o FILE makes one");
    }
    if (context.output.json()) {
        context.output.document(sii_json(sii));
    } else {
        print_sii(context.output, sii);
    }
    return sii.problems.empty() ? kSuccess : kFailure;
}

// ---- command line -------------------------------------------------------------------------------

void add_read(CLI::App &eeprom, Context &context) {
    const auto arguments = std::make_shared<ReadArguments>();
    CLI::App *command =
        add_command<ReadArguments>(eeprom, context, "read", "Show or save it", arguments, read);
    add_slave(command, arguments->slave);
    add_number(command, "--address", arguments->address, "First word; the whole without it", "WORD",
               0, UINT16_MAX);
    add_number(command, "--length", arguments->length, "Number of bytes; to the end without it",
               "BYTES", 1, kSiiSizeMax);
    add_output(command, context, arguments->file);
    command->footer(
        with_global_options("  tarn eeprom read 2\n"
                            "  tarn eeprom read 2 -o slave2.bin\n"
                            "  tarn eeprom read -p 2 --address 0x08 --length 16\n"
                            "Addresses count words of two bytes, the dump counts bytes.\n"));
}

void add_write(CLI::App &eeprom, Context &context) {
    const auto arguments = std::make_shared<WriteArguments>();
    CLI::App *command = add_command<WriteArguments>(
        eeprom, context, "write", "Write an image or the alias", arguments, write);
    add_slave(command, arguments->slave);
    command->add_option("FILE", arguments->file, "Image to write; - for standard input");
    add_number(command, "--alias", arguments->alias, "Change only the station alias", "N", 0,
               UINT16_MAX);
    command
        ->add_option("--backup", arguments->backup,
                     "Where to save what is there now, also over another file; eeprom-slaveN.bin "
                     "without it")
        ->type_name("FILE");
    command->add_flag("--force", arguments->force,
                      "Write an image that is not good, or is for another slave");
    command->add_flag("--rollback", arguments->rollback,
                      "Put back what was there when the slave does not take or keep the image");
    command->footer(with_global_options(
        "  tarn eeprom write 2 slave2.bin\n"
        "  tarn eeprom write -p 2 --alias 1001\n"
        "The image is checked (checksum, sizes, categories, identity of the slave), what is there "
        "is saved,\nwhat differs is written and read back. The slave takes it over when it is "
        "switched off and on.\nOnce it is being written, Ctrl-C does not end it.\n"));
}

} // namespace

void add_eeprom_commands(CLI::App &app, Context &context) {
    CLI::App *eeprom = app.add_subcommand("eeprom", "Read, write or decode a slave's EEPROM (SII)");
    eeprom->require_subcommand(0, 1);
    add_read(*eeprom, context);
    add_write(*eeprom, context);
    const auto arguments = std::make_shared<DecodeArguments>();
    CLI::App *command = add_command<DecodeArguments>(*eeprom, context, "decode",
                                                     "Explain the EEPROM of a slave, or an image",
                                                     arguments, decode);
    command
        ->add_option("SLAVE|FILE,-p,--slave", arguments->source,
                     "Position of a slave, or a file; - for standard input")
        ->type_name("SOURCE")
        ->required();
    command->footer(with_global_options(
        "  tarn eeprom decode 2\n"
        "  tarn eeprom decode slave2.bin --json\n"
        "Exit status 1 when something is wrong in it. A file whose name is a number is given as "
        "./2.\n"));
    eeprom->footer(with_global_options("  tarn eeprom decode 2\n"
                                       "  tarn eeprom read 2 -o slave2.bin\n"
                                       "  tarn eeprom write 2 slave2.bin\n"
                                       "tarn eeprom read --help and so on explain the options.\n"));
}

} // namespace tarn
