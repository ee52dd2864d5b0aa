// What the library and the server of a card say to each other on Linux.
//
// Each card is a SOCK_SEQPACKET Unix socket. A request is one message, a CardRequest with its data
// behind it; the answer is one message, a CardReply with its data and perhaps with file
// descriptors. A client that has opened a card shares one page with the server, in which both say
// whether a system call is needed at all to wake the other side.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace tarn::link {

// ---- where the sockets lie -------------------------------------------------------------------

inline constexpr char kSystemDirectory[] = "/run/pci_tarn";
inline constexpr char kSocketFormat[] = "%s/kpcidev%u";

// The caller's own directory. False when its name does not fit.
inline bool user_directory(char *path, size_t size) noexcept {
    const char *runtime = std::getenv("XDG_RUNTIME_DIR"); // NOLINT(concurrency-mt-unsafe)
    const int length = runtime != nullptr && runtime[0] != '\0'
                           ? std::snprintf(path, size, "%s/pci_tarn", runtime)
                           : std::snprintf(path, size, "/tmp/pci_tarn-%u", geteuid());
    return length > 0 && static_cast<size_t>(length) < size;
}

// ---- messages --------------------------------------------------------------------------------

enum class Operation : uint32_t {
    DriverVersion = 1, // data: u64
    Open = 2,          // descriptors: shared page, kick event, eight interrupt events
    MapBar = 3,        // first: number; data: u64 size; descriptor: the memory
    DmaRead = 4,       // first: card address, length: how much; data: what was read
    DmaWrite = 5,      // first: card address; data: what to write
    Read = 6,          // first, second: selectors, length: how much; data: what was read
    Write = 7,         // first, second: selectors; data: what to write
};

struct CardRequest {
    Operation operation;
    uint32_t id; // comes back in the reply; a reply to a request that was given up is known by it
    uint32_t first;
    uint32_t second;
    uint32_t length; // bytes to read, or bytes of data behind the record
};
static_assert(sizeof(CardRequest) == 20);
static_assert(offsetof(CardRequest, length) == 16);

struct CardReply {
    uint32_t id;
    uint32_t ok;     // 0 when the request was refused; there is no data then
    uint32_t length; // bytes moved
};
static_assert(sizeof(CardReply) == 12);

// Longer transfers take several messages. Two of them fit a socket's default buffer.
inline constexpr uint32_t kDataLimit = 65536;

// ---- interrupts ------------------------------------------------------------------------------

inline constexpr uint32_t kInterruptCount = 8;

// One per client. `waiting` stands while a wait for the interrupt is outstanding; the server
// latches every interrupt in `pending` and signals the event only for a client that waits. It
// writes 0 to the event, whose count is never 0: a client watches for edges and reads nothing.
struct InterruptCell {
    std::atomic<uint32_t> pending;
    std::atomic<uint32_t> waiting;
};

struct ClientPage {
    InterruptCell interrupts[kInterruptCount];
    // Non-zero while the server sleeps. Card memory is plain memory, so a sleeping server does not
    // notice a doorbell; a client that waits for an answer then signals the kick event.
    std::atomic<uint32_t> server_asleep;
};
static_assert(std::atomic<uint32_t>::is_always_lock_free);
static_assert(offsetof(ClientPage, server_asleep) == 64);
static_assert(sizeof(ClientPage) == 68);

enum OpenDescriptor : uint32_t {
    kPageDescriptor,
    kKickDescriptor,
    kFirstInterruptDescriptor,
    kOpenDescriptorCount = kFirstInterruptDescriptor + kInterruptCount,
};

} // namespace tarn::link
