// A virtual card with one opened channel, for the tests of the master services.
#pragma once

#include "layout/card_memory_map.h"
#include "layout/commands.h"
#include "layout/shared_memory_map.h"
#include "pci_tarn/pci_tarn.h"
#include "support/capture.h"
#include "support/process.h"
#include "support/seen_requests.h"
#include "support/virtual_card.h"
#include "vcard/bus/make_eni.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace tarn::test {

class MasterTest : public testing::Test {
  protected:
    ~MasterTest() override {
        if (handle_ != nullptr) {
            EcatClose(handle_);
        }
    }

    void insert_card(const vcard::CardConfig &config = VirtualCards::default_card()) {
        cards_ = std::make_unique<VirtualCards>(std::vector{config});
    }

    void open(const vcard::CardConfig &config = VirtualCards::default_card(),
              int32_t check_skip = 0) {
        insert_card(config);
        ASSERT_EQ(EcatOpenEx(&handle_, "ID0", 0, check_skip), 0u);
        firmware().clear_seen();
    }

    vcard::Firmware &firmware() { return cards_->card(); }

    uint8_t *area() const { return static_cast<uint8_t *>(__EcatGetMailBoxPtr(handle_)); }
    uint8_t *bar2() const { return static_cast<uint8_t *>(__EcatGetConfigPtr(handle_)); }
    uint8_t *bar1() const {
        BoardHandle *board = nullptr;
        EcatGetBoardHandle(handle_, &board);
        return static_cast<uint8_t *>(getBarPtr(board, 1));
    }
    PiInfo &pi_info() const { return *static_cast<PiInfo *>(__EcatGetPiInfo(handle_)); }

    template <typename T>
    static T peek(const uint8_t *address) {
        T value;
        memcpy(&value, address, sizeof value);
        return value;
    }
    template <typename T>
    static void poke(uint8_t *address, T value) {
        memcpy(address, &value, sizeof value);
    }

    uint32_t access_counter() const { return peek<uint32_t>(area() + 803428); }
    uint32_t work_count() const { return __EcatBusCtrlWorkCntGet(handle_); }

    // The firmware answers the next `count` requests of this code with the status.
    void refuse(Command code, uint32_t status, uint32_t count = 1) {
        firmware().faults().status_code = static_cast<uint32_t>(code);
        firmware().faults().status = status;
        firmware().faults().status_count = count;
    }

    // Until the card has lost the replies that it is told to lose: one that is busy may take the
    // request after its time-out.
    bool has_lost_replies() {
        return eventually([this] { return firmware().faults().drop_replies == 0; });
    }

    std::vector<uint16_t> seen_codes() { return test::seen_codes(firmware()); }
    size_t seen_count(Command code) {
        return test::seen_count(firmware(), static_cast<uint16_t>(code));
    }

    // One drive, one digital I/O slave and one coupler, which has no process data.
    static vcard::MakeEniOptions small_network() {
        vcard::MakeEniOptions options;
        options.slaves = {{"drive", 1}, {"dio8", 1}, {"coupler", 1}};
        return options;
    }

    // Writes the file into the test's folder.
    static const char *write_eni(const std::string &text) {
        static const char *const path = "bus.xml";
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    static const char *write_eni() { return write_eni(vcard::make_eni(small_network())); }

    void start_bus() {
        ASSERT_EQ(EcatBusRun(handle_, write_eni()), 0u);
        firmware().clear_seen();
    }

    std::unique_ptr<VirtualCards> cards_;
    EcatHandle *handle_ = nullptr;
};

} // namespace tarn::test
