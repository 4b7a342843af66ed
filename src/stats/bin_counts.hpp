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

namespace effects::detail {

// Interleaved sub-histograms per thread: neighbouring pixels of one colour
// land in different counters, so increments do not wait on each other.
inline constexpr int kSubHistograms = 4;

// Tallies n pixels of `Bytes` bytes each from p: bins of up to 256 pixels are
// computed first (a loop the compiler vectorises), then counted into
// counts[kSubHistograms * Bins]. bin(pixel pointer) returns 0..Bins-1.
template <int Bins, int Bytes, class BinOf>
inline void tally(const uint8_t* p, int64_t n, uint32_t* counts, BinOf bin) {
    constexpr int kChunk = 256;
    using Index = std::conditional_t<(Bins <= 256), uint8_t, uint16_t>;
    Index index[kChunk];
    for (int64_t i = 0; i < n; i += kChunk) {
        const int m = static_cast<int>(std::min<int64_t>(kChunk, n - i));
        const uint8_t* q = p + i * Bytes;
        for (int j = 0; j < m; ++j) index[j] = static_cast<Index>(bin(q + j * Bytes));
        int j = 0;
        for (; j + 4 <= m; j += 4) {
            ++counts[index[j]];
            ++counts[Bins + index[j + 1]];
            ++counts[2 * Bins + index[j + 2]];
            ++counts[3 * Bins + index[j + 3]];
        }
        for (; j < m; ++j) ++counts[index[j]];
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
