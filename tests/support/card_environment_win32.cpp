#include "support/card_environment.h"
#include "support/driver_version_win32.h"

namespace tarn::test {

void enter_card_environment(const std::filesystem::path &, uint64_t driver_version) {
    present_driver_version(driver_version);
}

} // namespace tarn::test
