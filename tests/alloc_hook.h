// Makes the library's allocations fail on demand. The test binary is linked
// with --wrap=malloc, so every malloc call in the (static) library goes through
// __wrap_malloc.
#pragma once

namespace tavtest {

// While alive, the Nth and later library allocations (1-based) return null.
struct FailAllocations {
    explicit FailAllocations(int nth);
    ~FailAllocations();
};

}  // namespace tavtest
