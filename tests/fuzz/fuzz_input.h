// Decoding of fuzz inputs into call arguments. Buffers are always allocated at
// exactly the size the caller's side of the contract requires, so any access
// past them is caught by AddressSanitizer.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace tavfuzz {

class Input {
  public:
    Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
    uint32_t u32() {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i) v = (v << 8) | byte();
        return v;
    }
    template <typename T, size_t N>
    T pick(const T (&table)[N]) {
        return table[byte() % N];
    }
    // A dimension: mostly small frames, sometimes a boundary value.
    int32_t dimension() {
        static constexpr int32_t kEdges[] = {
            INT_MIN, -1, 0, 1, 2, 3, 4, 5, 6, 7, 16, 17, 31, 32, 33, 32768, 65536, 65535, INT_MAX};
        const uint8_t b = byte();
        return b < 224 ? 4 + b % 45 : kEdges[b % (sizeof kEdges / sizeof kEdges[0])];
    }
    // Fills `n` bytes with the rest of the input, repeated.
    void fill(uint8_t* p, size_t n) {
        const size_t rest = size_ - pos_;
        for (size_t i = 0; i < n; ++i) p[i] = rest ? data_[pos_ + i % rest] : uint8_t(i * 151);
    }

    // Fills `n` floats from the rest of the input, repeated (starting `skew`
    // bytes in): mostly small whole values, sometimes a value a camera never
    // gives (NaN, infinities, negatives, huge or subnormal values).
    void fillFloats(float* p, size_t n, size_t skew) {
        static constexpr float kOdd[] = {__builtin_nanf(""),
                                         __builtin_inff(),
                                         -__builtin_inff(),
                                         -1.0f,
                                         -1e30f,
                                         1e30f,
                                         1e-42f,
                                         0.5f,
                                         4095.5f,
                                         65535.0f,
                                         3e9f,
                                         -3e9f,
                                         1e-30f,
                                         2.0f,
                                         0.0f,
                                         -0.0f};
        const size_t rest = size_ - pos_;
        for (size_t i = 0; i < n; ++i) {
            const uint8_t b = rest ? data_[pos_ + (i + skew) % rest] : uint8_t((i + skew) * 151);
            p[i] = b < 240 ? float(b) : kOdd[b - 240];
        }
    }

  private:
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
};

// A heap buffer of exactly `n` bytes (at least one, so that data is not null).
struct Buffer {
    explicit Buffer(size_t n) : size(n), bytes(new uint8_t[n ? n : 1]) {}
    size_t size;
    std::unique_ptr<uint8_t[]> bytes;
    uint8_t* data() { return bytes.get(); }
};

// Frames whose sizes are computed past 32 bits are outside the supported range
// (the pixel-count check only catches products that read as negative).
inline bool supported(int32_t height, int32_t width, int64_t limit = int64_t{1} << 22) {
    if (height <= 0 || width <= 0) return true;  // refused before any access
    const int64_t n = int64_t{height} * width;
    const int32_t wrapped = static_cast<int32_t>(static_cast<uint32_t>(n));
    return wrapped < 0 || n <= limit;
}

}  // namespace tavfuzz
