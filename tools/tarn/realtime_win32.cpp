#include "realtime.h"

#include <windows.h>

namespace tarn {

PresentPriority present_priority() {
    switch (GetPriorityClass(GetCurrentProcess())) {
    case REALTIME_PRIORITY_CLASS:
        return {true, "real-time priority class"};
    case HIGH_PRIORITY_CLASS: // what Windows gives without the right
        return {false, "high priority class"};
    default:
        return {false, "ordinary priority class"};
    }
}

std::vector<std::string> how_to_grant_realtime() {
    return {
        "run the program as administrator, or",
        "give its user the right \"Increase scheduling priority\" (secpol.msc, Local Policies, "
        "User Rights Assignment) and log in again",
    };
}

} // namespace tarn
