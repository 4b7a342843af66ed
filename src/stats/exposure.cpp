// Exposure figures: the DynamicRange... members (luminance minimum, maximum
// and sum), the brightest pixel of DetermineTemperature32, and the
// over/under-exposure warning colours.
#include <algorithm>

#include "frame/numeric.hpp"
#include "frame/parallel.hpp"
#include "frame/scratch.hpp"
#include "stats/stats.hpp"

namespace effects::detail {
namespace {

// Minimum, maximum and the minimum's predecessor of a run of values, folded
// with the strict comparisons of a pass in pixel order.
struct Extremes {
    double minimum = 1e10;
    double maximum = 1e-10;
    double second = 1e10;  // the minimum before its last decrease

    void fold(double v) {
        if (v < minimum) {
            second = minimum;
            minimum = v;
        }
        if (v > maximum) maximum = v;
    }
    // This run followed by `later`: a smaller minimum there decreased last,
    // and what it replaced was the smaller of this minimum and the values of
    // `later` before it (its own `second`).
    void then(const Extremes& later) {
        if (later.minimum < minimum) {
            second = std::min(minimum, later.second);
            minimum = later.minimum;
        }
        if (later.maximum > maximum) maximum = later.maximum;
    }
};

// Luminance values of pixels [begin, end) into out (a loop the compiler
// vectorises), so that the serial sum below only adds.
template <class Lum>
void luminances(int64_t begin, int64_t end, float* out, Lum lum) {
    for (int64_t i = begin; i < end; ++i) out[i - begin] = lum(i);
}

// The DynamicRange... pass. The sum of the float luminances is accumulated
// in double one pixel after the other; its rounding depends on that order,
// so the sum is one serial chain. The luminances are computed in parallel
// blocks ahead of it, and the extremes per thread, merged in row order.
template <class Lum>
void dynamic_range(int64_t pixels, Lum lum, double* minimum, double* maximum, double* second, double* sum) {
    Extremes all;
    double s = 0.0;
    constexpr int64_t kBlock = 1 << 16;
    ScratchBuffer<float> values(static_cast<std::size_t>(std::min(pixels, kBlock)) + 1);
    const int team = team_capacity();
    ScratchBuffer<Extremes> partial(static_cast<std::size_t>(team));
    for (int64_t b = 0; b < pixels; b += kBlock) {
        const int64_t n = std::min(kBlock, pixels - b);
        for (int t = 0; t < team; ++t) partial[t] = Extremes{};
        parallel_blocks(n, [&](int t, int64_t begin, int64_t end) {
            luminances(b + begin, b + end, values.data() + begin, lum);
            Extremes e;
            for (int64_t i = begin; i < end; ++i) e.fold(values[i]);
            partial[t] = e;
        });
        for (int t = 0; t < team; ++t) all.then(partial[t]);
        for (int64_t i = 0; i < n; ++i) s += values[i];
    }
    *minimum = all.minimum;
    *maximum = all.maximum;
    if (second) *second = all.second;
    *sum = s;
}

}  // namespace

void dynamic_range32(int64_t pixels, const uint8_t* image, double* minimum, double* maximum, double* sum) {
    dynamic_range(
        pixels,
        [image](int64_t i) {
            const uint8_t* p = image + i * BgraBytes::kBytes;
            return luminance<LumaWeights::Standard>(BgraBytes::channel(p, 0), BgraBytes::channel(p, 1),
                                                    BgraBytes::channel(p, 2));
        },
        minimum, maximum, nullptr, sum);
}

void dynamic_range64(int64_t pixels, const uint8_t* image, double* minimum, double* maximum, double* sum) {
    dynamic_range(
        pixels,
        [image](int64_t i) {
            const uint8_t* p = image + i * BgraWords::kBytes;
            return luminance<LumaWeights::Standard>(BgraWords::channel(p, 0), BgraWords::channel(p, 1),
                                                    BgraWords::channel(p, 2));
        },
        minimum, maximum, nullptr, sum);
}

void dynamic_range128(int64_t pixels, const float* image, double* minimum, double* maximum, double* second_minimum,
                      double* sum) {
    dynamic_range(
        pixels,
        [image](int64_t i) {
            const float* p = image + i * 4;
            const float l = luminance<LumaWeights::Standard>(p[0], p[1], p[2]);
            return l < 1e-8f ? 1e-8f : l;
        },
        minimum, maximum, second_minimum, sum);
}

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
