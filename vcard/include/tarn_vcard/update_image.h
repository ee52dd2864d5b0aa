/**
 * @file update_image.h
 * Layout of the firmware images that the virtual card takes; `tarn-vcard make-image` writes them.
 *
 * pci_tarn sends an image unread; another firmware has another layout.
 */
#ifndef TARN_VCARD_UPDATE_IMAGE_H
#define TARN_VCARD_UPDATE_IMAGE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** First bytes of an image. The line ends show a transfer that took the file for a text. */
#define VCARD_IMAGE_MAGIC "TARN\r\n\x1A\n"

/** Value of VcardImageHeader::format. */
#define VCARD_IMAGE_FORMAT 1U

/** Name under which the card expects the image. */
#define VCARD_IMAGE_FILE "updateFile"

/** Start of an image; all numbers are little-endian. The payload follows. */
typedef struct VcardImageHeader {
    char magic[8];           /**< VCARD_IMAGE_MAGIC */
    uint32_t format;         /**< VCARD_IMAGE_FORMAT */
    uint32_t crc;            /**< CRC-32 (IEEE 802.3) of the whole image with this field as 0 */
    char version[32];        /**< version text, NUL-terminated */
    char model[32];          /**< card model that the image is for, NUL-terminated */
    uint32_t payload_length; /**< bytes behind the header */
    uint8_t reserved[12];    /**< 0 */
} VcardImageHeader;

#ifdef __cplusplus
}
#endif

#endif
