// A board whose registers and configuration block are plain memory.
#pragma once

#include "board/board_handle.h"
#include "support/access_recorder.h"
#include "support/guarded_buffer.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <utility>
#include <vector>

namespace tarn::test {

class PlainBoard : public testing::Test {
  protected:
    static constexpr size_t kBar1 = 0; // regions of the recorder
    static constexpr size_t kBar2 = 1;
    static constexpr size_t kPage = 4096;

    PlainBoard() : handle_(static_cast<BoardHandle *>(std::calloc(1, sizeof(BoardHandle)))) {
        handle_->bar[1] = bar1();
        handle_->bar[2] = bar2();
        memset(bar1(), 0xEE, kPage);
        memset(bar2(), 0xEE, kPage);
    }

    BoardHandle *board() { return handle_.get(); }
    uint8_t *bar1() { return bar1_.at_start(); }
    uint8_t *bar2() { return bar2_.at_start(); }

    template <typename T>
    static void poke(uint8_t *address, T value) {
        memcpy(address, &value, sizeof value);
    }
    template <typename T>
    static T peek(const uint8_t *address) {
        T value;
        memcpy(&value, address, sizeof value);
        return value;
    }

    // What the call does to both BARs.
    template <typename Call>
    std::vector<Access> accesses(Call &&call) {
        AccessRecorder recorder({{bar1(), kPage}, {bar2(), kPage}});
        std::forward<Call>(call)();
        return recorder.stop();
    }

    // Stores and loads in BAR1.
    static Access store(size_t offset, uint32_t value) { return store_of(kBar1, offset, 4, value); }
    static Access load(size_t offset, uint32_t value) { return load_of(kBar1, offset, 4, value); }

  private:
    struct Free {
        void operator()(BoardHandle *handle) const { std::free(handle); }
    };
    std::unique_ptr<BoardHandle, Free> handle_;
    GuardedBuffer bar1_;
    GuardedBuffer bar2_;
};

} // namespace tarn::test
