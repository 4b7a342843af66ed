// The one validation of a caller image: see image_check.hpp.
#include "frame/image_check.hpp"

#include <limits>

#include "effects/formats.hpp"

namespace effects::detail {

int32_t check_image_extent(const void* pixels, int32_t width, int32_t height, intptr_t stride, PixelLayout layout,
                           ImageSpan* span) {
    if (width < 0 || height < 0) return EFFECTS_ERROR_NEGATIVE_SIZE;
    if (width == 0 || height == 0) return EFFECTS_OK;
    if (!pixels) return EFFECTS_ERROR_NULL_POINTER;
    // A stride is at least one row rounded to the layout's row alignment;
    // the bytes touched end with the last pixel.
    const int64_t row = packed_row_bytes(width, layout.bytes_per_pixel, 1);
    const int64_t min_stride = packed_row_bytes(width, layout.bytes_per_pixel, layout.row_align);
    if (row < 0 || min_stride < 0) return EFFECTS_ERROR_TOO_LARGE;
    if (stride < min_stride) return EFFECTS_ERROR_BAD_STRIDE;
    if (stride > std::numeric_limits<intptr_t>::max() / 2 / height) return EFFECTS_ERROR_TOO_LARGE;
    const auto begin = reinterpret_cast<uintptr_t>(pixels);
    const uintptr_t end = begin + static_cast<uintptr_t>(stride * (height - 1) + row);
    if (end < begin) return EFFECTS_ERROR_TOO_LARGE;
    if (span) *span = {begin, end};
    return EFFECTS_OK;
}

// Words and floats are read and written as such: every row starts on a
// multiple of its channel size.
int32_t check_image_alignment(const void* pixels, intptr_t stride, PixelLayout layout) {
    if (stride % layout.channel_bytes) return EFFECTS_ERROR_BAD_STRIDE;
    if (reinterpret_cast<uintptr_t>(pixels) % static_cast<uintptr_t>(layout.channel_bytes))
        return EFFECTS_ERROR_MISALIGNED;
    return EFFECTS_OK;
}

int32_t check_image(const void* pixels, int32_t width, int32_t height, intptr_t stride, PixelLayout layout,
                    ImageSpan* span) {
    if (const int32_t rc = check_image_extent(pixels, width, height, stride, layout, span)) return rc;
    if (width == 0 || height == 0) return EFFECTS_OK;
    return check_image_alignment(pixels, stride, layout);
}

}  // namespace effects::detail
