// Replaces what the library imports of the device installer where Wine is not like Windows.
#pragma once

#include <cstdint>

namespace tarn::test {

inline constexpr uint64_t kDefaultDriverVersion = 0x0001000000000004;
inline constexpr char kVersionVariable[] = "TARN_TEST_DRIVER_VERSION";

// In this process. 0: the call fails. Throws std::runtime_error when the library is not loaded.
void patch_driver_version(uint64_t version);

// For a copy of the library that was loaded under another name, which must not be unloaded twice.
void patch_driver_version_of(const char *module);

} // namespace tarn::test
