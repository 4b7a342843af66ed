// The DynamicRange... sum in parallel with the bytes of one serial walk.
//
// The members add their luminances one after another in double, each
// addition rounding to nearest-even, so the sum is that one chain. While the
// running sum s and every exact partial sum stay inside one binade
// [2^k, 2^(k+1)] (in magnitude), all of them lie on the grid G = 2^(k-52):
// with s = m G, t = v / G (an exact power-of-two scaling), q = floor(t) and
// f = t - q, one addition is
//     m += q + (f > 1/2) + (f == 1/2 && m + q odd).
// Besides the integer m the chain only carries the parity of m, and a tie
// (f == 1/2) always leaves m even. So a chunk of additions is a function of
// the parity of m at its start: m += delta[m & 1]. The kernels here compute
// both deltas of a chunk (and its minimum, maximum and approximate sums);
// dynamic_range.cpp chains the chunks in order with exact integers and walks
// the rest (binade crossings, NaN and infinities) the plain serial way.
#pragma once

#include <cstdint>

#include "frame/isa.hpp"
#include "stats/luminance.hpp"

namespace effects::detail {

// Pixels per chunk.
inline constexpr int64_t kRangeChunk = 4096;
// Largest |v / G| the step kernels take: 16 lanes of 256 such values sum
// exactly in double (2^8 * 2^43 = 2^51 < 2^53).
inline constexpr double kRangeStepLimit = 0x1p43;

// What one pass over a chunk's values learns before the chain reaches it.
struct ChunkFigures {
    float minimum;     // smallest value, NaN ignored (+inf when there is none)
    float maximum;     // largest value, NaN ignored (-inf when there is none)
    float least;       // smallest non-zero |value| (+inf when there is none)
    double sum;        // the values added in any order: not finite iff one is NaN or infinite
    double magnitude;  // the |values| added in any order, in float lanes (within 2^-16 of it)
    int64_t units;     // members on a grid: the exact sum in steps of the grid
};

// A chunk's additions on a grid: m grows by delta[p] from a start of parity
// p. `valid` is false when the values broke a kernel's assumption.
struct ChunkSteps {
    int64_t delta[2];
    bool valid;
};

inline namespace EFFECTS_ISA_NAMESPACE {

// The members: how one pixel's value is read, the slot of its row kernel in
// the table, whether values can be negative, and whether all of them lie on
// a grid 2^kGridExponent.
//
// The 8- and 15-bit members take the luminance of the channels as Reader
// reads them. Every such luminance is a multiple of 2^-27: each product
// carries its 24 bits down from at least 2^-4 (0.0721's exponent), and a sum
// below 2^-4 is exact. So their sums never round below 2^26.
template <class Reader, int Slot, bool Signed>
struct RangeOfChannels {
    static constexpr int kSlot = Slot;
    static constexpr int kPixelBytes = Reader::kBytes;
    static constexpr bool kSigned = Signed;
    static constexpr bool kOnGrid = true;
    static constexpr int kGridExponent = -27;
    static float value(const uint8_t* p) {
        return luminance<LumaWeights::Standard>(Reader::channel(p, 0), Reader::channel(p, 1), Reader::channel(p, 2));
    }
};
using RangeOfBytes = RangeOfChannels<BgraBytes, 0, false>;  // DynamicRange32Fast
using RangeOfWords = RangeOfChannels<BgraWords, 1, true>;   // DynamicRange64Fast: sums may fall and turn negative

struct RangeOfFloats {  // DynamicRange128Fast
    static constexpr int kSlot = 2;
    static constexpr int kPixelBytes = 16;
    static constexpr bool kSigned = false;
    static constexpr bool kOnGrid = false;
    static constexpr int kGridExponent = 0;
    // Raised to 1e-8 when smaller: a NaN fails the test and stays NaN, -inf
    // becomes 1e-8, +inf stays.
    static float value(const uint8_t* p) {
        const float* c = reinterpret_cast<const float*>(p);  // the caller's floats
        const float l = luminance<LumaWeights::Standard>(c[0], c[1], c[2]);
        return l < 1e-8f ? 1e-8f : l;
    }
};

}  // namespace EFFECTS_ISA_NAMESPACE

// The hot loops, built once per instruction set.
struct RangeKernels {
    // The values of n pixels of a member's layout into out, as floats, and
    // their figures.
    ChunkFigures (*values[3])(const uint8_t* image, int64_t n, float* out);
    // Steps on the grid G = 1/scale (a power of two) of n <= kRangeChunk
    // values, every |v * scale| <= kRangeStepLimit and finite (the caller
    // checks).
    ChunkSteps (*grid_steps)(const float* v, int64_t n, double scale);
    // The same for values whose t = v * scale are multiples of 2^-shift
    // (shift <= 15) and sum to units / 2^shift exactly: faster.
    ChunkSteps (*fine_steps)(const float* v, int64_t n, double scale, int64_t units, int shift);
};
const RangeKernels* range_kernels_baseline();
const RangeKernels* range_kernels_avx2();
const RangeKernels* range_kernels_avx512();
// The build for the active instruction set.
const RangeKernels& range_kernels();

}  // namespace effects::detail
