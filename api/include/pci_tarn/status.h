/**
 * @file status.h
 * Names of the status codes that the functions return, and of the AL status codes of slaves.
 *
 * Status codes are one decimal number space: the codes of the master that runs on the card, and
 * those of the library itself from 80000 on. EcatErrorGetErrorMessage() gives the text of a
 * status code, EcatGetAlStatusCodeMessage() that of an AL status code.
 */
#ifndef PCI_TARN_STATUS_H
#define PCI_TARN_STATUS_H

/** Status of a call: 0 is success, every other value says what went wrong. */
enum PciTarnStatus {
    /* Informational results and timing warnings */

    /** Success. */
    PCI_TARN_OK = 0,
    /** Buffer size limit for current call. Require more calls. */
    PCI_TARN_I_MORE_CALLS = 1,
    /** No more items (for get next functions). */
    PCI_TARN_I_NO_MORE_ITEMS = 2,
    /** Process Image double buffer is already synchronized. */
    PCI_TARN_I_ALREADY_SYNCHRONIZED = 3,
    /** No more items, but wait for new events(mailbox). */
    PCI_TARN_I_WAIT_FOR_EVENTS = 4,
    /** Timeout. */
    PCI_TARN_I_TIMEOUT = 5,
    /** Thread exit code. */
    PCI_TARN_I_THREAD_EXIT = 6,
    /** Call need synchronization (internal). */
    PCI_TARN_I_NEEDS_SYNCHRONIZATION = 7,
    /** Indicate network redundancy state. */
    PCI_TARN_I_REDUNDANCY_STATE = 8,
    /** Try again. */
    PCI_TARN_I_TRY_AGAIN = 9,
    /** Object has changed its state. */
    PCI_TARN_I_STATE_CHANGED = 10,
    /** The process image is accessed too late: bus data may be lost. */
    PCI_TARN_I_PI_TOO_LATE = 528,
    /** The process image is accessed too fast: no change since the last access. */
    PCI_TARN_I_PI_TOO_FAST = 544,

    /* General errors of the master, process frames and CoE */

    /** Out of memory. */
    PCI_TARN_E_MEMORY = 32769,
    /** A function is called with invalid arguments. */
    PCI_TARN_E_INVALID_ARGUMENT = 32770,
    /** General error. */
    PCI_TARN_E_GENERAL = 32771,
    /** Function not implemented. */
    PCI_TARN_E_NOT_IMPLEMENTED = 32772,
    /** Can't open xml file. */
    PCI_TARN_E_OPEN_XML = 32773,
    /** Xml configuration file contains errors. */
    PCI_TARN_E_XML_CONTENT = 32774,
    /** Master not configured. You must configure master before call. */
    PCI_TARN_E_NOT_CONFIGURED = 32775,
    /** Master not connected. You must connect master before call. */
    PCI_TARN_E_NOT_CONNECTED = 32776,
    /** Master already connected. */
    PCI_TARN_E_ALREADY_CONNECTED = 32777,
    /** Invalid slave index. */
    PCI_TARN_E_INVALID_SLAVE = 32778,
    /** Invalid transition. Can't transit master to request state. */
    PCI_TARN_E_INVALID_TRANSITION = 32779,
    /** Can't load driver. */
    PCI_TARN_E_DRIVER_LOAD = 32780,
    /** Can't initialize driver. */
    PCI_TARN_E_DRIVER_INIT = 32781,
    /** Driver not supported. */
    PCI_TARN_E_DRIVER_NOT_SUPPORTED = 32782,
    /** Driver not loaded. */
    PCI_TARN_E_DRIVER_NOT_LOADED = 32783,
    /** Can't send frame. */
    PCI_TARN_E_SEND_FRAME = 32784,
    /** Can't receive frame. */
    PCI_TARN_E_RECEIVE_FRAME = 32785,
    /** Trace buffer overflow. */
    PCI_TARN_E_TRACE_OVERFLOW = 32786,
    /** Incorrect transition for current master state. */
    PCI_TARN_E_INCORRECT_TRANSITION = 32787,
    /** Transition error. */
    PCI_TARN_E_TRANSITION = 32788,
    /** Invalid pointer. */
    PCI_TARN_E_INVALID_POINTER = 32789,
    /** Invalid command type. */
    PCI_TARN_E_INVALID_COMMAND = 32790,
    /** Transition forbidden (can't send frames to the network). */
    PCI_TARN_E_TRANSITION_FORBIDDEN = 32791,
    /** Call timeout. */
    PCI_TARN_E_CALL_TIMEOUT = 32792,
    /** Mailbox CanOpen transition aborted. */
    PCI_TARN_E_COE_ABORTED = 32793,
    /** Invalid working counter received. */
    PCI_TARN_E_WORKING_COUNTER = 32794,
    /** Invalid slave state. */
    PCI_TARN_E_SLAVE_STATE = 32795,
    /** Data lose at snapshot call. */
    PCI_TARN_E_SNAPSHOT_LOSS = 32796,
    /** Acyclic cmd data is not set. */
    PCI_TARN_E_NO_ACYCLIC_DATA = 32805,
    /** Can't add reserved cmd to command container. */
    PCI_TARN_E_RESERVED_COMMAND = 32806,
    /** Buffer size limit. */
    PCI_TARN_E_BUFFER_LIMIT = 32807,
    /** Can't build ecat telegram. */
    PCI_TARN_E_BUILD_TELEGRAM = 32808,
    /** Can't build ecat frame. */
    PCI_TARN_E_BUILD_FRAME = 32809,
    /** Can't load configuration at current master state. */
    PCI_TARN_E_CONFIGURE_STATE = 32810,
    /** Can't load configuration because verification errors. */
    PCI_TARN_E_CONFIGURE_VERIFICATION = 32811,
    /** Can't read slave states from network. */
    PCI_TARN_E_READ_SLAVE_STATES = 32812,
    /** Can't transit slave to request state. */
    PCI_TARN_E_SLAVE_TRANSITION = 32813,
    /** Can't send master init commands. */
    PCI_TARN_E_INIT_COMMANDS = 32814,
    /** Master already started. */
    PCI_TARN_E_ALREADY_STARTED = 32815,
    /** Can't initialize thread. */
    PCI_TARN_E_THREAD = 32816,
    /** Error occurred while reading EEPROM. */
    PCI_TARN_E_EEPROM_READ = 32817,
    /** Mailbox not supported. */
    PCI_TARN_E_MAILBOX_NOT_SUPPORTED = 32818,
    /** Mailbox CoE not supported. */
    PCI_TARN_E_COE_NOT_SUPPORTED = 32819,
    /** Process Image already unlocked. */
    PCI_TARN_E_PI_ALREADY_UNLOCKED = 32820,
    /** Process frame error: invalid frame size. */
    PCI_TARN_E_FRAME_SIZE = 32821,
    /** Process frame error: unsupported EtherCAT frame type. */
    PCI_TARN_E_FRAME_TYPE = 32822,
    /** Process frame error: invalid command length. */
    PCI_TARN_E_FRAME_COMMAND_LENGTH = 32823,
    /** Process frame error: invalid internal data. */
    PCI_TARN_E_FRAME_INTERNAL_DATA = 32824,
    /** Error occurred while writing EEPROM. */
    PCI_TARN_E_EEPROM_WRITE = 32825,
    /** Master not started. You must start master before call. */
    PCI_TARN_E_NOT_STARTED = 32826,
    /** Array bounds error exceeded. */
    PCI_TARN_E_ARRAY_BOUNDS = 32827,
    /** Frame receive time-out. */
    PCI_TARN_E_FRAME_TIMEOUT = 32829,
    /** Access to EEPROM temporarily denied. */
    PCI_TARN_E_EEPROM_DENIED = 32830,
    /** Busy. */
    PCI_TARN_E_BUSY = 32831,
    /** Invalid time. */
    PCI_TARN_E_INVALID_TIME = 32832,
    /** Call has been aborted. */
    PCI_TARN_E_ABORTED = 32833,
    /** The slave has no data in this direction of the process image. */
    PCI_TARN_E_NO_PI_REGION = 32834,
    /** EtherCAT DC synchronization error. */
    PCI_TARN_E_DC_SYNCHRONIZATION = 32835,
    /** Bad context. */
    PCI_TARN_E_BAD_CONTEXT = 32836,
    /** Operation is not permitted. */
    PCI_TARN_E_NOT_PERMITTED = 32837,
    /** Bad Master INI file content. */
    PCI_TARN_E_INI_CONTENT = 32838,
    /** Bad object. */
    PCI_TARN_E_BAD_OBJECT = 32839,
    /** Can't send/receive data between Master subsystems. */
    PCI_TARN_E_SUBSYSTEM_TRANSFER = 32840,
    /** A file cannot be opened or measured. */
    PCI_TARN_E_OPEN_FILE = 32848,
    /** Can't write to file. */
    PCI_TARN_E_WRITE_FILE = 32849,
    /** Can't read from file. */
    PCI_TARN_E_READ_FILE = 32850,
    /** Can't encode data. */
    PCI_TARN_E_ENCODE = 32852,
    /** Can't decode data. */
    PCI_TARN_E_DECODE = 32853,
    /** Ethernet adapter cannot be found. */
    PCI_TARN_E_NO_ADAPTER = 32864,
    /** Queue has no resource to complete operation. */
    PCI_TARN_E_QUEUE_RESOURCE = 32880,
    /** Queue has no items to return. */
    PCI_TARN_E_QUEUE_EMPTY = 32881,
    /** CoE: Unsupported CANOpen data type. */
    PCI_TARN_E_COE_DATA_TYPE = 33024,
    /** CoE: Access to read only object. */
    PCI_TARN_E_COE_READ_ONLY = 33025,
    /** CoE: Access to write only object. */
    PCI_TARN_E_COE_WRITE_ONLY = 33026,
    /** CoE: Incomplete object entry description. */
    PCI_TARN_E_COE_INCOMPLETE_ENTRY = 33027,
    /** CoE: SDO information error response. */
    PCI_TARN_E_COE_SDO_INFO = 33028,
    /** Mailbox VoE not supported. */
    PCI_TARN_E_VOE_NOT_SUPPORTED = 33104,

    /* Locking of the master and look-up in the configuration */

    /** Master is already locked. */
    PCI_TARN_E_MASTER_LOCKED = 33280,
    /** No rights to complete this operation. */
    PCI_TARN_E_NO_RIGHTS = 33281,
    /** User not found in the configuration. */
    PCI_TARN_E_NO_USER = 33282,
    /** Master name cannot be found. */
    PCI_TARN_E_NO_MASTER = 33283,
    /** ENI cyclic task cannot be found. */
    PCI_TARN_E_NO_CYCLIC_TASK = 33284,

    /* Mailbox protocols */

    /** Error code in AoE header is received. */
    PCI_TARN_E_AOE_HEADER_ERROR = 33536,
    /** Result in AoE command response not 0. */
    PCI_TARN_E_AOE_RESULT = 33537,
    /** Failed to build/parse AoE header. */
    PCI_TARN_E_AOE_HEADER = 33538,
    /** Mailbox AoE not supported. */
    PCI_TARN_E_AOE_NOT_SUPPORTED = 33539,
    /** AoE route not found. */
    PCI_TARN_E_AOE_NO_ROUTE = 33540,
    /** Mailbox SoE not supported. */
    PCI_TARN_E_SOE_NOT_SUPPORTED = 33552,
    /** Error bit in SoE response is true. See error code for more information. */
    PCI_TARN_E_SOE_RESPONSE = 33553,
    /** Failed to build/parse SoE header. */
    PCI_TARN_E_SOE_HEADER = 33554,
    /** SoE Fragment is left. */
    PCI_TARN_E_SOE_FRAGMENT_LEFT = 33555,
    /** Mailbox EoE not supported. */
    PCI_TARN_E_EOE_NOT_SUPPORTED = 33568,
    /** Mailbox FoE not supported. */
    PCI_TARN_E_FOE_NOT_SUPPORTED = 33584,

    /* Object dictionary */

    /** No object in OD. */
    PCI_TARN_E_OD_NO_OBJECT = 33792,
    /** Object is already in OD. */
    PCI_TARN_E_OD_OBJECT_EXISTS = 33793,
    /** OD entry description already exists. */
    PCI_TARN_E_OD_DESCRIPTION_EXISTS = 33794,
    /** Failed to create OD entry description. */
    PCI_TARN_E_OD_DESCRIPTION = 33795,
    /** OD object type is invalid. */
    PCI_TARN_E_OD_OBJECT_TYPE = 33796,
    /** OD access type is invalid. */
    PCI_TARN_E_OD_ACCESS_TYPE = 33797,
    /** Invalid OD data type. */
    PCI_TARN_E_OD_DATA_TYPE = 33798,
    /** Access to OD denied. */
    PCI_TARN_E_OD_ACCESS_DENIED = 33799,
    /** OD has not been created. */
    PCI_TARN_E_OD_NOT_CREATED = 33800,
    /** Mailbox error: not supported CoE service in CoE header. */
    PCI_TARN_E_COE_SERVICE = 33801,
    /** Mailbox error: invalid CoE SDO header. */
    PCI_TARN_E_SDO_HEADER = 33802,
    /** Mailbox error: CoE SDO service with Len < 10. */
    PCI_TARN_E_SDO_LENGTH = 33803,
    /** Mailbox error: invalid size. */
    PCI_TARN_E_SDO_SIZE = 33804,
    /** Sub-object not found in object. */
    PCI_TARN_E_OD_NO_SUB_OBJECT = 33805,
    /** Entry value is more than maximum. */
    PCI_TARN_E_OD_VALUE_ABOVE = 33806,
    /** Entry value is less than minimum. */
    PCI_TARN_E_OD_VALUE_BELOW = 33807,

    /* Library of the master and regions of the process image */

    /** Master library already initialized. */
    PCI_TARN_E_LIBRARY_INITIALIZED = 34057,
    /** The region lies outside the process image. */
    PCI_TARN_E_OUT_OF_PI = 34058,
    /** The specified region of process image is already mapped. */
    PCI_TARN_E_PI_ALREADY_MAPPED = 34059,
    /** Master library have not initialized. */
    PCI_TARN_E_LIBRARY_NOT_INITIALIZED = 34060,

    /* Process frames and mailbox */

    /** Process frame error: general error. */
    PCI_TARN_E_FRAME_GENERAL = 34305,
    /** Process frame error: queued is full. */
    PCI_TARN_E_FRAME_QUEUE_FULL = 34306,
    /** Process frame error: can't transfer frame to scheduler. */
    PCI_TARN_E_FRAME_SCHEDULER_TRANSFER = 34307,
    /** Process frame error: error preparing to send. */
    PCI_TARN_E_FRAME_PREPARE = 34308,
    /** Process frame error: waiting timeout is expired. */
    PCI_TARN_E_FRAME_WAIT_TIMEOUT = 34309,
    /** Process frame error: sending timeout is expired. */
    PCI_TARN_E_FRAME_SEND_TIMEOUT = 34310,
    /** Process frame error: scheduler is destroyed. */
    PCI_TARN_E_FRAME_SCHEDULER_DESTROYED = 34311,
    /** Process frame error: canceled. */
    PCI_TARN_E_FRAME_CANCELED = 34312,
    /** Process frame error: frame is too long. */
    PCI_TARN_E_FRAME_TOO_LONG = 34313,
    /** Mailbox request is waiting for outcoming data. */
    PCI_TARN_E_MAILBOX_WAITING = 34336,
    /** Mailbox request answered with error data. */
    PCI_TARN_E_MAILBOX_ERROR_ANSWER = 34337,
    /** Answer to mailbox request doesn't contain error data. */
    PCI_TARN_E_MAILBOX_NO_ERROR_DATA = 34338,
    /** Mailbox request is already finished. */
    PCI_TARN_E_MAILBOX_FINISHED = 34339,
    /** Mailbox general error. */
    PCI_TARN_E_MAILBOX_GENERAL = 34352,
    /** Syntax of Mailbox Header is wrong. */
    PCI_TARN_E_MAILBOX_SYNTAX = 34353,
    /** Wrong channel number is used for Mailbox. */
    PCI_TARN_E_MAILBOX_CHANNEL = 34355,
    /** The service in the mailbox protocol is not supported. */
    PCI_TARN_E_MAILBOX_SERVICE = 34356,
    /** The header of the mailbox protocol is wrong. */
    PCI_TARN_E_MAILBOX_HEADER = 34357,
    /** Length of received mailbox data is too short. */
    PCI_TARN_E_MAILBOX_TOO_SHORT = 34358,
    /** Limited resources, or the library could not allocate memory. */
    PCI_TARN_E_RESOURCES = 34359,
    /** The length of data is inconsistent. */
    PCI_TARN_E_MAILBOX_LENGTH = 34360,
    /** Master module initialization failed. */
    PCI_TARN_E_MODULE_INIT = 34560,

    /* Remote side */

    /** Connection to remote side is not initialized or broken. */
    PCI_TARN_E_REMOTE_CONNECTION = 34817,
    /** Could not parse respond. */
    PCI_TARN_E_REMOTE_RESPONSE = 34818,
    /** Could not initialize RPC channel. */
    PCI_TARN_E_REMOTE_CHANNEL = 34819,
    /** Could not initialize library. */
    PCI_TARN_E_LIBRARY_INIT = 34820,
    /** Entry content is empty. No additional items could be retrieved. */
    PCI_TARN_E_ENTRY_EMPTY = 34821,
    /** System call failed. */
    PCI_TARN_E_SYSTEM_CALL = 34822,

    /* Errors of this library */

    /** A file name has 128 characters or more. */
    PCI_TARN_E_NAME_TOO_LONG = 80000,
    /** No free request slot within the time-out. */
    PCI_TARN_E_QUEUE_FULL = 80001,
    /** The reply is larger than the caller's buffer, or not of the expected size. */
    PCI_TARN_E_BUFFER_TOO_SMALL = 80002,
    /** No reply within the time-out. */
    PCI_TARN_E_TIMEOUT = 80003,
    /** No such card, it cannot be opened, or its memory is not mapped. */
    PCI_TARN_E_NO_DEVICE = 80004,
    /** The card has no such EtherCAT channel. */
    PCI_TARN_E_CHANNEL = 80005,
    /** The card or its firmware does not offer the operation. */
    PCI_TARN_E_NOT_SUPPORTED = 80006,
    /** File size is too big. */
    PCI_TARN_E_FILE_TOO_BIG = 80007,
    /** The ENI file is larger than 0x1400000 bytes. */
    PCI_TARN_E_ENI_TOO_BIG = 80008,
    /** The file is too big for a transfer to a slave. */
    PCI_TARN_E_FOE_TOO_BIG = 80009,
    /** The update file is too big. */
    PCI_TARN_E_UPDATE_TOO_BIG = 80010,
    /** Data could not be sent in time: socket, or the output queue stayed full. */
    PCI_TARN_E_SEND_TIMEOUT = 80011,
    /** Library and firmware versions do not fit together. */
    PCI_TARN_E_VERSION = 80012,
    /** The handle is null. */
    PCI_TARN_E_HANDLE = 80013,
    /** The slave is disconnected. */
    PCI_TARN_E_SLAVE_DISCONNECTED = 80014,
    /** The slave is not ready in state OP. */
    PCI_TARN_E_SLAVE_NOT_READY = 80015,
    /** The logical address map of the ENI file is malformed. */
    PCI_TARN_E_MAP_FORMAT = 80016,
    /** Invalid parameter. */
    PCI_TARN_E_INVALID_PARAMETER = 80017,
    /** The ENI file is not the one that runs on the card. */
    PCI_TARN_E_ENI_MISMATCH = 80018,
    /** The board does not exist. */
    PCI_TARN_E_NO_BOARD = 80019,

    /* Watchdog of the process image */

    /** Watchdog: wrong size. */
    PCI_TARN_E_WATCHDOG_SIZE = 90000,
    /** Watchdog: wrong data. */
    PCI_TARN_E_WATCHDOG_DATA = 90001,
    /** Watchdog: wrong command. */
    PCI_TARN_E_WATCHDOG_COMMAND = 90002,
    /** Watchdog: out of memory. */
    PCI_TARN_E_WATCHDOG_MEMORY = 90003,
    /** Watchdog: wrong function. */
    PCI_TARN_E_WATCHDOG_FUNCTION = 90004,
    /** Watchdog: the offset is out of range. */
    PCI_TARN_E_WATCHDOG_OFFSET = 90005,
    /** Watchdog: wrong slave index. */
    PCI_TARN_E_WATCHDOG_SLAVE = 90006,
    /** Watchdog: wrong size of the slave's buffer. */
    PCI_TARN_E_WATCHDOG_SLAVE_SIZE = 90007,
};

/** AL status code of a slave: why it refused or left a state. */
enum PciTarnAlStatus {
    /** No error. */
    PCI_TARN_AL_OK = 0x0000,
    /** Unspecified error. */
    PCI_TARN_AL_UNSPECIFIED = 0x0001,
    /** No memory. */
    PCI_TARN_AL_NO_MEMORY = 0x0002,
    /** Invalid requested state change. */
    PCI_TARN_AL_INVALID_STATE_CHANGE = 0x0011,
    /** Unknown requested state. */
    PCI_TARN_AL_UNKNOWN_STATE = 0x0012,
    /** Bootstrap not supported. */
    PCI_TARN_AL_BOOT_NOT_SUPPORTED = 0x0013,
    /** No valid firmware. */
    PCI_TARN_AL_NO_FIRMWARE = 0x0014,
    /** Invalid mailbox configuration (state BOOT). */
    PCI_TARN_AL_MAILBOX_CONFIG_BOOT = 0x0015,
    /** Invalid mailbox configuration (state PREOP). */
    PCI_TARN_AL_MAILBOX_CONFIG_PREOP = 0x0016,
    /** Invalid sync manager configuration. */
    PCI_TARN_AL_SYNC_MANAGER_CONFIG = 0x0017,
    /** No valid inputs available. */
    PCI_TARN_AL_NO_INPUTS = 0x0018,
    /** No valid outputs. */
    PCI_TARN_AL_NO_OUTPUTS = 0x0019,
    /** Synchronization error. */
    PCI_TARN_AL_SYNCHRONIZATION = 0x001A,
    /** Sync manager watchdog. */
    PCI_TARN_AL_SYNC_MANAGER_WATCHDOG = 0x001B,
    /** Invalid Sync Manager Types. */
    PCI_TARN_AL_SYNC_MANAGER_TYPES = 0x001C,
    /** Invalid Output Configuration. */
    PCI_TARN_AL_OUTPUT_CONFIG = 0x001D,
    /** Invalid Input Configuration. */
    PCI_TARN_AL_INPUT_CONFIG = 0x001E,
    /** Invalid Watchdog Configuration. */
    PCI_TARN_AL_WATCHDOG_CONFIG = 0x001F,
    /** Slave needs cold start. */
    PCI_TARN_AL_NEEDS_COLD_START = 0x0020,
    /** Slave needs INIT. */
    PCI_TARN_AL_NEEDS_INIT = 0x0021,
    /** Slave needs PREOP. */
    PCI_TARN_AL_NEEDS_PREOP = 0x0022,
    /** Slave needs SAFEOP. */
    PCI_TARN_AL_NEEDS_SAFEOP = 0x0023,
    /** Invalid input mapping. */
    PCI_TARN_AL_INPUT_MAPPING = 0x0024,
    /** Invalid output mapping. */
    PCI_TARN_AL_OUTPUT_MAPPING = 0x0025,
    /** Inconsistent settings. */
    PCI_TARN_AL_INCONSISTENT_SETTINGS = 0x0026,
    /** Free Run not supported. */
    PCI_TARN_AL_FREE_RUN_NOT_SUPPORTED = 0x0027,
    /** Synchronization not supported. */
    PCI_TARN_AL_SYNC_NOT_SUPPORTED = 0x0028,
    /** Free Run needs 3 buffer mode. */
    PCI_TARN_AL_FREE_RUN_3_BUFFER = 0x0029,
    /** Background watchdog. */
    PCI_TARN_AL_BACKGROUND_WATCHDOG = 0x002A,
    /** No valid inputs and outputs. */
    PCI_TARN_AL_NO_INPUTS_AND_OUTPUTS = 0x002B,
    /** Fatal Sync error. */
    PCI_TARN_AL_FATAL_SYNC = 0x002C,
    /** No Sync error. */
    PCI_TARN_AL_NO_SYNC = 0x002D,
    /** Invalid DC SYNCH Configuration. */
    PCI_TARN_AL_DC_SYNC_CONFIG = 0x0030,
    /** Invalid DC Latch Configuration. */
    PCI_TARN_AL_DC_LATCH_CONFIG = 0x0031,
    /** PLL Error. */
    PCI_TARN_AL_PLL = 0x0032,
    /** Invalid DC IO Error. */
    PCI_TARN_AL_DC_IO = 0x0033,
    /** Invalid DC Timeout Error. */
    PCI_TARN_AL_DC_TIMEOUT = 0x0034,
    /** DC invalid Sync Cycle Time. */
    PCI_TARN_AL_DC_SYNC_CYCLE_TIME = 0x0035,
    /** DC Sync0 Cycle Time. */
    PCI_TARN_AL_DC_SYNC0_CYCLE_TIME = 0x0036,
    /** DC Sync1 Cycle Time. */
    PCI_TARN_AL_DC_SYNC1_CYCLE_TIME = 0x0037,
    /** MBX_AOE. */
    PCI_TARN_AL_MBX_AOE = 0x0041,
    /** MBX_EOE. */
    PCI_TARN_AL_MBX_EOE = 0x0042,
    /** MBX_COE. */
    PCI_TARN_AL_MBX_COE = 0x0043,
    /** MBX_FOE. */
    PCI_TARN_AL_MBX_FOE = 0x0044,
    /** MBX_SOE. */
    PCI_TARN_AL_MBX_SOE = 0x0045,
    /** MBX_VOE. */
    PCI_TARN_AL_MBX_VOE = 0x004F,
    /** EEPROM no access. */
    PCI_TARN_AL_EEPROM_NO_ACCESS = 0x0050,
    /** EEPROM error. */
    PCI_TARN_AL_EEPROM = 0x0051,
    /** Slave restarted locally. */
    PCI_TARN_AL_RESTARTED_LOCALLY = 0x0060,
};

#endif
