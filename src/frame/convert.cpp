// Drivers of the conversions: the legacy count and geometry forms over
// packed buffers, and the checked form with row strides.
#include "frame/convert.hpp"

#include <cstddef>
#include <limits>

#include "effects/formats.hpp"
#include "frame/image_checks.hpp"
#include "frame/isa.hpp"
#include "frame/parallel.hpp"

namespace effects::detail {
namespace {

// Channel values per block of the count form: whole cache lines of every
// format, so no two threads write the same line.
constexpr int64_t kValueBlock = 64;

const uint8_t* at(const void* p, int64_t offset) { return static_cast<const uint8_t*>(p) + offset; }
uint8_t* at(void* p, int64_t offset) { return static_cast<uint8_t*>(p) + offset; }

void run_rows(const ConversionKernel& k, int64_t width, int64_t height, const void* src, int64_t src_stride,
              void* dst, int64_t dst_stride) {
    parallel_rows(height, [&](int64_t begin, int64_t end) {
        for (int64_t r = begin; r < end; ++r) {
            const int64_t out_row = k.flip ? height - 1 - r : r;
            k.pixels(at(src, r * src_stride), at(dst, out_row * dst_stride), width);
        }
    });
}

}  // namespace

const ConversionKernel* conversion_kernel(int32_t id) {
    if (id < EFFECTS_CONVERT_64_TO_32 || id > EFFECTS_CONVERT_RGBE_TO_128_GAMMA) return nullptr;
    const ConversionKernel* table = &EFFECTS_ACTIVE_TABLE(conversion_kernels);
    return table + id;
}

const RadianceRowKernels& radiance_row_kernels() { return EFFECTS_ACTIVE_TABLE(radiance_row_kernels); }

void convert_rows(const ConversionKernel& k, int32_t width, int32_t height, const void* src, void* dst) {
    if (width < 1 || height < 1) return;
    const int64_t src_stride = packed_row_bytes(width, k.src_bytes_per_pixel, k.src_row_align);
    run_rows(k, width, height, src, src_stride, dst, int64_t{width} * k.dst_bytes_per_pixel);
}

void convert_values(const ConversionKernel& k, int32_t count, const void* src, void* dst) {
    if (count < 1) return;
    const int64_t src_size = k.src_bytes_per_pixel / k.values_per_pixel;
    const int64_t dst_size = k.dst_bytes_per_pixel / k.values_per_pixel;
    const int64_t blocks = (int64_t{count} + kValueBlock - 1) / kValueBlock;
    parallel_rows(blocks, [&](int64_t begin, int64_t end) {
        const int64_t first = begin * kValueBlock;
        const int64_t last = end * kValueBlock < count ? end * kValueBlock : count;
        k.values(at(src, first * src_size), at(dst, first * dst_size), last - first);
    });
}

void convert_pixels(const ConversionKernel& k, int32_t count, const void* src, void* dst) {
    if (count < 1) return;
    const int64_t pixels = (int64_t{count} - 1) / 4 + 1;
    const int64_t blocks = (pixels + kValueBlock - 1) / kValueBlock;
    parallel_rows(blocks, [&](int64_t begin, int64_t end) {
        const int64_t first = begin * kValueBlock;
        const int64_t last = end * kValueBlock < pixels ? end * kValueBlock : pixels;
        k.pixels(at(src, first * k.src_bytes_per_pixel), at(dst, first * k.dst_bytes_per_pixel), last - first);
    });
}

intptr_t conversion_row_bytes(int32_t id, int32_t which, int32_t width) {
    const ConversionKernel* k = conversion_kernel(id);
    if (!k || width < 0 || (which != 0 && which != 1)) return -1;
    return which == 0 ? packed_row_bytes(width, k->src_bytes_per_pixel, k->src_row_align)
                      : packed_row_bytes(width, k->dst_bytes_per_pixel, 1);
}

int32_t convert_image(int32_t id, int32_t width, int32_t height, const void* src, intptr_t src_stride,
                      void* dst, intptr_t dst_stride) {
    const ConversionKernel* k = conversion_kernel(id);
    if (!k) return EFFECTS_ERROR_UNKNOWN;
    // Rgb8 source rows keep their padding to 4 bytes.
    const int32_t rc =
        check_image_pair(width, height,
                         {src, src_stride, k->src_bytes_per_pixel, k->src_row_align, k->src_channel_bytes},
                         {dst, dst_stride, k->dst_bytes_per_pixel, 1, k->dst_channel_bytes});
    if (rc != EFFECTS_OK || width == 0 || height == 0) return rc;
    run_rows(*k, width, height, src, src_stride, dst, dst_stride);
    return EFFECTS_OK;
}

}  // namespace effects::detail
