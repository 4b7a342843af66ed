// The per-pixel bin numbers of the histogram members, a run of pixels at a
// time into a small array; the counting (bin_counts.hpp) then reads that
// array. The bin loops are compiled once per instruction set
// (bin_kernels_<isa>.cpp) and every build gives the same bins.
#pragma once

#include <cstdint>

#include "frame/isa.hpp"

namespace effects::detail {

// Longest run a kernel is handed; the bin arrays are this long.
inline constexpr int kBinRun = 512;

// The 15-bit channel member's values run -256..255 (a signed word / 128);
// its bin is value + kWordBinOffset.
inline constexpr int kWordBinOffset = 256;

struct BinKernels {
    // Luminance bins of n pixels of Bgra8, Rgba16 (scaled by 1/128) and
    // Rgbea (half-step decoded, times 255, red and blue weights swapped).
    void (*luma32)(const uint8_t* pixels, int n, uint8_t* bins);
    void (*luma64)(const uint8_t* pixels, int n, uint8_t* bins);
    void (*luma_rgbea)(const uint8_t* pixels, int n, uint8_t* bins);
    // Byte k (0..3) of each 4-byte pixel.
    void (*byte_of32)(const uint8_t* pixels, int n, int k, uint8_t* bins);
    // The signed word at `pixels` of each 8-byte pixel, / 128, + offset.
    void (*word_of64)(const uint8_t* pixels, int n, uint16_t* bins);
    // Mantissa byte k (0..2) of each Rgbea pixel decoded, times 255.
    void (*channel_rgbea)(const uint8_t* pixels, int n, int k, uint8_t* bins);
};

const BinKernels* bin_kernels_baseline();
const BinKernels* bin_kernels_avx2();
const BinKernels* bin_kernels_avx512();

// The kernels of the instruction set that runs now (active_kernel_isa).
const BinKernels& bin_kernels();

}  // namespace effects::detail
