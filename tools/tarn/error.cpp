// tarn error
#include "command.h"

#include <cstring>

namespace tarn {

namespace {

struct Arguments {
    std::string code; // empty: list all
    bool al = false;
};

constexpr const char *kUnknownStatus = "Unknown";
constexpr uint32_t kLastStatus = 0x1FFFF; // behind the highest status
constexpr uint32_t kLastAlStatus = UINT16_MAX;

const char *text_of(int64_t code, bool al) {
    return al ? EcatGetAlStatusCodeMessage(static_cast<uint16_t>(code))
              : EcatErrorGetErrorMessage(static_cast<int32_t>(code));
}

bool is_known(const char *text, bool al) {
    // 0xFFFF has no text, so it shows the one of all unknown codes.
    const char *unknown = al ? EcatGetAlStatusCodeMessage(kLastAlStatus) : kUnknownStatus;
    return std::strcmp(text, unknown) != 0;
}

std::string code_name(int64_t code, bool al) {
    return al ? format("0x%04x", static_cast<unsigned>(code)) : std::to_string(code);
}

Json code_json(int64_t code, bool al) {
    Json json = Json::object().set("code", code).set("text", text_of(code, al));
    if (!al && code > 0 && !hint_of(static_cast<uint32_t>(code)).empty()) {
        json.set("hint", hint_of(static_cast<uint32_t>(code)));
    }
    return json;
}

int list_all(const Output &output, bool al) {
    Json list = Json::array();
    for (uint32_t code = 0; code <= (al ? kLastAlStatus : kLastStatus); ++code) {
        if (!is_known(text_of(code, al), al)) {
            continue;
        }
        if (output.json()) {
            list.add(code_json(code, al));
        } else {
            output.line(code_name(code, al) + "  " + text_of(code, al));
        }
    }
    if (output.json()) {
        output.document(list);
    }
    return kSuccess;
}

int error(Context &context, const Arguments &arguments) {
    const Output &output = context.output;
    if (arguments.code.empty()) {
        return list_all(output, arguments.al);
    }
    const std::optional<int64_t> code = parse_signed(arguments.code);
    const int64_t highest = arguments.al ? kLastAlStatus : int64_t{UINT32_MAX};
    if (!code || *code > highest || *code < (arguments.al ? 0 : INT32_MIN)) {
        throw UsageError("\"" + printable(arguments.code) + "\" is no " +
                         (arguments.al ? "AL status code" : "status code"));
    }
    const char *text = text_of(*code, arguments.al);
    if (!is_known(text, arguments.al)) {
        throw Failure(code_name(*code, arguments.al) + " is no known " +
                          (arguments.al ? "AL status code" : "status"),
                      arguments.al ? "tarn error --al lists all; without --al it is looked up as "
                                     "a status of the library"
                                   : "tarn error lists all; slaves' AL status codes need --al");
    }
    if (output.json()) {
        output.document(code_json(*code, arguments.al));
        return kSuccess;
    }
    output.line(std::string(text) + " (" + code_name(*code, arguments.al) + ")");
    const std::string hint = arguments.al ? "" : hint_of(static_cast<uint32_t>(*code));
    if (!hint.empty()) {
        output.line("Hint: " + hint);
    }
    return kSuccess;
}

} // namespace

void add_error_command(CLI::App &app, Context &context) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App *command = add_command<Arguments>(
        app, context, "error", "Explain a status code, or list all of them", arguments, error);
    command->add_option("CODE", arguments->code, "Decimal or 0x; without it all are listed");
    command->add_flag("--al", arguments->al, "CODE is a slave's AL status code");
    command->footer(with_global_options("  tarn error 80004\n"
                                        "  tarn error 0x8010\n"
                                        "  tarn error --al 0x1b\n"));
}

} // namespace tarn
