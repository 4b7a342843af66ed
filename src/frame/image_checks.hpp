// Validation of the images handed to a checked entry point (Effects...):
// sizes, pointers, strides, overflow, overlap and alignment, checked once at
// the edge so that kernels never re-check. One rule for a single image (the
// HDR pipeline's frames and radiance) and for a source and destination pair
// (the conversions, the tone-mapping bridge).
#pragma once

#include <cstdint>

namespace effects::detail {

// One image of a call: its pixels, row stride in bytes and layout.
struct ImageSide {
    const void* data;
    intptr_t stride;
    int bytes_per_pixel;
    int row_align;      // the stride is at least one row padded to this
    int channel_bytes;  // rows and pixels start on multiples of this
};

// EFFECTS_OK (also for an empty image, which the caller then leaves alone)
// or the first EFFECTS_ERROR_... code that applies, in the order: negative
// size, null pointer, stride shorter than a row, size past half the address
// space, (for a pair) overlap, stride not a multiple of the channel size,
// misaligned pointer.
int32_t check_image(int32_t width, int32_t height, const ImageSide& image);
int32_t check_image_pair(int32_t width, int32_t height, const ImageSide& src, const ImageSide& dst);

}  // namespace effects::detail
