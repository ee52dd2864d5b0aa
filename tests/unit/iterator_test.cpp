// iterator_find_range over arrays of runs, against a walk from end to end.
#include "pci_tarn/pi.h"

#include <gtest/gtest.h>
#include <random>
#include <utility>
#include <vector>

namespace {

struct Element {
    uint64_t start;
    uint64_t length;
};

Element *element(void *iterator) {
    return static_cast<Element *>(iterator);
}

const IteratorOps kOps = {
    [](uint64_t a, uint64_t b) { return a < b; },
    [](void *iterator) { return element(iterator)->start; },
    [](void *a, void *b) { return a == b; },
    [](void *a, void *b) { return static_cast<int64_t>(element(b) - element(a)); },
    [](void *iterator, int64_t n) { return static_cast<void *>(element(iterator) + n); },
};

bool inside(void *iterator, uint64_t key) {
    return key < element(iterator)->start + element(iterator)->length;
}

struct Found {
    bool any;
    std::ptrdiff_t begin;
    std::ptrdiff_t end;
    bool operator==(const Found &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Found &found) {
    return out << found.any << " [" << found.begin << ", " << found.end << ")";
}

Found find(std::vector<Element> &runs, uint64_t low, uint64_t high) {
    void *begin = &runs;
    void *end = &runs;
    const bool any = iterator_find_range(&kOps, runs.data(), runs.data() + runs.size(), low, high,
                                         &begin, &end, inside);
    if (!any) {
        EXPECT_EQ(begin, nullptr);
        EXPECT_EQ(end, nullptr);
        return {false, 0, 0};
    }
    return {true, element(begin) - runs.data(), element(end) - runs.data()};
}

// For runs that do not overlap: all that share a key with [low, high); an empty run counts where
// its start lies in the range.
Found walk(const std::vector<Element> &runs, uint64_t low, uint64_t high) {
    Found found{false, 0, 0};
    for (size_t i = 0; i < runs.size(); ++i) {
        const bool overlaps = runs[i].start < high && (runs[i].start + runs[i].length > low);
        if (overlaps && low < high) {
            if (!found.any) {
                found = {true, static_cast<std::ptrdiff_t>(i), 0};
            }
            found.end = static_cast<std::ptrdiff_t>(i) + 1;
        }
    }
    return found;
}

TEST(IteratorFindRange, FindsTheElementsThatOverlap) {
    std::vector<Element> runs = {{0, 8}, {8, 8}, {16, 8}, {24, 8}};
    EXPECT_EQ(find(runs, 8, 24), (Found{true, 1, 3}));
    EXPECT_EQ(find(runs, 0, 32), (Found{true, 0, 4}));
}

TEST(IteratorFindRange, ARangeThatStartsInsideAnElementStepsBackToIt) {
    std::vector<Element> runs = {{0, 8}, {8, 8}, {16, 8}};
    EXPECT_EQ(find(runs, 12, 17), (Found{true, 1, 3}));
    EXPECT_EQ(find(runs, 20, 21), (Found{true, 2, 3}));
}

TEST(IteratorFindRange, AGapBetweenElementsHoldsNothing) {
    std::vector<Element> runs = {{0, 4}, {16, 4}};
    EXPECT_EQ(find(runs, 4, 16), (Found{false, 0, 0}));
}

TEST(IteratorFindRange, BeyondTheLastElementHoldsNothing) {
    std::vector<Element> runs = {{0, 8}, {8, 8}};
    EXPECT_EQ(find(runs, 16, 20), (Found{false, 0, 0}));
    EXPECT_EQ(find(runs, 15, 20), (Found{true, 1, 2}));
}

TEST(IteratorFindRange, BeforeTheFirstElementHoldsNothing) {
    std::vector<Element> runs = {{10, 8}};
    EXPECT_EQ(find(runs, 0, 10), (Found{false, 0, 0}));
    EXPECT_EQ(find(runs, 0, 11), (Found{true, 0, 1}));
}

TEST(IteratorFindRange, NoElementsHoldNothing) {
    std::vector<Element> runs;
    EXPECT_EQ(find(runs, 0, 100), (Found{false, 0, 0}));
}

TEST(IteratorFindRange, AnEmptyOrReversedRangeHoldsNothing) {
    std::vector<Element> runs = {{0, 8}};
    EXPECT_EQ(find(runs, 3, 3), (Found{false, 0, 0}));
    EXPECT_EQ(find(runs, 5, 3), (Found{false, 0, 0}));
}

TEST(IteratorFindRange, StepsBackOverOneElementOnly) {
    // The first run reaches over the second one, which is asked alone.
    std::vector<Element> runs = {{0, 100}, {10, 5}, {40, 5}};
    EXPECT_EQ(find(runs, 20, 41), (Found{true, 2, 3}));
    EXPECT_EQ(find(runs, 12, 41), (Found{true, 1, 3}));
}

TEST(IteratorFindRange, EqualsAWalkOverRandomRuns) {
    std::mt19937 engine(7);
    const auto dice = [&] { return static_cast<uint32_t>(engine()); };
    for (int round = 0; round < 200; ++round) {
        std::vector<Element> runs;
        uint64_t next = dice() % 10;
        for (uint32_t i = 0, count = 1 + dice() % 20; i < count; ++i) {
            runs.push_back({next, 1 + dice() % 12});
            next += runs.back().length + (dice() % 3 == 0 ? dice() % 9 : 0);
        }
        for (uint64_t low = 0; low < next + 5; ++low) {
            for (uint64_t high = low; high < next + 5; high += 1 + dice() % 3) {
                ASSERT_EQ(find(runs, low, high), walk(runs, low, high)) << low << " " << high;
            }
        }
    }
}

TEST(IteratorFindRange, NullArgumentsHoldNothing) {
    Element one = {0, 8};
    void *begin = &one;
    EXPECT_FALSE(iterator_find_range(nullptr, &one, &one + 1, 0, 1, &begin, nullptr, inside));
    EXPECT_EQ(begin, nullptr);
    EXPECT_FALSE(iterator_find_range(&kOps, &one, &one + 1, 0, 1, nullptr, nullptr, nullptr));
    EXPECT_TRUE(iterator_find_range(&kOps, &one, &one + 1, 0, 1, nullptr, nullptr, inside));
}

} // namespace
