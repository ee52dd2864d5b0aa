// Process images that a reader can verify: a sequence, words that follow from it, and a checksum.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

namespace tarn::test {

class StampedImage {
  public:
    // An image of zeros is whole and has the sequence 0; sequences count from 1.
    explicit StampedImage(size_t bytes) : words_(bytes / 4) {}

    void stamp(uint32_t sequence) {
        uint32_t word = sequence;
        for (uint32_t &to : words_) {
            to = word;
            word = word * 1664525 + 1013904223;
        }
        words_.back() = checksum();
    }

    [[nodiscard]] uint32_t sequence() const { return words_.front(); }
    [[nodiscard]] bool whole() const { return words_.back() == checksum(); }

    void *data() { return words_.data(); }
    [[nodiscard]] uint32_t bytes() const { return static_cast<uint32_t>(words_.size() * 4); }

  private:
    [[nodiscard]] uint32_t checksum() const {
        uint32_t sum = 0;
        for (size_t i = 0; i + 1 < words_.size(); ++i) {
            sum = (sum << 5 | sum >> 27) ^ words_[i] * 0x9E3779B1;
        }
        return sum;
    }

    std::vector<uint32_t> words_;
};

} // namespace tarn::test
