/**
 * @file types.h
 * Types that all headers of pci_tarn share: the export macro, handles, callbacks and records.
 *
 * Usable from C11 and from C++17 or later. All integers have a fixed width, all records are plain
 * data with natural alignment, and `bool` is one byte.
 */
#ifndef PCI_TARN_TYPES_H
#define PCI_TARN_TYPES_H

#include <stdbool.h>
#include <stdint.h>

/** Marks a function or datum that the library exports. */
#if defined(PCI_TARN_BUILD)
#if defined(_WIN32)
#define PCI_TARN_API __declspec(dllexport)
#else
#define PCI_TARN_API __attribute__((visibility("default")))
#endif
#elif defined(_WIN32)
#define PCI_TARN_API __declspec(dllimport)
#else
#define PCI_TARN_API
#endif

/** Boards that the per-board tables hold. */
#define PCI_TARN_MAX_BOARDS 16
/** EtherCAT channels of one board. */
#define PCI_TARN_MAX_CHANNELS 2
/** Slaves that the tables of one channel hold. */
#define PCI_TARN_MAX_SLAVES 4096

#ifdef __cplusplus
extern "C" {
#endif

/** One opened card; made by BoardOpen(), given back by BoardClose(). */
typedef struct BoardHandle BoardHandle;

/** One opened EtherCAT channel of a card; made by EcatOpen(), given back by EcatClose(). */
typedef struct EcatHandle EcatHandle;

/**
 * Progress of a long request.
 *
 * Called on the thread that made the request, with the channel's lock held; it must not throw and
 * should return quickly. The lock is recursive per thread, so calling back into the library does
 * not deadlock, but a request made here may drop the reply that the outer request waits for.
 *
 * @param arg       the pointer that was given together with the callback
 * @param fraction  done so far, from 0 to 1; the last call of a request always carries exactly 1
 */
typedef void (*PciProgress)(void *arg, float fraction);

/** What a card says of itself (108 bytes). */
typedef struct BoardInfo {
    char model[32];            /**< model or description text, NUL-terminated */
    char firmware_version[32]; /**< firmware version text, "major.minor.patch" */
    char name[32];             /**< card name; BoardOpen() finds the card by it */
    uint32_t alias;            /**< position of the card's alias switch, 0 to 15 */
    uint32_t channel_count;    /**< EtherCAT channels that the card provides */
    uint32_t id;               /**< card identification word, as the card gives it */
} BoardInfo;

/** Versions of driver and library (68 bytes). */
typedef struct DriverInfo {
    char driver_version[32];  /**< four decimal fields joined by dots, as in "1.0.0.1" */
    char library_version[32]; /**< library version and build date text */
    uint32_t board_count;     /**< cards that the driver reports */
} DriverInfo;

#ifdef __cplusplus
}
#endif

#endif
