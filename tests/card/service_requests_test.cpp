// Slave services and diagnostics through a card's rings and the locks that all processes share.
#include "master_fixture.h"

#include "base/lock_guard.h"
#include "handle/ecat_handle.h"
#include "support/process.h"

#include <chrono>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <thread>

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using Bytes = std::vector<uint8_t>;

// One service, called so that its request has the payload.
struct Service {
    const char *name;
    uint16_t code;
    bool primary;
    Bytes payload;
    std::function<uint32_t(EcatHandle *)> call;
};

uint8_t buffer[2000]; // for what comes back, whatever it is
const uint16_t kSlaves[] = {2, 0x0103};

Bytes zero_padded(Bytes bytes, size_t size) {
    bytes.resize(size);
    return bytes;
}

const Service kServices[] = {
    {"SdoDownload",
     12,
     true,
     {2, 0, 0x60, 0x60, 1, 0, 0, 0, 2, 0, 0, 0, 50, 0, 0, 0, 8, 9},
     [](EcatHandle *handle) {
         const uint8_t value[] = {8, 9};
         return EcatCoeSDODownload(handle, 2, 0x6060, 1, 2, value, 50);
     }},
    // The card notes the first 256 bytes.
    {"SdoUpload", 13, true,
     zero_padded({2, 0, 0x61, 0x60, 1, 0, 0, 0, 0xD0, 7, 0, 0, 50, 0, 0, 0}, 256),
     [](EcatHandle *handle) {
         uint32_t size = sizeof buffer;
         return EcatCoeSDOUpload(handle, 2, 0x6061, 1, &size, buffer, 50);
     }},
    {"EepromWrite",
     30,
     false,
     {2, 0, 4, 0, 2, 0, 8, 9},
     [](EcatHandle *handle) {
         const uint8_t value[] = {8, 9};
         return EcatSlaveEepromWrite(handle, 2, 4, 2, value);
     }},
    {"EepromRead",
     31,
     false,
     {2, 0, 4, 0, 16, 0},
     [](EcatHandle *handle) { return EcatSlaveEepromRead(handle, 2, 4, 16, buffer); }},
    {"MemoryWrite",
     54,
     false,
     {2, 0, 0x30, 1, 1, 0, 8},
     [](EcatHandle *handle) {
         const uint8_t value = 8;
         return EcatSlaveMemoryWrite(handle, 2, 0x0130, 1, &value);
     }},
    {"MemoryRead",
     55,
     false,
     {2, 0, 0x30, 1, 2, 0},
     [](EcatHandle *handle) { return EcatSlaveMemoryRead(handle, 2, 0x0130, 2, buffer); }},
    {"Diagnostics",
     95,
     true,
     {2, 0, 1, 0, 2, 0, 3, 1},
     [](EcatHandle *handle) {
         return EcatGetDiagnostics(handle, buffer, 2, kSlaves, buffer + 200);
     }},
    {"DiagnosticStates",
     96,
     true,
     {2, 0, 0, 0, 2, 0, 3, 1},
     [](EcatHandle *handle) {
         return EcatGetSlaveDiagnosticStates(handle, nullptr, 2, kSlaves, nullptr, buffer);
     }},
    {"LinkStatus",
     97,
     false,
     {3, 0},
     [](EcatHandle *handle) {
         uint16_t count = 3;
         return EcatNetDiagnosticsGetSlaveLinkStatus(handle, buffer, &count);
     }},
    {"FirstLinkDown",
     83,
     true,
     {},
     [](EcatHandle *handle) { return EcatGetFirstLinkDownPortStatus(handle, buffer); }},
    {"LastError",
     98,
     false,
     {0, 1, 0, 0},
     [](EcatHandle *handle) {
         uint32_t length = 256;
         return EcatGetLastError(handle, buffer, 256, &length);
     }},
};

class ServiceRequests : public MasterTest {
  protected:
    CommandChannel &mailbox(bool primary) {
        return primary ? handle_->primary : handle_->secondary;
    }

    // That this one request went out through its mailbox.
    void expect_seen(const Service &service) {
        const std::vector<vcard::SeenRequest> seen = firmware().seen();
        ASSERT_THAT(seen, SizeIs(1)) << service.name;
        EXPECT_EQ(seen[0].channel, 0U) << service.name;
        EXPECT_EQ(seen[0].primary, service.primary) << service.name;
        EXPECT_EQ(seen[0].code, service.code) << service.name;
        EXPECT_EQ(seen[0].payload, service.payload) << service.name;
        firmware().clear_seen();
    }

    // Runs the call in another thread and shows that it sends nothing while the mailbox is held.
    void expect_waits(bool primary, const std::function<void()> &call, const char *name) {
        std::future<void> done;
        {
            const NamedLockGuard held(mailbox(primary).lock);
            done = std::async(std::launch::async, call);
            EXPECT_EQ(done.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout)
                << name;
            EXPECT_THAT(firmware().seen(), IsEmpty()) << name;
        }
        done.get();
        EXPECT_FALSE(firmware().seen().empty()) << name;
        firmware().clear_seen();
    }

    // Runs the call while this thread holds the mailbox.
    void run_beside(bool primary, const std::function<void()> &call) {
        const NamedLockGuard held(mailbox(primary).lock);
        std::async(std::launch::async, call).get();
    }

    const char *host_file() const {
        static const char *const path = "host.bin";
        std::ofstream(path, std::ios::binary) << "content";
        return path;
    }
};

TEST_F(ServiceRequests, EachIsOneRequestOnItsMailbox) {
    open();
    for (const Service &service : kServices) {
        service.call(handle_);
        expect_seen(service);
    }
}

TEST_F(ServiceRequests, EachIsOneRequestOnRingsOf64Slots) {
    auto config = VirtualCards::default_card();
    config.rings = {.slots = 64, .slot_size = 1024};
    config.first_counter = 0xFFFFFFFC;
    open(config);
    for (const Service &service : kServices) {
        service.call(handle_);
        expect_seen(service);
    }
}

TEST_F(ServiceRequests, StatusOfTheFirmwarePassesThrough) {
    open();
    for (const Service &service : kServices) {
        refuse(static_cast<Command>(service.code), 0xDEADBEEF);
        EXPECT_EQ(service.call(handle_), 0xDEADBEEFU) << service.name;
    }
}

TEST_F(ServiceRequests, SilentCardEndsIn80003) {
    auto config = VirtualCards::default_card();
    // Room for all requests, however late the card takes them.
    config.rings = {.slots = 64, .slot_size = 1024};
    open(config);
    ASSERT_EQ(EcatSetTimeout(handle_, 5), 0U);
    firmware().faults().drop_replies = std::size(kServices);
    for (const Service &service : kServices) {
        EXPECT_EQ(service.call(handle_), 80003U) << service.name;
    }
}

TEST_F(ServiceRequests, FullRingEndsIn80001) {
    open();
    ASSERT_EQ(EcatSetTimeout(handle_, 5), 0U);
    firmware().faults().stop_draining = true;
    uint8_t state = 0;
    EXPECT_EQ(EcatGetMasterState(handle_, &state), 80003U); // each fills the one slot of a mailbox
    EXPECT_EQ(EcatRunCommand(handle_, nullptr, 0, nullptr, nullptr), 80003U);
    for (const Service &service : kServices) {
        EXPECT_EQ(service.call(handle_), 80001U) << service.name;
    }
}

TEST_F(ServiceRequests, EachWaitsForItsMailbox) {
    open();
    for (const Service &service : kServices) {
        expect_waits(
            service.primary, [&] { service.call(handle_); }, service.name);
    }
}

TEST_F(ServiceRequests, NoneWaitsForTheOtherMailbox) {
    open();
    for (const Service &service : kServices) {
        run_beside(!service.primary, [&] { service.call(handle_); });
        expect_seen(service);
    }
}

TEST_F(ServiceRequests, FoeWaitsForTheSecondaryMailbox) {
    open();
    const char *const path = host_file();
    expect_waits(
        false, [&] { EcatFoEWrite(handle_, 2, path, "app.efw"); }, "write");
    expect_waits(
        false, [&] { EcatFoERead(handle_, 2, "read.bin", "app.efw"); }, "read");
}

TEST_F(ServiceRequests, FoeSendsItsFileThroughAPrimaryMailboxThatSomebodyHolds) {
    open();
    const char *const path = host_file();
    run_beside(true, [&] { EcatFoEWrite(handle_, 2, path, "app.efw"); });
    EXPECT_THAT(seen_codes(), ElementsAre(1, 2, 5, 16, 49));
}

TEST_F(ServiceRequests, FoeUsesThePrimaryMailboxForTheFileAlone) {
    open();
    EcatFoEWrite(handle_, 2, host_file(), "app.efw");
    std::vector<std::pair<uint16_t, bool>> seen;
    for (const vcard::SeenRequest &request : firmware().seen()) {
        seen.emplace_back(request.code, request.primary);
    }
    using Pair = std::pair<uint16_t, bool>;
    EXPECT_THAT(seen, ElementsAre(Pair(1, true), Pair(2, true), Pair(5, true), Pair(16, false),
                                  Pair(49, false)));
}

TEST_F(ServiceRequests, FoeReadThatTheSlaveRefusesFetchesNothingAndCleansUp) {
    open();
    refuse(Command::FoeRead, 34199);
    EXPECT_EQ(EcatFoERead(handle_, 2, "read.bin", "app.efw"), 34199U);
    EXPECT_THAT(seen_codes(), ElementsAre(15, 49));
    const std::vector<uint8_t> removed = firmware().seen().back().payload;
    EXPECT_STREQ(reinterpret_cast<const char *>(removed.data()), "__foe_temp.bin");
    EXPECT_THAT(removed, SizeIs(15));
}

TEST_F(ServiceRequests, OthersOnTheSecondaryMailboxWaitUntilFoeHasCleanedUp) {
    open();
    const char *const path = host_file();
    firmware().faults().delay_ms = 5; // so that there is time to come in between
    std::future<void> foe =
        std::async(std::launch::async, [&] { EcatFoEWrite(handle_, 2, path, "app.efw"); });
    EXPECT_TRUE(eventually([this] { return !firmware().seen().empty(); }));
    uint32_t length = sizeof buffer;
    EcatGetLastError(handle_, buffer, length, &length);
    foe.get();
    EXPECT_THAT(seen_codes(), ElementsAre(1, 2, 5, 16, 49, 98));
}

TEST_F(ServiceRequests, SlotsOf64BytesAreTooSmallForSomeServices) {
    auto config = VirtualCards::default_card();
    config.rings = {.slots = 1, .slot_size = 64};
    open(config);
    for (const Service &service : kServices) {
        const bool fits = service.payload.size() <= 48;
        ASSERT_EQ(EcatSetTimeout(handle_, fits ? 20000 : 5), 0U);
        EXPECT_EQ(service.call(handle_) != 80001, fits) << service.name;
    }
}

} // namespace
