/**
 * @file version.h
 * Version of the interface that a program is compiled against.
 *
 * The version of the library that a program runs with is the text in DriverInfo::library_version,
 * which DriverGetInfo() fills in also when there is no card: PCI_TARN_VERSION of that library,
 * followed by the date of the release in brackets. Libraries of one major version are compatible:
 * exports are only ever added.
 */
#ifndef PCI_TARN_VERSION_H
#define PCI_TARN_VERSION_H

/** Version as a text. */
#define PCI_TARN_VERSION "1.9.1"
/** Changes when programs have to be compiled anew. */
#define PCI_TARN_VERSION_MAJOR 1
/** Changes when something is added. */
#define PCI_TARN_VERSION_MINOR 9
/** Changes when something is mended. */
#define PCI_TARN_VERSION_PATCH 1
/** Version as one number, for comparisons in `#if`: 0xMMmmpp. */
#define PCI_TARN_VERSION_NUMBER                                                                    \
    (PCI_TARN_VERSION_MAJOR * 0x10000 + PCI_TARN_VERSION_MINOR * 0x100 + PCI_TARN_VERSION_PATCH)

#endif
