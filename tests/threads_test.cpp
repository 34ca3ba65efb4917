// Row bands never change a byte: every entry gives the same output at 1, 2, 3
// and 7 threads, with bands forced small so that small frames split too, and
// the pool serves many callers at once and a forked child.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <thread>

#include "core/threads.h"
#include "frames.h"

namespace tavtest {
namespace {

// Band length the whole suite runs with: CTest's runs at several thread
// counts set TAV_TEST_BAND_UNITS=1 so that the small frames of every test split.
int32_t suiteBandUnits() {
    const char* text = std::getenv("TAV_TEST_BAND_UNITS");
    return text ? std::atoi(text) : 0;
}
const bool kSuiteBands = (tav::setBandUnits(suiteBandUnits()), true);

// Sets the thread count and the forced band length for one test.
struct Threads {
    int32_t saved = tavGetNumThreads();
    Threads(int32_t n, int32_t bandUnits) { set(n, bandUnits); }
    void set(int32_t n, int32_t bandUnits) {
        EXPECT_EQ(tavSetNumThreads(n), TAV_OK);
        tav::setBandUnits(bandUnits);
    }
    ~Threads() {
        tavSetNumThreads(saved);
        tav::setBandUnits(suiteBandUnits());
    }
};

// One entry on a random frame of h x w pixels: its result code and output bytes.
using Entry = std::function<std::vector<uint8_t>(int32_t h, int32_t w)>;

std::vector<uint8_t> demosaic8(uint32_t code, uint64_t output, uint32_t method, int32_t h,
                               int32_t w) {
    std::vector<uint8_t> src = randomBytes(size_t(h) * w, h * 31 + w);
    std::vector<uint8_t> dst(size_t(h) * w * 4 + 1, 0x5A);
    Context c;
    c.setOutput(output);
    TavImage in{h, w, code, src.data(), w};
    TavImage out{0, 0, 0, dst.data(), 0};
    dst.back() = uint8_t(tavDemosaicing(c.ctx, &in, method, &out));
    return dst;
}

// A wide or packed source with `padding` bytes after each row, random bits
// everywhere (stray high bits included): the entry narrows it first.
std::vector<uint8_t> narrowed(uint32_t code, bool packed, int32_t padding, int32_t h, int32_t w) {
    const int32_t pitch = (packed ? w + w / 2 : 2 * w) + padding;
    // Compact packed rows of odd width run on across rows: half a byte more each.
    std::vector<uint8_t> src = randomBytes(size_t(h) * (pitch + 1) + 3, h * 5 + w);
    std::vector<uint8_t> dst(size_t(h) * w + 1, 0x5A);
    Context c;
    c.setOutput(TAV_PF_MONO8);
    TavImage in{h, w, code, src.data(), pitch};
    TavImage out{0, 0, 0, dst.data(), 0};
    dst.back() = uint8_t(tavDemosaicing(c.ctx, &in, 0, &out));
    return dst;
}

// Lens shading in place, mode 1 on Mono12 words, mode 0 on a Bayer mosaic.
std::vector<uint8_t> shaded(uint32_t mode, uint32_t format, int32_t sampleBytes, int32_t h,
                            int32_t w) {
    const size_t words = mode == 1 ? size_t(h) * w : size_t(h / 2) * (w / 2);
    std::vector<uint32_t> table{mode, uint32_t(h), uint32_t(w)};
    std::mt19937 rng(h * 3 + w);
    for (size_t i = 0; i < words; ++i) table.push_back(rng() & 0x7FFFF);
    std::vector<uint8_t> frame = randomBytes(size_t(h) * w * sampleBytes, h + 3 * w);
    if (sampleBytes == 2) {
        for (size_t i = 1; i < frame.size(); i += 2) frame[i] &= 0x0F;
    }
    const TavImage image{h, w, format, frame.data(), 0};
    frame.push_back(uint8_t(
        tavLSCorrection(&image, &image, reinterpret_cast<const TavLscParameter*>(table.data()))));
    return frame;
}

std::vector<uint8_t> demosaicWide(uint32_t code, int64_t output, uint32_t method, uint32_t bits,
                                  int32_t h, int32_t w) {
    Run16 r = demosaic16(code, output, method, bits, randomWords(size_t(h) * w, h + w, bits), h, w);
    r.out.push_back(uint16_t(r.code));
    return {bytes(r.out), bytes(r.out) + 2 * r.out.size()};
}

// Sources of up to three bytes a pixel; the entry reads compact rows.
std::vector<uint8_t> convert(uint32_t from, uint64_t to, int32_t h, int32_t w) {
    std::vector<uint8_t> src = randomBytes(size_t(h) * w * 3, h * 7 + w);
    std::vector<uint8_t> dst(size_t(h) * w * 4 + 1, 0x5A);
    TavImage in{h, w, from, src.data(), 0};
    TavImage out{0, 0, 0, dst.data(), 0};
    dst.back() = uint8_t(tavImageTypeConvert(&in, &out, to));
    return dst;
}

struct Case {
    std::string name;
    Entry run;
};

std::vector<Case> cases() {
    std::vector<Case> all;
    const char* methods[] = {"Nearest", "Bilinear", "Edge", "Hq"};
    for (uint32_t m = 0; m < 4; ++m) {
        for (const Phase& p : kPhases) {
            for (const Output& o : kOutputs) {
                all.push_back(
                    {std::string(methods[m]) + p.name + "To" + o.name,
                     [=](int32_t h, int32_t w) { return demosaic8(p.code, o.format, m, h, w); }});
            }
        }
    }
    for (int32_t padding : {0, 6}) {
        const std::string pad = padding ? "Padded" : "";
        all.push_back({"Words" + pad, [=](int32_t h, int32_t w) {
                           return narrowed(TAV_PF_BAYER_RG12, false, padding, h, w);
                       }});
        all.push_back({"Packed" + pad, [=](int32_t h, int32_t w) {
                           return narrowed(TAV_PF_BAYER_GB12_PACKED, true, padding, h, w);
                       }});
    }
    all.push_back(
        {"ShadingMono12", [](int32_t h, int32_t w) { return shaded(1, TAV_PF_MONO12, 2, h, w); }});
    all.push_back({"ShadingBayer10",
                   [](int32_t h, int32_t w) { return shaded(0, TAV_PF_BAYER_RG10, 2, h, w); }});
    all.push_back({"ShadingBayer8",
                   [](int32_t h, int32_t w) { return shaded(0, TAV_PF_BAYER_GB8, 1, h, w); }});
    // Rgb at depth 16, where the edge body's vector clamp shows.
    for (uint32_t m = 1; m <= 3; ++m) {
        for (int64_t out : {int64_t{TAV_PF_RGB16}, int64_t{TAV_PF_BGR12}}) {
            const std::string name = m == 1 ? "Bilinear16" : m == 2 ? "Edge16" : "Hq16";
            const bool deep = out == TAV_PF_RGB16;
            all.push_back({name + (deep ? "Rgb" : "Bgr"), [=](int32_t h, int32_t w) {
                               return demosaicWide(deep ? TAV_PF_BAYER_GB16 : TAV_PF_BAYER_GB12,
                                                   out, m, deep ? 16 : 12, h, w);
                           }});
        }
    }
    struct Conversion {
        const char* name;
        uint32_t from;
        uint64_t to;
    };
    const Conversion conversions[] = {
        {"Uyvy", TAV_PF_YUV422_8_UYVY, TAV_PF_BGRA8},
        {"YuyvToRgb8", TAV_PF_YUV422_8, TAV_PF_RGB8},
        {"YuyvToMono8", TAV_PF_YUV422_8, TAV_PF_MONO8},
        {"UyvToBgr8", TAV_PF_YUV8_UYV, TAV_PF_BGR8},
        {"Yuv411ToRgba8", TAV_PF_YUV411_8_UYYVYY, TAV_PF_RGBA8},
        {"Rgb", TAV_PF_RGB8, TAV_PF_BGR8},
        {"RgbToBgra8", TAV_PF_RGB8, TAV_PF_BGRA8},
        {"BgrToMono8", TAV_PF_BGR8, TAV_PF_MONO8},
        {"BgrToUyv", TAV_PF_BGR8, TAV_PF_YUV8_UYV},
        {"RgbToYuv422", TAV_PF_RGB8, TAV_PF_YUV422_8},
        {"BgrToYuv411", TAV_PF_BGR8, TAV_PF_YUV411_8_UYYVYY},
        {"Mono8ToBgr8", TAV_PF_MONO8, TAV_PF_BGR8},
        {"I420ToBgr8", TAV_PF_YUV420P, TAV_PF_BGR8},
        {"Nv12ToRgba8", TAV_PF_YUV420SP_NV12, TAV_PF_RGBA8},
        {"RgbToI420", TAV_PF_RGB8, TAV_PF_YUV420P},
        {"Mono1pToMono8", TAV_PF_MONO1P, TAV_PF_MONO8},
        {"Mono4pToBgra8", TAV_PF_MONO4P, TAV_PF_BGRA8},
    };
    for (const Conversion& c : conversions) {
        all.push_back({c.name, [c](int32_t h, int32_t w) { return convert(c.from, c.to, h, w); }});
    }
    return all;
}

Case named(const std::string& name) {
    for (Case& c : cases())
        if (c.name == name) return c;
    ADD_FAILURE() << "no case " << name;
    return {};
}

struct Size {
    int32_t h, w;
};

void PrintTo(const Case& c, std::ostream* os) {
    *os << c.name;
}
void PrintTo(const Size& s, std::ostream* os) {
    *os << s.h << "x" << s.w;
}

class Bands : public testing::TestWithParam<std::tuple<Case, Size>> {};

TEST_P(Bands, SameBytesAtEveryThreadCount) {
    const auto& [c, size] = GetParam();
    Threads threads(1, 0);
    const std::vector<uint8_t> one = c.run(size.h, size.w);
    for (int32_t n : {2, 3, 7}) {
        for (int32_t units : {1, 2, 5}) {
            threads.set(n, units);
            EXPECT_EQ(c.run(size.h, size.w), one) << n << " threads, bands of " << units;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Entries, Bands,
                         testing::Combine(testing::ValuesIn(cases()),
                                          testing::Values(Size{2, 2}, Size{7, 9}, Size{6, 6},
                                                          Size{41, 35}, Size{16, 33}, Size{23, 70},
                                                          Size{37, 44}, Size{40, 66})),
                         [](const auto& info) {
                             const Size s = std::get<1>(info.param);
                             return std::get<0>(info.param).name + "_" + std::to_string(s.h) + "x" +
                                    std::to_string(s.w);
                         });

// Near the pixel threshold the walks choose the bands themselves.
TEST(Bands, SplitAtTheirOwnThreshold) {
    Threads threads(1, 0);
    const int32_t w = 1023;
    for (const char* name : {"BilinearRGToBGR8", "BilinearGBToMono8"}) {
        const Case c = named(name);
        const int32_t least = 2 * tav::minBandUnits(2 * w);
        for (int32_t h : {least - 1, least + 3, 2 * least + 1}) {
            threads.set(1, 0);
            const std::vector<uint8_t> one = c.run(h, w);
            threads.set(2, 0);
            EXPECT_EQ(c.run(h, w), one) << h << " rows";
        }
    }
}

TEST(Threads, CountIsProcessWide) {
    Threads threads(1, 0);
    EXPECT_EQ(tavSetNumThreads(-1), TAV_E_PARAMETER);
    EXPECT_EQ(tavGetNumThreads(), 1);
    EXPECT_EQ(tavSetNumThreads(3), TAV_OK);
    EXPECT_EQ(tavGetNumThreads(), 3);
    EXPECT_EQ(tavSetNumThreads(0), TAV_OK);
    EXPECT_EQ(tavGetNumThreads(), int32_t(std::max(1u, std::thread::hardware_concurrency())));
}

// Callers on their own threads share the pool with bands forced small: each
// gets the bytes it gets alone.
TEST(ConcurrencyBands, ManyCallersShareThePool) {
    Threads threads(1, 0);
    std::vector<Case> chosen;
    for (const char* name : {"BilinearRGToBGR8", "EdgeGBToBGRa8", "NearestGRToMono8", "HqBGToRGB8",
                             "Edge16Bgr", "Bilinear16Rgb", "Uyvy", "RgbToYuv422", "Yuv411ToRgba8",
                             "PackedPadded", "Words", "ShadingMono12", "ShadingBayer10"})
        chosen.push_back(named(name));
    std::vector<std::vector<uint8_t>> alone;
    // A size every entry accepts (even, width a multiple of 4), with vector tails.
    for (const Case& c : chosen) alone.push_back(c.run(38, 44));
    threads.set(3, 1);
    std::vector<std::thread> callers;
    std::vector<int> mismatches(8, 0);
    for (int t = 0; t < 8; ++t) {
        callers.emplace_back([&, t] {
            for (int i = 0; i < 20; ++i) {
                const size_t k = size_t(t + i) % chosen.size();
                if (chosen[k].run(38, 44) != alone[k]) ++mismatches[t];
            }
        });
    }
    for (auto& c : callers) c.join();
    EXPECT_EQ(mismatches, std::vector<int>(8, 0));
}

// A child forked after the pool started runs multi-band frames with its own workers.
TEST(Threads, ForkedChildStillWorks) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "ThreadSanitizer cannot start threads after a multi-threaded fork";
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
    GTEST_SKIP() << "ThreadSanitizer cannot start threads after a multi-threaded fork";
#endif
#endif
    Threads threads(1, 0);
    const Case c = named("BilinearRGToBGR8");
    const std::vector<uint8_t> one = c.run(41, 35);
    threads.set(3, 1);
    ASSERT_EQ(c.run(41, 35), one);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) _exit(c.run(41, 35) == one && c.run(41, 35) == one ? 0 : 1);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
}  // namespace tavtest
