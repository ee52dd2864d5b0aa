#include "slave_service.h"

#include "states.h"

#include <pci_tarn/pci_tarn.h>

#include <algorithm>
#include <iterator>

namespace tarn {

namespace {

// What the state of the slave has to do with the failure; empty when it does not tell.
std::string state_hint(EcatHandle *channel, const SlaveChoice &slave) {
    uint8_t state = 0;
    if (EcatGetSlaveState(channel, slave.position, &state) != PCI_TARN_OK) {
        return "";
    }
    if (state == 0) {
        return slave.text() + " does not answer; check its cable and power";
    }
    if (state == ECAT_STATE_INIT) {
        return slave.text() + " is in INIT, where it has no mailbox; tarn state --set PREOP";
    }
    return "";
}

// Statuses that say the same of a slave that is off and of one that is only in INIT.
bool may_be_the_state(uint32_t status) {
    return !no_answer(status) &&
           (hint_of(status).empty() || status == PCI_TARN_E_CALL_TIMEOUT ||
            status == PCI_TARN_E_MAILBOX_GENERAL || status == PCI_TARN_E_COE_ABORTED ||
            status == PCI_TARN_E_NOT_PERMITTED || status == PCI_TARN_E_SLAVE_STATE ||
            status == PCI_TARN_E_WORKING_COUNTER);
}

// Statuses after which other requests to the slave would fail as well.
constexpr uint32_t kGone[] = {
    PCI_TARN_E_INVALID_SLAVE,   PCI_TARN_E_MAILBOX_NOT_SUPPORTED, PCI_TARN_E_COE_NOT_SUPPORTED,
    PCI_TARN_E_NOT_STARTED,     PCI_TARN_E_NOT_CONFIGURED,        PCI_TARN_E_NOT_CONNECTED,
    PCI_TARN_E_WORKING_COUNTER, PCI_TARN_E_CALL_TIMEOUT,          PCI_TARN_E_MAILBOX_GENERAL,
    PCI_TARN_E_FRAME_TIMEOUT,   PCI_TARN_E_FRAME_WAIT_TIMEOUT,    PCI_TARN_E_FRAME_SEND_TIMEOUT,
};

} // namespace

void add_slave(CLI::App *command, SlaveChoice &slave) {
    add_number(command, "SLAVE,-p,--slave", slave.position, "Position of the slave, from 0",
               "POSITION", 0, UINT16_MAX)
        ->required();
}

void check_service(EcatHandle *channel, const SlaveChoice &slave, uint32_t status,
                   const std::string &what, const std::string &hint) {
    if (status == PCI_TARN_OK) {
        return;
    }
    std::string better = may_be_the_state(status) ? state_hint(channel, slave) : "";
    throw Failure(status, what, better.empty() ? hint : better);
}

bool is_refusal(EcatHandle *channel, const SlaveChoice &slave, uint32_t status) {
    return !no_answer(status) &&
           std::find(std::begin(kGone), std::end(kGone), status) == std::end(kGone) &&
           state_hint(channel, slave).empty();
}

} // namespace tarn
