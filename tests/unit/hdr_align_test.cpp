// Exposure alignment exports: threshold bitmaps, the most frequent grey, every
// error function against a plainly written reference of its ranges, the
// single-precision sum past 2^24, the zone choosers and thread independence.
#include <gtest/gtest.h>
#include <omp.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "effects/effects.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes grey_image(int w, int h, uint8_t g) {
    Bytes v(static_cast<size_t>(w) * h * 4, g);
    for (size_t i = 3; i < v.size(); i += 4) v[i] = 0;
    return v;
}

// Reference bitmap: 0 left of column `edge`, 1 from it on.
Bytes step_bitmap(int w, int h, int edge) {
    Bytes b(static_cast<size_t>(w) * h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) b[y * w + x] = x >= edge ? 1 : 0;
    return b;
}

Bytes random_bitmap(int w, int h, uint32_t seed) {
    std::mt19937 rng(seed);
    Bytes b(static_cast<size_t>(w) * h);
    for (auto& v : b) v = static_cast<uint8_t>(std::uniform_int_distribution<int>(0, 1)(rng));
    return b;
}

// Mean XOR over half-open columns [x0, x1) and rows [y0, y1), summed as a
// float pixel by pixel.
double plain_error(int w, int dx, int dy, const Bytes& r, const Bytes& o, long x0, long x1, long y0, long y1) {
    float sum = 0.0f;
    long count = 0;
    for (long y = y0; y < y1; ++y)
        for (long x = x0; x < x1; ++x) {
            sum += static_cast<float>(r[y * w + x] ^ o[(y - dy) * w + (x - dx)]);
            ++count;
        }
    return count == 0 ? 0.0 : sum / static_cast<double>(count);
}

TEST(HdrBitmap, UniformGreyGivesAnAllDarkBitmap) {
    const int w = 40, h = 30;
    const Bytes px = grey_image(w, h, 100);
    Bytes bits(w * h, 7);
    ASSERT_EQ(VexoHDRCreateAlignMTB(w, h, bits.data(), px.data()), 0);
    EXPECT_EQ(bits, Bytes(w * h, 0));
}

TEST(HdrBitmap, ThresholdMixesMidRangeAndMeanOverOnePixelFewer) {
    // Greys 0, 30, 90, 200 (and alpha ignored): min 0, max 200, sum 320,
    // threshold ((0 + 200) / 2 + 320 / 3) / 2 = 103.3 -> 103.
    const Bytes px = {0, 0, 0, 9, 30, 30, 30, 9, 90, 90, 90, 9, 198, 201, 201, 9};
    Bytes bits(4, 7);
    VexoHDRCreateAlignMTB(2, 2, bits.data(), px.data());
    EXPECT_EQ(bits, (Bytes{0, 0, 0, 1}));
    // Threshold 104 exactly: a grey equal to it counts as dark.
    const Bytes eq = {0, 0, 0, 0, 104, 104, 104, 0, 104, 104, 104, 0, 208, 208, 208, 0};
    VexoHDRCreateAlignMTB(2, 2, bits.data(), eq.data());  // ((0+208)/2 + 416/3) / 2 = 121.3
    EXPECT_EQ(bits, (Bytes{0, 0, 0, 1}));
    Bytes untouched(4, 7);
    VexoHDRCreateAlignMTB(0, 2, untouched.data(), px.data());
    EXPECT_EQ(untouched, Bytes(4, 7));
}

TEST(HdrBitmap, MostFrequentGreyTiesToTheHigherValue) {
    Bytes px;
    for (int i = 0; i < 10; ++i) px.insert(px.end(), {40, 40, 40, 0});
    for (int i = 0; i < 10; ++i) px.insert(px.end(), {200, 200, 200, 0});
    EXPECT_EQ(VexoHDRDetermineMedianValue(20, 1, px.data()), 200);
    EXPECT_EQ(VexoHDRDetermineMedianValue(4, 5, px.data()), 200);
    EXPECT_EQ(VexoHDRDetermineMedianValue(5, 5, grey_image(5, 5, 255).data()), 254);
    EXPECT_EQ(VexoHDRDetermineMedianValue(5, 5, grey_image(5, 5, 0).data()), 254);
    px.insert(px.end(), {40, 40, 40, 0});
    EXPECT_EQ(VexoHDRDetermineMedianValue(21, 1, px.data()), 40);
    EXPECT_EQ(VexoHDRDetermineMedianValue(0, 1, px.data()), 0);
}

TEST(HdrErrors, ZeroForIdenticalBitmapsAtNoShift) {
    const int w = 37, h = 23;
    const Bytes b = random_bitmap(w, h, 3);
    EXPECT_EQ(VexoHDRTotalAlignmentFull(w, h, 0, 0, b.data(), b.data()), 0.0);
    EXPECT_EQ(VexoHDRTotalAlignmentThird(w, h, 0, 0, b.data(), b.data()), 0.0f);
    EXPECT_EQ(VexoHDRTotalAlignmentRegion(w, h, 0, 0, b.data(), b.data(), 2, 30, 1, 20), 0.0);
    for (int z = 1; z <= 5; ++z) EXPECT_EQ(VexoHDRTotalAlignmentZones(w, h, 0, 0, b.data(), b.data(), z), 0.0);
    EXPECT_EQ(VexoHDRTotalAlignmentRotateZones(w, h, 0, 0, b.data(), b.data()), 0.0);
}

TEST(HdrErrors, StepBitmapShiftedByOneColumn) {
    const int w = 30, h = 12;
    const Bytes b = step_bitmap(w, h, 15);
    EXPECT_EQ(VexoHDRTotalAlignmentFull(w, h, 1, 0, b.data(), b.data()), static_cast<double>(h) / ((w - 2) * h));
    EXPECT_EQ(VexoHDRTotalAlignmentFull(w, h, -1, 0, b.data(), b.data()), static_cast<double>(h) / ((w - 2) * h));
    // Central third: columns 11..17 of rows 4..6 contain the edge once per row.
    EXPECT_EQ(VexoHDRTotalAlignmentThird(w, h, 1, 0, b.data(), b.data()), static_cast<float>(3.0 / (7 * 3)));
    EXPECT_EQ(VexoHDRTotalAlignmentZones(w, h, 1, 0, b.data(), b.data(), 6), 0.0);
    EXPECT_EQ(VexoHDRTotalAlignmentZones(w, h, 1, 0, b.data(), b.data(), 0), 0.0);
}

TEST(HdrErrors, EveryAreaMatchesItsPlainRanges) {
    for (const auto [w, h] : {std::pair{31, 17}, std::pair{64, 48}, std::pair{9, 30}}) {
        const Bytes r = random_bitmap(w, h, 11u + w), o = random_bitmap(w, h, 12u + h);
        for (int dy = -3; dy <= 3; ++dy)
            for (int dx = -3; dx <= 3; ++dx) {
                const long ax = std::abs(dx), ay = std::abs(dy);
                EXPECT_EQ(VexoHDRTotalAlignmentFull(w, h, dx, dy, r.data(), o.data()),
                          plain_error(w, dx, dy, r, o, ax, w - ax, ay, h - ay));
                const long w3 = w / 3, h3 = h / 3;
                const double third = plain_error(w, dx, dy, r, o, w3 + ax, w - w3 - ax - 1, h3 + ay, h - h3 - ay - 1);
                EXPECT_EQ(VexoHDRTotalAlignmentThird(w, h, dx, dy, r.data(), o.data()), static_cast<float>(third));
                const long zones[5][4] = {{ax, w - w / 2 - ax, ay, h - h / 2},
                                          {w / 2 + ax, w - ax, ay, h - h / 2},
                                          {w / 4 + ax, w - w / 4 - ax, h / 4 + ay, h - h / 4},
                                          {ax, w - w / 2 - ax, h / 2 + ay, h},
                                          {w / 2 + ax, w - ax, h / 2 + ay, h}};
                for (int z = 0; z < 5; ++z) {
                    const long* t = zones[z];
                    const double want =
                        t[1] - 1 < 1 || t[3] - ay - 1 < 1 ? 0.0
                                                          : plain_error(w, dx, dy, r, o, t[0], t[1] - 1, t[2], t[3] - ay - 1);
                    EXPECT_EQ(VexoHDRTotalAlignmentZones(w, h, dx, dy, r.data(), o.data(), z + 1), want);
                }
                EXPECT_EQ(VexoHDRTotalAlignmentRotateZones(w, h, dx, dy, r.data(), o.data()),
                          plain_error(w, dx, dy, r, o, w / 10 + ax, w - w / 2 - ax - 1, h / 3 + ay, h - h / 3 - ay - 1));
                // A rectangle reaching the far edges stops one short of them
                // (reads stay inside for shifts of 0 and up).
                if (dx >= 0 && dy >= 0)
                    EXPECT_EQ(VexoHDRTotalAlignmentRegion(w, h, dx, dy, r.data(), o.data(), 0, w, 0, h),
                          plain_error(w, dx, dy, r, o, ax, w - 1, ay, h - 1));
                EXPECT_EQ(VexoHDRTotalAlignmentRegion(w, h, dx, dy, r.data(), o.data(), 1, 5, 2, 7),
                          plain_error(w, dx, dy, r, o, 1 + ax, 5 + ax, 2 + ay, 7 + ay));
            }
    }
}

TEST(HdrErrors, RegionNeverComparesTheLastColumn) {
    const int w = 8, h = 6;
    Bytes r(w * h, 0), o(w * h, 0);
    for (int y = 0; y < h; ++y) r[y * w + w - 1] = 1;  // differs only in the last column
    EXPECT_EQ(VexoHDRTotalAlignmentRegion(w, h, 0, 0, r.data(), o.data(), 0, w, 0, h), 0.0);
    EXPECT_EQ(VexoHDRTotalAlignmentRegion(w, h, 0, 0, r.data(), o.data(), 0, w, 4, 4), 0.0);
    EXPECT_GT(VexoHDRTotalAlignmentFull(w, h, 0, 0, r.data(), o.data()), 0.0);
}

TEST(HdrErrors, SinglePrecisionSumStopsAtTwoToThe24) {
    const int w = 4200, h = 4200;  // 17.64 million differing pixels
    const Bytes r(static_cast<size_t>(w) * h, 1), o(static_cast<size_t>(w) * h, 0);
    EXPECT_EQ(VexoHDRTotalAlignmentFull(w, h, 0, 0, r.data(), o.data()), 16777216.0 / (double(w) * h));
    EXPECT_EQ(VexoHDRTotalAlignmentThird(w, h, 0, 0, r.data(), o.data()), 1.0f);
}

TEST(HdrErrors, EmptyImagesGiveZero) {
    const Bytes b(16, 1), c(16, 0);
    EXPECT_EQ(VexoHDRTotalAlignmentFull(0, 4, 0, 0, b.data(), c.data()), 0.0);
    EXPECT_EQ(VexoHDRTotalAlignmentThird(4, -1, 0, 0, b.data(), c.data()), 0.0f);
    EXPECT_EQ(VexoHDRTotalAlignmentFull(4, 4, 2, 0, b.data(), c.data()), 0.0);  // no column left
    EXPECT_EQ(VexoHDRDetermineBestZone(0, 4, b.data()), 0);
    EXPECT_EQ(VexoHDRDetermineWorstZone(4, 0, b.data()), 0);
}

// Zone scores written out plainly.
int plain_zone(int w, int h, const Bytes& px, bool best) {
    const int w2 = w / 2, h2 = h / 2, w3 = w / 3, h3 = h / 3;
    const int z[5][5] = {{0, h - h2 - 2, 0, w - w2 - 2, (h - h2 - 2) * (w - w2 - 2)},
                         {0, h - h2 - 2, w2, w - 2, (w - 1 - w2 - 1) * (h - h2 - 2)},
                         {h3, h - h3 - 2, w3, w - w3 - 2, (h - h3 - 1 - h3 - 1) * (w - w3 - 1 - w3 - 1)},
                         {h2, h - 2, 0, w - w2 - 2, (h - 1 - h2 - 1) * (w - w2 - 2)},
                         {h2, h - 2, w2, w - 2, (h - 1 - h2 - 1) * (w - 1 - w2 - 1)}};
    int score[5];
    for (int k = 0; k < 5; ++k) {
        long hist[256] = {}, sum = 0;
        for (int y = z[k][0]; y <= z[k][1]; ++y)
            for (int x = z[k][2]; x <= z[k][3]; ++x) {
                const uint8_t* p = &px[(y * w + x) * 4];
                const int g = (p[0] + p[1] + p[2]) / 3;
                ++hist[g];
                sum += g;
            }
        long p = 0;
        for (int i = 0; i < 256; ++i)
            if (p < hist[i]) p = i;
        score[k] = std::abs(static_cast<int>((sum / z[k][4] + p) / 2) - 128);
    }
    for (int k = 0; k < 4; ++k) {
        bool wins = true;
        for (int o = 0; o < 5; ++o)
            if (o != k && !(best ? score[k] < score[o] : score[k] > score[o])) wins = false;
        if (wins) return k + 1;
    }
    return 5;
}

TEST(HdrZones, ChoosersMatchThePlainScores) {
    std::mt19937 rng(9);
    for (int trial = 0; trial < 40; ++trial) {
        const int w = std::uniform_int_distribution<int>(8, 70)(rng), h = std::uniform_int_distribution<int>(8, 50)(rng);
        Bytes px(static_cast<size_t>(w) * h * 4);
        // Quadrants of different brightness with some noise.
        const int base[4] = {std::uniform_int_distribution<int>(0, 255)(rng), std::uniform_int_distribution<int>(0, 255)(rng),
                             std::uniform_int_distribution<int>(0, 255)(rng), std::uniform_int_distribution<int>(0, 255)(rng)};
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                for (int c = 0; c < 4; ++c) {
                    const int q = (y >= h / 2) * 2 + (x >= w / 2);
                    px[(y * w + x) * 4 + c] =
                        static_cast<uint8_t>(std::clamp(base[q] + std::uniform_int_distribution<int>(-9, 9)(rng), 0, 255));
                }
        EXPECT_EQ(VexoHDRDetermineBestZone(w, h, px.data()), plain_zone(w, h, px, true)) << w << "x" << h;
        EXPECT_EQ(VexoHDRDetermineWorstZone(w, h, px.data()), plain_zone(w, h, px, false)) << w << "x" << h;
    }
}

TEST(HdrZones, TiesGoToZoneFive) {
    // Black everywhere: every zone's mean and peak are 0, every score 128.
    const Bytes px = grey_image(40, 30, 0);
    EXPECT_EQ(VexoHDRDetermineBestZone(40, 30, px.data()), 5);
    EXPECT_EQ(VexoHDRDetermineWorstZone(40, 30, px.data()), 5);
    // A uniform grey is no tie: each zone divides its sum by a slightly
    // smaller count than it has pixels, and the smaller zones lift more.
    const Bytes grey = grey_image(40, 30, 128);
    EXPECT_EQ(VexoHDRDetermineBestZone(40, 30, grey.data()), plain_zone(40, 30, grey, true));
}

TEST(HdrAlignExports, SameResultsWithOneTwoAndSevenThreads) {
    const int w = 613, h = 411;
    std::mt19937 rng(1);
    Bytes px(static_cast<size_t>(w) * h * 4);
    for (auto& b : px) b = static_cast<uint8_t>(std::uniform_int_distribution<int>(0, 255)(rng));
    const Bytes other = random_bitmap(w, h, 2);
    std::vector<Bytes> bitmaps;
    std::vector<double> errors;
    for (int threads : {1, 2, 7}) {
        omp_set_num_threads(threads);
        Bytes bits(static_cast<size_t>(w) * h);
        VexoHDRCreateAlignMTB(w, h, bits.data(), px.data());
        bitmaps.push_back(bits);
        errors.push_back(VexoHDRTotalAlignmentFull(w, h, 3, -2, bits.data(), other.data()));
        errors.push_back(VexoHDRTotalAlignmentThird(w, h, -5, 1, bits.data(), other.data()));
        errors.push_back(VexoHDRDetermineMedianValue(w, h, px.data()));
        errors.push_back(VexoHDRDetermineBestZone(w, h, px.data()));
        errors.push_back(VexoHDR_Average(w * h * 4, px.data()));
    }
    omp_set_num_threads(omp_get_num_procs());
    EXPECT_EQ(bitmaps[0], bitmaps[1]);
    EXPECT_EQ(bitmaps[0], bitmaps[2]);
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(errors[i], errors[5 + i]) << i;
        EXPECT_EQ(errors[i], errors[10 + i]) << i;
    }
}

}  // namespace
