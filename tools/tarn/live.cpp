#include "live.h"

#include "terminal.h"
#include "text.h"

#include <algorithm>
#include <thread>

namespace tarn {

LiveLines::LiveLines(const Output &output)
    : output_(output), in_place_(!output.json() && terminal::is_terminal(output.stream())) {}

double LiveLines::seconds() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

void LiveLines::show(const std::vector<std::string> &now) {
    std::string text;
    const terminal::Size screen = terminal::size(output_.stream());
    in_place_ = in_place_ && now.size() < screen.rows;
    if (in_place_) {
        if (!shown_.empty()) {
            text += "\x1b[" + std::to_string(shown_.size()) + "A";
        }
        for (const std::string &line : now) {
            text += line.substr(0, screen.columns - 1) + "\x1b[K\n";
        }
    } else {
        for (size_t i = 0; i < now.size(); ++i) {
            if (i >= shown_.size() || shown_[i] != now[i]) {
                text += format("%8.3f s  ", seconds()) + now[i] + "\n";
            }
        }
    }
    output_.text(text);
    shown_ = now;
}

void pause_for(uint32_t interval_ms) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(interval_ms);
    constexpr auto kSlice = std::chrono::milliseconds(50); // how late Ctrl-C may be noticed
    while (!terminal::interrupted() && std::chrono::steady_clock::now() < end) {
        const auto rest = end - std::chrono::steady_clock::now();
        std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(rest, kSlice));
    }
}

} // namespace tarn
