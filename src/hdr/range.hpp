// HDR range analysis: display normalisation of a radiance image, scaling to
// the brightest pixel mean, the channel range of 8- and 15-bit images, and
// the halving of an RGBEA image; the preview members are in preview.hpp.
#pragma once

#include <cstdint>

namespace effects::detail {

// Three floats per pixel: each channel divided by the image's largest value
// in two steps (by its own channel maximum, then by that maximum over the
// overall one).
void hdr_for_display(int32_t width, int32_t height, float* image);

// RgbaFloat: colour floats scaled by 1 / (largest pixel mean).
void scale_to_brightest_mean(int32_t width, int32_t height, float* image);

// Smallest and largest colour value of Bgra8 (unsigned bytes) or Rgba16
// (signed words) pixels, as raw values.
void channel_range32(int32_t width, int32_t height, const uint8_t* image, double* minimum, double* maximum);
void channel_range64(int32_t width, int32_t height, const uint16_t* image, double* minimum, double* maximum);

// Rgbea in place: every pixel's radiance multiplied by k = k0 - (k0 - 0.5),
// k0 = pixel sum / largest pixel mean, i.e. halved.
void hdr_linear_max(int32_t width, int32_t height, uint8_t* image);

}  // namespace effects::detail
