// A virtual card with one opened board, for the tests of the board services.
#pragma once

#include "board/board_handle.h"
#include "layout/commands.h"
#include "pci_tarn/pci_tarn.h"
#include "support/access_recorder.h"
#include "support/capture.h"
#include "support/process.h"
#include "support/seen_requests.h"
#include "support/virtual_card.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace tarn::test {

class BoardTest : public testing::Test {
  protected:
    explicit BoardTest(const vcard::CardConfig &config = quick_card())
        : cards_(std::vector{config}) {}
    ~BoardTest() override { BoardClose(handle_); }

    void SetUp() override {
        ASSERT_EQ(BoardOpen(&handle_, "ID0"), 0U);
        firmware().clear_seen();
    }

    static vcard::CardConfig quick_card() {
        vcard::CardConfig config = VirtualCards::default_card();
        config.reset_ms = 0;
        return config;
    }

    vcard::Firmware &firmware() { return cards_.card(); }
    uint8_t *bar1() const { return static_cast<uint8_t *>(handle_->bar[1]); }
    uint8_t *bar2() const { return static_cast<uint8_t *>(handle_->bar[2]); }

    // The firmware answers the next `count` requests of this code with the status, unserved.
    void answer(Command code, uint32_t status, uint32_t count = 1) {
        firmware().faults().status_code = static_cast<uint32_t>(code);
        firmware().faults().status = status;
        firmware().faults().status_count = count;
    }

    // A call whose reply is lost. The ring has its slot free again afterwards: a card that is busy
    // may take the request after its time-out.
    template <typename Call>
    void expect_loses_its_reply(Call call) {
        firmware().faults().drop_replies = 1;
        EXPECT_EQ(call(), 80003U);
        EXPECT_TRUE(eventually([this] { return firmware().faults().drop_replies == 0; }));
    }

    // The one request that the card saw.
    vcard::SeenRequest seen_request() {
        const std::vector<vcard::SeenRequest> seen = firmware().seen();
        EXPECT_EQ(seen.size(), 1U);
        return seen.empty() ? vcard::SeenRequest{} : seen.front();
    }

    std::vector<uint16_t> seen_codes() { return test::seen_codes(firmware()); }
    size_t seen_count(Command code) {
        return test::seen_count(firmware(), static_cast<uint16_t>(code));
    }

    // Bytes without any order, so that each slip of a transfer shows.
    static std::vector<uint8_t> bytes_of(size_t size) {
        std::vector<uint8_t> bytes(size);
        uint32_t state = 1;
        for (uint8_t &byte : bytes) {
            state = state * 1664525 + 1013904223;
            byte = static_cast<uint8_t>(state >> 24);
        }
        return bytes;
    }

    // That many stores to the doorbell and no other access. Their value is left out: the card may
    // have cleared the word before it was looked at.
    static void expect_doorbells_only(std::vector<Access> accesses, size_t count) {
        for (Access &access : accesses) {
            access.value = 0;
        }
        EXPECT_EQ(accesses, std::vector<Access>(count, store_of(0, 0x004, 4, 0)));
    }

    static void write_file(const char *path, const std::vector<uint8_t> &bytes) {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char *>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    }
    // A file of zeros that takes no room.
    static void write_zeros(const char *path, uint64_t size) {
        std::ofstream{path};
        std::filesystem::resize_file(path, size);
    }
    static std::vector<uint8_t> read_file(const char *path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    VirtualCards cards_;
    BoardHandle *handle_ = nullptr;
};

} // namespace tarn::test
