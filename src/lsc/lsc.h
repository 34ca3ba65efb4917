// Lens shading: the per-sample and per-position formulas (the one place each
// rule is written; vector bodies, scalar tails and tests use these) and the
// estimation steps.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace tav::lsc {

// ---- coefficient word: gain K in bits 12..31 (17 fractional bits), dark
// offset B on a 12-bit scale in bits 0..11.

constexpr uint32_t kGainOne = 131072;
constexpr uint32_t kGainMax = 0xFFFFF;

inline uint32_t gainOf(uint32_t word) {
    return word >> 12;
}
inline uint32_t offsetOf(uint32_t word) {
    return word & 0xFFF;
}
inline uint32_t packWord(uint32_t gain, uint32_t offset) {
    return (gain << 12) | offset;
}

// ---- application

// Signed difference: a sample below its offset clamps to 0.
inline uint8_t correct8(uint8_t s, uint32_t word) {
    const int32_t off = static_cast<int32_t>(offsetOf(word) >> 4);
    const int32_t v =
        ((static_cast<int32_t>(s) - off) * static_cast<int32_t>(gainOf(word)) + 65536) >> 17;
    return static_cast<uint8_t>(std::clamp(v, 0, 255));
}

// Unsigned difference: a sample below its offset wraps and comes out at the
// maximum (at 0 only with a zero gain). The asymmetry with the 8-bit rule is
// deliberate and must stay. `bits` 1..12.
inline uint16_t correct16(uint16_t s, uint32_t word, uint32_t bits) {
    const uint32_t diff = uint32_t{s} - (offsetOf(word) >> (12 - bits));
    const uint64_t v = (uint64_t{diff} * gainOf(word) + 65536) >> 17;
    return static_cast<uint16_t>(std::min<uint64_t>(v, (1u << bits) - 1));
}

// ---- estimation

// The truncations below would be undefined for NaN; a NaN gain or offset
// counts as 0.

// 2^(12 - bits), the factor from the capture's scale to the offset's 12-bit
// scale. Exact for any bits: the exponent is held within the doubles.
inline double offsetScale(uint32_t bits) {
    return std::ldexp(1.0, static_cast<int>(std::clamp<int64_t>(12 - int64_t{bits}, -1074, 1023)));
}

// Gain and offset of one position: the difference in single precision, the
// division in double. `scale` is offsetScale(bits).
inline uint32_t coefficientWord(float dark, float grey, double scale, double target) {
    uint32_t gain = 0;  // no signal above dark: corrects to black
    if (grey > dark) {
        const double k = target / static_cast<double>(grey - dark);
        if (!(k >= 0.0)) {
            gain = 0;
        } else if (k > 8.0) {
            gain = kGainMax;
        } else {
            gain = std::min(kGainMax, static_cast<uint32_t>(k * 131072.0 + 0.5));
        }
    }
    const double b = static_cast<double>(dark) * scale;
    uint32_t offset;
    if (!(b >= 0.0)) {
        offset = 0;
    } else if (b > 4095.0) {
        offset = 4095;
    } else {
        offset = static_cast<uint32_t>(b + 0.5);
    }
    return packWord(gain, offset);
}

// One 3-byte block entry: gain G with 12 fractional bits (13 bits), offset O
// as an 11-bit two's-complement value. A block no brighter than its dark keeps
// gain 1.0 here (the per-pixel table gives 0).
inline void regionEntry(float dark, float grey, int32_t bits, double target, float darkLevel,
                        uint8_t* entry) {
    uint32_t gain = 4096;
    if (dark < grey) {
        const double k = target / static_cast<double>(grey - dark);
        if (!(k >= 0.0)) {
            gain = 0;
        } else if (k > 2.0) {
            gain = 8191;
        } else {
            gain = std::min(8191u, static_cast<uint32_t>(k * 4096.0 + 0.5));
        }
    }
    const double o = static_cast<double>(darkLevel - dark);
    const double scaled = bits > 11 ? o / static_cast<double>(1 << (bits - 11))
                                    : o * static_cast<double>(1 << (11 - bits));
    const double r = std::round(scaled);
    uint8_t low = 0, high = 0;
    if (r < -1024.0) {
        high = 0xFC;  // also sets the low gain bits of byte 1; readers expect this
    } else if (r > 1023.0) {
        low = 255;
        high = 3;
    } else if (r == r) {
        const int32_t v = static_cast<int32_t>(r);
        low = static_cast<uint8_t>(v & 0xFF);
        high = static_cast<uint8_t>((v >> 8) & 7);
    }
    entry[0] = static_cast<uint8_t>(gain >> 5);
    entry[1] = static_cast<uint8_t>(((gain & 31) << 3) | high);
    entry[2] = low;
}

}  // namespace tav::lsc

// The estimation steps, separate so that each can be checked on its own.
namespace tav {

// Per 2x2 cell: dark from all four pixels, grey from the top row only (each
// pixel twice), or from all four with wholeCell (the frame API). Writes
// (height/2) x (width/2) floats to each output.
void dataInit2x2(const float* dark, const float* grey, int32_t height, int32_t width,
                 float* blockDark, float* blockGrey, bool wholeCell);

// Per blockHeight x blockWidth block: the mean grey, summed in single precision
// row by row. Pixels right of or below the last whole block are ignored.
void grayDataInit(const float* grey, int32_t width, int32_t rows, int32_t columns,
                  int32_t blockWidth, int32_t blockHeight, float* blockGrey);

// Mean of grey minus mean of dark, summed in double.
double getTargetLSCMono(const float* dark, const float* grey, size_t n);

// Fills n coefficient words; returns TAV_OK.
int32_t getLSCKBMono(const float* dark, const float* grey, size_t n, uint32_t bits, double target,
                     uint32_t* coefficients);

// Fills n 3-byte block entries; returns TAV_OK.
int32_t getLSCKBMono_REGION(const float* blockDark, const float* blockGrey, size_t n, int32_t bits,
                            uint8_t* table, double target, float darkLevel);

}  // namespace tav
