#include "vcard/host/card_server_win32.h"

#include "vcard/host/driver_node_win32.h"
#include "vcard/host/serving.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <map>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace tarn::vcard {

namespace {

constexpr size_t kSelectorLimit = 1024;
constexpr size_t kSelectorDataLimit = 65536;

// A card that has just gone may still be busy with its end.
constexpr auto kAttachPatience = std::chrono::seconds(2);

class Event {
  public:
    Event() : handle_(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {
        if (handle_ == nullptr) {
            throw std::runtime_error("cannot make an event");
        }
    }
    ~Event() { CloseHandle(handle_); }
    Event(const Event &) = delete;
    Event &operator=(const Event &) = delete;
    void set() const { SetEvent(handle_); }
    void reset() const { ResetEvent(handle_); }
    [[nodiscard]] HANDLE get() const { return handle_; }

  private:
    HANDLE handle_;
};

// Without it the system's sleeps are up to 16 ms long.
class FineTimer {
  public:
    FineTimer() { timeBeginPeriod(1); }
    ~FineTimer() { timeEndPeriod(1); }
    FineTimer(const FineTimer &) = delete;
    FineTimer &operator=(const FineTimer &) = delete;
};

// Raises the cycle interrupts for the buses: a request to the driver takes its time, and no cycle
// shall wait for it. Cycles that come meanwhile are one interrupt. The buses wake it by a word and
// not by an event, since under Wine each touch of an event is a request to Wine's server.
class CycleInterrupts {
  public:
    explicit CycleInterrupts(DriverNode &node) : node_(node), thread_([this] { run(); }) {}
    ~CycleInterrupts() {
        add(kStop);
        thread_.join();
    }
    CycleInterrupts(const CycleInterrupts &) = delete;
    CycleInterrupts &operator=(const CycleInterrupts &) = delete;

    static bool is_one(unsigned interrupt) { return interrupt % 4 == 2; }
    void raise(unsigned interrupt) { add(1U << interrupt); }

  private:
    static constexpr uint32_t kStop = 1U << 31;

    void add(uint32_t bit) {
        if (pending_.fetch_or(bit) == 0) {
            WakeByAddressSingle(&pending_);
        }
    }

    uint32_t wait() {
        uint32_t none = 0;
        while (pending_ == none) {
            WaitOnAddress(&pending_, &none, sizeof(none), INFINITE);
        }
        return pending_.exchange(none);
    }

    void run() {
        for (uint32_t pending = wait(); (pending & kStop) == 0; pending = wait()) {
            for (unsigned interrupt = 0; interrupt < 8; ++interrupt) {
                if ((pending & 1U << interrupt) != 0) {
                    node_.raise(interrupt);
                }
            }
        }
    }

    DriverNode &node_;
    std::atomic<uint32_t> pending_{0};
    std::thread thread_;
};

void attach(DriverNode &node) {
    const auto end = std::chrono::steady_clock::now() + kAttachPatience;
    while (!node.attach(kBarSizes)) {
        if (std::chrono::steady_clock::now() >= end) {
            throw std::runtime_error("the cards are served already: tarn-vcard is already running");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

CardMemory map_memory(DriverNode &node) {
    CardMemory memory;
    attach(node);
    for (uint32_t bar = 0; bar < kBarSizes.size(); ++bar) {
        memory.bars[bar] = {node.map(bar), kBarSizes[bar]};
    }
    return memory;
}

} // namespace

struct CardServer::State {
    State(const CardConfig &config, const std::string &node_path, const LogLine &log_line)
        : node(node_path), memory(map_memory(node)), log(log_line),
          firmware(
              config, memory, [this](unsigned interrupt) { raise(interrupt); }, log_line) {}

    void raise(unsigned interrupt);
    void run();
    void serve_event();
    void lose_node();
    bool serve_transfer(const FirmwareEvent &event, uint32_t &moved);
    bool dma_read(const FirmwareEvent &event);
    bool dma_write(const FirmwareEvent &event);
    bool read(const FirmwareEvent &event, uint32_t &moved);
    bool write(const FirmwareEvent &event);

    DriverNode node;
    CycleInterrupts cycle_interrupts{node};
    const CardMemory memory;
    const LogLine log;
    std::map<std::pair<uint32_t, uint32_t>, std::vector<uint8_t>> selectors;
    FineTimer timer;
    Event stop;
    SpinCredit spin;
    bool node_gone = false;
    Firmware firmware;
    std::thread thread;
};

void CardServer::State::raise(unsigned interrupt) {
    if (CycleInterrupts::is_one(interrupt)) {
        cycle_interrupts.raise(interrupt);
    } else {
        node.raise(interrupt);
    }
}

// ---- the serving thread ----------------------------------------------------------------------

void CardServer::State::run() {
    if (!node.ask()) {
        lose_node();
    }
    for (;;) {
        const bool busy = serve_until_quiet(firmware, spin);
        const std::array<HANDLE, 2> events = {stop.get(), node.event()};
        const DWORD result =
            WaitForMultipleObjects(node_gone ? 1 : 2, events.data(), FALSE,
                                   busy ? 0 : static_cast<DWORD>(kServingTick.count()));
        if (result == WAIT_OBJECT_0) {
            return;
        }
        if (result == WAIT_OBJECT_0 + 1) {
            serve_event();
        } else if (result == WAIT_FAILED) {
            std::this_thread::sleep_for(kServingTick);
        }
    }
}

void CardServer::State::serve_event() {
    FirmwareEvent event;
    if (!node.next_event(event)) {
        lose_node();
        return;
    }
    if (event.kind == kKick) {
        return; // it has ended the sleep, which is all it is for
    }
    uint32_t moved = event.length;
    bool ok = false;
    try {
        ok = serve_transfer(event, moved);
    } catch (const std::exception &error) {
        log(std::string("a transfer failed: ") + error.what());
    }
    node.complete(event, ok, ok ? moved : 0);
}

void CardServer::State::lose_node() {
    node_gone = true;
    log("the device node has gone: nobody can reach the card any more");
}

// ---- transfers -------------------------------------------------------------------------------

bool CardServer::State::serve_transfer(const FirmwareEvent &event, uint32_t &moved) {
    switch (event.kind) {
    case kDmaRead:
        return dma_read(event);
    case kDmaWrite:
        return dma_write(event);
    case kSelectorRead:
        return read(event, moved);
    case kSelectorWrite:
        return write(event);
    default:
        return false;
    }
}

namespace {

// Card addresses of DMA count from the start of BAR2.
bool dma_fits(const FirmwareEvent &event) {
    return uint64_t{event.first} + event.length <= kBar2Size;
}

} // namespace

bool CardServer::State::dma_read(const FirmwareEvent &event) {
    return dma_fits(event) && node.store(event, memory.bars[2].subspan(event.first, event.length));
}

bool CardServer::State::dma_write(const FirmwareEvent &event) {
    return dma_fits(event) && node.fetch(event, memory.bars[2].subspan(event.first, event.length));
}

// What the selectors name is whatever was written there last.
bool CardServer::State::read(const FirmwareEvent &event, uint32_t &moved) {
    const auto found = selectors.find({event.first, event.second});
    if (found == selectors.end()) {
        return false;
    }
    moved = static_cast<uint32_t>(std::min<size_t>(found->second.size(), event.length));
    return node.store(event, std::span(found->second).first(moved));
}

bool CardServer::State::write(const FirmwareEvent &event) {
    const std::pair key(event.first, event.second);
    if (event.length > kSelectorDataLimit ||
        (selectors.size() >= kSelectorLimit && selectors.count(key) == 0)) {
        return false;
    }
    std::vector<uint8_t> data(event.length);
    if (!node.fetch(event, data)) {
        return false;
    }
    selectors[key] = std::move(data);
    return true;
}

// ---- the outside -----------------------------------------------------------------------------

CardServer::CardServer(const CardConfig &config, const std::string &node_path, const LogLine &log)
    : state_(std::make_unique<State>(config, node_path, log)) {
    state_->firmware.boot();
    state_->thread = std::thread([state = state_.get()] { state->run(); });
}

CardServer::~CardServer() {
    state_->stop.set();
    state_->thread.join();
    state_->firmware.shut_down();
}

void CardServer::show() {
    state_->node.show();
}

Firmware &CardServer::firmware() {
    return state_->firmware;
}

} // namespace tarn::vcard
