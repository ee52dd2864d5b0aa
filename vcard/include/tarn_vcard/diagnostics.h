/**
 * @file diagnostics.h
 * Layouts of the diagnostics that the virtual card's firmware answers with.
 *
 * pci_tarn copies these records unread; another firmware may lay them out differently. All numbers
 * are little-endian, texts are UTF-8. Nothing is padded: the sizes named here are exact.
 *
 * Counters begin at 0 with each start of the bus and stay at their largest value when they reach
 * it. Slaves are named by their index, from 0. Times called "since power-up" count on through bus
 * starts and begin anew with a reset of the card.
 */
#ifndef TARN_VCARD_DIAGNOSTICS_H
#define TARN_VCARD_DIAGNOSTICS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 1)

/** Ports of a slave. */
#define VCARD_PORTS 4U

/** In the place of a slave index: no slave. */
#define VCARD_NO_SLAVE 0xFFFFU

/** In the place of a neighbour's index: the master itself. */
#define VCARD_MASTER 0xFFFEU

/** A state byte: EtherCAT state 1 2 3 4 8, VCARD_STATE_ERROR added on error; 0: does not answer. */
#define VCARD_STATE_ERROR 0x10U

/**
 * Bits of the master's diagnostic state: the first value of EcatGetSlaveDiagnosticStates(), and
 * VcardMasterDiagnostics::flags. "Now" bits follow the bus, the others stay until the next start.
 */
enum VcardMasterFlags {
    VCARD_MASTER_FRAMES_LOST = 0x0001,     /**< frames were lost */
    VCARD_MASTER_LATE_CYCLES = 0x0002,     /**< cycles began late */
    VCARD_MASTER_WKC_WRONG = 0x0004,       /**< now: the working counter is not as expected */
    VCARD_MASTER_SLAVE_ABSENT = 0x0008,    /**< now: a slave does not answer */
    VCARD_MASTER_SLAVE_ERROR = 0x0010,     /**< now: a slave shows an error */
    VCARD_MASTER_STATE_DIFFERENT = 0x0020, /**< now: a slave is not in the requested state */
    VCARD_MASTER_LINK_DOWN = 0x0040,       /**< now: a link of the configuration is down */
    VCARD_MASTER_CRC_ERRORS = 0x0080,      /**< frames came in damaged at a port */
    VCARD_MASTER_ERROR_LISTED = 0x0100     /**< EcatGetLastError() has an entry of this start */
};

/** Bits of a slave's diagnostic state, EcatGetSlaveDiagnosticStates(). */
enum VcardSlaveFlags {
    VCARD_SLAVE_ABSENT = 0x0001,          /**< now: does not answer */
    VCARD_SLAVE_ERROR = 0x0002,           /**< now: shows an error */
    VCARD_SLAVE_STATE_DIFFERENT = 0x0004, /**< now: not in the requested state */
    VCARD_SLAVE_WKC_WRONG = 0x0008,       /**< now: does not do its part of the working counter */
    VCARD_SLAVE_WAS_LOST = 0x0010,        /**< has not answered for a time */
    VCARD_SLAVE_CRC_ERRORS = 0x0020,      /**< frames came in damaged at one of its ports */
    VCARD_SLAVE_WKC_ERRORS = 0x0040,      /**< has failed to do its part of the working counter */
    VCARD_SLAVE_DC = 0x0080,              /**< takes part in the distributed clocks */
    VCARD_SLAVE_LINK_DOWN_0 = 0x0100,     /**< now: port 0 lacks the neighbour of the configuration;
                                               the bits of ports 1 to 3 follow */
    VCARD_SLAVE_LINK_DOWN_1 = 0x0200,     /**< the same, port 1 */
    VCARD_SLAVE_LINK_DOWN_2 = 0x0400,     /**< the same, port 2 */
    VCARD_SLAVE_LINK_DOWN_3 = 0x0800      /**< the same, port 3 */
};

/** The master's part of EcatGetDiagnostics(). */
typedef struct VcardMasterDiagnostics {
    uint64_t frames_sent;        /**< cyclic frames that were sent */
    uint64_t frames_lost;        /**< of them, how many did not come back */
    uint64_t cycles;             /**< cycles with process data, from SAFEOP up */
    uint64_t late_cycles;        /**< of them, how many began late by more than half a cycle */
    uint64_t run_time_ns;        /**< since the bus was started; stands still once it is stopped */
    uint32_t wkc_errors;         /**< cycles whose working counter was not as expected; a cycle
                                      with a lost frame counts as lost, not here */
    uint32_t state_changes;      /**< of all slaves together */
    uint32_t links_lost;         /**< links of the configuration that went down */
    uint32_t crc_errors;         /**< damaged frames at all ports together */
    uint32_t cycle_time_ns;      /**< time of a cycle as configured */
    uint32_t cycle_min_ns;       /**< shortest time between two cycles that was measured; this and
                                      the next two are 0 before there were two cycles */
    uint32_t cycle_mean_ns;      /**< mean time */
    uint32_t cycle_max_ns;       /**< longest time */
    uint32_t latest_ns;          /**< how late the latest cycle began */
    uint32_t dc_difference_ns;   /**< largest difference of a slave's clock from the reference
                                      clock now, without sign */
    uint32_t dc_largest_ns;      /**< the largest since the start */
    uint32_t working_counter;    /**< of the last cycle whose frames all came back */
    uint32_t expected_counter;   /**< what it is when all slaves exchange data */
    uint32_t errors_listed;      /**< entries that were made for EcatGetLastError() */
    uint32_t flags;              /**< bits of VcardMasterFlags */
    uint16_t frames_per_cycle;   /**< frames of all cyclic tasks of the file */
    uint16_t slaves_configured;  /**< slaves of the configuration */
    uint16_t slaves_present;     /**< slaves that answer */
    uint16_t slaves_operational; /**< slaves in OP without error */
    uint16_t slaves_in_error;    /**< slaves that show an error */
    uint16_t dc_slaves;          /**< slaves with distributed clocks in the configuration */
    uint16_t dc_reference;       /**< slave with the reference clock, VCARD_NO_SLAVE for none */
    uint16_t links_down;         /**< links of the configuration that are down now */
    uint8_t state;               /**< master state */
    uint8_t requested_state;     /**< state that was asked of the master */
} VcardMasterDiagnostics;

/** One slave's part of EcatGetDiagnostics(). */
typedef struct VcardSlaveDiagnostics {
    uint8_t state;                    /**< state byte; 0: does not answer */
    uint8_t requested_state;          /**< state that is asked of it */
    uint16_t al_status_code;          /**< 0 without error */
    uint32_t state_changes;           /**< changes of its state byte */
    uint32_t wkc_errors;              /**< cycles in which it did not do its part */
    uint32_t times_lost;              /**< times that it stopped answering */
    uint16_t crc_errors[VCARD_PORTS]; /**< damaged frames per port */
    uint16_t links_lost[VCARD_PORTS]; /**< times that the link of the port went down */
    int32_t dc_difference_ns;         /**< its clock minus the reference clock; 0 without DC, for
                                           the reference clock and while it does not answer */
    uint16_t dl_status;               /**< DL status register; 0 while it does not answer */
    uint16_t fixed_address;           /**< configured station address */
} VcardSlaveDiagnostics;

/** One slave's detail record of EcatGetSlaveDiagnosticStates(). */
typedef struct VcardSlaveDetail {
    uint64_t changed_ns;          /**< when its state byte changed last, since power-up; 0: has not
                                       changed since the start */
    uint8_t state;                /**< state byte */
    uint8_t previous_state;       /**< the one before; 0 when there was none or it did not answer */
    uint16_t last_al_status_code; /**< last AL status code that it showed; kept when it recovers */
    uint16_t working_counter;     /**< its part of the working counter now: 1 for inputs, 2 for
                                       outputs */
    uint16_t expected_counter;    /**< its part when it exchanges data */
} VcardSlaveDetail;

/** One port of VcardLinkStatus. */
typedef struct VcardPortStatus {
    uint8_t link;              /**< 1: a link is there */
    uint8_t loop_closed;       /**< 1: frames turn round here */
    uint8_t communication;     /**< 1: frames pass */
    uint8_t configured;        /**< 1: the configuration has a neighbour here */
    uint16_t neighbour;        /**< its index, VCARD_MASTER, or VCARD_NO_SLAVE for none */
    uint8_t neighbour_port;    /**< its port that leads here; 0xFF for none. VCARD_MASTER: 0 */
    uint8_t down;              /**< 1: configured, and no link is there */
    uint32_t crc_errors;       /**< damaged frames */
    uint32_t rx_errors;        /**< symbols that were no data, seen by the receiver */
    uint32_t forwarded_errors; /**< damaged frames that a slave before had found already */
    uint32_t links_lost;       /**< times that the link went down */
    uint64_t changed_ns;       /**< when the link changed last, since power-up; 0: has not */
    uint32_t propagation_ns;   /**< delay of a frame between this port and the neighbour */
    char neighbour_name[64];   /**< neighbour's name, cut to fit, NUL-terminated; "master" for
                                    VCARD_MASTER, empty for none */
} VcardPortStatus;

/**
 * One record of EcatNetDiagnosticsGetSlaveLinkStatus(). The answer has the records of the slaves
 * from index 0 on: as many as were asked for, exist, and fit one command slot.
 */
typedef struct VcardLinkStatus {
    uint16_t slave;                     /**< index */
    uint16_t fixed_address;             /**< configured station address */
    uint16_t parent;                    /**< slave that it hangs on; VCARD_MASTER for the first */
    uint16_t dl_status;                 /**< DL status register; 0 while it does not answer */
    uint32_t vendor_id;                 /**< vendor id */
    uint32_t product_code;              /**< product code */
    uint8_t present;                    /**< 1: it answers */
    uint8_t state;                      /**< state byte */
    uint8_t ports_configured;           /**< bit n: the configuration has a neighbour at port n */
    uint8_t ports_down;                 /**< bit n: port n is configured and has no link */
    uint32_t links_lost;                /**< of all ports together */
    char name[64];                      /**< name from the configuration, cut to fit,
                                             NUL-terminated */
    VcardPortStatus ports[VCARD_PORTS]; /**< ports 0 to 3; 0 leads towards the master */
} VcardLinkStatus;

/**
 * Answer of EcatGetFirstLinkDownPortStatus(): the first port, in the order of slaves and then
 * ports, that lacks its configured neighbour. A pulled cable is named at the end nearer to the
 * master; the master's own is port 0 of slave 0. Both are all ones when every link is there.
 */
typedef struct VcardLinkDown {
    uint16_t slave; /**< index, VCARD_NO_SLAVE for none */
    uint16_t port;  /**< 0 to 3, 0xFFFF for none */
} VcardLinkDown;

/** Values of VcardErrorRecord::kind. */
enum VcardErrorKind {
    VCARD_ERROR_CONFIGURATION = 1, /**< a start was refused or given up; `status` says why */
    VCARD_ERROR_SLAVE_STATE = 2,   /**< a slave shows an error; `al_status_code` */
    VCARD_ERROR_SLAVE_LOST = 3,    /**< a slave stopped answering, and those behind it */
    VCARD_ERROR_FRAMES_LOST = 4,   /**< frames were lost, in one cycle or several in a row */
    VCARD_ERROR_LATE_CYCLE =
        5, /**< a cycle began late as a fault on demand; others are only counted */
    VCARD_ERROR_LINK_DOWN = 6,  /**< a link of the configuration went down at `slave`, `port` */
    VCARD_ERROR_CRC = 7,        /**< damaged frames or receive errors at `slave`, `port` */
    VCARD_ERROR_TRANSITION = 8, /**< a slave refused a state; `al_status_code` */
    VCARD_ERROR_WATCHDOG = 9,   /**< the output watchdog has expired */
    VCARD_ERROR_QUEUE_FULL =
        10 /**< input images began to find the queue full that the host reads */
};

/** How many records EcatGetLastError() keeps; older ones are forgotten. */
#define VCARD_ERROR_RECORDS 64U

/**
 * One record of EcatGetLastError(). The answer is a sequence of them, newest first: as many whole
 * ones as fit the buffer size of the request. A buffer that is smaller than one record gets the
 * first bytes of the newest. Nothing is answered (length 0) when there was no error since power-up.
 * Reading does not remove records, nor does a start of the bus; a reset of the card does.
 */
typedef struct VcardErrorRecord {
    uint64_t time_ns; /**< since power-up */
    uint64_t utc_ns;  /**< since 1970, by the card's clock; 0 while the host has not set it */
    uint32_t number;  /**< counts the records, from 1 */
    uint32_t status;  /**< status of the library's table that fits best */
    uint16_t kind;    /**< VcardErrorKind */
    uint16_t slave;   /**< index, VCARD_NO_SLAVE for none */
    uint16_t port;    /**< 0 to 3, 0xFFFF for none */
    uint16_t al_status_code; /**< 0 for none */
    char text[96];           /**< one line in English, cut to fit, NUL-terminated */
} VcardErrorRecord;

#pragma pack(pop)

#ifdef __cplusplus
static_assert(sizeof(VcardMasterDiagnostics) == 118, "the layout is exact");
static_assert(sizeof(VcardSlaveDiagnostics) == 40, "the layout is exact");
static_assert(sizeof(VcardSlaveDetail) == 16, "the layout is exact");
static_assert(sizeof(VcardPortStatus) == 100, "the layout is exact");
static_assert(sizeof(VcardLinkStatus) == 488, "the layout is exact");
static_assert(sizeof(VcardLinkDown) == 4, "the layout is exact");
static_assert(sizeof(VcardErrorRecord) == 128, "the layout is exact");
}
#else
_Static_assert(sizeof(VcardMasterDiagnostics) == 118, "the layout is exact");
_Static_assert(sizeof(VcardSlaveDiagnostics) == 40, "the layout is exact");
_Static_assert(sizeof(VcardSlaveDetail) == 16, "the layout is exact");
_Static_assert(sizeof(VcardPortStatus) == 100, "the layout is exact");
_Static_assert(sizeof(VcardLinkStatus) == 488, "the layout is exact");
_Static_assert(sizeof(VcardLinkDown) == 4, "the layout is exact");
_Static_assert(sizeof(VcardErrorRecord) == 128, "the layout is exact");
#endif

#endif
