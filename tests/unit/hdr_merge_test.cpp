// Exposure merging exports: golden table values and hand-worked cases, a
// plainly written reference of the accumulation compared byte for byte on
// seeded images of awkward sizes, and thread-count independence.
#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "effects/effects.h"

namespace {

std::vector<double> triangle(int high = 255, int low = 0) {
    std::vector<double> t(256, -1.0);
    EXPECT_EQ(VexoHDRWeight_Triangle(high, low, t.data()), 0);
    return t;
}
std::vector<double> sine() {
    std::vector<double> t(256, -1.0);
    EXPECT_EQ(VexoHDRWeight_Sine(7, 9, t.data()), 0);
    return t;
}
std::vector<float> gamma_table(int n = 256) {
    std::vector<float> t(n, -1.0f);
    VexoHDRResponse_Gamma(t.data(), n);
    return t;
}
std::vector<float> linear_table(int n = 256) {
    std::vector<float> t(n, -1.0f);
    VexoHDRResponse_Linear(t.data(), n);
    return t;
}

std::vector<uint8_t> random_bgra(int w, int h, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> v(static_cast<size_t>(w) * h * 4);
    for (auto& b : v) {
        const int k = std::uniform_int_distribution<int>(0, 9)(rng);
        b = static_cast<uint8_t>(k == 0 ? 0 : k == 1 ? 255 : std::uniform_int_distribution<int>(0, 255)(rng));
    }
    return v;
}

// ---- tables ------------------------------------------------------------------

TEST(HdrTables, TriangleFullRangePeaksJustBelowOne) {
    const auto t = triangle();
    EXPECT_EQ(t[0], 0.0);
    EXPECT_EQ(t[255], 0.0);
    EXPECT_EQ(t[127], static_cast<double>(127.0f / 127.5f));
    EXPECT_EQ(t[128], static_cast<double>(127.0f / 127.5f));
    EXPECT_NEAR(t[127], 0.99607843, 1e-7);
    EXPECT_EQ(t[1], static_cast<double>(1.0f / 127.5f));
    EXPECT_EQ(t[254], static_cast<double>(1.0f / 127.5f));
}

TEST(HdrTables, TriangleDividesByTheCentresPosition) {
    const auto t = triangle(200, 100);
    EXPECT_EQ(t[99], 0.0);
    EXPECT_EQ(t[100], 0.0);
    EXPECT_EQ(t[150], static_cast<double>(50.0f / 150.0f));
    EXPECT_EQ(t[151], static_cast<double>(49.0f / 150.0f));
    EXPECT_EQ(t[200], 0.0);
    EXPECT_EQ(t[201], 0.0);
}

TEST(HdrTables, SineTakesTheAngleInFloatAndTheSineInDouble) {
    const auto t = sine();
    EXPECT_EQ(t[0], 0.0);
    EXPECT_EQ(t[128], 1.0);
    for (int i = 0; i < 256; ++i) {
        const float x = static_cast<float>(i) * 3.1415927f * 0.00390625f;
        ASSERT_EQ(t[i], static_cast<double>(static_cast<float>(std::sin(static_cast<double>(x))))) << i;
    }
    EXPECT_NEAR(t[255], 0.01227, 1e-5);
}

TEST(HdrTables, GammaResponse) {
    const auto t = gamma_table();
    EXPECT_EQ(t[0], 0.0001f);
    EXPECT_EQ(t[64], 1.0001f);
    EXPECT_NEAR(t[255], 10.486, 5e-4);
    for (int i = 0; i < 256; ++i) {
        const float x = static_cast<float>(i) * (1.0f / 64.0f);
        const float p = static_cast<float>(std::pow(static_cast<double>(x), 1.7000000476837158));
        ASSERT_EQ(t[i], static_cast<float>(static_cast<double>(p) + 0.0001)) << i;
    }
}

TEST(HdrTables, LinearResponseAndEmptyCounts) {
    const auto t = linear_table();
    EXPECT_EQ(t[0], 0.0f);
    EXPECT_EQ(t[255], 1.0f);
    EXPECT_EQ(t[51], 51.0f / 255.0f);
    std::vector<float> one(2, 5.0f);
    VexoHDRResponse_Linear(one.data(), 1);
    EXPECT_TRUE(std::isnan(one[0]));  // 0 / 0, unguarded
    EXPECT_EQ(one[1], 5.0f);
    std::vector<float> none(4, 5.0f);
    VexoHDRResponse_Gamma(none.data(), 0);
    VexoHDRResponse_Linear(none.data(), -3);
    EXPECT_EQ(none, std::vector<float>(4, 5.0f));
}

// ---- the merge ---------------------------------------------------------------

// The accumulation written out plainly.
void reference_combine(int w, int h, float exposure, const uint8_t* px, float* acc, const double* W, const float* F,
                       float* plane) {
    for (int i = 0; i < w * h; ++i) {
        const int b = px[4 * i], g = px[4 * i + 1], r = px[4 * i + 2];
        const double sum = W[r] + W[g] + W[b];
        const float wt = static_cast<float>(sum * 0.3333333333333333);
        const float inv = 1.0f / exposure;
        const int codes[3] = {r, g, b};
        for (int c = 0; c < 3; ++c) {
            float term = F[codes[c]] * inv;
            term = term * wt;
            acc[3 * i + c] = acc[3 * i + c] + term;
        }
        plane[i] = plane[i] + wt;
    }
}

void reference_final(int w, int h, float* acc, float* plane, int divisor) {
    const float inv = 1.0f / static_cast<float>(divisor);
    for (int i = 0; i < w * h; ++i) {
        if (plane[i] == 0.0f) plane[i] = 1.0f;
        for (int c = 0; c < 3; ++c) {
            const float q = acc[3 * i + c] / plane[i];
            acc[3 * i + c] = q * inv;
        }
    }
}

struct Size {
    int w, h;
};
const Size kSizes[] = {{1, 1}, {1, 9}, {9, 1}, {13, 7}, {64, 3}, {257, 31}};

TEST(HdrMerge, MatchesThePlainAccumulationByteForByte) {
    for (const bool use_sine : {false, true})
        for (const bool use_gamma : {false, true})
            for (const Size s : kSizes) {
                const auto W = use_sine ? sine() : triangle();
                const auto F = use_gamma ? gamma_table() : linear_table();
                const size_t n = static_cast<size_t>(s.w) * s.h;
                std::vector<float> acc(3 * n, 0.0f), plane(n, 0.0f), racc(acc), rplane(plane);
                const float times[] = {0.25f, 1.0f, 3.0f};
                for (int k = 0; k < 3; ++k) {
                    const auto px = random_bgra(s.w, s.h, 100u + static_cast<uint32_t>(k * 7 + s.w * 31 + s.h));
                    ASSERT_EQ(VexoHDRNewCombineArray(s.w, s.h, times[k], px.data(), acc.data(), W.data(), F.data(),
                                                     plane.data()),
                              0);
                    reference_combine(s.w, s.h, times[k], px.data(), racc.data(), W.data(), F.data(), rplane.data());
                }
                ASSERT_EQ(0, std::memcmp(acc.data(), racc.data(), acc.size() * 4)) << s.w << "x" << s.h;
                ASSERT_EQ(0, std::memcmp(plane.data(), rplane.data(), plane.size() * 4));
                ASSERT_EQ(VexoHDRNewCombineFinal(s.w, s.h, acc.data(), plane.data(), 3), 0);
                reference_final(s.w, s.h, racc.data(), rplane.data(), 3);
                ASSERT_EQ(0, std::memcmp(acc.data(), racc.data(), acc.size() * 4)) << s.w << "x" << s.h;
                ASSERT_EQ(0, std::memcmp(plane.data(), rplane.data(), plane.size() * 4));
            }
}

// Caller tables of any double values (not floats widened, some negative,
// one NaN) and a response of any floats take the general path of the
// accumulation; the bytes still follow the plain loop.
TEST(HdrMerge, CallerTablesOfAnyDoublesMatchThePlainAccumulation) {
    std::mt19937 rng(42);
    std::uniform_real_distribution<double> u(-0.2, 1.5);
    for (const bool narrow : {false, true}) {
        std::vector<double> W(256);
        std::vector<float> F(256);
        for (int i = 0; i < 256; ++i) {
            W[i] = narrow ? static_cast<double>(static_cast<float>(u(rng))) : u(rng);
            F[i] = static_cast<float>(u(rng) * 3.0);
        }
        if (!narrow) W[7] = std::nan("");
        for (const Size s : {Size{31, 5}, Size{8, 2}, Size{7, 3}}) {
            const size_t n = static_cast<size_t>(s.w) * s.h;
            std::vector<float> acc(3 * n, 0.5f), plane(n, 0.25f), racc(acc), rplane(plane);
            const auto px = random_bgra(s.w, s.h, 7u + static_cast<uint32_t>(s.w));
            VexoHDRNewCombineArray(s.w, s.h, 0.3f, px.data(), acc.data(), W.data(), F.data(), plane.data());
            reference_combine(s.w, s.h, 0.3f, px.data(), racc.data(), W.data(), F.data(), rplane.data());
            EXPECT_EQ(0, std::memcmp(acc.data(), racc.data(), acc.size() * 4)) << narrow << " " << s.w;
            EXPECT_EQ(0, std::memcmp(plane.data(), rplane.data(), plane.size() * 4)) << narrow << " " << s.w;
        }
    }
}

TEST(HdrMerge, ClippedPixelsEndAtZeroWithPlaneOne) {
    for (const auto& W : {triangle(), sine()}) {
        const auto F = gamma_table();
        const std::vector<uint8_t> px = {0, 0, 0, 255, 255, 255, 255, 7};  // black, white
        std::vector<float> acc(6, 0.0f), plane(2, 0.0f);
        for (float t : {0.5f, 2.0f})
            VexoHDRNewCombineArray(2, 1, t, px.data(), acc.data(), W.data(), F.data(), plane.data());
        // Sine weight of 255 is not 0; only the triangle zeroes both ends.
        if (W[255] != 0.0) continue;
        VexoHDRNewCombineFinal(2, 1, acc.data(), plane.data(), 1);
        EXPECT_EQ(acc, std::vector<float>(6, 0.0f));
        EXPECT_EQ(plane, std::vector<float>(2, 1.0f));
    }
    // Black has weight 0 under both tables.
    const auto W = sine();
    EXPECT_EQ(W[0], 0.0);
}

TEST(HdrMerge, NothingHappensForEmptySizes) {
    const auto W = triangle();
    const auto F = gamma_table();
    std::vector<float> acc(3, 9.0f), plane(1, 9.0f);
    const uint8_t px[4] = {1, 2, 3, 4};
    VexoHDRNewCombineArray(0, 1, 1.0f, px, acc.data(), W.data(), F.data(), plane.data());
    VexoHDRNewCombineArray(1, -1, 1.0f, px, acc.data(), W.data(), F.data(), plane.data());
    VexoHDRNewCombineFinal(-1, 1, acc.data(), plane.data(), 1);
    EXPECT_EQ(acc, std::vector<float>(3, 9.0f));
    EXPECT_EQ(plane, std::vector<float>(1, 9.0f));
}

TEST(HdrMerge, SameBytesWithOneTwoAndSevenThreads) {
    const int w = 301, h = 77;
    const auto W = triangle();
    const auto F = gamma_table();
    const auto px = random_bgra(w, h, 5);
    std::vector<std::vector<float>> results;
    for (int threads : {1, 2, 7}) {
        omp_set_num_threads(threads);
        std::vector<float> acc(3 * w * h, 0.0f), plane(w * h, 0.0f);
        VexoHDRNewCombineArray(w, h, 0.3f, px.data(), acc.data(), W.data(), F.data(), plane.data());
        VexoHDRNewCombineFinal(w, h, acc.data(), plane.data(), 1);
        VexoHDRFinalAdjustment3Channels(w, h, 0, acc.data());
        results.push_back(acc);
    }
    omp_set_num_threads(omp_get_num_procs());
    EXPECT_EQ(results[0], results[1]);
    EXPECT_EQ(results[0], results[2]);
}

// ---- the older path ---------------------------------------------------------

TEST(HdrOlderPath, NegativeOffsetCropsSymmetrically) {
    const int w = 10, h = 4;
    std::vector<uint8_t> px(w * h * 4);
    for (size_t i = 0; i < px.size(); ++i) px[i] = static_cast<uint8_t>(i * 7 % 251);
    std::vector<float> acc(w * h * 4, 0.0f);
    ASSERT_EQ(VexoHDRCombineArray(w, h, -3, 0, 2.0f, px.data(), acc.data()), 0);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 4; ++c) {
                const float got = acc[(y * w + x) * 4 + c];
                if (x < 3 || x >= w - 3 || c == 3) {
                    EXPECT_EQ(got, 0.0f) << x << "," << y;
                } else {
                    const float want = static_cast<float>(px[(y * w + x + 3) * 4 + c]) * 0.003921569f * 2.0f;
                    EXPECT_EQ(got, want) << x << "," << y;
                }
            }
    // Rows: dy = 1 skips the first and last row; dy = 2 on 4 rows does nothing.
    std::vector<float> acc2(w * h * 4, 0.0f);
    VexoHDRCombineArray(w, h, 0, 2, 1.0f, px.data(), acc2.data());
    EXPECT_EQ(acc2, std::vector<float>(w * h * 4, 0.0f));
    VexoHDRCombineArray(w, h, 0, -1, 1.0f, px.data(), acc2.data());
    for (int x = 0; x < w * 4; ++x) {
        EXPECT_EQ(acc2[x], 0.0f);
        EXPECT_EQ(acc2[(h - 1) * w * 4 + x], 0.0f);
        if (x % 4 != 3) EXPECT_EQ(acc2[w * 4 + x], static_cast<float>(px[2 * w * 4 + x]) * 0.003921569f);
    }
}

TEST(HdrOlderPath, FinalAdjustmentScalesOnlyAboveTwo) {
    std::vector<float> a = {1.9f, 1.9f, 1.9f, 0.5f, 0.2f, 0.1f};
    const auto before = a;
    VexoHDRFinalAdjustment3Channels(2, 1, 0, a.data());
    EXPECT_EQ(a, before);
    std::vector<float> b = {4.0f, 4.0f, 4.0f, 1.0f, 2.0f, 3.0f};
    VexoHDRFinalAdjustment3Channels(2, 1, 0, b.data());
    EXPECT_EQ(b, (std::vector<float>{2.0f, 2.0f, 2.0f, 0.5f, 1.0f, 1.5f}));
    std::vector<float> c = {8.0f, 8.0f, 8.0f, 77.0f};
    VexoHDRFinalAdjustment(1, 1, 0, c.data());
    EXPECT_EQ(c, (std::vector<float>{2.0f, 2.0f, 2.0f, 77.0f}));
    std::vector<float> d = {9.0f, 6.0f, 3.0f};
    VexoHDR_div3Channels(1, 1, 3, d.data());
    EXPECT_EQ(d, (std::vector<float>{9.0f * (1.0f / 3.0f), 6.0f * (1.0f / 3.0f), 3.0f * (1.0f / 3.0f)}));
}

TEST(HdrOlderPath, OverExposureMarkMustBeExact) {
    std::vector<float> a = {3.0f, 6.0f, 9.0f, 0.0f, 1.0f, 1.0f, 1.0f, 255.0f, 1.0f, 1.0f, 1.0f, 254.99f};
    VexoHDRCorrectOverExposure(3, 1, a.data());
    const float m = (3.0f + 9.0f + 6.0f) * 0.33333334f;
    EXPECT_EQ(a, (std::vector<float>{3.0f, 6.0f, 9.0f, 0.0f, m, m, m, 255.0f, 1.0f, 1.0f, 1.0f, 254.99f}));
}

TEST(HdrOlderPath, AverageIsTheMeanGreyTimesNine) {
    const uint8_t one[4] = {10, 20, 31, 99};
    EXPECT_EQ(VexoHDR_Average(4, one), 180);
    const uint8_t two[8] = {0, 0, 3, 0, 255, 255, 255, 0};  // greys 1 and 255
    EXPECT_EQ(VexoHDR_Average(8, two), 128 * 9);
    EXPECT_EQ(VexoHDR_Average(5, two), 128 * 9);  // 5 bytes count as 2 pixels
    EXPECT_EQ(VexoHDR_Average(0, two), 0);
}

TEST(HdrOlderPath, PreviewShowsTheTriangleWeightAsGrey) {
    std::vector<uint8_t> px = {127, 127, 127, 9, 0, 0, 0, 8, 255, 255, 255, 7, 10, 20, 31, 6, 64, 64, 64, 5};
    ASSERT_EQ(VexoHDR_Sine_Weighting_Filter(5, 1, px.data()), 0);
    const auto t = triangle();
    auto code = [&](int g) {
        const float v = static_cast<float>(t[g]) * 255.0f;
        return v > 254.5f ? 255 : v >= 0.5f ? static_cast<int>(v) : 0;
    };
    const int greys[5] = {127, 0, 255, 20, 64};
    const uint8_t alphas[5] = {9, 8, 7, 6, 5};
    for (int i = 0; i < 5; ++i) {
        for (int c = 0; c < 3; ++c) EXPECT_EQ(px[4 * i + c], code(greys[i])) << i;
        EXPECT_EQ(px[4 * i + 3], alphas[i]);
    }
    EXPECT_EQ(px[0], 254);
    EXPECT_EQ(px[4], 0);
    EXPECT_EQ(px[8], 0);
}

}  // namespace
