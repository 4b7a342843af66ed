// The DynamicRange... members: minimum and maximum (and the 128 member's
// second minimum) merged from per-chunk figures, and the sum of the one
// serial chain of double additions, rebuilt exactly from chunks walked in
// parallel (range_sum.hpp has the rule it rests on).
//
// Rounds of work, each thread taking one slot of chunks per round:
// (1) in parallel, a slot's values go into a cache with their figures;
// (2) in the next round, still in parallel, each chunk gets a plan from the
// exact chain at the start of its round and the figures' sums before it:
// the grid its whole walk is expected to stay on, or the plain serial walk;
// (3) right after, the steps of each planned chunk from the cached values;
// (4) serially, the chunks in order: a planned chunk advances the exact
// chain by delta[m & 1] once exact integers confirm that its walk cannot
// leave the grid from there, and every other chunk (a binade crossing, the
// start of the 128 member, NaN or infinity, a wrong estimate) is walked
// value by value from the exact chain. An estimate can cost time, never
// bytes.
#include <algorithm>
#include <bit>
#include <cmath>

#include "frame/isa.hpp"
#include "frame/parallel.hpp"
#include "frame/scratch.hpp"
#include "stats/range_sum.hpp"
#include "stats/stats.hpp"

namespace effects::detail {

const RangeKernels& range_kernels() {
#if EFFECTS_HAVE_ISA_KERNELS
    // The AVX-512 build also needs pext (BMI2); without it the AVX2 one runs.
    static const bool bmi2 = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("bmi2") != 0;
    }();
    return *table_for_isa(range_kernels_baseline(), range_kernels_avx2(),
                          bmi2 ? range_kernels_avx512() : range_kernels_avx2());
#else
    return *range_kernels_baseline();
#endif
}

namespace {

// Chunks one thread takes per round: their values stay cached from the
// figures of one round to the steps of the next, 512 KiB of floats with two
// threads, less with many (the cache holds two rounds).
int64_t slot_chunks(int64_t slots) {
    return std::max<int64_t>(4, 64 / slots);
}
// The figures' sums are added in double in any order; each is off by at
// most n u sum|v| (n <= 2^29 values, u = 2^-53), far inside this fraction
// of it. Their magnitudes are added in float lanes of at most 256 values,
// within 256 * 2^-24 of theirs.
constexpr double kSumSlack = 0x1p-30;
constexpr double kMagnitudeSlack = 0x1p-12;
constexpr int64_t kTop = int64_t{1} << 53, kLow = int64_t{1} << 52;

// How a chunk's walk is checked: the plain serial walk, nothing rounding
// below 2^53 G, or staying in one binade.
enum class Walk : uint8_t { Serial, Exact, Grid };
// How its steps are found: every v / G an integer (so none rounds and the
// exact sum of the values gives them), fine_steps or grid_steps.
enum class Steps : uint8_t { Whole, Fine, Grid };
struct ChunkPlan {
    Walk walk;
    Steps steps;
    double scale;  // 1 / G
    int shift;     // members on a grid: v / G is a multiple of 2^-shift
};

// 2^e for e in the range of normal doubles, and the binade of a positive
// double (below -1022 for a subnormal, above 1023 for inf and NaN).
double pow2(int e) {
    return std::bit_cast<double>(static_cast<uint64_t>(e + 1023) << 52);
}
int binade(double x) {
    return static_cast<int>(std::bit_cast<uint64_t>(x) >> 52 & 0x7FF) - 1023;
}

// A plan on the grid G = 2^(k-52). A float at least 2^23 G is a multiple of G.
template <class Member>
ChunkPlan on_grid(Walk walk, int k, const ChunkFigures& f) {
    const double scale = pow2(52 - k);
    if (!Member::kOnGrid) return {walk, Steps::Grid, scale, -1};
    const int shift = k - 52 - Member::kGridExponent;
    if (shift == 0 || (shift > 0 && f.least * scale >= 0x1p23)) return {walk, Steps::Whole, scale, shift};
    if (shift > 0 && shift <= 15) return {walk, Steps::Fine, scale, shift};
    return {walk, Steps::Grid, scale, -1};
}

// The steps of a chunk whose every v / G is an integer: units / 2^shift
// from either parity.
ChunkSteps whole_steps(int64_t units, int shift) {
    const int64_t steps = units >> shift;
    return {{steps, steps}, (units & ((int64_t{1} << shift) - 1)) == 0};
}

// Upper bounds of the positive and of the negative values' sums.
double rises(const ChunkFigures& f) {
    return std::max(0.0, (f.magnitude + f.sum) * 0.5) + kMagnitudeSlack * f.magnitude;
}
double falls(const ChunkFigures& f) {
    return std::max(0.0, (f.magnitude - f.sum) * 0.5) + kMagnitudeSlack * f.magnitude;
}

// The plan of a chunk of n values whose walk starts near s (within slack).
template <class Member>
ChunkPlan plan_chunk(const ChunkFigures& f, int64_t n, double s, double slack) {
    constexpr ChunkPlan kSerial{Walk::Serial, Steps::Grid, 0.0, -1};
    if (!std::isfinite(s) || !std::isfinite(f.sum)) return kSerial;
    const double widest = std::max(std::fabs(f.minimum), std::fabs(f.maximum));
    const double lo = s - falls(f) - slack, hi = s + rises(f) + slack;
    if constexpr (Member::kOnGrid) {
        // Below 2^53 G every multiple of the values' grid G is a double.
        constexpr int k = Member::kGridExponent + 52;
        if (std::max(-lo, hi) + static_cast<double>(n + 4) * pow2(k - 52) < pow2(k + 1) &&
            widest * pow2(52 - k) <= kRangeStepLimit)
            return on_grid<Member>(Walk::Exact, k, f);
    }
    if (lo > 0.0 || hi < 0.0) {
        const double inner = lo > 0.0 ? lo : -hi, outer = lo > 0.0 ? hi : -lo;
        const int k = binade(inner);
        const double margin = static_cast<double>(n + 4) * pow2(k - 52);
        if (k > -900 && k < 900 && inner - margin >= pow2(k) && outer + margin <= pow2(k + 1) &&
            widest * pow2(52 - k) <= kRangeStepLimit)
            return on_grid<Member>(Walk::Grid, k, f);
    }
    return kSerial;
}

// Walks a planned chunk of n values from the exact chain value s in
// integers. Each addition moves m by at most ceil(|t|) <= |t| + 1, so every
// m of the walk lies in [m0 - down, m0 + up] and every exact partial sum
// within half a step of one; when that range cannot leave the grid the
// deltas are the chain's. Returns false, s untouched, otherwise.
bool advance(double& s, const ChunkPlan& p, const ChunkSteps& st, const ChunkFigures& f, int64_t n) {
    if (p.walk == Walk::Serial || !st.valid) return false;
    const double m0 = s * p.scale;
    if (!(std::fabs(m0) <= 0x1p53) || m0 != std::floor(m0)) return false;
    const int64_t m = static_cast<int64_t>(m0);
    const int64_t lo = m - static_cast<int64_t>(std::ceil(falls(f) * p.scale)) - n - 2;
    const int64_t hi = m + static_cast<int64_t>(std::ceil(rises(f) * p.scale)) + n + 2;
    const bool fits =
        p.walk == Walk::Exact ? lo >= -kTop && hi <= kTop : (lo > kLow && hi < kTop) || (lo > -kTop && hi < -kLow);
    if (!fits) return false;
    s = static_cast<double>(m + st.delta[m & 1]) / p.scale;  // exact: a power of two
    return true;
}

// The plain chain, value after value.
double serial_sum(const float* v, int64_t n, double s) {
    for (int64_t i = 0; i < n; ++i) s += static_cast<double>(v[i]);
    return s;
}

template <class Member>
void dynamic_range(int64_t pixels, const uint8_t* image, double* minimum, double* maximum, double* second_minimum,
                   double* sum) {
    const RangeKernels& kern = range_kernels();
    const auto values = kern.values[Member::kSlot];
    const int64_t chunks = pixels > 0 ? (pixels + kRangeChunk - 1) / kRangeChunk : 0;
    const int64_t slots = std::max(1, team_capacity());
    const int64_t per_slot = slot_chunks(slots);
    const int64_t round_chunks = slots * per_slot;
    const int64_t rounds = (chunks + round_chunks - 1) / round_chunks;
    const int64_t kept = std::min(chunks, round_chunks);  // chunks whose values one round keeps

    ScratchBuffer<ChunkFigures> figures(static_cast<std::size_t>(chunks));
    ScratchBuffer<ChunkPlan> plans(static_cast<std::size_t>(chunks));
    ScratchBuffer<ChunkSteps> steps(static_cast<std::size_t>(chunks));
    ScratchBuffer<float> cache(static_cast<std::size_t>((rounds > 1 ? 2 : 1) * kept * kRangeChunk));
    auto length = [&](int64_t c) { return std::min(kRangeChunk, pixels - c * kRangeChunk); };
    auto cached = [&](int64_t c) {
        return cache.data() + ((c / round_chunks) % 2 * kept + c % round_chunks) * kRangeChunk;
    };
    auto first_of = [&](int64_t round, int64_t slot) {
        return std::min(chunks, round * round_chunks + slot * per_slot);
    };

    // (2) and (3) for the chunks of one slot of round r, the chain standing
    // exactly at s at the round's start.
    auto plan_and_step = [&](int64_t r, int64_t slot, double s) {
        double guess = s, seen = 0.0;
        for (int64_t c = first_of(r, 0); c < first_of(r, slot); ++c)
            guess += figures[c].sum, seen += figures[c].magnitude;
        for (int64_t c = first_of(r, slot); c < first_of(r, slot + 1); ++c) {
            const ChunkFigures& f = figures[c];
            const ChunkPlan p = plans[c] = plan_chunk<Member>(f, length(c), guess, kSumSlack * (std::fabs(s) + seen));
            guess += f.sum;
            seen += f.magnitude;
            if (p.walk == Walk::Serial) continue;
            steps[c] = p.steps == Steps::Whole  ? whole_steps(f.units, p.shift)
                       : p.steps == Steps::Fine ? kern.fine_steps(cached(c), length(c), p.scale, f.units, p.shift)
                                                : kern.grid_steps(cached(c), length(c), p.scale);
        }
    };

    double s = 0.0;
    for (int64_t r = 0; rounds > 0 && r <= rounds; ++r) {
        parallel_blocks(slots, [&](int, int64_t begin, int64_t end) {
            for (int64_t slot = begin; slot < end; ++slot) {
                if (r > 0) plan_and_step(r - 1, slot, s);
                if (r < rounds)  // (1)
                    for (int64_t c = first_of(r, slot); c < first_of(r, slot + 1); ++c)
                        figures[c] = values(image + c * kRangeChunk * Member::kPixelBytes, length(c), cached(c));
            }
        });
        if (r > 0)  // (4) the chain through the previous round
            for (int64_t c = first_of(r - 1, 0); c < first_of(r, 0); ++c) {
                if (!std::isfinite(s))
                    s += figures[c].sum;  // inf stays inf, or turns NaN where the chain meets a NaN or -inf
                else if (!advance(s, plans[c], steps[c], figures[c], length(c)))
                    s = serial_sum(cached(c), length(c), s);
            }
    }

    // The extremes are order-free; NaN never wins a comparison.
    float lowest = HUGE_VALF, highest = -HUGE_VALF;
    for (int64_t c = 0; c < chunks; ++c) {
        lowest = figures[c].minimum < lowest ? figures[c].minimum : lowest;
        highest = figures[c].maximum > highest ? figures[c].maximum : highest;
    }
    double mn = 1e10, mx = 1e-10;
    if (lowest < mn) mn = lowest;
    if (highest > mx) mx = highest;
    if (second_minimum) {
        // The minimum before the last one: the smallest value (or 1e10)
        // before the first occurrence of the final minimum.
        double before = 1e10;
        if (lowest < 1e10) {
            int64_t c = 0;
            for (; figures[c].minimum != lowest; ++c)
                if (figures[c].minimum < before) before = figures[c].minimum;
            ScratchBuffer<float> v(static_cast<std::size_t>(length(c)));
            values(image + c * kRangeChunk * Member::kPixelBytes, length(c), v.data());
            for (int64_t i = 0; v[i] != lowest; ++i)
                if (v[i] < before) before = v[i];
        }
        *second_minimum = before;
    }
    *minimum = mn;
    *maximum = mx;
    *sum = s;
}

}  // namespace

void dynamic_range32(int64_t pixels, const uint8_t* image, double* minimum, double* maximum, double* sum) {
    dynamic_range<RangeOfBytes>(pixels, image, minimum, maximum, nullptr, sum);
}

void dynamic_range64(int64_t pixels, const uint8_t* image, double* minimum, double* maximum, double* sum) {
    dynamic_range<RangeOfWords>(pixels, image, minimum, maximum, nullptr, sum);
}

void dynamic_range128(int64_t pixels, const float* image, double* minimum, double* maximum, double* second_minimum,
                      double* sum) {
    dynamic_range<RangeOfFloats>(pixels, reinterpret_cast<const uint8_t*>(image), minimum, maximum, second_minimum,
                                 sum);
}

}  // namespace effects::detail
