#include "support/no_memory.h"

#include <cstdlib>
#include <cstring>
#include <sys/resource.h>

namespace tarn::test {
namespace {

constexpr size_t kLargest = 1 << 24;
constexpr size_t kSmallest = 65536;

} // namespace

struct NoMemory::State {
    rlimit former = {};
    void *taken = nullptr; // a chain of what the heap still had
};

NoMemory::NoMemory() : state_(std::make_unique<State>()) {
    getrlimit(RLIMIT_AS, &state_->former);
    const rlimit none = {0, state_->former.rlim_max};
    setrlimit(RLIMIT_AS, &none);
    for (size_t size = kLargest; size >= kSmallest; size /= 2) {
        while (void *block = std::malloc(size)) {
            std::memcpy(block, &state_->taken, sizeof(state_->taken));
            state_->taken = block;
        }
    }
}

NoMemory::~NoMemory() {
    setrlimit(RLIMIT_AS, &state_->former);
    while (state_->taken != nullptr) {
        void *next = nullptr;
        std::memcpy(&next, state_->taken, sizeof(next));
        std::free(state_->taken);
        state_->taken = next;
    }
}

} // namespace tarn::test
