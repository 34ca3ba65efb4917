// Helpers shared by the test files.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tav.h"

namespace tavtest {

// Runs `call` with standard output captured; returns what it printed.
template <typename F>
std::string printedBy(F&& call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

inline std::string diag(int site) {
    return "error line = [" + std::to_string(site) + "]";
}

inline std::vector<uint8_t> randomBytes(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> v(n);
    for (auto& b : v) b = static_cast<uint8_t>(rng());
    return v;
}

inline std::vector<uint16_t> randomWords(size_t n, uint32_t seed, uint32_t bits) {
    std::mt19937 rng(seed);
    std::vector<uint16_t> v(n);
    for (auto& w : v) w = static_cast<uint16_t>(rng() & ((1u << bits) - 1));
    return v;
}

// Owns a context for one test.
struct Context {
    TavContext* ctx = nullptr;
    Context() { EXPECT_EQ(tavCreate(&ctx), TAV_OK); }
    ~Context() {
        if (ctx) tavRelease(&ctx);
    }
    void setOutput(uint64_t format) { ASSERT_EQ(tavDemosaicSetConfig(ctx, &format), TAV_OK); }
};

}  // namespace tavtest
