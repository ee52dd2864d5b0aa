/**
 * @file pci_tarn.h
 * Everything that pci_tarn exports. Include this one, or only the families you need.
 */
#ifndef PCI_TARN_H
#define PCI_TARN_H

#include "pci_tarn/base.h"
#include "pci_tarn/board.h"
#include "pci_tarn/channel.h"
#include "pci_tarn/diagnostics.h"
#include "pci_tarn/driver.h"
#include "pci_tarn/ecat.h"
#include "pci_tarn/pi.h"
#include "pci_tarn/shared.h"
#include "pci_tarn/slave.h"
#include "pci_tarn/status.h"
#include "pci_tarn/types.h"
#include "pci_tarn/version.h"

#endif
