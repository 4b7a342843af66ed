// Pixel-format conversions: one row kernel per conversion, run over rows
// (geometry form) or over a flat run of channel values (count form).
#pragma once

#include <cstdint>

#include "effects/effects.h"

namespace effects::detail {

struct ConversionKernel {
    int src_bytes_per_pixel, dst_bytes_per_pixel;
    int src_channel_bytes, dst_channel_bytes;  // alignment the rows need
    int src_row_align;          // 4 for the padded Rgb8 rows, else 1
    bool flip;                  // source row r goes to destination row height - 1 - r
    int values_per_pixel;       // > 0: a count-form member mapping each value alone
    void (*pixels)(const void* src, void* dst, int64_t n);  // n pixels of one row
    void (*values)(const void* src, void* dst, int64_t n);  // n channel values, or null
};

// The kernel of a conversion id for the active instruction set, or nullptr
// for an id that is none.
const ConversionKernel* conversion_kernel(int32_t id);

// Tables of kernels indexed by conversion id, one per instruction set they
// were built for (the AVX ones only on x86-64 ELF hosts).
const ConversionKernel* conversion_kernels_baseline();
const ConversionKernel* conversion_kernels_avx2();
const ConversionKernel* conversion_kernels_avx512();

// Row kernels of the Radiance files, outside the table of conversions:
// each maps n pixels of one packed row.
struct RadianceRowKernels {
    void (*bgra8_to_rgbf)(const void* src, void* dst, int64_t n);   // bytes / 255, reversed
    void (*rgba16_to_rgbf)(const void* src, void* dst, int64_t n);  // words / 32767, reversed
    void (*rgbaf_to_rgbf)(const void* src, void* dst, int64_t n);   // floats, reversed, alpha dropped
    void (*rgbea_to_rgbe)(const void* src, void* dst, int64_t n);   // bytes 2, 1, 0, 3
    void (*rgbf_to_rgbe)(const void* src, void* dst, int64_t n);    // RGBE encoding, clamped mantissas
    void (*rgbe_to_rgbf)(const void* src, void* dst, int64_t n);    // half-step decoding, order kept
};
// The Radiance kernels for the active instruction set, and their tables.
const RadianceRowKernels& radiance_row_kernels();
const RadianceRowKernels* radiance_row_kernels_baseline();
const RadianceRowKernels* radiance_row_kernels_avx2();
const RadianceRowKernels* radiance_row_kernels_avx512();

// Geometry form over packed rows (the legacy exports).
void convert_rows(const ConversionKernel& k, int32_t width, int32_t height, const void* src, void* dst);
// Count form: `count` channel values mapped one by one, split among threads.
void convert_values(const ConversionKernel& k, int32_t count, const void* src, void* dst);
// Count form of the per-pixel members: ((count - 1) / 4) + 1 pixels.
void convert_pixels(const ConversionKernel& k, int32_t count, const void* src, void* dst);

// Checked conversion with strides; returns EFFECTS_OK or an error code.
int32_t convert_image(int32_t id, int32_t width, int32_t height, const void* src, intptr_t src_stride,
                      void* dst, intptr_t dst_stride);
intptr_t conversion_row_bytes(int32_t id, int32_t which, int32_t width);

}  // namespace effects::detail
