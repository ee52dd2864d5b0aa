// The one range search of the process image: which elements of an ascending sequence overlap the
// keys [low, high).
#pragma once

#include <cstdint>

namespace tarn::pi {

struct IndexRange {
    uint64_t begin = 0;
    uint64_t end = 0;

    [[nodiscard]] bool empty() const noexcept { return begin == end; }
    [[nodiscard]] uint64_t size() const noexcept { return end - begin; }
};

// Index of the first element of [first, count) for which `before` does not hold, count when it
// holds for all; it holds for a leading part only.
template <typename Before>
uint64_t partition_point(uint64_t first, uint64_t count, Before before) {
    while (first < count) {
        const uint64_t middle = first + (count - first) / 2;
        if (before(middle)) {
            first = middle + 1;
        } else {
            count = middle;
        }
    }
    return first;
}

// `key(i)` is the start of element i, `inside(i, key)` whether a key lies before its end and
// `less` orders keys. Looks back by one element only: an element that started earlier and reaches
// over its successor's start is not found.
template <typename Key, typename KeyOf, typename Less, typename Inside>
IndexRange find_range(uint64_t count, Key low, Key high, KeyOf key, Less less, Inside inside) {
    if (count == 0 || !less(low, high)) {
        return {};
    }
    uint64_t begin = partition_point(0, count, [&](uint64_t i) { return !less(low, key(i)); });
    if (begin == count) {
        --begin;
        if (!inside(begin, low)) {
            return {};
        }
    } else if (begin != 0 && inside(begin - 1, low)) {
        --begin;
    }
    const uint64_t end =
        partition_point(begin, count, [&](uint64_t i) { return less(key(i), high); });
    return {begin, end};
}

} // namespace tarn::pi
