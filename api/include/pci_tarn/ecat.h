/**
 * @file ecat.h
 * The EtherCAT master of one channel: open and close, bus start and stop, states and identities.
 *
 * A channel is opened with EcatOpen(), which gives the handle that all other functions take, and
 * given back with EcatClose(). Slaves are named by their position on the configured bus, from 0.
 *
 * <b>Requests.</b> Most functions are one request to the card's firmware on the channel's primary
 * mailbox. Such a function blocks the calling thread: first until it has the mailbox, which all
 * processes of the machine share and which is held through the whole exchange, then at most the
 * handle's time-out (20000 ms unless changed by EcatSetTimeout()) for a free slot, and as long
 * again for the reply. It may be called from any thread. Where a function is said to return "the
 * status of the request", that is
 *   - 0 for success,
 *   - 80001 when there was no free slot in time,
 *   - 80002 when the reply is larger than the output, or an output pointer is null,
 *   - 80003 when no reply came in time,
 *   - any other value: the firmware's own status, as EcatErrorGetErrorMessage() explains it.
 *
 * Outputs are written with what the firmware sent, also when its status is not 0; when nothing
 * arrived they stay as they were, unless said otherwise. The caller owns all buffers.
 *
 * <b>Threads.</b> Opening and closing are not protected against use of the same handle at the same
 * time: a handle must not be closed while another thread uses it. Any number of handles may be
 * open on one channel, in one process or in several.
 */
#ifndef PCI_TARN_ECAT_H
#define PCI_TARN_ECAT_H

#include "pci_tarn/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** EtherCAT state INIT (AL status register, IEC 61158-6-12). */
#define ECAT_STATE_INIT 1
/** EtherCAT state PREOP. */
#define ECAT_STATE_PREOP 2
/** EtherCAT state BOOT. */
#define ECAT_STATE_BOOT 3
/** EtherCAT state SAFEOP. */
#define ECAT_STATE_SAFEOP 4
/** EtherCAT state OP. */
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

/* ---- open and close -------------------------------------------------------------------------- */

/**
 * Opens one channel of a card and checks that the card's interface versions fit this library.
 *
 * The same as EcatOpenEx() with check_skip 0.
 *
 * @param[out] out the handle; null after a failure
 * @param name the card, as BoardOpen() takes it: "ID0" (by position), "AL3" (by alias switch) or
 *     the card's name
 * @param channel 0 or 1
 * @return as EcatOpenEx()
 */
PCI_TARN_API uint32_t EcatOpen(EcatHandle **out, const char *name, uint32_t channel);

/**
 * Opens one channel of a card.
 *
 * Opens the card inside the handle, binds the channel's mailboxes and the process image, and
 * enters the direct access mode. Sends nothing to the card; takes the channel's process image lock
 * for a moment, and the first call of a process looks for the cards. The caller owns the handle and
 * gives it back with EcatClose().
 *
 * @param[out] out the handle; null after a failure
 * @param name the card, as BoardOpen() takes it: "ID0" (by position), "AL3" (by alias switch) or
 *     the card's name
 * @param channel 0 or 1
 * @param check_skip non-zero opens the channel even if EcatCheckPdoVersionMatch() would refuse it
 * @return 0, or
 *     - 32770 when out is null,
 *     - 34359 when there is no memory for the handle (prints a message),
 *     - the status of BoardOpen(): 80004 when the card is not found or name is null, 80012 when
 *       the card's configuration does not fit, 34359 when there is no memory,
 *     - 80013 when the card's board context is missing,
 *     - 32771 when the card does not say what it is, or the shared process image could not be
 *       mapped,
 *     - 80005 when the card has no such channel,
 *     - 80012 when the interface versions do not fit (prints both and what to update)
 */
PCI_TARN_API uint32_t EcatOpenEx(EcatHandle **out, const char *name, uint32_t channel,
                                 int32_t check_skip);

/**
 * Closes a channel: ends its asynchronous access mode and frees the handle and the card's context
 * in it.
 *
 * Waits for the data-swap thread of the cycle mode. The bus goes on running. Must not be called
 * while another thread uses the handle, nor twice.
 *
 * @param handle channel to close
 * @return 80013 for a null handle; 80006 from within the handle's cycle callback, with nothing
 * done; else 0
 */
PCI_TARN_API uint32_t EcatClose(EcatHandle *handle);

/**
 * EcatClose() without its test for a null handle.
 *
 * @param handle channel to close; must not be null
 * @return 0; 80006 from within the handle's cycle callback, with nothing done
 */
PCI_TARN_API uint32_t __EcatClose(EcatHandle *handle);

/**
 * Checks whether the card's mailbox and process data interfaces fit this library.
 *
 * When they do not, prints both versions and whether firmware or library should be updated. Does
 * not block; may be called from any thread.
 *
 * @param handle opened channel
 * @return 0 when they fit, 80012 when not, 80013 for a null handle
 */
PCI_TARN_API uint32_t EcatCheckPdoVersionMatch(EcatHandle *handle);

/**
 * Gives the card's context inside a channel handle, for the Board* functions.
 *
 * The channel handle keeps owning it: it must not be passed to BoardClose() and is gone after
 * EcatClose().
 *
 * @param handle opened channel
 * @param[out] board the card's context
 * @return 0, 80013 for a null handle, 32770 when board is null
 */
PCI_TARN_API uint32_t EcatGetBoardHandle(EcatHandle *handle, BoardHandle **board);

/**
 * Gives the channel number that a handle was opened with.
 *
 * @param handle opened channel
 * @param[out] channel 0 or 1
 * @return 0, 80013 for a null handle, 32770 when channel is null
 */
PCI_TARN_API uint32_t EcatGetCurrentChannel(EcatHandle *handle, uint32_t *channel);

/**
 * Reads what the card of a channel says of itself. Does not block.
 *
 * @param handle opened channel
 * @param[out] info model, versions, name, alias and channel count
 * @return 0, 80013 when the handle or its card is absent, 32770 when info is null, 32771 when the
 *     card's configuration block is not readable
 */
PCI_TARN_API uint32_t EcatGetInfo(EcatHandle *handle, BoardInfo *info);

/**
 * Gives the address of the card's configuration block (BAR2) in this process.
 *
 * @param handle opened channel
 * @return the address, valid until the library is unloaded; null for a null handle
 */
PCI_TARN_API void *__EcatGetConfigPtr(EcatHandle *handle);

/**
 * Gives the driver object (EtherCAT) of the channel's card.
 *
 * @param handle opened channel; must not be null
 * @return the object; the library owns it
 */
PCI_TARN_API void *__EcatGetDevHandle(EcatHandle *handle);

/**
 * Gives the address of the channel's area in card memory: interface version, rings and process
 * image.
 *
 * @param handle opened channel
 * @return the address, valid until the library is unloaded; null for a null handle
 */
PCI_TARN_API void *__EcatGetMailBoxPtr(EcatHandle *handle);

/**
 * Gives the process image information record of the channel in shared memory.
 *
 * Checks the version of the shared memory first, which may print a warning or initialise it.
 *
 * @param handle opened channel
 * @return the record, shared with all processes of this directory; null for a null handle
 */
PCI_TARN_API void *__EcatGetPiInfo(EcatHandle *handle);

/* ---- bus ------------------------------------------------------------------------------------- */

/**
 * Starts the bus with an ENI file, without progress reports. The same as EcatBusRunEx() with a
 * null callback.
 *
 * @param handle opened channel
 * @param eni_path path of the ENI file
 * @return as EcatBusRunEx()
 */
PCI_TARN_API uint32_t EcatBusRun(EcatHandle *handle, const char *eni_path);

/**
 * Starts the bus with an ENI file.
 *
 * Sends the file to the card, sets the card's clock, asks the firmware to start and then learns
 * the process image: where each slave's data lies, the logical mapping that the file may carry,
 * and the slaves' station addresses. Each part of the file may take the handle's time-out twice
 * (free slot, reply) and the file is sent up to five times; the start may take 600 s twice; the
 * up to three questions per slave that follow have the handle's time-out. The channel's primary
 * mailbox is held during the file, during the start and during each question, so requests of other
 * threads and processes wait. A failed transfer of the file is not reported as such: the
 * card then refuses the start.
 *
 * When the start or a later step fails, the channel's process image information is left empty.
 *
 * @param handle opened channel
 * @param eni_path path of the ENI file, at most 0x1400000 bytes; the file may carry a "<CRC>"
 *     element, by which EcatCheckRunningEni() recognises it
 * @param progress called with progress_arg while the firmware starts the bus, and once more with
 *     1 at the end, or null; never called when the request finds no free slot
 * @param progress_arg first argument of progress
 * @return 0, or
 *     - 80013 for a null handle,
 *     - 32848 when the file is missing or its size cannot be told (prints a message),
 *     - 80008 when the file is larger than 0x1400000 bytes,
 *     - 80016 when the logical mapping in the file is malformed, 34359 when there is no memory to
 *       read it,
 *     - 80011 when the kept outputs could not be queued (reinit mode 3),
 *     - otherwise the status of the request that failed
 */
PCI_TARN_API uint32_t EcatBusRunEx(EcatHandle *handle, const char *eni_path, PciProgress progress,
                                   void *progress_arg);

/**
 * Stops the bus.
 *
 * Asks the firmware up to three times, whatever the handle's time-out: each time at most 20 s for a
 * free slot and 20 s for the reply.
 * Where the card's interface version is at least 2, a failed round also sets the stop word in
 * card memory, waits 200 ms and prints "EcatBusStop retry"; older firmware is asked once.
 *
 * @param handle opened channel
 * @return 80013 for a null handle, else the status of the last stop request
 */
PCI_TARN_API uint32_t EcatBusStop(EcatHandle *handle);

/**
 * Resets the card's inputs and outputs and stops the bus, also when the firmware is busy.
 *
 * Resets the card's I/O module first, as __BoardIOModuleReset() does (digital outputs 16 to 31 keep
 * their levels), even if the firmware turns out to be too old. Then, up to
 * three times, sets the stop word in card memory, waits 200 ms and asks the firmware to stop, at
 * most 20 s for a free slot and 20 s for the reply; a failed round prints "EcatReset retry".
 *
 * @param handle opened channel
 * @return 80013 for a null handle, 80006 when the card's interface version is below 2, else the
 *     status of the last stop request
 */
PCI_TARN_API uint32_t EcatReset(EcatHandle *handle);

/**
 * Asks whether the bus runs. One request.
 *
 * @param handle opened channel
 * @return true when the firmware reports a running bus; false for a null handle and after any
 *     failure
 */
PCI_TARN_API bool EcatBusIsRunning(EcatHandle *handle);

/**
 * Asks for the status word of the bus. One request.
 *
 * @param handle opened channel
 * @param[out] status the firmware's status word of the bus
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatBusStatus(EcatHandle *handle, uint32_t *status);

/**
 * Asks the master to go to another EtherCAT state. One request; the transition itself may take
 * longer, see EcatGetMasterState().
 *
 * Success also counts as an access to the process image, which feeds the output watchdog.
 *
 * @param handle opened channel
 * @param state one of ECAT_STATE_INIT to ECAT_STATE_OP; passed on unchecked
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatRequestMasterState(EcatHandle *handle, uint8_t state);

/**
 * Checks whether the card runs the configuration of an ENI file, by the text of the file's
 * "<CRC>" element.
 *
 * Asks the card first and reads the file only then. The first 64 bytes of the text decide.
 *
 * @param handle opened channel
 * @param eni_path path of the ENI file
 * @return 0 when it does, 80018 when not, 80013 for a null handle, 0xFFFFFFFF when the file has
 *     no readable CRC (see __GetEniFileCRC(), which prints why), else the status of the request
 */
PCI_TARN_API uint32_t EcatCheckRunningEni(EcatHandle *handle, const char *eni_path);

/**
 * Asks for what the card says of its configuration. One request.
 *
 * Lengths of directions that are mapped logically are replaced by the logical lengths. A short
 * reply leaves zeros.
 *
 * @param handle opened channel
 * @param[out] info the record; zeroed when the request fails
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetEniInfo(EcatHandle *handle, EniInfo *info);

/**
 * Asks for what the card says of its configuration, with as many bytes as the caller takes. One
 * request.
 *
 * The reply begins as EniInfo; 144 bytes also hold the text of the ENI file's "<CRC>" element,
 * from byte 16 on. Lengths are replaced as in EcatGetEniInfo() where they lie inside the buffer.
 * A short reply leaves zeros.
 *
 * @param handle opened channel
 * @param[out] buffer the reply, size bytes; zeroed when the request fails
 * @param size bytes of buffer; also tells the firmware how much to send
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetEniInfoEx(EcatHandle *handle, void *buffer, uint32_t size);

/**
 * Asks for the build text of the firmware. One request.
 *
 * @param handle opened channel
 * @param[out] buffer the text; a terminating zero is there only if the firmware sends it, so a
 *     buffer zeroed before is best
 * @param size bytes of buffer; a longer text is not cut but gives 80002
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetFirmwareCompileMsg(EcatHandle *handle, char *buffer, uint32_t size);

/**
 * Gives the bus control counter of the channel, which counts starts, stop requests and resets of
 * all processes. Does not block.
 *
 * @param handle opened channel
 * @return the counter; 0 for a null handle
 */
PCI_TARN_API uint32_t __EcatBusCtrlWorkCntGet(EcatHandle *handle);

/**
 * Reads the text between the first "<CRC>" and the following "</CRC>" of an ENI file.
 *
 * The file is read in blocks of size + 21 bytes; an element that straddles two blocks is not
 * found, so it should stand near the start of the file. Prints why it fails, but for a null buffer
 * and want of memory. Takes no lock.
 *
 * @param path path of the file; null is taken as missing
 * @param[out] buffer the text, filled up with zeros; a text of exactly size bytes is not
 *     terminated; untouched on failure
 * @param size bytes of buffer
 * @return 0, or -1 when the file or the element is missing or the text is longer than size
 */
PCI_TARN_API int32_t __GetEniFileCRC(const char *path, char *buffer, uint32_t size);

/* ---- states, counts and identities ----------------------------------------------------------- */

/**
 * Asks for the state of the master. One request.
 *
 * @param handle opened channel
 * @param[out] state one of ECAT_STATE_INIT to ECAT_STATE_OP
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetMasterState(EcatHandle *handle, uint8_t *state);

/**
 * Asks for the state that the master was last asked to go to. One request.
 *
 * @param handle opened channel
 * @param[out] state one of ECAT_STATE_INIT to ECAT_STATE_OP
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetMasterReqState(EcatHandle *handle, uint8_t *state);

/**
 * Asks for the number of configured slaves. One request.
 *
 * @param handle opened channel
 * @param[out] count number of slaves
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetSlaveCount(EcatHandle *handle, uint16_t *count);

/**
 * Asks for the number of active slaves. One request.
 *
 * @param handle opened channel
 * @param[out] count number of slaves
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetActiveSlaveCount(EcatHandle *handle, uint16_t *count);

/**
 * Asks for the state of a slave. One request.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @param[out] state one of ECAT_STATE_INIT to ECAT_STATE_OP, without the error indication (0x10);
 *     masked with 0x0F also when the request fails
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetSlaveState(EcatHandle *handle, uint16_t slave, uint8_t *state);

/**
 * Asks for the states of the first slaves of the bus in one request.
 *
 * Only the bytes that arrived are written, each without the error indication (0x10).
 *
 * @param handle opened channel
 * @param count number of slaves, from position 0 on
 * @param[out] states one byte per slave, count bytes
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetSlaveStateEx(EcatHandle *handle, uint16_t count, uint8_t *states);

/**
 * Asks for the state that the master wants of a slave. One request; needs firmware 1.12.12.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @param[out] state one of ECAT_STATE_INIT to ECAT_STATE_OP, without the error indication (0x10);
 *     masked with 0x0F also when the request fails, untouched with 80006
 * @return 80013 for a null handle, 80006 when the firmware is older, else the status of the
 *     request
 */
PCI_TARN_API uint32_t EcatGetSlaveReqState(EcatHandle *handle, uint16_t slave, uint8_t *state);

/**
 * Asks for the states that the master wants of the first slaves of the bus, in one request; needs
 * firmware 1.12.12.
 *
 * Only the bytes that arrived are written, each without the error indication (0x10).
 *
 * @param handle opened channel
 * @param count number of slaves, from position 0 on
 * @param[out] states one byte per slave, count bytes
 * @return 80013 for a null handle, 80006 when the firmware is older, else the status of the
 *     request
 */
PCI_TARN_API uint32_t EcatGetSlaveReqStateEx(EcatHandle *handle, uint16_t count, uint8_t *states);

/**
 * Asks for the vendor id of a slave. One request.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @param[out] value vendor id
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetSlaveVendorID(EcatHandle *handle, uint16_t slave, uint32_t *value);

/**
 * Asks for the product code of a slave. One request.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @param[out] value product code
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetSlaveProductCode(EcatHandle *handle, uint16_t slave, uint32_t *value);

/**
 * Asks for the revision number of a slave. One request.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @param[out] value revision number
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetSlaveRevisionNo(EcatHandle *handle, uint16_t slave, uint32_t *value);

/**
 * Asks for the serial number of a slave. One request.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @param[out] value serial number
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetSlaveSerialNo(EcatHandle *handle, uint16_t slave, uint32_t *value);

/**
 * Asks for the station alias of a slave. One request.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @param[out] alias station alias; 32 bits wide, although aliases have 16
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetSlaveAlias(EcatHandle *handle, uint16_t slave, uint32_t *alias);

/**
 * Asks for the fixed (configured station) address of a slave. One request.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @param[out] address station address
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetSlaveFixAddr(EcatHandle *handle, uint16_t slave, uint16_t *address);

/**
 * Asks for the DL status register of a slave. One request.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @param[out] status links and loops of the ports, as the register has them
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetSlaveDLStatus(EcatHandle *handle, uint16_t slave, uint16_t *status);

/**
 * Asks for the AL status code of a slave. One request.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @param[out] code the code; EcatGetAlStatusCodeMessage() gives its text
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetSlaveALStatusCode(EcatHandle *handle, uint16_t slave, uint16_t *code);

/**
 * Asks for the information record of a slave. One request.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @param[out] info 56 bytes, laid out by the firmware and copied as received
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatGetSlaveInfo(EcatHandle *handle, uint16_t slave, void *info);

/**
 * Asks where the outputs of a slave lie in the physical process image. One request.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @param[out] size length of the region in bits; 0 when the request fails; null to leave it out
 * @param[out] offset first bit of the region; 0 when the request fails; null to leave it out
 * @return 80013 for a null handle, 32834 when the slave has no outputs, else the status of the
 *     request
 */
PCI_TARN_API uint32_t EcatGetSlavePIOutputsInfo(EcatHandle *handle, uint16_t slave, uint16_t *size,
                                                uint16_t *offset);

/**
 * Asks where the inputs of a slave lie in the physical process image. One request.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @param[out] size length of the region in bits; 0 when the request fails; null to leave it out
 * @param[out] offset first bit of the region; 0 when the request fails; null to leave it out
 * @return 80013 for a null handle, 32834 when the slave has no inputs, else the status of the
 *     request
 */
PCI_TARN_API uint32_t EcatGetSlavePIInputsInfo(EcatHandle *handle, uint16_t slave, uint16_t *size,
                                               uint16_t *offset);

/**
 * Clears the state error of a slave. One request.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatClearSlaveStateError(EcatHandle *handle, uint16_t slave);

/**
 * Switches the automatic clearing of slave state errors in the firmware. One request.
 *
 * @param handle opened channel
 * @param enable non-zero switches it on
 * @return 32770 (not 80013) for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatAutoClearSlaveStateErrorEnableSet(EcatHandle *handle, uint32_t enable);

/**
 * Asks whether slave state errors are cleared automatically. One request.
 *
 * @param handle opened channel
 * @param[out] enable non-zero when they are
 * @return 32770 (not 80013) for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatAutoClearSlaveStateErrorEnableGet(EcatHandle *handle, uint32_t *enable);

/**
 * Sets the time after which the firmware takes a slave as no longer ready. One request.
 *
 * @param handle opened channel
 * @param value the time, in the firmware's unit
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatReadyLostTimeoutSet(EcatHandle *handle, uint32_t value);

/**
 * Asks for the time after which the firmware takes a slave as no longer ready. One request.
 *
 * @param handle opened channel
 * @param[out] value the time, in the firmware's unit
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t EcatReadyLostTimeoutGet(EcatHandle *handle, uint32_t *value);

/**
 * Switches the firmware's time-out trigger. One request.
 *
 * @param handle opened channel
 * @param on non-zero switches it on; the firmware gets the value as it is
 * @return 80013 for a null handle, else the status of the request
 */
PCI_TARN_API uint32_t ECAT_TIMEOUT_TRIGGER(EcatHandle *handle, int32_t on);

/**
 * Asks whether a slave answers on the bus. One request.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @return true when the slave has a state; false for a null handle and after any failure
 */
PCI_TARN_API bool EcatSlaveIsActive(EcatHandle *handle, uint16_t slave);

/**
 * Tells whether a slave exchanges process data, from the card's bitmap of ready slaves.
 *
 * Reads one word of card memory: no request, no lock, no blocking.
 *
 * @param handle opened channel
 * @param slave position of the slave
 * @return true when it does; false for a null handle and for positions from 4096 on
 */
PCI_TARN_API bool EcatSlaveIsReady(EcatHandle *handle, uint16_t slave);

/**
 * Finds a slave by its fixed (configured station) address, in the table that the last bus start
 * made.
 *
 * Reads shared memory only: no request, no lock, no blocking. May print a warning about the
 * version of the shared memory, as __EcatGetPiInfo() does.
 *
 * @param handle opened channel; must not be null
 * @param address station address
 * @param[out] index position of the first slave with that address; untouched on failure
 * @return 0, or 32770 when there is no such slave or index is null
 */
PCI_TARN_API uint32_t EcatSlaveFixAddr2Index(EcatHandle *handle, uint16_t address, uint16_t *index);

/**
 * Sets the time-out of all later requests of this handle.
 *
 * @param handle opened channel
 * @param milliseconds time for a free slot, and again for the reply; with 0 only what is there at
 *     once counts
 * @return 0, or 80013 for a null handle
 */
PCI_TARN_API uint32_t EcatSetTimeout(EcatHandle *handle, uint32_t milliseconds);

/**
 * Does nothing; kept for programs that call it.
 *
 * @return 0
 */
PCI_TARN_API uint32_t EcatRMEnable(void);

/**
 * Reports what EcatRMEnable() would set, which is always on; kept for programs that call it.
 *
 * @param handle not used, may be null
 * @param[out] enable 1
 * @return 0, or 32770 when enable is null
 */
PCI_TARN_API uint32_t EcatRMEnableGet(EcatHandle *handle, uint32_t *enable);

#ifdef __cplusplus
}
#endif

#endif
