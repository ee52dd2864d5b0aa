// The logical address map: read from the ENI file, searched by address.
#include "pi/logic_map.h"

#include "base/console.h"
#include "base/heap.h"
#include "pci_tarn/pi.h"
#include "pci_tarn/status.h"

#include <cjson/cJSON.h>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>

namespace tarn::pi {

namespace {

constexpr uint32_t kTextSize = 0x500000; // the file must be smaller
constexpr long kTextMinimum = 100;
constexpr long kUnsearchedTail = 4; // the last bytes of the file are never looked at
constexpr const char *kMarkers[] = {"<!-- @@##ENI_PDO_LIST##@@", "<!-- @@##ENI_INFO##@@"};

struct DeleteJson {
    void operator()(cJSON *json) const noexcept { cJSON_Delete(json); }
};
struct CloseFile {
    void operator()(std::FILE *file) const noexcept { std::fclose(file); }
};
using Text = std::unique_ptr<char, Free>;
using Json = std::unique_ptr<cJSON, DeleteJson>;
using File = std::unique_ptr<std::FILE, CloseFile>;

// The part that a mapping fills; the physical part before it stays.
void clear_logical_part(PiDirection &block) noexcept {
    std::memset(&block.mapped, 0, sizeof block - offsetof(PiDirection, mapped));
}

// The JSON text in the file, behind the marker; null when the file carries none. `text` holds
// kTextSize bytes.
const char *find_json(const char *path, char *text) noexcept {
    const File file(path != nullptr ? std::fopen(path, "r") : nullptr);
    if (!file || std::fseek(file.get(), 0, SEEK_END) != 0) {
        return nullptr;
    }
    const long size = std::ftell(file.get());
    if (size < kTextMinimum || size >= static_cast<long>(kTextSize) ||
        std::fseek(file.get(), 0, SEEK_SET) != 0) {
        return nullptr;
    }
    // Text mode may give fewer characters than the file has bytes.
    const size_t read =
        std::fread(text, 1, static_cast<size_t>(size - kUnsearchedTail), file.get());
    text[read] = '\0';
    for (const char *marker : kMarkers) {
        if (const char *found = std::strstr(text, marker)) {
            return found + std::strlen(marker);
        }
    }
    return nullptr;
}

// An address as the JSON gives it, cut to 16 bits. False when it is neither number nor string.
bool read_address(const cJSON *value, uint16_t &address) noexcept {
    if (cJSON_IsString(value) != 0) {
        address = static_cast<uint16_t>(std::strtoll(value->valuestring, nullptr, 0));
        return true;
    }
    if (cJSON_IsNumber(value) != 0) {
        address = static_cast<uint16_t>(value->valueint);
        return true;
    }
    return false;
}

// Sorts by address; of equal addresses the newer entry goes first. False when the table is full:
// another process may be filling the same record.
bool record_address(PiDirection &block, uint16_t slave, uint16_t address) noexcept {
    const uint32_t count = block.entry_count;
    if (count >= PCI_TARN_MAX_SLAVES) {
        return false;
    }
    block.logical_address[slave] = address;
    PiLogicEntry *const end = block.sorted + count;
    PiLogicEntry *const place =
        std::lower_bound(block.sorted, end, address,
                         [](const PiLogicEntry &e, uint16_t key) { return e.address < key; });
    std::memmove(place + 1, place, static_cast<size_t>(end - place) * sizeof *place);
    *place = {address, slave};
    block.entry_count = count + 1;
    return true;
}

uint32_t image_length(const PiDirection &block) noexcept {
    const uint32_t count = std::min<uint32_t>(block.entry_count, PCI_TARN_MAX_SLAVES);
    if (block.mapped == 0 || count == 0) {
        return block.physical_length;
    }
    const PiLogicEntry &last = block.sorted[count - 1];
    return (uint32_t{last.address} + 7 + physical_run(block.physical, last.slave).bit_length) / 8;
}

uint32_t build_map(const cJSON *root, uint32_t slave_count, PiDirection &input,
                   PiDirection &output) noexcept {
    const cJSON *master = cJSON_GetObjectItemCaseSensitive(root, "master");
    const cJSON *mapping = cJSON_GetObjectItemCaseSensitive(master, "slave_logic_addr_mapping");
    const cJSON *slaves = cJSON_GetObjectItemCaseSensitive(master, "slave_infos");
    if (cJSON_IsObject(mapping) == 0 || cJSON_IsArray(slaves) == 0) {
        return PCI_TARN_OK;
    }
    if (cJSON_GetArraySize(slaves) > PCI_TARN_MAX_SLAVES) {
        return PCI_TARN_E_MAP_FORMAT;
    }
    uint16_t slave = 0;
    for (const cJSON *info = slaves->child; info != nullptr; info = info->next, ++slave) {
        uint16_t address = 0;
        if (!read_address(cJSON_GetObjectItemCaseSensitive(info, "input_logic_addr"), address) ||
            !record_address(input, slave, address)) {
            return PCI_TARN_E_MAP_FORMAT;
        }
        if (!read_address(cJSON_GetObjectItemCaseSensitive(info, "output_logic_addr"), address) ||
            !record_address(output, slave, address)) {
            return PCI_TARN_E_MAP_FORMAT;
        }
    }
    const cJSON *map_input = cJSON_GetObjectItemCaseSensitive(mapping, "input");
    const cJSON *map_output = cJSON_GetObjectItemCaseSensitive(mapping, "output");
    if (cJSON_IsBool(map_input) == 0 || cJSON_IsBool(map_output) == 0 ||
        slave_count != input.entry_count || slave_count != output.entry_count) {
        return PCI_TARN_E_MAP_FORMAT;
    }
    input.mapped = cJSON_IsTrue(map_input) != 0 ? 1 : 0;
    output.mapped = cJSON_IsTrue(map_output) != 0 ? 1 : 0;
    input.logical_length = image_length(input);
    output.logical_length = image_length(output);
    return PCI_TARN_OK;
}

} // namespace

IndexRange logical_range(const PiDirection &direction, uint16_t start, uint16_t count) noexcept {
    const PiLogicEntry *sorted = direction.sorted;
    return find_range<uint32_t>(
        bounded_slaves(direction.entry_count), start, static_cast<uint16_t>(start + count),
        [=](uint64_t i) -> uint32_t { return sorted[i].address; }, std::less<>(),
        [&direction](uint64_t i, uint32_t bit) {
            const PiLogicEntry &entry = direction.sorted[i];
            const PiPhyEntry run = physical_run(direction.physical, entry.slave);
            return bit < uint32_t{entry.address} + run.bit_length;
        });
}

IndexRange physical_range(const PiDirection &direction, uint32_t slave_count, uint16_t start,
                          uint16_t count) noexcept {
    const PiPhyEntry *runs = direction.physical;
    return find_range<uint32_t>(
        bounded_slaves(slave_count), start, static_cast<uint16_t>(start + count),
        [=](uint64_t i) -> uint32_t { return runs[i].bit_offset; }, std::less<>(),
        [=](uint64_t i, uint32_t bit) {
            return bit < uint32_t{runs[i].bit_offset} + runs[i].bit_length;
        });
}

} // namespace tarn::pi

using tarn::PiDirection;
using tarn::PiInfo;
using tarn::pi::IndexRange;

uint32_t ecat_pi_logic_addr_map_init(const char *eni_path, uint32_t slave_count, void *input_block,
                                     void *output_block) {
    if (input_block == nullptr || output_block == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    auto &input = *static_cast<PiDirection *>(input_block);
    auto &output = *static_cast<PiDirection *>(output_block);
    tarn::pi::clear_logical_part(input);
    tarn::pi::clear_logical_part(output);

    const tarn::pi::Text text(static_cast<char *>(std::malloc(tarn::pi::kTextSize)));
    if (!text) {
        tarn::print("malloc error.(%d)[%s:%d]\r\n", static_cast<int>(tarn::pi::kTextSize),
                    "ecat_pi_logic_addr_map_init", 678);
        return PCI_TARN_E_RESOURCES;
    }
    const char *json = tarn::pi::find_json(eni_path, text.get());
    if (json == nullptr) {
        return PCI_TARN_OK;
    }
    const tarn::pi::Json root(cJSON_Parse(json));
    if (cJSON_IsObject(root.get()) == 0) {
        return PCI_TARN_E_MAP_FORMAT;
    }
    return tarn::pi::build_map(root.get(), slave_count, input, output);
}

bool ecat_pi_logic_addr_get_range(const void *block, uint16_t start, uint16_t count,
                                  const PiLogicEntry **begin, const PiLogicEntry **end) {
    const auto *direction = static_cast<const PiDirection *>(block);
    const IndexRange range =
        direction != nullptr ? tarn::pi::logical_range(*direction, start, count) : IndexRange{};
    if (begin != nullptr) {
        *begin = range.empty() ? nullptr : direction->sorted + range.begin;
    }
    if (end != nullptr) {
        *end = range.empty() ? nullptr : direction->sorted + range.end;
    }
    return !range.empty();
}

bool getPiInfo_offset2slave(const void *pi_info, uint32_t direction, uint16_t start, uint16_t count,
                            uint16_t *first, uint16_t *number, const uint32_t **participation) {
    const auto *info = static_cast<const PiInfo *>(pi_info);
    IndexRange range;
    const uint32_t *bitmap = nullptr;
    if (info != nullptr && direction <= ECAT_PI_DIRECTION_INPUT && count != 0 &&
        info->slave_count != 0) {
        range =
            tarn::pi::physical_range(info->direction[direction], info->slave_count, start, count);
        bitmap = info->direction[direction].participation;
    }
    if (first != nullptr) {
        *first = static_cast<uint16_t>(range.empty() ? 0 : range.begin);
    }
    if (number != nullptr) {
        *number = static_cast<uint16_t>(range.size());
    }
    if (participation != nullptr) {
        *participation = bitmap;
    }
    return !range.empty();
}

bool ecat_calc_phy_logic_mixed(const PiPhyEntry *phy, uint16_t logic, uint16_t start,
                               uint16_t count, uint16_t *bit_in_request, uint16_t *phy_bit,
                               uint16_t *bits) {
    int32_t overlap = 0;
    int32_t overlap_start = start;
    int32_t length = 0;
    if (phy != nullptr) {
        const int32_t run_end = logic + phy->bit_length;
        const int32_t request_end = start + count;
        overlap_start = std::max<int32_t>(logic, start);
        overlap = std::min(run_end, request_end) - overlap_start;
        length = std::max<int32_t>(overlap, 0);
    }
    if (bit_in_request != nullptr) {
        *bit_in_request = static_cast<uint16_t>(length != 0 ? overlap_start - start : 0);
    }
    if (phy_bit != nullptr) {
        *phy_bit = static_cast<uint16_t>(length != 0 ? phy->bit_offset - logic + overlap_start : 0);
    }
    if (bits != nullptr) {
        *bits = static_cast<uint16_t>(length);
    }
    return length != 0;
}
