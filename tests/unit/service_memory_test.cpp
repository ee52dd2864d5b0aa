// Slave services and diagnostics when the system gives no more memory.

#include "handle/ecat_handle.h"
#include "pci_tarn/diagnostics.h"
#include "pci_tarn/slave.h"
#include "support/capture.h"
#include "support/no_memory.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace {

// A handle without mailboxes: whoever sends anything through it does not come back.
class ServiceMemory : public testing::Test {
  protected:
    void SetUp() override {
        if (std::string(TARN_SANITIZE) != "") {
            GTEST_SKIP() << "the sanitizers' allocators end the process";
        }
    }

    uint32_t without_memory(const std::function<uint32_t()> &call) {
        const tarn::test::StdoutCapture capture;
        uint32_t status = 0;
        {
            const tarn::test::NoMemory none;
            status = call();
        }
        printed_ = capture.text();
        return status;
    }
    const std::string &printed() const { return printed_; }

    const std::unique_ptr<EcatHandle> handle = std::make_unique<EcatHandle>();
    const std::vector<uint16_t> slaves = std::vector<uint16_t>(5068);
    std::vector<uint8_t> data = std::vector<uint8_t>(101360, 0xCC);
    std::vector<uint32_t> states = std::vector<uint32_t>(5068, 0xCCCCCCCC);
    const std::vector<uint8_t> untouched = data;

  private:
    std::string printed_;
};

TEST_F(ServiceMemory, EepromWriteSaysHowMuchWasMissing) {
    EXPECT_EQ(without_memory(
                  [&] { return EcatSlaveEepromWrite(handle.get(), 0, 0, 65535, data.data()); }),
              34359U);
    EXPECT_EQ(printed(), "malloc error.(65541)[EcatSlaveEepromWrite:4426]\r\n");
}

TEST_F(ServiceMemory, MemoryWriteSaysHowMuchWasMissing) {
    EXPECT_EQ(without_memory(
                  [&] { return EcatSlaveMemoryWrite(handle.get(), 0, 0, 65535, data.data()); }),
              34359U);
    EXPECT_EQ(printed(), "malloc error.(65541)[EcatSlaveMemoryWrite:4467]\r\n");
}

TEST_F(ServiceMemory, DiagnosticsPrintNothingAndLeaveTheOutputs) {
    EXPECT_EQ(without_memory([&] {
                  return EcatGetDiagnostics(handle.get(), nullptr, 2534, slaves.data(),
                                            data.data());
              }),
              32769U);
    EXPECT_EQ(printed(), "");
    EXPECT_EQ(data, untouched);
}

TEST_F(ServiceMemory, DiagnosticStatesPrintNothingAndLeaveTheOutputs) {
    uint32_t master = 7;
    EXPECT_EQ(without_memory([&] {
                  return EcatGetSlaveDiagnosticStates(handle.get(), &master, 5068, slaves.data(),
                                                      states.data(), data.data());
              }),
              32769U);
    EXPECT_EQ(printed(), "");
    EXPECT_EQ(data, untouched);
    EXPECT_EQ(states[0], 0xCCCCCCCCU);
    EXPECT_EQ(master, 7U);
}

TEST_F(ServiceMemory, ListThatIsTooLongComesBeforeTheMemory) {
    EXPECT_EQ(without_memory([&] {
                  return EcatGetSlaveDiagnosticStates(handle.get(), nullptr, 5069, slaves.data(),
                                                      nullptr, nullptr);
              }),
              32770U);
}

} // namespace
