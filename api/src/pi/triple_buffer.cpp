// The triple buffers in card memory: fast outputs (the host produces), shadow inputs (the host
// consumes), in both protocol generations; and the reader of the card's exchange area.
//
// Index words and buffers are used with plain loads and stores in the order written here. The
// words of the other side come from the card: whatever they hold, no buffer outside the three is
// touched.
#include "base/card_memory.h"
#include "handle/ecat_handle.h"
#include "layout/card_memory_map.h"
#include "layout/shared_memory_map.h"
#include "pci_tarn/base.h"
#include "pci_tarn/driver.h"
#include "pci_tarn/pi.h"
#include "pci_tarn/status.h"
#include "pi/buffer_ops.h"
#include "pi/image_convert.h"

#include <emmintrin.h>

namespace tarn::pi {

namespace {

constexpr uint32_t kDmaTimeoutMs = 50;
constexpr uint32_t kBuffers = 3;

// Fields of the index words of the second generation.
constexpr uint32_t kBufferBits = 0x03;  // buffer published, or held
constexpr uint32_t kHolding = 0x04;     // the consumer holds a buffer
constexpr uint32_t kCounterBits = 0xF8; // request counter of a consumer
constexpr uint32_t kCounterStep = 0x08;
constexpr uint32_t kEchoBits = 0xFC; // consumer's bits as the producer saw them
constexpr uint32_t kSequenceBits = ~0xFFU;
constexpr uint32_t kSequenceStep = 0x100; // odd sequence: the producer is writing

// Keeps the compiler from moving block copies across index words; the processor does not.
inline void keep_order() noexcept {
    __atomic_signal_fence(__ATOMIC_SEQ_CST);
}

TripleIndexOut &out_words(const PiMasterObject &object) noexcept {
    return *reinterpret_cast<TripleIndexOut *>(object.index);
}
TripleIndexIn &in_words(const PiSlaveObject &object) noexcept {
    return *reinterpret_cast<TripleIndexIn *>(object.index);
}

bool by_dma(const PiTransfer &state) noexcept {
    return state.dma != 0 && state.dma_device != nullptr;
}

uint32_t dma_address(const PiTransfer &state, const uint8_t *card) noexcept {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(card) - state.dma_base);
}

void copy_to_card(const PiTransfer &state, uint8_t *card, uint8_t *from) noexcept {
    const uint32_t length = exchange_length(state);
    if (by_dma(state) && length != 0 &&
        EtherCATDmaWrite(static_cast<EtherCAT *>(state.dma_device), dma_address(state, card), from,
                         length, kDmaTimeoutMs) == length) {
        return;
    }
    memcpy_fast(card, from, length);
}

void copy_from_card(const PiTransfer &state, uint8_t *to, const uint8_t *card) noexcept {
    const uint32_t length = exchange_length(state);
    if (by_dma(state) && length != 0 &&
        EtherCATDmaRead(static_cast<EtherCAT *>(state.dma_device), dma_address(state, card), to,
                        length, kDmaTimeoutMs) == length) {
        return;
    }
    memcpy_fast(to, card, length);
}

bool converts(const PiTransfer &state) noexcept {
    return state.mapped != 0 && state.convert != nullptr;
}

// ---- producer ---------------------------------------------------------------------------------

PiMasterObject &master(void *object) noexcept {
    return *static_cast<PiMasterObject *>(object);
}

void set_dirty(const PiMasterObject &object) noexcept {
    if (object.dirty != nullptr) {
        card::store32(object.dirty, 1);
    }
}

bool is_dirty(const PiMasterObject &object) noexcept {
    return object.dirty != nullptr && card::load32(object.dirty) != 0;
}

void fill_card_buffer(PiMasterObject &object, uint32_t buffer, const PiTransfer &state) noexcept {
    uint8_t *const to = object.card + size_t{buffer} * object.stride;
    keep_order();
    if (converts(state)) {
        state.convert(&state, object.staging, object.local);
        copy_to_card(state, to, object.staging);
    } else {
        copy_to_card(state, to, object.local);
    }
    keep_order();
}

// First generation: never the newest published buffer (row) nor the one the card reads (column).
constexpr uint8_t kNextFirst[kBuffers][kBuffers] = {{1, 2, 1}, {2, 0, 0}, {1, 0, 0}};

uint32_t master_exchange_first(void *self, PiTransfer *state) noexcept {
    PiMasterObject &object = master(self);
    if (!is_dirty(object)) {
        return PCI_TARN_OK;
    }
    TripleIndexOut &words = out_words(object);
    const uint32_t newest = card::load32(&words.host) % kBuffers;
    const uint32_t next = kNextFirst[newest][card::load32(&words.card) % kBuffers];
    fill_card_buffer(object, next, *state);
    card::store32(&words.host, next);
    card::increment32(&words.counter);
    card::store32(object.dirty, 0);
    return PCI_TARN_OK;
}

// Second generation: rows are the newest buffer, columns the card's low three bits. Row 3 is no
// buffer and only stands here so that every word has a row.
constexpr uint8_t kNextSecond[4][8] = {{1, 1, 1, 1, 1, 2, 1, 0},
                                       {2, 2, 2, 2, 2, 0, 0, 0},
                                       {0, 0, 0, 0, 1, 0, 0, 0},
                                       {0, 0, 0, 0, 1, 0, 0, 0}};

uint32_t master_exchange_second(void *self, PiTransfer *state) noexcept {
    PiMasterObject &object = master(self);
    if (!is_dirty(object)) {
        return PCI_TARN_OK;
    }
    TripleIndexOut &words = out_words(object);
    const uint32_t host = card::load32(&words.host);
    const uint32_t from_card = card::load32(&words.card);
    const uint32_t next = kNextSecond[host & kBufferBits][from_card & (kBufferBits | kHolding)];
    card::store32(&words.host, host + kSequenceStep);
    fill_card_buffer(object, next, *state);
    card::store32(&words.host,
                  ((host & kSequenceBits) + 2 * kSequenceStep) | (from_card & kEchoBits) | next);
    card::increment32(&words.counter);
    card::store32(object.dirty, 0);
    return PCI_TARN_OK;
}

// The exchange of the table that the object's area has now, if it has one.
template <typename Object>
uint32_t own_exchange(Object &object, PiTransfer *state) noexcept {
    PiArea *const owner = object.owner;
    if (owner == nullptr || owner->ops == nullptr) {
        return PCI_TARN_OK;
    }
    return owner->ops->exchange(&object, state != nullptr ? state : &owner->state);
}

uint32_t master_clear(void *self, uint32_t offset, uint32_t count, PiTransfer *state) noexcept {
    PiMasterObject &object = master(self);
    image_clear(object.local, offset, count, state);
    set_dirty(object);
    return own_exchange(object, state);
}

void *master_address(void *object) noexcept {
    return master(object).local;
}

constexpr PiOps master_table(decltype(PiOps::write) write, decltype(PiOps::exchange) exchange) {
    return {no_setup, write, pi_buff_3p_master_read, master_address, master_clear, exchange};
}

// By generation, then by access.
constexpr PiOps kMasterOps[2][2] = {
    {master_table(pi_buff_3p_master_write, master_exchange_first),
     master_table(pi_buff_3p_master_write_cycle, master_exchange_first)},
    {master_table(pi_buff_3p_master_write, master_exchange_second),
     master_table(pi_buff_3p_master_write_cycle, master_exchange_second)},
};

// ---- consumer ---------------------------------------------------------------------------------

PiSlaveObject &slave(void *object) noexcept {
    return *static_cast<PiSlaveObject *>(object);
}

void stage(PiSlaveObject &object, uint32_t buffer, const PiTransfer &state) noexcept {
    keep_order();
    copy_from_card(state, object.staging, object.card + size_t{buffer} * object.stride);
    keep_order();
}

void deliver(PiSlaveObject &object, const PiTransfer &state) noexcept {
    if (converts(state)) {
        state.convert(&state, object.local, object.staging);
    } else {
        memcpy_fast(object.local, object.staging, exchange_length(state));
    }
}

// First generation: takes a buffer that the card leaves alone.
void take_held(PiSlaveObject &object, uint32_t buffer, const PiTransfer &state) noexcept {
    if (converts(state)) {
        stage(object, buffer, state);
        deliver(object, state);
    } else {
        keep_order();
        copy_from_card(state, object.local, object.card + size_t{buffer} * object.stride);
    }
}

uint32_t slave_exchange_first(void *self, PiTransfer *state) noexcept {
    PiSlaveObject &object = slave(self);
    TripleIndexIn &words = in_words(object);
    const uint32_t newest = card::load32(&words.card);
    if (newest >= kBuffers || card::load32(&words.host) == newest) {
        return PCI_TARN_OK;
    }
    card::store32(&words.host, newest); // from now on the card leaves this buffer alone
    take_held(object, newest, *state);
    return PCI_TARN_OK;
}

uint32_t slave_exchange_second(void *self, PiTransfer *state) noexcept {
    PiSlaveObject &object = slave(self);
    TripleIndexIn &words = in_words(object);
    const uint32_t host = card::load32(&words.host);
    const uint32_t from_card = card::load32(&words.card);
    const bool holding = (host & kHolding) != 0;
    if ((!holding && ((from_card ^ host) & (kSequenceBits | kBufferBits)) == 0) ||
        (from_card & kBufferBits) >= kBuffers) {
        return PCI_TARN_OK;
    }
    const bool answered = ((from_card ^ host) & kEchoBits) == 0;
    const uint32_t allowed = holding || !answered ? kSequenceStep : 3 * kSequenceStep;
    stage(object, from_card & kBufferBits, *state);

    const uint32_t again = card::load32(&words.card);
    if ((again & kSequenceBits) - (from_card & kSequenceBits) <= allowed) {
        deliver(object, *state);
        card::store32(&words.host, (host & kCounterBits) | (from_card & ~kEchoBits));
        return PCI_TARN_OK;
    }

    // The card may have written into the buffer meanwhile. A buffer that it holds for us is still
    // whole; in any case ask it to hold the newest one for the next time.
    if (holding) {
        if (((again ^ host) & kEchoBits) != 0) {
            return PCI_TARN_OK;
        }
        if ((host & kBufferBits) < kBuffers) {
            stage(object, host & kBufferBits, *state);
            deliver(object, *state);
        }
    }
    card::store32(&words.host,
                  (again & ~kCounterBits) | ((host + kCounterStep) & kCounterBits) | kHolding);
    return PCI_TARN_OK;
}

void *slave_address(void *object) noexcept {
    return slave(object).local;
}

constexpr PiOps slave_table(decltype(PiOps::read) read, decltype(PiOps::exchange) exchange) {
    return {no_setup, pi_buff_3p_slave_write, read, slave_address, refuse_clear, exchange};
}

constexpr PiOps kSlaveOps[2][2] = {
    {slave_table(pi_buff_3p_slave_read, slave_exchange_first),
     slave_table(pi_buff_3p_slave_read_cycle, slave_exchange_first)},
    {slave_table(pi_buff_3p_slave_read, slave_exchange_second),
     slave_table(pi_buff_3p_slave_read_cycle, slave_exchange_second)},
};

// ---- exchange area of the card ----------------------------------------------------------------

PiExchangeObject &area(void *object) noexcept {
    return *static_cast<PiExchangeObject *>(object);
}

// Takes the area once it holds still. There is no time-out: a card that leaves its sequence odd
// is a card that died while writing.
void follow_sequence(PiExchangeObject &object, const PiTransfer &state) noexcept {
    uint8_t *const to = converts(state) ? object.staging : object.local;
    for (;;) {
        const uint32_t sequence = card::load32(object.sequence);
        if (sequence % 2 == 0) {
            memcpy_fast(to, object.card, exchange_length(state));
            keep_order();
            if (card::load32(object.sequence) == sequence) {
                object.last = sequence;
                break;
            }
        }
        _mm_pause();
    }
    if (converts(state)) {
        state.convert(&state, object.local, object.staging);
    }
}

uint32_t area_read(void *self, uint32_t offset, uint32_t count, void *destination,
                   PiTransfer *state) noexcept {
    PiExchangeObject &object = area(self);
    if (object.sequence == nullptr) {
        return PCI_TARN_E_GENERAL;
    }
    if (card::load32(object.sequence) != object.last) {
        follow_sequence(object, *state);
    }
    image_read(object.local, offset, count, destination);
    return PCI_TARN_OK;
}

void *area_address(void *object) noexcept {
    return area(object).local;
}

constexpr PiOps kCardAreaOps = {no_setup,     refuse_write, area_read,
                                area_address, refuse_clear, refuse_exchange};

size_t generation(uint32_t pd_version) noexcept {
    return pd_version == kPdVersionFirst ? 0 : 1;
}

} // namespace

const PiOps *master_ops(uint32_t pd_version, Access access) noexcept {
    return &kMasterOps[generation(pd_version)][access == Access::Immediate ? 0 : 1];
}

const PiOps *slave_ops(uint32_t pd_version, Access access) noexcept {
    return &kSlaveOps[generation(pd_version)][access == Access::Immediate ? 0 : 1];
}

const PiOps *card_area_ops() noexcept {
    return &kCardAreaOps;
}

// In the first generation the host word changes before the copy: who was killed between the two
// left half an image that counts as taken, and the buffer is still held. In the second it changes
// after the copy: the exchange is done again, a second time in case the card was faster and holds
// the image now, and a third in case it answered late.
void mend_shadow_input(PiSlaveObject &object, uint32_t pd_version, PiTransfer &state) noexcept {
    constexpr int kExchanges = 3;
    if (pd_version != kPdVersionFirst) {
        for (int i = 0; i < kExchanges; ++i) {
            slave_exchange_second(&object, &state);
        }
    } else if (const uint32_t held = card::load32(&in_words(object).host); held < kBuffers) {
        take_held(object, held, state);
    }
}

} // namespace tarn::pi

uint32_t pi_buff_3p_master_write_cycle(void *object, uint32_t offset, uint32_t count,
                                       const void *source, const uint8_t *mask, PiTransfer *) {
    if (object == nullptr || (source == nullptr && count != 0)) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    PiMasterObject &master = tarn::pi::master(object);
    tarn::pi::image_write(master.local, offset, count, source, mask);
    tarn::pi::set_dirty(master);
    return PCI_TARN_OK;
}

uint32_t pi_buff_3p_master_write(void *object, uint32_t offset, uint32_t count, const void *source,
                                 const uint8_t *mask, PiTransfer *state) {
    const uint32_t status =
        pi_buff_3p_master_write_cycle(object, offset, count, source, mask, state);
    return status != PCI_TARN_OK ? status : tarn::pi::own_exchange(tarn::pi::master(object), state);
}

uint32_t pi_buff_3p_master_read(void *object, uint32_t offset, uint32_t count, void *destination,
                                PiTransfer *) {
    if (object == nullptr || (destination == nullptr && count != 0)) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    tarn::pi::image_read(tarn::pi::master(object).local, offset, count, destination);
    return PCI_TARN_OK;
}

uint32_t pi_buff_3p_master_force_update(void *object) {
    if (object == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    tarn::pi::set_dirty(tarn::pi::master(object));
    return PCI_TARN_OK;
}

uint32_t pi_buff_3p_slave_write(void *, uint32_t, uint32_t, const void *, const uint8_t *,
                                PiTransfer *) {
    return PCI_TARN_E_DRIVER_NOT_SUPPORTED;
}

uint32_t pi_buff_3p_slave_read_cycle(void *object, uint32_t offset, uint32_t count,
                                     void *destination, PiTransfer *) {
    if (object == nullptr || (destination == nullptr && count != 0)) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    tarn::pi::image_read(tarn::pi::slave(object).local, offset, count, destination);
    return PCI_TARN_OK;
}

uint32_t pi_buff_3p_slave_read(void *object, uint32_t offset, uint32_t count, void *destination,
                               PiTransfer *state) {
    if (object == nullptr || (destination == nullptr && count != 0)) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const uint32_t status = tarn::pi::own_exchange(tarn::pi::slave(object), state);
    return status != PCI_TARN_OK
               ? status
               : pi_buff_3p_slave_read_cycle(object, offset, count, destination, state);
}
