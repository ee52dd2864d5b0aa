#include "support/access_recording.h"

#include <csignal>
#include <sys/mman.h>
#include <ucontext.h>

namespace tarn::test {
namespace {

constexpr greg_t kTrapFlag = 0x100;
constexpr greg_t kWriteFault = 2;

struct sigaction old_fault;
struct sigaction old_step;

void on_fault_signal(int, siginfo_t *info, void *context) {
    greg_t *registers = static_cast<ucontext_t *>(context)->uc_mcontext.gregs;
    if (!recording::on_fault(info->si_addr, (registers[REG_ERR] & kWriteFault) != 0,
                             reinterpret_cast<const void *>(registers[REG_RIP]))) {
        sigaction(SIGSEGV, &old_fault, nullptr); // fault again
        return;
    }
    registers[REG_EFL] |= kTrapFlag;
}

void on_step_signal(int, siginfo_t *, void *context) {
    recording::on_step();
    static_cast<ucontext_t *>(context)->uc_mcontext.gregs[REG_EFL] &= ~kTrapFlag;
}

void install(int signal, void (*handler)(int, siginfo_t *, void *), struct sigaction *old) {
    struct sigaction action = {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO;
    sigaction(signal, &action, old);
}

} // namespace

void recording::protect(void *pages, size_t size, Allow allow) {
    const int rights = allow == Allow::Nothing ? PROT_NONE
                       : allow == Allow::Loads ? PROT_READ
                                               : PROT_READ | PROT_WRITE;
    mprotect(pages, size, rights);
}

void recording::install_handlers() {
    install(SIGSEGV, on_fault_signal, &old_fault);
    install(SIGTRAP, on_step_signal, &old_step);
}

void recording::remove_handlers() {
    sigaction(SIGSEGV, &old_fault, nullptr);
    sigaction(SIGTRAP, &old_step, nullptr);
}

} // namespace tarn::test
