/**
 * @file pi.h
 * The process image: cyclic data by byte, bit, logical address or slave; the logical address map;
 * the buffer objects behind the five process image areas.
 *
 * A channel has five areas, numbered by the `index` argument. Offsets and lengths are bytes unless
 * a name says bits; bit n of an image is bit n mod 8 of byte n / 8, least significant first.
 *
 * @par Views
 * A handle keeps a view of the configuration: lengths, the logical mapping and the copy plan made
 * from it. The view is set when the channel is opened and at every bus start *through that
 * handle*. A handle that was opened before another process (or another handle) started the bus
 * with a different configuration keeps its view of the older one; close and open it again to
 * follow. Slave ranges and activity checks always look at the shared record of the last start.
 *
 * @par Threads and locks
 * Every access through an area holds the channel's process image lock while bytes are copied. It
 * is one lock per channel, shared by all processes and recursive per thread. Nothing here waits
 * for the bus except where a time-out is named; what sends a request to the card says so.
 *
 * @par Images and exchanges
 * Images that applications address have 8,192 bytes, what crosses to the card has 4,096 at most: a
 * longer configured length is cut to that in every exchange.
 */
#ifndef PCI_TARN_PI_H
#define PCI_TARN_PI_H

#include "pci_tarn/base.h"
#include "pci_tarn/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Process image areas: the index argument of every operation. */

/** Outputs in memory that all processes share; EcatPIOutputQueuePush() hands them to the card. */
#define ECAT_PI_NORMAL_OUTPUT 0
/** Inputs in memory that all processes share, as the input queue brings them. */
#define ECAT_PI_NORMAL_INPUT 1
/** Outputs that go to the card through a triple buffer. */
#define ECAT_PI_FAST_OUTPUT 2
/** An image of the output side that the card itself writes; can only be read. */
#define ECAT_PI_CARD_AREA 3
/** Inputs that come from the card through a triple buffer; can only be read. */
#define ECAT_PI_SHADOW_INPUT 4

/* Directions of the process image. */

/** Outputs: host to slaves. */
#define ECAT_PI_DIRECTION_OUTPUT 0
/** Inputs: slaves to host. */
#define ECAT_PI_DIRECTION_INPUT 1

/* ---- process image access ------------------------------------------------------------------ */

/**
 * Reads from an area and checks that the slaves behind the bytes are active.
 *
 * In direct mode a read of @ref ECAT_PI_SHADOW_INPUT fetches the newest inputs from the card
 * first. A read of @ref ECAT_PI_CARD_AREA waits, without a limit, until the card has finished
 * writing it.
 *
 * @param handle      opened channel
 * @param index       area, 0 to 4
 * @param offset      first byte, 0 to 8,191
 * @param length      bytes; cut to 8,191 - offset, so that offset 8,191 reads nothing and succeeds
 * @param destination gets the bytes; may be null when nothing is left to read
 * @return 0; 80013 for a null handle; 34058 for an index or offset out of range; 32770 for a null
 *         destination; 32771 when the card has no area behind @ref ECAT_PI_CARD_AREA; 80015 when a
 *         slave that the bytes belong to is not active (the bytes have been read all the same)
 */
PCI_TARN_API uint32_t EcatPIRead(EcatHandle *handle, uint32_t index, uint32_t offset,
                                 uint32_t length, void *destination);

/**
 * Writes into an area and checks that the slaves behind the bytes are active.
 *
 * In direct mode a write to @ref ECAT_PI_FAST_OUTPUT is published to the card at once.
 *
 * @param handle opened channel
 * @param index  area; only 0, 1 and 2 can be written
 * @param offset first byte, 0 to 8,191
 * @param length bytes; cut to 8,191 - offset
 * @param source bytes to write; may be null when nothing is left to write
 * @return 0; 80013 for a null handle; 34058 for an index or offset out of range; 32770 for a null
 *         source; 32782 for an area that cannot be written; 80015 when a slave that the bytes
 *         belong to is not active (the bytes have been written all the same)
 */
PCI_TARN_API uint32_t EcatPIWrite(EcatHandle *handle, uint32_t index, uint32_t offset,
                                  uint32_t length, const void *source);

/**
 * Writes chosen bits into an area; otherwise as EcatPIWrite().
 *
 * @param handle opened channel
 * @param index  area; only 0, 1 and 2 can be written
 * @param offset first byte, 0 to 8,191
 * @param length bytes; cut to 8,191 - offset
 * @param mask   one byte for each byte written: bits that are 1 come from the source, bits that are
 *               0 stay. Null writes all bits
 * @param source bytes to write
 * @return as EcatPIWrite()
 */
PCI_TARN_API uint32_t EcatPIMaskWrite(EcatHandle *handle, uint32_t index, uint32_t offset,
                                      uint32_t length, const uint8_t *mask, const void *source);

/**
 * Reads from an area without looking at the slaves.
 *
 * @param handle      opened channel
 * @param index       area, 0 to 4
 * @param offset      in: first byte, 0 to 8,191; left as it is
 * @param length      in: bytes wanted; out: bytes that were within reach (at most 8,191 - offset)
 * @param destination gets the bytes
 * @return 0; 80013 for a null handle; 34058 for an index or offset out of range; 32770 for another
 *         null pointer; 32771 when the card has no area behind @ref ECAT_PI_CARD_AREA
 */
PCI_TARN_API uint32_t __EcatPIRead_NotCheck(EcatHandle *handle, uint32_t index, uint32_t *offset,
                                            uint32_t *length, void *destination);

/**
 * Zeroes an area: all 8,192 bytes of its image. Clearing @ref ECAT_PI_FAST_OUTPUT also publishes
 * the zeros, in every access mode.
 *
 * @param handle opened channel
 * @param index  area; only 0, 1 and 2 can be cleared
 * @return 0; 80013 for a null handle; 34058 for an index out of range; 32782 for an area that
 *         cannot be cleared
 */
PCI_TARN_API uint32_t EcatPIClear(EcatHandle *handle, uint32_t index);

/**
 * Gives the address of an area's image, for access without the copy.
 *
 * Who writes through it holds no lock, marks nothing for publication and is not seen by the
 * watchdog. The address is valid until the handle is closed.
 *
 * @param handle  opened channel
 * @param index   area, 0 to 4
 * @param address gets the address of 8,192 bytes
 * @return 0; 80013 for a null handle; 34058 for an index out of range; 32770 for a null `address`;
 *         32782 when the area has no image
 */
PCI_TARN_API uint32_t EcatPINMap(EcatHandle *handle, uint32_t index, void **address);

/**
 * The same as EcatSlavePIGetRange().
 *
 * @param handle opened channel
 * @param index  area, 0 to 4
 * @param slave  slave index
 * @param offset gets the first byte; may be null
 * @param length gets the number of bytes; may be null
 * @return as EcatSlavePIGetRange()
 */
PCI_TARN_API uint32_t EcatPIGetRange(EcatHandle *handle, uint32_t index, uint16_t slave,
                                     uint32_t *offset, uint32_t *length);

/**
 * Tells which bytes of an area belong to a slave.
 *
 * Works only with a configuration that carries a logical mapping: the number of slaves in the
 * mapping bounds the slave index, also where the direction itself is not mapped.
 *
 * @param handle opened channel
 * @param index  area, 0 to 4
 * @param slave  slave index
 * @param offset gets the first byte that the slave's bits touch; may be null
 * @param length gets the number of bytes that they touch; may be null. A slave without bits that
 *               stands inside a byte still has length 1
 * @return 0; 80013 for a null handle; 34058 for an index out of range; 32778 for a slave that the
 *         mapping does not hold
 */
PCI_TARN_API uint32_t EcatSlavePIGetRange(EcatHandle *handle, uint32_t index, uint16_t slave,
                                          uint32_t *offset, uint32_t *length);

/**
 * Reads a slave's data from its first byte on: EcatSlavePIReadEx() with offset 0.
 *
 * @param handle      opened channel
 * @param index       area, 0 to 4
 * @param slave       slave index
 * @param length      bytes; cut to the slave's range
 * @param destination gets the bytes
 * @return as EcatSlavePIReadEx()
 */
PCI_TARN_API uint32_t EcatSlavePIRead(EcatHandle *handle, uint32_t index, uint16_t slave,
                                      uint32_t length, void *destination);

/**
 * Reads inside a slave's byte range, as EcatSlavePIGetRange() gives it.
 *
 * @param handle      opened channel
 * @param index       area, 0 to 4; looked at before the handle
 * @param slave       slave index
 * @param offset      first byte, counted from the slave's first one
 * @param length      bytes; cut to the slave's range
 * @param destination gets the bytes
 * @return 0; 34058 for an index out of range or an offset behind the slave's range; 80013 for a
 *         null handle; 32778 for a slave that the mapping does not hold; else as EcatPIRead(),
 *         where 80015 says that this slave is not ready
 */
PCI_TARN_API uint32_t EcatSlavePIReadEx(EcatHandle *handle, uint32_t index, uint16_t slave,
                                        uint32_t offset, uint32_t length, void *destination);

/**
 * Writes a slave's data from its first byte on: EcatSlavePIMaskWriteEx() with offset 0 and no mask.
 *
 * @param handle opened channel
 * @param index  area; only 0, 1 and 2 can be written
 * @param slave  slave index
 * @param length bytes; cut to the slave's range
 * @param source bytes to write
 * @return as EcatSlavePIMaskWriteEx()
 */
PCI_TARN_API uint32_t EcatSlavePIWrite(EcatHandle *handle, uint32_t index, uint16_t slave,
                                       uint32_t length, const void *source);

/**
 * Writes inside a slave's byte range: EcatSlavePIMaskWriteEx() without a mask.
 *
 * @param handle opened channel
 * @param index  area; only 0, 1 and 2 can be written
 * @param slave  slave index
 * @param offset first byte, counted from the slave's first one
 * @param length bytes; cut to the slave's range
 * @param source bytes to write
 * @return as EcatSlavePIMaskWriteEx()
 */
PCI_TARN_API uint32_t EcatSlavePIWriteEx(EcatHandle *handle, uint32_t index, uint16_t slave,
                                         uint32_t offset, uint32_t length, const void *source);

/**
 * Writes chosen bits of a slave's data: EcatSlavePIMaskWriteEx() with offset 0.
 *
 * @param handle opened channel
 * @param index  area; only 0, 1 and 2 can be written
 * @param slave  slave index
 * @param length bytes; cut to the slave's range
 * @param mask   as for EcatPIMaskWrite(); null writes all bits
 * @param source bytes to write
 * @return as EcatSlavePIMaskWriteEx()
 */
PCI_TARN_API uint32_t EcatSlavePIMaskWrite(EcatHandle *handle, uint32_t index, uint16_t slave,
                                           uint32_t length, const uint8_t *mask,
                                           const void *source);

/**
 * Writes chosen bits inside a slave's byte range.
 *
 * The range is whole bytes: where slaves share a byte, a mask keeps the neighbour's bits.
 *
 * @param handle opened channel
 * @param index  area; only 0, 1 and 2 can be written; looked at before the handle
 * @param slave  slave index
 * @param offset first byte, counted from the slave's first one
 * @param length bytes; cut to the slave's range
 * @param mask   as for EcatPIMaskWrite(); null writes all bits
 * @param source bytes to write
 * @return 0; 34058 for an index out of range or an offset behind the slave's range; 80013 for a
 *         null handle; 32778 for a slave that the mapping does not hold; else as EcatPIWrite(),
 *         where 80015 says that this slave is not ready
 */
PCI_TARN_API uint32_t EcatSlavePIMaskWriteEx(EcatHandle *handle, uint32_t index, uint16_t slave,
                                             uint32_t offset, uint32_t length, const uint8_t *mask,
                                             const void *source);

/**
 * Zeroes the bytes of a slave's range, bits of neighbours in the same bytes included.
 *
 * @param handle opened channel
 * @param index  area, 0 to 4; areas that cannot be cleared stay as they are
 * @param slave  slave index
 * @return 0, also for an area that cannot be cleared; 80013 for a null handle; 34058 for an index
 *         out of range; 32778 for a slave that the mapping does not hold
 */
PCI_TARN_API uint32_t EcatSlavePIClear(EcatHandle *handle, uint32_t index, uint16_t slave);

/**
 * Switches the card's process image service on or off.
 *
 * Switching on sends a request: once it has the mailbox's lock it blocks for at most twice the
 * handle's request time-out;
 * switching off only writes a word of card memory.
 *
 * @param handle opened channel
 * @param flag   0 off, any other value on
 * @return 0; 32770 (not 80013) for a null handle; 80001, 80002, 80003 or the firmware's status of
 *         the request, and then the service stays as it was
 */
PCI_TARN_API uint32_t EcatPIEnableSet(EcatHandle *handle, uint32_t flag);

/**
 * Switches the card's process image service on: EcatPIEnableSet() with 1.
 *
 * @param handle opened channel
 * @return as EcatPIEnableSet()
 */
PCI_TARN_API uint32_t EcatPIEnable(EcatHandle *handle);

/**
 * Switches the card's process image service off. Sends no request.
 *
 * @param handle opened channel
 * @return 0; 32770 for a null handle
 */
PCI_TARN_API uint32_t EcatPIDisable(EcatHandle *handle);

/**
 * Tells whether the card's process image service is on. Sends no request.
 *
 * @param handle opened channel
 * @param flag   gets 1 or 0 (the card's word, unchanged)
 * @return 0; 32770 for a null handle or a null `flag`
 */
PCI_TARN_API uint32_t EcatPIEnableGet(EcatHandle *handle, uint32_t *flag);

/**
 * Chooses what the next bus start through this handle keeps.
 *
 * @param handle opened channel
 * @param mode   0 takes the mode that all processes share; 2 keeps the triple buffers and sends
 *               their outputs again after the start; 3 keeps the normal images and pushes the
 *               outputs into the output queue after the start; any other value empties all
 * @return 0; 80013 for a null handle
 */
PCI_TARN_API uint32_t EcatPIReinitModeSet(EcatHandle *handle, uint32_t mode);

/**
 * Tells the handle's own reinit mode, 0 after the open.
 *
 * @param handle opened channel
 * @param mode   gets the mode
 * @return 0; 80013 for a null handle; 32789 for a null `mode`
 */
PCI_TARN_API uint32_t EcatPIReinitModeGet(EcatHandle *handle, uint32_t *mode);

/**
 * Chooses the reinit mode for all handles of the channel, in all processes of this directory,
 * whose own mode is 0.
 *
 * @param handle opened channel
 * @param mode   as for EcatPIReinitModeSet(), where 0 empties all
 * @return 0; 80013 for a null handle; 32771 when there is no shared memory
 */
PCI_TARN_API uint32_t EcatPIReinitModeSetGlobal(EcatHandle *handle, uint16_t mode);

/**
 * Tells the shared reinit mode of the channel.
 *
 * @param handle opened channel
 * @param mode   gets the mode
 * @return 0; 80013 for a null handle; 32789 for a null `mode`; 32771 when there is no shared memory
 */
PCI_TARN_API uint32_t EcatPIReinitModeGetGlobal(EcatHandle *handle, uint32_t *mode);

/**
 * Hands the image of @ref ECAT_PI_NORMAL_OUTPUT to the card's output queue of 128 entries.
 *
 * Blocks while the queue is full, up to the time-out. Counts as an access that feeds the watchdog.
 * The queue takes one producer at a time: of two threads or processes that push at once one loses
 * its entry, or both leave a torn one; so does a write to the image while another thread pushes it.
 *
 * @param handle     opened channel
 * @param flag       stored in the last byte of the entry; an image of 4,096 bytes takes its place
 * @param timeout_ms time to wait for a free entry; 0 tries once
 * @return 0; 80013 for a null handle; 80011 when the queue stayed full
 */
PCI_TARN_API uint32_t EcatPIOutputQueuePush(EcatHandle *handle, uint8_t flag, uint32_t timeout_ms);

/**
 * Tells how many images the card's output queue holds that the bus has not taken yet.
 *
 * @param handle opened channel
 * @param count  gets the number, 0 to 128
 * @return 0; 80013 for a null handle; 32770 for a null `count`
 */
PCI_TARN_API uint32_t EcatPIOutputQueueSize(EcatHandle *handle, uint32_t *count);

/**
 * EcatPIInputQueuePop_US() with a time-out in milliseconds.
 *
 * @param handle     opened channel
 * @param newest     0 takes the oldest image; any other value the newest and drops the older ones
 * @param timeout_ms time to wait for an image; 0 looks once
 * @return as EcatPIInputQueuePop_US()
 */
PCI_TARN_API uint32_t EcatPIInputQueuePop(EcatHandle *handle, uint8_t newest, uint32_t timeout_ms);

/**
 * Takes one image out of the card's input queue, which gets one per bus cycle, into @ref
 * ECAT_PI_NORMAL_INPUT, where the image is read afterwards, logical addressing applied.
 *
 * Blocks while the queue is empty, up to the time-out. Between two looks it waits for the bus cycle
 * as the access mode does, each time up to the whole time-out in whole milliseconds, and prints
 * "timeout" whenever that wait ends without a cycle: with the bus standing still it may last twice
 * the time-out, and 2 ms at least but in the cycle mode. When the time is up it prints the times
 * and gives up.
 *
 * The queue holds 128 images. Every process of the channel takes from the same queue.
 *
 * @param handle     opened channel
 * @param newest     0 takes the oldest image; any other value the newest and drops the older ones
 * @param timeout_us time to wait for an image, in microseconds; 0 looks once
 * @return 0; 80013 for a null handle; 80003 when no image came
 */
PCI_TARN_API uint32_t EcatPIInputQueuePop_US(EcatHandle *handle, uint8_t newest,
                                             uint64_t timeout_us);

/**
 * Tells how many images the card's input queue holds.
 *
 * @param handle opened channel
 * @param count  gets the number, 0 to 128
 * @return 0; 80013 for a null handle; 32770 for a null `count`
 */
PCI_TARN_API uint32_t EcatPIInputQueueSize(EcatHandle *handle, uint32_t *count);

/* ---- watchdog ------------------------------------------------------------------------------ */

/**
 * Tells the card what to put into a slave's outputs when its watchdog expires.
 *
 * Sends a request: blocks until the reply, up to the handle's time-out twice, and while another
 * request is under way on the channel. The same holds for the other watchdog functions, but for
 * EcatPIWatchDogFeed(). What the firmware refuses comes back as its status, 90000 to 90007.
 *
 * @param handle   opened channel
 * @param slave    identifier of the slave, as the firmware counts them
 * @param reserved must be 0
 * @param mask     bits of `data` that count, `length` bytes; null for all
 * @param data     safe output data
 * @param length   bytes of `data`
 * @return the firmware's status, 0 for success; 80013 for a null handle; 32770 for null `data` or a
 *         `reserved` that is not 0; 32769 when memory is used up; 80001, 80002 and 80003 as
 *         pcie_pkt_send()
 */
PCI_TARN_API uint32_t EcatPIWatchDogConfig(EcatHandle *handle, uint32_t slave, uint32_t reserved,
                                           const uint8_t *mask, const uint8_t *data,
                                           uint32_t length);

/**
 * Switches the watchdog on or off.
 *
 * @param handle opened channel
 * @param flag   handed to the firmware as it is; 0 is off
 * @return the firmware's status, 0 for success; 80013 for a null handle; 80001, 80002 and 80003 as
 *         pcie_pkt_send()
 */
PCI_TARN_API uint32_t EcatPIWatchDogEnable(EcatHandle *handle, uint32_t flag);

/**
 * Starts the watchdog.
 *
 * @param handle opened channel
 * @param value  handed to the firmware as it is
 * @param text   handed to the firmware with its final zero; null counts as empty
 * @return the firmware's status, 0 for success; 80013 for a null handle; 90003 when memory is used
 *         up; 80001, 80002 and 80003 as pcie_pkt_send()
 */
PCI_TARN_API uint32_t EcatPIWatchDogStart(EcatHandle *handle, uint32_t value, const char *text);

/**
 * Stops the watchdog.
 *
 * @param handle opened channel
 * @return the firmware's status, 0 for success; 80013 for a null handle; 80001, 80002 and 80003 as
 *         pcie_pkt_send()
 */
PCI_TARN_API uint32_t EcatPIWatchDogStop(EcatHandle *handle);

/**
 * Asks what the card's watchdog holds for a slave.
 *
 * @param handle         opened channel
 * @param slave          identifier of the slave
 * @param first_status   gets the first status word; may be null
 * @param second_status  gets the second status word; may be null
 * @param first_block    gets the first block; null when not wanted
 * @param second_block   gets the second block; null when not wanted
 * @param[in,out] length in: bytes that each block holds, not 0; out: the length that the card says.
 *                       It is more than the one given where the blocks are too small (90007), and
 *                       no block gets more bytes than the one given. Once the request was made,
 *                       status words and length are written whatever the result, also without a
 *                       reply
 * @return the firmware's status, 0 for success; 80013 for a null handle; 32770 for a null `length`;
 *         32769 when memory is used up; 80002 when the blocks do not fit into `length` bytes, also
 *         for a `length` of 0; 80001 and 80003 as pcie_pkt_send()
 */
PCI_TARN_API uint32_t EcatPIWatchDogQuery(EcatHandle *handle, uint32_t slave,
                                          uint32_t *first_status, uint32_t *second_status,
                                          uint8_t *first_block, uint8_t *second_block,
                                          uint32_t *length);

/**
 * Feeds the watchdog by hand. Reads and writes of the process image feed it as well. Does not
 * block.
 *
 * @param handle opened channel
 * @return 0; 80013 for a null handle
 */
PCI_TARN_API uint32_t EcatPIWatchDogFeed(EcatHandle *handle);

/**
 * Copies bits. Bits of the destination outside the run stay as they are, and no byte that the two
 * runs do not touch is read or written. Needs no alignment.
 *
 * @param destination     copied to; may be null when `bits` is 0
 * @param destination_bit first bit of the run in the destination, any value
 * @param source          copied from; must not overlap the destination's run
 * @param source_bit      first bit of the run in the source, any value
 * @param bits            number of bits; 0 does nothing
 * @return `destination`
 */
PCI_TARN_API void *ecat_bitmemcpy(void *destination, uint32_t destination_bit, const void *source,
                                  uint32_t source_bit, uint32_t bits);

/**
 * Overrides the lengths that a handle uses for an area, until its view is set again.
 *
 * @param handle opened channel
 * @param index  area, 0 to 4
 * @param length bytes, for both the physical and the image length; exchanges move 4,096 at most
 * @return 0; 80013 for a null handle; 34058 for an index out of range
 */
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
    bool (*less)(uint64_t a, uint64_t b);        /**< less-than of two keys */
    uint64_t (*key)(void *iterator);             /**< key of an element */
    bool (*equal)(void *a, void *b);             /**< equality of two iterators */
    int64_t (*distance)(void *a, void *b);       /**< elements from a to b */
    void *(*advance)(void *iterator, int64_t n); /**< iterator moved by n elements */
} IteratorOps;

/**
 * Reads the logical mapping that an ENI file carries and builds the tables of both directions.
 *
 * The mapping is the JSON text in the file's comment that begins with
 * `<!-- @@##ENI_PDO_LIST##@@` or, where that is absent, `<!-- @@##ENI_INFO##@@`. The physical part
 * of the blocks (length, runs, participation) must be there already and is kept; the rest is
 * cleared first. A bus start calls this on the shared record; a direct call is for blocks of one's
 * own.
 *
 * @param eni_path     path of the file. Null, a file that cannot be read, one below 100 bytes or
 *                     from 5,242,880 bytes on, and one without the comment mean: no mapping
 * @param slave_count  slaves of the configuration; the mapping must name exactly that many
 * @param input_block  direction block of the inputs, 41,488 bytes
 * @param output_block direction block of the outputs, 41,488 bytes
 * @return 0, also without a mapping (flag and logical length are 0 then); 80016 when the text is
 *         no such mapping (the tables built so far stay, the flags are 0); 34359 when there is no
 *         memory (a message says how much); 32770 for a null block
 */
PCI_TARN_API uint32_t ecat_pi_logic_addr_map_init(const char *eni_path, uint32_t slave_count,
                                                  void *input_block, void *output_block);

/**
 * Finds the entries of a direction's logical table that overlap a run of bits.
 *
 * @param block direction block, 41,488 bytes
 * @param start first bit
 * @param count number of bits; a run that reaches past bit 65,535 overlaps nothing
 * @param begin gets the first entry, null when there is none; may be null
 * @param end   gets the entry behind the last one, null when there is none; may be null
 * @return true when at least one entry overlaps
 */
PCI_TARN_API bool ecat_pi_logic_addr_get_range(const void *block, uint16_t start, uint16_t count,
                                               const PiLogicEntry **begin,
                                               const PiLogicEntry **end);

/**
 * Finds the slaves whose data overlaps a run of bits of a direction's physical image.
 *
 * @param pi_info       PI info record, 156,728 bytes
 * @param direction     @ref ECAT_PI_DIRECTION_OUTPUT or @ref ECAT_PI_DIRECTION_INPUT
 * @param start         first bit
 * @param count         number of bits; a run that reaches past bit 65,535 overlaps nothing
 * @param first         gets the first slave index, 0 when there is none; may be null
 * @param number        gets the number of slaves from there on; may be null
 * @param participation gets the address of the direction's participation bitmap, also when no slave
 *                      overlaps; null when there are no slaves or no bits; may be null
 * @return true when at least one slave overlaps
 */
PCI_TARN_API bool getPiInfo_offset2slave(const void *pi_info, uint32_t direction, uint16_t start,
                                         uint16_t count, uint16_t *first, uint16_t *number,
                                         const uint32_t **participation);

/**
 * Computes what a run of logical bits and one slave's data have in common.
 *
 * @param phy            the slave's place in the physical image
 * @param logic          the slave's logical bit address
 * @param start          first logical bit of the request
 * @param count          bits of the request
 * @param bit_in_request gets the first common bit, counted from `start`; may be null
 * @param phy_bit        gets the same bit's position in the physical image; may be null
 * @param bits           gets the number of common bits; may be null
 * @return true when they overlap; otherwise all results are 0
 */
PCI_TARN_API bool ecat_calc_phy_logic_mixed(const PiPhyEntry *phy, uint16_t logic, uint16_t start,
                                            uint16_t count, uint16_t *bit_in_request,
                                            uint16_t *phy_bit, uint16_t *bits);

/**
 * Sets up an empty cache.
 *
 * @param cache         cache to set up
 * @param card          the card's activity words, one bit per slave; must stay valid
 * @param participation bitmap of the slaves that have data in the direction; must stay valid
 * @param count         number of slaves
 */
PCI_TARN_API void ecat_slave_active_cache_init(EcatSlaveActiveCache *cache,
                                               const volatile uint32_t *card,
                                               const uint32_t *participation, uint32_t count);

/**
 * Tells whether a slave counts as active. A word of the card is read once, so the answer may be
 * older than the last change.
 *
 * @param cache cache to look into
 * @param slave slave index
 * @return true when the slave is active, has no data in the direction, or does not exist
 */
PCI_TARN_API bool ecat_slave_active_cache_get(EcatSlaveActiveCache *cache, uint16_t slave);

/**
 * Tells whether all slaves with data in a run of a direction's physical image are active.
 *
 * @param pi_info   PI info record, 156,728 bytes
 * @param card      the card's activity words, one bit per slave
 * @param direction @ref ECAT_PI_DIRECTION_OUTPUT or @ref ECAT_PI_DIRECTION_INPUT
 * @param start     first bit
 * @param count     number of bits
 * @return true when all are, or when no slave lies there
 */
PCI_TARN_API bool ecat_check_all_slave_is_active(const void *pi_info, const volatile uint32_t *card,
                                                 uint32_t direction, uint16_t start,
                                                 uint16_t count);

/**
 * Finds the elements of an ascending range that overlap the keys from `low` to before `high`.
 *
 * Elements must ascend by key. The search steps back by one element only, as it does in the tables
 * of the process image: an element that reaches over its successor's start is not found behind it.
 *
 * @param ops         operations of the range
 * @param begin       first element
 * @param end         behind the last element
 * @param low         first key
 * @param high        behind the last key
 * @param range_begin gets the first element, null when there is none; may be null
 * @param range_end   gets the element behind the last one, null when there is none; may be null
 * @param inside      whether a key lies before the end of an element
 * @return true when at least one element overlaps
 */
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
    const void *plan;  /**< merged copy runs, made by the library; null without mapping */
    uint64_t reserved; /**< zero */
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
    uint8_t *buffer;    /**< physical image, 4,096 bytes */
    uint8_t *cache;     /**< image that applications address, 8,192 bytes */
    uint32_t direction; /**< ECAT_PI_DIRECTION_OUTPUT or _INPUT */
} PiNormalObject;

/** Producer side of a triple buffer (fast output). */
typedef struct PiMasterObject {
    uint8_t *card;         /**< card buffer 0 */
    uint8_t *local;        /**< local image, 8,192 bytes in shared memory */
    uint32_t *dirty;       /**< non-zero: written since the last exchange */
    uint32_t stride;       /**< bytes from one card buffer to the next */
    uint8_t staging[4096]; /**< physical image on its way to the card */
    uint32_t *index;       /**< counter, host word, card word */
    PiArea *owner;         /**< area that this object serves */
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
    const uint8_t *card;      /**< exchange area in card memory, 4,096 bytes */
    const uint32_t *sequence; /**< odd while the card writes the area; null: no area */
    uint32_t last;            /**< sequence that local was read at */
    uint8_t staging[4096];    /**< physical image on its way from the card */
    uint8_t local[8192];      /**< image that applications read */
} PiExchangeObject;

/**
 * Writes into the producer's local image, marks it and runs the exchange of the object's area.
 * The caller holds the area's lock.
 *
 * @param object PiMasterObject
 * @param offset first byte of the image
 * @param count  bytes; what lies outside the 8,192 bytes is left out
 * @param source bytes to write
 * @param mask   as for EcatPIMaskWrite(); null writes all bits
 * @param state  transfer state; null takes that of the object's area
 * @return result of the exchange; 0 for an object without area; 32770 for a null object or source
 */
PCI_TARN_API uint32_t pi_buff_3p_master_write(void *object, uint32_t offset, uint32_t count,
                                              const void *source, const uint8_t *mask,
                                              PiTransfer *state);

/**
 * Writes into the producer's local image and marks it for the next exchange.
 * The caller holds the area's lock.
 *
 * @param object PiMasterObject
 * @param offset first byte of the image
 * @param count  bytes; what lies outside the 8,192 bytes is left out
 * @param source bytes to write
 * @param mask   as for EcatPIMaskWrite(); null writes all bits
 * @param state  not used
 * @return 0; 32770 for a null object or source
 */
PCI_TARN_API uint32_t pi_buff_3p_master_write_cycle(void *object, uint32_t offset, uint32_t count,
                                                    const void *source, const uint8_t *mask,
                                                    PiTransfer *state);

/**
 * Reads back the producer's local image. The caller holds the area's lock.
 *
 * @param object      PiMasterObject
 * @param offset      first byte of the image
 * @param count       bytes; what lies outside the 8,192 bytes is left out
 * @param destination gets the bytes
 * @param state       not used
 * @return 0; 32770 for a null object or destination
 */
PCI_TARN_API uint32_t pi_buff_3p_master_read(void *object, uint32_t offset, uint32_t count,
                                             void *destination, PiTransfer *state);

/**
 * Marks the producer's local image, so that the next exchange publishes it unchanged.
 *
 * @param object PiMasterObject
 * @return 0; 32770 for a null object
 */
PCI_TARN_API uint32_t pi_buff_3p_master_force_update(void *object);

/**
 * Refuses to write into the consumer's image.
 *
 * @param object not used
 * @param offset not used
 * @param count  not used
 * @param source not used
 * @param mask   not used
 * @param state  not used
 * @return 32782
 */
PCI_TARN_API uint32_t pi_buff_3p_slave_write(void *object, uint32_t offset, uint32_t count,
                                             const void *source, const uint8_t *mask,
                                             PiTransfer *state);

/**
 * Runs the exchange of the object's area and reads the consumer's local image.
 * The caller holds the area's lock.
 *
 * @param object      PiSlaveObject
 * @param offset      first byte of the image
 * @param count       bytes; what lies outside the 8,192 bytes is left out
 * @param destination gets the bytes, nothing when the exchange fails
 * @param state       transfer state; null takes that of the object's area
 * @return 0; a non-zero result of the exchange; 32770 for a null object or destination
 */
PCI_TARN_API uint32_t pi_buff_3p_slave_read(void *object, uint32_t offset, uint32_t count,
                                            void *destination, PiTransfer *state);

/**
 * Reads the consumer's local image as the last exchange left it.
 * The caller holds the area's lock.
 *
 * @param object      PiSlaveObject
 * @param offset      first byte of the image
 * @param count       bytes; what lies outside the 8,192 bytes is left out
 * @param destination gets the bytes
 * @param state       not used
 * @return 0; 32770 for a null object or destination
 */
PCI_TARN_API uint32_t pi_buff_3p_slave_read_cycle(void *object, uint32_t offset, uint32_t count,
                                                  void *destination, PiTransfer *state);

/* ---- asynchronous access modes ------------------------------------------------------------- */

/**
 * Access modes: when @ref ECAT_PI_FAST_OUTPUT and @ref ECAT_PI_SHADOW_INPUT cross to the card.
 *
 * @par Real-time priority
 * The data-swap thread of the cycle mode runs at the system's highest real-time priority or not at
 * all. Where the system refuses that priority, entering the mode succeeds all the same and the
 * thread ends at once: no cycle callback ever comes, EcatPIInputWaitNotify() times out, and fast
 * outputs and shadow inputs stand still. What to grant:
 *   - Linux: a real-time priority limit of 99 for the user (`rtprio 99` in
 *     /etc/security/limits.conf, or `LimitRTPRIO=99` in the unit of a service), or the capability
 *     CAP_SYS_NICE (`setcap cap_sys_nice+ep PROGRAM`);
 *   - Windows: the right to raise its own process into the real-time class. A user without
 *     "Increase scheduling priority" gets the high class in its place, which is enough for the
 *     thread to run. Entering the mode raises the class of the whole process.
 *
 * @name Access modes
 * @{
 */
/** Every write is published at once and every read fetches first; every channel starts so. */
#define ECAT_PI_MODE_DIRECT 0
/** A thread of the library exchanges both in every bus cycle. */
#define ECAT_PI_MODE_CYCLE 1
/** The program exchanges, with EcatPIASyncUpdateData(). */
#define ECAT_PI_MODE_MANUAL 2
/** @} */

/**
 * Called by the data-swap thread once per bus cycle, after both exchanges and outside all locks.
 * It delays the thread: a call that takes longer than a cycle makes the thread miss cycles. It may
 * use the process image; it may neither close the channel nor change its mode.
 *
 * On Linux a process that ends through exit() or from main(), and one that unloads the library,
 * waits for the callbacks that are under way and lets no further one begin. A callback that waits
 * for something that the ending thread holds or would have to do makes that wait endless. One that
 * calls exit() itself is not waited for. On Windows the system has ended the threads by then, in
 * the middle of a callback, and nobody waits; there close the channel before the library is
 * unloaded while the process goes on.
 */
typedef void (*EcatCycleCallback)(void *arg, EcatHandle *handle);

/** State of the asynchronous access mode of one channel. */
typedef struct EcatPIAsyncState {
    uint32_t mode;              /**< 0 direct, 1 cycle, 2 manual */
    uint32_t stop;              /**< non-zero asks the data-swap thread to end */
    EcatOsSem *semaphore;       /**< posted once per cycle */
    EcatOsThread *thread;       /**< data-swap thread of the cycle mode */
    void *callback_arg;         /**< first argument of callback */
    EcatCycleCallback callback; /**< called once per cycle, null for none */
    /** Waits for the next cycle; 0 when woken, non-zero on time-out. */
    uint32_t (*wakeup)(EcatHandle *handle, uint32_t timeout_ms);
    uint32_t changing; /**< 1 while a thread changes the mode */
} EcatPIAsyncState;

/**
 * Sets up the state of a channel's access mode: all zero, with a semaphore of its own. Opening a
 * channel does this.
 *
 * @param state   state to set up
 * @param board   board index of the channel
 * @param channel channel
 * @return 0; 32770 for a null state
 */
PCI_TARN_API uint32_t __EcatPIASyncModeInit(EcatPIAsyncState *state, uint32_t board,
                                            uint32_t channel);

/**
 * Enters the direct mode: every write to @ref ECAT_PI_FAST_OUTPUT is published at once, every read
 * of @ref ECAT_PI_SHADOW_INPUT fetches the newest inputs first. Every channel starts in it.
 *
 * @param handle opened channel; must not have a data-swap thread
 * @return 0; 80013 for a null handle
 */
PCI_TARN_API uint32_t __EcatPIASyncDirectAccessModeInit(EcatHandle *handle);

/**
 * Enters the cycle mode: a thread of the library exchanges outputs and inputs in every bus cycle;
 * writes and reads only touch the local images. A thread that runs already is kept.
 *
 * @param handle opened channel
 * @return 0; 80013 for a null handle; 32816 when the thread cannot be created: the channel is in
 *         the direct mode then
 */
PCI_TARN_API uint32_t __EcatPIASyncCycleAccessModeInit(EcatHandle *handle);

/**
 * Enters the manual mode: writes and reads only touch the local images, and
 * EcatPIASyncUpdateData() exchanges them.
 *
 * @param handle opened channel; must not have a data-swap thread
 * @return 0; 80013 for a null handle
 */
PCI_TARN_API uint32_t __EcatPIASyncManualAccessModeInit(EcatHandle *handle);

/**
 * Changes the access mode of a channel. The mode belongs to the handle: other handles and processes
 * of the channel keep theirs.
 *
 * Leaving the cycle mode blocks until the data-swap thread has ended: 2 ms and a cycle callback
 * that is under way. Thread-safe; from within a cycle callback only the present mode can be set.
 *
 * @param handle opened channel
 * @param mode   @ref ECAT_PI_MODE_DIRECT, @ref ECAT_PI_MODE_CYCLE or @ref ECAT_PI_MODE_MANUAL; the
 *               present mode changes nothing
 * @return 0; 80013 for a null handle; 32816 when the data-swap thread cannot be created: the
 * channel is in the direct mode then; 80006 from within a cycle callback, and for any other mode.
 * In the latter case a line is printed, the data-swap thread has ended and nothing waits for the
 * cycle any more, while EcatPIASyncModeGet() still tells the former mode: set another mode to go on
 */
PCI_TARN_API uint32_t EcatPIASyncModeSet(EcatHandle *handle, uint32_t mode);

/**
 * Tells the access mode of a handle.
 *
 * @param handle opened channel
 * @param mode   gets the mode
 * @return 0; 80013 for a null handle; 32770 for a null `mode`
 */
PCI_TARN_API uint32_t EcatPIASyncModeGet(EcatHandle *handle, uint32_t *mode);

/**
 * Exchanges one image with the card now, in any mode: publishes the fast outputs, written or not,
 * or fetches the shadow inputs.
 *
 * @param handle opened channel
 * @param index  @ref ECAT_PI_FAST_OUTPUT or @ref ECAT_PI_SHADOW_INPUT
 * @return 0; 80013 for a null handle; 32770 for any other index
 */
PCI_TARN_API uint32_t EcatPIASyncUpdateData(EcatHandle *handle, uint32_t index);

/**
 * Sets the function that the data-swap thread calls once per bus cycle. It stays set when the mode
 * changes, and is called in the cycle mode only. A call that is under way may outlast this
 * function.
 *
 * @param handle   opened channel
 * @param arg      handed to the callback as its first argument
 * @param callback function to call; null for none. It must stay callable until it is replaced or
 *                 the channel is closed; a managed program keeps its delegate alive that long
 * @return 0; 80013 for a null handle
 */
PCI_TARN_API uint32_t EcatPIAsyncModeCycleCallbackHook(EcatHandle *handle, void *arg,
                                                       EcatCycleCallback callback);

/**
 * Waits for the bus cycle: in the cycle mode until the data-swap thread has exchanged the images,
 * in the other modes for the card's cycle interrupt. In the cycle mode a cycle that came since the
 * last call counts, and wakes one caller.
 *
 * @param handle     opened channel
 * @param timeout_ms time to wait; 0 does not wait
 * @return 0 when woken; 80003 on time-out; 80013 for a null handle
 */
PCI_TARN_API uint32_t EcatPIInputWaitNotify(EcatHandle *handle, uint32_t timeout_ms);

/**
 * Ends the data-swap thread, if the mode has one, and forgets the wake-up function. Blocks until
 * the thread has ended.
 *
 * @param state state of the channel
 * @return 0; 32770 for a null state; 80006 from within the channel's cycle callback, with nothing
 * done
 */
PCI_TARN_API uint32_t __EcatPIASyncModeReset(EcatPIAsyncState *state);

/**
 * As __EcatPIASyncModeReset(), and gives back the semaphore. Closing a channel does this.
 *
 * @param state state of the channel
 * @return as __EcatPIASyncModeReset()
 */
PCI_TARN_API uint32_t __EcatPIASyncModeDestroy(EcatPIAsyncState *state);

/**
 * Waits at most 2 ms for the channel's cycle interrupt. Every handle of the process is told of it;
 * cycles that came since its last call count as one, and it comes back at once. Of several threads
 * that wait with one handle, one or more are told.
 *
 * @param handle opened channel
 * @return 0 when it came; 1 otherwise, also for a null handle
 */
PCI_TARN_API uint32_t __EcatPIWaitSignal(EcatHandle *handle);

/**
 * Waits for the channel's cycle interrupt, as __EcatPIWaitSignal() does.
 *
 * @param handle     opened channel
 * @param timeout_ms time to wait; it is looked at every 2 ms, so that 0 still waits that long
 * @return 0 when it came; 1 on time-out, also for a null handle
 */
PCI_TARN_API uint32_t __Ecat_PI_ASync_WakeupByInterrup(EcatHandle *handle, uint32_t timeout_ms);

/**
 * Waits for the data-swap thread to have exchanged the images. A cycle that came since the last
 * call counts.
 *
 * @param handle     opened channel
 * @param timeout_ms time to wait; 0 looks once
 * @return 0 when it has; non-zero on time-out and for a null handle
 */
PCI_TARN_API uint32_t __Ecat_PI_ASync_WakeupByCycleSign(EcatHandle *handle, uint32_t timeout_ms);

#ifdef __cplusplus
}
#endif

#endif
