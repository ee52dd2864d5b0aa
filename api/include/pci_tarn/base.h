/**
 * @file base.h
 * Foundation: status texts, clock and sleep, semaphore and thread, lock handles, SHA-1 and the
 * fast memory copy. Nothing here needs a card, and all of it may be called from any thread.
 */
#ifndef PCI_TARN_BASE_H
#define PCI_TARN_BASE_H

#include "pci_tarn/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Text of a status code, in English.
 *
 * The texts, odd spellings included, never change: programs may compare them.
 *
 * @param code  a status that any function returned; see PciTarnStatus
 * @return constant text, never null, not to be freed; "Unknown" for a code without a text and for
 *         every negative one
 */
PCI_TARN_API const char *EcatErrorGetErrorMessage(int32_t code);

/**
 * The same as EcatErrorGetErrorMessage(), for a code held in an unsigned variable.
 *
 * @param code  a status that any function returned
 * @return what EcatErrorGetErrorMessage() returns for the same value
 */
PCI_TARN_API const char *DriverGetErrStr(uint32_t code);

/**
 * Text of a slave's AL status code, in English.
 *
 * @param code  value of the slave's AL status code register; see PciTarnAlStatus
 * @return constant text, never null, not to be freed; "unkown status", spelled so, for any other
 *         value
 */
PCI_TARN_API const char *EcatGetAlStatusCodeMessage(uint16_t code);

/**
 * Monotonic clock: time since an unspecified start, never set back. Lock-free.
 *
 * @param unit  0 seconds, 1 milliseconds, 2 microseconds, 3 nanoseconds
 * @return whole units gone by; all ones (UINT64_MAX) for any other unit
 */
PCI_TARN_API uint64_t get_current_tick(int32_t unit);

/**
 * Converts a duration.
 *
 * @param duration_ns  duration in nanoseconds
 * @return the duration in whole seconds, truncated toward zero; UINT64_MAX for a null pointer
 */
PCI_TARN_API uint64_t get_current_tick_seconds(const int64_t *duration_ns);

/**
 * Converts a duration.
 *
 * @param duration_ns  duration in nanoseconds
 * @return the duration in whole milliseconds, truncated toward zero; UINT64_MAX for a null pointer
 */
PCI_TARN_API uint64_t get_current_tick_milliseconds(const int64_t *duration_ns);

/**
 * Converts a duration.
 *
 * @param duration_ns  duration in nanoseconds
 * @return the duration in whole microseconds, truncated toward zero; UINT64_MAX for a null pointer
 */
PCI_TARN_API uint64_t get_current_tick_microseconds(const int64_t *duration_ns);

/**
 * Converts a duration: reads it.
 *
 * @param duration_ns  duration in nanoseconds
 * @return the duration in nanoseconds; UINT64_MAX for a null pointer
 */
PCI_TARN_API uint64_t get_current_tick_nanoseconds(const int64_t *duration_ns);

/**
 * Monotonic clock in milliseconds.
 *
 * @return get_current_tick() of unit 1
 */
PCI_TARN_API uint64_t get_tick_ms(void);

/**
 * Monotonic clock in microseconds.
 *
 * @return get_current_tick() of unit 2
 */
PCI_TARN_API uint64_t get_tick_us(void);

/**
 * Monotonic clock in nanoseconds.
 *
 * @return get_current_tick() of unit 3
 */
PCI_TARN_API uint64_t get_tick_ns(void);

/**
 * Puts the calling thread to sleep; it does not spin.
 *
 * @param microseconds  least time to sleep; 0 returns at once. How much longer it takes is up to
 *                      the system's timers.
 */
PCI_TARN_API void __usleep_window(uint32_t microseconds);

/** A binary semaphore; made by ecat_os_sem_create(). */
typedef struct EcatOsSem EcatOsSem;
/** A thread; made by ecat_os_thread_create(). */
typedef struct EcatOsThread EcatOsThread;

/**
 * Makes a binary semaphore of this process: count 0, never above 1.
 *
 * @return the semaphore, to be given back with ecat_os_sem_destroy(); null when there is no memory
 *         or the system refuses
 */
PCI_TARN_API EcatOsSem *ecat_os_sem_create(void);

/**
 * Raises the count to 1 and wakes one waiting thread.
 *
 * @param semaphore  semaphore to raise
 * @return non-zero when the count was raised, 0 when it was 1 already; -1 for null, after a message
 *         on standard error
 */
PCI_TARN_API int32_t ecat_os_sem_post(EcatOsSem *semaphore);

/**
 * Waits until the count is 1 and takes it.
 *
 * @param semaphore   semaphore to wait for
 * @param timeout_ms  longest wait in milliseconds; 0 only looks. The wait always has an end:
 *                    values above 0xFFFFFFFE (about 49 days) count as that.
 * @return 0 when the count was taken, 258 when the time ran out, -1 for null, any other value when
 *         the system failed
 */
PCI_TARN_API int32_t ecat_os_sem_time_wait(EcatOsSem *semaphore, uint64_t timeout_ms);

/**
 * Gives a semaphore back. No thread may be waiting for it.
 *
 * @param semaphore  semaphore to destroy; null is ignored
 */
PCI_TARN_API void ecat_os_sem_destroy(EcatOsSem *semaphore);

/**
 * Starts a thread at once.
 *
 * Priority 99 first raises the process to the real-time class and the thread to its highest
 * priority (Windows), or the thread to SCHED_FIFO with the highest priority (Linux). Where the
 * process may not do that, the thread ends at once and `entry` is never called; nobody is told.
 * Windows does not refuse a process without the privilege: it silently gives the high class
 * instead.
 *
 * @param arg       handed to `entry`
 * @param entry     what the thread runs; its result is not kept
 * @param priority  99 for real time; any other value leaves the default priority
 * @return the thread, to be given back with ecat_os_thread_join(); null for a null entry, when
 *         there is no memory or the system refuses
 */
PCI_TARN_API EcatOsThread *ecat_os_thread_create(void *arg, void *(*entry)(void *),
                                                 uint32_t priority);

/**
 * Waits without limit for the end of a thread and frees its record.
 *
 * @param thread  thread to wait for; null is ignored
 */
PCI_TARN_API void ecat_os_thread_join(EcatOsThread *thread);

/**
 * Takes a lock of the tables in shared.h. Waits without limit.
 *
 * The lock is recursive per thread: each call needs its own driverUnlock(). When its owner died,
 * the lock is handed on as if it had been given back; what it guards may then be half-written.
 *
 * @param lock  lock handle; null means that there is no lock
 * @return always 0
 */
PCI_TARN_API uint32_t driverLock(void *lock);

/**
 * Gives back a lock that the calling thread took with driverLock(); never blocks.
 *
 * @param lock  lock handle; null means that there is no lock
 * @return always 0
 */
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

/**
 * Begins a new message. A context serves one thread at a time.
 *
 * @param context  context to set up; its former content does not matter
 * @return 0; 1 for a null pointer
 */
PCI_TARN_API int32_t SHA1Init(SHA1Context *context);

/**
 * Adds bytes to the message.
 *
 * @param context  context of the message
 * @param data     bytes to add
 * @param length   how many; 0 does nothing, whatever the pointers are
 * @return 0, also when this very call made the message longer than 2^64 - 1 bits; 1 for a null
 *         pointer; 3 when the digest was already computed; else the context's first error
 */
PCI_TARN_API int32_t SHA1Update(SHA1Context *context, const uint8_t *data, uint32_t length);

/**
 * Ends the message and gives its digest. A second call gives the same digest.
 *
 * @param digest   receives 20 bytes; untouched on failure
 * @param context  context of the message
 * @return 0; 1 for a null pointer; else the context's first error: 1 for a message that was too
 *         long, 3 when bytes were added after the digest
 */
PCI_TARN_API int32_t SHA1Final(uint8_t digest[20], SHA1Context *context);

/**
 * Copies memory, with wide accesses also where it is card memory.
 *
 * Writes nothing outside the destination, reads nothing outside the source, allocates nothing and
 * never blocks. Large copies, of more than 2 MiB, bypass the cache.
 *
 * @param destination  first byte to write, of any alignment
 * @param source       first byte to read, of any alignment
 * @param count        bytes; the regions must not overlap. 0 copies nothing, the pointers may then
 *                     be null.
 * @return destination
 */
PCI_TARN_API void *memcpy_fast(void *destination, const void *source, uint64_t count);

/**
 * The same as memcpy_fast(), under the name of the driver family.
 *
 * @param destination  first byte to write
 * @param source       first byte to read
 * @param count        bytes
 * @return destination
 */
PCI_TARN_API void *DriverFastMemcpy(void *destination, const void *source, uint64_t count);

#ifdef __cplusplus
}
#endif

#endif
