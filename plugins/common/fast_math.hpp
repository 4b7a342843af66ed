// Logarithm and power of two in straight-line float code (no calls, no
// branches), so that the compiler can run a row of them in vector
// registers. Both are accurate to a few units in the last place for the
// arguments the operators give them: positive normal floats for log2,
// exponents in [-126, 126] for exp2.
#pragma once

#include <bit>
#include <cstdint>

// Forced inline: the row functions are built per instruction set, and the
// compiler would otherwise call these out of line from the clones.
#if defined(__GNUC__)
#define EFFECTS_PLUGIN_INLINE inline __attribute__((always_inline))
#else
#define EFFECTS_PLUGIN_INLINE inline
#endif

namespace effects_plugin {

// log2 x for x > 0; smaller than the least normal float counts as that.
EFFECTS_PLUGIN_INLINE float log2f_poly(float x) {
    x = x > 1.17549435e-38f ? x : 1.17549435e-38f;
    const uint32_t bits = std::bit_cast<uint32_t>(x);
    float e = static_cast<float>(static_cast<int32_t>(bits >> 23) - 127);
    float m = std::bit_cast<float>((bits & 0x007FFFFFu) | 0x3F800000u);  // [1, 2)
    // Centre the mantissa on 1: [sqrt(1/2), sqrt(2)).
    // (Both arms are computed and one selected: arithmetic inside a
    // conditional keeps the compiler from vectorising.)
    const bool high = m > 1.41421356f;
    const float half = m * 0.5f, e_up = e + 1.0f;
    m = high ? half : m;
    e = high ? e_up : e;
    // log2 m = 2 / ln 2 * atanh t, t = (m - 1) / (m + 1), |t| < 0.1716.
    const float t = (m - 1.0f) / (m + 1.0f);
    const float t2 = t * t;
    const float series = 1.0f + t2 * (0.33333333f + t2 * (0.2f + t2 * (0.14285714f + t2 * 0.11111111f)));
    return e + 2.88539008f * t * series;
}

// Natural logarithm.
EFFECTS_PLUGIN_INLINE float logf_poly(float x) { return log2f_poly(x) * 0.69314718f; }

// 2^y, y clamped to [-126, 126].
EFFECTS_PLUGIN_INLINE float exp2f_poly(float y) {
    y = y < -126.0f ? -126.0f : y;
    y = y > 126.0f ? 126.0f : y;
    // Round to nearest by the float adder: adding 1.5 * 2^23 leaves round(y)
    // in the low bits of the sum (no conversions, which keep the compiler
    // from vectorising once clamps precede them).
    const float shifted = y + 12582912.0f;
    const float r = shifted - 12582912.0f;
    const int32_t ri = static_cast<int32_t>(std::bit_cast<uint32_t>(shifted) - 0x4B400000u);
    const float g = y - r;  // [-0.5, 0.5]
    // 2^g = e^(g ln 2), Taylor to the 7th power.
    const float z = g * 0.69314718f;
    const float p =
        1.0f + z * (1.0f + z * (0.5f + z * (0.16666667f + z * (0.041666668f + z * (0.0083333338f +
                                                                                    z * (0.0013888889f +
                                                                                         z * 0.00019841270f))))));
    return p * std::bit_cast<float>(static_cast<uint32_t>(ri + 127) << 23);
}

// x^y for x >= 0 (0 for x = 0 when y > 0).
EFFECTS_PLUGIN_INLINE float powf_poly(float x, float y) {
    const float r = exp2f_poly(y * log2f_poly(x));
    return x > 0.0f ? r : 0.0f;
}

}  // namespace effects_plugin
