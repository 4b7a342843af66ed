// The shared-exponent codec used by every RGBE and RGBEA member, the
// Radiance files and the HDR work: one encoder (with the clamped or the
// truncating mantissa) and the two decoders (with and without the half step).
#pragma once

#include <cstdint>

#include "frame/numeric.hpp"

#include "frame/isa.hpp"

namespace effects::detail {
inline namespace EFFECTS_ISA_NAMESPACE {

enum class MantissaRounding {
    Clamp,     // ClampToByte of each product: every parallel encoder
    Truncate,  // plain truncation: the serial 8-bit encoder, whose inputs stay below 256
};

// 2^(exponent - 136) as a float for an exponent byte 0..255; exact, since
// every such power (down to 2^-136) is a float: from E = 10 up a normal
// float built from its exponent field, below a subnormal formed as
// 2^(E - 72) * 2^-64 (both factors and the product exact). Both are
// computed and one picked by a bit mask, so loops over it vectorise even
// without variable vector shifts.
inline float RgbeFactor(uint32_t e) {
    const uint32_t normal = (e - 9u) << 23;
    const uint32_t subnormal = FloatBits(BitsToFloat(((e + 55u) & 0xFFu) << 23) * 0x1p-64f);
    const uint32_t use_normal = 0u - static_cast<uint32_t>(e >= 10u);
    return BitsToFloat((normal & use_normal) | (subnormal & ~use_normal));
}

// Encodes channels c0, c1, c2 (in the order the source holds them; the
// order decides which channel wins the largest-value test, NaNs included)
// into one word: mantissas in bytes 0..2, exponent in byte 3, 0 for a black
// pixel (largest channel below 1e-32).
//
// With f, e = frexp(m) the scale f / m * 256 is exactly the float 2^(8 - e),
// built here from m's exponent field; an infinite or NaN m has e = 0 and a
// NaN scale, which sends every mantissa to 0. Written without branches so
// that loops over it vectorise; EncodeRgbeReference below is the same rule
// spelt with frexp, and the two are checked against each other.
// What the encoder may assume of its channels: any float (NaN, infinities
// and negatives included), or values known to lie in [0, 1] as the 8-bit
// sources give them, for which the infinity test and the NaN and low
// selects of the clamp fall away without changing a byte.
enum class RgbeInput { AnyFloat, UnitRange };

template <MantissaRounding R, RgbeInput In = RgbeInput::AnyFloat>
inline uint32_t EncodeRgbeWord(float c0, float c1, float c2) {
    constexpr bool any = In == RgbeInput::AnyFloat;
    float m = c1 > c0 ? c1 : c0;
    m = c2 > m ? c2 : m;
    const uint32_t field = (FloatBits(m) >> 23) & 0xFFu;
    const bool special = any && field == 0xFFu;
    const float s = special ? BitsToFloat(0x7FC00000u) : BitsToFloat((261u - field) << 23);
    const int32_t e = special ? 0 : static_cast<int32_t>(field) - 126;
    uint32_t b0, b1, b2, be;
    if constexpr (R == MantissaRounding::Clamp) {
        if constexpr (any) {
            b0 = ClampToByte(c0 * s);
            b1 = ClampToByte(c1 * s);
            b2 = ClampToByte(c2 * s);
        } else {
            b0 = ClampNonNegativeToByte(c0 * s);
            b1 = ClampNonNegativeToByte(c1 * s);
            b2 = ClampNonNegativeToByte(c2 * s);
        }
        // ClampToByte of the float e + 128 (22..256): the integer capped at 255.
        be = static_cast<uint32_t>(e + 128 > 255 ? 255 : e + 128);
    } else if constexpr (any) {
        b0 = static_cast<uint8_t>(TruncateToInt(c0 * s));
        b1 = static_cast<uint8_t>(TruncateToInt(c1 * s));
        b2 = static_cast<uint8_t>(TruncateToInt(c2 * s));
        be = static_cast<uint8_t>(e + 128);
    } else {
        // Products of unit-range channels stay in [0, 256).
        b0 = static_cast<uint32_t>(static_cast<int32_t>(c0 * s));
        b1 = static_cast<uint32_t>(static_cast<int32_t>(c1 * s));
        b2 = static_cast<uint32_t>(static_cast<int32_t>(c2 * s));
        be = static_cast<uint32_t>(e + 128);
    }
    const uint32_t word = b0 | b1 << 8 | b2 << 16 | be << 24;
    return m < 1e-32f ? 0u : word;
}

// The same into out[0..3]; returns false for a black pixel.
template <MantissaRounding R>
inline bool EncodeRgbe(float c0, float c1, float c2, uint8_t* out) {
    const uint32_t w = EncodeRgbeWord<R>(c0, c1, c2);
    out[0] = static_cast<uint8_t>(w);
    out[1] = static_cast<uint8_t>(w >> 8);
    out[2] = static_cast<uint8_t>(w >> 16);
    out[3] = static_cast<uint8_t>(w >> 24);
    return w != 0;
}

// The same encoder written with frexp exactly as the rule reads; kept as
// the reference that the exponent-field path above is checked against.
template <MantissaRounding R>
inline bool EncodeRgbeReference(float c0, float c1, float c2, uint8_t* out) {
    float m = c0;
    if (c1 > m) m = c1;
    if (c2 > m) m = c2;
    if (m < 1e-32f) {
        out[0] = out[1] = out[2] = out[3] = 0;
        return false;
    }
    int e = 0;
    const double f = FloatFrexp(m, &e);
    const float s = static_cast<float>(f / static_cast<double>(m) * 256.0);
    if constexpr (R == MantissaRounding::Clamp) {
        out[0] = ClampToByte(c0 * s);
        out[1] = ClampToByte(c1 * s);
        out[2] = ClampToByte(c2 * s);
        out[3] = ClampToByte(static_cast<float>(e + 128));
    } else {
        out[0] = static_cast<uint8_t>(TruncateToInt(c0 * s));
        out[1] = static_cast<uint8_t>(TruncateToInt(c1 * s));
        out[2] = static_cast<uint8_t>(TruncateToInt(c2 * s));
        out[3] = static_cast<uint8_t>(e + 128);
    }
    return true;
}

enum class RgbeDecoding {
    HalfStep,  // (m + 0.5) * 2^(E-136), exponent 0 is black
    Plain,     // m * 2^(E-136), no test for exponent 0
};

// Decodes one mantissa byte with exponent byte e. Both variants are exact in
// single precision, so the float product equals the double ldexp rounded.
template <RgbeDecoding D>
inline float DecodeRgbe(uint32_t mantissa, uint32_t e) {
    if constexpr (D == RgbeDecoding::HalfStep) {
        // Exponent 0 is black: the bits are masked rather than branched on,
        // so that the loop vectorises.
        const float v = (static_cast<float>(static_cast<int32_t>(mantissa)) + 0.5f) * RgbeFactor(e);
        return BitsToFloat(FloatBits(v) & (0u - static_cast<uint32_t>(e != 0)));
    } else {
        return static_cast<float>(static_cast<int32_t>(mantissa)) * RgbeFactor(e);
    }
}

}  // namespace EFFECTS_ISA_NAMESPACE
}  // namespace effects::detail
