// The driver version under Wine, whose device installer leaves it out. Nothing of this has an
// effect on Windows, where the version is the one of the INF file.
#pragma once

#include <cstdint>
#include <windows.h>

namespace tarn::test {

// What the loaded library sees from here on as the version of the card's driver: four 16-bit
// fields, most significant first. 0: it cannot be found out.
void present_driver_version(uint64_t version);

// Does the same in a process that was created suspended: with the version in its environment
// variable TARN_TEST_DRIVER_VERSION (four numbers joined by dots), else with 1.0.0.4. Throws
// std::runtime_error.
void inject_driver_version(HANDLE process);

} // namespace tarn::test
