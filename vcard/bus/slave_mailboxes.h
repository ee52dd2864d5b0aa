// The mailboxes of the slaves on a bus: object dictionaries, start commands, and faults.
#pragma once

#include "vcard/bus/network.h"
#include "vcard/bus/object_dictionary.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarn::vcard {

struct MailboxFaults {
    bool silent = false;   // the slave takes requests and never answers
    bool slow = false;     // it takes its time for every exchange
    bool foe_busy = false; // it answers "busy" to FoE
};

class SlaveMailboxes {
  public:
    // Keeps a pointer to the network; all slaves as after power-up.
    void configure(const Network &network);
    void clear();

    // Made when it is first asked for.
    ObjectDictionary &dictionary(uint32_t slave);

    // Runs the CoE start commands of a transition. What went wrong, if anything did.
    std::optional<std::string> run_commands(SlaveView &slave, Transition transition);

    // AL status code of a slave whose PDOs no longer fit its process data, else 0.
    uint16_t check_process_data(uint32_t slave);

    // False when there is no such fault or the slave has no mailbox.
    bool set_fault(uint32_t slave, const std::string &name);
    void end_faults(uint32_t slave);
    [[nodiscard]] const MailboxFaults &faults(uint32_t slave) const { return faults_[slave]; }

  private:
    const Network *network_ = nullptr;
    std::vector<std::unique_ptr<ObjectDictionary>> dictionaries_;
    std::vector<MailboxFaults> faults_;
};

} // namespace tarn::vcard
