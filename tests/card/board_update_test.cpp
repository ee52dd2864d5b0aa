// Files to and from the card, and firmware updates.
#include "board_io_fixture.h"
#include "vcard/firmware/update_image.h"

#include <filesystem>
#include <functional>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace tarn;
using namespace tarn::test;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kFileLimit = 0x500000;
constexpr uint32_t kUpdateLimit = 0x900000;
constexpr uint32_t kUploadFailed = 0xFFFFFFFF;

// What a callback was told.
struct Progress {
    std::vector<float> fractions;
    std::function<void(float)> then = [](float) {};

    static void called(void *progress, float fraction) {
        auto &self = *static_cast<Progress *>(progress);
        self.fractions.push_back(fraction);
        self.then(fraction);
    }
};

void expect_rise_to_one(const std::vector<float> &fractions) {
    ASSERT_FALSE(fractions.empty());
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    EXPECT_EQ(fractions.back(), 1.0F);
}

class TransferTest : public BoardTest {
  protected:
    explicit TransferTest(const vcard::CardConfig &config = quick_card()) : BoardTest(config) {}

    uint32_t download(const char *local = "host.bin", const char *remote = "card.bin") {
        return BoardFileDownload(handle_, local, remote, Progress::called, &progress_);
    }
    uint32_t upload(const char *local = "back.bin", const char *remote = "card.bin") {
        return BoardFileUpload(handle_, local, remote, Progress::called, &progress_);
    }
    uint32_t update(const char *local = "firmware.bin") {
        return BoardUpdateEx(handle_, local, Progress::called, &progress_);
    }

    static std::string name_of(const vcard::SeenRequest &open) {
        return reinterpret_cast<const char *>(open.payload.data());
    }

    // Runs the call while another thread holds the board's mailbox, and removes the file before the
    // mailbox is free. The call most likely waits by then; where it comes later the result is the
    // same.
    uint32_t with_file_that_vanishes(const char *path, const std::function<uint32_t()> &call) {
        uint32_t status = 0;
        driverLock(handle_->channel.lock);
        std::thread caller([&] { status = call(); });
        __usleep_window(50000);
        fs::remove(path);
        driverUnlock(handle_->channel.lock);
        caller.join();
        return status;
    }

    Progress progress_;
};

// ---- files -------------------------------------------------------------------------------------

class BoardFile : public TransferTest {};

TEST_F(BoardFile, ComesBackAsItWasSent) {
    for (const size_t size : {size_t{1}, size_t{102384}, size_t{102385}, size_t{300000}}) {
        const std::vector<uint8_t> bytes = bytes_of(size);
        write_file("host.bin", bytes);
        EXPECT_EQ(download(), 0U);
        EXPECT_EQ(upload(), 0U);
        EXPECT_EQ(read_file("back.bin"), bytes) << size;
    }
}

TEST_F(BoardFile, EmptyFileComesBackEmpty) {
    write_file("host.bin", {});
    write_file("back.bin", bytes_of(10));
    EXPECT_EQ(download(), 0U);
    EXPECT_EQ(upload(), 0U);
    EXPECT_TRUE(read_file("back.bin").empty());
    EXPECT_THAT(seen_codes(), ElementsAre(1, 5, 1, 4, 5));
    EXPECT_THAT(progress_.fractions, IsEmpty());
}

TEST_F(BoardFile, DownloadGoesUnderTheNameGivenThroughTheBoardsMailbox) {
    write_file("host.bin", bytes_of(10));
    EXPECT_EQ(download("host.bin", "a name.txt"), 0U);
    const std::vector<vcard::SeenRequest> seen = firmware().seen();
    ASSERT_THAT(seen_codes(), ElementsAre(1, 2, 5));
    EXPECT_EQ(name_of(seen[0]), "a name.txt");
    EXPECT_EQ(seen[0].payload[128], 'w');
    for (const vcard::SeenRequest &request : seen) {
        EXPECT_EQ(request.channel, 0U);
        EXPECT_FALSE(request.primary);
    }
}

TEST_F(BoardFile, ProgressRisesToOneBothWays) {
    write_file("host.bin", bytes_of(300000));
    EXPECT_EQ(download(), 0U);
    EXPECT_EQ(progress_.fractions.size(), 3U);
    expect_rise_to_one(progress_.fractions);
    progress_.fractions.clear();
    EXPECT_EQ(upload(), 0U);
    EXPECT_EQ(progress_.fractions.size(), 3U);
    expect_rise_to_one(progress_.fractions);
}

TEST_F(BoardFile, ProgressMayBeMissing) {
    write_file("host.bin", bytes_of(300000));
    EXPECT_EQ(BoardFileDownload(handle_, "host.bin", "card.bin", nullptr, nullptr), 0U);
    EXPECT_EQ(BoardFileUpload(handle_, "back.bin", "card.bin", nullptr, nullptr), 0U);
    EXPECT_EQ(read_file("back.bin"), read_file("host.bin"));
}

TEST_F(BoardFile, FiveMebibytesAreAccepted) {
    const std::vector<uint8_t> bytes = bytes_of(kFileLimit);
    write_file("host.bin", bytes);
    EXPECT_EQ(download(), 0U);
    EXPECT_EQ(upload(), 0U);
    EXPECT_EQ(read_file("back.bin"), bytes);
}

TEST_F(BoardFile, OneByteMoreGives80007) {
    write_zeros("host.bin", kFileLimit + 1);
    EXPECT_EQ(download(), 80007U);
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

TEST_F(BoardFile, UnlimitedSizeIsForUpdatesOnly) {
    write_zeros("host.bin", kFileLimit + 1);
    BoardUpdateUnlimitSize();
    EXPECT_EQ(download(), 80007U);
}

TEST_F(BoardFile, LargestMeasurableFileIsTooBig) {
    write_zeros("host.bin", 0x7FFFFFFF);
    EXPECT_EQ(download(), 80007U);
}

TEST_F(BoardFile, TwoGibibytesCannotBeMeasured) {
    write_zeros("host.bin", 0x80000000);
    const StdoutCapture capture;
    EXPECT_EQ(download(), 32848U);
    EXPECT_EQ(capture.text(), "Sorry. Can not cqalculate files which larger than 2GB\n");
}

TEST_F(BoardFile, FourGibibytesAreNotTakenForNone) {
    write_zeros("host.bin", 0x100000000);
    EXPECT_EQ(download(), 32848U);
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

TEST_F(BoardFile, MissingFileGives32848AndIsNamed) {
    const StdoutCapture capture;
    EXPECT_EQ(download("missing.bin"), 32848U);
    EXPECT_EQ(capture.text(), "File:missing.bin not found.");
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

TEST_F(BoardFile, MissingPathGives32848) {
    const StdoutCapture capture;
    EXPECT_EQ(download(nullptr), 32848U);
    EXPECT_EQ(capture.text(), "File:(null) not found.");
}

TEST_F(BoardFile, FolderGives32848) {
    fs::create_directory("folder");
    EXPECT_EQ(download("folder"), 32848U);
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

TEST_F(BoardFile, FileThatVanishesBeforeItsTransferGives32848) {
    write_file("host.bin", bytes_of(10));
    EXPECT_EQ(with_file_that_vanishes("host.bin", [this] { return download(); }), 32848U);
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

TEST_F(BoardFile, FileThatShrinksDuringItsTransferIsSentAsFarAsItGoes) {
    write_file("host.bin", bytes_of(300000));
    progress_.then = [](float) { fs::resize_file("host.bin", 102384); };
    EXPECT_EQ(download(), 0U);
    EXPECT_THAT(seen_codes(), ElementsAre(1, 2, 5));
    EXPECT_THAT(progress_.fractions, Each(testing::Lt(1.0F)));
}

TEST_F(BoardFile, MissingCardNameGives32770BeforeTheFileIsLookedAt) {
    const StdoutCapture capture;
    EXPECT_EQ(download("missing.bin", nullptr), 32770U);
    EXPECT_EQ(upload("back.bin", nullptr), 32770U);
    EXPECT_EQ(capture.text(), "");
    EXPECT_FALSE(fs::exists("back.bin"));
}

TEST_F(BoardFile, CardNameOf127CharactersIsAccepted) {
    const std::string name(127, 'n');
    write_file("host.bin", bytes_of(10));
    EXPECT_EQ(download("host.bin", name.c_str()), 0U);
    EXPECT_EQ(upload("back.bin", name.c_str()), 0U);
    EXPECT_EQ(read_file("back.bin"), bytes_of(10));
}

TEST_F(BoardFile, CardNameOf128CharactersGives80000) {
    const std::string name(128, 'n');
    write_file("host.bin", bytes_of(10));
    EXPECT_EQ(download("host.bin", name.c_str()), 80000U);
    EXPECT_EQ(upload("back.bin", name.c_str()), 80000U);
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

TEST_F(BoardFile, FileIsLookedAtBeforeTheLengthOfItsCardName) {
    const std::string name(128, 'n');
    EXPECT_EQ(download("missing.bin", name.c_str()), 32848U);
    write_zeros("host.bin", kFileLimit + 1);
    EXPECT_EQ(download("host.bin", name.c_str()), 80007U);
}

TEST_F(BoardFile, RefusedChunksMakeFiveAttemptsAndThenSuccess) {
    write_file("host.bin", bytes_of(10));
    firmware().faults().refuse_chunks = true;
    EXPECT_EQ(download(), 0U);
    EXPECT_THAT(seen_codes(), ElementsAre(1, 2, 5, 1, 2, 5, 1, 2, 5, 1, 2, 5, 1, 2, 5));
}

TEST_F(BoardFile, CardThatStopsAnsweringEndsInSuccessToo) {
    write_file("host.bin", bytes_of(10));
    BoardSetTimeout(handle_, 5);
    firmware().faults().stop_draining = true;
    EXPECT_EQ(download(), 0U);
}

TEST_F(BoardFile, UploadOfAFileThatTheCardDoesNotHaveFails) {
    EXPECT_EQ(upload("back.bin", "missing"), kUploadFailed);
    EXPECT_THAT(seen_codes(), ElementsAre(1));
}

TEST_F(BoardFile, UploadIntoAPlaceThatDoesNotExistFailsUnasked) {
    EXPECT_EQ(upload("missing/back.bin"), kUploadFailed);
    EXPECT_EQ(upload(nullptr), kUploadFailed);
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

TEST_F(BoardFile, UploadFailsWithItsFirstFailedRequest) {
    write_file("host.bin", bytes_of(300000));
    ASSERT_EQ(download(), 0U);
    for (const Command step :
         {Command::FileOpen, Command::FileSize, Command::FileRead, Command::FileClose}) {
        answer(step, 32850);
        EXPECT_EQ(upload(), kUploadFailed) << static_cast<int>(step);
    }
}

TEST_F(BoardFile, UploadThatIsNotAnsweredFails) {
    BoardSetTimeout(handle_, 20);
    firmware().faults().stop_draining = true;
    EXPECT_EQ(upload(), kUploadFailed);
}

TEST_F(BoardFile, TransferHoldsTheMailboxFromItsFirstToItsLastRequest) {
    write_file("host.bin", bytes_of(300000));
    std::thread other;
    progress_.then = [&](float) {
        if (!other.joinable()) {
            other = std::thread([this] { EXPECT_EQ(BoardLedCtrl(handle_, 1, 2), 0U); });
        }
    };
    EXPECT_EQ(download(), 0U);
    other.join();
    EXPECT_THAT(seen_codes(), ElementsAre(1, 2, 2, 2, 5, 43));
}

// Each call comes while another thread has the mailbox. Its requests must not be seen before that
// thread lets go of it.
TEST_F(BoardFile, EveryRequestToTheBoardWaitsForTheMailbox) {
    write_file("host.bin", bytes_of(10));
    char buffer[4] = {};
    const std::vector<std::pair<const char *, std::function<uint32_t()>>> calls = {
        {"LEDs", [this] { return BoardLedCtrl(handle_, 1, 2); }},
        {"trigger on", [this] { return BOARD_TIMEOUT_TRIGGER(handle_, 1); }},
        {"trigger off", [this] { return BOARD_TIMEOUT_TRIGGER(handle_, 0); }},
        {"flash erase", [this] { return BoardFlashErase(handle_, 0, 1); }},
        {"flash write", [this] { return BoardFlashWrite(handle_, 0, "x"); }},
        {"flash read", [&] { return BoardFlashRead(handle_, 0, sizeof buffer, buffer); }},
        {"download", [this] { return download(); }},
        {"upload", [this] { return upload(); }},
    };
    for (const auto &[name, call] : calls) {
        firmware().clear_seen();
        uint32_t status = 0;
        driverLock(handle_->channel.lock);
        std::thread caller([&status, &call = call] { status = call(); });
        __usleep_window(20000);
        const std::vector<uint16_t> early = seen_codes();
        driverUnlock(handle_->channel.lock);
        caller.join();
        EXPECT_THAT(early, IsEmpty()) << name;
        EXPECT_EQ(status, 0U) << name;
        EXPECT_FALSE(seen_codes().empty()) << name;
    }
}

TEST_F(BoardFile, UploadIntoAFolderFailsUnasked) {
    fs::create_directory("folder");
    EXPECT_EQ(upload("folder"), kUploadFailed);
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

// The rings lie behind the configuration block, in pages of their own.
TEST_F(BoardFile, DoorbellIsTheOnlyRegisterThatTransfersTouch) {
    if (!can_record_accesses()) {
        GTEST_SKIP() << "a thread sanitizer accesses memory on behalf of the program";
    }
    write_file("host.bin", bytes_of(300000));
    uint32_t statuses[3] = {};
    AccessRecorder recorder({{bar1(), 0x1000}, {bar2(), 0x1000}});
    statuses[0] = download();
    statuses[1] = upload();
    statuses[2] = update("host.bin");
    const std::vector<Access> accesses = recorder.stop();
    EXPECT_EQ(statuses[0], 0U);
    EXPECT_EQ(statuses[1], 0U);
    EXPECT_NE(statuses[2], 0U); // no firmware
    const size_t requests = firmware().seen().size();
    EXPECT_EQ(requests, size_t{5 + 6 + 6});
    expect_doorbells_only(accesses, requests);
}

// ---- firmware update ---------------------------------------------------------------------------

class BoardUpdate : public TransferTest {
  protected:
    BoardUpdate() : TransferTest(one_slot()) {}
    static vcard::CardConfig one_slot() {
        vcard::CardConfig config = quick_card();
        config.rings.slots = 1;
        return config;
    }

    static void write_image(const char *path, uint32_t size, const char *broken = "") {
        vcard::ImageOptions options;
        options.version = "2.5.7";
        options.size = size;
        options.broken = broken;
        write_file(path, vcard::make_update_image(options));
    }

    void expect_accepted(uint32_t status) {
        EXPECT_EQ(status, 0U);
        EXPECT_EQ(seen_count(Command::ApplyUpdate), 1U);
        firmware().clear_seen();
    }
    void expect_too_big(uint32_t status) {
        EXPECT_EQ(status, 80010U);
        EXPECT_THAT(firmware().seen(), IsEmpty());
    }

    std::string version() {
        BoardInfo info = {};
        return BoardGetInfo(handle_, &info) == 0 ? info.firmware_version : "";
    }
};

TEST_F(BoardUpdate, IsAFileAndARequestToApplyIt) {
    write_image("firmware.bin", 1000);
    EXPECT_EQ(::BoardUpdate(handle_, "firmware.bin"), 0U);
    ASSERT_THAT(seen_codes(), ElementsAre(1, 2, 5, 33));
    const std::vector<vcard::SeenRequest> seen = firmware().seen();
    EXPECT_EQ(name_of(seen[0]), "updateFile");
    EXPECT_EQ(seen[0].payload[128], 'w');
    EXPECT_THAT(seen[3].payload, IsEmpty());
    for (const vcard::SeenRequest &request : seen) {
        EXPECT_EQ(request.channel, 0U);
        EXPECT_FALSE(request.primary);
    }
}

TEST_F(BoardUpdate, NewFirmwareRunsAfterAReset) {
    write_image("firmware.bin", 1000);
    EXPECT_EQ(update(), 0U);
    EXPECT_NE(version(), "2.5.7");
    EXPECT_EQ(BoardReset(handle_), 0U);
    EXPECT_TRUE(eventually([this] {
        const StdoutCapture no_messages; // the card does not say what it is meanwhile
        return version() == "2.5.7";
    }));
}

TEST_F(BoardUpdate, BrokenImageIsRefusedWithTheFirmwaresStatus) {
    write_image("firmware.bin", 1000, "checksum");
    const uint32_t status =
        vcard::check_update_image(read_file("firmware.bin"), quick_card().model).status;
    EXPECT_NE(status, 0U);
    EXPECT_EQ(update(), status);
}

TEST_F(BoardUpdate, ProgressEndsWithOne) {
    write_image("firmware.bin", 300000);
    EXPECT_EQ(update(), 0U);
    EXPECT_EQ(progress_.fractions.size(), 3U);
    expect_rise_to_one(progress_.fractions);
}

TEST_F(BoardUpdate, NineMebibytesAreAcceptedThroughRingsOfOneSlot) {
    write_image("firmware.bin", kUpdateLimit);
    expect_accepted(update());
}

TEST_F(BoardUpdate, OneByteMoreGives80010) {
    write_image("firmware.bin", kUpdateLimit + 1);
    expect_too_big(update());
    expect_too_big(::BoardUpdate(handle_, "firmware.bin"));
}

TEST_F(BoardUpdate, OneByteMoreIsAcceptedOnceAfterTheLimitIsLifted) {
    write_image("firmware.bin", kUpdateLimit + 1);
    BoardUpdateUnlimitSize();
    expect_accepted(update());
    expect_too_big(update());
}

TEST_F(BoardUpdate, UnlimitedSizeHoldsForOneUpdate) {
    write_image("firmware.bin", 20U << 20);
    BoardUpdateUnlimitSize();
    expect_accepted(update());
    expect_too_big(update());
    BoardUpdateUnlimitSize();
    expect_accepted(::BoardUpdate(handle_, "firmware.bin"));
}

TEST_F(BoardUpdate, LimitIsLiftedOnceHoweverOftenItIsAsked) {
    write_image("firmware.bin", kUpdateLimit + 1);
    BoardUpdateUnlimitSize();
    BoardUpdateUnlimitSize();
    expect_accepted(update());
    expect_too_big(update());
}

TEST_F(BoardUpdate, SmallUpdateUsesTheUnlimitedSizeUp) {
    write_image("small.bin", 1000);
    write_image("large.bin", kUpdateLimit + 1);
    BoardUpdateUnlimitSize();
    expect_accepted(update("small.bin"));
    expect_too_big(update("large.bin"));
}

TEST_F(BoardUpdate, MissingFileLeavesTheUnlimitedSize) {
    write_image("large.bin", kUpdateLimit + 1);
    BoardUpdateUnlimitSize();
    EXPECT_EQ(update("missing.bin"), 32848U);
    expect_accepted(update("large.bin"));
}

TEST_F(BoardUpdate, MissingHandleLeavesTheUnlimitedSize) {
    write_image("large.bin", kUpdateLimit + 1);
    BoardUpdateUnlimitSize();
    EXPECT_EQ(::BoardUpdate(nullptr, "large.bin"), 32770U);
    expect_accepted(update("large.bin"));
}

TEST_F(BoardUpdate, FailedUpdateHasUsedTheUnlimitedSizeUp) {
    write_image("large.bin", kUpdateLimit + 1);
    BoardUpdateUnlimitSize();
    answer(Command::ApplyUpdate, 32839);
    EXPECT_EQ(update("large.bin"), 32839U);
    firmware().clear_seen();
    expect_too_big(update("large.bin"));
}

TEST_F(BoardUpdate, MissingFileGives32848AndIsNamed) {
    const StdoutCapture capture;
    EXPECT_EQ(update("missing.bin"), 32848U);
    EXPECT_EQ(capture.text(), "File:missing.bin not found.");
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

TEST_F(BoardUpdate, MissingPathGives32848) {
    EXPECT_EQ(update(nullptr), 32848U);
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

TEST_F(BoardUpdate, FolderGives32848) {
    fs::create_directory("folder");
    EXPECT_EQ(update("folder"), 32848U);
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

TEST_F(BoardUpdate, TwoGibibytesCannotBeMeasuredEvenWithoutALimit) {
    write_zeros("firmware.bin", 0x80000000);
    BoardUpdateUnlimitSize();
    const StdoutCapture capture;
    EXPECT_EQ(update(), 32848U);
    EXPECT_EQ(capture.text(), "Sorry. Can not cqalculate files which larger than 2GB\n");
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

TEST_F(BoardUpdate, FileThatVanishesBeforeItsTransferIsNotApplied) {
    write_image("firmware.bin", 1000);
    EXPECT_EQ(with_file_that_vanishes("firmware.bin", [this] { return update(); }), 32848U);
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

TEST_F(BoardUpdate, FileThatShrinksDuringItsTransferIsLeftToTheFirmwaresCheck) {
    write_image("firmware.bin", 300000);
    progress_.then = [](float) { fs::resize_file("firmware.bin", 102384); };
    EXPECT_NE(update(), 0U);
    EXPECT_THAT(seen_codes(), ElementsAre(1, 2, 5, 33));
}

TEST_F(BoardUpdate, StatusOfTheApplyRequestComesBackAsItIs) {
    write_image("firmware.bin", 1000);
    answer(Command::ApplyUpdate, 0xDEADBEEF);
    EXPECT_EQ(update(), 0xDEADBEEFU);
}

TEST_F(BoardUpdate, FailedTransferIsStillFollowedByTheApplyRequest) {
    write_image("firmware.bin", 1000);
    firmware().faults().refuse_chunks = true;
    answer(Command::ApplyUpdate, 32848);
    EXPECT_EQ(update(), 32848U);
    EXPECT_EQ(seen_count(Command::FileOpen), 5U);
    EXPECT_EQ(seen_codes().back(), 33);
}

TEST_F(BoardUpdate, CardThatStopsAnsweringBeforeTheApplyRequestGives80003) {
    write_image("firmware.bin", 1000);
    firmware().faults().stop_after = 3;                               // open, one chunk, close
    progress_.then = [this](float) { BoardSetTimeout(handle_, 20); }; // from the next call on
    EXPECT_EQ(update(), 80003U);
}

TEST_F(BoardUpdate, CardThatStopsAnsweringDuringTheTransferGives80001) {
    write_image("firmware.bin", 300000);
    BoardSetTimeout(handle_, 50);
    firmware().faults().stop_after = 2; // what comes next fills the one slot
    EXPECT_EQ(update(), 80001U);
}

TEST_F(BoardUpdate, ReplyWithDataToTheApplyRequestGives80002) {
    write_image("firmware.bin", 1000);
    progress_.then = [this](float) { firmware().faults().oversize_replies = 2; }; // close, apply
    EXPECT_EQ(update(), 80002U);
}

// ---- rings of many slots ----------------------------------------------------------------------

class BoardOfManySlots : public BoardTest {
  protected:
    BoardOfManySlots() : BoardTest(config()) {}
    static vcard::CardConfig config() {
        vcard::CardConfig config = quick_card();
        config.rings.slots = 2;
        config.first_counter = 0xFFFFFFFE;
        return config;
    }
};

TEST_F(BoardOfManySlots, FileComesBackAsItWasSent) {
    const std::vector<uint8_t> bytes = bytes_of(1000000);
    write_file("host.bin", bytes);
    EXPECT_EQ(BoardFileDownload(handle_, "host.bin", "card.bin", nullptr, nullptr), 0U);
    EXPECT_EQ(BoardFileUpload(handle_, "back.bin", "card.bin", nullptr, nullptr), 0U);
    EXPECT_EQ(read_file("back.bin"), bytes);
}

} // namespace
