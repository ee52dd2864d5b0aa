// The commands of the output watchdog.
#include "tarn_vcard/records.h"
#include "vcard/bus/ethercat.h"
#include "vcard/firmware/channel.h"
#include "vcard/firmware/status.h"

#include <algorithm>
#include <new>
#include <utility>

namespace tarn::vcard {

namespace {

using Result = std::optional<Reply>;
using Bytes = std::span<const uint8_t>;

std::string of(uint64_t first, const char *text, uint64_t second) {
    return std::to_string(first) + text + std::to_string(second);
}

// Bytes that hold the slave's outputs. A refusal when there is no such slave, or none to hold.
Result find_outputs(Channel &channel, uint32_t slave, uint32_t &bytes) {
    const auto &slaves = channel.bus().network().slaves;
    if (slave >= slaves.size()) {
        return Reply::refused(status::kWatchdogSlave, "slave " + of(slave, " of ", slaves.size()));
    }
    bytes = (slaves[slave].outputs.length + 7) / 8;
    if (bytes == 0) {
        return Reply::refused(status::kWatchdogSlaveSize,
                              "slave " + std::to_string(slave) + " has no outputs");
    }
    return std::nullopt;
}

Result check_safe_data(const WatchdogRecord &record, uint32_t bytes, size_t received) {
    const uint64_t length = record.length;
    const uint64_t head = sizeof record + kWatchdogSpare;
    if (length == 0 || record.status[0] != 0 || record.status[1] != 0) {
        return Reply::refused(status::kWatchdogData, "no data, or a reserved word that is not 0");
    }
    if (length > bytes) {
        return Reply::refused(status::kWatchdogOffset, of(length, " bytes for outputs of ", bytes));
    }
    if (length < bytes) {
        return Reply::refused(status::kWatchdogSlaveSize,
                              of(length, " bytes for outputs of ", bytes));
    }
    if (received != head + length && received != head + 2 * length) {
        return Reply::refused(status::kWatchdogSize,
                              of(length, " bytes announced in a block of ", received));
    }
    return std::nullopt;
}

Result take_safe_data(Channel &channel, const Request &request) {
    const Bytes block = request.payload;
    if (block.size() < sizeof(WatchdogRecord) + kWatchdogSpare) {
        return Reply::refused(status::kWatchdogSize,
                              std::to_string(block.size()) + " bytes are no configuration");
    }
    const auto record = request.value<WatchdogRecord>();
    uint32_t bytes = 0;
    if (Result bad = find_outputs(channel, record.slave, bytes)) {
        return bad;
    }
    if (Result bad = check_safe_data(record, bytes, block.size())) {
        return bad;
    }
    Bytes rest = block.subspan(sizeof record, block.size() - sizeof record - kWatchdogSpare);
    SafeData safe;
    if (rest.size() > bytes) {
        safe.mask.assign(rest.begin(), rest.begin() + bytes);
        rest = rest.subspan(bytes);
    }
    safe.data.assign(rest.begin(), rest.end());
    channel.bus().use_watchdog(
        [&](OutputWatchdog &watchdog) { watchdog.set_safe_data(record.slave, std::move(safe)); });
    return Reply::done();
}

Result configure(Channel &channel, Mailbox &, const Request &request) {
    try {
        return take_safe_data(channel, request);
    } catch (const std::bad_alloc &) {
        return Reply::refused(status::kWatchdogMemory, "no memory for the safe data");
    }
}

Result enable(Channel &channel, Mailbox &, const Request &request) {
    if (request.payload.size() != sizeof(uint32_t)) {
        return Reply::refused(status::kWatchdogSize, "a flag of 4 bytes is expected");
    }
    const auto flag = request.value<uint32_t>();
    if (flag > 1) {
        return Reply::refused(status::kWatchdogCommand,
                              "flag " + std::to_string(flag) + " is neither 0 nor 1");
    }
    channel.bus().use_watchdog([&](OutputWatchdog &watchdog) { watchdog.enable(flag == 1); });
    return Reply::done();
}

Result start(Channel &channel, Mailbox &, const Request &request) {
    const Bytes block = request.payload;
    if (block.size() <= sizeof(uint32_t)) {
        return Reply::refused(status::kWatchdogSize, "a time-out and a text are expected");
    }
    const Bytes text = block.subspan(sizeof(uint32_t));
    if (std::find(text.begin(), text.end(), 0) != text.end() - 1) {
        return Reply::refused(status::kWatchdogData, "the text does not end with its only zero");
    }
    if (text.size() > VCARD_WATCHDOG_TEXT) {
        return Reply::refused(status::kWatchdogMemory,
                              "no room for a text of " + std::to_string(text.size()) + " bytes");
    }
    const auto timeout_ms = request.value<uint32_t>();
    if (timeout_ms == 0) {
        return Reply::refused(status::kWatchdogCommand, "a time-out of 0 ms");
    }
    std::string label(text.begin(), text.end() - 1);
    const bool hold = label == VCARD_WATCHDOG_HOLD;
    Result result = Reply::done();
    channel.bus().use_watchdog([&](OutputWatchdog &watchdog) {
        if (watchdog.status().slaves == 0) {
            result = Reply::refused(status::kWatchdogFunction, "no slave has safe data");
            return;
        }
        watchdog.start(std::chrono::milliseconds(timeout_ms), hold, std::move(label));
    });
    return result;
}

Result stop(Channel &channel, Mailbox &, const Request &request) {
    if (!request.payload.empty()) {
        return Reply::refused(status::kWatchdogSize, "data in a request to stop");
    }
    channel.bus().use_watchdog([](OutputWatchdog &watchdog) { watchdog.stop(); });
    return Reply::done();
}

uint32_t flags_of(const OutputWatchdog::Status &status, const SafeData *safe, bool cyclic) {
    const auto flag = [](bool set, uint32_t bit) { return set ? bit : 0; };
    const bool watching = status.enabled && status.started && cyclic;
    return flag(safe != nullptr, VCARD_WATCHDOG_CONFIGURED) |
           flag(safe != nullptr && !safe->mask.empty(), VCARD_WATCHDOG_MASKED) |
           flag(status.enabled, VCARD_WATCHDOG_ENABLED) |
           flag(status.started, VCARD_WATCHDOG_STARTED) | flag(watching, VCARD_WATCHDOG_WATCHING) |
           flag(status.expired, VCARD_WATCHDOG_EXPIRED) | flag(status.hold, VCARD_WATCHDOG_HOLDS);
}

// The data, then the mask.
void append(std::vector<uint8_t> &payload, const SafeData &safe) {
    payload.insert(payload.end(), safe.data.begin(), safe.data.end());
    if (safe.mask.empty()) {
        payload.insert(payload.end(), safe.data.size(), 0xFF);
    } else {
        payload.insert(payload.end(), safe.mask.begin(), safe.mask.end());
    }
}

Result query(Channel &channel, Mailbox &, const Request &request) {
    if (request.payload.size() != sizeof(WatchdogRecord) + kWatchdogSpare) {
        return Reply::refused(status::kWatchdogSize,
                              std::to_string(request.payload.size()) + " bytes are no query");
    }
    auto record = request.value<WatchdogRecord>();
    uint32_t bytes = 0;
    if (Result bad = find_outputs(channel, record.slave, bytes)) {
        return bad;
    }
    const uint32_t room = record.length;
    const uint8_t state = channel.bus().master_state();
    Reply reply;
    channel.bus().use_watchdog([&](OutputWatchdog &watchdog) {
        const SafeData *safe = watchdog.safe_data(record.slave);
        const OutputWatchdog::Status status = watchdog.status();
        record.status[0] = flags_of(status, safe, state == kSafeOp || state == kOp);
        record.status[1] = status.expiries;
        record.length = safe != nullptr ? bytes : 0;
        reply = Reply::value(record);
        if (record.length > room) {
            reply.status = status::kWatchdogSlaveSize;
            reply.reason = of(room, " bytes for blocks of ", record.length);
        } else if (safe != nullptr) {
            append(reply.payload, *safe);
        }
    });
    return reply;
}

constexpr Service kServices[] = {
    {Command::WatchdogConfig, Ring::Primary, kAnyLength, Needs::Configuration, configure},
    {Command::WatchdogQuery, Ring::Primary, kAnyLength, Needs::Configuration, query},
    {Command::WatchdogEnable, Ring::Primary, kAnyLength, Needs::Nothing, enable},
    {Command::WatchdogStart, Ring::Primary, kAnyLength, Needs::Nothing, start},
    {Command::WatchdogStop, Ring::Primary, kAnyLength, Needs::Nothing, stop},
};

} // namespace

std::span<const Service> watchdog_services() {
    return kServices;
}

} // namespace tarn::vcard
