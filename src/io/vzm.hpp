// The editor's native VZM file: a 16-byte little-endian header (two magic
// numbers, two caller values, width, height) and the caller's pixels as
// they lie in memory.
#pragma once

#include <cstdint>

namespace effects::detail {

// Writes the header and then `pieces` pieces of `element_bytes`-sized
// elements, each piece holding (width x height x channels) / pieces elements
// computed in wrapping 32-bit arithmetic as the format's writers always have
// (4 channels in 4 pieces for the 4-channel formats, 5 bytes per pixel in
// one piece for Rgbea).
// Nothing is tested: a file that does not open gets nothing.
void write_vzm(const char16_t* name, int32_t width, int32_t height, int32_t value1, int32_t value2,
               const void* pixels, int channels, int element_bytes, int pieces);

}  // namespace effects::detail
