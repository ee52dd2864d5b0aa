// iterator_find_range: the range search over an operations table.
#include "pci_tarn/pi.h"
#include "pi/range_search.h"

bool iterator_find_range(const IteratorOps *ops, void *begin, void *end, uint64_t low,
                         uint64_t high, void **range_begin, void **range_end,
                         bool (*inside)(void *iterator, uint64_t key)) {
    if (range_begin != nullptr) {
        *range_begin = nullptr;
    }
    if (range_end != nullptr) {
        *range_end = nullptr;
    }
    if (ops == nullptr || inside == nullptr || ops->equal(begin, end)) {
        return false;
    }
    const int64_t count = ops->distance(begin, end);
    if (count <= 0) {
        return false;
    }
    const auto at = [&](uint64_t i) { return ops->advance(begin, static_cast<int64_t>(i)); };
    const tarn::pi::IndexRange range = tarn::pi::find_range(
        static_cast<uint64_t>(count), low, high, [&](uint64_t i) { return ops->key(at(i)); },
        ops->less, [&](uint64_t i, uint64_t key) { return inside(at(i), key); });
    if (range.empty()) {
        return false;
    }
    if (range_begin != nullptr) {
        *range_begin = at(range.begin);
    }
    if (range_end != nullptr) {
        *range_end = at(range.end);
    }
    return true;
}
