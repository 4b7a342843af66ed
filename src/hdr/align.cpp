// Exposure alignment: threshold bitmaps, error measures and zone choosers.
// The statistics are integer sums gathered per thread and merged after the
// join, so every result equals the serial pass's; the one sum kept in single
// precision is reproduced exactly (see masked_sum).
#include "hdr/align.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "frame/parallel.hpp"
#include "frame/scratch.hpp"
#include "frame/vector_clones.hpp"

namespace effects::detail {
namespace {

inline int32_t grey_of(const uint8_t* p) { return (p[0] + p[1] + p[2]) / 3; }

// Truncation toward zero of a double; values outside int32 (the infinity or
// NaN of a one-pixel image) give the integer indefinite of x86.
inline int32_t truncate_double(double v) {
    return v >= -2147483648.0 && v < 2147483648.0 ? static_cast<int32_t>(v) : INT32_MIN;
}

EFFECTS_VECTOR_CLONES void threshold_row(uint8_t* p, int64_t n, int32_t threshold) {
    for (int64_t i = 0; i < n; ++i) p[i] = p[i] > threshold ? 1 : 0;
}

// Sum of a[i] ^ b[i] over a row, in 32-bit lanes per block of 2^16 bytes.
EFFECTS_VECTOR_CLONES int64_t xor_row(const uint8_t* __restrict a, const uint8_t* __restrict b, int64_t n) {
    int64_t total = 0;
    for (int64_t i0 = 0; i0 < n; i0 += 65536) {
        const int64_t i1 = std::min(n, i0 + 65536);
        uint32_t s = 0;
        for (int64_t i = i0; i < i1; ++i) s += static_cast<uint32_t>(a[i] ^ b[i]);
        total += s;
    }
    return total;
}

using Area = XorArea;

// Sum of the XORs over the area as a float accumulated pixel by pixel in
// row-major order: exact while it stays below 2^24, where the serial float
// sum and the integer sum agree. Rows are summed in parallel as integers;
// should the total pass 2^24, the rest is added serially in float, as the
// pixel loop would.
double masked_sum(int32_t width, int32_t dx, int32_t dy, const uint8_t* ref, const uint8_t* other, Area a) {
    if (a.pixels() == 0) return 0.0;
    const int64_t rows = a.y1 - a.y0, n = a.x1 - a.x0;
    auto ref_row = [&](int64_t y) { return ref + y * width + a.x0; };
    auto other_row = [&](int64_t y) { return other + (y - dy) * width + (a.x0 - dx); };
    ScratchBuffer<int64_t> sums(static_cast<std::size_t>(rows));
    parallel_rows(rows, [&](int64_t r0, int64_t r1) {
        for (int64_t r = r0; r < r1; ++r) sums[r] = xor_row(ref_row(a.y0 + r), other_row(a.y0 + r), n);
    });
    constexpr int64_t kExact = int64_t{1} << 24;
    int64_t exact = 0;
    for (int64_t r = 0; r < rows; ++r) {
        if (exact + sums[r] <= kExact) {
            exact += sums[r];
            continue;
        }
        float s = static_cast<float>(exact);
        for (; r < rows; ++r) {
            const uint8_t* p = ref_row(a.y0 + r);
            const uint8_t* q = other_row(a.y0 + r);
            for (int64_t i = 0; i < n; ++i) s += static_cast<float>(p[i] ^ q[i]);
        }
        return s;
    }
    return static_cast<double>(exact);
}

double mean_xor(int32_t width, int32_t dx, int32_t dy, const uint8_t* ref, const uint8_t* other, Area a) {
    const int64_t count = a.pixels();
    return count == 0 ? 0.0 : masked_sum(width, dx, dy, ref, other, a) / static_cast<double>(count);
}

// Per-thread 256-bin histograms of the greys of rows [y0, y1) and columns
// [x0, x1], merged after the join; also the integer sum of the greys.
struct GreyStats {
    std::array<int64_t, 256> bins{};
    int64_t sum = 0;
};
GreyStats grey_histogram(std::ptrdiff_t stride, const uint8_t* pixels, int64_t x0, int64_t x1, int64_t y0, int64_t y1) {
    GreyStats total;
    if (x1 < x0 || y1 < y0) return total;
    ScratchBuffer<GreyStats> partial(static_cast<std::size_t>(team_capacity()));
    for (std::size_t t = 0; t < partial.size(); ++t) partial[t] = GreyStats{};
    parallel_blocks(y1 - y0 + 1, [&](int t, int64_t r0, int64_t r1) {
        GreyStats& s = partial[t];
        for (int64_t y = y0 + r0; y < y0 + r1; ++y)
            for (int64_t x = x0; x <= x1; ++x) ++s.bins[grey_of(pixels + y * stride + x * 4)];
    });
    for (std::size_t t = 0; t < partial.size(); ++t)
        for (int i = 0; i < 256; ++i) total.bins[i] += partial[t].bins[i];
    for (int i = 0; i < 256; ++i) total.sum += total.bins[i] * i;
    return total;
}

// Scores of the five zones: |(mean + peak) / 2 - 128|. The "peak" compares
// bin counts with the running grey level itself (p < count[i] sets p = i);
// the chosen zone depends on that rule, so it stays.
std::array<int64_t, 5> zone_scores(int32_t width, int32_t height, const uint8_t* pixels, std::ptrdiff_t stride) {
    const int64_t w = width, h = height, w2 = w / 2, h2 = h / 2, w3 = w / 3, h3 = h / 3;
    struct Zone {
        int64_t y0, y1, x0, x1, divisor;  // inclusive ranges
    };
    const Zone zones[5] = {
        {0, h - h2 - 2, 0, w - w2 - 2, (h - h2 - 2) * (w - w2 - 2)},
        {0, h - h2 - 2, w2, w - 2, (w - 1 - w2 - 1) * (h - h2 - 2)},
        {h3, h - h3 - 2, w3, w - w3 - 2, (h - h3 - 1 - h3 - 1) * (w - w3 - 1 - w3 - 1)},
        {h2, h - 2, 0, w - w2 - 2, (h - 1 - h2 - 1) * (w - w2 - 2)},
        {h2, h - 2, w2, w - 2, (h - 1 - h2 - 1) * (w - 1 - w2 - 1)},
    };
    std::array<int64_t, 5> scores{};
    for (int z = 0; z < 5; ++z) {
        const Zone& zn = zones[z];
        const GreyStats s = grey_histogram(stride, pixels, zn.x0, zn.x1, zn.y0, zn.y1);
        int64_t p = 0;
        for (int i = 0; i < 256; ++i)
            if (p < s.bins[i]) p = i;
        // A zero divisor (zones of a tiny image) would divide by zero; its
        // mean is taken as 0.
        const int64_t mean = zn.divisor == 0 ? 0 : s.sum / zn.divisor;
        scores[z] = std::llabs((mean + p) / 2 - 128);
    }
    return scores;
}

// Zone 1..4 that beats every other by `better`, else 5.
template <class Better>
int32_t pick_zone(int32_t width, int32_t height, const uint8_t* pixels, std::ptrdiff_t stride, Better better) {
    if (width < 1 || height < 1) return 0;
    const std::array<int64_t, 5> s = zone_scores(width, height, pixels, stride);
    for (int z = 0; z < 4; ++z) {
        bool wins = true;
        for (int o = 0; o < 5; ++o)
            if (o != z && !better(s[z], s[o])) wins = false;
        if (wins) return z + 1;
    }
    return 5;
}

}  // namespace

EFFECTS_VECTOR_CLONES void grey_row(const uint8_t* __restrict src, uint8_t* __restrict dst, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        dst[i] = static_cast<uint8_t>((src[4 * i] + src[4 * i + 1] + src[4 * i + 2]) / 3);
}

void grey_plane(int32_t width, int32_t height, const uint8_t* pixels, std::ptrdiff_t stride, uint8_t* greys) {
    if (width < 1) return;
    parallel_rows(height, [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y) grey_row(pixels + y * stride, greys + y * width, width);
    });
}

// The threshold mixes the middle of the grey range with the mean taken over
// one pixel fewer than the image has.
int32_t bitmap_threshold(int32_t lo, int32_t hi, int64_t sum, int64_t count) {
    const double mean = static_cast<double>(sum) / static_cast<double>(count - 1);
    return truncate_double((static_cast<double>((lo + hi) / 2) + mean) * 0.5);
}

// Greys equal to the threshold count as dark.
void threshold_greys(int32_t width, int32_t height, uint8_t* greys) {
    if (width < 1 || height < 1) return;
    struct Stats {
        int32_t lo = 256, hi = 0;
        int64_t sum = 0;
    };
    ScratchBuffer<Stats> partial(static_cast<std::size_t>(team_capacity()));
    for (std::size_t t = 0; t < partial.size(); ++t) partial[t] = Stats{};
    parallel_blocks(height, [&](int t, int64_t y0, int64_t y1) {
        Stats s;
        const uint8_t* g = greys + y0 * width;
        for (int64_t i = 0; i < (y1 - y0) * width; ++i) {
            s.lo = std::min<int32_t>(s.lo, g[i]);
            s.hi = std::max<int32_t>(s.hi, g[i]);
            s.sum += g[i];
        }
        partial[t] = s;
    });
    Stats all;
    for (std::size_t t = 0; t < partial.size(); ++t) {
        all.lo = std::min(all.lo, partial[t].lo);
        all.hi = std::max(all.hi, partial[t].hi);
        all.sum += partial[t].sum;
    }
    const int32_t threshold = bitmap_threshold(all.lo, all.hi, all.sum, int64_t{width} * height);
    parallel_rows(height, [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y) threshold_row(greys + y * width, width, threshold);
    });
}

// Greys are written into the bitmap first and thresholded in place.
void create_threshold_bitmap(int32_t width, int32_t height, uint8_t* bitmap, const uint8_t* pixels,
                             std::ptrdiff_t stride) {
    if (width < 1 || height < 1) return;
    grey_plane(width, height, pixels, stride, bitmap);
    threshold_greys(width, height, bitmap);
}

// Bins 1..254 only; ties go to the higher grey (and an all-black or all-white
// image gives 254).
int32_t most_frequent_grey(int32_t width, int32_t height, const uint8_t* pixels) {
    if (width < 1 || height < 1) return 0;
    const GreyStats s = grey_histogram(int64_t{width} * 4, pixels, 0, width - 1, 0, height - 1);
    int64_t best = 0;
    int32_t value = 0;
    for (int32_t i = 1; i <= 254; ++i)
        if (s.bins[i] >= best) {
            best = s.bins[i];
            value = i;
        }
    return value;
}

// Whole overlap: a symmetric band of |dx| columns and |dy| rows is left out
// on both sides, which keeps every read inside the other bitmap.
double error_full(int32_t width, int32_t height, int32_t dx, int32_t dy, const uint8_t* ref, const uint8_t* other) {
    if (width < 1 || height < 1) return 0.0;
    const int64_t ax = std::abs(int64_t{dx}), ay = std::abs(int64_t{dy});
    return mean_xor(width, dx, dy, ref, other, {ax, width - ax, ay, height - ay});
}

// Central third; the last row and column of the symmetric area are left
// out. Row sums are integers, so the per-thread totals add up exactly.
float error_third(int32_t width, int32_t height, int32_t dx, int32_t dy, const uint8_t* ref, const uint8_t* other) {
    if (width < 1 || height < 1) return 0.0f;
    const int64_t ax = std::abs(int64_t{dx}), ay = std::abs(int64_t{dy});
    const int64_t w3 = width / 3, h3 = height / 3;
    const Area a{w3 + ax, width - w3 - ax - 1, h3 + ay, height - h3 - ay - 1};
    if (a.x1 < 1 || a.y1 <= 0) return 0.0f;
    const int64_t count = std::max<int64_t>(a.pixels(), 1);
    ScratchBuffer<int64_t> partial(static_cast<std::size_t>(team_capacity()));
    for (std::size_t t = 0; t < partial.size(); ++t) partial[t] = 0;
    if (a.pixels() > 0)
        parallel_blocks(a.y1 - a.y0, [&](int t, int64_t r0, int64_t r1) {
            int64_t s = 0;
            for (int64_t y = a.y0 + r0; y < a.y0 + r1; ++y)
                s += xor_row(ref + y * width + a.x0, other + (y - dy) * width + (a.x0 - dx), a.x1 - a.x0);
            partial[t] = s;
        });
    int64_t sum = 0;
    for (std::size_t t = 0; t < partial.size(); ++t) sum += partial[t];
    return static_cast<float>(static_cast<double>(sum) / static_cast<double>(count));
}

// The rectangle moves by the absolute shift; an end that reaches the image's
// edge stops one short of it, so the last row and column are never compared.
double error_region(int32_t width, int32_t height, int32_t dx, int32_t dy, const uint8_t* ref, const uint8_t* other,
                    int32_t left, int32_t right, int32_t top, int32_t bottom) {
    if (width < 1 || height < 1) return 0.0;
    return mean_xor(width, dx, dy, ref, other, region_area(width, height, dx, dy, left, right, top, bottom));
}

XorArea region_area(int32_t width, int32_t height, int32_t dx, int32_t dy, int32_t left, int32_t right, int32_t top,
                    int32_t bottom) {
    const int64_t ax = std::abs(int64_t{dx}), ay = std::abs(int64_t{dy});
    Area a{std::max<int64_t>(left + ax, 0), right + ax, std::max<int64_t>(top + ay, 0), bottom + ay};
    if (a.x1 >= width) a.x1 = width - 1;
    if (a.y1 >= height) a.y1 = height - 1;
    if (a.y0 >= a.y1) return {};
    return a;
}

double error_zone(int32_t width, int32_t height, int32_t dx, int32_t dy, const uint8_t* ref, const uint8_t* other,
                  int32_t zone) {
    if (width < 1 || height < 1) return 0.0;
    return mean_xor(width, dx, dy, ref, other, zone_area(width, height, dx, dy, zone));
}

XorArea zone_area(int32_t width, int32_t height, int32_t dx, int32_t dy, int32_t zone) {
    if (zone < 1 || zone > 5) return {};
    const int64_t ax = std::abs(int64_t{dx}), ay = std::abs(int64_t{dy});
    const int64_t w = width, h = height;
    // Column start, column end E, row start, row base R of each zone.
    const int64_t table[5][4] = {
        {ax, w - w / 2 - ax, ay, h - h / 2},
        {w / 2 + ax, w - ax, ay, h - h / 2},
        {w / 4 + ax, w - w / 4 - ax, h / 4 + ay, h - h / 4},
        {ax, w - w / 2 - ax, h / 2 + ay, h},
        {w / 2 + ax, w - ax, h / 2 + ay, h},
    };
    const int64_t* z = table[zone - 1];
    const Area a{z[0], z[1] - 1, z[2], z[3] - ay - 1};
    if (a.x1 < 1 || a.y1 < 1) return {};
    return a;
}

// A band in the middle third of the height, from a tenth of the width to
// the middle.
double error_rotation_band(int32_t width, int32_t height, int32_t dx, int32_t dy, const uint8_t* ref,
                           const uint8_t* other) {
    if (width < 1 || height < 1) return 0.0;
    const int64_t ax = std::abs(int64_t{dx}), ay = std::abs(int64_t{dy});
    const int64_t w = width, h = height;
    const Area a{w / 10 + ax, w - w / 2 - ax - 1, h / 3 + ay, h - h / 3 - ay - 1};
    if (a.x1 < 1 || a.y1 < 1) return 0.0;
    return mean_xor(width, dx, dy, ref, other, a);
}

int32_t best_zone(int32_t width, int32_t height, const uint8_t* pixels, std::ptrdiff_t stride) {
    return pick_zone(width, height, pixels, stride, [](int64_t a, int64_t b) { return a < b; });
}

int32_t worst_zone(int32_t width, int32_t height, const uint8_t* pixels, std::ptrdiff_t stride) {
    return pick_zone(width, height, pixels, stride, [](int64_t a, int64_t b) { return a > b; });
}

}  // namespace effects::detail
