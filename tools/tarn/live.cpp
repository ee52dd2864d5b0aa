#include "live.h"

#include "terminal.h"

#include <algorithm>
#include <thread>

namespace tarn {

void add_watching(CLI::App *command, Watching &watching) {
    add_number(command, "--interval-ms", watching.interval_ms, "Time between two looks", "MS", 1)
        ->default_str(std::to_string(watching.interval_ms));
    add_number(command, "--count", watching.count, "How often to look, 0: until Ctrl-C", "N")
        ->default_str("0");
}

LiveView::LiveView(const Output &output)
    : output_(output), in_place_(!output.json() && terminal::is_terminal(output.stream())) {}

double LiveView::seconds() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

void LiveView::repeat(const Watching &watching, const std::function<void()> &look) {
    for (uint32_t i = 0; !terminal::interrupted(); ++i) {
        look();
        if (i + 1 == watching.count) {
            return;
        }
        pause_for(watching.interval_ms);
    }
}

int LiveView::run(const Watching &watching, const std::function<void()> &look) {
    terminal::catch_interrupt();
    if (!output_.json()) {
        repeat(watching, look);
        return kSuccess;
    }
    int status = kSuccess;
    output_.line("[");
    try {
        repeat(watching, look);
    } catch (const UsageError &error) {
        Output::error(error.what());
        add(Json::object().set("error", Json::object().set("usage", error.what())));
        status = kUsage;
    } catch (const Failure &failure) {
        fail(failure);
        status = kFailure;
    } catch (const std::exception &error) {
        fail(Failure(error.what()));
        status = kFailure;
    }
    output_.text(first_ ? "]\n" : "\n]\n");
    return status;
}

void LiveView::fail(const Failure &failure) {
    Output::error(failure.what());
    add(Json::object().set("error", failure.json()));
}

void LiveView::add(const Json &row) {
    output_.text((first_ ? "" : ",\n") + row.one_line());
    first_ = false;
}

void LiveView::show(const std::vector<std::string> &now) {
    std::string text;
    const terminal::Size screen = terminal::size(output_.stream());
    in_place_ = in_place_ && now.size() < screen.rows;
    if (in_place_) {
        if (!shown_.empty()) {
            text += "\x1b[" + std::to_string(shown_.size()) + "A";
        }
        for (const std::string &line : now) {
            text += clipped(line, screen.columns - 1) + "\x1b[K\n";
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
