// The Radiance file routines of the legacy exports, kept to their exact
// bytes and messages: the five writers, the header reader and the pixel
// readers. They check nothing the caller guarantees (sizes, pointers) but
// never write past width x height x 3 floats of a reader's destination.
#pragma once

#include <cstdint>
#include <cstdio>

namespace effects::detail {

// The writers' comment lines (each text begins with a blank).
inline constexpr const char* kCommentMadeWith = " Made with 100% Vexo HDR";
inline constexpr const char* kCommentVersion = " Vexo HDR 2.6";

// Which of the library's formats a legacy writer takes.
enum class LegacySource { Bgra8, Rgba16, RgbaFloat, RgbFloat, Rgbea };

// One writer for the five exports: opens the file, writes the header,
// prepares the work buffer from the image (in parallel over rows) and
// writes the pixels. `close_after_header` is the 64-bit writer's defect,
// kept because files made by it are expected to hold the header alone.
void write_legacy_rgbe(const char16_t* name, int32_t width, int32_t height, const void* image, void* work,
                       LegacySource source, const char* comment, bool close_after_header);

// The error reporter: read and write errors through perror, format and
// other errors as formatted lines on the error stream. Returns -1.
enum class RgbeError { Read, Write, Format, Other };
int report_rgbe_error(RgbeError kind, const char* message);

// Reads the header: magic, lines up to the blank one (the format line must
// be among them) and the resolution line "-Y %d +X %d". Returns 0, or -1
// after reporting what is wrong; the stream stays where reading stopped.
int read_legacy_header(std::FILE* file, int32_t* width, int32_t* height);

// Reads `width` x `scanlines` pixels into three floats each: run-length
// scanlines for widths 8..32767, flat pixels otherwise. Returns 0, or 1 on a
// read or format error, leaving what was decoded in place.
int read_legacy_pixels(std::FILE* file, float* data, int32_t width, int32_t scanlines);

// The whole load: open, header (its result and size not used), pixels with
// the caller's size, close.
void load_legacy_hdr(const char16_t* name, float* data, int32_t width, int32_t height);

}  // namespace effects::detail
