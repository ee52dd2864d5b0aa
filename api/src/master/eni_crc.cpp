// The text of an ENI file's CRC element, which identifies the configuration.

#include "base/console.h"
#include "base/heap.h"
#include "pci_tarn/ecat.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace {

using tarn::Free;
using tarn::print;

constexpr std::string_view kBegin = "<CRC>";
constexpr std::string_view kEnd = "</CRC>";
constexpr size_t kBlockMargin = 21; // bytes of a block beyond the caller's buffer

struct CloseFile {
    void operator()(FILE *file) const noexcept { fclose(file); }
};

// Block by block, without overlap: an element that straddles two blocks is not found. Required
// as it is; files that are made for the card keep the element inside one block.
bool find_crc(FILE *file, char *block, size_t block_size, size_t limit, std::string_view *crc) {
    for (;;) {
        std::string_view text(block, fread(block, 1, block_size, file));
        if (text.size() <= kBegin.size()) {
            print("buffSize is smaller than head string.\r\n");
            return false;
        }
        const size_t begin = text.find(kBegin);
        if (begin == std::string_view::npos) {
            continue;
        }
        text.remove_prefix(begin + kBegin.size());
        const size_t end = text.find(kEnd);
        if (end == std::string_view::npos) {
            print("can't found the end string in read buff.\r\n");
            return false;
        }
        if (end > limit) {
            print("buffSize is smaller than target string.\r\n");
            return false;
        }
        *crc = text.substr(0, end);
        return true;
    }
}

} // namespace

int32_t __GetEniFileCRC(const char *path, char *buffer, uint32_t size) {
    const std::unique_ptr<FILE, CloseFile> file(path == nullptr ? nullptr : fopen(path, "r"));
    if (file == nullptr) {
        print("file isn't exist.");
        return -1;
    }
    const size_t block_size = size_t{size} + kBlockMargin;
    const std::unique_ptr<char, Free> block(static_cast<char *>(malloc(block_size)));
    if (block == nullptr || buffer == nullptr) {
        return -1;
    }
    std::string_view crc;
    if (!find_crc(file.get(), block.get(), block_size, size, &crc)) {
        print("can't found the head string(2)\r\n");
        return -1;
    }
    memset(buffer, 0, size);
    memcpy(buffer, crc.data(), crc.size());
    return 0;
}
