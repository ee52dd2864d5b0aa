/**
 * @file pi.h
 * The process image: cyclic data by byte, bit, logical address or slave; the logical address map;
 * the buffer objects behind the five process image areas.
 */
#ifndef PCI_TARN_PI_H
#define PCI_TARN_PI_H

#include "pci_tarn/base.h"
#include "pci_tarn/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Process image areas: the index argument of every operation. */
#define ECAT_PI_NORMAL_OUTPUT 0
#define ECAT_PI_NORMAL_INPUT 1
#define ECAT_PI_FAST_OUTPUT 2
#define ECAT_PI_CARD_AREA 3
#define ECAT_PI_SHADOW_INPUT 4

/** Directions of the process image. */
#define ECAT_PI_DIRECTION_OUTPUT 0
#define ECAT_PI_DIRECTION_INPUT 1

/* ---- process image access ------------------------------------------------------------------ */

PCI_TARN_API uint32_t EcatPIRead(EcatHandle *handle, uint32_t index, uint32_t offset,
                                 uint32_t length, void *destination);
PCI_TARN_API uint32_t EcatPIWrite(EcatHandle *handle, uint32_t index, uint32_t offset,
                                  uint32_t length, const void *source);
PCI_TARN_API uint32_t EcatPIMaskWrite(EcatHandle *handle, uint32_t index, uint32_t offset,
                                      uint32_t length, const uint8_t *mask, const void *source);
PCI_TARN_API uint32_t __EcatPIRead_NotCheck(EcatHandle *handle, uint32_t index, uint32_t *offset,
                                            uint32_t *length, void *destination);
PCI_TARN_API uint32_t EcatPIClear(EcatHandle *handle, uint32_t index);
PCI_TARN_API uint32_t EcatPINMap(EcatHandle *handle, uint32_t index, void **address);
PCI_TARN_API uint32_t EcatPIGetRange(EcatHandle *handle, uint32_t index, uint16_t slave,
                                     uint32_t *offset, uint32_t *length);
PCI_TARN_API uint32_t EcatSlavePIGetRange(EcatHandle *handle, uint32_t index, uint16_t slave,
                                          uint32_t *offset, uint32_t *length);
PCI_TARN_API uint32_t EcatSlavePIRead(EcatHandle *handle, uint32_t index, uint16_t slave,
                                      uint32_t length, void *destination);
PCI_TARN_API uint32_t EcatSlavePIReadEx(EcatHandle *handle, uint32_t index, uint16_t slave,
                                        uint32_t offset, uint32_t length, void *destination);
PCI_TARN_API uint32_t EcatSlavePIWrite(EcatHandle *handle, uint32_t index, uint16_t slave,
                                       uint32_t length, const void *source);
PCI_TARN_API uint32_t EcatSlavePIWriteEx(EcatHandle *handle, uint32_t index, uint16_t slave,
                                         uint32_t offset, uint32_t length, const void *source);
PCI_TARN_API uint32_t EcatSlavePIMaskWrite(EcatHandle *handle, uint32_t index, uint16_t slave,
                                           uint32_t length, const uint8_t *mask,
                                           const void *source);
PCI_TARN_API uint32_t EcatSlavePIMaskWriteEx(EcatHandle *handle, uint32_t index, uint16_t slave,
                                             uint32_t offset, uint32_t length, const uint8_t *mask,
                                             const void *source);
PCI_TARN_API uint32_t EcatSlavePIClear(EcatHandle *handle, uint32_t index, uint16_t slave);
PCI_TARN_API uint32_t EcatPIEnableSet(EcatHandle *handle, uint32_t flag);
PCI_TARN_API uint32_t EcatPIEnable(EcatHandle *handle);
PCI_TARN_API uint32_t EcatPIDisable(EcatHandle *handle);
PCI_TARN_API uint32_t EcatPIEnableGet(EcatHandle *handle, uint32_t *flag);
PCI_TARN_API uint32_t EcatPIReinitModeSet(EcatHandle *handle, uint32_t mode);
PCI_TARN_API uint32_t EcatPIReinitModeGet(EcatHandle *handle, uint32_t *mode);
PCI_TARN_API uint32_t EcatPIReinitModeSetGlobal(EcatHandle *handle, uint16_t mode);
PCI_TARN_API uint32_t EcatPIReinitModeGetGlobal(EcatHandle *handle, uint32_t *mode);
PCI_TARN_API uint32_t EcatPIOutputQueuePush(EcatHandle *handle, uint8_t flag, uint32_t timeout_ms);
PCI_TARN_API void *ecat_bitmemcpy(void *destination, uint32_t destination_bit, const void *source,
                                  uint32_t source_bit, uint32_t bits);
PCI_TARN_API uint32_t __set_pi_area_complete_info_pdo_len(EcatHandle *handle, uint32_t index,
                                                          uint32_t length);

/* ---- logical address map ------------------------------------------------------------------- */

/** Where a slave's data lies in the physical image of one direction, in bits. */
typedef struct PiPhyEntry {
    uint16_t bit_offset; /**< first bit */
    uint16_t bit_length; /**< number of bits, 0 for a slave without data in this direction */
} PiPhyEntry;

/** One entry of the table that is sorted by logical address. */
typedef struct PiLogicEntry {
    uint16_t address; /**< logical bit address */
    uint16_t slave;   /**< slave index */
} PiLogicEntry;

/** Cache over the card's slave activity words; one per check, on the caller's stack. */
typedef struct EcatSlaveActiveCache {
    const volatile uint32_t *card; /**< activity words in card memory */
    const uint32_t *participation; /**< participation bitmap of the direction */
    uint32_t count;                /**< number of slaves */
    /** Four cached lines; line k holds word indices w with w mod 4 == k. */
    struct {
        uint32_t index; /**< word index held, all ones while empty */
        uint32_t value; /**< card word OR NOT participation word */
    } line[4];
} EcatSlaveActiveCache;

/** Operations of a random access range, for iterator_find_range(). */
typedef struct IteratorOps {
    bool (*less)(uint64_t a, uint64_t b);           /**< less-than of two keys */
    uint64_t (*key)(void *iterator);                /**< key of an element */
    bool (*equal)(void *a, void *b);                /**< equality of two iterators */
    int64_t (*distance)(void *a, void *b);          /**< elements from a to b */
    void *(*advance)(void *iterator, int64_t n);    /**< iterator moved by n elements */
} IteratorOps;

PCI_TARN_API uint32_t ecat_pi_logic_addr_map_init(const char *eni_path, uint32_t slave_count,
                                                  void *input_block, void *output_block);
PCI_TARN_API bool ecat_pi_logic_addr_get_range(const void *block, uint16_t start, uint16_t count,
                                               const PiLogicEntry **begin,
                                               const PiLogicEntry **end);
PCI_TARN_API bool getPiInfo_offset2slave(const void *pi_info, uint32_t direction, uint16_t start,
                                         uint16_t count, uint16_t *first, uint16_t *number,
                                         const uint32_t **participation);
PCI_TARN_API bool ecat_calc_phy_logic_mixed(const PiPhyEntry *phy, uint16_t logic, uint16_t start,
                                            uint16_t count, uint16_t *bit_in_request,
                                            uint16_t *phy_bit, uint16_t *bits);
PCI_TARN_API void ecat_slave_active_cache_init(EcatSlaveActiveCache *cache,
                                               const volatile uint32_t *card,
                                               const uint32_t *participation, uint32_t count);
PCI_TARN_API bool ecat_slave_active_cache_get(EcatSlaveActiveCache *cache, uint16_t slave);
PCI_TARN_API bool ecat_check_all_slave_is_active(const void *pi_info, const volatile uint32_t *card,
                                                 uint32_t direction, uint16_t start,
                                                 uint16_t count);
PCI_TARN_API bool iterator_find_range(const IteratorOps *ops, void *begin, void *end, uint64_t low,
                                      uint64_t high, void **range_begin, void **range_end,
                                      bool (*inside)(void *iterator, uint64_t key));

/* ---- buffer objects ------------------------------------------------------------------------ */

/** Transfer state of one process image area (80 bytes); set from the PI info record. */
typedef struct PiTransfer {
    uint32_t mapped;            /**< non-zero: logical addressing is on */
    uint32_t physical_length;   /**< bytes moved per exchange */
    uint32_t image_length;      /**< bytes of the image applications see */
    uint32_t dma;               /**< non-zero: move by DMA, with processor copy as fall-back */
    const PiPhyEntry *physical; /**< per slave: place in the physical image */
    const PiLogicEntry *sorted; /**< entries by logical address */
    uint32_t entry_count;       /**< entries in sorted */
    uint32_t slave_count;       /**< slaves in physical */
    void *dma_device;           /**< driver object for DMA */
    uint64_t dma_base;          /**< address that DMA counts card addresses from */
    /** Converts a whole image between its logical and physical form. */
    void (*convert)(const struct PiTransfer *state, void *destination, const void *source);
    const void *plan;           /**< merged copy runs, made by the library; null without mapping */
    uint64_t reserved;          /**< zero */
} PiTransfer;

/** Operations of a process image area, in slot order. */
typedef struct PiOps {
    /** Slot 0: set-up and release; does nothing. */
    uint32_t (*setup)(void *object, PiTransfer *state);
    /** Slot 1: masked write; a null mask copies all bytes. */
    uint32_t (*write)(void *object, uint32_t offset, uint32_t count, const void *source,
                      const uint8_t *mask, PiTransfer *state);
    /** Slot 2: read. */
    uint32_t (*read)(void *object, uint32_t offset, uint32_t count, void *destination,
                     PiTransfer *state);
    /** Slot 3: address of the data. */
    void *(*address)(void *object);
    /** Slot 4: zero a range; a count of all ones zeroes the image length. */
    uint32_t (*clear)(void *object, uint32_t offset, uint32_t count, PiTransfer *state);
    /** Slot 5: exchange with the card, or between the two images of a normal object. */
    uint32_t (*exchange)(void *object, PiTransfer *state);
} PiOps;

/** One process image area. */
typedef struct PiArea {
    void *lock;       /**< named lock of the channel's process image, null for none */
    void *object;     /**< buffer object that ops work on */
    const PiOps *ops; /**< operations, null while the area is not set up */
    PiTransfer state; /**< transfer state */
} PiArea;

/** Buffer object of the normal output and input areas. */
typedef struct PiNormalObject {
    uint8_t *buffer;     /**< physical image, 4,096 bytes */
    uint8_t *cache;      /**< image that applications address, 8,192 bytes */
    uint32_t direction;  /**< ECAT_PI_DIRECTION_OUTPUT or _INPUT */
} PiNormalObject;

/** Producer side of a triple buffer (fast output). */
typedef struct PiMasterObject {
    uint8_t *card;            /**< card buffer 0 */
    uint8_t *local;           /**< local image, 8,192 bytes in shared memory */
    uint32_t *dirty;          /**< non-zero: written since the last exchange */
    uint32_t stride;          /**< bytes from one card buffer to the next */
    uint8_t staging[4096];    /**< physical image on its way to the card */
    uint32_t *index;          /**< counter, host word, card word */
    PiArea *owner;            /**< area that this object serves */
} PiMasterObject;

/** Consumer side of a triple buffer (shadow input). */
typedef struct PiSlaveObject {
    uint8_t *card;         /**< card buffer 0 */
    uint8_t *local;        /**< local image, 8,192 bytes in shared memory */
    uint32_t stride;       /**< bytes from one card buffer to the next */
    uint8_t staging[4096]; /**< physical image on its way from the card */
    uint32_t *index;       /**< counter, card word, host word */
    PiArea *owner;         /**< area that this object serves */
} PiSlaveObject;

/** Reader of the card-side exchange area. */
typedef struct PiExchangeObject {
    const uint8_t *card;       /**< exchange area in card memory, 4,096 bytes */
    const uint32_t *sequence;  /**< odd while the card writes the area; null: no area */
    uint32_t last;             /**< sequence that local was read at */
    uint8_t staging[4096];     /**< physical image on its way from the card */
    uint8_t local[8192];       /**< image that applications read */
} PiExchangeObject;

PCI_TARN_API uint32_t pi_buff_3p_master_write(void *object, uint32_t offset, uint32_t count,
                                              const void *source, const uint8_t *mask,
                                              PiTransfer *state);
PCI_TARN_API uint32_t pi_buff_3p_master_write_cycle(void *object, uint32_t offset, uint32_t count,
                                                    const void *source, const uint8_t *mask,
                                                    PiTransfer *state);
PCI_TARN_API uint32_t pi_buff_3p_master_read(void *object, uint32_t offset, uint32_t count,
                                             void *destination, PiTransfer *state);
PCI_TARN_API uint32_t pi_buff_3p_master_force_update(void *object);
PCI_TARN_API uint32_t pi_buff_3p_slave_write(void *object, uint32_t offset, uint32_t count,
                                             const void *source, const uint8_t *mask,
                                             PiTransfer *state);
PCI_TARN_API uint32_t pi_buff_3p_slave_read(void *object, uint32_t offset, uint32_t count,
                                            void *destination, PiTransfer *state);
PCI_TARN_API uint32_t pi_buff_3p_slave_read_cycle(void *object, uint32_t offset, uint32_t count,
                                                  void *destination, PiTransfer *state);

/* ---- asynchronous access modes ------------------------------------------------------------- */

/** Called by the data-swap thread once per bus cycle. */
typedef void (*EcatCycleCallback)(void *arg, EcatHandle *handle);

/** State of the asynchronous access mode of one channel. */
typedef struct EcatPIAsyncState {
    uint32_t mode;          /**< 0 direct, 1 cycle, 2 manual */
    uint32_t stop;          /**< non-zero asks the data-swap thread to end */
    EcatOsSem *semaphore;   /**< posted once per cycle */
    EcatOsThread *thread;   /**< data-swap thread of the cycle mode */
    void *callback_arg;     /**< first argument of callback */
    EcatCycleCallback callback; /**< called once per cycle, null for none */
    /** Waits for the next cycle; 0 when woken, non-zero on time-out. */
    uint32_t (*wakeup)(EcatHandle *handle, uint32_t timeout_ms);
} EcatPIAsyncState;

PCI_TARN_API uint32_t __EcatPIASyncModeInit(EcatPIAsyncState *state, uint32_t board,
                                            uint32_t channel);
PCI_TARN_API uint32_t __EcatPIASyncDirectAccessModeInit(EcatHandle *handle);
PCI_TARN_API uint32_t __EcatPIASyncModeReset(EcatPIAsyncState *state);
PCI_TARN_API uint32_t __EcatPIASyncModeDestroy(EcatPIAsyncState *state);
PCI_TARN_API uint32_t __EcatPIWaitSignal(EcatHandle *handle);
PCI_TARN_API uint32_t __Ecat_PI_ASync_WakeupByInterrup(EcatHandle *handle, uint32_t timeout_ms);

#ifdef __cplusplus
}
#endif

#endif
