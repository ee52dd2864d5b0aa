#include "support/access_recorder.h"

#include "support/access_recording.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>

namespace tarn::test {
namespace {

using recording::Allow;

constexpr size_t kMaxAccesses = 4096;
constexpr size_t kWidestStore = 32;

struct Recording {
    AccessRecorder::Region regions[AccessRecorder::kMaxRegions];
    size_t region_count = 0;
    Allow allow = Allow::Nothing;
    bool stepping = false;
    Access access; // in progress
    uint8_t before[kWidestStore];
    size_t before_size = 0;
    Access accesses[kMaxAccesses];
    size_t count = 0;
};

Recording current;

// Bytes that a plain move between a register and memory moves, 0 for any other instruction.
size_t operand_width(const uint8_t *code) {
    bool word = false;
    bool wide = false;
    if (*code == 0x66) {
        word = true;
        ++code;
    }
    if ((*code & 0xF0) == 0x40) {
        wide = (*code & 8) != 0;
        ++code;
    }
    switch (*code) {
    case 0x88: // mov of a byte
    case 0x8A:
    case 0xC6:
        return 1;
    case 0x87: // xchg, which is a store in sequence
    case 0x89: // mov
    case 0x8B:
    case 0xC7:
        return wide ? 8 : word ? 2 : 4;
    case 0x63: // movsxd
        return 4;
    case 0x0F:
        switch (code[1]) {
        case 0xB6: // movzx, movsx
        case 0xBE:
            return 1;
        case 0xB7:
        case 0xBF:
            return 2;
        default:
            return 0;
        }
    default:
        return 0;
    }
}

uint8_t *place(const Access &access) {
    return static_cast<uint8_t *>(current.regions[access.region].pages) + access.offset;
}

void protect_region(size_t region, Allow allow) {
    recording::protect(current.regions[region].pages, current.regions[region].size, allow);
}

// Only what the store can reach: another mapping of the pages may be written meanwhile.
size_t changed_width(const uint8_t *bytes) {
    size_t width = current.before_size;
    while (width > 0 && current.before[width - 1] == bytes[width - 1]) {
        --width;
    }
    return width;
}

} // namespace

bool recording::on_fault(const void *address, bool is_store, const void *instruction) {
    const auto *byte = static_cast<const uint8_t *>(address);
    for (size_t i = 0; i < current.region_count; ++i) {
        const auto *begin = static_cast<const uint8_t *>(current.regions[i].pages);
        if (byte < begin || byte >= begin + current.regions[i].size) {
            continue;
        }
        const auto offset = static_cast<size_t>(byte - begin);
        const auto kind = is_store ? Access::Kind::Store : Access::Kind::Load;
        current.access = {kind, i, offset, operand_width(static_cast<const uint8_t *>(instruction)),
                          0};
        protect_region(i, Allow::Everything);
        current.before_size = std::min(current.regions[i].size - offset, kWidestStore);
        std::memcpy(current.before, byte, current.before_size);
        current.stepping = true;
        return true;
    }
    return false;
}

bool recording::on_step() {
    if (!current.stepping) {
        return false;
    }
    current.stepping = false;
    Access &access = current.access;
    const bool is_store = access.kind == Access::Kind::Store;
    const uint8_t *bytes = is_store ? place(access) : current.before;
    if (is_store && access.width == 0) {
        access.width = changed_width(bytes);
    }
    std::memcpy(&access.value, bytes, std::min(access.width, sizeof access.value));
    protect_region(access.region, current.allow);
    const bool unseen = is_store && access.width == 0;
    if (!unseen && current.count < kMaxAccesses) {
        current.accesses[current.count++] = access;
    }
    return true;
}

namespace {

void end() {
    if (current.region_count == 0) {
        return;
    }
    for (size_t i = 0; i < current.region_count; ++i) {
        protect_region(i, Allow::Everything);
    }
    recording::remove_handlers();
    current.region_count = 0;
}

} // namespace

bool can_record_accesses() {
    return std::string(TARN_SANITIZE).find("thread") == std::string::npos;
}

AccessRecorder::AccessRecorder(std::initializer_list<Region> regions, What what) {
    if (regions.size() > kMaxRegions || current.region_count != 0) {
        throw std::invalid_argument("too much to record");
    }
    current = {};
    current.allow = what == What::Stores ? Allow::Loads : Allow::Nothing;
    std::copy(regions.begin(), regions.end(), current.regions);
    current.region_count = regions.size();
    recording::install_handlers();
    for (size_t i = 0; i < current.region_count; ++i) {
        protect_region(i, current.allow);
    }
}

AccessRecorder::~AccessRecorder() {
    end();
}

std::vector<Access> AccessRecorder::stop() {
    end();
    if (current.count == kMaxAccesses) {
        throw std::runtime_error("more accesses than the recorder holds");
    }
    return {current.accesses, current.accesses + current.count};
}

} // namespace tarn::test
