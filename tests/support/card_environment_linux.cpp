#include "support/card_environment.h"

#include <cstdlib>

namespace tarn::test {

void enter_card_environment(const std::filesystem::path &runtime_dir, uint64_t) {
    setenv("XDG_RUNTIME_DIR", runtime_dir.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
}

} // namespace tarn::test
