/**
 * @file driver.h
 * The kernel driver interface (class EtherCAT and its flat twins) and the registry of the cards
 * that are present.
 *
 * Most programs need nothing of the first half: BoardOpen() and EcatOpen() open the driver
 * themselves. DriverEnumBoard(), DriverEnumEcat() and DriverGetInfo() list what is there.
 *
 * The kernel driver interface. On Windows it is the card's kernel driver. On Linux each card is
 * served at a Unix-domain socket `kpcidevN` in `$XDG_RUNTIME_DIR/pci_tarn` (`/tmp/pci_tarn-UID`
 * when that variable is not set), or, when there is no card, in `/run/pci_tarn`; the user's
 * directory must belong to the caller and be closed to others. Its functions print nothing and
 * report failure by the value they return. When the driver or the server goes away they fail; on
 * Linux BARs that are mapped stay readable.
 *
 * The registry. The first function that needs the list of cards builds it: every card is opened
 * and its BARs 0 to 2 are mapped. The list stays as it is until the library is unloaded; cards
 * that appear later are not seen. Only the caller of that first function learns that building
 * failed (status 1); later calls see the cards that were found before the failure. Building is
 * guarded against threads that race for it; the functions that change the list or
 * what it holds (InitBoardHandleNode(), InitBoardNodeDataByIndex(), GetBoardCount(), getBarPtr() on
 * a BAR that is not mapped yet, releaBarPtr(), closeDevice()) are not, and callers must not use any
 * card while they run. closeDevice() also runs when the library is unloaded or the process ends: on
 * Linux no other thread may use the library any more when main() returns.
 *
 * Board names, as BoardOpen() and getBoardHandle() take them:
 * - `ID0`, `ID1`, ... : the card at that position;
 * - `AL0` ... `AL15`: the one card whose alias switch shows that number;
 * - any other text: the one card that bears exactly this name.
 */
#ifndef PCI_TARN_DRIVER_H
#define PCI_TARN_DRIVER_H

#include "pci_tarn/types.h"

#ifdef __cplusplus
/**
 * One opened card at the level of the kernel driver.
 *
 * Made by ::EtherCATOpen, given back by ::EtherCATClose. It takes no lock of its own:
 * an interrupt may be waited for by one thread at a time, and BARs must not be mapped or unmapped
 * by two threads at once. DMA transfers are independent of each other.
 */
class PCI_TARN_API EtherCAT {
  public:
    /** Unmaps all BARs, ends outstanding waits and closes the card. */
    ~EtherCAT();
    /** Not copyable. */
    EtherCAT(const EtherCAT &) = delete;
    /** Not copyable. @return nothing, it is deleted */
    EtherCAT &operator=(const EtherCAT &) = delete;

    /** See ::EtherCATGetCount. @return number of cards that are present */
    static unsigned int GetCount();
    /** See ::EtherCATGetDriverVersion. @return driver version, 0 when unknown */
    static unsigned long long GetDriverVersion();
    /**
     * See ::EtherCATMapBarAddress.
     * @param bar  BAR number, 0 to 5
     * @return address of the BAR, null on failure
     */
    void *EtherCATMapBarAddress(unsigned int bar);
    /**
     * See ::EtherCATUnmapBarAddress.
     * @param address  what EtherCATMapBarAddress() returned
     */
    void EtherCATUnmapBarAddress(void *address);
    /**
     * See ::EtherCATWaitForInterrupt.
     * @param interrupt   interrupt number, 0 to 7
     * @param timeout_ms  longest wait in milliseconds
     * @return 0 the interrupt has arrived, 258 time-out, 0xFFFFFFFF error
     */
    unsigned int EtherCATWaitForInterrupt(unsigned int interrupt, unsigned int timeout_ms);

  private:
    friend struct EtherCATFlat;
    EtherCAT() = default;
    static void *Open(unsigned long index);
    unsigned int EtherCATDma(unsigned int card_address, void *buffer, unsigned int length,
                             unsigned int timeout_ms, int direction);

    /** State of the wait for one interrupt. */
    struct InterruptSlot {
        unsigned long long overlapped[4]; /**< the operating system's request record */
        uint32_t state;        /**< 0 no event yet, 1 event there, 2 request outstanding */
        uint32_t event_closed; /**< non-zero once the event was closed after a failed request */
    };
    void *device_ = nullptr;
    InterruptSlot interrupts_[8] = {};
    void *bars_[6] = {};
};
extern "C" {
#else
/** One opened card at the level of the kernel driver. */
typedef struct EtherCAT EtherCAT;
#endif

/**
 * Opens a card at the level of the kernel driver.
 *
 * A card may be opened any number of times, by any number of processes.
 *
 * @param index  position of the card, from 0
 * @return the opened card, to be given back with EtherCATClose(); null when there is no such card,
 *         when it cannot be opened, or when memory is exhausted
 */
PCI_TARN_API EtherCAT *EtherCATOpen(uint32_t index);

/**
 * Closes a card: unmaps its BARs, ends its outstanding waits and frees it.
 *
 * No other call may be under way with the card.
 *
 * @param card  what EtherCATOpen() returned; null does nothing
 */
PCI_TARN_API void EtherCATClose(EtherCAT *card);

/**
 * Counts the cards that are present now. Asks the system anew with every call.
 *
 * @return number of cards; 0 also when the system cannot be asked
 */
PCI_TARN_API uint32_t EtherCATGetCount(void);

/**
 * Reads the version of the kernel driver. That of the first card stands for all.
 *
 * @return four 16-bit fields, most significant first (major, minor, build, revision); 0 when there
 *         is no card or its driver's version is not known
 */
PCI_TARN_API uint64_t EtherCATGetDriverVersion(void);

/**
 * Tells whether the library works with the kernel driver that is installed.
 *
 * @return true from version 1.0.0.1 on, except for 18.2.24.102; false when the version is unknown
 */
PCI_TARN_API bool EtherCATVerifyDriverVersion(void);

/**
 * Maps a BAR of the card into the process. A BAR that is mapped already is not mapped again.
 *
 * @param card  opened card; null gives null
 * @param bar   BAR number, 0 to 5
 * @return address of the BAR, valid until it is unmapped or the card is closed; null when the
 * number is 6 or more or the driver refuses
 */
PCI_TARN_API void *EtherCATMapBarAddress(EtherCAT *card, uint32_t bar);

/**
 * Takes a BAR out of the process.
 *
 * @param card     opened card; null does nothing
 * @param address  what EtherCATMapBarAddress() returned for this card; anything else does nothing
 */
PCI_TARN_API void EtherCATUnmapBarAddress(EtherCAT *card, void *address);

/**
 * Blocks until the card raises an interrupt.
 *
 * On Linux an interrupt that was raised since the last wait counts, once. A wait that has timed out
 * stays outstanding, and the next call for the same interrupt goes on with it. Windows cancels it
 * when the thread that began it ends; the next call then returns 0xFFFFFFFF once, and the one after
 * it waits anew. One thread at a time may wait for an interrupt; different interrupts are
 * independent.
 *
 * @param card        opened card; null gives 0
 * @param interrupt   interrupt number, 0 to 7
 * @param timeout_ms  longest wait in milliseconds; 0 only looks
 * @return 0 the interrupt has arrived; 258 time-out; 0xFFFFFFFF when the number is 8 or more or the
 *         driver fails
 */
PCI_TARN_API uint32_t EtherCATWaitForInterrupt(EtherCAT *card, uint32_t interrupt,
                                               uint32_t timeout_ms);

/**
 * Moves data from the card to the host by DMA. Blocks until all of it has arrived. May be called
 * by several threads at once.
 *
 * @param card          opened card; null gives 0
 * @param card_address  where to read on the card
 * @param buffer        where the data goes; its content is undefined after a failure
 * @param length        bytes to move
 * @param timeout_ms    longest wait in milliseconds
 * @return bytes moved; 0 on any failure, the time-out included
 */
PCI_TARN_API uint32_t EtherCATDmaRead(EtherCAT *card, uint32_t card_address, void *buffer,
                                      uint32_t length, uint32_t timeout_ms);

/**
 * Moves data from the host to the card by DMA. Blocks until all of it has been taken. May be called
 * by several threads at once.
 *
 * @param card          opened card; null gives 0
 * @param card_address  where to write on the card; its content is undefined after a failure
 * @param buffer        the data
 * @param length        bytes to move
 * @param timeout_ms    longest wait in milliseconds
 * @return bytes moved; 0 on any failure, the time-out included
 */
PCI_TARN_API uint32_t EtherCATDmaWrite(EtherCAT *card, uint32_t card_address, void *buffer,
                                       uint32_t length, uint32_t timeout_ms);

/**
 * Reads from the driver what two selectors name. Their meaning is the driver's; the library passes
 * them on and does not use them itself.
 *
 * @param card    opened card; null gives 0
 * @param first   first selector
 * @param second  second selector
 * @param buffer  where the data goes
 * @param length  size of the buffer in bytes
 * @return bytes read; 0 on failure
 */
PCI_TARN_API uint32_t EtherCATRead(EtherCAT *card, uint32_t first, uint32_t second, void *buffer,
                                   uint32_t length);

/**
 * Writes to the driver what two selectors name. Their meaning is the driver's; the library passes
 * them on and does not use them itself.
 *
 * @param card    opened card; null gives 0
 * @param first   first selector
 * @param second  second selector
 * @param buffer  the data; it is only read
 * @param length  bytes to write
 * @return bytes written; 0 on failure
 */
PCI_TARN_API uint32_t EtherCATWrite(EtherCAT *card, uint32_t first, uint32_t second, void *buffer,
                                    uint32_t length);

/** One card of the registry; the first 128 bytes are also the start of a BoardHandle. */
typedef struct BoardNode {
    char name[40];          /**< "kpcidev%d" with the enumeration index */
    uint32_t bar_length[6]; /**< never filled; printed in the map-failure message */
    void *bar[6];           /**< mapped addresses, null while unmapped */
    EtherCAT *driver;       /**< driver object, null when the card could not be opened */
    uint32_t index;         /**< last character of name minus '0'; keys the named locks */
    struct BoardNode *next; /**< next card, null at the end; not part of a BoardHandle */
} BoardNode;

/**
 * Counts the cards that are present now, and reads the driver's version for getDriverInfo(). Does
 * not build the list of cards.
 *
 * @param[out] count  number of cards
 * @return 0, or 32770 when `count` is null
 */
PCI_TARN_API uint32_t GetBoardCount(uint32_t *count);

/**
 * Appends a node for each card that is present to the list of cards, opens the card and maps its
 * BARs 0 to 2. The other functions do this once by themselves: called again it lists every card a
 * second time.
 *
 * A card that cannot be opened or mapped is listed all the same; the failure is printed.
 *
 * @return 0; 32769 when memory is exhausted; 32782 when the driver's version is not supported (with
 *         a message). The nodes appended before a failure stay.
 */
PCI_TARN_API uint32_t InitBoardHandleNode(void);

/**
 * Fills name, driver and index of a node, opening the card.
 *
 * @param index      position of the card, from 0
 * @param[out] node  node to fill; the other fields are left alone. The caller owns `driver`.
 * @return 0, also when the card could not be opened (`driver` is null then); 32770 when `node` is
 *         null; 32782 when the driver's version is not supported (with a message on standard output
 *         and on standard error)
 */
PCI_TARN_API uint32_t InitBoardNodeDataByIndex(uint32_t index, BoardNode *node);

/**
 * Builds the list of cards when that has not been done yet.
 *
 * @return 0; in the first call the status of InitBoardHandleNode()
 */
PCI_TARN_API uint32_t initDevice(void);

/**
 * Finds a card by its board name; see the top of this file.
 *
 * A card whose information cannot be read is found by its position only; a message tells of it.
 *
 * @param name       board name
 * @param[out] node  gets the first 128 bytes of the card's node (all fields before `next`);
 * untouched on failure
 * @return 0; 1 when this call built the list and that failed; 32771 when there is no such card,
 * when two cards fit an alias or a name, or when an argument is null
 */
PCI_TARN_API uint32_t getBoardHandle(const char *name, void *node);

/**
 * Reads what a card says of itself.
 *
 * @param node       BoardNode or BoardHandle
 * @param[out] info  the card's information; untouched on failure
 * @return 0; 32771 when an argument is null, when BAR 1 or 2 is not mapped, or when the card has
 * not published its configuration (both with a message)
 */
PCI_TARN_API uint32_t getBoardInfoByBoardHandle(const void *node, BoardInfo *info);

/**
 * Reads what the card at a position says of itself.
 *
 * @param index      position of the card, from 0
 * @param[out] info  the card's information; untouched on failure
 * @return 0; 1 when this call built the list and that failed; 80019 when there is no such card;
 * 32771 as from getBoardInfoByBoardHandle()
 */
PCI_TARN_API uint32_t getBoardInfoByIndex(uint32_t index, BoardInfo *info);

/**
 * Reads the alias switch of a card.
 *
 * @param node  BoardNode or BoardHandle
 * @return the alias itself, 0 to 15, not a status; 0 also when `node` is null or BAR 1 not mapped
 */
PCI_TARN_API uint32_t getBoardAliasByBoardHandle(const void *node);

/**
 * Gives the address of a BAR, mapping it on first use.
 *
 * @param node  BoardNode or BoardHandle of a card of the list; it is found by its driver
 * @param bar   BAR number, 0 to 5
 * @return the address, valid until releaBarPtr() or closeDevice(); null, with a message, when the
 *         card is not in the list or the BAR cannot be mapped
 */
PCI_TARN_API void *getBarPtr(const void *node, int32_t bar);

/**
 * Unmaps a BAR of a card of the list. Handles that were opened before still hold its address.
 *
 * @param name  name of the card's node; the first card whose whole name this text begins with is
 *              taken, so "kpcidev10" finds "kpcidev1"
 * @param bar   BAR number, 0 to 5
 * @return 0; 1 when the BAR is not mapped or there is no such BAR; 2 when there is no such card
 */
PCI_TARN_API uint32_t releaBarPtr(const char *name, int32_t bar);

/**
 * Unmaps all BARs, closes all cards and empties the list. Runs by itself when the library is
 * unloaded. The list is not built again afterwards, and no handle may be used any more.
 */
PCI_TARN_API void closeDevice(void);

/**
 * Blocks until a card raises an interrupt; see EtherCATWaitForInterrupt().
 *
 * @param node        BoardNode or BoardHandle
 * @param interrupt   interrupt number, 0 to 7
 * @param timeout_ms  longest wait in milliseconds
 * @return what EtherCATWaitForInterrupt() returns, 0 when `node` is null or its card not opened; 1
 *         when this call built the list and that failed
 */
PCI_TARN_API uint32_t waitInterrupt(const void *node, uint8_t interrupt, uint32_t timeout_ms);

/**
 * Reads the driver's version and the number of cards, as they were when they were last counted.
 *
 * @param[out] info  `driver_version` and `board_count` are written, `library_version` is left alone
 * @return 0; 1 when this call built the list and that failed; 32770 when `info` is null
 */
PCI_TARN_API uint32_t getDriverInfo(DriverInfo *info);

/**
 * Reads what the card at a position says of itself; the same as getBoardInfoByIndex(). To list all
 * cards, count up from 0 until 80019 comes.
 *
 * @param index      position of the card, from 0
 * @param[out] info  the card's information; untouched on failure
 * @return 0; 1 when this call built the list and that failed; 80019 when there is no such card;
 * 32771 when `info` is null or the card cannot be read
 */
PCI_TARN_API uint32_t DriverEnumBoard(uint32_t index, BoardInfo *info);

/**
 * Tells whether a card has an EtherCAT channel.
 *
 * @param index     position of the card, from 0
 * @param channel   channel, from 0
 * @param[out] out  gets 128 when the channel exists, is left alone otherwise; may be null
 * @return 0 when the card can be read, whether or not it has the channel; else as DriverEnumBoard()
 */
PCI_TARN_API uint32_t DriverEnumEcat(uint32_t index, uint32_t channel, uint32_t *out);

/**
 * Reads the versions of driver and library and the number of cards.
 *
 * @param[out] info  all fields are written; on status 1 only `library_version`
 * @return 0; 1 when this call built the list and that failed; 32770 when `info` is null
 */
PCI_TARN_API uint32_t DriverGetInfo(DriverInfo *info);

#ifdef __cplusplus
}
#endif

#endif
