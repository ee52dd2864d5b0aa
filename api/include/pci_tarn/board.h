/**
 * @file board.h
 * Board services: opening a card and reading what it says of itself.
 */
#ifndef PCI_TARN_BOARD_H
#define PCI_TARN_BOARD_H

#include "pci_tarn/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Opens a card for the board services.
 *
 * Finds the card in the registry, checks that card and library speak the same layouts, and binds
 * the card's command rings. Nothing is written to the card. Any number of handles may be open on
 * one card, in one process or in several; they share the card's mappings and its named lock.
 *
 * @param[out] out  gets the handle, which the caller owns until BoardClose(). Null on every
 *                  failure but two: it stays as it is when memory is short, and is not touched
 *                  when it is null itself
 * @param name      "ID0", "ID1", ... for the position of the card; "AL0" to "AL15" for its alias
 *                  switch; or the name that the card's firmware carries
 * @return 0; 32770 when `out` is null; 34359 when memory is short; 80004 when there is no such
 *         card, the name is null or ambiguous, or the card's memory could not be mapped; 80012
 *         when the versions do not fit together. Memory, mapping and version failures are
 *         explained on standard output.
 */
PCI_TARN_API uint32_t BoardOpen(BoardHandle **out, const char *name);

/**
 * Closes a handle that BoardOpen() made. The card stays mapped until the library is unloaded.
 *
 * No other thread may use the handle any more. A handle that EcatGetBoardHandle() gave belongs to
 * the EcatHandle and must not be closed here.
 *
 * @param handle  handle, or null, which is ignored
 * @return 0
 */
PCI_TARN_API uint32_t BoardClose(BoardHandle *handle);

/**
 * Tells whether the layouts of the card's firmware are those that this library speaks.
 *
 * Compares the version words of the configuration block and of the command rings. A word that the
 * firmware left unset fits. BoardOpen() has done this already; call it again after a firmware
 * update. Thread-safe; does not block.
 *
 * @param handle  board
 * @param print   non-zero: explain a mismatch on standard output
 * @return 0 when both fit; 80012 when one does not; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardCheckVersion(BoardHandle *handle, uint8_t print);

/**
 * Gives the version word of the command rings as the card shows it, undecoded. Thread-safe; does
 * not block.
 *
 * @param handle  board
 * @return the word (not a status); 0 when the handle is null
 */
PCI_TARN_API uint32_t BoardGetStructVersion(BoardHandle *handle);

/**
 * Reads what the card says of itself: texts, alias, channels, identification. Thread-safe; does
 * not block.
 *
 * @param handle     board
 * @param[out] info  record of the caller's, filled on success
 * @return 0; 32770 when `info` is null; 32771 when the card's configuration block is not valid
 *         (explained on standard output); 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardGetInfo(BoardHandle *handle, BoardInfo *info);

/**
 * Reads the position of the card's alias switch. Thread-safe; does not block.
 *
 * @param handle      board
 * @param[out] alias  gets 0 to 15
 * @return 0; 32770 when `alias` is null; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardGetInfo_Alias(BoardHandle *handle, uint32_t *alias);

/**
 * Puts the card's inputs and outputs into their idle state: PWM and pulse outputs off, digital
 * outputs low, PWM and pulse settings zero, latches disabled, cleared and their counters reset.
 *
 * Writes registers only, so it does not block; it takes no lock, so other threads and processes
 * should not set outputs of the card meanwhile. EcatReset() does it, too.
 *
 * @param handle  board
 * @return 0; 80013 when the handle is null
 */
PCI_TARN_API uint32_t __BoardIOModuleReset(BoardHandle *handle);

#ifdef __cplusplus
}
#endif

#endif
