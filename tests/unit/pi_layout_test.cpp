// Offsets of the process image records as plain numbers: other processes, other programs and the
// card's firmware rely on them.
#include "layout/card_memory_map.h"
#include "layout/shared_memory_map.h"
#include "pci_tarn/pi.h"

#include <gtest/gtest.h>

namespace {

using namespace tarn;

TEST(PiLayout, DirectionBlock) {
    EXPECT_EQ(sizeof(PiDirection), 41488u);
    EXPECT_EQ(offsetof(PiDirection, physical_length), 0u);
    EXPECT_EQ(offsetof(PiDirection, physical), 4u);
    EXPECT_EQ(offsetof(PiDirection, participation), 16388u);
    EXPECT_EQ(offsetof(PiDirection, mapped), 16900u);
    EXPECT_EQ(offsetof(PiDirection, logical_length), 16904u);
    EXPECT_EQ(offsetof(PiDirection, entry_count), 16908u);
    EXPECT_EQ(offsetof(PiDirection, sorted), 16912u);
    EXPECT_EQ(offsetof(PiDirection, logical_address), 33296u);
    EXPECT_EQ(sizeof(PiPhyEntry), 4u);
    EXPECT_EQ(offsetof(PiPhyEntry, bit_length), 2u);
    EXPECT_EQ(sizeof(PiLogicEntry), 4u);
    EXPECT_EQ(offsetof(PiLogicEntry, slave), 2u);
}

TEST(PiLayout, InformationRecord) {
    EXPECT_EQ(sizeof(PiInfo), 156728u);
    EXPECT_EQ(offsetof(PiInfo, slave_count), 0u);
    EXPECT_EQ(offsetof(PiInfo, direction[0]), 4u);
    EXPECT_EQ(offsetof(PiInfo, direction[1]), 41492u);
    EXPECT_EQ(offsetof(PiInfo, fixed_address), 82980u);
    EXPECT_EQ(offsetof(PiInfo, fast_output_dirty), 156716u);
}

TEST(PiLayout, CardArea) {
    EXPECT_EQ(kPiCardOffset, 803400u);
    EXPECT_EQ(kSlaveReadyOffset, 0x1CB370u);
    EXPECT_EQ(offsetof(PiCardArea, output_length), 4u);
    EXPECT_EQ(offsetof(PiCardArea, input_length), 8u);
    EXPECT_EQ(offsetof(PiCardArea, enable), 20u);
    EXPECT_EQ(offsetof(PiCardArea, sequence), 24u);
    EXPECT_EQ(offsetof(PiCardArea, access_counter), 28u);
    EXPECT_EQ(offsetof(PiCardArea, shadow_input.counter), 256u);
    EXPECT_EQ(offsetof(PiCardArea, shadow_input.card), 260u);
    EXPECT_EQ(offsetof(PiCardArea, shadow_input.host), 264u);
    EXPECT_EQ(offsetof(PiCardArea, fast_output.counter), 268u);
    EXPECT_EQ(offsetof(PiCardArea, fast_output.host), 272u);
    EXPECT_EQ(offsetof(PiCardArea, fast_output.card), 276u);
    EXPECT_EQ(offsetof(PiCardArea, input_queue_read), 280u);
    EXPECT_EQ(offsetof(PiCardArea, input_queue_write), 284u);
    EXPECT_EQ(offsetof(PiCardArea, output_queue_read), 288u);
    EXPECT_EQ(offsetof(PiCardArea, output_queue_write), 292u);
    EXPECT_EQ(offsetof(PiCardArea, shadow_input_buffers), 296u);
    EXPECT_EQ(offsetof(PiCardArea, exchange), 12584u);
    EXPECT_EQ(offsetof(PiCardArea, fast_output_buffers), 16680u);
    EXPECT_EQ(offsetof(PiCardArea, input_queue), 28968u);
    EXPECT_EQ(offsetof(PiCardArea, output_queue), 553256u);
    EXPECT_EQ(sizeof(PiCardArea), 1077544u);
    EXPECT_EQ(kPiQueueFlagByte, 4095u);
}

TEST(PiLayout, OperationsTableSlots) {
    EXPECT_EQ(sizeof(PiOps), 48u);
    EXPECT_EQ(offsetof(PiOps, setup), 0u);
    EXPECT_EQ(offsetof(PiOps, write), 8u);
    EXPECT_EQ(offsetof(PiOps, read), 16u);
    EXPECT_EQ(offsetof(PiOps, address), 24u);
    EXPECT_EQ(offsetof(PiOps, clear), 32u);
    EXPECT_EQ(offsetof(PiOps, exchange), 40u);
}

TEST(PiLayout, PublicRecords) {
    EXPECT_EQ(sizeof(PiTransfer), 80u);
    EXPECT_EQ(offsetof(PiTransfer, convert), 56u);
    EXPECT_EQ(sizeof(EcatSlaveActiveCache), 56u);
    EXPECT_EQ(offsetof(EcatSlaveActiveCache, line), 20u);
    EXPECT_EQ(offsetof(EcatPIAsyncState, mode), 0u);
    EXPECT_EQ(offsetof(EcatPIAsyncState, stop), 4u);
    EXPECT_EQ(offsetof(EcatPIAsyncState, semaphore), 8u);
    EXPECT_EQ(offsetof(EcatPIAsyncState, thread), 16u);
    EXPECT_EQ(offsetof(EcatPIAsyncState, callback_arg), 24u);
    EXPECT_EQ(offsetof(EcatPIAsyncState, callback), 32u);
    EXPECT_EQ(offsetof(EcatPIAsyncState, wakeup), 40u);
}

} // namespace
