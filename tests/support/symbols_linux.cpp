#include "support/symbols.h"

#include <dlfcn.h>

namespace tarn::test {

void *find_export(const char *name) {
    static void *library = dlopen(TARN_LIB_DIR "/libpci_tarn.so", RTLD_NOW | RTLD_LOCAL);
    return library != nullptr ? dlsym(library, name) : nullptr;
}

} // namespace tarn::test
