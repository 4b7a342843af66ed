// Exposure figures: the brightest pixel of DetermineTemperature32 and the
// over/under-exposure warning colours (the DynamicRange... members are in
// dynamic_range.cpp).
#include <algorithm>
#include <cstring>

#include "frame/parallel.hpp"
#include "frame/vector_clones.hpp"
#include "frame/scratch.hpp"
#include "stats/stats.hpp"

namespace effects::detail {

namespace {

// B + G + R of a pixel word.
inline int32_t total_of(uint32_t w) {
    return static_cast<int32_t>((w & 0xFFu) + ((w >> 8) & 0xFFu) + ((w >> 16) & 0xFFu));
}

// The largest B + G + R of n <= kRun pixels: a plain reduction over pixel
// words, which the compiler turns into vector code.
constexpr int64_t kRun = 256;
EFFECTS_VECTOR_CLONES int32_t largest_total(const uint8_t* p, int64_t n) {
    int32_t m = 0;
    for (int64_t j = 0; j < n; ++j) {
        uint32_t w;
        std::memcpy(&w, p + 4 * j, sizeof w);
        m = std::max(m, total_of(w));
    }
    return m;
}

}  // namespace

void determine_temperature32(int64_t pixels, const uint8_t* image, uint16_t* blue, uint16_t* green, uint16_t* red) {
    // The first pixel of the largest B + G + R (strictly above the best so
    // far, which starts at 0). Each thread keeps the first run of its block
    // whose largest total beats the best before it; the threads' bests are
    // taken in row order, and only the winning run is walked again for its
    // first pixel with that total.
    struct Best {
        int32_t total = 0;
        int64_t run = -1;
    };
    const int team = team_capacity();
    ScratchBuffer<Best> partial(static_cast<std::size_t>(team));
    for (int t = 0; t < team; ++t) partial[t] = Best{};
    parallel_blocks(pixels, [&](int t, int64_t begin, int64_t end) {
        Best b;
        for (int64_t i = begin; i < end; i += kRun) {
            const int32_t m = largest_total(image + i * 4, std::min(kRun, end - i));
            if (m > b.total) b = {m, i};
        }
        partial[t] = b;
    });
    Best best;
    for (int t = 0; t < team; ++t)
        if (partial[t].total > best.total) best = partial[t];
    if (best.run < 0) return;
    const uint8_t* p = image + best.run * 4;
    while (p[0] + p[1] + p[2] != best.total) p += 4;
    *blue = p[0];
    *green = p[1];
    *red = p[2];
}

void over_under_exposed32(int32_t width, int32_t height, uint8_t* image) {
    if (width < 1) return;
    parallel_rows(height, [&](int64_t begin, int64_t end) {
        for (int64_t y = begin; y < end; ++y) {
            uint8_t* p = image + y * int64_t{width} * 4;
            for (int32_t x = 0; x < width; ++x, p += 4) {
                const int m = (p[0] + p[1] + p[2]) / 3;
                if (m == 255) {
                    p[0] = 0, p[1] = 0, p[2] = 255;
                } else if (m == 0) {
                    p[0] = 255, p[1] = 0, p[2] = 0;
                }
            }
        }
    });
}

}  // namespace effects::detail
