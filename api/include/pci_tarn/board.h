/**
 * @file board.h
 * Board services: opening a card, what it says of itself, and everything on it beside the bus:
 * digital inputs and outputs, latches, PWM and pulse outputs, LEDs, heartbeat, clock, reset, DMA,
 * flash, files and firmware update.
 *
 * A card is opened with BoardOpen(), which gives the handle that most functions take;
 * EcatGetBoardHandle() gives the one inside an EcatHandle.
 *
 * <b>Register functions.</b> Functions that are said to read or write registers do just that, in
 * the order given. They do not block, take no lock, may be called from any thread and never fail
 * once their arguments are accepted; they do not look whether the card is alive. Two threads or
 * processes that change the same register race: PWM and pulse outputs share one register of enable
 * bits, which BoardPWMOutput(), BoardPWMStop(), BoardPulseConfig() and BoardPulseStop() read,
 * change and write back. Outputs are written on success only, unless said otherwise.
 *
 * <b>Requests.</b> Functions that are said to be a request ask the card's firmware through the
 * board's mailbox, which is channel 0's secondary one. Such a function blocks the calling thread:
 * first until it has the mailbox, which all processes of the machine share and which is held
 * through the whole exchange, then at most the handle's time-out (20000 ms unless changed by
 * BoardSetTimeout()) for a free slot, and as long again for the reply. It may be called from any
 * thread. Where a function is said to return "the status of the request", that is
 *   - 0 for success,
 *   - 80001 when there was no free slot in time; a request that is too large for the slots ends so,
 *     too, after the whole time-out,
 *   - 80002 when the reply carries more data than there is room for, or any where none belongs,
 *   - 80003 when no reply came in time; the card may still do what was asked,
 *   - any other value: the firmware's own status, as EcatErrorGetErrorMessage() explains it.
 *
 * <b>Transfers.</b> File transfers are many requests in a row with the mailbox held from the first
 * to the last. A handle has one transfer buffer: two threads that transfer files need no care, they
 * take turns.
 */
#ifndef PCI_TARN_BOARD_H
#define PCI_TARN_BOARD_H

#include "pci_tarn/driver.h"
#include "pci_tarn/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Latch, PWM and pulse channels of a card, each; also its heartbeat counters. */
#define BOARD_IO_CHANNELS 4
/** Clock of the PWM and pulse timers in Hz; periods and high times are counted in its ticks. */
#define BOARD_TIMER_HZ 125000000
/** Highest mode of BoardLatchCfg(). */
#define BOARD_LATCH_MODE_MAX 21
/** Lowest mode of BoardSeqLatchCfg(). */
#define BOARD_SEQ_LATCH_MODE_MIN 23
/** Highest mode of BoardSeqLatchCfg(). */
#define BOARD_SEQ_LATCH_MODE_MAX 136
/** Most values that a sequence latch records. */
#define BOARD_SEQ_LATCH_COUNT_MAX 1023
/** Largest file that BoardFileDownload() sends, in bytes (5 MiB). */
#define BOARD_FILE_SIZE_MAX 0x500000
/** Largest firmware file that BoardUpdate() sends, in bytes (9 MiB); see BoardUpdateUnlimitSize().
 */
#define BOARD_UPDATE_SIZE_MAX 0x900000

/* ---- open, close and identity ---------------------------------------------------------------- */

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
 * outputs 0 to 15 low, PWM and pulse settings zero, latches disabled, cleared and their counters
 * reset. Digital outputs 16 to 31 keep their levels; BoardDOWrite() clears them.
 *
 * Writes registers only, so it does not block; it takes no lock, so other threads and processes
 * should not set outputs of the card meanwhile. EcatReset() does it, too.
 *
 * @param handle  board
 * @return 0; 80013 when the handle is null
 */
PCI_TARN_API uint32_t __BoardIOModuleReset(BoardHandle *handle);

/**
 * Sets the time-out of all requests of this handle, file transfers included. It holds once for the
 * free slot and once for the reply of each request.
 *
 * Takes effect at the next request. Does not block; must not be called while another thread makes a
 * request on the same handle.
 *
 * @param handle      board
 * @param timeout_ms  time-out in milliseconds; 0 looks once and does not wait. 20000 after
 *                    BoardOpen()
 * @return 0; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardSetTimeout(BoardHandle *handle, uint32_t timeout_ms);

/* ---- digital inputs and outputs -------------------------------------------------------------- */

/**
 * Reads the digital inputs. Reads a register.
 *
 * @param handle      board
 * @param[out] value  gets the levels, bit n is input n
 * @return 0; 32770 when `value` is null; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardDIRead(BoardHandle *handle, uint32_t *value);

/**
 * Reads back the digital outputs. Reads a register.
 *
 * @param handle      board
 * @param[out] value  gets the levels last written, bit n is output n
 * @return 0; 32770 when `value` is null; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardDORead(BoardHandle *handle, uint32_t *value);

/**
 * Sets all digital outputs at once. Writes a register.
 *
 * @param handle  board
 * @param value   levels, bit n is output n
 * @return 0; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardDOWrite(BoardHandle *handle, uint32_t value);

/* ---- latches --------------------------------------------------------------------------------- */

/**
 * Enables the latch unit. Writes a register.
 *
 * @param handle  board
 * @return 0; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardLatchEnable(BoardHandle *handle);

/**
 * Disables the latch unit. Writes a register.
 *
 * @param handle  board
 * @return 0; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardLatchDisable(BoardHandle *handle);

/**
 * Selects the plain latch mode and its source: each channel captures one value. Writes a register.
 *
 * @param handle  board
 * @param mode    latch source, 0 to #BOARD_LATCH_MODE_MAX; what the numbers stand for is the
 *                firmware's affair
 * @return 0; 32770 when the mode is 22 or more; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardLatchCfg(BoardHandle *handle, uint32_t mode);

/**
 * Lets the latches run. Writes a register.
 *
 * @param handle  board
 * @return 0; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardLatchRun(BoardHandle *handle);

/**
 * Stops the latches, plain and sequence. Writes a register.
 *
 * @param handle  board
 * @return 0; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardLatchStop(BoardHandle *handle);

/**
 * Clears what the latches have captured. Writes a register.
 *
 * @param handle  board
 * @return 0; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardLatchClear(BoardHandle *handle);

/**
 * Sets the counter that the latches capture to zero. Writes a register, 8 bits of it.
 *
 * @param handle  board
 * @return 0; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardLatchCounterReset(BoardHandle *handle);

/**
 * Selects the port that the latches listen to. Writes a register.
 *
 * @param handle  board
 * @param port    port number, handed to the card unchecked
 * @return 0; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardLatchPortSel(BoardHandle *handle, uint32_t port);

/**
 * Tells whether a latch channel has captured a value. Reads a register.
 *
 * @param handle        board
 * @param channel       latch channel, 0 to 3
 * @param[out] latched  gets 1 when it has, else 0
 * @return 0; 32770 when the channel is 4 or more or `latched` is null; 80013 when the handle is
 *         null
 */
PCI_TARN_API uint32_t BoardLatchState(BoardHandle *handle, uint32_t channel, uint32_t *latched);

/**
 * Reads the value that a latch channel has captured. Reads two registers, the low one first; what
 * is captured anew between the two gives halves of two values.
 *
 * @param handle     board
 * @param channel    latch channel, 0 to 3
 * @param[out] low   gets bits 0 to 31 of the counter at the capture
 * @param[out] high  gets bits 32 to 63
 * @return 0; 32770 when the channel is 4 or more or an output is null; 80013 when the handle is
 *         null
 */
PCI_TARN_API uint32_t BoardLatchOnRead(BoardHandle *handle, uint32_t channel, uint32_t *low,
                                       uint32_t *high);

/**
 * Selects the sequence latch mode and its source: each channel records a row of values. Writes the
 * same register as BoardLatchCfg().
 *
 * @param handle  board
 * @param mode    latch source, #BOARD_SEQ_LATCH_MODE_MIN to #BOARD_SEQ_LATCH_MODE_MAX
 * @return 0; 32770 when the mode is below 23 or above 136; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardSeqLatchCfg(BoardHandle *handle, int32_t mode);

/**
 * Sets how many values a sequence latch records, then lets it run. Writes two registers.
 *
 * @param handle  board
 * @param count   values to record, 0 to #BOARD_SEQ_LATCH_COUNT_MAX
 * @return 0; 32770 when the count is 1024 or more; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardSeqLatchRun(BoardHandle *handle, uint32_t count);

/**
 * Reads one value of a recorded sequence. Writes the index to the channel's register, then at once
 * reads two registers, the low one first; threads that read the same channel must take turns. A
 * card that needs a moment to follow the index gives the value of the index before, or halves of
 * both: call again with the same index after that moment.
 *
 * @param handle     board
 * @param channel    latch channel, 0 to 3
 * @param index      which value, from 0; handed to the card unchecked
 * @param[out] low   gets bits 0 to 31 of the counter at the capture
 * @param[out] high  gets bits 32 to 63
 * @return 0; 32770 when the channel is 4 or more or an output is null; 80013 when the handle is
 *         null
 */
PCI_TARN_API uint32_t BoardSeqLatchOnRead(BoardHandle *handle, uint32_t channel, uint32_t index,
                                          uint32_t *low, uint32_t *high);

/* ---- PWM and pulse outputs ------------------------------------------------------------------- */

/**
 * Enables a PWM output, then sets its period and high time. Reads and writes registers.
 *
 * The period is 125,000,000 / frequency ticks of 8 ns, the high time period * duty / 100, both
 * rounded down. All of it is calculated in 32 bits and wraps where it does not fit: at 1 Hz a duty
 * of 35 % or more, at 2 Hz one of 69 % or more does.
 *
 * @param handle        board
 * @param channel       PWM channel, 0 to 3
 * @param frequency_hz  frequency in Hz; 0 gives a period and a high time of 0, and the output is
 *                      enabled all the same
 * @param duty_percent  high time in percent of the period, 0 to 100; not checked, a negative number
 *                      counts as its 32-bit pattern
 * @return 0; 32770 when the channel is 4 or more; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardPWMOutput(BoardHandle *handle, uint32_t channel, uint32_t frequency_hz,
                                     int32_t duty_percent);

/**
 * Disables a PWM output; its period and high time stay. Reads and writes a register.
 *
 * @param handle   board
 * @param channel  PWM channel, 0 to 3
 * @return 0; 32770 when the channel is 4 or more; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardPWMStop(BoardHandle *handle, uint32_t channel);

/**
 * Reads back the settings of a PWM output, enabled or not. Reads four registers.
 *
 * Rounding to ticks makes what comes back differ a little from what was set: frequency is
 * 125,000,000 / period, duty is high time * 100 / period in 32 bits, both rounded down.
 *
 * @param handle             board
 * @param channel            PWM channel, 0 to 3
 * @param[out] frequency_hz  gets the frequency in Hz, 0 when the period is 0; may be null
 * @param[out] duty_percent  gets the duty in percent, 0 when high time or period is 0; may be null
 * @return 0; 32770 when the channel is 4 or more; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardPWMGetConfig(BoardHandle *handle, uint32_t channel,
                                        uint32_t *frequency_hz, uint32_t *duty_percent);

/**
 * Enables a pulse output, then sets it up. Reads and writes registers. Pulses begin with
 * BoardPulseOutput().
 *
 * The period and the high time are calculated as BoardPWMOutput() does.
 *
 * @param handle        board
 * @param channel       pulse channel, 0 to 3
 * @param first         first setting word, handed to the card as it is
 * @param flag          non-zero sets the channel's flag bit, zero clears it
 * @param second        second setting word, handed to the card as it is
 * @param frequency_hz  pulses per second in Hz; 0 gives a period and a high time of 0
 * @param duty_percent  high time in percent of the period, 0 to 100; not checked
 * @return 0; 32770 when the channel is 4 or more; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardPulseConfig(BoardHandle *handle, uint32_t channel, uint32_t first,
                                       int32_t flag, uint32_t second, uint32_t frequency_hz,
                                       uint32_t duty_percent);

/**
 * Reads back the settings of a pulse output, enabled or not. Reads five registers.
 *
 * @param handle             board
 * @param channel            pulse channel, 0 to 3
 * @param[out] first         gets the first setting word; may be null
 * @param[out] flag          gets the channel's flag bit, 0 or 1; may be null
 * @param[out] second        gets the second setting word; may be null
 * @param[out] frequency_hz  gets the frequency in Hz, 0 when the period is 0; may be null
 * @param[out] duty_percent  gets the duty in percent, 0 when high time or period is 0; may be null
 * @return 0; 32770 when the channel is 4 or more; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardPulseGetConfig(BoardHandle *handle, uint32_t channel, uint32_t *first,
                                          int32_t *flag, uint32_t *second, uint32_t *frequency_hz,
                                          uint32_t *duty_percent);

/**
 * Sets how many pulses a pulse output gives, then starts it. Reads and writes registers.
 *
 * @param handle   board
 * @param channel  pulse channel, 0 to 3
 * @param count    pulses to give
 * @return 0; 32770 when the channel is 4 or more; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardPulseOutput(BoardHandle *handle, uint32_t channel, uint32_t count);

/**
 * Disables a pulse output; its settings stay. Reads and writes a register.
 *
 * @param handle   board
 * @param channel  pulse channel, 0 to 3
 * @return 0; 32770 when the channel is 4 or more; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardPulseStop(BoardHandle *handle, uint32_t channel);

/* ---- raw registers --------------------------------------------------------------------------- */

/**
 * Reads any 32-bit register of the card (BAR1).
 *
 * @param handle      board
 * @param offset      offset of the register in bytes, a multiple of 4 inside the BAR. Neither is
 *                    checked: an offset beyond the BAR crashes the program
 * @param[out] value  gets the register; null: nothing is read
 * @return 0; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardBAR1Read(BoardHandle *handle, uint32_t offset, uint32_t *value);

/**
 * Writes any 32-bit register of the card (BAR1).
 *
 * @param handle  board
 * @param offset  offset of the register in bytes, a multiple of 4 inside the BAR. Neither is
 *                checked: an offset beyond the BAR crashes the program
 * @param value   what is written
 * @return 0; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardBAR1Write(BoardHandle *handle, uint32_t offset, uint32_t value);

/* ---- firmware: life sign, clock, LEDs, reset ------------------------------------------------- */

/**
 * Reads one of the firmware's heartbeat counters: while its task lives, it counts. Reads a word of
 * card memory.
 *
 * @param handle      board
 * @param counter     which counter, 0 to 3
 * @param[out] value  gets the count, modulo 2^32; gets 0 when the counter is 4 or more
 * @return 0; 32770 when the counter is 4 or more or `value` is null; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardHeardCnt(BoardHandle *handle, uint32_t counter, uint32_t *value);

/**
 * Tells whether the firmware says that it is alive. Reads a word of card memory.
 *
 * @param handle  board
 * @return true when it does; false when not or when the handle is null
 */
PCI_TARN_API bool BoardIsAlive(BoardHandle *handle);

/**
 * Hands a time to the card, and how far local time is ahead of UTC. Writes two words of card
 * memory.
 *
 * The offset is always that of 13 February 2025, 00:00 UTC, whatever the time handed over: summer
 * time that is in force now does not show in it. West of Greenwich it is negative.
 *
 * @param handle     board
 * @param utc_time   time in seconds since 1970, UTC; 0 stands for now
 * @return 0; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardSetDeviceSystemTime(BoardHandle *handle, int64_t utc_time);

/**
 * BoardSetDeviceSystemTime() for callers that hold the address of BAR2 instead of a handle.
 *
 * @param bar2       address at which BAR2 is mapped, as getBarPtr() gives it
 * @param utc_time   time in seconds since 1970, UTC; 0 stands for now
 * @return 0; 32770 when the address is null
 */
PCI_TARN_API uint32_t Bar2SetDeviceSystemTime(void *bar2, int64_t utc_time);

/**
 * Sets the card's LEDs. A request.
 *
 * @param handle  board
 * @param first   first value, handed to the firmware as it is
 * @param second  second value, handed to the firmware as it is
 * @return the status of the request; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BoardLedCtrl(BoardHandle *handle, uint16_t first, uint16_t second);

/**
 * Switches the firmware's time-out trigger on or off. A request.
 *
 * @param handle  board
 * @param flag    non-zero: on, and handed to the firmware as it is; 0: off
 * @return the status of the request; 80013 when the handle is null
 */
PCI_TARN_API uint32_t BOARD_TIMEOUT_TRIGGER(BoardHandle *handle, int32_t flag);

/**
 * Asks the card to reset itself. Buses that run on it end.
 *
 * Counts up the bus control counters of both channels (__EcatBusCtrlWorkCntGet()), by which other
 * users of the card notice, then writes the request to card memory; it does not wait for the reset.
 * Handles stay valid.
 *
 * The request is the 32-bit word at 0x188 of BAR2 (getBarPtr()). The virtual card sets it back to 0
 * when its reset is over; from then on it is back as soon as BoardIsAlive() says so. Until a card
 * has begun its reset BoardIsAlive() still tells of the firmware before it.
 *
 * @param handle  board
 * @return 0; 32770 when the handle is null; 80006 when the firmware is too old to reset itself
 *         (explained on standard output)
 */
PCI_TARN_API uint32_t BoardReset(BoardHandle *handle);

/* ---- DMA ------------------------------------------------------------------------------------- */

/**
 * Tells whether the board functions use DMA: they never do.
 *
 * @param handle  board, or null
 * @return 0, which is the answer and not a status
 */
PCI_TARN_API uint32_t BoardCDMAIsEnable(BoardHandle *handle);

/**
 * Tells whether the kernel driver can transfer by DMA: from version 1.0.0.4 on. The first call of
 * the library in a process looks for the cards. Thread-safe.
 *
 * @return 1 when it can; 0 when not, or when the driver's version cannot be told
 */
PCI_TARN_API uint32_t CDMA_IsEnable(void);

/**
 * Copies card memory to the host by DMA, in as many transfers as the driver needs.
 *
 * Blocks until all is copied or a transfer fails; after a failure part of the buffer may have been
 * written. Transfers are independent of each other, so it may be called from any thread. A driver
 * that reports more bytes than it was asked for is asked for the same bytes again.
 *
 * @param card          card at the level of the driver, as EtherCATOpen() gives it
 * @param card_address  where to begin in the card's memory, in bytes
 * @param[out] buffer   gets the bytes; must hold `length` of them
 * @param length        bytes to copy, more than 0
 * @param timeout_ms    time-out of each transfer in milliseconds
 * @return 0; 32771 when the length is 0 or negative, when the card or the buffer is null, or when a
 *         transfer moved nothing or timed out
 */
PCI_TARN_API uint32_t CDMA_ReadDataFromDevice(EtherCAT *card, uint32_t card_address, void *buffer,
                                              int32_t length, uint32_t timeout_ms);

/**
 * Copies host memory to the card by DMA; otherwise as CDMA_ReadDataFromDevice().
 *
 * @param card          card at the level of the driver, as EtherCATOpen() gives it
 * @param card_address  where to begin in the card's memory, in bytes
 * @param buffer        bytes to copy; must hold `length` of them
 * @param length        bytes to copy, more than 0
 * @param timeout_ms    time-out of each transfer in milliseconds
 * @return as CDMA_ReadDataFromDevice()
 */
PCI_TARN_API uint32_t CDMA_WriteDataToDevice(EtherCAT *card, uint32_t card_address, void *buffer,
                                             int32_t length, uint32_t timeout_ms);

/* ---- flash ----------------------------------------------------------------------------------- */

/**
 * Erases a range of the card's flash. A request. Whether the range fits the blocks of the flash is
 * the firmware's to judge.
 *
 * @param handle   board
 * @param address  where to begin, in bytes from the start of the flash
 * @param length   bytes to erase
 * @return the status of the request; 32770 when the handle is null
 */
PCI_TARN_API uint32_t BoardFlashErase(BoardHandle *handle, uint32_t address, uint32_t length);

/**
 * Reads the card's flash. A request; what one reply cannot carry is read in several calls
 * (102,384 bytes fit on a card of the usual slot size).
 *
 * The buffer is written with what the firmware sent, also when its status is not 0. When that is
 * less than the length, the rest of the buffer stays as it was.
 *
 * @param handle       board
 * @param address      where to begin, in bytes from the start of the flash
 * @param length       bytes to read
 * @param[out] buffer  gets the bytes; must hold `length` of them
 * @return the status of the request; 32770 when the handle is null, or the buffer is null and the
 *         length is not 0
 */
PCI_TARN_API uint32_t BoardFlashRead(BoardHandle *handle, uint32_t address, uint32_t length,
                                     void *buffer);

/**
 * Writes a text to the card's flash. A request.
 *
 * The data ends before its first zero byte, which is not written; an empty text writes nothing but
 * is sent. Bytes that contain a zero cannot be written.
 *
 * @param handle   board
 * @param address  where to begin, in bytes from the start of the flash; erase the range first
 * @param data     bytes to write, ended by a zero byte
 * @return the status of the request; 32769 when memory is short; 32770 when the handle or the data
 *         is null
 */
PCI_TARN_API uint32_t BoardFlashWrite(BoardHandle *handle, uint32_t address, const char *data);

/* ---- files and firmware update --------------------------------------------------------------- */

/**
 * Sends a file of the host to the card's file store, of #BOARD_FILE_SIZE_MAX bytes at most.
 *
 * Blocks until the transfer ends and holds the board's mailbox meanwhile. A transfer that fails is
 * repeated up to five times in all and then reported as success: whether the file has arrived shows
 * when it is used or read back with BoardFileUpload(). A host file that can be read but not written
 * is such a failure, and it leaves an empty file of that name on the card.
 *
 * @param handle        board
 * @param local_path    host file, as fopen() takes it; must be writable, too, though it is not
 *                      written
 * @param remote_name   name on the card, at most 127 characters
 * @param progress      called after each chunk, or null
 * @param progress_arg  handed to `progress`
 * @return 0; 32770 when the handle or the remote name is null; 32848 when the host file cannot be
 *         opened, is a folder or has 2 GiB or more (explained on standard output); 80000 when the
 *         remote name is too long; 80007 when the file is too big. The host file is looked at
 *         before the name.
 */
PCI_TARN_API uint32_t BoardFileDownload(BoardHandle *handle, const char *local_path,
                                        const char *remote_name, PciProgress progress,
                                        void *progress_arg);

/**
 * Fetches a file of the card's file store, of any size.
 *
 * Blocks until the transfer ends and holds the board's mailbox meanwhile. The host file is made, or
 * emptied, before the card is asked; after a failure it holds what had come until then.
 *
 * @param handle        board
 * @param local_path    host file, as fopen() takes it
 * @param remote_name   name on the card, at most 127 characters
 * @param progress      called after each chunk, or null
 * @param progress_arg  handed to `progress`
 * @return 0; 32770 when the handle or the remote name is null; 80000 when the remote name is too
 *         long; 0xFFFFFFFF when the host file cannot be made or written, or any request of the
 *         transfer failed, as when the card has no such file
 */
PCI_TARN_API uint32_t BoardFileUpload(BoardHandle *handle, const char *local_path,
                                      const char *remote_name, PciProgress progress,
                                      void *progress_arg);

/**
 * Updates the card's firmware: BoardUpdateEx() without a callback.
 *
 * @param handle      board
 * @param local_path  firmware file
 * @return as BoardUpdateEx()
 */
PCI_TARN_API uint32_t BoardUpdate(BoardHandle *handle, const char *local_path);

/**
 * Updates the card's firmware: sends a firmware file of #BOARD_UPDATE_SIZE_MAX bytes at most, then
 * has the card apply it.
 *
 * Blocks until the card has answered and holds the board's mailbox during the transfer. The
 * transfer works as that of BoardFileDownload(): one that fails every time shows only by the answer
 * of the card, which is asked to apply the file all the same. So does a firmware file that can be
 * read but not written: an empty file is sent then. Do not cut the card's power meanwhile. The new
 * firmware runs after the next reset of the card, as BoardReset() asks for.
 *
 * @param handle        board
 * @param local_path    firmware file, as fopen() takes it; must be writable, too, though it is not
 *                      written
 * @param progress      called after each chunk, or null
 * @param progress_arg  handed to `progress`
 * @return the status of the request to apply the file; 32770 when the handle is null; 32848 when
 *         the file cannot be opened, is a folder or has 2 GiB or more (explained on standard
 *         output); 80010 when the file is too big
 */
PCI_TARN_API uint32_t BoardUpdateEx(BoardHandle *handle, const char *local_path,
                                    PciProgress progress, void *progress_arg);

/**
 * Lifts the size limit of BoardUpdate() and BoardUpdateEx() once.
 *
 * Holds for the whole process until the next update whose file can be measured, whatever its size;
 * a file that is missing does not use it up. Thread-safe.
 */
PCI_TARN_API void BoardUpdateUnlimitSize(void);

#ifdef __cplusplus
}
#endif

#endif
