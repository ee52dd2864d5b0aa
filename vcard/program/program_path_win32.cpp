#include "vcard/program/program_path_win32.h"

#include <windows.h>

namespace tarn::vcard {

std::string program_path() {
    std::string path(MAX_PATH, '\0');
    for (;;) {
        const auto size = static_cast<DWORD>(path.size());
        const DWORD length = GetModuleFileNameA(nullptr, path.data(), size);
        if (length < size) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2); // it was cut off
    }
}

} // namespace tarn::vcard
