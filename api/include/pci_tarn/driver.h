/**
 * @file driver.h
 * The kernel driver interface (class EtherCAT and its flat twins) and the registry of the cards
 * that are present.
 */
#ifndef PCI_TARN_DRIVER_H
#define PCI_TARN_DRIVER_H

#include "pci_tarn/types.h"

#ifdef __cplusplus
/** One opened card at the level of the kernel driver. */
class PCI_TARN_API EtherCAT {
  public:
    ~EtherCAT();
    EtherCAT(const EtherCAT &) = delete;
    EtherCAT &operator=(const EtherCAT &) = delete;

    static unsigned int GetCount();
    static unsigned long long GetDriverVersion();
    void *EtherCATMapBarAddress(unsigned int bar);
    void EtherCATUnmapBarAddress(void *address);
    unsigned int EtherCATWaitForInterrupt(unsigned int interrupt, unsigned int timeout_ms);

  private:
    friend struct EtherCATFlat;
    EtherCAT() = default;
    static void *Open(unsigned long index);
    unsigned int EtherCATDma(unsigned int card_address, void *buffer, unsigned int length,
                             unsigned int timeout_ms, int direction);

    /** State of the wait for one interrupt. */
    struct InterruptSlot {
        unsigned long long overlapped[4]; /* the operating system's request record */
        uint32_t state; /* 0 no event yet, 1 event there, 2 request outstanding */
    };
    void *device_ = nullptr;
    InterruptSlot interrupts_[8] = {};
    void *bars_[6] = {};
};
extern "C" {
#else
/** One opened card at the level of the kernel driver. */
typedef struct EtherCAT EtherCAT;
#endif

PCI_TARN_API EtherCAT *EtherCATOpen(uint32_t index);
PCI_TARN_API void EtherCATClose(EtherCAT *card);
PCI_TARN_API uint32_t EtherCATGetCount(void);
PCI_TARN_API uint64_t EtherCATGetDriverVersion(void);
PCI_TARN_API bool EtherCATVerifyDriverVersion(void);
PCI_TARN_API void *EtherCATMapBarAddress(EtherCAT *card, uint32_t bar);
PCI_TARN_API void EtherCATUnmapBarAddress(EtherCAT *card, void *address);
PCI_TARN_API uint32_t EtherCATWaitForInterrupt(EtherCAT *card, uint32_t interrupt,
                                               uint32_t timeout_ms);
PCI_TARN_API uint32_t EtherCATDmaRead(EtherCAT *card, uint32_t card_address, void *buffer,
                                      uint32_t length, uint32_t timeout_ms);
PCI_TARN_API uint32_t EtherCATDmaWrite(EtherCAT *card, uint32_t card_address, void *buffer,
                                       uint32_t length, uint32_t timeout_ms);
PCI_TARN_API uint32_t EtherCATRead(EtherCAT *card, uint32_t first, uint32_t second, void *buffer,
                                   uint32_t length);
PCI_TARN_API uint32_t EtherCATWrite(EtherCAT *card, uint32_t first, uint32_t second, void *buffer,
                                    uint32_t length);

/** One card of the registry; the first 128 bytes are also the start of a BoardHandle. */
typedef struct BoardNode {
    char name[40];          /**< "kpcidev%d" with the enumeration index */
    uint32_t bar_length[6]; /**< never filled; printed in the map-failure message */
    void *bar[6];           /**< mapped addresses, null while unmapped */
    EtherCAT *driver;       /**< driver object, null when the card could not be opened */
    uint32_t index;         /**< last character of name minus '0'; keys the named locks */
    struct BoardNode *next; /**< next card, null at the end; not part of a BoardHandle */
} BoardNode;

PCI_TARN_API uint32_t GetBoardCount(uint32_t *count);
PCI_TARN_API uint32_t InitBoardHandleNode(void);
PCI_TARN_API uint32_t InitBoardNodeDataByIndex(uint32_t index, BoardNode *node);
PCI_TARN_API uint32_t initDevice(void);
PCI_TARN_API uint32_t getBoardHandle(const char *name, void *node);
PCI_TARN_API uint32_t getBoardInfoByBoardHandle(const void *node, BoardInfo *info);
PCI_TARN_API uint32_t getBoardInfoByIndex(uint32_t index, BoardInfo *info);
PCI_TARN_API uint32_t getBoardAliasByBoardHandle(const void *node);
PCI_TARN_API void *getBarPtr(const void *node, int32_t bar);
PCI_TARN_API uint32_t releaBarPtr(const char *name, int32_t bar);
PCI_TARN_API void closeDevice(void);
PCI_TARN_API uint32_t waitInterrupt(const void *node, uint8_t interrupt, uint32_t timeout_ms);
PCI_TARN_API uint32_t getDriverInfo(DriverInfo *info);
PCI_TARN_API uint32_t DriverEnumBoard(uint32_t index, BoardInfo *info);
PCI_TARN_API uint32_t DriverEnumEcat(uint32_t index, uint32_t channel, uint32_t *out);
PCI_TARN_API uint32_t DriverGetInfo(DriverInfo *info);

#ifdef __cplusplus
}
#endif

#endif
