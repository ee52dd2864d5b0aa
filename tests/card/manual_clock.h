// A card whose time stands still but for what the test lets pass. All places are literal numbers.
#pragma once

#include "base/card_memory.h"
#include "card/firmware_bench.h"

#include <chrono>
#include <memory>

namespace tarn::test {

class ManualClock {
  public:
    vcard::Firmware::Now function() const {
        return [time = time_] { return *time; };
    }
    void advance(std::chrono::nanoseconds step) const { *time_ += step; }

  private:
    using Time = std::chrono::steady_clock::time_point;
    std::shared_ptr<Time> time_ = std::make_shared<Time>(std::chrono::hours(1000));
};

class BoardBench {
  public:
    explicit BoardBench(const vcard::CardConfig &config = quick())
        : bench_(config, clock_.function()) {
        look();
    }

    static vcard::CardConfig quick() {
        vcard::CardConfig config;
        config.start_ms = 0;
        config.reset_ms = 0;
        return config;
    }

    FirmwareBench &bench() { return bench_; }
    vcard::Firmware &firmware() { return bench_.firmware(); }

    // Stores and loads of the host, in BAR1 and BAR2.
    uint32_t read(uint32_t offset) { return card::load32(bench_.bar(1) + offset); }
    uint64_t read64(uint32_t offset) { return read(offset) | uint64_t{read(offset + 4)} << 32; }
    void write(uint32_t offset, uint32_t value) { card::store32(bench_.bar(1) + offset, value); }
    uint32_t block(uint32_t offset) { return card::load32(bench_.bar(2) + offset); }
    void set_block(uint32_t offset, uint32_t value) {
        card::store32(bench_.bar(2) + offset, value);
    }
    std::string text(uint32_t offset) {
        return reinterpret_cast<const char *>(bench_.bar(2) + offset);
    }

    // The card looks, now or when some time has passed.
    void look() { firmware().serve(); }
    void pass(std::chrono::nanoseconds step) {
        clock_.advance(step);
        look();
    }
    void advance(std::chrono::nanoseconds step) { clock_.advance(step); }

    // A request to the board.
    Answer ask(uint16_t code, const Bytes &payload = {}) {
        return bench_.request(0, false, code, payload);
    }
    void reset() {
        set_block(0x188, 1);
        look();
    }

  private:
    ManualClock clock_;
    FirmwareBench bench_;
};

} // namespace tarn::test
