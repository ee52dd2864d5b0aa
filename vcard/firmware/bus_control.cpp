#include "vcard/firmware/bus_control.h"

#include "vcard/bus/ethercat.h"
#include "vcard/firmware/status.h"

#include <array>
#include <exception>
#include <new>
#include <string_view>
#include <system_error>
#include <utility>

namespace tarn::vcard {

namespace {

constexpr std::array<uint8_t, 3> kStartStates = {kPreOp, kSafeOp, kOp};

template <typename T>
bool ready(const std::future<T> &future) {
    return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

} // namespace

BusControl::BusControl(BusControlOptions options)
    : log_(options.bus.log), start_time_(options.start_ms), present_(std::move(options.present)),
      bus_(std::move(options.bus)) {}

std::optional<Verdict> BusControl::start(std::shared_ptr<const FileContent> eni) {
    if (phase_ != Phase::Stopped) {
        return Verdict{status::kAlreadyStarted, "the bus has been started already"};
    }
    if (!eni) {
        return give_up(status::kNoConfigurationFile, "no configuration file was sent");
    }
    bus_.clear();
    drop_finished_readers();
    try {
        // A large file takes a while to read; the other rings must not wait for it.
        reader_ = std::async(std::launch::async, [eni = std::move(eni), present = present_] {
            return parse(*eni, present.get());
        });
    } catch (const std::system_error &error) {
        return give_up(status::kNoThread, error.what());
    }
    phase_ = Phase::Reading;
    return std::nullopt;
}

BusControl::Parsed BusControl::parse(const FileContent &eni, const Network *present) {
    Parsed parsed;
    const std::string_view text(reinterpret_cast<const char *>(eni.data()), eni.size());
    parsed.verdict = parse_eni(text, parsed.network);
    if (parsed.verdict.status == status::kNoError && present != nullptr) {
        parsed.verdict = compare_networks(parsed.network, *present);
    }
    return parsed;
}

std::optional<Verdict> BusControl::step(Clock::time_point now) {
    if (phase_ == Phase::Reading) {
        if (std::optional<Verdict> verdict = finish_reading(now)) {
            return verdict;
        }
    }
    return phase_ == Phase::Rising ? rise(now) : std::nullopt;
}

std::optional<Verdict> BusControl::finish_reading(Clock::time_point now) {
    if (!ready(reader_)) {
        return std::nullopt;
    }
    try {
        Parsed parsed = reader_.get();
        if (parsed.verdict.status != status::kNoError) {
            return give_up(parsed.verdict.status, std::move(parsed.verdict.text));
        }
        bus_.configure(std::move(parsed.network));
        bus_.start();
    } catch (const std::bad_alloc &) {
        return give_up(status::kMemoryLimit, "no memory for the configuration");
    } catch (const std::exception &error) {
        return give_up(status::kGeneralError, error.what());
    }
    phase_ = Phase::Rising;
    rise_begin_ = now;
    states_reached_ = 0;
    return std::nullopt;
}

std::optional<Verdict> BusControl::rise(Clock::time_point now) {
    // One state per look, so that a host that asks meanwhile sees each of them.
    if (now - rise_begin_ < start_time_ * (states_reached_ + 1) / kStartStates.size()) {
        return std::nullopt;
    }
    const uint8_t state = kStartStates[states_reached_];
    if (!bus_.request_state(state)) {
        return give_up(status::kTransitionError,
                       "the slaves do not reach state " + std::to_string(state));
    }
    if (++states_reached_ < kStartStates.size()) {
        return std::nullopt;
    }
    phase_ = Phase::Running;
    log_("bus started, " + std::to_string(bus_.network().slaves.size()) + " slaves, cycle " +
         std::to_string(bus_.network().cycle_us) + " us");
    return Verdict{};
}

std::optional<Verdict> BusControl::stop() {
    if (starting()) {
        return give_up(status::kAborted, "the start was aborted by a stop");
    }
    if (phase_ == Phase::Running) {
        const uint64_t cycles = bus_.cycles();
        bus_.stop();
        phase_ = Phase::Stopped;
        log_("bus stopped after " + std::to_string(cycles) + " cycles");
    }
    return std::nullopt;
}

// A start that fails leaves the master without configuration, not with the one of before.
Verdict BusControl::give_up(uint32_t status, std::string reason) {
    if (reader_.valid()) {
        abandoned_.push_back(std::move(reader_));
    }
    bus_.clear();
    phase_ = Phase::Stopped;
    bus_.errors().add({VCARD_ERROR_CONFIGURATION, status, VCARD_NO_SLAVE, 0xFFFF, 0, reason});
    return {status, std::move(reason)};
}

void BusControl::drop_finished_readers() {
    std::erase_if(abandoned_, [](const std::future<Parsed> &reader) { return ready(reader); });
}

VcardBusStatus BusControl::status() const {
    switch (phase_) {
    case Phase::Stopped:
        return VCARD_BUS_NOT_CONFIGURED;
    case Phase::Reading:
    case Phase::Rising:
        return VCARD_BUS_STARTING;
    case Phase::Running:
        break;
    }
    return slave_fault() ? VCARD_BUS_FAULT : VCARD_BUS_RUNNING;
}

bool BusControl::slave_fault() const {
    const auto count = static_cast<uint32_t>(bus_.network().slaves.size());
    for (uint32_t i = 0; i < count; ++i) {
        const Bus::SlaveStatus slave = bus_.slave(i);
        if (slave.state != slave.requested) {
            return true;
        }
    }
    return false;
}

} // namespace tarn::vcard
