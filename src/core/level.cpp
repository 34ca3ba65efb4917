#include "level.h"

#include <cpuid.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace tav {
namespace {

// AVX2 needs the CPU's instructions and the operating system's saving of the
// YMM registers (XCR0 bits 1 and 2), which cpuid alone does not tell.
bool hasAvx2() {
    unsigned a, b, c, d;
    if (!__get_cpuid(1, &a, &b, &c, &d)) return false;
    const bool osxsave = (c & bit_OSXSAVE) != 0, avx = (c & bit_AVX) != 0;
    if (!osxsave || !avx) return false;
    uint32_t xcr0Low, xcr0High;
    __asm__ volatile("xgetbv" : "=a"(xcr0Low), "=d"(xcr0High) : "c"(0));
    if ((xcr0Low & 6) != 6) return false;
    if (__get_cpuid_max(0, nullptr) < 7) return false;
    __cpuid_count(7, 0, a, b, c, d);
    return (b & bit_AVX2) != 0;
}

Level clampToCpu(Level l) {
    return static_cast<int>(l) > static_cast<int>(cpuLevel()) ? cpuLevel() : l;
}

// The scalar level is for tests (setLevel) only, never from the environment.
Level startLevel() {
    const char* isa = std::getenv("TAV_ISA");
    if (isa && std::strcmp(isa, "sse41") == 0) return Level::Sse41;
    if (isa && std::strcmp(isa, "avx2") == 0) return clampToCpu(Level::Avx2);
    return cpuLevel();
}

constexpr int kUnset = -1;
// Relaxed: a level change is made before the calls it is meant for start.
std::atomic<int> gLevel{kUnset};

}  // namespace

Level cpuLevel() {
    static const Level best = hasAvx2() ? Level::Avx2 : Level::Sse41;
    return best;
}

Level level() {
    int l = gLevel.load(std::memory_order_relaxed);
    if (l == kUnset) {
        // Only if still unset: a setLevel made meanwhile wins.
        int start = static_cast<int>(startLevel());
        if (!gLevel.compare_exchange_strong(l, start, std::memory_order_relaxed)) start = l;
        l = start;
    }
    return static_cast<Level>(l);
}

void setLevel(Level l) {
    gLevel.store(static_cast<int>(clampToCpu(l)), std::memory_order_relaxed);
}

}  // namespace tav
