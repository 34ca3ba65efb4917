// Many frames on several threads, each thread with its own context, and the
// stateless entries on shared read-only sources: every output must equal the
// serial run's. Built under ThreadSanitizer in CI.
#include <algorithm>
#include <functional>
#include <tuple>
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

namespace {

// One stateless call writing into `out`; every job reads the shared sources only.
using StatelessJob = std::function<int32_t(std::vector<uint8_t>& out)>;

std::vector<StatelessJob> statelessJobs(const std::vector<uint16_t>& words,
                                        const std::vector<uint8_t>& bytes,
                                        const std::vector<uint32_t>& monoTable,
                                        const std::vector<uint32_t>& bayerTable,
                                        const std::vector<float>& flat, int32_t height,
                                        int32_t width) {
    const size_t n = size_t(height) * width;
    std::vector<StatelessJob> jobs;
    const uint32_t formats16[] = {TAV_PF_BAYER_RG12, TAV_PF_BAYER_GR12, TAV_PF_BAYER_GB12,
                                  TAV_PF_BAYER_BG12, TAV_PF_MONO12};
    for (uint32_t format : formats16) {
        for (uint32_t method : {1u, 2u}) {
            for (int64_t output : {int64_t{TAV_PF_BGR12}, int64_t{TAV_PF_RGB16}}) {
                jobs.push_back([&words, format, method, output, height, width, n](auto& out) {
                    out.assign(6 * n, 0);
                    const TavDemosaicU16Config config{output, method, 12};
                    const TavImage src{
                        height, width, format,
                        const_cast<uint8_t*>(reinterpret_cast<const uint8_t*>(words.data())),
                        2 * width};
                    const TavImage dst{0, 0, 0, out.data(), 0};
                    return tavDemosaicingU16(&config, &src, &dst);
                });
            }
        }
    }
    const std::pair<uint32_t, uint64_t> conversions[] = {
        {TAV_PF_YUV422_8_UYVY, TAV_PF_BGRA8},   {TAV_PF_YUV422_8, TAV_PF_RGB8},
        {TAV_PF_YUV420SP_NV12, TAV_PF_RGB8},    {TAV_PF_YUV420P, TAV_PF_BGR8},
        {TAV_PF_YUV411_8_UYYVYY, TAV_PF_MONO8}, {TAV_PF_YUV8_UYV, TAV_PF_RGB8},
        {TAV_PF_BGR8, TAV_PF_YUV420P},          {TAV_PF_RGB8, TAV_PF_YUV411_8_UYYVYY},
        {TAV_PF_BGR8, TAV_PF_YUV422_8},         {TAV_PF_MONO4P, TAV_PF_RGBA8}};
    for (const auto& [source, target] : conversions) {
        jobs.push_back([&bytes, source = source, target = target, height, width, n](auto& out) {
            out.assign(4 * n, 0);
            const TavImage src{height, width, source, const_cast<uint8_t*>(bytes.data()), 0};
            TavImage dst{0, 0, 0, out.data(), 0};
            return tavImageTypeConvert(&src, &dst, target);
        });
    }
    // Lens shading: the correction with shared coefficient records, and the
    // estimate from shared flat-field frames (it allocates per call).
    const std::tuple<uint32_t, const std::vector<uint32_t>*, bool> corrections[] = {
        {TAV_PF_MONO8, &monoTable, false},
        {TAV_PF_BAYER_RG12, &bayerTable, true},
        {TAV_PF_MONO10, &monoTable, true}};
    for (const auto& [format, table, wide] : corrections) {
        jobs.push_back([&words, &bytes, format = format, table = table, wide = wide, height, width,
                        n](auto& out) {
            out.assign(2 * n, 0);
            auto* source = wide ? reinterpret_cast<const uint8_t*>(words.data()) : bytes.data();
            const TavImage src{height, width, format, const_cast<uint8_t*>(source), 0};
            const TavImage dst{height, width, format, out.data(), 0};
            return tavLSCorrection(&src, &dst,
                                   reinterpret_cast<const TavLscParameter*>(table->data()));
        });
    }
    for (uint32_t mode : {0u, 1u}) {
        jobs.push_back([&flat, mode, height, width, n](auto& out) {
            out.assign(12 + 4 * n, 0);
            const TavLscInput input{mode, 10, width, height, flat.data() + n, flat.data()};
            return tavGetLSCParameter(&input, reinterpret_cast<TavLscParameter*>(out.data()));
        });
    }
    return jobs;
}

}  // namespace

TEST(Concurrency, StatelessEntryPointsOnSharedSources) {
    const int32_t height = 32, width = 44;  // even and at least 32: every entry accepts it
    const size_t n = size_t(height) * width;
    const auto words = tavtest::randomWords(n, 5, 12);
    const auto bytes = tavtest::randomBytes(3 * n, 6);
    // Coefficient records: three header words, then gains near 1.0 and small offsets.
    auto table = [&](uint32_t mode, size_t count) {
        std::vector<uint32_t> t{mode, uint32_t(height), uint32_t(width)};
        const auto noise = tavtest::randomWords(count, mode + 7, 16);
        for (uint16_t v : noise) t.push_back((100000u + 64u * (v >> 4)) << 12 | (v & 0xFFF));
        return t;
    };
    const auto monoTable = table(1, n), bayerTable = table(0, n / 4);
    std::vector<float> flat(2 * n);  // dark frame, then grey frame
    for (size_t i = 0; i < n; ++i) {
        flat[i] = float(bytes[i] % 8);
        flat[n + i] = 150.0f + float(bytes[n + i]);
    }
    const auto jobs = statelessJobs(words, bytes, monoTable, bayerTable, flat, height, width);

    std::vector<std::vector<uint8_t>> serial(jobs.size());
    std::vector<int32_t> serialCodes(jobs.size());
    for (size_t i = 0; i < jobs.size(); ++i) serialCodes[i] = jobs[i](serial[i]);
    for (size_t i = 0; i < jobs.size(); ++i) ASSERT_EQ(serialCodes[i], TAV_OK) << "job " << i;

    constexpr int kThreads = 4;
    std::vector<std::vector<std::vector<uint8_t>>> outs(
        kThreads, std::vector<std::vector<uint8_t>>(jobs.size()));
    std::vector<std::vector<int32_t>> codes(kThreads, std::vector<int32_t>(jobs.size(), 1));
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < 2; ++round) {
                for (size_t k = 0; k < jobs.size(); ++k) {
                    const size_t i = (k + 5 * t) % jobs.size();
                    codes[t][i] = jobs[i](outs[t][i]);
                }
            }
        });
    }
    for (auto& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t) {
        for (size_t i = 0; i < jobs.size(); ++i) {
            EXPECT_EQ(codes[t][i], serialCodes[i]) << "thread " << t << " job " << i;
            EXPECT_TRUE(outs[t][i] == serial[i]) << "thread " << t << " job " << i;
        }
    }
}
