// The legacy Radiance routines. Where the routines they reproduce would
// touch a closed stream, a stream that never opened or memory past the
// caller's destination, these keep the visible result (the bytes of the
// file, the messages, the stream position, the destination's contents)
// and skip the undefined step.
#include "io/rgbe_legacy.hpp"

#include <cctype>
#include <cstring>
#include <memory>
#include <new>

#include "frame/convert.hpp"
#include "frame/parallel.hpp"
#include "frame/rgbe.hpp"
#include "io/rgbe_pixels.hpp"
#include "platform/files.hpp"

namespace effects::detail {

namespace {

using RowKernel = void (*)(const void*, void*, int64_t);

// The work-buffer step of a writer, parallel over rows of packed pixels.
void prepare_rows(RowKernel kernel, int32_t width, int32_t height, const void* src, int src_bytes, void* dst,
                  int dst_bytes) {
    if (width < 1 || height < 1) return;
    const auto* s = static_cast<const uint8_t*>(src);
    auto* d = static_cast<uint8_t*>(dst);
    parallel_rows(height, [&](int64_t begin, int64_t end) {
        for (int64_t r = begin; r < end; ++r)
            kernel(s + r * width * src_bytes, d + r * width * dst_bytes, width);
    });
}

}  // namespace

void write_legacy_rgbe(const char16_t* name, int32_t width, int32_t height, const void* image, void* work,
                       LegacySource source, const char* comment, bool close_after_header) {
    // The open is not tested: a file that does not open gets no bytes, and
    // the work buffer is still prepared.
    std::FILE* f = platform::open_file(name, "wb");
    if (f) write_rgbe_header(f, comment, width, height);
    if (f && close_after_header) {
        std::fclose(f);
        f = nullptr;
    }
    const RadianceRowKernels& k = radiance_row_kernels();
    const int64_t float_stride = int64_t{width} * 12;
    RgbeRows rows{RgbeRows::Kind::RgbFloat, static_cast<const uint8_t*>(work), float_stride};
    switch (source) {
        case LegacySource::Bgra8: prepare_rows(k.bgra8_to_rgbf, width, height, image, 4, work, 12); break;
        case LegacySource::Rgba16: prepare_rows(k.rgba16_to_rgbf, width, height, image, 8, work, 12); break;
        case LegacySource::RgbaFloat: prepare_rows(k.rgbaf_to_rgbf, width, height, image, 16, work, 12); break;
        case LegacySource::RgbFloat: rows.base = static_cast<const uint8_t*>(image); break;
        case LegacySource::Rgbea:
            prepare_rows(k.rgbea_to_rgbe, width, height, image, 5, work, 4);
            rows = {RgbeRows::Kind::RgbeBytes, static_cast<const uint8_t*>(work), int64_t{width} * 4};
            break;
    }
    if (!f) return;
    write_rgbe_pixels(f, width, height, rows);  // write results are not tested
    std::fclose(f);
}

int report_rgbe_error(RgbeError kind, const char* message) {
    switch (kind) {
        case RgbeError::Read: std::perror("RGBE read error"); break;
        case RgbeError::Write: std::perror("RGBE write error"); break;
        case RgbeError::Format: std::fprintf(stderr, "RGBE bad file format: %s\n", message); break;
        case RgbeError::Other: std::fprintf(stderr, "RGBE error: %s\n", message); break;
    }
    return -1;
}

namespace {

// The count of numbers that sscanf(line, "-Y %d +X %d", ...) converts,
// without sscanf's undefined behaviour on numbers out of range (those are
// clamped; the values are not used by the load anyway).
int scan_size_line(const char* s, int32_t* height, int32_t* width) {
    const char* format = "-Y %d +X %d";
    int32_t* targets[2] = {height, width};
    int converted = 0;
    for (const char* f = format; *f; ++f) {
        if (*f == ' ') {
            while (std::isspace(static_cast<unsigned char>(*s))) ++s;
        } else if (*f == '%') {
            ++f;  // 'd'
            while (std::isspace(static_cast<unsigned char>(*s))) ++s;
            bool negative = false;
            if (*s == '+' || *s == '-') negative = *s++ == '-';
            if (!std::isdigit(static_cast<unsigned char>(*s))) return converted;
            int64_t v = 0;
            for (; std::isdigit(static_cast<unsigned char>(*s)); ++s) v = v > INT32_MAX ? v : v * 10 + (*s - '0');
            v = negative ? -v : v;
            *targets[converted++] = static_cast<int32_t>(v < INT32_MIN ? INT32_MIN : v > INT32_MAX ? INT32_MAX : v);
        } else if (*s == *f) {
            ++s;
        } else {
            return converted;
        }
    }
    return converted;
}

}  // namespace

int read_legacy_header(std::FILE* f, int32_t* width, int32_t* height) {
    // Lines are read into 128 characters; a longer line arrives in pieces,
    // each taken as a line.
    char buf[128] = {};
    if (!f || !std::fgets(buf, sizeof buf, f)) return report_rgbe_error(RgbeError::Read, nullptr);
    if (buf[0] != '#' || buf[1] != '?') return report_rgbe_error(RgbeError::Format, "bad initial token");
    static const char kFormatLine[24] = "FORMAT=32-bit_rle_rgbe\n";
    bool found = false;
    for (;;) {
        if (!std::fgets(buf, sizeof buf, f)) return report_rgbe_error(RgbeError::Read, nullptr);
        if (buf[0] == 0 || buf[0] == '\n') break;
        if (std::memcmp(buf, kFormatLine, sizeof kFormatLine) == 0) found = true;
    }
    if (!found) return report_rgbe_error(RgbeError::Format, "no FORMAT specifier found");
    if (!std::fgets(buf, sizeof buf, f)) return report_rgbe_error(RgbeError::Read, nullptr);
    if (scan_size_line(buf, height, width) < 2)
        return report_rgbe_error(RgbeError::Format, "missing image size specifier");
    return 0;
}

namespace {

void decode_pixels(const uint8_t* rgbe, float* out, int64_t n) { radiance_row_kernels().rgbe_to_rgbf(rgbe, out, n); }

// Reads `count` flat pixels; those that fit in `room` pixels of `out` are
// decoded there, the rest are read and dropped (the stream ends where the
// reader it reproduces leaves it). Returns 0 when every pixel was read.
int read_flat(std::FILE* f, float* out, int64_t count, int64_t room) {
    constexpr int64_t kChunk = 1024;
    uint8_t buf[4 * kChunk];
    for (int64_t done = 0; done < count;) {
        const int64_t want = count - done < kChunk ? count - done : kChunk;
        const int64_t got = static_cast<int64_t>(std::fread(buf, 4, static_cast<size_t>(want), f));
        const int64_t keep = got < room - done ? got : (room - done > 0 ? room - done : 0);
        if (keep > 0) decode_pixels(buf, out + 3 * done, keep);
        done += got;
        if (got < want) return 1;
    }
    return 0;
}

// Fills one plane of n bytes from the byte-run code; false on a short read,
// a zero count or a run longer than the room left.
bool read_plane(std::FILE* f, uint8_t* plane, int64_t n) {
    int64_t at = 0;
    while (at < n) {
        uint8_t pair[2];
        if (std::fread(pair, 2, 1, f) < 1) return false;
        if (pair[0] > 128) {
            const int64_t count = pair[0] - 128;
            if (count > n - at) return false;
            std::memset(plane + at, pair[1], static_cast<size_t>(count));
            at += count;
        } else {
            const int64_t count = pair[0];
            if (count == 0 || count > n - at) return false;
            plane[at++] = pair[1];
            if (count > 1 && std::fread(plane + at, static_cast<size_t>(count - 1), 1, f) < 1) return false;
            at += count - 1;
        }
    }
    return true;
}

}  // namespace

int read_legacy_pixels(std::FILE* f, float* data, int32_t width, int32_t scanlines) {
    if (!f) return 1;
    const int64_t total = width > 0 && scanlines > 0 ? int64_t{width} * scanlines : 0;
    if (!run_length_width(width)) return read_flat(f, data, total, total);
    std::unique_ptr<uint8_t[]> buffer;
    std::unique_ptr<uint8_t[]> pixels;
    for (int64_t line = 0; line < scanlines; ++line) {
        uint8_t rgbe[4];
        if (std::fread(rgbe, 4, 1, f) < 1) return 1;
        float* out = data + 3 * line * width;
        if (rgbe[0] != 2 || rgbe[1] != 2 || (rgbe[2] & 0x80)) {
            // Not run-length encoded: these bytes are the pixel here, and
            // the whole image's count less one follows flat from here on
            // (only what fits before the destination's end is kept).
            decode_pixels(rgbe, out, 1);
            read_flat(f, out + 3, total - 1, total - line * width - 1);
            return 1;
        }
        if ((rgbe[2] << 8 | rgbe[3]) != width) return 1;
        if (!buffer) {
            buffer.reset(new (std::nothrow) uint8_t[static_cast<size_t>(width) * 4]);
            pixels.reset(new (std::nothrow) uint8_t[static_cast<size_t>(width) * 4]);
            if (!buffer || !pixels) return 1;
        }
        for (int k = 0; k < 4; ++k)
            if (!read_plane(f, buffer.get() + k * width, width)) return 1;
        for (int64_t x = 0; x < width; ++x)
            for (int k = 0; k < 4; ++k) pixels[4 * x + k] = buffer[k * width + x];
        decode_pixels(pixels.get(), out, width);
    }
    return 0;
}

void load_legacy_hdr(const char16_t* name, float* data, int32_t width, int32_t height) {
    std::FILE* f = platform::open_file(name, "rb");
    int32_t file_width = 0, file_height = 0;
    read_legacy_header(f, &file_width, &file_height);  // reports a file that did not open as a read error
    read_legacy_pixels(f, data, width, height);
    if (f) std::fclose(f);
}

}  // namespace effects::detail
