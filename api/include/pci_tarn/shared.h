/**
 * @file shared.h
 * The memory and the locks that all processes of one machine share: named locks per board and
 * channel, and the process image file "temp.dat" of the current directory.
 *
 * Both are set up when the library is loaded; a program needs the functions here only to look at
 * them or to guard own accesses. Processes that run in the same directory share the process image;
 * the locks are shared whatever the directory is.
 *
 * Locks are recursive per thread and are handed on when their owner dies; driverLock() takes one,
 * driverUnlock() gives it back. Windows: named mutexes of the session, `obr_mutex_str_1_B_C_I`
 * (mailbox), `obr_mutex_str_2_B_C_I` (socket) and `obr_mutex_str_3_B_C` (process image), with
 * board, channel and index in decimal. Linux: the same names in the shared memory object
 * `/pci_tarn_locks_v1_UID`, which is closed to other users. Where several users work with one card,
 * an administrator makes an object `/pci_tarn_locks_v1` for their group
 * (`install -o root -g GROUP -m 660 /dev/null /dev/shm/pci_tarn_locks_v1`) before any of them
 * starts; it is then used instead, unless it is open to everybody or not root's. A lock that cannot
 * be made is a null handle, which all functions take as "no lock".
 *
 * The functions do not check board (0 to 15), channel (0 or 1) and index, and never block. They may
 * be called from any thread; initMutex() from one at a time.
 */
#ifndef PCI_TARN_SHARED_H
#define PCI_TARN_SHARED_H

#include "pci_tarn/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Locks of the command rings, by board, channel and ring: 0 primary, 1 secondary. */
PCI_TARN_API extern void *mailbox_mutex[16][2][2];
/** Locks of the two rings of the socket channel, by board, channel and ring. */
PCI_TARN_API extern void *sock_mutex[16][2][2];
/** Handles on the process image's lock, by board and channel: five handles on one lock. */
PCI_TARN_API extern void *pi_mutex[16][2][5];
/** Address of the shared memory (10,485,760 bytes); null when the file could not be mapped. */
PCI_TARN_API extern void *__pi_shared_memory;
/** Free for programs; 1 at load. The library neither reads nor writes it. */
PCI_TARN_API extern uint32_t __proc_id;

/**
 * Fills the tables of locks and maps "temp.dat" of the current directory, made and grown to 10 MiB
 * as needed. Runs when the library is loaded.
 *
 * Called again, after a change of directory, it maps the file of the new one. Channels opened
 * before keep their images in the former memory but find their information record in the new one:
 * close all channels first. Nothing is given back. What fails with the file is printed.
 *
 * @return the new value of __pi_shared_memory
 */
PCI_TARN_API void *initMutex(void);

/**
 * Initialises the shared memory unless its version is the library's own: clears the process images
 * of all channels, those of other processes too. Prints a line when the version is a near one.
 * Does nothing without shared memory.
 */
PCI_TARN_API void pi_shared_memory_init(void);

/**
 * Process image information of a channel (156,728 bytes), after a check of the version: a foreign
 * one initialises the memory as pi_shared_memory_init() does, a near one is only warned about.
 *
 * @param board    board index, 0 to 15
 * @param channel  channel, 0 or 1
 * @return address inside the shared memory; a small number, not to be used, without one
 */
PCI_TARN_API void *getSharedMemory_piinfo(uint32_t board, uint32_t channel);

/**
 * Shadow of the inputs, 8,192 bytes per channel.
 *
 * @param board    board index, 0 to 15
 * @param channel  channel, 0 or 1
 * @return address inside the shared memory; a small number, not to be used, without one
 */
PCI_TARN_API void *getSharedMemory_pishadowinput(uint32_t board, uint32_t channel);

/**
 * Fast outputs, before they are published to the card, 8,192 bytes per channel.
 *
 * @param board    board index, 0 to 15
 * @param channel  channel, 0 or 1
 * @return address inside the shared memory; a small number, not to be used, without one
 */
PCI_TARN_API void *getSharedMemory_pifast(uint32_t board, uint32_t channel);

/**
 * Normal output buffer, 4,096 bytes per channel.
 *
 * @param board    board index, 0 to 15
 * @param channel  channel, 0 or 1
 * @return address inside the shared memory; a small number, not to be used, without one
 */
PCI_TARN_API void *getSharedMemory_piNormalBuffOutput(uint32_t board, uint32_t channel);

/**
 * Normal input buffer, 4,096 bytes per channel.
 *
 * @param board    board index, 0 to 15
 * @param channel  channel, 0 or 1
 * @return address inside the shared memory; a small number, not to be used, without one
 */
PCI_TARN_API void *getSharedMemory_piNormalBuffInput(uint32_t board, uint32_t channel);

/**
 * Cache of the normal outputs, 8,192 bytes per channel.
 *
 * @param board    board index, 0 to 15
 * @param channel  channel, 0 or 1
 * @return address inside the shared memory; a small number, not to be used, without one
 */
PCI_TARN_API void *getSharedMemory_piNormalCacheOutput(uint32_t board, uint32_t channel);

/**
 * Cache of the normal inputs, 8,192 bytes per channel.
 *
 * @param board    board index, 0 to 15
 * @param channel  channel, 0 or 1
 * @return address inside the shared memory; a small number, not to be used, without one
 */
PCI_TARN_API void *getSharedMemory_piNormalCacheInput(uint32_t board, uint32_t channel);

/**
 * Lock of a command ring.
 *
 * @param board    board index, 0 to 15
 * @param channel  channel, 0 or 1
 * @param index    0 primary ring, 1 secondary ring
 * @return lock handle of the table; null when there is no lock
 */
PCI_TARN_API void *getMutex_mailbox(uint32_t board, uint32_t channel, uint32_t index);

/**
 * Lock of a ring of the socket channel.
 *
 * @param board    board index, 0 to 15
 * @param channel  channel, 0 or 1
 * @param index    0 or 1
 * @return lock handle of the table; null when there is no lock
 */
PCI_TARN_API void *getMutex_sock(uint32_t board, uint32_t channel, uint32_t index);

/**
 * Lock of a channel's process image. All five handles stand for the same lock.
 *
 * @param board    board index, 0 to 15
 * @param channel  channel, 0 or 1
 * @param index    0 normal outputs, 1 normal inputs, 2 fast outputs, 3 areas of card memory, 4
 * shadow of the inputs
 * @return lock handle of the table; null when there is no lock
 */
PCI_TARN_API void *getMutex_pi(uint32_t board, uint32_t channel, uint32_t index);

/**
 * A block of 2,304 bytes of this process, zero at load, free for programs: the library itself
 * neither reads nor writes it.
 *
 * @return address of the block, never null
 */
PCI_TARN_API void *getMutexDes(void);

#ifdef __cplusplus
}
#endif

#endif
