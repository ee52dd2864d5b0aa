#include "vcard/program/fault.h"

#include "tarn_vcard/diagnostics.h"
#include "vcard/program/card_options.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <string_view>

namespace tarn::vcard {

namespace {

constexpr uint32_t kMostChannels = 2; // of a card

struct Counter {
    const char *name;
    std::atomic<uint32_t> Faults::*value;
};

constexpr Counter kCounters[] = {
    {"drop", &Faults::drop_replies},
    {"duplicate", &Faults::duplicate_replies},
    {"stale", &Faults::stale_replies},
    {"corrupt", &Faults::corrupt_replies},
    {"oversize", &Faults::oversize_replies},
    {"delay", &Faults::delay_ms},
    {"stop-after", &Faults::stop_after},
    {"lose-cycle-interrupts", &Faults::lose_cycle_interrupts},
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

struct SlaveFault {
    const char *name;
    bool port;   // is that of a port
    bool number; // takes a number, too
};

constexpr SlaveFault kSlaveFaults[] = {
    {"unplug", true, false},          {"safeop-error", false, false},
    {"none", false, false},           {"al-status", false, true},
    {"crc-errors", true, true},       {"rx-errors", true, true},
    {"forwarded-errors", true, true}, {"mailbox-silent", false, false},
    {"mailbox-slow", false, false},   {"foe-busy", false, false},
};

constexpr const char *kBusFaults[] = {"lose-frames", "late-cycle"};

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

// Where no bus runs there is nothing to end.
void end_bus_faults(Firmware &card) {
    for (uint32_t channel = 0; channel < kMostChannels; ++channel) {
        for (const char *fault : kBusFaults) {
            card.bus_fault(channel, fault, 0);
        }
    }
}

void set_slave_fault(Firmware &card, uint32_t channel, const SlaveFault &fault,
                     const std::vector<std::string> &words) {
    const SlavePlace place = parse_slave_place(words.at(1));
    if (place.port && !fault.port) {
        throw std::invalid_argument(std::string(fault.name) + " is for a slave, not for a port");
    }
    SlaveFaultArguments arguments{place.port, 0};
    if (fault.number) {
        arguments.number = parse_number("number", words.at(2));
    }
    if (fault.name == std::string_view("al-status") &&
        (arguments.number == 0 || arguments.number > 0xFFFF)) {
        throw std::invalid_argument("an AL status code is a number from 1 to 65535");
    }
    if (!card.slave_fault(channel, place.slave, fault.name, arguments)) {
        throw std::invalid_argument(
            "channel " + std::to_string(channel) + " has no running bus with a slave " +
            std::to_string(place.slave) +
            (place.port ? " that has a cable at port " + std::to_string(*place.port)
                        : " that can have this fault"));
    }
}

void set_bus_fault(Firmware &card, uint32_t channel, const std::string &name,
                   const std::string &number) {
    if (!card.bus_fault(channel, name, parse_number(name, number))) {
        throw std::invalid_argument("channel " + std::to_string(channel) + " has no running bus");
    }
}

} // namespace

SlavePlace parse_slave_place(const std::string &text) {
    const size_t colon = text.find(':');
    SlavePlace place{parse_number("slave", text.substr(0, colon)), std::nullopt};
    if (colon != std::string::npos) {
        place.port = parse_number("port", text.substr(colon + 1));
        if (*place.port >= VCARD_PORTS) {
            throw std::invalid_argument("port: \"" + text.substr(colon + 1) +
                                        "\" is none of 0 to 3");
        }
    }
    return place;
}

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
        {"stop-draining", "on|off", "leave requests and socket messages in the rings"},
        {"stop-after", "N", "the same once N more requests are answered"},
        {"no-interrupts", "on|off", "raise no interrupts"},
        {"lose-cycle-interrupts", "N", "raise no interrupt in the next N cycles"},
        {"unplug", "SLAVE[:PORT]",
         "take a slave of the running bus away, or pull the cable of one of its ports"},
        {"safeop-error", "SLAVE", "let a slave of the running bus fall back to SAFEOP"},
        {"al-status", "SLAVE", "the same with this AL status code", "CODE"},
        {"crc-errors", "SLAVE[:PORT]", "let N damaged frames come in at a port", "N"},
        {"rx-errors", "SLAVE[:PORT]", "let a port receive N symbols that are no data", "N"},
        {"forwarded-errors", "SLAVE[:PORT]",
         "let N frames come in at a port that were found damaged before", "N"},
        {"mailbox-silent", "SLAVE", "let a slave answer no mailbox request"},
        {"mailbox-slow", "SLAVE", "let a slave take 20 ms for every mailbox exchange"},
        {"foe-busy", "SLAVE", "let a slave answer FoE requests with \"busy\""},
        {"none", "SLAVE", "bring a slave back to order and plug in the cables of its ports"},
        {"lose-frames", "N", "lose the next N frames of the running bus"},
        {"late-cycle", "US", "begin the next cycle of the running bus this much later"},
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
    } else if (const auto *slave = find(kSlaveFaults, name); slave != std::end(kSlaveFaults)) {
        set_slave_fault(card, channel, *slave, words);
    } else if (std::find(std::begin(kBusFaults), std::end(kBusFaults), name) !=
               std::end(kBusFaults)) {
        set_bus_fault(card, channel, name, words.at(1));
    } else if (name == "status") {
        set_status(faults, words);
    } else if (name == "clear") {
        clear(faults);
        end_bus_faults(card);
    } else {
        throw std::invalid_argument("\"" + name + "\" is no fault");
    }
}

} // namespace tarn::vcard
