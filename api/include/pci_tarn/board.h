/**
 * @file board.h
 * Board services: opening a card and reading what it says of itself.
 */
#ifndef PCI_TARN_BOARD_H
#define PCI_TARN_BOARD_H

#include "pci_tarn/types.h"

#ifdef __cplusplus
extern "C" {
#endif

PCI_TARN_API uint32_t BoardOpen(BoardHandle **out, const char *name);
PCI_TARN_API uint32_t BoardClose(BoardHandle *handle);
PCI_TARN_API uint32_t BoardCheckVersion(BoardHandle *handle, uint8_t print);
PCI_TARN_API uint32_t BoardGetStructVersion(BoardHandle *handle);
PCI_TARN_API uint32_t BoardGetInfo(BoardHandle *handle, BoardInfo *info);
PCI_TARN_API uint32_t BoardGetInfo_Alias(BoardHandle *handle, uint32_t *alias);
PCI_TARN_API uint32_t __BoardIOModuleReset(BoardHandle *handle);

#ifdef __cplusplus
}
#endif

#endif
