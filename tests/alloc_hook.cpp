#include "alloc_hook.h"

#include <cstddef>

extern "C" void* __real_malloc(size_t size);

namespace {
// Test-only switch; tests run on one thread.
int countdown = 0;  // 0: never fail
}  // namespace

extern "C" void* __wrap_malloc(size_t size) {
    if (countdown > 0 && --countdown == 0) {
        countdown = 1;  // keep failing until the hook is removed
        return nullptr;
    }
    return __real_malloc(size);
}

namespace tavtest {
FailAllocations::FailAllocations(int nth) {
    countdown = nth;
}
FailAllocations::~FailAllocations() {
    countdown = 0;
}
}  // namespace tavtest
