// The frame API against the compatible entries on the same 12-bit mosaic (and
// one conversion), in the same run: the speed should agree, RGB16 and MONO16
// from 12 bits included (the bilinear writers scale and take the luma; the
// compatible entries have no Bayer to Mono16, BGR12 is its peer).
#include <cstring>

#include "bench_util.h"
#include "tav_api.h"

namespace {

using tavbench::againstFloor;

struct Mosaic {
    int32_t w, h;
    size_t n;
    std::vector<uint16_t> src;
    std::vector<uint8_t> dst;

    explicit Mosaic(const benchmark::State& state)
        : w(int32_t(state.range(0))),
          h(int32_t(state.range(1))),
          n(size_t(w) * h),
          src(n),
          dst(6 * n) {
        const auto bytes = tavbench::randomBytes(2 * n);
        std::memcpy(src.data(), bytes.data(), 2 * n);
        for (auto& v : src) v &= 0x0FFF;
    }
    uint8_t* raw() { return reinterpret_cast<uint8_t*>(src.data()); }
};

size_t bytesOf(uint32_t format, size_t n) {
    switch (format) {
        case TAV_PF_BGRA8:
            return 4 * n;
        case TAV_PF_BGR8:
            return 3 * n;
        case TAV_PF_MONO16:
            return 2 * n;
        default:
            return 6 * n;
    }
}

void Compatible(benchmark::State& state, uint32_t output, uint32_t method) {
    Mosaic m(state);
    const bool deep = bytesOf(output, 1) == 6 || output == TAV_PF_MONO16;
    TavContext* ctx = nullptr;
    tavCreate(&ctx);
    const uint64_t format = output;
    tavDemosaicSetConfig(ctx, &format);
    const TavDemosaicU16Config config{output, method, 12};
    TavImage in{m.h, m.w, TAV_PF_BAYER_RG12, m.raw(), 2 * m.w};
    TavImage out{0, 0, 0, m.dst.data(), 0};
    againstFloor(state, m.n, m.raw(), 2 * m.n, m.dst.data(), bytesOf(output, m.n), [&] {
        if (deep) {
            tavDemosaicingU16(&config, &in, &out);
        } else {
            tavDemosaicing(ctx, &in, method, &out);
        }
    });
    tavRelease(&ctx);
}

void Api(benchmark::State& state, uint32_t output, uint32_t method) {
    Mosaic m(state);
    TavFrame in, out;
    tavFrameInit(&in, TAV_PF_BAYER_RG12, m.w, m.h, m.raw());
    tavFrameInit(&out, output, m.w, m.h, m.dst.data());
    TavOptions o;
    tavOptionsInit(&o);
    o.method = method;
    againstFloor(state, m.n, m.raw(), 2 * m.n, m.dst.data(), bytesOf(output, m.n),
                 [&] { tavDemosaic(&in, &out, &o); });
}

#define TAV_API_PAIR(name, output, method)        \
    void Compatible_##name(benchmark::State& s) { \
        Compatible(s, output, method);            \
    }                                             \
    TAV_BENCH_SIZES(Compatible_##name);           \
    void Api_##name(benchmark::State& s) {        \
        Api(s, output, method);                   \
    }                                             \
    TAV_BENCH_SIZES(Api_##name)

TAV_API_PAIR(RG12_BGR8_Bilinear, TAV_PF_BGR8, TAV_METHOD_BILINEAR);
TAV_API_PAIR(RG12_BGR8_Edge, TAV_PF_BGR8, TAV_METHOD_EDGE);
TAV_API_PAIR(RG12_BGRa8_Edge, TAV_PF_BGRA8, TAV_METHOD_EDGE);
TAV_API_PAIR(RG12_BGR12_Bilinear, TAV_PF_BGR12, TAV_METHOD_BILINEAR);
TAV_API_PAIR(RG12_BGR12_Edge, TAV_PF_BGR12, TAV_METHOD_EDGE);
TAV_API_PAIR(RG12_RGB16_Bilinear, TAV_PF_RGB16, TAV_METHOD_BILINEAR);
TAV_API_PAIR(RG12_RGB16_Edge, TAV_PF_RGB16, TAV_METHOD_EDGE);

void Api_RG12_MONO16_Bilinear(benchmark::State& s) {
    Api(s, TAV_PF_MONO16, TAV_METHOD_BILINEAR);
}
TAV_BENCH_SIZES(Api_RG12_MONO16_Bilinear);
void Api_RG12_MONO16_Edge(benchmark::State& s) {
    Api(s, TAV_PF_MONO16, TAV_METHOD_EDGE);
}
TAV_BENCH_SIZES(Api_RG12_MONO16_Edge);

// NV12 to BGRa8: alpha 0 against alpha 255, both in the decoder's pass.
void Nv12(benchmark::State& state, bool api) {
    const int32_t w = int32_t(state.range(0)), h = int32_t(state.range(1));
    const size_t n = size_t(w) * h;
    std::vector<uint8_t> src = tavbench::randomBytes(n * 3 / 2), dst(4 * n);
    TavImage in{h, w, TAV_PF_YUV420SP_NV12, src.data(), w}, out{h, w, TAV_PF_BGRA8, dst.data(), 0};
    TavFrame from, to;
    tavFrameInit(&from, TAV_PF_YUV420SP_NV12, w, h, src.data());
    tavFrameInit(&to, TAV_PF_BGRA8, w, h, dst.data());
    againstFloor(state, n, src.data(), src.size(), dst.data(), dst.size(), [&] {
        if (api) {
            tavConvert(&from, &to, nullptr);
        } else {
            tavImageTypeConvert(&in, &out, TAV_PF_BGRA8);
        }
    });
}
void Compatible_Nv12_BGRa8(benchmark::State& s) {
    Nv12(s, false);
}
TAV_BENCH_SIZES(Compatible_Nv12_BGRa8);
void Api_Nv12_BGRa8(benchmark::State& s) {
    Nv12(s, true);
}
TAV_BENCH_SIZES(Api_Nv12_BGRa8);

}  // namespace
