// White-box checks of the plug-ins' shared kit: the table sRGB encoder
// agrees with the transfer curve taken directly for every float in [0, 1]
// sampled densely, and the vectorisable log2 and exp2 stay within a few
// units in the last place of the standard library's.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "common/tonemap_kit.hpp"

namespace {

using namespace effects_plugin;

TEST(TonemapKit, TableEncoderMatchesTheCurveTakenDirectly) {
    const SrgbEncoder& encode = srgb_encoder();
    const uint32_t one = std::bit_cast<uint32_t>(1.0f);
    // Every 1009th bit pattern below 1.0, and every pattern next to a threshold.
    for (uint32_t u = 0; u < one; u += 1009) {
        const float v = std::bit_cast<float>(u);
        ASSERT_EQ(encode(v), srgb_byte_direct(v)) << v;
    }
    for (int k = 1; k < 255; ++k) {
        // The first float reaching byte k by bisection on the direct curve.
        uint32_t lo = 0, hi = one;
        while (lo < hi) {
            const uint32_t mid = lo + (hi - lo) / 2;
            if (srgb_byte_direct(std::bit_cast<float>(mid)) >= k) hi = mid;
            else lo = mid + 1;
        }
        for (uint32_t u = lo - 2; u <= lo + 2; ++u)
            ASSERT_EQ(encode(std::bit_cast<float>(u)), srgb_byte_direct(std::bit_cast<float>(u))) << k;
    }
    EXPECT_EQ(encode(0.0f), 0);
    EXPECT_EQ(encode(-1.0f), 0);
    EXPECT_EQ(encode(NAN), 0);
    EXPECT_EQ(encode(1.0f), 255);
    EXPECT_EQ(encode(7.0f), 255);
    EXPECT_EQ(encode(0.5f), 188);  // 1.055 * 0.5^(1/2.4) - 0.055 = 0.7354
}

TEST(TonemapKit, PolynomialLogAndPowerAreAccurate) {
    for (float x = 1.0e-30f; x < 1.0e30f; x *= 1.37f) {
        const double want = std::log2(static_cast<double>(x));
        EXPECT_NEAR(log2f_poly(x), want, 4e-7 * std::max(1.0, std::fabs(want))) << x;
    }
    for (float y = -125.0f; y < 125.0f; y += 0.173f) {
        const double want = std::exp2(static_cast<double>(y));
        EXPECT_NEAR(exp2f_poly(y) / want, 1.0, 1e-6) << y;
    }
    EXPECT_NEAR(powf_poly(0.0625f, 0.2344653f), std::pow(0.0625, 0.2344653), 1e-6);
    EXPECT_EQ(powf_poly(0.0f, 0.5f), 0.0f);
}

// An operator of the plug-ins' shape (logarithms and a power, as in the
// adaptive logarithmic one), its rows built for the baseline and for AVX2.
struct LogOperator {
    float exponent;
    EFFECTS_PLUGIN_INLINE float operator()(float l) const {
        return log2f_poly(l + 1.0f) / log2f_poly(2.0f + 8.0f * powf_poly(l * 0.01f, exponent));
    }
};
void rows_baseline(const float* p, float* ratio, int64_t width, const LogOperator& op) {
    ratio_row(p, ratio, width, op);
}
#if defined(__x86_64__) && defined(__GNUC__)
__attribute__((target("avx2"))) void rows_avx2(const float* p, float* ratio, int64_t width, const LogOperator& op) {
    ratio_row(p, ratio, width, op);
}
#endif

TEST(TonemapKit, RowsBuiltForAvx2GiveTheSameBits) {
#if defined(__x86_64__) && defined(__GNUC__)
    if (!__builtin_cpu_supports("avx2")) GTEST_SKIP() << "no AVX2 here";
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> stops(-20.0f, 20.0f);
    const int64_t width = 1021;  // odd: vector body and scalar tail
    std::vector<float> px(static_cast<size_t>(width) * 4);
    for (float& v : px) v = std::exp2(stops(rng));
    px[8] = 0.0f, px[9] = -1.0f, px[10] = NAN;
    std::vector<float> a(static_cast<size_t>(width)), b(static_cast<size_t>(width));
    const LogOperator op{0.2344653f};
    rows_baseline(px.data(), a.data(), width, op);
    rows_avx2(px.data(), b.data(), width, op);
    EXPECT_EQ(std::memcmp(a.data(), b.data(), a.size() * sizeof(float)), 0);
#else
    GTEST_SKIP() << "x86-64 only";
#endif
}

}  // namespace
