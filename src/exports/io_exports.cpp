// C exports of the file subsystem: the legacy Radiance and VZM routines and
// the checked Radiance entry points, each a shim over src/io/.
#include "effects/effects.h"
#include "io/radiance_api.hpp"
#include "io/rgbe_legacy.hpp"
#include "io/vzm.hpp"

using effects::detail::kCommentMadeWith;
using effects::detail::kCommentVersion;
using effects::detail::LegacySource;
using effects::detail::write_legacy_rgbe;
using effects::detail::write_vzm;

extern "C" {

// ---- Radiance, legacy ----

EFFECTS_API int32_t RGBE_WriteHeader_32(const EffectsChar16* fileName, int32_t width, int32_t height,
                                        const uint8_t* image, float* work) {
    write_legacy_rgbe(fileName, width, height, image, work, LegacySource::Bgra8, kCommentMadeWith, false);
    return 0;
}
EFFECTS_API int32_t RGBE_WriteHeader_64(const EffectsChar16* fileName, int32_t width, int32_t height,
                                        const uint16_t* image, float* work) {
    write_legacy_rgbe(fileName, width, height, image, work, LegacySource::Rgba16, kCommentMadeWith, true);
    return 0;
}
EFFECTS_API int32_t RGBE_WriteHeader_128(const EffectsChar16* fileName, int32_t width, int32_t height,
                                         const float* image, float* work) {
    write_legacy_rgbe(fileName, width, height, image, work, LegacySource::RgbaFloat, kCommentVersion, false);
    return 0;
}
EFFECTS_API int32_t RGBE_WriteHeader_96(const EffectsChar16* fileName, int32_t width, int32_t height,
                                        const float* rgb) {
    write_legacy_rgbe(fileName, width, height, rgb, nullptr, LegacySource::RgbFloat, kCommentMadeWith, false);
    return 0;
}
EFFECTS_API int32_t RGBE_WriteHeader_RGBEA(const EffectsChar16* fileName, int32_t width, int32_t height,
                                           const uint8_t* image, uint8_t* work) {
    write_legacy_rgbe(fileName, width, height, image, work, LegacySource::Rgbea, kCommentVersion, false);
    return 0;
}
EFFECTS_API int32_t RGBE_LoadHDR(const EffectsChar16* fileName, float* data, int32_t width, int32_t height) {
    effects::detail::load_legacy_hdr(fileName, data, width, height);
    return 0;
}
EFFECTS_API int32_t RGBE_ReadPixels_RLE(FILE* file, float* data, int32_t width, int32_t scanlines) {
    return effects::detail::read_legacy_pixels(file, data, width, scanlines);
}

// ---- VZM ----

EFFECTS_API int32_t VexoSaveVZMFile32(const EffectsChar16* fileName, int32_t width, int32_t height,
                                      int32_t value1, int32_t value2, const uint8_t* image) {
    write_vzm(fileName, width, height, value1, value2, image, 4, 1, 4);
    return 0;
}
EFFECTS_API int32_t VexoSaveVZMFile64(const EffectsChar16* fileName, int32_t width, int32_t height,
                                      int32_t value1, int32_t value2, const uint16_t* image) {
    write_vzm(fileName, width, height, value1, value2, image, 4, 2, 4);
    return 0;
}
EFFECTS_API int32_t VexoSaveVZMFile128(const EffectsChar16* fileName, int32_t width, int32_t height,
                                       int32_t value1, int32_t value2, const float* image) {
    write_vzm(fileName, width, height, value1, value2, image, 4, 4, 4);
    return 0;
}
EFFECTS_API int32_t VexoSaveVZMFileRGBEA(const EffectsChar16* fileName, int32_t width, int32_t height,
                                         int32_t value1, int32_t value2, const uint8_t* image) {
    write_vzm(fileName, width, height, value1, value2, image, 5, 1, 1);
    return 0;
}

// ---- Radiance, checked ----

EFFECTS_API int32_t EffectsDecodeRadiance(const void* data, intptr_t size, EffectsRadianceInfo* info, char* header,
                                          intptr_t header_capacity, float* pixels, intptr_t pixel_capacity,
                                          char* message, intptr_t message_capacity) {
    return effects::detail::decode_radiance(data, size, info, header, header_capacity, pixels, pixel_capacity,
                                            message, message_capacity);
}
EFFECTS_API int32_t EffectsWriteRadiance(const char* path, int32_t width, int32_t height, const float* rgb,
                                         intptr_t stride, char* message, intptr_t message_capacity) {
    return effects::detail::write_radiance(path, width, height, rgb, stride, message, message_capacity);
}

}  // extern "C"
