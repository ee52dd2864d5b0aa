// A card's firmware on plain memory, with no host system and no library in between: tests play the
// host by writing slots. All places are literal numbers on purpose.
#pragma once

#include "vcard/firmware/firmware.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarn::test {

using Bytes = std::vector<uint8_t>;

template <typename T>
Bytes bytes_of(const T &value) {
    const auto *first = reinterpret_cast<const uint8_t *>(&value);
    return {first, first + sizeof value};
}

template <typename T>
T value_of(const Bytes &bytes) {
    T value{};
    std::copy_n(bytes.begin(), std::min(bytes.size(), sizeof value),
                reinterpret_cast<uint8_t *>(&value));
    return value;
}

// Request of command 1.
Bytes open_record(const std::string &name, char direction);

struct Answer {
    uint16_t sequence = 0;
    uint32_t length = 0;
    uint32_t status = 0;
    Bytes payload; // empty when the length exceeds the slot
};

class FirmwareBench {
  public:
    explicit FirmwareBench(const vcard::CardConfig &config = {},
                           vcard::Firmware::Now now = std::chrono::steady_clock::now);

    vcard::Firmware &firmware() { return *firmware_; }
    uint8_t *bar(size_t index) { return memory_.bars[index].data(); }
    uint8_t *area(uint32_t channel) { return bar(2) + 0x1000 + channel * 0x1FFC00; }
    uint32_t word(uint32_t channel, uint32_t index);
    void set_word(uint32_t channel, uint32_t index, uint32_t value);

    // The host's side of a mailbox. push() returns the sequence.
    uint16_t push(uint32_t channel, bool primary, uint16_t code, const Bytes &payload = {});
    std::optional<Answer> pop(uint32_t channel, bool primary);
    // Serves until a reply is there, for ten seconds at most.
    Answer wait(uint32_t channel, bool primary);
    Answer request(uint32_t channel, bool primary, uint16_t code, const Bytes &payload = {});
    Answer ask(uint16_t code, const Bytes &payload = {}) { return request(0, true, code, payload); }
    Answer ask_slave(uint16_t code, uint16_t slave) { return ask(code, bytes_of(slave)); }

    // Both return the status of the last step.
    uint32_t send_file(const std::string &name, const Bytes &content, uint32_t channel = 0,
                       bool primary = true);
    uint32_t start(const std::string &eni, uint32_t channel = 0);

    void serve(uint32_t times = 4);
    std::vector<unsigned> interrupts() const;
    void clear_interrupts();
    bool logged(const std::string &part) const;

  private:
    struct Ring {
        uint32_t pointers;
        uint32_t slots;
        uint32_t slot_size;
        uint32_t mask;
    };
    Ring ring(uint32_t channel, uint32_t first_word);

    struct FreePages {
        void operator()(uint8_t *pages) const;
    };
    std::unique_ptr<uint8_t, FreePages> storage_;
    vcard::CardMemory memory_;
    mutable std::mutex mutex_;
    std::vector<unsigned> interrupts_;
    std::vector<std::string> log_;
    std::unique_ptr<vcard::Firmware> firmware_; // last: ends first
};

} // namespace tarn::test
