// PWM and pulse outputs.
#include "base/card_memory.h"
#include "board/board_handle.h"
#include "board/timer.h"
#include "layout/card_memory_map.h"
#include "pci_tarn/board.h"
#include "pci_tarn/status.h"

using namespace tarn;

namespace {

uint32_t check(const BoardHandle *handle, uint32_t channel) noexcept {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    return channel < bar1::kIoChannels ? PCI_TARN_OK : PCI_TARN_E_INVALID_ARGUMENT;
}

// Reads a register and writes it back with the bits of `mask` set or cleared.
void set_bits(uint8_t *address, uint32_t mask) noexcept {
    card::store32(address, card::load32(address) | mask);
}
void clear_bits(uint8_t *address, uint32_t mask) noexcept {
    card::store32(address, card::load32(address) & ~mask);
}

uint8_t *output_enable(const BoardHandle &handle) noexcept {
    return registers(handle) + bar1::kOutputEnable;
}

// A PWM channel holds each number in two registers, 16 bits in the low half of each.
uint8_t *pwm(const BoardHandle &handle, uint32_t channel) noexcept {
    return registers(handle) + bar1::kPwm + channel * bar1::kTimerStride;
}
void store_halves(uint8_t *address, uint32_t value) noexcept {
    card::store32(address, value & 0xFFFF);
    card::store32(address + 4, value >> 16);
}
uint32_t load_halves(const uint8_t *address) noexcept {
    const uint32_t low = card::load32(address) & 0xFFFF;
    return card::load32(address + 4) << 16 | low;
}

// A pulse channel has four registers.
uint8_t *pulse(const BoardHandle &handle, uint32_t channel) noexcept {
    return registers(handle) + bar1::kPulse + channel * bar1::kTimerStride;
}
constexpr uint32_t kPulseFirst = 0;
constexpr uint32_t kPulseSecond = 4;
constexpr uint32_t kPulsePeriod = 8;
constexpr uint32_t kPulseHigh = 12;

template <typename T>
void give(T *out, uint32_t value) noexcept {
    if (out != nullptr) {
        *out = static_cast<T>(value);
    }
}

} // namespace

uint32_t BoardPWMOutput(BoardHandle *handle, uint32_t channel, uint32_t frequency_hz,
                        int32_t duty_percent) {
    const uint32_t status = check(handle, channel);
    if (status == PCI_TARN_OK) {
        const Timer timer = make_timer(frequency_hz, static_cast<uint32_t>(duty_percent));
        set_bits(output_enable(*handle), bar1::pwm_bit(channel));
        store_halves(pwm(*handle, channel), timer.period);
        store_halves(pwm(*handle, channel) + 8, timer.high);
    }
    return status;
}

uint32_t BoardPWMStop(BoardHandle *handle, uint32_t channel) {
    const uint32_t status = check(handle, channel);
    if (status == PCI_TARN_OK) {
        clear_bits(output_enable(*handle), bar1::pwm_bit(channel));
    }
    return status;
}

uint32_t BoardPWMGetConfig(BoardHandle *handle, uint32_t channel, uint32_t *frequency_hz,
                           uint32_t *duty_percent) {
    const uint32_t status = check(handle, channel);
    if (status == PCI_TARN_OK) {
        const uint8_t *halves = pwm(*handle, channel);
        const uint32_t period = load_halves(halves);
        const Timer timer = {period, load_halves(halves + 8)};
        give(frequency_hz, frequency_of(timer));
        give(duty_percent, duty_of(timer));
    }
    return status;
}

uint32_t BoardPulseConfig(BoardHandle *handle, uint32_t channel, uint32_t first, int32_t flag,
                          uint32_t second, uint32_t frequency_hz, uint32_t duty_percent) {
    const uint32_t status = check(handle, channel);
    if (status != PCI_TARN_OK) {
        return status;
    }
    const Timer timer = make_timer(frequency_hz, duty_percent);
    uint8_t *settings = pulse(*handle, channel);
    uint8_t *flags = registers(*handle) + bar1::kPulseFlags;
    set_bits(output_enable(*handle), bar1::pulse_bits(channel));
    card::store32(settings + kPulseFirst, first);
    if (flag != 0) {
        set_bits(flags, uint32_t{1} << channel);
    } else {
        clear_bits(flags, uint32_t{1} << channel);
    }
    card::store32(settings + kPulseSecond, second);
    card::store32(settings + kPulsePeriod, timer.period);
    card::store32(settings + kPulseHigh, timer.high);
    return PCI_TARN_OK;
}

uint32_t BoardPulseGetConfig(BoardHandle *handle, uint32_t channel, uint32_t *first, int32_t *flag,
                             uint32_t *second, uint32_t *frequency_hz, uint32_t *duty_percent) {
    const uint32_t status = check(handle, channel);
    if (status != PCI_TARN_OK) {
        return status;
    }
    const uint8_t *settings = pulse(*handle, channel);
    give(first, card::load32(settings + kPulseFirst));
    give(flag, card::load32(registers(*handle) + bar1::kPulseFlags) >> channel & 1);
    give(second, card::load32(settings + kPulseSecond));
    const uint32_t period = card::load32(settings + kPulsePeriod);
    const Timer timer = {period, card::load32(settings + kPulseHigh)};
    give(frequency_hz, frequency_of(timer));
    give(duty_percent, duty_of(timer));
    return PCI_TARN_OK;
}

uint32_t BoardPulseOutput(BoardHandle *handle, uint32_t channel, uint32_t count) {
    const uint32_t status = check(handle, channel);
    if (status == PCI_TARN_OK) {
        card::store32(registers(*handle) + bar1::kPulseCount + channel * 4, count);
        set_bits(registers(*handle) + bar1::kPulseStart, uint32_t{1} << channel);
    }
    return status;
}

uint32_t BoardPulseStop(BoardHandle *handle, uint32_t channel) {
    const uint32_t status = check(handle, channel);
    if (status == PCI_TARN_OK) {
        clear_bits(output_enable(*handle), bar1::pulse_bits(channel));
    }
    return status;
}
