// Hand-worked cases of the histogram and exposure exports: the white image,
// the red and blue bins, the figures' start values, a count of 0, the
// channel numberings and the over/under-exposure boundaries.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "effects/effects.h"

namespace {

std::vector<uint8_t> pixels32(std::initializer_list<std::array<uint8_t, 4>> px) {
    std::vector<uint8_t> v;
    for (const auto& p : px) v.insert(v.end(), p.begin(), p.end());
    return v;
}

struct Figs {
    double mn = -1, mx = -1, mnz = 1e10, sum = -1;
};

TEST(HistogramGolden, AllWhiteImage) {
    const int n = 9;
    std::vector<uint8_t> img(n * 4, 255);
    std::vector<float> h(256, 0.0f);
    Figs f;
    EXPECT_EQ(Histogram32Fast(n * 4, img.data(), h.data(), &f.mn, &f.mx, &f.mnz, &f.sum), n * 4);
    EXPECT_EQ(h[255], 9.0f);
    EXPECT_EQ(f.mn, 255.0);
    EXPECT_EQ(f.mx, 255.0);
    EXPECT_EQ(f.mnz, 255.0);
    EXPECT_EQ(f.sum, 255.0 * n);
    // 15-bit white (32767 per channel) lands in the same bin.
    std::vector<uint16_t> w(n * 4, 32767);
    std::vector<float> h64(256, 0.0f);
    Histogram64Lean(n * 4, w.data(), h64.data());
    EXPECT_EQ(h64[255], 9.0f);
}

TEST(HistogramGolden, PureRedAt54AndPureBlueAt18) {
    const auto img = pixels32({{0, 0, 255, 255}, {255, 0, 0, 255}});
    std::vector<float> h(256, 0.0f);
    Figs f;
    Histogram32Fast(8, img.data(), h.data(), &f.mn, &f.mx, &f.mnz, &f.sum);
    EXPECT_EQ(h[54], 1.0f);  // 255 x 0.2125 = 54.19
    EXPECT_EQ(h[18], 1.0f);  // 255 x 0.0721 = 18.39
    EXPECT_EQ(f.mn, 18.0);
    EXPECT_EQ(f.mx, 54.0);
    EXPECT_EQ(f.sum, 72.0);
    // In the RGBEA member byte 0 weighs as red: a pixel with only byte 0 lit
    // (mantissa 255, exponent 128: 0.998 after decoding) bins at 54.
    const uint8_t rgbea[10] = {255, 0, 0, 128, 255, 0, 0, 255, 128, 255};
    std::vector<float> h128(256, 0.0f);
    Histogram128Lean(2, 1, rgbea, h128.data());
    EXPECT_EQ(h128[54], 1.0f);
    EXPECT_EQ(h128[18], 1.0f);
}

TEST(HistogramGolden, MinNonZeroStartsFromTheCallersValue) {
    const auto img = pixels32({{0, 0, 0, 0}, {255, 0, 0, 0}, {0, 0, 255, 0}});
    std::vector<float> h(256, 0.0f);
    Figs f;
    f.mnz = 10.0;  // below every lit bin: stays
    Histogram32Fast(12, img.data(), h.data(), &f.mn, &f.mx, &f.mnz, &f.sum);
    EXPECT_EQ(f.mnz, 10.0);
    EXPECT_EQ(f.mn, 0.0);
    f.mnz = 100.0;  // above: the smallest non-zero bin replaces it
    Histogram32Fast(12, img.data(), h.data(), &f.mn, &f.mx, &f.mnz, &f.sum);
    EXPECT_EQ(f.mnz, 18.0);
    EXPECT_EQ(h[0], 2.0f);  // the histogram accumulates: never cleared
}

TEST(HistogramGolden, CountZeroLeavesTheHistogramAndWritesStartFigures) {
    std::vector<float> h(256, 3.0f);
    Figs f;
    f.mnz = 5.0;
    const uint8_t one[4] = {1, 2, 3, 4};
    EXPECT_EQ(Histogram32Fast(0, one, h.data(), &f.mn, &f.mx, &f.mnz, &f.sum), 0);
    EXPECT_EQ(h, std::vector<float>(256, 3.0f));
    EXPECT_EQ(f.sum, 0.0);
    EXPECT_EQ(f.mn, 1e10);
    EXPECT_EQ(f.mx, 1e-10);
    EXPECT_EQ(f.mnz, 5.0);
    EXPECT_EQ(Histogram32Lean(-4, one, h.data()), -4);
    EXPECT_EQ(HistogramChannel32Lean(0, one, h.data(), 1), 0);
    EXPECT_EQ(Histogram128Lean(0, 5, one, h.data()), 0);
    EXPECT_EQ(h, std::vector<float>(256, 3.0f));
}

TEST(HistogramGolden, CountWalksWholePixels) {
    // Counts 1..4 walk one pixel, 5 walks two: ((count - 1) / 4) + 1.
    const auto img = pixels32({{255, 255, 255, 0}, {255, 255, 255, 0}});
    for (int count : {1, 4, 5}) {
        std::vector<float> h(256, 0.0f);
        EXPECT_EQ(Histogram32Lean(count, img.data(), h.data()), count);
        EXPECT_EQ(h[255], count == 5 ? 2.0f : 1.0f);
    }
}

TEST(HistogramGolden, ChannelNumberings) {
    const auto img = pixels32({{10, 20, 30, 40}});
    for (int offset = 0; offset < 4; ++offset) {
        std::vector<float> h(256, 0.0f);
        HistogramChannel32Lean(4, img.data(), h.data(), offset);
        EXPECT_EQ(h[10 * (offset + 1)], 1.0f) << offset;
    }
    // 15-bit words divided by 128, truncating toward zero; a word above 32767
    // reads as negative and has no bin, but counts in the figures.
    const uint16_t w[8] = {300, 1280, 32767, 0, 65535, 40000, 0, 0};
    std::vector<float> h(256, 0.0f);
    Figs f;
    HistogramChannel64Fast(8, w, h.data(), &f.mn, &f.mx, &f.mnz, &f.sum, 1);
    EXPECT_EQ(h[10], 1.0f);
    EXPECT_EQ(f.mn, -199.0);  // (40000 - 65536) / 128
    EXPECT_EQ(f.mx, 10.0);
    EXPECT_EQ(f.sum, -189.0);
    HistogramChannel64Lean(8, w, h.data(), 0);
    EXPECT_EQ(h[2], 1.0f);  // 300 / 128
    EXPECT_EQ(h[0], 1.0f);  // 65535 is -1: -1 / 128 = 0
    // RGBEA: 0 is red (byte 2), 2 is blue (byte 0). Exponent 129: 2x.
    const uint8_t ea[5] = {16, 64, 128, 129, 255};
    const int want[3] = {255, 128, 32};  // (m + 0.5) / 128 x 255, clamped
    for (int c = 0; c < 3; ++c) {
        std::vector<float> hc(256, 0.0f);
        HistogramChannel128Lean(1, 1, ea, hc.data(), c);
        EXPECT_EQ(hc[want[c]], 1.0f) << c;
    }
}

TEST(HistogramGolden, Rgbea128FastFloorsAtOneHundredMillionth) {
    const uint8_t ea[10] = {0, 0, 0, 0, 9, 100, 0, 0, 120, 9};  // a black pixel, then blue 100 at 2^-8
    std::vector<float> h(256, 0.0f);
    Figs f;
    HistogramChannel128Fast(2, 1, ea, h.data(), &f.mn, &f.mx, &f.mnz, &f.sum, 2);
    EXPECT_EQ(f.mn, static_cast<double>(1e-8f));
    EXPECT_EQ(f.mnz, static_cast<double>(1e-8f));
    EXPECT_EQ(f.mx, 100.5 / 65536.0);
    EXPECT_EQ(h[0], 2.0f);
    // Channel 3 selects nothing: every pixel bins the start value again.
    std::vector<float> h3(256, 0.0f);
    HistogramChannel128Fast(2, 1, ea, h3.data(), &f.mn, &f.mx, &f.mnz, &f.sum, 3);
    EXPECT_EQ(h3[0], 2.0f);
    EXPECT_EQ(f.sum, 2.0 * static_cast<double>(1e-8f));
}

TEST(ExposureGolden, DynamicRangeFigures) {
    const auto img = pixels32({{0, 0, 255, 0}, {0, 0, 0, 0}, {255, 255, 255, 0}});
    double mn, mx, unused = 3, sum;
    EXPECT_EQ(DynamicRange32Fast(12, img.data(), &mn, &mx, &unused, &sum), 12);
    EXPECT_EQ(mn, 0.0);
    EXPECT_EQ(mx, static_cast<double>(255 * 0.0721f + 255 * 0.2125f + 255 * 0.7154f));
    EXPECT_EQ(sum, static_cast<double>(255 * 0.2125f) + 0.0 + mx);
    EXPECT_EQ(unused, 3.0);
    // The second minimum follows the minimum: 5, 1, 3 leaves 5, not 3.
    const float f[12] = {5, 5, 5, 0, 1, 1, 1, 0, 3, 3, 3, 0};
    double second;
    DynamicRange128Fast(12, f, &mn, &mx, &second, &sum);
    EXPECT_EQ(mn, static_cast<double>(1 * 0.0721f + 1 * 0.2125f + 1 * 0.7154f));
    EXPECT_EQ(second, static_cast<double>(5 * 0.0721f + 5 * 0.2125f + 5 * 0.7154f));
}

TEST(ExposureGolden, TemperatureOfTheBrightestPixel) {
    const auto img = pixels32({{1, 2, 3, 0}, {100, 50, 10, 0}, {10, 50, 100, 0}, {90, 60, 9, 0}});
    uint16_t b = 0, g = 0, r = 0;
    EXPECT_EQ(DetermineTemperature32(16, img.data(), &b, &g, &r), 16);
    EXPECT_EQ(b, 100);  // the first of the two 160s
    EXPECT_EQ(g, 50);
    EXPECT_EQ(r, 10);
    const auto black = pixels32({{0, 0, 0, 9}});
    b = g = r = 7;
    DetermineTemperature32(4, black.data(), &b, &g, &r);
    EXPECT_EQ(b + g + r, 21);  // nothing written
}

TEST(ExposureGolden, OverUnderBoundaries) {
    auto img = pixels32({{254, 255, 255, 1}, {255, 255, 255, 2}, {0, 0, 2, 3}, {0, 0, 3, 4}});
    EXPECT_EQ(VexoOverUnderExposedPixels32(2, 2, img.data()), 0);
    EXPECT_EQ(img, pixels32({{254, 255, 255, 1}, {0, 0, 255, 2}, {255, 0, 0, 3}, {0, 0, 3, 4}}));
}

}  // namespace
