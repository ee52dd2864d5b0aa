#include "pci_tarn/pci_tarn.h"
#include "support/capture.h"
#include "support/temp_dir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <set>

namespace {

namespace fs = std::filesystem;
using tarn::test::StdoutCapture;

constexpr uint32_t kSize = 10'485'760;
constexpr uint32_t kVersion = 0x1597A579;
constexpr char kWarning[] =
    "[WARNING] pi_shared_memory version err. please keep the version of the "
    "libpci_tarn.so your program uses consistent. restart ecatbusrun.";

using Area = void *(*)(uint32_t board, uint32_t channel);

uint8_t *view() {
    return static_cast<uint8_t *>(__pi_shared_memory);
}

uint32_t word(size_t offset) {
    uint32_t value;
    std::memcpy(&value, view() + offset, sizeof value);
    return value;
}

void set_version(uint32_t version) {
    std::memcpy(view(), &version, sizeof version);
}

bool is_filled(size_t from, size_t to, uint8_t value) {
    return std::all_of(view() + from, view() + to, [=](uint8_t byte) { return byte == value; });
}

size_t offset_of(Area area, uint32_t board, uint32_t channel) {
    return static_cast<size_t>(static_cast<uint8_t *>(area(board, channel)) - view());
}

// A folder of its own with a fresh file, as for a process that starts there.
class SharedMemory : public testing::Test {
  protected:
    void SetUp() override { ASSERT_NE(initMutex(), nullptr); }

    // What the getter prints when it meets this version in a memory full of 0xAA.
    std::string meet(uint32_t version) {
        std::memset(view(), 0xAA, kSize);
        set_version(version);
        const StdoutCapture out;
        getSharedMemory_piinfo(0, 0);
        return out.text();
    }
    static bool is_initialised() {
        return word(0) == kVersion && word(4) == 3 && is_filled(8, kSize, 0);
    }
    static bool is_untouched_from_4() { return is_filled(4, kSize, 0xAA); }

    tarn::test::TempDir folder_;
};

TEST_F(SharedMemory, FreshFolderGetsAFileOfZeros) {
    EXPECT_EQ(fs::file_size("temp.dat"), kSize);
    EXPECT_TRUE(is_filled(0, kSize, 0));
}

TEST_F(SharedMemory, InitMutexReturnsTheAddressItStores) {
    void *address = initMutex();
    EXPECT_NE(address, nullptr);
    EXPECT_EQ(address, __pi_shared_memory);
}

TEST_F(SharedMemory, FirstInfoAccessInitialisesInSilence) {
    const StdoutCapture out;
    getSharedMemory_piinfo(0, 0);
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(word(0), 362259833u);
    EXPECT_EQ(word(4), 3u);
}

TEST_F(SharedMemory, InitialisationClearsEverythingBehindTheVersion) {
    EXPECT_EQ(meet(0), "");
    EXPECT_TRUE(is_initialised());
}

TEST_F(SharedMemory, MatchingVersionIsLeftUntouched) {
    EXPECT_EQ(meet(kVersion), "");
    EXPECT_TRUE(is_untouched_from_4());
    const StdoutCapture out;
    pi_shared_memory_init();
    EXPECT_EQ(out.text(), "");
    EXPECT_TRUE(is_untouched_from_4());
}

TEST_F(SharedMemory, NearVersionOnlyWarns) {
    for (uint32_t version : {0x1597A571u, 0x1597A578u, 0x1597A57Au, 0x1597A957u}) {
        EXPECT_EQ(meet(version), kWarning) << version;
        EXPECT_EQ(word(0), version);
        EXPECT_TRUE(is_untouched_from_4()) << version;
    }
}

TEST_F(SharedMemory, NearVersionWarnsEveryTime) {
    set_version(0x1597A571);
    const StdoutCapture out;
    getSharedMemory_piinfo(0, 0);
    getSharedMemory_piinfo(1, 1);
    EXPECT_EQ(out.text(), std::string(kWarning) + kWarning);
}

TEST_F(SharedMemory, InitialisationUpdatesANearVersion) {
    std::memset(view(), 0xAA, kSize);
    set_version(0x1597A571);
    const StdoutCapture out;
    pi_shared_memory_init();
    EXPECT_EQ(out.text(), "pi_shared_memory version update. 362259825 -> 362259833\r\n");
    EXPECT_TRUE(is_initialised());
}

TEST_F(SharedMemory, GetterUpdatesAndAnnouncesTheTwoBorderVersions) {
    EXPECT_EQ(meet(0x1597A570), "pi_shared_memory version update. 362259824 -> 362259833\r\n");
    EXPECT_TRUE(is_initialised());
    EXPECT_EQ(meet(0x1597A958), "pi_shared_memory version update. 362260824 -> 362259833\r\n");
    EXPECT_TRUE(is_initialised());
}

TEST_F(SharedMemory, ForeignVersionsAreWipedInSilence) {
    for (uint32_t version : {1u, 0x1597A56Fu, 0x1597A959u, 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(meet(version), "") << version;
        EXPECT_TRUE(is_initialised()) << version;
    }
}

TEST_F(SharedMemory, OtherGettersDoNotCheckTheVersion) {
    set_version(0);
    const StdoutCapture out;
    for (Area area : {getSharedMemory_pishadowinput, getSharedMemory_pifast,
                      getSharedMemory_piNormalBuffOutput, getSharedMemory_piNormalBuffInput,
                      getSharedMemory_piNormalCacheOutput, getSharedMemory_piNormalCacheInput}) {
        area(0, 0);
    }
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(word(0), 0u);
}

TEST_F(SharedMemory, AreasLieWhereOtherProcessesExpectThem) {
    struct Row {
        Area area;
        size_t first, board_3, last;
    };
    const Row rows[] = {
        {getSharedMemory_pishadowinput, 0x8, 0xC008, 0x3E008},
        {getSharedMemory_pifast, 0x40008, 0x4C008, 0x7E008},
        {getSharedMemory_piinfo, 0x80008, 0x80008 + 6 * 156'728, 0x80008 + 31 * 156'728},
        {getSharedMemory_piNormalBuffOutput, 0x548708, 0x54E708, 0x567708},
        {getSharedMemory_piNormalBuffInput, 0x568708, 0x56E708, 0x587708},
        {getSharedMemory_piNormalCacheOutput, 0x588708, 0x594708, 0x5C6708},
        {getSharedMemory_piNormalCacheInput, 0x5C8708, 0x5D4708, 0x606708},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(offset_of(row.area, 0, 0), row.first);
        EXPECT_EQ(offset_of(row.area, 3, 0), row.board_3);
        EXPECT_EQ(offset_of(row.area, 15, 1), row.last);
    }
}

TEST_F(SharedMemory, LastChannelEndsInsideTheMapping) {
    const size_t cache = offset_of(getSharedMemory_piNormalCacheInput, 15, 1);
    EXPECT_EQ(cache + 8192, 0x608708u);
    EXPECT_EQ(0x608708u + 32 * 256, 0x60A708u);
    EXPECT_LT(0x60A708u, kSize);
}

TEST_F(SharedMemory, ContentOutlivesTheProcess) {
    pi_shared_memory_init();
    view()[0x60A707] = 77;
    void *former = __pi_shared_memory;
    initMutex(); // as a process that starts later in the same folder
    EXPECT_NE(__pi_shared_memory, former);
    EXPECT_EQ(word(0), kVersion);
    EXPECT_EQ(view()[0x60A707], 77);
}

TEST_F(SharedMemory, TwoMappingsOfOneFolderAreOneMemory) {
    uint8_t *former = view();
    initMutex();
    former[0x1000] = 1;
    EXPECT_EQ(view()[0x1000], 1);
    view()[0x2000] = 2;
    EXPECT_EQ(former[0x2000], 2);
}

TEST_F(SharedMemory, AnotherFolderIsAnotherMemory) {
    view()[0x1000] = 1;
    const tarn::test::TempDir other;
    ASSERT_NE(initMutex(), nullptr);
    EXPECT_EQ(view()[0x1000], 0);
}

TEST(SharedMemoryFile, ShorterFileGrowsAndKeepsItsContent) {
    const tarn::test::TempDir folder;
    std::ofstream("temp.dat", std::ios::binary) << "abcdefgh";
    ASSERT_NE(initMutex(), nullptr);
    EXPECT_EQ(fs::file_size("temp.dat"), kSize);
    EXPECT_EQ(std::memcmp(view(), "abcdefgh", 8), 0);
    EXPECT_TRUE(is_filled(8, kSize, 0));
}

TEST(SharedMemoryFile, LongerFileIsNotCut) {
    const tarn::test::TempDir folder;
    std::ofstream("temp.dat", std::ios::binary) << "x";
    fs::resize_file("temp.dat", kSize + 12345);
    ASSERT_NE(initMutex(), nullptr);
    EXPECT_EQ(fs::file_size("temp.dat"), kSize + 12345);
}

// The name is taken by a folder, so that no file can be opened.
class SharedMemoryMissing : public testing::Test {
  protected:
    void SetUp() override {
        fs::create_directory("temp.dat");
        const StdoutCapture out;
        result_ = initMutex();
        printed_ = out.text();
    }

    tarn::test::TempDir folder_;
    void *result_ = &folder_;
    std::string printed_;
};

TEST_F(SharedMemoryMissing, PrintsWhatFailedAndLeavesNull) {
    EXPECT_EQ(result_, nullptr);
    EXPECT_EQ(__pi_shared_memory, nullptr);
    EXPECT_THAT(printed_, testing::StartsWith("CreateFileA failed. "));
    EXPECT_THAT(printed_, testing::EndsWith("\r\n"));
    EXPECT_GT(printed_.size(), std::strlen("CreateFileA failed. \r\n"));
    EXPECT_EQ(std::count(printed_.begin(), printed_.end(), '\n'), 1);
}

TEST_F(SharedMemoryMissing, GettersGiveSmallAddressesAndDoNotFault) {
    const auto number = [](void *address) { return reinterpret_cast<uintptr_t>(address); };
    EXPECT_EQ(number(getSharedMemory_piinfo(0, 0)), 0x80008u);
    EXPECT_EQ(number(getSharedMemory_pishadowinput(0, 1)), 0x2008u);
    EXPECT_EQ(number(getSharedMemory_pifast(0, 0)), 0x40008u);
    EXPECT_EQ(number(getSharedMemory_piNormalBuffOutput(0, 0)), 0x548708u);
    EXPECT_EQ(number(getSharedMemory_piNormalBuffInput(0, 0)), 0x568708u);
    EXPECT_EQ(number(getSharedMemory_piNormalCacheOutput(0, 0)), 0x588708u);
    EXPECT_EQ(number(getSharedMemory_piNormalCacheInput(0, 0)), 0x5C8708u);
}

TEST_F(SharedMemoryMissing, InitialisationDoesNothing) {
    pi_shared_memory_init();
}

TEST_F(SharedMemoryMissing, LocksAreThereAllTheSame) {
    EXPECT_NE(getMutex_pi(0, 0, 0), nullptr);
}

TEST(LockTables, EveryHandleIsThere) {
    for (uint32_t board = 0; board < 16; ++board) {
        for (uint32_t channel = 0; channel < 2; ++channel) {
            for (uint32_t index = 0; index < 5; ++index) {
                EXPECT_NE(pi_mutex[board][channel][index], nullptr);
            }
            for (uint32_t index = 0; index < 2; ++index) {
                EXPECT_NE(mailbox_mutex[board][channel][index], nullptr);
                EXPECT_NE(sock_mutex[board][channel][index], nullptr);
            }
        }
    }
}

TEST(LockTables, GettersReadTheTables) {
    EXPECT_EQ(getMutex_mailbox(3, 0, 1), mailbox_mutex[3][0][1]);
    EXPECT_EQ(getMutex_sock(15, 1, 0), sock_mutex[15][1][0]);
    EXPECT_EQ(getMutex_pi(7, 1, 4), pi_mutex[7][1][4]);
}

TEST(LockTables, ExportedTablesHaveTheirShapes) {
    EXPECT_EQ(sizeof mailbox_mutex, 16u * 2 * 2 * 8);
    EXPECT_EQ(sizeof sock_mutex, 16u * 2 * 2 * 8);
    EXPECT_EQ(sizeof pi_mutex, 16u * 2 * 5 * 8);
}

TEST(LockTables, LocksOfDifferentNamesAreDifferent) {
    std::set<void *> handles;
    for (uint32_t board = 0; board < 16; ++board) {
        for (uint32_t channel = 0; channel < 2; ++channel) {
            handles.insert(pi_mutex[board][channel][0]);
            for (uint32_t index = 0; index < 2; ++index) {
                handles.insert(mailbox_mutex[board][channel][index]);
                handles.insert(sock_mutex[board][channel][index]);
            }
        }
    }
    EXPECT_EQ(handles.size(), 160u);
}

TEST(LockTables, FiveHandlesOfOneImageNest) {
    for (uint32_t index = 0; index < 5; ++index) {
        EXPECT_EQ(driverLock(getMutex_pi(2, 1, index)), 0u);
    }
    for (uint32_t index = 0; index < 5; ++index) {
        EXPECT_EQ(driverUnlock(getMutex_pi(2, 1, index)), 0u);
    }
}

TEST(SharedData, ProcessIdWordIsOneAtLoad) {
    EXPECT_EQ(__proc_id, 1u);
}

TEST(SharedData, LockDescriptorsAreZeroAndStay) {
    const auto *block = static_cast<const uint8_t *>(getMutexDes());
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(getMutexDes(), block);
    EXPECT_TRUE(std::all_of(block, block + 2304, [](uint8_t byte) { return byte == 0; }));
}

} // namespace
