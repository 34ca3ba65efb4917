// Many frames on several threads, each thread with its own context, and the
// stateless entries on shared read-only sources: every output must equal the
// serial run's. Built under ThreadSanitizer in CI.
#include <algorithm>
#include <thread>

#include "support.h"

namespace {

struct Job {
    uint32_t source;
    int32_t bytesPerTwo;  // container bytes per two samples
    uint64_t output;
    uint32_t method;
};

std::vector<Job> jobs() {
    std::vector<Job> v;
    const std::pair<uint32_t, int> sources[] = {
        {TAV_PF_MONO8, 2},     {TAV_PF_BAYER_RG8, 2},         {TAV_PF_BAYER_GR8, 2},
        {TAV_PF_BAYER_GB8, 2}, {TAV_PF_BAYER_BG8, 2},         {TAV_PF_BAYER_RG12, 4},
        {TAV_PF_MONO16, 4},    {TAV_PF_BAYER_BG10_PACKED, 3}, {TAV_PF_MONO12_PACKED, 3}};
    const uint64_t outputs[] = {TAV_PF_MONO8,       TAV_PF_RGB8,  TAV_PF_BGR8, TAV_PF_RGB8_PLANAR,
                                TAV_PF_BGR8_PLANAR, TAV_PF_RGBA8, TAV_PF_BGRA8};
    for (const auto& [source, bytes] : sources) {
        for (uint64_t output : outputs) {
            for (uint32_t method = 0; method < 3; ++method)
                v.push_back({source, bytes, output, method});
        }
    }
    return v;
}

constexpr int32_t kHeight = 23, kWidth = 37;

struct Result {
    int32_t code;
    std::vector<uint8_t> pixels;
};

// Runs one job on `ctx`; the source bytes are copied because padded 8-bit
// sources are compacted in place.
Result run(TavContext* ctx, const Job& job, const std::vector<uint8_t>& bytes, int32_t pitch) {
    uint64_t output = job.output;
    Result r{tavDemosaicSetConfig(ctx, &output),
             std::vector<uint8_t>(size_t(kWidth) * kHeight * 4, 0)};
    if (r.code != TAV_OK) return r;
    auto src = bytes;
    TavImage in{kHeight, kWidth, job.source, src.data(), pitch};
    TavImage out{0, 0, 0, r.pixels.data(), 0};
    r.code = tavDemosaicing(ctx, &in, job.method, &out);
    return r;
}

int32_t pitchOf(const Job& job) {
    return kWidth * job.bytesPerTwo / 2 + 6;
}

}  // namespace

TEST(Concurrency, ContextPerThreadMatchesTheSerialRun) {
    const auto all = jobs();
    std::vector<std::vector<uint8_t>> sources;
    for (size_t i = 0; i < all.size(); ++i) {
        sources.push_back(tavtest::randomBytes(size_t(kHeight) * pitchOf(all[i]) + 8, uint32_t(i)));
    }
    std::vector<Result> serial;
    {
        tavtest::Context c;
        for (size_t i = 0; i < all.size(); ++i)
            serial.push_back(run(c.ctx, all[i], sources[i], pitchOf(all[i])));
    }

    constexpr int kThreads = 4, kRounds = 3;
    std::vector<std::vector<Result>> results(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            TavContext* ctx = nullptr;
            if (tavCreate(&ctx) != TAV_OK) return;
            for (int round = 0; round < kRounds; ++round) {
                // Each thread walks the jobs from a different start.
                for (size_t k = 0; k < all.size(); ++k) {
                    const size_t i = (k + t * 7) % all.size();
                    Result r = run(ctx, all[i], sources[i], pitchOf(all[i]));
                    if (round == kRounds - 1) {
                        if (results[t].empty()) results[t].resize(all.size());
                        results[t][i] = std::move(r);
                    }
                }
            }
            tavRelease(&ctx);
        });
    }
    for (auto& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t) {
        ASSERT_EQ(results[t].size(), all.size()) << "thread " << t;
        for (size_t i = 0; i < all.size(); ++i) {
            EXPECT_EQ(results[t][i].code, serial[i].code) << "thread " << t << " job " << i;
            EXPECT_TRUE(results[t][i].pixels == serial[i].pixels) << "thread " << t << " job " << i;
        }
    }
}

TEST(Concurrency, StatelessEntriesShareReadOnlySources) {
    const int32_t height = 31, width = 45, n = height * width;
    const auto packed = tavtest::randomBytes(size_t(n) / 2 * 3 + 3, 1);
    const auto wide = tavtest::randomWords(n, 2, 12);
    const auto mono = tavtest::randomBytes(n, 3);
    auto work = [&](std::vector<uint8_t>& out) {
        out.assign(size_t(n) * 6 + 1, 0);
        unpacked_old(packed.data(), height, width, out.data());
        u16Tou8_old(wide.data(), height, width, 4, out.data() + n + 1);
        mono8Convert(mono.data(), out.data() + 2 * n + 1, height, width, TAV_PF_BGRA8);
    };
    std::vector<uint8_t> serial;
    work(serial);
    std::vector<std::vector<uint8_t>> outs(4);
    std::vector<std::thread> threads;
    for (auto& out : outs) {
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round) work(out);
        });
    }
    for (auto& th : threads) th.join();
    for (const auto& out : outs) EXPECT_TRUE(out == serial);
}
