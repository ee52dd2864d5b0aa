// Opening a channel when the system gives no more memory.

#include "handle/ecat_handle.h"
#include "pci_tarn/ecat.h"
#include "support/capture.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>

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
        rlimit before = {};
        getrlimit(RLIMIT_AS, &before);
        const rlimit none = {.rlim_cur = 4096, .rlim_max = before.rlim_max};
        setrlimit(RLIMIT_AS, &none);
        status = EcatOpenEx(&handle, "ID0", 0, 0);
        setrlimit(RLIMIT_AS, &before);
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
