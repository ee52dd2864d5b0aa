// The logical address map when the system gives no memory.
#include "layout/shared_memory_map.h"
#include "pci_tarn/pi.h"
#include "support/capture.h"
#include "support/no_memory.h"

#include <gtest/gtest.h>
#include <memory>
#include <string_view>

namespace {

TEST(LogicMapMemory, ATextBufferThatCannotBeHadIsReported) {
    if (std::string_view(TARN_SANITIZE) != "") {
        GTEST_SKIP() << "sanitizers need the address space for themselves";
    }
    const auto info = std::make_unique<tarn::PiInfo>();
    uint32_t status = 0;
    std::string text;
    {
        const tarn::test::StdoutCapture capture;
        {
            const tarn::test::NoMemory none;
            status =
                ecat_pi_logic_addr_map_init("eni.xml", 0, &info->direction[1], &info->direction[0]);
        }
        text = capture.text();
    }
    EXPECT_EQ(status, 34359u);
    EXPECT_EQ(text, "malloc error.(5242880)[ecat_pi_logic_addr_map_init:678]\r\n");
}

} // namespace
