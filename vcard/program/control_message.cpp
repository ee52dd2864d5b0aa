#include "vcard/program/control_message.h"

#include <exception>

namespace tarn::vcard {

namespace {

constexpr char kSeparator = '\n'; // between the words of a request

} // namespace

std::string encode(const ControlRequest &request) {
    std::string message;
    for (const std::string &word : request) {
        message += message.empty() ? word : kSeparator + word;
    }
    return message;
}

ControlRequest decode_request(const std::string &message) {
    ControlRequest words(1);
    for (const char c : message) {
        if (c == kSeparator) {
            words.emplace_back();
        } else {
            words.back() += c;
        }
    }
    return words;
}

std::string encode(const ControlAnswer &answer) {
    return ((answer.ok ? "+" : "-") + answer.text).substr(0, kControlMessageLimit);
}

ControlAnswer decode_answer(const std::string &message) {
    return {message.front() == '+', message.substr(1)};
}

std::string answer_to(const ControlRequest &request,
                      const std::function<ControlAnswer(const ControlRequest &)> &handler) {
    try {
        return encode(handler(request));
    } catch (const std::exception &error) {
        return encode(ControlAnswer{false, error.what()});
    }
}

} // namespace tarn::vcard
