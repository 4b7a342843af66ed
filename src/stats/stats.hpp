// Histograms and exposure statistics of the legacy members: how each layout
// is read (bytes, signed 15-bit words, half-step decoded RGBEA), the
// luminance weights, and the core functions behind the Histogram...,
// DynamicRange..., DetermineTemperature32 and over/under-exposure exports.
#pragma once

#include <cstdint>
#include <cstring>

#include "frame/rgbe.hpp"

namespace effects::detail {
// The readers and the luminance are instantiated by kernels built for other
// instruction sets too (range_kernels_<isa>.cpp): each build gets its own.
inline namespace EFFECTS_ISA_NAMESPACE {

// ---- how the members read a pixel ------------------------------------------

// Bgra8: the bytes as they are.
struct BgraBytes {
    static constexpr int kBytes = 4;
    static float channel(const uint8_t* p, int k) { return static_cast<float>(p[k]); }
};
// Rgba16: each word read as a signed 16-bit value (words above 32767 count
// as negative, as everywhere in the 15-bit format).
struct BgraWords {
    static constexpr int kBytes = 8;
    static int32_t word(const uint8_t* p, int k) {
        int16_t w;
        std::memcpy(&w, p + 2 * k, sizeof w);
        return w;
    }
    static float channel(const uint8_t* p, int k) { return static_cast<float>(word(p, k)); }
};
// Rgbea: the half-step decoding of mantissa byte k with the exponent byte 3.
struct RgbeaHalfStep {
    static constexpr int kBytes = 5;
    static float channel(const uint8_t* p, int k) { return DecodeRgbe<RgbeDecoding::HalfStep>(p[k], p[3]); }
};

// ---- luminance --------------------------------------------------------------

inline constexpr float kLumaBlue = 0.0721f;
inline constexpr float kLumaGreen = 0.7154f;
inline constexpr float kLumaRed = 0.2125f;

// Which weight the first channel (blue in the library's order) gets. The
// RGBEA histograms give byte 0 the red weight and byte 2 the blue one; the
// host's displays were tuned on that and keep depending on it.
enum class LumaWeights { Standard, RedBlueSwapped };

// Luminance of channels c0, c1, c2 held in B, G, R order, summed in the one
// order every member uses: channel 0, channel 2, then channel 1.
template <LumaWeights W>
inline float luminance(float c0, float c1, float c2) {
    constexpr float w0 = W == LumaWeights::Standard ? kLumaBlue : kLumaRed;
    constexpr float w2 = W == LumaWeights::Standard ? kLumaRed : kLumaBlue;
    return c0 * w0 + c2 * w2 + c1 * kLumaGreen;
}

}  // namespace EFFECTS_ISA_NAMESPACE

// Pixels walked by a count-form member: ((count - 1) / 4) + 1, none for a
// count below 1.
inline int64_t pixels_of_count(int32_t count) { return count < 1 ? 0 : (int64_t{count} - 1) / 4 + 1; }
inline int64_t pixels_of_size(int32_t width, int32_t height) {
    return width < 1 || height < 1 ? 0 : int64_t{width} * height;
}

// The figures of the Fast members, written through the caller's pointers.
struct Figures {
    double* minimum;
    double* maximum;
    double* minimum_non_zero;  // not reset: starts from the caller's value
    double* sum;
};

// Adds 1.0f to `bin` n times, giving the float that n single additions give
// (exact integers up to 2^24, then whatever the rounding makes of them).
void add_ones(float& bin, uint64_t n);

// ---- histograms (histogram.cpp) -------------------------------------------
// `figures` is null for the Lean members. Channel offsets and numbers are
// those of the exports.

void histogram_luma32(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures);
void histogram_luma64(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures);
void histogram_luma_rgbea(int64_t pixels, const uint8_t* image, float* histogram);
void histogram_channel32(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures,
                         int32_t offset);
void histogram_channel64(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures,
                         int32_t offset);
void histogram_channel_rgbea(int64_t pixels, const uint8_t* image, float* histogram, const Figures* figures,
                             int32_t channel);

// ---- exposure statistics (exposure.cpp) ------------------------------------

// min, max and sum of the luminance; `second_minimum` (128 only) follows
// the minimum: it takes the old minimum whenever a smaller value arrives.
void dynamic_range32(int64_t pixels, const uint8_t* image, double* minimum, double* maximum, double* sum);
void dynamic_range64(int64_t pixels, const uint8_t* image, double* minimum, double* maximum, double* sum);
void dynamic_range128(int64_t pixels, const float* image, double* minimum, double* maximum, double* second_minimum,
                      double* sum);
void determine_temperature32(int64_t pixels, const uint8_t* image, uint16_t* blue, uint16_t* green, uint16_t* red);
void over_under_exposed32(int32_t width, int32_t height, uint8_t* image);

}  // namespace effects::detail
