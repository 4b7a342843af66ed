// The Histogram... members: luminance and single-channel histograms of the
// 8-bit, 15-bit and RGBEA layouts. Pixels are counted in parallel into exact
// integer bins; the caller's float histogram and the figures are then made
// from the counts exactly as one pass in pixel order makes them.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "frame/numeric.hpp"
#include "frame/isa.hpp"
#include "stats/bin_counts.hpp"
#include "stats/bin_kernels.hpp"
#include "stats/stats.hpp"

namespace effects::detail {

void add_ones(float& bin, uint64_t n) {
    float x = bin;
    const double xd = x;
    constexpr double kExact = 16777216.0;  // 2^24: every integer up to here is a float
    if (xd == std::floor(xd) && xd >= -kExact && xd + static_cast<double>(n) <= kExact) {
        bin = static_cast<float>(xd + static_cast<double>(n));
        return;
    }
    // A fractional, huge or non-finite start: one addition at a time, as far
    // as the additions still change it.
    for (; n > 0; --n) {
        const float y = x + 1.0f;
        if (y == x || y != y) break;
        x = y;
    }
    bin = x;
}

namespace {

// Float histogram and figures from integer counts of the values
// (index - offset). The histogram gets bins 0..255 only: the negative values
// of 15-bit words above 32767 have no bin and are only folded into the
// figures. The comparisons are the strict ones of a pass in pixel order,
// whose result does not depend on the order of the values.
void finish(const uint64_t* counts, int bins, int offset, float* histogram, const Figures* figures) {
    for (int k = 0; k < bins; ++k) {
        const int v = k - offset;
        if (v >= 0 && v < 256 && counts[k] != 0) add_ones(histogram[v], counts[k]);
    }
    if (!figures) return;
    double mn = 1e10, mx = 1e-10, mnz = *figures->minimum_non_zero;
    int64_t sum = 0;
    for (int k = 0; k < bins; ++k) {
        if (counts[k] == 0) continue;
        const double v = k - offset;
        if (v < mn) mn = v;
        if (v > mx) mx = v;
        if (v != 0.0 && v < mnz) mnz = v;
        sum += static_cast<int64_t>(k - offset) * static_cast<int64_t>(counts[k]);
    }
    *figures->minimum = mn;
    *figures->maximum = mx;
    *figures->minimum_non_zero = mnz;
    *figures->sum = static_cast<double>(sum);  // below 2^53: the sum of doubles is exact too
}

// Byte of an RGBEA pixel that channel 0 (red), 1 (green) or 2 (blue) reads;
// -1 for any other number.
int rgbea_channel_byte(int32_t channel) { return channel >= 0 && channel <= 2 ? 2 - channel : -1; }

// Counts the bins that bin_run gives for every pixel, in parallel, and
// finishes the histogram and figures from the counts.
template <int Bins, int Bytes, class Index = uint8_t, class BinRun>
void histogram_of(int64_t pixels, const uint8_t* image, int offset, float* histogram, const Figures* figures,
                  BinRun bin_run) {
    uint64_t counts[Bins];
    count_in_parallel(pixels, Bins, counts, [&](int64_t begin, int64_t end, uint32_t* c) {
        tally<Bins, Bytes, Index>(image + begin * Bytes, end - begin, c, bin_run);
    });
    finish(counts, Bins, offset, histogram, figures);
}

}  // namespace

const BinKernels& bin_kernels() { return EFFECTS_ACTIVE_TABLE(bin_kernels); }

void histogram_luma32(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures) {
    histogram_of<256, 4>(pixels, image, 0, histogram, figures, bin_kernels().luma32);
}

void histogram_luma64(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures) {
    histogram_of<256, 8>(pixels, image, 0, histogram, figures, bin_kernels().luma64);
}

void histogram_luma_rgbea(int64_t pixels, const uint8_t* image, float* histogram) {
    histogram_of<256, 5>(pixels, image, 0, histogram, nullptr, bin_kernels().luma_rgbea);
}

void histogram_channel32(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures,
                         int32_t offset) {
    // The byte at image + 4 i + offset, read as byte k of a pixel word; an
    // offset outside 0..3 reads the pixels that far away, as it always has.
    const int32_t k = offset & 3;
    const auto bytes = bin_kernels().byte_of32;
    histogram_of<256, 4>(pixels, image + (offset - k), 0, histogram, figures,
                         [k, bytes](const uint8_t* p, int n, uint8_t* bins) { bytes(p, n, k, bins); });
}

void histogram_channel64(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures,
                         int32_t offset) {
    histogram_of<512, 8, uint16_t>(pixels, image + 2 * offset, kWordBinOffset, histogram, figures,
                                   bin_kernels().word_of64);
}

void histogram_channel_rgbea(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures,
                             int32_t channel) {
    const int k = rgbea_channel_byte(channel);
    if (!figures) {
        // A channel number that selects nothing keeps the start value of 0
        // for every pixel.
        const auto decode = bin_kernels().channel_rgbea;
        histogram_of<256, 5>(pixels, image, 0, histogram, nullptr, [k, decode](const uint8_t* p, int n, uint8_t* bins) {
            if (k < 0) std::fill(bins, bins + n, uint8_t{0});
            else decode(p, n, k, bins);
        });
        return;
    }
    // The Fast member sums the float values in double, one pixel after the
    // other: that sum depends on the order, so this member stays one serial
    // pass. Values below 1e-8 are raised to it; a channel number that
    // selects nothing keeps the previous value (0 at the start, raised).
    double mn = 1e10, mx = 1e-10, mnz = *figures->minimum_non_zero, sum = 0.0;
    float v = 0.0f;
    for (int64_t i = 0; i < pixels; ++i) {
        const uint8_t* p = image + i * RgbeaHalfStep::kBytes;
        if (k >= 0) v = DecodeRgbe<RgbeDecoding::HalfStep>(p[k], p[3]);
        if (v < 1e-8f) v = 1e-8f;
        const double d = v;
        if (d < mn) mn = d;
        if (d > mx) mx = d;
        if (d != 0.0 && d < mnz) mnz = d;
        sum += d;
        histogram[ClampToByte(v * 255.0f)] += 1.0f;
    }
    *figures->minimum = mn;
    *figures->maximum = mx;
    *figures->minimum_non_zero = mnz;
    *figures->sum = sum;
}

}  // namespace effects::detail
