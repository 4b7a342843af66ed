// Every histogram and exposure-statistics export against a plain serial
// reference (one pass in pixel order, float bins added one at a time,
// figures in double), at zero difference, on seeded random images of
// awkward sizes, with 1, 2 and 7 threads.
#include <gtest/gtest.h>
#include <omp.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "test_support.hpp"

namespace {

using efx_test::clamp_to_byte;
using efx_test::Fmt;
using efx_test::load_f;
using efx_test::load_u16;
using efx_test::random_image;
using efx_test::rgbe_decode_half;

constexpr float kB = 0.0721f, kG = 0.7154f, kR = 0.2125f;

int16_t s16(const uint8_t* p, size_t i) { return static_cast<int16_t>(load_u16(p, i)); }

struct Figures {
    double mn = 0, mx = 0, mnz = 0, sum = 0;
};
bool same_bits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }
void expect_figures(const Figures& got, const Figures& want) {
    EXPECT_TRUE(same_bits(got.mn, want.mn)) << got.mn << " vs " << want.mn;
    EXPECT_TRUE(same_bits(got.mx, want.mx)) << got.mx << " vs " << want.mx;
    EXPECT_TRUE(same_bits(got.mnz, want.mnz)) << got.mnz << " vs " << want.mnz;
    EXPECT_TRUE(same_bits(got.sum, want.sum)) << got.sum << " vs " << want.sum;
}

// The value of one pixel as each luminance member sees it, and its bin.
float luma_value(Fmt f, const uint8_t* img, size_t i) {
    switch (f) {
        case Fmt::Bgra8: {
            const uint8_t* p = img + 4 * i;
            return p[0] * kB + p[2] * kR + p[1] * kG;
        }
        case Fmt::Rgba16:
            return (s16(img, 4 * i) * kB + s16(img, 4 * i + 2) * kR + s16(img, 4 * i + 1) * kG) * 0.0078125f;
        default: {  // Rgbea, red and blue weights swapped
            const uint8_t* p = img + 5 * i;
            const float d0 = rgbe_decode_half(p[0], p[3]), d1 = rgbe_decode_half(p[1], p[3]),
                        d2 = rgbe_decode_half(p[2], p[3]);
            return (d0 * kR + d2 * kB + d1 * kG) * 255.0f;
        }
    }
}

// Serial luminance histogram; figures over the bins when `fig` is given.
void ref_luma(Fmt f, size_t pixels, const uint8_t* img, float* hist, Figures* fig) {
    if (fig) fig->mn = 1e10, fig->mx = 1e-10, fig->sum = 0;
    for (size_t i = 0; i < pixels; ++i) {
        const int b = clamp_to_byte(luma_value(f, img, i));
        if (fig) {
            if (b < fig->mn) fig->mn = b;
            if (b > fig->mx) fig->mx = b;
            if (b != 0 && b < fig->mnz) fig->mnz = b;
            fig->sum += b;
        }
        hist[b] += 1.0f;
    }
}

// Serial channel histogram of the 8- and 15-bit members (value = byte, or
// signed word / 128; negative values have no bin).
void ref_channel(Fmt f, size_t pixels, const uint8_t* img, int offset, float* hist, Figures* fig) {
    if (fig) fig->mn = 1e10, fig->mx = 1e-10, fig->sum = 0;
    for (size_t i = 0; i < pixels; ++i) {
        const int v = f == Fmt::Bgra8 ? img[4 * i + offset] : s16(img, 4 * i + offset) / 128;
        if (fig) {
            if (v < fig->mn) fig->mn = v;
            if (v > fig->mx) fig->mx = v;
            if (v != 0 && v < fig->mnz) fig->mnz = v;
            fig->sum += v;
        }
        if (v >= 0) hist[v] += 1.0f;
    }
}

// Serial RGBEA channel histogram: 0 red (byte 2), 1 green, 2 blue (byte 0).
void ref_channel_rgbea(size_t pixels, const uint8_t* img, int channel, float* hist, Figures* fig) {
    if (fig) fig->mn = 1e10, fig->mx = 1e-10, fig->sum = 0;
    float v = 0.0f;
    for (size_t i = 0; i < pixels; ++i) {
        const uint8_t* p = img + 5 * i;
        if (channel == 0) v = rgbe_decode_half(p[2], p[3]);
        if (channel == 1) v = rgbe_decode_half(p[1], p[3]);
        if (channel == 2) v = rgbe_decode_half(p[0], p[3]);
        if (fig) {
            if (v < 1e-8f) v = 1e-8f;
            if (v < fig->mn) fig->mn = v;
            if (v > fig->mx) fig->mx = v;
            if (v != 0 && v < fig->mnz) fig->mnz = v;
            fig->sum += v;
        }
        hist[clamp_to_byte(v * 255.0f)] += 1.0f;
    }
}

// Serial dynamic range; `second` follows the minimum.
void ref_range(Fmt f, size_t pixels, const uint8_t* img, Figures* fig, double* second) {
    fig->mn = 1e10, fig->mx = 1e-10, fig->sum = 0, *second = 1e10;
    for (size_t i = 0; i < pixels; ++i) {
        float l;
        if (f == Fmt::Bgra8) {
            l = img[4 * i] * kB + img[4 * i + 2] * kR + img[4 * i + 1] * kG;
        } else if (f == Fmt::Rgba16) {
            l = s16(img, 4 * i) * kB + s16(img, 4 * i + 2) * kR + s16(img, 4 * i + 1) * kG;
        } else {
            l = load_f(img, 4 * i) * kB + load_f(img, 4 * i + 2) * kR + load_f(img, 4 * i + 1) * kG;
            if (l < 1e-8f) l = 1e-8f;
        }
        if (l < fig->mn) *second = fig->mn, fig->mn = l;
        if (l > fig->mx) fig->mx = l;
        fig->sum += l;
    }
}

// Images of every awkward shape: 1x1, 1xN, Nx1, odd widths, one larger.
struct Shape {
    int w, h;
};
const Shape kShapes[] = {{1, 1}, {1, 37}, {41, 1}, {7, 5}, {33, 17}, {257, 131}};

// Start values of the caller's histogram and min-non-zero figure: zeros,
// and a histogram with fractional and large bins, which the float additions
// must treat exactly as single additions do.
std::vector<float> start_histogram(int kind) {
    std::vector<float> h(256, 0.0f);
    if (kind == 1)
        for (int i = 0; i < 256; ++i) h[i] = i % 3 == 0 ? 0.25f * i : i % 3 == 1 ? 16777210.0f + i % 7 : 1e9f;
    return h;
}

class StatsReference : public ::testing::TestWithParam<int /*threads*/> {
protected:
    void SetUp() override {
        default_threads_ = omp_get_max_threads();
        omp_set_num_threads(GetParam());
    }
    void TearDown() override { omp_set_num_threads(default_threads_); }
    int default_threads_ = 1;
};

TEST_P(StatsReference, LuminanceHistograms) {
    for (Fmt f : {Fmt::Bgra8, Fmt::Rgba16, Fmt::Rgbea})
        for (const Shape& s : kShapes)
            for (int kind : {0, 1}) {
                SCOPED_TRACE(std::to_string(static_cast<int>(f)) + " " + std::to_string(s.w) + "x" +
                             std::to_string(s.h) + " start " + std::to_string(kind));
                const auto img = random_image(f, s.w, s.h, efx_test::seed_for("luma", s.w, s.h));
                const size_t n = static_cast<size_t>(s.w) * s.h;
                const int32_t count = static_cast<int32_t>(n * 4);
                std::vector<float> want = start_histogram(kind), got = want, lean = want;
                Figures wf, gf;
                wf.mnz = gf.mnz = kind ? 3.5 : 1e10;
                ref_luma(f, n, img.data(), want.data(), &wf);
                const uint16_t* w16 = reinterpret_cast<const uint16_t*>(img.data());
                if (f == Fmt::Bgra8) {
                    EXPECT_EQ(Histogram32Fast(count, img.data(), got.data(), &gf.mn, &gf.mx, &gf.mnz, &gf.sum), count);
                    EXPECT_EQ(Histogram32Lean(count, img.data(), lean.data()), count);
                } else if (f == Fmt::Rgba16) {
                    EXPECT_EQ(Histogram64Fast(count, w16, got.data(), &gf.mn, &gf.mx, &gf.mnz, &gf.sum), count);
                    EXPECT_EQ(Histogram64Lean(count, w16, lean.data()), count);
                } else {
                    double unused = 42.0;
                    EXPECT_EQ(Histogram128Fast(s.w, s.h, img.data(), got.data(), &gf.mn, &gf.mx, &unused, &gf.sum), 0);
                    EXPECT_EQ(Histogram128Lean(s.w, s.h, img.data(), lean.data()), 0);
                    EXPECT_EQ(unused, 42.0);
                    wf = Figures{1e10, 1e-10, gf.mnz, 0.0};  // started only
                }
                EXPECT_EQ(got, want);
                EXPECT_EQ(lean, want);
                expect_figures(gf, wf);
            }
}

TEST_P(StatsReference, ChannelHistograms) {
    for (const Shape& s : kShapes) {
        const auto b8 = random_image(Fmt::Bgra8, s.w, s.h, efx_test::seed_for("ch8", s.w, s.h));
        const auto w16 = random_image(Fmt::Rgba16, s.w, s.h, efx_test::seed_for("ch16", s.w, s.h));
        const auto ea = random_image(Fmt::Rgbea, s.w, s.h, efx_test::seed_for("chea", s.w, s.h));
        const size_t n = static_cast<size_t>(s.w) * s.h;
        const int32_t count = static_cast<int32_t>(n * 4);
        for (int c = 0; c < 4; ++c) {
            SCOPED_TRACE(std::to_string(s.w) + "x" + std::to_string(s.h) + " channel " + std::to_string(c));
            for (Fmt f : {Fmt::Bgra8, Fmt::Rgba16}) {
                const uint8_t* img = f == Fmt::Bgra8 ? b8.data() : w16.data();
                std::vector<float> want = start_histogram(1), got = want, lean = want;
                Figures wf, gf;
                wf.mnz = gf.mnz = 1e10;
                ref_channel(f, n, img, c, want.data(), &wf);
                if (f == Fmt::Bgra8) {
                    HistogramChannel32Fast(count, img, got.data(), &gf.mn, &gf.mx, &gf.mnz, &gf.sum, c);
                    HistogramChannel32Lean(count, img, lean.data(), c);
                } else {
                    const uint16_t* w = reinterpret_cast<const uint16_t*>(img);
                    HistogramChannel64Fast(count, w, got.data(), &gf.mn, &gf.mx, &gf.mnz, &gf.sum, c);
                    HistogramChannel64Lean(count, w, lean.data(), c);
                }
                EXPECT_EQ(got, want);
                EXPECT_EQ(lean, want);
                expect_figures(gf, wf);
            }
            // RGBEA numbering 0..2 (3 selects nothing new).
            std::vector<float> want(256, 0.0f), got = want, lean_want = want, lean = want;
            Figures wf, gf;
            wf.mnz = gf.mnz = 0.75;
            ref_channel_rgbea(n, ea.data(), c, want.data(), &wf);
            ref_channel_rgbea(n, ea.data(), c, lean_want.data(), nullptr);
            EXPECT_EQ(HistogramChannel128Fast(s.w, s.h, ea.data(), got.data(), &gf.mn, &gf.mx, &gf.mnz, &gf.sum, c), 0);
            EXPECT_EQ(HistogramChannel128Lean(s.w, s.h, ea.data(), lean.data(), c), 0);
            EXPECT_EQ(got, want);
            EXPECT_EQ(lean, lean_want);
            expect_figures(gf, wf);
        }
    }
}

TEST_P(StatsReference, DynamicRangeAndTemperature) {
    for (const Shape& s : kShapes) {
        SCOPED_TRACE(std::to_string(s.w) + "x" + std::to_string(s.h));
        const size_t n = static_cast<size_t>(s.w) * s.h;
        const int32_t count = static_cast<int32_t>(n * 4);
        for (Fmt f : {Fmt::Bgra8, Fmt::Rgba16, Fmt::RgbaFloat}) {
            const auto img = random_image(f, s.w, s.h, efx_test::seed_for("range", s.w, s.h));
            Figures wf, gf;
            double want_second = 0, got_second = 0, unused = 7.0;
            ref_range(f, n, img.data(), &wf, &want_second);
            if (f == Fmt::Bgra8) {
                EXPECT_EQ(DynamicRange32Fast(count, img.data(), &gf.mn, &gf.mx, &unused, &gf.sum), count);
            } else if (f == Fmt::Rgba16) {
                EXPECT_EQ(DynamicRange64Fast(count, reinterpret_cast<const uint16_t*>(img.data()), &gf.mn, &gf.mx,
                                             &unused, &gf.sum),
                          count);
            } else {
                EXPECT_EQ(DynamicRange128Fast(count, reinterpret_cast<const float*>(img.data()), &gf.mn, &gf.mx,
                                              &got_second, &gf.sum),
                          count);
                EXPECT_TRUE(same_bits(got_second, want_second)) << got_second << " vs " << want_second;
            }
            EXPECT_EQ(unused, 7.0);
            expect_figures(gf, wf);
        }
        // The first pixel of the largest B + G + R.
        auto img = random_image(Fmt::Bgra8, s.w, s.h, efx_test::seed_for("temp", s.w, s.h));
        for (size_t i = 0; i < n; ++i)  // ties of the brightest, each with other channels
            if (i % 5 == 2)
                for (int k = 0; k < 3; ++k) img[4 * i + k] = static_cast<uint8_t>(245 + 5 * ((i / 5 + k) % 3));
        int best = 0;
        uint16_t want[3] = {1, 2, 3}, got[3] = {1, 2, 3};
        for (size_t i = 0; i < n; ++i) {
            const int t = img[4 * i] + img[4 * i + 1] + img[4 * i + 2];
            if (t > best) best = t, want[0] = img[4 * i], want[1] = img[4 * i + 1], want[2] = img[4 * i + 2];
        }
        EXPECT_EQ(DetermineTemperature32(count, img.data(), &got[0], &got[1], &got[2]), count);
        EXPECT_EQ(std::vector<uint16_t>(got, got + 3), std::vector<uint16_t>(want, want + 3));
    }
}

TEST_P(StatsReference, OverUnderExposureColours) {
    for (const Shape& s : kShapes) {
        auto img = random_image(Fmt::Bgra8, s.w, s.h, efx_test::seed_for("ou", s.w, s.h));
        for (size_t i = 0; i < img.size() / 4; ++i) {  // push a third of the pixels to the edges
            if (i % 3 == 0) img[4 * i] = img[4 * i + 1] = img[4 * i + 2] = i % 2 ? 255 : 0;
            if (i % 7 == 1) img[4 * i] = 254, img[4 * i + 1] = img[4 * i + 2] = 255;
        }
        std::vector<uint8_t> want = img;
        for (size_t i = 0; i < want.size() / 4; ++i) {
            uint8_t* p = &want[4 * i];
            const int m = (p[0] + p[1] + p[2]) / 3;
            if (m == 255) p[0] = 0, p[1] = 0, p[2] = 255;
            if (m == 0) p[0] = 255, p[1] = 0, p[2] = 0;
        }
        EXPECT_EQ(VexoOverUnderExposedPixels32(s.w, s.h, img.data()), 0);
        EXPECT_EQ(img, want);
    }
}

INSTANTIATE_TEST_SUITE_P(Threads, StatsReference, ::testing::Values(1, 2, 7),
                         [](const ::testing::TestParamInfo<int>& i) { return std::to_string(i.param) + "threads"; });

}  // namespace
