// The socket channel from the library to the card's services and back, also by bulk copy.
#include "card/master_fixture.h"
#include "handle/ecat_handle.h"
#include "support/process.h"
#include "tarn_vcard/records.h"

#include <numeric>

namespace {

using namespace tarn;
using Bytes = std::vector<uint8_t>;

class SocketCard : public test::MasterTest {
  protected:
    void SetUp() override { open(); }

    static Bytes counting(size_t size) {
        Bytes bytes(size);
        std::iota(bytes.begin(), bytes.end(), uint8_t{1});
        return bytes;
    }
    uint32_t post(const Bytes &data, uint32_t type = VCARD_SOCKET_ECHO) {
        return _EcatSockClientPostData(handle_, type, 7, data.data(),
                                       static_cast<uint32_t>(data.size()));
    }
    Bytes fetch(uint32_t expected_type = VCARD_SOCKET_ECHO) {
        uint32_t type = 0;
        uint32_t length = 0;
        Bytes buffer(1024);
        uint32_t status = 0;
        test::eventually([&] { // a busy machine may keep the card waiting for longer than one call
            status = _EcatSockClientGetData(handle_, &type, buffer.data(), &length);
            return status != 80003;
        });
        EXPECT_EQ(status, 0u);
        EXPECT_EQ(type, expected_type);
        buffer.resize(length);
        return buffer;
    }
    ~SocketCard() override {
        if (engine != nullptr) {
            EtherCATClose(engine);
        }
    }
    void use_bulk_copy() {
        engine = EtherCATOpen(0);
        ASSERT_NE(engine, nullptr);
        handle_->bulk.device = engine;
        handle_->bulk.base = reinterpret_cast<uintptr_t>(bar2());
        handle_->bulk.enabled = 1;
    }
    EtherCAT *engine = nullptr;
};

TEST_F(SocketCard, AnEchoComesBack) {
    ASSERT_EQ(post(counting(100)), 0u);
    EXPECT_EQ(fetch(), counting(100));
}

TEST_F(SocketCard, AMessageOfThreePiecesComesBackInThree) {
    const Bytes all = counting(2049);
    ASSERT_EQ(post(all), 0u);
    Bytes back;
    for (const size_t size : {1024u, 1024u, 1u}) {
        const Bytes piece = fetch();
        EXPECT_EQ(piece.size(), size);
        back.insert(back.end(), piece.begin(), piece.end());
    }
    EXPECT_EQ(back, all);
}

TEST_F(SocketCard, AnEmptyMessageComesBackEmpty) {
    ASSERT_EQ(post({}), 0u);
    EXPECT_EQ(fetch(), Bytes());
}

TEST_F(SocketCard, TextReachesTheLog) {
    const std::string text = "hello card";
    ASSERT_EQ(post({text.begin(), text.end()}, VCARD_SOCKET_LOG), 0u);
    ASSERT_EQ(post({1}), 0u);
    fetch(); // the text was before it
    EXPECT_NE(cards_->log().find("message: hello card"), std::string::npos);
}

TEST_F(SocketCard, AnUnknownTypeIsRefusedByTheCard) {
    ASSERT_EQ(post({1, 2}, 99), 0u);
    const Bytes error = fetch(VCARD_SOCKET_ERROR);
    ASSERT_EQ(error.size(), sizeof(VcardSocketError));
    EXPECT_EQ(peek<uint32_t>(error.data()), 99u);
    EXPECT_EQ(peek<uint32_t>(error.data() + 12), uint32_t{VCARD_SOCKET_UNKNOWN_TYPE});
}

TEST_F(SocketCard, ACardThatDoesNotDrainLetsThePostTimeOut) {
    firmware().faults().stop_draining = true;
    EcatSetTimeout(handle_, 20);
    ASSERT_EQ(post(counting(16 * 1024)), 0u);
    EXPECT_EQ(post({1}), 80011u);
    firmware().faults().stop_draining = false;
    for (size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(fetch().size(), 1024u);
    }
}

TEST_F(SocketCard, BulkCopyMovesBothDirections) {
    use_bulk_copy();
    const Bytes all = counting(1500);
    ASSERT_EQ(post(all), 0u);
    Bytes back = fetch();
    const Bytes rest = fetch();
    back.insert(back.end(), rest.begin(), rest.end());
    EXPECT_EQ(back, all);
}

TEST_F(SocketCard, WhereTheBulkCopyFailsTheProcessorCopies) {
    use_bulk_copy();
    handle_->bulk.base -= 0x10000000; // addresses that the card does not have
    ASSERT_EQ(post(counting(1024)), 0u);
    EXPECT_EQ(fetch(), counting(1024));
}

} // namespace
