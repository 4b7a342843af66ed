// The checked Radiance reader and writer behind EffectsDecodeRadiance and
// EffectsWriteRadiance (and so effects::io): parse -> validate -> decode,
// every read bounded by the bytes left and every run by the room left in its
// scanline; errors say what is wrong and where. The writer replaces its
// file in one step through a temporary file in the same folder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace effects::detail {

// Largest width or height that the reader accepts.
inline constexpr int64_t kRadianceMaxExtent = int64_t{1} << 24;
// Largest header (magic and lines up to the blank one) that it reads.
inline constexpr size_t kRadianceMaxHeader = 64 * 1024;

struct RadianceHeader {
    int32_t width = 0, height = 0;  // of the image as returned: rows top-down, pixels left to right
    int32_t scanlines = 0, scanline_length = 0;  // as the file stores them
    bool columns = false;            // the file's scanlines are columns (its first axis is X)
    bool reverse_scanlines = false;  // the file's scanline s lands at index count - 1 - s of its axis
    bool reverse_pixels = false;     // likewise for pixel i of a scanline
    bool xyz = false;                // FORMAT=32-bit_rle_xyze: the pixels are converted to RGB
    float exposure = 1.0f;           // product of the EXPOSURE= values (not applied to the pixels)
    std::string text;                // the header's lines up to the blank one, each ending in '\n'
    size_t pixel_offset = 0;         // file offset of the first scanline
};

// Reads and validates the header of a file held in memory; false and
// *error (with the offset) when it is not a Radiance file this reader takes.
bool parse_radiance_header(const uint8_t* data, size_t size, RadianceHeader* header, std::string* error);

// Decodes all pixels into header.width x header.height x 3 floats (R, G,
// B, top-down). False and *error (scanline and offset) on a bad or short
// file; `out` then holds the scanlines decoded so far.
bool decode_radiance_pixels(const uint8_t* data, size_t size, const RadianceHeader& header, float* out,
                            std::string* error);

// Writes width x height pixels of three floats (rows `stride` bytes apart)
// as a run-length Radiance file at `path` (UTF-8), replacing any file there
// only once the new one is complete. False and *error when it fails.
bool write_radiance_file(const char* path, int32_t width, int32_t height, const float* rgb, int64_t stride,
                         std::string* error);

}  // namespace effects::detail
