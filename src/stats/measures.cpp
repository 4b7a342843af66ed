// The checked measures of the C++ statistics. Every format is read through
// one small reader (channels R, G, B, A in the format's own units and the
// factor to 8-bit units), so each measure is written once; pixels are
// counted in parallel into exact integer bins.
#include "stats/measures.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "frame/numeric.hpp"
#include "frame/parallel.hpp"
#include "frame/rgbe.hpp"
#include "frame/scratch.hpp"
#include "stats/bin_counts.hpp"
#include "stats/bin_kernels.hpp"
#include "stats/stats.hpp"

namespace effects::detail {
namespace {

template <class T>
T load(const uint8_t* p, int k) {
    T v;
    std::memcpy(&v, p + k * sizeof(T), sizeof v);
    return v;
}

// Channels of one pixel: R, G, B in the format's units, A in 8-bit units.
struct Rgba {
    float r, g, b, a;
};

// One reader per format: bytes per pixel, row alignment, whether it has
// alpha, the factor that brings its values to 8-bit units (255 = white;
// 15-bit w is w / 128, 16-bit w is w / 256, floats and RGBE times 255) and
// the pixel's channels. Where a legacy member's bin kernel gives the same
// luminance bins (Bgra8, Rgba16), `luma_bins` names it and the histogram
// takes that vector path.
using LumaBins = void (*)(const uint8_t* pixels, int n, uint8_t* bins);
template <int Bytes, int Align, bool Alpha, class Read>
struct Reader {
    static constexpr int kBytes = Bytes, kAlign = Align;
    static constexpr bool kAlpha = Alpha;
    float to8;
    Read read;
    LumaBins luma_bins;
};
template <int Bytes, int Align, bool Alpha, class Read>
Reader<Bytes, Align, Alpha, Read> reader(float to8, Read read, LumaBins luma_bins = nullptr) {
    return {to8, read, luma_bins};
}

// Calls fn(reader) for the format, or returns EFFECTS_ERROR_UNKNOWN_FORMAT.
template <class Fn>
int32_t with_reader(int32_t format, Fn&& fn) {
    constexpr auto half = [](const uint8_t* p, int k) { return DecodeRgbe<RgbeDecoding::HalfStep>(p[k], p[3]); };
    switch (format) {
        case EFFECTS_FORMAT_BGRA8:
            return fn(reader<4, 1, true>(
                1.0f, [](const uint8_t* p) { return Rgba{float(p[2]), float(p[1]), float(p[0]), float(p[3])}; },
                bin_kernels().luma32));
        case EFFECTS_FORMAT_RGBA16:
            return fn(reader<8, 1, true>(0.0078125f, [](const uint8_t* p) {
                return Rgba{float(load<int16_t>(p, 2)), float(load<int16_t>(p, 1)), float(load<int16_t>(p, 0)),
                            float(load<int16_t>(p, 3)) * 0.0078125f};
            }, bin_kernels().luma64));
        case EFFECTS_FORMAT_RGBA_FLOAT:
            return fn(reader<16, 1, true>(255.0f, [](const uint8_t* p) {
                return Rgba{load<float>(p, 2), load<float>(p, 1), load<float>(p, 0), load<float>(p, 3) * 255.0f};
            }));
        case EFFECTS_FORMAT_RGBE:
            return fn(reader<4, 1, false>(255.0f, [half](const uint8_t* p) { return Rgba{half(p, 0), half(p, 1), half(p, 2), 0.0f}; }));
        case EFFECTS_FORMAT_RGBEA:
            return fn(reader<5, 1, true>(255.0f, [half](const uint8_t* p) {
                return Rgba{half(p, 2), half(p, 1), half(p, 0), float(p[4])};
            }));
        case EFFECTS_FORMAT_RGB8:
            return fn(reader<3, 4, false>(1.0f, [](const uint8_t* p) { return Rgba{float(p[2]), float(p[1]), float(p[0]), 0.0f}; }));
        case EFFECTS_FORMAT_RGB8_PACKED:
            return fn(reader<3, 1, false>(1.0f, [](const uint8_t* p) { return Rgba{float(p[0]), float(p[1]), float(p[2]), 0.0f}; }));
        case EFFECTS_FORMAT_RGB16:
            return fn(reader<6, 1, false>(0.00390625f, [](const uint8_t* p) {
                return Rgba{float(load<uint16_t>(p, 0)), float(load<uint16_t>(p, 1)), float(load<uint16_t>(p, 2)), 0.0f};
            }));
        case EFFECTS_FORMAT_RGB_FLOAT:
            return fn(reader<12, 1, false>(255.0f, [](const uint8_t* p) {
                return Rgba{load<float>(p, 0), load<float>(p, 1), load<float>(p, 2), 0.0f};
            }));
        default:
            return EFFECTS_ERROR_UNKNOWN_FORMAT;
    }
}

// The one validation of an image: size, pointer, stride and overflow.
template <class R>
int32_t validate(const ImageArg& im) {
    if (im.width < 0 || im.height < 0) return EFFECTS_ERROR_NEGATIVE_SIZE;
    if (im.width == 0 || im.height == 0) return EFFECTS_OK;
    if (!im.pixels) return EFFECTS_ERROR_NULL_POINTER;
    const int64_t row = (int64_t{im.width} * R::kBytes + R::kAlign - 1) / R::kAlign * R::kAlign;
    if (im.stride < row) return EFFECTS_ERROR_BAD_STRIDE;
    if (im.stride > std::numeric_limits<intptr_t>::max() / 2 / im.height) return EFFECTS_ERROR_TOO_LARGE;
    return EFFECTS_OK;
}

// Calls fn(first pixel, count) for the runs of pixels [begin, end) of the
// image that lie in one row, in row order (pixel i is column i % width of
// row i / width).
template <int Bytes, class Fn>
inline void for_runs(const ImageArg& im, int64_t begin, int64_t end, Fn&& fn) {
    int64_t y = begin / im.width, x = begin % im.width;
    for (int64_t i = begin; i < end; ++y, x = 0) {
        const int64_t n = std::min<int64_t>(im.width - x, end - i);
        fn(im.pixels + y * im.stride + x * Bytes, n);
        i += n;
    }
}

// Calls fn(pixel pointer) for pixels [begin, end) in row order.
template <int Bytes, class Fn>
inline void for_pixels(const ImageArg& im, int64_t begin, int64_t end, Fn&& fn) {
    for_runs<Bytes>(im, begin, end, [&](const uint8_t* p, int64_t n) {
        for (int64_t k = 0; k < n; ++k, p += Bytes) fn(p);
    });
}

int64_t pixels_of(const ImageArg& im) { return int64_t{im.width} * im.height; }

// Luminance of a pixel's colour in 8-bit units (255 = white), with the
// weights and the order of the legacy members.
template <class R>
inline float luma8(const R& rd, const Rgba& c) {
    return luminance<LumaWeights::Standard>(c.b, c.g, c.r) * rd.to8;
}

}  // namespace

int32_t luminance_histogram(const ImageArg& im, uint64_t* bins) {
    return with_reader(im.format, [&](auto rd) -> int32_t {
        using R = decltype(rd);
        if (const int32_t e = validate<R>(im)) return e;
        if (!bins) return EFFECTS_ERROR_NULL_POINTER;
        count_in_parallel(im.width == 0 ? 0 : pixels_of(im), 256, bins, [&](int64_t b, int64_t e, uint32_t* c) {
            if (rd.luma_bins)
                for_runs<R::kBytes>(im, b, e, [&](const uint8_t* p, int64_t n) {
                    tally<256, R::kBytes, uint8_t>(p, n, c, rd.luma_bins);
                });
            else
                for_pixels<R::kBytes>(im, b, e, [&](const uint8_t* p) { ++c[ClampToByte(luma8(rd, rd.read(p)))]; });
        });
        return EFFECTS_OK;
    });
}

int32_t channel_histograms(const ImageArg& im, uint64_t* bins) {
    return with_reader(im.format, [&](auto rd) -> int32_t {
        using R = decltype(rd);
        if (const int32_t e = validate<R>(im)) return e;
        if (!bins) return EFFECTS_ERROR_NULL_POINTER;
        count_in_parallel(im.width == 0 ? 0 : pixels_of(im), 4 * 256, bins, [&](int64_t b, int64_t e, uint32_t* c) {
            if constexpr (R::kBytes == 4 && R::kAlpha) {
                // Bgra8: each channel's bytes through the byte kernel, a run
                // at a time (bytes 2, 1, 0, 3 are R, G, B, A).
                const auto bytes = bin_kernels().byte_of32;
                for_runs<4>(im, b, e, [&](const uint8_t* p, int64_t n) {
                    alignas(64) uint8_t run[kBinRun];
                    for (int64_t i = 0; i < n; i += kBinRun) {
                        const int m = static_cast<int>(std::min<int64_t>(kBinRun, n - i));
                        for (int k = 0; k < 4; ++k) {
                            bytes(p + 4 * i, m, k == 3 ? 3 : 2 - k, run);
                            count_bins<4 * 256>(run, m, c + 256 * k);
                        }
                    }
                });
                return;
            }
            for_pixels<R::kBytes>(im, b, e, [&](const uint8_t* p) {
                const Rgba v = rd.read(p);
                ++c[ClampToByte(v.r * rd.to8)];
                ++c[256 + ClampToByte(v.g * rd.to8)];
                ++c[512 + ClampToByte(v.b * rd.to8)];
                if (R::kAlpha) ++c[768 + ClampToByte(v.a)];
            });
        });
        return R::kAlpha ? 4 : 3;
    });
}

int32_t hdr_range(const ImageArg& im, double low_percentile, EffectsRangeReport* report) {
    if (!(low_percentile >= 0.0 && low_percentile < 1.0)) return EFFECTS_ERROR_BAD_ARGUMENT;
    return with_reader(im.format, [&](auto rd) -> int32_t {
        using R = decltype(rd);
        if (const int32_t e = validate<R>(im)) return e;
        if (!report) return EFFECTS_ERROR_NULL_POINTER;
        const int64_t n = im.width == 0 ? 0 : pixels_of(im);
        // Luminance relative to white (1.0); only positive values count
        // (NaNs and values of 0 or below do not).
        const float to_white = rd.to8 / 255.0f;
        const auto for_positive = [&](int64_t b, int64_t e, auto&& fn) {
            for_pixels<R::kBytes>(im, b, e, [&](const uint8_t* p) {
                const Rgba c = rd.read(p);
                const float v = luminance<LumaWeights::Standard>(c.b, c.g, c.r) * to_white;
                if (v > 0.0f) fn(v);
            });
        };
        // The low value is found by its bits: a positive float's bit pattern
        // orders like the float, so a count of the top 16 bits (sign 0,
        // exponent, 7 mantissa bits; +inf is the last bucket) names the
        // bucket that holds it, and only that bucket's values are then
        // sorted out. Extremes and counts come with the first pass.
        constexpr uint32_t kBuckets = (0x7F800000u >> 16) + 1;
        const auto bucket = [](float v) { uint32_t u; std::memcpy(&u, &v, sizeof u); return u >> 16; };
        struct Part {
            int64_t positive = 0;
            float mn = std::numeric_limits<float>::infinity(), mx = 0.0f;
        };
        const int team = team_capacity();
        ScratchBuffer<Part> parts(static_cast<std::size_t>(team));
        ScratchBuffer<uint32_t> counts(static_cast<std::size_t>(team) * kBuckets);
        // Cleared here: a team may run with fewer threads than its capacity.
        std::fill(parts.data(), parts.data() + team, Part{});
        std::fill(counts.data(), counts.data() + counts.size(), 0u);
        parallel_blocks(n, [&](int t, int64_t b, int64_t e) {
            uint32_t* c = counts.data() + static_cast<std::size_t>(t) * kBuckets;
            Part part;
            for_positive(b, e, [&](float v) {
                ++part.positive;
                part.mn = std::min(part.mn, v);
                part.mx = std::max(part.mx, v);
                ++c[bucket(v)];
            });
            parts[t] = part;
        });
        Part all;
        for (int t = 0; t < team; ++t) {
            all.positive += parts[t].positive;
            all.mn = std::min(all.mn, parts[t].mn);
            all.mx = std::max(all.mx, parts[t].mx);
        }
        *report = EffectsRangeReport{};
        report->pixels = n;
        report->positive_pixels = all.positive;
        report->low_percentile = low_percentile;
        if (all.positive == 0) return EFFECTS_OK;
        report->min_luminance = all.mn;
        report->max_luminance = all.mx;
        auto k = static_cast<int64_t>(std::floor(low_percentile * static_cast<double>(all.positive - 1)));
        uint32_t low_bucket = 0;
        for (;; ++low_bucket) {
            int64_t in_bucket = 0;
            for (int t = 0; t < team; ++t) in_bucket += counts[static_cast<std::size_t>(t) * kBuckets + low_bucket];
            if (k < in_bucket) break;
            k -= in_bucket;
        }
        // The values of that bucket, block by block (so in pixel order),
        // and the k-th smallest of them.
        std::vector<std::vector<float>> picked(static_cast<std::size_t>(team));
        parallel_blocks(n, [&](int t, int64_t b, int64_t e) {
            for_positive(b, e, [&](float v) {
                if (bucket(v) == low_bucket) picked[static_cast<std::size_t>(t)].push_back(v);
            });
        });
        std::vector<float> values;
        for (const auto& v : picked) values.insert(values.end(), v.begin(), v.end());
        std::nth_element(values.begin(), values.begin() + k, values.end());
        report->low_luminance = values[static_cast<std::size_t>(k)];
        report->stops = std::log2(report->max_luminance / report->low_luminance);
        return EFFECTS_OK;
    });
}

int32_t clipping(const ImageArg& im, EffectsClippedPixels* clipped) {
    return with_reader(im.format, [&](auto rd) -> int32_t {
        using R = decltype(rd);
        if (const int32_t e = validate<R>(im)) return e;
        if (!clipped) return EFFECTS_ERROR_NULL_POINTER;
        // Bin 0: neither; 1: over (a colour channel at 255 in 8-bit units);
        // 2: under (every colour channel at 0).
        uint64_t counts[3];
        count_in_parallel(im.width == 0 ? 0 : pixels_of(im), 3, counts, [&](int64_t b, int64_t e, uint32_t* c) {
            for_pixels<R::kBytes>(im, b, e, [&](const uint8_t* p) {
                const Rgba v = rd.read(p);
                const int r = ClampToByte(v.r * rd.to8), g = ClampToByte(v.g * rd.to8), bl = ClampToByte(v.b * rd.to8);
                ++c[r == 255 || g == 255 || bl == 255 ? 1 : (r | g | bl) == 0 ? 2 : 0];
            });
        });
        clipped->pixels = static_cast<int64_t>(counts[0] + counts[1] + counts[2]);
        clipped->over = static_cast<int64_t>(counts[1]);
        clipped->under = static_cast<int64_t>(counts[2]);
        return EFFECTS_OK;
    });
}

}  // namespace effects::detail
