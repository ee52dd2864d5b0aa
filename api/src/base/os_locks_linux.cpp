// Named locks of Linux: robust, recursive mutexes in one memory object that the processes of a
// user share. The object is a hash table of names that only grows. A lock counts once its
// `ready` word is set, and whoever adds one holds the file lock of the object, which the kernel
// takes back from a process that dies: half-made entries are simply made again.

#include "base/os.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarn::os {
namespace {

// Other names for another layout, so that libraries of different layout never meet.
constexpr char kSystemObject[] = "/pci_tarn_locks_v1";
constexpr char kUserObjectFormat[] = "/pci_tarn_locks_v1_%u";

constexpr uint32_t kEntryCount = 1024; // a power of two, far above the 160 names in use
constexpr size_t kNameSize = 80;

// Two cache lines, so that neighbours do not share one.
struct alignas(128) LockEntry {
    pthread_mutex_t mutex;
    std::atomic<uint32_t> ready;
    char name[kNameSize];
};
static_assert(sizeof(LockEntry) == 128);
static_assert(std::atomic<uint32_t>::is_always_lock_free);

struct LockTable {
    int file = -1;
    LockEntry *entries = nullptr;
};

bool is_closed_to_others(int file, uid_t owner, mode_t forbidden) noexcept {
    struct stat status = {};
    return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == owner &&
           (status.st_mode & forbidden) == 0;
}

// The object that an administrator made for a group, else the one of this user.
int open_object() noexcept {
    const int system_wide = shm_open(kSystemObject, O_RDWR, 0);
    if (system_wide >= 0) {
        if (is_closed_to_others(system_wide, 0, S_IRWXO)) {
            return system_wide;
        }
        close(system_wide);
    }
    char name[64];
    std::snprintf(name, sizeof name, kUserObjectFormat, geteuid());
    const int own = shm_open(name, O_RDWR | O_CREAT, S_IRUSR | S_IWUSR);
    if (own >= 0 && !is_closed_to_others(own, geteuid(), S_IRWXG | S_IRWXO)) {
        close(own);
        return -1;
    }
    return own;
}

// Takes the memory as well: a full file system shows here, not as a fault later. Writes nothing,
// because others may use the object already.
bool allocate(int file, off_t size) noexcept {
    int result = -1;
    do {
        result = fallocate(file, 0, 0, size);
    } while (result != 0 && errno == EINTR);
    return result == 0 || (errno == EOPNOTSUPP && ftruncate(file, size) == 0);
}

LockTable map_table() noexcept {
    constexpr size_t size = kEntryCount * sizeof(LockEntry);
    const int file = open_object();
    if (file < 0) {
        return {};
    }
    // Everybody asks for the same size and new bytes are zero: no order among processes is needed.
    void *view = MAP_FAILED;
    if (allocate(file, size)) {
        view = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    }
    if (view == MAP_FAILED) {
        close(file);
        return {};
    }
    return {.file = file, .entries = static_cast<LockEntry *>(view)};
}

uint32_t hash(const char *name) noexcept {
    uint32_t value = 2166136261;
    for (; *name != '\0'; ++name) {
        value = (value ^ static_cast<unsigned char>(*name)) * 16777619;
    }
    return value;
}

// The entry of that name, or the free one where it belongs; null when the table is full.
LockEntry *find(LockEntry *entries, const char *name) noexcept {
    const uint32_t first = hash(name);
    for (uint32_t step = 0; step < kEntryCount; ++step) {
        LockEntry &entry = entries[(first + step) % kEntryCount];
        // Pairs with the release in make().
        if (entry.ready.load(std::memory_order_acquire) == 0 ||
            std::strncmp(entry.name, name, kNameSize) == 0) {
            return &entry;
        }
    }
    return nullptr;
}

bool make(LockEntry &entry, const char *name) noexcept {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    const bool made = pthread_mutex_init(&entry.mutex, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    if (made) {
        std::snprintf(entry.name, kNameSize, "%s", name);
        entry.ready.store(1, std::memory_order_release);
    }
    return made;
}

// Looks again under the file lock, which keeps other processes out, and the local mutex, which
// keeps out other threads of this one.
LockEntry *add(const LockTable &table, const char *name) noexcept {
    static constinit pthread_mutex_t local = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_lock(&local);
    while (flock(table.file, LOCK_EX) != 0 && errno == EINTR) {
    }
    LockEntry *entry = find(table.entries, name);
    if (entry != nullptr && entry->ready.load(std::memory_order_relaxed) == 0 &&
        !make(*entry, name)) {
        entry = nullptr;
    }
    flock(table.file, LOCK_UN);
    pthread_mutex_unlock(&local);
    return entry;
}

} // namespace

void *named_lock_open(const char *name) noexcept {
    static const LockTable table = map_table();
    if (table.entries == nullptr || std::strlen(name) >= kNameSize) {
        return nullptr;
    }
    LockEntry *entry = find(table.entries, name);
    if (entry != nullptr && entry->ready.load(std::memory_order_acquire) == 0) {
        entry = add(table, name);
    }
    return entry == nullptr ? nullptr : &entry->mutex;
}

bool named_lock_take_over(void *lock) noexcept {
    auto *mutex = static_cast<pthread_mutex_t *>(lock);
    if (pthread_mutex_lock(mutex) == EOWNERDEAD) [[unlikely]] {
        // Its owner died with the lock held; the lock is ours, as an abandoned mutex is.
        pthread_mutex_consistent(mutex);
        return true;
    }
    return false;
}

uint32_t named_lock_acquire(void *lock) noexcept {
    named_lock_take_over(lock);
    return 0;
}

uint32_t named_lock_release(void *lock) noexcept {
    pthread_mutex_unlock(static_cast<pthread_mutex_t *>(lock));
    return 0;
}

} // namespace tarn::os
