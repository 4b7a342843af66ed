// Exposure figures: the brightest pixel of DetermineTemperature32 and the
// over/under-exposure warning colours (the DynamicRange... members are in
// dynamic_range.cpp).
#include "frame/parallel.hpp"
#include "frame/scratch.hpp"
#include "stats/stats.hpp"

namespace effects::detail {

void determine_temperature32(int64_t pixels, const uint8_t* image, uint16_t* blue, uint16_t* green, uint16_t* red) {
    // The first pixel of the largest B + G + R (strictly above the best so
    // far, which starts at 0): per thread, then the threads in row order.
    struct Best {
        int32_t total = 0;
        int64_t index = -1;
    };
    const int team = team_capacity();
    ScratchBuffer<Best> partial(static_cast<std::size_t>(team));
    for (int t = 0; t < team; ++t) partial[t] = Best{};
    parallel_blocks(pixels, [&](int t, int64_t begin, int64_t end) {
        Best b;
        for (int64_t i = begin; i < end; ++i) {
            const uint8_t* p = image + i * 4;
            const int32_t total = p[0] + p[1] + p[2];
            if (total > b.total) b = {total, i};
        }
        partial[t] = b;
    });
    Best best;
    for (int t = 0; t < team; ++t)
        if (partial[t].total > best.total) best = partial[t];
    if (best.index < 0) return;
    const uint8_t* p = image + best.index * 4;
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
