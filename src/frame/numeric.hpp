// The library's one place for roundings: the float-to-integer clamps, the
// frexp/ldexp helpers of the RGBE codec and the coordinate mirror of the
// neighbourhood filters. Vector bodies and scalar tails both use these.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

#include "frame/isa.hpp"

namespace effects::detail {
inline namespace EFFECTS_ISA_NAMESPACE {

// Float to 8 bits: 255 above 254.5, 0 below 0.5, otherwise truncation. The
// cut-offs look like rounding but the middle truncates (254.7 -> 255,
// 254.4 -> 254, 0.7 -> 0); stored images depend on that mixture. A NaN fails
// both tests and falls to the truncation, whose x86 result (the integer
// indefinite 0x80000000) has a low byte of 0; the select below gives that 0
// without converting a NaN.
inline uint8_t ClampToByte(float f) {
    float g = f > 254.5f ? 255.0f : f;
    g = g < 0.5f ? 0.0f : g;
    g = g == g ? g : 0.0f;
    return static_cast<uint8_t>(static_cast<int32_t>(g));
}

// ClampToByte for an argument known to be a non-negative number (no NaN):
// the low cut-off and the NaN select fall away, which matters in the
// decoders, whose values are never negative.
inline uint8_t ClampNonNegativeToByte(float f) {
    const float g = f > 254.5f ? 255.0f : f;
    return static_cast<uint8_t>(static_cast<int32_t>(g));
}

// Float to 15 bits, the same rule with 32766.5 and 32767.
inline uint16_t ClampTo15(float f) {
    float g = f > 32766.5f ? 32767.0f : f;
    g = g < 0.5f ? 0.0f : g;
    g = g == g ? g : 0.0f;
    return static_cast<uint16_t>(static_cast<int32_t>(g));
}

// Truncation of a float that is known to lie in the range of int32 (or NaN,
// which gives the x86 integer indefinite) without undefined behaviour.
inline int32_t TruncateToInt(float f) {
    const bool in_range = f >= -2147483648.0f && f < 2147483648.0f;
    const int32_t t = static_cast<int32_t>(in_range ? f : 0.0f);
    return in_range ? t : INT32_MIN;
}

// frexp of a float widened to double: mantissa in [0.5, 1), power-of-two
// exponent. Infinities and NaN give exponent 0, as the C library does.
inline double FloatFrexp(float x, int* exponent) {
    *exponent = 0;
    return std::frexp(static_cast<double>(x), exponent);
}

// x * 2^exponent with x widened to double.
inline double FloatLdexp(float x, int exponent) { return std::ldexp(static_cast<double>(x), exponent); }

// Mirror of a neighbourhood offset at the far edge: with extent n, position i
// and offset k, an offset beyond the last index folds back to n - 1 - k.
inline int32_t MirrorCoordinate(int32_t n, int32_t i, int32_t k) { return k > n - 1 - i ? n - 1 - k : i; }

inline uint32_t FloatBits(float f) {
    uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

inline float BitsToFloat(uint32_t u) {
    float f;
    std::memcpy(&f, &u, sizeof f);
    return f;
}

}  // namespace EFFECTS_ISA_NAMESPACE
}  // namespace effects::detail
