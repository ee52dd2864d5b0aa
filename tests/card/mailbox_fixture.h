// A card with a running bus of slaves that have mailboxes, asked slot by slot; its time stands
// still but for what the test lets pass.
#pragma once

#include "card/firmware_bench.h"
#include "card/manual_clock.h"
#include "vcard/bus/make_eni.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace tarn::test {

class MailboxTest : public testing::Test {
  protected:
    enum : uint16_t {
        kDownload = 12,
        kUpload = 13,
        kFoeRead = 15,
        kFoeWrite = 16,
        kRequestState = 17,
        kSlaveState = 21,
        kStop = 10,
        kRemove = 49,
        kAlStatusCode = 57,
    };
    static constexpr uint16_t kDrive = 0;
    static constexpr uint16_t kAnalog = 1;
    static constexpr uint16_t kSimple = 2; // no mailbox
    static constexpr uint16_t kCoupler = 3;

    static std::string usual_eni() {
        vcard::MakeEniOptions options;
        options.slaves = {{"drive"}, {"aio4"}, {"di8"}, {"coupler"}};
        return vcard::make_eni(options);
    }

    // The usual file with `commands` in the first slave's list of CoE start commands.
    static std::string eni_with(const std::string &commands) {
        std::string eni = usual_eni();
        const std::string list = "<CoE><InitCmds>";
        return eni.insert(eni.find(list) + list.size(), commands);
    }
    static std::string command(const std::string &transitions, const std::string &object,
                               const std::string &data, const std::string &more = "") {
        const size_t colon = object.find(':');
        return "<InitCmd>" + transitions + "<Ccs>1</Ccs><Index>#x" + object.substr(0, colon) +
               "</Index><SubIndex>" + object.substr(colon + 1) + "</SubIndex><Data>" + data +
               "</Data>" + more + "</InitCmd>";
    }

    void start(const std::string &eni = usual_eni()) { ASSERT_EQ(bench_.start(eni), 0U); }
    void request_state(uint8_t state) { ASSERT_EQ(bench_.ask(kRequestState, {state}).status, 0U); }
    uint8_t state(uint16_t slave) {
        return value_of<uint8_t>(bench_.ask_slave(kSlaveState, slave).payload);
    }
    uint16_t al_status_code(uint16_t slave) {
        return value_of<uint16_t>(bench_.ask_slave(kAlStatusCode, slave).payload);
    }
    void fault(uint16_t slave, const std::string &name) {
        ASSERT_TRUE(bench_.firmware().slave_fault(0, slave, name));
    }
    void pass(std::chrono::milliseconds time) {
        clock_.advance(time);
        bench_.serve();
    }

    // A request whose reply comes later.
    void post(bool primary, uint16_t code, const Bytes &payload) {
        bench_.push(0, primary, code, payload);
        bench_.serve();
    }

    // ---- SDO ----------------------------------------------------------------------------------

    static Bytes sdo(uint16_t slave, uint16_t index, uint8_t subindex, const Bytes &data,
                     bool complete = false, uint32_t timeout_ms = 1000) {
        Bytes record(16);
        std::memcpy(&record[0], &slave, 2);
        std::memcpy(&record[2], &index, 2);
        record[4] = subindex;
        record[5] = complete ? 1 : 0;
        const auto length = static_cast<uint32_t>(data.size());
        std::memcpy(&record[8], &length, 4);
        std::memcpy(&record[12], &timeout_ms, 4);
        record.insert(record.end(), data.begin(), data.end());
        return record;
    }
    static Bytes upload_request(uint16_t slave, uint16_t index, uint8_t subindex,
                                bool complete = false, uint32_t timeout_ms = 1000) {
        return sdo(slave, index, subindex, Bytes(256), complete, timeout_ms);
    }
    Answer upload(uint16_t slave, uint16_t index, uint8_t subindex, bool complete = false) {
        return bench_.ask(kUpload, upload_request(slave, index, subindex, complete));
    }
    Answer download(uint16_t slave, uint16_t index, uint8_t subindex, const Bytes &data,
                    bool complete = false) {
        return bench_.ask(kDownload, sdo(slave, index, subindex, data, complete));
    }
    template <typename T>
    T read(uint16_t slave, uint16_t index, uint8_t subindex) {
        const Answer answer = upload(slave, index, subindex);
        EXPECT_EQ(answer.status, 0U) << std::hex << index;
        EXPECT_EQ(answer.payload.size(), sizeof(T)) << std::hex << index;
        return value_of<T>(answer.payload);
    }
    template <typename T>
    uint32_t write(uint16_t slave, uint16_t index, uint8_t subindex, T value) {
        return download(slave, index, subindex, bytes_of(value)).status;
    }

    // ---- FoE ----------------------------------------------------------------------------------

    static Bytes foe(uint16_t slave, const std::string &name,
                     const std::string &card_name = "__foe_temp.bin") {
        Bytes record(258);
        std::memcpy(&record[0], &slave, 2);
        std::copy(card_name.begin(), card_name.end(), record.begin() + 2);
        std::copy(name.begin(), name.end(), record.begin() + 130);
        return record;
    }
    uint32_t foe_read(uint16_t slave, const std::string &name) {
        return bench_.request(0, false, kFoeRead, foe(slave, name)).status;
    }
    uint32_t foe_write(uint16_t slave, const std::string &name) {
        return bench_.request(0, false, kFoeWrite, foe(slave, name)).status;
    }
    uint32_t remove(const std::string &name) {
        Bytes text(name.begin(), name.end());
        text.push_back(0);
        return bench_.request(0, false, kRemove, text).status;
    }
    uint32_t send_card_file(const Bytes &content) {
        return bench_.send_file("__foe_temp.bin", content);
    }
    // The card's file, or nothing and the status of what failed.
    Bytes card_file(uint32_t *status = nullptr) {
        const Answer opened = bench_.ask(1, open_record("__foe_temp.bin", 'r'));
        if (status != nullptr) {
            *status = opened.status;
        }
        Bytes content;
        while (opened.status == 0) {
            const Answer chunk = bench_.ask(3, bytes_of<uint32_t>(102384));
            content.insert(content.end(), chunk.payload.begin(), chunk.payload.end());
            if (chunk.status != 0 || chunk.payload.empty()) {
                break;
            }
        }
        bench_.ask(5);
        return content;
    }

    ManualClock clock_;
    FirmwareBench bench_{BoardBench::quick(), clock_.function()};
};

} // namespace tarn::test
