// Inversion on the 24-bit rows of the bitmap exchange.
#include "adjust/invert.hpp"

#include "frame/parallel.hpp"

namespace effects::detail {

void invert_rgb24_rows(const Rgb24Rows& rows, int32_t channel) {
    InvertMask m;
    if (!invert_mask(channel, m)) return;
    parallel_rows(rows.height, [&](int64_t begin, int64_t end) {
        for (int64_t y = begin; y < end; ++y) invert_row<Rgb8Layout>(rows.bits + y * rows.stride, rows.width, m);
    });
}

}  // namespace effects::detail
