// Validation of one caller image at the checked entry points: pointer, size,
// stride and channel alignment, reported as an EFFECTS_ERROR_... code. The
// conversions and the HDR pipeline check their images with this one rule.
#pragma once

#include <cstdint>

#include "effects/effects.h"

namespace effects::detail {

// The shape of an image's pixels: bytes per pixel, the rounding of a row's
// minimum stride (4 for the padded Rgb8 rows, else 1), and the size of one
// channel value, which every row start and the pointer must be a multiple of.
struct PixelLayout {
    int bytes_per_pixel;
    int row_align = 1;
    int channel_bytes = 1;
};

// The bytes an image's pixels span, from its first byte to the end of the
// last pixel of its last row.
struct ImageSpan {
    uintptr_t begin = 0, end = 0;
};

// EFFECTS_OK for an empty image (width or height 0, pointer unused) or a
// valid one; otherwise the first fault found in the order: negative size,
// null pointer, stride shorter than a row, size past half the address space,
// stride not a multiple of the channel size, misaligned pointer. `span`
// (optional) receives the bytes a valid non-empty image spans.
int32_t check_image(const void* pixels, int32_t width, int32_t height, intptr_t stride, PixelLayout layout,
                    ImageSpan* span = nullptr);

// The two halves of check_image, for callers that test something between
// them (the conversions report an overlap of their two images before the
// alignment of either): everything up to the size, then the alignment.
int32_t check_image_extent(const void* pixels, int32_t width, int32_t height, intptr_t stride, PixelLayout layout,
                           ImageSpan* span);
int32_t check_image_alignment(const void* pixels, intptr_t stride, PixelLayout layout);

}  // namespace effects::detail
