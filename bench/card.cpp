// What goes through the card: requests, process image, triple buffers, files. The virtual card runs
// in a process of its own, as in real use.
#include "bench/goals.h"
#include "channel/file_transfer.h"
#include "channel/request.h"
#include "channel/ring.h"
#include "handle/ecat_handle.h"
#include "pci_tarn/pci_tarn.h"
#include "vcard/bus/make_eni.h"
#include "vcard/host/server.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tarn::bench {

namespace {

void pin(int core) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(core), &set);
    sched_setaffinity(0, sizeof(set), &set);
}

void unpin() {
    cpu_set_t set;
    CPU_ZERO(&set);
    for (unsigned i = 0; i < std::thread::hardware_concurrency(); ++i) {
        CPU_SET(i, &set);
    }
    sched_setaffinity(0, sizeof(set), &set);
}

// A child process that ends with us.
template <typename Body>
pid_t child(int core, Body body) {
    const pid_t pid = fork();
    if (pid == 0) {
        if (core >= 0) {
            pin(core);
        }
        body();
        _exit(0);
    }
    return pid;
}

void end_child(pid_t pid) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

constexpr uint32_t kManySlots = 2; // of ring; as many slots of this size as a card has room for

struct CardProcess {
    pid_t pid = -1;

    CardProcess() {
        int ready[2];
        if (pipe(ready) != 0) {
            std::abort();
        }
        pid = child(-1, [&] {
            vcard::ServerOptions options;
            vcard::CardConfig first;
            first.start_ms = 0;
            vcard::CardConfig second = first;
            second.name = "tarn1";
            second.alias = 1;
            vcard::CardConfig rings = first;
            rings.name = "tarn2";
            rings.alias = 2;
            rings.rings.slots = kManySlots;
            options.cards = {first, second, rings};
            options.log = [](const std::string &) {};
            const vcard::Server server(options);
            const char byte = 1;
            if (write(ready[1], &byte, 1) != 1) {
                _exit(1);
            }
            for (;;) {
                pause();
            }
        });
        char byte = 0;
        if (read(ready[0], &byte, 1) != 1) {
            std::fprintf(stderr, "the virtual card did not start\n");
            std::abort();
        }
    }
    ~CardProcess() { end_child(pid); }

    // All threads of the card, on these cores only.
    void pin_to(int core) const {
        char command[96];
        std::snprintf(command, sizeof(command), "taskset -apc %s%d %d >/dev/null",
                      core < 0 ? "0-" : "", core < 0 ? 1 : core, static_cast<int>(pid));
        if (std::system(command) != 0) {
            std::fprintf(stderr, "taskset failed\n");
        }
    }
};

CardProcess &card() {
    static CardProcess process;
    return process;
}

std::string write_eni(uint32_t slaves, bool mapping) {
    vcard::MakeEniOptions options;
    options.slaves = {{"dio8", slaves}};
    options.logical_mapping = mapping;
    const std::string path = "bench-" + std::to_string(slaves) + (mapping ? "m" : "") + ".xml";
    std::ofstream(path) << vcard::make_eni(options);
    return path;
}

EcatHandle *open_channel(const char *name) {
    EcatHandle *handle = nullptr;
    const uint32_t status = EcatOpen(&handle, name, 0);
    if (status != 0) {
        std::fprintf(stderr, "EcatOpen: %u %s\n", status, DriverGetErrStr(status));
        std::abort();
    }
    return handle;
}

EcatHandle *running_channel() {
    static EcatHandle *handle = [] {
        card();
        EcatHandle *opened = open_channel("ID0");
        const std::string eni = write_eni(1024, false);
        const uint32_t status = EcatBusRun(opened, eni.c_str());
        if (status != 0) {
            std::fprintf(stderr, "EcatBusRun: %u %s\n", status, DriverGetErrStr(status));
            std::abort();
        }
        return opened;
    }();
    return handle;
}

// ---- request round trip ----------------------------------------------------------------------

// Two processes that hand an eventfd back and forth: the least that a request with a wake-up costs.
struct EventPingPong {
    int there = eventfd(0, 0);
    int back = eventfd(0, 0);
    pid_t pid;

    explicit EventPingPong(int core)
        : pid(child(core, [this] {
              for (;;) {
                  wait(there);
                  signal(back);
              }
          })) {}
    ~EventPingPong() {
        end_child(pid);
        close(there);
        close(back);
    }
    static void wait(int fd) {
        pollfd entry = {fd, POLLIN, 0};
        poll(&entry, 1, -1);
        uint64_t value = 0;
        if (read(fd, &value, sizeof(value)) != sizeof(value)) {
            _exit(1);
        }
    }
    static void signal(int fd) {
        const uint64_t one = 1;
        if (write(fd, &one, sizeof(one)) != sizeof(one)) {
            _exit(1);
        }
    }
};

struct SpinPingPong {
    struct Page {
        alignas(64) std::atomic<uint32_t> there{0};
        alignas(64) std::atomic<uint32_t> back{0};
    };
    Page *page =
        new (mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Page;
    pid_t pid;

    explicit SpinPingPong(int core)
        : pid(child(core, [this] {
              for (uint32_t next = 1;; ++next) {
                  while (page->there.load(std::memory_order_acquire) != next) {
                      __builtin_ia32_pause();
                  }
                  page->back.store(next, std::memory_order_release);
              }
          })) {}
    ~SpinPingPong() {
        end_child(pid);
        munmap(page, 4096);
    }
};

void request(benchmark::State &state, int our_core, int card_core, uint32_t size) {
    EcatHandle *handle = running_channel();
    pin(our_core);
    card().pin_to(card_core);
    std::vector<uint8_t> payload(size);
    for (auto _ : state) {
        uint16_t count = 0;
        uint32_t length = sizeof(count);
        if (size == 0) {
            EcatGetSlaveCount(handle, &count);
        } else {
            // An unknown command: the card refuses it after it took the whole payload.
            pcie_pkt_send(handle, 0x7FF0, payload.data(), size, nullptr, &length);
        }
    }
    unpin();
    card().pin_to(-1);
}

void event_ping_pong(benchmark::State &state, int our_core, int their_core) {
    pin(our_core);
    const EventPingPong peer(their_core);
    for (auto _ : state) {
        EventPingPong::signal(peer.there);
        EventPingPong::wait(peer.back);
    }
    unpin();
}

void spin_ping_pong(benchmark::State &state) {
    pin(0);
    const SpinPingPong peer(1);
    uint32_t next = 0;
    for (auto _ : state) {
        ++next;
        peer.page->there.store(next, std::memory_order_release);
        while (peer.page->back.load(std::memory_order_acquire) != next) {
            __builtin_ia32_pause();
        }
    }
    unpin();
}

void register_requests() {
    compare(
        "request round trip, one core", Goal::CostAtMost, 1.10,
        [](benchmark::State &state) { request(state, 0, 0, 0); },
        [](benchmark::State &state) { event_ping_pong(state, 0, 0); }, true);
    compare(
        "request round trip, two cores", Goal::CostAtMost, 1.15,
        [](benchmark::State &state) { request(state, 0, 1, 0); },
        [](benchmark::State &state) { event_ping_pong(state, 0, 1); }, true);
    compare(
        "request round trip against spinning", Goal::CostAtMost, 2.5,
        [](benchmark::State &state) { request(state, 0, 1, 0); }, spin_ping_pong, true);
    compare(
        "request of 1 KiB against 64 B", Goal::CostAtMost, 1.10,
        [](benchmark::State &state) { request(state, 0, 0, 1024); },
        [](benchmark::State &state) { request(state, 0, 0, 64); }, true);
}

// ---- process image ---------------------------------------------------------------------------

void pi_access(benchmark::State &state, bool write, uint32_t index, uint32_t size) {
    EcatHandle *handle = running_channel();
    std::vector<uint8_t> data(size);
    for (auto _ : state) {
        if (write) {
            EcatPIWrite(handle, index, 0, size, data.data());
        } else {
            EcatPIRead(handle, index, 0, size, data.data());
        }
        benchmark::ClobberMemory();
    }
}

void bare_copy(benchmark::State &state, uint32_t size, uint32_t copies) {
    std::vector<uint8_t> from(size, 1);
    std::vector<uint8_t> to(size);
    void *(*volatile copy)(void *, const void *, size_t) = std::memcpy;
    for (auto _ : state) {
        for (uint32_t i = 0; i < copies; ++i) {
            copy(to.data(), from.data(), size);
            benchmark::ClobberMemory();
        }
    }
}

void copy_and_lock(benchmark::State &state, uint32_t size) {
    std::vector<uint8_t> from(size, 1);
    std::vector<uint8_t> to(size);
    void *lock = getMutex_pi(15, 0, 0);
    void *(*volatile copy)(void *, const void *, size_t) = std::memcpy;
    bool twice = false;
    for (auto _ : state) {
        // One and a half lock pairs on average.
        driverLock(lock);
        driverUnlock(lock);
        if (twice) {
            driverLock(lock);
            driverUnlock(lock);
        }
        twice = !twice;
        copy(to.data(), from.data(), size);
        benchmark::ClobberMemory();
    }
}

// The two halves of an exchange without the lock around them: write and publish, then fetch.
void exchange(benchmark::State &state) {
    EcatHandle *handle = running_channel();
    EcatBusStop(handle);
    PiArea &out = handle->areas[ECAT_PI_FAST_OUTPUT];
    PiArea &in = handle->areas[ECAT_PI_SHADOW_INPUT];
    const PiTransfer kept[2] = {out.state, in.state};
    out.state.physical_length = 4096;
    in.state.physical_length = 4096;
    PiCardArea *area = pi_card_area(*handle);
    uint32_t card_word = area->shadow_input.card;
    for (auto _ : state) {
        pi_buff_3p_master_force_update(out.object);
        out.ops->exchange(out.object, &out.state);
        // The card publishes its next image.
        card_word =
            ((card_word & ~255U) + 512) | (area->shadow_input.host & 0xFCU) | ((card_word + 1) % 3);
        area->shadow_input.card = card_word;
        in.ops->exchange(in.object, &in.state);
        benchmark::ClobberMemory();
    }
    out.state = kept[0];
    in.state = kept[1];
    EcatBusRun(handle, write_eni(1024, false).c_str());
}

void register_images() {
    for (const bool write : {false, true}) {
        const std::string verb = write ? "EcatPIWrite" : "EcatPIRead";
        compare(
            verb + " 4 KiB", Goal::CostAtMost, 1.7,
            [=](benchmark::State &state) {
                pi_access(state, write, write ? ECAT_PI_NORMAL_OUTPUT : ECAT_PI_NORMAL_INPUT, 4096);
            },
            [](benchmark::State &state) { bare_copy(state, 4096, 1); });
        compare(
            verb + " 64 B against copy + 1.5 locks", Goal::CostAtMost, 1.0,
            [=](benchmark::State &state) {
                pi_access(state, write, write ? ECAT_PI_NORMAL_OUTPUT : ECAT_PI_NORMAL_INPUT, 64);
            },
            [](benchmark::State &state) { copy_and_lock(state, 64); });
    }
    // Fetching goes through the staging buffer, so an image is copied three times in all.
    compare("triple buffer, publish and get 4 KiB", Goal::CostAtMost, 1.12, exchange,
            [](benchmark::State &state) { bare_copy(state, 4096, 2); });
}

// ---- logical map -----------------------------------------------------------------------------

// A dense map of 4,096 slaves, merged into runs, against the same map entry by entry.
void register_map() {
    static std::vector<uint8_t> logical(8192 + 16, 0x5A);
    static std::vector<uint8_t> physical(8192 + 16);
    compare(
        "dense map of 4,096 slaves against entry by entry", Goal::CostAtMost, 0.1,
        [](benchmark::State &state) {
            static EcatHandle *handle = [] {
                running_channel();
                EcatHandle *opened = open_channel("ID1");
                if (EcatBusRun(opened, write_eni(4096, true).c_str()) != 0) {
                    std::abort();
                }
                return opened;
            }();
            const PiTransfer &transfer = handle->areas[ECAT_PI_FAST_OUTPUT].state;
            for (auto _ : state) {
                transfer.convert(&transfer, physical.data(), logical.data());
                benchmark::ClobberMemory();
            }
        },
        [](benchmark::State &state) {
            for (auto _ : state) {
                for (uint32_t i = 0; i < 4096; ++i) {
                    ecat_bitmemcpy(physical.data(), 8 * i, logical.data(), 8 * i, 8);
                }
                benchmark::ClobberMemory();
            }
        });
}

// ---- files -----------------------------------------------------------------------------------

constexpr size_t kFileSize = 20U << 20;

void download(benchmark::State &state, int core) {
    EcatHandle *handle = running_channel();
    std::ofstream("bench.bin", std::ios::binary) << std::string(kFileSize, 'x');
    pin(0);
    card().pin_to(core);
    for (auto _ : state) {
        download_file(handle->primary, "bench.bin", "bench.bin", nullptr, nullptr, 20000);
    }
    unpin();
    card().pin_to(-1);
}

// The same chunks through one slot of shared memory with the same kind of wake-up: file to slot,
// wake, slot to store, wake back.
void bare_slot(benchmark::State &state, int core) {
    std::ofstream("bench.bin", std::ios::binary) << std::string(kFileSize, 'x');
    auto *slot = static_cast<uint8_t *>(
        mmap(nullptr, 102400, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    const int there = eventfd(0, 0);
    const int back = eventfd(0, 0);
    const pid_t pid = child(core, [&] {
        std::vector<uint8_t> store(kFileSize + kChunkSize);
        size_t at = 0;
        for (;;) {
            EventPingPong::wait(there);
            std::memcpy(store.data() + at, slot, kChunkSize);
            at = at + kChunkSize < kFileSize ? at + kChunkSize : 0;
            EventPingPong::signal(back);
        }
    });
    pin(0);
    std::vector<uint8_t> buffer(kChunkSize);
    for (auto _ : state) {
        std::FILE *file = std::fopen("bench.bin", "rb");
        size_t n = 0;
        while ((n = std::fread(buffer.data(), 1, kChunkSize, file)) > 0) {
            std::memcpy(slot, buffer.data(), n);
            EventPingPong::signal(there);
            EventPingPong::wait(back);
        }
        std::fclose(file);
    }
    unpin();
    end_child(pid);
    munmap(slot, 102400);
    close(there);
    close(back);
}

void read_write_loop(benchmark::State &state) {
    std::ofstream("bench.bin", std::ios::binary) << std::string(kFileSize, 'x');
    pin(0);
    std::vector<uint8_t> buffer(kChunkSize);
    for (auto _ : state) {
        std::FILE *from = std::fopen("bench.bin", "rb");
        std::FILE *to = std::fopen("bench.copy", "wb");
        size_t n = 0;
        while ((n = std::fread(buffer.data(), 1, kChunkSize, from)) > 0) {
            if (std::fwrite(buffer.data(), 1, n, to) != n) {
                break;
            }
        }
        std::fclose(from);
        std::fclose(to);
    }
    unpin();
}

void register_files() {
    compare(
        "file of 20 MiB against a bare slot, one core", Goal::SpeedAtLeast, 0.9,
        [](benchmark::State &state) { download(state, 0); },
        [](benchmark::State &state) { bare_slot(state, 0); }, true);
    compare(
        "file of 20 MiB against a bare slot, two cores", Goal::SpeedAtLeast, 0.9,
        [](benchmark::State &state) { download(state, 1); },
        [](benchmark::State &state) { bare_slot(state, 1); }, true);
    compare(
        "file of 20 MiB against read/write, one core", Goal::SpeedAtLeast, 0.8,
        [](benchmark::State &state) { download(state, 0); }, read_write_loop, true);
}

// ---- files of the board ----------------------------------------------------------------------

constexpr size_t kBoardFileSize = BOARD_FILE_SIZE_MAX;

BoardHandle *open_board(const char *name) {
    card();
    BoardHandle *handle = nullptr;
    const uint32_t status = BoardOpen(&handle, name);
    if (status != 0) {
        std::fprintf(stderr, "BoardOpen: %u %s\n", status, DriverGetErrStr(status));
        std::abort();
    }
    return handle;
}

// A file in memory, so that no disk is measured.
class MemoryFile {
  public:
    MemoryFile() : fd_(memfd_create("bench", 0)) {}
    ~MemoryFile() { close(fd_); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;
    [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

  private:
    int fd_;
};

void board_file(benchmark::State &state, const char *name, bool to_card) {
    BoardHandle *board = open_board(name);
    const MemoryFile file;
    std::ofstream(file.path(), std::ios::binary) << std::string(kBoardFileSize, 'x');
    BoardFileDownload(board, file.path().c_str(), "board.bin", nullptr, nullptr);
    pin(0);
    card().pin_to(0);
    for (auto _ : state) {
        const uint32_t status =
            to_card ? BoardFileDownload(board, file.path().c_str(), "board.bin", nullptr, nullptr)
                    : BoardFileUpload(board, file.path().c_str(), "board.bin", nullptr, nullptr);
        if (status != 0) {
            state.SkipWithError("the transfer failed");
        }
    }
    unpin();
    card().pin_to(-1);
    BoardClose(board);
}

// The same bytes through the slots of the same ring, in and out again: no file, no other process.
void ring_copy(benchmark::State &state, const char *name) {
    BoardHandle *board = open_board(name);
    const MailboxRing &ring = board->channel.out;
    const std::vector<uint8_t> from(kBoardFileSize, 'x');
    std::vector<uint8_t> to(kBoardFileSize);
    pin(0);
    for (auto _ : state) {
        uint32_t counter = 0;
        for (size_t done = 0; done < kBoardFileSize; done += kChunkSize) {
            const size_t length = std::min<size_t>(kChunkSize, kBoardFileSize - done);
            uint8_t *slot = ring_slot(ring, counter++) + sizeof(SlotHeader);
            memcpy_fast(slot, from.data() + done, length);
            memcpy_fast(to.data() + done, slot, length);
        }
        benchmark::ClobberMemory();
    }
    unpin();
    BoardClose(board);
}

void register_board_files() {
    const std::string many = std::to_string(kManySlots) + " slots";
    for (const auto &[card_name, slots] :
         {std::pair<const char *, std::string>{"tarn0", "1 slot"}, {"tarn2", many}}) {
        for (const bool to_card : {true, false}) {
            compare(
                std::string(to_card ? "BoardFileDownload" : "BoardFileUpload") +
                    " of 5 MiB, ring of " + slots,
                Goal::SpeedAtLeast, 0.15,
                [=](benchmark::State &state) { board_file(state, card_name, to_card); },
                [=](benchmark::State &state) { ring_copy(state, card_name); }, true);
        }
    }
}

double memory_mib(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return std::strtod(line.c_str() + 6, nullptr) / 1024;
        }
    }
    return 0;
}

} // namespace

void register_card() {
    register_requests();
    register_images();
    register_map();
    register_files();
    register_board_files();
}

void print_scale() {
    EcatHandle *handle = running_channel();
    std::printf("\n%8s %10s %14s %16s %16s\n", "slaves", "ENI KiB", "bus start ms", "host MiB",
                "card MiB");
    for (const uint32_t slaves : {1U, 16U, 256U, 4096U}) {
        EcatBusStop(handle);
        const std::string eni = write_eni(slaves, true);
        std::ifstream file(eni, std::ios::ate | std::ios::binary);
        const auto begin = std::chrono::steady_clock::now();
        const uint32_t status = EcatBusRun(handle, eni.c_str());
        const auto end = std::chrono::steady_clock::now();
        std::printf(
            "%8u %10.1f %14.2f %16.1f %16.1f%s\n", slaves, static_cast<double>(file.tellg()) / 1024,
            std::chrono::duration<double, std::milli>(end - begin).count(), memory_mib(getpid()),
            memory_mib(card().pid), status == 0 ? "" : "  (start failed)");
    }
    EcatBusStop(handle);
}

} // namespace tarn::bench
