// The version resource of the DLL, as a program or the properties of the file show it.
#include "pci_tarn/pci_tarn.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>
#include <windows.h>

namespace {

class VersionResource : public testing::Test {
  protected:
    VersionResource() {
        const DWORD size = GetFileVersionInfoSizeA(kFile, nullptr);
        EXPECT_GT(size, 0U);
        data_.resize(size);
        EXPECT_NE(GetFileVersionInfoA(kFile, 0, size, data_.data()), 0);
    }

    // A text of the table in US English.
    std::string text(const std::string &name) const {
        void *value = nullptr;
        UINT length = 0;
        const std::string path = "\\StringFileInfo\\040904b0\\" + name;
        return VerQueryValueA(data_.data(), path.c_str(), &value, &length) != 0
                   ? static_cast<const char *>(value)
                   : "";
    }

    static constexpr const char *kFile = "pci_tarn.dll";
    std::vector<char> data_;
};

TEST_F(VersionResource, HasTheVersionOfTheHeaderInNumbers) {
    void *value = nullptr;
    UINT length = 0;
    ASSERT_NE(VerQueryValueA(data_.data(), "\\", &value, &length), 0);
    ASSERT_EQ(length, sizeof(VS_FIXEDFILEINFO));
    const auto *info = static_cast<const VS_FIXEDFILEINFO *>(value);
    const DWORD high = PCI_TARN_VERSION_MAJOR << 16 | PCI_TARN_VERSION_MINOR;
    const DWORD low = PCI_TARN_VERSION_PATCH << 16;
    EXPECT_EQ(info->dwFileVersionMS, high);
    EXPECT_EQ(info->dwFileVersionLS, low);
    EXPECT_EQ(info->dwProductVersionMS, high);
    EXPECT_EQ(info->dwProductVersionLS, low);
    EXPECT_EQ(info->dwFileType, static_cast<DWORD>(VFT_DLL));
    EXPECT_EQ(info->dwFileFlags, 0U);
}

TEST_F(VersionResource, HasTheVersionOfTheHeaderAsText) {
    EXPECT_EQ(text("FileVersion"), PCI_TARN_VERSION);
    EXPECT_EQ(text("ProductVersion"), PCI_TARN_VERSION);
}

TEST_F(VersionResource, NamesTheProduct) {
    EXPECT_EQ(text("CompanyName"), "pci_tarn");
    EXPECT_EQ(text("ProductName"), "pci_tarn");
    EXPECT_EQ(text("InternalName"), "pci_tarn");
    EXPECT_EQ(text("OriginalFilename"), "pci_tarn.dll");
    EXPECT_EQ(text("FileDescription"), "Host library of the EtherCAT master card");
}

TEST_F(VersionResource, NamesTheCommitThatWasBuilt) {
    EXPECT_EQ(text("Comments"), "Commit " TARN_COMMIT);
}

TEST_F(VersionResource, IsMarkedAsEnglishInUnicode) {
    void *value = nullptr;
    UINT length = 0;
    ASSERT_NE(VerQueryValueA(data_.data(), "\\VarFileInfo\\Translation", &value, &length), 0);
    ASSERT_EQ(length, 4U);
    EXPECT_EQ(static_cast<const WORD *>(value)[0], 0x409);
    EXPECT_EQ(static_cast<const WORD *>(value)[1], 1200);
}

} // namespace
