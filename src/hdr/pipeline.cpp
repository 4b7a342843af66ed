// The streamed merge: exposures added one at a time into the caller's
// accumulator with the row kernels of the exports, each frame only where it
// covers the result.
#include "hdr/pipeline.hpp"

#include <algorithm>
#include <cstring>

#include "frame/parallel.hpp"
#include "hdr/merge.hpp"

namespace effects::detail {

MergeSession::MergeSession(int32_t width, int32_t height, HdrWeighting weighting, HdrResponse response, float* acc,
                           std::ptrdiff_t acc_stride)
    : width_(width), height_(height), acc_(acc), acc_stride_(acc_stride),
      plane_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0.0f) {
    if (weighting == HdrWeighting::sine)
        weight_sine(weights_);
    else
        weight_triangle(255, 0, weights_);
    if (response == HdrResponse::linear)
        response_linear(response_, 256);
    else
        response_gamma(response_, 256);
    if (width_ < 1) return;
    parallel_rows(height_, [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y) std::memset(acc_row(y), 0, static_cast<std::size_t>(width_) * 12);
    });
}

void MergeSession::add(const uint8_t* bgra, std::ptrdiff_t stride, float exposure, int32_t dx, int32_t dy) {
    const int64_t x0 = std::max<int64_t>(0, dx), x1 = std::min<int64_t>(width_, int64_t{width_} + dx);
    const int64_t y0 = std::max<int64_t>(0, dy), y1 = std::min<int64_t>(height_, int64_t{height_} + dy);
    if (x1 <= x0 || y1 <= y0) return;
    CombineTable table;
    combine_table(weights_, response_, 1.0f / exposure, table);
    parallel_rows(y1 - y0, [&](int64_t r0, int64_t r1) {
        for (int64_t y = y0 + r0; y < y0 + r1; ++y)
            combine_row(bgra + (y - dy) * stride + (x0 - dx) * 4, acc_row(y) + x0 * 3,
                        plane_.data() + y * width_ + x0, x1 - x0, table);
    });
}

void MergeSession::finish() {
    if (width_ < 1) return;
    parallel_rows(height_, [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y) combine_final_row(acc_row(y), plane_.data() + y * width_, width_, 1.0f);
    });
}

}  // namespace effects::detail
