// What makes this process, and those that it starts, find the cards of a test.
#pragma once

#include <cstdint>
#include <filesystem>

namespace tarn::test {

// `runtime_dir` is where the cards are looked for on Linux; `driver_version` is what Wine cannot
// tell on Windows.
void enter_card_environment(const std::filesystem::path &runtime_dir, uint64_t driver_version);

} // namespace tarn::test
