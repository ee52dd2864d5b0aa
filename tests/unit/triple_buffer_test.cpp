// The host's ends of a triple buffer on plain memory: what writes and reads do to the local image,
// and when they exchange.
#include "pci_tarn/pi.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

// Stands for the exchange of the object's own table.
struct SeenExchange {
    int count = 0;
    void *object = nullptr;
    PiTransfer *state = nullptr;
    uint8_t first_byte = 0; // of the local image at that time
    uint32_t dirty = 0;     // of the producer at that time
    uint32_t result = 0;
};
SeenExchange g_seen;

uint32_t record_master_exchange(void *object, PiTransfer *state) {
    auto *master = static_cast<PiMasterObject *>(object);
    g_seen.first_byte = master->local[0];
    g_seen.dirty = *master->dirty;
    g_seen.object = object;
    g_seen.state = state;
    ++g_seen.count;
    return g_seen.result;
}

uint32_t fill_slave_exchange(void *object, PiTransfer *state) {
    auto *slave = static_cast<PiSlaveObject *>(object);
    std::fill_n(slave->local, 8192, uint8_t{0x77});
    g_seen.object = object;
    g_seen.state = state;
    ++g_seen.count;
    return g_seen.result;
}

class TripleBuffer : public testing::Test {
  protected:
    TripleBuffer() {
        g_seen = {};
        ops_.exchange = record_master_exchange;
        area_.ops = &ops_;
        master_->local = local_.data();
        master_->dirty = &dirty_;
        master_->owner = &area_;
        slave_ops_.exchange = fill_slave_exchange;
        slave_area_.ops = &slave_ops_;
        slave_->local = local_.data();
        slave_->owner = &slave_area_;
    }

    Bytes local_ = Bytes(8192 + 64); // an image and what must not be touched behind it
    uint32_t dirty_ = 0;
    PiOps ops_ = {};
    PiOps slave_ops_ = {};
    PiArea area_ = {};
    PiArea slave_area_ = {};
    PiTransfer state_ = {};
    std::unique_ptr<PiMasterObject> master_ = std::make_unique<PiMasterObject>();
    std::unique_ptr<PiSlaveObject> slave_ = std::make_unique<PiSlaveObject>();
};

TEST_F(TripleBuffer, ACycleWriteCopiesAndMarksDirtyOnly) {
    const Bytes data = {1, 2, 3};
    EXPECT_EQ(pi_buff_3p_master_write_cycle(master_.get(), 10, 3, data.data(), nullptr, &state_),
              0u);
    EXPECT_EQ(Bytes(local_.begin() + 9, local_.begin() + 14), (Bytes{0, 1, 2, 3, 0}));
    EXPECT_EQ(dirty_, 1u);
    EXPECT_EQ(g_seen.count, 0);
}

TEST_F(TripleBuffer, AnImmediateWriteRunsTheExchangeOfTheOwnTable) {
    const uint8_t data = 0x42;
    g_seen.result = 1234;
    EXPECT_EQ(pi_buff_3p_master_write(master_.get(), 0, 1, &data, nullptr, &state_), 1234u);
    EXPECT_EQ(g_seen.count, 1);
    EXPECT_EQ(g_seen.object, master_.get());
    EXPECT_EQ(g_seen.state, &state_);
    EXPECT_EQ(g_seen.first_byte, 0x42); // copied and marked before
    EXPECT_EQ(g_seen.dirty, 1u);
}

TEST_F(TripleBuffer, AWriteFollowsTheByteMask) {
    std::fill_n(local_.begin(), 20, uint8_t{0xAA});
    const Bytes source(20, 0x55);
    Bytes mask(20, 0);
    mask[0] = 0xFF; // takes the source
    mask[1] = 0x00; // keeps the destination
    mask[2] = 0x0F; // mixes
    mask[19] = 0x81;
    EXPECT_EQ(
        pi_buff_3p_master_write_cycle(master_.get(), 0, 20, source.data(), mask.data(), &state_),
        0u);
    EXPECT_EQ(local_[0], 0x55);
    EXPECT_EQ(local_[1], 0xAA);
    EXPECT_EQ(local_[2], 0xA5);
    EXPECT_EQ(local_[19], (0xAA & ~0x81) | (0x55 & 0x81));
}

TEST_F(TripleBuffer, EveryMaskByteAtEveryPlaceOfAWord) {
    for (uint32_t length = 1; length <= 17; ++length) {
        for (uint32_t m = 0; m < 256; ++m) {
            std::fill_n(local_.begin(), 32, uint8_t{0x3C});
            const Bytes source(length, 0xC5);
            const Bytes mask(length, static_cast<uint8_t>(m));
            pi_buff_3p_master_write_cycle(master_.get(), 1, length, source.data(), mask.data(),
                                          &state_);
            const auto mixed = static_cast<uint8_t>((0x3C & ~m) | (0xC5 & m));
            for (uint32_t i = 0; i < length; ++i) {
                ASSERT_EQ(local_[1 + i], mixed);
            }
            ASSERT_EQ(local_[0], 0x3C);
            ASSERT_EQ(local_[1 + length], 0x3C);
        }
    }
}

TEST_F(TripleBuffer, AReadOfTheProducerCopiesFromTheLocalImage) {
    local_[100] = 7;
    uint8_t byte = 0;
    EXPECT_EQ(pi_buff_3p_master_read(master_.get(), 100, 1, &byte, &state_), 0u);
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(g_seen.count, 0);
    EXPECT_EQ(dirty_, 0u);
}

TEST_F(TripleBuffer, AForcedUpdateMarksDirtyAndNothingElse) {
    EXPECT_EQ(pi_buff_3p_master_force_update(master_.get()), 0u);
    EXPECT_EQ(dirty_, 1u);
    EXPECT_EQ(g_seen.count, 0);
}

TEST_F(TripleBuffer, TheConsumerCannotBeWritten) {
    const uint8_t byte = 1;
    EXPECT_EQ(pi_buff_3p_slave_write(slave_.get(), 0, 1, &byte, nullptr, &state_), 32782u);
    EXPECT_EQ(local_[0], 0);
}

TEST_F(TripleBuffer, AnImmediateReadExchangesFirst) {
    uint8_t byte = 0;
    EXPECT_EQ(pi_buff_3p_slave_read(slave_.get(), 5, 1, &byte, &state_), 0u);
    EXPECT_EQ(byte, 0x77);
    EXPECT_EQ(g_seen.count, 1);
    EXPECT_EQ(g_seen.object, slave_.get());
    EXPECT_EQ(g_seen.state, &state_);
}

TEST_F(TripleBuffer, AFailedExchangeIsReturnedWithoutData) {
    g_seen.result = 4711;
    uint8_t byte = 9;
    EXPECT_EQ(pi_buff_3p_slave_read(slave_.get(), 0, 1, &byte, &state_), 4711u);
    EXPECT_EQ(byte, 9);
}

TEST_F(TripleBuffer, ACycleReadDoesNotExchange) {
    local_[3] = 0x33;
    uint8_t byte = 0;
    EXPECT_EQ(pi_buff_3p_slave_read_cycle(slave_.get(), 3, 1, &byte, &state_), 0u);
    EXPECT_EQ(byte, 0x33);
    EXPECT_EQ(g_seen.count, 0);
}

TEST_F(TripleBuffer, NothingBehindTheImageIsWritten) {
    const Bytes data(100, 0xEE);
    EXPECT_EQ(
        pi_buff_3p_master_write_cycle(master_.get(), 8190, 100, data.data(), nullptr, &state_), 0u);
    EXPECT_EQ(local_[8191], 0xEE);
    EXPECT_EQ(local_[8192], 0);
    EXPECT_EQ(pi_buff_3p_master_write_cycle(master_.get(), 0xFFFFFFF0, 100, data.data(), nullptr,
                                            &state_),
              0u);
    EXPECT_EQ(local_[0], 0);
}

TEST_F(TripleBuffer, NothingBehindTheImageIsRead) {
    std::fill(local_.begin(), local_.end(), uint8_t{0xEE});
    Bytes data(100, 0);
    EXPECT_EQ(pi_buff_3p_master_read(master_.get(), 8190, 100, data.data(), &state_), 0u);
    EXPECT_EQ(data[1], 0xEE);
    EXPECT_EQ(data[2], 0);
    EXPECT_EQ(pi_buff_3p_slave_read_cycle(slave_.get(), 9000, 100, data.data() + 2, &state_), 0u);
    EXPECT_EQ(data[2], 0);
}

TEST_F(TripleBuffer, AnObjectWithoutAreaJustDoesNotExchange) {
    master_->owner = nullptr;
    slave_->owner = nullptr;
    uint8_t byte = 5;
    EXPECT_EQ(pi_buff_3p_master_write(master_.get(), 0, 1, &byte, nullptr, &state_), 0u);
    EXPECT_EQ(pi_buff_3p_slave_read(slave_.get(), 0, 1, &byte, &state_), 0u);
    EXPECT_EQ(byte, 5);
    area_.ops = nullptr;
    master_->owner = &area_;
    EXPECT_EQ(pi_buff_3p_master_write(master_.get(), 0, 1, &byte, nullptr, &state_), 0u);
    EXPECT_EQ(g_seen.count, 0);
}

TEST_F(TripleBuffer, ANullStateMeansTheStateOfTheArea) {
    const uint8_t byte = 1;
    EXPECT_EQ(pi_buff_3p_master_write(master_.get(), 0, 1, &byte, nullptr, nullptr), 0u);
    EXPECT_EQ(g_seen.state, &area_.state);
}

TEST_F(TripleBuffer, NullArgumentsAreRefused) {
    uint8_t byte = 0;
    EXPECT_EQ(pi_buff_3p_master_write(nullptr, 0, 1, &byte, nullptr, &state_), 32770u);
    EXPECT_EQ(pi_buff_3p_master_write_cycle(nullptr, 0, 1, &byte, nullptr, &state_), 32770u);
    EXPECT_EQ(pi_buff_3p_master_read(nullptr, 0, 1, &byte, &state_), 32770u);
    EXPECT_EQ(pi_buff_3p_master_force_update(nullptr), 32770u);
    EXPECT_EQ(pi_buff_3p_slave_read(nullptr, 0, 1, &byte, &state_), 32770u);
    EXPECT_EQ(pi_buff_3p_slave_read_cycle(nullptr, 0, 1, &byte, &state_), 32770u);
    EXPECT_EQ(pi_buff_3p_slave_write(nullptr, 0, 1, &byte, nullptr, &state_), 32782u);
    EXPECT_EQ(pi_buff_3p_master_write(master_.get(), 0, 1, nullptr, nullptr, &state_), 32770u);
    EXPECT_EQ(pi_buff_3p_master_read(master_.get(), 0, 1, nullptr, &state_), 32770u);
    EXPECT_EQ(pi_buff_3p_slave_read(slave_.get(), 0, 1, nullptr, &state_), 32770u);
    EXPECT_EQ(dirty_, 0u);
    EXPECT_EQ(g_seen.count, 0);
}

} // namespace
