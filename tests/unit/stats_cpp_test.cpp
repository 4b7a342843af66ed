// The C++ statistics: histograms of any format agree with the legacy
// members and with each other across strides, the HDR range report and its
// low percentile, bracket clipping, and the errors of the checked entries.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "effects/stats.hpp"
#include "test_support.hpp"

namespace {

using effects::Bgra8;
using effects::Image;
using effects::ImageView;

template <class Fmt>
Image<Fmt> random_owned(efx_test::Fmt f, int w, int h, uint32_t seed) {
    Image<Fmt> im(w, h);
    const auto bytes = efx_test::random_image(f, w, h, seed);
    std::memcpy(im.data(), bytes.data(), bytes.size());
    return im;
}

std::vector<float> as_floats(const effects::Histogram& h) { return {h.begin(), h.end()}; }

TEST(StatsApi, LuminanceHistogramMatchesTheLegacyMembers) {
    const auto b8 = random_owned<Bgra8>(efx_test::Fmt::Bgra8, 123, 45, 11);
    std::vector<float> legacy(256, 0.0f);
    Histogram32Lean(123 * 45 * 4, b8.data(), legacy.data());
    EXPECT_EQ(as_floats(effects::luminance_histogram(b8)), legacy);

    const auto w16 = random_owned<effects::Rgba16>(efx_test::Fmt::Rgba16, 37, 29, 12);
    std::vector<float> legacy16(256, 0.0f);
    Histogram64Lean(37 * 29 * 4, reinterpret_cast<const uint16_t*>(w16.data()), legacy16.data());
    EXPECT_EQ(as_floats(effects::luminance_histogram(w16)), legacy16);
}

TEST(StatsApi, ChannelHistogramsMatchTheLegacyMembersAndIgnoreStride) {
    const int w = 51, h = 17;
    const auto img = random_owned<Bgra8>(efx_test::Fmt::Bgra8, w, h, 13);
    const effects::ChannelHistograms ch = effects::channel_histograms(img);
    EXPECT_TRUE(ch.has_alpha);
    const effects::Histogram* parts[] = {&ch.blue, &ch.green, &ch.red, &ch.alpha};
    for (int offset = 0; offset < 4; ++offset) {
        std::vector<float> legacy(256, 0.0f);
        HistogramChannel32Lean(w * h * 4, img.data(), legacy.data(), offset);
        EXPECT_EQ(as_floats(*parts[offset]), legacy) << offset;
    }
    // The same pixels with 12 spare bytes per row.
    std::vector<uint8_t> padded(static_cast<size_t>(w * 4 + 12) * h, 0xEE);
    for (int y = 0; y < h; ++y) std::memcpy(&padded[static_cast<size_t>(y) * (w * 4 + 12)], img.data() + y * w * 4, w * 4);
    const ImageView<const Bgra8> view(padded.data(), w, h, w * 4 + 12);
    const auto ch2 = effects::channel_histograms(view);
    EXPECT_EQ(ch2.red, ch.red);
    EXPECT_EQ(ch2.alpha, ch.alpha);
    EXPECT_EQ(effects::luminance_histogram(view), effects::luminance_histogram(img));
}

TEST(StatsApi, EveryFormatCountsEveryPixelOnce) {
    auto check = [](auto img) {
        const auto lum = effects::luminance_histogram(img);
        const auto ch = effects::channel_histograms(img);
        uint64_t total = 0, red = 0, alpha = 0;
        for (int i = 0; i < 256; ++i) total += lum[i], red += ch.red[i], alpha += ch.alpha[i];
        const uint64_t n = static_cast<uint64_t>(img.width()) * img.height();
        EXPECT_EQ(total, n);
        EXPECT_EQ(red, n);
        EXPECT_EQ(alpha, ch.has_alpha ? n : 0);
    };
    check(random_owned<effects::RgbaFloat>(efx_test::Fmt::RgbaFloat, 9, 7, 1));
    check(random_owned<effects::Rgbe>(efx_test::Fmt::Rgbe, 9, 7, 2));
    check(random_owned<effects::Rgbea>(efx_test::Fmt::Rgbea, 9, 7, 3));
    check(random_owned<effects::Rgb8>(efx_test::Fmt::Rgb8, 5, 7, 4));
    check(random_owned<effects::Rgb8Packed>(efx_test::Fmt::Rgb8Packed, 9, 7, 5));
    check(random_owned<effects::Rgb16>(efx_test::Fmt::Rgb16, 9, 7, 6));
    check(random_owned<effects::RgbFloat>(efx_test::Fmt::RgbFloat, 9, 7, 7));
}

TEST(StatsApi, SameCountsWithOneTwoAndSevenThreads) {
    const auto img = random_owned<effects::Rgbea>(efx_test::Fmt::Rgbea, 301, 77, 21);
    const int saved = omp_get_max_threads();
    omp_set_num_threads(1);
    const auto one = effects::channel_histograms(img);
    for (int t : {2, 7}) {
        omp_set_num_threads(t);
        const auto many = effects::channel_histograms(img);
        EXPECT_EQ(many.red, one.red);
        EXPECT_EQ(many.blue, one.blue);
    }
    omp_set_num_threads(saved);
}

// A grey RgbFloat image whose pixel i has value values[i].
Image<effects::RgbFloat> grey(const std::vector<float>& values) {
    Image<effects::RgbFloat> im(static_cast<int32_t>(values.size()), 1);
    for (size_t i = 0; i < values.size(); ++i)
        for (int k = 0; k < 3; ++k) efx_test::store_f(im.data(), 3 * i + k, values[i]);
    return im;
}
double grey_luminance(float v) { return v * 0.0721f + v * 0.2125f + v * 0.7154f; }

TEST(StatsApi, HdrRangeInStopsWithALowPercentile) {
    std::vector<float> values;
    for (int i = 1; i <= 1000; ++i) values.push_back(static_cast<float>(i) / 64.0f);
    values.push_back(0.0f);  // one black pixel does not make the range endless
    const auto img = grey(values);
    const effects::RangeReport r = effects::hdr_range(img, 0.01);
    EXPECT_EQ(r.pixels, 1001);
    EXPECT_EQ(r.positive_pixels, 1000);
    EXPECT_EQ(r.min_luminance, grey_luminance(1.0f / 64));
    EXPECT_EQ(r.max_luminance, grey_luminance(1000.0f / 64));
    EXPECT_EQ(r.low_luminance, grey_luminance(10.0f / 64));  // floor(0.01 x 999) = 9: the 10th smallest
    EXPECT_DOUBLE_EQ(r.stops, std::log2(r.max_luminance / r.low_luminance));
    EXPECT_NEAR(r.stops, std::log2(100.0), 1e-6);
    EXPECT_EQ(effects::hdr_range(img, 0.0).low_luminance, r.min_luminance);
    EXPECT_EQ(effects::hdr_range(img).low_percentile, effects::kDefaultLowPercentile);

    const effects::RangeReport black = effects::hdr_range(grey({0.0f, -1.0f}));
    EXPECT_EQ(black.positive_pixels, 0);
    EXPECT_EQ(black.stops, 0.0);
}

// The low value against a full sort, on values that share the top bits the
// search goes by (runs of one bucket), with NaN, negatives, zeros, +inf and
// subnormals among them, at several percentiles and thread counts.
TEST(StatsApi, HdrRangeLowValueAgreesWithASort) {
    std::mt19937 rng(5);
    std::vector<float> values;
    for (int i = 0; i < 5000; ++i) {
        const uint32_t r = rng();
        float v = std::ldexp(1.0f + static_cast<float>(r % 64) / 65536.0f, static_cast<int>(r >> 26) - 40);
        if (r % 97 == 0) v = std::numeric_limits<float>::quiet_NaN();
        if (r % 89 == 0) v = -v;
        if (r % 83 == 0) v = 0.0f;
        if (r % 1009 == 0) v = std::numeric_limits<float>::infinity();
        if (r % 71 == 0) v = std::numeric_limits<float>::denorm_min() * static_cast<float>(r % 5 + 1);
        values.push_back(v);
    }
    const auto img = grey(values);
    std::vector<float> lum;
    for (float v : values)
        if (const float l = static_cast<float>(grey_luminance(v)); l > 0.0f) lum.push_back(l);
    std::sort(lum.begin(), lum.end());
    const int threads = omp_get_max_threads();
    for (int t : {1, 2, 7}) {
        omp_set_num_threads(t);
        for (double q : {0.0, 0.001, 0.25, 0.5, 0.999}) {
            const effects::RangeReport r = effects::hdr_range(img, q);
            ASSERT_EQ(r.positive_pixels, static_cast<int64_t>(lum.size()));
            EXPECT_EQ(r.low_luminance, lum[static_cast<size_t>(std::floor(q * static_cast<double>(lum.size() - 1)))])
                << q << " with " << t << " threads";
            EXPECT_EQ(r.min_luminance, lum.front());
            EXPECT_EQ(r.max_luminance, lum.back());
        }
    }
    omp_set_num_threads(threads);
    // One value per bucket: every k falls on a bucket's first value.
    const auto steps = grey({3.0f, 1.0f, 2.0f, 0.0f, 5.0f, 4.0f});
    for (int k = 0; k < 4; ++k)
        EXPECT_EQ(effects::hdr_range(steps, (k + 0.5) / 4.0).low_luminance, grey_luminance(static_cast<float>(k + 1)));
}

TEST(StatsApi, BracketClippingPerFrame) {
    std::vector<Image<Bgra8>> frames;
    for (int f = 0; f < 3; ++f) {
        Image<Bgra8> im(10, 10);
        std::memset(im.data(), 128, 400);
        for (int i = 0; i < 10 * f; ++i) im.data()[4 * i + 1] = 255;       // over: one channel is enough
        for (int i = 50; i < 50 + 5 * f; ++i) std::memset(im.data() + 4 * i, 0, 3);  // under: all three
        im.data()[4 * 99] = 0;  // one channel at 0 is not under-exposed
        frames.push_back(std::move(im));
    }
    std::vector<ImageView<const Bgra8>> views(frames.begin(), frames.end());
    const auto c = effects::bracket_clipping(views);
    ASSERT_EQ(c.size(), 3u);
    for (int f = 0; f < 3; ++f) {
        EXPECT_EQ(c[f].pixels, 100);
        EXPECT_EQ(c[f].over, 10 * f);
        EXPECT_EQ(c[f].under, 5 * f);
        EXPECT_DOUBLE_EQ(c[f].fraction(), (10 * f + 5 * f) / 100.0);
    }
}

TEST(StatsApi, ErrorsOfTheCheckedEntries) {
    uint64_t bins[1024];
    EffectsRangeReport report;
    const uint8_t px[16] = {};
    EXPECT_EQ(EffectsLuminanceHistogram(99, 1, 1, px, 4, bins), EFFECTS_ERROR_UNKNOWN_FORMAT);
    EXPECT_EQ(EffectsLuminanceHistogram(EFFECTS_FORMAT_BGRA8, 2, 1, px, 4, bins), EFFECTS_ERROR_BAD_STRIDE);
    EXPECT_EQ(EffectsLuminanceHistogram(EFFECTS_FORMAT_BGRA8, -1, 1, px, 4, bins), EFFECTS_ERROR_NEGATIVE_SIZE);
    EXPECT_EQ(EffectsLuminanceHistogram(EFFECTS_FORMAT_BGRA8, 1, 1, nullptr, 4, bins), EFFECTS_ERROR_NULL_POINTER);
    EXPECT_EQ(EffectsChannelHistograms(EFFECTS_FORMAT_RGB8, 1, 1, px, 3, bins), EFFECTS_ERROR_BAD_STRIDE);  // padded to 4
    EXPECT_EQ(EffectsChannelHistograms(EFFECTS_FORMAT_RGB8, 1, 1, px, 4, bins), 3);
    EXPECT_EQ(EffectsHdrRange(EFFECTS_FORMAT_RGBA_FLOAT, 1, 1, px, 16, 1.0, &report), EFFECTS_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(EffectsHdrRange(EFFECTS_FORMAT_RGBA_FLOAT, 1, 1, px, 16, NAN, &report), EFFECTS_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(EffectsHdrRange(EFFECTS_FORMAT_RGBA_FLOAT, 0, 0, nullptr, 0, 0.5, &report), EFFECTS_OK);
    EXPECT_EQ(report.pixels, 0);
    try {
        effects::hdr_range(grey({1.0f}), -0.5);
        FAIL() << "no error";
    } catch (const effects::Error& e) {
        EXPECT_EQ(e.code(), effects::Errc::bad_argument);
        EXPECT_NE(std::string(e.what()).find("RgbFloat"), std::string::npos);
    }
}

}  // namespace
