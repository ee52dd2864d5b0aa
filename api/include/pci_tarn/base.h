/**
 * @file base.h
 * Foundation: status texts, clock and sleep, semaphore and thread, lock handles, SHA-1 and the
 * fast memory copy. Nothing here needs a card.
 */
#ifndef PCI_TARN_BASE_H
#define PCI_TARN_BASE_H

#include "pci_tarn/types.h"

#ifdef __cplusplus
extern "C" {
#endif

PCI_TARN_API const char *EcatErrorGetErrorMessage(int32_t code);
PCI_TARN_API const char *DriverGetErrStr(uint32_t code);
PCI_TARN_API const char *EcatGetAlStatusCodeMessage(uint16_t code);

PCI_TARN_API uint64_t get_current_tick(int32_t unit);
PCI_TARN_API uint64_t get_current_tick_seconds(const int64_t *duration_ns);
PCI_TARN_API uint64_t get_current_tick_milliseconds(const int64_t *duration_ns);
PCI_TARN_API uint64_t get_current_tick_microseconds(const int64_t *duration_ns);
PCI_TARN_API uint64_t get_current_tick_nanoseconds(const int64_t *duration_ns);
PCI_TARN_API uint64_t get_tick_ms(void);
PCI_TARN_API uint64_t get_tick_us(void);
PCI_TARN_API uint64_t get_tick_ns(void);
PCI_TARN_API void __usleep_window(uint32_t microseconds);

/** A binary semaphore; made by ecat_os_sem_create(). */
typedef struct EcatOsSem EcatOsSem;
/** A thread; made by ecat_os_thread_create(). */
typedef struct EcatOsThread EcatOsThread;

PCI_TARN_API EcatOsSem *ecat_os_sem_create(void);
PCI_TARN_API int32_t ecat_os_sem_post(EcatOsSem *semaphore);
PCI_TARN_API int32_t ecat_os_sem_time_wait(EcatOsSem *semaphore, uint64_t timeout_ms);
PCI_TARN_API void ecat_os_sem_destroy(EcatOsSem *semaphore);
PCI_TARN_API EcatOsThread *ecat_os_thread_create(void *arg, void *(*entry)(void *),
                                                 uint32_t priority);
PCI_TARN_API void ecat_os_thread_join(EcatOsThread *thread);

PCI_TARN_API uint32_t driverLock(void *lock);
PCI_TARN_API uint32_t driverUnlock(void *lock);

/** SHA-1 state of one message (104 bytes); allocated by the caller, set up by SHA1Init(). */
typedef struct SHA1Context {
    uint32_t intermediate_hash[5]; /**< hash so far */
    uint32_t length_low;           /**< message length in bits, low word */
    uint32_t length_high;          /**< message length in bits, high word */
    int16_t message_block_index;   /**< bytes held in message_block, 0 to 64 */
    uint8_t message_block[64];     /**< bytes not yet hashed */
    int32_t computed;              /**< non-zero once the digest has been computed */
    int32_t corrupted;             /**< first error of this message; 0 when there was none */
} SHA1Context;

PCI_TARN_API int32_t SHA1Init(SHA1Context *context);
PCI_TARN_API int32_t SHA1Update(SHA1Context *context, const uint8_t *data, uint32_t length);
PCI_TARN_API int32_t SHA1Final(uint8_t digest[20], SHA1Context *context);

PCI_TARN_API void *memcpy_fast(void *destination, const void *source, uint64_t count);
PCI_TARN_API void *DriverFastMemcpy(void *destination, const void *source, uint64_t count);

#ifdef __cplusplus
}
#endif

#endif
