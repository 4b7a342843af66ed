// White-box checks of the HDR pipeline's fast paths: the packed bitmaps'
// difference counts give the library's region and zone errors on the same
// bitmaps, the packed split of a level equals the library's threshold rule
// applied to the split plane, and the vector accumulation row gives the
// baseline's bytes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "frame/isa.hpp"
#include "hdr/align.hpp"
#include "hdr/aligner.hpp"
#include "hdr/merge.hpp"
#include "hdr/packed_bitmap.hpp"

namespace ed = effects::detail;

namespace {

// A byte bitmap of blobs and noise: runs of equal bits, as thresholded
// photos have, with every fourth row random.
std::vector<uint8_t> random_bitmap(int w, int h, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> b(static_cast<size_t>(w) * h);
    for (int y = 0; y < h; ++y) {
        uint8_t v = rng() & 1;
        for (int x = 0; x < w; ++x) {
            if (y % 4 == 3 || rng() % 9 == 0) v = rng() & 1;
            b[static_cast<size_t>(y) * w + x] = v;
        }
    }
    return b;
}

bool packed_equals(const ed::PackedBitmap& p, const std::vector<uint8_t>& bytes) {
    for (int y = 0; y < p.height(); ++y)
        for (int x = 0; x < p.width(); ++x)
            if (((p.row(y)[x / 64] >> (x % 64)) & 1) != bytes[static_cast<size_t>(y) * p.width() + x]) return false;
    return true;
}

TEST(HdrSearch, PackedCountsGiveTheLibrarysErrors) {
    std::mt19937 rng(11);
    const int sizes[][2] = {{1, 1}, {1, 9}, {9, 1}, {63, 5}, {64, 7}, {65, 9}, {130, 41}, {301, 77}, {450, 150}};
    for (const auto& s : sizes) {
        const int w = s[0], h = s[1];
        SCOPED_TRACE(testing::Message() << w << "x" << h);
        const auto ref = random_bitmap(w, h, static_cast<uint32_t>(w * 7 + h));
        const auto other = random_bitmap(w, h, static_cast<uint32_t>(w * 5 + h + 1));
        ed::PackedBitmap pr(w, h), po(w, h);
        ed::pack_greys(ref.data(), 0, pr);
        ed::pack_greys(other.data(), 0, po);
        ASSERT_TRUE(packed_equals(pr, ref));
        std::vector<ed::Candidate> cands;
        std::vector<double> want;
        for (int k = 0; k < 40; ++k) {
            const int mx = std::min(w / 4, 70), my = std::min(h / 4, 70);
            const int dx = mx ? static_cast<int>(rng() % (2 * mx + 1)) - mx : 0;
            const int dy = my ? static_cast<int>(rng() % (2 * my + 1)) - my : 0;
            // A rectangle pulled back by the absolute shift, as the search
            // gives it, with margins that keep the reads inside.
            const int ax = std::abs(dx), ay = std::abs(dy);
            const int left = ax + static_cast<int>(rng() % (w / 4 + 1)), top = ay + static_cast<int>(rng() % (h / 4 + 1));
            const int r[4] = {left - ax, w - left - ax, top - ay, h - top - ay};
            cands.push_back({dx, dy, ed::region_area(w, h, dx, dy, r[0], r[1], r[2], r[3]), 0});
            want.push_back(ed::error_region(w, h, dx, dy, ref.data(), other.data(), r[0], r[1], r[2], r[3]));
            const int zone = 1 + k % 5;
            cands.push_back({dx, dy, ed::zone_area(w, h, dx, dy, zone), 0});
            want.push_back(ed::error_zone(w, h, dx, dy, ref.data(), other.data(), zone));
        }
        ed::count_differences(pr, po, cands.data(), cands.size());
        for (size_t i = 0; i < cands.size(); ++i)
            ASSERT_EQ(cands[i].error(), want[i]) << "candidate " << i << " shift " << cands[i].dx << ","
                                                 << cands[i].dy;
    }
}

TEST(HdrSearch, PackedSplitFollowsTheThresholdRule) {
    std::mt19937 rng(5);
    for (const int n : {2, 3, 64, 1000}) {
        ed::GreyLevel level;
        level.width = n;
        level.height = 3;
        level.greys = std::make_unique<uint8_t[]>(3 * static_cast<size_t>(n));
        for (int i = 0; i < 3 * n; ++i) ++level.bins[level.greys[i] = static_cast<uint8_t>(rng() % 7 * 40)];
        for (const double q : {0.0, 0.3, 0.5, 0.9, 1.0}) {
            const int cut = ed::split_grey(level, q);
            // The library's way: split into 0 and 255, then threshold.
            std::vector<uint8_t> plane(level.greys.get(), level.greys.get() + 3 * n);
            for (uint8_t& g : plane) g = g <= cut ? 0 : 255;
            ed::threshold_greys(n, 3, plane.data());
            ed::PackedBitmap packed(n, 3);
            ed::pack_greys(level.greys.get(), ed::bitmap_cut(level, cut), packed);
            EXPECT_TRUE(packed_equals(packed, plane)) << n << " " << q;
        }
    }
}

TEST(HdrSearch, AccumulationRowsAgreeOnEveryInstructionSet) {
    std::mt19937 rng(3);
    std::vector<double> tables[2] = {std::vector<double>(256), std::vector<double>(256)};
    ed::weight_sine(tables[0].data());  // floats widened: the paired-entry path
    for (double& v : tables[1]) v = static_cast<double>(rng()) / 4294967296.0;  // any doubles
    std::vector<float> response(256);
    ed::response_gamma(response.data(), 256);
    const int n = 61;  // seven steps of eight and a tail
    std::vector<uint8_t> px(4 * n);
    for (uint8_t& b : px) b = static_cast<uint8_t>(rng());
    for (const auto& weights : tables) {
        ed::CombineTable table;
        ed::combine_table(weights.data(), response.data(), 1.0f / 3.0f, table);
        std::vector<float> acc[2], plane[2];
        const ed::KernelIsa isas[2] = {ed::KernelIsa::Baseline, ed::best_kernel_isa()};
        for (int k = 0; k < 2; ++k) {
            acc[k].assign(3 * n, 0.125f);
            plane[k].assign(n, 0.5f);
            ASSERT_TRUE(ed::pin_kernel_isa(isas[k]));
            ed::combine_row(px.data(), acc[k].data(), plane[k].data(), n, table);
        }
        ed::pin_kernel_isa(ed::best_kernel_isa());
        EXPECT_EQ(acc[0], acc[1]);
        EXPECT_EQ(plane[0], plane[1]);
    }
}

}  // namespace
