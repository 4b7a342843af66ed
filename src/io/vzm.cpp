// VZM writer: header fields in little-endian order, then the pixel buffer in
// pieces that follow one another in memory, so the file holds it unchanged.
#include "io/vzm.hpp"

#include <cstdio>

#include "platform/files.hpp"

namespace effects::detail {

namespace {

void put_le(uint8_t* p, uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

}  // namespace

void write_vzm(const char16_t* name, int32_t width, int32_t height, int32_t value1, int32_t value2,
               const void* pixels, int channels, int element_bytes, int pieces) {
    std::FILE* f = platform::open_file(name, "wb");
    if (!f) return;
    uint8_t header[16];
    put_le(header + 0, 1976, 2);
    put_le(header + 2, 1000, 2);
    put_le(header + 4, static_cast<uint32_t>(value1), 2);
    put_le(header + 6, static_cast<uint32_t>(value2), 2);
    put_le(header + 8, static_cast<uint32_t>(width), 4);
    put_le(header + 12, static_cast<uint32_t>(height), 4);
    std::fwrite(header, 1, sizeof header, f);
    // The element count of a piece in signed 32-bit arithmetic, wrapping as
    // the format's writers compute it; a count of 0 or below writes nothing.
    const uint32_t product = static_cast<uint32_t>(width) * static_cast<uint32_t>(height) *
                             static_cast<uint32_t>(channels);
    const int32_t piece = static_cast<int32_t>(product) / pieces;
    if (piece > 0) {
        const auto* p = static_cast<const uint8_t*>(pixels);
        const size_t piece_bytes = static_cast<size_t>(piece) * static_cast<size_t>(element_bytes);
        for (int i = 0; i < pieces; ++i) std::fwrite(p + piece_bytes * static_cast<size_t>(i), 1, piece_bytes, f);
    }
    std::fclose(f);
}

}  // namespace effects::detail
