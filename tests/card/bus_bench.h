// One channel's bus on plain memory, and what its diagnostics say about it.
#pragma once

#include "vcard/bus/bus.h"
#include "vcard/bus/make_eni.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tarn::test {

// Everything that the diagnostics tell, of one moment.
struct Snapshot {
    VcardMasterDiagnostics master{};
    std::vector<VcardSlaveDiagnostics> slaves;
    std::vector<uint32_t> flags;
    std::vector<VcardSlaveDetail> details;
    std::vector<VcardLinkStatus> links;
    VcardLinkDown first_down{};
    std::vector<VcardErrorRecord> errors; // newest first
};

// Names of the fields that differ, as "master.wkc_errors" or "slave 1.state"; ports as "port 1:2".
// Left out is what moves on its own in every cycle, and lateness, which is up to the test's system.
std::vector<std::string> changes(const Snapshot &before, const Snapshot &after);

class BusBench : public testing::Test {
  protected:
    static vcard::Network network_of(std::vector<vcard::MakeEniSlave> slaves,
                                     uint32_t cycle_us = 500);
    static vcard::Network read_eni(const std::filesystem::path &file);
    // Our own examples, and the files of the folder that TARN_ENI_DIR names. To be called in the
    // folder that the program was started in.
    static std::vector<std::filesystem::path> eni_files();

    void run(vcard::Network network, uint8_t state = 8);
    void run(std::vector<vcard::MakeEniSlave> slaves, uint8_t state = 8) {
        run(network_of(std::move(slaves)), state);
    }
    // Stops and starts anew with the same file, as a host does; the slaves are powered up.
    void restart(uint8_t state = 8);

    // Waits for whole cycles that begin after this call.
    void cycles(uint64_t count);
    Snapshot snapshot() const;

    // Registers and EEPROM; expect that they can be reached.
    std::vector<uint8_t> memory(uint32_t slave, uint32_t address, size_t length);
    uint32_t word(uint32_t slave, uint32_t address, size_t length = 2);
    void write_memory(uint32_t slave, uint32_t address, const std::vector<uint8_t> &data);
    std::vector<uint8_t> eeprom(uint32_t slave);
    void write_eeprom(uint32_t slave, uint32_t word, const std::vector<uint8_t> &data);

    std::unique_ptr<PiCardArea> area_ = std::make_unique<PiCardArea>();
    std::array<uint32_t, kSlaveReadyWords> ready_{};
    uint64_t utc_ns_ = 0;
    vcard::Network network_;
    vcard::Bus bus_{
        vcard::BusOptions{area_.get(), ready_.data(), 2, {}, {}, [this] { return utc_ns_; }, {}}};
};

} // namespace tarn::test
