// HDR range analysis and preview: hand-worked cases of every member, a
// serial reference on random images for the channel range and the halving,
// the overlay clipped at every edge of the canvas against a per-pixel rule,
// the region highlight through the bitmap exchange, and thread independence.
#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "platform_host.hpp"
#include "test_support.hpp"

namespace {

using efx_host::TestBitmap;
using efx_host::TestDC;

class Threads {
public:
    explicit Threads(int n) : saved_(omp_get_max_threads()) { omp_set_num_threads(n); }
    ~Threads() { omp_set_num_threads(saved_); }

private:
    int saved_;
};

TEST(HdrRangeGolden, DisplayScalingOfTwoFourEight) {
    std::vector<float> img = {2, 4, 8, 1, 1, 1, 0.5f, 2, 4};
    EXPECT_EQ(VexoHDR4Display(3, 1, img.data()), 0);
    EXPECT_EQ(img[0], 0.25f);
    EXPECT_EQ(img[1], 0.5f);
    EXPECT_EQ(img[2], 1.0f);
    EXPECT_EQ(img[6], 0.0625f);
}

TEST(HdrRangeGolden, DisplayScalingOfBlackIsNaN) {
    std::vector<float> img(12, 0.0f);
    VexoHDR4Display(2, 2, img.data());
    for (float v : img) EXPECT_TRUE(std::isnan(v));
}

TEST(HdrRangeGolden, BrightestMeanOfOneHalfDoubles) {
    std::vector<float> img = {0.5f, 0.5f, 0.5f, 0.7f, 0.1f, 0.2f, 0.3f, 0.9f};
    EXPECT_EQ(VexoDebevecDynamicMax(2, 1, img.data()), 0);
    const float s = 1.0f / ((0.5f + 0.5f + 0.5f) * 0.33333334f);
    EXPECT_EQ(img, (std::vector<float>{0.5f * s, 0.5f * s, 0.5f * s, 0.7f, 0.1f * s, 0.2f * s, 0.3f * s, 0.9f}));
}

TEST(HdrRangeGolden, ChannelRanges) {
    const uint8_t px[4] = {10, 200, 30, 255};  // alpha is not a colour channel
    double mn = 0, mx = 0;
    EXPECT_EQ(DebevecRGBMaxMin32Fast(1, 1, px, &mn, &mx), 0);
    EXPECT_EQ(mn, 10.0);
    EXPECT_EQ(mx, 200.0);
    const uint16_t w[4] = {100, 40000, 300, 7};
    DebevecRGBMaxMin64Fast(1, 1, w, &mn, &mx);
    EXPECT_EQ(mn, 40000.0 - 65536.0);
    EXPECT_EQ(mx, 300.0);
    DebevecRGBMaxMin32Fast(0, 3, px, &mn, &mx);
    EXPECT_EQ(mn, static_cast<double>(1e10f));
    EXPECT_EQ(mx, static_cast<double>(1e-10f));
}

TEST(HdrRangeGolden, LinearMaxHalvesEveryPixel) {
    uint8_t px[10] = {128, 128, 128, 129, 77, 0, 0, 0, 0, 5};
    EXPECT_EQ(VexoHDRLinearMax(2, 1, px), 0);
    const uint8_t want[10] = {128, 128, 128, 128, 77, 0, 0, 0, 0, 5};
    EXPECT_EQ(std::memcmp(px, want, 10), 0);
    // All black: the maximum is 0, k is a NaN, the mantissas end up 0.
    uint8_t black[5] = {0, 0, 0, 0, 9};
    VexoHDRLinearMax(1, 1, black);
    EXPECT_EQ(black[0] | black[1] | black[2], 0);
    EXPECT_EQ(black[4], 9);
}

// ---- overlay preview ------------------------------------------------------------

// Canvas after the preview, pixel by pixel from the rule.
std::vector<uint8_t> preview_rule(int x, int y, int ow, int oh, const std::vector<uint8_t>& ov,
                                  std::vector<uint8_t> cv, int cw, int ch, int opacity, int mode) {
    const float a = static_cast<float>(opacity) * 0.01f;
    for (int r = 0; r < ch; ++r)
        for (int c = 0; c < cw; ++c) {
            if (c < x || c >= x + ow || r < y || r >= y + oh) continue;
            uint8_t* d = &cv[(static_cast<size_t>(r) * cw + c) * 4];
            const uint8_t* o = &ov[(static_cast<size_t>(r - y) * ow + (c - x)) * 4];
            for (int k = 0; k < 3; ++k) {
                const int cc = d[k], oo = o[k];
                if (mode == 0 && opacity > 99) d[k] = o[k];
                else if (mode == 0) d[k] = static_cast<uint8_t>(static_cast<int>(static_cast<float>(oo - cc) * a + static_cast<float>(cc)));
                else d[k] = static_cast<uint8_t>(static_cast<int>(static_cast<float>(std::abs(cc - oo) - cc) * a + static_cast<float>(cc)));
            }
        }
    return cv;
}

TEST(MergePreview, OpacityZeroAndOtherModes) {
    std::vector<uint8_t> ov(16, 200), cv(16, 100);
    EXPECT_EQ(Vexo32MergeHDRPreview(0, 0, 2, 2, ov.data(), cv.data(), 2, 2, 0, 0), -1);
    EXPECT_EQ(Vexo32MergeHDRPreview(0, 0, 2, 2, ov.data(), cv.data(), 2, 2, 50, 1), 1);
    EXPECT_EQ(Vexo32MergeHDRPreview(0, 0, 2, 2, ov.data(), cv.data(), 2, 2, 50, 2), 1);
    EXPECT_EQ(cv, std::vector<uint8_t>(16, 100));
}

TEST(MergePreview, HalfMixAndDifference) {
    std::vector<uint8_t> ov = {201, 201, 201, 0}, cv = {100, 100, 100, 77};
    EXPECT_EQ(Vexo32MergeHDRPreview(0, 0, 1, 1, ov.data(), cv.data(), 1, 1, 50, 0), 1);
    EXPECT_EQ(cv, (std::vector<uint8_t>{150, 150, 150, 77}));
    cv = {100, 30, 250, 77};
    Vexo32MergeHDRPreview(0, 0, 1, 1, ov.data(), cv.data(), 1, 1, 100, 3);
    EXPECT_EQ(cv, (std::vector<uint8_t>{101, 171, 49, 77}));
    cv = {100, 30, 250, 77};
    Vexo32MergeHDRPreview(0, 0, 1, 1, ov.data(), cv.data(), 1, 1, 150, 0);
    EXPECT_EQ(cv, (std::vector<uint8_t>{201, 201, 201, 77}));
}

TEST(MergePreview, ClippedAtEveryEdgeOfTheCanvas) {
    const int cw = 7, ch = 5, ow = 4, oh = 3;
    std::mt19937 rng(5);
    std::vector<uint8_t> ov(ow * oh * 4), base(cw * ch * 4);
    for (auto& b : ov) b = static_cast<uint8_t>(rng());
    for (auto& b : base) b = static_cast<uint8_t>(rng());
    for (int threads : {1, 2, 7}) {
        Threads t(threads);
        for (int y = -oh - 1; y <= ch + 1; ++y)
            for (int x = -ow - 1; x <= cw + 1; ++x)
                for (int opacity : {37, 100})
                    for (int mode : {0, 3}) {
                        SCOPED_TRACE(std::to_string(x) + "," + std::to_string(y) + " opacity " +
                                     std::to_string(opacity) + " mode " + std::to_string(mode));
                        std::vector<uint8_t> cv = base;
                        EXPECT_EQ(Vexo32MergeHDRPreview(x, y, ow, oh, ov.data(), cv.data(), cw, ch, opacity, mode), 1);
                        ASSERT_EQ(cv, preview_rule(x, y, ow, oh, ov, base, cw, ch, opacity, mode));
                    }
    }
}

// ---- region highlight ----------------------------------------------------------

uint8_t grey_of(const uint8_t* p) { return static_cast<uint8_t>((p[0] / 2 + p[1] / 2 + p[2] / 2) / 3); }

// Expected stored bytes: rows counted as the 24-bit read delivers them
// (bottom row first), clamped and ordered rectangle kept.
std::vector<uint8_t> region_rule(const TestBitmap& b, std::vector<uint8_t> bytes, int l, int t, int r, int bt) {
    int top = std::max(t, 0), bottom = bt < b.height() ? bt : b.height() - 1;
    int left = std::max(l, 0), right = r < b.width() ? r : b.width() - 1;
    if (top > bottom) std::swap(top, bottom);
    if (left > right) std::swap(left, right);
    for (int y = 0; y < b.height(); ++y)
        for (int x = 0; x < b.width(); ++x) {
            const int read_row = b.height() - 1 - y;  // bottom-up scan line of pixel row y
            if (read_row >= top && read_row <= bottom && x >= left && x <= right) continue;
            uint8_t* p = &bytes[static_cast<size_t>(b.offset(x, y))];
            p[0] = p[1] = p[2] = grey_of(p);
        }
    return bytes;
}

TEST(RegionHighlight, GreysOutsideTheRectangle) {
    TestDC dc(1, 1);
    for (int threads : {1, 2, 7}) {
        Threads t(threads);
        for (bool top_down : {false, true}) {
            TestBitmap bmp(5, top_down ? -6 : 6, 24);
            const std::vector<uint8_t> before = efx_host::pattern(bmp, threads);
            struct Rect {
                int l, t, r, b;
            };
            for (const Rect& rc : {Rect{1, 1, 3, 4}, Rect{3, 4, 1, 1}, Rect{-5, -5, 100, 100}, Rect{2, 0, 2, 0},
                                   Rect{4, 9, -2, 3}}) {  // the second and last have swapped corners
                SCOPED_TRACE(std::to_string(rc.l) + "," + std::to_string(rc.t) + "," + std::to_string(rc.r) + "," +
                             std::to_string(rc.b) + (top_down ? " top-down" : " bottom-up"));
                bmp.write(before);
                EXPECT_EQ(VexoHDRRegion(dc.handle(), bmp.handle(), rc.l, rc.t, rc.r, rc.b), 6);
                EXPECT_EQ(bmp.read(), region_rule(bmp, before, rc.l, rc.t, rc.r, rc.b));
            }
        }
    }
}

TEST(RegionHighlight, FailureResults) {
    TestDC dc(1, 1);
    EXPECT_EQ(VexoHDRRegion(dc.handle(), nullptr, 0, 0, 1, 1), -1);
    TestBitmap gone(2, 2, 24);
    EffectsBitmap h = gone.release();
    efx_host::delete_bitmap(h);
    EXPECT_EQ(VexoHDRRegion(dc.handle(), h, 0, 0, 1, 1), -1);
}

// ---- serial references on random images ------------------------------------------

TEST(HdrRangeReference, ChannelRangeAndHalvingWithAnyThreadCount) {
    for (auto [w, h] : {std::pair{1, 1}, {1, 29}, {31, 1}, {9, 7}, {200, 97}}) {
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        const auto b8 = efx_test::random_image(efx_test::Fmt::Bgra8, w, h, efx_test::seed_for("rng8", w, h));
        const auto w16 = efx_test::random_image(efx_test::Fmt::Rgba16, w, h, efx_test::seed_for("rng16", w, h));
        const auto ea = efx_test::random_image(efx_test::Fmt::Rgbea, w, h, efx_test::seed_for("rngea", w, h));
        const size_t n = static_cast<size_t>(w) * h;
        // Serial references.
        float mn8 = 1e10f, mx8 = 1e-10f, mn16 = 1e10f, mx16 = 1e-10f, top = 0.0f;
        for (size_t i = 0; i < n; ++i)
            for (int k = 0; k < 3; ++k) {
                const float v8 = b8[4 * i + k];
                const float v16 = static_cast<int16_t>(efx_test::load_u16(w16.data(), 4 * i + k));
                mn8 = v8 < mn8 ? v8 : mn8, mx8 = v8 > mx8 ? v8 : mx8;
                mn16 = v16 < mn16 ? v16 : mn16, mx16 = v16 > mx16 ? v16 : mx16;
            }
        auto dec = [&](size_t i, int k) { return efx_test::rgbe_decode_half(ea[5 * i + k], ea[5 * i + 3]); };
        for (size_t i = 0; i < n; ++i) top = std::max(top, (dec(i, 0) + dec(i, 1) + dec(i, 2)) * 0.33333334f);
        std::vector<uint8_t> halved = ea;
        for (size_t i = 0; i < n; ++i) {
            const float k0 = (dec(i, 0) + dec(i, 1) + dec(i, 2)) * (1.0f / top);
            const float k = k0 - (k0 - 0.5f);
            efx_test::rgbe_encode(dec(i, 0) * k, dec(i, 1) * k, dec(i, 2) * k, &halved[5 * i]);
        }
        // The scalings: the same bytes with any number of threads.
        const auto f4 = efx_test::random_image(efx_test::Fmt::RgbaFloat, w, h, efx_test::seed_for("rngf", w, h));
        std::vector<std::vector<uint8_t>> scaled;
        for (int threads : {1, 2, 7}) {
            Threads t(threads);
            std::vector<uint8_t> a = f4, b = f4;
            VexoHDR4Display(w, h * 4 / 3, reinterpret_cast<float*>(a.data()));  // 3 floats a pixel
            VexoDebevecDynamicMax(w, h, reinterpret_cast<float*>(b.data()));
            a.insert(a.end(), b.begin(), b.end());
            scaled.push_back(a);
        }
        EXPECT_EQ(scaled[1], scaled[0]);
        EXPECT_EQ(scaled[2], scaled[0]);
        for (int threads : {1, 2, 7}) {
            Threads t(threads);
            double mn, mx;
            DebevecRGBMaxMin32Fast(w, h, b8.data(), &mn, &mx);
            EXPECT_EQ(mn, static_cast<double>(mn8));
            EXPECT_EQ(mx, static_cast<double>(mx8));
            DebevecRGBMaxMin64Fast(w, h, reinterpret_cast<const uint16_t*>(w16.data()), &mn, &mx);
            EXPECT_EQ(mn, static_cast<double>(mn16));
            EXPECT_EQ(mx, static_cast<double>(mx16));
            std::vector<uint8_t> img = ea;
            VexoHDRLinearMax(w, h, img.data());
            EXPECT_EQ(img, halved);
        }
    }
}

}  // namespace
