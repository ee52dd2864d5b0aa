#include "support/imports_win32.h"
#include "support/no_memory.h"

#include <cstddef>

namespace tarn::test {
namespace {

void *no_memory(size_t) {
    return nullptr;
}

void *no_cleared_memory(size_t, size_t) {
    return nullptr;
}

} // namespace

struct NoMemory::State {
    ReplacedImport allocation{"pci_tarn.dll", "malloc", as_import(no_memory)};
    ReplacedImport cleared_allocation{"pci_tarn.dll", "calloc", as_import(no_cleared_memory)};
};

NoMemory::NoMemory() : state_(std::make_unique<State>()) {}
NoMemory::~NoMemory() = default;

} // namespace tarn::test
