// Shared helpers of the conversion tests: the rounding rules written out
// plainly, guard-byte buffers, seeded random images with awkward values, and
// one table that says how to call every conversion export.
#pragma once

#include <effects/effects.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace efx_test {

// ---- Constants of the conversions (single precision on purpose) ----------

inline constexpr float kInv255 = 0.003921569f;      // 1/255 as a float
inline constexpr float kInv32767 = 3.051851e-05f;   // 1/32767 as a float
inline constexpr float kInv65535 = 1.5259022e-05f;  // 1/65535 as a float
inline constexpr float kGamma = 0.45454544f;        // the float just below 1/2.2
inline constexpr float kRgbeBlack = 1.0e-32f;

inline float bits_to_float(uint32_t b) {
    float f;
    std::memcpy(&f, &b, 4);
    return f;
}
// The bytes of a vector of any trivially copyable type.
template <class T>
std::vector<uint8_t> bytes_of(const std::vector<T>& v) {
    std::vector<uint8_t> b(v.size() * sizeof(T));
    if (!b.empty()) std::memcpy(b.data(), v.data(), b.size());
    return b;
}

inline uint32_t float_to_bits(float f) {
    uint32_t b;
    std::memcpy(&b, &f, 4);
    return b;
}

// ---- Rounding rules --------------------------------------------------------

// Float to 8 bits: 255 above 254.5, 0 below 0.5, truncation in between. A NaN
// fails both comparisons; the truncating instruction turns it into byte 0.
inline uint8_t clamp_to_byte(float f) {
    if (f > 254.5f) return 255;
    if (f < 0.5f) return 0;
    if (std::isnan(f)) return 0;
    return static_cast<uint8_t>(static_cast<int>(f));
}

// Float to 15 bits, the same rule with 32766.5 and 32767.
inline uint16_t clamp_to_15(float f) {
    if (f > 32766.5f) return 32767;
    if (f < 0.5f) return 0;
    if (std::isnan(f)) return 0;
    return static_cast<uint16_t>(static_cast<int>(f));
}

// Shared-exponent encoding of three floats, taken in the order given. With
// `clamp` false the mantissas and exponent are plainly truncated (the serial
// 8-bit encoder, whose inputs never leave [0, 1]). Returns false for a black
// pixel (largest channel below 1e-32), whose four bytes are then 0.
inline bool rgbe_encode(float c0, float c1, float c2, uint8_t out[4], bool clamp = true) {
    float m = c0;
    if (c1 > m) m = c1;
    if (c2 > m) m = c2;
    if (m < kRgbeBlack) {
        out[0] = out[1] = out[2] = out[3] = 0;
        return false;
    }
    int e = 0;
    const double f = std::frexp(static_cast<double>(m), &e);
    const float s = static_cast<float>(f / static_cast<double>(m) * 256.0);
    const float c[3] = {c0, c1, c2};
    for (int k = 0; k < 3; ++k) {
        const float p = c[k] * s;
        if (clamp) {
            out[k] = clamp_to_byte(p);
        } else {
            out[k] = static_cast<uint8_t>(static_cast<int>(p));
        }
    }
    const float eb = static_cast<float>(e + 128);
    out[3] = clamp ? clamp_to_byte(eb) : static_cast<uint8_t>(e + 128);
    return true;
}

// Half-step decoding: exponent byte 0 is black, otherwise (m + 0.5) * 2^(E-136).
inline float rgbe_decode_half(uint8_t m, uint8_t e) {
    if (e == 0) return 0.0f;
    return static_cast<float>(std::ldexp(static_cast<double>(m + 0.5f), e - 136));
}

// Plain decoding: m * 2^(E-136), with no half step and no test for E = 0.
inline float rgbe_decode_plain(uint8_t m, uint8_t e) {
    return static_cast<float>(static_cast<double>(m) * std::ldexp(1.0, e - 136));
}

inline float gamma_ref(float x) {
    return static_cast<float>(std::pow(static_cast<double>(x), static_cast<double>(kGamma)));
}

// ---- Unaligned typed access into byte images -------------------------------

inline float load_f(const uint8_t* p, size_t i) {
    float v;
    std::memcpy(&v, p + 4 * i, 4);
    return v;
}
inline void store_f(uint8_t* p, size_t i, float v) { std::memcpy(p + 4 * i, &v, 4); }
inline uint16_t load_u16(const uint8_t* p, size_t i) {
    uint16_t v;
    std::memcpy(&v, p + 2 * i, 2);
    return v;
}
inline void store_u16(uint8_t* p, size_t i, uint16_t v) { std::memcpy(p + 2 * i, &v, 2); }

// ---- Pixel formats -----------------------------------------------------------

enum class Fmt { Bgra8, Rgba16, RgbaFloat, Rgbe, Rgbea, Rgb8, Rgb8Packed, Rgb16, RgbFloat };

inline size_t bytes_per_pixel(Fmt f) {
    switch (f) {
        case Fmt::Bgra8: return 4;
        case Fmt::Rgba16: return 8;
        case Fmt::RgbaFloat: return 16;
        case Fmt::Rgbe: return 4;
        case Fmt::Rgbea: return 5;
        case Fmt::Rgb8: return 3;
        case Fmt::Rgb8Packed: return 3;
        case Fmt::Rgb16: return 6;
        case Fmt::RgbFloat: return 12;
    }
    return 0;
}

// Packed row size; Rgb8 rows are padded to a multiple of 4 bytes.
inline size_t row_bytes(Fmt f, int w) {
    size_t r = bytes_per_pixel(f) * static_cast<size_t>(w);
    if (f == Fmt::Rgb8) r = (r + 3) / 4 * 4;
    return r;
}
inline size_t image_bytes(Fmt f, int w, int h) { return row_bytes(f, w) * static_cast<size_t>(h); }

// ---- Guarded buffers -----------------------------------------------------------

inline constexpr uint8_t kGuard = 0xA5;

// A byte buffer with guard bytes before and after the payload. The payload
// starts 64 bytes into the allocation, so it is aligned for floats and words.
class Guarded {
public:
    static constexpr size_t kFront = 64;
    static constexpr size_t kBack = 64;

    explicit Guarded(size_t n, uint8_t fill = kGuard) : n_(n), bytes_(kFront + n + kBack, kGuard) {
        for (size_t i = 0; i < n; ++i) bytes_[kFront + i] = fill;
    }
    uint8_t* data() { return bytes_.data() + kFront; }
    const uint8_t* data() const { return bytes_.data() + kFront; }
    size_t size() const { return n_; }
    std::vector<uint8_t> payload() const { return {data(), data() + n_}; }
    bool guards_intact() const {
        for (size_t i = 0; i < kFront; ++i)
            if (bytes_[i] != kGuard) return false;
        for (size_t i = kFront + n_; i < bytes_.size(); ++i)
            if (bytes_[i] != kGuard) return false;
        return true;
    }
    void reset() { std::fill(bytes_.begin(), bytes_.end(), kGuard); }
    bool all_guard() const {
        for (uint8_t b : bytes_)
            if (b != kGuard) return false;
        return true;
    }

private:
    size_t n_;
    std::vector<uint8_t> bytes_;
};

// ---- Random images -------------------------------------------------------------

// Floats that sit on the edges of the conversions' rules.
inline float special_float(std::mt19937& rng) {
    static const float kSpecials[] = {
        0.0f, -0.0f, -1.0f, -1.0e-3f, 1.0f, 2.0f, 0.5f, 7.5f,
        std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
        -std::numeric_limits<float>::infinity(), 1.0e-33f, 1.0e-32f, std::nextafter(1.0e-32f, 0.0f),
        std::nextafter(1.0e-32f, 1.0f), 1.0e-40f, std::numeric_limits<float>::denorm_min(),
        std::numeric_limits<float>::min(), 1.0e30f, 3.0e38f, std::numeric_limits<float>::max(),
        254.5f / 255.0f, bits_to_float(0x3f7f7f81u), bits_to_float(0x3f7f7f80u), 0.5f / 255.0f,
        1.0f / 255.0f, 32766.5f / 32767.0f, bits_to_float(0x3f7fff01u), bits_to_float(0x3f7fff00u),
        0.998f, 0.999f, 0.003f, 0.5f / 32767.0f, 0.99999994f, 1.0000001f};
    constexpr size_t n = sizeof(kSpecials) / sizeof(kSpecials[0]);
    return kSpecials[std::uniform_int_distribution<size_t>(0, n - 1)(rng)];
}

inline float random_float(std::mt19937& rng) {
    const int kind = std::uniform_int_distribution<int>(0, 99)(rng);
    if (kind < 30) return std::uniform_real_distribution<float>(-0.1f, 1.1f)(rng);
    if (kind < 40) return std::uniform_real_distribution<float>(0.0f, 1000.0f)(rng);
    if (kind < 52) {
        float v = static_cast<float>(std::uniform_int_distribution<int>(0, 255)(rng)) / 255.0f;
        const int nudge = std::uniform_int_distribution<int>(-1, 1)(rng);
        return nudge == 0 ? v : std::nextafter(v, nudge < 0 ? -1.0f : 2.0f);
    }
    if (kind < 58) {
        float v = static_cast<float>(std::uniform_int_distribution<int>(0, 32767)(rng)) / 32767.0f;
        const int nudge = std::uniform_int_distribution<int>(-1, 1)(rng);
        return nudge == 0 ? v : std::nextafter(v, nudge < 0 ? -1.0f : 2.0f);
    }
    if (kind < 70) {
        const float m = std::uniform_real_distribution<float>(0.5f, 1.0f)(rng);
        return static_cast<float>(std::ldexp(m, std::uniform_int_distribution<int>(-140, 127)(rng)));
    }
    return special_float(rng);
}

// A dark pixel channel: everything that must encode as RGBE black.
inline float dark_float(std::mt19937& rng) {
    static const float kDark[] = {0.0f, -0.0f, -1.0f, -5.0e10f, 1.0e-33f, 1.0e-40f,
                                  std::nextafter(1.0e-32f, 0.0f), -std::numeric_limits<float>::infinity()};
    return kDark[std::uniform_int_distribution<size_t>(0, 7)(rng)];
}

inline uint8_t random_exponent(std::mt19937& rng) {
    static const uint8_t kExp[] = {0, 1, 9, 10, 255, 128, 129, 136, 137, 254};
    const int kind = std::uniform_int_distribution<int>(0, 9)(rng);
    if (kind < 4) return kExp[std::uniform_int_distribution<size_t>(0, 9)(rng)];
    if (kind < 8) return static_cast<uint8_t>(std::uniform_int_distribution<int>(110, 150)(rng));
    return static_cast<uint8_t>(std::uniform_int_distribution<int>(0, 255)(rng));
}

// Fills a packed image of `pixels` pixels (Rgb8: the caller passes the padded
// byte count and pixels = 0; every byte is random).
inline void fill_random(Fmt f, uint8_t* p, size_t bytes, std::mt19937& rng) {
    std::uniform_int_distribution<int> byte(0, 255);
    const size_t bpp = bytes_per_pixel(f);
    const size_t px = bytes / bpp;
    switch (f) {
        case Fmt::Bgra8:
        case Fmt::Rgb8:
        case Fmt::Rgb8Packed:
            for (size_t i = 0; i < bytes; ++i) p[i] = static_cast<uint8_t>(byte(rng));
            break;
        case Fmt::Rgbe:
        case Fmt::Rgbea:
            for (size_t i = 0; i < px; ++i) {
                for (size_t k = 0; k < bpp; ++k) p[i * bpp + k] = static_cast<uint8_t>(byte(rng));
                p[i * bpp + 3] = random_exponent(rng);
            }
            break;
        case Fmt::Rgba16:
            // Colour words mostly in 0..32767, a quarter above (they read as
            // negative); alpha stays a proper 15-bit value.
            for (size_t i = 0; i < px * 4; ++i) {
                int v = std::uniform_int_distribution<int>(0, 32767)(rng);
                if (i % 4 != 3 && std::uniform_int_distribution<int>(0, 3)(rng) == 0) v += 32768;
                store_u16(p, i, static_cast<uint16_t>(v));
            }
            break;
        case Fmt::Rgb16:
            for (size_t i = 0; i < px * 3; ++i) {
                static const uint16_t kEdges[] = {0, 1, 2, 3, 32767, 32768, 65534, 65535};
                uint16_t v = static_cast<uint16_t>(std::uniform_int_distribution<int>(0, 65535)(rng));
                if (std::uniform_int_distribution<int>(0, 7)(rng) == 0)
                    v = kEdges[std::uniform_int_distribution<int>(0, 7)(rng)];
                store_u16(p, i, v);
            }
            break;
        case Fmt::RgbaFloat:
        case Fmt::RgbFloat: {
            const size_t ch = bpp / 4;
            for (size_t i = 0; i < px; ++i) {
                const bool dark = std::uniform_int_distribution<int>(0, 9)(rng) == 0;
                for (size_t k = 0; k < ch; ++k)
                    store_f(p, i * ch + k, dark ? dark_float(rng) : random_float(rng));
            }
            break;
        }
    }
}

inline std::vector<uint8_t> random_image(Fmt f, int w, int h, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> v(image_bytes(f, w, h));
    fill_random(f, v.data(), v.size(), rng);
    return v;
}

inline uint32_t seed_for(const std::string& name, int w, int h) {
    uint32_t s = 2166136261u;
    for (char c : name) s = (s ^ static_cast<uint8_t>(c)) * 16777619u;
    return s ^ static_cast<uint32_t>(w * 7919 + h * 104729);
}

// ---- The conversion exports as one table ------------------------------------------

using Bytes = uint8_t;

struct Conversion {
    const char* name;
    int32_t id;  // EffectsConversion
    Fmt src;
    Fmt dst;
    bool count_form;
    bool returns_count;  // count-form members other than the screen conversion
    // Calls the export on a packed width x height image (count = w*h*4).
    int32_t (*call)(int32_t w, int32_t h, const uint8_t* src, uint8_t* dst);

    int32_t expected_result(int32_t w, int32_t h) const { return returns_count ? w * h * 4 : 0; }
};

#define EFX_U16(p) reinterpret_cast<uint16_t*>(p)
#define EFX_CU16(p) reinterpret_cast<const uint16_t*>(p)
#define EFX_F(p) reinterpret_cast<float*>(p)
#define EFX_CF(p) reinterpret_cast<const float*>(p)

inline const std::vector<Conversion>& conversions() {
    static const std::vector<Conversion> table = {
        {"Convert64to32Fast", EFFECTS_CONVERT_64_TO_32, Fmt::Rgba16, Fmt::Bgra8, true, true,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert64to32Fast(w * h * 4, d, EFX_CU16(s)); }},
        {"Convert64to32Screen", EFFECTS_CONVERT_64_TO_32_SCREEN, Fmt::Rgba16, Fmt::Bgra8, true, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert64to32Screen(w * h * 4, d, EFX_CU16(s)); }},
        {"Convert128to32Fast", EFFECTS_CONVERT_128_TO_32, Fmt::RgbaFloat, Fmt::Bgra8, true, true,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert128to32Fast(w * h * 4, d, EFX_CF(s)); }},
        {"Convert128to64Fast", EFFECTS_CONVERT_128_TO_64, Fmt::RgbaFloat, Fmt::Rgba16, true, true,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert128to64Fast(w * h * 4, EFX_U16(d), EFX_CF(s)); }},
        {"Convert32to64Fast", EFFECTS_CONVERT_32_TO_64, Fmt::Bgra8, Fmt::Rgba16, true, true,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert32to64Fast(w * h * 4, s, EFX_U16(d)); }},
        {"Convert32to128Fast", EFFECTS_CONVERT_32_TO_128, Fmt::Bgra8, Fmt::RgbaFloat, true, true,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert32to128Fast(w * h * 4, s, EFX_F(d)); }},
        {"Convert64to128Fast", EFFECTS_CONVERT_64_TO_128, Fmt::Rgba16, Fmt::RgbaFloat, true, true,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert64to128Fast(w * h * 4, EFX_CU16(s), EFX_F(d)); }},
        {"Convert32toRGBE", EFFECTS_CONVERT_32_TO_RGBE, Fmt::Bgra8, Fmt::Rgbe, true, true,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert32toRGBE(w * h * 4, s, d); }},
        {"Convert24to32Fast", EFFECTS_CONVERT_24_TO_32, Fmt::Rgb8, Fmt::Bgra8, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert24to32Fast(w, h, s, d); }},
        {"Convert32BIT_4to3ChannelsFast", EFFECTS_CONVERT_32_TO_RGB8, Fmt::Bgra8, Fmt::Rgb8Packed, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert32BIT_4to3ChannelsFast(w, h, s, d); }},
        {"Convert32BIT_3to4ChannelsFast", EFFECTS_CONVERT_RGB8_TO_32, Fmt::Rgb8Packed, Fmt::Bgra8, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert32BIT_3to4ChannelsFast(w, h, d, s); }},
        {"Convert32BITto24BITFast", EFFECTS_CONVERT_128_TO_RGBF, Fmt::RgbaFloat, Fmt::RgbFloat, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert32BITto24BITFast(w, h, EFX_CF(s), EFX_F(d)); }},
        {"Convert128BIT_3to4ChannelsFast", EFFECTS_CONVERT_RGBF_TO_128, Fmt::RgbFloat, Fmt::RgbaFloat, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert128BIT_3to4ChannelsFast(w, h, EFX_F(d), EFX_CF(s)); }},
        {"Convert15BITto16BITFast", EFFECTS_CONVERT_64_TO_RGB16, Fmt::Rgba16, Fmt::Rgb16, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert15BITto16BITFast(w, h, EFX_CU16(s), EFX_U16(d)); }},
        {"Convert16BITto15BITFast", EFFECTS_CONVERT_RGB16_TO_64, Fmt::Rgb16, Fmt::Rgba16, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert16BITto15BITFast(w, h, EFX_CU16(s), EFX_U16(d)); }},
        {"Convertfloat3xto64", EFFECTS_CONVERT_FLOAT3_TO_64, Fmt::RgbFloat, Fmt::Rgba16, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convertfloat3xto64(w, h, EFX_U16(d), EFX_CF(s)); }},
        {"Convert32toRGBEAFast", EFFECTS_CONVERT_32_TO_RGBEA, Fmt::Bgra8, Fmt::Rgbea, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert32toRGBEAFast(w, h, s, d); }},
        {"Convert64toRGBEAFast", EFFECTS_CONVERT_64_TO_RGBEA, Fmt::Rgba16, Fmt::Rgbea, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert64toRGBEAFast(w, h, EFX_CU16(s), d); }},
        {"Convert128RGBAtoRGBEA", EFFECTS_CONVERT_128_TO_RGBEA, Fmt::RgbaFloat, Fmt::Rgbea, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert128RGBAtoRGBEA(w, h, EFX_CF(s), d); }},
        {"Convert128RGBtoRGBE", EFFECTS_CONVERT_RGBF_TO_RGBE, Fmt::RgbFloat, Fmt::Rgbe, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert128RGBtoRGBE(w, h, EFX_CF(s), d); }},
        {"Convert128RGBtoRGBEA", EFFECTS_CONVERT_RGBF_TO_RGBEA, Fmt::RgbFloat, Fmt::Rgbea, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert128RGBtoRGBEA(w, h, d, EFX_CF(s), 0); }},
        {"ConvertRGBEtoRGBEA", EFFECTS_CONVERT_RGBE_TO_RGBEA, Fmt::Rgbe, Fmt::Rgbea, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return ConvertRGBEtoRGBEA(w, h, d, s, 0); }},
        {"ConvertRGBEto128RGBA", EFFECTS_CONVERT_RGBE_TO_128, Fmt::Rgbe, Fmt::RgbaFloat, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return ConvertRGBEto128RGBA(w, h, s, EFX_F(d)); }},
        {"ConvertRGBEAto128RGBA", EFFECTS_CONVERT_RGBEA_TO_128, Fmt::Rgbea, Fmt::RgbaFloat, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return ConvertRGBEAto128RGBA(w, h, s, EFX_F(d)); }},
        {"ConvertRGBEAto128RGB", EFFECTS_CONVERT_RGBEA_TO_RGBF, Fmt::Rgbea, Fmt::RgbFloat, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return ConvertRGBEAto128RGB(w, h, s, EFX_F(d)); }},
        {"ConvertRGBEAto32RGBA", EFFECTS_CONVERT_RGBEA_TO_32, Fmt::Rgbea, Fmt::Bgra8, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return ConvertRGBEAto32RGBA(w, h, s, d); }},
        {"Convert128HDRFast", EFFECTS_CONVERT_RGBF_TO_128_GAMMA, Fmt::RgbFloat, Fmt::RgbaFloat, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert128HDRFast(w, h, EFX_F(d), EFX_CF(s), 0); }},
        {"Convert128HDRRAWFast", EFFECTS_CONVERT_RGBE_TO_128_GAMMA, Fmt::Rgbe, Fmt::RgbaFloat, false, false,
         [](int32_t w, int32_t h, const Bytes* s, Bytes* d) { return Convert128HDRRAWFast(w, h, EFX_F(d), s, 0); }},
    };
    return table;
}

#undef EFX_U16
#undef EFX_CU16
#undef EFX_F
#undef EFX_CF

// gtest parameter names: the export's name.
struct ConversionName {
    template <class Info>
    std::string operator()(const Info& info) const {
        return conversions()[info.param].name;
    }
};

// Index of the first differing byte, or -1.
inline long first_difference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    if (a.size() != b.size()) return 0;
    for (size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i]) return static_cast<long>(i);
    return -1;
}

}  // namespace efx_test
