// The coarse-to-fine alignment search.
//
// Each frame is reduced once to a pyramid of greys (2x2 box averages) with
// per-level histograms, gathered per thread in the same passes that make the
// greys. A pair of frames is split at one shared quantile of their greys; at
// each level both frames' greys are split there and thresholded
// by the rule of VexoHDRCreateAlignMTB, which on a plane of two values comes
// down to one grey cut (bitmap_cut), so the bitmaps are packed straight from
// the greys. The window of steps is the set that keeps the frame's total
// shift within the maximum. At the coarsest level every step of the window
// (scaled down) is tried; at
// each finer level, full size included, the estimate is doubled and its 5x5
// neighbourhood tried, all candidates of a level counted in one pass.
// Tie rule: among candidates of equal error, the one nearest to the centre
// of the window (the doubled estimate, or (0, 0) at the coarsest level) by
// |dx| + |dy| distance wins, then the smaller dy, then the smaller dx.
#include "hdr/aligner.hpp"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <tuple>

#include "frame/parallel.hpp"
#include "frame/scratch.hpp"
#include "frame/vector_clones.hpp"
#include "hdr/packed_bitmap.hpp"

namespace effects::detail {
namespace {

EFFECTS_VECTOR_CLONES void halve_row(const uint8_t* __restrict a, const uint8_t* __restrict b,
                                     uint8_t* __restrict out, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = static_cast<uint8_t>((a[2 * i] + a[2 * i + 1] + b[2 * i] + b[2 * i + 1] + 2) >> 2);
}

// Per-thread grey counts of a level in four tables that take every fourth
// pixel, so that runs of one grey do not wait on one counter. The 32-bit
// counters are emptied into 64-bit totals before they could wrap.
struct Tally {
    uint32_t part[4][256];
    int64_t pending;

    void clear() {
        std::fill(&part[0][0], &part[0][0] + 4 * 256, 0u);
        pending = 0;
    }
    void count(const uint8_t* g, int64_t n) {
        int64_t i = 0;
        for (; i + 4 <= n; i += 4) {
            ++part[0][g[i]];
            ++part[1][g[i + 1]];
            ++part[2][g[i + 2]];
            ++part[3][g[i + 3]];
        }
        for (; i < n; ++i) ++part[0][g[i]];
        pending += n;
    }
    void flush_into(std::array<int64_t, 256>& bins) {
        for (int k = 0; k < 256; ++k) bins[k] += int64_t{part[0][k]} + part[1][k] + part[2][k] + part[3][k];
        clear();
    }
};

// Fills a level row by row with make(y, row) and counts its greys per
// thread; the counts are added to the level's after the join.
template <class Make>
void fill_level(GreyLevel& level, Make make) {
    const int64_t w = level.width;
    const auto threads = static_cast<std::size_t>(team_capacity());
    ScratchBuffer<Tally> partial(threads);
    std::vector<std::array<int64_t, 256>> totals(threads, std::array<int64_t, 256>{});
    for (std::size_t t = 0; t < threads; ++t) partial[t].clear();
    parallel_blocks(level.height, [&](int t, int64_t y0, int64_t y1) {
        Tally& tally = partial[t];
        auto& total = totals[static_cast<std::size_t>(t)];
        for (int64_t y = y0; y < y1; ++y) {
            uint8_t* row = level.greys.get() + y * w;
            make(y, row);
            if (tally.pending > (int64_t{1} << 31) - w) tally.flush_into(total);
            tally.count(row, w);
        }
        tally.flush_into(total);
    });
    for (const auto& total : totals)
        for (int k = 0; k < 256; ++k) level.bins[k] += total[k];
}

// The quantile at which two frames are split: the median, moved inside the
// range that neither frame has clipped (greys up to 8 or from 247 on, plus a
// margin of 5%), so that the split follows a contour both frames see. Taken
// over whole frames: the statistics of a window (the centre, a zone) would
// describe different parts of the scene in two frames far apart, and the
// search then misses more often.
double split_quantile(const GreyLevel& a, const GreyLevel& b) {
    double dark = 0.0, bright = 0.0;
    for (const GreyLevel* level : {&a, &b}) {
        int64_t lo = 0, hi = 0, n = 0;
        for (int i = 0; i < 256; ++i) n += level->bins[i];
        for (int i = 0; i <= 8; ++i) lo += level->bins[i];
        for (int i = 247; i < 256; ++i) hi += level->bins[i];
        const double count = static_cast<double>(std::max<int64_t>(n, 1));
        dark = std::max(dark, static_cast<double>(lo) / count);
        bright = std::max(bright, static_cast<double>(hi) / count);
    }
    const double lo = dark + 0.05, hi = 1.0 - bright - 0.05;
    return lo > hi ? (lo + hi) / 2 : std::clamp(0.5, lo, hi);
}

// Floor and ceiling of v / 2^l.
int32_t floor_scaled(int32_t v, int32_t l) { return v >> l; }
int32_t ceil_scaled(int32_t v, int32_t l) { return -((-v) >> l); }

PackedBitmap pack_level(const GreyLevel& level, double q) {
    PackedBitmap b(level.width, level.height);
    pack_greys(level.greys.get(), bitmap_cut(level, split_grey(level, q)), b);
    return b;
}

}  // namespace

int32_t pyramid_levels(int32_t width, int32_t height, int32_t max_shift) {
    int32_t l = 0;
    while ((max_shift >> l) > 4 && (std::min(width, height) >> (l + 1)) >= 64) ++l;
    return l + 1;
}

int32_t split_grey(const GreyLevel& level, double q) {
    int64_t n = 0;
    for (int i = 0; i < 256; ++i) n += level.bins[i];
    const auto rank = static_cast<int64_t>(q * static_cast<double>(n));
    int32_t cut = 0;
    for (int64_t below = level.bins[0]; below <= rank && cut < 255; below += level.bins[++cut]) {
    }
    return cut;
}

// The plane split at `cut` holds 0 (greys up to the cut) and 255; the
// threshold rule's statistics of that plane follow from the counts.
int32_t bitmap_cut(const GreyLevel& level, int32_t cut) {
    int64_t bright = 0, n = 0;
    for (int i = 0; i < 256; ++i) {
        n += level.bins[i];
        if (i > cut) bright += level.bins[i];
    }
    const int32_t lo = bright < n ? 0 : 255, hi = bright > 0 ? 255 : 0;
    const int32_t threshold = bitmap_threshold(lo, hi, 255 * bright, n);
    const bool dark_set = 0 > threshold, bright_set = 255 > threshold;
    return bright_set ? (dark_set ? -1 : cut) : 255;
}

Aligner::Aligner(int32_t width, int32_t height, const uint8_t* reference, std::ptrdiff_t stride, int32_t max_shift,
                 HdrArea area)
    : width_(width), height_(height), max_shift_(max_shift), area_(area) {
    if (area == HdrArea::best_zone) zone_ = best_zone(width, height, reference, stride);
    reference_ = pyramid(reference, stride);
}

std::vector<GreyLevel> Aligner::pyramid(const uint8_t* bgra, std::ptrdiff_t stride) const {
    const int32_t count = pyramid_levels(width_, height_, max_shift_);
    std::vector<GreyLevel> levels(static_cast<std::size_t>(count));
    for (int32_t l = 0; l < count; ++l) {
        GreyLevel& level = levels[static_cast<std::size_t>(l)];
        level.width = width_ >> l;
        level.height = height_ >> l;
        // Left unset: the rows are first written, in parallel, by the fill.
        level.greys = std::make_unique_for_overwrite<uint8_t[]>(static_cast<std::size_t>(level.width) *
                                                                 static_cast<std::size_t>(level.height));
        if (level.width < 1 || level.height < 1) continue;
        if (l == 0) {
            fill_level(level, [&](int64_t y, uint8_t* row) { grey_row(bgra + y * stride, row, width_); });
            continue;
        }
        const GreyLevel& up = levels[static_cast<std::size_t>(l - 1)];
        fill_level(level, [&](int64_t y, uint8_t* row) {
            const uint8_t* a = up.greys.get() + 2 * y * up.width;
            halve_row(a, a + up.width, row, level.width);
        });
    }
    return levels;
}

void Aligner::find(const uint8_t* bgra, std::ptrdiff_t stride, int32_t base_dx, int32_t base_dy, int32_t* dx,
                   int32_t* dy) const {
    const std::vector<GreyLevel> other = pyramid(bgra, stride);
    const double q = split_quantile(reference_.front(), other.front());
    // The steps that keep the total within the maximum.
    const int32_t lo_x = -max_shift_ - base_dx, hi_x = max_shift_ - base_dx;
    const int32_t lo_y = -max_shift_ - base_dy, hi_y = max_shift_ - base_dy;
    const bool centre = area_ == HdrArea::centre;
    int32_t cx = 0, cy = 0;
    std::vector<Candidate> candidates;
    for (int32_t l = levels() - 1; l >= 0; --l) {
        const GreyLevel& rl = reference_[static_cast<std::size_t>(l)];
        const int32_t w = rl.width, h = rl.height;
        // Shifts allowed at this level: the window scaled down (rounded
        // outwards), and below a sixth (centre) or a quarter (overlap, zones)
        // of each side, so that the compared area is never empty.
        const int32_t px = std::max(0, w / (centre ? 6 : 4) - 1), py = std::max(0, h / (centre ? 6 : 4) - 1);
        const int32_t x0 = std::max(floor_scaled(lo_x, l), -px), x1 = std::min(ceil_scaled(hi_x, l), px);
        const int32_t y0 = std::max(floor_scaled(lo_y, l), -py), y1 = std::min(ceil_scaled(hi_y, l), py);
        const bool coarsest = l == levels() - 1;
        const int32_t radius = coarsest ? std::max({-x0, x1, -y0, y1}) : 2;
        if (!coarsest) {
            cx *= 2;
            cy *= 2;
        }
        // The overlap and the centre are compared over one fixed rectangle
        // per level (the central third, or the overlap less a margin of the
        // level's largest shift on each side): the region rule moves its
        // rectangle by the absolute shift, so the rectangle of each
        // candidate is pulled back by that much and every candidate sees the
        // same reference pixels. (With the whole-overlap and central rules
        // the margins, and so the compared pixels, change with the candidate
        // and bias the choice towards whatever flat area they shrink to.)
        const int32_t left = centre ? w / 3 : std::max(-x0, x1), top = centre ? h / 3 : std::max(-y0, y1);
        candidates.clear();
        for (int32_t y = std::max(cy - radius, y0); y <= std::min(cy + radius, y1); ++y)
            for (int32_t x = std::max(cx - radius, x0); x <= std::min(cx + radius, x1); ++x) {
                const int32_t ax = std::abs(x), ay = std::abs(y);
                candidates.push_back({x, y,
                                      area_ == HdrArea::best_zone
                                          ? zone_area(w, h, x, y, zone_)
                                          : region_area(w, h, x, y, left - ax, w - left - ax, top - ay,
                                                        h - top - ay),
                                      0});
            }
        if (candidates.empty()) {
            cx = std::clamp(cx, x0, x1);
            cy = std::clamp(cy, y0, y1);
            continue;
        }
        const PackedBitmap ref_bits = pack_level(rl, q);
        const PackedBitmap other_bits = pack_level(other[static_cast<std::size_t>(l)], q);
        count_differences(ref_bits, other_bits, candidates.data(), candidates.size());
        auto key = [&](const Candidate& c) {
            return std::make_tuple(c.error(), std::abs(c.dx - cx) + std::abs(c.dy - cy), c.dy, c.dx);
        };
        const Candidate* best = &candidates.front();
        for (const Candidate& c : candidates)
            if (key(c) < key(*best)) best = &c;
        cx = best->dx;
        cy = best->dy;
    }
    *dx = cx;
    *dy = cy;
}

}  // namespace effects::detail
