#include "realtime.h"

#include <pci_tarn/pci_tarn.h>

namespace tarn {

namespace {

constexpr uint32_t kRealtimePriority = 99;

void *look(void *found) {
    auto &realtime = *static_cast<Realtime *>(found);
    PresentPriority present = present_priority();
    realtime.runs = true;
    realtime.full = present.realtime;
    realtime.got = std::move(present.text);
    return nullptr;
}

} // namespace

Realtime try_realtime() {
    Realtime result;
    EcatOsThread *thread = ecat_os_thread_create(&result, look, kRealtimePriority);
    if (thread == nullptr) {
        throw Failure(PCI_TARN_E_THREAD, "cannot start a thread");
    }
    ecat_os_thread_join(thread);
    return result;
}

std::string realtime_text(const Realtime &realtime) {
    if (!realtime.runs) {
        return "refused: the data-swap thread of cycle mode ends at once";
    }
    return "granted, " + realtime.got +
           (realtime.full ? "" : ": less than asked for, expect late wake-ups");
}

Json realtime_json(const Realtime &realtime) {
    Json json = Json::object().set("granted", realtime.runs).set("full", realtime.full);
    if (realtime.runs) {
        json.set("priority", realtime.got);
    }
    Json rights = Json::array();
    for (const std::string &line : how_to_grant_realtime()) {
        rights.add(line);
    }
    return std::move(json.set("how_to_grant", std::move(rights)));
}

Failure no_realtime() {
    std::string hint;
    for (const std::string &line : how_to_grant_realtime()) {
        hint += "\n  " + line;
    }
    return Failure("this system refuses real-time priority, so the data-swap thread of cycle mode "
                   "ends at once and exchanges nothing",
                   "use the mode direct or manual, or grant it:" + hint);
}

} // namespace tarn
