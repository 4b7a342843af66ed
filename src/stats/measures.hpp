// The checked measures behind the C++ statistics: luminance and channel
// histograms of an image of any format, the HDR range report and the
// clipped-pixel counts of a bracket frame. Each validates its image once
// and returns EFFECTS_OK (or a count) or a negative EFFECTS_ERROR_... code.
#pragma once

#include <cstdint>

#include "effects/effects.h"

namespace effects::detail {

// An image as the Effects... entry points receive it.
struct ImageArg {
    int32_t format;  // EffectsPixelFormat
    int32_t width, height;
    const uint8_t* pixels;
    intptr_t stride;  // bytes from one row to the next
};

// bins[256]: pixels per luminance bin. EFFECTS_OK or an error.
int32_t luminance_histogram(const ImageArg& image, uint64_t* bins);
// bins[4 * 256]: R, G, B, A; returns the channels counted (3 or 4; the A
// histogram stays 0 for formats without alpha) or an error.
int32_t channel_histograms(const ImageArg& image, uint64_t* bins);
int32_t hdr_range(const ImageArg& image, double low_percentile, EffectsRangeReport* report);
int32_t clipping(const ImageArg& image, EffectsClippedPixels* clipped);

}  // namespace effects::detail
