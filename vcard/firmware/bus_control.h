// Starts and stops the bus of one channel. A start takes time and is driven by step(), so that the
// firmware goes on serving.
#pragma once

#include "tarn_vcard/records.h"
#include "vcard/bus/bus.h"
#include "vcard/firmware/file_store.h"

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarn::vcard {

using Clock = std::chrono::steady_clock;

struct Verdict {
    uint32_t status = 0;
    std::string reason; // why it was refused; empty for status 0
};

struct BusControlOptions {
    BusOptions bus;
    uint32_t start_ms = 0;
    std::shared_ptr<const Network> present; // what is wired; null: whatever the file says
};

class BusControl {
  public:
    explicit BusControl(BusControlOptions options);

    // Begins a start with this configuration file (null: there is none). A verdict means that it
    // was refused at once.
    std::optional<Verdict> start(std::shared_ptr<const FileContent> eni);

    // Moves a start on; gives its verdict once when it has ended.
    std::optional<Verdict> step(Clock::time_point now);

    // Stops a running bus and aborts a start under way, whose verdict this is then.
    std::optional<Verdict> stop();

    [[nodiscard]] bool starting() const {
        return phase_ == Phase::Reading || phase_ == Phase::Rising;
    }
    [[nodiscard]] bool running() const { return phase_ == Phase::Running; }
    [[nodiscard]] VcardBusStatus status() const;
    [[nodiscard]] Bus &bus() { return bus_; }
    [[nodiscard]] const Bus &bus() const { return bus_; }

  private:
    enum class Phase { Stopped, Reading, Rising, Running };
    struct Parsed {
        EniVerdict verdict;
        Network network;
    };

    static Parsed parse(const FileContent &eni, const Network *present);
    std::optional<Verdict> finish_reading(Clock::time_point now);
    std::optional<Verdict> rise(Clock::time_point now);
    Verdict give_up(uint32_t status, std::string reason);
    void drop_finished_readers();
    [[nodiscard]] bool slave_fault() const;

    LogLine log_;
    std::chrono::milliseconds start_time_;
    std::shared_ptr<const Network> present_;
    Bus bus_;
    Phase phase_ = Phase::Stopped;
    std::future<Parsed> reader_;
    std::vector<std::future<Parsed>> abandoned_; // readers of aborted starts
    Clock::time_point rise_begin_;
    uint32_t states_reached_ = 0;
};

} // namespace tarn::vcard
