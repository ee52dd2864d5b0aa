// The version that a program is compiled against and the one that it runs with.
#include "pci_tarn/pci_tarn.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>

namespace {

TEST(Version, TextAndNumbersOfTheHeaderAgree) {
    char text[32];
    std::snprintf(text, sizeof(text), "%d.%d.%d", PCI_TARN_VERSION_MAJOR, PCI_TARN_VERSION_MINOR,
                  PCI_TARN_VERSION_PATCH);
    EXPECT_STREQ(text, PCI_TARN_VERSION);
    static_assert(PCI_TARN_VERSION_NUMBER == 0x010901);
}

TEST(Version, TheLoadedLibraryTellsTheVersionOfItsHeader) {
    DriverInfo info{};
    DriverGetInfo(&info); // the version is there whatever the cards say
    EXPECT_EQ(std::string(info.library_version).rfind(PCI_TARN_VERSION "[", 0), 0U)
        << info.library_version;
}

} // namespace
