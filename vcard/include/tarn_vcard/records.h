/**
 * @file records.h
 * Layouts that belong to the card's firmware, as the virtual card fills them.
 *
 * pci_tarn copies these records unread; another firmware may lay them out differently.
 */
#ifndef TARN_VCARD_RECORDS_H
#define TARN_VCARD_RECORDS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** What EcatGetSlaveInfo() gives on the virtual card (56 bytes). */
typedef struct VcardSlaveInfo {
    uint32_t vendor_id;      /**< vendor id */
    uint32_t product_code;   /**< product code */
    uint32_t revision_no;    /**< revision number */
    uint32_t serial_no;      /**< serial number */
    uint16_t fixed_address;  /**< configured station address */
    uint16_t alias;          /**< station alias */
    uint16_t al_status_code; /**< AL status code, 0 when there is no error */
    uint8_t state;           /**< EtherCAT state, 0x10 set on error */
    uint8_t requested_state; /**< state the master asks of the slave */
    char name[32];           /**< name from the configuration, UTF-8, NUL-terminated, cut to fit */
} VcardSlaveInfo;

/** Values of EcatBusStatus() on the virtual card. */
enum VcardBusStatus {
    VCARD_BUS_NOT_CONFIGURED = 0, /**< no configuration, or the bus was stopped */
    VCARD_BUS_STARTING = 1,       /**< a start is under way */
    VCARD_BUS_RUNNING = 2,        /**< cyclic data is exchanged */
    VCARD_BUS_FAULT = 3           /**< running, but a slave has left its requested state */
};

/**
 * Object that lists a virtual slave's whole object dictionary. One SDO upload of its subindex 0
 * gives a VcardObjectEntry for each entry, in the order of index and subindex. It lists all objects
 * but itself. Slaves that do not have it can only be probed.
 */
#define VCARD_OBJECT_LIST_INDEX 0x5FFE

/** Bits of VcardObjectEntry::access. */
enum VcardObjectAccess {
    VCARD_OBJECT_READ = 0x01,              /**< can be read */
    VCARD_OBJECT_WRITE = 0x02,             /**< can be written in PREOP */
    VCARD_OBJECT_WRITE_RUNNING = 0x04,     /**< can be written in SAFEOP and OP, too */
    VCARD_OBJECT_MAPPED_TO_OUTPUTS = 0x10, /**< process data, host to slave */
    VCARD_OBJECT_MAPPED_TO_INPUTS = 0x20   /**< process data, slave to host */
};

/** Values of VcardObjectEntry::object_code. */
enum VcardObjectCode {
    VCARD_OBJECT_VARIABLE = 7, /**< one value, subindex 0 */
    VCARD_OBJECT_ARRAY = 8,    /**< a list of values of one type; subindex 0 counts them */
    VCARD_OBJECT_RECORD = 9    /**< values of several types; subindex 0 is the last subindex */
};

/** One entry of an object dictionary (64 bytes). */
typedef struct VcardObjectEntry {
    uint16_t index;      /**< object */
    uint8_t subindex;    /**< entry of the object */
    uint8_t object_code; /**< VcardObjectCode, the same in all entries of the object */
    uint16_t data_type;  /**< CANopen data type: 1 BOOLEAN, 2..4 INTEGER8..32, 5..7 UNSIGNED8..32,
                              8 REAL32, 9 VISIBLE_STRING, 10 OCTET_STRING, 0x11 REAL64,
                              0x15 INTEGER64, 0x1B UNSIGNED64, 0x30..0x36 BIT1..BIT7 */
    uint16_t access;     /**< VcardObjectAccess */
    uint32_t bits;       /**< size; strings: the largest size */
    char name[52];       /**< UTF-8, NUL-terminated, cut to fit; of the object at subindex 0 */
} VcardObjectEntry;

/** Bits of the first status word of EcatPIWatchDogQuery() on the virtual card. */
enum VcardWatchdogFlags {
    VCARD_WATCHDOG_CONFIGURED = 0x01, /**< this slave has safe data */
    VCARD_WATCHDOG_MASKED = 0x02,     /**< with a mask */
    VCARD_WATCHDOG_ENABLED = 0x04,    /**< EcatPIWatchDogEnable() with 1 */
    VCARD_WATCHDOG_STARTED = 0x08,    /**< EcatPIWatchDogStart(), and not stopped since */
    VCARD_WATCHDOG_WATCHING = 0x10,   /**< both, and process data is exchanged */
    VCARD_WATCHDOG_EXPIRED = 0x20,    /**< safe data is in the outputs */
    VCARD_WATCHDOG_HOLDS = 0x40       /**< started with VCARD_WATCHDOG_HOLD */
};
/* The second status word counts how often the watchdog has expired since the start of the bus. The
   first block is the safe data, the second the mask (all ones where none was given). */

/**
 * Text of EcatPIWatchDogStart() with which the safe data stays until the watchdog is stopped or
 * started again. With any other text the outputs follow the host again as soon as it is back. The
 * text is shown in the log and by `tarn-vcard status`. The value is the time-out in milliseconds.
 */
#define VCARD_WATCHDOG_HOLD "hold"

/** Room for that text, with its final zero. */
#define VCARD_WATCHDOG_TEXT 64U

/** Message types of the socket channel on the virtual card. */
enum VcardSocketType {
    VCARD_SOCKET_ECHO = 1, /**< comes back as it is */
    VCARD_SOCKET_LOG = 2,  /**< UTF-8 text for the card's log, a line each; not answered */
    VCARD_SOCKET_ERROR = 3 /**< from the card only: a VcardSocketError; the parameter is that of
                                the message it refuses */
};

/** Why a message was refused. */
enum VcardSocketReason {
    VCARD_SOCKET_UNKNOWN_TYPE = 1, /**< no service has this type */
    VCARD_SOCKET_BAD_LENGTH = 2    /**< length exceeds the slot */
};

/** What VCARD_SOCKET_ERROR carries (16 bytes): the refused message and the reason. */
typedef struct VcardSocketError {
    uint32_t type;      /**< of the message */
    uint32_t parameter; /**< of the message */
    uint32_t length;    /**< of the message */
    uint32_t reason;    /**< VcardSocketReason */
} VcardSocketError;

#ifdef __cplusplus
}
#endif

#endif
