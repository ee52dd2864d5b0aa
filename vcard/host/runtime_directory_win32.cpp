#include "vcard/host/runtime_directory.h"

#include <windows.h>

#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace tarn::vcard {

namespace {

std::string owner_file(const std::string &directory) {
    return directory + "\\tarn-vcard.pid";
}

[[noreturn]] void fail(const std::string &what, DWORD error = GetLastError()) {
    throw std::runtime_error(what + ": " + std::system_category().message(static_cast<int>(error)));
}

// Nobody else can open the file for writing while the owner lives; everybody can read it.
HANDLE open_for_writing(const std::string &path, DWORD creation) {
    return CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                       creation, FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::string content(const std::string &path) {
    char text[32] = {};
    DWORD size = 0;
    const HANDLE file = CreateFileA(path.c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        ReadFile(file, text, sizeof(text) - 1, &size, nullptr);
        CloseHandle(file);
    }
    return {text, size};
}

} // namespace

std::string user_runtime_directory() {
    const char *const local = std::getenv("LOCALAPPDATA");
    if (local == nullptr || *local == '\0') {
        throw std::runtime_error(
            "the variable LOCALAPPDATA is not set; give the folder with --dir");
    }
    return std::string(local) + "\\pci_tarn";
}

// The user's own folder is closed to others by where it lies.
void make_runtime_directory(const std::string &directory, bool) {
    if (CreateDirectoryA(directory.c_str(), nullptr) == FALSE &&
        GetLastError() != ERROR_ALREADY_EXISTS) {
        fail("cannot make the runtime directory " + directory);
    }
    const DWORD attributes = GetFileAttributesA(directory.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        fail("cannot use the runtime directory " + directory, ERROR_DIRECTORY);
    }
}

std::optional<int64_t> runtime_owner(const std::string &directory) {
    const std::string path = owner_file(directory);
    const HANDLE file = open_for_writing(path, OPEN_EXISTING);
    if (file != INVALID_HANDLE_VALUE) {
        CloseHandle(file);
        return std::nullopt;
    }
    if (GetLastError() != ERROR_SHARING_VIOLATION) {
        return std::nullopt;
    }
    // Until the owner has written its number, 0 stands for it.
    return std::strtoll(content(path).c_str(), nullptr, 10);
}

struct RuntimeOwnership::State {
    std::string path;
    HANDLE file = INVALID_HANDLE_VALUE;
    ~State() {
        if (file != INVALID_HANDLE_VALUE) {
            CloseHandle(file);
        }
    }
};

RuntimeOwnership::RuntimeOwnership(const std::string &directory)
    : state_(std::make_unique<State>()) {
    state_->path = owner_file(directory);
    // Somebody who only looks whether there is an owner has the file for an instant.
    constexpr int kTries = 20;
    constexpr DWORD kPauseMs = 5;
    for (int i = 0; i < kTries && state_->file == INVALID_HANDLE_VALUE; ++i) {
        state_->file = open_for_writing(state_->path, CREATE_ALWAYS);
        if (state_->file == INVALID_HANDLE_VALUE) {
            if (GetLastError() != ERROR_SHARING_VIOLATION) {
                fail("cannot write " + state_->path);
            }
            Sleep(kPauseMs);
        }
    }
    if (state_->file == INVALID_HANDLE_VALUE) {
        const int64_t owner = runtime_owner(directory).value_or(0);
        throw std::runtime_error("tarn-vcard is already running in " + directory +
                                 (owner > 0 ? " (process " + std::to_string(owner) + ")" : ""));
    }
    const std::string text = std::to_string(GetCurrentProcessId()) + "\r\n";
    DWORD written = 0;
    if (WriteFile(state_->file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) ==
        FALSE) {
        fail("cannot write " + state_->path);
    }
}

RuntimeOwnership::~RuntimeOwnership() {
    DeleteFileA(state_->path.c_str());
}

} // namespace tarn::vcard
