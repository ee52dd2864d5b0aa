#include "realtime.h"

#include "text.h"

#include <pthread.h>

namespace tarn {

PresentPriority present_priority() {
    int policy = 0;
    sched_param parameters{};
    if (pthread_getschedparam(pthread_self(), &policy, &parameters) != 0) {
        return {};
    }
    return {policy == SCHED_FIFO,
            format("%s priority %d", policy == SCHED_FIFO ? "SCHED_FIFO" : "ordinary",
                   parameters.sched_priority)};
}

std::vector<std::string> how_to_grant_realtime() {
    return {
        "a user: \"NAME - rtprio 99\" in /etc/security/limits.d/realtime.conf, then log in again",
        "one program: setcap cap_sys_nice+ep PROGRAM",
        "a service: LimitRTPRIO=99 in its systemd unit",
        "a container: docker run --cap-add SYS_NICE --ulimit rtprio=99",
    };
}

} // namespace tarn
