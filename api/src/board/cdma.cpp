// Copies between host and card by DMA.
#include "board/dma_copy.h"
#include "pci_tarn/board.h"
#include "pci_tarn/driver.h"
#include "pci_tarn/status.h"

#include <cstdio>

using namespace tarn;

namespace {

// The first driver that can: 1.0.0.4.
constexpr uint32_t kFirstMajorMinor = 0x10000;
constexpr uint32_t kFirstBuildRevision = 4;

uint32_t join(int high, int low) noexcept {
    return (static_cast<uint32_t>(high) << 16) + static_cast<uint32_t>(low);
}

bool driver_can(const char *version) noexcept {
    int field[4] = {};
    if (std::sscanf(version, "%d.%d.%d.%d", &field[0], &field[1], &field[2], &field[3]) != 4) {
        return false;
    }
    const uint32_t major_minor = join(field[0], field[1]);
    return major_minor > kFirstMajorMinor ||
           (major_minor == kFirstMajorMinor && join(field[2], field[3]) >= kFirstBuildRevision);
}

} // namespace

uint32_t BoardCDMAIsEnable(BoardHandle *) {
    return 0;
}

uint32_t CDMA_IsEnable(void) {
    DriverInfo info = {};
    return getDriverInfo(&info) == PCI_TARN_OK && driver_can(info.driver_version) ? 1 : 0;
}

uint32_t CDMA_ReadDataFromDevice(EtherCAT *card, uint32_t card_address, void *buffer,
                                 int32_t length, uint32_t timeout_ms) {
    return dma_copy(card_address, static_cast<uint8_t *>(buffer), length,
                    [=](uint32_t address, void *part, uint32_t rest) {
                        return EtherCATDmaRead(card, address, part, rest, timeout_ms);
                    });
}

uint32_t CDMA_WriteDataToDevice(EtherCAT *card, uint32_t card_address, void *buffer, int32_t length,
                                uint32_t timeout_ms) {
    return dma_copy(card_address, static_cast<uint8_t *>(buffer), length,
                    [=](uint32_t address, void *part, uint32_t rest) {
                        return EtherCATDmaWrite(card, address, part, rest, timeout_ms);
                    });
}
