#include "errors.h"

#include <pci_tarn/pci_tarn.h>

#include <algorithm>
#include <iterator>

namespace tarn {

namespace {

struct Hint {
    uint32_t status;
    const char *text;
};

constexpr Hint kHints[] = {
    {PCI_TARN_E_MEMORY, "close other programs, the computer is out of memory"},
    {PCI_TARN_E_GENERAL, "is the current directory writable (the process image file temp.dat lies "
                         "in it), and does tarn boards show the card?"},
    {PCI_TARN_E_NOT_IMPLEMENTED, "this firmware does not know the request; tarn info shows its "
                                 "version"},
    {PCI_TARN_E_OPEN_XML, "the card has no ENI file; start the bus with tarn start ENI"},
    {PCI_TARN_E_XML_CONTENT, "tarn eni check FILE says what is wrong in the file"},
    {PCI_TARN_E_NOT_CONFIGURED, "start the bus first: tarn start ENI"},
    {PCI_TARN_E_NOT_CONNECTED, "check the cable to the first slave"},
    {PCI_TARN_E_INVALID_SLAVE, "tarn slaves lists the positions, counted from 0"},
    {PCI_TARN_E_INVALID_TRANSITION, "go step by step: INIT, PREOP, SAFEOP, OP; BOOT only from INIT "
                                    "and back"},
    {PCI_TARN_E_DRIVER_LOAD, "install the card's kernel driver"},
    {PCI_TARN_E_DRIVER_INIT, "install the card's kernel driver again"},
    {PCI_TARN_E_DRIVER_NOT_SUPPORTED, "the process image areas card and shadow-input are read "
                                      "only, write to fast-output or output; otherwise tarn "
                                      "version shows which driver is installed"},
    {PCI_TARN_E_DRIVER_NOT_LOADED, "load the card's kernel driver"},
    {PCI_TARN_E_INCORRECT_TRANSITION, "tarn state shows where the master is; tarn reset brings it "
                                      "back to INIT"},
    {PCI_TARN_E_TRANSITION, "tarn slaves shows which slave refuses and why"},
    {PCI_TARN_E_CALL_TIMEOUT, "try again, or with a longer --timeout"},
    {PCI_TARN_E_WORKING_COUNTER, "tarn slaves shows which slave does not answer"},
    {PCI_TARN_E_SLAVE_STATE, "tarn slaves shows the states"},
    {PCI_TARN_E_CONFIGURE_STATE, "stop the bus first: tarn stop"},
    {PCI_TARN_E_CONFIGURE_VERIFICATION, "the slaves on the bus are not those of the ENI file; "
                                        "compare tarn eni check FILE with the cabling"},
    {PCI_TARN_E_READ_SLAVE_STATES, "check the cables and the slaves' power"},
    {PCI_TARN_E_SLAVE_TRANSITION, "tarn slaves shows which slave refuses and why"},
    {PCI_TARN_E_INIT_COMMANDS, "check the cables and the slaves' power"},
    {PCI_TARN_E_THREAD, "this process has too many threads; close other programs"},
    {PCI_TARN_E_ALREADY_STARTED, "the bus runs already; stop it first: tarn stop"},
    {PCI_TARN_E_NOT_STARTED, "start the bus first: tarn start ENI"},
    {PCI_TARN_E_BUSY, "the card works on another request; try again"},
    {PCI_TARN_E_NO_PI_REGION, "the slave has no data in this direction; tarn slaves shows the "
                              "runs"},
    {PCI_TARN_E_NOT_PERMITTED, "tarn status shows what the bus is doing"},
    {PCI_TARN_E_OPEN_FILE, "does the file exist, and may you read it?"},
    {PCI_TARN_E_WRITE_FILE, "the card's file store refuses the data; tarn reset, then try again"},
    {PCI_TARN_E_READ_FILE, "the card has no such file, or may not read it"},
    {PCI_TARN_E_COE_ABORTED, "the slave refused the transfer; tarn sdo list SLAVE shows its "
                             "objects, tarn slaves its state"},
    {PCI_TARN_E_EEPROM_READ, "the slave's EEPROM does not answer; check the slave's power and "
                             "connection, then try again"},
    {PCI_TARN_E_MAILBOX_NOT_SUPPORTED, "the slave has no mailbox, so it has no objects and no "
                                       "files; its EEPROM and memory can be read: tarn eeprom, "
                                       "tarn mem"},
    {PCI_TARN_E_COE_NOT_SUPPORTED, "the slave has no object dictionary; tarn eeprom decode SLAVE "
                                   "shows which protocols it knows"},
    {PCI_TARN_E_EEPROM_WRITE, "the slave's EEPROM did not take the data; is it write protected? "
                              "Read it before you switch the slave off"},
    {PCI_TARN_E_EEPROM_DENIED, "the slave works with its EEPROM itself right now; try again, or "
                               "take the bus to PREOP or INIT first: tarn state --set PREOP"},
    {PCI_TARN_E_COE_DATA_TYPE, "choose the type that the slave expects with --type"},
    {PCI_TARN_E_COE_READ_ONLY, "the object can only be read: tarn sdo upload"},
    {PCI_TARN_E_COE_WRITE_ONLY, "the object can only be written: tarn sdo download"},
    {PCI_TARN_E_COE_INCOMPLETE_ENTRY, "the slave describes the entry only in part; choose the type "
                                      "with --type"},
    {PCI_TARN_E_COE_SDO_INFO, "the slave gives no list of its objects; those that every slave may "
                              "have can be read all the same"},
    {PCI_TARN_E_FOE_NOT_SUPPORTED, "the slave takes no files; tarn eeprom decode SLAVE shows which "
                                   "protocols it knows. Some slaves take files in BOOT only"},
    {PCI_TARN_E_OD_NO_OBJECT, "the slave has no such object; tarn sdo list SLAVE shows those it "
                              "has"},
    {PCI_TARN_E_OD_ACCESS_TYPE, "the object does not allow this access; try it without --complete"},
    {PCI_TARN_E_OD_DATA_TYPE, "choose the type that the slave expects with --type"},
    {PCI_TARN_E_OD_ACCESS_DENIED,
     "the slave does not allow this in its present state; tarn slaves "
     "shows it; PDO settings, for example, are writable in PREOP only"},
    {PCI_TARN_E_COE_SERVICE, "the slave does not know this access; try it without --complete"},
    {PCI_TARN_E_SDO_HEADER, "the slave does not understand the transfer; try it without "
                            "--complete"},
    {PCI_TARN_E_SDO_LENGTH, "the value has not the size of the object; choose its type with "
                            "--type"},
    {PCI_TARN_E_SDO_SIZE, "the value has not the size of the object; choose its type with --type"},
    {PCI_TARN_E_OD_NO_SUB_OBJECT, "the object has no such entry; its subindex 0 tells how many it "
                                  "has"},
    {PCI_TARN_E_OD_VALUE_ABOVE, "the value is larger than the object allows"},
    {PCI_TARN_E_OD_VALUE_BELOW, "the value is smaller than the object allows"},
    {PCI_TARN_E_OUT_OF_PI, "tarn status shows the image lengths, tarn slaves each slave's run"},
    {PCI_TARN_E_MAILBOX_ERROR_ANSWER, "the slave answered with an error; tarn lasterror may tell "
                                      "more"},
    {PCI_TARN_E_MAILBOX_GENERAL, "the slave's mailbox does not work; is the slave in PREOP or "
                                 "above (tarn slaves)?"},
    {PCI_TARN_E_MAILBOX_SERVICE, "the slave does not know this service of the protocol"},
    {PCI_TARN_E_MAILBOX_TOO_SHORT, "the value has not the size of the object; choose its type with "
                                   "--type"},
    {PCI_TARN_E_MAILBOX_LENGTH, "the value has not the size of the object; choose its type with "
                                "--type"},
    {PCI_TARN_E_RESOURCES, "close other programs, the computer is out of memory"},
    {PCI_TARN_E_NAME_TOO_LONG, "use a file name of at most 127 characters"},
    {PCI_TARN_E_QUEUE_FULL, "the card takes no request; is its firmware (or tarn-vcard) alive? A "
                            "longer --timeout waits longer"},
    {PCI_TARN_E_BUFFER_TOO_SMALL, "the card's answer does not fit this library; tarn info and tarn "
                                  "version show both versions"},
    {PCI_TARN_E_TIMEOUT, "the card does not answer; is its firmware (or tarn-vcard) alive? A "
                         "longer --timeout waits longer"},
    {PCI_TARN_E_NO_DEVICE, "is a card or tarn-vcard running?"},
    {PCI_TARN_E_CHANNEL, "tarn info shows how many channels the card has"},
    {PCI_TARN_E_NOT_SUPPORTED, "this needs newer firmware; tarn info shows the card's version"},
    {PCI_TARN_E_FILE_TOO_BIG, "a file for the card may have at most 5,242,880 bytes"},
    {PCI_TARN_E_FOE_TOO_BIG, "a file for a slave may have at most 26,214,400 bytes"},
    {PCI_TARN_E_UPDATE_TOO_BIG, "a firmware image may have at most 9,437,184 bytes; --unlimited "
                                "lets a larger one through once"},
    {PCI_TARN_E_ENI_TOO_BIG, "an ENI file may have at most 20,971,520 bytes"},
    {PCI_TARN_E_SEND_TIMEOUT, "the card does not take the data; does the bus run (tarn status)?"},
    {PCI_TARN_E_VERSION, "update the older side; tarn info and tarn version show both versions"},
    {PCI_TARN_E_SLAVE_DISCONNECTED, "check the slave's cable and power; tarn slaves shows which "
                                    "ones answer"},
    {PCI_TARN_E_SLAVE_NOT_READY, "tarn slaves shows the states; tarn state --set OP brings a "
                                 "running bus up"},
    {PCI_TARN_E_MAP_FORMAT, "tarn eni check FILE says what is wrong in the mapping comment"},
    {PCI_TARN_E_ENI_MISMATCH, "the bus runs with another ENI file; tarn stop, then tarn start the "
                              "one you want"},
    {PCI_TARN_E_NO_BOARD, "tarn boards lists the cards, counted from 0"},
    {PCI_TARN_E_WATCHDOG_COMMAND, "a time-out of 0 is none"},
    {PCI_TARN_E_WATCHDOG_FUNCTION, "set a slave's safe data first: tarn watchdog config SLAVE HEX"},
    {PCI_TARN_E_WATCHDOG_OFFSET, "tarn slaves shows how many bits of outputs each slave has"},
    {PCI_TARN_E_WATCHDOG_SLAVE, "tarn slaves lists the positions, counted from 0"},
    {PCI_TARN_E_WATCHDOG_SLAVE_SIZE, "safe data is as long as the slave's outputs, rounded up to "
                                     "bytes; tarn slaves shows their bits"},
};

} // namespace

std::string hint_of(uint32_t status) {
    const auto *found = std::find_if(std::begin(kHints), std::end(kHints),
                                     [&](const Hint &hint) { return hint.status == status; });
    return found != std::end(kHints) ? found->text : "";
}

std::string status_text(uint32_t status) {
    return std::string(DriverGetErrStr(status)) + " (" + std::to_string(status) + ")";
}

Failure::Failure(uint32_t status, std::string what, const std::string &hint)
    : status_(status), what_(std::move(what)), hint_(hint.empty() ? hint_of(status) : hint),
      line_(status_text(status) + ": " + what_ + (hint_.empty() ? "" : "; " + hint_)) {}

Failure::Failure(std::string what, std::string hint)
    : what_(std::move(what)), hint_(std::move(hint)),
      line_(what_ + (hint_.empty() ? "" : "; " + hint_)) {}

Json Failure::json() const {
    Json error = Json::object();
    if (status_ != 0) {
        error.set("code", status_).set("text", DriverGetErrStr(status_));
    }
    error.set("what", what_);
    if (!hint_.empty()) {
        error.set("hint", hint_);
    }
    return error;
}

void check(uint32_t status, const std::string &what) {
    if (status != PCI_TARN_OK) {
        throw Failure(status, what);
    }
}

bool no_answer(uint32_t status) {
    return status == PCI_TARN_E_QUEUE_FULL || status == PCI_TARN_E_TIMEOUT;
}

} // namespace tarn
