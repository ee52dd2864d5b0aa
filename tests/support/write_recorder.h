// Records every store that the calling thread makes into some pages, in order and with its width
// (Linux only). It sees a store by the bytes that it changes, so fill the pages first with
// something that no store writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <vector>

namespace tarn::test {

struct Write {
    size_t offset;
    size_t width;
    bool operator==(const Write &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const Write &write) {
    return out << std::hex << write.offset << "/" << std::dec << write.width;
}

class WriteRecorder {
  public:
    // `pages` is aligned to pages; `size` is at most 4,096 bytes.
    WriteRecorder(void *pages, size_t size);
    ~WriteRecorder();
    WriteRecorder(const WriteRecorder &) = delete;
    WriteRecorder &operator=(const WriteRecorder &) = delete;

    // Ends the recording.
    std::vector<Write> stop();
};

} // namespace tarn::test
