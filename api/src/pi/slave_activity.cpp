#include "pi/slave_activity.h"

#include "base/card_memory.h"
#include "handle/ecat_handle.h"
#include "pci_tarn/pi.h"
#include "pci_tarn/status.h"
#include "pi/logic_map.h"

namespace tarn::pi {

namespace {

// Whether every participating slave of [first, end) has its activity bit set.
bool run_is_active(const uint32_t *participation, const volatile uint32_t *card, uint32_t first,
                   uint32_t end) noexcept {
    for (uint32_t slave = first; slave < end;) {
        const uint32_t word = slave / 32;
        const uint32_t next = std::min(end, (word + 1) * 32);
        const uint32_t run = (~0U >> (32 - (next - slave))) << slave % 32;
        const uint32_t wanted = participation[word] & run;
        if (wanted != 0 && (wanted & ~card::load32(&card[word])) != 0) {
            return false;
        }
        slave = next;
    }
    return true;
}

bool logical_run_is_active(const PiInfo &info, const PiDirection &direction,
                           const volatile uint32_t *card, uint16_t start, uint16_t count) noexcept {
    const IndexRange range = logical_range(direction, start, count);
    const uint32_t slaves = bounded_slaves(info.slave_count);
    // A run over most of the slaves: as a rule all of them are active, which the words tell faster
    // than the entries.
    if (2 * range.size() > slaves && run_is_active(direction.participation, card, 0, slaves)) {
        return true;
    }
    EcatSlaveActiveCache cache;
    ecat_slave_active_cache_init(&cache, card, direction.participation, slaves);
    for (uint64_t i = range.begin; i < range.end; ++i) {
        if (!ecat_slave_active_cache_get(&cache, direction.sorted[i].slave)) {
            return false;
        }
    }
    return true;
}

} // namespace

uint32_t check_active(const EcatHandle &handle, uint32_t direction, uint32_t offset,
                      uint32_t length) noexcept {
    const PiInfo &info = *handle.pi_info;
    const auto start = static_cast<uint16_t>(8 * offset);
    const auto count = static_cast<uint16_t>(8 * length);
    const uint32_t *card = slave_ready_words(handle);
    const PiDirection &block = info.direction[direction];
    const bool active = block.mapped != 0
                            ? logical_run_is_active(info, block, card, start, count)
                            : ecat_check_all_slave_is_active(&info, card, direction, start, count);
    return active ? PCI_TARN_OK : PCI_TARN_E_SLAVE_NOT_READY;
}

} // namespace tarn::pi

void ecat_slave_active_cache_init(EcatSlaveActiveCache *cache, const volatile uint32_t *card,
                                  const uint32_t *participation, uint32_t count) {
    if (cache == nullptr) {
        return;
    }
    cache->card = card;
    cache->participation = participation;
    cache->count = count;
    for (auto &line : cache->line) {
        line.index = ~0U;
        line.value = 0;
    }
}

bool ecat_slave_active_cache_get(EcatSlaveActiveCache *cache, uint16_t slave) {
    if (cache == nullptr || slave >= cache->count) {
        return true;
    }
    const uint32_t word = slave / 32U;
    auto &line = cache->line[word % 4];
    if (line.index != word) {
        line.index = word;
        line.value = tarn::card::load32(&cache->card[word]) | ~cache->participation[word];
    }
    return (line.value >> slave % 32 & 1) != 0;
}

bool ecat_check_all_slave_is_active(const void *pi_info, const volatile uint32_t *card,
                                    uint32_t direction, uint16_t start, uint16_t count) {
    uint16_t first = 0;
    uint16_t number = 0;
    const uint32_t *participation = nullptr;
    if (!getPiInfo_offset2slave(pi_info, direction, start, count, &first, &number,
                                &participation)) {
        return true;
    }
    return tarn::pi::run_is_active(participation, card, first, uint32_t{first} + number);
}
