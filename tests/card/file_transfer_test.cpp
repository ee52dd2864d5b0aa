// A configuration file on its way to the card, as a bus start sends it.
#include "master_fixture.h"

#include <gmock/gmock.h>

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

class FileTransfer : public MasterTest {
  protected:
    // Requests of the transfer itself.
    std::vector<uint16_t> file_codes() {
        std::vector<uint16_t> codes;
        for (const uint16_t code : seen_codes()) {
            if (code <= 5) {
                codes.push_back(code);
            }
        }
        return codes;
    }

    std::string eni_of_size(size_t size) {
        std::string text = vcard::make_eni(small_network());
        text.resize(std::max(size, text.size()), '\n');
        return text;
    }

    uint32_t run(const std::string &eni) { return EcatBusRun(handle_, write_eni(eni)); }
};

TEST_F(FileTransfer, SmallFileGoesInOneChunk) {
    open();
    EXPECT_EQ(run(eni_of_size(0)), 0U);
    EXPECT_THAT(file_codes(), ElementsAre(1, 2, 5));
}

TEST_F(FileTransfer, OpenRecordNamesTheConfigurationFile) {
    open();
    run(eni_of_size(0));
    const vcard::SeenRequest request = firmware().seen().at(0);
    ASSERT_EQ(request.code, 1);
    ASSERT_EQ(request.payload.size(), 144U);
    EXPECT_STREQ(reinterpret_cast<const char *>(request.payload.data()), "eni_temp.xml");
    EXPECT_EQ(request.payload[128], 0x77);
    EXPECT_EQ(request.payload[129], 0);
    EXPECT_TRUE(request.primary);
}

TEST_F(FileTransfer, FileOfOneChunkGoesInOne) {
    open();
    EXPECT_EQ(run(eni_of_size(102384)), 0U);
    EXPECT_THAT(file_codes(), ElementsAre(1, 2, 5));
}

TEST_F(FileTransfer, OneByteMoreGoesInTwo) {
    open();
    EXPECT_EQ(run(eni_of_size(102385)), 0U);
    EXPECT_THAT(file_codes(), ElementsAre(1, 2, 2, 5));
}

TEST_F(FileTransfer, RefusedChunksMakeFiveAttemptsAndTheBusStartIsStillSent) {
    open();
    firmware().faults().refuse_chunks = true;
    EXPECT_NE(run(eni_of_size(0)), 0U); // the start finds no file
    EXPECT_THAT(file_codes(), ElementsAre(1, 2, 5, 1, 2, 5, 1, 2, 5, 1, 2, 5, 1, 2, 5));
    EXPECT_EQ(seen_count(Command::BusStart), 1U);
}

TEST_F(FileTransfer, RefusedOpenMakesFiveAttemptsWithoutClose) {
    open();
    refuse(Command::FileOpen, 32848, 5);
    run(eni_of_size(0));
    EXPECT_THAT(file_codes(), ElementsAre(1, 1, 1, 1, 1));
}

TEST_F(FileTransfer, AttemptAfterAFailedOneSucceeds) {
    open();
    refuse(Command::FileWrite, 32849, 2);
    EXPECT_EQ(run(eni_of_size(0)), 0U);
    EXPECT_THAT(file_codes(), ElementsAre(1, 2, 5, 1, 2, 5, 1, 2, 5));
}

TEST_F(FileTransfer, MissingFileGives32848AndSendsNothing) {
    open();
    const StdoutCapture capture;
    EXPECT_EQ(EcatBusRun(handle_, "missing.xml"), 32848U);
    EXPECT_THAT(file_codes(), ElementsAre());
    EXPECT_THAT(capture.text(), testing::HasSubstr("File:missing.xml not found."));
}

TEST_F(FileTransfer, WorksThroughRingsOfManySlots) {
    vcard::CardConfig config = VirtualCards::default_card();
    config.rings.slots = 2;
    config.first_counter = 0xFFFFFFFF;
    open(config);
    EXPECT_EQ(run(eni_of_size(300000)), 0U);
    EXPECT_THAT(file_codes(), ElementsAreArray({1, 2, 2, 2, 5}));
}

} // namespace
