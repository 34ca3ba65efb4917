// Which bodies the kernels run: the scalar rules alone, the SSE4.1 bodies, or
// the AVX2 bodies (which finish a row with the SSE4.1 step and the scalar
// rule). Every level gives the same bytes; the scalar level exists so that
// tests and benchmarks can hold each vector body against the rules it
// implements.
#pragma once

namespace tav {

enum class Level : int { Scalar = 0, Sse41 = 1, Avx2 = 2 };

// The level in force. It starts at the widest the CPU has, or at the one the
// environment variable TAV_ISA names (sse41 or avx2; a level the CPU lacks
// falls back to the widest it has), read once.
Level level();

// The widest level the CPU and the operating system support, probed once.
Level cpuLevel();

// For tests and benchmarks (not exported): every later call runs at `l`, or
// at cpuLevel() if the CPU lacks `l`.
void setLevel(Level l);

inline bool vectorLevel() {
    return level() != Level::Scalar;
}

inline bool avx2Level() {
    return level() == Level::Avx2;
}

}  // namespace tav
