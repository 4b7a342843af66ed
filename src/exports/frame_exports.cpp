// C exports of the frame subsystem: the pixel-format conversions. Each is a
// thin shim over the conversion table; the legacy members check nothing.
#include "effects/effects.h"
#include "frame/convert.hpp"
#include "frame/numeric.hpp"
#include "version.hpp"

using effects::detail::conversion_kernel;
using effects::detail::convert_pixels;
using effects::detail::convert_rows;
using effects::detail::convert_values;

namespace {
const effects::detail::ConversionKernel& K(EffectsConversion id) { return *conversion_kernel(id); }
}  // namespace

extern "C" {

EFFECTS_API const char* EffectsVersion(void) { return EFFECTS_VERSION_STRING; }

// ---- count form ----

EFFECTS_API int32_t Convert64to32Fast(int32_t count, uint8_t* dst, const uint16_t* src) {
    convert_values(K(EFFECTS_CONVERT_64_TO_32), count, src, dst);
    return count;
}
EFFECTS_API int32_t Convert64to32Screen(int32_t count, uint8_t* dst, const uint16_t* src) {
    convert_pixels(K(EFFECTS_CONVERT_64_TO_32_SCREEN), count, src, dst);
    return 0;
}
EFFECTS_API int32_t Convert128to32Fast(int32_t count, uint8_t* dst, const float* src) {
    convert_values(K(EFFECTS_CONVERT_128_TO_32), count, src, dst);
    return count;
}
EFFECTS_API int32_t Convert128to64Fast(int32_t count, uint16_t* dst, const float* src) {
    convert_values(K(EFFECTS_CONVERT_128_TO_64), count, src, dst);
    return count;
}
EFFECTS_API int32_t Convert32to64Fast(int32_t count, const uint8_t* src, uint16_t* dst) {
    convert_values(K(EFFECTS_CONVERT_32_TO_64), count, src, dst);
    return count;
}
EFFECTS_API int32_t Convert32to128Fast(int32_t count, const uint8_t* src, float* dst) {
    convert_values(K(EFFECTS_CONVERT_32_TO_128), count, src, dst);
    return count;
}
EFFECTS_API int32_t Convert64to128Fast(int32_t count, const uint16_t* src, float* dst) {
    convert_values(K(EFFECTS_CONVERT_64_TO_128), count, src, dst);
    return count;
}
EFFECTS_API int32_t Convert32toRGBE(int32_t count, const uint8_t* src, uint8_t* dst) {
    convert_pixels(K(EFFECTS_CONVERT_32_TO_RGBE), count, src, dst);
    return count;
}

// ---- geometry form ----

#define EFFECTS_ROWS(id, w, h, s, d) \
    convert_rows(K(id), w, h, s, d); \
    return 0

EFFECTS_API int32_t Convert24to32Fast(int32_t w, int32_t h, const uint8_t* src, uint8_t* dst) {
    EFFECTS_ROWS(EFFECTS_CONVERT_24_TO_32, w, h, src, dst);
}
EFFECTS_API int32_t Convert32BIT_4to3ChannelsFast(int32_t w, int32_t h, const uint8_t* src, uint8_t* dst) {
    EFFECTS_ROWS(EFFECTS_CONVERT_32_TO_RGB8, w, h, src, dst);
}
EFFECTS_API int32_t Convert32BIT_3to4ChannelsFast(int32_t w, int32_t h, uint8_t* dst, const uint8_t* src) {
    EFFECTS_ROWS(EFFECTS_CONVERT_RGB8_TO_32, w, h, src, dst);
}
EFFECTS_API int32_t Convert32BITto24BITFast(int32_t w, int32_t h, const float* src, float* dst) {
    EFFECTS_ROWS(EFFECTS_CONVERT_128_TO_RGBF, w, h, src, dst);
}
EFFECTS_API int32_t Convert128BIT_3to4ChannelsFast(int32_t w, int32_t h, float* dst, const float* src) {
    EFFECTS_ROWS(EFFECTS_CONVERT_RGBF_TO_128, w, h, src, dst);
}
EFFECTS_API int32_t Convert15BITto16BITFast(int32_t w, int32_t h, const uint16_t* src, uint16_t* dst) {
    EFFECTS_ROWS(EFFECTS_CONVERT_64_TO_RGB16, w, h, src, dst);
}
EFFECTS_API int32_t Convert16BITto15BITFast(int32_t w, int32_t h, const uint16_t* src, uint16_t* dst) {
    EFFECTS_ROWS(EFFECTS_CONVERT_RGB16_TO_64, w, h, src, dst);
}
EFFECTS_API int32_t Convertfloat3xto64(int32_t w, int32_t h, uint16_t* dst, const float* src) {
    EFFECTS_ROWS(EFFECTS_CONVERT_FLOAT3_TO_64, w, h, src, dst);
}
EFFECTS_API int32_t Convert32toRGBEAFast(int32_t w, int32_t h, const uint8_t* src, uint8_t* dst) {
    EFFECTS_ROWS(EFFECTS_CONVERT_32_TO_RGBEA, w, h, src, dst);
}
EFFECTS_API int32_t Convert64toRGBEAFast(int32_t w, int32_t h, const uint16_t* src, uint8_t* dst) {
    EFFECTS_ROWS(EFFECTS_CONVERT_64_TO_RGBEA, w, h, src, dst);
}
EFFECTS_API int32_t Convert128RGBAtoRGBEA(int32_t w, int32_t h, const float* src, uint8_t* dst) {
    EFFECTS_ROWS(EFFECTS_CONVERT_128_TO_RGBEA, w, h, src, dst);
}
EFFECTS_API int32_t Convert128RGBtoRGBE(int32_t w, int32_t h, const float* src, uint8_t* dst) {
    EFFECTS_ROWS(EFFECTS_CONVERT_RGBF_TO_RGBE, w, h, src, dst);
}
EFFECTS_API int32_t Convert128RGBtoRGBEA(int32_t w, int32_t h, uint8_t* dst, const float* src, int32_t) {
    EFFECTS_ROWS(EFFECTS_CONVERT_RGBF_TO_RGBEA, w, h, src, dst);
}
EFFECTS_API int32_t ConvertRGBEtoRGBEA(int32_t w, int32_t h, uint8_t* dst, const uint8_t* src, int32_t) {
    EFFECTS_ROWS(EFFECTS_CONVERT_RGBE_TO_RGBEA, w, h, src, dst);
}
EFFECTS_API int32_t ConvertRGBEto128RGBA(int32_t w, int32_t h, const uint8_t* src, float* dst) {
    EFFECTS_ROWS(EFFECTS_CONVERT_RGBE_TO_128, w, h, src, dst);
}
EFFECTS_API int32_t ConvertRGBEAto128RGBA(int32_t w, int32_t h, const uint8_t* src, float* dst) {
    EFFECTS_ROWS(EFFECTS_CONVERT_RGBEA_TO_128, w, h, src, dst);
}
EFFECTS_API int32_t ConvertRGBEAto128RGB(int32_t w, int32_t h, const uint8_t* src, float* dst) {
    EFFECTS_ROWS(EFFECTS_CONVERT_RGBEA_TO_RGBF, w, h, src, dst);
}
EFFECTS_API int32_t ConvertRGBEAto32RGBA(int32_t w, int32_t h, const uint8_t* src, uint8_t* dst) {
    EFFECTS_ROWS(EFFECTS_CONVERT_RGBEA_TO_32, w, h, src, dst);
}
EFFECTS_API int32_t Convert128HDRFast(int32_t w, int32_t h, float* dst, const float* src, int32_t) {
    EFFECTS_ROWS(EFFECTS_CONVERT_RGBF_TO_128_GAMMA, w, h, src, dst);
}
EFFECTS_API int32_t Convert128HDRRAWFast(int32_t w, int32_t h, float* dst, const uint8_t* src, int32_t) {
    EFFECTS_ROWS(EFFECTS_CONVERT_RGBE_TO_128_GAMMA, w, h, src, dst);
}

#undef EFFECTS_ROWS

// ---- scalar ----

EFFECTS_API double ConvertRGBEto128(int32_t exponent) {
    // Beyond +-4096 every power is already 0 or infinite; the clamp keeps the
    // subtraction from overflowing.
    const int64_t e = int64_t{exponent} - 136;
    return effects::detail::FloatLdexp(1.0f, static_cast<int>(e < -4096 ? -4096 : e > 4096 ? 4096 : e));
}

// ---- checked ----

EFFECTS_API int32_t EffectsConvertImage(int32_t conversion, int32_t width, int32_t height, const void* src,
                                        intptr_t src_stride, void* dst, intptr_t dst_stride) {
    return effects::detail::convert_image(conversion, width, height, src, src_stride, dst, dst_stride);
}
EFFECTS_API intptr_t EffectsConversionRowBytes(int32_t conversion, int32_t which, int32_t width) {
    return effects::detail::conversion_row_bytes(conversion, which, width);
}

}  // extern "C"
