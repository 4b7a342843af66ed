// The shared validation of the checked two-image entry points.
#include "frame/image_checks.hpp"

#include <limits>

#include "effects/effects.h"
#include "effects/formats.hpp"

namespace effects::detail {

int32_t check_image_pair(int32_t width, int32_t height, const ImageSide& src, const ImageSide& dst) {
    if (width < 0 || height < 0) return EFFECTS_ERROR_NEGATIVE_SIZE;
    if (width == 0 || height == 0) return EFFECTS_OK;
    if (!src.data || !dst.data) return EFFECTS_ERROR_NULL_POINTER;
    // A stride is at least one row of its format with the row's padding; the
    // bytes touched end with the last pixel.
    const int64_t src_row = packed_row_bytes(width, src.bytes_per_pixel, 1);
    const int64_t dst_row = packed_row_bytes(width, dst.bytes_per_pixel, 1);
    const int64_t src_min_stride = packed_row_bytes(width, src.bytes_per_pixel, src.row_align);
    const int64_t dst_min_stride = packed_row_bytes(width, dst.bytes_per_pixel, dst.row_align);
    if (src_row < 0 || dst_row < 0 || src_min_stride < 0 || dst_min_stride < 0) return EFFECTS_ERROR_TOO_LARGE;
    if (src.stride < src_min_stride || dst.stride < dst_min_stride) return EFFECTS_ERROR_BAD_STRIDE;
    const int64_t limit = std::numeric_limits<intptr_t>::max() / 2;
    if (src.stride > limit / height || dst.stride > limit / height) return EFFECTS_ERROR_TOO_LARGE;
    // The extents touched: from the first byte to the end of the last row.
    const auto s0 = reinterpret_cast<uintptr_t>(src.data), d0 = reinterpret_cast<uintptr_t>(dst.data);
    const uintptr_t s1 = s0 + static_cast<uintptr_t>(src.stride * (height - 1) + src_row);
    const uintptr_t d1 = d0 + static_cast<uintptr_t>(dst.stride * (height - 1) + dst_row);
    if (s1 < s0 || d1 < d0) return EFFECTS_ERROR_TOO_LARGE;
    if (s0 < d1 && d0 < s1) return EFFECTS_ERROR_OVERLAP;
    // Words and floats are read and written as such: every row starts on a
    // multiple of its channel size.
    if (src.stride % src.channel_bytes || dst.stride % dst.channel_bytes) return EFFECTS_ERROR_BAD_STRIDE;
    if (s0 % static_cast<uintptr_t>(src.channel_bytes) || d0 % static_cast<uintptr_t>(dst.channel_bytes))
        return EFFECTS_ERROR_MISALIGNED;
    return EFFECTS_OK;
}

}  // namespace effects::detail
