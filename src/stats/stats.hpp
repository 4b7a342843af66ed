// Histograms and exposure statistics of the legacy members: how each layout
// is read (bytes, signed 15-bit words, half-step decoded RGBEA), the
// luminance weights, and the core functions behind the Histogram...,
// DynamicRange..., DetermineTemperature32 and over/under-exposure exports.
#pragma once

#include <cstdint>
#include <cstring>

#include "stats/luminance.hpp"

namespace effects::detail {

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
