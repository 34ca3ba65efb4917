// Lens-shading correction per frame (8- and 12-bit, Bayer and mono tables)
// against its floor (frame and coefficients read once, frame written once),
// OpenCV's multiply by a same-depth gain map as the peer, and coefficient
// estimation from a flat field.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "bench_util.h"
#include "tav.h"

#ifdef TAV_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

using tavbench::againstFloor;

// A vignetting gain of 1.0 at the centre rising to 1.8 in the corners, with
// small dark offsets: what a real table holds.
uint32_t vignetteWord(int32_t x, int32_t y, int32_t w, int32_t h, uint32_t salt) {
    const double dx = (x - w / 2.0) / w, dy = (y - h / 2.0) / h;
    const uint32_t gain = static_cast<uint32_t>(131072.0 * (1.0 + 1.6 * (dx * dx + dy * dy)));
    return (gain << 12) | (64 + salt % 32);
}

// Frame and coefficient record in one buffer, so that the floor reads both.
template <typename Sample>
struct LscCase {
    std::vector<uint8_t> block;
    std::vector<Sample> out;
    size_t pixels, readBytes;
    TavImage src, dst;
    TavLscParameter* table;

    LscCase(int32_t w, int32_t h, uint32_t mode, uint32_t format, uint32_t bits)
        : pixels(size_t(w) * h) {
        const size_t frameBytes = pixels * sizeof(Sample);
        const size_t words = mode == 1 ? pixels : pixels / 4;
        readBytes = frameBytes + 12 + 4 * words;
        block = tavbench::randomBytes(readBytes);
        auto* samples = reinterpret_cast<Sample*>(block.data());
        for (size_t i = 0; i < pixels; ++i) {
            samples[i] = static_cast<Sample>(samples[i] & ((1u << bits) - 1));
        }
        table = reinterpret_cast<TavLscParameter*>(block.data() + frameBytes);
        table->mode = mode;
        table->height = h;
        table->width = w;
        const int32_t tw = mode == 1 ? w : w / 2, th = mode == 1 ? h : h / 2;
        for (int32_t y = 0; y < th; ++y) {
            for (int32_t x = 0; x < tw; ++x) {
                table->coefficients[size_t(y) * tw + x] = vignetteWord(x, y, tw, th, block[x + y]);
            }
        }
        out.resize(pixels);
        src = {h, w, format, block.data(), 0};
        dst = {h, w, 0, reinterpret_cast<uint8_t*>(out.data()), 0};
    }
    void operator()() { tavLSCorrection(&src, &dst, table); }
};

template <typename Sample>
void correct(benchmark::State& state, uint32_t mode, uint32_t format, uint32_t bits) {
    LscCase<Sample> c(static_cast<int32_t>(state.range(0)), static_cast<int32_t>(state.range(1)),
                      mode, format, bits);
    againstFloor(state, c.pixels, c.block.data(), c.readBytes, c.out.data(),
                 c.pixels * sizeof(Sample), [&] { c(); });
}

void LscBayer8(benchmark::State& s) {
    correct<uint8_t>(s, 0, TAV_PF_BAYER_RG8, 8);
}
void LscMono8(benchmark::State& s) {
    correct<uint8_t>(s, 1, TAV_PF_MONO8, 8);
}
void LscBayer12(benchmark::State& s) {
    correct<uint16_t>(s, 0, TAV_PF_BAYER_RG12, 12);
}
void LscMono12(benchmark::State& s) {
    correct<uint16_t>(s, 1, TAV_PF_MONO12, 12);
}
TAV_BENCH_SIZES(LscBayer8);
TAV_BENCH_SIZES(LscMono8);
TAV_BENCH_SIZES(LscBayer12);
TAV_BENCH_SIZES(LscMono12);

#ifdef TAV_HAVE_OPENCV
// What users write by hand: a per-pixel gain map of the frame's size and depth
// (7 or 12 fractional bits), multiplied in with a scale. Frame and map share one
// buffer so that the floor reads both.
struct OpenCVCase {
    cv::Mat both, frame, gain, out;
    double scale;

    OpenCVCase(int32_t w, int32_t h, int type, double scale_, uint32_t bits) : scale(scale_) {
        cv::setNumThreads(tavbench::peerThreads());
        both.create(2 * h, w, type);
        cv::randu(both.rowRange(0, h), 0, 1 << bits);
        for (int32_t y = 0; y < h; ++y) {
            for (int32_t x = 0; x < w; ++x) {
                const double dx = (x - w / 2.0) / w, dy = (y - h / 2.0) / h;
                const double g = (1.0 + 0.8 * (dx * dx + dy * dy)) / scale;
                if (type == CV_8U) {
                    both.at<uint8_t>(h + y, x) = static_cast<uint8_t>(std::min(255.0, g));
                } else {
                    both.at<uint16_t>(h + y, x) = static_cast<uint16_t>(g);
                }
            }
        }
        frame = both.rowRange(0, h);
        gain = both.rowRange(h, 2 * h);
        out.create(h, w, type);
    }
    size_t frameBytes() const { return frame.total() * frame.elemSize(); }
    void operator()() { cv::multiply(frame, gain, out, scale); }
};

void opencvMultiply(benchmark::State& state, int type, double scale, uint32_t bits) {
    OpenCVCase c(static_cast<int32_t>(state.range(0)), static_cast<int32_t>(state.range(1)), type,
                 scale, bits);
    againstFloor(state, c.frame.total(), c.both.data, 2 * c.frameBytes(), c.out.data,
                 c.frameBytes(), [&] { c(); });
}

void OpenCVMultiply8(benchmark::State& s) {
    opencvMultiply(s, CV_8U, 1.0 / 128, 8);
}
void OpenCVMultiply16(benchmark::State& s) {
    opencvMultiply(s, CV_16U, 1.0 / 4096, 12);
}
TAV_BENCH_SIZES(OpenCVMultiply8);
TAV_BENCH_SIZES(OpenCVMultiply16);

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    const size_t m = v.size() / 2;
    return v.size() % 2 ? v[m] : (v[m - 1] + v[m]) / 2;
}

// Reads twice the last-level cache, so that the next call starts cold and
// pays for no write-back of the previous call's output: a camera frame
// arrives that way.
struct Evict {
    std::vector<uint8_t> big = tavbench::randomBytes(size_t{64} << 20);
    std::vector<uint8_t> sink = std::vector<uint8_t>(64);
    void operator()() { tavbench::floorSeconds(big.data(), big.size(), sink.data(), sink.size()); }
};

// tav and OpenCV timed back to back in every iteration, each from a cold
// cache, so that their ratio holds on a busy machine. x_opencv: tav's time
// over OpenCV's (median).
template <typename Sample>
void versusOpenCV(benchmark::State& state, uint32_t mode, uint32_t format, uint32_t bits, int type,
                  double scale) {
    const int32_t w = static_cast<int32_t>(state.range(0)),
                  h = static_cast<int32_t>(state.range(1));
    LscCase<Sample> ours(w, h, mode, format, bits);
    OpenCVCase theirs(w, h, type, scale, bits);
    Evict evict;
    ours();
    theirs();
    std::vector<double> ratios, times;
    for (auto _ : state) {
        evict();
        const double t =
            tavbench::secondsOf([](void* c) { (*static_cast<LscCase<Sample>*>(c))(); }, &ours);
        evict();
        const double peer =
            tavbench::secondsOf([](void* c) { (*static_cast<OpenCVCase*>(c))(); }, &theirs);
        state.SetIterationTime(t);
        times.push_back(t);
        ratios.push_back(t / peer);
    }
    state.counters["MP/s"] = static_cast<double>(ours.pixels) / median(times) / 1e6;
    state.counters["x_opencv"] = median(ratios);
}

void LscBayer8VsOpenCV(benchmark::State& s) {
    versusOpenCV<uint8_t>(s, 0, TAV_PF_BAYER_RG8, 8, CV_8U, 1.0 / 128);
}
void LscMono8VsOpenCV(benchmark::State& s) {
    versusOpenCV<uint8_t>(s, 1, TAV_PF_MONO8, 8, CV_8U, 1.0 / 128);
}
void LscBayer12VsOpenCV(benchmark::State& s) {
    versusOpenCV<uint16_t>(s, 0, TAV_PF_BAYER_RG12, 12, CV_16U, 1.0 / 4096);
}
void LscMono12VsOpenCV(benchmark::State& s) {
    versusOpenCV<uint16_t>(s, 1, TAV_PF_MONO12, 12, CV_16U, 1.0 / 4096);
}
// A fixed count: each iteration also evicts the cache twice and runs the peer.
#define TAV_VERSUS_SIZES(fn) \
    BENCHMARK(fn)            \
        ->Args({1920, 1080}) \
        ->Args({4096, 3000}) \
        ->UseManualTime()    \
        ->Iterations(15)     \
        ->Unit(benchmark::kMillisecond)
TAV_VERSUS_SIZES(LscBayer8VsOpenCV);
TAV_VERSUS_SIZES(LscMono8VsOpenCV);
TAV_VERSUS_SIZES(LscBayer12VsOpenCV);
TAV_VERSUS_SIZES(LscMono12VsOpenCV);
#endif

// Estimation from a vignetted flat field and a dark frame (floats), read once;
// the table written once.
void estimate(benchmark::State& state, uint32_t mode) {
    const int32_t w = static_cast<int32_t>(state.range(0)),
                  h = static_cast<int32_t>(state.range(1));
    const size_t n = size_t(w) * h;
    std::vector<float> fields(2 * n);
    float* grey = fields.data();
    float* dark = fields.data() + n;
    for (int32_t y = 0; y < h; ++y) {
        for (int32_t x = 0; x < w; ++x) {
            const double dx = (x - w / 2.0) / w, dy = (y - h / 2.0) / h;
            dark[size_t(y) * w + x] = float(60 + (x * 7 + y * 3) % 9);
            grey[size_t(y) * w + x] =
                float(60 + std::round(3000 * (1.0 - 0.9 * (dx * dx + dy * dy))));
        }
    }
    const size_t words = mode == 1 ? n : n / 4;
    std::vector<uint32_t> table(3 + words);
    auto* parameter = reinterpret_cast<TavLscParameter*>(table.data());
    const TavLscInput in{mode, 12, w, h, grey, dark};
    againstFloor(state, n, fields.data(), 2 * n * sizeof(float), table.data(), 4 * table.size(),
                 [&] { tavGetLSCParameter(&in, parameter); });
}

void LscEstimateMono(benchmark::State& s) {
    estimate(s, 1);
}
void LscEstimateBayer(benchmark::State& s) {
    estimate(s, 0);
}
TAV_BENCH_SIZES(LscEstimateMono);
TAV_BENCH_SIZES(LscEstimateBayer);

}  // namespace
