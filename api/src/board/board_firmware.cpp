// What the host tells the card's firmware and asks of it beside flash and files: life sign, clock,
// LEDs, reset.
#include "base/card_memory.h"
#include "base/console.h"
#include "base/os.h"
#include "board/board_handle.h"
#include "board/host_clock.h"
#include "channel/request.h"
#include "layout/card_memory_map.h"
#include "layout/shared_memory_map.h"
#include "pci_tarn/board.h"
#include "pci_tarn/shared.h"
#include "pci_tarn/status.h"

#include <iterator>

using namespace tarn;

namespace {

// Firmware resets itself from the seventh layout of its configuration block on.
constexpr uint32_t kFirstConfigWithReset = 0x07000000;
constexpr uint32_t kConfigLayoutMask = 0xFF0000FF;

// By these counters the channels' users notice that their bus is gone.
void count_reset(const BoardHandle &handle) noexcept {
    auto *memory = static_cast<SharedMemory *>(__pi_shared_memory);
    for (uint32_t channel = 0; memory != nullptr && channel < PCI_TARN_MAX_CHANNELS; ++channel) {
        card::increment32(&memory->control[channel_slot(handle.index, channel)].work_count);
    }
}

uint32_t refuse_reset(const BoardHandle &handle, uint32_t config_version) noexcept {
    print("ERROR: config version(%d) has not board reset. \r\n",
          static_cast<int32_t>(config_version));
    BoardInfo info = {};
    getBoardInfoByBoardHandle(&handle, &info);
    print("Please update software to or late: 1.4.0, Current: %s\r\n", info.firmware_version);
    return PCI_TARN_E_NOT_SUPPORTED;
}

template <typename T>
uint32_t send(BoardHandle *handle, Command code, const T &record) noexcept {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    return transact_locked(handle->channel,
                           {.code = code, .data = &record, .length = sizeof record},
                           handle->timeout_ms);
}

} // namespace

uint32_t BoardSetTimeout(BoardHandle *handle, uint32_t timeout_ms) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    handle->timeout_ms = timeout_ms;
    return PCI_TARN_OK;
}

uint32_t BoardHeardCnt(BoardHandle *handle, uint32_t counter, uint32_t *value) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (value == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const auto &heartbeat = config(*handle)->heartbeat;
    if (counter >= std::size(heartbeat)) {
        *value = 0;
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    *value = card::load32(&heartbeat[counter]);
    return PCI_TARN_OK;
}

bool BoardIsAlive(BoardHandle *handle) {
    return handle != nullptr && card::load32(&config(*handle)->alive) == 0;
}

uint32_t BoardSetDeviceSystemTime(BoardHandle *handle, int64_t utc_time) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    return Bar2SetDeviceSystemTime(handle->bar[2], utc_time);
}

// The offset is a word of 32 bits here; a bus start writes it as one of 64.
uint32_t Bar2SetDeviceSystemTime(void *bar2, int64_t utc_time) {
    if (bar2 == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    auto *block = static_cast<ConfigBlock *>(bar2);
    const int64_t seconds = utc_time != 0 ? utc_time : os::utc_seconds();
    card::store64(&block->host_time_ns, static_cast<uint64_t>(seconds) * kNsPerSecond);
    card::store32(&block->local_offset_s, static_cast<uint32_t>(local_offset_s()));
    return PCI_TARN_OK;
}

uint32_t BoardLedCtrl(BoardHandle *handle, uint16_t first, uint16_t second) {
    return send(handle, Command::LedControl, LedRecord{first, second});
}

uint32_t BOARD_TIMEOUT_TRIGGER(BoardHandle *handle, int32_t flag) {
    return send(handle, flag != 0 ? Command::TimeoutTriggerOn : Command::TimeoutTriggerOff, flag);
}

uint32_t BoardReset(BoardHandle *handle) {
    if (handle == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const uint32_t config_version = card::load32(&config(*handle)->config_version);
    if ((config_version & kConfigLayoutMask) < kFirstConfigWithReset) {
        return refuse_reset(*handle, config_version);
    }
    count_reset(*handle);
    card::store32(&config(*handle)->reset_request, 1);
    return PCI_TARN_OK;
}
