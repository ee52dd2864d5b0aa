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

#ifdef __cplusplus
}
#endif

#endif
