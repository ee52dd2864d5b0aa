// Real-time priority, which the cycle mode's thread needs: whether this system gives it, and what
// to grant where it does not.
#pragma once

#include "errors.h"
#include "json.h"

#include <string>
#include <vector>

namespace tarn {

struct Realtime {
    bool runs = false; // a thread that asks for real time runs here at all
    bool full = false; // and with the real-time priority that it asked for
    std::string got;   // the priority it runs with; empty when it does not run
};

// Tries it: starts a thread as the library starts its data-swap thread.
Realtime try_realtime();

// What to grant on this system, a line each. Differs between the operating systems.
std::vector<std::string> how_to_grant_realtime();

// In one sentence, for a terminal.
std::string realtime_text(const Realtime &realtime);
Json realtime_json(const Realtime &realtime);

// Why a cycle mode does nothing here, with what to grant.
Failure no_realtime();

// What the operating systems tell differently: the priority that the calling thread has.
struct PresentPriority {
    bool realtime = false;
    std::string text;
};
PresentPriority present_priority();

} // namespace tarn
