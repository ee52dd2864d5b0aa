// Progress of something long, on standard error: a bar on a terminal, a line now and then
// otherwise, one JSON object per line with --json.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace tarn {

class Progress {
  public:
    Progress(std::string title, bool json);
    ~Progress(); // leaves the line of the bar
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void show(float fraction);
    // The same as a callback of the library; the first argument is the Progress.
    static void report(void *progress, float fraction) {
        static_cast<Progress *>(progress)->show(fraction);
    }
    [[nodiscard]] double seconds() const; // since the start

  private:
    using Clock = std::chrono::steady_clock;

    void draw_bar(float fraction) const;
    [[nodiscard]] std::string time_left(float fraction) const; // estimate of what is still to come

    std::string title_;
    bool json_;
    bool terminal_;
    bool drawn_ = false;
    Clock::time_point start_ = Clock::now();
    Clock::time_point last_;
};

// How far something is that does not tell by itself, as far as it can be seen from outside.
struct Stage {
    const char *name = nullptr; // for --json
    std::string text;           // for people
    std::optional<uint64_t> bytes;
    std::optional<float> fraction;
};

// Calls something of the library that waits without telling how far it is, and shows meanwhile for
// how long it has been waiting and what `look` sees of it.
uint32_t with_activity(const std::string &title, bool json, const std::function<uint32_t()> &call,
                       const std::function<Stage()> &look);

} // namespace tarn
