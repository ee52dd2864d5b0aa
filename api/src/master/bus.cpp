// Start, stop and reset of the bus, and what the card says of its configuration.

#include "base/card_memory.h"
#include "base/console.h"
#include "base/lock_guard.h"
#include "base/os.h"
#include "board/host_clock.h"
#include "channel/file_transfer.h"
#include "master/exchange.h"
#include "pci_tarn/board.h"
#include "pci_tarn/ecat.h"
#include "pci_tarn/shared.h"
#include "pi/pi_setup.h"

#include <algorithm>
#include <cstring>

namespace {

using namespace tarn;

constexpr uint32_t kBusStartTimeoutMs = 600'000;
constexpr uint32_t kBusStopTimeoutMs = 20'000;
constexpr uint32_t kStopWordSettleUs = 200'000;
constexpr int kStopRounds = 3;
constexpr uint32_t kStopWordInterface = 2; // from this interface version on there is a stop word

uint32_t *work_count(const EcatHandle &handle) {
    return &handle.control->work_count;
}

void count_work(const EcatHandle &handle) {
    card::increment32(work_count(handle));
}

bool has_stop_word(const EcatHandle &handle) {
    return interface_version(handle) >= kStopWordInterface;
}

// Asks the firmware to stop beside the mailbox, which works also while that is blocked.
void write_stop_word(const EcatHandle &handle) {
    count_work(handle);
    card::store32(handle.area + kStopRequestOffset, 1);
    __usleep_window(kStopWordSettleUs);
}

uint32_t request_stop(EcatHandle &handle) {
    count_work(handle);
    return transact_locked(handle.primary, {.code = Command::BusStop}, kBusStopTimeoutMs);
}

void set_board_clock(const EcatHandle &handle) {
    auto &config = *static_cast<ConfigBlock *>(handle.board->bar[2]);
    card::store64(&config.host_time_ns, static_cast<uint64_t>(os::utc_seconds()) * kNsPerSecond);
    card::store64(&config.local_offset_s, static_cast<uint64_t>(int64_t{local_offset_s()}));
}

uint32_t send_eni(EcatHandle &handle, const char *eni_path) {
    uint32_t size = 0;
    if (!measure_file(eni_path, &size)) {
        return PCI_TARN_E_OPEN_FILE;
    }
    if (size > ECAT_ENI_SIZE_MAX) {
        return PCI_TARN_E_ENI_TOO_BIG;
    }
    // Without the caller's callback: the progress reported is that of the start itself.
    const NamedLockGuard guard(handle.primary.lock);
    return download_file(handle.primary, eni_path, kCardEniName, nullptr, nullptr,
                         handle.timeout_ms);
}

uint32_t start_bus(EcatHandle &handle, const char *eni_path, PciProgress progress,
                   void *progress_arg) {
    uint32_t status = transact_locked(handle.primary, {.code = Command::BusStart},
                                      kBusStartTimeoutMs, progress, progress_arg);
    if (status == PCI_TARN_OK) {
        status = pi::fill_info(handle, eni_path);
    }
    if (status == PCI_TARN_OK) {
        pi::refresh_views(handle);
        status = pi::push_after_start(handle);
    }
    return status;
}

// Where the channel's directions are mapped logically, an application works with the logical
// lengths; the card knows only the physical ones. `size` bounds what may be written.
void patch_lengths(EcatHandle &handle, void *reply, size_t size) {
    if (reply == nullptr) {
        return;
    }
    const auto &info = *static_cast<const PiInfo *>(__EcatGetPiInfo(&handle));
    const size_t offsets[] = {offsetof(EniInfoReply, output_length),
                              offsetof(EniInfoReply, input_length)};
    for (size_t i = 0; i < std::size(offsets); ++i) {
        const PiDirection &direction = info.direction[i];
        if (direction.mapped != 0 && offsets[i] + sizeof direction.logical_length <= size) {
            memcpy(static_cast<uint8_t *>(reply) + offsets[i], &direction.logical_length,
                   sizeof direction.logical_length);
        }
    }
}

// A short reply leaves zeros behind.
void clear_reply(void *reply, size_t size) {
    if (reply != nullptr) {
        memset(reply, 0, size);
    }
}

} // namespace

uint32_t EcatBusRun(EcatHandle *handle, const char *eni_path) {
    return EcatBusRunEx(handle, eni_path, nullptr, nullptr);
}

uint32_t EcatBusRunEx(EcatHandle *handle, const char *eni_path, PciProgress progress,
                      void *progress_arg) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (const uint32_t status = send_eni(*handle, eni_path); status != PCI_TARN_OK) {
        return status;
    }
    pi::reset_for_start(*handle);
    pi_shared_memory_init();
    set_board_clock(*handle);
    count_work(*handle);
    const uint32_t status = start_bus(*handle, eni_path, progress, progress_arg);
    if (status != PCI_TARN_OK) {
        pi::clear_info(*handle);
    }
    return status;
}

// The request comes first here and the stop word first in EcatReset(): a stop leaves firmware that
// answers alone, a reset must also reach firmware that does not.
uint32_t EcatBusStop(EcatHandle *handle) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    uint32_t status = PCI_TARN_OK;
    for (int round = 0; round < kStopRounds; ++round) {
        status = request_stop(*handle);
        if (status == PCI_TARN_OK || !has_stop_word(*handle)) {
            break;
        }
        write_stop_word(*handle);
        print("EcatBusStop retry\n");
    }
    return status;
}

uint32_t EcatReset(EcatHandle *handle) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    __BoardIOModuleReset(handle->board);
    uint32_t status = PCI_TARN_OK;
    for (int round = 0; round < kStopRounds; ++round) {
        if (!has_stop_word(*handle)) {
            return PCI_TARN_E_NOT_SUPPORTED;
        }
        write_stop_word(*handle);
        status = request_stop(*handle);
        if (status == PCI_TARN_OK) {
            break;
        }
        print("EcatReset retry\n");
    }
    return status;
}

bool EcatBusIsRunning(EcatHandle *handle) {
    if (handle == nullptr) {
        return false;
    }
    // Only the value counts, not the status that came with it; it stays 0 without a reply.
    uint32_t running = 0;
    uint32_t length = sizeof running;
    fetch(*handle, Command::BusIsRunning, &running, &length);
    return running != 0;
}

uint32_t EcatBusStatus(EcatHandle *handle, uint32_t *status) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    uint32_t length = sizeof *status;
    return fetch(*handle, Command::BusStatus, status, &length);
}

uint32_t EcatRequestMasterState(EcatHandle *handle, uint8_t state) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    const uint32_t status = send(*handle, Command::RequestMasterState, state);
    if (status == PCI_TARN_OK) {
        card::increment32(&pi_card_area(*handle)->access_counter);
    }
    return status;
}

uint32_t EcatCheckRunningEni(EcatHandle *handle, const char *eni_path) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    constexpr size_t kComparedBytes = 64;
    EniIdentityReply running = {};
    uint32_t length = sizeof running;
    if (const uint32_t status =
            fetch(*handle, Command::EniInfoEx, uint32_t{sizeof running}, &running, &length);
        status != PCI_TARN_OK) {
        return status;
    }
    char crc[sizeof running.crc];
    if (const int32_t result = __GetEniFileCRC(eni_path, crc, sizeof crc); result != 0) {
        return static_cast<uint32_t>(result);
    }
    return memcmp(crc, running.crc, kComparedBytes) == 0 ? PCI_TARN_OK : PCI_TARN_E_ENI_MISMATCH;
}

uint32_t EcatGetEniInfo(EcatHandle *handle, EniInfo *info) {
    static_assert(sizeof(EniInfo) == sizeof(EniInfoReply));
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    clear_reply(info, sizeof *info);
    uint32_t length = sizeof *info;
    const uint32_t status = fetch(*handle, Command::EniInfo, info, &length);
    if (status == PCI_TARN_OK) {
        patch_lengths(*handle, info, sizeof *info);
    }
    return status;
}

uint32_t EcatGetEniInfoEx(EcatHandle *handle, void *buffer, uint32_t size) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    clear_reply(buffer, size);
    uint32_t length = size;
    const uint32_t status = fetch(*handle, Command::EniInfoEx, size, buffer, &length);
    if (status == PCI_TARN_OK) {
        patch_lengths(*handle, buffer, size);
    }
    return status;
}

uint32_t EcatGetFirmwareCompileMsg(EcatHandle *handle, char *buffer, uint32_t size) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    return fetch(*handle, Command::FirmwareCompileMessage, buffer, &size);
}

uint32_t __EcatBusCtrlWorkCntGet(EcatHandle *handle) {
    return handle == nullptr ? 0 : card::load32(work_count(*handle));
}
