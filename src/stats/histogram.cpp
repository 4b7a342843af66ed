// The Histogram... members: luminance and single-channel histograms of the
// 8-bit, 15-bit and RGBEA layouts. Pixels are counted in parallel into exact
// integer bins; the caller's float histogram and the figures are then made
// from the counts exactly as one pass in pixel order makes them.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "frame/numeric.hpp"
#include "frame/vector_clones.hpp"
#include "stats/bin_counts.hpp"
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

// The counts of the 15-bit channel member span -256..255 (word / 128 of a
// signed word); index = value + kChannel64Offset.
constexpr int kChannel64Offset = 256;

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

// Luminance bin of one pixel: ClampToByte of the luminance times `Scale`
// (1 for bytes, 1/128 for 15-bit words, 255 for decoded RGBEA).
template <class Src, LumaWeights W>
inline uint32_t luma_bin(const uint8_t* p, float scale) {
    return ClampToByte(luminance<W>(Src::channel(p, 0), Src::channel(p, 1), Src::channel(p, 2)) * scale);
}

// Bgra8 pixels are read as whole words and split by shifts, which
// vectorises into fewer instructions than gathering single bytes.
EFFECTS_VECTOR_CLONES void tally_luma32(const uint8_t* p, int64_t n, uint32_t* c) {
    tally<256, BgraBytes::kBytes>(p, n, c, [](const uint8_t* q) {
        uint32_t w;
        std::memcpy(&w, q, sizeof w);
        const auto byte = [w](int k) { return static_cast<float>(static_cast<int32_t>((w >> (8 * k)) & 0xFFu)); };
        return ClampToByte(luminance<LumaWeights::Standard>(byte(0), byte(1), byte(2)));
    });
}
EFFECTS_VECTOR_CLONES void tally_luma64(const uint8_t* p, int64_t n, uint32_t* c) {
    tally<256, BgraWords::kBytes>(p, n, c, [](const uint8_t* q) {
        return luma_bin<BgraWords, LumaWeights::Standard>(q, 0.0078125f);
    });
}
// Five-byte pixels do not vectorise as they lie: each run of 256 is first
// split into four planes (mantissas 0..2, exponent), whose bins then are.
EFFECTS_VECTOR_CLONES void tally_luma_rgbea(const uint8_t* p, int64_t n, uint32_t* c) {
    constexpr int kRun = 256;
    uint8_t planes[4 * kRun];
    for (int64_t i = 0; i < n; i += kRun) {
        const int m = static_cast<int>(std::min<int64_t>(kRun, n - i));
        for (int j = 0; j < m; ++j)
            for (int k = 0; k < 4; ++k) planes[k * kRun + j] = p[(i + j) * RgbeaHalfStep::kBytes + k];
        tally<256, 1>(planes, m, c, [](const uint8_t* q) {
            constexpr auto half = RgbeDecoding::HalfStep;
            const uint32_t e = q[3 * kRun];
            return ClampToByte(luminance<LumaWeights::RedBlueSwapped>(DecodeRgbe<half>(q[0], e),
                                                                       DecodeRgbe<half>(q[kRun], e),
                                                                       DecodeRgbe<half>(q[2 * kRun], e)) *
                               255.0f);
        });
    }
}
EFFECTS_VECTOR_CLONES void tally_byte(const uint8_t* p, int64_t n, uint32_t* c) {
    tally<256, 4>(p, n, c, [](const uint8_t* q) { return static_cast<uint32_t>(q[0]); });
}
EFFECTS_VECTOR_CLONES void tally_word(const uint8_t* p, int64_t n, uint32_t* c) {
    tally<512, 8>(p, n, c, [](const uint8_t* q) {
        return static_cast<uint32_t>(BgraWords::word(q, 0) / 128 + kChannel64Offset);
    });
}
// RGBEA channel byte k decoded and binned; k < 0 bins the value 0 (a channel
// number that selects nothing keeps the start value of 0 for every pixel).
EFFECTS_VECTOR_CLONES void tally_rgbea_channel(const uint8_t* p, int64_t n, uint32_t* c, int k) {
    if (k < 0) {
        c[0] += static_cast<uint32_t>(n);
        return;
    }
    tally<256, RgbeaHalfStep::kBytes>(p, n, c, [k](const uint8_t* q) {
        return static_cast<uint32_t>(ClampToByte(RgbeaHalfStep::channel(q, k) * 255.0f));
    });
}

// Byte of an RGBEA pixel that channel 0 (red), 1 (green) or 2 (blue) reads;
// -1 for any other number.
int rgbea_channel_byte(int32_t channel) { return channel >= 0 && channel <= 2 ? 2 - channel : -1; }

template <int Bytes, class Tally>
void histogram_of(int64_t pixels, const uint8_t* image, int bins, int offset, float* histogram,
                  const Figures* figures, Tally tally_fn) {
    uint64_t counts[512];
    count_in_parallel(pixels, bins, counts, [&](int64_t begin, int64_t end, uint32_t* c) {
        tally_fn(image + begin * Bytes, end - begin, c);
    });
    finish(counts, bins, offset, histogram, figures);
}

}  // namespace

void histogram_luma32(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures) {
    histogram_of<BgraBytes::kBytes>(pixels, image, 256, 0, histogram, figures, tally_luma32);
}

void histogram_luma64(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures) {
    histogram_of<BgraWords::kBytes>(pixels, image, 256, 0, histogram, figures, tally_luma64);
}

void histogram_luma_rgbea(int64_t pixels, const uint8_t* image, float* histogram) {
    histogram_of<RgbeaHalfStep::kBytes>(pixels, image, 256, 0, histogram, nullptr, tally_luma_rgbea);
}

void histogram_channel32(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures,
                         int32_t offset) {
    histogram_of<BgraBytes::kBytes>(pixels, image + offset, 256, 0, histogram, figures, tally_byte);
}

void histogram_channel64(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures,
                         int32_t offset) {
    histogram_of<BgraWords::kBytes>(pixels, image + 2 * offset, 512, kChannel64Offset, histogram, figures,
                                    tally_word);
}

void histogram_channel_rgbea(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures,
                             int32_t channel) {
    const int k = rgbea_channel_byte(channel);
    if (!figures) {
        histogram_of<RgbeaHalfStep::kBytes>(pixels, image, 256, 0, histogram, nullptr,
                                            [k](const uint8_t* p, int64_t n, uint32_t* c) {
                                                tally_rgbea_channel(p, n, c, k);
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
