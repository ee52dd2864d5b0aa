// Commands about single slaves: states, identity, addresses, process data runs.
#include "tarn_vcard/records.h"
#include "vcard/bus/error_list.h"
#include "vcard/firmware/channel.h"
#include "vcard/firmware/status.h"

#include <algorithm>

namespace tarn::vcard {

namespace {

using Result = std::optional<Reply>;

const SlaveConfig &slave_config(Channel &channel, const Request &request) {
    return channel.bus().network().slaves[request.value<uint16_t>()];
}

Bus::SlaveStatus slave_status(Channel &channel, const Request &request) {
    return channel.bus().slave(request.value<uint16_t>());
}

template <auto Field>
Result identity(Channel &channel, Mailbox &, const Request &request) {
    return Reply::value(slave_config(channel, request).*Field);
}

template <auto Field>
Result condition(Channel &channel, Mailbox &, const Request &request) {
    return Reply::value(slave_status(channel, request).*Field);
}

template <auto Direction>
Result region(Channel &channel, Mailbox &, const Request &request) {
    const BitRun &run = slave_config(channel, request).*Direction;
    if (run.length == 0) {
        return Reply::refused(status::kNoRegion, "slave " +
                                                     std::to_string(request.value<uint16_t>()) +
                                                     " has no data in this direction");
    }
    return Reply::value(
        SlaveRegionReply{static_cast<uint16_t>(run.length), static_cast<uint16_t>(run.offset)});
}

Result alias(Channel &channel, Mailbox &, const Request &request) {
    return Reply::value<uint32_t>(slave_config(channel, request).alias);
}

// One byte per slave, for as many slaves as were asked for and exist.
template <auto Field>
Result states(Channel &channel, Mailbox &, const Request &request) {
    const Bus &bus = channel.bus();
    Reply reply;
    reply.payload.resize(std::min<size_t>(request.value<uint16_t>(), bus.network().slaves.size()));
    for (uint32_t i = 0; i < reply.payload.size(); ++i) {
        reply.payload[i] = bus.slave(i).*Field;
    }
    return reply;
}

Result info(Channel &channel, Mailbox &, const Request &request) {
    const SlaveConfig &config = slave_config(channel, request);
    const Bus::SlaveStatus status = slave_status(channel, request);
    VcardSlaveInfo record{};
    record.vendor_id = config.vendor_id;
    record.product_code = config.product_code;
    record.revision_no = config.revision_no;
    record.serial_no = config.serial_no;
    record.fixed_address = config.fixed_address;
    record.alias = config.alias;
    record.al_status_code = status.al_status_code;
    record.state = status.state;
    record.requested_state = status.requested;
    copy_text(record.name, config.name);
    static_assert(sizeof record == 56);
    return Reply::value(record);
}

Result clear_error(Channel &channel, Mailbox &, const Request &request) {
    const auto slave = request.value<uint16_t>();
    if (!channel.bus().clear_slave_error(slave)) {
        return Reply::refused(status::kSlaveStateNotReached,
                              "slave " + std::to_string(slave) + " does not leave its error");
    }
    return Reply::done();
}

constexpr Service slave_service(Command command, Handler handle) {
    return {command, Ring::Primary, 2, Needs::Slave, handle};
}

constexpr Service kServices[] = {
    slave_service(Command::SlaveState, condition<&Bus::SlaveStatus::state>),
    slave_service(Command::SlaveInputs, region<&SlaveConfig::inputs>),
    slave_service(Command::SlaveOutputs, region<&SlaveConfig::outputs>),
    slave_service(Command::SlaveVendorId, identity<&SlaveConfig::vendor_id>),
    slave_service(Command::SlaveProductCode, identity<&SlaveConfig::product_code>),
    slave_service(Command::SlaveRevisionNo, identity<&SlaveConfig::revision_no>),
    slave_service(Command::SlaveSerialNo, identity<&SlaveConfig::serial_no>),
    slave_service(Command::SlaveAlias, alias),
    slave_service(Command::SlaveFixedAddress, identity<&SlaveConfig::fixed_address>),
    slave_service(Command::ClearSlaveStateError, clear_error),
    slave_service(Command::SlaveDlStatus, condition<&Bus::SlaveStatus::dl_status>),
    slave_service(Command::SlaveAlStatusCode, condition<&Bus::SlaveStatus::al_status_code>),
    slave_service(Command::SlaveInfo, info),
    slave_service(Command::SlaveRequestedState, condition<&Bus::SlaveStatus::requested>),
    {Command::SlaveStates, Ring::Primary, 2, Needs::Configuration,
     states<&Bus::SlaveStatus::state>},
    {Command::SlaveRequestedStates, Ring::Primary, 2, Needs::Configuration,
     states<&Bus::SlaveStatus::requested>},
};

} // namespace

std::span<const Service> slave_services() {
    return kServices;
}

} // namespace tarn::vcard
