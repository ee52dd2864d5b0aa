// The access modes of a channel by name.
#pragma once

#include "command.h"

namespace tarn {

struct AccessMode {
    uint32_t mode;
    const char *name;
    const char *exchange; // who exchanges the process data, and when
    const char *wakes;    // what wakes a program that waits for the cycle
};

inline constexpr const char *kAccessModeNames = "direct, cycle, manual";

const std::vector<AccessMode> &access_modes();

// By name or number. Throws UsageError.
const AccessMode &parse_access_mode(const std::string &text);

// Sets the mode of a channel; throws Failure, also for a cycle mode whose thread does not run here.
void set_access_mode(EcatHandle *channel, const AccessMode &mode);

// Bus cycles that wake this program, counted until `count` came or `patience_ms` passed without.
struct Wakeups {
    uint32_t count = 0;
    double period_us = 0; // mean; 0 below two wake-ups
};
Wakeups count_wakeups(EcatHandle *channel, uint32_t count, uint32_t patience_ms);

} // namespace tarn
