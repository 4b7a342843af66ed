// What both tone-mapping plug-ins share: reading the five values of the
// entry, the scene statistics (log-average, maximum and robust extremes of
// luminance), and the colour-preserving output stage that scales each
// pixel's RGB by the operator's luminance ratio and encodes it with the sRGB
// transfer curve into display bytes. Header-only: each plug-in is a library
// of its own and carries its own copy.
#pragma once

#include <effects/tonemap_plugin.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

#include "common/fast_math.hpp"
#include "frame/parallel.hpp"

#if defined(_WIN32)
#define EFFECTS_PLUGIN_EXPORT extern "C" __declspec(dllexport)
#else
#define EFFECTS_PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))
#endif

// The row loops that vectorise are built twice on x86-64 ELF hosts, for
// the baseline and for AVX2, and the loader picks one by the processor. The
// same operations run in either (AVX2 does not bring FMA), so the bytes agree.
// Not under ThreadSanitizer, whose runtime is not ready when the loader runs
// the clones' resolvers.
#if defined(__ELF__) && defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && \
    !defined(__SANITIZE_THREAD__)
#define EFFECTS_PLUGIN_ROW_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define EFFECTS_PLUGIN_ROW_CLONES
#endif

namespace effects_plugin {

// TMOptionsUsed: the set of options a plug-in reads, written through a1
// when it is not NULL, and returned.
inline int32_t report_options_used(intptr_t a1, uint32_t used) {
    if (auto* out = reinterpret_cast<uint32_t*>(a1)) *out = used;
    return static_cast<int32_t>(used);
}

// One call of ToneMapping128to32, its values read and checked.
struct Call {
    int32_t width = 0, height = 0;
    const uint8_t* src = nullptr;
    intptr_t src_stride = 0;
    uint8_t* dst = nullptr;
    intptr_t dst_stride = 0;
    uint32_t given = 0;  // EFFECTS_TONEMAP_USES_... bits of the values given
    float key = 0.0f, white = 0.0f, bias = 0.0f;

    const float* src_row(int64_t y) const { return reinterpret_cast<const float*>(src + y * src_stride); }
    uint8_t* dst_row(int64_t y) const { return dst + y * dst_stride; }
    bool has(uint32_t bit) const { return (given & bit) != 0; }
};

// Reads the five values; EFFECTS_TONEMAP_OK or the error the plug-in returns.
inline int32_t read_call(intptr_t a1, intptr_t a2, intptr_t a3, intptr_t a4, intptr_t a5, Call& c) {
    if (a1 < 0 || a2 < 0 || a1 > INT32_MAX || a2 > INT32_MAX) return EFFECTS_TONEMAP_ERROR_ARGUMENT;
    c.width = static_cast<int32_t>(a1);
    c.height = static_cast<int32_t>(a2);
    c.src = reinterpret_cast<const uint8_t*>(a3);
    c.dst = reinterpret_cast<uint8_t*>(a4);
    c.src_stride = intptr_t{c.width} * 16;
    c.dst_stride = intptr_t{c.width} * 4;
    if (const auto* o = reinterpret_cast<const EffectsToneMapOptions*>(a5)) {
        if (o->version != EFFECTS_TONEMAP_OPTIONS_VERSION || o->size < sizeof(EffectsToneMapOptions))
            return EFFECTS_TONEMAP_ERROR_OPTIONS;
        c.given = o->given;
        c.key = o->key;
        c.white = o->white;
        c.bias = o->bias;
        if (o->src_stride) c.src_stride = o->src_stride;
        if (o->dst_stride) c.dst_stride = o->dst_stride;
    }
    if (c.width == 0 || c.height == 0) return EFFECTS_TONEMAP_OK;
    if (!c.src || !c.dst || c.src_stride < intptr_t{c.width} * 16 || c.src_stride % 4 != 0 ||
        c.dst_stride < intptr_t{c.width} * 4)
        return EFFECTS_TONEMAP_ERROR_ARGUMENT;
    return EFFECTS_TONEMAP_OK;
}

// A channel as the operators see it: negative and NaN count as 0, and
// values are capped far above any real radiance so sums stay finite.
// (Comparisons unnested, so that rows of them vectorise.)
EFFECTS_PLUGIN_INLINE float channel(float v) {
    const float capped = v < 1.0e30f ? v : 1.0e30f;
    return v > 0.0f ? capped : 0.0f;
}

// Luminance of linear RGB with the sRGB (BT.709) primaries; p is B, G, R.
EFFECTS_PLUGIN_INLINE float luminance(const float* p) {
    return 0.2126f * channel(p[2]) + 0.7152f * channel(p[1]) + 0.0722f * channel(p[0]);
}

// Luminance histogram in 1/16-stop bins from 2^-64 to 2^64, for the
// percentiles of the automatic key.
inline constexpr int kBinsPerStop = 16;
inline constexpr int kBins = 128 * kBinsPerStop;
inline int log2_bin(float log2_l) {
    const float pos = (log2_l + 64.0f) * static_cast<float>(kBinsPerStop);
    if (!(pos > 0.0f)) return 0;
    return pos < static_cast<float>(kBins - 1) ? static_cast<int>(pos) : kBins - 1;
}
inline float bin_luminance(int bin) {
    return std::exp2((static_cast<float>(bin) + 0.5f) / static_cast<float>(kBinsPerStop) - 64.0f);
}

struct SceneStats {
    float log_average = 1.0f;  // 2^(mean of log2 L) over the lit pixels (L > 0); 1 without any
    float max = 0.0f;          // largest luminance
    float low = 0.0f, high = 0.0f;  // 1st and 99th percentile of lit pixels (with_percentiles)
};

// Per-thread rows of floats for the row loops, taken before the fork.
struct RowScratch {
    std::vector<float> data;
    int64_t width;
    RowScratch(int64_t w, int per_thread)
        : data(static_cast<size_t>(effects::detail::team_capacity()) * static_cast<size_t>(w * per_thread)),
          width(w * per_thread) {}
    float* of(int thread) { return data.data() + static_cast<size_t>(thread) * static_cast<size_t>(width); }
};

// Luminance of each pixel of a row and its log2 (0 for black).
EFFECTS_PLUGIN_ROW_CLONES static void luminance_log_row(const float* p, float* lum, float* logs, int64_t width) {
    for (int64_t x = 0; x < width; ++x) {
        const float l = luminance(p + 4 * x);
        lum[x] = l;
        const float lg = log2f_poly(l);
        logs[x] = l > 0.0f ? lg : 0.0f;
    }
}

// Scene statistics in one parallel pass. Black pixels are left out of the
// log-average instead of being offset by a small delta, so the operators
// give the same picture for a scene and the same scene scaled by any factor.
// Each row's logarithms are computed as a vector and summed in order; each
// row's sum is kept apart and the rows are added in order after the join, so
// the result does not depend on the number of threads.
inline SceneStats scene_stats(const Call& c, bool with_percentiles) {
    SceneStats s;
    const int64_t rows = c.height, width = c.width;
    if (rows < 1 || width < 1) return s;
    std::vector<double> row_log(static_cast<size_t>(rows));
    std::vector<float> row_max(static_cast<size_t>(rows));
    std::vector<int64_t> row_lit(static_cast<size_t>(rows));
    const int teams = effects::detail::team_capacity();
    std::vector<uint32_t> hist(with_percentiles ? static_cast<size_t>(teams) * kBins : 0);
    RowScratch scratch(width, 2);
    effects::detail::parallel_blocks(rows, [&](int t, int64_t begin, int64_t end) {
        uint32_t* h = with_percentiles ? hist.data() + static_cast<size_t>(t) * kBins : nullptr;
        float* lum = scratch.of(t);
        float* logs = lum + width;
        for (int64_t y = begin; y < end; ++y) {
            luminance_log_row(c.src_row(y), lum, logs, width);
            double sum = 0.0;
            float mx = 0.0f;
            int64_t lit = 0;
            for (int64_t x = 0; x < width; ++x) {
                if (!(lum[x] > 0.0f)) continue;
                sum += logs[x];
                ++lit;
                mx = lum[x] > mx ? lum[x] : mx;
                if (h) ++h[log2_bin(logs[x])];
            }
            row_log[static_cast<size_t>(y)] = sum;
            row_max[static_cast<size_t>(y)] = mx;
            row_lit[static_cast<size_t>(y)] = lit;
        }
    });
    double total = 0.0;
    int64_t lit = 0;
    for (int64_t y = 0; y < rows; ++y) {
        total += row_log[static_cast<size_t>(y)];
        lit += row_lit[static_cast<size_t>(y)];
        if (row_max[static_cast<size_t>(y)] > s.max) s.max = row_max[static_cast<size_t>(y)];
    }
    if (lit > 0) s.log_average = static_cast<float>(std::exp2(total / static_cast<double>(lit)));
    if (with_percentiles && lit > 0) {
        std::vector<uint64_t> merged(kBins, 0);
        for (int t = 0; t < teams; ++t)
            for (int b = 0; b < kBins; ++b) merged[b] += hist[static_cast<size_t>(t) * kBins + b];
        const uint64_t n = static_cast<uint64_t>(lit);
        const uint64_t low_rank = n / 100, high_rank = n - 1 - n / 100;
        uint64_t seen = 0;
        bool have_low = false;
        for (int b = 0; b < kBins; ++b) {
            seen += merged[b];
            if (!have_low && seen > low_rank) {
                s.low = bin_luminance(b);
                have_low = true;
            }
            if (seen > high_rank) {
                s.high = bin_luminance(b);
                break;
            }
        }
    }
    return s;
}

// ---- display encoding ------------------------------------------------------

// The display byte of a linear value v in [0, 1]: the sRGB transfer curve
// (12.92 v up to 0.0031308, else 1.055 v^(1/2.4) - 0.055), taken in double,
// times 255 and rounded to nearest.
inline int srgb_byte_direct(float v) {
    const double d = v;
    const double e = d <= 0.0031308 ? 12.92 * d : 1.055 * std::pow(d, 1.0 / 2.4) - 0.055;
    const double b = std::floor(e * 255.0 + 0.5);
    return b < 0.0 ? 0 : (b > 255.0 ? 255 : static_cast<int>(b));
}

// The same mapping by table: thresholds[k] is the smallest float whose byte
// exceeds k, and start[] gives, for the floats sharing their top 16 bits
// (buckets 1/128 of an octave wide), the byte of the smallest of them. One
// byte's step is wider than a bucket everywhere in [0, 1]: v times the
// curve's slope is at most 1.055 / 2.4, so a step spans at least
// 1 / (255 * 0.44) = 0.89 % of v and a bucket at most 0.78 %. A bucket thus
// holds at most one threshold, and one comparison finishes the lookup.
class SrgbEncoder {
public:
    SrgbEncoder() {
        for (int k = 0; k < 255; ++k) {
            // Bisection over the bit patterns of floats in [0, 1], which
            // order like the floats themselves.
            uint32_t lo = 0, hi = bits(1.0f);
            while (lo < hi) {
                const uint32_t mid = lo + (hi - lo) / 2;
                if (srgb_byte_direct(value(mid)) > k) hi = mid;
                else lo = mid + 1;
            }
            thresholds_[k] = value(lo);
        }
        thresholds_[255] = INFINITY;
        for (uint32_t i = 0; i < start_.size(); ++i) {
            const float v = value(i << 16);
            uint8_t b = 0;
            while (v >= thresholds_[b]) ++b;
            start_[i] = b;
        }
    }
    uint8_t operator()(float v) const {
        if (!(v > 0.0f)) return 0;
        if (v >= 1.0f) return 255;
        const uint8_t b = start_[bits(v) >> 16];
        return static_cast<uint8_t>(b + (v >= thresholds_[b] ? 1 : 0));
    }

private:
    static uint32_t bits(float f) { return std::bit_cast<uint32_t>(f); }
    static float value(uint32_t u) { return std::bit_cast<float>(u); }
    std::array<float, 256> thresholds_{};
    std::array<uint8_t, (0x3F800000u >> 16)> start_{};
};

inline const SrgbEncoder& srgb_encoder() {
    static const SrgbEncoder encoder;
    return encoder;
}

// Alpha: the source alpha times 255, rounded, clamped to a byte.
inline uint8_t alpha_byte(float a) {
    if (!(a > 0.0f)) return 0;
    if (a >= 1.0f) return 255;
    return static_cast<uint8_t>(a * 255.0f + 0.5f);
}

// The ratio ld / l of each pixel of a row, for display luminance
// ld = op(l) of the pixel's luminance l; 0 for black. Each plug-in wraps this
// in a non-template row function of its own, built with
// EFFECTS_PLUGIN_ROW_CLONES (op is straight-line float code, so the row runs
// in vector registers).
template <class Op>
EFFECTS_PLUGIN_INLINE void ratio_row(const float* p, float* ratio, int64_t width, const Op& op) {
    for (int64_t x = 0; x < width; ++x) {
        const float l = luminance(p + 4 * x);
        const float safe = l > 0.0f ? l : 1.0f;
        const float q = op(safe) / safe;  // computed for every pixel, then selected
        ratio[x] = l > 0.0f ? q : 0.0f;
    }
}

// The output stage, parallel over rows: row_ratios(p, ratio, width) fills a
// row's ratios, then each channel is scaled by its pixel's ratio and encoded.
// Black pixels stay black.
template <class RowRatios>
void map_rows(const Call& c, const RowRatios& row_ratios) {
    const SrgbEncoder& encode = srgb_encoder();
    const int64_t width = c.width;
    RowScratch scratch(width, 1);
    effects::detail::parallel_blocks(c.height, [&](int t, int64_t begin, int64_t end) {
        float* ratio = scratch.of(t);
        for (int64_t y = begin; y < end; ++y) {
            const float* p = c.src_row(y);
            row_ratios(p, ratio, width);
            uint8_t* d = c.dst_row(y);
            for (int64_t x = 0; x < width; ++x, p += 4, d += 4) {
                d[0] = encode(channel(p[0]) * ratio[x]);
                d[1] = encode(channel(p[1]) * ratio[x]);
                d[2] = encode(channel(p[2]) * ratio[x]);
                d[3] = alpha_byte(p[3]);
            }
        }
    });
}

// The body of a plug-in's ToneMapping128to32: read the call, let the
// operator check its options (check(c): EFFECTS_TONEMAP_OK or
// EFFECTS_TONEMAP_ERROR_OPTIONS), gather what it needs from the scene
// (prepare(c): the per-pixel operator), then map the rows with its row
// function (row(p, ratio, width, op), built with EFFECTS_PLUGIN_ROW_CLONES).
template <class Check, class Prepare, class Row>
int32_t tone_map_entry(intptr_t a1, intptr_t a2, intptr_t a3, intptr_t a4, intptr_t a5, Check check,
                       Prepare prepare, Row row) {
    Call c;
    int32_t rc = read_call(a1, a2, a3, a4, a5, c);
    if (rc == EFFECTS_TONEMAP_OK) rc = check(c);
    if (rc != EFFECTS_TONEMAP_OK || c.width == 0 || c.height == 0) return rc;
    const auto op = prepare(c);
    map_rows(c, [&op, row](const float* p, float* ratio, int64_t width) { row(p, ratio, width, op); });
    return EFFECTS_TONEMAP_OK;
}

}  // namespace effects_plugin
