// The pixel part of Radiance files, shared by the legacy exports and the
// checked writer: where a scanline's R, G, B, E bytes come from, the
// byte-run coder, and the writer of all scanlines (run-length for widths
// 8..32767, flat otherwise), which encodes batches of scanlines in parallel
// and writes them in order, so its bytes are those of a serial coder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace effects::detail {

// The rows of an image as the file's R, G, B, E bytes: either three floats
// per pixel in R, G, B order, encoded with the clamped RGBE rule, or four
// bytes per pixel already in file order.
struct RgbeRows {
    enum class Kind { RgbFloat, RgbeBytes };
    Kind kind;
    const uint8_t* base;
    int64_t stride;  // bytes from one row to the next

    // Bytes of pixels [x0, x0 + n) of row y into out (4 per pixel).
    void fetch(int64_t y, int64_t x0, int64_t n, uint8_t* out) const;
};

// Run-length widths: below 8 or above 32767 a file holds flat pixels.
inline bool run_length_width(int64_t width) { return width >= 8 && width <= 0x7fff; }

// Upper bound of the bytes that byte_run_encode writes for n bytes.
inline size_t byte_run_bound(size_t n) { return n + n / 128 + 4; }

// Encodes one plane of n bytes: runs of 4 to 127 equal bytes as 128 + length
// and the byte, literal blocks of at most 128 bytes as their count and the
// bytes, and a short run of 2 or 3 bytes just before a long run as a run.
// Returns the bytes written to out.
size_t byte_run_encode(const uint8_t* plane, size_t n, uint8_t* out);

// Upper bound of one encoded scanline of `width` pixels (marker included).
inline size_t scanline_bound(size_t width) { return 4 + 4 * byte_run_bound(width); }

// Encodes a scanline of 4-byte pixels (8 <= width <= 32767): the marker
// 2, 2, width >> 8, width & 255 and the four byte planes R, G, B, E.
// `plane` is scratch of width bytes. Returns the bytes written to out.
size_t encode_scanline(const uint8_t* rgbe, int32_t width, uint8_t* plane, uint8_t* out);

// Writes every pixel of a width x height image to the file, run-length
// encoded or flat as the width says (flat also when the working memory of
// the run-length coder cannot be had). Returns false when a write failed.
bool write_rgbe_pixels(std::FILE* file, int32_t width, int32_t height, const RgbeRows& rows);

// The header every writer puts first: magic, the comment text (with its
// leading blank), format, exposure, blank line and the resolution line.
// Returns false when a write failed.
bool write_rgbe_header(std::FILE* file, const char* comment, int32_t width, int32_t height);

}  // namespace effects::detail
