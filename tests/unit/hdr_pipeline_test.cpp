// The HDR pipeline of effects::hdr: ground truth from the scene generator
// (every shift found exactly, radiance within 5%), the streamed bracket, the
// merge's agreement with the exports, borders that only some frames cover,
// the checked entry points' errors, and the bracketed photo sets on disk.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "effects/hdr.hpp"
#include "hdr_scene.hpp"

namespace {

using effects::Bgra8;
using effects::ImageView;
namespace hdr = effects::hdr;

struct Bracketed {
    efx_scene::Scene scene;
    int w, h;
    std::vector<std::vector<uint8_t>> frames;
    std::vector<float> times;
    std::vector<hdr::Shift> truth;
    hdr::Bracket bracket() const {
        hdr::Bracket b;
        for (size_t i = 0; i < frames.size(); ++i)
            b.add(ImageView<const Bgra8>(frames[i].data(), w, h), times[i]);
        return b;
    }
};

// Frames `stops` apart (two by default); the middle one is the reference.
Bracketed make_bracket(int w, int h, const std::vector<hdr::Shift>& shifts, uint32_t seed, float stops = 2.0f) {
    Bracketed b{efx_scene::make_scene(w, h, 72, seed), w, h, {}, {}, shifts};
    for (size_t i = 0; i < shifts.size(); ++i) {
        const float t = std::exp2(stops * (static_cast<float>(i) - static_cast<float>(shifts.size() - 1) / 2.0f));
        b.times.push_back(t);
        b.frames.push_back(efx_scene::render_frame(b.scene, w, h, t, shifts[i].dx, shifts[i].dy, 0.8f, seed + 17u * i));
    }
    return b;
}

// Within +-64 of the reference and of each neighbour (align chains the
// frames towards the reference).
const std::vector<hdr::Shift> kShifts = {{10, -20}, {64, -64}, {0, 0}, {5, -3}, {-59, 40}};

TEST(HdrPipeline, AlignFindsEveryKnownShift) {
    const Bracketed b = make_bracket(640, 480, kShifts, 7);
    for (const hdr::Area area : {hdr::Area::overlap, hdr::Area::best_zone}) {
        hdr::AlignOptions o;
        o.area = area;
        EXPECT_EQ(hdr::align(b.bracket(), o), kShifts) << "area " << static_cast<int>(area);
    }
    // The central ninth of the picture sees less: smaller shifts, and
    // frames at most two stops from the reference (four stops away it
    // misses; see the README).
    const std::vector<hdr::Shift> small = {{-17, 12}, {0, 0}, {5, -3}};
    const Bracketed c = make_bracket(640, 480, small, 8);
    hdr::AlignOptions o;
    o.area = hdr::Area::centre;
    o.max_shift = 24;
    EXPECT_EQ(hdr::align(c.bracket(), o), small);
}

TEST(HdrPipeline, AlignFindsFramesFourStopsApart) {
    // Over the overlap and the best zone; the central ninth of a frame four
    // stops darker is too clipped in some scenes (see the README).
    const std::vector<hdr::Shift> shifts = {{-17, 12}, {0, 0}, {5, -3}};
    for (const uint32_t seed : {2u, 6u}) {
        const Bracketed b = make_bracket(640, 480, shifts, seed, 4.0f);
        for (const hdr::Area area : {hdr::Area::overlap, hdr::Area::best_zone}) {
            hdr::AlignOptions o;
            o.area = area;
            o.max_shift = 24;
            EXPECT_EQ(hdr::align(b.bracket(), o), shifts) << "seed " << seed << " area " << static_cast<int>(area);
        }
    }
}

TEST(HdrPipeline, MaxShiftBoundsEveryFramesTotalShift) {
    // The outer frames lie 20 pixels from the reference, each step 10: with
    // a bound of 12 they end inside it, at the nearest allowed column; with
    // 20 they are found exactly.
    const std::vector<hdr::Shift> truth = {{-20, 0}, {-10, 0}, {0, 0}, {10, 0}, {20, 0}};
    const Bracketed b = make_bracket(320, 240, truth, 3);
    hdr::AlignOptions o;
    o.max_shift = 12;
    const auto bounded = hdr::align(b.bracket(), o);
    const std::vector<hdr::Shift> want = {{-12, 0}, {-10, 0}, {0, 0}, {10, 0}, {12, 0}};
    EXPECT_EQ(bounded, want);
    o.max_shift = 20;
    EXPECT_EQ(hdr::align(b.bracket(), o), truth);

    // The C entry point refuses a base outside the bound.
    EffectsHdrAligner* a = nullptr;
    ASSERT_EQ(EffectsHdrAlignerCreate(320, 240, b.frames[2].data(), 320 * 4, 12, 0, &a), EFFECTS_OK);
    int32_t dx = 0, dy = 0;
    EXPECT_EQ(EffectsHdrAlignerFind(a, b.frames[3].data(), 320 * 4, 13, 0, &dx, &dy), EFFECTS_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(EffectsHdrAlignerFind(a, b.frames[3].data(), 320 * 4, 8, -12, &dx, &dy), EFFECTS_OK);
    EXPECT_LE(8 + dx, 12);
    EXPECT_GE(-12 + dy, -12);
    EffectsHdrAlignerDestroy(a);
}

TEST(HdrPipeline, SameShiftsAndRadianceWithOneTwoAndSevenThreads) {
    const std::vector<hdr::Shift> shifts = {{-9, 4}, {0, 0}, {6, -11}};
    const Bracketed b = make_bracket(203, 157, shifts, 12);
    const int before = omp_get_max_threads();
    std::vector<std::vector<hdr::Shift>> found;
    std::vector<effects::Image<effects::RgbFloat>> merged;
    for (const int threads : {1, 2, 7}) {
        omp_set_num_threads(threads);
        hdr::AlignOptions o;
        o.max_shift = 16;
        for (const hdr::Area area : {hdr::Area::overlap, hdr::Area::centre, hdr::Area::best_zone}) {
            o.area = area;
            found.push_back(hdr::align(b.bracket(), o));
        }
        merged.push_back(hdr::merge(b.bracket(), shifts));
    }
    omp_set_num_threads(before);
    for (size_t k = 3; k < found.size(); ++k) EXPECT_EQ(found[k], found[k % 3]) << k;
    for (size_t k = 1; k < merged.size(); ++k)
        EXPECT_EQ(0, std::memcmp(merged[k].data(), merged[0].data(), static_cast<size_t>(b.w) * b.h * 12));
}

TEST(HdrPipeline, AlignFindsShiftsOfOtherScenesAndSizes) {
    const std::vector<hdr::Shift> shifts = {{3, 40}, {0, 0}, {-50, -7}};  // steps within 64
    for (const auto [w, h, seed] : {std::tuple{333, 517, 3u}, std::tuple{800, 300, 4u}}) {
        const Bracketed b = make_bracket(w, h, shifts, seed);
        EXPECT_EQ(hdr::align(b.bracket()), shifts) << w << "x" << h;
    }
}

TEST(HdrPipeline, MergeRecoversTheRadiance) {
    const Bracketed b = make_bracket(640, 480, kShifts, 7);
    const auto image = hdr::merge(b.bracket(), kShifts);
    ASSERT_EQ(image.width(), 640);
    std::vector<double> rel;
    const float* px = reinterpret_cast<const float*>(image.data());
    for (int y = 0; y < b.h; ++y)
        for (int x = 0; x < b.w; ++x) {
            // Well exposed somewhere: some frame that covers the pixel sees
            // codes of 16..240 in every channel.
            bool good = false;
            for (size_t k = 0; k < b.frames.size() && !good; ++k) {
                const int u = x - kShifts[k].dx, v = y - kShifts[k].dy;
                if (u < 0 || v < 0 || u >= b.w || v >= b.h) continue;
                const uint8_t* p = &b.frames[k][(static_cast<size_t>(v) * b.w + u) * 4];
                good = std::min({p[0], p[1], p[2]}) >= 16 && std::max({p[0], p[1], p[2]}) <= 240;
            }
            if (!good) continue;
            for (int c = 0; c < 3; ++c) {
                const double want = b.scene.at(x, y, c);
                rel.push_back(std::fabs(px[(static_cast<size_t>(y) * b.w + x) * 3 + c] - want) / want);
            }
        }
    ASSERT_GT(rel.size(), static_cast<size_t>(b.w * b.h * 3 * 9 / 10));
    std::nth_element(rel.begin(), rel.begin() + rel.size() / 2, rel.end());
    EXPECT_LT(rel[rel.size() / 2], 0.05);
}

TEST(HdrPipeline, UnshiftedMergeEqualsTheExports) {
    const Bracketed b = make_bracket(97, 61, {{0, 0}, {0, 0}, {0, 0}}, 5);
    for (const auto weighting : {hdr::Weighting::triangle, hdr::Weighting::sine})
        for (const auto response : {hdr::Response::gamma, hdr::Response::linear}) {
            const auto image = hdr::merge(b.bracket(), {}, {weighting, response});
            std::vector<double> W(256);
            std::vector<float> F(256);
            if (weighting == hdr::Weighting::sine)
                VexoHDRWeight_Sine(0, 0, W.data());
            else
                VexoHDRWeight_Triangle(255, 0, W.data());
            if (response == hdr::Response::gamma)
                VexoHDRResponse_Gamma(F.data(), 256);
            else
                VexoHDRResponse_Linear(F.data(), 256);
            std::vector<float> acc(97 * 61 * 3, 0.0f), plane(97 * 61, 0.0f);
            for (size_t k = 0; k < 3; ++k)
                VexoHDRNewCombineArray(97, 61, b.times[k], b.frames[k].data(), acc.data(), W.data(), F.data(),
                                       plane.data());
            VexoHDRNewCombineFinal(97, 61, acc.data(), plane.data(), 1);
            EXPECT_EQ(0, std::memcmp(acc.data(), image.data(), acc.size() * 4));
        }
}

TEST(HdrPipeline, BordersTakeOnlyTheFramesThatCoverThem) {
    // Two frames of one flat code; the second is shifted so that it covers
    // only part of the result. Everywhere the mean is that of the covering
    // frames, and the merge never reads outside a frame (the sanitizers
    // would tell).
    const int w = 20, h = 10;
    std::vector<uint8_t> a(w * h * 4, 128), c(w * h * 4, 64);
    hdr::Merger m(w, h, {hdr::Weighting::triangle, hdr::Response::linear});
    m.add(ImageView<const Bgra8>(a.data(), w, h), 1.0f);
    m.add(ImageView<const Bgra8>(c.data(), w, h), 1.0f, {7, -3});
    const auto image = m.finish();
    const float* p = reinterpret_cast<const float*>(image.data());
    const float only_a = 128.0f / 255.0f;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const bool covered = x >= 7 && y < h - 3;
            const float v = p[(y * w + x) * 3];
            if (!covered) {
                EXPECT_FLOAT_EQ(v, only_a) << x << "," << y;
            } else {
                EXPECT_GT(v, 64.0f / 255.0f);
                EXPECT_LT(v, only_a);
            }
        }
}

TEST(HdrPipeline, StreamedBracketLoadsEachFrameOnce) {
    const Bracketed b = make_bracket(160, 120, {{2, 1}, {0, 0}, {-3, 0}}, 9);
    int loads = 0;
    hdr::Bracket streamed;
    for (size_t i = 0; i < b.frames.size(); ++i)
        streamed.add(
            [&, i] {
                ++loads;
                effects::Image<Bgra8> img(b.w, b.h);
                std::memcpy(img.data(), b.frames[i].data(), b.frames[i].size());
                return img;
            },
            b.times[i]);
    hdr::AlignOptions o;
    o.max_shift = 8;
    const auto shifts = hdr::align(streamed, o);
    EXPECT_EQ(loads, 3);
    EXPECT_EQ(shifts, b.truth);
    const auto streamed_image = hdr::merge(streamed, shifts);
    EXPECT_EQ(loads, 6);
    const auto direct = hdr::merge(b.bracket(), shifts);
    EXPECT_EQ(0, std::memcmp(streamed_image.data(), direct.data(), static_cast<size_t>(b.w) * b.h * 12));
}

TEST(HdrPipeline, CheckedEntryPointsRefuseBadArguments) {
    std::vector<float> rgb(4 * 4 * 3);
    std::vector<uint8_t> px(4 * 4 * 4, 100);
    EffectsHdrMerge* m = nullptr;
    EXPECT_EQ(EffectsHdrMergeCreate(4, 4, 0, 0, rgb.data(), 48, nullptr), EFFECTS_ERROR_NULL_POINTER);
    EXPECT_EQ(EffectsHdrMergeCreate(-1, 4, 0, 0, rgb.data(), 48, &m), EFFECTS_ERROR_NEGATIVE_SIZE);
    EXPECT_EQ(EffectsHdrMergeCreate(4, 4, 0, 0, rgb.data(), 47, &m), EFFECTS_ERROR_BAD_STRIDE);
    EXPECT_EQ(EffectsHdrMergeCreate(4, 4, 2, 0, rgb.data(), 48, &m), EFFECTS_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(EffectsHdrMergeCreate(4, 4, 0, 5, rgb.data(), 48, &m), EFFECTS_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(EffectsHdrMergeCreate(4, 4, 0, 0, nullptr, 48, &m), EFFECTS_ERROR_NULL_POINTER);
    EXPECT_EQ(m, nullptr);
    ASSERT_EQ(EffectsHdrMergeCreate(4, 4, 0, 0, rgb.data(), 48, &m), EFFECTS_OK);
    EXPECT_EQ(EffectsHdrMergeAdd(m, px.data(), 15, 1.0f, 0, 0), EFFECTS_ERROR_BAD_STRIDE);
    EXPECT_EQ(EffectsHdrMergeAdd(m, px.data(), 16, 0.0f, 0, 0), EFFECTS_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(EffectsHdrMergeAdd(m, px.data(), 16, NAN, 0, 0), EFFECTS_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(EffectsHdrMergeAdd(m, nullptr, 16, 1.0f, 0, 0), EFFECTS_ERROR_NULL_POINTER);
    EXPECT_EQ(EffectsHdrMergeAdd(m, px.data(), 16, 1.0f, 100, -100), EFFECTS_OK);  // covers nothing
    EXPECT_EQ(EffectsHdrMergeFinish(m), EFFECTS_OK);
    EXPECT_EQ(EffectsHdrMergeFinish(m), EFFECTS_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(EffectsHdrMergeAdd(m, px.data(), 16, 1.0f, 0, 0), EFFECTS_ERROR_BAD_ARGUMENT);
    EffectsHdrMergeDestroy(m);
    EXPECT_EQ(rgb, std::vector<float>(rgb.size(), 0.0f));

    EffectsHdrAligner* a = nullptr;
    EXPECT_EQ(EffectsHdrAlignerCreate(4, 4, px.data(), 16, -1, 0, &a), EFFECTS_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(EffectsHdrAlignerCreate(4, 4, px.data(), 16, 4, 3, &a), EFFECTS_ERROR_BAD_ARGUMENT);
    ASSERT_EQ(EffectsHdrAlignerCreate(4, 4, px.data(), 16, 4, 0, &a), EFFECTS_OK);
    int32_t dx = 9, dy = 9;
    EXPECT_EQ(EffectsHdrAlignerFind(a, px.data(), 16, 0, 0, &dx, nullptr), EFFECTS_ERROR_NULL_POINTER);
    EXPECT_EQ(EffectsHdrAlignerFind(a, px.data(), 16, 0, 0, &dx, &dy), EFFECTS_OK);
    EXPECT_EQ(dx, 0);
    EXPECT_EQ(dy, 0);
    EffectsHdrAlignerDestroy(a);

    try {
        hdr::Merger bad(4, 4);
        bad.add(ImageView<const Bgra8>(px.data(), 2, 2), 1.0f);
        FAIL() << "a frame of the wrong size was accepted";
    } catch (const effects::Error& e) {
        EXPECT_EQ(e.code(), effects::Errc::size_mismatch);
    }
}

}  // namespace
