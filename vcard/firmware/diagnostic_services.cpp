// Commands that tell how the bus is: counters, states, links, last errors.
#include "tarn_vcard/diagnostics.h"
#include "vcard/firmware/channel.h"
#include "vcard/firmware/status.h"

#include <algorithm>

namespace tarn::vcard {

namespace {

using Result = std::optional<Reply>;

// The slaves that a request lists.
struct SlaveList {
    bool master = false;
    std::vector<uint16_t> slaves;
};

// Nothing: the list is in order.
Result read_list(const Request &request, size_t configured, SlaveList &list) {
    if (request.payload.size() < sizeof(SlaveListRecord)) {
        return Reply::refused(status::kInvalidArguments,
                              std::to_string(request.payload.size()) + " bytes are no slave list");
    }
    const auto record = request.value<SlaveListRecord>();
    if (request.payload.size() != sizeof record + size_t{record.count} * sizeof(uint16_t)) {
        return Reply::refused(status::kInvalidArguments,
                              std::to_string(record.count) + " slaves listed in " +
                                  std::to_string(request.payload.size()) + " bytes");
    }
    list.master = record.master != 0;
    list.slaves.resize(record.count);
    if (record.count != 0) {
        std::memcpy(list.slaves.data(), request.payload.data() + sizeof record,
                    list.slaves.size() * sizeof(uint16_t));
    }
    const auto bad = std::find_if(list.slaves.begin(), list.slaves.end(),
                                  [configured](uint16_t slave) { return slave >= configured; });
    if (bad != list.slaves.end()) {
        return Reply::refused(status::kInvalidSlaveIndex, "slave " + std::to_string(*bad) + " of " +
                                                              std::to_string(configured));
    }
    return std::nullopt;
}

template <typename T>
void append(Reply &reply, const T &record) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(&record);
    reply.payload.insert(reply.payload.end(), bytes, bytes + sizeof record);
}

using Fill = void (*)(const BusDiagnostics &, const SlaveList &, Reply &);

void fill_diagnostics(const BusDiagnostics &diagnostics, const SlaveList &list, Reply &reply) {
    if (list.master) {
        append(reply, diagnostics.master(Clock::now()));
    }
    for (const uint16_t slave : list.slaves) {
        append(reply, diagnostics.slave(slave));
    }
}

void fill_states(const BusDiagnostics &diagnostics, const SlaveList &list, Reply &reply) {
    if (list.master) {
        append(reply, diagnostics.master_flags());
    }
    for (const uint16_t slave : list.slaves) {
        append(reply, diagnostics.slave_flags(slave));
    }
    for (const uint16_t slave : list.slaves) {
        append(reply, diagnostics.detail(slave));
    }
}

template <Fill fill, size_t MasterSize, size_t SlaveSize>
Result listed(Channel &channel, Mailbox &mailbox, const Request &request) {
    SlaveList list;
    if (Result refusal = read_list(request, channel.bus().network().slaves.size(), list)) {
        return refusal;
    }
    const size_t size = (list.master ? MasterSize : 0) + list.slaves.size() * SlaveSize;
    if (size > mailbox.port().capacity()) {
        return Reply::refused(status::kBufferLimit,
                              std::to_string(list.slaves.size()) + " slaves do not fit one reply");
    }
    Reply reply;
    reply.payload.reserve(size);
    channel.bus().read_diagnostics(
        [&](const BusDiagnostics &diagnostics) { fill(diagnostics, list, reply); });
    return reply;
}

Result first_link_down(Channel &channel, Mailbox &, const Request &) {
    VcardLinkDown record{};
    channel.bus().read_diagnostics(
        [&record](const BusDiagnostics &diagnostics) { record = diagnostics.first_link_down(); });
    return Reply::value(record);
}

// As many as were asked for, exist and fit.
Result link_status(Channel &channel, Mailbox &mailbox, const Request &request) {
    const size_t fitting = mailbox.port().capacity() / sizeof(VcardLinkStatus);
    const size_t asked = std::min<size_t>(request.value<uint16_t>(), fitting);
    Reply reply;
    channel.bus().read_diagnostics([&](const BusDiagnostics &diagnostics) {
        const size_t count = std::min<size_t>(asked, diagnostics.slaves());
        reply.payload.reserve(count * sizeof(VcardLinkStatus));
        for (uint32_t i = 0; i < count; ++i) {
            append(reply, diagnostics.links(i));
        }
    });
    return reply;
}

// Whole records, or the beginning of the newest where not even that one fits.
Result last_error(Channel &channel, Mailbox &mailbox, const Request &request) {
    const size_t room = std::min<size_t>(request.value<uint32_t>(), mailbox.port().capacity());
    Reply reply;
    for (const VcardErrorRecord &record : channel.bus().errors().newest_first()) {
        const bool first = reply.payload.empty();
        if (!first && reply.payload.size() + sizeof record > room) {
            break;
        }
        append(reply, record);
    }
    reply.payload.resize(std::min(reply.payload.size(), room));
    return reply;
}

constexpr Service kServices[] = {
    {Command::Diagnostics, Ring::Primary, kAnyLength, Needs::Configuration,
     listed<fill_diagnostics, kMasterDiagnosticSize, kSlaveDiagnosticSize>},
    {Command::SlaveDiagnosticStates, Ring::Primary, kAnyLength, Needs::Configuration,
     listed<fill_states, sizeof(uint32_t), sizeof(uint32_t) + kSlaveDetailSize>},
    {Command::FirstLinkDownPort, Ring::Primary, 0, Needs::Configuration, first_link_down},
    {Command::SlaveLinkStatus, Ring::Secondary, 2, Needs::Configuration, link_status},
    {Command::LastError, Ring::Secondary, 4, Needs::Nothing, last_error},
};

static_assert(sizeof(VcardMasterDiagnostics) == kMasterDiagnosticSize);
static_assert(sizeof(VcardSlaveDiagnostics) == kSlaveDiagnosticSize);
static_assert(sizeof(VcardSlaveDetail) == kSlaveDetailSize);
static_assert(sizeof(VcardLinkStatus) == kSlaveLinkSize);

} // namespace

std::span<const Service> diagnostic_services() {
    return kServices;
}

} // namespace tarn::vcard
