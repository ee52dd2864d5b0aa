// Conversion between logical and physical images in all areas, against a model that copies bit by
// bit in the order of the table.
#include "card/pi_fixture.h"

#include <thread>

namespace {

using namespace tarn;
using tarn::test::Bytes;
using tarn::test::MappedSlave;

class LogicMapping : public test::PiTest {
  protected:
    void SetUp() override { open(); }

    // Whole images. Bits that no slave has stay as they are in `to`.
    Bytes to_physical(const PiDirection &block, const Bytes &logical, Bytes to) {
        each_bit(block, [&](size_t logical_bit, size_t physical_bit) {
            set_bit(to, physical_bit, bit(logical, logical_bit));
        });
        return to;
    }
    Bytes to_logical(const PiDirection &block, const Bytes &physical, Bytes to) {
        each_bit(block, [&](size_t logical_bit, size_t physical_bit) {
            set_bit(to, logical_bit, bit(physical, physical_bit));
        });
        return to;
    }
    template <typename Visit>
    static void each_bit(const PiDirection &block, Visit visit) {
        for (uint32_t i = 0; i < block.entry_count; ++i) {
            const PiLogicEntry &entry = block.sorted[i];
            const PiPhyEntry &run = block.physical[entry.slave];
            for (size_t n = 0; n < run.bit_length; ++n) {
                if (entry.address + n < 8 * kImageBytes &&
                    run.bit_offset + n < 8 * kPhysicalBytes) {
                    visit(entry.address + n, run.bit_offset + n);
                }
            }
        }
    }

    // Every area with its direction, against the model.
    void expect_all_conversions() {
        expect_normal_output();
        expect_normal_input();
        expect_fast_output();
        expect_card_area();
        expect_shadow_input();
    }

    void expect_normal_output() {
        const Bytes logical = random_bytes(kImageBytes, 1);
        const Bytes before = random_bytes(kPhysicalBytes, 2);
        memcpy(handle_->normal_output_cache, logical.data(), kImageBytes);
        memcpy(handle_->normal_output_buffer, before.data(), kPhysicalBytes);
        EXPECT_EQ(exchange(ECAT_PI_NORMAL_OUTPUT), 0u);
        EXPECT_EQ(bytes_at(handle_->normal_output_buffer, kPhysicalBytes),
                  to_physical(output(), logical, before));
        EXPECT_EQ(bytes_at(handle_->normal_output_cache, kImageBytes), logical);
    }
    void expect_normal_input() {
        const Bytes physical = random_bytes(kPhysicalBytes, 3);
        const Bytes before = random_bytes(kImageBytes, 4);
        memcpy(handle_->normal_input_buffer, physical.data(), kPhysicalBytes);
        memcpy(handle_->normal_input_cache, before.data(), kImageBytes);
        EXPECT_EQ(exchange(ECAT_PI_NORMAL_INPUT), 0u);
        EXPECT_EQ(bytes_at(handle_->normal_input_cache, kImageBytes),
                  to_logical(input(), physical, before));
        EXPECT_EQ(bytes_at(handle_->normal_input_buffer, kPhysicalBytes), physical);
    }
    void expect_fast_output() {
        const Bytes logical = random_bytes(kImageBytes, 5);
        const Bytes staged = bytes_at(handle_->fast_output_object.staging, kPhysicalBytes);
        memcpy(handle_->fast_output, logical.data(), kImageBytes);
        pi_info().fast_output_dirty = 1;
        EXPECT_EQ(exchange(ECAT_PI_FAST_OUTPUT), 0u);
        const uint32_t newest = card().fast_output.host & 3;
        const size_t length = pi_area(ECAT_PI_FAST_OUTPUT).state.physical_length;
        Bytes expected = to_physical(output(), logical, staged);
        expected.resize(length);
        EXPECT_EQ(bytes_at(card().fast_output_buffers[newest], length), expected);
    }
    void expect_card_area() {
        const Bytes physical = random_bytes(kPhysicalBytes, 6);
        const Bytes before = bytes_at(handle_->card_area_object.local, kImageBytes);
        memcpy(card().exchange, physical.data(), kPhysicalBytes);
        card().sequence += 2;
        uint8_t byte = 0;
        EcatPIRead(handle_, ECAT_PI_CARD_AREA, 0, 1, &byte);
        Bytes staged = physical;
        std::fill(staged.begin() + pi_area(ECAT_PI_CARD_AREA).state.physical_length, staged.end(),
                  uint8_t{0});
        EXPECT_EQ(bytes_at(handle_->card_area_object.local, kImageBytes),
                  to_logical(output(), staged, before));
    }
    void expect_shadow_input() {
        const Bytes physical = random_bytes(kPhysicalBytes, 7);
        const Bytes before = random_bytes(kImageBytes, 8);
        memcpy(handle_->shadow_input, before.data(), kImageBytes);
        memcpy(card().shadow_input_buffers[1], physical.data(), kPhysicalBytes);
        card().shadow_input = {0, 0x0201, 0};
        uint8_t byte = 0;
        EcatPIRead(handle_, ECAT_PI_SHADOW_INPUT, 0, 1, &byte);
        Bytes staged = physical;
        std::fill(staged.begin() + pi_area(ECAT_PI_SHADOW_INPUT).state.physical_length,
                  staged.end(), uint8_t{0});
        EXPECT_EQ(bytes_at(handle_->shadow_input, kImageBytes),
                  to_logical(input(), staged, before));
    }

    // Slaves of random lengths, side by side in the physical image, spread over the logical one.
    static std::vector<MappedSlave> random_slaves(size_t count, uint32_t seed, uint32_t limit) {
        std::mt19937 engine(seed);
        std::vector<MappedSlave> slaves;
        uint16_t physical = 0;
        for (size_t i = 0; i < count; ++i) {
            const auto length = static_cast<uint16_t>(engine() % 40);
            slaves.push_back({physical, length, static_cast<uint16_t>(engine() % limit)});
            physical = static_cast<uint16_t>(physical + length);
        }
        return slaves;
    }

    uint32_t runs(uint32_t direction) const { return handle_->plans[direction].count; }
};

TEST_F(LogicMapping, ADenseMapIsOneRun) {
    std::vector<MappedSlave> slaves;
    for (uint16_t i = 0; i < 1000; ++i) {
        slaves.push_back({static_cast<uint16_t>(16 * i), 16, static_cast<uint16_t>(16 * i)});
    }
    use_tables(slaves);
    EXPECT_EQ(runs(ECAT_PI_DIRECTION_OUTPUT), 1u);
    EXPECT_EQ(runs(ECAT_PI_DIRECTION_INPUT), 1u);
    expect_all_conversions();
}

TEST_F(LogicMapping, ADenseMapAtAnotherAddressIsOneRunToo) {
    std::vector<MappedSlave> slaves;
    for (uint16_t i = 0; i < 1000; ++i) {
        slaves.push_back({static_cast<uint16_t>(5 * i), 5, static_cast<uint16_t>(5 * i + 777)});
    }
    use_tables(slaves);
    EXPECT_EQ(runs(ECAT_PI_DIRECTION_OUTPUT), 1u);
    expect_all_conversions();
}

TEST_F(LogicMapping, SlavesWithoutBitsDoNotCutARun) {
    use_tables({{0, 8, 0}, {8, 0, 8}, {8, 8, 8}, {16, 8, 16}});
    EXPECT_EQ(runs(ECAT_PI_DIRECTION_OUTPUT), 1u);
    expect_all_conversions();
}

TEST_F(LogicMapping, AGapOnEitherSideCutsARun) {
    use_tables({{0, 8, 0}, {16, 8, 16}, {24, 8, 32}, {40, 8, 40}});
    EXPECT_EQ(runs(ECAT_PI_DIRECTION_OUTPUT), 4u);
    expect_all_conversions();
}

TEST_F(LogicMapping, AReversedMapIsCopiedSlaveBySlave) {
    std::vector<MappedSlave> slaves;
    for (uint16_t i = 0; i < 500; ++i) {
        slaves.push_back(
            {static_cast<uint16_t>(11 * i), 11, static_cast<uint16_t>(11 * (499 - i))});
    }
    use_tables(slaves);
    EXPECT_EQ(runs(ECAT_PI_DIRECTION_OUTPUT), 500u);
    expect_all_conversions();
}

TEST_F(LogicMapping, BothDirectionsHaveTablesOfTheirOwn) {
    use_tables(random_slaves(300, 1, 30000), random_slaves(300, 2, 30000));
    expect_all_conversions();
}

TEST_F(LogicMapping, WhereAddressesOverlapTheTablesOrderDecides) {
    use_tables({{0, 16, 8}, {16, 16, 8}, {32, 16, 12}, {48, 16, 20}, {64, 16, 20}});
    expect_all_conversions();
}

TEST_F(LogicMapping, WherePhysicalRunsOverlapTheTablesOrderDecides) {
    use_tables({{0, 16, 0}, {8, 16, 16}, {8, 16, 32}, {20, 4, 48}});
    expect_all_conversions();
}

TEST_F(LogicMapping, RandomMapsEqualTheModel) {
    for (uint32_t seed = 0; seed < 20; ++seed) {
        // From much overlap to hardly any.
        use_tables(random_slaves(400, seed, 500 << seed % 7),
                   random_slaves(400, 100 + seed, 60000));
        expect_all_conversions();
        if (HasFailure()) {
            FAIL() << "seed " << seed;
        }
    }
}

TEST_F(LogicMapping, TheLargestMapFits) {
    std::vector<MappedSlave> slaves;
    for (uint32_t i = 0; i < 4096; ++i) {
        slaves.push_back({static_cast<uint16_t>(8 * i), 8, static_cast<uint16_t>(16 * (4095 - i))});
    }
    use_tables(slaves);
    EXPECT_EQ(runs(ECAT_PI_DIRECTION_OUTPUT), 4096u);
    expect_all_conversions();
}

TEST_F(LogicMapping, OnlyThePhysicalLengthCrosses) {
    use_tables(random_slaves(100, 3, 1000), random_slaves(100, 4, 1000), 50);
    memset(card().fast_output_buffers, 0xEE, sizeof card().fast_output_buffers);
    expect_all_conversions();
    EXPECT_EQ(card().fast_output_buffers[card().fast_output.host & 3][50], 0xEE);
}

TEST_F(LogicMapping, RunsBeyondTheImagesAreCut) {
    // Neighbours in shared memory: what follows an image belongs to the other channel.
    uint8_t *behind_cache = static_cast<uint8_t *>(getSharedMemory_piNormalCacheInput(0, 1));
    uint8_t *behind_buffer = static_cast<uint8_t *>(getSharedMemory_piNormalBuffOutput(0, 1));
    memset(behind_cache, 0xEE, 16);
    memset(behind_buffer, 0xEE, 16);
    use_tables({{0, 100, 65500}, {32700, 200, 0}, {40000, 64, 512}, {65535, 65535, 65535}});
    expect_all_conversions();
    EXPECT_EQ(bytes_at(behind_cache, 16), Bytes(16, 0xEE));
    EXPECT_EQ(bytes_at(behind_buffer, 16), Bytes(16, 0xEE));
}

TEST_F(LogicMapping, EntriesOfUnknownSlavesAreLeftOut) {
    describe(output(), {{0, 8, 0}, {8, 8, 8}}, 16, true);
    output().sorted[0].slave = 4096;
    output().sorted[1].slave = 2; // not below the slave count
    reopen();
    EXPECT_EQ(runs(ECAT_PI_DIRECTION_OUTPUT), 0u);
}

TEST_F(LogicMapping, CountsBeyondTheTablesAreCutToThem) {
    describe(output(), {{0, 8, 0}, {8, 8, 8}}, 16, true);
    output().entry_count = 0xFFFFFFFF;
    pi_info().slave_count = 0xFFFFFFFF;
    output().physical_length = 0xFFFFFFFF;
    reopen();
    EXPECT_EQ(pi_area(0).state.entry_count, 4096u);
    EXPECT_EQ(pi_area(0).state.slave_count, 4096u);
    EXPECT_EQ(exchange(ECAT_PI_NORMAL_OUTPUT), 0u);
}

TEST_F(LogicMapping, OneDirectionMayStayPhysical) {
    describe(output(), {{0, 8, 100}}, 1, true);
    describe(input(), {{0, 8, 100}}, 1, false);
    reopen();
    EXPECT_NE(pi_area(ECAT_PI_FAST_OUTPUT).state.mapped, 0u);
    EXPECT_EQ(pi_area(ECAT_PI_SHADOW_INPUT).state.mapped, 0u);
    EXPECT_EQ(pi_area(ECAT_PI_SHADOW_INPUT).state.plan, nullptr);
    card().shadow_input_buffers[1][0] = 0x44;
    card().shadow_input = {0, 0x201, 0};
    uint8_t byte = 0;
    EcatPIRead(handle_, ECAT_PI_SHADOW_INPUT, 0, 1, &byte);
    EXPECT_EQ(byte, 0x44);
}

TEST_F(LogicMapping, WithoutMappingANormalAreaHasNothingToExchange) {
    use_tables({{0, 8, 100}}, {{0, 8, 100}}, 1, false);
    memset(handle_->normal_output_cache, 0x11, 200);
    EXPECT_EQ(exchange(ECAT_PI_NORMAL_OUTPUT), 0u);
    EXPECT_EQ(handle_->normal_output_buffer[0], 0);
    memset(handle_->normal_input_buffer, 0x22, 200);
    EXPECT_EQ(exchange(ECAT_PI_NORMAL_INPUT), 0u);
    EXPECT_EQ(handle_->normal_input_cache[0], 0);
}

TEST_F(LogicMapping, TheViewHoldsBothLengths) {
    describe(output(), {{0, 8, 100}}, 5, true);
    describe(input(), {{0, 8, 100}}, 6, false);
    output().logical_length = 14;
    input().logical_length = 0; // as a configuration without mapping leaves it
    reopen();
    EXPECT_EQ(pi_area(ECAT_PI_FAST_OUTPUT).state.physical_length, 5u);
    EXPECT_EQ(pi_area(ECAT_PI_FAST_OUTPUT).state.image_length, 14u);
    EXPECT_EQ(pi_area(ECAT_PI_SHADOW_INPUT).state.physical_length, 6u);
    EXPECT_EQ(pi_area(ECAT_PI_SHADOW_INPUT).state.image_length, 6u);
}

TEST_F(LogicMapping, AHandleKeepsTheViewItWasOpenedWith) {
    EcatHandle *second = nullptr;
    ASSERT_EQ(EcatOpen(&second, "ID0", 0), 0u);
    vcard::MakeEniOptions options;
    options.slaves = {{"dio8", 4}};
    ASSERT_EQ(EcatBusRun(handle_, write_eni(vcard::make_eni(options))), 0u);
    EXPECT_NE(pi_area(ECAT_PI_FAST_OUTPUT).state.physical_length, 0u);
    EXPECT_EQ(second->areas[ECAT_PI_FAST_OUTPUT].state.physical_length, 0u);
    EcatClose(second);
    ASSERT_EQ(EcatOpen(&second, "ID0", 0), 0u);
    EXPECT_EQ(second->areas[ECAT_PI_FAST_OUTPUT].state.physical_length,
              pi_area(ECAT_PI_FAST_OUTPUT).state.physical_length);
    EcatClose(second);
}

// ---- what a bus start records -----------------------------------------------------------------

class BusInfo : public test::PiTest {
  protected:
    void SetUp() override { open(); }

    static vcard::MakeEniOptions network(bool mapped) {
        vcard::MakeEniOptions options;
        options.slaves = {{"coupler", 1}, {"dio8", 2}, {"di8", 1}, {"do8", 1}, {"coupler", 1}};
        options.logical_mapping = mapped;
        return options;
    }
    uint32_t run(const vcard::MakeEniOptions &options) {
        return EcatBusRun(handle_, write_eni(vcard::make_eni(options)));
    }
};

TEST_F(BusInfo, AStartWithoutMappingDescribesThePhysicalImages) {
    std::string text = vcard::make_eni(network(false));
    const size_t marker = text.find("@@##");
    if (marker != std::string::npos) {
        text.replace(marker, 4, "    ");
    }
    ASSERT_EQ(EcatBusRun(handle_, write_eni(text)), 0u);
    EXPECT_EQ(pi_info().slave_count, 6u);
    EXPECT_EQ(output().physical_length, 3u);
    EXPECT_EQ(input().physical_length, 3u);
    EXPECT_EQ(output().mapped, 0u);
    EXPECT_EQ(output().logical_length, 0u);
    EXPECT_EQ(output().entry_count, 0u);
    EXPECT_EQ(pi_area(ECAT_PI_FAST_OUTPUT).state.image_length, 3u);
    EXPECT_EQ(output().participation[0], 0b010110u);
    EXPECT_EQ(input().participation[0], 0b001110u);
    for (uint16_t slave = 0; slave < 6; ++slave) {
        uint16_t address = 0;
        EXPECT_EQ(EcatGetSlaveFixAddr(handle_, slave, &address), 0u);
        EXPECT_EQ(pi_info().fixed_address[slave], address);
    }
}

TEST_F(BusInfo, SlavesWithoutDataStandAtTheRunningOffset) {
    ASSERT_EQ(run(network(false)), 0u);
    for (PiDirection *block : {&output(), &input()}) {
        uint16_t end = 0;
        for (uint32_t i = 0; i < 6; ++i) {
            EXPECT_GE(block->physical[i].bit_offset, end);
            if (block->physical[i].bit_length == 0) {
                EXPECT_EQ(block->physical[i].bit_offset, end) << i;
            }
            end = static_cast<uint16_t>(block->physical[i].bit_offset +
                                        block->physical[i].bit_length);
        }
        EXPECT_EQ(end, 24);
    }
    EXPECT_EQ(output().physical[3].bit_length, 0);
    EXPECT_EQ(output().physical[3].bit_offset, 16);
    EXPECT_EQ(output().physical[4].bit_offset, 16);
}

TEST_F(BusInfo, AMappedStartFillsTheLogicalTables) {
    ASSERT_EQ(run(network(true)), 0u);
    EXPECT_EQ(output().mapped, 1u);
    EXPECT_EQ(input().mapped, 1u);
    EXPECT_EQ(output().entry_count, 6u);
    EXPECT_GE(output().logical_length, output().physical_length);
    EXPECT_EQ(pi_area(ECAT_PI_FAST_OUTPUT).state.image_length, output().logical_length);
    EXPECT_NE(pi_area(ECAT_PI_FAST_OUTPUT).state.plan, nullptr);
}

TEST_F(BusInfo, TheRequestsComeInOrder) {
    ASSERT_EQ(run(network(false)), 0u);
    std::vector<uint16_t> codes = seen_codes();
    codes.erase(codes.begin(), std::find(codes.begin(), codes.end(), 9)); // the download
    std::vector<uint16_t> expected = {9, 19, 32};
    for (int i = 0; i < 6; ++i) {
        expected.insert(expected.end(), {23, 22});
    }
    expected.push_back(19);
    expected.insert(expected.end(), 6, 29);
    EXPECT_EQ(codes, expected);
}

class BusInfoRefused : public BusInfo, public testing::WithParamInterface<Command> {};

TEST_P(BusInfoRefused, ARefusedQueryEndsTheStartAndClearsTheRecord) {
    ASSERT_EQ(run(network(true)), 0u);
    ASSERT_EQ(EcatBusStop(handle_), 0u);
    refuse(GetParam(), 32771);
    EXPECT_EQ(run(network(true)), 32771u);
    EXPECT_EQ(bytes_at(&pi_info(), sizeof(PiInfo)), Bytes(sizeof(PiInfo)));
    for (const PiArea &own : handle_->areas) {
        EXPECT_EQ(own.state.mapped, 0u);
        EXPECT_EQ(own.state.physical_length, 0u);
        EXPECT_EQ(own.state.image_length, 0u);
        EXPECT_EQ(own.state.entry_count, 0u);
        EXPECT_EQ(own.state.slave_count, 0u);
    }
}

INSTANTIATE_TEST_SUITE_P(Commands, BusInfoRefused,
                         testing::Values(Command::BusStart, Command::SlaveCount, Command::EniInfo,
                                         Command::SlaveOutputs, Command::SlaveInputs,
                                         Command::SlaveFixedAddress));

TEST_F(BusInfo, AnEmptyRegionIsNoFailure) {
    refuse(Command::SlaveOutputs, 32834);
    ASSERT_EQ(run(network(false)), 0u);
    EXPECT_EQ(output().physical[0].bit_length, 0);
}

TEST_F(BusInfo, ABrokenMappingEndsTheStartAndClearsTheRecord) {
    std::string text = vcard::make_eni(network(true));
    const size_t at = text.find("slave_infos");
    ASSERT_NE(at, std::string::npos);
    text.replace(text.find('[', at) + 1, 1, "7,{"); // one element too many
    EXPECT_EQ(EcatBusRun(handle_, write_eni(text)), 80016u);
    EXPECT_EQ(bytes_at(&pi_info(), sizeof(PiInfo)), Bytes(sizeof(PiInfo)));
}

// ---- mapped data on a running bus -------------------------------------------------------------

class MappedBus : public BusInfo, public testing::WithParamInterface<uint32_t> {
    void SetUp() override { open_generation(GetParam()); }
};

TEST_P(MappedBus, ASlavesOutputsComeBackAsItsInputsWhereverTheyAreMapped) {
    vcard::MakeEniOptions options;
    options.slaves = {{"dio8", 5}, {"dio16", 2}};
    options.logical_mapping = true;
    options.reversed_mapping = true;
    ASSERT_EQ(run(options), 0u);
    ASSERT_EQ(EcatRequestMasterState(handle_, ECAT_STATE_OP), 0u);

    for (uint16_t slave = 0; slave < 7; ++slave) {
        uint32_t length = 0;
        ASSERT_EQ(EcatSlavePIGetRange(handle_, ECAT_PI_FAST_OUTPUT, slave, nullptr, &length), 0u);
        Bytes outputs(length);
        std::iota(outputs.begin(), outputs.end(), static_cast<uint8_t>(0x31 + 8 * slave));
        Bytes inputs(length);
        for (int i = 0; i < 5000 && inputs != outputs; ++i) {
            EcatSlavePIWrite(handle_, ECAT_PI_FAST_OUTPUT, slave, length, outputs.data());
            EcatSlavePIRead(handle_, ECAT_PI_SHADOW_INPUT, slave, length, inputs.data());
            __usleep_window(1000);
        }
        EXPECT_EQ(inputs, outputs) << slave;
    }
}

INSTANTIATE_TEST_SUITE_P(Generations, MappedBus, testing::Values(1U, 2U));

} // namespace
