// Exact bin counts in parallel: each thread tallies its contiguous run of
// pixels into its own integer counts, and the counts are added after the
// join. Integer counts do not depend on how the pixels were split, so every
// histogram built from them is the same with any number of threads.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "frame/parallel.hpp"
#include "frame/scratch.hpp"
#include "stats/bin_kernels.hpp"

namespace effects::detail {

// Interleaved sub-histograms per thread: neighbouring pixels land in
// different counters, so increments of one bin do not wait on each other.
inline constexpr int kSubHistograms = 8;

// Counts n bin numbers into counts[kSubHistograms * Bins]: bin j goes to
// sub-histogram j % 8. The numbers are read eight bytes at a time and split
// by shifts, which keeps the loads off the increments' path.
template <int Bins, class Index>
inline void count_bins(const Index* bins, int n, uint32_t* counts) {
    static_assert(std::is_unsigned_v<Index> && sizeof(Index) <= 2);
    constexpr int kPerWord = 8 / sizeof(Index), kBits = 8 * sizeof(Index);
    constexpr uint64_t kMask = (uint64_t{1} << kBits) - 1;
    int j = 0;
    for (; j + kSubHistograms <= n; j += kSubHistograms) {
#pragma GCC unroll 2
        for (int h = 0; h < kSubHistograms / kPerWord; ++h) {
            uint64_t w;
            std::memcpy(&w, bins + j + h * kPerWord, sizeof w);
#pragma GCC unroll 8
            for (int k = 0; k < kPerWord; ++k) ++counts[(h * kPerWord + k) * Bins + ((w >> (kBits * k)) & kMask)];
        }
    }
    for (; j < n; ++j) ++counts[bins[j]];
}

// Bins and counts n pixels of `Bytes` bytes from p, a run at a time:
// bin_run(pixels, m, bins) writes the bin numbers of m <= kBinRun pixels.
template <int Bins, int Bytes, class Index, class BinRun>
inline void tally(const uint8_t* p, int64_t n, uint32_t* counts, BinRun bin_run) {
    alignas(64) Index bins[kBinRun];
    for (int64_t i = 0; i < n; i += kBinRun) {
        const int m = static_cast<int>(std::min<int64_t>(kBinRun, n - i));
        bin_run(p + i * Bytes, m, bins);
        count_bins<Bins>(bins, m, counts);
    }
}

// Runs tally_run(begin, end, counts) over the pixels [0, pixels) split into
// one contiguous block per thread (in runs short enough for 32-bit counts)
// and writes the summed counts to totals[bins].
template <class TallyRun>
void count_in_parallel(int64_t pixels, int bins, uint64_t* totals, TallyRun&& tally_run) {
    std::fill(totals, totals + bins, uint64_t{0});
    if (pixels < 1) return;
    const int team = team_capacity();
    const std::size_t per_thread = static_cast<std::size_t>(bins) * kSubHistograms;
    ScratchBuffer<uint32_t> counts(per_thread * static_cast<std::size_t>(team));
    ScratchBuffer<uint64_t> partial(static_cast<std::size_t>(bins) * static_cast<std::size_t>(team));
    std::fill(partial.data(), partial.data() + partial.size(), uint64_t{0});
    parallel_blocks(pixels, [&](int t, int64_t begin, int64_t end) {
        uint32_t* c = counts.data() + per_thread * static_cast<std::size_t>(t);
        uint64_t* sum = partial.data() + static_cast<std::size_t>(bins) * static_cast<std::size_t>(t);
        constexpr int64_t kRun = int64_t{1} << 30;
        for (int64_t b = begin; b < end; b += kRun) {
            std::memset(c, 0, per_thread * sizeof(uint32_t));
            tally_run(b, std::min(end, b + kRun), c);
            for (int k = 0; k < bins; ++k)
                for (int s = 0; s < kSubHistograms; ++s) sum[k] += c[s * bins + k];
        }
    });
    for (int t = 0; t < team; ++t)
        for (int k = 0; k < bins; ++k) totals[k] += partial[static_cast<std::size_t>(bins) * t + k];
}

}  // namespace effects::detail
