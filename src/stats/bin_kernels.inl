// Bin loops of the histogram members, compiled once per instruction set
// (bin_kernels_<isa>.cpp includes this file with its compiler flags and names
// its table with EFFECTS_BIN_TABLE). Each is a plain loop over whole pixel
// words, which the compiler turns into vector code; no FMA is ever enabled,
// so every build gives the bins of the scalar formula.
#include <algorithm>
#include <cstring>

#include "frame/byte_shuffle.hpp"
#include "frame/numeric.hpp"
#include "stats/bin_kernels.hpp"
#include "stats/luminance.hpp"

#ifndef EFFECTS_BIN_TABLE
#error "include from a bin_kernels_<isa>.cpp that defines EFFECTS_BIN_TABLE"
#endif

namespace effects::detail {
namespace {

template <class T>
inline T load(const uint8_t* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// Bytes are read as whole pixel words and split by shifts: the vector units
// do that in fewer steps than gathering single bytes. The luminance of bytes
// is never negative nor NaN, so the plain high cut-off is the whole clamp.
void luma32(const uint8_t* __restrict p, int n, uint8_t* __restrict bins) {
    for (int j = 0; j < n; ++j) {
        const uint32_t w = load<uint32_t>(p + 4 * j);
        const auto byte = [w](int k) { return static_cast<float>(static_cast<int32_t>((w >> (8 * k)) & 0xFFu)); };
        bins[j] = ClampNonNegativeToByte(luminance<LumaWeights::Standard>(byte(0), byte(1), byte(2)));
    }
}

void luma64(const uint8_t* __restrict p, int n, uint8_t* __restrict bins) {
    for (int j = 0; j < n; ++j) {
        const uint64_t w = load<uint64_t>(p + 8 * j);
        const auto word = [w](int k) { return static_cast<float>(static_cast<int16_t>(w >> (16 * k))); };
        bins[j] = ClampToByte(luminance<LumaWeights::Standard>(word(0), word(1), word(2)) * 0.0078125f);
    }
}

// Five-byte pixels do not vectorise as they lie: the run is first unpacked
// into RGBE words (the byte shuffles of the frame), whose bins then are.
void luma_rgbea(const uint8_t* __restrict p, int n, uint8_t* __restrict bins) {
    alignas(64) uint32_t words[kBinRun];
    alignas(64) uint8_t alpha[kBinRun];
    unpack_five_byte_pixels(p, words, alpha, n);
    constexpr auto half = RgbeDecoding::HalfStep;
    for (int j = 0; j < n; ++j) {
        const uint32_t w = words[j], e = w >> 24;
        bins[j] = ClampToByte(luminance<LumaWeights::RedBlueSwapped>(DecodeRgbe<half>(w & 0xFFu, e),
                                                                      DecodeRgbe<half>((w >> 8) & 0xFFu, e),
                                                                      DecodeRgbe<half>((w >> 16) & 0xFFu, e)) *
                              255.0f);
    }
}

// Whole pixel words again, so that no read passes the last pixel's end.
void byte_of32(const uint8_t* __restrict p, int n, int k, uint8_t* __restrict bins) {
    for (int j = 0; j < n; ++j) bins[j] = static_cast<uint8_t>(load<uint32_t>(p + 4 * j) >> (8 * k));
}

void word_of64(const uint8_t* __restrict p, int n, uint16_t* __restrict bins) {
    for (int j = 0; j < n; ++j)
        bins[j] = static_cast<uint16_t>(load<int16_t>(p + 8 * j) / 128 + kWordBinOffset);
}

void channel_rgbea(const uint8_t* __restrict p, int n, int k, uint8_t* __restrict bins) {
    alignas(64) uint32_t words[kBinRun];
    alignas(64) uint8_t alpha[kBinRun];
    unpack_five_byte_pixels(p, words, alpha, n);
    for (int j = 0; j < n; ++j) {
        const uint32_t w = words[j];
        bins[j] = ClampToByte(DecodeRgbe<RgbeDecoding::HalfStep>((w >> (8 * k)) & 0xFFu, w >> 24) * 255.0f);
    }
}

}  // namespace

const BinKernels* EFFECTS_BIN_TABLE() {
    static constexpr BinKernels k{luma32, luma64, luma_rgbea, byte_of32, word_of64, channel_rgbea};
    return &k;
}

}  // namespace effects::detail
