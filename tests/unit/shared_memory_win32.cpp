#include "pci_tarn/pci_tarn.h"
#include "support/capture.h"
#include "support/imports_win32.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

using tarn::test::as_import;
using tarn::test::ReplacedImport;
using tarn::test::StdoutCapture;

// The system's text for an error, as its message tables have it.
std::string text_of(DWORD error) {
    char text[512] = {};
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                   text, sizeof(text), nullptr);
    const std::string line = text;
    return line.substr(0, line.find_last_not_of("\r\n") + 1);
}

HANDLE WINAPI refuse_mapping(HANDLE, LPSECURITY_ATTRIBUTES, DWORD, DWORD, DWORD, LPCSTR) {
    SetLastError(ERROR_DISK_FULL);
    return nullptr;
}

void *WINAPI give_all_ones(HANDLE, DWORD, DWORD, DWORD, SIZE_T) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return INVALID_HANDLE_VALUE;
}

void *WINAPI give_null(HANDLE, DWORD, DWORD, DWORD, SIZE_T) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

TEST(SharedMemoryFile, FolderNamedLikeItGivesTheSystemsText) {
    const tarn::test::TempDir folder;
    std::filesystem::create_directory("temp.dat");
    const StdoutCapture out;
    EXPECT_EQ(initMutex(), nullptr);
    EXPECT_EQ(out.text(), "CreateFileA failed. " + text_of(ERROR_ACCESS_DENIED) + "\r\n");
}

TEST(SharedMemoryFile, FailedGrowthIsSaid) {
    const tarn::test::TempDir folder;
    const ReplacedImport refusal("pci_tarn.dll", "CreateFileMappingA", as_import(refuse_mapping));
    const StdoutCapture out;
    EXPECT_EQ(initMutex(), nullptr);
    EXPECT_EQ(out.text(), "CreateFileMapping failed. " + text_of(ERROR_DISK_FULL) + "\r\n");
}

TEST(SharedMemoryFile, ViewAtAllOnesIsSaid) {
    const tarn::test::TempDir folder;
    const ReplacedImport refusal("pci_tarn.dll", "MapViewOfFile", as_import(give_all_ones));
    const StdoutCapture out;
    initMutex();
    EXPECT_EQ(out.text(), "MapViewOfFile failed. " + text_of(ERROR_NOT_ENOUGH_MEMORY) + "\r\n");
}

TEST(SharedMemoryFile, NullViewIsPassedOnInSilence) {
    const tarn::test::TempDir folder;
    const ReplacedImport refusal("pci_tarn.dll", "MapViewOfFile", as_import(give_null));
    const StdoutCapture out;
    EXPECT_EQ(initMutex(), nullptr);
    EXPECT_EQ(__pi_shared_memory, nullptr);
    EXPECT_EQ(out.text(), "");
}

} // namespace
