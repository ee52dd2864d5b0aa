#include "pci_tarn/pci_tarn.h"

#include <gtest/gtest.h>

#include <linux/capability.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// From here on no thread of this process gets real-time priority.
void give_up_realtime() {
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_RTPRIO, &none);
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    syscall(SYS_capget, &header, data);
    data[CAP_SYS_NICE / 32].effective &= ~(1u << (CAP_SYS_NICE % 32));
    syscall(SYS_capset, &header, data);
}

struct Seen {
    bool ran = false;
    int policy = -1;
    int priority = -1;
};

Seen run_with_priority(uint32_t priority) {
    Seen seen;
    EcatOsThread *thread = ecat_os_thread_create(
        &seen,
        [](void *arg) -> void * {
            auto *self = static_cast<Seen *>(arg);
            sched_param parameters = {};
            pthread_getschedparam(pthread_self(), &self->policy, &parameters);
            self->priority = parameters.sched_priority;
            self->ran = true;
            return nullptr;
        },
        priority);
    EXPECT_NE(thread, nullptr);
    ecat_os_thread_join(thread);
    return seen;
}

TEST(ThreadPriority, WithoutTheRightTheEntryNeverRuns) {
    give_up_realtime();
    EXPECT_FALSE(run_with_priority(99).ran);
}

TEST(ThreadPriority, OtherPrioritiesRunWithoutTheRight) {
    give_up_realtime();
    for (uint32_t priority : {0u, 1u, 98u, 100u, 0xFFFFFFFFu}) {
        const Seen seen = run_with_priority(priority);
        EXPECT_TRUE(seen.ran) << priority;
        EXPECT_EQ(seen.policy, SCHED_OTHER) << priority;
    }
}

TEST(ThreadPriority, NinetyNineIsRealTime) {
    const Seen seen = run_with_priority(99);
    if (!seen.ran) {
        GTEST_SKIP() << "this process may not use real-time priorities";
    }
    EXPECT_EQ(seen.policy, SCHED_FIFO);
    EXPECT_EQ(seen.priority, 99);
}

} // namespace
