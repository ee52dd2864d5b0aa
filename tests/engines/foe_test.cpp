// Files of a slave: the order of the requests, what each carries, who holds what meanwhile, and the
// clean-up after every way to fail.
#include "fake_master.h"

#include "pci_tarn/slave.h"
#include "support/temp_dir.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>

namespace {

using namespace tarn::test;
using ::testing::ElementsAre;
using ::testing::SizeIs;
namespace fs = std::filesystem;

// What follows when the file on the card is to be removed.
const std::string kCleanUp = "secondary 49 under secondary";
const Bytes kCardName = {'_', '_', 'f', 'o', 'e', '_', 't', 'e', 'm', 'p', '.', 'b', 'i', 'n', 0};

Bytes zero_padded(const std::string &text, size_t size) {
    Bytes bytes(text.begin(), text.end());
    bytes.resize(size);
    return bytes;
}

Bytes foe_record(uint16_t slave, const std::string &foe_name) {
    return bytes_of(slave) + zero_padded("__foe_temp.bin", 128) + zero_padded(foe_name, 128);
}

class FoeTest : public testing::Test {
  protected:
    void write_host(const Bytes &bytes) {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char *>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    }
    // A file of that size without content. False where the file system has no such files.
    bool write_sparse(uint64_t size) {
        write_host({});
        std::error_code error;
        fs::resize_file(path, size, error);
        return !error;
    }
    Bytes host_file() const {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    // The only request of the secondary mailbox beside the clean-up, and the clean-up.
    const Seen &foe_request() { return master.secondary.seen.at(0); }
    const Seen &clean_up() { return master.secondary.seen.back(); }

    FakeMaster master;
    TempDir folder;
    std::string path = "host.bin";
    std::string name = "app.efw";
};

class FoeWrite : public FoeTest {
  protected:
    uint32_t run(EcatHandle *handle) {
        return EcatFoEWrite(handle, 0x0102, path.c_str(), name.c_str());
    }
    uint32_t run() { return run(master.handle()); }
};

TEST_F(FoeWrite, SendsTheFileThenAsksTheSlaveThenCleansUp) {
    write_host(counted(100));
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(master.log,
                ElementsAre("primary 1 under secondary", "primary 2 under secondary",
                            "primary 5 under secondary", "secondary 16 under secondary", kCleanUp));
    EXPECT_EQ(master.primary.seen.at(1).payload, counted(100));
    EXPECT_TRUE(master.all_released());
}

TEST_F(FoeWrite, TakesTheSecondaryMailboxOnceAndThePrimaryNever) {
    write_host(counted(100));
    run();
    EXPECT_EQ(master.primary.locked, 0);
    EXPECT_EQ(master.secondary.locked, 1);
}

TEST_F(FoeWrite, StoresTheFileUnderItsFixedName) {
    write_host(counted(1));
    run();
    const Bytes &open = master.primary.seen.at(0).payload;
    ASSERT_THAT(open, SizeIs(144));
    EXPECT_EQ(Bytes(open.begin(), open.begin() + 15), kCardName);
    EXPECT_EQ(open[128], 'w');
}

TEST_F(FoeWrite, RecordNamesSlaveCardFileAndSlaveFile) {
    write_host(counted(1));
    run();
    EXPECT_EQ(foe_request().payload, foe_record(0x0102, "app.efw"));
    EXPECT_THAT(foe_request().payload, SizeIs(258));
}

TEST_F(FoeWrite, CleanUpCarriesTheNameWithItsTerminator) {
    write_host(counted(1));
    run();
    EXPECT_EQ(clean_up().code, 49);
    EXPECT_EQ(clean_up().payload, kCardName);
}

TEST_F(FoeWrite, EmptyFileIsSentToo) {
    write_host({});
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(master.log, ElementsAre("primary 1 under secondary", "primary 5 under secondary",
                                        "secondary 16 under secondary", kCleanUp));
}

TEST_F(FoeWrite, NameOf127CharactersIsAccepted) {
    write_host(counted(1));
    name.assign(127, 'n');
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(foe_request().payload, foe_record(0x0102, name));
    EXPECT_EQ(foe_request().payload.back(), 0);
}

TEST_F(FoeWrite, NameOf128CharactersGives80000) {
    write_host(counted(1));
    name.assign(128, 'n');
    EXPECT_EQ(run(), 80000U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(FoeWrite, EmptyNameIsSentAsItIs) {
    write_host(counted(1));
    name.clear();
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(foe_request().payload, foe_record(0x0102, ""));
}

TEST_F(FoeWrite, NullNameIsRefused) {
    write_host(counted(1));
    EXPECT_EQ(EcatFoEWrite(master.handle(), 1, path.c_str(), nullptr), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(FoeWrite, FileOf25MebibytesIsSent) {
    if (!write_sparse(26214400)) {
        GTEST_SKIP() << "no sparse files here";
    }
    EXPECT_EQ(run(), 0U);
    size_t sent = 0;
    for (const Seen &request : master.primary.seen) {
        sent += request.code == 2 ? request.payload.size() : 0;
    }
    EXPECT_EQ(sent, 26214400U);
    EXPECT_EQ(foe_request().code, 16);
}

TEST_F(FoeWrite, OneByteMoreGives80009) {
    if (!write_sparse(26214401)) {
        GTEST_SKIP() << "no sparse files here";
    }
    EXPECT_EQ(run(), 80009U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(FoeWrite, FileBeyond2GigabytesCannotBeMeasured) {
    if (!write_sparse(0x80000000)) {
        GTEST_SKIP() << "no sparse files here";
    }
    EXPECT_EQ(run(), 32848U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(FoeWrite, MissingFileGives32848) {
    EXPECT_EQ(run(), 32848U);
    EXPECT_EQ(master.primary.printed, "File:host.bin not found.");
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(FoeWrite, FolderGives32848) {
    path = ".";
    EXPECT_EQ(run(), 32848U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(FoeWrite, NullPathGives32848) {
    EXPECT_EQ(EcatFoEWrite(master.handle(), 1, nullptr, "n"), 32848U);
    EXPECT_EQ(master.primary.printed, "File:(null) not found.");
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(FoeWrite, NullHandleComesFirst) {
    EXPECT_EQ(EcatFoEWrite(nullptr, 1, nullptr, nullptr), 80013U);
    EXPECT_EQ(run(nullptr), 80013U);
    EXPECT_EQ(master.primary.printed, "");
}

TEST_F(FoeWrite, MissingFileComesBeforeALongName) {
    name.assign(128, 'n');
    EXPECT_EQ(run(), 32848U);
}

TEST_F(FoeWrite, LargeFileComesBeforeALongName) {
    if (!write_sparse(26214401)) {
        GTEST_SKIP() << "no sparse files here";
    }
    name.assign(128, 'n');
    EXPECT_EQ(run(), 80009U);
}

TEST_F(FoeWrite, FileThatVanishesBeforeItIsSentGives32848AndCleansUp) {
    write_host(counted(1));
    master.secondary.on_lock = [&] { fs::remove(path); };
    EXPECT_EQ(run(), 32848U);
    EXPECT_THAT(master.log, ElementsAre(kCleanUp));
    EXPECT_EQ(clean_up().payload, kCardName);
    EXPECT_TRUE(master.all_released());
}

TEST_F(FoeWrite, TransferThatIsRefusedFiveTimesShowsOnlyInTheSlavesAnswer) {
    write_host(counted(1));
    master.replies[1] = {{.status = 32849}};
    master.replies[16] = {{.status = 34197}};
    EXPECT_EQ(run(), 34197U);
    const std::string open = "primary 1 under secondary";
    EXPECT_THAT(master.log, ElementsAre(open, open, open, open, open,
                                        "secondary 16 under secondary", kCleanUp));
}

TEST_F(FoeWrite, StatusOfTheSlavePassesThroughAndTheCardIsCleanedUp) {
    write_host(counted(1));
    master.replies[16] = {{.status = 34200}};
    EXPECT_EQ(run(), 34200U);
    EXPECT_EQ(master.log.back(), kCleanUp);
    EXPECT_TRUE(master.all_released());
}

TEST_F(FoeWrite, AnswerWithDataGives80002AndTheCardIsCleanedUp) {
    write_host(counted(1));
    master.replies[16] = {{.status = 34200, .payload = {1}}};
    EXPECT_EQ(run(), 80002U);
    EXPECT_EQ(master.log.back(), kCleanUp);
    EXPECT_TRUE(master.all_released());
}

TEST_F(FoeWrite, NoAnswerGives80003AfterTheHandlesTimeOutAndTheCardIsCleanedUp) {
    write_host(counted(1));
    master.replies[16] = {};
    const uint64_t start = master.primary.now_ms();
    EXPECT_EQ(run(), 80003U);
    EXPECT_EQ(master.primary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_THAT(master.secondary.codes(), ElementsAre(16, 49));
    EXPECT_TRUE(master.all_released());
}

TEST_F(FoeWrite, LateAnswerToTheRequestIsNotTakenForTheCleanUps) {
    write_host(counted(1));
    master.replies[16] = {{.sequence = uint16_t{0x7777}}};
    EXPECT_EQ(run(), 80003U);
    EXPECT_THAT(master.secondary.codes(), ElementsAre(16, 49));
    EXPECT_EQ(master.secondary.in_read(), master.secondary.in_write());
}

TEST_F(FoeWrite, SmallSlotGives80001AfterTheHandlesTimeOutAndTheCardIsCleanedUp) {
    FakeMaster small({}, {.slot_size = 273});
    write_host(counted(1));
    const uint64_t start = small.primary.now_ms();
    EXPECT_EQ(run(small.handle()), 80001U);
    EXPECT_EQ(small.primary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_EQ(small.log.back(), kCleanUp);
    EXPECT_THAT(small.secondary.codes(), ElementsAre(49));
    EXPECT_TRUE(small.all_released());
}

TEST_F(FoeWrite, SlotOf274BytesIsLargeEnough) {
    FakeMaster exact({}, {.slot_size = 274});
    write_host(counted(1));
    EXPECT_EQ(run(exact.handle()), 0U);
    EXPECT_THAT(exact.secondary.codes(), ElementsAre(16, 49));
}

TEST_F(FoeWrite, FullQueueEndsIn80001AndTheCleanUpWaitsForItsSlotToo) {
    write_host(counted(1));
    master.secondary.out_write() = 1; // the one slot is taken
    const uint64_t start = master.primary.now_ms();
    EXPECT_EQ(run(), 80001U);
    EXPECT_EQ(master.primary.now_ms() - start, 2 * FakeMaster::kTimeoutMs);
    EXPECT_TRUE(master.all_released());
}

TEST_F(FoeWrite, StatusOfTheCleanUpIsIgnored) {
    write_host(counted(1));
    for (const std::vector<Reply> &reply :
         {std::vector<Reply>{{.status = 32848}}, {{.payload = {1}}}, {}}) {
        master.replies[49] = reply;
        EXPECT_EQ(run(), 0U);
        EXPECT_TRUE(master.all_released());
    }
}

TEST_F(FoeWrite, CleanUpDoesNotHideAnEarlierFailure) {
    write_host(counted(1));
    master.replies[16] = {{.status = 34200}};
    master.replies[49] = {{.status = 32848}};
    EXPECT_EQ(run(), 34200U);
}

class FoeRead : public FoeTest {
  protected:
    FoeRead() { store(counted(100)); }

    // What the card holds once the slave has given its file; at most one chunk.
    void store(const Bytes &content) {
        master.replies[4] = {{.payload = bytes_of(static_cast<uint32_t>(content.size()))}};
        master.replies[3] = {{.payload = content}};
    }
    uint32_t run(EcatHandle *handle) {
        return EcatFoERead(handle, 0x0102, path.c_str(), name.c_str());
    }
    uint32_t run() { return run(master.handle()); }
};

TEST_F(FoeRead, AsksTheSlaveThenFetchesTheFileThenCleansUp) {
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(master.log, ElementsAre("secondary 15 under secondary", "primary 1 under secondary",
                                        "primary 4 under secondary", "primary 3 under secondary",
                                        "primary 5 under secondary", kCleanUp));
    EXPECT_EQ(host_file(), counted(100));
    EXPECT_TRUE(master.all_released());
}

TEST_F(FoeRead, TakesTheSecondaryMailboxOnceAndThePrimaryNever) {
    run();
    EXPECT_EQ(master.primary.locked, 0);
    EXPECT_EQ(master.secondary.locked, 1);
}

TEST_F(FoeRead, FetchesTheFileUnderItsFixedName) {
    run();
    const Bytes &open = master.primary.seen.at(0).payload;
    ASSERT_THAT(open, SizeIs(144));
    EXPECT_EQ(Bytes(open.begin(), open.begin() + 15), kCardName);
    EXPECT_EQ(open[128], 'r');
}

TEST_F(FoeRead, RecordNamesSlaveCardFileAndSlaveFile) {
    run();
    EXPECT_EQ(foe_request().payload, foe_record(0x0102, "app.efw"));
    EXPECT_THAT(foe_request().payload, SizeIs(258));
}

TEST_F(FoeRead, CleanUpCarriesTheNameWithItsTerminator) {
    run();
    EXPECT_EQ(clean_up().code, 49);
    EXPECT_EQ(clean_up().payload, kCardName);
}

TEST_F(FoeRead, EmptyFileMakesAnEmptyFile) {
    store({});
    EXPECT_EQ(run(), 0U);
    EXPECT_TRUE(fs::exists(path));
    EXPECT_TRUE(host_file().empty());
}

TEST_F(FoeRead, FormerContentOfTheHostsFileIsGone) {
    write_host(counted(500));
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(host_file(), counted(100));
}

TEST_F(FoeRead, FileBeyond25MebibytesIsFetched) {
    constexpr uint32_t kChunks = 257; // of 102,384 bytes each
    master.replies[4] = {{.payload = bytes_of(kChunks * 102384)}};
    master.replies[3] = {{.payload = Bytes(102384, 7)}};
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(fs::file_size(path), uint64_t{kChunks} * 102384);
}

TEST_F(FoeRead, NameOf127CharactersIsAccepted) {
    name.assign(127, 'n');
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(foe_request().payload, foe_record(0x0102, name));
    EXPECT_EQ(foe_request().payload.back(), 0);
}

TEST_F(FoeRead, NameOf128CharactersGives80000) {
    name.assign(128, 'n');
    EXPECT_EQ(run(), 80000U);
    EXPECT_TRUE(master.nothing_happened());
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(FoeRead, EmptyNameIsSentAsItIs) {
    name.clear();
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(foe_request().payload, foe_record(0x0102, ""));
}

TEST_F(FoeRead, NullNameIsRefused) {
    EXPECT_EQ(EcatFoERead(master.handle(), 1, path.c_str(), nullptr), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(FoeRead, NullHandleComesFirst) {
    name.assign(128, 'n');
    EXPECT_EQ(run(nullptr), 80013U);
    EXPECT_EQ(EcatFoERead(nullptr, 1, nullptr, nullptr), 80013U);
}

TEST_F(FoeRead, StatusOfTheSlavePassesThroughCleansUpAndLeavesTheHostsFile) {
    write_host(counted(3));
    master.replies[15] = {{.status = 34199}};
    EXPECT_EQ(run(), 34199U);
    EXPECT_THAT(master.log, ElementsAre("secondary 15 under secondary", kCleanUp));
    EXPECT_EQ(clean_up().payload, kCardName);
    EXPECT_EQ(host_file(), counted(3));
    EXPECT_TRUE(master.all_released());
}

TEST_F(FoeRead, AnswerWithDataGives80002AndTheCardIsCleanedUp) {
    master.replies[15] = {{.payload = {1}}};
    EXPECT_EQ(run(), 80002U);
    EXPECT_THAT(master.log, ElementsAre("secondary 15 under secondary", kCleanUp));
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(FoeRead, NoAnswerGives80003AfterTheHandlesTimeOutAndTheCardIsCleanedUp) {
    master.replies[15] = {};
    const uint64_t start = master.primary.now_ms();
    EXPECT_EQ(run(), 80003U);
    EXPECT_EQ(master.primary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_THAT(master.log, ElementsAre("secondary 15 under secondary", kCleanUp));
    EXPECT_TRUE(master.all_released());
}

TEST_F(FoeRead, SmallSlotGives80001AfterTheHandlesTimeOutAndTheCardIsCleanedUp) {
    FakeMaster small({}, {.slot_size = 273});
    const uint64_t start = small.primary.now_ms();
    EXPECT_EQ(run(small.handle()), 80001U);
    EXPECT_EQ(small.primary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_THAT(small.log, ElementsAre(kCleanUp));
    EXPECT_TRUE(small.all_released());
}

TEST_F(FoeRead, SlotOf274BytesIsLargeEnough) {
    FakeMaster exact({}, {.slot_size = 274});
    exact.replies = master.replies;
    EXPECT_EQ(run(exact.handle()), 0U);
    EXPECT_THAT(exact.secondary.codes(), ElementsAre(15, 49));
}

TEST_F(FoeRead, EveryFailureOnTheWayToTheHostIsTheTransfersAndTheCardIsCleanedUp) {
    for (const int code : {1, 3, 4, 5}) {
        FakeMaster other;
        other.replies = master.replies;
        other.replies[code] = {{.status = 32849}};
        EXPECT_EQ(run(other.handle()), 0xFFFFFFFFU) << code;
        EXPECT_EQ(other.log.back(), kCleanUp) << code;
        EXPECT_TRUE(other.all_released()) << code;
    }
}

TEST_F(FoeRead, HostFileThatCannotBeCreatedFailsAfterTheSlaveWasAsked) {
    path = "no such folder/host.bin";
    EXPECT_EQ(run(), 0xFFFFFFFFU);
    EXPECT_THAT(master.log, ElementsAre("secondary 15 under secondary", kCleanUp));
    EXPECT_TRUE(master.all_released());
}

TEST_F(FoeRead, FolderInPlaceOfTheHostsFileFails) {
    fs::create_directory(path);
    EXPECT_EQ(run(), 0xFFFFFFFFU);
    EXPECT_THAT(master.log, ElementsAre("secondary 15 under secondary", kCleanUp));
}

TEST_F(FoeRead, NullPathIsAFileThatCannotBeCreated) {
    EXPECT_EQ(EcatFoERead(master.handle(), 1, nullptr, "n"), 0xFFFFFFFFU);
    EXPECT_THAT(master.log, ElementsAre("secondary 15 under secondary", kCleanUp));
}

TEST_F(FoeRead, StatusOfTheCleanUpIsIgnored) {
    for (const std::vector<Reply> &reply :
         {std::vector<Reply>{{.status = 32848}}, {{.payload = {1}}}, {}}) {
        master.replies[49] = reply;
        EXPECT_EQ(run(), 0U);
        EXPECT_TRUE(master.all_released());
    }
}

} // namespace
