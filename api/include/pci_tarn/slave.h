/**
 * @file slave.h
 * What the master does with one slave on request: its objects by CoE, its files by FoE, its EEPROM
 * and the memory of its EtherCAT slave controller (ESC).
 *
 * The firmware speaks the mailbox protocol with the slave; a function here sends it one request and
 * gives back its status. Slaves are named by their position on the configured bus, from 0.
 *
 * <b>Requests.</b> CoE goes through the channel's primary mailbox, all else through its secondary
 * one, which is also the board's mailbox when the channel is channel 0. A function blocks the
 * calling thread: first until it has the mailbox, which all processes of the machine share and
 * which is held through the whole exchange, then at most the handle's time-out (20000 ms unless
 * changed by EcatSetTimeout()) for a free slot, and as long again for the reply. It may be called
 * from any thread. Nothing is repeated. Where a function is said to return "the status of the
 * request", that is
 *   - 0 for success,
 *   - 80001 when there was no free slot in time; a request that is too large for the slots ends so,
 *     too, after the whole time-out,
 *   - 80002 when the reply carries more data than there is room for, or any where none belongs,
 *   - 80003 when no reply came in time; the slave may still be asked,
 *   - any other value: the firmware's own status, as EcatErrorGetErrorMessage() explains it, among
 *     them the abort codes of CoE and the errors of mailbox and FoE.
 *
 * The caller owns all buffers; they are used during the call only. Outputs are written with what
 * the firmware sent, also when its status is not 0; when nothing arrived they stay as they were,
 * unless said otherwise.
 */
#ifndef PCI_TARN_SLAVE_H
#define PCI_TARN_SLAVE_H

#include "pci_tarn/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Most bytes that one SDO download carries. */
#define ECAT_SDO_DOWNLOAD_MAX 256
/** Largest file that EcatFoEWrite() sends, in bytes (25 MiB). */
#define ECAT_FOE_FILE_SIZE_MAX 0x1900000
/** Most characters of a file name on the slave. */
#define ECAT_FOE_NAME_MAX 127

/* ---- objects: CAN application protocol over EtherCAT (CoE) ----------------------------------- */

/**
 * Writes an entry of a slave's object dictionary. One request.
 *
 * The same as EcatCoeSDODownloadEx() without complete access.
 *
 * @param handle      opened channel
 * @param slave       position of the slave
 * @param index       index of the object
 * @param subindex    subindex of the entry
 * @param size        bytes of the value, 0 to #ECAT_SDO_DOWNLOAD_MAX; a negative one is too large
 * @param data        the value as the slave takes it, in little-endian byte order; may be null when
 *                    `size` is 0
 * @param timeout_ms  how long the firmware may take for the slave
 * @return as EcatCoeSDODownloadEx()
 */
PCI_TARN_API uint32_t EcatCoeSDODownload(EcatHandle *handle, uint16_t slave, uint16_t index,
                                         uint8_t subindex, int32_t size, const void *data,
                                         uint32_t timeout_ms);

/**
 * Writes an entry, or a whole object, of a slave's object dictionary. One request, whatever way of
 * transfer the firmware chooses towards the slave.
 *
 * `timeout_ms` is passed to the firmware for its talk with the slave. How long the call itself
 * waits for the card is the handle's time-out, which should be the longer one.
 *
 * @param handle           opened channel
 * @param slave            position of the slave
 * @param index            index of the object
 * @param subindex         subindex of the entry; with complete access where the object begins, 0
 *                         or 1
 * @param complete_access  0 for one entry, any other value for the whole object in one piece;
 * passed to the firmware as it is
 * @param size             bytes of the value, 0 to #ECAT_SDO_DOWNLOAD_MAX
 * @param data             the value as the slave takes it, in little-endian byte order; may be null
 *                         when `size` is 0
 * @param timeout_ms       how long the firmware may take for the slave
 * @return the status of the request; 80013 for a null handle; 32770 for a larger size, and for a
 *         null `data` with a size. Nothing is sent with the latter three.
 */
PCI_TARN_API uint32_t EcatCoeSDODownloadEx(EcatHandle *handle, uint16_t slave, uint16_t index,
                                           uint8_t subindex, uint8_t complete_access, uint32_t size,
                                           const void *data, uint32_t timeout_ms);

/**
 * Reads an entry of a slave's object dictionary. One request.
 *
 * The same as EcatCoeSDOUploadEx() without complete access.
 *
 * @param handle        opened channel
 * @param slave         position of the slave
 * @param index         index of the object
 * @param subindex      subindex of the entry
 * @param[in,out] size  bytes that `data` holds; becomes the bytes received
 * @param[out] data     gets the value
 * @param timeout_ms    how long the firmware may take for the slave
 * @return as EcatCoeSDOUploadEx()
 */
PCI_TARN_API uint32_t EcatCoeSDOUpload(EcatHandle *handle, uint16_t slave, uint16_t index,
                                       uint8_t subindex, uint32_t *size, void *data,
                                       uint32_t timeout_ms);

/**
 * Reads an entry, or a whole object, of a slave's object dictionary. One request, whatever way of
 * transfer the firmware chooses towards the slave.
 *
 * The library sets no limit to the size. `timeout_ms` is passed to the firmware for its talk with
 * the slave. How long the call itself waits for the card is the handle's time-out, which should be
 * the longer one.
 *
 * @param handle           opened channel
 * @param slave            position of the slave
 * @param index            index of the object
 * @param subindex         subindex of the entry; with complete access where the object begins, 0
 *                         or 1
 * @param complete_access  0 for one entry, any other value for the whole object in one piece;
 * passed to the firmware as it is
 * @param[in,out] size     bytes that `data` holds; becomes the bytes received, 0 when the request
 *                         fails before a value has arrived. Unchanged when nothing is sent
 * @param[out] data        gets the value as the slave gives it, in little-endian byte order; may be
 *                         null when `*size` is 0. Untouched when the value is larger than `*size`
 * @param timeout_ms       how long the firmware may take for the slave
 * @return the status of the request, 80002 when the value is larger than `*size`; 80013 for a null
 *         handle; 32770 for a null `size`, and for a null `data` with a size. Nothing is sent with
 *         the latter three.
 */
PCI_TARN_API uint32_t EcatCoeSDOUploadEx(EcatHandle *handle, uint16_t slave, uint16_t index,
                                         uint8_t subindex, uint8_t complete_access, uint32_t *size,
                                         void *data, uint32_t timeout_ms);

/* ---- files: file access over EtherCAT (FoE) -------------------------------------------------- */

/**
 * Sends a file of the host to a slave, of #ECAT_FOE_FILE_SIZE_MAX bytes at most.
 *
 * The file goes to the card first, then from the card to the slave, and is removed from the card
 * again, also after a failure. The call holds the secondary mailbox from the first to the last of
 * these requests, so FoE and everything else on that mailbox take turns, in all threads and
 * processes.
 *
 * The way to the card, however, goes through the primary mailbox <b>without holding it</b>. While
 * the call runs, no other thread and no other process may send requests through the primary mailbox
 * of the same channel: no bus control, no states, no CoE, no diagnostics.
 *
 * A transfer to the card that fails is repeated up to five times in all; that it never worked shows
 * only in the slave's answer. A host file that can be read but not written is such a failure.
 *
 * @param handle      opened channel
 * @param slave       position of the slave
 * @param local_path  the host's file, in the bytes that the system's fopen() takes; a null path is
 *                    that of a file that cannot be opened
 * @param foe_name    its name on the slave, #ECAT_FOE_NAME_MAX characters at most
 * @return 80013 for a null handle; 32770 for a null name; 32848 when the host's file cannot be
 *         opened or has no size, which is explained on standard output; 80009 when it is too large;
 *         80000 when the name is too long; else the status of the request to the slave. Checked in
 *         this order, and nothing is sent before all of it is right.
 */
PCI_TARN_API uint32_t EcatFoEWrite(EcatHandle *handle, uint16_t slave, const char *local_path,
                                   const char *foe_name);

/**
 * Reads a slave's file into a file of the host, whatever its size.
 *
 * The file goes from the slave to the card first, then from the card to the host, and is removed
 * from the card again, also after a failure. The host's file is created or emptied only when the
 * slave has given its file.
 *
 * What EcatFoEWrite() says of the two mailboxes holds here, too: no other thread and no other
 * process may send requests through the primary mailbox of the same channel meanwhile.
 *
 * @param handle      opened channel
 * @param slave       position of the slave
 * @param local_path  the host's file, in the bytes that the system's fopen() takes; a null path is
 *                    that of a file that cannot be created
 * @param foe_name    the file's name on the slave, #ECAT_FOE_NAME_MAX characters at most
 * @return 80013 for a null handle; 32770 for a null name; 80000 when the name is too long, all
 *         before anything is sent; the status of the request to the slave when that is not 0;
 *         0xFFFFFFFF when the way from the card to the host failed, be it that the host's file
 *         cannot be created; else 0
 */
PCI_TARN_API uint32_t EcatFoERead(EcatHandle *handle, uint16_t slave, const char *local_path,
                                  const char *foe_name);

/* ---- EEPROM and memory ----------------------------------------------------------------------- */

/**
 * Reads from a slave's EEPROM (slave information interface, SII). One request.
 *
 * @param handle     opened channel
 * @param slave      position of the slave
 * @param address    where to begin; the SII counts words of 16 bits
 * @param length     bytes to read
 * @param[out] data  gets the bytes; must hold `length` of them; may be null when `length` is 0.
 * What a shorter reply leaves out stays as it was
 * @return the status of the request; 80013 for a null handle; 32770 for a null `data` with a length
 */
PCI_TARN_API uint32_t EcatSlaveEepromRead(EcatHandle *handle, uint16_t slave, uint16_t address,
                                          uint16_t length, void *data);

/**
 * Writes to a slave's EEPROM (slave information interface, SII). One request.
 *
 * A slave whose EEPROM was written with wrong content may not start any more.
 *
 * @param handle   opened channel
 * @param slave    position of the slave
 * @param address  where to begin; the SII counts words of 16 bits
 * @param length   bytes to write; with 0 a request without data is sent
 * @param data     the bytes; may be null when `length` is 0
 * @return the status of the request; 80013 for a null handle; 32770 for a null `data` with a
 * length; 34359 when memory is short, which is explained on standard output
 */
PCI_TARN_API uint32_t EcatSlaveEepromWrite(EcatHandle *handle, uint16_t slave, uint16_t address,
                                           uint16_t length, const void *data);

/**
 * Reads from the memory of a slave's controller: registers from 0, process data from 0x1000. One
 * request.
 *
 * @param handle     opened channel
 * @param slave      position of the slave
 * @param address    address of the first byte
 * @param length     bytes to read
 * @param[out] data  gets the bytes; must hold `length` of them; may be null when `length` is 0.
 * What a shorter reply leaves out stays as it was
 * @return the status of the request; 80013 for a null handle; 32770 for a null `data` with a length
 */
PCI_TARN_API uint32_t EcatSlaveMemoryRead(EcatHandle *handle, uint16_t slave, uint16_t address,
                                          uint16_t length, void *data);

/**
 * Writes to the memory of a slave's controller. One request.
 *
 * The registers are the master's own business; a write to them can stop the bus.
 *
 * @param handle   opened channel
 * @param slave    position of the slave
 * @param address  address of the first byte
 * @param length   bytes to write; with 0 a request without data is sent
 * @param data     the bytes; may be null when `length` is 0
 * @return the status of the request; 80013 for a null handle; 32770 for a null `data` with a
 * length; 34359 when memory is short, which is explained on standard output
 */
PCI_TARN_API uint32_t EcatSlaveMemoryWrite(EcatHandle *handle, uint16_t slave, uint16_t address,
                                           uint16_t length, const void *data);

#ifdef __cplusplus
}
#endif

#endif
