// Where the bytes of eight 4:4:4 pixels (U, Y, V: three bytes each, 24 in
// all) sit in the two overlapping 16-byte loads that cover them: pixels 0-4
// in the load at 0, pixels 5-7 in the load at 8; -1 where a pixel comes from
// the other load. Plain data, so that the AVX2 body (yuv_avx2.cpp) picks the
// same bytes as the SSE4.1 one.
#pragma once

namespace tav::cvt {

// [channel: U, Y, V][load: at 0, at 8][pixel]
inline constexpr int kYuv444At[3][2][8] = {
    {{0, 3, 6, 9, 12, -1, -1, -1}, {-1, -1, -1, -1, -1, 7, 10, 13}},   // U
    {{1, 4, 7, 10, 13, -1, -1, -1}, {-1, -1, -1, -1, -1, 8, 11, 14}},  // Y
    {{2, 5, 8, 11, 14, -1, -1, -1}, {-1, -1, -1, -1, -1, 9, 12, 15}},  // V
};

}  // namespace tav::cvt
