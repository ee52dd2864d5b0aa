/**
 * @file diagnostics.h
 * What the firmware's master keeps about itself, its slaves and their links.
 *
 * The records are the firmware's own: the library asks for them and copies them as they are, in
 * little-endian byte order. Slaves are named by their position on the configured bus, from 0.
 *
 * <b>Requests.</b> Each function is one request to the card's firmware, through the mailbox of the
 * channel that it names. It blocks the calling thread: first until it has the mailbox, which all
 * processes of the machine share and which is held through the whole exchange, then at most the
 * handle's time-out (20000 ms unless changed by EcatSetTimeout()) for a free slot, and as long
 * again for the reply. It may be called from any thread. Where a function is said to return "the
 * status of the request", that is
 *   - 0 for success,
 *   - 80001 when there was no free slot in time; a request that is too large for the slots ends so,
 *     too, after the whole time-out,
 *   - 80002 when the reply carries more data than there is room for,
 *   - 80003 when no reply came in time,
 *   - any other value: the firmware's own status, as EcatErrorGetErrorMessage() explains it.
 *
 * The caller owns all buffers; they are used during the call only.
 */
#ifndef PCI_TARN_DIAGNOSTICS_H
#define PCI_TARN_DIAGNOSTICS_H

#include "pci_tarn/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Bytes of the master's diagnostic record. */
#define ECAT_MASTER_DIAGNOSTIC_SIZE 118
/** Bytes of a slave's diagnostic record. */
#define ECAT_SLAVE_DIAGNOSTIC_SIZE 40
/** Bytes of a slave's diagnostic detail record. */
#define ECAT_SLAVE_DIAGNOSTIC_DETAIL_SIZE 16
/** Bytes of a slave's link status record. */
#define ECAT_SLAVE_LINK_STATUS_SIZE 488
/** Bytes of the status of the first port without link. */
#define ECAT_LINK_DOWN_PORT_STATUS_SIZE 4
/** A list of slaves is refused when its request or its reply takes this many bytes or more. */
#define ECAT_DIAGNOSTIC_SIZE_LIMIT 101376

/**
 * Asks for the diagnostic records of the master and of any slaves. One request on the primary
 * mailbox.
 *
 * One request takes 2534 slaves at most, 2531 together with the master's record.
 *
 * @param handle       opened channel
 * @param[out] master  gets the master's record of #ECAT_MASTER_DIAGNOSTIC_SIZE bytes; null when it
 *                     is not wanted
 * @param count        number of slaves listed; may be 0
 * @param slaves       their positions, in any order; may be null when `count` is 0
 * @param[out] records gets one record of #ECAT_SLAVE_DIAGNOSTIC_SIZE bytes per slave, in the order
 *                     of the list; may be null when `count` is 0
 * @return the status of the request; 80013 for a null handle; 32770 when the list is too long, or
 * it or `records` is null with a count; 32769 when memory is short. The outputs are written with 0
 * only; what a shorter reply leaves out becomes zero.
 */
PCI_TARN_API uint32_t EcatGetDiagnostics(EcatHandle *handle, uint8_t *master, uint16_t count,
                                         const uint16_t *slaves, void *records);

/**
 * Asks for the diagnostic states of the master and of any slaves. One request on the primary
 * mailbox, for 5068 slaves at most.
 *
 * @param handle       opened channel
 * @param[out] master  gets the master's state; null when it is not wanted
 * @param count        number of slaves listed; may be 0
 * @param slaves       their positions, in any order; may be null when `count` is 0
 * @param[out] states  gets one state per slave, in the order of the list; null when not wanted
 * @param[out] details gets one record of #ECAT_SLAVE_DIAGNOSTIC_DETAIL_SIZE bytes per slave, in the
 *                     order of the list; null when not wanted
 * @return the status of the request; 80013 for a null handle; 32770 when the list is too long, or
 *         null with a count; 32769 when memory is short. The outputs are written with 0 only; what
 * a shorter reply leaves out becomes zero.
 */
PCI_TARN_API uint32_t EcatGetSlaveDiagnosticStates(EcatHandle *handle, uint32_t *master,
                                                   uint16_t count, const uint16_t *slaves,
                                                   uint32_t *states, void *details);

/**
 * Asks for the link status of the first slaves of the bus. One request on the secondary mailbox.
 *
 * @param handle        opened channel
 * @param[out] records  gets one record of #ECAT_SLAVE_LINK_STATUS_SIZE bytes per slave; written
 * with what the firmware sent, also when its status is not 0
 * @param[in,out] count number of records that there is room for, not 0; becomes the number of whole
 *                      records received on success and keeps its value otherwise
 * @return the status of the request; 80013 for a null handle; 32770 when `records` or `count` is
 *         null or `*count` is 0
 */
PCI_TARN_API uint32_t EcatNetDiagnosticsGetSlaveLinkStatus(EcatHandle *handle, void *records,
                                                           uint16_t *count);

/**
 * Asks for the status of the first port whose link is down. One request on the primary mailbox.
 *
 * @param handle       opened channel
 * @param[out] status  gets #ECAT_LINK_DOWN_PORT_STATUS_SIZE bytes; written with what the firmware
 *                     sent, also when its status is not 0
 * @return the status of the request, 80002 also when `status` is null; 80013 for a null handle
 */
PCI_TARN_API uint32_t EcatGetFirstLinkDownPortStatus(EcatHandle *handle, void *status);

/**
 * Asks for the last error that the firmware has noted. One request on the secondary mailbox.
 *
 * @param handle         opened channel
 * @param[out] buffer    gets the record; written with what the firmware sent, also when its status
 *                       is not 0
 * @param size           size of `buffer` as the firmware is told, not 0
 * @param[in,out] length bytes that may be written to `buffer`, which the caller sets to `size`:
 * with 0 every record is too large; becomes the bytes received, 0 on 80001 to 80003
 * @return the status of the request; 80013 for a null handle; 32770 when `buffer` or `length` is
 *         null or `size` is 0, with `*length` unchanged
 */
PCI_TARN_API uint32_t EcatGetLastError(EcatHandle *handle, void *buffer, uint32_t size,
                                       uint32_t *length);

#ifdef __cplusplus
}
#endif

#endif
