// Commands about the bus as a whole: start, stop, master state, what was configured.
#include "vcard/firmware/channel.h"
#include "vcard/firmware/status.h"

#include <algorithm>

namespace tarn::vcard {

namespace {

using Result = std::optional<Reply>;

Result start(Channel &channel, Mailbox &, const Request &) {
    return channel.start_bus();
}

// A bus that stands still is stopped already: a host that first sets the stop word and then asks
// must get its 0.
Result stop(Channel &channel, Mailbox &, const Request &) {
    channel.stop_bus();
    return Reply::done();
}

Result is_running(Channel &channel, Mailbox &, const Request &) {
    return Reply::value<uint32_t>(channel.control().running() ? 1 : 0);
}

// The host sets the enable word itself once this is answered.
Result enable_process_image(Channel &, Mailbox &, const Request &) {
    return Reply::done();
}

Result request_state(Channel &channel, Mailbox &, const Request &request) {
    const auto state = request.value<uint8_t>();
    if (!channel.control().running()) {
        return Reply::refused(status::kNotStarted, "the bus is not running");
    }
    if (!channel.bus().request_state(state)) {
        return Reply::refused(status::kInvalidTransition,
                              "no way from state " + std::to_string(channel.bus().master_state()) +
                                  " to " + std::to_string(state));
    }
    return Reply::done();
}

Result master_state(Channel &channel, Mailbox &, const Request &) {
    return Reply::value(channel.bus().master_state());
}

Result requested_state(Channel &channel, Mailbox &, const Request &) {
    return Reply::value(channel.bus().requested_master_state());
}

Result bus_status(Channel &channel, Mailbox &, const Request &) {
    return Reply::value<uint32_t>(channel.control().status());
}

Result slave_count(Channel &channel, Mailbox &, const Request &) {
    return Reply::value(static_cast<uint16_t>(channel.bus().network().slaves.size()));
}

Result active_slaves(Channel &channel, Mailbox &, const Request &) {
    return Reply::value(static_cast<uint16_t>(channel.bus().active_slaves()));
}

EniInfoReply eni_info_of(const Network &network) {
    return {static_cast<uint32_t>(network.slaves.size()), network.cycle_us, network.output_bytes,
            network.input_bytes};
}

Result eni_info(Channel &channel, Mailbox &, const Request &) {
    return Reply::value(eni_info_of(channel.bus().network()));
}

// As much of the record as the host has room for.
Result eni_info_ex(Channel &channel, Mailbox &, const Request &request) {
    const Network &network = channel.bus().network();
    EniIdentityReply record{eni_info_of(network), {}};
    std::copy_n(network.crc.begin(), std::min(network.crc.size(), sizeof record.crc), record.crc);
    Reply reply = Reply::value(record);
    reply.payload.resize(std::min<size_t>(request.value<uint32_t>(), sizeof record));
    return reply;
}

constexpr Service kServices[] = {
    {Command::BusStart, Ring::Primary, 0, Needs::Nothing, start},
    {Command::BusStop, Ring::Primary, 0, Needs::Nothing, stop},
    {Command::BusIsRunning, Ring::Primary, 0, Needs::Nothing, is_running},
    {Command::PiEnable, Ring::Primary, 0, Needs::Nothing, enable_process_image},
    {Command::RequestMasterState, Ring::Primary, 1, Needs::Configuration, request_state},
    {Command::MasterState, Ring::Primary, 0, Needs::Nothing, master_state},
    {Command::MasterRequestedState, Ring::Primary, 0, Needs::Nothing, requested_state},
    {Command::BusStatus, Ring::Primary, 0, Needs::Nothing, bus_status},
    {Command::SlaveCount, Ring::Primary, 0, Needs::Configuration, slave_count},
    {Command::ActiveSlaveCount, Ring::Primary, 0, Needs::Configuration, active_slaves},
    {Command::EniInfo, Ring::Primary, 0, Needs::Configuration, eni_info},
    {Command::EniInfoEx, Ring::Primary, 4, Needs::Configuration, eni_info_ex},
};

} // namespace

std::span<const Service> bus_services() {
    return kServices;
}

} // namespace tarn::vcard
