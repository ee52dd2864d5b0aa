// Files of a slave, by way of one file on the card.

#include "base/lock_guard.h"
#include "channel/file_transfer.h"
#include "master/exchange.h"
#include "pci_tarn/slave.h"

#include <cstring>

namespace {

using namespace tarn;

static_assert(sizeof FoeRecord::foe_name == ECAT_FOE_NAME_MAX + 1);

// The one file on the card that all FoE goes through. While it lives no one else uses the file: the
// secondary mailbox is held. In the end the card is told to remove the file, whatever has become of
// it.
//
// The file itself travels through the primary mailbox, whose lock is not taken. That is required.
class CardFile {
  public:
    explicit CardFile(EcatHandle &handle) noexcept
        : handle_(handle), guard_(handle.secondary.lock) {}
    ~CardFile() {
        transact(handle_.secondary,
                 {.code = Command::FileRemove, .data = kCardFoeName, .length = sizeof kCardFoeName},
                 handle_.timeout_ms);
    }
    CardFile(const CardFile &) = delete;
    CardFile &operator=(const CardFile &) = delete;

    uint32_t take_from_host(const char *path) noexcept {
        return download_file(handle_.primary, path, kCardFoeName, nullptr, nullptr,
                             handle_.timeout_ms);
    }

    uint32_t give_to_host(const char *path) noexcept {
        return upload_file(handle_.primary, path, kCardFoeName, nullptr, nullptr,
                           handle_.timeout_ms);
    }

    // Between card and slave.
    uint32_t carry(Command code, uint16_t slave, const char *foe_name) noexcept {
        FoeRecord record = {.slave = slave, .card_name = {}, .foe_name = {}};
        memcpy(record.card_name, kCardFoeName, sizeof kCardFoeName);
        memcpy(record.foe_name, foe_name, strlen(foe_name));
        return transact(handle_.secondary, {.code = code, .data = &record, .length = sizeof record},
                        handle_.timeout_ms);
    }

  private:
    EcatHandle &handle_;
    const NamedLockGuard guard_;
};
static_assert(sizeof kCardFoeName == 15);

bool too_long(const char *foe_name) {
    return strlen(foe_name) > ECAT_FOE_NAME_MAX;
}

uint32_t check_host_file(const char *path) {
    uint32_t size = 0;
    if (!measure_file(path, &size)) {
        return PCI_TARN_E_OPEN_FILE;
    }
    return size > ECAT_FOE_FILE_SIZE_MAX ? PCI_TARN_E_FOE_TOO_BIG : PCI_TARN_OK;
}

} // namespace

uint32_t EcatFoEWrite(EcatHandle *handle, uint16_t slave, const char *local_path,
                      const char *foe_name) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (foe_name == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    if (const uint32_t status = check_host_file(local_path); status != PCI_TARN_OK) {
        return status;
    }
    if (too_long(foe_name)) {
        return PCI_TARN_E_NAME_TOO_LONG;
    }
    CardFile file(*handle);
    const uint32_t status = file.take_from_host(local_path);
    return status != PCI_TARN_OK ? status : file.carry(Command::FoeWrite, slave, foe_name);
}

uint32_t EcatFoERead(EcatHandle *handle, uint16_t slave, const char *local_path,
                     const char *foe_name) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (foe_name == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    if (too_long(foe_name)) {
        return PCI_TARN_E_NAME_TOO_LONG;
    }
    CardFile file(*handle);
    const uint32_t status = file.carry(Command::FoeRead, slave, foe_name);
    return status != PCI_TARN_OK ? status : file.give_to_host(local_path);
}
