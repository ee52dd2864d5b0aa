// Exit statuses of test-foreign.exe.
#pragma once

namespace tarn::test {

enum ForeignStatus { kTaken = 0, kNoMutex = 10, kAbandoned, kHeldByOthers, kWrongUse };

} // namespace tarn::test
