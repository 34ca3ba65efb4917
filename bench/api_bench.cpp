// The frame API against the compatible entries on the same 12-bit mosaic, in
// the same run: where the bytes agree the speed should too; BGRa8 adds the
// alpha pass, RGB16 the scaling.
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
    return format == TAV_PF_BGRA8 ? 4 * n : format == TAV_PF_BGR8 ? 3 * n : 6 * n;
}

void Compatible(benchmark::State& state, uint32_t output, uint32_t method) {
    Mosaic m(state);
    const bool deep = bytesOf(output, 1) == 6;
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
TAV_API_PAIR(RG12_RGB16_Edge, TAV_PF_RGB16, TAV_METHOD_EDGE);

}  // namespace
