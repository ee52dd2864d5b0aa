// tarn mem read, tarn mem write
#include "byte_output.h"
#include "esc_registers.h"
#include "host_file.h"
#include "object_value.h"
#include "slave_service.h"

#include <pci_tarn/pci_tarn.h>

#include <algorithm>

namespace tarn {

namespace {

constexpr uint32_t kMemorySize = 0x10000;
constexpr uint32_t kPiece = 4096; // bytes of one request

struct MemoryArguments {
    SlaveChoice slave;
    uint32_t address = 0;
    std::optional<uint32_t> length;
    const ObjectType *type = nullptr;
    std::string file;
    std::optional<std::string> value; // of a write
};

void check_range(uint32_t address, uint64_t length) {
    if (address + length > kMemorySize) {
        throw UsageError(format("the memory of a slave ends at 0x%x", kMemorySize));
    }
}

std::string place_text(const MemoryArguments &arguments, uint32_t address) {
    return format("0x%04x of ", address) + arguments.slave.text();
}

// ---- read ---------------------------------------------------------------------------------------

std::vector<uint8_t> read_memory(EcatHandle *channel, const MemoryArguments &arguments,
                                 uint32_t length) {
    std::vector<uint8_t> data(length);
    for (uint32_t done = 0; done < length;) {
        const uint32_t piece = std::min(kPiece, length - done);
        const uint32_t address = arguments.address + done;
        check_service(channel, arguments.slave,
                      EcatSlaveMemoryRead(channel, arguments.slave.position,
                                          static_cast<uint16_t>(address),
                                          static_cast<uint16_t>(piece), data.data() + done),
                      "cannot read the memory at " + place_text(arguments, address));
        done += piece;
    }
    return data;
}

struct Register {
    EscRegister known;
    uint64_t value;
};

std::vector<Register> registers_in(uint32_t address, const std::vector<uint8_t> &data) {
    std::vector<Register> found;
    for (EscRegister &known : esc_registers(address, static_cast<uint32_t>(data.size()))) {
        const uint64_t value = little_endian(&data[known.address - address], known.size);
        found.push_back({std::move(known), value});
    }
    return found;
}

std::string register_line(const Register &entry) {
    const std::string meaning = esc_meaning(entry.known, entry.value);
    return format("%04x  %-32s 0x%0*llx %llu", entry.known.address, entry.known.name.c_str(),
                  static_cast<int>(2 * entry.known.size),
                  static_cast<unsigned long long>(entry.value),
                  static_cast<unsigned long long>(entry.value)) +
           (meaning.empty() ? "" : "  " + meaning);
}

void print_text(const Output &output, const MemoryArguments &arguments,
                const std::vector<uint8_t> &data) {
    if (arguments.type != nullptr) {
        output.line(object_text(arguments.type, data));
        return;
    }
    const std::vector<Register> registers = registers_in(arguments.address, data);
    const bool one = registers.size() == 1 && registers[0].known.size == data.size();
    if (!one) {
        output.text(hex_dump(arguments.address, data, 4));
    }
    for (const Register &entry : registers) {
        output.line(register_line(entry));
    }
}

void add_members(const MemoryArguments &arguments, const std::vector<uint8_t> &data,
                 Json &document) {
    if (arguments.type != nullptr) {
        object_json(arguments.type, data, document);
        return;
    }
    Json list = Json::array();
    for (const Register &entry : registers_in(arguments.address, data)) {
        Json row = Json::object()
                       .set("address", entry.known.address)
                       .set("size", entry.known.size)
                       .set("name", entry.known.name)
                       .set("value", entry.value);
        const std::string meaning = esc_meaning(entry.known, entry.value);
        if (!meaning.empty()) {
            row.set("meaning", meaning);
        }
        list.add(std::move(row));
    }
    document.set("hex", hex(data, false)).set("registers", std::move(list));
}

// LENGTH, or what the type or the register at the address has.
uint32_t length_of(const MemoryArguments &arguments) {
    const uint32_t size = arguments.type != nullptr ? arguments.type->size() : 0;
    if (arguments.length) {
        if (size != 0 && *arguments.length % size != 0) {
            throw UsageError(counted(*arguments.length, "byte") + " are no whole number of " +
                             arguments.type->name + " values");
        }
        return *arguments.length;
    }
    if (size != 0) {
        return size;
    }
    const std::optional<EscRegister> known = esc_register(arguments.address);
    if (!known) {
        throw UsageError(
            format("0x%04x is no register that is known; give a LENGTH", arguments.address));
    }
    return known->size;
}

int read(Context &context, const MemoryArguments &arguments) {
    const uint32_t length = length_of(arguments);
    check_range(arguments.address, length);
    const std::vector<uint8_t> data = read_memory(context.session.channel(), arguments, length);
    const Output &output = context.output;
    return give_result(output, arguments.file, data,
                       {Json::object()
                            .set("slave", arguments.slave.position)
                            .set("address", arguments.address)
                            .set("length", data.size()),
                        " at " + place_text(arguments, arguments.address),
                        [&](Json &document) { add_members(arguments, data, document); },
                        [&] { print_text(output, arguments, data); }});
}

// ---- write --------------------------------------------------------------------------------------

// Without --type a value is as wide as the register at the address.
std::vector<uint8_t> parse_value(const MemoryArguments &arguments) {
    if (arguments.type != nullptr) {
        return parse_object_value(*arguments.type, *arguments.value);
    }
    const std::optional<EscRegister> known = esc_register(arguments.address);
    if (!known) {
        throw UsageError(format("0x%04x is no register that is known; choose the width with --type",
                                arguments.address));
    }
    return parse_values({}, {*arguments.value}, known->size * 8).bytes;
}

std::vector<uint8_t> data_to_write(const MemoryArguments &arguments) {
    if (arguments.value.has_value() == !arguments.file.empty()) {
        throw UsageError("write what, VALUE or --file FILE?");
    }
    if (!arguments.file.empty() || *arguments.value == "-") {
        return read_file_or_input(arguments.value.value_or(arguments.file));
    }
    return parse_value(arguments);
}

int write(Context &context, const MemoryArguments &arguments) {
    const std::vector<uint8_t> data = data_to_write(arguments);
    if (data.empty()) {
        throw Failure("there is nothing to write", "nothing was sent");
    }
    check_range(arguments.address, data.size());
    EcatHandle *channel = context.session.channel();
    for (size_t done = 0; done < data.size();) {
        const size_t piece = std::min<size_t>(kPiece, data.size() - done);
        const auto address = static_cast<uint32_t>(arguments.address + done);
        check_service(channel, arguments.slave,
                      EcatSlaveMemoryWrite(channel, arguments.slave.position,
                                           static_cast<uint16_t>(address),
                                           static_cast<uint16_t>(piece), data.data() + done),
                      "cannot write the memory at " + place_text(arguments, address));
        done += piece;
    }
    if (context.output.json()) {
        context.output.document(Json::object()
                                    .set("slave", arguments.slave.position)
                                    .set("address", arguments.address)
                                    .set("length", data.size()));
    } else {
        context.output.line("Wrote " + size_text(data.size()) + " at " +
                            place_text(arguments, arguments.address));
    }
    return kSuccess;
}

// ---- command line -------------------------------------------------------------------------------

CLI::App *add_memory_command(CLI::App &memory, Context &context, const char *name,
                             const char *description,
                             const std::shared_ptr<MemoryArguments> &arguments,
                             int (*run)(Context &, const MemoryArguments &)) {
    CLI::App *command =
        add_command<MemoryArguments>(memory, context, name, description, arguments, run);
    add_slave(command, arguments->slave);
    add_number(command, "ADDRESS", arguments->address, "Byte in the slave's memory", "ADDRESS", 0,
               kMemorySize - 1)
        ->required();
    command
        ->add_option_function<std::string>(
            "-t,--type",
            [arguments](const std::string &text) { arguments->type = &parse_object_type(text); },
            kObjectTypeNames)
        ->type_name("TYPE");
    return command;
}

} // namespace

void add_memory_commands(CLI::App &app, Context &context) {
    CLI::App *memory = app.add_subcommand("mem", "Read or write registers and memory of a slave");
    memory->require_subcommand(0, 1);
    memory->footer(with_global_options("  tarn mem read 1 0x130\n"
                                       "  tarn mem read 1 0x0 0x200\n"
                                       "  tarn mem write 1 0x300 0\n"
                                       "tarn mem read --help and so on explain the options.\n"));

    const auto reading = std::make_shared<MemoryArguments>();
    CLI::App *command = add_memory_command(*memory, context, "read",
                                           "Show or save registers and memory", reading, read);
    add_number(command, "LENGTH", reading->length,
               "Number of bytes; that of the type or the register without it", "BYTES", 1,
               kMemorySize);
    add_output(command, context, reading->file);
    command->footer(with_global_options("  tarn mem read 1 0x130\n"
                                        "  tarn mem read -p 1 0x300 0x14\n"
                                        "  tarn mem read 1 0x1000 8 -t int16\n"
                                        "Registers of the slave's controller are shown with their "
                                        "names. Reading some memory, for\nexample a full mailbox, "
                                        "takes away what the master waits for.\n"));

    const auto writing = std::make_shared<MemoryArguments>();
    command =
        add_memory_command(*memory, context, "write", "Write a register or memory", writing, write);
    command->add_option("VALUE", writing->value,
                        "As wide as the type or the register; - reads bytes from standard input");
    command->add_option("--file", writing->file, "Write the bytes of this file")->type_name("FILE");
    command->footer(with_global_options(
        "  tarn mem write 1 0x300 0\n"
        "  tarn mem write 1 0x1100 -t octet_string 0a0b0c\n"
        "  tarn mem write 1 0x1000 --file outputs.bin\n"
        "Nothing checks what a write does: some registers take the slave off the bus.\n"));
}

} // namespace tarn
