// Exposure merging: tables, accumulation, the final division, the older
// offset path and its rescaling. Every formula keeps the precision and the
// order of operations that stored radiance images depend on: the weight
// table is double and summed in double, everything else is single.
#include "hdr/merge.hpp"

#include <bit>
#include <cmath>

#if EFFECTS_HAVE_ISA_KERNELS
#include <immintrin.h>
#endif

#include "frame/isa.hpp"
#include "frame/numeric.hpp"
#include "frame/parallel.hpp"
#include "frame/scratch.hpp"
#include "frame/vector_clones.hpp"

namespace effects::detail {
namespace {

constexpr float kInv255 = 0.003921569f;  // 1/255 as a float
constexpr float kPi = 3.1415927f;
constexpr float kThird = 0.33333334f;    // the pixel mean of the rescaling
constexpr float kMeanFloor = 1e-10f;     // start of the brightest-mean search

inline int32_t grey_of(const uint8_t* p) { return (p[0] + p[1] + p[2]) / 3; }

// Brightest pixel mean (c0 + c2 + c1) / 3 over pixels of `channels` floats,
// from 1e-10 up. A NaN mean never wins, so per-thread maxima merge to the
// serial result.
float brightest_mean(int32_t width, int32_t height, const float* buffer, int channels) {
    if (width < 1 || height < 1) return kMeanFloor;
    const int64_t row = int64_t{width} * channels;
    ScratchBuffer<float> partial(static_cast<std::size_t>(team_capacity()));
    for (std::size_t t = 0; t < partial.size(); ++t) partial[t] = kMeanFloor;
    parallel_blocks(height, [&](int t, int64_t y0, int64_t y1) {
        float best = kMeanFloor;
        for (int64_t y = y0; y < y1; ++y) {
            const float* p = buffer + y * row;
            for (int32_t x = 0; x < width; ++x, p += channels) {
                const float m = (p[0] + p[2] + p[1]) * kThird;
                if (m > best) best = m;
            }
        }
        partial[t] = best;
    });
    float best = kMeanFloor;
    for (std::size_t t = 0; t < partial.size(); ++t)
        if (partial[t] > best) best = partial[t];
    return best;
}

// Multiplies the first three floats of every pixel by `k`.
void scale_colour(int32_t width, int32_t height, float* buffer, int channels, float k) {
    const int64_t row = int64_t{width} * channels;
    parallel_rows(height, [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y) {
            float* p = buffer + y * row;
            for (int32_t x = 0; x < width; ++x, p += channels) {
                p[0] = p[0] * k;
                p[1] = p[1] * k;
                p[2] = p[2] * k;
            }
        }
    });
}

EFFECTS_VECTOR_CLONES void offset_row(const uint8_t* __restrict src, float* __restrict acc, int64_t n,
                                      float factor) {
    for (int64_t i = 0; i < n; ++i)
        for (int c = 0; c < 3; ++c) acc[4 * i + c] += static_cast<float>(src[4 * i + c]) * kInv255 * factor;
}

}  // namespace

// Entry i is a tent over [low, high] divided by the centre's position (not
// the half-width): with low > 0 the peak stays below 1, and callers that
// pass their own bounds rely on those values.
void weight_triangle(int32_t high, int32_t low, double* table) {
    const float centre = static_cast<float>(high - low) * 0.5f + static_cast<float>(low);
    const int32_t split = TruncateToInt(centre + 1.0f);
    for (int32_t i = 0; i < 256; ++i) {
        float v = 0.0f;
        if (i >= low && i <= high)
            v = i < split ? static_cast<float>(i - low) / centre : static_cast<float>(high - i) / centre;
        table[i] = static_cast<double>(v);
    }
}

// sin(i * pi / 256): the angle in single precision, the sine in double,
// rounded to float and stored as double.
void weight_sine(double* table) {
    for (int32_t i = 0; i < 256; ++i) {
        const float x = static_cast<float>(i) * kPi * 0.00390625f;
        table[i] = static_cast<double>(static_cast<float>(std::sin(static_cast<double>(x))));
    }
}

// (i / (count / 4))^1.7 + 0.0001: the power of the float 1.7 taken in double,
// rounded to float, then the double 0.0001 added and the sum rounded.
void response_gamma(float* table, int32_t count) {
    if (count < 1) return;
    const float scale = static_cast<float>(count * 0.25);
    const float step = 1.0f / scale;
    for (int32_t i = 0; i < count; ++i) {
        const float x = static_cast<float>(i) * step;
        const float p = static_cast<float>(std::pow(static_cast<double>(x), static_cast<double>(1.7f)));
        table[i] = static_cast<float>(static_cast<double>(p) + 0.0001);
    }
}

// i / (count - 1); a count of 1 gives the one entry 0/0 (NaN), unguarded.
void response_linear(float* table, int32_t count) {
    if (count < 1) return;
    const float last = static_cast<float>(count - 1);
    for (int32_t i = 0; i < count; ++i) table[i] = static_cast<float>(i) / last;
}

void combine_table(const double* weights, const float* response, float inverse, CombineTable& table) {
    table.float_weights = true;
    for (int i = 0; i < 256; ++i) {
        table.weight[i] = weights[i];
        table.scaled[i] = response[i] * inverse;
        const auto narrow = static_cast<float>(weights[i]);
        table.float_weights = table.float_weights &&
                              std::bit_cast<uint64_t>(static_cast<double>(narrow)) == std::bit_cast<uint64_t>(weights[i]);
        table.pairs[i][0] = table.scaled[i];
        table.pairs[i][1] = narrow;
    }
}

namespace {

// The weight of a pixel, the three entries added in double in the order
// red, green, blue and the product rounded to float.
inline float pixel_weight(const CombineTable& t, uint32_t r, uint32_t g, uint32_t b) {
    return static_cast<float>((t.weight[r] + t.weight[g] + t.weight[b]) * 0.3333333333333333);
}

void combine_pixels(const uint8_t* __restrict src, float* __restrict acc, float* __restrict plane, int64_t n,
                    const CombineTable& t) {
    for (int64_t i = 0; i < n; ++i) {
        const uint32_t b = src[4 * i], g = src[4 * i + 1], r = src[4 * i + 2];
        const float w = pixel_weight(t, r, g, b);
        acc[3 * i] = acc[3 * i] + t.scaled[r] * w;
        acc[3 * i + 1] = acc[3 * i + 1] + t.scaled[g] * w;
        acc[3 * i + 2] = acc[3 * i + 2] + t.scaled[b] * w;
        plane[i] = plane[i] + w;
    }
}

#if EFFECTS_HAVE_ISA_KERNELS
// Weights of four pixels from their codes. (The gathers are the masked form
// with every lane on: GCC 12 warns about the plain form's unset source.)
__attribute__((target("avx2"))) inline __m256d gather4(const double* table, __m128i codes) {
    return _mm256_mask_i32gather_pd(_mm256_setzero_pd(), table, codes, _mm256_castsi256_pd(_mm256_set1_epi64x(-1)),
                                    8);
}
__attribute__((target("avx2"))) inline __m128 weight4(const CombineTable& t, __m128i r, __m128i g, __m128i b) {
    const __m256d sum = _mm256_add_pd(_mm256_add_pd(gather4(t.weight, r), gather4(t.weight, g)), gather4(t.weight, b));
    return _mm256_cvtpd_ps(_mm256_mul_pd(sum, _mm256_set1_pd(0.3333333333333333)));
}

// Stores the channel terms x (red), y (green), z (blue) of eight pixels
// added to their R, G, B triples, and the weights w added to the plane.
__attribute__((target("avx2"))) inline void add_terms(float* acc, float* plane, __m256 x, __m256 y, __m256 z,
                                                      __m256 w) {
    // x0 y0 z0 x1 y1 z1 x2 y2 | z2 x3 y3 z3 x4 y4 z4 x5 | y5 z5 x6 y6 z6 x7 y7 z7
    const __m256 xy = _mm256_shuffle_ps(x, y, _MM_SHUFFLE(2, 0, 2, 0));
    const __m256 yz = _mm256_shuffle_ps(y, z, _MM_SHUFFLE(3, 1, 3, 1));
    const __m256 zx = _mm256_shuffle_ps(z, x, _MM_SHUFFLE(3, 1, 2, 0));
    const __m256 p03 = _mm256_shuffle_ps(xy, zx, _MM_SHUFFLE(2, 0, 2, 0));
    const __m256 p14 = _mm256_shuffle_ps(yz, xy, _MM_SHUFFLE(3, 1, 2, 0));
    const __m256 p25 = _mm256_shuffle_ps(zx, yz, _MM_SHUFFLE(3, 1, 3, 1));
    _mm256_storeu_ps(acc, _mm256_add_ps(_mm256_loadu_ps(acc), _mm256_permute2f128_ps(p03, p14, 0x20)));
    _mm256_storeu_ps(acc + 8, _mm256_add_ps(_mm256_loadu_ps(acc + 8), _mm256_permute2f128_ps(p25, p03, 0x30)));
    _mm256_storeu_ps(acc + 16, _mm256_add_ps(_mm256_loadu_ps(acc + 16), _mm256_permute2f128_ps(p14, p25, 0x31)));
    _mm256_storeu_ps(plane, _mm256_add_ps(_mm256_loadu_ps(plane), w));
}

// The {scaled, weight} pairs of eight codes in two gathers: the first takes
// pixels 0, 1, 4, 5 and the second 2, 3, 6, 7, so that picking the even and
// the odd floats of both gives the eight scaled terms and the eight weights
// in pixel order.
struct Terms {
    __m256 scaled, weight;
};
__attribute__((target("avx2"))) inline Terms gather_pairs(const CombineTable& t, __m256i codes) {
    const __m256i order = _mm256_permutevar8x32_epi32(codes, _mm256_setr_epi32(0, 1, 4, 5, 2, 3, 6, 7));
    const auto* base = reinterpret_cast<const double*>(t.pairs);
    const __m256d on = _mm256_castsi256_pd(_mm256_set1_epi64x(-1));
    const __m256 a = _mm256_castpd_ps(
        _mm256_mask_i32gather_pd(_mm256_setzero_pd(), base, _mm256_castsi256_si128(order), on, 8));
    const __m256 b = _mm256_castpd_ps(
        _mm256_mask_i32gather_pd(_mm256_setzero_pd(), base, _mm256_extracti128_si256(order, 1), on, 8));
    return {_mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)), _mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))};
}

// The weights of eight pixels: each entry widened back to its double, the
// three added in double in the order red, green, blue, times 1/3, rounded.
__attribute__((target("avx2"))) inline __m256 weight8(__m256 r, __m256 g, __m256 b) {
    const __m256d third = _mm256_set1_pd(0.3333333333333333);
    const __m256d lo = _mm256_add_pd(_mm256_add_pd(_mm256_cvtps_pd(_mm256_castps256_ps128(r)),
                                                   _mm256_cvtps_pd(_mm256_castps256_ps128(g))),
                                     _mm256_cvtps_pd(_mm256_castps256_ps128(b)));
    const __m256d hi = _mm256_add_pd(_mm256_add_pd(_mm256_cvtps_pd(_mm256_extractf128_ps(r, 1)),
                                                   _mm256_cvtps_pd(_mm256_extractf128_ps(g, 1))),
                                     _mm256_cvtps_pd(_mm256_extractf128_ps(b, 1)));
    return _mm256_set_m128(_mm256_cvtpd_ps(_mm256_mul_pd(hi, third)), _mm256_cvtpd_ps(_mm256_mul_pd(lo, third)));
}

// Eight pixels per step, the weight summed in double lane by lane exactly as
// in combine_pixels; the tail goes through combine_pixels.
__attribute__((target("avx2"))) void combine_pixels_avx2(const uint8_t* __restrict src, float* __restrict acc,
                                                         float* __restrict plane, int64_t n, const CombineTable& t) {
    const __m256i low = _mm256_set1_epi32(255);
    int64_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m256i px = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 4 * i));
        const __m256i b = _mm256_and_si256(px, low);
        const __m256i g = _mm256_and_si256(_mm256_srli_epi32(px, 8), low);
        const __m256i r = _mm256_and_si256(_mm256_srli_epi32(px, 16), low);
        if (t.float_weights) {
            const Terms tr = gather_pairs(t, r), tg = gather_pairs(t, g), tb = gather_pairs(t, b);
            const __m256 w = weight8(tr.weight, tg.weight, tb.weight);
            add_terms(acc + 3 * i, plane + i, _mm256_mul_ps(tr.scaled, w), _mm256_mul_ps(tg.scaled, w),
                      _mm256_mul_ps(tb.scaled, w), w);
            continue;
        }
        const __m256 w = _mm256_set_m128(
            weight4(t, _mm256_extracti128_si256(r, 1), _mm256_extracti128_si256(g, 1), _mm256_extracti128_si256(b, 1)),
            weight4(t, _mm256_castsi256_si128(r), _mm256_castsi256_si128(g), _mm256_castsi256_si128(b)));
        add_terms(acc + 3 * i, plane + i, _mm256_mul_ps(_mm256_i32gather_ps(t.scaled, r, 4), w),
                  _mm256_mul_ps(_mm256_i32gather_ps(t.scaled, g, 4), w),
                  _mm256_mul_ps(_mm256_i32gather_ps(t.scaled, b, 4), w), w);
    }
    combine_pixels(src + 4 * i, acc + 3 * i, plane + i, n - i, t);
}
#endif

}  // namespace

void combine_row(const uint8_t* src, float* acc, float* plane, int64_t n, const CombineTable& table) {
#if EFFECTS_HAVE_ISA_KERNELS
    if (active_kernel_isa() != KernelIsa::Baseline) return combine_pixels_avx2(src, acc, plane, n, table);
#endif
    combine_pixels(src, acc, plane, n, table);
}

EFFECTS_VECTOR_CLONES void combine_final_row(float* __restrict acc, float* __restrict plane, int64_t n, float inverse) {
    for (int64_t i = 0; i < n; ++i) {
        const float w = plane[i] == 0.0f ? 1.0f : plane[i];
        plane[i] = w;
        acc[3 * i] = acc[3 * i] / w * inverse;
        acc[3 * i + 1] = acc[3 * i + 1] / w * inverse;
        acc[3 * i + 2] = acc[3 * i + 2] / w * inverse;
    }
}

void new_combine_array(int32_t width, int32_t height, float exposure, const uint8_t* pixels, float* acc,
                       const double* weights, const float* response, float* plane) {
    if (width < 1) return;
    CombineTable table;
    combine_table(weights, response, 1.0f / exposure, table);
    parallel_rows(height, [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y)
            combine_row(pixels + y * width * 4, acc + y * width * 3, plane + y * width, width, table);
    });
}

// A zero weight sum is replaced by 1.0 in the caller's plane, so that a
// second call divides by 1 and an untrusted pixel ends as 0.
void new_combine_final(int32_t width, int32_t height, float* acc, float* plane, int32_t divisor) {
    if (width < 1) return;
    const float inverse = 1.0f / static_cast<float>(divisor);
    parallel_rows(height, [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y) combine_final_row(acc + y * width * 3, plane + y * width, width, inverse);
    });
}

// The band of |dx| columns and |dy| rows is skipped on both sides whatever
// the sign of the offset: a symmetric crop that the older path keeps.
void combine_array_offset(int32_t width, int32_t height, int32_t dx, int32_t dy, float factor,
                          const uint8_t* pixels, float* acc4) {
    const int64_t ax = dx < 0 ? -int64_t{dx} : dx, ay = dy < 0 ? -int64_t{dy} : dy;
    const int64_t x0 = ax, x1 = int64_t{width} - ax;
    if (int64_t{height} - ay <= ay || x1 <= x0) return;
    parallel_rows(int64_t{height} - 2 * ay, [&](int64_t r0, int64_t r1) {
        for (int64_t y = ay + r0; y < ay + r1; ++y)
            offset_row(pixels + ((y - dy) * width + (x0 - dx)) * 4, acc4 + (y * width + x0) * 4, x1 - x0, factor);
    });
}

void final_adjustment(int32_t width, int32_t height, float* buffer, int channels) {
    const float best = brightest_mean(width, height, buffer, channels);
    if (!(best > 2.0f)) return;
    const float scale = static_cast<float>(static_cast<double>(best) * 0.5);
    scale_colour(width, height, buffer, channels, 1.0f / scale);
}

void div_3_channels(int32_t width, int32_t height, int32_t divisor, float* buffer) {
    if (width < 1) return;
    scale_colour(width, height, buffer, 3, 1.0f / static_cast<float>(divisor));
}

// Pixels marked with exactly 255.0 in float 3 take the brightest mean.
void correct_over_exposure(int32_t width, int32_t height, float* buffer) {
    const float best = brightest_mean(width, height, buffer, 4);
    if (width < 1) return;
    parallel_rows(height, [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y) {
            float* p = buffer + y * width * 4;
            for (int32_t x = 0; x < width; ++x, p += 4)
                if (p[3] == 255.0f) p[0] = p[1] = p[2] = best;
        }
    });
}

// Mean grey times 9. The grey sum is kept in 64 bits (a 32-bit sum would
// wrap above 8.4 million pixels); a byte count of 0 or less, whose pixel
// count would be 0 and divide by zero, gives 0.
int32_t brightness_figure(int32_t byte_count, const uint8_t* pixels) {
    const int64_t count = ((int64_t{byte_count} - 1) >> 2) + 1;
    if (count < 1) return 0;
    ScratchBuffer<int64_t> partial(static_cast<std::size_t>(team_capacity()));
    for (std::size_t t = 0; t < partial.size(); ++t) partial[t] = 0;
    parallel_blocks(count, [&](int t, int64_t i0, int64_t i1) {
        int64_t s = 0;
        for (int64_t i = i0; i < i1; ++i) s += grey_of(pixels + 4 * i);
        partial[t] = s;
    });
    int64_t sum = 0;
    for (std::size_t t = 0; t < partial.size(); ++t) sum += partial[t];
    return static_cast<int32_t>(sum / count) * 9;
}

// Shows the merge's trust in each pixel as grey: the triangle table (255, 0)
// at the pixel's grey, the entry rounded to float and scaled by 255.
void weighting_preview(int32_t width, int32_t height, uint8_t* pixels) {
    ScratchBuffer<double> table(256);
    weight_triangle(255, 0, table.data());
    if (width < 1) return;
    parallel_rows(height, [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y) {
            uint8_t* p = pixels + y * width * 4;
            for (int32_t x = 0; x < width; ++x, p += 4) {
                const uint8_t code = ClampToByte(static_cast<float>(table[grey_of(p)]) * 255.0f);
                p[0] = p[1] = p[2] = code;
            }
        }
    });
}

}  // namespace effects::detail
