// Which bodies the kernels run: the scalar rules alone, or the vector bodies.
// Every level gives the same bytes; the scalar level exists so that tests and
// benchmarks can hold each vector body against the rules it implements.
#pragma once

namespace tav {

enum class Level : int { Scalar = 0, Sse41 = 1 };

// The level in force; the widest the library has unless setLevel chose another.
Level level();

// For tests and benchmarks (not exported): every later call runs at `l`.
void setLevel(Level l);

inline bool vectorLevel() {
    return level() != Level::Scalar;
}

}  // namespace tav
