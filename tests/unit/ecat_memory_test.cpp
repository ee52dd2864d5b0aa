// Opening a channel when the system gives no more memory.

#include "handle/ecat_handle.h"
#include "pci_tarn/ecat.h"
#include "support/capture.h"
#include "support/no_memory.h"

#include <gtest/gtest.h>
#include <string>

namespace {

TEST(EcatOpenMemory, SaysHowMuchWasMissing) {
    if (std::string(TARN_SANITIZE) != "") {
        GTEST_SKIP() << "the sanitizers' allocators end the process";
    }
    int other = 0;
    auto *handle = reinterpret_cast<EcatHandle *>(&other);
    uint32_t status = 0;
    std::string text;
    {
        const tarn::test::StdoutCapture capture;
        {
            const tarn::test::NoMemory none;
            status = EcatOpenEx(&handle, "ID0", 0, 0);
        }
        text = capture.text();
    }
    EXPECT_EQ(status, 34359u);
    EXPECT_EQ(handle, nullptr);
    const std::string start =
        "malloc error.(" + std::to_string(sizeof(EcatHandle)) + ")[EcatOpenEx:";
    EXPECT_EQ(text.substr(0, start.size()), start);
    EXPECT_EQ(text.substr(text.size() - 3), "]\r\n");
}

} // namespace
