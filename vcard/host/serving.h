// How a serving thread spends its time, on every system.
#pragma once

#include "vcard/firmware/firmware.h"

#include <chrono>

namespace tarn::vcard {

// The longest between two calls of the firmware.
inline constexpr auto kServingTick = std::chrono::milliseconds(1);

// Decides whether looking again and again for a while, before going to sleep, pays. After some
// failures in a row it is left out, but for a trial once in a while.
class SpinCredit {
  public:
    bool allows();
    void paid() { credit_ = kCreditOfSuccess; }
    void failed() { --credit_; }

  private:
    static constexpr int kCreditOfSuccess = 8;
    static constexpr int kTrialAfter = 1024;
    int credit_ = kCreditOfSuccess;
};

// Serves what is due and, where that pays, looks for the next request for a while before the sleep.
// True when requests kept coming for a whole tick: then clients have their turn first.
bool serve_until_quiet(Firmware &firmware, SpinCredit &spin);

} // namespace tarn::vcard
