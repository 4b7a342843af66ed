// The two tone-mapping plug-ins through effects::tonemap: sound output on the
// high-dynamic-range test scene (monotonic along the gradient, mean display
// luminance mid-range, almost nothing clipped, colours kept), each
// operator's formula on hand-worked pixels, options, strides, thread-count
// independence and the legacy bridge giving the same bytes.
#include <effects/effects.hpp>
#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "hdr_scene.hpp"
#include "tonemap_scene.hpp"

namespace {

using effects::Bgra8;
using effects::Image;
using effects::ImageView;
using effects::RgbaFloat;
using efx_test::ToneScene;

ImageView<const RgbaFloat> view_of(const ToneScene& s) { return {s.pixels.data(), s.width, s.height}; }

// A one-row scene of grey pixels.
ToneScene grey_row(std::initializer_list<float> levels) {
    ToneScene s;
    s.width = static_cast<int32_t>(levels.size());
    s.height = 1;
    for (float v : levels) s.pixels.insert(s.pixels.end(), {v, v, v, 1.0f});
    return s;
}

class Operator : public testing::TestWithParam<const char*> {};

TEST_P(Operator, GradientMapsMonotonically) {
    const ToneScene scene = efx_test::make_tone_scene();
    const Image<Bgra8> out = effects::tonemap(view_of(scene), GetParam());
    for (int32_t y = 0; y < scene.gradient_rows; ++y) {
        const uint8_t* row = out.data() + y * out.stride();
        for (int32_t x = 1; x < scene.width; ++x)
            for (int c = 0; c < 3; ++c) ASSERT_LE(row[(x - 1) * 4 + c], row[x * 4 + c]) << "x " << x << " y " << y;
        EXPECT_LT(row[2], 40) << "darkest stop stays dark";
        EXPECT_GT(row[(scene.width - 1) * 4 + 2], 230) << "brightest stop is near white";
    }
}

// Mean display luminance, and the shares of pixels clipped to black or to
// white (all three channels at the end of the range; a bright saturated
// colour may reach 255 in one channel without losing its luminance).
void expect_mid_range_with_little_clipping(const ToneScene& scene, const char* op) {
    const Image<Bgra8> out = effects::tonemap(view_of(scene), op);
    double luma = 0;
    int64_t black = 0, white = 0, channel_at_top = 0;
    const int64_t n = int64_t{scene.width} * scene.height;
    for (int64_t i = 0; i < n; ++i) {
        const uint8_t* p = out.data() + i * 4;
        luma += efx_test::display_luma(p);
        black += p[0] == 0 && p[1] == 0 && p[2] == 0;
        white += p[0] == 255 && p[1] == 255 && p[2] == 255;
        channel_at_top += p[0] == 255 || p[1] == 255 || p[2] == 255;
        ASSERT_EQ(p[3], 255);
    }
    const double mean = luma / static_cast<double>(n);
    EXPECT_GE(mean, 0.3);
    EXPECT_LE(mean, 0.6);
    EXPECT_LT(static_cast<double>(black) / static_cast<double>(n), 0.01);
    EXPECT_LT(static_cast<double>(white) / static_cast<double>(n), 0.01);
    EXPECT_LT(static_cast<double>(channel_at_top) / static_cast<double>(n), 0.02);
    std::printf("[ %s ] mean %.3f, black %.4f, white %.4f, a channel at 255 %.4f\n", op, mean,
                static_cast<double>(black) / n, static_cast<double>(white) / n, static_cast<double>(channel_at_top) / n);
}

TEST_P(Operator, SceneIsMidRangeWithLittleClipping) {
    expect_mid_range_with_little_clipping(efx_test::make_tone_scene(), GetParam());
}

// The radiance map that the HDR merge tests recover (12 stops, smooth hills,
// hard-edged shapes, texture, coloured), in RgbaFloat.
TEST_P(Operator, GroundTruthRadianceMapIsMidRangeWithLittleClipping) {
    const efx_scene::Scene truth = efx_scene::make_scene(320, 200, 0, 5u);
    ToneScene scene;
    scene.width = truth.width;
    scene.height = truth.height;
    scene.pixels.resize(static_cast<size_t>(truth.width) * truth.height * 4);
    for (int32_t y = 0; y < truth.height; ++y)
        for (int32_t x = 0; x < truth.width; ++x)
            efx_test::set_pixel(scene.at(x, y), truth.at(x, y, 0), truth.at(x, y, 1), truth.at(x, y, 2));
    expect_mid_range_with_little_clipping(scene, GetParam());
}

TEST_P(Operator, KeepsHueByScalingColourWithLuminance) {
    ToneScene s = grey_row({0.5f, 1.0f, 8.0f, 0.05f});
    efx_test::set_pixel(s.at(0, 0), 0.6f, 0.3f, 0.15f);  // red : green : blue = 4 : 2 : 1
    const Image<Bgra8> out = effects::tonemap(view_of(s), GetParam());
    const double r = efx_test::srgb_decode(out.data()[2] / 255.0), g = efx_test::srgb_decode(out.data()[1] / 255.0),
                 b = efx_test::srgb_decode(out.data()[0] / 255.0);
    EXPECT_NEAR(r / g, 2.0, 0.08);
    EXPECT_NEAR(g / b, 2.0, 0.08);
}

TEST_P(Operator, BlackNanAndInfinityGiveDefinedBytes) {
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    // A flat scene maps to one grey whatever its level: the log-average
    // normalises it, with no division by zero on the way.
    for (float level : {1.0e-20f, 1.0e-3f, 1.0f, 1.0e4f, 1.0e20f}) {
        const ToneScene flat = grey_row({level, level, level});
        const Image<Bgra8> out = effects::tonemap(view_of(flat), GetParam());
        EXPECT_GT(out.data()[0], 0) << level;
        for (int i = 0; i < 12; ++i) EXPECT_EQ(out.data()[i], out.data()[i % 4]) << level;
    }
    // Black, negative and NaN channels count as 0 and leave the statistics
    // of the other pixels alone.
    const Image<Bgra8> out = effects::tonemap(view_of(grey_row({0.0f, -1.0f, nan, 1.0f, 4.0f})), GetParam());
    const Image<Bgra8> lit = effects::tonemap(view_of(grey_row({1.0f, 4.0f})), GetParam());
    for (int i = 0; i < 3; ++i) EXPECT_EQ(out.data()[i * 4 + 1], 0) << i;
    EXPECT_EQ(std::memcmp(out.data() + 12, lit.data(), 8), 0);
    // An infinite channel is capped: it becomes the scene's white.
    const Image<Bgra8> capped = effects::tonemap(view_of(grey_row({1.0f, inf})), GetParam());
    EXPECT_EQ(capped.data()[5], 255);
    EXPECT_LT(capped.data()[1], 255);
    const Image<Bgra8> black = effects::tonemap(view_of(grey_row({0.0f, 0.0f})), GetParam());
    for (int i = 0; i < 8; ++i) EXPECT_EQ(black.data()[i], i % 4 == 3 ? 255 : 0);
}

TEST_P(Operator, BytesDoNotDependOnThreadsOrStrides) {
    const ToneScene scene = efx_test::make_tone_scene(101, 13);
    const int before = omp_get_max_threads();
    omp_set_num_threads(1);
    const Image<Bgra8> one = effects::tonemap(view_of(scene), GetParam());
    for (int threads : {2, 7}) {
        omp_set_num_threads(threads);
        const Image<Bgra8> many = effects::tonemap(view_of(scene), GetParam());
        EXPECT_EQ(std::memcmp(one.data(), many.data(), one.stride() * one.height()), 0) << threads;
    }
    omp_set_num_threads(before);
    // Padded rows on both sides.
    std::vector<float> src(static_cast<size_t>(scene.height) * (scene.width * 4 + 3), 0.0f);
    for (int32_t y = 0; y < scene.height; ++y)
        std::memcpy(&src[static_cast<size_t>(y) * (scene.width * 4 + 3)], scene.at(0, y), scene.width * 16u);
    std::vector<uint8_t> dst(static_cast<size_t>(scene.height) * (scene.width * 4 + 5), 0xAB);
    effects::tonemap(ImageView<const RgbaFloat>(src.data(), scene.width, scene.height, (scene.width * 4 + 3) * 4),
                     ImageView<Bgra8>(dst.data(), scene.width, scene.height, scene.width * 4 + 5), GetParam());
    for (int32_t y = 0; y < scene.height; ++y) {
        const uint8_t* row = &dst[static_cast<size_t>(y) * (scene.width * 4 + 5)];
        EXPECT_EQ(std::memcmp(row, one.data() + y * one.stride(), scene.width * 4u), 0) << y;
        for (int k = 0; k < 5; ++k) EXPECT_EQ(row[scene.width * 4 + k], 0xAB);
    }
}

INSTANTIATE_TEST_SUITE_P(Plugins, Operator, testing::Values(effects::reinhard, effects::drago));

// ---- each operator's own formula, worked by hand ---------------------------

// Grey 0.25 and 4: the log-average is 1 (to a part in a million).
TEST(Reinhard, FormulaOnHandWorkedPixels) {
    const ToneScene s = grey_row({0.25f, 4.0f});
    // Key 0.18 and a white point far away: L = 0.18 Lw, Ld = L / (1 + L).
    effects::ToneMapOptions far{0.18f, 1.0e6f, {}};
    Image<Bgra8> out = effects::tonemap(view_of(s), effects::reinhard, far);
    EXPECT_NEAR(out.data()[0], efx_test::srgb_byte(0.045 / 1.045), 1);  // 61
    EXPECT_NEAR(out.data()[4], efx_test::srgb_byte(0.72 / 1.72), 1);    // 174
    // Default white: the brightest scaled luminance, 0.72, maps to 1.
    out = effects::tonemap(view_of(s), effects::reinhard, {0.18f, {}, {}});
    EXPECT_NEAR(out.data()[0], efx_test::srgb_byte(0.045 * (1 + 0.045 / (0.72 * 0.72)) / 1.045), 1);
    EXPECT_EQ(out.data()[4], 255);
    // Key 0.36 doubles L.
    out = effects::tonemap(view_of(s), effects::reinhard, {0.36f, 1.0e6f, {}});
    EXPECT_NEAR(out.data()[0], efx_test::srgb_byte(0.09 / 1.09), 1);
}

TEST(Reinhard, AutomaticKeyFollowsTheSceneRange) {
    // A scene whose log-average sits at the middle of its range keeps 0.18;
    // one dominated by shadows gets a lower key, so it is shown darker
    // relative to its own average.
    const ToneScene balanced = grey_row({0.125f, 1.0f, 8.0f});
    Image<Bgra8> automatic = effects::tonemap(view_of(balanced), effects::reinhard);
    Image<Bgra8> fixed = effects::tonemap(view_of(balanced), effects::reinhard, {0.18f, {}, {}});
    EXPECT_NEAR(automatic.data()[4], fixed.data()[4], 1);
    const ToneScene dark = grey_row({0.125f, 0.125f, 0.125f, 0.125f, 0.125f, 8.0f});
    automatic = effects::tonemap(view_of(dark), effects::reinhard);
    fixed = effects::tonemap(view_of(dark), effects::reinhard, {0.18f, {}, {}});
    EXPECT_LT(automatic.data()[0], fixed.data()[0]);
}

TEST(Drago, FormulaOnHandWorkedPixels) {
    const ToneScene s = grey_row({0.25f, 4.0f});
    auto drago = [](double lw, double lmax, double bias) {
        return std::log(lw + 1) / std::log10(lmax + 1) /
               std::log(2 + 8 * std::pow(lw / lmax, std::log(bias) / std::log(0.5)));
    };
    Image<Bgra8> out = effects::tonemap(view_of(s), effects::drago);
    EXPECT_NEAR(out.data()[0], efx_test::srgb_byte(drago(0.25, 4, 0.85)), 1);  // 117
    EXPECT_EQ(out.data()[4], 255);                                             // Lmax maps to 1
    out = effects::tonemap(view_of(s), effects::drago, {{}, {}, 0.7f});
    EXPECT_NEAR(out.data()[0], efx_test::srgb_byte(drago(0.25, 4, 0.7)), 1);
}

// ---- options and errors ------------------------------------------------------

TEST(ToneMapOptions, EachPluginReportsWhatItReads) {
    EXPECT_EQ(effects::tonemap_options_used(effects::reinhard), EFFECTS_TONEMAP_USES_KEY | EFFECTS_TONEMAP_USES_WHITE);
    EXPECT_EQ(effects::tonemap_options_used(effects::drago), EFFECTS_TONEMAP_USES_BIAS);
    uint32_t used = 0;
    EXPECT_EQ(CallToneMappingOptions(
#if defined(_WIN32)
                  "effects_reinhard.dll",
#else
                  EFFECTS_REINHARD_PLUGIN_PATH,
#endif
                  reinterpret_cast<intptr_t>(&used)),
              0);
    EXPECT_EQ(used, EFFECTS_TONEMAP_USES_KEY | EFFECTS_TONEMAP_USES_WHITE);
}

TEST(ToneMapOptions, BadOptionsAndNamesAreErrors) {
    const ToneScene s = grey_row({1.0f, 2.0f});
    auto code = [&](const char* op, effects::ToneMapOptions o) {
        try {
            effects::tonemap(view_of(s), op, o);
        } catch (const effects::Error& e) {
            return e.code();
        }
        return effects::Errc{};
    };
    EXPECT_EQ(code(effects::drago, {{}, {}, 1.5f}), effects::Errc::plugin_refused);
    EXPECT_EQ(code(effects::drago, {{}, {}, 0.0f}), effects::Errc::plugin_refused);
    EXPECT_EQ(code(effects::reinhard, {-1.0f, {}, {}}), effects::Errc::plugin_refused);
    EXPECT_EQ(code(effects::reinhard, {{}, 0.0f, {}}), effects::Errc::plugin_refused);
    EXPECT_EQ(code("no_such_operator", {}), effects::Errc::plugin_not_found);
    Image<Bgra8> small(1, 1);
    EXPECT_THROW(effects::tonemap(view_of(s), small.view(), effects::drago), effects::Error);
    // Options the operator does not read are ignored.
    const Image<Bgra8> plain = effects::tonemap(view_of(s), effects::drago);
    const Image<Bgra8> keyed = effects::tonemap(view_of(s), effects::drago, {0.5f, 3.0f, {}});
    EXPECT_EQ(std::memcmp(plain.data(), keyed.data(), 8), 0);
}

TEST(ToneMapOptions, LegacyBridgeGivesTheSameBytes) {
    const ToneScene scene = efx_test::make_tone_scene(64, 8);
    const Image<Bgra8> expected = effects::tonemap(view_of(scene), effects::reinhard);
    std::vector<uint8_t> out(expected.stride() * expected.height());
    EXPECT_EQ(CallToneMapping(
#if defined(_WIN32)
                  "effects_reinhard.dll",
#else
                  EFFECTS_REINHARD_PLUGIN_PATH,
#endif
                  scene.width, scene.height, reinterpret_cast<intptr_t>(scene.pixels.data()),
                  reinterpret_cast<intptr_t>(out.data()), 0),
              0);
    EXPECT_EQ(std::memcmp(out.data(), expected.data(), out.size()), 0);
}

}  // namespace
