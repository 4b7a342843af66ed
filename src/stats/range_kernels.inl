// Hot loops of the DynamicRange... members, compiled once per instruction
// set: range_kernels_<isa>.cpp includes this file with its own compiler
// flags and names its table with EFFECTS_RANGE_TABLE. Every loop is written
// once for all builds; the AVX-512 build adds a body for 16 pixels or values
// at a time (the same operations in the same order) and BMI2 the gather of
// tie parities, and a test compares every build with the baseline.
#include <cmath>
#include <cstdint>

#if defined(__AVX512F__) || defined(__BMI2__)
#include <immintrin.h>
#endif

#include "stats/range_sum.hpp"

#ifndef EFFECTS_RANGE_TABLE
#error "include from a range_kernels_<isa>.cpp that defines EFFECTS_RANGE_TABLE"
#endif

// GCC 12's AVX-512 intrinsics start some results from an "undefined"
// register that it then reports as maybe uninitialised.
#if defined(__AVX512F__) && defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace effects::detail {
namespace {

#if defined(__GNUC__)
#define EFFECTS_RANGE_KERNEL __attribute__((flatten))
#else
#define EFFECTS_RANGE_KERNEL
#endif

// Only builtins and this build's own inline functions here: a library
// template instantiated with these flags could stand in for another build's.
inline int bit_count(uint32_t x) {
    return __builtin_popcount(x);
}

// Accumulators per loop (one AVX-512 register of floats). A chunk gives each
// at most kRangeChunk / kLanes = 256 values.
constexpr int kLanes = 16;
static_assert(kRangeChunk / kLanes <= 256, "lane sums of the step kernels must stay exact");

// ---- values and figures ----------------------------------------------------------

// A chunk's figures gathered lane by lane; the sums in any order, the
// magnitudes (needed only where values can be negative, a bound) in float.
struct FigureLanes {
    float lo[kLanes], hi[kLanes], least[kLanes];
    double sum[kLanes];
    float mag[kLanes];  // signed members only

    FigureLanes() {
        for (int j = 0; j < kLanes; ++j)
            lo[j] = HUGE_VALF, hi[j] = -HUGE_VALF, least[j] = HUGE_VALF, sum[j] = 0.0, mag[j] = 0.0f;
    }
    // A NaN fails every comparison, as in the serial walk.
    void take(int j, float x) {
        lo[j] = x < lo[j] ? x : lo[j];
        hi[j] = x > hi[j] ? x : hi[j];
        least[j] = fabsf(x) > 0.0f && fabsf(x) < least[j] ? fabsf(x) : least[j];
        sum[j] += static_cast<double>(x);
        mag[j] += fabsf(x);
    }
    template <class Member>
    ChunkFigures result() const {
        ChunkFigures f{lo[0], hi[0], least[0], sum[0], mag[0], 0};
        for (int j = 1; j < kLanes; ++j) {
            f.minimum = lo[j] < f.minimum ? lo[j] : f.minimum;
            f.maximum = hi[j] > f.maximum ? hi[j] : f.maximum;
            f.least = least[j] < f.least ? least[j] : f.least;
            f.sum += sum[j];
            f.magnitude += mag[j];
        }
        if constexpr (!Member::kSigned) f.magnitude = f.sum;
        // On a grid each lane's sum is exact (at most 256 values of 24 bits
        // above the grid, 2^50 grid steps), so their sum in grid steps is too.
        if constexpr (Member::kOnGrid) {
            const double steps = std::ldexp(1.0, -Member::kGridExponent);
            for (int j = 0; j < kLanes; ++j) f.units += static_cast<int64_t>(sum[j] * steps);
        }
        return f;
    }
};

#if defined(__AVX512F__)
// The values of 16 pixels at p, computed as Member::value does.
template <class Member>
__m512 values16(const uint8_t* p);

inline __m512 luminance16(__m512 c0, __m512 c1, __m512 c2) {
    const __m512 w0 = _mm512_set1_ps(kLumaBlue), w1 = _mm512_set1_ps(kLumaGreen), w2 = _mm512_set1_ps(kLumaRed);
    return _mm512_add_ps(_mm512_add_ps(_mm512_mul_ps(c0, w0), _mm512_mul_ps(c2, w2)), _mm512_mul_ps(c1, w1));
}

template <>
inline __m512 values16<RangeOfBytes>(const uint8_t* p) {
    const __m512i x = _mm512_loadu_si512(p), byte = _mm512_set1_epi32(0xFF);
    return luminance16(_mm512_cvtepi32_ps(_mm512_and_si512(x, byte)),
                       _mm512_cvtepi32_ps(_mm512_and_si512(_mm512_srli_epi32(x, 8), byte)),
                       _mm512_cvtepi32_ps(_mm512_and_si512(_mm512_srli_epi32(x, 16), byte)));
}

template <>
inline __m512 values16<RangeOfWords>(const uint8_t* p) {
    // Word 0 of the 16 pixels beside word 1, and word 2, gathered from the
    // two registers' 64 words, then widened with their sign.
    static constexpr int16_t kWords01[32] = {0, 4, 8, 12, 16, 20, 24, 28, 32, 36, 40, 44, 48, 52, 56, 60,
                                             1, 5, 9, 13, 17, 21, 25, 29, 33, 37, 41, 45, 49, 53, 57, 61};
    static constexpr int16_t kWords2[32] = {2, 6, 10, 14, 18, 22, 26, 30, 34, 38, 42, 46, 50, 54, 58, 62,
                                            2, 6, 10, 14, 18, 22, 26, 30, 34, 38, 42, 46, 50, 54, 58, 62};
    const __m512i a = _mm512_loadu_si512(p), b = _mm512_loadu_si512(p + 64);
    const __m512i w01 = _mm512_permutex2var_epi16(a, _mm512_loadu_si512(kWords01), b);
    const __m512i w2 = _mm512_permutex2var_epi16(a, _mm512_loadu_si512(kWords2), b);
    return luminance16(_mm512_cvtepi32_ps(_mm512_cvtepi16_epi32(_mm512_castsi512_si256(w01))),
                       _mm512_cvtepi32_ps(_mm512_cvtepi16_epi32(_mm512_extracti64x4_epi64(w01, 1))),
                       _mm512_cvtepi32_ps(_mm512_cvtepi16_epi32(_mm512_castsi512_si256(w2))));
}

template <>
inline __m512 values16<RangeOfFloats>(const uint8_t* p) {
    // Channels 0 and 1 of pixels 0-7 from a and b, channel 2 likewise; the
    // same from c and d for pixels 8-15; then the halves side by side.
    const __m512 a = _mm512_loadu_ps(p), b = _mm512_loadu_ps(p + 64), c = _mm512_loadu_ps(p + 128),
                 d = _mm512_loadu_ps(p + 192);
    const __m512i i01 = _mm512_set_epi32(29, 25, 21, 17, 13, 9, 5, 1, 28, 24, 20, 16, 12, 8, 4, 0);
    const __m512i i2 = _mm512_set_epi32(30, 26, 22, 18, 14, 10, 6, 2, 30, 26, 22, 18, 14, 10, 6, 2);
    const __m512 ab01 = _mm512_permutex2var_ps(a, i01, b), cd01 = _mm512_permutex2var_ps(c, i01, d);
    const __m512 ab2 = _mm512_permutex2var_ps(a, i2, b), cd2 = _mm512_permutex2var_ps(c, i2, d);
    const __m512 l = luminance16(_mm512_shuffle_f32x4(ab01, cd01, 0x44), _mm512_shuffle_f32x4(ab01, cd01, 0xEE),
                                 _mm512_shuffle_f32x4(ab2, cd2, 0x44));
    return _mm512_max_ps(_mm512_set1_ps(1e-8f), l);  // l < 1e-8 ? 1e-8 : l, NaN kept
}
#endif

// The values of a chunk of n pixels into out, and their figures.
template <class Member>
EFFECTS_RANGE_KERNEL ChunkFigures chunk_values(const uint8_t* __restrict image, int64_t n, float* __restrict out) {
    FigureLanes lanes;
    int64_t i = 0;
#if defined(__AVX512F__)
    {
        __m512 lo = _mm512_set1_ps(HUGE_VALF), hi = _mm512_set1_ps(-HUGE_VALF), least = lo;
        __m512d sum0 = _mm512_setzero_pd(), sum1 = sum0;
        __m512 mag = _mm512_setzero_ps();
        for (; i + kLanes <= n; i += kLanes) {
            const __m512 x = values16<Member>(image + i * Member::kPixelBytes);
            _mm512_storeu_ps(out + i, x);
            lo = _mm512_min_ps(x, lo);  // x < lo ? x : lo
            hi = _mm512_max_ps(x, hi);
            const __m512 a = Member::kSigned ? _mm512_abs_ps(x) : x;
            least = _mm512_mask_min_ps(least, _mm512_cmp_ps_mask(a, _mm512_setzero_ps(), _CMP_GT_OQ), a, least);
            const __m512d x0 = _mm512_cvtps_pd(_mm512_castps512_ps256(x));
            const __m512d x1 = _mm512_cvtps_pd(_mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(x), 1)));
            sum0 = _mm512_add_pd(sum0, x0);
            sum1 = _mm512_add_pd(sum1, x1);
            if constexpr (Member::kSigned) mag = _mm512_add_ps(mag, _mm512_abs_ps(x));
        }
        _mm512_storeu_ps(lanes.lo, lo);
        _mm512_storeu_ps(lanes.hi, hi);
        _mm512_storeu_ps(lanes.least, least);
        _mm512_storeu_pd(lanes.sum, sum0);
        _mm512_storeu_pd(lanes.sum + 8, sum1);
        _mm512_storeu_ps(lanes.mag, mag);
    }
#endif
    auto take = [&](int64_t k, int j) {
        out[k] = Member::value(image + k * Member::kPixelBytes);
        lanes.take(j, out[k]);
    };
    for (; i + kLanes <= n; i += kLanes)
        for (int j = 0; j < kLanes; ++j) take(i + j, j);
    for (int j = 0; i + j < n; ++j) take(i + j, j);
    return lanes.template result<Member>();
}

// ---- steps ---------------------------------------------------------------------
//
// With u = t / 2, qh = floor(u) and fh = u - qh (both exact), a value's
// increment before the tie rule is d = q + (f > 1/2) = 2 qh + (fh > 1/4) +
// (fh > 3/4), it is odd when 1/4 < fh <= 3/4, and it is a tie when fh is
// 1/4 or 3/4. A group of 16 values becomes three lane masks; the tie rule
// only needs the parity of the increments since the previous tie, which is
// that of the (fh > 1/4) + (fh > 3/4) terms counted so far.

struct LaneMasks {
    uint32_t above;  // fh > 1/4
    uint32_t high;   // fh > 3/4
    uint32_t tie;    // fh == 1/4 or fh == 3/4
};

// The rounding state of a chunk walked from an even start.
struct TieWalk {
    int64_t ups = 0;          // the (fh > 1/4) + (fh > 3/4) terms
    int64_t corrections = 0;  // ties rounded up
    uint32_t last = 0;        // parity of the increments at the last tie (the start parity before the first)
    int32_t first = -1;       // that parity at the first tie, -1 before it
};

// Inclusive prefix parity of the 16 low bits.
inline uint32_t prefix_parity16(uint32_t x) {
    x ^= x << 1;
    x ^= x << 2;
    x ^= x << 4;
    x ^= x << 8;
    return x;
}

// The bits of x at the set bits of mask, packed to the bottom.
inline uint32_t gather_bits(uint32_t x, uint32_t mask) {
#if defined(__BMI2__)
    return _pext_u32(x, mask);
#else
    uint32_t r = 0;
    for (uint32_t bit = 1; mask != 0; mask &= mask - 1, bit <<= 1)
        if (x & mask & (0u - mask)) r |= bit;
    return r;
#endif
}

// A tie rounds up iff the increments since the previous tie (its own q
// included) add up odd; after it m is even again. With B the prefix
// parities at the ties, the ties rounding up are the changes of B from one
// tie to the next, the first one measured against the start parity.
inline void fold(TieWalk& w, const LaneMasks& m) {
    if (m.tie != 0) {
        const uint32_t before = 0u - static_cast<uint32_t>(w.ups & 1);
        const uint32_t b = gather_bits(prefix_parity16(m.above ^ m.high) ^ before, m.tie);
        const int ties = bit_count(m.tie);
        if (w.first < 0) w.first = static_cast<int32_t>(b & 1u);
        const uint32_t changes = (b ^ ((b << 1) | w.last)) & ((1u << ties) - 1u);
        w.corrections += bit_count(changes);
        w.last = (b >> (ties - 1)) & 1u;
    }
    w.ups += bit_count(m.above) + bit_count(m.high);
}

inline ChunkSteps steps_of(int64_t even, const TieWalk& w) {
    // From an odd start only the first tie turns the other way.
    return {{even, w.first < 0 ? even : even + 1 - 2 * w.first}, true};
}

template <class T>
inline void add_masks(LaneMasks& m, int j, T fh) {
    m.above |= static_cast<uint32_t>(fh > T(0.25)) << j;
    m.high |= static_cast<uint32_t>(fh > T(0.75)) << j;
    m.tie |= static_cast<uint32_t>(fh == T(0.25) || fh == T(0.75)) << j;
}

#if defined(__AVX512F__)
constexpr int kFloor = _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC;

inline uint32_t masks8(__mmask8 lo, __mmask8 hi) {
    return static_cast<uint32_t>(lo) | static_cast<uint32_t>(hi) << 8;
}
#endif

// Any values: t in double, the lanes' qh summed in double (exact: at most
// 256 values of at most 2^42 per lane).
EFFECTS_RANGE_KERNEL ChunkSteps grid_steps(const float* __restrict v, int64_t n, double scale) {
    const double half = scale * 0.5;
    double qsum[kLanes] = {};
    TieWalk walk;
    int64_t i = 0;
#if defined(__AVX512F__)
    {
        const __m512d h = _mm512_set1_pd(half), quarter = _mm512_set1_pd(0.25), three = _mm512_set1_pd(0.75);
        __m512d q0 = _mm512_setzero_pd(), q1 = _mm512_setzero_pd();
        for (; i + kLanes <= n; i += kLanes) {
            const __m512d u0 = _mm512_mul_pd(_mm512_cvtps_pd(_mm256_loadu_ps(v + i)), h);
            const __m512d u1 = _mm512_mul_pd(_mm512_cvtps_pd(_mm256_loadu_ps(v + i + 8)), h);
            const __m512d h0 = _mm512_roundscale_pd(u0, kFloor), h1 = _mm512_roundscale_pd(u1, kFloor);
            const __m512d f0 = _mm512_sub_pd(u0, h0), f1 = _mm512_sub_pd(u1, h1);
            q0 = _mm512_add_pd(q0, h0);
            q1 = _mm512_add_pd(q1, h1);
            fold(walk,
                 {masks8(_mm512_cmp_pd_mask(f0, quarter, _CMP_GT_OQ), _mm512_cmp_pd_mask(f1, quarter, _CMP_GT_OQ)),
                  masks8(_mm512_cmp_pd_mask(f0, three, _CMP_GT_OQ), _mm512_cmp_pd_mask(f1, three, _CMP_GT_OQ)),
                  masks8(_mm512_cmp_pd_mask(f0, quarter, _CMP_EQ_OQ) | _mm512_cmp_pd_mask(f0, three, _CMP_EQ_OQ),
                         _mm512_cmp_pd_mask(f1, quarter, _CMP_EQ_OQ) | _mm512_cmp_pd_mask(f1, three, _CMP_EQ_OQ))});
        }
        _mm512_storeu_pd(qsum, q0);
        _mm512_storeu_pd(qsum + 8, q1);
    }
#endif
    for (; i < n; i += kLanes) {
        LaneMasks m{0, 0, 0};
        for (int j = 0; j < kLanes && i + j < n; ++j) {
            const double u = static_cast<double>(v[i + j]) * half;
            const double qh = std::floor(u);
            qsum[j] += qh;
            add_masks(m, j, u - qh);
        }
        fold(walk, m);
    }
    int64_t halves = 0;
    for (int j = 0; j < kLanes; ++j) halves += static_cast<int64_t>(qsum[j]);
    return steps_of(2 * halves + walk.ups + walk.corrections, walk);
}

// Values on a grid, where t / 2 has at most shift + 1 <= 16 bits below the
// point: t in float, the lanes' fh summed in float (exact: at most 256
// values of at most 16 bits below the point, 24 bits). The sum of the
// increments then comes from the exact sum of t, units / 2^shift:
// d = 2 qh + ... = t - 2 fh + (fh > 1/4) + (fh > 3/4).
EFFECTS_RANGE_KERNEL ChunkSteps fine_steps(const float* __restrict v, int64_t n, double scale, int64_t units,
                                           int shift) {
    const float half = static_cast<float>(scale * 0.5);
    float fsum[kLanes] = {};
    TieWalk walk;
    int64_t i = 0;
#if defined(__AVX512F__)
    {
        const __m512 h = _mm512_set1_ps(half), quarter = _mm512_set1_ps(0.25f), three = _mm512_set1_ps(0.75f);
        __m512 acc = _mm512_setzero_ps();
        for (; i + kLanes <= n; i += kLanes) {
            const __m512 u = _mm512_mul_ps(_mm512_loadu_ps(v + i), h);
            const __m512 fh = _mm512_sub_ps(u, _mm512_roundscale_ps(u, kFloor));
            acc = _mm512_add_ps(acc, fh);
            fold(walk, {_mm512_cmp_ps_mask(fh, quarter, _CMP_GT_OQ), _mm512_cmp_ps_mask(fh, three, _CMP_GT_OQ),
                        static_cast<uint32_t>(_mm512_cmp_ps_mask(fh, quarter, _CMP_EQ_OQ) |
                                              _mm512_cmp_ps_mask(fh, three, _CMP_EQ_OQ))});
        }
        _mm512_storeu_ps(fsum, acc);
    }
#endif
    for (; i < n; i += kLanes) {
        LaneMasks m{0, 0, 0};
        for (int j = 0; j < kLanes && i + j < n; ++j) {
            const float u = v[i + j] * half;
            const float fh = u - floorf(u);
            fsum[j] += fh;
            add_masks(m, j, fh);
        }
        fold(walk, m);
    }
    const double fh_steps = std::ldexp(1.0, shift + 1);
    int64_t fractions = 0;  // the sum of fh in steps of 2^-(shift + 1)
    for (int j = 0; j < kLanes; ++j) fractions += static_cast<int64_t>(static_cast<double>(fsum[j]) * fh_steps);
    const int64_t scaled = units + walk.ups * (int64_t{1} << shift) - fractions;  // 2^shift times the sum of d
    if ((scaled & ((int64_t{1} << shift) - 1)) != 0) return {{0, 0}, false};
    return steps_of((scaled >> shift) + walk.corrections, walk);
}

}  // namespace

const RangeKernels* EFFECTS_RANGE_TABLE() {
    static const RangeKernels table = {
        {chunk_values<RangeOfBytes>, chunk_values<RangeOfWords>, chunk_values<RangeOfFloats>},
        grid_steps,
        fine_steps,
    };
    return &table;
}

}  // namespace effects::detail
