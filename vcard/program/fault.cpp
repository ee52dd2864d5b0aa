#include "vcard/program/fault.h"

#include "vcard/program/card_options.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>

namespace tarn::vcard {

namespace {

struct Counter {
    const char *name;
    std::atomic<uint32_t> Faults::*value;
};

constexpr Counter kCounters[] = {
    {"drop", &Faults::drop_replies},         {"duplicate", &Faults::duplicate_replies},
    {"stale", &Faults::stale_replies},       {"corrupt", &Faults::corrupt_replies},
    {"oversize", &Faults::oversize_replies}, {"delay", &Faults::delay_ms},
    {"stop-after", &Faults::stop_after},
};

struct Switch {
    const char *name;
    std::atomic<bool> Faults::*value;
};

constexpr Switch kSwitches[] = {
    {"refuse-chunks", &Faults::refuse_chunks},
    {"stop-draining", &Faults::stop_draining},
    {"no-interrupts", &Faults::no_interrupts},
};

constexpr const char *kSlaveFaults[] = {"unplug", "safeop-error", "none"};

template <typename Table>
auto find(const Table &table, const std::string &name) {
    return std::find_if(std::begin(table), std::end(table),
                        [&name](const auto &row) { return name == row.name; });
}

bool parse_switch(const std::string &name, const std::string &text) {
    if (text != "on" && text != "off") {
        throw std::invalid_argument(name + ": \"" + text + "\" is neither on nor off");
    }
    return text == "on";
}

void set_status(Faults &faults, const std::vector<std::string> &words) {
    faults.status_count = 0; // nothing is answered with half of the setting
    faults.status = parse_number("status", words.at(1));
    faults.status_code = parse_number("command", words.at(2));
    faults.status_count = parse_number("count", words.at(3));
}

void clear(Faults &faults) {
    for (const Counter &counter : kCounters) {
        faults.*counter.value = 0;
    }
    for (const Switch &fault : kSwitches) {
        faults.*fault.value = false;
    }
    faults.status_count = 0;
}

void set_slave_fault(Firmware &card, uint32_t channel, const std::string &name,
                     const std::string &slave) {
    if (!card.slave_fault(channel, parse_number("slave", slave), name)) {
        throw std::invalid_argument("channel " + std::to_string(channel) +
                                    " has no running bus with a slave " + slave);
    }
}

} // namespace

const std::vector<FaultKind> &fault_kinds() {
    static const std::vector<FaultKind> kinds = {
        {"drop", "N", "swallow the next N replies"},
        {"duplicate", "N", "send the next N replies twice"},
        {"stale", "N", "before each of the next N replies send one to another request"},
        {"corrupt", "N", "give the next N replies an impossible length"},
        {"oversize", "N", "append data to the next N replies"},
        {"delay", "MS", "hold every reply back this long; 0 ends it"},
        {"status", "CODE", "answer requests with this status instead of serving them"},
        {"refuse-chunks", "on|off", "refuse file data"},
        {"stop-draining", "on|off", "leave requests in the rings"},
        {"stop-after", "N", "the same once N more requests are answered"},
        {"no-interrupts", "on|off", "raise no interrupts"},
        {"unplug", "SLAVE", "take a slave of the running bus away"},
        {"safeop-error", "SLAVE", "let a slave of the running bus fall back to SAFEOP"},
        {"none", "SLAVE", "bring a slave back to order"},
        {"clear", "", "end all faults of the card but those of slaves"},
        {"die", "", "end the service at once, as a crash does"},
    };
    return kinds;
}

void set_fault(Firmware &card, uint32_t channel, const std::vector<std::string> &words) {
    const std::string &name = words.at(0);
    Faults &faults = card.faults();
    if (const auto *counter = find(kCounters, name); counter != std::end(kCounters)) {
        faults.*counter->value = parse_number(name, words.at(1));
    } else if (const auto *fault = find(kSwitches, name); fault != std::end(kSwitches)) {
        faults.*fault->value = parse_switch(name, words.at(1));
    } else if (std::find(std::begin(kSlaveFaults), std::end(kSlaveFaults), name) !=
               std::end(kSlaveFaults)) {
        set_slave_fault(card, channel, name, words.at(1));
    } else if (name == "status") {
        set_status(faults, words);
    } else if (name == "clear") {
        clear(faults);
    } else {
        throw std::invalid_argument("\"" + name + "\" is no fault");
    }
}

} // namespace tarn::vcard
