#include "vcard/host/command_line_win32.h"

namespace tarn::vcard {

std::string quoted(const std::string &word) {
    std::string result = "\"";
    size_t backslashes = 0;
    for (const char c : word) {
        if (c == '"') {
            result.append(backslashes + 1, '\\');
        }
        backslashes = c == '\\' ? backslashes + 1 : 0;
        result += c;
    }
    return result.append(backslashes, '\\') + "\"";
}

} // namespace tarn::vcard
