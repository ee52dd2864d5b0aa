// Copies between host and card by DMA.
#include "board/dma_copy.h"
#include "board/driver_version.h"
#include "pci_tarn/board.h"
#include "pci_tarn/driver.h"
#include "pci_tarn/status.h"

using namespace tarn;

uint32_t BoardCDMAIsEnable(BoardHandle *) {
    return 0;
}

uint32_t CDMA_IsEnable(void) {
    DriverInfo info = {};
    return getDriverInfo(&info) == PCI_TARN_OK && driver_has_dma(info.driver_version) ? 1 : 0;
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
