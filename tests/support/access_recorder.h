// Records every access that the program makes to some pages, in order and with its width and value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <ostream>
#include <vector>

namespace tarn::test {

struct Access {
    enum class Kind { Load, Store };
    Kind kind;
    size_t region; // which of the recorder's
    size_t offset;
    size_t width; // bytes
    uint64_t value = 0;
    bool operator==(const Access &) const = default;
};

constexpr Access load_of(size_t region, size_t offset, size_t width, uint64_t value) {
    return {Access::Kind::Load, region, offset, width, value};
}
constexpr Access store_of(size_t region, size_t offset, size_t width, uint64_t value) {
    return {Access::Kind::Store, region, offset, width, value};
}

inline std::ostream &operator<<(std::ostream &out, const Access &access) {
    return out << (access.kind == Access::Kind::Load ? "load " : "store ") << access.region << ":0x"
               << std::hex << access.offset << "/" << std::dec << access.width << " 0x" << std::hex
               << access.value << std::dec;
}

// Whether accesses can be told from those that a sanitizer makes on behalf of the program.
bool can_record_accesses();

// The width of a plain move comes from the instruction. That of any other store is told by the
// bytes that it changes, so fill the pages first with something that no store writes; that of any
// other load is 0. The value of a store is what lies there right afterwards: a card may have taken
// the word, and cleared it, in between.
class AccessRecorder {
  public:
    struct Region {
        void *pages; // aligned to pages
        size_t size;
    };
    enum class What { Everything, Stores };

    static constexpr size_t kMaxRegions = 4;

    explicit AccessRecorder(std::initializer_list<Region> regions, What what = What::Everything);
    ~AccessRecorder();
    AccessRecorder(const AccessRecorder &) = delete;
    AccessRecorder &operator=(const AccessRecorder &) = delete;

    // Ends the recording. Throws std::runtime_error when there were more accesses than it can hold.
    std::vector<Access> stop();
};

} // namespace tarn::test
