/**
 * @file channel.h
 * The command rings between host and card firmware, and raw requests over them.
 */
#ifndef PCI_TARN_CHANNEL_H
#define PCI_TARN_CHANNEL_H

#include "pci_tarn/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Bytes of one file chunk, and of the transfer buffer of a CommandChannel. */
#define PCI_TARN_CHUNK_SIZE 102384

/** View of one ring in card memory (24 bytes). */
typedef struct MailboxRing {
    uint32_t *pointers; /**< read counter, then write counter; free-running */
    uint8_t *slots;     /**< slot 0 */
    uint32_t mask;      /**< slot count minus 1; the slot count is a power of two */
    uint32_t slot_size; /**< bytes per slot, 16-byte header included */
} MailboxRing;

/** One ring pair with its lock, doorbell and interrupt (102,472 bytes). */
typedef struct CommandChannel {
    void *lock;                                   /**< named lock around every request */
    void *second_lock;                            /**< used by the socket channel only */
    void *device;                                 /**< BoardHandle whose interrupt is waited for */
    MailboxRing out;                              /**< "mosi": host to card */
    MailboxRing in;                               /**< "miso": card to host */
    uint32_t *doorbell;                           /**< card register, written with 1 */
    uint32_t interrupt;                           /**< interrupt number of the reply wait */
    uint8_t transfer_buffer[PCI_TARN_CHUNK_SIZE]; /**< one chunk of a file transfer */
} CommandChannel;

PCI_TARN_API int32_t mailbox_init(CommandChannel *channel, void *lock, void *device,
                                  const MailboxRing *out, const MailboxRing *in, uint32_t *doorbell,
                                  uint32_t interrupt);
PCI_TARN_API int32_t mailbox_sock_init(CommandChannel *channel, void *lock, void *second_lock,
                                       void *device, const MailboxRing *out, const MailboxRing *in,
                                       uint32_t *doorbell, uint32_t interrupt);
PCI_TARN_API int32_t mailbox_queue_push(MailboxRing *ring, const void *data, uint32_t length);
PCI_TARN_API int32_t mailbox_queue_pop(MailboxRing *ring, void *out);
PCI_TARN_API int32_t show_fifo_size(EcatHandle *handle);

PCI_TARN_API uint32_t pcie_pkt_send(EcatHandle *handle, uint16_t code, const uint8_t *data,
                                    uint32_t length, uint8_t *reply, uint32_t *reply_length);
PCI_TARN_API uint32_t EcatRunCommand(EcatHandle *handle, const uint8_t *data, uint32_t length,
                                     uint8_t *reply, uint32_t *reply_length);

#ifdef __cplusplus
}
#endif

#endif
