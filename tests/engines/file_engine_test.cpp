// The file engines: what they send, in which order, and what becomes of failures.
#include "fake_card.h"
#include "support/temp_dir.h"

#include "channel/file_transfer.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kTimeoutMs = 100;
constexpr uint32_t kUploadFailed = 0xFFFFFFFF;
enum : int { kOpen = 1, kWrite = 2, kRead = 3, kSize = 4, kClose = 5 };

void record_fraction(void *arg, float fraction) {
    static_cast<std::vector<float> *>(arg)->push_back(fraction);
}

Bytes patterned(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<uint8_t>(i * 31 + i / 251);
    }
    return bytes;
}

void write_file(const std::string &path, const Bytes &bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char *>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

Bytes read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<Reply> status(uint32_t value) {
    return {{.status = value}};
}

// Answers code with a status, everything else with success.
auto refusing(int code, uint32_t value = 32849) {
    return [=](const Seen &request) { return status(request.code == code ? value : 0); };
}

class Download : public testing::Test {
  protected:
    uint32_t run(PciProgress progress = nullptr, void *arg = nullptr) {
        return download_file(card.channel(), path.c_str(), name.c_str(), progress, arg, kTimeoutMs);
    }

    // The chunks of the last attempt, joined.
    Bytes stored() const {
        Bytes bytes;
        for (const Seen &request : card.seen) {
            if (request.code == kOpen) {
                bytes.clear();
            } else if (request.code == kWrite) {
                bytes.insert(bytes.end(), request.payload.begin(), request.payload.end());
            }
        }
        return bytes;
    }

    const std::filesystem::path started_in = std::filesystem::current_path();
    TempDir folder;
    FakeCard card;
    std::string path = "host.bin";
    std::string name = "card.bin";
};

TEST_F(Download, SendsOpenChunkAndClose) {
    write_file(path, patterned(1000));
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kWrite, kClose));
    EXPECT_EQ(stored(), patterned(1000));
    EXPECT_THAT(card.seen.back().payload, IsEmpty());
}

TEST_F(Download, OpenRecordNamesTheFileAndTheDirection) {
    write_file(path, patterned(1));
    run();
    const Bytes &record = card.seen.at(0).payload;
    ASSERT_EQ(record.size(), 144U);
    EXPECT_STREQ(reinterpret_cast<const char *>(record.data()), "card.bin");
    EXPECT_EQ(at<uint16_t>(record.data() + 128), 0x77);
}

TEST_F(Download, FileOfOneChunkGoesInOne) {
    write_file(path, patterned(102384));
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kWrite, kClose));
    EXPECT_EQ(stored(), patterned(102384));
}

TEST_F(Download, OneByteMoreGoesInTwo) {
    write_file(path, patterned(102385));
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kWrite, kWrite, kClose));
    EXPECT_EQ(card.seen[2].payload.size(), 1U);
    EXPECT_EQ(stored(), patterned(102385));
}

TEST_F(Download, EmptyFileSendsNoChunkAndReportsNothing) {
    write_file(path, {});
    std::vector<float> fractions;
    EXPECT_EQ(run(record_fraction, &fractions), 0U);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kClose));
    EXPECT_THAT(fractions, IsEmpty());
}

TEST_F(Download, ReportsTheFractionAfterEachChunkAndOneAtTheEnd) {
    write_file(path, patterned(250000));
    std::vector<float> fractions;
    EXPECT_EQ(run(record_fraction, &fractions), 0U);
    EXPECT_THAT(fractions, ElementsAre(102384.0F / 250000.0F, 204768.0F / 250000.0F, 1.0F));
}

TEST_F(Download, LineEndsAndControlZStayAsTheyAre) {
    const Bytes bytes = {'a', '\n', 'b', '\r', '\n', 26, 0, 255};
    write_file(path, bytes);
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(stored(), bytes);
}

TEST_F(Download, NameOf127CharactersIsAccepted) {
    write_file(path, patterned(1));
    name.assign(127, 'n');
    EXPECT_EQ(run(), 0U);
    const Bytes &record = card.seen.at(0).payload;
    EXPECT_EQ(std::string(record.begin(), record.begin() + 127), name);
    EXPECT_EQ(record[127], 0);
}

TEST_F(Download, NameOf128CharactersGives80000BeforeTheFileIsLookedAt) {
    name.assign(128, 'n');
    path = "missing";
    EXPECT_EQ(run(), 80000U);
    EXPECT_EQ(card.printed, "");
    EXPECT_THAT(card.codes(), IsEmpty());
}

TEST_F(Download, EmptyNameIsSentAsItIs) {
    write_file(path, patterned(1));
    name.clear();
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(card.seen.at(0).payload[0], 0);
}

TEST_F(Download, MissingFileGives32848AndSendsNothing) {
    path = "missing.bin";
    EXPECT_EQ(run(), 32848U);
    EXPECT_EQ(card.printed, "File:missing.bin not found.");
    EXPECT_THAT(card.codes(), IsEmpty());
}

TEST_F(Download, NullPathGives32848) {
    EXPECT_EQ(download_file(card.channel(), nullptr, "n", nullptr, nullptr, kTimeoutMs), 32848U);
    EXPECT_EQ(card.printed, "File:(null) not found.");
}

TEST_F(Download, FolderGives32848) {
    path = ".";
    EXPECT_EQ(run(), 32848U);
    EXPECT_NE(card.printed, "");
    EXPECT_THAT(card.codes(), IsEmpty());
}

TEST_F(Download, FileBeyond2GigabytesGives32848) {
    write_file(path, {});
    std::error_code error;
    std::filesystem::resize_file(path, 0x80000000ULL, error);
    if (error) {
        GTEST_SKIP() << "no sparse files here: " << error.message();
    }
    EXPECT_EQ(run(), 32848U);
    EXPECT_EQ(card.printed, "Sorry. Can not cqalculate files which larger than 2GB\n");
}

TEST_F(Download, FileOf4GigabytesIsNotTakenForAnEmptyOne) {
    write_file(path, {});
    std::error_code error;
    std::filesystem::resize_file(path, 0x100000000ULL, error);
    if (error) {
        GTEST_SKIP() << "no sparse files here: " << error.message();
    }
    EXPECT_EQ(run(), 32848U);
}

TEST_F(Download, RefusedChunksMakeFiveAttemptsEachWithItsCloseAndCountAsSuccess) {
    write_file(path, patterned(10));
    card.answer = refusing(kWrite);
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(card.codes(),
                ElementsAre(kOpen, kWrite, kClose, kOpen, kWrite, kClose, kOpen, kWrite, kClose,
                            kOpen, kWrite, kClose, kOpen, kWrite, kClose));
}

TEST_F(Download, RefusedOpenMakesFiveAttemptsWithoutClose) {
    write_file(path, patterned(10));
    card.answer = refusing(kOpen);
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kOpen, kOpen, kOpen, kOpen));
}

TEST_F(Download, OpenReplyWithPayloadIsAFailure) {
    write_file(path, patterned(10));
    card.answer = [](const Seen &) { return std::vector<Reply>{{.payload = {1}}}; };
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kOpen, kOpen, kOpen, kOpen));
}

TEST_F(Download, StopsAfterTheFirstAttemptThatWorks) {
    write_file(path, patterned(10));
    int refused = 0;
    card.answer = [&](const Seen &request) {
        return status(request.code == kWrite && refused++ < 2 ? 32849 : 0);
    };
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(card.codes(),
                ElementsAre(kOpen, kWrite, kClose, kOpen, kWrite, kClose, kOpen, kWrite, kClose));
}

TEST_F(Download, EveryAttemptStartsAtTheBeginningOfTheFile) {
    write_file(path, patterned(150000));
    int chunks = 0;
    card.answer = [&](const Seen &request) {
        return status(request.code == kWrite && ++chunks == 2 ? 32849 : 0);
    };
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(stored(), patterned(150000));
}

TEST_F(Download, RefusedCloseDecidesNothing) {
    write_file(path, patterned(10));
    card.answer = refusing(kClose);
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kWrite, kClose));
}

TEST_F(Download, RefusedChunkAndRefusedCloseCloseTheHostFileOnce) {
    write_file(path, patterned(10));
    card.answer = [](const Seen &request) { return status(request.code == kOpen ? 0 : 32849); };
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(card.codes().size(), 15U);
}

TEST_F(Download, FailedAttemptsReportNoProgress) {
    write_file(path, patterned(10));
    card.answer = refusing(kWrite);
    std::vector<float> fractions;
    run(record_fraction, &fractions);
    EXPECT_THAT(fractions, IsEmpty());
}

TEST_F(Download, SilentCardCostsFiveTimeOutsAndCountsAsSuccess) {
    write_file(path, patterned(10));
    card.answer = [](const Seen &) { return std::vector<Reply>{}; };
    const uint64_t start = card.now_ms();
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(card.codes().size(), 5U);
    EXPECT_EQ(card.now_ms() - start, 600U); // three rounds of 40 ms each
}

// The host file of an attempt is closed before the card is told; where a file cannot be opened a
// second time, the attempts go on without it.
TEST_F(Download, FileThatCanNoLongerBeOpenedMakesRoundsWithoutChunks) {
    write_file(path, patterned(10));
    card.answer = [&](const Seen &request) {
        if (request.code == kClose) {
            std::filesystem::remove(path);
        }
        return status(request.code == kWrite ? 32849 : 0);
    };
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kWrite, kClose, kOpen, kClose, kOpen, kClose,
                                          kOpen, kClose, kOpen, kClose));
}

// A program that runs can be read but not opened for update, whoever asks.
TEST_F(Download, FileThatCannotBeOpenedForUpdateMakesFiveRoundsWithoutChunks) {
    const std::filesystem::path program = testing::internal::GetArgvs()[0];
    path = (started_in / program).string();
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kClose, kOpen, kClose, kOpen, kClose, kOpen,
                                          kClose, kOpen, kClose));
}

TEST_F(Download, FileThatShrinksOnTheWayIsDoneAtItsEnd) {
    write_file(path, patterned(200000));
    card.answer = [&](const Seen &request) {
        if (request.code == kWrite) {
            std::filesystem::resize_file(path, 102384);
        }
        return status(0);
    };
    std::vector<float> fractions;
    EXPECT_EQ(run(record_fraction, &fractions), 0U);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kWrite, kClose));
    EXPECT_THAT(fractions, ElementsAre(102384.0F / 200000.0F));
}

TEST_F(Download, FileThatGrowsOnTheWayEndsWithOne) {
    write_file(path, patterned(102385));
    card.answer = [&](const Seen &request) {
        if (request.code == kOpen) {
            std::filesystem::resize_file(path, 150000);
        }
        return status(0);
    };
    std::vector<float> fractions;
    EXPECT_EQ(run(record_fraction, &fractions), 0U);
    EXPECT_THAT(fractions, ElementsAre(102384.0F / 102385.0F, 1.0F));
}

TEST_F(Download, ChunkThatNoSlotHoldsFailsEachAttempt) {
    FakeCard small({.slot_size = 160}); // room for the open record, and no more
    write_file(path, patterned(145));
    EXPECT_EQ(download_file(small.channel(), path.c_str(), "n", nullptr, nullptr, 5), 0U);
    EXPECT_THAT(small.codes(), ElementsAre(kOpen, kClose, kOpen, kClose, kOpen, kClose, kOpen,
                                           kClose, kOpen, kClose));
}

TEST_F(Download, SlotOf159BytesIsTooSmallForTheOpenRecord) {
    FakeCard small({.slot_size = 159});
    write_file(path, patterned(1));
    EXPECT_EQ(download_file(small.channel(), path.c_str(), "n", nullptr, nullptr, 5), 0U);
    EXPECT_THAT(small.codes(), IsEmpty());
}

TEST_F(Download, TakesNoLock) {
    write_file(path, patterned(1));
    run();
    EXPECT_EQ(card.locked, 0);
}

// ---- upload ------------------------------------------------------------------------------------

class Upload : public testing::Test {
  protected:
    // Serves `content` as the card's file.
    void serve(Bytes content) {
        content_ = std::move(content);
        card.answer = [this](const Seen &request) { return answer(request); };
    }

    std::vector<Reply> answer(const Seen &request) {
        if (request.code == refused) {
            return status(32849);
        }
        if (request.code == kSize) {
            return {{.payload = bytes_of(static_cast<uint32_t>(content_.size()))}};
        }
        if (request.code == kRead) {
            const size_t length = std::min(chunk, content_.size() - position_);
            const auto begin = content_.begin() + static_cast<std::ptrdiff_t>(position_);
            position_ += length;
            return {{.payload = Bytes(begin, begin + static_cast<std::ptrdiff_t>(length))}};
        }
        return status(0);
    }

    uint32_t run(PciProgress progress = nullptr, void *arg = nullptr) {
        return upload_file(card.channel(), path.c_str(), name.c_str(), progress, arg, kTimeoutMs);
    }

    TempDir folder;
    FakeCard card;
    std::string path = "host.bin";
    std::string name = "card.bin";
    int refused = 0;
    size_t chunk = 102384;

  private:
    Bytes content_;
    size_t position_ = 0;
};

TEST_F(Upload, SendsOpenSizeReadAndClose) {
    serve(patterned(1000));
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kSize, kRead, kClose));
    EXPECT_EQ(read_file(path), patterned(1000));
}

TEST_F(Upload, OpenRecordNamesTheFileAndTheDirection) {
    serve(patterned(1));
    run();
    const Bytes &record = card.seen.at(0).payload;
    ASSERT_EQ(record.size(), 144U);
    EXPECT_STREQ(reinterpret_cast<const char *>(record.data()), "card.bin");
    EXPECT_EQ(at<uint16_t>(record.data() + 128), 0x72);
}

TEST_F(Upload, AlwaysAsksForAWholeChunk) {
    serve(patterned(102385));
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kSize, kRead, kRead, kClose));
    EXPECT_EQ(card.seen[2].payload, bytes_of<uint32_t>(102384));
    EXPECT_EQ(card.seen[3].payload, bytes_of<uint32_t>(102384));
    EXPECT_EQ(read_file(path), patterned(102385));
}

TEST_F(Upload, EmptyCardFileSendsNoReadAndLeavesAnEmptyHostFile) {
    write_file(path, patterned(5));
    serve({});
    std::vector<float> fractions;
    EXPECT_EQ(run(record_fraction, &fractions), 0U);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kSize, kClose));
    EXPECT_EQ(std::filesystem::file_size(path), 0U);
    EXPECT_THAT(fractions, IsEmpty());
}

TEST_F(Upload, CutsALongerHostFile) {
    write_file(path, patterned(5000));
    serve(patterned(7));
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(read_file(path), patterned(7));
}

TEST_F(Upload, LineEndsStayAsTheyAre) {
    const Bytes bytes = {'a', '\n', 'b', '\r', '\n', 26, 0, 255};
    serve(bytes);
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(read_file(path), bytes);
}

TEST_F(Upload, ShortRepliesAreCollected) {
    serve(patterned(1000));
    chunk = 400;
    std::vector<float> fractions;
    EXPECT_EQ(run(record_fraction, &fractions), 0U);
    EXPECT_EQ(read_file(path), patterned(1000));
    EXPECT_THAT(fractions, ElementsAre(0.4F, 0.8F, 1.0F));
}

TEST_F(Upload, NameOf127CharactersIsAccepted) {
    serve(patterned(1));
    name.assign(127, 'n');
    EXPECT_EQ(run(), 0U);
}

TEST_F(Upload, NameOf128CharactersGives80000AndMakesNoFile) {
    name.assign(128, 'n');
    EXPECT_EQ(run(), 80000U);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_THAT(card.codes(), IsEmpty());
}

TEST_F(Upload, HostFileThatCannotBeMadeFailsBeforeAnythingIsSent) {
    path = "no/such/folder/host.bin";
    EXPECT_EQ(run(), kUploadFailed);
    EXPECT_THAT(card.codes(), IsEmpty());
}

TEST_F(Upload, NullPathFailsBeforeAnythingIsSent) {
    EXPECT_EQ(upload_file(card.channel(), nullptr, "n", nullptr, nullptr, kTimeoutMs),
              kUploadFailed);
    EXPECT_THAT(card.codes(), IsEmpty());
}

TEST_F(Upload, RefusedOpenEndsIt) {
    serve(patterned(10));
    refused = kOpen;
    EXPECT_EQ(run(), kUploadFailed);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen));
}

TEST_F(Upload, RefusedSizeEndsIt) {
    serve(patterned(10));
    refused = kSize;
    EXPECT_EQ(run(), kUploadFailed);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kSize));
}

TEST_F(Upload, RefusedReadEndsItWithoutARetry) {
    serve(patterned(10));
    refused = kRead;
    EXPECT_EQ(run(), kUploadFailed);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kSize, kRead));
}

TEST_F(Upload, RefusedCloseFailsThoughAllDataArrived) {
    serve(patterned(10));
    refused = kClose;
    EXPECT_EQ(run(), kUploadFailed);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kSize, kRead, kClose));
    EXPECT_EQ(read_file(path), patterned(10));
}

TEST_F(Upload, OpenReplyWithPayloadEndsIt) {
    card.answer = [](const Seen &) { return std::vector<Reply>{{.payload = {1}}}; };
    EXPECT_EQ(run(), kUploadFailed);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen));
}

TEST_F(Upload, CloseReplyWithPayloadFails) {
    card.answer = [](const Seen &request) {
        return request.code == kSize    ? std::vector<Reply>{{.payload = Bytes(4)}}
               : request.code == kClose ? std::vector<Reply>{{.payload = {1}}}
                                        : status(0);
    };
    EXPECT_EQ(run(), kUploadFailed);
}

TEST_F(Upload, SizeReplyThatIsNoWordEndsIt) {
    for (const size_t length : {0U, 3U, 5U}) {
        FakeCard other;
        other.answer = [=](const Seen &request) {
            return std::vector<Reply>{{.payload = Bytes(request.code == kSize ? length : 0, 1)}};
        };
        EXPECT_EQ(upload_file(other.channel(), path.c_str(), "n", nullptr, nullptr, kTimeoutMs),
                  kUploadFailed);
        EXPECT_THAT(other.codes(), ElementsAre(kOpen, kSize)) << length;
    }
}

TEST_F(Upload, EmptyReplyBeforeTheEndFailsInsteadOfAskingForEver) {
    serve(patterned(10));
    chunk = 0;
    EXPECT_EQ(run(), kUploadFailed);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen, kSize, kRead));
}

TEST_F(Upload, SilentCardFailsAfterTheTimeOut) {
    card.answer = [](const Seen &) { return std::vector<Reply>{}; };
    EXPECT_EQ(run(), kUploadFailed);
    EXPECT_THAT(card.codes(), ElementsAre(kOpen));
}

TEST_F(Upload, FullRingFailsAfterTheTimeOut) {
    card.out_write() = 1;
    const uint64_t start = card.now_ms();
    EXPECT_EQ(run(), kUploadFailed);
    EXPECT_EQ(card.now_ms() - start, kTimeoutMs);
}

TEST_F(Upload, TakesNoLock) {
    serve(patterned(1));
    run();
    EXPECT_EQ(card.locked, 0);
}

} // namespace
