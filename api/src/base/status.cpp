#include "pci_tarn/status.h"

#include "pci_tarn/base.h"

// The switches name every enumerator: the compiler refuses a code without a text. Odd spellings
// are part of the interface, programs compare these texts.

namespace tarn {
namespace {

const char kUnknownStatus[] = "Unknown";
const char kUnknownAlStatus[] = "unkown status";

const char *status_text(PciTarnStatus status) noexcept {
    switch (status) {
    case PCI_TARN_OK:
        return "No error";
    case PCI_TARN_I_MORE_CALLS:
        return "Buffer size limit for current call. Require more calls";
    case PCI_TARN_I_NO_MORE_ITEMS:
        return "No more items (for get next functions)";
    case PCI_TARN_I_ALREADY_SYNCHRONIZED:
        return "Process Image double buffer is already synchronized";
    case PCI_TARN_I_WAIT_FOR_EVENTS:
        return "No more items, but wait for new events(mailbox)";
    case PCI_TARN_I_TIMEOUT:
        return "Timeout";
    case PCI_TARN_I_THREAD_EXIT:
        return "Thread exit code";
    case PCI_TARN_I_NEEDS_SYNCHRONIZATION:
        return "Call need synchronization (internal)";
    case PCI_TARN_I_REDUNDANCY_STATE:
        return "Indicate network redundancy state";
    case PCI_TARN_I_TRY_AGAIN:
        return "Try again";
    case PCI_TARN_I_STATE_CHANGED:
        return "Object has changed its state.";
    case PCI_TARN_I_PI_TOO_LATE:
        return "PI access is to late, some bus data can be lost";
    case PCI_TARN_I_PI_TOO_FAST:
        return "PI access is to fast, no bus data change since last access";
    case PCI_TARN_E_MEMORY:
        return "Memory limit(usually can not allocate new memory)";
    case PCI_TARN_E_INVALID_ARGUMENT:
        return "Function calls with invalid arguments";
    case PCI_TARN_E_GENERAL:
        return "General error";
    case PCI_TARN_E_NOT_IMPLEMENTED:
        return "Function not implemented";
    case PCI_TARN_E_OPEN_XML:
        return "Can't open xml file";
    case PCI_TARN_E_XML_CONTENT:
        return "Xml configuration file contains errors";
    case PCI_TARN_E_NOT_CONFIGURED:
        return "Master not configured. You must configure master before call";
    case PCI_TARN_E_NOT_CONNECTED:
        return "Master not connected. You must connect master before call";
    case PCI_TARN_E_ALREADY_CONNECTED:
        return "Master already connected";
    case PCI_TARN_E_INVALID_SLAVE:
        return "Invalid slave index";
    case PCI_TARN_E_INVALID_TRANSITION:
        return "Invalid transition. Can't transit master to request state";
    case PCI_TARN_E_DRIVER_LOAD:
        return "Can't load driver";
    case PCI_TARN_E_DRIVER_INIT:
        return "Can't initialize driver";
    case PCI_TARN_E_DRIVER_NOT_SUPPORTED:
        return "Driver not supported";
    case PCI_TARN_E_DRIVER_NOT_LOADED:
        return "Driver not loaded";
    case PCI_TARN_E_SEND_FRAME:
        return "Can't send frame";
    case PCI_TARN_E_RECEIVE_FRAME:
        return "Can't receive frame";
    case PCI_TARN_E_TRACE_OVERFLOW:
        return "Trace buffer overflow";
    case PCI_TARN_E_INCORRECT_TRANSITION:
        return "Incorrect transition for current master state";
    case PCI_TARN_E_TRANSITION:
        return "Transition error";
    case PCI_TARN_E_INVALID_POINTER:
        return "Invalid pointer";
    case PCI_TARN_E_INVALID_COMMAND:
        return "Invalid command type";
    case PCI_TARN_E_TRANSITION_FORBIDDEN:
        return "Transition forbidden (can't send frames to the network)";
    case PCI_TARN_E_CALL_TIMEOUT:
        return "Call timeout";
    case PCI_TARN_E_COE_ABORTED:
        return "Mailbox CanOpen transition aborted";
    case PCI_TARN_E_WORKING_COUNTER:
        return "Invalid working counter received";
    case PCI_TARN_E_SLAVE_STATE:
        return "Invalid slave state";
    case PCI_TARN_E_SNAPSHOT_LOSS:
        return "Data lose at snapshot call";
    case PCI_TARN_E_NO_ACYCLIC_DATA:
        return "Acyclic cmd data is not set";
    case PCI_TARN_E_RESERVED_COMMAND:
        return "Can't add reserved cmd to command container";
    case PCI_TARN_E_BUFFER_LIMIT:
        return "Buffer size limit";
    case PCI_TARN_E_BUILD_TELEGRAM:
        return "Can't build ecat telegram";
    case PCI_TARN_E_BUILD_FRAME:
        return "Can't build ecat frame";
    case PCI_TARN_E_CONFIGURE_STATE:
        return "Can't load configuration at current master state";
    case PCI_TARN_E_CONFIGURE_VERIFICATION:
        return "Can't load configuration because verification errors";
    case PCI_TARN_E_READ_SLAVE_STATES:
        return "Can't read slave states from network";
    case PCI_TARN_E_SLAVE_TRANSITION:
        return "Can't transit slave to request state";
    case PCI_TARN_E_INIT_COMMANDS:
        return "Can't send master init commands";
    case PCI_TARN_E_ALREADY_STARTED:
        return "Master already started";
    case PCI_TARN_E_THREAD:
        return "Can't initialize thread";
    case PCI_TARN_E_EEPROM_READ:
        return "Error occurred while reading EEPROM";
    case PCI_TARN_E_MAILBOX_NOT_SUPPORTED:
        return "Mailbox not supported";
    case PCI_TARN_E_COE_NOT_SUPPORTED:
        return "Mailbox CoE not supported";
    case PCI_TARN_E_PI_ALREADY_UNLOCKED:
        return "Process Image already unlocked";
    case PCI_TARN_E_FRAME_SIZE:
        return "Process frame error: invalid frame size";
    case PCI_TARN_E_FRAME_TYPE:
        return "Process frame error: unsupported EtherCAT frame type";
    case PCI_TARN_E_FRAME_COMMAND_LENGTH:
        return "Process frame error: invalid command length";
    case PCI_TARN_E_FRAME_INTERNAL_DATA:
        return "Process frame error: invalid internal data";
    case PCI_TARN_E_EEPROM_WRITE:
        return "Error occurred while writing EEPROM";
    case PCI_TARN_E_NOT_STARTED:
        return "Master not started. You must start master before call";
    case PCI_TARN_E_ARRAY_BOUNDS:
        return "Array bounds error exceeded";
    case PCI_TARN_E_FRAME_TIMEOUT:
        return "Frame receive time-out";
    case PCI_TARN_E_EEPROM_DENIED:
        return "Access to EEPROM temporarily denied";
    case PCI_TARN_E_BUSY:
        return "Busy";
    case PCI_TARN_E_INVALID_TIME:
        return "Invalid time";
    case PCI_TARN_E_ABORTED:
        return "Call has been aborted";
    case PCI_TARN_E_NO_PI_REGION:
        return "Slave PI region doesn't exist";
    case PCI_TARN_E_DC_SYNCHRONIZATION:
        return "EtherCAT DC synchronization error";
    case PCI_TARN_E_BAD_CONTEXT:
        return "Bad context";
    case PCI_TARN_E_NOT_PERMITTED:
        return "Operation is not permitted";
    case PCI_TARN_E_INI_CONTENT:
        return "Bad Master INI file content";
    case PCI_TARN_E_BAD_OBJECT:
        return "Bad object";
    case PCI_TARN_E_SUBSYSTEM_TRANSFER:
        return "Can't send/receive data between Master subsystems";
    case PCI_TARN_E_OPEN_FILE:
        return "Can't open file";
    case PCI_TARN_E_WRITE_FILE:
        return "Can't write to file";
    case PCI_TARN_E_READ_FILE:
        return "Can't read from file";
    case PCI_TARN_E_ENCODE:
        return "Can't encode data";
    case PCI_TARN_E_DECODE:
        return "Can't decode data";
    case PCI_TARN_E_NO_ADAPTER:
        return "Ethernet adapter cannot be found.";
    case PCI_TARN_E_QUEUE_RESOURCE:
        return "Queue has no resource to complete operation.";
    case PCI_TARN_E_QUEUE_EMPTY:
        return "Queue has no items to return.";
    case PCI_TARN_E_COE_DATA_TYPE:
        return "CoE: Unsupported CANOpen data type";
    case PCI_TARN_E_COE_READ_ONLY:
        return "CoE: Access to read only object";
    case PCI_TARN_E_COE_WRITE_ONLY:
        return "CoE: Access to write only object";
    case PCI_TARN_E_COE_INCOMPLETE_ENTRY:
        return "CoE: Incomplete object entry description";
    case PCI_TARN_E_COE_SDO_INFO:
        return "CoE: SDO information error response";
    case PCI_TARN_E_VOE_NOT_SUPPORTED:
        return "Mailbox VoE not supported";
    case PCI_TARN_E_MASTER_LOCKED:
        return "Master is already locked";
    case PCI_TARN_E_NO_RIGHTS:
        return "No rights to complete this operation";
    case PCI_TARN_E_NO_USER:
        return "User not found in the configuration";
    case PCI_TARN_E_NO_MASTER:
        return "Master name cannot be found";
    case PCI_TARN_E_NO_CYCLIC_TASK:
        return "ENI cyclic task cannot be found";
    case PCI_TARN_E_AOE_HEADER_ERROR:
        return "Error code in AoE header is received";
    case PCI_TARN_E_AOE_RESULT:
        return "Result in AoE command response not 0";
    case PCI_TARN_E_AOE_HEADER:
        return "Failed to build/parse AoE header";
    case PCI_TARN_E_AOE_NOT_SUPPORTED:
        return "Mailbox AoE not supported";
    case PCI_TARN_E_AOE_NO_ROUTE:
        return "AoE route not found";
    case PCI_TARN_E_SOE_NOT_SUPPORTED:
        return "Mailbox SoE not supported";
    case PCI_TARN_E_SOE_RESPONSE:
        return "Error bit in SoE response is true. See error code for more information";
    case PCI_TARN_E_SOE_HEADER:
        return "Failed to build/parse SoE header";
    case PCI_TARN_E_SOE_FRAGMENT_LEFT:
        return "SoE Fragment is left";
    case PCI_TARN_E_EOE_NOT_SUPPORTED:
        return "Mailbox EoE not supported";
    case PCI_TARN_E_FOE_NOT_SUPPORTED:
        return "Mailbox FoE not supported";
    case PCI_TARN_E_OD_NO_OBJECT:
        return "No object in OD";
    case PCI_TARN_E_OD_OBJECT_EXISTS:
        return "Object is already in OD";
    case PCI_TARN_E_OD_DESCRIPTION_EXISTS:
        return "OD entry description already exists";
    case PCI_TARN_E_OD_DESCRIPTION:
        return "Failed to create OD entry description";
    case PCI_TARN_E_OD_OBJECT_TYPE:
        return "OD object type is invalid";
    case PCI_TARN_E_OD_ACCESS_TYPE:
        return "OD access type is invalid";
    case PCI_TARN_E_OD_DATA_TYPE:
        return "Invalid OD data type";
    case PCI_TARN_E_OD_ACCESS_DENIED:
        return "Access to OD denied";
    case PCI_TARN_E_OD_NOT_CREATED:
        return "OD has not been created";
    case PCI_TARN_E_COE_SERVICE:
        return "Mailbox error: not supported CoE service in CoE header";
    case PCI_TARN_E_SDO_HEADER:
        return "Mailbox error: invalid CoE SDO header";
    case PCI_TARN_E_SDO_LENGTH:
        return "Mailbox error: CoE SDO service with Len < 10";
    case PCI_TARN_E_SDO_SIZE:
        return "Mailbox error: invalid size";
    case PCI_TARN_E_OD_NO_SUB_OBJECT:
        return "Sub-object not found in object";
    case PCI_TARN_E_OD_VALUE_ABOVE:
        return "Entry value is more than maximum";
    case PCI_TARN_E_OD_VALUE_BELOW:
        return "Entry value is less than minimum";
    case PCI_TARN_E_LIBRARY_INITIALIZED:
        return "Master library already initialized";
    case PCI_TARN_E_OUT_OF_PI:
        return "The specified region is out of process image";
    case PCI_TARN_E_PI_ALREADY_MAPPED:
        return "The specified region of process image is already mapped";
    case PCI_TARN_E_LIBRARY_NOT_INITIALIZED:
        return "Master library have not initialized";
    case PCI_TARN_E_FRAME_GENERAL:
        return "Process frame error: general error";
    case PCI_TARN_E_FRAME_QUEUE_FULL:
        return "Process frame error: queued is full";
    case PCI_TARN_E_FRAME_SCHEDULER_TRANSFER:
        return "Process frame error: can't transfer frame to scheduler";
    case PCI_TARN_E_FRAME_PREPARE:
        return "Process frame error: error preparing to send";
    case PCI_TARN_E_FRAME_WAIT_TIMEOUT:
        return "Process frame error: waiting timeout is expired";
    case PCI_TARN_E_FRAME_SEND_TIMEOUT:
        return "Process frame error: sending timeout is expired";
    case PCI_TARN_E_FRAME_SCHEDULER_DESTROYED:
        return "Process frame error: scheduler is destroyed";
    case PCI_TARN_E_FRAME_CANCELED:
        return "Process frame error: canceled";
    case PCI_TARN_E_FRAME_TOO_LONG:
        return "Process frame error: frame is too long";
    case PCI_TARN_E_MAILBOX_WAITING:
        return "Mailbox request is waiting for outcoming data";
    case PCI_TARN_E_MAILBOX_ERROR_ANSWER:
        return "Mailbox request answered with error data";
    case PCI_TARN_E_MAILBOX_NO_ERROR_DATA:
        return "Answer to mailbox request doesn't contain error data";
    case PCI_TARN_E_MAILBOX_FINISHED:
        return "Mailbox request is already finished";
    case PCI_TARN_E_MAILBOX_GENERAL:
        return "Mailbox general error";
    case PCI_TARN_E_MAILBOX_SYNTAX:
        return "Syntax of Mailbox Header is wrong";
    case PCI_TARN_E_MAILBOX_CHANNEL:
        return "Wrong channel number is used for Mailbox";
    case PCI_TARN_E_MAILBOX_SERVICE:
        return "The service in the mailbox protocol is not supported";
    case PCI_TARN_E_MAILBOX_HEADER:
        return "The header of the mailbox protocol is wrong";
    case PCI_TARN_E_MAILBOX_TOO_SHORT:
        return "Length of received mailbox data is too short";
    case PCI_TARN_E_RESOURCES:
        return "Mailbox protocol cannot be processed because of limited resources";
    case PCI_TARN_E_MAILBOX_LENGTH:
        return "The length of data is inconsistent";
    case PCI_TARN_E_MODULE_INIT:
        return "Master module initialization failed";
    case PCI_TARN_E_REMOTE_CONNECTION:
        return "Connection to remote side is not initialized or broken";
    case PCI_TARN_E_REMOTE_RESPONSE:
        return "Could not parse respond";
    case PCI_TARN_E_REMOTE_CHANNEL:
        return "Could not initialize RPC channel";
    case PCI_TARN_E_LIBRARY_INIT:
        return "Could not initialize library";
    case PCI_TARN_E_ENTRY_EMPTY:
        return "Entry content is empty. No additional items could be retrieved";
    case PCI_TARN_E_SYSTEM_CALL:
        return "System call failed";
    case PCI_TARN_E_NAME_TOO_LONG:
        return "Fill name too long";
    case PCI_TARN_E_QUEUE_FULL:
        return "Queue full";
    case PCI_TARN_E_BUFFER_TOO_SMALL:
        return "Recvive buff too small";
    case PCI_TARN_E_TIMEOUT:
        return "Recvive timeout";
    case PCI_TARN_E_NO_DEVICE:
        return "Device not find";
    case PCI_TARN_E_CHANNEL:
        return "Invalid ethercat channel";
    case PCI_TARN_E_NOT_SUPPORTED:
        return "Api not support";
    case PCI_TARN_E_FILE_TOO_BIG:
        return "File size is too big";
    case PCI_TARN_E_ENI_TOO_BIG:
        return "Eni file size is too big";
    case PCI_TARN_E_FOE_TOO_BIG:
        return "FOE file size is too big";
    case PCI_TARN_E_UPDATE_TOO_BIG:
        return "Update file size is too big";
    case PCI_TARN_E_SEND_TIMEOUT:
        return "Data send timeout";
    case PCI_TARN_E_VERSION:
        return "Version not match";
    case PCI_TARN_E_HANDLE:
        return "Invalid handle";
    case PCI_TARN_E_SLAVE_DISCONNECTED:
        return "Slave disconnect";
    case PCI_TARN_E_SLAVE_NOT_READY:
        return "Slave not ready in operator mode(8).";
    case PCI_TARN_E_MAP_FORMAT:
        return "Slave logic address map json format error";
    case PCI_TARN_E_INVALID_PARAMETER:
        return "Invalid parameter";
    case PCI_TARN_E_ENI_MISMATCH:
        return "ENI file is mismatched";
    case PCI_TARN_E_NO_BOARD:
        return "Boardcast is not existent";
    case PCI_TARN_E_WATCHDOG_SIZE:
        return "pdo watch dog size error";
    case PCI_TARN_E_WATCHDOG_DATA:
        return "pdo watch dog data error";
    case PCI_TARN_E_WATCHDOG_COMMAND:
        return "pdo watch dog cmd error";
    case PCI_TARN_E_WATCHDOG_MEMORY:
        return "pdo watch dog malloc error";
    case PCI_TARN_E_WATCHDOG_FUNCTION:
        return "pdo watch dog function error";
    case PCI_TARN_E_WATCHDOG_OFFSET:
        return "pdo watch dog offset out of range";
    case PCI_TARN_E_WATCHDOG_SLAVE:
        return "pdo watch dog slave id error";
    case PCI_TARN_E_WATCHDOG_SLAVE_SIZE:
        return "pdo watch dog slave buffer size error";
    }
    return kUnknownStatus;
}

const char *al_status_text(PciTarnAlStatus status) noexcept {
    switch (status) {
    case PCI_TARN_AL_OK:
        return "Is OK";
    case PCI_TARN_AL_UNSPECIFIED:
        return "ERROR: Unspecified error";
    case PCI_TARN_AL_NO_MEMORY:
        return "ERROR: No memory";
    case PCI_TARN_AL_INVALID_STATE_CHANGE:
        return "ERROR: Invalid requested state change";
    case PCI_TARN_AL_UNKNOWN_STATE:
        return "ERROR: Unknown requested state";
    case PCI_TARN_AL_BOOT_NOT_SUPPORTED:
        return "ERROR: Bootstrap not supported";
    case PCI_TARN_AL_NO_FIRMWARE:
        return "ERROR: No valid firmware";
    case PCI_TARN_AL_MAILBOX_CONFIG_BOOT:
        return "ERROR: Invalid mailbox configuration";
    case PCI_TARN_AL_MAILBOX_CONFIG_PREOP:
        return "ERROR: Invalid mailbox configuration";
    case PCI_TARN_AL_SYNC_MANAGER_CONFIG:
        return "ERROR: Invalid sync manager configuration";
    case PCI_TARN_AL_NO_INPUTS:
        return "ERROR: No valid inputs available";
    case PCI_TARN_AL_NO_OUTPUTS:
        return "ERROR: No valid outputs";
    case PCI_TARN_AL_SYNCHRONIZATION:
        return "ERROR: Synchronization error";
    case PCI_TARN_AL_SYNC_MANAGER_WATCHDOG:
        return "ERROR: Sync manager watchdog";
    case PCI_TARN_AL_SYNC_MANAGER_TYPES:
        return "ERROR: Invalid Sync Manager Types";
    case PCI_TARN_AL_OUTPUT_CONFIG:
        return "ERROR: Invalid Output Configuration";
    case PCI_TARN_AL_INPUT_CONFIG:
        return "ERROR: Invalid Input Configuration";
    case PCI_TARN_AL_WATCHDOG_CONFIG:
        return "ERROR: Invalid Watchdog Configuration";
    case PCI_TARN_AL_NEEDS_COLD_START:
        return "ERROR: Slave needs cold start";
    case PCI_TARN_AL_NEEDS_INIT:
        return "ERROR: Slave needs INIT";
    case PCI_TARN_AL_NEEDS_PREOP:
        return "ERROR: Slave needs PREOP";
    case PCI_TARN_AL_NEEDS_SAFEOP:
        return "ERROR: Slave needs SAFEOP";
    case PCI_TARN_AL_INPUT_MAPPING:
        return "ERROR: Invalid input mapping";
    case PCI_TARN_AL_OUTPUT_MAPPING:
        return "ERROR: Invalid output mapping";
    case PCI_TARN_AL_INCONSISTENT_SETTINGS:
        return "ERROR: Inconsistent settings";
    case PCI_TARN_AL_FREE_RUN_NOT_SUPPORTED:
        return "ERROR: Free Run not supported";
    case PCI_TARN_AL_SYNC_NOT_SUPPORTED:
        return "ERROR: Synchronization not supported";
    case PCI_TARN_AL_FREE_RUN_3_BUFFER:
        return "ERROR: Free Run needs 3 buffer mode";
    case PCI_TARN_AL_BACKGROUND_WATCHDOG:
        return "ERROR: Background watchdog";
    case PCI_TARN_AL_NO_INPUTS_AND_OUTPUTS:
        return "ERROR: No valid inputs and outputs";
    case PCI_TARN_AL_FATAL_SYNC:
        return "ERROR: Fatal Sync error";
    case PCI_TARN_AL_NO_SYNC:
        return "ERROR: No Sync error";
    case PCI_TARN_AL_DC_SYNC_CONFIG:
        return "ERROR: Invalid DC SYNCH Configuration";
    case PCI_TARN_AL_DC_LATCH_CONFIG:
        return "ERROR: Invalid DC Latch Configuration";
    case PCI_TARN_AL_PLL:
        return "ERROR: PLL Error";
    case PCI_TARN_AL_DC_IO:
        return "ERROR: Invalid DC IO Error";
    case PCI_TARN_AL_DC_TIMEOUT:
        return "ERROR: Invalid DC Timeout Error";
    case PCI_TARN_AL_DC_SYNC_CYCLE_TIME:
        return "ERROR: DC invalid Sync Cycle Time";
    case PCI_TARN_AL_DC_SYNC0_CYCLE_TIME:
        return "ERROR: DC Sync0 Cycle Time";
    case PCI_TARN_AL_DC_SYNC1_CYCLE_TIME:
        return "ERROR: DC Sync1 Cycle Time";
    case PCI_TARN_AL_MBX_AOE:
        return "ERROR: MBX_AOE";
    case PCI_TARN_AL_MBX_EOE:
        return "ERROR: MBX_EOE";
    case PCI_TARN_AL_MBX_COE:
        return "ERROR: MBX_COE";
    case PCI_TARN_AL_MBX_FOE:
        return "ERROR: MBX_FOE";
    case PCI_TARN_AL_MBX_SOE:
        return "ERROR: MBX_SOE";
    case PCI_TARN_AL_MBX_VOE:
        return "ERROR: MBX_VOE";
    case PCI_TARN_AL_EEPROM_NO_ACCESS:
        return "ERROR: EEPROM no access";
    case PCI_TARN_AL_EEPROM:
        return "ERROR: EEPROM error";
    case PCI_TARN_AL_RESTARTED_LOCALLY:
        return "ERROR: Slave restarted locally";
    }
    return kUnknownAlStatus;
}

} // namespace
} // namespace tarn

const char *EcatErrorGetErrorMessage(int32_t code) {
    // Only values up to the last code fit the enumeration.
    const bool fits = code >= 0 && code <= PCI_TARN_E_WATCHDOG_SLAVE_SIZE;
    return fits ? tarn::status_text(static_cast<PciTarnStatus>(code)) : tarn::kUnknownStatus;
}

const char *DriverGetErrStr(uint32_t code) {
    return EcatErrorGetErrorMessage(static_cast<int32_t>(code));
}

const char *EcatGetAlStatusCodeMessage(uint16_t code) {
    const bool fits = code <= PCI_TARN_AL_RESTARTED_LOCALLY;
    return fits ? tarn::al_status_text(static_cast<PciTarnAlStatus>(code)) : tarn::kUnknownAlStatus;
}
