// What goes over the control channel, whatever carries it.
#pragma once

#include "vcard/program/control.h"

#include <string>

namespace tarn::vcard {

inline constexpr size_t kControlMessageLimit = 65536; // bytes
inline constexpr unsigned kControlPatienceMs = 5000;  // for a message of the other side

std::string encode(const ControlRequest &request);
ControlRequest decode_request(const std::string &message);

std::string encode(const ControlAnswer &answer);
ControlAnswer decode_answer(const std::string &message);

// What the handler says, as a message; its exceptions are errors.
std::string answer_to(const ControlRequest &request,
                      const std::function<ControlAnswer(const ControlRequest &)> &handler);

} // namespace tarn::vcard
