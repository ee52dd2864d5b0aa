#include "support/thread_rights.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <dlfcn.h>
#include <pthread.h>
#include <stdexcept>

namespace {

enum class Answer { System, Granted, Refused };
std::atomic<Answer> answer = Answer::System;

// More than an address space holds.
constexpr size_t kImpossibleStack = size_t{1} << 60;

} // namespace

// Stands before the one of the C library, also for the library under test.
extern "C" __attribute__((visibility("default"))) int
pthread_setschedparam(pthread_t thread, int policy, const sched_param *parameters) noexcept {
    switch (answer.load()) {
    case Answer::Granted:
        return 0;
    case Answer::Refused:
        return EPERM;
    default:
        break;
    }
    using Function = int(pthread_t, int, const sched_param *);
    static auto *const system =
        reinterpret_cast<Function *>(dlsym(RTLD_NEXT, "pthread_setschedparam"));
    return system(thread, policy, parameters);
}

namespace tarn::test {

struct RealtimeAnswer::State {};

RealtimeAnswer::RealtimeAnswer(bool granted) {
    answer = granted ? Answer::Granted : Answer::Refused;
}

RealtimeAnswer::~RealtimeAnswer() {
    answer = Answer::System;
}

struct NoThreads::State {
    pthread_attr_t former;
};

NoThreads::NoThreads() : state_(std::make_unique<State>()) {
    pthread_getattr_default_np(&state_->former);
    pthread_attr_t impossible;
    pthread_attr_init(&impossible);
    const bool set = pthread_attr_setstacksize(&impossible, kImpossibleStack) == 0 &&
                     pthread_setattr_default_np(&impossible) == 0;
    pthread_attr_destroy(&impossible);
    if (!set) {
        throw std::runtime_error("the size of stacks cannot be set");
    }
}

NoThreads::~NoThreads() {
    pthread_setattr_default_np(&state_->former);
    pthread_attr_destroy(&state_->former);
}

} // namespace tarn::test
