// The virtual card's flash and its firmware update.
#include "card/manual_clock.h"
#include "support/temp_dir.h"

#include "vcard/firmware/crc32.h"
#include "vcard/firmware/update_image.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

using namespace tarn::test;
using tarn::vcard::CardConfig;
using tarn::vcard::check_update_image;
using tarn::vcard::ImageOptions;
using tarn::vcard::make_update_image;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace fs = std::filesystem;

namespace {

constexpr uint32_t kFlashSize = 16U << 20;
constexpr uint32_t kFileSize = kFlashSize + 4096;
constexpr uint32_t kLargestRead = 102384;

Bytes range(uint32_t address, uint32_t length) {
    Bytes payload = bytes_of(address);
    const Bytes second = bytes_of(length);
    payload.insert(payload.end(), second.begin(), second.end());
    return payload;
}

Bytes at(uint32_t address, const Bytes &data) {
    Bytes payload = bytes_of(address);
    payload.insert(payload.end(), data.begin(), data.end());
    return payload;
}

// A card and what a host does with its flash.
class FlashCard {
  public:
    explicit FlashCard(const CardConfig &config = BoardBench::quick()) : card_(config) {}

    Answer read(uint32_t address, uint32_t length) { return card_.ask(44, range(address, length)); }
    uint32_t write(uint32_t address, const Bytes &data) {
        return card_.ask(45, at(address, data)).status;
    }
    uint32_t erase(uint32_t address, uint32_t length) {
        return card_.ask(46, range(address, length)).status;
    }
    // Sends an image and has it checked.
    uint32_t update(const Bytes &image) {
        const uint32_t sent = card_.bench().send_file("updateFile", image, 0, false);
        return sent != 0 ? sent : apply();
    }
    uint32_t apply() { return card_.ask(33).status; }
    std::string version() { return card_.text(0x008); }
    BoardBench &card() { return card_; }

  private:
    BoardBench card_;
};

class FirmwareFlash : public testing::Test {
  protected:
    FlashCard card;
};

// Cards with one file, one after the other.
class FirmwareFlashFile : public testing::Test {
  protected:
    CardConfig config() const {
        CardConfig config = BoardBench::quick();
        config.flash_file = path().string();
        return config;
    }
    fs::path path() const { return folder_.path() / "card.flash"; }
    fs::path bad() const { return folder_.path() / "card.flash.bad"; }
    Bytes content() const {
        std::ifstream file(path(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void put(const Bytes &bytes) const {
        std::ofstream file(path(), std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char *>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    }
    // A flash file with 0x12 0x34 at address 5000 and an applied update to 1.14.0.
    void make_file() const {
        FlashCard card(config());
        ASSERT_EQ(card.write(5000, {0x12, 0x34}), 0U);
        ASSERT_EQ(card.update(image("1.14.0")), 0U);
        card.card().reset();
        ASSERT_EQ(card.version(), "1.14.0");
    }
    static Bytes image(const std::string &version, const std::string &broken = "") {
        ImageOptions options;
        options.version = version;
        options.size = 3000;
        options.broken = broken;
        return make_update_image(options);
    }

    TempDir folder_;
};

Bytes image(const std::string &version, const std::string &broken = "", uint32_t size = 300000) {
    ImageOptions options;
    options.version = version;
    options.size = size;
    options.broken = broken;
    return make_update_image(options);
}

} // namespace

// ---- flash -----------------------------------------------------------------------------------

TEST_F(FirmwareFlash, IsErasedAtFirst) {
    EXPECT_THAT(card.read(0, 1000).payload, Each(0xFF));
    EXPECT_THAT(card.read(kFlashSize - 100, 100).payload, SizeIs(100));
    EXPECT_THAT(card.read(kFlashSize - 100, 100).payload, Each(0xFF));
}

TEST_F(FirmwareFlash, KeepsWhatIsWritten) {
    EXPECT_EQ(card.write(4094, {1, 2, 3, 4}), 0U);
    EXPECT_THAT(card.read(4093, 6).payload, ElementsAre(0xFF, 1, 2, 3, 4, 0xFF));
}

TEST_F(FirmwareFlash, WriteClearsBitsOnly) {
    EXPECT_EQ(card.write(10, {0xF0, 0x0F}), 0U);
    EXPECT_EQ(card.write(10, {0x3C, 0xFF}), 0U);
    EXPECT_THAT(card.read(10, 2).payload, ElementsAre(0x30, 0x0F));
}

TEST_F(FirmwareFlash, EraseReachesWholeSectors) {
    for (const uint32_t address : {4095U, 4096U, 8191U, 8192U, 12288U}) {
        card.write(address, {0});
    }
    EXPECT_EQ(card.erase(8191, 2), 0U);
    EXPECT_THAT(card.read(4095, 1).payload, ElementsAre(0));
    EXPECT_THAT(card.read(4096, 8192).payload, Each(0xFF));
    EXPECT_THAT(card.read(12288, 1).payload, ElementsAre(0));
}

TEST_F(FirmwareFlash, EraseOfNothingErasesNothing) {
    card.write(0, {0});
    EXPECT_EQ(card.erase(0, 0), 0U);
    EXPECT_THAT(card.read(0, 1).payload, ElementsAre(0));
}

TEST_F(FirmwareFlash, WholeFlashIsErasedInOneCommand) {
    card.write(0, {0});
    card.write(kFlashSize - 1, {0});
    EXPECT_EQ(card.erase(0, kFlashSize), 0U);
    EXPECT_THAT(card.read(0, 1).payload, ElementsAre(0xFF));
    EXPECT_THAT(card.read(kFlashSize - 1, 1).payload, ElementsAre(0xFF));
}

TEST_F(FirmwareFlash, LastByteIsInside) {
    EXPECT_EQ(card.write(kFlashSize - 1, {7}), 0U);
    EXPECT_THAT(card.read(kFlashSize - 1, 1).payload, ElementsAre(7));
    EXPECT_EQ(card.erase(kFlashSize - 1, 1), 0U);
    EXPECT_THAT(card.read(kFlashSize - 1, 1).payload, ElementsAre(0xFF));
}

TEST_F(FirmwareFlash, BeyondTheEndIsRefused) {
    EXPECT_EQ(card.read(kFlashSize - 1, 2).status, 32827U);
    EXPECT_EQ(card.read(kFlashSize, 1).status, 32827U);
    EXPECT_EQ(card.read(0xFFFFFFFF, 2).status, 32827U);
    EXPECT_EQ(card.erase(kFlashSize - 1, 2), 32827U);
    EXPECT_EQ(card.erase(0, kFlashSize + 1), 32827U);
    EXPECT_EQ(card.erase(0xFFFFFFFF, 0xFFFFFFFF), 32827U);
    EXPECT_EQ(card.write(kFlashSize, {1}), 32827U);
}

TEST_F(FirmwareFlash, WriteAcrossTheEndWritesNothing) {
    EXPECT_EQ(card.write(kFlashSize - 1, {1, 2}), 32827U);
    EXPECT_THAT(card.read(kFlashSize - 1, 1).payload, ElementsAre(0xFF));
}

TEST_F(FirmwareFlash, NothingAtTheVeryEndIsAllowed) {
    EXPECT_EQ(card.read(kFlashSize, 0).status, 0U);
    EXPECT_EQ(card.write(kFlashSize, {}), 0U);
    EXPECT_EQ(card.erase(kFlashSize, 0), 0U);
}

TEST_F(FirmwareFlash, EmptyReadAndWriteAreFine) {
    EXPECT_EQ(card.write(0, {}), 0U);
    const Answer answer = card.read(0, 0);
    EXPECT_EQ(answer.status, 0U);
    EXPECT_THAT(answer.payload, IsEmpty());
}

TEST_F(FirmwareFlash, ReadIsLimitedByTheSlot) {
    EXPECT_THAT(card.read(1, kLargestRead).payload, SizeIs(kLargestRead));
    EXPECT_EQ(card.read(1, kLargestRead + 1).status, 32807U);
    CardConfig config = BoardBench::quick();
    config.rings = {2, 64};
    FlashCard small(config);
    EXPECT_THAT(small.read(0, 48).payload, SizeIs(48));
    EXPECT_EQ(small.read(0, 49).status, 32807U);
}

TEST_F(FirmwareFlash, WriteFillsASlot) {
    const Bytes data(kLargestRead - 4, 0x5A);
    EXPECT_EQ(card.write(12345, data), 0U);
    EXPECT_EQ(card.read(12345, kLargestRead - 4).payload, data);
}

TEST_F(FirmwareFlash, RequestsOfOtherLengthsAreRefused) {
    EXPECT_EQ(card.card().ask(44, Bytes(7)).status, 32770U);
    EXPECT_EQ(card.card().ask(44, Bytes(9)).status, 32770U);
    EXPECT_EQ(card.card().ask(46, Bytes(4)).status, 32770U);
    EXPECT_EQ(card.card().ask(45, Bytes(3)).status, 34360U);
    EXPECT_EQ(card.card().ask(45).status, 34360U);
}

TEST_F(FirmwareFlash, OutlivesAReset) {
    card.write(100, {9});
    card.card().reset();
    EXPECT_THAT(card.read(100, 1).payload, ElementsAre(9));
}

// ---- flash file ------------------------------------------------------------------------------

TEST_F(FirmwareFlashFile, IsMadeByTheFirstWriteOnly) {
    FlashCard card(config());
    card.read(0, 10);
    EXPECT_FALSE(fs::exists(path()));
    card.write(0, {1});
    EXPECT_EQ(fs::file_size(path()), kFileSize);
    EXPECT_FALSE(fs::exists(path().string() + ".new"));
}

TEST_F(FirmwareFlashFile, KeepsTheFlashForTheNextCard) {
    make_file();
    FlashCard card(config());
    EXPECT_THAT(card.read(4999, 4).payload, ElementsAre(0xFF, 0x12, 0x34, 0xFF));
}

TEST_F(FirmwareFlashFile, HasEachCommandOnceItIsAnswered) {
    FlashCard card(config());
    ASSERT_EQ(card.write(77, {0xAB}), 0U);
    EXPECT_EQ(content()[4096 + 77], 0xAB);
    ASSERT_EQ(card.erase(0, 1), 0U);
    EXPECT_EQ(content()[4096 + 77], 0xFF);
}

TEST_F(FirmwareFlashFile, IsWrittenInPlaceByTheNextCard) {
    make_file();
    FlashCard card(config());
    ASSERT_EQ(card.write(5002, {0x56}), 0U);
    const Bytes bytes = content();
    ASSERT_EQ(bytes.size(), kFileSize);
    EXPECT_EQ(bytes[4096 + 5001], 0x34);
    EXPECT_EQ(bytes[4096 + 5002], 0x56);
    EXPECT_EQ(card.version(), "1.14.0");
}

TEST_F(FirmwareFlashFile, ShortFileIsTakenAsErasedAtTheEnd) {
    make_file();
    Bytes bytes = content();
    bytes.resize(4096 + 5001);
    put(bytes);
    FlashCard card(config());
    EXPECT_TRUE(card.card().bench().logged("is short"));
    EXPECT_THAT(card.read(5000, 2).payload, ElementsAre(0x12, 0xFF));
    EXPECT_EQ(card.version(), "1.14.0");
    EXPECT_EQ(card.write(6000, {1}), 0U);
    EXPECT_EQ(fs::file_size(path()), kFileSize);
    EXPECT_EQ(content()[4096 + 5000], 0x12);
}

TEST_F(FirmwareFlashFile, HeaderAloneIsAShortFile) {
    make_file();
    Bytes bytes = content();
    bytes.resize(4096);
    put(bytes);
    FlashCard card(config());
    EXPECT_TRUE(card.card().bench().logged("is short"));
    EXPECT_THAT(card.read(5000, 2).payload, Each(0xFF));
}

TEST_F(FirmwareFlashFile, DamagedHeaderIsSetAside) {
    make_file();
    for (const size_t damaged : {0U, 9U, 20U, 100U}) {
        Bytes bytes = content();
        bytes[damaged] ^= 1;
        put(bytes);
        FlashCard card(config());
        EXPECT_TRUE(card.card().bench().logged("is damaged")) << damaged;
        EXPECT_TRUE(fs::exists(bad()));
        EXPECT_FALSE(fs::exists(path()));
        EXPECT_THAT(card.read(5000, 2).payload, Each(0xFF));
        EXPECT_EQ(card.version(), "1.13.0");
        fs::remove(bad());
        make_file();
    }
}

TEST_F(FirmwareFlashFile, EmptyAndForeignFilesAreSetAside) {
    for (const size_t size : {0U, 1U, 4095U, 5000U}) {
        put(Bytes(size, 'x'));
        FlashCard card(config());
        EXPECT_TRUE(card.card().bench().logged("is damaged")) << size;
        EXPECT_EQ(fs::file_size(bad()), size);
        EXPECT_EQ(card.write(0, {1}), 0U);
    }
}

TEST_F(FirmwareFlashFile, DamagedFileThatCannotBeSetAsideIsNotUsed) {
    make_file();
    fs::create_directory(bad());
    std::ofstream(bad() / "occupied") << "x";
    std::fstream(path(), std::ios::binary | std::ios::in | std::ios::out) << 'x';
    FlashCard card(config());
    EXPECT_TRUE(card.card().bench().logged("the first write replaces the file"));
    EXPECT_THAT(card.read(5000, 2).payload, Each(0xFF));
    ASSERT_EQ(card.write(6000, {1}), 0U);
    FlashCard next(config());
    EXPECT_THAT(next.read(5000, 2).payload, Each(0xFF));
    EXPECT_THAT(next.read(6000, 1).payload, ElementsAre(1));
}

TEST_F(FirmwareFlashFile, LargerFileIsUsed) {
    make_file();
    Bytes bytes = content();
    bytes.resize(kFileSize + 100);
    put(bytes);
    FlashCard card(config());
    EXPECT_THAT(card.read(5000, 2).payload, ElementsAre(0x12, 0x34));
    EXPECT_EQ(card.write(kFlashSize - 1, {1}), 0U);
}

TEST_F(FirmwareFlashFile, FolderInItsPlaceRefusesWrites) {
    fs::create_directory(path());
    FlashCard card(config());
    EXPECT_TRUE(card.card().bench().logged("cannot be read"));
    EXPECT_THAT(card.read(0, 4).payload, Each(0xFF));
    EXPECT_EQ(card.write(0, {1}), 32849U);
    EXPECT_EQ(card.erase(0, 1), 32849U);
    EXPECT_THAT(card.read(0, 1).payload, ElementsAre(0xFF));
    EXPECT_TRUE(fs::is_directory(path()));
}

TEST_F(FirmwareFlashFile, FolderThatIsMissingRefusesWritesAndUpdates) {
    CardConfig nowhere = config();
    nowhere.flash_file = (folder_.path() / "no" / "card.flash").string();
    FlashCard card(nowhere);
    EXPECT_EQ(card.write(0, {1}), 32849U);
    EXPECT_TRUE(card.card().bench().logged("cannot be written"));
    EXPECT_EQ(card.update(image("1.14.0")), 32849U);
    card.card().reset();
    EXPECT_EQ(card.version(), "1.13.0");
}

// ---- update ----------------------------------------------------------------------------------

TEST_F(FirmwareFlash, UpdateChangesTheVersionWithTheReset) {
    EXPECT_EQ(card.update(image("1.14.0")), 0U);
    EXPECT_EQ(card.version(), "1.13.0");
    EXPECT_THAT(card.card().firmware().describe_board(),
                HasSubstr("firmware 1.14.0 comes with the next reset"));
    card.card().reset();
    EXPECT_EQ(card.version(), "1.14.0");
    EXPECT_EQ(card.card().firmware().config().firmware_version, "1.14.0");
    EXPECT_TRUE(card.card().bench().logged("firmware updated from 1.13.0 to 1.14.0"));
}

TEST_F(FirmwareFlash, UpdatedFirmwareNamesItsVersionEverywhere) {
    card.update(image("1.14.0"));
    card.card().reset();
    const Bytes build = card.card().bench().ask(101).payload;
    EXPECT_THAT(std::string(build.begin(), build.end()), HasSubstr("1.14.0"));
}

TEST_F(FirmwareFlash, UpdateOutlivesFurtherResets) {
    card.update(image("1.14.0"));
    card.card().reset();
    card.card().reset();
    EXPECT_EQ(card.version(), "1.14.0");
}

TEST_F(FirmwareFlash, SecondUpdateReplacesTheFirst) {
    card.update(image("1.14.0"));
    EXPECT_EQ(card.update(image("1.15.0")), 0U);
    card.card().reset();
    EXPECT_EQ(card.version(), "1.15.0");
    EXPECT_EQ(card.update(image("1.13.0")), 0U);
    card.card().reset();
    EXPECT_EQ(card.version(), "1.13.0");
}

TEST_F(FirmwareFlash, AppliedImageIsUsedUp) {
    card.update(image("1.14.0"));
    card.card().reset();
    EXPECT_EQ(card.apply(), 32848U);
}

TEST_F(FirmwareFlash, VersionOfThirtyOneCharactersFits) {
    const std::string version(31, '7');
    EXPECT_EQ(card.update(image(version)), 0U);
    card.card().reset();
    EXPECT_EQ(card.version(), version);
}

TEST_F(FirmwareFlash, UpdateWithoutAnImageIsRefused) {
    EXPECT_EQ(card.apply(), 32848U);
}

TEST_F(FirmwareFlash, ImageInTheSecondChannelsStoreIsNoUpdate) {
    card.card().bench().send_file("updateFile", image("1.14.0"), 1, false);
    EXPECT_EQ(card.apply(), 32848U);
}

TEST_F(FirmwareFlash, EveryBrokenImageIsRefusedAndTheOldFirmwareStays) {
    const std::vector<std::pair<const char *, uint32_t>> expected = {
        {"short", 34358},    {"magic", 32853}, {"format", 32853}, {"length", 34360},
        {"checksum", 32839}, {"model", 32811}, {"version", 32807}};
    ASSERT_EQ(expected.size(), tarn::vcard::broken_image_kinds().size());
    for (const auto &[kind, status] : expected) {
        EXPECT_EQ(card.update(image("1.14.0", kind)), status) << kind;
        card.card().reset();
        EXPECT_EQ(card.version(), "1.13.0") << kind;
    }
}

TEST_F(FirmwareFlash, EmptyFileIsNoImage) {
    EXPECT_EQ(card.update({}), 34358U);
}

TEST_F(FirmwareFlash, ImageWithBytesTooManyIsRefused) {
    Bytes bytes = image("1.14.0");
    bytes.push_back(0);
    EXPECT_EQ(card.update(bytes), 34360U);
}

TEST_F(FirmwareFlash, EveryByteOfAnImageCounts) {
    const Bytes good = image("1.14.0", "", 200);
    for (size_t i = 0; i < good.size(); ++i) {
        Bytes bad = good;
        bad[i] ^= 0x40;
        EXPECT_NE(card.update(bad), 0U) << i;
    }
    EXPECT_EQ(card.update(good), 0U);
}

TEST_F(FirmwareFlash, RefusedImageLeavesAnEarlierGoodOneToCome) {
    card.update(image("1.14.0"));
    EXPECT_EQ(card.update(image("1.15.0", "checksum")), 32839U);
    card.card().reset();
    EXPECT_EQ(card.version(), "1.14.0");
}

TEST_F(FirmwareFlash, DownloadThatBreaksOffIsNoImage) {
    const Bytes bytes = image("1.14.0");
    card.card().ask(1, open_record("updateFile", 'w'));
    card.card().ask(2, Bytes(bytes.begin(), bytes.begin() + 100000));
    card.card().reset(); // the power came back
    EXPECT_EQ(card.apply(), 32848U);
    EXPECT_EQ(card.version(), "1.13.0");
}

TEST_F(FirmwareFlash, DownloadWithARefusedChunkIsNoImage) {
    card.card().firmware().faults().refuse_chunks = true;
    EXPECT_EQ(card.update(image("1.14.0")), 32849U);
    card.card().firmware().faults().refuse_chunks = false;
    EXPECT_EQ(card.apply(), 32848U);
}

TEST_F(FirmwareFlash, ImageOfTwentyMebibytesIsTaken) {
    EXPECT_EQ(card.update(image("2.0.0", "", 20U << 20)), 0U);
    card.card().reset();
    EXPECT_EQ(card.version(), "2.0.0");
}

TEST_F(FirmwareFlash, ImageForAnotherModelCanBeMade) {
    CardConfig config = BoardBench::quick();
    config.model = "TARN-2";
    FlashCard other(config);
    EXPECT_EQ(other.update(image("1.14.0")), 32811U);
    ImageOptions options;
    options.version = "1.14.0";
    options.model = "TARN-2";
    EXPECT_EQ(other.update(make_update_image(options)), 0U);
}

TEST_F(FirmwareFlashFile, UpdateOutlivesTheService) {
    make_file();
    EXPECT_EQ(FlashCard(config()).version(), "1.14.0");
}

TEST_F(FirmwareFlashFile, AcceptedUpdateComesWithTheNextStart) {
    ASSERT_EQ(FlashCard(config()).update(image("1.14.0")), 0U);
    FlashCard card(config());
    EXPECT_EQ(card.version(), "1.14.0");
    card.card().reset();
    EXPECT_EQ(card.version(), "1.14.0");
}

TEST_F(FirmwareFlashFile, DownloadWithoutItsCommandLeavesTheOldFirmware) {
    {
        FlashCard card(config());
        ASSERT_EQ(card.card().bench().send_file("updateFile", image("1.14.0"), 0, false), 0U);
    }
    EXPECT_EQ(FlashCard(config()).version(), "1.13.0");
}

TEST_F(FirmwareFlashFile, AnotherConfiguredFirmwareWins) {
    make_file();
    CardConfig other = config();
    other.firmware_version = "1.12.0";
    {
        FlashCard card(other);
        EXPECT_EQ(card.version(), "1.12.0");
        EXPECT_TRUE(card.card().bench().logged("update from 1.13.0 forgotten"));
        EXPECT_THAT(card.read(5000, 2).payload, ElementsAre(0x12, 0x34));
    }
    EXPECT_EQ(FlashCard(config()).version(), "1.13.0");
}

TEST_F(FirmwareFlashFile, SameConfiguredFirmwareKeepsTheUpdate) {
    make_file();
    CardConfig same = config();
    same.firmware_version = "1.13.0";
    EXPECT_EQ(FlashCard(same).version(), "1.14.0");
}

// ---- images ----------------------------------------------------------------------------------

TEST(UpdateImage, HasTheSizeAskedFor) {
    for (const uint32_t size : {97U, 1000U, 0x900000U, 0x900001U}) {
        EXPECT_THAT(image("1.14.0", "", size), SizeIs(size));
    }
}

TEST(UpdateImage, LiesInTheFileAsDocumented) {
    const Bytes bytes = image("1.14.0", "", 200);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 8), "TARN\r\n\x1A\n");
    EXPECT_STREQ(reinterpret_cast<const char *>(bytes.data() + 16), "1.14.0");
    EXPECT_STREQ(reinterpret_cast<const char *>(bytes.data() + 48), "tarn virtual EtherCAT card");
    EXPECT_EQ(bytes[80], 200 - 96);
}

TEST(UpdateImage, BrokenModelIsAlwaysAnotherModel) {
    for (const std::string model : {"tarn virtual EtherCAT card", "another card", " ", "_", "a"}) {
        ImageOptions options;
        options.version = "1.14.0";
        options.model = model;
        EXPECT_EQ(check_update_image(make_update_image(options), model).status, 0U) << model;
        options.broken = "model";
        EXPECT_EQ(check_update_image(make_update_image(options), model).status, 32811U) << model;
    }
}

TEST(UpdateImage, HoldsBytesOfAllValues) {
    const Bytes bytes = image("1.14.0", "", 65536);
    EXPECT_EQ(std::set<uint8_t>(bytes.begin(), bytes.end()).size(), 256U);
}

TEST(UpdateImage, ImpossibleOptionsAreRefused) {
    EXPECT_THROW(image(""), std::invalid_argument);
    EXPECT_THROW(image(std::string(32, '1')), std::invalid_argument);
    EXPECT_THROW(image("1.14\n"), std::invalid_argument);
    EXPECT_THROW(image("1.14.0", "", 96), std::invalid_argument);
    EXPECT_THROW(image("1.14.0", "burnt"), std::invalid_argument);
}

TEST(Crc32, GivesTheStandardValue) {
    const std::string text = "123456789";
    const Bytes bytes(text.begin(), text.end());
    EXPECT_EQ(tarn::vcard::crc32(bytes), 0xCBF43926U);
    const std::span<const uint8_t> all(bytes);
    EXPECT_EQ(tarn::vcard::crc32(all.subspan(4), tarn::vcard::crc32(all.first(4))), 0xCBF43926U);
    EXPECT_EQ(tarn::vcard::crc32({}), 0U);
}
