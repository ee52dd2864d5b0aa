#include "progress.h"

#include "json.h"
#include "terminal.h"
#include "text.h"

#include <algorithm>
#include <cstdio>
#include <future>

namespace tarn {

namespace {

constexpr auto kBarInterval = std::chrono::milliseconds(50);
constexpr auto kLineInterval = std::chrono::seconds(1);
constexpr unsigned kBarWidth = 40;

// "title [####----]  50 %", as long as the terminal allows beside `others` further characters.
std::string bar_text(const std::string &title, float fraction, size_t others) {
    const size_t room = terminal::size(stderr).columns;
    const size_t rest = title.size() + 10 + others; // brackets, percentage
    const auto width =
        static_cast<unsigned>(room > rest ? std::min<size_t>(room - rest, kBarWidth) : 0);
    const auto full = static_cast<unsigned>(fraction * static_cast<float>(width));
    return title + " [" + std::string(full, '#') + std::string(width - full, '-') +
           format("] %3u %%", static_cast<unsigned>(fraction * 100));
}

} // namespace

Progress::Progress(std::string title, bool json)
    : title_(std::move(title)), json_(json), terminal_(!json && terminal::is_terminal(stderr)) {}

Progress::~Progress() {
    if (terminal_ && drawn_) {
        std::fputc('\n', stderr);
    }
}

double Progress::seconds() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

std::string Progress::time_left(float fraction) const {
    constexpr float kEnough = 0.03F;     // of the work, to tell from
    constexpr double kWorthSaying = 2.0; // seconds
    const double rest = fraction > 0 ? seconds() * (1.0 / static_cast<double>(fraction) - 1.0) : 0;
    return fraction < kEnough || rest < kWorthSaying ? "" : format(", %.0f s to go", rest);
}

void Progress::draw_bar(float fraction) const {
    constexpr size_t kTimes = 26;
    std::fprintf(stderr, "\r%s %5.1f s%s\x1b[K", bar_text(title_, fraction, kTimes).c_str(),
                 seconds(), time_left(fraction).c_str());
}

void Progress::show(float fraction) {
    fraction = std::clamp(fraction, 0.0F, 1.0F);
    const auto now = Clock::now();
    const bool last = fraction >= 1.0F;
    const Clock::duration interval = terminal_ ? Clock::duration(kBarInterval) : kLineInterval;
    if (drawn_ && !last && now - last_ < interval) {
        return;
    }
    drawn_ = true;
    last_ = now;
    const auto percent = static_cast<unsigned>(fraction * 100);
    if (json_) {
        const Json event = Json::object()
                               .set("event", "progress")
                               .set("fraction", static_cast<double>(fraction))
                               .set("seconds", seconds());
        std::fprintf(stderr, "%s\n", event.one_line().c_str());
    } else if (terminal_) {
        draw_bar(fraction);
    } else {
        std::fprintf(stderr, "%s: %u %%, %.1f s%s\n", title_.c_str(), percent, seconds(),
                     time_left(fraction).c_str());
    }
    std::fflush(stderr);
}

namespace {

Json activity_json(const Stage &stage, double seconds) {
    Json event =
        Json::object()
            .set("event", "progress")
            .set("fraction", stage.fraction ? Json(static_cast<double>(*stage.fraction)) : Json())
            .set("seconds", seconds);
    if (stage.name != nullptr) {
        event.set("stage", stage.name);
    }
    if (stage.bytes) {
        event.set("bytes", *stage.bytes);
    }
    return event;
}

// On a terminal, in place.
std::string activity_text(const std::string &title, const Stage &stage, double seconds) {
    const std::string end =
        format(" %5.1f s", seconds) + (stage.text.empty() ? "" : ", ") + stage.text;
    if (stage.fraction) {
        return bar_text(title, *stage.fraction, end.size()) + end;
    }
    constexpr char kTurning[] = "|/-\\";
    return title + " " + kTurning[static_cast<unsigned>(seconds * 10) % 4] + end;
}

std::string activity_line(const std::string &title, const Stage &stage, double seconds) {
    return title + ": " +
           (stage.fraction ? format("%u %%, ", static_cast<unsigned>(*stage.fraction * 100)) : "") +
           format("%.1f s", seconds) + (stage.text.empty() ? "" : ", ") + stage.text;
}

void show_activity(const std::string &title, bool json, bool in_place, const Stage &stage,
                   double seconds) {
    if (json) {
        std::fprintf(stderr, "%s\n", activity_json(stage, seconds).one_line().c_str());
    } else if (in_place) {
        std::fprintf(stderr, "\r%s\x1b[K", activity_text(title, stage, seconds).c_str());
    } else {
        std::fprintf(stderr, "%s\n", activity_line(title, stage, seconds).c_str());
    }
    std::fflush(stderr);
}

} // namespace

uint32_t with_activity(const std::string &title, bool json, const std::function<uint32_t()> &call,
                       const std::function<Stage()> &look) {
    const bool in_place = !json && terminal::is_terminal(stderr);
    const auto interval = in_place ? std::chrono::milliseconds(100) : std::chrono::seconds(1);
    const auto start = std::chrono::steady_clock::now();
    std::future<uint32_t> result = std::async(std::launch::async, call);
    bool shown = false;
    while (result.wait_for(interval) != std::future_status::ready) {
        shown = true;
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        show_activity(title, json, in_place, look(), time.count());
    }
    if (in_place && shown) {
        std::fputs("\r\x1b[K", stderr);
    }
    return result.get();
}

} // namespace tarn
