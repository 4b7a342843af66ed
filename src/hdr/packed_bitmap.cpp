// Packed threshold bitmaps and their difference counts. A row of the other
// bitmap shifted by dx is read word by word as a funnel of two neighbouring
// words, so no shifted copy is ever made; the first and last words of an
// area are masked to its columns.
#include "hdr/packed_bitmap.hpp"

#include <algorithm>
#include <bit>

#include "frame/parallel.hpp"
#include "frame/scratch.hpp"
#include "frame/vector_clones.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace effects::detail {
namespace {

// Bits of 64 greys above `above` (0..254).
inline uint64_t pack_word(const uint8_t* g, uint8_t above) {
#if defined(__SSE2__)
    // Unsigned bytes compared as signed after flipping their top bits.
    const __m128i flip = _mm_set1_epi8(static_cast<char>(0x80));
    const __m128i t = _mm_set1_epi8(static_cast<char>(above ^ 0x80));
    uint64_t w = 0;
    for (int i = 0; i < 4; ++i) {
        const __m128i v = _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(g + 16 * i)), flip);
        w |= static_cast<uint64_t>(static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpgt_epi8(v, t)))) << (16 * i);
    }
    return w;
#else
    uint64_t w = 0;
    for (int i = 0; i < 64; ++i) w |= static_cast<uint64_t>(g[i] > above) << i;
    return w;
#endif
}

inline uint64_t pack_tail(const uint8_t* g, int64_t n, int32_t above) {
    uint64_t w = 0;
    for (int64_t i = 0; i < n; ++i) w |= static_cast<uint64_t>(g[i] > above) << i;
    return w;
}

// Mask of bits [lo, hi) of a word, 0 <= lo < hi <= 64.
inline uint64_t bit_range(int64_t lo, int64_t hi) {
    const uint64_t upto = hi == 64 ? ~uint64_t{0} : (uint64_t{1} << hi) - 1;
    return upto & ~((uint64_t{1} << lo) - 1);
}

// The 64 pixels of a row from pixel s on (s may be -64..width-1): bits of
// word s >> 6 from bit s & 63 up, then the next word's low bits.
inline uint64_t funnel(const uint64_t* row, int64_t s) {
    const int64_t w = s >> 6;  // arithmetic: floor
    const unsigned b = static_cast<unsigned>(s & 63);
    return (row[w] >> b) | ((row[w + 1] << 1) << (63 - b));
}

// Differing pixels of one row over columns [x0, x1) of the reference.
inline int64_t row_differences(const uint64_t* ref, const uint64_t* other, int64_t x0, int64_t x1, int32_t dx) {
    const int64_t k0 = x0 >> 6, k1 = (x1 - 1) >> 6;
    int64_t n = 0;
    for (int64_t k = k0; k <= k1; ++k) {
        uint64_t d = ref[k] ^ funnel(other, 64 * k - dx);
        if (k == k0 || k == k1)
            d &= bit_range(k == k0 ? x0 & 63 : 0, k == k1 ? ((x1 - 1) & 63) + 1 : 64);
        n += std::popcount(d);
    }
    return n;
}

// Counts of rows [y0, y1) for every candidate into `counts` (the AVX2
// clone has the popcount instruction).
EFFECTS_VECTOR_CLONES void count_rows(const PackedBitmap& ref, const PackedBitmap& other, const Candidate* candidates,
                                      std::size_t n, int64_t y0, int64_t y1, int64_t* counts) {
    for (int64_t y = y0; y < y1; ++y)
        for (std::size_t i = 0; i < n; ++i) {
            const Candidate& c = candidates[i];
            if (y < c.area.y0 || y >= c.area.y1 || c.area.x1 <= c.area.x0) continue;
            counts[i] += row_differences(ref.row(y), other.row(y - c.dy), c.area.x0, c.area.x1, c.dx);
        }
}

}  // namespace

PackedBitmap::PackedBitmap(int32_t width, int32_t height)
    : width_(width), height_(height), words_((int64_t{width} + 63) / 64), stride_(words_ + 2),
      bits_(std::make_unique_for_overwrite<uint64_t[]>(static_cast<std::size_t>(stride_ * std::max<int64_t>(height, 0)))) {}

void pack_greys(const uint8_t* greys, int32_t above, PackedBitmap& out) {
    const int64_t width = out.width(), full = width / 64, tail = width % 64;
    parallel_rows(out.height(), [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y) {
            const uint8_t* g = greys + y * width;
            uint64_t* row = out.row(y);
            row[-1] = row[out.words()] = 0;  // the guard words
            if (above < 0 || above > 254) {
                const uint64_t fill = above < 0 ? ~uint64_t{0} : 0;
                for (int64_t k = 0; k < full; ++k) row[k] = fill;
                if (tail) row[full] = fill & bit_range(0, tail);
                continue;
            }
            for (int64_t k = 0; k < full; ++k) row[k] = pack_word(g + 64 * k, static_cast<uint8_t>(above));
            if (tail) row[full] = pack_tail(g + 64 * full, tail, above);
        }
    });
}

void count_differences(const PackedBitmap& ref, const PackedBitmap& other, Candidate* candidates, std::size_t n) {
    int64_t y_begin = INT64_MAX, y_end = INT64_MIN;
    for (std::size_t i = 0; i < n; ++i) {
        candidates[i].differences = 0;
        if (candidates[i].area.pixels() == 0) continue;
        y_begin = std::min(y_begin, candidates[i].area.y0);
        y_end = std::max(y_end, candidates[i].area.y1);
    }
    if (y_begin >= y_end) return;
    const auto threads = static_cast<std::size_t>(team_capacity());
    ScratchBuffer<int64_t> partial(threads * n);
    std::fill(partial.data(), partial.data() + partial.size(), int64_t{0});
    parallel_blocks(y_end - y_begin, [&](int t, int64_t r0, int64_t r1) {
        count_rows(ref, other, candidates, n, y_begin + r0, y_begin + r1,
                   partial.data() + static_cast<std::size_t>(t) * n);
    });
    for (std::size_t t = 0; t < threads; ++t)
        for (std::size_t i = 0; i < n; ++i) candidates[i].differences += partial[t * n + i];
}

}  // namespace effects::detail
