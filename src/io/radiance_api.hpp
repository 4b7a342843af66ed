// Validation and error reporting of EffectsDecodeRadiance and
// EffectsWriteRadiance (see effects.h for their contract).
#pragma once

#include "effects/effects.h"

namespace effects::detail {

int32_t decode_radiance(const void* data, intptr_t size, EffectsRadianceInfo* info, char* header,
                        intptr_t header_capacity, float* pixels, intptr_t pixel_capacity, char* message,
                        intptr_t message_capacity);
int32_t write_radiance(const char* path, int32_t width, int32_t height, const float* rgb, intptr_t stride,
                       char* message, intptr_t message_capacity);

}  // namespace effects::detail
