#include "base/os.h"
#include "layout/shared_memory_map.h"
#include "pci_tarn/shared.h"

#include <cstdio>

// Constant-initialised: they are filled before any dynamic initialiser runs.
constinit void *mailbox_mutex[PCI_TARN_MAX_BOARDS][PCI_TARN_MAX_CHANNELS][2] = {};
constinit void *sock_mutex[PCI_TARN_MAX_BOARDS][PCI_TARN_MAX_CHANNELS][2] = {};
constinit void *pi_mutex[PCI_TARN_MAX_BOARDS][PCI_TARN_MAX_CHANNELS][5] = {};

namespace tarn {
namespace {

constexpr char kPrefix[] = "obr_mutex_str";
constexpr uint32_t kMailboxRole = 1;
constexpr uint32_t kSockRole = 2;
constexpr uint32_t kPiRole = 3;

// What getMutexDes hands out; the library itself leaves it zero.
constinit uint64_t descriptors[PCI_TARN_MAX_BOARDS][PCI_TARN_MAX_CHANNELS][9] = {};

void *open_ring_lock(uint32_t role, uint32_t board, uint32_t channel, uint32_t index) noexcept {
    char name[255] = {};
    std::snprintf(name, sizeof name, "%s_%u_%u_%u_%u", kPrefix, role, board, channel, index);
    return os::named_lock_open(name);
}

void open_channel_locks(uint32_t board, uint32_t channel) noexcept {
    for (uint32_t index = 0; index < 2; ++index) {
        mailbox_mutex[board][channel][index] = open_ring_lock(kMailboxRole, board, channel, index);
        sock_mutex[board][channel][index] = open_ring_lock(kSockRole, board, channel, index);
    }
    // Five handles on one lock: all buffers of a channel's process image are guarded together.
    char name[255] = {};
    std::snprintf(name, sizeof name, "%s_%u_%u_%u", kPrefix, kPiRole, board, channel);
    for (void *&handle : pi_mutex[board][channel]) {
        handle = os::named_lock_open(name);
    }
}

// At load, before anything of the program can call the library.
[[gnu::constructor]] void set_up() noexcept {
    initMutex();
}

} // namespace
} // namespace tarn

void *initMutex(void) {
    for (uint32_t board = 0; board < PCI_TARN_MAX_BOARDS; ++board) {
        for (uint32_t channel = 0; channel < PCI_TARN_MAX_CHANNELS; ++channel) {
            tarn::open_channel_locks(board, channel);
        }
    }
    __pi_shared_memory = tarn::os::map_shared_file("temp.dat", tarn::kSharedMemorySize);
    return __pi_shared_memory;
}

void *getMutex_mailbox(uint32_t board, uint32_t channel, uint32_t index) {
    return mailbox_mutex[board][channel][index];
}

void *getMutex_sock(uint32_t board, uint32_t channel, uint32_t index) {
    return sock_mutex[board][channel][index];
}

void *getMutex_pi(uint32_t board, uint32_t channel, uint32_t index) {
    return pi_mutex[board][channel][index];
}

void *getMutexDes(void) {
    return tarn::descriptors;
}
