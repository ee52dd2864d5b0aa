// Gives a test program, and what it starts, a folder of shared memory objects of its own. The named
// locks live there: two tests that run at once would wait for each other's, some for ever.
//
// It must be done before the library is initialised, which opens them. Sanitizers start later
// still. Where it is not allowed the tests share the locks, and `make test` runs one at a time.

#include "own_locks_linux.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

__attribute__((no_sanitize("address", "thread", "undefined"))) void take_own_locks() {
    if (syscall(SYS_faccessat, AT_FDCWD, tarn::test::kOwnLocksMark, F_OK) != 0 &&
        syscall(SYS_unshare, CLONE_NEWNS) == 0 &&
        syscall(SYS_mount, "none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
        syscall(SYS_mount, "tmpfs", "/dev/shm", "tmpfs", 0, nullptr) == 0) {
        syscall(SYS_mkdirat, AT_FDCWD, tarn::test::kOwnLocksMark, 0700);
    }
}

__attribute__((section(".preinit_array"), used)) void (*const before_libraries)() = take_own_locks;

} // namespace
