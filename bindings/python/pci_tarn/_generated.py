"""Declarations of every function. Made by scripts/bindings.py; do not edit."""
import ctypes as _c
import enum as _enum

from ._types import Callback as _Callback, Text as _Text


class Status(_enum.IntEnum):
    OK = 0
    I_MORE_CALLS = 1
    I_NO_MORE_ITEMS = 2
    I_ALREADY_SYNCHRONIZED = 3
    I_WAIT_FOR_EVENTS = 4
    I_TIMEOUT = 5
    I_THREAD_EXIT = 6
    I_NEEDS_SYNCHRONIZATION = 7
    I_REDUNDANCY_STATE = 8
    I_TRY_AGAIN = 9
    I_STATE_CHANGED = 10
    I_PI_TOO_LATE = 528
    I_PI_TOO_FAST = 544
    E_MEMORY = 32769
    E_INVALID_ARGUMENT = 32770
    E_GENERAL = 32771
    E_NOT_IMPLEMENTED = 32772
    E_OPEN_XML = 32773
    E_XML_CONTENT = 32774
    E_NOT_CONFIGURED = 32775
    E_NOT_CONNECTED = 32776
    E_ALREADY_CONNECTED = 32777
    E_INVALID_SLAVE = 32778
    E_INVALID_TRANSITION = 32779
    E_DRIVER_LOAD = 32780
    E_DRIVER_INIT = 32781
    E_DRIVER_NOT_SUPPORTED = 32782
    E_DRIVER_NOT_LOADED = 32783
    E_SEND_FRAME = 32784
    E_RECEIVE_FRAME = 32785
    E_TRACE_OVERFLOW = 32786
    E_INCORRECT_TRANSITION = 32787
    E_TRANSITION = 32788
    E_INVALID_POINTER = 32789
    E_INVALID_COMMAND = 32790
    E_TRANSITION_FORBIDDEN = 32791
    E_CALL_TIMEOUT = 32792
    E_COE_ABORTED = 32793
    E_WORKING_COUNTER = 32794
    E_SLAVE_STATE = 32795
    E_SNAPSHOT_LOSS = 32796
    E_NO_ACYCLIC_DATA = 32805
    E_RESERVED_COMMAND = 32806
    E_BUFFER_LIMIT = 32807
    E_BUILD_TELEGRAM = 32808
    E_BUILD_FRAME = 32809
    E_CONFIGURE_STATE = 32810
    E_CONFIGURE_VERIFICATION = 32811
    E_READ_SLAVE_STATES = 32812
    E_SLAVE_TRANSITION = 32813
    E_INIT_COMMANDS = 32814
    E_ALREADY_STARTED = 32815
    E_THREAD = 32816
    E_EEPROM_READ = 32817
    E_MAILBOX_NOT_SUPPORTED = 32818
    E_COE_NOT_SUPPORTED = 32819
    E_PI_ALREADY_UNLOCKED = 32820
    E_FRAME_SIZE = 32821
    E_FRAME_TYPE = 32822
    E_FRAME_COMMAND_LENGTH = 32823
    E_FRAME_INTERNAL_DATA = 32824
    E_EEPROM_WRITE = 32825
    E_NOT_STARTED = 32826
    E_ARRAY_BOUNDS = 32827
    E_FRAME_TIMEOUT = 32829
    E_EEPROM_DENIED = 32830
    E_BUSY = 32831
    E_INVALID_TIME = 32832
    E_ABORTED = 32833
    E_NO_PI_REGION = 32834
    E_DC_SYNCHRONIZATION = 32835
    E_BAD_CONTEXT = 32836
    E_NOT_PERMITTED = 32837
    E_INI_CONTENT = 32838
    E_BAD_OBJECT = 32839
    E_SUBSYSTEM_TRANSFER = 32840
    E_OPEN_FILE = 32848
    E_WRITE_FILE = 32849
    E_READ_FILE = 32850
    E_ENCODE = 32852
    E_DECODE = 32853
    E_NO_ADAPTER = 32864
    E_QUEUE_RESOURCE = 32880
    E_QUEUE_EMPTY = 32881
    E_COE_DATA_TYPE = 33024
    E_COE_READ_ONLY = 33025
    E_COE_WRITE_ONLY = 33026
    E_COE_INCOMPLETE_ENTRY = 33027
    E_COE_SDO_INFO = 33028
    E_VOE_NOT_SUPPORTED = 33104
    E_MASTER_LOCKED = 33280
    E_NO_RIGHTS = 33281
    E_NO_USER = 33282
    E_NO_MASTER = 33283
    E_NO_CYCLIC_TASK = 33284
    E_AOE_HEADER_ERROR = 33536
    E_AOE_RESULT = 33537
    E_AOE_HEADER = 33538
    E_AOE_NOT_SUPPORTED = 33539
    E_AOE_NO_ROUTE = 33540
    E_SOE_NOT_SUPPORTED = 33552
    E_SOE_RESPONSE = 33553
    E_SOE_HEADER = 33554
    E_SOE_FRAGMENT_LEFT = 33555
    E_EOE_NOT_SUPPORTED = 33568
    E_FOE_NOT_SUPPORTED = 33584
    E_OD_NO_OBJECT = 33792
    E_OD_OBJECT_EXISTS = 33793
    E_OD_DESCRIPTION_EXISTS = 33794
    E_OD_DESCRIPTION = 33795
    E_OD_OBJECT_TYPE = 33796
    E_OD_ACCESS_TYPE = 33797
    E_OD_DATA_TYPE = 33798
    E_OD_ACCESS_DENIED = 33799
    E_OD_NOT_CREATED = 33800
    E_COE_SERVICE = 33801
    E_SDO_HEADER = 33802
    E_SDO_LENGTH = 33803
    E_SDO_SIZE = 33804
    E_OD_NO_SUB_OBJECT = 33805
    E_OD_VALUE_ABOVE = 33806
    E_OD_VALUE_BELOW = 33807
    E_LIBRARY_INITIALIZED = 34057
    E_OUT_OF_PI = 34058
    E_PI_ALREADY_MAPPED = 34059
    E_LIBRARY_NOT_INITIALIZED = 34060
    E_FRAME_GENERAL = 34305
    E_FRAME_QUEUE_FULL = 34306
    E_FRAME_SCHEDULER_TRANSFER = 34307
    E_FRAME_PREPARE = 34308
    E_FRAME_WAIT_TIMEOUT = 34309
    E_FRAME_SEND_TIMEOUT = 34310
    E_FRAME_SCHEDULER_DESTROYED = 34311
    E_FRAME_CANCELED = 34312
    E_FRAME_TOO_LONG = 34313
    E_MAILBOX_WAITING = 34336
    E_MAILBOX_ERROR_ANSWER = 34337
    E_MAILBOX_NO_ERROR_DATA = 34338
    E_MAILBOX_FINISHED = 34339
    E_MAILBOX_GENERAL = 34352
    E_MAILBOX_SYNTAX = 34353
    E_MAILBOX_CHANNEL = 34355
    E_MAILBOX_SERVICE = 34356
    E_MAILBOX_HEADER = 34357
    E_MAILBOX_TOO_SHORT = 34358
    E_RESOURCES = 34359
    E_MAILBOX_LENGTH = 34360
    E_MODULE_INIT = 34560
    E_REMOTE_CONNECTION = 34817
    E_REMOTE_RESPONSE = 34818
    E_REMOTE_CHANNEL = 34819
    E_LIBRARY_INIT = 34820
    E_ENTRY_EMPTY = 34821
    E_SYSTEM_CALL = 34822
    E_NAME_TOO_LONG = 80000
    E_QUEUE_FULL = 80001
    E_BUFFER_TOO_SMALL = 80002
    E_TIMEOUT = 80003
    E_NO_DEVICE = 80004
    E_CHANNEL = 80005
    E_NOT_SUPPORTED = 80006
    E_FILE_TOO_BIG = 80007
    E_ENI_TOO_BIG = 80008
    E_FOE_TOO_BIG = 80009
    E_UPDATE_TOO_BIG = 80010
    E_SEND_TIMEOUT = 80011
    E_VERSION = 80012
    E_HANDLE = 80013
    E_SLAVE_DISCONNECTED = 80014
    E_SLAVE_NOT_READY = 80015
    E_MAP_FORMAT = 80016
    E_INVALID_PARAMETER = 80017
    E_ENI_MISMATCH = 80018
    E_NO_BOARD = 80019
    E_WATCHDOG_SIZE = 90000
    E_WATCHDOG_DATA = 90001
    E_WATCHDOG_COMMAND = 90002
    E_WATCHDOG_MEMORY = 90003
    E_WATCHDOG_FUNCTION = 90004
    E_WATCHDOG_OFFSET = 90005
    E_WATCHDOG_SLAVE = 90006
    E_WATCHDOG_SLAVE_SIZE = 90007


class AlStatus(_enum.IntEnum):
    OK = 0
    UNSPECIFIED = 1
    NO_MEMORY = 2
    INVALID_STATE_CHANGE = 17
    UNKNOWN_STATE = 18
    BOOT_NOT_SUPPORTED = 19
    NO_FIRMWARE = 20
    MAILBOX_CONFIG_BOOT = 21
    MAILBOX_CONFIG_PREOP = 22
    SYNC_MANAGER_CONFIG = 23
    NO_INPUTS = 24
    NO_OUTPUTS = 25
    SYNCHRONIZATION = 26
    SYNC_MANAGER_WATCHDOG = 27
    SYNC_MANAGER_TYPES = 28
    OUTPUT_CONFIG = 29
    INPUT_CONFIG = 30
    WATCHDOG_CONFIG = 31
    NEEDS_COLD_START = 32
    NEEDS_INIT = 33
    NEEDS_PREOP = 34
    NEEDS_SAFEOP = 35
    INPUT_MAPPING = 36
    OUTPUT_MAPPING = 37
    INCONSISTENT_SETTINGS = 38
    FREE_RUN_NOT_SUPPORTED = 39
    SYNC_NOT_SUPPORTED = 40
    FREE_RUN_3_BUFFER = 41
    BACKGROUND_WATCHDOG = 42
    NO_INPUTS_AND_OUTPUTS = 43
    FATAL_SYNC = 44
    NO_SYNC = 45
    DC_SYNC_CONFIG = 48
    DC_LATCH_CONFIG = 49
    PLL = 50
    DC_IO = 51
    DC_TIMEOUT = 52
    DC_SYNC_CYCLE_TIME = 53
    DC_SYNC0_CYCLE_TIME = 54
    DC_SYNC1_CYCLE_TIME = 55
    MBX_AOE = 65
    MBX_EOE = 66
    MBX_COE = 67
    MBX_FOE = 68
    MBX_SOE = 69
    MBX_VOE = 79
    EEPROM_NO_ACCESS = 80
    EEPROM = 81
    RESTARTED_LOCALLY = 96


ECAT_DIAGNOSTIC_SIZE_LIMIT = 101376
ECAT_ENI_SIZE_MAX = 20971520
ECAT_FOE_FILE_SIZE_MAX = 26214400
ECAT_FOE_NAME_MAX = 127
ECAT_LINK_DOWN_PORT_STATUS_SIZE = 4
ECAT_MASTER_DIAGNOSTIC_SIZE = 118
ECAT_PI_CARD_AREA = 3
ECAT_PI_DIRECTION_INPUT = 1
ECAT_PI_DIRECTION_OUTPUT = 0
ECAT_PI_FAST_OUTPUT = 2
ECAT_PI_MODE_CYCLE = 1
ECAT_PI_MODE_DIRECT = 0
ECAT_PI_MODE_MANUAL = 2
ECAT_PI_NORMAL_INPUT = 1
ECAT_PI_NORMAL_OUTPUT = 0
ECAT_PI_SHADOW_INPUT = 4
ECAT_SDO_DOWNLOAD_MAX = 256
ECAT_SLAVE_DIAGNOSTIC_DETAIL_SIZE = 16
ECAT_SLAVE_DIAGNOSTIC_SIZE = 40
ECAT_SLAVE_LINK_STATUS_SIZE = 488
ECAT_STATE_BOOT = 3
ECAT_STATE_INIT = 1
ECAT_STATE_OP = 8
ECAT_STATE_PREOP = 2
ECAT_STATE_SAFEOP = 4
PCI_TARN_CHUNK_SIZE = 102384
PCI_TARN_MAX_BOARDS = 16
PCI_TARN_MAX_CHANNELS = 2
PCI_TARN_MAX_SLAVES = 4096
PCI_TARN_VERSION = "1.9.1"
PCI_TARN_VERSION_MAJOR = 1
PCI_TARN_VERSION_MINOR = 9
PCI_TARN_VERSION_PATCH = 1


class BoardHandle(_c.Structure):
    pass


class BoardInfo(_c.Structure):
    pass


class BoardNode(_c.Structure):
    pass


class CommandChannel(_c.Structure):
    pass


class DriverInfo(_c.Structure):
    pass


class EcatHandle(_c.Structure):
    pass


class EcatOsSem(_c.Structure):
    pass


class EcatOsThread(_c.Structure):
    pass


class EcatPIAsyncState(_c.Structure):
    pass


class EcatSlaveActiveCache(_c.Structure):
    pass


class EniInfo(_c.Structure):
    pass


class EtherCAT(_c.Structure):
    pass


class IteratorOps(_c.Structure):
    pass


class MailboxRing(_c.Structure):
    pass


class PiArea(_c.Structure):
    pass


class PiExchangeObject(_c.Structure):
    pass


class PiLogicEntry(_c.Structure):
    pass


class PiMasterObject(_c.Structure):
    pass


class PiNormalObject(_c.Structure):
    pass


class PiOps(_c.Structure):
    pass


class PiPhyEntry(_c.Structure):
    pass


class PiSlaveObject(_c.Structure):
    pass


class PiTransfer(_c.Structure):
    pass


class SHA1Context(_c.Structure):
    pass


class cJSON(_c.Structure):
    pass


class cJSON_Hooks(_c.Structure):
    pass


PciProgress = _c.CFUNCTYPE(None, _c.c_void_p, _c.c_float)
EcatCycleCallback = _c.CFUNCTYPE(None, _c.c_void_p, _c.POINTER(EcatHandle))

BoardInfo._fields_ = [
    ("model", _c.c_char * 32),
    ("firmware_version", _c.c_char * 32),
    ("name", _c.c_char * 32),
    ("alias", _c.c_uint32),
    ("channel_count", _c.c_uint32),
    ("id", _c.c_uint32),
]
DriverInfo._fields_ = [
    ("driver_version", _c.c_char * 32),
    ("library_version", _c.c_char * 32),
    ("board_count", _c.c_uint32),
]
SHA1Context._fields_ = [
    ("intermediate_hash", _c.c_uint32 * 5),
    ("length_low", _c.c_uint32),
    ("length_high", _c.c_uint32),
    ("message_block_index", _c.c_int16),
    ("message_block", _c.c_uint8 * 64),
    ("computed", _c.c_int32),
    ("corrupted", _c.c_int32),
]
BoardNode._fields_ = [
    ("name", _c.c_char * 40),
    ("bar_length", _c.c_uint32 * 6),
    ("bar", _c.c_void_p * 6),
    ("driver", _c.POINTER(EtherCAT)),
    ("index", _c.c_uint32),
    ("next", _c.POINTER(BoardNode)),
]
MailboxRing._fields_ = [
    ("pointers", _c.POINTER(_c.c_uint32)),
    ("slots", _c.POINTER(_c.c_uint8)),
    ("mask", _c.c_uint32),
    ("slot_size", _c.c_uint32),
]
CommandChannel._fields_ = [
    ("lock", _c.c_void_p),
    ("second_lock", _c.c_void_p),
    ("device", _c.c_void_p),
    ("out", MailboxRing),
    ("in", MailboxRing),
    ("doorbell", _c.POINTER(_c.c_uint32)),
    ("interrupt", _c.c_uint32),
    ("transfer_buffer", _c.c_uint8 * 102384),
]
EniInfo._fields_ = [
    ("word0", _c.c_uint32),
    ("word1", _c.c_uint32),
    ("output_length", _c.c_uint32),
    ("input_length", _c.c_uint32),
]
PiPhyEntry._fields_ = [
    ("bit_offset", _c.c_uint16),
    ("bit_length", _c.c_uint16),
]
PiLogicEntry._fields_ = [
    ("address", _c.c_uint16),
    ("slave", _c.c_uint16),
]
EcatSlaveActiveCache._fields_ = [
    ("card", _c.POINTER(_c.c_uint32)),
    ("participation", _c.POINTER(_c.c_uint32)),
    ("count", _c.c_uint32),
    ("line", type("_Unnamed", (_c.Structure,), {"_fields_": [("index", _c.c_uint32), ("value", _c.c_uint32)]}) * 4),
]
IteratorOps._fields_ = [
    ("less", _c.CFUNCTYPE(_c.c_bool, _c.c_uint64, _c.c_uint64)),
    ("key", _c.CFUNCTYPE(_c.c_uint64, _c.c_void_p)),
    ("equal", _c.CFUNCTYPE(_c.c_bool, _c.c_void_p, _c.c_void_p)),
    ("distance", _c.CFUNCTYPE(_c.c_int64, _c.c_void_p, _c.c_void_p)),
    ("advance", _c.CFUNCTYPE(_c.c_void_p, _c.c_void_p, _c.c_int64)),
]
PiTransfer._fields_ = [
    ("mapped", _c.c_uint32),
    ("physical_length", _c.c_uint32),
    ("image_length", _c.c_uint32),
    ("dma", _c.c_uint32),
    ("physical", _c.POINTER(PiPhyEntry)),
    ("sorted", _c.POINTER(PiLogicEntry)),
    ("entry_count", _c.c_uint32),
    ("slave_count", _c.c_uint32),
    ("dma_device", _c.c_void_p),
    ("dma_base", _c.c_uint64),
    ("convert", _c.CFUNCTYPE(None, _c.POINTER(PiTransfer), _c.c_void_p, _c.c_void_p)),
    ("plan", _c.c_void_p),
    ("reserved", _c.c_uint64),
]
PiOps._fields_ = [
    ("setup", _c.CFUNCTYPE(_c.c_uint32, _c.c_void_p, _c.POINTER(PiTransfer))),
    ("write", _c.CFUNCTYPE(_c.c_uint32, _c.c_void_p, _c.c_uint32, _c.c_uint32, _c.c_void_p, _c.POINTER(_c.c_uint8), _c.POINTER(PiTransfer))),
    ("read", _c.CFUNCTYPE(_c.c_uint32, _c.c_void_p, _c.c_uint32, _c.c_uint32, _c.c_void_p, _c.POINTER(PiTransfer))),
    ("address", _c.CFUNCTYPE(_c.c_void_p, _c.c_void_p)),
    ("clear", _c.CFUNCTYPE(_c.c_uint32, _c.c_void_p, _c.c_uint32, _c.c_uint32, _c.POINTER(PiTransfer))),
    ("exchange", _c.CFUNCTYPE(_c.c_uint32, _c.c_void_p, _c.POINTER(PiTransfer))),
]
PiArea._fields_ = [
    ("lock", _c.c_void_p),
    ("object", _c.c_void_p),
    ("ops", _c.POINTER(PiOps)),
    ("state", PiTransfer),
]
PiNormalObject._fields_ = [
    ("buffer", _c.POINTER(_c.c_uint8)),
    ("cache", _c.POINTER(_c.c_uint8)),
    ("direction", _c.c_uint32),
]
PiMasterObject._fields_ = [
    ("card", _c.POINTER(_c.c_uint8)),
    ("local", _c.POINTER(_c.c_uint8)),
    ("dirty", _c.POINTER(_c.c_uint32)),
    ("stride", _c.c_uint32),
    ("staging", _c.c_uint8 * 4096),
    ("index", _c.POINTER(_c.c_uint32)),
    ("owner", _c.POINTER(PiArea)),
]
PiSlaveObject._fields_ = [
    ("card", _c.POINTER(_c.c_uint8)),
    ("local", _c.POINTER(_c.c_uint8)),
    ("stride", _c.c_uint32),
    ("staging", _c.c_uint8 * 4096),
    ("index", _c.POINTER(_c.c_uint32)),
    ("owner", _c.POINTER(PiArea)),
]
PiExchangeObject._fields_ = [
    ("card", _c.POINTER(_c.c_uint8)),
    ("sequence", _c.POINTER(_c.c_uint32)),
    ("last", _c.c_uint32),
    ("staging", _c.c_uint8 * 4096),
    ("local", _c.c_uint8 * 8192),
]
EcatPIAsyncState._fields_ = [
    ("mode", _c.c_uint32),
    ("stop", _c.c_uint32),
    ("semaphore", _c.POINTER(EcatOsSem)),
    ("thread", _c.POINTER(EcatOsThread)),
    ("callback_arg", _c.c_void_p),
    ("callback", EcatCycleCallback),
    ("wakeup", _c.CFUNCTYPE(_c.c_uint32, _c.POINTER(EcatHandle), _c.c_uint32)),
    ("changing", _c.c_uint32),
]
cJSON._fields_ = [
    ("next", _c.POINTER(cJSON)),
    ("prev", _c.POINTER(cJSON)),
    ("child", _c.POINTER(cJSON)),
    ("type", _c.c_int),
    ("valuestring", _c.POINTER(_c.c_char)),
    ("valueint", _c.c_int),
    ("valuedouble", _c.c_double),
    ("string", _c.POINTER(_c.c_char)),
]
cJSON_Hooks._fields_ = [
    ("malloc_fn", _c.CFUNCTYPE(_c.c_void_p, _c.c_size_t)),
    ("free_fn", _c.CFUNCTYPE(None, _c.c_void_p)),
]

# name: (result, arguments, whether the result is a status)
FUNCTIONS = {
    "EcatErrorGetErrorMessage": (_c.c_char_p, [_c.c_int32], False),
    "DriverGetErrStr": (_c.c_char_p, [_c.c_uint32], False),
    "EcatGetAlStatusCodeMessage": (_c.c_char_p, [_c.c_uint16], False),
    "get_current_tick": (_c.c_uint64, [_c.c_int32], False),
    "get_current_tick_seconds": (_c.c_uint64, [_c.POINTER(_c.c_int64)], False),
    "get_current_tick_milliseconds": (_c.c_uint64, [_c.POINTER(_c.c_int64)], False),
    "get_current_tick_microseconds": (_c.c_uint64, [_c.POINTER(_c.c_int64)], False),
    "get_current_tick_nanoseconds": (_c.c_uint64, [_c.POINTER(_c.c_int64)], False),
    "get_tick_ms": (_c.c_uint64, [], False),
    "get_tick_us": (_c.c_uint64, [], False),
    "get_tick_ns": (_c.c_uint64, [], False),
    "__usleep_window": (None, [_c.c_uint32], False),
    "ecat_os_sem_create": (_c.POINTER(EcatOsSem), [], False),
    "ecat_os_sem_post": (_c.c_int32, [_c.POINTER(EcatOsSem)], False),
    "ecat_os_sem_time_wait": (_c.c_int32, [_c.POINTER(EcatOsSem), _c.c_uint64], False),
    "ecat_os_sem_destroy": (None, [_c.POINTER(EcatOsSem)], False),
    "ecat_os_thread_create": (_c.POINTER(EcatOsThread), [_c.c_void_p, _Callback(_c.CFUNCTYPE(_c.c_void_p, _c.c_void_p)), _c.c_uint32], False),
    "ecat_os_thread_join": (None, [_c.POINTER(EcatOsThread)], False),
    "driverLock": (_c.c_uint32, [_c.c_void_p], False),
    "driverUnlock": (_c.c_uint32, [_c.c_void_p], False),
    "SHA1Init": (_c.c_int32, [_c.POINTER(SHA1Context)], False),
    "SHA1Update": (_c.c_int32, [_c.POINTER(SHA1Context), _c.POINTER(_c.c_uint8), _c.c_uint32], False),
    "SHA1Final": (_c.c_int32, [_c.POINTER(_c.c_uint8), _c.POINTER(SHA1Context)], False),
    "memcpy_fast": (_c.c_void_p, [_c.c_void_p, _c.c_void_p, _c.c_uint64], False),
    "DriverFastMemcpy": (_c.c_void_p, [_c.c_void_p, _c.c_void_p, _c.c_uint64], False),
    "initMutex": (_c.c_void_p, [], False),
    "pi_shared_memory_init": (None, [], False),
    "getSharedMemory_piinfo": (_c.c_void_p, [_c.c_uint32, _c.c_uint32], False),
    "getSharedMemory_pishadowinput": (_c.c_void_p, [_c.c_uint32, _c.c_uint32], False),
    "getSharedMemory_pifast": (_c.c_void_p, [_c.c_uint32, _c.c_uint32], False),
    "getSharedMemory_piNormalBuffOutput": (_c.c_void_p, [_c.c_uint32, _c.c_uint32], False),
    "getSharedMemory_piNormalBuffInput": (_c.c_void_p, [_c.c_uint32, _c.c_uint32], False),
    "getSharedMemory_piNormalCacheOutput": (_c.c_void_p, [_c.c_uint32, _c.c_uint32], False),
    "getSharedMemory_piNormalCacheInput": (_c.c_void_p, [_c.c_uint32, _c.c_uint32], False),
    "getMutex_mailbox": (_c.c_void_p, [_c.c_uint32, _c.c_uint32, _c.c_uint32], False),
    "getMutex_sock": (_c.c_void_p, [_c.c_uint32, _c.c_uint32, _c.c_uint32], False),
    "getMutex_pi": (_c.c_void_p, [_c.c_uint32, _c.c_uint32, _c.c_uint32], False),
    "getMutexDes": (_c.c_void_p, [], False),
    "EtherCATOpen": (_c.POINTER(EtherCAT), [_c.c_uint32], False),
    "EtherCATClose": (None, [_c.POINTER(EtherCAT)], False),
    "EtherCATGetCount": (_c.c_uint32, [], False),
    "EtherCATGetDriverVersion": (_c.c_uint64, [], False),
    "EtherCATVerifyDriverVersion": (_c.c_bool, [], False),
    "EtherCATMapBarAddress": (_c.c_void_p, [_c.POINTER(EtherCAT), _c.c_uint32], False),
    "EtherCATUnmapBarAddress": (None, [_c.POINTER(EtherCAT), _c.c_void_p], False),
    "EtherCATWaitForInterrupt": (_c.c_uint32, [_c.POINTER(EtherCAT), _c.c_uint32, _c.c_uint32], False),
    "EtherCATDmaRead": (_c.c_uint32, [_c.POINTER(EtherCAT), _c.c_uint32, _c.c_void_p, _c.c_uint32, _c.c_uint32], False),
    "EtherCATDmaWrite": (_c.c_uint32, [_c.POINTER(EtherCAT), _c.c_uint32, _c.c_void_p, _c.c_uint32, _c.c_uint32], False),
    "EtherCATRead": (_c.c_uint32, [_c.POINTER(EtherCAT), _c.c_uint32, _c.c_uint32, _c.c_void_p, _c.c_uint32], False),
    "EtherCATWrite": (_c.c_uint32, [_c.POINTER(EtherCAT), _c.c_uint32, _c.c_uint32, _c.c_void_p, _c.c_uint32], False),
    "GetBoardCount": (_c.c_uint32, [_c.POINTER(_c.c_uint32)], True),
    "InitBoardHandleNode": (_c.c_uint32, [], True),
    "InitBoardNodeDataByIndex": (_c.c_uint32, [_c.c_uint32, _c.POINTER(BoardNode)], True),
    "initDevice": (_c.c_uint32, [], True),
    "getBoardHandle": (_c.c_uint32, [_Text, _c.c_void_p], True),
    "getBoardInfoByBoardHandle": (_c.c_uint32, [_c.c_void_p, _c.POINTER(BoardInfo)], True),
    "getBoardInfoByIndex": (_c.c_uint32, [_c.c_uint32, _c.POINTER(BoardInfo)], True),
    "getBoardAliasByBoardHandle": (_c.c_uint32, [_c.c_void_p], False),
    "getBarPtr": (_c.c_void_p, [_c.c_void_p, _c.c_int32], False),
    "releaBarPtr": (_c.c_uint32, [_Text, _c.c_int32], False),
    "closeDevice": (None, [], False),
    "waitInterrupt": (_c.c_uint32, [_c.c_void_p, _c.c_uint8, _c.c_uint32], False),
    "getDriverInfo": (_c.c_uint32, [_c.POINTER(DriverInfo)], True),
    "DriverEnumBoard": (_c.c_uint32, [_c.c_uint32, _c.POINTER(BoardInfo)], True),
    "DriverEnumEcat": (_c.c_uint32, [_c.c_uint32, _c.c_uint32, _c.POINTER(_c.c_uint32)], True),
    "DriverGetInfo": (_c.c_uint32, [_c.POINTER(DriverInfo)], True),
    "BoardOpen": (_c.c_uint32, [_c.POINTER(_c.POINTER(BoardHandle)), _Text], True),
    "BoardClose": (_c.c_uint32, [_c.POINTER(BoardHandle)], True),
    "BoardCheckVersion": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint8], True),
    "BoardGetStructVersion": (_c.c_uint32, [_c.POINTER(BoardHandle)], False),
    "BoardGetInfo": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.POINTER(BoardInfo)], True),
    "BoardGetInfo_Alias": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.POINTER(_c.c_uint32)], True),
    "__BoardIOModuleReset": (_c.c_uint32, [_c.POINTER(BoardHandle)], True),
    "BoardSetTimeout": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32], True),
    "BoardDIRead": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.POINTER(_c.c_uint32)], True),
    "BoardDORead": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.POINTER(_c.c_uint32)], True),
    "BoardDOWrite": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32], True),
    "BoardLatchEnable": (_c.c_uint32, [_c.POINTER(BoardHandle)], True),
    "BoardLatchDisable": (_c.c_uint32, [_c.POINTER(BoardHandle)], True),
    "BoardLatchCfg": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32], True),
    "BoardLatchRun": (_c.c_uint32, [_c.POINTER(BoardHandle)], True),
    "BoardLatchStop": (_c.c_uint32, [_c.POINTER(BoardHandle)], True),
    "BoardLatchClear": (_c.c_uint32, [_c.POINTER(BoardHandle)], True),
    "BoardLatchCounterReset": (_c.c_uint32, [_c.POINTER(BoardHandle)], True),
    "BoardLatchPortSel": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32], True),
    "BoardLatchState": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32, _c.POINTER(_c.c_uint32)], True),
    "BoardLatchOnRead": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32, _c.POINTER(_c.c_uint32), _c.POINTER(_c.c_uint32)], True),
    "BoardSeqLatchCfg": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_int32], True),
    "BoardSeqLatchRun": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32], True),
    "BoardSeqLatchOnRead": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32, _c.c_uint32, _c.POINTER(_c.c_uint32), _c.POINTER(_c.c_uint32)], True),
    "BoardPWMOutput": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32, _c.c_uint32, _c.c_int32], True),
    "BoardPWMStop": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32], True),
    "BoardPWMGetConfig": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32, _c.POINTER(_c.c_uint32), _c.POINTER(_c.c_uint32)], True),
    "BoardPulseConfig": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32, _c.c_uint32, _c.c_int32, _c.c_uint32, _c.c_uint32, _c.c_uint32], True),
    "BoardPulseGetConfig": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32, _c.POINTER(_c.c_uint32), _c.POINTER(_c.c_int32), _c.POINTER(_c.c_uint32), _c.POINTER(_c.c_uint32), _c.POINTER(_c.c_uint32)], True),
    "BoardPulseOutput": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32, _c.c_uint32], True),
    "BoardPulseStop": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32], True),
    "BoardBAR1Read": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32, _c.POINTER(_c.c_uint32)], True),
    "BoardBAR1Write": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32, _c.c_uint32], True),
    "BoardHeardCnt": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32, _c.POINTER(_c.c_uint32)], True),
    "BoardIsAlive": (_c.c_bool, [_c.POINTER(BoardHandle)], False),
    "BoardSetDeviceSystemTime": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_int64], True),
    "Bar2SetDeviceSystemTime": (_c.c_uint32, [_c.c_void_p, _c.c_int64], True),
    "BoardLedCtrl": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint16, _c.c_uint16], True),
    "BOARD_TIMEOUT_TRIGGER": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_int32], True),
    "BoardReset": (_c.c_uint32, [_c.POINTER(BoardHandle)], True),
    "BoardCDMAIsEnable": (_c.c_uint32, [_c.POINTER(BoardHandle)], False),
    "CDMA_IsEnable": (_c.c_uint32, [], False),
    "CDMA_ReadDataFromDevice": (_c.c_uint32, [_c.POINTER(EtherCAT), _c.c_uint32, _c.c_void_p, _c.c_int32, _c.c_uint32], True),
    "CDMA_WriteDataToDevice": (_c.c_uint32, [_c.POINTER(EtherCAT), _c.c_uint32, _c.c_void_p, _c.c_int32, _c.c_uint32], True),
    "BoardFlashErase": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32, _c.c_uint32], True),
    "BoardFlashRead": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32, _c.c_uint32, _c.c_void_p], True),
    "BoardFlashWrite": (_c.c_uint32, [_c.POINTER(BoardHandle), _c.c_uint32, _Text], True),
    "BoardFileDownload": (_c.c_uint32, [_c.POINTER(BoardHandle), _Text, _Text, _Callback(PciProgress), _c.c_void_p], True),
    "BoardFileUpload": (_c.c_uint32, [_c.POINTER(BoardHandle), _Text, _Text, _Callback(PciProgress), _c.c_void_p], True),
    "BoardUpdate": (_c.c_uint32, [_c.POINTER(BoardHandle), _Text], True),
    "BoardUpdateEx": (_c.c_uint32, [_c.POINTER(BoardHandle), _Text, _Callback(PciProgress), _c.c_void_p], True),
    "BoardUpdateUnlimitSize": (None, [], False),
    "mailbox_init": (_c.c_int32, [_c.POINTER(CommandChannel), _c.c_void_p, _c.c_void_p, _c.POINTER(MailboxRing), _c.POINTER(MailboxRing), _c.POINTER(_c.c_uint32), _c.c_uint32], False),
    "mailbox_sock_init": (_c.c_int32, [_c.POINTER(CommandChannel), _c.c_void_p, _c.c_void_p, _c.c_void_p, _c.POINTER(MailboxRing), _c.POINTER(MailboxRing), _c.POINTER(_c.c_uint32), _c.c_uint32], False),
    "mailbox_queue_push": (_c.c_int32, [_c.POINTER(MailboxRing), _c.c_void_p, _c.c_uint32], False),
    "mailbox_queue_pop": (_c.c_int32, [_c.POINTER(MailboxRing), _c.c_void_p], False),
    "show_fifo_size": (_c.c_int32, [_c.POINTER(EcatHandle)], False),
    "pcie_pkt_send": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint8), _c.c_uint32, _c.POINTER(_c.c_uint8), _c.POINTER(_c.c_uint32)], True),
    "EcatRunCommand": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint8), _c.c_uint32, _c.POINTER(_c.c_uint8), _c.POINTER(_c.c_uint32)], True),
    "_EcatSockClientPostData": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint32, _c.c_void_p, _c.c_uint32], True),
    "_EcatSockClientGetData": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint32), _c.c_void_p, _c.POINTER(_c.c_uint32)], True),
    "EcatOpen": (_c.c_uint32, [_c.POINTER(_c.POINTER(EcatHandle)), _Text, _c.c_uint32], True),
    "EcatOpenEx": (_c.c_uint32, [_c.POINTER(_c.POINTER(EcatHandle)), _Text, _c.c_uint32, _c.c_int32], True),
    "EcatClose": (_c.c_uint32, [_c.POINTER(EcatHandle)], True),
    "__EcatClose": (_c.c_uint32, [_c.POINTER(EcatHandle)], True),
    "EcatCheckPdoVersionMatch": (_c.c_uint32, [_c.POINTER(EcatHandle)], True),
    "EcatGetBoardHandle": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.POINTER(BoardHandle))], True),
    "EcatGetCurrentChannel": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint32)], True),
    "EcatGetInfo": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(BoardInfo)], True),
    "__EcatGetConfigPtr": (_c.c_void_p, [_c.POINTER(EcatHandle)], False),
    "__EcatGetDevHandle": (_c.c_void_p, [_c.POINTER(EcatHandle)], False),
    "__EcatGetMailBoxPtr": (_c.c_void_p, [_c.POINTER(EcatHandle)], False),
    "__EcatGetPiInfo": (_c.c_void_p, [_c.POINTER(EcatHandle)], False),
    "EcatBusRun": (_c.c_uint32, [_c.POINTER(EcatHandle), _Text], True),
    "EcatBusRunEx": (_c.c_uint32, [_c.POINTER(EcatHandle), _Text, _Callback(PciProgress), _c.c_void_p], True),
    "EcatBusStop": (_c.c_uint32, [_c.POINTER(EcatHandle)], True),
    "EcatReset": (_c.c_uint32, [_c.POINTER(EcatHandle)], True),
    "EcatBusIsRunning": (_c.c_bool, [_c.POINTER(EcatHandle)], False),
    "EcatBusStatus": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint32)], True),
    "EcatRequestMasterState": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint8], True),
    "EcatCheckRunningEni": (_c.c_uint32, [_c.POINTER(EcatHandle), _Text], True),
    "EcatGetEniInfo": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(EniInfo)], True),
    "EcatGetEniInfoEx": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_void_p, _c.c_uint32], True),
    "EcatGetFirmwareCompileMsg": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_char), _c.c_uint32], True),
    "__EcatBusCtrlWorkCntGet": (_c.c_uint32, [_c.POINTER(EcatHandle)], False),
    "__GetEniFileCRC": (_c.c_int32, [_Text, _c.POINTER(_c.c_char), _c.c_uint32], False),
    "EcatGetMasterState": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint8)], True),
    "EcatGetMasterReqState": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint8)], True),
    "EcatGetSlaveCount": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint16)], True),
    "EcatGetActiveSlaveCount": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint16)], True),
    "EcatGetSlaveState": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint8)], True),
    "EcatGetSlaveStateEx": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint8)], True),
    "EcatGetSlaveReqState": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint8)], True),
    "EcatGetSlaveReqStateEx": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint8)], True),
    "EcatGetSlaveVendorID": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint32)], True),
    "EcatGetSlaveProductCode": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint32)], True),
    "EcatGetSlaveRevisionNo": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint32)], True),
    "EcatGetSlaveSerialNo": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint32)], True),
    "EcatGetSlaveAlias": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint32)], True),
    "EcatGetSlaveFixAddr": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint16)], True),
    "EcatGetSlaveDLStatus": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint16)], True),
    "EcatGetSlaveALStatusCode": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint16)], True),
    "EcatGetSlaveInfo": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.c_void_p], True),
    "EcatGetSlavePIOutputsInfo": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint16), _c.POINTER(_c.c_uint16)], True),
    "EcatGetSlavePIInputsInfo": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint16), _c.POINTER(_c.c_uint16)], True),
    "EcatClearSlaveStateError": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16], True),
    "EcatAutoClearSlaveStateErrorEnableSet": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32], True),
    "EcatAutoClearSlaveStateErrorEnableGet": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint32)], True),
    "EcatReadyLostTimeoutSet": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32], True),
    "EcatReadyLostTimeoutGet": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint32)], True),
    "ECAT_TIMEOUT_TRIGGER": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_int32], True),
    "EcatSlaveIsActive": (_c.c_bool, [_c.POINTER(EcatHandle), _c.c_uint16], False),
    "EcatSlaveIsReady": (_c.c_bool, [_c.POINTER(EcatHandle), _c.c_uint16], False),
    "EcatSlaveFixAddr2Index": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.POINTER(_c.c_uint16)], True),
    "EcatSetTimeout": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32], True),
    "EcatRMEnable": (_c.c_uint32, [], True),
    "EcatRMEnableGet": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint32)], True),
    "EcatCoeSDODownload": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.c_uint16, _c.c_uint8, _c.c_int32, _c.c_void_p, _c.c_uint32], True),
    "EcatCoeSDODownloadEx": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.c_uint16, _c.c_uint8, _c.c_uint8, _c.c_uint32, _c.c_void_p, _c.c_uint32], True),
    "EcatCoeSDOUpload": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.c_uint16, _c.c_uint8, _c.POINTER(_c.c_uint32), _c.c_void_p, _c.c_uint32], True),
    "EcatCoeSDOUploadEx": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.c_uint16, _c.c_uint8, _c.c_uint8, _c.POINTER(_c.c_uint32), _c.c_void_p, _c.c_uint32], True),
    "EcatFoEWrite": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _Text, _Text], True),
    "EcatFoERead": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _Text, _Text], True),
    "EcatSlaveEepromRead": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.c_uint16, _c.c_uint16, _c.c_void_p], True),
    "EcatSlaveEepromWrite": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.c_uint16, _c.c_uint16, _c.c_void_p], True),
    "EcatSlaveMemoryRead": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.c_uint16, _c.c_uint16, _c.c_void_p], True),
    "EcatSlaveMemoryWrite": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16, _c.c_uint16, _c.c_uint16, _c.c_void_p], True),
    "EcatGetDiagnostics": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint8), _c.c_uint16, _c.POINTER(_c.c_uint16), _c.c_void_p], True),
    "EcatGetSlaveDiagnosticStates": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint32), _c.c_uint16, _c.POINTER(_c.c_uint16), _c.POINTER(_c.c_uint32), _c.c_void_p], True),
    "EcatNetDiagnosticsGetSlaveLinkStatus": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_void_p, _c.POINTER(_c.c_uint16)], True),
    "EcatGetFirstLinkDownPortStatus": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_void_p], True),
    "EcatGetLastError": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_void_p, _c.c_uint32, _c.POINTER(_c.c_uint32)], True),
    "EcatPIRead": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint32, _c.c_uint32, _c.c_void_p], True),
    "EcatPIWrite": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint32, _c.c_uint32, _c.c_void_p], True),
    "EcatPIMaskWrite": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint32, _c.c_uint32, _c.POINTER(_c.c_uint8), _c.c_void_p], True),
    "__EcatPIRead_NotCheck": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.POINTER(_c.c_uint32), _c.POINTER(_c.c_uint32), _c.c_void_p], True),
    "EcatPIClear": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32], True),
    "EcatPINMap": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.POINTER(_c.c_void_p)], True),
    "EcatPIGetRange": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint16, _c.POINTER(_c.c_uint32), _c.POINTER(_c.c_uint32)], True),
    "EcatSlavePIGetRange": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint16, _c.POINTER(_c.c_uint32), _c.POINTER(_c.c_uint32)], True),
    "EcatSlavePIRead": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint16, _c.c_uint32, _c.c_void_p], True),
    "EcatSlavePIReadEx": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint16, _c.c_uint32, _c.c_uint32, _c.c_void_p], True),
    "EcatSlavePIWrite": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint16, _c.c_uint32, _c.c_void_p], True),
    "EcatSlavePIWriteEx": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint16, _c.c_uint32, _c.c_uint32, _c.c_void_p], True),
    "EcatSlavePIMaskWrite": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint16, _c.c_uint32, _c.POINTER(_c.c_uint8), _c.c_void_p], True),
    "EcatSlavePIMaskWriteEx": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint16, _c.c_uint32, _c.c_uint32, _c.POINTER(_c.c_uint8), _c.c_void_p], True),
    "EcatSlavePIClear": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint16], True),
    "EcatPIEnableSet": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32], True),
    "EcatPIEnable": (_c.c_uint32, [_c.POINTER(EcatHandle)], True),
    "EcatPIDisable": (_c.c_uint32, [_c.POINTER(EcatHandle)], True),
    "EcatPIEnableGet": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint32)], True),
    "EcatPIReinitModeSet": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32], True),
    "EcatPIReinitModeGet": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint32)], True),
    "EcatPIReinitModeSetGlobal": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint16], True),
    "EcatPIReinitModeGetGlobal": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint32)], True),
    "EcatPIOutputQueuePush": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint8, _c.c_uint32], True),
    "EcatPIOutputQueueSize": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint32)], True),
    "EcatPIInputQueuePop": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint8, _c.c_uint32], True),
    "EcatPIInputQueuePop_US": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint8, _c.c_uint64], True),
    "EcatPIInputQueueSize": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint32)], True),
    "EcatPIWatchDogConfig": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint32, _c.POINTER(_c.c_uint8), _c.POINTER(_c.c_uint8), _c.c_uint32], True),
    "EcatPIWatchDogEnable": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32], True),
    "EcatPIWatchDogStart": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _Text], True),
    "EcatPIWatchDogStop": (_c.c_uint32, [_c.POINTER(EcatHandle)], True),
    "EcatPIWatchDogQuery": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.POINTER(_c.c_uint32), _c.POINTER(_c.c_uint32), _c.POINTER(_c.c_uint8), _c.POINTER(_c.c_uint8), _c.POINTER(_c.c_uint32)], True),
    "EcatPIWatchDogFeed": (_c.c_uint32, [_c.POINTER(EcatHandle)], True),
    "ecat_bitmemcpy": (_c.c_void_p, [_c.c_void_p, _c.c_uint32, _c.c_void_p, _c.c_uint32, _c.c_uint32], False),
    "__set_pi_area_complete_info_pdo_len": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32, _c.c_uint32], True),
    "ecat_pi_logic_addr_map_init": (_c.c_uint32, [_Text, _c.c_uint32, _c.c_void_p, _c.c_void_p], True),
    "ecat_pi_logic_addr_get_range": (_c.c_bool, [_c.c_void_p, _c.c_uint16, _c.c_uint16, _c.POINTER(_c.POINTER(PiLogicEntry)), _c.POINTER(_c.POINTER(PiLogicEntry))], False),
    "getPiInfo_offset2slave": (_c.c_bool, [_c.c_void_p, _c.c_uint32, _c.c_uint16, _c.c_uint16, _c.POINTER(_c.c_uint16), _c.POINTER(_c.c_uint16), _c.POINTER(_c.POINTER(_c.c_uint32))], False),
    "ecat_calc_phy_logic_mixed": (_c.c_bool, [_c.POINTER(PiPhyEntry), _c.c_uint16, _c.c_uint16, _c.c_uint16, _c.POINTER(_c.c_uint16), _c.POINTER(_c.c_uint16), _c.POINTER(_c.c_uint16)], False),
    "ecat_slave_active_cache_init": (None, [_c.POINTER(EcatSlaveActiveCache), _c.POINTER(_c.c_uint32), _c.POINTER(_c.c_uint32), _c.c_uint32], False),
    "ecat_slave_active_cache_get": (_c.c_bool, [_c.POINTER(EcatSlaveActiveCache), _c.c_uint16], False),
    "ecat_check_all_slave_is_active": (_c.c_bool, [_c.c_void_p, _c.POINTER(_c.c_uint32), _c.c_uint32, _c.c_uint16, _c.c_uint16], False),
    "iterator_find_range": (_c.c_bool, [_c.POINTER(IteratorOps), _c.c_void_p, _c.c_void_p, _c.c_uint64, _c.c_uint64, _c.POINTER(_c.c_void_p), _c.POINTER(_c.c_void_p), _Callback(_c.CFUNCTYPE(_c.c_bool, _c.c_void_p, _c.c_uint64))], False),
    "pi_buff_3p_master_write": (_c.c_uint32, [_c.c_void_p, _c.c_uint32, _c.c_uint32, _c.c_void_p, _c.POINTER(_c.c_uint8), _c.POINTER(PiTransfer)], True),
    "pi_buff_3p_master_write_cycle": (_c.c_uint32, [_c.c_void_p, _c.c_uint32, _c.c_uint32, _c.c_void_p, _c.POINTER(_c.c_uint8), _c.POINTER(PiTransfer)], True),
    "pi_buff_3p_master_read": (_c.c_uint32, [_c.c_void_p, _c.c_uint32, _c.c_uint32, _c.c_void_p, _c.POINTER(PiTransfer)], True),
    "pi_buff_3p_master_force_update": (_c.c_uint32, [_c.c_void_p], True),
    "pi_buff_3p_slave_write": (_c.c_uint32, [_c.c_void_p, _c.c_uint32, _c.c_uint32, _c.c_void_p, _c.POINTER(_c.c_uint8), _c.POINTER(PiTransfer)], True),
    "pi_buff_3p_slave_read": (_c.c_uint32, [_c.c_void_p, _c.c_uint32, _c.c_uint32, _c.c_void_p, _c.POINTER(PiTransfer)], True),
    "pi_buff_3p_slave_read_cycle": (_c.c_uint32, [_c.c_void_p, _c.c_uint32, _c.c_uint32, _c.c_void_p, _c.POINTER(PiTransfer)], True),
    "__EcatPIASyncModeInit": (_c.c_uint32, [_c.POINTER(EcatPIAsyncState), _c.c_uint32, _c.c_uint32], True),
    "__EcatPIASyncDirectAccessModeInit": (_c.c_uint32, [_c.POINTER(EcatHandle)], True),
    "__EcatPIASyncCycleAccessModeInit": (_c.c_uint32, [_c.POINTER(EcatHandle)], True),
    "__EcatPIASyncManualAccessModeInit": (_c.c_uint32, [_c.POINTER(EcatHandle)], True),
    "EcatPIASyncModeSet": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32], True),
    "EcatPIASyncModeGet": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.POINTER(_c.c_uint32)], True),
    "EcatPIASyncUpdateData": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32], True),
    "EcatPIAsyncModeCycleCallbackHook": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_void_p, _Callback(EcatCycleCallback)], True),
    "EcatPIInputWaitNotify": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32], True),
    "__EcatPIASyncModeReset": (_c.c_uint32, [_c.POINTER(EcatPIAsyncState)], True),
    "__EcatPIASyncModeDestroy": (_c.c_uint32, [_c.POINTER(EcatPIAsyncState)], True),
    "__EcatPIWaitSignal": (_c.c_uint32, [_c.POINTER(EcatHandle)], False),
    "__Ecat_PI_ASync_WakeupByInterrup": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32], False),
    "__Ecat_PI_ASync_WakeupByCycleSign": (_c.c_uint32, [_c.POINTER(EcatHandle), _c.c_uint32], False),
    "cJSON_Version": (_c.c_char_p, [], False),
    "cJSON_InitHooks": (None, [_c.POINTER(cJSON_Hooks)], False),
    "cJSON_Parse": (_c.POINTER(cJSON), [_Text], False),
    "cJSON_ParseWithLength": (_c.POINTER(cJSON), [_Text, _c.c_size_t], False),
    "cJSON_ParseWithOpts": (_c.POINTER(cJSON), [_Text, _c.POINTER(_c.POINTER(_c.c_char)), _c.c_int], False),
    "cJSON_ParseWithLengthOpts": (_c.POINTER(cJSON), [_Text, _c.c_size_t, _c.POINTER(_c.POINTER(_c.c_char)), _c.c_int], False),
    "cJSON_Print": (_c.c_void_p, [_c.POINTER(cJSON)], False),
    "cJSON_PrintUnformatted": (_c.c_void_p, [_c.POINTER(cJSON)], False),
    "cJSON_PrintBuffered": (_c.c_void_p, [_c.POINTER(cJSON), _c.c_int, _c.c_int], False),
    "cJSON_PrintPreallocated": (_c.c_int, [_c.POINTER(cJSON), _c.POINTER(_c.c_char), _c.c_int, _c.c_int], False),
    "cJSON_Delete": (None, [_c.POINTER(cJSON)], False),
    "cJSON_GetArraySize": (_c.c_int, [_c.POINTER(cJSON)], False),
    "cJSON_GetArrayItem": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _c.c_int], False),
    "cJSON_GetObjectItem": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text], False),
    "cJSON_GetObjectItemCaseSensitive": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text], False),
    "cJSON_HasObjectItem": (_c.c_int, [_c.POINTER(cJSON), _Text], False),
    "cJSON_GetErrorPtr": (_c.c_char_p, [], False),
    "cJSON_GetStringValue": (_c.c_void_p, [_c.POINTER(cJSON)], False),
    "cJSON_GetNumberValue": (_c.c_double, [_c.POINTER(cJSON)], False),
    "cJSON_IsInvalid": (_c.c_int, [_c.POINTER(cJSON)], False),
    "cJSON_IsFalse": (_c.c_int, [_c.POINTER(cJSON)], False),
    "cJSON_IsTrue": (_c.c_int, [_c.POINTER(cJSON)], False),
    "cJSON_IsBool": (_c.c_int, [_c.POINTER(cJSON)], False),
    "cJSON_IsNull": (_c.c_int, [_c.POINTER(cJSON)], False),
    "cJSON_IsNumber": (_c.c_int, [_c.POINTER(cJSON)], False),
    "cJSON_IsString": (_c.c_int, [_c.POINTER(cJSON)], False),
    "cJSON_IsArray": (_c.c_int, [_c.POINTER(cJSON)], False),
    "cJSON_IsObject": (_c.c_int, [_c.POINTER(cJSON)], False),
    "cJSON_IsRaw": (_c.c_int, [_c.POINTER(cJSON)], False),
    "cJSON_CreateNull": (_c.POINTER(cJSON), [], False),
    "cJSON_CreateTrue": (_c.POINTER(cJSON), [], False),
    "cJSON_CreateFalse": (_c.POINTER(cJSON), [], False),
    "cJSON_CreateBool": (_c.POINTER(cJSON), [_c.c_int], False),
    "cJSON_CreateNumber": (_c.POINTER(cJSON), [_c.c_double], False),
    "cJSON_CreateString": (_c.POINTER(cJSON), [_Text], False),
    "cJSON_CreateRaw": (_c.POINTER(cJSON), [_Text], False),
    "cJSON_CreateArray": (_c.POINTER(cJSON), [], False),
    "cJSON_CreateObject": (_c.POINTER(cJSON), [], False),
    "cJSON_CreateStringReference": (_c.POINTER(cJSON), [_Text], False),
    "cJSON_CreateObjectReference": (_c.POINTER(cJSON), [_c.POINTER(cJSON)], False),
    "cJSON_CreateArrayReference": (_c.POINTER(cJSON), [_c.POINTER(cJSON)], False),
    "cJSON_CreateIntArray": (_c.POINTER(cJSON), [_c.POINTER(_c.c_int), _c.c_int], False),
    "cJSON_CreateFloatArray": (_c.POINTER(cJSON), [_c.POINTER(_c.c_float), _c.c_int], False),
    "cJSON_CreateDoubleArray": (_c.POINTER(cJSON), [_c.POINTER(_c.c_double), _c.c_int], False),
    "cJSON_CreateStringArray": (_c.POINTER(cJSON), [_c.POINTER(_c.POINTER(_c.c_char)), _c.c_int], False),
    "cJSON_AddItemToArray": (_c.c_int, [_c.POINTER(cJSON), _c.POINTER(cJSON)], False),
    "cJSON_AddItemToObject": (_c.c_int, [_c.POINTER(cJSON), _Text, _c.POINTER(cJSON)], False),
    "cJSON_AddItemToObjectCS": (_c.c_int, [_c.POINTER(cJSON), _Text, _c.POINTER(cJSON)], False),
    "cJSON_AddItemReferenceToArray": (_c.c_int, [_c.POINTER(cJSON), _c.POINTER(cJSON)], False),
    "cJSON_AddItemReferenceToObject": (_c.c_int, [_c.POINTER(cJSON), _Text, _c.POINTER(cJSON)], False),
    "cJSON_DetachItemViaPointer": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _c.POINTER(cJSON)], False),
    "cJSON_DetachItemFromArray": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _c.c_int], False),
    "cJSON_DeleteItemFromArray": (None, [_c.POINTER(cJSON), _c.c_int], False),
    "cJSON_DetachItemFromObject": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text], False),
    "cJSON_DetachItemFromObjectCaseSensitive": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text], False),
    "cJSON_DeleteItemFromObject": (None, [_c.POINTER(cJSON), _Text], False),
    "cJSON_DeleteItemFromObjectCaseSensitive": (None, [_c.POINTER(cJSON), _Text], False),
    "cJSON_InsertItemInArray": (_c.c_int, [_c.POINTER(cJSON), _c.c_int, _c.POINTER(cJSON)], False),
    "cJSON_ReplaceItemViaPointer": (_c.c_int, [_c.POINTER(cJSON), _c.POINTER(cJSON), _c.POINTER(cJSON)], False),
    "cJSON_ReplaceItemInArray": (_c.c_int, [_c.POINTER(cJSON), _c.c_int, _c.POINTER(cJSON)], False),
    "cJSON_ReplaceItemInObject": (_c.c_int, [_c.POINTER(cJSON), _Text, _c.POINTER(cJSON)], False),
    "cJSON_ReplaceItemInObjectCaseSensitive": (_c.c_int, [_c.POINTER(cJSON), _Text, _c.POINTER(cJSON)], False),
    "cJSON_Duplicate": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _c.c_int], False),
    "cJSON_Compare": (_c.c_int, [_c.POINTER(cJSON), _c.POINTER(cJSON), _c.c_int], False),
    "cJSON_Minify": (None, [_c.POINTER(_c.c_char)], False),
    "cJSON_AddNullToObject": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text], False),
    "cJSON_AddTrueToObject": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text], False),
    "cJSON_AddFalseToObject": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text], False),
    "cJSON_AddBoolToObject": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text, _c.c_int], False),
    "cJSON_AddNumberToObject": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text, _c.c_double], False),
    "cJSON_AddStringToObject": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text, _Text], False),
    "cJSON_AddRawToObject": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text, _Text], False),
    "cJSON_AddObjectToObject": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text], False),
    "cJSON_AddArrayToObject": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text], False),
    "cJSON_SetNumberHelper": (_c.c_double, [_c.POINTER(cJSON), _c.c_double], False),
    "cJSON_SetValuestring": (_c.c_void_p, [_c.POINTER(cJSON), _Text], False),
    "cJSON_malloc": (_c.c_void_p, [_c.c_size_t], False),
    "cJSON_free": (None, [_c.c_void_p], False),
    "cJSONUtils_GetPointer": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text], False),
    "cJSONUtils_GetPointerCaseSensitive": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _Text], False),
    "cJSONUtils_GeneratePatches": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _c.POINTER(cJSON)], False),
    "cJSONUtils_GeneratePatchesCaseSensitive": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _c.POINTER(cJSON)], False),
    "cJSONUtils_AddPatchToArray": (None, [_c.POINTER(cJSON), _Text, _Text, _c.POINTER(cJSON)], False),
    "cJSONUtils_ApplyPatches": (_c.c_int, [_c.POINTER(cJSON), _c.POINTER(cJSON)], False),
    "cJSONUtils_ApplyPatchesCaseSensitive": (_c.c_int, [_c.POINTER(cJSON), _c.POINTER(cJSON)], False),
    "cJSONUtils_MergePatch": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _c.POINTER(cJSON)], False),
    "cJSONUtils_MergePatchCaseSensitive": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _c.POINTER(cJSON)], False),
    "cJSONUtils_GenerateMergePatch": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _c.POINTER(cJSON)], False),
    "cJSONUtils_GenerateMergePatchCaseSensitive": (_c.POINTER(cJSON), [_c.POINTER(cJSON), _c.POINTER(cJSON)], False),
    "cJSONUtils_FindPointerFromObjectTo": (_c.c_void_p, [_c.POINTER(cJSON), _c.POINTER(cJSON)], False),
    "cJSONUtils_SortObject": (None, [_c.POINTER(cJSON)], False),
    "cJSONUtils_SortObjectCaseSensitive": (None, [_c.POINTER(cJSON)], False),
}

# name: type of the datum
DATA = {
    "mailbox_mutex": (_c.c_void_p * 2 * 2 * 16),
    "sock_mutex": (_c.c_void_p * 2 * 2 * 16),
    "pi_mutex": (_c.c_void_p * 5 * 2 * 16),
    "__pi_shared_memory": _c.c_void_p,
    "__proc_id": _c.c_uint32,
}
