// Promises about memory and threads: destinations of 16 MiB and more (where
// the kernels switch to streamed stores) stay inside and give the bytes of
// plain stores. Calls from many threads at once are in threads_test
// (ConcurrencyBands, run under ThreadSanitizer in CI).
#include <cstdlib>
#include <cstring>
#include <memory>

#include "frames.h"

using Bytes = std::vector<uint8_t>;

namespace {

// Sources shared by the large cases (built once).
const Bytes& bigSource() {
    static const Bytes bytes = tavtest::randomBytes(size_t{34} << 20, 21);
    return bytes;
}

// n bytes (rounded up to the alignment) starting on a 64-byte boundary.
std::unique_ptr<uint8_t, void (*)(void*)> aligned(size_t n) {
    return {static_cast<uint8_t*>(std::aligned_alloc(64, (n + 63) / 64 * 64)), std::free};
}

struct Streamed {
    const char* name;
    size_t dstBytes;
    std::function<int32_t(uint8_t* dst)> run;
};

std::function<int32_t(uint8_t*)> converts(uint32_t source, int32_t h, int32_t w, uint32_t target) {
    return [=](uint8_t* dst) {
        const TavImage in{h, w, source, const_cast<uint8_t*>(bigSource().data()), 0};
        TavImage out{0, 0, 0, dst, 0};
        return tavImageTypeConvert(&in, &out, target);
    };
}

std::function<int32_t(uint8_t*)> corrects(uint32_t mode, int32_t h, int32_t w) {
    return [=](uint8_t* dst) {
        const size_t n = size_t(h) * w;
        std::vector<uint32_t> table{mode, uint32_t(h), uint32_t(w)};
        const uint8_t* noise = bigSource().data();
        for (size_t i = 0; i < (mode ? n : size_t(h / 2) * (w / 2)); ++i)
            table.push_back((120000u + 64u * noise[i]) << 12 | noise[i + 1]);
        std::vector<uint16_t> src(n);
        for (size_t i = 0; i < n; ++i) src[i] = uint16_t(noise[2 * i] << 4 | noise[i] >> 4);
        const TavImage in{h, w, TAV_PF_BAYER_RG12, tavtest::bytes(src), 0};
        const TavImage out{h, w, TAV_PF_BAYER_RG12, dst, 0};
        return tavLSCorrection(&in, &out, reinterpret_cast<const TavLscParameter*>(table.data()));
    };
}

const Streamed kStreamed[] = {
    {"Mono8ToBgra8", size_t{2049} * 2051 * 4,
     [](uint8_t* dst) {
         Bytes src(bigSource().begin(), bigSource().begin() + 2049 * 2051);
         tavtest::Context c;
         c.setOutput(TAV_PF_BGRA8);
         TavImage in{2049, 2051, TAV_PF_MONO8, src.data(), 2051};
         TavImage out{0, 0, 0, dst, 0};
         return tavDemosaicing(c.ctx, &in, 1, &out);
     }},
    {"UyvyToRgba8", size_t{2047} * 2054 * 4,
     converts(TAV_PF_YUV422_8_UYVY, 2047, 2054, TAV_PF_RGBA8)},
    {"Nv12ToBgra8", size_t{2048} * 2052 * 4,
     converts(TAV_PF_YUV420SP_NV12, 2048, 2052, TAV_PF_BGRA8)},
    {"Nv12ToBgr8", size_t{2720} * 2064 * 3,
     converts(TAV_PF_YUV420SP_NV12, 2720, 2064, TAV_PF_BGR8)},
    {"Bgr8ToRgba8", size_t{2047} * 2053 * 4, converts(TAV_PF_BGR8, 2047, 2053, TAV_PF_RGBA8)},
    // Per Bayer cell (odd height: the last row is kept) and per pixel.
    {"LscPerCell", size_t{2} * 2049 * 4104, corrects(0, 2049, 4104)},
    {"LscPerPixel", size_t{2} * 2049 * 4104, corrects(1, 2049, 4104)},
};

}  // namespace

class StreamedStores : public testing::TestWithParam<Streamed> {};

// An exact 64-byte aligned destination (streamed) and one two bytes off
// alignment (plain stores) get the same bytes.
TEST_P(StreamedStores, StayInsideAndMatchPlainStores) {
    const Streamed& c = GetParam();
    ASSERT_GE(c.dstBytes, size_t{16} << 20);
    const auto streamed = aligned(c.dstBytes), plain = aligned(c.dstBytes + 2);
    ASSERT_TRUE(streamed && plain);
    std::memset(streamed.get(), 0x3C, c.dstBytes);
    std::memset(plain.get(), 0x3C, c.dstBytes + 2);
    EXPECT_EQ(c.run(streamed.get()), TAV_OK);
    EXPECT_EQ(c.run(plain.get() + 2), TAV_OK);
    EXPECT_EQ(std::memcmp(streamed.get(), plain.get() + 2, c.dstBytes), 0);
}

INSTANTIATE_TEST_SUITE_P(Large, StreamedStores, testing::ValuesIn(kStreamed),
                         [](const auto& i) { return std::string(i.param.name); });

// Asking for a level the CPU lacks runs the widest it has.
TEST(Levels, ALevelTheCpuLacksFallsBackToTheWidestItHas) {
    const tav::Level saved = tav::level();
    tav::setLevel(tav::Level::Avx2);
    EXPECT_EQ(tav::level(), tav::cpuLevel());
    tav::setLevel(tav::Level::Scalar);
    EXPECT_EQ(tav::level(), tav::Level::Scalar);
    tav::setLevel(saved);
}
