// What a service holds for its clients on Linux, descriptors and sockets, and that it lets go of
// it. On Windows the driver holds it.
#include "vcard_service_fixture.h"

#include <thread>

namespace {

using namespace tarn::test;

class VcardServiceDescriptors : public VcardService {
  protected:
    size_t service_descriptors() const {
        size_t count = 0;
        for ([[maybe_unused]] const auto &entry :
             fs::directory_iterator("/proc/" + std::to_string(service_->pid()) + "/fd")) {
            ++count;
        }
        return count;
    }
};

TEST_F(VcardServiceDescriptors, ClientsKilledWhileTheyWaitLeaveNone) {
    const size_t before = service_descriptors();
    for (int i = 0; i < 10; ++i) {
        const auto peer = client("waiter");
        EXPECT_GT(service_descriptors(), before);
        peer->kill();
    }
    EXPECT_TRUE(eventually([&] { return service_descriptors() == before; }));
}

TEST_F(VcardServiceDescriptors, ClientsKilledDuringDmaLeaveNone) {
    const size_t before = service_descriptors();
    for (int i = 0; i < 10; ++i) {
        const auto peer = client("dma_user");
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        peer->kill();
    }
    EXPECT_TRUE(eventually([&] { return service_descriptors() == before; }));
}

TEST_F(VcardServiceDescriptors, ProgramThatEndsLeavesNone) {
    const size_t before = service_descriptors();
    EXPECT_EQ(Peer("registry_user").join(), 0);
    EXPECT_TRUE(eventually([&] { return service_descriptors() == before; }));
}

class VcardServiceSockets : public VcardService {
  protected:
    fs::path socket(int card) const {
        return folder_.path() / "pci_tarn" / ("kpcidev" + std::to_string(card));
    }
};

TEST_F(VcardServiceSockets, StayBehindOfAKilledServerAndAreNoCards) {
    service_->kill_now();
    EXPECT_TRUE(fs::exists(socket(0)));
    EXPECT_EQ(EtherCATGetCount(), 0U);
}

TEST_F(VcardServiceSockets, OfAKilledServerAreTakenOver) {
    service_->kill_now();
    start("1");
    EXPECT_FALSE(fs::exists(socket(1)));
}

TEST_F(VcardServiceSockets, AreRemovedByTheEnd) {
    service_->send_signal(Signal::kTerminate);
    ASSERT_TRUE(service_->wait(kPatience));
    EXPECT_TRUE(fs::is_empty(folder_.path() / "pci_tarn"));
}

} // namespace
