// How the statistics members read a pixel (bytes, signed 15-bit words,
// half-step decoded RGBEA) and the luminance they all take of it. The bin
// kernels are compiled once per instruction set, so these inline helpers live
// in that build's own namespace, like the frame's roundings.
#pragma once

#include <cstdint>
#include <cstring>

#include "frame/rgbe.hpp"

namespace effects::detail {
inline namespace EFFECTS_ISA_NAMESPACE {

// ---- how the members read a pixel ------------------------------------------

// Bgra8: the bytes as they are.
struct BgraBytes {
    static constexpr int kBytes = 4;
    static float channel(const uint8_t* p, int k) { return static_cast<float>(p[k]); }
};
// Rgba16: each word read as a signed 16-bit value (words above 32767 count
// as negative, as everywhere in the 15-bit format).
struct BgraWords {
    static constexpr int kBytes = 8;
    static int32_t word(const uint8_t* p, int k) {
        int16_t w;
        std::memcpy(&w, p + 2 * k, sizeof w);
        return w;
    }
    static float channel(const uint8_t* p, int k) { return static_cast<float>(word(p, k)); }
};
// Rgbea: the half-step decoding of mantissa byte k with the exponent byte 3.
struct RgbeaHalfStep {
    static constexpr int kBytes = 5;
    static float channel(const uint8_t* p, int k) { return DecodeRgbe<RgbeDecoding::HalfStep>(p[k], p[3]); }
};

// ---- luminance --------------------------------------------------------------

inline constexpr float kLumaBlue = 0.0721f;
inline constexpr float kLumaGreen = 0.7154f;
inline constexpr float kLumaRed = 0.2125f;

// Which weight the first channel (blue in the library's order) gets. The
// RGBEA histograms give byte 0 the red weight and byte 2 the blue one; the
// host's displays were tuned on that and keep depending on it.
enum class LumaWeights { Standard, RedBlueSwapped };

// Luminance of channels c0, c1, c2 held in B, G, R order, summed in the one
// order every member uses: channel 0, channel 2, then channel 1.
template <LumaWeights W>
inline float luminance(float c0, float c1, float c2) {
    constexpr float w0 = W == LumaWeights::Standard ? kLumaBlue : kLumaRed;
    constexpr float w2 = W == LumaWeights::Standard ? kLumaRed : kLumaBlue;
    return c0 * w0 + c2 * w2 + c1 * kLumaGreen;
}

}  // namespace EFFECTS_ISA_NAMESPACE
}  // namespace effects::detail
