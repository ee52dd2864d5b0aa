// Commands that reach into a slave: its EEPROM and its registers and memory.
#include "vcard/firmware/channel.h"
#include "vcard/firmware/status.h"

namespace tarn::vcard {

namespace {

using Result = std::optional<Reply>;
using Access = Bus::Access;

// What differs between the two.
struct Memory {
    const char *name;
    Access (Bus::*read)(uint32_t, uint32_t, std::span<uint8_t>);
    Access (Bus::*write)(uint32_t, uint32_t, std::span<const uint8_t>);
    uint32_t read_failed;
    uint32_t write_failed;
    bool written_running; // writes need a bus that runs
};

inline constexpr Memory kEeprom = {
    "EEPROM", &Bus::read_eeprom, &Bus::write_eeprom, status::kEepromRead, status::kEepromWrite,
    false};
inline constexpr Memory kRegisters = {"memory",
                                      &Bus::read_memory,
                                      &Bus::write_memory,
                                      status::kWrongWorkingCounter,
                                      status::kWrongWorkingCounter,
                                      true};

// Nothing: a slave of the configuration is asked for.
Result check(Channel &channel, const Request &request) {
    if (request.payload.size() < sizeof(SlaveRangeRecord)) {
        return Reply::refused(status::kInvalidArguments, std::to_string(request.payload.size()) +
                                                             " bytes name no slave and range");
    }
    const size_t slaves = channel.bus().network().slaves.size();
    const auto slave = request.value<SlaveRangeRecord>().slave;
    if (slave >= slaves) {
        return Reply::refused(status::kInvalidSlaveIndex,
                              "slave " + std::to_string(slave) + " of " + std::to_string(slaves));
    }
    return std::nullopt;
}

Result refusal(Access access, const Memory &memory, const SlaveRangeRecord &range,
               uint32_t no_answer) {
    const std::string slave = "slave " + std::to_string(range.slave);
    if (access == Access::NoAnswer) {
        return Reply::refused(no_answer, slave + " does not answer");
    }
    return Reply::refused(status::kOutOfBounds,
                          slave + ": " + std::to_string(range.length) + " bytes from address " +
                              std::to_string(range.address) + " leave the " + memory.name);
}

template <const Memory &memory>
Result read(Channel &channel, Mailbox &mailbox, const Request &request) {
    if (Result bad = check(channel, request)) {
        return bad;
    }
    const auto range = request.value<SlaveRangeRecord>();
    if (request.payload.size() != sizeof range) {
        return Reply::refused(status::kInvalidArguments, "data in a request to read");
    }
    if (range.length > mailbox.port().capacity()) {
        return Reply::refused(status::kBufferLimit,
                              std::to_string(range.length) + " bytes do not fit one reply");
    }
    Reply reply;
    reply.payload.resize(range.length);
    const Access access = (channel.bus().*memory.read)(range.slave, range.address, reply.payload);
    return access == Access::Done ? std::move(reply)
                                  : refusal(access, memory, range, memory.read_failed);
}

template <const Memory &memory>
Result write(Channel &channel, Mailbox &, const Request &request) {
    if (Result bad = check(channel, request)) {
        return bad;
    }
    const auto range = request.value<SlaveRangeRecord>();
    const std::span<const uint8_t> data = request.payload.subspan(sizeof range);
    if (data.size() != range.length) {
        return Reply::refused(status::kInconsistentLength,
                              std::to_string(range.length) + " bytes announced, " +
                                  std::to_string(data.size()) + " received");
    }
    if (memory.written_running && !channel.bus().running()) {
        return Reply::refused(status::kNotStarted, "the bus is stopped");
    }
    const Access access = (channel.bus().*memory.write)(range.slave, range.address, data);
    return access == Access::Done ? Reply::done()
                                  : refusal(access, memory, range, memory.write_failed);
}

constexpr Service access_service(Command command, Handler handler) {
    return {command, Ring::Secondary, kAnyLength, Needs::Configuration, handler};
}

constexpr Service kServices[] = {
    access_service(Command::EepromRead, read<kEeprom>),
    access_service(Command::EepromWrite, write<kEeprom>),
    access_service(Command::SlaveMemoryRead, read<kRegisters>),
    access_service(Command::SlaveMemoryWrite, write<kRegisters>),
};

} // namespace

std::span<const Service> slave_access_services() {
    return kServices;
}

} // namespace tarn::vcard
