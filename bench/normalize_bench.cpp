// Reduction of wide and packed sources to 8 bits, compaction of padded rows,
// and Mono8 replication through the entry.
#include "bench_util.h"
#include "tav.h"

namespace {

using tavbench::againstFloor;

void BayerRG12PackedTo8(benchmark::State& state) {
    const int32_t w = state.range(0), h = state.range(1);
    const size_t srcBytes = size_t(h) * (w + w / 2);
    auto src = tavbench::randomBytes(srcBytes);
    std::vector<uint8_t> dst(size_t(w) * h + 64);
    againstFloor(state, size_t(w) * h, src.data(), srcBytes, dst.data(), size_t(w) * h,
                 [&] { unpacked_old(src.data(), h, w, dst.data()); });
}
TAV_BENCH_SIZES(BayerRG12PackedTo8);

void BayerRG12To8(benchmark::State& state) {
    const int32_t w = state.range(0), h = state.range(1);
    const size_t n = size_t(w) * h;
    auto src = tavbench::randomBytes(2 * n);
    for (size_t i = 1; i < 2 * n; i += 2) src[i] &= 0x0F;  // 12 significant bits
    std::vector<uint8_t> dst(n);
    againstFloor(state, n, src.data(), 2 * n, dst.data(), n, [&] {
        u16Tou8_old(reinterpret_cast<const uint16_t*>(src.data()), h, w, 4, dst.data());
    });
}
TAV_BENCH_SIZES(BayerRG12To8);

void Padded8Compaction(benchmark::State& state) {
    const int32_t w = state.range(0), h = state.range(1), pitch = w + 64;
    auto src = tavbench::randomBytes(size_t(h) * pitch);
    std::vector<uint8_t> floorDst(size_t(w) * h);
    againstFloor(state, size_t(w) * h, src.data(), src.size(), floorDst.data(), floorDst.size(),
                 [&] { u8Tou8(src.data(), h, w, pitch, src.data()); });
}
TAV_BENCH_SIZES(Padded8Compaction);

void Mono8ToBgr8(benchmark::State& state) {
    const int32_t w = state.range(0), h = state.range(1);
    const size_t n = size_t(w) * h;
    auto src = tavbench::randomBytes(n);
    std::vector<uint8_t> dst(3 * n);
    TavContext* ctx = nullptr;
    tavCreate(&ctx);
    TavImage in{h, w, TAV_PF_MONO8, src.data(), w};
    TavImage out{0, 0, 0, dst.data(), 0};
    againstFloor(state, n, src.data(), n, dst.data(), 3 * n,
                 [&] { tavDemosaicing(ctx, &in, TAV_METHOD_BILINEAR, &out); });
    tavRelease(&ctx);
}
TAV_BENCH_SIZES(Mono8ToBgr8);

}  // namespace
