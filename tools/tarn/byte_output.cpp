#include "byte_output.h"

#include "host_file.h"
#include "terminal.h"

namespace tarn {

namespace {

// The path of the standard output means the tool's own: under it the library's messages go to
// standard error.
std::string output_name(const std::string &text) {
    return text == "/dev/stdout" ? "-" : text;
}

} // namespace

CLI::Option *add_output(CLI::App *command, const Context &context, std::string &file,
                        const std::string &description) {
    const auto take = [&context, &file](const std::string &text) {
        file = output_name(text);
        if (file == "-" && context.output.json()) {
            throw UsageError("-o - and --json both want standard output");
        }
    };
    return command->add_option_function<std::string>("-o,--output", take, description)
        ->type_name("FILE");
}

void give_bytes(const Output &output, const std::string &file, const std::vector<uint8_t> &data) {
    if (file == "-") {
        terminal::set_binary(output.stream());
        output.text({data.begin(), data.end()});
    } else {
        replace_file(file, data);
    }
}

int give_result(const Output &output, const std::string &file, const std::vector<uint8_t> &data,
                ByteResult result) {
    if (!file.empty()) {
        give_bytes(output, file, data);
    }
    if (output.json()) {
        Json document = std::move(result.head);
        if (file.empty()) {
            result.members(document);
        } else {
            document.set("file", printable(file));
        }
        output.document(document);
    } else if (file.empty()) {
        result.show();
    } else if (file != "-") {
        output.line("Read " + size_text(data.size()) + result.place + " to " + printable(file));
    }
    return kSuccess;
}

} // namespace tarn
