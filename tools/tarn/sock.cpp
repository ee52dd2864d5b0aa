// tarn sock send, tarn sock recv
#include "byte_output.h"
#include "host_file.h"
#include "live.h"
#include "terminal.h"
#include "values.h"

#include <tarn_vcard/records.h>

#include <cstring>

namespace tarn {

namespace {

// The library hands over what a slot of the ring carries, of whatever size the firmware made it,
// and never more than this. A message that claims to be longer comes cut to its slot.
constexpr size_t kReceiveBytes = PCI_TARN_CHUNK_SIZE;
constexpr size_t kPieceBytes = 1024;

constexpr struct {
    uint32_t type;
    const char *name;
} kTypes[] = {
    {VCARD_SOCKET_ECHO, "echo"},
    {VCARD_SOCKET_LOG, "log"},
    {VCARD_SOCKET_ERROR, "error"},
};

uint32_t parse_type(const std::string &text) {
    for (const auto &known : kTypes) {
        if (text == known.name) {
            return known.type;
        }
    }
    const std::optional<uint64_t> number = parse_unsigned(text);
    if (!number || *number > UINT32_MAX) {
        throw UsageError("\"" + printable(text) + "\" is no message type: a number, echo or log");
    }
    return static_cast<uint32_t>(*number);
}

std::string type_text(uint32_t type) {
    for (const auto &known : kTypes) {
        if (type == known.type) {
            return std::to_string(type) + " (" + known.name + ")";
        }
    }
    return std::to_string(type);
}

// ---- send ---------------------------------------------------------------------------------------

struct SendArguments {
    std::string type;
    std::vector<std::string> words; // [PARAM] DATA
    std::string file;
    bool hex = false;
};

struct Message {
    uint32_t type = 0;
    uint32_t parameter = 0;
    std::vector<uint8_t> data;
};

std::vector<uint8_t> bytes_of(const std::string &text, bool as_hex) {
    if (!as_hex) {
        return {text.begin(), text.end()};
    }
    return text.empty() ? std::vector<uint8_t>() : parse_hex_bytes(text);
}

Message message_of(const SendArguments &arguments) {
    Message message;
    message.type = parse_type(arguments.type);
    std::vector<std::string> words = arguments.words;
    if (words.size() == 2 || (words.size() == 1 && !arguments.file.empty())) {
        const std::optional<uint64_t> parameter = parse_unsigned(words.front());
        if (!parameter || *parameter > UINT32_MAX) {
            throw UsageError("\"" + printable(words.front()) + "\" is no message parameter");
        }
        message.parameter = static_cast<uint32_t>(*parameter);
        words.erase(words.begin());
    }
    if (!arguments.file.empty() && !words.empty()) {
        throw UsageError("either DATA or --file");
    }
    if (!arguments.file.empty() || words == std::vector<std::string>{"-"}) {
        message.data = read_file_or_input(arguments.file.empty() ? "-" : arguments.file);
    } else if (!words.empty()) {
        message.data = bytes_of(words.front(), arguments.hex);
    } else {
        throw UsageError("DATA or --file is missing");
    }
    return message;
}

int send(Context &context, const SendArguments &arguments) {
    const Message message = message_of(arguments);
    if (message.data.size() > UINT32_MAX) {
        throw Failure("the data is too long", "send it in parts");
    }
    const uint32_t status =
        _EcatSockClientPostData(context.session.channel(), message.type, message.parameter,
                                message.data.data(), static_cast<uint32_t>(message.data.size()));
    if (status != PCI_TARN_OK) {
        throw Failure(status, "cannot send " + counted(message.data.size(), "byte"),
                      "the card does not take what is sent; parts of it may have gone");
    }
    const size_t pieces =
        std::max<size_t>(1, (message.data.size() + kPieceBytes - 1) / kPieceBytes);
    if (context.output.json()) {
        context.output.document(Json::object()
                                    .set("type", message.type)
                                    .set("parameter", message.parameter)
                                    .set("bytes", message.data.size())
                                    .set("pieces", pieces));
        return kSuccess;
    }
    context.output.line("Sent " + counted(message.data.size(), "byte") + " in " +
                        counted(pieces, "piece") + ", type " + type_text(message.type) +
                        ", parameter " + std::to_string(message.parameter));
    return kSuccess;
}

// ---- receive ------------------------------------------------------------------------------------

struct ReceiveArguments {
    uint32_t count = 1;
    bool follow = false;
    bool hex = false;
    std::string output; // file for the bytes alone
};

bool is_text(const std::vector<uint8_t> &data) {
    const std::string text(data.begin(), data.end());
    return !data.empty() && printable(text) == text;
}

std::string refusal_text(const std::vector<uint8_t> &data) {
    VcardSocketError error{};
    std::memcpy(&error, data.data(), sizeof(error));
    return format("refused: type %u, parameter %u, %u bytes: ", error.type, error.parameter,
                  error.length) +
           (error.reason == VCARD_SOCKET_UNKNOWN_TYPE ? "no service has this type"
            : error.reason == VCARD_SOCKET_BAD_LENGTH ? "wrong length"
                                                      : "reason " + std::to_string(error.reason));
}

bool is_refusal(const Message &message) {
    return message.type == VCARD_SOCKET_ERROR && message.data.size() == sizeof(VcardSocketError);
}

Json message_json(const Message &message) {
    Json json = Json::object()
                    .set("type", message.type)
                    .set("bytes", message.data.size())
                    .set("hex", hex(message.data, false));
    if (is_text(message.data)) {
        json.set("text", std::string(message.data.begin(), message.data.end()));
    }
    if (is_refusal(message)) {
        json.set("refusal", refusal_text(message.data));
    }
    return json;
}

std::string message_text(const Message &message, bool as_hex) {
    const std::string head =
        "type " + type_text(message.type) + ", " + counted(message.data.size(), "byte");
    if (message.data.empty()) {
        return head + "\n";
    }
    if (is_refusal(message) && !as_hex) {
        return head + ": " + refusal_text(message.data) + "\n";
    }
    if (is_text(message.data) && !as_hex) {
        return head + ": " + std::string(message.data.begin(), message.data.end()) + "\n";
    }
    return head + "\n" + hex_dump(0, message.data, 4);
}

// One message, or none when none came in the library's half second.
std::optional<Message> receive_one(EcatHandle *channel, std::vector<uint8_t> &buffer) {
    Message message;
    uint32_t length = 0;
    const uint32_t status = _EcatSockClientGetData(channel, &message.type, buffer.data(), &length);
    if (status == PCI_TARN_E_TIMEOUT) {
        return std::nullopt;
    }
    check(status, "cannot receive from the card");
    message.data.assign(buffer.begin(), buffer.begin() + length);
    return message;
}

// What is received goes where the command line wants it, each message when it comes: the card has
// it no more. A JSON list ends with all that came.
class Receiver {
  public:
    Receiver(Context &context, const ReceiveArguments &arguments)
        : output_(context.output), arguments_(arguments) {
        if (!arguments.output.empty() && arguments.output != "-") {
            file_.emplace(arguments.output);
        }
    }

    void take(const Message &message) {
        ++count_;
        if (output_.json()) {
            list_.add(message_json(message));
            return;
        }
        if (arguments_.output == "-") {
            give_bytes(output_, "-", message.data);
            return;
        }
        output_.text(message_text(message, arguments_.hex));
        if (file_) {
            file_->add(message.data);
        }
    }

    void finish() {
        if (output_.json()) {
            output_.document(list_);
        }
    }

    // Returns the exit status.
    int fail(const Failure &failure) {
        Output::error(failure.what());
        if (output_.json()) {
            list_.add(Json::object().set("error", failure.json()));
            output_.document(list_);
        }
        return kFailure;
    }

    [[nodiscard]] uint32_t count() const { return count_; }

  private:
    const Output &output_;
    const ReceiveArguments &arguments_;
    Json list_ = Json::array();
    std::optional<PieceFile> file_;
    uint32_t count_ = 0;
};

// Each message is shown when it comes.
int follow_as_json(Context &context, EcatHandle *channel, std::vector<uint8_t> &buffer) {
    LiveView view(context.output);
    return view.run({.interval_ms = 0, .count = 0}, [&] {
        if (const std::optional<Message> message = receive_one(channel, buffer)) {
            view.add(message_json(*message));
        }
    });
}

void receive_all(EcatHandle *channel, const ReceiveArguments &arguments,
                 std::vector<uint8_t> &buffer, Receiver &receiver) {
    while (!terminal::interrupted() && (arguments.follow || receiver.count() < arguments.count)) {
        const std::optional<Message> message = receive_one(channel, buffer);
        if (message) {
            receiver.take(*message);
        } else if (!arguments.follow) {
            return;
        }
    }
}

int receive(Context &context, const ReceiveArguments &arguments) {
    if (context.output.json() && !arguments.output.empty()) {
        throw UsageError("either --json or --output");
    }
    EcatHandle *channel = context.session.channel();
    terminal::catch_interrupt();
    std::vector<uint8_t> buffer(kReceiveBytes);
    if (arguments.follow && context.output.json()) {
        return follow_as_json(context, channel, buffer);
    }
    Receiver receiver(context, arguments);
    try {
        receive_all(channel, arguments, buffer, receiver);
    } catch (const Failure &failure) {
        if (receiver.count() == 0) {
            throw;
        }
        return receiver.fail(failure);
    }
    if (receiver.count() == 0 && !arguments.follow) {
        throw Failure(PCI_TARN_E_TIMEOUT, "no message came from the card within 500 ms",
                      "another program may have taken it; tarn sock recv --follow waits on");
    }
    receiver.finish();
    if (receiver.count() < arguments.count && !arguments.follow) {
        Output::warning("only " + counted(receiver.count(), "message") + " came");
    }
    return kSuccess;
}

} // namespace

void add_socket_commands(CLI::App &app, Context &context) {
    CLI::App *sock = app.add_subcommand("sock", "The data stream between programs and firmware");
    sock->require_subcommand(0, 1);
    sock->footer(with_global_options("  tarn sock send echo hello\n"
                                     "  tarn sock recv\n"
                                     "tarn sock send --help and so on explain the options.\n"));

    const auto to_send = std::make_shared<SendArguments>();
    CLI::App *send_command =
        add_command<SendArguments>(*sock, context, "send", "Send data to the card", to_send, send);
    send_command->add_option("TYPE", to_send->type, "Message type: a number; echo (1) or log (2)")
        ->required();
    send_command
        ->add_option("DATA", to_send->words,
                     "[PARAM] DATA: the message parameter (0) and the text to send; - reads it "
                     "from standard input")
        ->expected(0, 2)
        ->type_name("TEXT");
    send_command->add_option("--file", to_send->file, "Send the bytes of a file instead of DATA")
        ->type_name("FILE");
    send_command->add_flag("--hex", to_send->hex, "DATA is a row of hexadecimal bytes");
    send_command->footer(with_global_options(
        "  tarn sock send echo hello\n"
        "  tarn sock send log \"cell 3 starts\"\n"
        "  tarn sock send 1 7 --hex 0a0b0c\n"
        "  tarn sock send 1 --file data.bin\n"
        "Types belong to the firmware; echo and log are those of the virtual card. Long data goes "
        "in\n"
        "pieces of 1024 bytes, which arrive as messages of their own.\n"));

    const auto to_receive = std::make_shared<ReceiveArguments>();
    CLI::App *receive_command = add_command<ReceiveArguments>(
        *sock, context, "recv", "Receive data from the card", to_receive, receive);
    CLI::Option *count = add_number(receive_command, "--count", to_receive->count,
                                    "How many messages at most", "N", 1);
    count->default_str("1");
    receive_command->add_flag("--follow", to_receive->follow, "Go on until Ctrl-C")
        ->excludes(count);
    receive_command->add_flag("--hex", to_receive->hex, "Show text in hexadecimal, too");
    add_output(receive_command, context, to_receive->output,
               "Write the bytes alone to a file, or with - to standard output");
    receive_command->footer(with_global_options(
        "  tarn sock recv\n"
        "  tarn sock recv --count 20 -o answer.bin\n"
        "  tarn sock recv --follow\n"
        "Ends when no message comes for half a second. Each message goes to one program only, and "
        "has at\nmost what a slot of the card's ring carries: 1024 bytes, as a rule.\n"));
}

} // namespace tarn
