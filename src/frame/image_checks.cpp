// The shared validation of the images of the checked entry points.
#include "frame/image_checks.hpp"

#include <limits>

#include "effects/effects.h"
#include "effects/formats.hpp"

namespace effects::detail {
namespace {

// The bytes an image spans, from its first byte to the end of the last
// pixel of its last row.
struct Span {
    uintptr_t begin, end;
};

// Everything up to the size, for a non-empty image.
int32_t check_extent(int32_t width, int32_t height, const ImageSide& image, Span& span) {
    if (!image.data) return EFFECTS_ERROR_NULL_POINTER;
    // A stride is at least one row of its format with the row's padding; the
    // bytes touched end with the last pixel.
    const int64_t row = packed_row_bytes(width, image.bytes_per_pixel, 1);
    const int64_t min_stride = packed_row_bytes(width, image.bytes_per_pixel, image.row_align);
    if (row < 0 || min_stride < 0) return EFFECTS_ERROR_TOO_LARGE;
    if (image.stride < min_stride) return EFFECTS_ERROR_BAD_STRIDE;
    if (image.stride > std::numeric_limits<intptr_t>::max() / 2 / height) return EFFECTS_ERROR_TOO_LARGE;
    span.begin = reinterpret_cast<uintptr_t>(image.data);
    span.end = span.begin + static_cast<uintptr_t>(image.stride * (height - 1) + row);
    if (span.end < span.begin) return EFFECTS_ERROR_TOO_LARGE;
    return EFFECTS_OK;
}

// Words and floats are read and written as such: every row starts on a
// multiple of its channel size.
int32_t check_alignment(const ImageSide& image) {
    if (image.stride % image.channel_bytes) return EFFECTS_ERROR_BAD_STRIDE;
    if (reinterpret_cast<uintptr_t>(image.data) % static_cast<uintptr_t>(image.channel_bytes))
        return EFFECTS_ERROR_MISALIGNED;
    return EFFECTS_OK;
}

}  // namespace

int32_t check_image(int32_t width, int32_t height, const ImageSide& image) {
    if (width < 0 || height < 0) return EFFECTS_ERROR_NEGATIVE_SIZE;
    if (width == 0 || height == 0) return EFFECTS_OK;
    Span span{};
    if (const int32_t rc = check_extent(width, height, image, span)) return rc;
    return check_alignment(image);
}

int32_t check_image_pair(int32_t width, int32_t height, const ImageSide& src, const ImageSide& dst) {
    if (width < 0 || height < 0) return EFFECTS_ERROR_NEGATIVE_SIZE;
    if (width == 0 || height == 0) return EFFECTS_OK;
    Span s{}, d{};
    if (const int32_t rc = check_extent(width, height, src, s)) return rc;
    if (const int32_t rc = check_extent(width, height, dst, d)) return rc;
    if (s.begin < d.end && d.begin < s.end) return EFFECTS_ERROR_OVERLAP;
    if (const int32_t rc = check_alignment(src)) return rc;
    return check_alignment(dst);
}

}  // namespace effects::detail
