#pragma once

namespace tarn::test {

// Lies in a folder of shared memory objects that a test made for itself and for what it starts.
inline constexpr char kOwnLocksMark[] = "/dev/shm/own_locks_of_a_test";

} // namespace tarn::test
