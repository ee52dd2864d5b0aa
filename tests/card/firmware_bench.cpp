#include "card/firmware_bench.h"

#include "base/card_memory.h"
#include "support/process.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>

namespace tarn::test {

namespace {

constexpr size_t kTotal = 0x1000 + 0x1000 + 0x800000;
constexpr std::align_val_t kPage{0x1000}; // as a recorder of accesses needs it
constexpr auto kLimit = kPatience;

} // namespace

Bytes open_record(const std::string &name, char direction) {
    Bytes record(144, 0xEE);
    std::copy(name.begin(), name.end(), record.begin());
    if (name.size() < 128) {
        record[name.size()] = 0;
    }
    record[128] = static_cast<uint8_t>(direction);
    record[129] = 0;
    return record;
}

void FirmwareBench::FreePages::operator()(uint8_t *pages) const {
    ::operator delete(pages, kPage);
}

FirmwareBench::FirmwareBench(const vcard::CardConfig &config, vcard::Firmware::Now now)
    : storage_(static_cast<uint8_t *>(::operator new(kTotal, kPage))) {
    uint8_t *base = storage_.get();
    std::memset(base, 0xFF, kTotal);
    memory_.bars[0] = {base, 0x1000};
    memory_.bars[1] = {base + 0x1000, 0x1000};
    memory_.bars[2] = {base + 0x2000, 0x800000};
    firmware_ = std::make_unique<vcard::Firmware>(
        config, memory_,
        [this](unsigned number) {
            const std::lock_guard lock(mutex_);
            interrupts_.push_back(number);
        },
        [this](const std::string &line) {
            const std::lock_guard lock(mutex_);
            log_.push_back(line);
        },
        std::move(now));
    firmware_->boot();
}

uint32_t FirmwareBench::word(uint32_t channel, uint32_t index) {
    return card::load32(area(channel) + size_t{index} * 4);
}

void FirmwareBench::set_word(uint32_t channel, uint32_t index, uint32_t value) {
    card::store32(area(channel) + size_t{index} * 4, value);
}

FirmwareBench::Ring FirmwareBench::ring(uint32_t channel, uint32_t first_word) {
    return {word(channel, first_word), word(channel, first_word + 1), word(channel, first_word + 2),
            word(channel, first_word + 3)};
}

uint16_t FirmwareBench::push(uint32_t channel, bool primary, uint16_t code, const Bytes &payload) {
    const Ring out = ring(channel, primary ? 5 : 13);
    uint8_t *base = area(channel);
    const uint32_t write = card::load32(base + out.pointers + 4);
    if (write - card::load32(base + out.pointers) > out.mask ||
        payload.size() + 16 > out.slot_size) {
        throw std::runtime_error("no room for the request");
    }
    uint8_t *slot = base + out.slots + size_t{write & out.mask} * out.slot_size;
    card::store16(slot + 2, code);
    card::store16(slot + 4, static_cast<uint16_t>(write));
    card::store32(slot + 8, static_cast<uint32_t>(payload.size()));
    std::copy(payload.begin(), payload.end(), slot + 16);
    card::store32(base + out.pointers + 4, write + 1);
    card::store32(bar(1) + (channel == 0 ? 0x04 : 0x10), 1);
    return static_cast<uint16_t>(write);
}

std::optional<Answer> FirmwareBench::pop(uint32_t channel, bool primary) {
    const Ring in = ring(channel, primary ? 1 : 9);
    uint8_t *base = area(channel);
    const uint32_t read = card::load32(base + in.pointers);
    if (card::load32(base + in.pointers + 4) == read) {
        return std::nullopt;
    }
    const uint8_t *slot = base + in.slots + size_t{read & in.mask} * in.slot_size;
    Answer answer;
    answer.sequence = card::load16(slot + 4);
    answer.length = card::load32(slot + 8);
    answer.status = card::load32(slot + 12);
    if (answer.length <= in.slot_size - 16) {
        answer.payload.assign(slot + 16, slot + 16 + answer.length);
    }
    card::store32(base + in.pointers, read + 1);
    return answer;
}

Answer FirmwareBench::wait(uint32_t channel, bool primary) {
    const auto end = std::chrono::steady_clock::now() + kLimit;
    while (std::chrono::steady_clock::now() < end) {
        firmware_->serve();
        if (auto answer = pop(channel, primary)) {
            return *answer;
        }
        std::this_thread::yield();
    }
    throw std::runtime_error("no reply");
}

Answer FirmwareBench::request(uint32_t channel, bool primary, uint16_t code, const Bytes &payload) {
    const uint16_t sequence = push(channel, primary, code, payload);
    Answer answer = wait(channel, primary);
    while (answer.sequence != sequence) {
        answer = wait(channel, primary);
    }
    return answer;
}

uint32_t FirmwareBench::send_file(const std::string &name, const Bytes &content, uint32_t channel,
                                  bool primary) {
    const size_t chunk_size =
        std::min<size_t>(102384, ring(channel, primary ? 5 : 13).slot_size - 16);
    uint32_t status = request(channel, primary, 1, open_record(name, 'w')).status;
    for (size_t at = 0; at < content.size() && status == 0; at += chunk_size) {
        const auto begin = content.begin() + static_cast<std::ptrdiff_t>(at);
        const size_t size = std::min(chunk_size, content.size() - at);
        const Bytes chunk(begin, begin + static_cast<std::ptrdiff_t>(size));
        status = request(channel, primary, 2, chunk).status;
    }
    const uint32_t closed = request(channel, primary, 5).status;
    return status != 0 ? status : closed;
}

uint32_t FirmwareBench::start(const std::string &eni, uint32_t channel) {
    const uint32_t sent = send_file("eni_temp.xml", {eni.begin(), eni.end()}, channel);
    return sent != 0 ? sent : request(channel, true, 9).status;
}

void FirmwareBench::serve(uint32_t times) {
    for (uint32_t i = 0; i < times; ++i) {
        firmware_->serve();
    }
}

std::vector<unsigned> FirmwareBench::interrupts() const {
    const std::lock_guard lock(mutex_);
    return interrupts_;
}

void FirmwareBench::clear_interrupts() {
    const std::lock_guard lock(mutex_);
    interrupts_.clear();
}

bool FirmwareBench::logged(const std::string &part) const {
    const std::lock_guard lock(mutex_);
    return std::any_of(log_.begin(), log_.end(), [&part](const std::string &line) {
        return line.find(part) != std::string::npos;
    });
}

} // namespace tarn::test
