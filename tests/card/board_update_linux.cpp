// Files of the host that only Linux has.
#include "board_io_fixture.h"

namespace {

using namespace tarn::test;

class BoardFileLinux : public BoardTest {
  protected:
    uint32_t round_trip(size_t size) {
        write_file("host.bin", bytes_of(size));
        EXPECT_EQ(BoardFileDownload(handle_, "host.bin", "card.bin", nullptr, nullptr), 0U);
        return BoardFileUpload(handle_, "/dev/full", "card.bin", nullptr, nullptr);
    }
};

// A large file fails while it is written.
TEST_F(BoardFileLinux, UploadToAFullDiskFails) {
    EXPECT_EQ(round_trip(300000), 0xFFFFFFFFU);
}

// A small one fails only when it is closed.
TEST_F(BoardFileLinux, UploadOfAFewBytesToAFullDiskFails) {
    EXPECT_EQ(round_trip(10), 0xFFFFFFFFU);
}

} // namespace
