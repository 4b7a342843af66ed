// The streamed merge and the coarse-to-fine alignment search.
//
// Search: the reference and each frame are reduced to threshold bitmaps at
// every level of a 2x pyramid (2x2 box averages of the 8-bit pixels, each
// level thresholded by the library's own bitmap function). At the coarsest
// level every shift within the maximum (scaled to that level) is tried; at
// each finer level the estimate is doubled and its 3x3 neighbourhood tried.
// Tie rule: among candidates of equal error, the one nearest to the centre
// of the window (the doubled estimate, or (0, 0) at the coarsest level) by
// |dx| + |dy| distance wins, then the smaller dy, then the smaller dx.
#include "hdr/pipeline.hpp"

#include <algorithm>
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
        for (int c = 0; c < 4; ++c)
            out[4 * i + c] = static_cast<uint8_t>(
                (a[8 * i + c] + a[8 * i + 4 + c] + b[8 * i + c] + b[8 * i + 4 + c] + 2) >> 2);
}

// 2x2 box average of a Bgra8 image into a packed one of half the size.
void halve(int32_t width, int32_t height, const uint8_t* src, std::ptrdiff_t stride, std::vector<uint8_t>& out) {
    const int32_t w = width / 2, h = height / 2;
    out.resize(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4);
    uint8_t* dst = out.data();
    parallel_rows(h, [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y)
            halve_row(src + 2 * y * stride, src + (2 * y + 1) * stride, dst + y * w * 4, w);
    });
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
    while ((max_shift >> l) > 4 && (std::min(width, height) >> (l + 1)) >= 32) ++l;
    return l + 1;
}

std::vector<BitmapLevel> build_pyramid(int32_t width, int32_t height, const uint8_t* bgra, std::ptrdiff_t stride,
                                       int32_t levels) {
    std::vector<BitmapLevel> pyramid(static_cast<std::size_t>(levels));
    std::vector<uint8_t> cur, next;
    const uint8_t* src = bgra;
    std::ptrdiff_t src_stride = stride;
    int32_t w = width, h = height;
    for (int32_t l = 0; l < levels; ++l) {
        BitmapLevel& level = pyramid[static_cast<std::size_t>(l)];
        level.width = w;
        level.height = h;
        level.bits.resize(static_cast<std::size_t>(w) * static_cast<std::size_t>(h));
        create_threshold_bitmap(w, h, level.bits.data(), src, src_stride);
        if (l + 1 == levels) break;
        halve(w, h, src, src_stride, next);
        cur.swap(next);
        src = cur.data();
        w /= 2;
        h /= 2;
        src_stride = int64_t{w} * 4;
    }
    return pyramid;
}

Aligner::Aligner(int32_t width, int32_t height, const uint8_t* reference, std::ptrdiff_t stride, int32_t max_shift,
                 HdrArea area)
    : max_shift_(max_shift), area_(area) {
    reference_ = build_pyramid(width, height, reference, stride, pyramid_levels(width, height, max_shift));
    if (area == HdrArea::best_zone) zone_ = best_zone(width, height, reference, stride);
}

double Aligner::error(const BitmapLevel& ref, const BitmapLevel& other, int32_t dx, int32_t dy) const {
    switch (area_) {
        case HdrArea::centre: return error_third(ref.width, ref.height, dx, dy, ref.bits.data(), other.bits.data());
        case HdrArea::best_zone:
            return error_zone(ref.width, ref.height, dx, dy, ref.bits.data(), other.bits.data(), zone_);
        case HdrArea::overlap: break;
    }
    return error_full(ref.width, ref.height, dx, dy, ref.bits.data(), other.bits.data());
}

void Aligner::find(const uint8_t* bgra, std::ptrdiff_t stride, int32_t* dx, int32_t* dy) const {
    const BitmapLevel& top = reference_.front();
    const std::vector<BitmapLevel> other = build_pyramid(top.width, top.height, bgra, stride, levels());
    int32_t cx = 0, cy = 0;
    for (int32_t l = levels() - 1; l >= 0; --l) {
        const BitmapLevel& ref = reference_[static_cast<std::size_t>(l)];
        // Shifts allowed at this level: the maximum scaled down (rounded up),
        // and at most an eighth of each side so that every area is non-empty.
        const int32_t limit = (max_shift_ + (1 << l) - 1) >> l;
        const int32_t lx = std::max(0, std::min(limit, ref.width / 8 - 1));
        const int32_t ly = std::max(0, std::min(limit, ref.height / 8 - 1));
        const bool coarsest = l == levels() - 1;
        const int32_t radius = coarsest ? std::max(lx, ly) : 1;
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
                const auto k = key(error(ref, other[static_cast<std::size_t>(l)], x, y), x, y);
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
