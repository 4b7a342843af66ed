// HDR range analysis. The maxima that a scaling needs come first (per
// thread, merged after the join: strict comparisons give the maximum of a
// pass in pixel order whatever the split), then one parallel pass scales.
#include "hdr/range.hpp"

#include <algorithm>
#include <limits>

#include "frame/parallel.hpp"
#include "frame/rgbe.hpp"
#include "frame/scratch.hpp"
#include "frame/vector_clones.hpp"

namespace effects::detail {
namespace {

constexpr float kThird = 0.33333334f;

int64_t pixel_count(int32_t width, int32_t height) { return width < 1 || height < 1 ? 0 : int64_t{width} * height; }

// Per-thread running values, each thread's started from `start` and merged
// after the join with merge(into, from), thread by thread.
template <class T, class Body, class Merge>
T fold_in_parallel(int64_t items, const T& start, Body body, Merge merge) {
    const int team = team_capacity();
    ScratchBuffer<T> partial(static_cast<std::size_t>(team));
    for (int t = 0; t < team; ++t) partial[t] = start;
    parallel_blocks(items, [&](int t, int64_t begin, int64_t end) { body(partial[t], begin, end); });
    T all = start;
    for (int t = 0; t < team; ++t) merge(all, partial[t]);
    return all;
}

struct Max3 {
    float m[3];
};

// The largest pixel mean (c0 + c1 + c2) * 0.33333334 of colour triples.
template <class Channels>
float largest_mean(int64_t pixels, float start, Channels channels) {
    return fold_in_parallel(
        pixels, start,
        [&](float& mx, int64_t begin, int64_t end) {
            for (int64_t i = begin; i < end; ++i) {
                float c[3];
                channels(i, c);
                const float mean = (c[0] + c[1] + c[2]) * kThird;
                if (mean > mx) mx = mean;
            }
        },
        [](float& into, float from) {
            if (from > into) into = from;
        });
}

// Channel minima and maxima of raw colour values: three minima from 1e10,
// three maxima from 1e-10 (floats), folded strictly.
struct ChannelRange {
    float mn[3] = {1e10f, 1e10f, 1e10f};
    float mx[3] = {1e-10f, 1e-10f, 1e-10f};
    void fold(int k, float v) {
        if (v < mn[k]) mn[k] = v;
        if (v > mx[k]) mx[k] = v;
    }
};

// The channel range of pixels [0, pixels): block(begin, end, range) folds a
// run of pixels; the runs of the threads are merged after the join.
template <class Block>
void channel_range(int64_t pixels, Block block, double* minimum, double* maximum) {
    *minimum = 1e10;
    *maximum = 1e-10;
    const ChannelRange r = fold_in_parallel(
        pixels, ChannelRange{}, [&](ChannelRange& cr, int64_t begin, int64_t end) { block(begin, end, cr); },
        [](ChannelRange& into, const ChannelRange& from) {
            for (int k = 0; k < 3; ++k) {
                if (from.mn[k] < into.mn[k]) into.mn[k] = from.mn[k];
                if (from.mx[k] > into.mx[k]) into.mx[k] = from.mx[k];
            }
        });
    float mn = r.mn[0], mx = r.mx[0];
    for (int k = 1; k < 3; ++k) {
        if (r.mn[k] < mn) mn = r.mn[k];
        if (r.mx[k] > mx) mx = r.mx[k];
    }
    *minimum = mn;
    *maximum = mx;
}

// A run's integer extremes per channel, folded as floats: the conversion is
// exact and keeps the order, so this equals folding every value. The run is
// walked as one flat array in lanes of kLanes values (a multiple of the 4
// channels, so lane j always holds channel j % 4), which vectorises.
constexpr int kLanes = 32;

template <class T, class Signed>
inline void channel_extremes(const T* p, int64_t n, ChannelRange& cr) {
    Signed lo[kLanes], hi[kLanes];
    for (int j = 0; j < kLanes; ++j) {
        lo[j] = std::numeric_limits<Signed>::max();
        hi[j] = std::numeric_limits<Signed>::min();
    }
    const int64_t values = n * 4;
    int64_t i = 0;
    for (; i + kLanes <= values; i += kLanes)
        for (int j = 0; j < kLanes; ++j) {
            const Signed v = static_cast<Signed>(p[i + j]);
            lo[j] = v < lo[j] ? v : lo[j];
            hi[j] = v > hi[j] ? v : hi[j];
        }
    for (int j = 0; i + j < values; ++j) {
        const Signed v = static_cast<Signed>(p[i + j]);
        lo[j] = v < lo[j] ? v : lo[j];
        hi[j] = v > hi[j] ? v : hi[j];
    }
    for (int j = 0; j < kLanes; ++j) {
        if (j % 4 == 3 || lo[j] > hi[j]) continue;  // alpha, or a lane that saw nothing
        cr.fold(j % 4, static_cast<float>(lo[j]));
        cr.fold(j % 4, static_cast<float>(hi[j]));
    }
}

EFFECTS_VECTOR_CLONES void channel_range32_block(const uint8_t* p, int64_t n, ChannelRange& cr) {
    channel_extremes<uint8_t, uint8_t>(p, n, cr);
}

// 15-bit words read as signed: 65535 is -1.
EFFECTS_VECTOR_CLONES void channel_range64_block(const uint16_t* p, int64_t n, ChannelRange& cr) {
    channel_extremes<uint16_t, int16_t>(p, n, cr);
}

// The per-run fold of a channel-range block function over 4-channel pixels.
template <class T>
auto runs_of(const T* image, void (*block)(const T*, int64_t, ChannelRange&)) {
    return [image, block](int64_t begin, int64_t end, ChannelRange& cr) { block(image + begin * 4, end - begin, cr); };
}

}  // namespace

void hdr_for_display(int32_t width, int32_t height, float* image) {
    const int64_t pixels = pixel_count(width, height);
    const Max3 mx = fold_in_parallel(
        pixels, Max3{{0.0f, 0.0f, 0.0f}},
        [&](Max3& m, int64_t begin, int64_t end) {
            for (int64_t i = begin; i < end; ++i)
                for (int k = 0; k < 3; ++k)
                    if (image[i * 3 + k] > m.m[k]) m.m[k] = image[i * 3 + k];
        },
        [](Max3& into, const Max3& from) {
            for (int k = 0; k < 3; ++k)
                if (from.m[k] > into.m[k]) into.m[k] = from.m[k];
        });
    float overall = mx.m[0];
    if (mx.m[1] > overall) overall = mx.m[1];
    if (mx.m[2] > overall) overall = mx.m[2];
    // Two steps per channel, each rounded to a float: by 1 / its own maximum,
    // then by (1 / overall) * its maximum. An all-zero channel gives NaNs
    // (0 * infinity); the host checks for an empty image before calling.
    float first[3], second[3];
    for (int k = 0; k < 3; ++k) {
        first[k] = 1.0f / mx.m[k];
        second[k] = 1.0f / overall * mx.m[k];
    }
    parallel_rows(height, [&](int64_t begin, int64_t end) {
        for (int64_t i = begin * width * 3; i < end * width * 3; i += 3)
            for (int k = 0; k < 3; ++k) {
                const float v = image[i + k] * first[k];
                image[i + k] = v * second[k];
            }
    });
}

void scale_to_brightest_mean(int32_t width, int32_t height, float* image) {
    const float mx = largest_mean(pixel_count(width, height), 1e-10f, [image](int64_t i, float* c) {
        for (int k = 0; k < 3; ++k) c[k] = image[i * 4 + k];
    });
    const float scale = 1.0f / mx;
    if (width < 1) return;
    parallel_rows(height, [&](int64_t begin, int64_t end) {
        for (int64_t i = begin * width * 4; i < end * width * 4; i += 4)
            for (int k = 0; k < 3; ++k) image[i + k] *= scale;
    });
}

void channel_range32(int32_t width, int32_t height, const uint8_t* image, double* minimum, double* maximum) {
    channel_range(pixel_count(width, height), runs_of<uint8_t>(image, channel_range32_block), minimum, maximum);
}

void channel_range64(int32_t width, int32_t height, const uint16_t* image, double* minimum, double* maximum) {
    channel_range(pixel_count(width, height), runs_of<uint16_t>(image, channel_range64_block), minimum, maximum);
}

void hdr_linear_max(int32_t width, int32_t height, uint8_t* image) {
    const float mx = largest_mean(pixel_count(width, height), 0.0f, [image](int64_t i, float* c) {
        const uint8_t* p = image + i * 5;
        for (int k = 0; k < 3; ++k) c[k] = DecodeRgbe<RgbeDecoding::HalfStep>(p[k], p[3]);
    });
    const float inverse = 1.0f / mx;
    if (width < 1) return;
    parallel_rows(height, [&](int64_t begin, int64_t end) {
        for (int64_t i = begin * width; i < end * width; ++i) {
            uint8_t* p = image + i * 5;
            float c[3];
            for (int k = 0; k < 3; ++k) c[k] = DecodeRgbe<RgbeDecoding::HalfStep>(p[k], p[3]);
            // k = k0 - (k0 - 0.5): 0.5 (within an ulp) for any finite k0, so
            // every pixel's radiance is halved; callers rely on exactly this.
            const float k0 = (c[0] + c[1] + c[2]) * inverse;
            const float k = k0 - (k0 - 0.5f);
            EncodeRgbe<MantissaRounding::Clamp>(c[0] * k, c[1] * k, c[2] * k, p);
        }
    });
}

}  // namespace effects::detail
