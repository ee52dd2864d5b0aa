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

/**
 * Fills a CommandChannel. BoardOpen() and EcatOpen() do this for the channels in their handles;
 * the function serves programs that bind rings of their own.
 *
 * The channel keeps the pointers and owns nothing. `second_lock` and the transfer buffer stay as
 * they are. Not thread-safe on one channel; does not block.
 *
 * @param channel    channel to fill; null is ignored
 * @param lock       named lock around every request, null for none
 * @param device     BoardHandle whose interrupt replies are waited for with
 * @param out        ring that the host fills; copied. Null leaves the ring absent
 * @param in         ring that the card fills; copied. Null leaves the ring absent
 * @param doorbell   card register that is written with 1 after each request
 * @param interrupt  interrupt number of the reply wait
 * @return 0
 */
PCI_TARN_API int32_t mailbox_init(CommandChannel *channel, void *lock, void *device,
                                  const MailboxRing *out, const MailboxRing *in, uint32_t *doorbell,
                                  uint32_t interrupt);

/**
 * Fills a CommandChannel as mailbox_init() does, and its second lock.
 *
 * @param channel      channel to fill; null is ignored
 * @param lock         named lock of the outgoing direction
 * @param second_lock  named lock of the incoming direction
 * @param device       BoardHandle whose interrupt is waited for
 * @param out          ring that the host fills; copied. Null leaves the ring absent
 * @param in           ring that the card fills; copied. Null leaves the ring absent
 * @param doorbell     card register that is written with 1
 * @param interrupt    interrupt number
 * @return 0
 */
PCI_TARN_API int32_t mailbox_sock_init(CommandChannel *channel, void *lock, void *second_lock,
                                       void *device, const MailboxRing *out, const MailboxRing *in,
                                       uint32_t *doorbell, uint32_t interrupt);

/**
 * Appends one slot image to a ring.
 *
 * Takes no lock and rings no doorbell: one producer at a time, and the caller tells the card.
 * Does not block.
 *
 * @param ring    ring to append to
 * @param data    slot image: 16-byte header, then payload
 * @param length  bytes of the image, header included
 * @return 0; -1 when the ring or `data` is null or `length` exceeds the slot size; -2 when the
 *         ring is full
 */
PCI_TARN_API int32_t mailbox_queue_push(MailboxRing *ring, const void *data, uint32_t length);

/**
 * Removes the oldest slot of a ring and copies header and payload.
 *
 * Takes no lock: one consumer at a time. Does not block. A slot whose payload length is 102,385 or
 * more, or more than the ring's slots hold, is not removed and blocks the ring.
 *
 * @param ring      ring to take from
 * @param[out] out  gets payload length + 16 bytes; must hold a whole slot
 * @return 0; -1 when the ring or `out` is null, the ring is empty or the slot is refused; -2 when
 *         the ring was emptied by another consumer meanwhile
 */
PCI_TARN_API int32_t mailbox_queue_pop(MailboxRing *ring, void *out);

/**
 * Prints the counters of both mailboxes of a channel on standard output, for diagnosis: first the
 * primary mailbox ("mail_module_h"), then the secondary ("mail_module_l"). It reads the positions
 * that the firmware's standard layout gives them. Thread-safe; does not block.
 *
 * @param handle  channel
 * @return characters of the last line printed, negative when printing failed; 80013 when the
 *         handle is null
 */
PCI_TARN_API int32_t show_fifo_size(EcatHandle *handle);

/**
 * Sends a request of any code to the firmware over the primary mailbox and waits for the reply.
 *
 * The time-out is 10,000 ms, for the free slot and again for the reply, whatever EcatSetTimeout()
 * says. Blocks until then at most, and before that while another thread or process has a request
 * under way on the same mailbox. Thread-safe.
 *
 * @param handle               channel
 * @param code                 command code
 * @param data                 request payload; may be null when `length` is 0
 * @param length               bytes of request payload
 * @param[out] reply           gets the reply payload, also when the firmware's status is not 0;
 *                             null when none is expected
 * @param[in,out] reply_length in: bytes that `reply` holds; out: bytes of the reply, 0 when none
 *                             was copied. Null when no reply payload is expected
 * @return the firmware's status, 0 for success; 32770 when `data` is null and `length` is not 0;
 *         80001 when no free slot came in time, or no slot can hold the request; 80002 when the
 *         reply payload does not fit or has no buffer; 80003 when no reply came in time, and the
 *         request may still take effect; 80013 when the handle is null
 */
PCI_TARN_API uint32_t pcie_pkt_send(EcatHandle *handle, uint16_t code, const uint8_t *data,
                                    uint32_t length, uint8_t *reply, uint32_t *reply_length);

/**
 * Sends a firmware command that has no function of its own, over the secondary mailbox, and waits
 * for the reply. What the payload means is between the caller and the firmware.
 *
 * The time-out is the one of EcatSetTimeout(), for the free slot and again for the reply. Blocks
 * and is thread-safe as pcie_pkt_send() is.
 *
 * @param handle               channel
 * @param data                 request payload; may be null when `length` is 0
 * @param length               bytes of request payload
 * @param[out] reply           gets the reply payload; null when none is expected
 * @param[in,out] reply_length in: bytes that `reply` holds; out: bytes of the reply. Null when no
 *                             reply payload is expected
 * @return as pcie_pkt_send()
 */
PCI_TARN_API uint32_t EcatRunCommand(EcatHandle *handle, const uint8_t *data, uint32_t length,
                                     uint8_t *reply, uint32_t *reply_length);

/**
 * Posts data into the channel's data stream to the card, in pieces of at most 1,024 bytes that all
 * carry the type and the parameter. No data makes one empty piece. What types and parameters mean
 * is between the program and the firmware; there are no replies.
 *
 * Blocks while the card's ring is full, up to the time-out of EcatSetTimeout() for each piece, and
 * while another thread or process posts. May run beside a fetch.
 *
 * When a piece finds no room in time, the pieces before it stay posted and the lock of this
 * direction is kept by the calling thread: nobody can post into what is left half. The same thread
 * may post again; every other thread and process waits until this thread has ended.
 *
 * @param handle    channel
 * @param type      message type
 * @param parameter message parameter
 * @param data      bytes to post; may be null when `length` is 0
 * @param length    number of bytes
 * @return 0; 32770 when the handle is null, or `data` is null and `length` is not 0; 80011 when the
 *         ring stayed full; 80006 when the channel's area holds no such ring
 */
PCI_TARN_API uint32_t _EcatSockClientPostData(EcatHandle *handle, uint32_t type, uint32_t parameter,
                                              const void *data, uint32_t length);

/**
 * Fetches the oldest message of the card's data stream.
 *
 * Blocks for 500 ms at most, whatever EcatSetTimeout() says, and before that while another thread
 * or process fetches. May run beside a post.
 *
 * @param handle      channel
 * @param[out] type   gets the message type
 * @param[out] buffer gets the data; must hold what a whole slot of the ring carries, which is not
 *                    checked: 1,024 bytes with the firmware's standard rings
 * @param[out] length gets the number of bytes; where the card names more than a slot carries, what
 *                    the slot carries
 * @return 0; 32770 when an argument is null; 80003 when no message came; 80006 when the
 *         channel's area holds no such ring
 */
PCI_TARN_API uint32_t _EcatSockClientGetData(EcatHandle *handle, uint32_t *type, void *buffer,
                                             uint32_t *length);

#ifdef __cplusplus
}
#endif

#endif
