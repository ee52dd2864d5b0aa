#include "vcard/firmware/channel.h"

#include "base/card_memory.h"
#include "vcard/firmware/status.h"

#include <algorithm>
#include <utility>

namespace tarn::vcard {

namespace {

constexpr unsigned kInterruptsPerChannel = 4;
constexpr unsigned kCycleInterrupt = 2;
constexpr unsigned kSocketInterrupt = 3;
constexpr size_t kSeenBytes = 256;
constexpr size_t kMostPending = 64; // replies that wait for their slaves

std::optional<Reply> check(const Service &service, const Bus &bus, const Request &request) {
    if (service.request_length != kAnyLength && request.payload.size() != service.request_length) {
        return Reply::refused(status::kInvalidArguments,
                              std::to_string(service.request_length) + " bytes expected, " +
                                  std::to_string(request.payload.size()) + " received");
    }
    if (service.needs == Needs::Nothing) {
        return std::nullopt;
    }
    if (!bus.configured()) {
        return Reply::refused(status::kNotConfigured, "the master is not configured");
    }
    const size_t slaves = bus.network().slaves.size();
    if (service.needs == Needs::Slave && request.value<uint16_t>() >= slaves) {
        return Reply::refused(status::kInvalidSlaveIndex,
                              "slave " + std::to_string(request.value<uint16_t>()) + " of " +
                                  std::to_string(slaves));
    }
    return std::nullopt;
}

} // namespace

Channel::Channel(ChannelOptions options)
    : options_(std::move(options)),
      control_(bus_options()), mailboxes_{make_mailbox(true), make_mailbox(false)},
      socket_(make_socket()) {}

Mailbox Channel::make_mailbox(bool primary) {
    const unsigned interrupt = options_.number * kInterruptsPerChannel + (primary ? 0U : 1U);
    const MailboxPlace &place = primary ? options_.layout->primary() : options_.layout->secondary();
    return {primary, RingPort(options_.area, place), *options_.files, *options_.faults,
            [this, interrupt] { options_.interrupt(interrupt); }};
}

SocketChannel Channel::make_socket() {
    const unsigned interrupt = options_.number * kInterruptsPerChannel + kSocketInterrupt;
    return {SocketPort(options_.area, options_.layout->socket()), *options_.faults,
            [this, interrupt] { options_.interrupt(interrupt); },
            [this](const std::string &line) { log(line); }};
}

BusControlOptions Channel::bus_options() const {
    BusControlOptions control;
    control.bus.area = reinterpret_cast<PiCardArea *>(options_.area + kPiCardOffset);
    control.bus.slave_ready = reinterpret_cast<uint32_t *>(options_.area + kSlaveReadyOffset);
    control.bus.generation = options_.config->generation;
    // Runs on the cycle thread.
    control.bus.cycle_interrupt = [this] {
        if (!options_.faults->no_interrupts &&
            !take_fault(options_.faults->lose_cycle_interrupts)) {
            options_.interrupt(options_.number * kInterruptsPerChannel + kCycleInterrupt);
        }
    };
    control.bus.log = [this](const std::string &line) { log(line); };
    control.bus.utc_ns = options_.utc_ns;
    control.bus.eeproms = options_.eeproms;
    control.start_ms = options_.config->start_ms;
    control.present = options_.present;
    return control;
}

bool Channel::serve(Clock::time_point now) {
    now_ = now;
    bool worked = serve_stop_word();
    worked = serve_start() || worked;
    worked = serve_later() || worked;
    for (Mailbox &mailbox : mailboxes_) {
        worked = serve_mailbox(mailbox) || worked;
    }
    worked = socket_.serve() || worked;
    control_.bus().tell();
    return worked;
}

bool Channel::serve_stop_word() {
    uint8_t *word = options_.area + kStopRequestOffset;
    if (card::load32(word) != 1) {
        return false;
    }
    log("stop word");
    stop_bus();
    card::store32(word, 0);
    return true;
}

bool Channel::serve_start() {
    std::optional<Verdict> verdict = control_.step(now_);
    if (!verdict) {
        return false;
    }
    end_start(std::move(*verdict));
    return true;
}

std::optional<Reply> Channel::reply_later(Later later) {
    if (std::optional<Reply> reply = later(now_)) {
        return reply;
    }
    if (pending_replies_.size() == kMostPending) {
        return Reply::refused(status::kBusy, std::to_string(kMostPending) + " services wait");
    }
    pending_replies_.push_back({current_, slot_.code, slot_.sequence, std::move(later)});
    return std::nullopt;
}

bool Channel::serve_later() {
    bool worked = false;
    for (size_t i = 0; i < pending_replies_.size();) {
        PendingReply &pending = pending_replies_[i];
        if (std::optional<Reply> reply = pending.later(now_)) {
            answer(*pending.mailbox, pending.code, pending.sequence, std::move(*reply));
            pending_replies_.erase(pending_replies_.begin() + static_cast<std::ptrdiff_t>(i));
            worked = true;
        } else {
            ++i;
        }
    }
    return worked;
}

void Channel::abort_later(Command command) {
    abort_replies(command);
}

void Channel::abort_replies(std::optional<Command> command) {
    std::erase_if(pending_replies_, [&](const PendingReply &pending) {
        if (command && pending.code != static_cast<uint16_t>(*command)) {
            return false;
        }
        answer(*pending.mailbox, pending.code, pending.sequence,
               Reply::refused(status::kAborted, "the service was ended"));
        return true;
    });
}

void Channel::stop_bus() {
    abort_replies(std::nullopt);
    if (std::optional<Verdict> verdict = control_.stop()) {
        end_start(std::move(*verdict));
    }
}

void Channel::shut_down(Clock::time_point now) {
    now_ = now;
    stop_bus();
    for (Mailbox &mailbox : mailboxes_) {
        mailbox.flush(now);
    }
    socket_.flush();
}

std::optional<Reply> Channel::start_bus() {
    if (std::optional<Verdict> verdict = control_.start(options_.files->find(kCardEniName))) {
        return Reply::refused(verdict->status, std::move(verdict->reason));
    }
    pending_start_ = {current_, slot_.code, slot_.sequence};
    return std::nullopt;
}

void Channel::end_start(Verdict verdict) {
    if (const auto start = std::exchange(pending_start_, std::nullopt)) {
        answer(*start->mailbox, start->code, start->sequence,
               {verdict.status, {}, std::move(verdict.reason)});
    }
}

bool Channel::serve_mailbox(Mailbox &mailbox) {
    bool worked = mailbox.flush(now_);
    // While a reply waits for its slot, requests do too: none may overtake or pile up here.
    for (uint32_t round = 0; round < mailbox.port().slots() && !mailbox.busy(); ++round) {
        if (options_.faults->stop_draining) {
            break;
        }
        const RingPort::Taken taken = mailbox.port().take(slot_);
        if (taken == RingPort::Taken::Nothing) {
            break;
        }
        take_request(mailbox, taken);
        mailbox.flush(now_);
        worked = true;
        if (take_fault(options_.faults->stop_after) && options_.faults->stop_after == 0) {
            options_.faults->stop_draining = true;
        }
    }
    return worked;
}

void Channel::take_request(Mailbox &mailbox, RingPort::Taken taken) {
    if (taken == RingPort::Taken::BadCounters) {
        log(std::string(mailbox.name()) + " ring: impossible counters, requests dropped");
        return;
    }
    const size_t kept = std::min(slot_.payload.size(), kSeenBytes);
    options_.seen(
        {options_.number,
         mailbox.primary(),
         slot_.code,
         {slot_.payload.begin(), slot_.payload.begin() + static_cast<std::ptrdiff_t>(kept)}});
    if (taken == RingPort::Taken::BadLength) {
        answer(mailbox, slot_.code, slot_.sequence,
               Reply::refused(status::kInconsistentLength,
                              "length " + std::to_string(slot_.length) + " exceeds the slot"));
        return;
    }
    const uint16_t code = slot_.code;
    const uint16_t sequence = slot_.sequence;
    current_ = &mailbox;
    if (std::optional<Reply> reply = dispatch(mailbox, {code, slot_.payload})) {
        answer(mailbox, code, sequence, std::move(*reply));
    }
}

std::optional<Reply> Channel::dispatch(Mailbox &mailbox, const Request &request) {
    Faults &faults = *options_.faults;
    const uint32_t faulty_code = faults.status_code;
    if ((faulty_code == 0 || faulty_code == request.code) && take_fault(faults.status_count)) {
        mailbox.transfer().spoil(); // the request is lost, and a chunk may be with it
        return Reply::refused(faults.status, "fault on demand");
    }
    return serve_request(mailbox, request);
}

std::optional<Reply> Channel::serve_request(Mailbox &mailbox, const Request &request) {
    const Service *service = find_service(request.code, options_.number, mailbox.primary());
    if (service == nullptr) {
        return Reply::refused(status::kNotImplemented, "no such service");
    }
    if (std::optional<Reply> refusal = check(*service, control_.bus(), request)) {
        return refusal;
    }
    return service->handle(*this, mailbox, request);
}

void Channel::answer(Mailbox &mailbox, uint16_t code, uint16_t sequence, Reply reply) {
    if (reply.payload.size() > mailbox.port().capacity()) {
        reply = Reply::refused(status::kInconsistentLength, "the reply exceeds the slot");
    }
    if (reply.status != status::kNoError) {
        log(std::string(mailbox.name()) + " ring: command " + std::to_string(code) + " refused (" +
            std::to_string(reply.status) + "): " + reply.reason);
    }
    mailbox.answer(code, sequence, std::move(reply), now_);
}

namespace {

std::string describe_queues(const Bus::PiStatus &pi) {
    return "queues: input " + std::to_string(pi.input_queue) + " of " +
           std::to_string(kPiQueueEntries) + ", " + std::to_string(pi.inputs_dropped) +
           " dropped, output " + std::to_string(pi.output_queue) + " of " +
           std::to_string(kPiQueueEntries) + ", " + std::to_string(pi.outputs_taken) +
           " taken, last flag " + std::to_string(pi.output_flag) + ", restarts " +
           std::to_string(pi.queue_restarts) + ", cycles left out " +
           std::to_string(pi.cycles_left_out);
}

std::string describe_watchdog(const OutputWatchdog::Status &status) {
    std::string text = "watchdog: " + std::to_string(status.slaves) + " slaves configured, " +
                       (status.enabled ? "enabled" : "disabled") + ", ";
    if (status.started) {
        text += "started with " + std::to_string(status.timeout_ms) + " ms" +
                (status.label.empty() ? "" : " \"" + status.label + "\"");
    } else {
        text += "stopped";
    }
    return text + (status.expired ? ", EXPIRED" : "") + ", expired " +
           std::to_string(status.expiries) + " times";
}

} // namespace

std::string Channel::describe() const {
    static constexpr const char *kTexts[] = {"stopped", "starting", "running", "fault"};
    const Bus &bus = control_.bus();
    const Bus::PiStatus pi = bus.pi_status();
    std::string text =
        "channel " + std::to_string(options_.number) + ": " + kTexts[control_.status()] + ", ";
    if (bus.configured()) {
        text += std::to_string(bus.active_slaves()) + " of " +
                std::to_string(bus.network().slaves.size()) + " slaves, state " +
                std::to_string(bus.master_state()) + ", cycle " +
                std::to_string(bus.network().cycle_us) + " us, " + std::to_string(bus.cycles()) +
                " cycles";
    } else {
        text += "not configured";
    }
    text += ", auto clear " + std::to_string(settings_.auto_clear) + ", ready-lost time-out " +
            std::to_string(settings_.ready_lost_timeout) + ", time-out trigger " +
            std::to_string(settings_.timeout_trigger);
    if (bus.configured()) {
        text += "\n  " + describe_queues(pi) + "\n  " + describe_watchdog(pi.watchdog);
    }
    return socket_.used() ? text + "\n  " + socket_.describe() : text;
}

void Channel::log(const std::string &line) const {
    options_.log("channel " + std::to_string(options_.number) + ": " + line);
}

} // namespace tarn::vcard
