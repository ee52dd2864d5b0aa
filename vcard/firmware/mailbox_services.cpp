// Commands 12, 13, 15, 16 and 49: SDO and FoE services of the slaves. The master exchanges mailbox
// messages with a slave until a service is done; a slave that takes its time lets the reply come
// later, while the card serves on.
#include "vcard/bus/ethercat.h"
#include "vcard/firmware/channel.h"
#include "vcard/firmware/status.h"

#include <algorithm>

namespace tarn::vcard {

namespace {

using Result = std::optional<Reply>;
using std::chrono::milliseconds;

constexpr milliseconds kUsualSdoTimeout{3000}; // for a request that names none
constexpr milliseconds kSlowExchange{20};      // of a slow slave
constexpr milliseconds kFoeTimeout{10'000};    // of a slave that says nothing
constexpr milliseconds kFoePatience{5000};     // with a slave that says "busy"

// ---- statuses ---------------------------------------------------------------------------------

uint32_t status_of_abort(uint32_t abort) {
    using namespace sdo_abort;
    switch (abort) {
    case kReadOnly:
        return status::kCoeReadOnly;
    case kWriteOnly:
        return status::kCoeWriteOnly;
    case kNoObject:
        return status::kNoObject;
    case kNoSubindex:
        return status::kNoSubObject;
    case kUnsupportedAccess:
    case kNoCompleteAccess:
        return status::kCoeServiceNotSupported;
    case kCountNotZero:
        return status::kObjectAccessDenied;
    case kTooLong:
        return status::kMailboxInvalidSize;
    case kTooShort:
        return status::kDataTooShort;
    case kTooHigh:
        return status::kEntryTooHigh;
    case kTooLow:
        return status::kEntryTooLow;
    case kInvalidValue:
        return status::kInvalidArguments;
    case kNotMappable:
        return status::kBadObject;
    case kWrongState:
        return status::kInvalidSlaveState;
    default:
        return status::kMailboxAnsweredError;
    }
}

uint32_t status_of_foe(FoeAnswer answer) {
    switch (answer) {
    case FoeAnswer::Done:
        return status::kNoError;
    case FoeAnswer::NotFound:
        return status::kCannotOpenFile;
    case FoeAnswer::AccessDenied:
        return status::kNotPermitted;
    case FoeAnswer::DiskFull:
        return status::kCannotWriteFile;
    case FoeAnswer::BootstrapOnly:
        return status::kInvalidSlaveState;
    case FoeAnswer::NoRights:
        return status::kNoRights;
    }
    return status::kMailboxAnsweredError;
}

const char *text_of_foe(FoeAnswer answer) {
    switch (answer) {
    case FoeAnswer::Done:
        return "";
    case FoeAnswer::NotFound:
        return "not found";
    case FoeAnswer::AccessDenied:
        return "access denied";
    case FoeAnswer::DiskFull:
        return "disk full";
    case FoeAnswer::BootstrapOnly:
        return "in BOOT only";
    case FoeAnswer::NoRights:
        return "wrong password";
    }
    return "";
}

// ---- the slave --------------------------------------------------------------------------------

enum class Protocol { Coe, Foe };

std::string slave_text(uint32_t slave) {
    return "slave " + std::to_string(slave);
}

Result check_slave(Channel &channel, uint32_t slave, Protocol protocol) {
    const Bus &bus = channel.bus();
    if (!bus.configured() || slave >= bus.network().slaves.size()) {
        return Reply::refused(status::kInvalidSlaveIndex, "no " + slave_text(slave));
    }
    const SlaveConfig &config = bus.network().slaves[slave];
    if (!config.mailbox) {
        return Reply::refused(status::kNoMailbox, slave_text(slave) + " has no mailbox");
    }
    if (protocol == Protocol::Coe && !config.mailbox_config.coe) {
        return Reply::refused(status::kNoCoe, slave_text(slave) + " has no CoE");
    }
    if (protocol == Protocol::Foe && !config.mailbox_config.foe) {
        return Reply::refused(status::kNoFoe, slave_text(slave) + " has no FoE");
    }
    if (!bus.running()) {
        return Reply::refused(status::kNotStarted, "the bus is stopped");
    }
    const uint8_t state = bus.slave(slave).state & kStateMask;
    if (state == 0) {
        return Reply::refused(status::kWrongWorkingCounter, slave_text(slave) + " does not answer");
    }
    if (state == kInit || (state == kBoot && protocol == Protocol::Coe)) {
        return Reply::refused(status::kInvalidSlaveState,
                              slave_text(slave) + " is in state " + std::to_string(state));
    }
    return std::nullopt;
}

uint32_t mailbox_length(Channel &channel, uint32_t slave) {
    const MailboxConfig &mailbox = channel.bus().network().slaves[slave].mailbox_config;
    return std::min(mailbox.send.length, mailbox.receive.length);
}

// Exchanges that move `size` bytes when the first one carries `first` and each further one `next`.
uint32_t exchanges(size_t size, size_t first, size_t next) {
    return size <= first ? 1U : static_cast<uint32_t>(1 + (size - first + next - 1) / next);
}

// Mailbox header, CoE header, SDO header and size come before the data; later segments have no
// size. Four bytes fit into the first message of any mailbox.
uint32_t sdo_exchanges(uint32_t mailbox, size_t size) {
    constexpr uint32_t kFirstHeader = 16;
    constexpr uint32_t kSegmentHeader = 9;
    const uint32_t first = std::max(mailbox, kFirstHeader + 4) - kFirstHeader;
    return exchanges(size, first, std::max(mailbox, kSegmentHeader + 7) - kSegmentHeader);
}

uint32_t foe_exchanges(uint32_t mailbox, size_t size) {
    constexpr uint32_t kHeader = 12;
    const uint32_t chunk = std::max(mailbox, kHeader + 8) - kHeader;
    // The opening message, and a last chunk that is not full.
    return static_cast<uint32_t>(1 + size / chunk + 1);
}

milliseconds time_of(const MailboxFaults &faults, uint32_t count) {
    return faults.slow ? kSlowExchange * count : milliseconds(0);
}

// ---- SDO --------------------------------------------------------------------------------------

struct Sdo {
    uint32_t slave;
    ObjectAddress address;
    Clock::time_point begin;
    milliseconds timeout;
};

Sdo sdo_of(Channel &channel, const SdoRecord &record) {
    return {record.slave,
            {record.index, record.subindex, record.complete_access != 0},
            channel.now(),
            record.timeout_ms == 0 ? kUsualSdoTimeout : milliseconds(record.timeout_ms)};
}

std::string sdo_text(const Sdo &sdo) {
    return slave_text(sdo.slave) + ", " + object_text(sdo.address);
}

enum class Progress { Waiting, Done, TimedOut };

Progress progress(Channel &channel, const Sdo &sdo, size_t size, Clock::time_point now) {
    const MailboxFaults faults = channel.bus().mailbox_faults(sdo.slave);
    const uint32_t count = sdo_exchanges(mailbox_length(channel, sdo.slave), size);
    const milliseconds needed = time_of(faults, count);
    const Clock::duration passed = now - sdo.begin;
    if (!faults.silent && needed <= sdo.timeout && passed >= needed) {
        return Progress::Done;
    }
    return passed >= sdo.timeout ? Progress::TimedOut : Progress::Waiting;
}

Reply sdo_reply(const Sdo &sdo, uint32_t abort, std::vector<uint8_t> data) {
    if (abort != sdo_abort::kNone) {
        return Reply::refused(status_of_abort(abort), sdo_text(sdo) + ": " + abort_text(abort));
    }
    return Reply{status::kNoError, std::move(data), {}};
}

Reply sdo_timeout(const Sdo &sdo) {
    return Reply::refused(status::kCallTimeout, sdo_text(sdo) + ": no answer in " +
                                                    std::to_string(sdo.timeout.count()) + " ms");
}

Result step_upload(Channel &channel, const Sdo &sdo, Clock::time_point now) {
    if (Result refusal = check_slave(channel, sdo.slave, Protocol::Coe)) {
        return refusal;
    }
    // At first as if nothing came: only a slow slave's time depends on what it sends.
    switch (progress(channel, sdo, 0, now)) {
    case Progress::Waiting:
        return std::nullopt;
    case Progress::TimedOut:
        return sdo_timeout(sdo);
    case Progress::Done:
        break;
    }
    std::vector<uint8_t> data;
    const uint32_t abort = channel.bus().read_object(sdo.slave, sdo.address, data);
    switch (progress(channel, sdo, data.size(), now)) {
    case Progress::Waiting:
        return std::nullopt;
    case Progress::TimedOut:
        return sdo_timeout(sdo);
    case Progress::Done:
        break;
    }
    return sdo_reply(sdo, abort, std::move(data));
}

Result step_download(Channel &channel, const Sdo &sdo, const std::vector<uint8_t> &data,
                     Clock::time_point now) {
    if (Result refusal = check_slave(channel, sdo.slave, Protocol::Coe)) {
        return refusal;
    }
    switch (progress(channel, sdo, data.size(), now)) {
    case Progress::Waiting:
        return std::nullopt;
    case Progress::TimedOut:
        return sdo_timeout(sdo);
    case Progress::Done:
        break;
    }
    return sdo_reply(sdo, channel.bus().write_object(sdo.slave, sdo.address, data), {});
}

// The whole object goes to the host, whatever the capacity: cutting it would hide that it is
// larger.
Result upload(Channel &channel, Mailbox &, const Request &request) {
    const Sdo sdo = sdo_of(channel, request.value<SdoRecord>());
    return channel.reply_later(
        [&channel, sdo](Clock::time_point now) { return step_upload(channel, sdo, now); });
}

Result download(Channel &channel, Mailbox &, const Request &request) {
    if (request.payload.size() < sizeof(SdoRecord)) {
        return Reply::refused(status::kInvalidArguments, "the request has no whole record");
    }
    const auto record = request.value<SdoRecord>();
    const auto data = request.payload.subspan(sizeof record);
    if (record.length != data.size()) {
        return Reply::refused(status::kInconsistentLength,
                              std::to_string(record.length) + " bytes announced, " +
                                  std::to_string(data.size()) + " sent");
    }
    if (data.size() > kSdoDataSize) {
        return Reply::refused(status::kInvalidArguments,
                              std::to_string(data.size()) + " bytes are too many");
    }
    const Sdo sdo = sdo_of(channel, record);
    return channel.reply_later(
        [&channel, sdo, kept = std::vector(data.begin(), data.end())](Clock::time_point now) {
            return step_download(channel, sdo, kept, now);
        });
}

// ---- FoE --------------------------------------------------------------------------------------

struct Foe {
    uint32_t slave;
    std::string card_name;
    std::string name;
    Clock::time_point begin;
};

template <size_t Size>
std::optional<std::string> text_in(const char (&field)[Size]) {
    const char *end = std::find(std::begin(field), std::end(field), '\0');
    return end == std::end(field) ? std::nullopt : std::optional(std::string(field, end));
}

// Whether the transfer goes on, ends, or waits.
struct FoeProgress {
    bool waiting = false;
    Result failure;
};

FoeProgress foe_progress(Channel &channel, const Foe &foe, size_t size, Clock::time_point now) {
    const MailboxFaults faults = channel.bus().mailbox_faults(foe.slave);
    const Clock::duration passed = now - foe.begin;
    if (faults.silent) {
        return passed < kFoeTimeout
                   ? FoeProgress{true, {}}
                   : FoeProgress{false, Reply::refused(status::kCallTimeout,
                                                       slave_text(foe.slave) + " says nothing")};
    }
    if (faults.foe_busy) {
        return passed < kFoePatience
                   ? FoeProgress{true, {}}
                   : FoeProgress{false, Reply::refused(status::kBusy,
                                                       slave_text(foe.slave) + " stays busy")};
    }
    const uint32_t count = foe_exchanges(mailbox_length(channel, foe.slave), size);
    return {passed < time_of(faults, count), {}};
}

FoeSlave foe_slave(Channel &channel, const Foe &foe) {
    return {foe.slave, channel.bus().network().slaves[foe.slave],
            channel.bus().slave(foe.slave).state};
}

Reply foe_reply(const Foe &foe, FoeAnswer answer) {
    if (answer == FoeAnswer::Done) {
        return Reply::done();
    }
    return Reply::refused(status_of_foe(answer), slave_text(foe.slave) + ", file \"" + foe.name +
                                                     "\": " + text_of_foe(answer));
}

Result step_foe_read(Channel &channel, const Foe &foe, Clock::time_point now) {
    if (Result refusal = check_slave(channel, foe.slave, Protocol::Foe)) {
        return refusal;
    }
    SlaveFiles::Content content;
    const FoeAnswer answer = channel.slave_files().read(foe_slave(channel, foe), foe.name, content);
    FoeProgress progress = foe_progress(channel, foe, content ? content->size() : 0, now);
    if (progress.waiting || progress.failure) {
        return progress.failure;
    }
    if (answer == FoeAnswer::Done && !channel.files().put(foe.card_name, content)) {
        return Reply::refused(status::kMemoryLimit, "the card's file store is full");
    }
    return foe_reply(foe, answer);
}

Result step_foe_write(Channel &channel, const Foe &foe, const SlaveFiles::Content &content,
                      Clock::time_point now) {
    if (Result refusal = check_slave(channel, foe.slave, Protocol::Foe)) {
        return refusal;
    }
    FoeProgress progress = foe_progress(channel, foe, content->size(), now);
    if (progress.waiting || progress.failure) {
        return progress.failure;
    }
    return foe_reply(foe, channel.slave_files().write(foe_slave(channel, foe), foe.name, content));
}

// The names of the request; a refusal when they are no names.
Result read_foe(Channel &channel, const Request &request, Foe &foe) {
    const auto record = request.value<FoeRecord>();
    const std::optional<std::string> card_name = text_in(record.card_name);
    const std::optional<std::string> name = text_in(record.foe_name);
    if (!card_name || !name || card_name->empty() || name->empty()) {
        return Reply::refused(status::kInvalidArguments, "a file name is empty or does not end");
    }
    foe = {record.slave, *card_name, *name, channel.now()};
    return std::nullopt;
}

Result foe_read(Channel &channel, Mailbox &, const Request &request) {
    Foe foe;
    if (Result refusal = read_foe(channel, request, foe)) {
        return refusal;
    }
    return channel.reply_later(
        [&channel, foe](Clock::time_point now) { return step_foe_read(channel, foe, now); });
}

Result foe_write(Channel &channel, Mailbox &, const Request &request) {
    Foe foe;
    if (Result refusal = read_foe(channel, request, foe)) {
        return refusal;
    }
    const SlaveFiles::Content content = channel.files().find(foe.card_name);
    if (!content) {
        return Reply::refused(status::kCannotReadFile,
                              "the card has no file \"" + foe.card_name + "\"");
    }
    return channel.reply_later([&channel, foe, content](Clock::time_point now) {
        return step_foe_write(channel, foe, content, now);
    });
}

// Also ends a transfer under way that nobody waits for any more: its file must not appear after
// the clean-up.
Result remove_file(Channel &channel, Mailbox &, const Request &request) {
    const auto *first = reinterpret_cast<const char *>(request.payload.data());
    const auto *last = first + request.payload.size();
    const auto *end = std::find(first, last, '\0');
    if (end == last || end == first) {
        return Reply::refused(status::kInvalidArguments, "the file name is empty or does not end");
    }
    const std::string name(first, end);
    channel.abort_later(Command::FoeRead);
    channel.abort_later(Command::FoeWrite);
    if (!channel.files().find(name)) {
        return Reply::refused(status::kCannotOpenFile, "no file \"" + name + "\"");
    }
    channel.files().remove(name);
    return Reply::done();
}

constexpr Service kServices[] = {
    {Command::SdoDownload, Ring::Primary, kAnyLength, Needs::Configuration, download},
    {Command::SdoUpload, Ring::Primary, sizeof(SdoRecord) + kSdoDataSize, Needs::Slave, upload},
    {Command::FoeRead, Ring::Secondary, sizeof(FoeRecord), Needs::Slave, foe_read},
    {Command::FoeWrite, Ring::Secondary, sizeof(FoeRecord), Needs::Slave, foe_write},
    {Command::FileRemove, Ring::Secondary, kAnyLength, Needs::Nothing, remove_file},
};

} // namespace

std::span<const Service> mailbox_services() {
    return kServices;
}

} // namespace tarn::vcard
