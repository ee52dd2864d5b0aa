// tarn-vcard: EtherCAT master cards in software.
#include "vcard/bus/make_eni.h"
#include "vcard/card/wiring.h"
#include "vcard/firmware/update_image.h"
#include "vcard/host/runtime_directory.h"
#include "vcard/program/card_options.h"
#include "vcard/program/fault.h"
#include "vcard/program/platform.h"
#include "vcard/program/service.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace tarn::vcard {

namespace {

constexpr int kSuccess = 0;
constexpr int kFailure = 1;
constexpr int kUsage = 2;

// What the command line has asked for; set by the command that was given.
struct Program {
    CLI::App app{"EtherCAT master cards in software: firmware, bus and slaves, for programs that "
                 "use pci_tarn on a machine without a card.",
                 "tarn-vcard"};
    std::string directory;
    CardOptions cards;
    std::string driver_version = "1.0.0.4";
    MakeEniOptions eni;
    std::vector<std::string> slaves;
    std::string output = "-";
    bool list_kinds = false;
    ImageOptions image;
    std::string input_card = "0";
    std::string input;
    std::string input_source;
    std::string fault_card = "0";
    std::string fault_channel = "0";
    std::string fault_argument;
    std::string fault_number;
    std::string fault_command = "0";
    std::string fault_count = "1";
    std::vector<std::string> arguments; // behind the command
    std::function<int()> run;

    [[nodiscard]] std::string runtime_directory() const {
        return directory.empty() ? user_runtime_directory()
                                 : std::filesystem::absolute(directory).string();
    }
    [[nodiscard]] ServiceOptions service() const {
        ServiceOptions options{runtime_directory(), make_cards(cards),
                               parse_driver_version(driver_version), arguments};
        settle_flash_files(options.cards, options.directory);
        return options;
    }
};

CLI::App *add_command(Program &program, const char *name, const char *text,
                      std::function<int()> run) {
    CLI::App *command = program.app.add_subcommand(name, text);
    command->callback([&program, run = std::move(run)] { program.run = run; });
    return command;
}

void add_directory(Program &program, CLI::App *command) {
    command->add_option("--dir", program.directory, kDirectoryHelp)->type_name("DIR");
}

void add_card_options(Program &program, CLI::App *command) {
    add_directory(program, command);
    command
        ->add_option(
            "--cards", program.cards.count,
            "How many cards. Those without a --card are named tarn0, tarn1 and so on, with "
            "the same number as alias")
        ->type_name("N")
        ->check(CLI::Range(1, 16));
    command->add_option("--card", program.cards.cards, "One card; may be given several times")
        ->type_name("KEY=VALUE,...")
        ->allow_extra_args(false);
    command
        ->add_option("--each", program.cards.each, "The same for all cards; --card goes before it")
        ->type_name("KEY=VALUE,...");
    command
        ->add_option("--network", program.cards.network,
                     "ENI file of the network that all cards are wired to; without it each card "
                     "makes the network that it is told of")
        ->type_name("FILE");
    add_driver_options(*command, program.driver_version);
    command->footer("Keys of a card:\n" + card_key_help() +
                    "\nExamples:\n"
                    "  tarn-vcard " +
                    command->get_name() +
                    "\n"
                    "  tarn-vcard " +
                    command->get_name() +
                    " --cards 2\n"
                    "  tarn-vcard " +
                    command->get_name() +
                    " --card name=axis,alias=3,generation=1,slots=64,slot-size=1024 --card "
                    "name=io,channels=1\n"
                    "  tarn-vcard " +
                    command->get_name() + " --network machine.xml");
}

void add_service_commands(Program &program) {
    add_card_options(program, add_command(program, "run", "Serve cards until Ctrl-C", [&program] {
                         run_service(program.service());
                         return kSuccess;
                     }));
    add_card_options(program,
                     add_command(program, "start", "Serve cards in the background", [&program] {
                         start_service(program.service());
                         return kSuccess;
                     }));
    add_directory(program, add_command(program, "stop", "End the background service", [&program] {
                      stop_service(program.runtime_directory());
                      return kSuccess;
                  }));
    add_directory(program,
                  add_command(program, "status",
                              "Show what is served; exit status 1 when nothing is", [&program] {
                                  return print_status(program.runtime_directory()) ? kSuccess
                                                                                   : kFailure;
                              }));
}

// ---- make-eni --------------------------------------------------------------------------------

MakeEniSlave parse_slave(const std::string &text) {
    const size_t colon = text.find(':');
    MakeEniSlave slave;
    slave.kind = text.substr(0, colon);
    if (colon != std::string::npos) {
        slave.count = parse_number("count of " + slave.kind, text.substr(colon + 1));
    }
    return slave;
}

void write_file(const std::string &path, const std::string &text) {
    if (path == "-") {
        set_binary_output();
        std::cout << text << std::flush;
        return;
    }
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path + ": " +
                                 std::generic_category().message(errno));
    }
}

int make_eni_command(Program &program) {
    if (program.list_kinds) {
        for (const SlaveKindInfo &kind : slave_kinds()) {
            std::printf("%-10s %s\n", kind.kind, kind.text);
        }
        return kSuccess;
    }
    for (const std::string &slave : program.slaves) {
        program.eni.slaves.push_back(parse_slave(slave));
    }
    write_file(program.output, make_eni(program.eni));
    return kSuccess;
}

void add_make_eni(Program &program) {
    MakeEniOptions &eni = program.eni;
    CLI::App *command = add_command(program, "make-eni", "Write an ENI file for a network",
                                    [&program] { return make_eni_command(program); });
    command->add_option("-o,--output", program.output, "File to write; - is standard output")
        ->type_name("FILE")
        ->capture_default_str();
    command
        ->add_option("--slave", program.slaves,
                     "Slaves of one kind, in the order of the bus; may be given several times")
        ->type_name("KIND[:COUNT]")
        ->allow_extra_args(false);
    command->add_option("--cycle-us", eni.cycle_us, "Cycle time in microseconds")
        ->type_name("US")
        ->capture_default_str();
    command->add_flag("--mapping", eni.logical_mapping,
                      "Give the slaves logical addresses and tell them in the mapping comment");
    command->add_flag("--reversed", eni.reversed_mapping,
                      "Logical addresses in the reverse order of the slaves (with --mapping)");
    command
        ->add_option("--logical-bytes", eni.logical_bytes,
                     "Spread the logical addresses over this many bytes (with --mapping)")
        ->type_name("N");
    command
        ->add_option("--output-bytes", eni.output_bytes,
                     "Bytes of the output image; as many as needed by default")
        ->type_name("N");
    command
        ->add_option("--input-bytes", eni.input_bytes,
                     "Bytes of the input image; as many as needed by default")
        ->type_name("N");
    command->add_flag("--list-kinds", program.list_kinds, "List the kinds of slaves and end");
    command->footer("Examples:\n"
                    "  tarn-vcard make-eni --list-kinds\n"
                    "  tarn-vcard make-eni -o cell.xml --slave coupler --slave dio16:4 --slave "
                    "drive:2\n"
                    "  tarn-vcard make-eni -o fast.xml --slave drive:8 --cycle-us 500 --mapping");
}

// ---- fault -----------------------------------------------------------------------------------

int fault_command(const Program &program, const std::string &name) {
    std::vector<std::string> words = {name};
    if (!program.fault_argument.empty()) {
        words.push_back(program.fault_argument);
    }
    if (!program.fault_number.empty()) {
        words.push_back(program.fault_number);
    }
    if (name == "status") {
        words.push_back(program.fault_command);
        words.push_back(program.fault_count);
    }
    send_fault(program.runtime_directory(), parse_number("card", program.fault_card),
               parse_number("channel", program.fault_channel), words);
    return kSuccess;
}

// A switch, a slave with or without its port, or a number.
std::string check_fault_argument(const std::string &kind, const std::string &text) {
    if (kind == "on|off") {
        return text == "on" || text == "off" ? "" : "\"" + text + "\" is neither on nor off";
    }
    if (kind.starts_with("SLAVE")) {
        parse_slave_place(text);
    } else {
        parse_number(kind, text);
    }
    return "";
}

void add_fault(Program &program) {
    CLI::App *group = program.app.add_subcommand("fault", "Let a card of the running service fail");
    group->require_subcommand(0, 1);
    group->fallthrough();
    add_directory(program, group);
    group->add_option("--card", program.fault_card, "Number of the card")
        ->type_name("N")
        ->capture_default_str();
    group->add_option("--channel", program.fault_channel, "Channel whose bus is meant")
        ->type_name("N")
        ->capture_default_str();
    for (const FaultKind &kind : fault_kinds()) {
        CLI::App *command = group->add_subcommand(kind.name, kind.text);
        const std::string name = kind.name;
        command->callback([&program, name] {
            program.run = [&program, name] { return fault_command(program, name); };
        });
        if (kind.argument[0] != '\0') {
            command->add_option(kind.argument, program.fault_argument, kind.argument)
                ->type_name("")
                ->required()
                ->check([argument = std::string(kind.argument)](const std::string &text) {
                    return check_fault_argument(argument, text);
                });
        }
        if (kind.number[0] != '\0') {
            command->add_option(kind.number, program.fault_number, kind.number)
                ->type_name("")
                ->required()
                ->check([number = std::string(kind.number)](const std::string &text) {
                    return check_fault_argument(number, text);
                });
        }
        if (name == "status") {
            command
                ->add_option("--command", program.fault_command,
                             "Only requests with this command code; 0: any")
                ->type_name("CODE")
                ->capture_default_str();
            command->add_option("--count", program.fault_count, "That many requests")
                ->type_name("N")
                ->capture_default_str();
        }
    }
    group->footer("Examples:\n"
                  "  tarn-vcard fault drop 1\n"
                  "  tarn-vcard fault --card 1 delay 50\n"
                  "  tarn-vcard fault status 32775 --command 9 --count 3\n"
                  "  tarn-vcard fault --channel 1 unplug 4\n"
                  "  tarn-vcard fault unplug 2:1\n"
                  "  tarn-vcard fault al-status 2 0x1a\n"
                  "  tarn-vcard fault clear");
}

// ---- make-image ------------------------------------------------------------------------------

int make_image_command(const Program &program) {
    const std::vector<uint8_t> image = make_update_image(program.image);
    write_file(program.output, {image.begin(), image.end()});
    return kSuccess;
}

void add_make_image(Program &program) {
    ImageOptions &image = program.image;
    CLI::App *command =
        add_command(program, "make-image", "Write a firmware image that a card takes as an update",
                    [&program] { return make_image_command(program); });
    command->add_option("-o,--output", program.output, "File to write; - is standard output")
        ->type_name("FILE")
        ->required();
    command->add_option("--version", image.version, "Firmware version that the card shows then")
        ->type_name("TEXT")
        ->required();
    command->add_option("--model", image.model, "Card model that the image is for")
        ->type_name("TEXT")
        ->capture_default_str();
    command->add_option("--size", image.size, "Bytes of the file")
        ->type_name("N")
        ->capture_default_str();
    std::string kinds;
    for (const ImageKind &kind : broken_image_kinds()) {
        std::string name = kind.name;
        name.resize(16, ' ');
        kinds += "  " + name + kind.text + "\n";
    }
    command->add_option("--broken", image.broken, "Break the image in one way")->type_name("KIND");
    command->footer("Kinds of broken images:\n" + kinds +
                    "\nExamples:\n"
                    "  tarn-vcard make-image --version 1.14.0 -o update.bin\n"
                    "  tarn-vcard make-image --version 1.14.0 --size 9437184 -o large.bin\n"
                    "  tarn-vcard make-image --version 1.14.0 --broken checksum -o bad.bin");
}

// ---- input -----------------------------------------------------------------------------------

int input_command(const Program &program) {
    Wiring().apply(program.input + ":" + program.input_source);
    wire_input(program.runtime_directory(), parse_number("card", program.input_card), program.input,
               program.input_source);
    return kSuccess;
}

void add_input(Program &program) {
    CLI::App *command =
        add_command(program, "input", "Wire a digital input of a card of the running service",
                    [&program] { return input_command(program); });
    add_directory(program, command);
    command->add_option("--card", program.input_card, "Number of the card")
        ->type_name("N")
        ->capture_default_str();
    command->add_option("INPUT", program.input, "Input, 0 to 31, or all")
        ->type_name("")
        ->required();
    command
        ->add_option("SOURCE", program.input_source,
                     "out0 to out31, pwm0 to pwm3, pulse0 to pulse3, high, low, open, or straight "
                     "(the output of the same number)")
        ->type_name("")
        ->required();
    command->footer("Examples:\n"
                    "  tarn-vcard input 3 high\n"
                    "  tarn-vcard input --card 1 0 pulse2\n"
                    "  tarn-vcard input all straight");
}

int run(int argc, char **argv) {
    Program program;
    program.app.require_subcommand(0,
                                   1); // a missing command is reported below, a wrong one as such
    program.app.footer("tarn-vcard COMMAND --help explains a command and gives examples.\n"
                       "Exit status: 0 success, 1 failure, 2 wrong usage.");
    program.arguments.assign(argv + std::min(argc, 2), argv + argc);
    add_service_commands(program);
    add_driver_commands(program.app, program.run);
    add_make_eni(program);
    add_make_image(program);
    add_fault(program);
    add_input(program);
    try {
        program.app.parse(argc, argv);
        if (!program.run) {
            throw std::invalid_argument("a command is missing; tarn-vcard --help lists them");
        }
        return program.run();
    } catch (const CLI::ParseError &error) {
        return program.app.exit(error) == 0 ? kSuccess : kUsage;
    } catch (const std::invalid_argument &error) {
        std::fprintf(stderr, "tarn-vcard: %s\n", error.what());
        return kUsage;
    }
}

} // namespace

} // namespace tarn::vcard

int main(int argc, char **argv) {
    try {
        return tarn::vcard::run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "tarn-vcard: %s\n", error.what());
        return 1;
    }
}
