#include "vcard/bus/slave_mailboxes.h"

#include "vcard/bus/ethercat.h"

#include <algorithm>

namespace tarn::vcard {

namespace {

constexpr uint16_t kInvalidOutputConfiguration = 0x001D; // AL status codes
constexpr uint16_t kInvalidInputConfiguration = 0x001E;

struct FaultName {
    const char *name;
    bool MailboxFaults::*flag;
};

constexpr FaultName kFaults[] = {
    {"mailbox-silent", &MailboxFaults::silent},
    {"mailbox-slow", &MailboxFaults::slow},
    {"foe-busy", &MailboxFaults::foe_busy},
};

const char *letter(uint8_t state) {
    switch (state) {
    case kInit:
        return "I";
    case kPreOp:
        return "P";
    case kSafeOp:
        return "S";
    case kOp:
        return "O";
    default:
        return "B";
    }
}

} // namespace

void SlaveMailboxes::configure(const Network &network) {
    network_ = &network;
    dictionaries_.clear();
    dictionaries_.resize(network.slaves.size());
    faults_.assign(network.slaves.size(), {});
}

void SlaveMailboxes::clear() {
    network_ = nullptr;
    dictionaries_.clear();
    faults_.clear();
}

ObjectDictionary &SlaveMailboxes::dictionary(uint32_t slave) {
    std::unique_ptr<ObjectDictionary> &dictionary = dictionaries_[slave];
    if (!dictionary) {
        dictionary =
            std::make_unique<ObjectDictionary>(network_->slaves[slave], network_->cycle_us);
    }
    return *dictionary;
}

std::optional<std::string> SlaveMailboxes::run_commands(SlaveView &slave, Transition transition) {
    for (const CoeInitCommand &command : slave.config.mailbox_config.coe_commands) {
        const auto &at = command.transitions;
        if (command.disabled || std::find(at.begin(), at.end(), transition) == at.end()) {
            continue;
        }
        const ObjectAddress address{command.index, command.subindex, command.complete_access};
        std::string trouble;
        if (faults_[slave.number].silent) {
            trouble = "got no answer";
        } else {
            std::vector<uint8_t> read;
            ObjectDictionary &objects = dictionary(slave.number);
            const uint32_t abort = command.ccs == CoeInitCommand::kDownload
                                       ? objects.write(address, slave, command.data)
                                       : objects.read(address, slave, read);
            if (abort != sdo_abort::kNone) {
                trouble = "was aborted, " + abort_text(abort);
            }
        }
        if (!trouble.empty()) {
            return "slave " + std::to_string(slave.number) + " (" + slave.config.name +
                   "): start command " + object_text(address) + " at " + letter(transition.from) +
                   letter(transition.to) + " " + trouble;
        }
    }
    return std::nullopt;
}

uint16_t SlaveMailboxes::check_process_data(uint32_t slave) {
    if (!dictionaries_[slave]) {
        return 0; // nobody has changed anything
    }
    if (!dictionaries_[slave]->mapping_fits(true)) {
        return kInvalidOutputConfiguration;
    }
    return dictionaries_[slave]->mapping_fits(false) ? 0 : kInvalidInputConfiguration;
}

bool SlaveMailboxes::set_fault(uint32_t slave, const std::string &name) {
    const auto *found = std::find_if(std::begin(kFaults), std::end(kFaults),
                                     [&](const FaultName &fault) { return name == fault.name; });
    if (found == std::end(kFaults) || !network_->slaves[slave].mailbox) {
        return false;
    }
    faults_[slave].*found->flag = true;
    return true;
}

void SlaveMailboxes::end_faults(uint32_t slave) {
    faults_[slave] = {};
}

} // namespace tarn::vcard
