// Small named vector helpers used by the kernels of every subsystem.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace tav::simd {

inline __m128i load(const void* p) {
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
}

// Output bytes beyond this size are written with non-temporal stores: the frame
// would not stay in cache anyway, and skipping the read-for-ownership saves a
// third of the memory traffic of a write-heavy pass.
constexpr size_t kStreamBytes = size_t{16} << 20;

inline bool aligned16(const void* p) {
    return (reinterpret_cast<uintptr_t>(p) & 15) == 0;
}

// Whether a destination of `bytes` should be streamed (it must then be 16-byte
// aligned at every vector store).
inline bool wantStream(const void* dst, size_t bytes) {
    return bytes >= kStreamBytes && aligned16(dst);
}

// Store policy: kStream selects non-temporal stores (destination aligned).
template <bool kStream>
inline void store(void* p, __m128i v) {
    if constexpr (kStream) {
        _mm_stream_si128(static_cast<__m128i*>(p), v);
    } else {
        _mm_storeu_si128(static_cast<__m128i*>(p), v);
    }
}

// Calls body(std::bool_constant<kStream>) with streaming chosen for `dst`,
// fencing streamed stores before the caller reads the destination.
template <typename Body>
inline void withStorePolicy(const void* dst, size_t bytes, Body&& body) {
    if (wantStream(dst, bytes)) {
        body(std::true_type{});
        _mm_sfence();
    } else {
        body(std::false_type{});
    }
}

}  // namespace tav::simd
