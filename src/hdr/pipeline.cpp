// The streamed merge and the coarse-to-fine alignment search.
//
// Search: the reference and each frame are reduced to threshold bitmaps at
// every level of a 2x pyramid of greys (2x2 box averages); each level's
// greys are split at their median and then thresholded by the library's own
// bitmap rule. At the coarsest
// level every shift within the maximum (scaled to that level) is tried; at
// each finer level the estimate is doubled and its 5x5 neighbourhood tried
// (3x3 at full size).
// Tie rule: among candidates of equal error, the one nearest to the centre
// of the window (the doubled estimate, or (0, 0) at the coarsest level) by
// |dx| + |dy| distance wins, then the smaller dy, then the smaller dx.
#include "hdr/pipeline.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <tuple>

#include "frame/parallel.hpp"
#include "frame/vector_clones.hpp"
#include "hdr/align.hpp"
#include "hdr/merge.hpp"

namespace effects::detail {
namespace {

EFFECTS_VECTOR_CLONES void halve_row(const uint8_t* __restrict a, const uint8_t* __restrict b,
                                     uint8_t* __restrict out, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = static_cast<uint8_t>((a[2 * i] + a[2 * i + 1] + b[2 * i] + b[2 * i + 1] + 2) >> 2);
}

// 2x2 box average of a packed grey plane into one of half the size.
void halve(int32_t width, int32_t height, const uint8_t* src, std::vector<uint8_t>& out) {
    const int32_t w = width / 2, h = height / 2;
    out.resize(static_cast<std::size_t>(w) * static_cast<std::size_t>(h));
    uint8_t* dst = out.data();
    parallel_rows(h, [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y) halve_row(src + 2 * y * width, src + (2 * y + 1) * width, dst + y * w, w);
    });
}

std::array<int64_t, 256> histogram(const std::vector<uint8_t>& plane) {
    std::array<int64_t, 256> bins{};
    for (uint8_t g : plane) ++bins[g];
    return bins;
}

// Maps the greys of rank up to fraction q of the plane to 0 and the rest to
// 255. The threshold rule then splits the plane at that quantile, the same
// scene percentile in a dark and a bright exposure; on the raw greys the
// rule mixes the grey range with the mean and moves with the exposure.
void split_at_quantile(std::vector<uint8_t>& plane, double q) {
    const std::array<int64_t, 256> bins = histogram(plane);
    const auto rank = static_cast<int64_t>(q * static_cast<double>(plane.size()));
    int cut = 0;
    for (int64_t below = bins[0]; below <= rank && cut < 255; below += bins[++cut]) {
    }
    uint8_t lut[256];
    for (int i = 0; i < 256; ++i) lut[i] = i <= cut ? 0 : 255;
    for (uint8_t& g : plane) g = lut[g];
}

// The quantile at which two frames are split: the median, moved inside the
// range that neither frame has clipped (greys up to 8 or from 247 on, plus
// a margin of 5%), so that the split follows a contour both frames see.
double split_quantile(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    double dark = 0.0, bright = 0.0;
    for (const auto* plane : {&a, &b}) {
        const std::array<int64_t, 256> bins = histogram(*plane);
        int64_t lo = 0, hi = 0;
        for (int i = 0; i <= 8; ++i) lo += bins[i];
        for (int i = 247; i < 256; ++i) hi += bins[i];
        const double n = static_cast<double>(std::max<std::size_t>(plane->size(), 1));
        dark = std::max(dark, static_cast<double>(lo) / n);
        bright = std::max(bright, static_cast<double>(hi) / n);
    }
    const double lo = dark + 0.05, hi = 1.0 - bright - 0.05;
    return lo > hi ? (lo + hi) / 2 : std::clamp(0.5, lo, hi);
}

}  // namespace

MergeSession::MergeSession(int32_t width, int32_t height, HdrWeighting weighting, HdrResponse response, float* acc,
                           std::ptrdiff_t acc_stride)
    : width_(width), height_(height), acc_(acc), acc_stride_(acc_stride),
      plane_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0.0f) {
    if (weighting == HdrWeighting::sine)
        weight_sine(weights_);
    else
        weight_triangle(255, 0, weights_);
    if (response == HdrResponse::linear)
        response_linear(response_, 256);
    else
        response_gamma(response_, 256);
    if (width_ < 1) return;
    parallel_rows(height_, [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y) std::memset(acc_row(y), 0, static_cast<std::size_t>(width_) * 12);
    });
}

void MergeSession::add(const uint8_t* bgra, std::ptrdiff_t stride, float exposure, int32_t dx, int32_t dy) {
    const int64_t x0 = std::max<int64_t>(0, dx), x1 = std::min<int64_t>(width_, int64_t{width_} + dx);
    const int64_t y0 = std::max<int64_t>(0, dy), y1 = std::min<int64_t>(height_, int64_t{height_} + dy);
    if (x1 <= x0 || y1 <= y0) return;
    const float inverse = 1.0f / exposure;
    parallel_rows(y1 - y0, [&](int64_t r0, int64_t r1) {
        for (int64_t y = y0 + r0; y < y0 + r1; ++y)
            combine_row(bgra + (y - dy) * stride + (x0 - dx) * 4, acc_row(y) + x0 * 3,
                        plane_.data() + y * width_ + x0, x1 - x0, inverse, weights_, response_);
    });
}

void MergeSession::finish() {
    if (width_ < 1) return;
    parallel_rows(height_, [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y) combine_final_row(acc_row(y), plane_.data() + y * width_, width_, 1.0f);
    });
}

int32_t pyramid_levels(int32_t width, int32_t height, int32_t max_shift) {
    int32_t l = 0;
    while ((max_shift >> l) > 4 && (std::min(width, height) >> (l + 1)) >= 64) ++l;
    return l + 1;
}

std::vector<BitmapLevel> grey_pyramid(int32_t width, int32_t height, const uint8_t* bgra, std::ptrdiff_t stride,
                                      int32_t levels) {
    std::vector<BitmapLevel> pyramid(static_cast<std::size_t>(levels));
    int32_t w = width, h = height;
    for (int32_t l = 0; l < levels; ++l) {
        BitmapLevel& level = pyramid[static_cast<std::size_t>(l)];
        level.width = w;
        level.height = h;
        if (l == 0) {
            level.bits.resize(static_cast<std::size_t>(w) * static_cast<std::size_t>(h));
            grey_plane(w, h, bgra, stride, level.bits.data());
        } else {
            const BitmapLevel& up = pyramid[static_cast<std::size_t>(l - 1)];
            halve(up.width, up.height, up.bits.data(), level.bits);
        }
        w /= 2;
        h /= 2;
    }
    return pyramid;
}

BitmapLevel threshold_level(const BitmapLevel& greys, double q) {
    BitmapLevel b = greys;
    split_at_quantile(b.bits, q);
    threshold_greys(b.width, b.height, b.bits.data());
    return b;
}

Aligner::Aligner(int32_t width, int32_t height, const uint8_t* reference, std::ptrdiff_t stride, int32_t max_shift,
                 HdrArea area)
    : max_shift_(max_shift), area_(area) {
    reference_ = grey_pyramid(width, height, reference, stride, pyramid_levels(width, height, max_shift));
    if (area == HdrArea::best_zone) zone_ = best_zone(width, height, reference, stride);
}

// The overlap and the centre are compared over one fixed rectangle per
// level (the central third, or the overlap less a margin of the level's
// largest shift on each side): the region
// function moves its rectangle by the absolute shift, so the rectangle given
// for each candidate is pulled back by that much, and every candidate of the
// level sees the same reference pixels. With the whole-overlap and central
// functions the margins, and so the compared pixels, change with the
// candidate and bias the choice towards whatever flat area they shrink to.
double Aligner::error(const BitmapLevel& ref, const BitmapLevel& other, int32_t dx, int32_t dy, int32_t mx,
                      int32_t my) const {
    const uint8_t* r = ref.bits.data();
    const uint8_t* o = other.bits.data();
    if (area_ == HdrArea::best_zone) return error_zone(ref.width, ref.height, dx, dy, r, o, zone_);
    // The central third, or the overlap less the level's largest shift.
    const bool centre = area_ == HdrArea::centre;
    const int32_t left = centre ? ref.width / 3 : mx, top = centre ? ref.height / 3 : my;
    const int32_t ax = std::abs(dx), ay = std::abs(dy);
    return error_region(ref.width, ref.height, dx, dy, r, o, left - ax, ref.width - left - ax, top - ay,
                        ref.height - top - ay);
}

void Aligner::find(const uint8_t* bgra, std::ptrdiff_t stride, int32_t* dx, int32_t* dy) const {
    const BitmapLevel& top = reference_.front();
    const std::vector<BitmapLevel> greys = grey_pyramid(top.width, top.height, bgra, stride, levels());
    const double q = split_quantile(reference_.front().bits, greys.front().bits);
    int32_t cx = 0, cy = 0;
    for (int32_t l = levels() - 1; l >= 0; --l) {
        const BitmapLevel ref = threshold_level(reference_[static_cast<std::size_t>(l)], q);
        const BitmapLevel other = threshold_level(greys[static_cast<std::size_t>(l)], q);
        // Shifts allowed at this level: the maximum scaled down (rounded up),
        // and below a sixth (centre) or a quarter (overlap, zones) of each
        // side, so that the compared area is never empty.
        const int32_t limit = (max_shift_ + (1 << l) - 1) >> l;
        const int32_t part = area_ == HdrArea::centre ? 6 : 4;
        const int32_t lx = std::max(0, std::min(limit, ref.width / part - 1));
        const int32_t ly = std::max(0, std::min(limit, ref.height / part - 1));
        const bool coarsest = l == levels() - 1;
        const int32_t radius = coarsest ? std::max(lx, ly) : l == 0 ? 1 : 2;
        if (!coarsest) {
            cx *= 2;
            cy *= 2;
        }
        auto key = [&](double err, int32_t x, int32_t y) {
            return std::make_tuple(err, std::abs(x - cx) + std::abs(y - cy), y, x);
        };
        auto best = key(std::numeric_limits<double>::infinity(), 0, 0);
        int32_t bx = std::clamp(cx, -lx, lx), by = std::clamp(cy, -ly, ly);
        for (int32_t y = std::max(cy - radius, -ly); y <= std::min(cy + radius, ly); ++y)
            for (int32_t x = std::max(cx - radius, -lx); x <= std::min(cx + radius, lx); ++x) {
                const auto k = key(error(ref, other, x, y, lx, ly), x, y);
                if (k < best) {
                    best = k;
                    bx = x;
                    by = y;
                }
            }
        cx = bx;
        cy = by;
    }
    *dx = cx;
    *dy = cy;
}

}  // namespace effects::detail
