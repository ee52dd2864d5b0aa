#include "vcard/program/service_core.h"
#include "vcard/host/runtime_directory.h"
#include "vcard/program/card_options.h"
#include "vcard/program/fault.h"

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <optional>
#include <stdexcept>

namespace tarn::vcard {

namespace {

std::string card_line(size_t index, const CardConfig &card) {
    return "card " + std::to_string(index) + ": name " + card.name + ", alias " +
           std::to_string(card.alias) + ", model " + card.model + ", firmware " +
           card.firmware_version + ", " + std::to_string(card.channels) +
           (card.channels == 1 ? " channel" : " channels") + ", " +
           std::to_string(card.rings.slots) + " x " + std::to_string(card.rings.slot_size) +
           " bytes, generation " + std::to_string(card.generation) + "\n";
}

std::string indented(const std::string &text) {
    std::string result;
    bool line_start = true;
    for (const char c : text) {
        result += line_start ? "  " : "";
        result += c;
        line_start = c == '\n';
    }
    return result;
}

constexpr char kReady = '+';
constexpr char kWrongUsage = '?';
constexpr char kFailed = '-';

} // namespace

std::string log_path(const std::string &directory) {
    return (std::filesystem::path(directory) / "tarn-vcard.log").string();
}

std::string what_is_served(const ServiceOptions &options) {
    return std::to_string(options.cards.size()) + (options.cards.size() == 1 ? " card" : " cards") +
           " in " + options.directory;
}

void log_line(const std::string &line) {
    static std::mutex mutex; // for the record that std::localtime() returns
    const std::lock_guard guard(mutex);
    const std::time_t now = std::time(nullptr);
    char stamp[32];
    std::strftime(stamp, sizeof(stamp), "%Y-%m-%d %H:%M:%S", std::localtime(&now));
    std::fprintf(stderr, "%s %s\n", stamp, line.c_str());
    std::fflush(stderr);
}

Service::Service(const ServiceOptions &options, std::function<void()> end)
    : end_(std::move(end)),
      server_({options.cards, options.directory, options.driver_version, log_line}),
      control_(
          options.directory, [this](const ControlRequest &request) { return handle(request); },
          [this](const ControlRequest &request) { after(request); }) {}

ControlAnswer Service::handle(const ControlRequest &request) {
    const std::string &command = request.front();
    if (command == "status") {
        return {true, status()};
    }
    if (command == "fault" && request.size() > 3) {
        set_fault(card(request[1]), parse_number("channel", request[2]),
                  {request.begin() + 3, request.end()});
        return {true, ""};
    }
    if (command == "input" && request.size() == 4) {
        card(request[1]).wire(request[2] + ":" + request[3]);
        return {true, ""};
    }
    return {command == "die" || command == "stop", "unknown request"};
}

Firmware &Service::card(const std::string &number) {
    const uint32_t index = parse_number("card", number);
    if (index >= server_.card_count()) {
        throw std::invalid_argument("there is no card " + number);
    }
    return server_.card(index);
}

// The answer is on its way.
void Service::after(const ControlRequest &request) const {
    if (request.front() == "die") {
        die();
    }
    if (request.front() == "stop") {
        end_();
    }
}

std::string Service::status() {
    std::string text;
    for (size_t i = 0; i < server_.card_count(); ++i) {
        text += card_line(i, server_.card(i).config());
        text += indented(server_.card(i).describe());
        text += indented(server_.card(i).describe_board());
    }
    return text;
}

std::string StartReport::ready() {
    return {kReady};
}

std::string StartReport::failed(const std::exception &error) {
    const bool usage = dynamic_cast<const std::invalid_argument *>(&error) != nullptr;
    return (usage ? kWrongUsage : kFailed) + std::string(error.what());
}

void StartReport::check(const std::string &report, const ServiceOptions &options) {
    if (report.empty()) {
        throw std::runtime_error("the service ended before the cards were ready; see " +
                                 log_path(options.directory));
    }
    if (report.front() == kWrongUsage) {
        throw std::invalid_argument(report.substr(1));
    }
    if (report.front() == kFailed) {
        throw std::runtime_error(report.substr(1));
    }
}

bool print_status(const std::string &directory) {
    const std::optional<int64_t> owner = runtime_owner(directory);
    if (!owner) {
        std::printf("tarn-vcard is not running in %s\n", directory.c_str());
        return false;
    }
    const ControlAnswer answer = ask_service(directory, {"status"});
    std::printf("tarn-vcard runs (process %lld) in %s\n%s", static_cast<long long>(*owner),
                directory.c_str(), answer.text.c_str());
    return answer.ok;
}

void send_fault(const std::string &directory, uint32_t card, uint32_t channel,
                const std::vector<std::string> &words) {
    ControlRequest request = {"fault", std::to_string(card), std::to_string(channel)};
    if (words.front() == "die") {
        request = {"die"};
    } else {
        request.insert(request.end(), words.begin(), words.end());
    }
    const ControlAnswer answer = ask_service(directory, request);
    if (!answer.ok) {
        throw std::runtime_error(answer.text);
    }
}

void wire_input(const std::string &directory, uint32_t card, const std::string &input,
                const std::string &source) {
    const ControlAnswer answer =
        ask_service(directory, {"input", std::to_string(card), input, source});
    if (!answer.ok) {
        throw std::runtime_error(answer.text);
    }
}

} // namespace tarn::vcard
