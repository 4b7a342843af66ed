// The checked entry points of the Radiance files: arguments validated once
// here, errors returned as codes with a message the caller can show.
#include "io/radiance_api.hpp"

#include <algorithm>
#include <cstring>
#include <string>

#include "io/radiance.hpp"

namespace effects::detail {

namespace {

int32_t report(int32_t code, const std::string& text, char* message, intptr_t capacity) {
    if (message && capacity > 0) {
        const size_t n = std::min(text.size(), static_cast<size_t>(capacity - 1));
        std::memcpy(message, text.data(), n);
        message[n] = 0;
    }
    return code;
}

}  // namespace

int32_t decode_radiance(const void* data, intptr_t size, EffectsRadianceInfo* info, char* header,
                        intptr_t header_capacity, float* pixels, intptr_t pixel_capacity, char* message,
                        intptr_t message_capacity) {
    if (message && message_capacity > 0) message[0] = 0;
    if (size < 0) return report(EFFECTS_ERROR_NEGATIVE_SIZE, "negative file size", message, message_capacity);
    if (!info || (!data && size > 0))
        return report(EFFECTS_ERROR_NULL_POINTER, "no file bytes or no place for the result", message,
                      message_capacity);
    const auto* bytes = static_cast<const uint8_t*>(data);
    const size_t n = static_cast<size_t>(size);
    RadianceHeader h;
    std::string error;
    if (!parse_radiance_header(bytes, n, &h, &error))
        return report(EFFECTS_ERROR_BAD_FILE, error, message, message_capacity);
    info->width = h.width;
    info->height = h.height;
    info->exposure = h.exposure;
    info->converted_from_xyz = h.xyz ? 1 : 0;
    info->header_bytes = static_cast<intptr_t>(h.text.size());
    if (header) {
        if (header_capacity <= info->header_bytes)
            return report(EFFECTS_ERROR_BUFFER_TOO_SMALL,
                          "header text needs " + std::to_string(h.text.size() + 1) + " bytes", message,
                          message_capacity);
        std::memcpy(header, h.text.c_str(), h.text.size() + 1);
    }
    if (!pixels) return EFFECTS_OK;
    const int64_t floats = int64_t{h.width} * h.height * 3;
    if (pixel_capacity < floats)
        return report(EFFECTS_ERROR_BUFFER_TOO_SMALL,
                      "pixels need " + std::to_string(floats) + " floats, the buffer holds " +
                          std::to_string(pixel_capacity),
                      message, message_capacity);
    if (!decode_radiance_pixels(bytes, n, h, pixels, &error))
        return report(EFFECTS_ERROR_BAD_FILE, error, message, message_capacity);
    return EFFECTS_OK;
}

int32_t write_radiance(const char* path, int32_t width, int32_t height, const float* rgb, intptr_t stride,
                       char* message, intptr_t message_capacity) {
    if (message && message_capacity > 0) message[0] = 0;
    if (!path || !*path) return report(EFFECTS_ERROR_NULL_POINTER, "no file name", message, message_capacity);
    if (width < 1 || height < 1 || width > kRadianceMaxExtent || height > kRadianceMaxExtent)
        return report(EFFECTS_ERROR_NEGATIVE_SIZE,
                      "cannot write an image of " + std::to_string(width) + " x " + std::to_string(height) +
                          " pixels (each side 1 to 16777216)",
                      message, message_capacity);
    if (!rgb) return report(EFFECTS_ERROR_NULL_POINTER, "no pixels", message, message_capacity);
    if (stride < int64_t{width} * 12 || stride % 4)
        return report(EFFECTS_ERROR_BAD_STRIDE,
                      "row stride " + std::to_string(stride) + " is not a multiple of 4 of at least " +
                          std::to_string(int64_t{width} * 12) + " bytes",
                      message, message_capacity);
    if (reinterpret_cast<uintptr_t>(rgb) % alignof(float))
        return report(EFFECTS_ERROR_MISALIGNED, "pixels not aligned to floats", message, message_capacity);
    std::string error;
    if (!write_radiance_file(path, width, height, rgb, stride, &error))
        return report(EFFECTS_ERROR_IO, error, message, message_capacity);
    return EFFECTS_OK;
}

}  // namespace effects::detail
