// Commands that keep a value per channel, and the firmware's own text.
#include "vcard/firmware/channel.h"

namespace tarn::vcard {

namespace {

using Result = std::optional<Reply>;

template <auto Field>
Result set(Channel &channel, Mailbox &, const Request &request) {
    channel.settings().*Field = request.value<uint32_t>();
    return Reply::done();
}

template <auto Field>
Result get(Channel &channel, Mailbox &, const Request &) {
    return Reply::value(channel.settings().*Field);
}

Result set_auto_clear(Channel &channel, Mailbox &mailbox, const Request &request) {
    channel.bus().set_auto_clear(request.value<uint32_t>() != 0);
    return set<&Channel::Settings::auto_clear>(channel, mailbox, request);
}

// With its terminating NUL: the host adds none.
Result build_text(Channel &channel, Mailbox &, const Request &) {
    const std::string text = "tarn-vcard firmware " + channel.config().firmware_version;
    Reply reply;
    reply.payload.assign(text.begin(), text.end());
    reply.payload.push_back(0);
    return reply;
}

constexpr Service kServices[] = {
    {Command::AutoClearSet, Ring::Primary, 4, Needs::Nothing, set_auto_clear},
    {Command::AutoClearGet, Ring::Primary, 0, Needs::Nothing, get<&Channel::Settings::auto_clear>},
    {Command::ReadyLostTimeoutSet, Ring::Primary, 4, Needs::Nothing,
     set<&Channel::Settings::ready_lost_timeout>},
    {Command::ReadyLostTimeoutGet, Ring::Primary, 0, Needs::Nothing,
     get<&Channel::Settings::ready_lost_timeout>},
    // The host's choice of the code says whether the trigger is on; the value then is 0.
    {Command::TimeoutTriggerOn, Ring::Either, 4, Needs::Nothing,
     set<&Channel::Settings::timeout_trigger>},
    {Command::TimeoutTriggerOff, Ring::Either, 4, Needs::Nothing,
     set<&Channel::Settings::timeout_trigger>},
    {Command::FirmwareCompileMessage, Ring::Primary, 0, Needs::Nothing, build_text},
};

} // namespace

std::span<const Service> setting_services() {
    return kServices;
}

} // namespace tarn::vcard
