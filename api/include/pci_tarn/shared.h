/**
 * @file shared.h
 * The memory and the locks that all processes of one machine share: named locks per board and
 * channel, and the process image file "temp.dat" of the current directory.
 */
#ifndef PCI_TARN_SHARED_H
#define PCI_TARN_SHARED_H

#include "pci_tarn/types.h"

#ifdef __cplusplus
extern "C" {
#endif

PCI_TARN_API extern void *mailbox_mutex[16][2][2];
PCI_TARN_API extern void *sock_mutex[16][2][2];
PCI_TARN_API extern void *pi_mutex[16][2][5];
PCI_TARN_API extern void *__pi_shared_memory;
PCI_TARN_API extern uint32_t __proc_id;

PCI_TARN_API void *initMutex(void);
PCI_TARN_API void pi_shared_memory_init(void);
PCI_TARN_API void *getSharedMemory_piinfo(uint32_t board, uint32_t channel);
PCI_TARN_API void *getSharedMemory_pishadowinput(uint32_t board, uint32_t channel);
PCI_TARN_API void *getSharedMemory_pifast(uint32_t board, uint32_t channel);
PCI_TARN_API void *getSharedMemory_piNormalBuffOutput(uint32_t board, uint32_t channel);
PCI_TARN_API void *getSharedMemory_piNormalBuffInput(uint32_t board, uint32_t channel);
PCI_TARN_API void *getSharedMemory_piNormalCacheOutput(uint32_t board, uint32_t channel);
PCI_TARN_API void *getSharedMemory_piNormalCacheInput(uint32_t board, uint32_t channel);
PCI_TARN_API void *getMutex_mailbox(uint32_t board, uint32_t channel, uint32_t index);
PCI_TARN_API void *getMutex_sock(uint32_t board, uint32_t channel, uint32_t index);
PCI_TARN_API void *getMutex_pi(uint32_t board, uint32_t channel, uint32_t index);
PCI_TARN_API void *getMutexDes(void);

#ifdef __cplusplus
}
#endif

#endif
