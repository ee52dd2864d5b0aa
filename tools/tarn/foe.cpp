// tarn foe read, tarn foe write
#include "byte_output.h"
#include "host_file.h"
#include "progress.h"
#include "slave_service.h"

#include <pci_tarn/pci_tarn.h>

#include <algorithm>
#include <iterator>

namespace tarn {

namespace {

struct FoeArguments {
    SlaveChoice slave;
    std::string name; // on the slave
    std::string file; // here
};

// What a status means for a file of a slave, where that is not what it means otherwise.
constexpr struct {
    uint32_t status;
    const char *hint;
} kHints[] = {
    {PCI_TARN_E_OPEN_FILE, "the slave has no file of this name, or not in its present state"},
    {PCI_TARN_E_READ_FILE, "the slave has no file of this name, or does not give it in its present "
                           "state"},
    {PCI_TARN_E_WRITE_FILE, "the slave does not take the file; is the name right, is there room, "
                            "and does it take files in its present state? Many take firmware in "
                            "BOOT only: tarn state --set BOOT"},
    {PCI_TARN_E_SLAVE_STATE, "the slave takes this file in another state; firmware, for example, "
                             "often in BOOT only: tarn state --set BOOT"},
    {PCI_TARN_E_BUSY, "the slave still works on a file; try again in a moment"},
    {PCI_TARN_E_NO_RIGHTS, "the slave protects the file, for example with a password, and none can "
                           "be sent"},
    {PCI_TARN_E_NOT_PERMITTED, "the slave does not allow it; can the file only be read, or is it "
                               "one for BOOT (tarn state --set BOOT)?"},
};

std::string foe_hint(uint32_t status) {
    const auto *found = std::find_if(std::begin(kHints), std::end(kHints),
                                     [&](const auto &known) { return known.status == status; });
    return found != std::end(kHints) ? found->hint : "";
}

void check_foe(EcatHandle *channel, const FoeArguments &arguments, uint32_t status,
               const std::string &what) {
    constexpr uint32_t kGivenUp = UINT32_MAX; // a transfer has no status of its own
    if (status == kGivenUp) {
        throw Failure(what, "the copy between this computer and the card was given up; is the card "
                            "alive (tarn board heartbeat)? Then try again");
    }
    check_service(channel, arguments.slave, status, what, foe_hint(status));
}

void check_name(const std::string &name) {
    if (name.empty()) {
        throw UsageError("the file on the slave needs a name");
    }
    if (name.size() > ECAT_FOE_NAME_MAX) {
        throw Failure(PCI_TARN_E_NAME_TOO_LONG, "the name on the slave has " +
                                                    counted(name.size(), "character") +
                                                    "; nothing was sent");
    }
}

double seconds_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void print_result(const Output &output, const FoeArguments &arguments, const std::string &done,
                  uint64_t size, double seconds) {
    if (output.json()) {
        output.document(Json::object()
                            .set("slave", arguments.slave.position)
                            .set("name", arguments.name)
                            .set("file", printable(arguments.file))
                            .set("length", size)
                            .set("seconds", seconds));
    } else {
        output.line(done + format(", %.2f s", seconds));
    }
}

// ---- how far it is ------------------------------------------------------------------------------
// Between this computer and the card a file goes in pieces; between card and slave it is the card's
// business, and only the time is known.

// Requests of the channel's first mailbox that the card has taken since. The transfers between here
// and the card are such requests, what card and slave do is none.
class TakenRequests {
  public:
    explicit TakenRequests(EcatHandle *channel)
        : taken_(counter_of(static_cast<const uint8_t *>(__EcatGetMailBoxPtr(channel)))),
          before_(*taken_) {}

    [[nodiscard]] uint32_t count() const { return *taken_ - before_; }

  private:
    // The sixth word of the channel's area says where the counter lies.
    static const volatile uint32_t *counter_of(const uint8_t *area) {
        constexpr size_t kPlace = 5;
        return reinterpret_cast<const volatile uint32_t *>(
            area + reinterpret_cast<const volatile uint32_t *>(area)[kPlace]);
    }

    const volatile uint32_t *taken_;
    uint32_t before_;
};

// One request opens the file, each piece is one, one closes it.
Stage stage_of_write(const TakenRequests &taken, uint64_t size) {
    const uint64_t requests = taken.count();
    const uint64_t pieces = (size + PCI_TARN_CHUNK_SIZE - 1) / PCI_TARN_CHUNK_SIZE;
    if (requests >= pieces + 2) {
        return {"slave", "all on the card, which gives it to the slave", size, std::nullopt};
    }
    const uint64_t sent =
        std::min(size, (requests > 0 ? requests - 1 : 0) * uint64_t{PCI_TARN_CHUNK_SIZE});
    const float fraction = size == 0 ? 0.0F : static_cast<float>(sent) / static_cast<float>(size);
    return {"card", size_text(sent) + " on the card", sent, fraction};
}

// The local file grows as it comes.
Stage stage_of_read(const TakenRequests &taken, const std::string &path) {
    if (taken.count() == 0) {
        return {"slave", "the card fetches it from the slave", std::nullopt, std::nullopt};
    }
    std::error_code failed;
    const uintmax_t size = std::filesystem::file_size(path, failed);
    const uint64_t here = failed ? 0 : size;
    return {"card", size_text(here) + " here", here, std::nullopt};
}

// ---- read ---------------------------------------------------------------------------------------

int read(Context &context, const FoeArguments &given) {
    FoeArguments arguments = given;
    check_name(arguments.name);
    const bool to_output = arguments.file == "-";
    if (arguments.file.empty()) {
        arguments.file = last_part(arguments.name);
    }
    const TempFile part(to_output ? std::filesystem::temp_directory_path()
                                  : TempFile::folder_for(arguments.file));
    EcatHandle *channel = context.session.channel();
    const TakenRequests taken(channel);
    const auto start = std::chrono::steady_clock::now();
    const uint32_t status = with_activity(
        "reading \"" + printable(arguments.name) + "\"", context.output.json(),
        [&] {
            return EcatFoERead(channel, arguments.slave.position, part.path().c_str(),
                               arguments.name.c_str());
        },
        [&] { return stage_of_read(taken, part.path()); });
    check_foe(channel, arguments, status,
              "cannot read \"" + printable(arguments.name) + "\" of " + arguments.slave.text());
    const double seconds = seconds_since(start);
    if (to_output) {
        give_bytes(context.output, "-", read_file(part.path()));
        return kSuccess;
    }
    const uint64_t size = std::filesystem::file_size(part.path());
    part.become(arguments.file);
    print_result(context.output, arguments,
                 "Read " + size_text(size) + " of " + arguments.slave.text() + " as " +
                     printable(arguments.file),
                 size, seconds);
    return kSuccess;
}

// ---- write --------------------------------------------------------------------------------------

void send(Context &context, const FoeArguments &arguments, const std::string &local) {
    const uint64_t size = check_sendable(local);
    if (size > ECAT_FOE_FILE_SIZE_MAX) {
        throw Failure(PCI_TARN_E_FOE_TOO_BIG, "\"" + printable(arguments.file) + "\" has " +
                                                  counted(size, "byte") + "; nothing was sent");
    }
    EcatHandle *channel = context.session.channel();
    const auto start = std::chrono::steady_clock::now();
    const TakenRequests taken(channel);
    const uint32_t status = with_activity(
        "writing " + size_text(size), context.output.json(),
        [&] {
            return EcatFoEWrite(channel, arguments.slave.position, local.c_str(),
                                arguments.name.c_str());
        },
        [&] { return stage_of_write(taken, size); });
    check_foe(channel, arguments, status,
              "cannot write \"" + printable(arguments.name) + "\" to " + arguments.slave.text());
    print_result(context.output, arguments,
                 "Wrote " + size_text(size) + " to " + arguments.slave.text() + " as " +
                     printable(arguments.name),
                 size, seconds_since(start));
}

int write(Context &context, const FoeArguments &given) {
    FoeArguments arguments = given;
    const bool from_input = arguments.file == "-";
    if (arguments.name.empty()) {
        if (from_input) {
            throw UsageError("what comes from standard input needs a name: --as NAME");
        }
        arguments.name = last_part(arguments.file);
    }
    check_name(arguments.name);
    if (!from_input) {
        send(context, arguments, arguments.file);
        return kSuccess;
    }
    const TempFile copy(std::filesystem::temp_directory_path());
    write_file(copy.path(), read_standard_input());
    send(context, arguments, copy.path());
    return kSuccess;
}

} // namespace

void add_foe_commands(CLI::App &app, Context &context) {
    CLI::App *foe = app.add_subcommand("foe", "Read or write files of a slave (FoE)");
    foe->require_subcommand(0, 1);
    foe->footer(with_global_options("  tarn foe read 1 log.txt -o slave1-log.txt\n"
                                    "  tarn foe write 1 firmware.efw\n"
                                    "tarn foe read --help and so on explain the options.\n"));

    const auto reading = std::make_shared<FoeArguments>();
    CLI::App *command =
        add_command<FoeArguments>(*foe, context, "read", "Read a file of a slave", reading, read);
    add_slave(command, reading->slave);
    command->add_option("NAME", reading->name, "Name on the slave, at most 127 characters")
        ->required();
    add_output(command, context, reading->file,
               "File to write, - for standard output; the same name without it");
    command->footer(with_global_options(
        "  tarn foe read 1 log.txt\n"
        "  tarn foe read -p 1 log.txt -o - | less\n"
        "A file that cannot be read whole leaves what was here as it was. Leave the channel to "
        "this\ntransfer meanwhile: other requests to the master may disturb it.\n"));

    const auto writing = std::make_shared<FoeArguments>();
    command = add_command<FoeArguments>(*foe, context, "write", "Write a file to a slave", writing,
                                        write);
    add_slave(command, writing->slave);
    command->add_option("FILE", writing->file, "File to send, at most 25 MiB; - for standard input")
        ->required();
    command
        ->add_option("--as", writing->name,
                     "Name on the slave, at most 127 characters; the same without it")
        ->type_name("NAME");
    command->footer(with_global_options(
        "  tarn foe write 1 firmware.efw\n"
        "  tarn foe write 1 build/out.bin --as firmware.efw --timeout 120000\n"
        "Many slaves take firmware in BOOT only: tarn state --set BOOT. The slave answers when it "
        "has\nworked the file in, so give it time with --timeout. How much of a long file is on "
        "the "
        "card is shown, then\nhow long the slave takes. Leave the channel to this "
        "transfer\nmeanwhile: other requests to the master may disturb it.\n"));
}

} // namespace tarn
