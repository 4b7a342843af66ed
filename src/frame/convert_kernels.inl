// Row kernels of every pixel-format conversion, compiled once per
// instruction set (convert_kernels_<isa>.cpp includes this file with its own
// compiler flags and names the table it defines with EFFECTS_KERNEL_TABLE).
// Plain channel maps are written once as loops the compiler vectorises; the
// RGBE encoders and decoders share the codec of rgbe.hpp through two small
// templates, and each member's quirk (channel order, alpha rule, rounding)
// is a visible argument. Every instruction set gives the same bytes (no FMA
// is ever enabled), and a test compares them.
#include <cmath>
#include <cstring>
#include <type_traits>

#include "frame/byte_shuffle.hpp"
#include "frame/convert.hpp"
#include "frame/numeric.hpp"
#include "frame/rgbe.hpp"

#ifndef EFFECTS_KERNEL_TABLE
#error "include from a convert_kernels_<isa>.cpp that defines EFFECTS_KERNEL_TABLE"
#endif
#ifndef EFFECTS_RADIANCE_TABLE
#error "include from a convert_kernels_<isa>.cpp that defines EFFECTS_RADIANCE_TABLE"
#endif

namespace effects::detail {
namespace {

// Row functions are flattened so that the loop templates inline into them.
#if defined(__GNUC__)
#define EFFECTS_ROW_KERNEL __attribute__((flatten))
#else
#define EFFECTS_ROW_KERNEL
#endif

constexpr float kInv255 = 0.003921569f;     // 1/255 as a float
constexpr float kInv32767 = 3.051851e-05f;  // 1/32767 as a float
constexpr float kInv65535 = 1.5259022e-05f; // 1/65535 as a float
// Display gamma: the float just below 1/2.2 (bits 0x3EE8BA2E), widened to
// double for the C library's pow.
constexpr float kGamma = 0.45454544f;

inline float gamma_of(float v) {
    return static_cast<float>(std::pow(static_cast<double>(v), static_cast<double>(kGamma)));
}


// ---- count form: each channel value alone ------------------------------

EFFECTS_ROW_KERNEL void v64to32(const void* s_, void* d_, int64_t n) {
    const uint16_t* __restrict s = static_cast<const uint16_t*>(s_);
    uint8_t* __restrict d = static_cast<uint8_t*>(d_);
    for (int64_t i = 0; i < n; ++i) d[i] = static_cast<uint8_t>(static_cast<int16_t>(s[i]) >> 7);
}

EFFECTS_ROW_KERNEL void v128to32(const void* s_, void* d_, int64_t n) {
    const float* __restrict s = static_cast<const float*>(s_);
    uint8_t* __restrict d = static_cast<uint8_t*>(d_);
    for (int64_t i = 0; i < n; ++i) d[i] = ClampToByte(s[i] * 255.0f);
}

EFFECTS_ROW_KERNEL void v128to64(const void* s_, void* d_, int64_t n) {
    const float* __restrict s = static_cast<const float*>(s_);
    uint16_t* __restrict d = static_cast<uint16_t*>(d_);
    for (int64_t i = 0; i < n; ++i) d[i] = ClampTo15(s[i] * 32767.0f);
}

EFFECTS_ROW_KERNEL void v32to64(const void* s_, void* d_, int64_t n) {
    const uint8_t* __restrict s = static_cast<const uint8_t*>(s_);
    uint16_t* __restrict d = static_cast<uint16_t*>(d_);
    for (int64_t i = 0; i < n; ++i) d[i] = static_cast<uint16_t>(s[i] << 7);
}

EFFECTS_ROW_KERNEL void v32to128(const void* s_, void* d_, int64_t n) {
    const uint8_t* __restrict s = static_cast<const uint8_t*>(s_);
    float* __restrict d = static_cast<float*>(d_);
    for (int64_t i = 0; i < n; ++i) d[i] = static_cast<float>(s[i]) * kInv255;
}

EFFECTS_ROW_KERNEL void v64to128(const void* s_, void* d_, int64_t n) {
    const uint16_t* __restrict s = static_cast<const uint16_t*>(s_);
    float* __restrict d = static_cast<float*>(d_);
    for (int64_t i = 0; i < n; ++i) d[i] = static_cast<float>(static_cast<int16_t>(s[i])) * kInv32767;
}

template <void (*V)(const void*, void*, int64_t)>
void four_values_per_pixel(const void* s, void* d, int64_t n) {
    V(s, d, n * 4);
}

// ---- channel maps ---------------------------------------------------------

// One kernel for the plain maps: destination channel k (k < 3) = op(source
// channel Ik); a fourth destination channel, when there is one, gets
// `alpha`. Written as a flat loop so that the compiler vectorises it.
template <class S, class D, int SrcCh, int DstCh, int I0, int I1, int I2, class Op>
inline void map_pixels(const void* s_, void* d_, int64_t n, Op op, D alpha = D{}) {
    const S* __restrict s = static_cast<const S*>(s_);
    D* __restrict d = static_cast<D*>(d_);
    for (int64_t x = 0; x < n; ++x) {
        d[DstCh * x + 0] = op(s[SrcCh * x + I0]);
        d[DstCh * x + 1] = op(s[SrcCh * x + I1]);
        d[DstCh * x + 2] = op(s[SrcCh * x + I2]);
        if constexpr (DstCh == 4) d[DstCh * x + 3] = alpha;
    }
}

constexpr auto same = [](auto v) { return v; };

// Rgba16 to Bgra8 for the screen: the words read unsigned, alpha opaque.
// Two flat passes (all four channels, then alpha over whole pixel words)
// vectorise where one loop with a constant fourth channel does not.
EFFECTS_ROW_KERNEL void p64to32screen(const void* s_, void* d_, int64_t n) {
    const uint16_t* __restrict s = static_cast<const uint16_t*>(s_);
    uint8_t* __restrict d = static_cast<uint8_t*>(d_);
    for (int64_t i = 0; i < 4 * n; ++i) d[i] = static_cast<uint8_t>(s[i] >> 7);
    for (int64_t x = 0; x < n; ++x) {
        uint32_t w;
        std::memcpy(&w, d + 4 * x, 4);
        w |= 0xFF000000u;  // little-endian: byte 3 is alpha
        std::memcpy(d + 4 * x, &w, 4);
    }
}

// Rgb8 row to Bgra8 row, order kept, alpha opaque.
EFFECTS_ROW_KERNEL void p24to32(const void* s, void* d, int64_t n) { expand_three_byte_pixels<false>(static_cast<const uint8_t*>(s), static_cast<uint8_t*>(d), n); }

// Rgb8Packed to Bgra8: reversed, alpha opaque.
EFFECTS_ROW_KERNEL void pRGB8to32(const void* s, void* d, int64_t n) { expand_three_byte_pixels<true>(static_cast<const uint8_t*>(s), static_cast<uint8_t*>(d), n); }

// Four channels to three, reversed, alpha dropped (8-bit and float alike).
template <class T>
EFFECTS_ROW_KERNEL void p4to3_reversed(const void* s, void* d, int64_t n) {
    map_pixels<T, T, 4, 3, 2, 1, 0>(s, d, n, same);
}

// Three channels to four, reversed, alpha set to the format's opaque value.
template <class T>
EFFECTS_ROW_KERNEL void p3to4_reversed(const void* s, void* d, int64_t n) {
    map_pixels<T, T, 3, 4, 2, 1, 0>(s, d, n, same, static_cast<T>(sizeof(T) == 1 ? 255 : 1));
}

// Rgba16 to Rgb16: reversed, each word doubled to the full 16-bit range.
EFFECTS_ROW_KERNEL void p15to16(const void* s, void* d, int64_t n) {
    map_pixels<uint16_t, uint16_t, 4, 3, 2, 1, 0>(s, d, n, [](uint16_t v) { return static_cast<uint16_t>(v * 2); });
}

// Three floats to Rgba16 with the channel order kept, alpha full; each
// pixel is assembled as one 8-byte word.
EFFECTS_ROW_KERNEL void pfloat3to64(const void* s_, void* d_, int64_t n) {
    const float* __restrict s = static_cast<const float*>(s_);
    uint8_t* __restrict d = static_cast<uint8_t*>(d_);
    for (int64_t x = 0; x < n; ++x) {
        const uint64_t w = uint64_t{ClampTo15(s[3 * x + 0] * 32767.0f)} |
                           uint64_t{ClampTo15(s[3 * x + 1] * 32767.0f)} << 16 |
                           uint64_t{ClampTo15(s[3 * x + 2] * 32767.0f)} << 32 | uint64_t{32767} << 48;
        std::memcpy(d + 8 * x, &w, 8);
    }
}

// Rgb16 to Rgba16, lopsided on purpose: R and G pass as signed words through
// a float unchanged, only B is rescaled from 16 to 15 bits (words of 32768
// and up read negative and give 0), and alpha keeps what the destination held.
EFFECTS_ROW_KERNEL void p16to15(const void* s_, void* d_, int64_t n) {
    const uint16_t* __restrict s = static_cast<const uint16_t*>(s_);
    uint8_t* __restrict d = static_cast<uint8_t*>(d_);
    for (int64_t x = 0; x < n; ++x) {
        const float b = static_cast<float>(static_cast<int16_t>(s[3 * x + 2]));
        uint64_t w;
        std::memcpy(&w, d + 8 * x, 8);
        w = (w & 0xFFFF000000000000u) | uint64_t{ClampTo15(b * kInv65535 * 32767.0f)} |
            uint64_t{s[3 * x + 1]} << 16 | uint64_t{s[3 * x + 0]} << 32;
        std::memcpy(d + 8 * x, &w, 8);
    }
}

// A pixel word (little-endian bytes 0..3) with bytes 0 and 2 swapped: the
// mantissas between the file's R, G, B and the library's B, G, R order.
inline uint32_t swap_mantissa_order(uint32_t w) { return (w & 0xFF00FF00u) | (w & 0xFFu) << 16 | (w >> 16 & 0xFFu); }

// Rgbe to Rgbea: mantissas into B, G, R order, exponent kept, alpha opaque;
// words rearranged in blocks and stored through the 5-byte packer.
EFFECTS_ROW_KERNEL void pRGBEtoRGBEA(const void* s_, void* d_, int64_t n) {
    const uint8_t* __restrict s = static_cast<const uint8_t*>(s_);
    uint8_t* __restrict d = static_cast<uint8_t*>(d_);
    constexpr int64_t kBlock = 256;
    uint32_t word[kBlock];
    uint8_t opaque[kBlock];
    std::memset(opaque, 255, sizeof opaque);
    for (int64_t x0 = 0; x0 < n; x0 += kBlock) {
        const int64_t count = n - x0 < kBlock ? n - x0 : kBlock;
        std::memcpy(word, s + 4 * x0, static_cast<size_t>(count) * 4);
        for (int64_t i = 0; i < count; ++i) {
            word[i] = swap_mantissa_order(word[i]);
        }
        pack_five_byte_pixels(d + 5 * x0, word, opaque, count);
    }
}


// ---- RGBE encoders -------------------------------------------------------

// What an encoder writes into the fifth byte.
enum class AlphaByte {
    None,        // four-byte Rgbe output
    FromSource,  // the source's own alpha, as the member converts it
    LitMarker,   // 1 for a pixel with light, 0 for black: RgbFloat to Rgbea
};

// One encoder for every member: the source's channels `I0, I1, I2` (of
// `SrcCh` per pixel) are scaled by `to_float` and encoded in that order (the
// order decides which channel wins the largest-value test, NaNs included);
// mantissa k then lands in output byte `OutK`, the exponent in byte 3.
// Pixels go through in blocks: gathered into channel arrays, encoded by a
// loop the compiler vectorises, then stored as words into the 4- or 5-byte
// layout. A row's tail is a shorter block through the same code.
template <class S, int SrcCh, int DstBytes, int I0, int I1, int I2, int Out0, int Out1, int Out2,
          MantissaRounding R, AlphaByte A, class ToFloat, class AlphaOf,
          RgbeInput In = std::is_same_v<S, uint8_t> ? RgbeInput::UnitRange : RgbeInput::AnyFloat>
inline void encode_row(const S* __restrict s, uint8_t* __restrict d, int64_t n, ToFloat to_float,
                       AlphaOf alpha_of) {
    constexpr int64_t kBlock = 256;
    float c0[kBlock], c1[kBlock], c2[kBlock];
    uint32_t word[kBlock];
    uint8_t fifth[kBlock];
    for (int64_t x0 = 0; x0 < n; x0 += kBlock) {
        const int64_t count = n - x0 < kBlock ? n - x0 : kBlock;
        const S* p = s + SrcCh * x0;
        uint8_t* q = d + DstBytes * x0;
        for (int64_t i = 0; i < count; ++i) {
            c0[i] = to_float(p[SrcCh * i + I0]);
            c1[i] = to_float(p[SrcCh * i + I1]);
            c2[i] = to_float(p[SrcCh * i + I2]);
            if constexpr (A == AlphaByte::FromSource) fifth[i] = alpha_of(p[SrcCh * i + 3]);
        }
        for (int64_t i = 0; i < count; ++i) {
            const uint32_t w = EncodeRgbeWord<R, In>(c0[i], c1[i], c2[i]);
            word[i] = (w & 0xFFu) << (8 * Out0) | (w >> 8 & 0xFFu) << (8 * Out1) | (w >> 16 & 0xFFu) << (8 * Out2) |
                      (w & 0xFF000000u);
            if constexpr (A == AlphaByte::LitMarker) fifth[i] = w != 0 ? 1 : 0;
        }
        if constexpr (DstBytes == 4)
            std::memcpy(q, word, static_cast<size_t>(count) * 4);
        else
            pack_five_byte_pixels(q, word, fifth, count);
    }
}

constexpr auto no_alpha = [](auto) -> uint8_t { return 0; };

// Serial 8-bit encoder of the Radiance order: reads R, G, B (bytes 2, 1, 0)
// and truncates its mantissas.
EFFECTS_ROW_KERNEL void p32toRGBE(const void* s, void* d, int64_t n) {
    encode_row<uint8_t, 4, 4, 2, 1, 0, 0, 1, 2, MantissaRounding::Truncate, AlphaByte::None>(
        static_cast<const uint8_t*>(s), static_cast<uint8_t*>(d), n,
        [](uint8_t v) { return static_cast<float>(v) * kInv255; }, no_alpha);
}

EFFECTS_ROW_KERNEL void p32toRGBEA(const void* s, void* d, int64_t n) {
    encode_row<uint8_t, 4, 5, 0, 1, 2, 0, 1, 2, MantissaRounding::Clamp, AlphaByte::FromSource>(
        static_cast<const uint8_t*>(s), static_cast<uint8_t*>(d), n,
        [](uint8_t v) { return static_cast<float>(v) * kInv255; }, [](uint8_t a) { return a; });
}

// The 15-bit alpha becomes a byte by a truncated division by 128.
EFFECTS_ROW_KERNEL void p64toRGBEA(const void* s, void* d, int64_t n) {
    encode_row<uint16_t, 4, 5, 0, 1, 2, 0, 1, 2, MantissaRounding::Clamp, AlphaByte::FromSource>(
        static_cast<const uint16_t*>(s), static_cast<uint8_t*>(d), n,
        [](uint16_t v) { return static_cast<float>(static_cast<int16_t>(v)) * kInv32767; },
        [](uint16_t a) {
            return static_cast<uint8_t>(static_cast<int32_t>(static_cast<float>(static_cast<int16_t>(a)) * 0.0078125f));
        });
}

// Float alpha is clamped to a byte, black pixels included.
EFFECTS_ROW_KERNEL void p128RGBAtoRGBEA(const void* s, void* d, int64_t n) {
    encode_row<float, 4, 5, 0, 1, 2, 0, 1, 2, MantissaRounding::Clamp, AlphaByte::FromSource>(
        static_cast<const float*>(s), static_cast<uint8_t*>(d), n, [](float v) { return v; },
        [](float a) { return ClampToByte(a * 255.0f); });
}

EFFECTS_ROW_KERNEL void p128RGBtoRGBE(const void* s, void* d, int64_t n) {
    encode_row<float, 3, 4, 0, 1, 2, 0, 1, 2, MantissaRounding::Clamp, AlphaByte::None>(
        static_cast<const float*>(s), static_cast<uint8_t*>(d), n, [](float v) { return v; }, no_alpha);
}

// RgbFloat to Rgbea: encoded in the source's R, G, B order, stored reversed,
// and alpha 1, not 255, on lit pixels; callers that read this buffer back
// depend on the marker.
EFFECTS_ROW_KERNEL void p128RGBtoRGBEA(const void* s, void* d, int64_t n) {
    encode_row<float, 3, 5, 0, 1, 2, 2, 1, 0, MantissaRounding::Clamp, AlphaByte::LitMarker>(
        static_cast<const float*>(s), static_cast<uint8_t*>(d), n, [](float v) { return v; }, no_alpha);
}

// ---- RGBE decoders -------------------------------------------------------

// One decoder for every member: mantissa bytes `M0, M1, M2` of a pixel of
// `SrcBytes` (exponent at byte 3) go to destination channels 0..2 after
// `post`, and `alpha_of` (given the pixel's fifth byte, or 0 for a four-byte
// pixel) fills channel 3 when the destination has four. Like the encoder it
// runs in blocks: the pixels' first four bytes are gathered as words,
// decoded by a loop the compiler vectorises, then interleaved into the
// destination (8-bit pixels as whole words).
template <class D, int SrcBytes, int DstCh, int M0, int M1, int M2, RgbeDecoding Dec, class Post, class AlphaOf>
inline void decode_row(const uint8_t* __restrict s, D* __restrict d, int64_t n, Post post, AlphaOf alpha_of) {
    constexpr int64_t kBlock = 256;
    uint32_t word[kBlock];
    uint8_t fifth[kBlock];
    D v0[kBlock], v1[kBlock], v2[kBlock], v3[kBlock];
    uint32_t packed[kBlock];
    for (int64_t x0 = 0; x0 < n; x0 += kBlock) {
        const int64_t count = n - x0 < kBlock ? n - x0 : kBlock;
        const uint8_t* p = s + SrcBytes * x0;
        D* q = d + DstCh * x0;
        // Words are little-endian: byte k in bits 8k..8k+7.
        if constexpr (SrcBytes == 5) {
            unpack_five_byte_pixels(p, word, fifth, count);
        } else {
            std::memcpy(word, p, static_cast<size_t>(count) * 4);
            std::memset(fifth, 0, static_cast<size_t>(count));
        }
        for (int64_t i = 0; i < count; ++i) {
            const uint32_t w = word[i];
            const uint32_t e = w >> 24;
            const D c0 = post(DecodeRgbe<Dec>((w >> (8 * M0)) & 0xFFu, e));
            const D c1 = post(DecodeRgbe<Dec>((w >> (8 * M1)) & 0xFFu, e));
            const D c2 = post(DecodeRgbe<Dec>((w >> (8 * M2)) & 0xFFu, e));
            const D c3 = alpha_of(fifth[i]);
            if constexpr (sizeof(D) == 1) {
                packed[i] = uint32_t{c0} | uint32_t{c1} << 8 | uint32_t{c2} << 16 | uint32_t{c3} << 24;
            } else {
                v0[i] = c0;
                v1[i] = c1;
                v2[i] = c2;
                v3[i] = c3;
            }
        }
        if constexpr (sizeof(D) == 1) {
            static_assert(DstCh == 4, "8-bit destinations have four channels");
            std::memcpy(q, packed, static_cast<size_t>(count) * 4);
        } else {
            for (int64_t i = 0; i < count; ++i) {
                D* o = q + DstCh * i;
                o[0] = v0[i];
                o[1] = v1[i];
                o[2] = v2[i];
                if constexpr (DstCh == 4) o[3] = v3[i];
            }
        }
    }
}

constexpr auto as_is = [](float v) { return v; };
constexpr auto alpha_one = [](uint8_t) { return 1.0f; };

EFFECTS_ROW_KERNEL void pRGBEto128RGBA(const void* s, void* d, int64_t n) {
    decode_row<float, 4, 4, 2, 1, 0, RgbeDecoding::HalfStep>(static_cast<const uint8_t*>(s),
                                                             static_cast<float*>(d), n, as_is, alpha_one);
}

EFFECTS_ROW_KERNEL void pRGBEAto128RGBA(const void* s, void* d, int64_t n) {
    decode_row<float, 5, 4, 0, 1, 2, RgbeDecoding::HalfStep>(
        static_cast<const uint8_t*>(s), static_cast<float*>(d), n, as_is,
        [](uint8_t a) { return static_cast<float>(a) * kInv255; });
}

EFFECTS_ROW_KERNEL void pRGBEAto128RGB(const void* s, void* d, int64_t n) {
    decode_row<float, 5, 3, 2, 1, 0, RgbeDecoding::HalfStep>(static_cast<const uint8_t*>(s),
                                                             static_cast<float*>(d), n, as_is, alpha_one);
}

EFFECTS_ROW_KERNEL void pRGBEAto32RGBA(const void* s, void* d, int64_t n) {
    decode_row<uint8_t, 5, 4, 0, 1, 2, RgbeDecoding::HalfStep>(
        static_cast<const uint8_t*>(s), static_cast<uint8_t*>(d), n,
        [](float v) { return ClampNonNegativeToByte(v * 255.0f); }, [](uint8_t a) { return a; });
}

EFFECTS_ROW_KERNEL void pRGBEto128gamma(const void* s, void* d, int64_t n) {
    decode_row<float, 4, 4, 2, 1, 0, RgbeDecoding::Plain>(static_cast<const uint8_t*>(s),
                                                          static_cast<float*>(d), n, gamma_of, alpha_one);
}

// RgbFloat to RgbaFloat through the display gamma, reversed, alpha 1.0.
void pRGBFto128gamma(const void* s_, void* d_, int64_t n) {
    const float* __restrict s = static_cast<const float*>(s_);
    float* __restrict d = static_cast<float*>(d_);
    for (int64_t x = 0; x < n; ++x) {
        d[4 * x + 0] = gamma_of(s[3 * x + 2]);
        d[4 * x + 1] = gamma_of(s[3 * x + 1]);
        d[4 * x + 2] = gamma_of(s[3 * x + 0]);
        d[4 * x + 3] = 1.0f;
    }
}

// ---- rows of the Radiance files ---------------------------------------------

// The writers' preparation steps: the library's formats to float R, G, B
// (8-bit and 15-bit scaled to 1.0, floats copied), and Rgbea to the file's
// R, G, B, E bytes with alpha dropped.
EFFECTS_ROW_KERNEL void p32toRGBF(const void* s, void* d, int64_t n) {
    map_pixels<uint8_t, float, 4, 3, 2, 1, 0>(s, d, n, [](uint8_t v) { return static_cast<float>(v) * kInv255; });
}

EFFECTS_ROW_KERNEL void p64toRGBF(const void* s, void* d, int64_t n) {
    map_pixels<uint16_t, float, 4, 3, 2, 1, 0>(
        s, d, n, [](uint16_t v) { return static_cast<float>(static_cast<int16_t>(v)) * kInv32767; });
}

EFFECTS_ROW_KERNEL void pRGBEAtoRGBE(const void* s_, void* d_, int64_t n) {
    const uint8_t* __restrict s = static_cast<const uint8_t*>(s_);
    uint8_t* __restrict d = static_cast<uint8_t*>(d_);
    constexpr int64_t kBlock = 256;
    uint32_t word[kBlock];
    uint8_t alpha[kBlock];
    for (int64_t x0 = 0; x0 < n; x0 += kBlock) {
        const int64_t count = n - x0 < kBlock ? n - x0 : kBlock;
        unpack_five_byte_pixels(s + 5 * x0, word, alpha, count);
        for (int64_t i = 0; i < count; ++i) word[i] = swap_mantissa_order(word[i]);
        std::memcpy(d + 4 * x0, word, static_cast<size_t>(count) * 4);
    }
}

// The readers' step: file bytes R, G, B, E to float R, G, B, half-step
// decoding, order kept.
EFFECTS_ROW_KERNEL void pRGBEtoRGBF(const void* s, void* d, int64_t n) {
    decode_row<float, 4, 3, 0, 1, 2, RgbeDecoding::HalfStep>(static_cast<const uint8_t*>(s),
                                                             static_cast<float*>(d), n, as_is, alpha_one);
}

// ---- the table -------------------------------------------------------------

// Bytes of one channel of a format, from its bytes per pixel.
constexpr int channel_bytes(int bytes_per_pixel) {
    return bytes_per_pixel == 8 || bytes_per_pixel == 6 ? 2 : bytes_per_pixel == 16 || bytes_per_pixel == 12 ? 4 : 1;
}
constexpr ConversionKernel per_value(int sb, int db, void (*v)(const void*, void*, int64_t),
                                     void (*p)(const void*, void*, int64_t)) {
    return {sb, db, channel_bytes(sb), channel_bytes(db), 1, false, 4, p, v};
}
constexpr ConversionKernel per_pixel(int sb, int db, void (*p)(const void*, void*, int64_t), int align = 1,
                                     bool flip = false) {
    return {sb, db, channel_bytes(sb), channel_bytes(db), align, flip, 0, p, nullptr};
}

const ConversionKernel kKernels[] = {
    /* 0 unused */ {},
    /* 64_TO_32 */ per_value(8, 4, v64to32, four_values_per_pixel<v64to32>),
    /* 64_TO_32_SCREEN */ per_pixel(8, 4, p64to32screen),
    /* 128_TO_32 */ per_value(16, 4, v128to32, four_values_per_pixel<v128to32>),
    /* 128_TO_64 */ per_value(16, 8, v128to64, four_values_per_pixel<v128to64>),
    /* 32_TO_64 */ per_value(4, 8, v32to64, four_values_per_pixel<v32to64>),
    /* 32_TO_128 */ per_value(4, 16, v32to128, four_values_per_pixel<v32to128>),
    /* 64_TO_128 */ per_value(8, 16, v64to128, four_values_per_pixel<v64to128>),
    /* 32_TO_RGBE */ per_pixel(4, 4, p32toRGBE),
    /* 24_TO_32 */ per_pixel(3, 4, p24to32, 4, true),
    /* 32_TO_RGB8 */ per_pixel(4, 3, p4to3_reversed<uint8_t>),
    /* RGB8_TO_32 */ per_pixel(3, 4, pRGB8to32),
    /* 128_TO_RGBF */ per_pixel(16, 12, p4to3_reversed<float>),
    /* RGBF_TO_128 */ per_pixel(12, 16, p3to4_reversed<float>),
    /* 64_TO_RGB16 */ per_pixel(8, 6, p15to16),
    /* RGB16_TO_64 */ per_pixel(6, 8, p16to15),
    /* FLOAT3_TO_64 */ per_pixel(12, 8, pfloat3to64),
    /* 32_TO_RGBEA */ per_pixel(4, 5, p32toRGBEA),
    /* 64_TO_RGBEA */ per_pixel(8, 5, p64toRGBEA),
    /* 128_TO_RGBEA */ per_pixel(16, 5, p128RGBAtoRGBEA),
    /* RGBF_TO_RGBE */ per_pixel(12, 4, p128RGBtoRGBE),
    /* RGBF_TO_RGBEA */ per_pixel(12, 5, p128RGBtoRGBEA),
    /* RGBE_TO_RGBEA */ per_pixel(4, 5, pRGBEtoRGBEA),
    /* RGBE_TO_128 */ per_pixel(4, 16, pRGBEto128RGBA),
    /* RGBEA_TO_128 */ per_pixel(5, 16, pRGBEAto128RGBA),
    /* RGBEA_TO_RGBF */ per_pixel(5, 12, pRGBEAto128RGB),
    /* RGBEA_TO_32 */ per_pixel(5, 4, pRGBEAto32RGBA),
    /* RGBF_TO_128_GAMMA */ per_pixel(12, 16, pRGBFto128gamma),
    /* RGBE_TO_128_GAMMA */ per_pixel(4, 16, pRGBEto128gamma),
};
static_assert(sizeof(kKernels) / sizeof(kKernels[0]) == EFFECTS_CONVERT_RGBE_TO_128_GAMMA + 1,
              "one kernel per conversion id");

}  // namespace

const ConversionKernel* EFFECTS_KERNEL_TABLE() { return kKernels; }

const RadianceRowKernels* EFFECTS_RADIANCE_TABLE() {
    static const RadianceRowKernels k{p32toRGBF, p64toRGBF, p4to3_reversed<float>, pRGBEAtoRGBE, p128RGBtoRGBE,
                                      pRGBEtoRGBF};
    return &k;
}

}  // namespace effects::detail
