// Files to and from the card, and the firmware update, which is one of them.
#include "base/lock_guard.h"
#include "board/board_handle.h"
#include "channel/file_transfer.h"
#include "channel/request.h"
#include "layout/commands.h"
#include "pci_tarn/board.h"
#include "pci_tarn/status.h"

#include <atomic>

using namespace tarn;

namespace {

// One update of any size is allowed.
constinit std::atomic<bool> unlimited_size{false};

uint32_t download(BoardHandle &handle, const char *local_path, const char *remote_name,
                  PciProgress progress, void *progress_arg) noexcept {
    const NamedLockGuard guard(handle.channel.lock);
    return download_file(handle.channel, local_path, remote_name, progress, progress_arg,
                         handle.timeout_ms);
}

} // namespace

uint32_t BoardFileDownload(BoardHandle *handle, const char *local_path, const char *remote_name,
                           PciProgress progress, void *progress_arg) {
    if (handle == nullptr || remote_name == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    uint32_t size = 0;
    if (!measure_file(local_path, &size)) {
        return PCI_TARN_E_OPEN_FILE;
    }
    if (size > BOARD_FILE_SIZE_MAX) {
        return PCI_TARN_E_FILE_TOO_BIG;
    }
    return download(*handle, local_path, remote_name, progress, progress_arg);
}

uint32_t BoardFileUpload(BoardHandle *handle, const char *local_path, const char *remote_name,
                         PciProgress progress, void *progress_arg) {
    if (handle == nullptr || remote_name == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const NamedLockGuard guard(handle->channel.lock);
    return upload_file(handle->channel, local_path, remote_name, progress, progress_arg,
                       handle->timeout_ms);
}

uint32_t BoardUpdate(BoardHandle *handle, const char *local_path) {
    return BoardUpdateEx(handle, local_path, nullptr, nullptr);
}

uint32_t BoardUpdateEx(BoardHandle *handle, const char *local_path, PciProgress progress,
                       void *progress_arg) {
    if (handle == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    uint32_t size = 0;
    if (!measure_file(local_path, &size)) {
        return PCI_TARN_E_OPEN_FILE;
    }
    if (size > BOARD_UPDATE_SIZE_MAX && !unlimited_size) {
        return PCI_TARN_E_UPDATE_TOO_BIG;
    }
    // Only now: a file that is refused does not use it up.
    unlimited_size = false;
    const uint32_t status = download(*handle, local_path, kCardUpdateName, progress, progress_arg);
    if (status != PCI_TARN_OK) {
        return status;
    }
    return transact_locked(handle->channel, {.code = Command::ApplyUpdate}, handle->timeout_ms);
}

void BoardUpdateUnlimitSize(void) {
    unlimited_size = true;
}
