// What the firmware keeps about the master, the slaves and their links, as far as its records are
// those of the virtual card.
#pragma once

#include "json.h"

#include <pci_tarn/pci_tarn.h>
#include <tarn_vcard/diagnostics.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tarn {

// Whether the firmware lays its records out as tarn knows them. Throws Failure when the card gives
// no answer.
bool records_are_known(EcatHandle *channel);

// The records as they came, without a look into them.
struct RawDiagnosis {
    std::vector<uint8_t> master;
    std::vector<uint8_t> slaves;
    std::vector<uint8_t> states; // the master's, then one of four bytes per slave
    std::vector<uint8_t> details;
    std::vector<uint8_t> links; // as many as one answer carries
    std::vector<uint8_t> link_down;
};

// Throws Failure.
RawDiagnosis read_diagnosis(EcatHandle *channel);

struct SlaveDiagnosis {
    VcardSlaveDiagnostics counters{};
    VcardSlaveDetail detail{};
    uint32_t flags = 0;
    bool has_links = false;
    VcardLinkStatus links{};
    std::string name;
    unsigned depth = 0; // branches between the slave and the master
};

struct Diagnosis {
    VcardMasterDiagnostics master{};
    VcardLinkDown link_down{};
    std::vector<SlaveDiagnosis> slaves;
};

// `names` are asked for once, for slaves whose links are not in the answer.
Diagnosis read_known_diagnosis(EcatHandle *channel, std::vector<std::string> &names);

Json diagnosis_json(const Diagnosis &diagnosis);

struct DiagnosisLine {
    enum class Tone { Plain, Good, Past, Bad };
    Tone tone = Tone::Plain;
    std::string text;
};

// A picture of the bus. `Past` lines tell of something that is over, `Bad` ones of something that
// is wrong now.
std::vector<DiagnosisLine> diagnosis_lines(const Diagnosis &diagnosis);

} // namespace tarn
