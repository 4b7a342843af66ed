// Properties of the conversion exports: round trips between formats, the
// padded bottom-up 24-bit rows, guard bytes after every buffer, empty and
// negative sizes, and bytes that do not depend on the number of threads.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "test_support.hpp"

namespace efx_test {
namespace {

// ---- Round trips -------------------------------------------------------------------

TEST(ConversionProperty, EightBitThroughFifteenBitIsIdentity) {
    std::vector<uint8_t> in(256);
    for (int v = 0; v < 256; ++v) in[v] = static_cast<uint8_t>(v);
    std::vector<uint16_t> mid(256);
    std::vector<uint8_t> out(256, 0x77);
    EXPECT_EQ(Convert32to64Fast(256, in.data(), mid.data()), 256);
    EXPECT_EQ(Convert64to32Fast(256, out.data(), mid.data()), 256);
    EXPECT_EQ(out, in);
}

TEST(ConversionProperty, EightBitThroughFloatIsIdentity) {
    std::vector<uint8_t> in(256);
    for (int v = 0; v < 256; ++v) in[v] = static_cast<uint8_t>(v);
    std::vector<float> mid(256);
    std::vector<uint8_t> out(256, 0x77);
    EXPECT_EQ(Convert32to128Fast(256, in.data(), mid.data()), 256);
    EXPECT_EQ(Convert128to32Fast(256, out.data(), mid.data()), 256);
    EXPECT_EQ(out, in);
}

TEST(ConversionProperty, FloatThroughRgbeaStaysWithinOneMantissaStep) {
    std::mt19937 rng(20240611);
    const int w = 4096;
    std::vector<float> in(4 * w), out(4 * w);
    for (int p = 0; p < w; ++p) {
        for (int k = 0; k < 3; ++k) {
            const float m = std::uniform_real_distribution<float>(0.0f, 1.0f)(rng);
            in[4 * p + k] = std::ldexp(m, std::uniform_int_distribution<int>(-60, 60)(rng));
        }
        in[4 * p + 3] = std::uniform_real_distribution<float>(0.0f, 1.0f)(rng);
    }
    std::vector<uint8_t> rgbea(5 * w);
    ASSERT_EQ(Convert128RGBAtoRGBEA(w, 1, in.data(), rgbea.data()), 0);
    ASSERT_EQ(ConvertRGBEAto128RGBA(w, 1, rgbea.data(), out.data()), 0);
    for (int p = 0; p < w; ++p) {
        const float m = std::max(in[4 * p], std::max(in[4 * p + 1], in[4 * p + 2]));
        if (m < 1e-32f) continue;
        int e = 0;
        std::frexp(m, &e);
        const double step = std::ldexp(1.0, e - 8);  // one unit of the 8-bit mantissa
        for (int k = 0; k < 3; ++k)
            EXPECT_LE(std::fabs(static_cast<double>(out[4 * p + k]) - in[4 * p + k]), step) << "pixel " << p;
        EXPECT_LE(std::fabs(out[4 * p + 3] - in[4 * p + 3]), 1.0f / 255.0f);
    }
}

TEST(ConversionProperty, HighDynamicRangeSurvivesRgbeaButClampsInEightBits) {
    const std::vector<float> two = {2.0f, 2.0f, 2.0f, 1.0f};
    std::vector<uint8_t> rgbea(5);
    std::vector<float> back(4);
    ASSERT_EQ(Convert128RGBAtoRGBEA(1, 1, two.data(), rgbea.data()), 0);
    EXPECT_EQ(rgbea, (std::vector<uint8_t>{128, 128, 128, 130, 255}));
    ASSERT_EQ(ConvertRGBEAto128RGBA(1, 1, rgbea.data(), back.data()), 0);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(back[k], 2.0078125f);  // (128 + 0.5) * 2^-6
    EXPECT_EQ(back[3], 1.0f);

    std::vector<uint8_t> bytes(4);
    ASSERT_EQ(Convert128to32Fast(4, bytes.data(), two.data()), 4);
    EXPECT_EQ(bytes, (std::vector<uint8_t>{255, 255, 255, 255}));
}

TEST(ConversionProperty, ChannelReversalsAreInverses) {
    const int w = 13, h = 5;
    const std::vector<uint8_t> bgra = random_image(Fmt::Bgra8, w, h, 5);
    std::vector<uint8_t> rgb(3 * w * h), back(4 * w * h);
    ASSERT_EQ(Convert32BIT_4to3ChannelsFast(w, h, bgra.data(), rgb.data()), 0);
    ASSERT_EQ(Convert32BIT_3to4ChannelsFast(w, h, back.data(), rgb.data()), 0);
    for (size_t p = 0; p < static_cast<size_t>(w * h); ++p) {
        for (int k = 0; k < 3; ++k) EXPECT_EQ(back[4 * p + k], bgra[4 * p + k]);
        EXPECT_EQ(back[4 * p + 3], 255);
    }

    const std::vector<uint8_t> rgbf = random_image(Fmt::RgbFloat, w, h, 6);
    std::vector<uint8_t> rgbaf(16 * w * h), rgbf2(12 * w * h);
    ASSERT_EQ(Convert128BIT_3to4ChannelsFast(w, h, reinterpret_cast<float*>(rgbaf.data()),
                                             reinterpret_cast<const float*>(rgbf.data())),
              0);
    ASSERT_EQ(Convert32BITto24BITFast(w, h, reinterpret_cast<const float*>(rgbaf.data()),
                                      reinterpret_cast<float*>(rgbf2.data())),
              0);
    EXPECT_EQ(rgbf2, rgbf);  // bit for bit, NaNs included
}

// ---- Rgb8 rows: padding and bottom-up order -------------------------------------------------

TEST(ConversionProperty, TwentyFourBitRowsArePaddedAndFlipped) {
    const int pads[] = {1, 2, 3, 0, 1};
    const int h = 3;
    for (int w = 1; w <= 5; ++w) {
        SCOPED_TRACE("width " + std::to_string(w));
        const size_t stride = 3 * static_cast<size_t>(w) + pads[w - 1];
        EXPECT_EQ(stride % 4, 0u);
        // Pixel bytes name their row and column; pad bytes carry a marker.
        std::vector<uint8_t> outs[2];
        const uint8_t markers[2] = {0x00, 0xEE};
        for (int run = 0; run < 2; ++run) {
            Guarded src(stride * h, markers[run]);
            for (int r = 0; r < h; ++r)
                for (int x = 0; x < w; ++x)
                    for (int k = 0; k < 3; ++k) src.data()[r * stride + 3 * x + k] = static_cast<uint8_t>(16 * r + 3 * x + k + 1);
            Guarded dst(4 * static_cast<size_t>(w) * h);
            ASSERT_EQ(Convert24to32Fast(w, h, src.data(), dst.data()), 0);
            EXPECT_TRUE(dst.guards_intact());
            outs[run] = dst.payload();
        }
        EXPECT_EQ(outs[0], outs[1]) << "pad bytes reached the output";
        for (int y = 0; y < h; ++y) {
            const int r = h - 1 - y;  // the last source row lands in the first destination row
            for (int x = 0; x < w; ++x) {
                const uint8_t* o = outs[0].data() + 4 * (y * w + x);
                for (int k = 0; k < 3; ++k) EXPECT_EQ(o[k], 16 * r + 3 * x + k + 1) << "y " << y << " x " << x;
                EXPECT_EQ(o[3], 255);
            }
        }
    }
}

// ---- Empty and negative sizes --------------------------------------------------------------

TEST(ConversionProperty, EmptyAndNegativeSizesTouchNothing) {
    const int sizes[][2] = {{0, 0}, {0, 3}, {3, 0}, {-1, 3}, {3, -1}, {-2, -2}, {-5, 0}, {0, -5}};
    for (const Conversion& c : conversions()) {
        SCOPED_TRACE(c.name);
        for (const auto& sz : sizes) {
            const int w = sz[0], h = sz[1];
            if (c.count_form && w * h * 4 > 0) continue;  // a positive count is not empty
            SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
            Guarded src(0), dst(0);
            EXPECT_EQ(c.call(w, h, src.data(), dst.data()), c.expected_result(w, h));
            EXPECT_TRUE(dst.all_guard());
            EXPECT_TRUE(src.all_guard());
        }
        // With nothing to do a member does not even look at its pointers.
        EXPECT_EQ(c.call(0, 0, nullptr, nullptr), 0);
        if (!c.count_form) {
            EXPECT_EQ(c.call(4, 0, nullptr, nullptr), 0);
        }
    }
    std::vector<uint8_t> guard(64, kGuard);
    EXPECT_EQ(Convert128to32Fast(-4, guard.data(), reinterpret_cast<const float*>(guard.data())), -4);
    EXPECT_EQ(Convert32toRGBE(-8, guard.data(), guard.data() + 32), -8);
    EXPECT_EQ(Convert64to32Screen(-4, guard.data(), reinterpret_cast<const uint16_t*>(guard.data() + 32)), 0);
    EXPECT_EQ(guard, std::vector<uint8_t>(64, kGuard));
}

// ---- Thread count independence and guard bytes ----------------------------------------------

class ConversionThreads : public ::testing::TestWithParam<size_t> {
protected:
    void SetUp() override { default_threads_ = omp_get_max_threads(); }
    void TearDown() override { omp_set_num_threads(default_threads_); }
    int default_threads_ = 1;
};

TEST_P(ConversionThreads, SameBytesWithOneTwoAndSevenThreads) {
    const Conversion& c = conversions()[GetParam()];
    const int w = 257, h = 131;
    const std::vector<uint8_t> in = random_image(c.src, w, h, seed_for(c.name, 1, 7));
    std::vector<uint8_t> first;
    for (int threads : {1, 2, 7}) {
        SCOPED_TRACE(std::to_string(threads) + " threads");
        omp_set_num_threads(threads);
        Guarded src(in.size());
        std::memcpy(src.data(), in.data(), in.size());
        Guarded dst(image_bytes(c.dst, w, h));
        EXPECT_EQ(c.call(w, h, src.data(), dst.data()), c.expected_result(w, h));
        EXPECT_TRUE(dst.guards_intact()) << "wrote outside the destination";
        EXPECT_TRUE(src.guards_intact());
        if (first.empty()) {
            first = dst.payload();
        } else {
            const long at = first_difference(dst.payload(), first);
            EXPECT_EQ(at, -1) << "bytes differ from the single-thread run at byte " << at;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AllExports, ConversionThreads, ::testing::Range<size_t>(0, conversions().size()),
                         ConversionName());

}  // namespace
}  // namespace efx_test
