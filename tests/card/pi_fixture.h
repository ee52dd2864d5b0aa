// A channel whose process image tables and card words the test sets itself; the bus need not run.
#pragma once

#include "card/master_fixture.h"
#include "handle/ecat_handle.h"

#include <numeric>
#include <random>

namespace tarn::test {

using Bytes = std::vector<uint8_t>;

// One slave as the tables describe it, in bits.
struct MappedSlave {
    uint16_t physical;
    uint16_t length;
    uint16_t logical;
};

class PiTest : public MasterTest {
  protected:
    static constexpr uint32_t kPhysicalBytes = 4096;
    static constexpr uint32_t kImageBytes = 8192;

    void open_generation(uint32_t generation) {
        vcard::CardConfig config = VirtualCards::default_card();
        config.generation = generation;
        open(config);
    }

    PiCardArea &card() const { return *reinterpret_cast<PiCardArea *>(area() + kPiCardOffset); }
    PiArea &pi_area(uint32_t index) const { return handle_->areas[index]; }
    uint32_t exchange(uint32_t index) const {
        PiArea &own = pi_area(index);
        return own.ops->exchange(own.object, &own.state);
    }
    PiDirection &output() const { return pi_info().direction[ECAT_PI_DIRECTION_OUTPUT]; }
    PiDirection &input() const { return pi_info().direction[ECAT_PI_DIRECTION_INPUT]; }

    // Writes the tables of one direction as a bus start does, and raises the slave count to them.
    void describe(PiDirection &block, const std::vector<MappedSlave> &slaves, uint32_t bytes,
                  bool mapped) {
        memset(&block, 0, sizeof block);
        block.physical_length = bytes;
        block.mapped = mapped ? 1 : 0;
        for (size_t i = 0; i < slaves.size(); ++i) {
            block.physical[i] = {slaves[i].physical, slaves[i].length};
            block.logical_address[i] = slaves[i].logical;
            block.sorted[i] = {slaves[i].logical, static_cast<uint16_t>(i)};
            if (slaves[i].length != 0) {
                block.participation[i / 32] |= 1U << i % 32;
            }
        }
        block.entry_count = static_cast<uint32_t>(slaves.size());
        std::stable_sort(block.sorted, block.sorted + slaves.size(),
                         [](const PiLogicEntry &a, const PiLogicEntry &b) {
                             return a.address < b.address ||
                                    (a.address == b.address && a.slave > b.slave);
                         });
        block.logical_length = mapped ? kImageBytes : bytes;
        pi_info().slave_count = std::max(pi_info().slave_count, block.entry_count);
    }

    // An open sets the handle's view from the record.
    void reopen() {
        EcatClose(handle_);
        handle_ = nullptr;
        ASSERT_EQ(EcatOpenEx(&handle_, "ID0", 0, 0), 0u);
    }

    void use_tables(const std::vector<MappedSlave> &outputs, const std::vector<MappedSlave> &inputs,
                    uint32_t bytes = kPhysicalBytes, bool mapped = true) {
        pi_info().slave_count = 0;
        describe(output(), outputs, bytes, mapped);
        describe(input(), inputs, bytes, mapped);
        reopen();
    }
    void use_tables(const std::vector<MappedSlave> &slaves) { use_tables(slaves, slaves); }

    void set_active(uint32_t slave, bool active) {
        uint8_t *word = area() + kSlaveReadyOffset + slave / 32 * 4;
        const uint32_t bit = 1U << slave % 32;
        const auto old = peek<uint32_t>(word);
        poke<uint32_t>(word, active ? old | bit : old & ~bit);
    }
    void set_all_active() { memset(area() + kSlaveReadyOffset, 0xFF, kSlaveReadyWords * 4); }

    uint8_t *image(uint32_t index) const {
        void *address = nullptr;
        EXPECT_EQ(EcatPINMap(handle_, index, &address), 0u);
        return static_cast<uint8_t *>(address);
    }

    static Bytes random_bytes(size_t count, uint32_t seed) {
        std::mt19937 engine(seed);
        Bytes bytes(count);
        for (uint8_t &byte : bytes) {
            byte = static_cast<uint8_t>(engine());
        }
        return bytes;
    }
    static Bytes bytes_at(const void *from, size_t count) {
        const auto *begin = static_cast<const uint8_t *>(from);
        return Bytes(begin, begin + count);
    }

    static bool bit(const Bytes &bytes, size_t n) { return (bytes[n / 8] >> n % 8 & 1) != 0; }
    static void set_bit(Bytes &bytes, size_t n, bool on) {
        const auto one = static_cast<uint8_t>(1 << n % 8);
        bytes[n / 8] = static_cast<uint8_t>(on ? bytes[n / 8] | one : bytes[n / 8] & ~one);
    }
};

} // namespace tarn::test
