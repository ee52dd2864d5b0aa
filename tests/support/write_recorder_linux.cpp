#include "support/write_recorder.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <sys/mman.h>
#include <ucontext.h>

namespace tarn::test {
namespace {

// The pages are read-only; a store faults, is let through by one single step and looked at.
constexpr greg_t kTrapFlag = 0x100;
constexpr size_t kMaxWrites = 1024;
constexpr size_t kWidestStore = 32;

struct Recording {
    uint8_t *pages = nullptr;
    size_t size = 0;
    uint8_t before[4096];
    size_t begin = 0; // where the store in progress begins
    Write writes[kMaxWrites];
    size_t count = 0;
    struct sigaction old_fault;
    struct sigaction old_step;
};

Recording recording;

void protect(bool on) {
    mprotect(recording.pages, recording.size, on ? PROT_READ : PROT_READ | PROT_WRITE);
}

void on_fault(int, siginfo_t *info, void *context) {
    const auto *address = static_cast<const uint8_t *>(info->si_addr);
    if (address < recording.pages || address >= recording.pages + recording.size) {
        sigaction(SIGSEGV, &recording.old_fault, nullptr); // not ours: fault again
        return;
    }
    memcpy(recording.before, recording.pages, recording.size);
    recording.begin = static_cast<size_t>(address - recording.pages);
    protect(false);
    static_cast<ucontext_t *>(context)->uc_mcontext.gregs[REG_EFL] |= kTrapFlag;
}

void on_step(int, siginfo_t *, void *context) {
    static_cast<ucontext_t *>(context)->uc_mcontext.gregs[REG_EFL] &= ~kTrapFlag;
    protect(true);
    // Only what this store can reach: another mapping of the pages may be written meanwhile.
    const size_t begin = recording.begin;
    size_t end = std::min(recording.size, begin + kWidestStore);
    while (end > begin && recording.before[end - 1] == recording.pages[end - 1]) {
        --end;
    }
    if (begin < end && recording.count < kMaxWrites) {
        recording.writes[recording.count++] = {begin, end - begin};
    }
}

void install(int signal, void (*handler)(int, siginfo_t *, void *), struct sigaction *old) {
    struct sigaction action = {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO;
    sigaction(signal, &action, old);
}

} // namespace

WriteRecorder::WriteRecorder(void *pages, size_t size) {
    if (size > sizeof recording.before) {
        throw std::invalid_argument("too many pages to record");
    }
    recording.pages = static_cast<uint8_t *>(pages);
    recording.size = size;
    recording.count = 0;
    install(SIGSEGV, on_fault, &recording.old_fault);
    install(SIGTRAP, on_step, &recording.old_step);
    protect(true);
}

WriteRecorder::~WriteRecorder() {
    stop();
}

std::vector<Write> WriteRecorder::stop() {
    if (recording.pages != nullptr) {
        protect(false);
        sigaction(SIGSEGV, &recording.old_fault, nullptr);
        sigaction(SIGTRAP, &recording.old_step, nullptr);
        recording.pages = nullptr;
    }
    return {recording.writes, recording.writes + recording.count};
}

} // namespace tarn::test
