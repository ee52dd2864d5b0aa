/**
 * @file ecat.h
 * The EtherCAT master of one channel: open and close, bus start and stop, states and identities.
 */
#ifndef PCI_TARN_ECAT_H
#define PCI_TARN_ECAT_H

#include "pci_tarn/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** EtherCAT states (IEC 61158-6-12, AL status register). */
#define ECAT_STATE_INIT 1
#define ECAT_STATE_PREOP 2
#define ECAT_STATE_BOOT 3
#define ECAT_STATE_SAFEOP 4
#define ECAT_STATE_OP 8

/** Largest ENI file that a bus start accepts, in bytes. */
#define ECAT_ENI_SIZE_MAX 0x1400000

/** What the card says of the configuration it holds (16 bytes). */
typedef struct EniInfo {
    uint32_t word0;         /**< the firmware's own */
    uint32_t word1;         /**< the firmware's own */
    uint32_t output_length; /**< bytes of the output image; logical length when mapped */
    uint32_t input_length;  /**< bytes of the input image; logical length when mapped */
} EniInfo;

PCI_TARN_API uint32_t EcatOpen(EcatHandle **out, const char *name, uint32_t channel);
PCI_TARN_API uint32_t EcatOpenEx(EcatHandle **out, const char *name, uint32_t channel,
                                 int32_t check_skip);
PCI_TARN_API uint32_t EcatClose(EcatHandle *handle);
PCI_TARN_API uint32_t __EcatClose(EcatHandle *handle);
PCI_TARN_API uint32_t EcatCheckPdoVersionMatch(EcatHandle *handle);
PCI_TARN_API uint32_t EcatGetBoardHandle(EcatHandle *handle, BoardHandle **board);
PCI_TARN_API uint32_t EcatGetCurrentChannel(EcatHandle *handle, uint32_t *channel);
PCI_TARN_API uint32_t EcatGetInfo(EcatHandle *handle, BoardInfo *info);
PCI_TARN_API void *__EcatGetConfigPtr(EcatHandle *handle);
PCI_TARN_API void *__EcatGetDevHandle(EcatHandle *handle);
PCI_TARN_API void *__EcatGetMailBoxPtr(EcatHandle *handle);
PCI_TARN_API void *__EcatGetPiInfo(EcatHandle *handle);

PCI_TARN_API uint32_t EcatBusRun(EcatHandle *handle, const char *eni_path);
PCI_TARN_API uint32_t EcatBusRunEx(EcatHandle *handle, const char *eni_path, PciProgress progress,
                                   void *progress_arg);
PCI_TARN_API uint32_t EcatBusStop(EcatHandle *handle);
PCI_TARN_API uint32_t EcatReset(EcatHandle *handle);
PCI_TARN_API bool EcatBusIsRunning(EcatHandle *handle);
PCI_TARN_API uint32_t EcatBusStatus(EcatHandle *handle, uint32_t *status);
PCI_TARN_API uint32_t EcatRequestMasterState(EcatHandle *handle, uint8_t state);
PCI_TARN_API uint32_t EcatCheckRunningEni(EcatHandle *handle, const char *eni_path);
PCI_TARN_API uint32_t EcatGetEniInfo(EcatHandle *handle, EniInfo *info);
PCI_TARN_API uint32_t EcatGetEniInfoEx(EcatHandle *handle, void *buffer, uint32_t size);
PCI_TARN_API uint32_t EcatGetFirmwareCompileMsg(EcatHandle *handle, char *buffer, uint32_t size);
PCI_TARN_API uint32_t __EcatBusCtrlWorkCntGet(EcatHandle *handle);
PCI_TARN_API int32_t __GetEniFileCRC(const char *path, char *buffer, uint32_t size);

PCI_TARN_API uint32_t EcatGetMasterState(EcatHandle *handle, uint8_t *state);
PCI_TARN_API uint32_t EcatGetMasterReqState(EcatHandle *handle, uint8_t *state);
PCI_TARN_API uint32_t EcatGetSlaveCount(EcatHandle *handle, uint16_t *count);
PCI_TARN_API uint32_t EcatGetActiveSlaveCount(EcatHandle *handle, uint16_t *count);
PCI_TARN_API uint32_t EcatGetSlaveState(EcatHandle *handle, uint16_t slave, uint8_t *state);
PCI_TARN_API uint32_t EcatGetSlaveStateEx(EcatHandle *handle, uint16_t count, uint8_t *states);
PCI_TARN_API uint32_t EcatGetSlaveReqState(EcatHandle *handle, uint16_t slave, uint8_t *state);
PCI_TARN_API uint32_t EcatGetSlaveReqStateEx(EcatHandle *handle, uint16_t count, uint8_t *states);
PCI_TARN_API uint32_t EcatGetSlaveVendorID(EcatHandle *handle, uint16_t slave, uint32_t *value);
PCI_TARN_API uint32_t EcatGetSlaveProductCode(EcatHandle *handle, uint16_t slave, uint32_t *value);
PCI_TARN_API uint32_t EcatGetSlaveRevisionNo(EcatHandle *handle, uint16_t slave, uint32_t *value);
PCI_TARN_API uint32_t EcatGetSlaveSerialNo(EcatHandle *handle, uint16_t slave, uint32_t *value);
PCI_TARN_API uint32_t EcatGetSlaveAlias(EcatHandle *handle, uint16_t slave, uint32_t *alias);
PCI_TARN_API uint32_t EcatGetSlaveFixAddr(EcatHandle *handle, uint16_t slave, uint16_t *address);
PCI_TARN_API uint32_t EcatGetSlaveDLStatus(EcatHandle *handle, uint16_t slave, uint16_t *status);
PCI_TARN_API uint32_t EcatGetSlaveALStatusCode(EcatHandle *handle, uint16_t slave, uint16_t *code);
PCI_TARN_API uint32_t EcatGetSlaveInfo(EcatHandle *handle, uint16_t slave, void *info);
PCI_TARN_API uint32_t EcatGetSlavePIOutputsInfo(EcatHandle *handle, uint16_t slave, uint16_t *size,
                                                uint16_t *offset);
PCI_TARN_API uint32_t EcatGetSlavePIInputsInfo(EcatHandle *handle, uint16_t slave, uint16_t *size,
                                               uint16_t *offset);
PCI_TARN_API uint32_t EcatClearSlaveStateError(EcatHandle *handle, uint16_t slave);
PCI_TARN_API uint32_t EcatAutoClearSlaveStateErrorEnableSet(EcatHandle *handle, uint32_t enable);
PCI_TARN_API uint32_t EcatAutoClearSlaveStateErrorEnableGet(EcatHandle *handle, uint32_t *enable);
PCI_TARN_API uint32_t EcatReadyLostTimeoutSet(EcatHandle *handle, uint32_t value);
PCI_TARN_API uint32_t EcatReadyLostTimeoutGet(EcatHandle *handle, uint32_t *value);
PCI_TARN_API uint32_t ECAT_TIMEOUT_TRIGGER(EcatHandle *handle, int32_t on);
PCI_TARN_API bool EcatSlaveIsActive(EcatHandle *handle, uint16_t slave);
PCI_TARN_API bool EcatSlaveIsReady(EcatHandle *handle, uint16_t slave);
PCI_TARN_API uint32_t EcatSlaveFixAddr2Index(EcatHandle *handle, uint16_t address, uint16_t *index);
PCI_TARN_API uint32_t EcatSetTimeout(EcatHandle *handle, uint32_t milliseconds);
PCI_TARN_API uint32_t EcatRMEnable(void);
PCI_TARN_API uint32_t EcatRMEnableGet(EcatHandle *handle, uint32_t *enable);

#ifdef __cplusplus
}
#endif

#endif
