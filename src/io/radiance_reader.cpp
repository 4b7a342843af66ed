// The checked Radiance reader. It takes what writers of the format produce:
// "#?RADIANCE", "#?RGBE" or another program name after the magic, comment
// and unknown lines, EXPOSURE= (reported, not applied), the RGB and XYZ
// formats, all eight resolution-line orientations, new-style run-length
// scanlines, old-style repeat pixels (1, 1, 1, n) and flat pixels.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>
#include <memory>
#include <new>

#include "frame/convert.hpp"
#include "frame/parallel.hpp"
#include "io/radiance.hpp"
#include "io/rgbe_pixels.hpp"

namespace effects::detail {

namespace {

std::string at_offset(size_t offset) { return "at offset " + std::to_string(offset); }

bool fail(std::string* error, std::string text) {
    *error = std::move(text);
    return false;
}

// A header line without its line feed and a carriage return before it.
std::string_view trimmed(std::string_view line) {
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t')) line.remove_suffix(1);
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
    return line;
}

// A piece of the file for a message: at most 40 bytes, unprintable ones
// shown as '?'.
std::string quoted(std::string_view s) {
    std::string out = "\"";
    for (char c : s.substr(0, 40)) out += c >= ' ' && c < 127 ? c : '?';
    return out + (s.size() > 40 ? "...\"" : "\"");
}

bool starts_with(std::string_view s, std::string_view prefix) { return s.substr(0, prefix.size()) == prefix; }

// One axis of the resolution line: a sign, X or Y, blanks and a count.
struct Axis {
    char sign = 0, name = 0;
    int64_t count = 0;
};

bool parse_axis(std::string_view& s, Axis* axis) {
    while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
    if (s.size() < 2 || (s[0] != '+' && s[0] != '-') || (s[1] != 'X' && s[1] != 'Y')) return false;
    axis->sign = s[0];
    axis->name = s[1];
    s.remove_prefix(2);
    const size_t blanks = s.find_first_not_of(' ');
    if (blanks == 0 || blanks == std::string_view::npos) return false;
    s.remove_prefix(blanks);
    size_t digits = 0;
    int64_t v = 0;
    while (digits < s.size() && s[digits] >= '0' && s[digits] <= '9') {
        v = v > kRadianceMaxExtent ? v : v * 10 + (s[digits] - '0');
        ++digits;
    }
    if (digits == 0) return false;
    s.remove_prefix(digits);
    axis->count = v;
    return true;
}

}  // namespace

bool parse_radiance_header(const uint8_t* data, size_t size, RadianceHeader* h, std::string* error) {
    *h = RadianceHeader{};
    const std::string_view file(reinterpret_cast<const char*>(data), size);
    // Files from before the magic line existed start with their history
    // lines; such a header is taken when it names the format, and anything
    // else without the magic is refused as not a Radiance file.
    const bool magic = size >= 2 && file[0] == '#' && file[1] == '?';
    const auto refuse = [&](std::string text) {
        return fail(error, magic ? std::move(text)
                                 : std::string("not a Radiance file: no \"#?\" magic at offset 0 and no FORMAT= line"));
    };
    size_t pos = 0;
    bool format_seen = false;
    for (int line_no = 0;; ++line_no) {
        const size_t end = file.find('\n', pos);
        if (end == std::string_view::npos || end >= kRadianceMaxHeader) {
            if (size >= kRadianceMaxHeader)
                return refuse("header longer than 64 KiB (no blank line in the first 65536 bytes)");
            return refuse("file ends inside the header " + at_offset(size));
        }
        const std::string_view raw = file.substr(pos, end - pos);
        const std::string_view line = trimmed(raw);
        if (line_no == 0 && magic) {
            // "#?" and a program name: RADIANCE, RGBE or another writer's.
            const std::string_view name = line.substr(2);
            bool printable = !name.empty();
            for (char c : name) printable &= c > ' ' && c < 127;
            if (!printable)
                return fail(error, "bad magic " + quoted(raw) + " at offset 0: expected #?RADIANCE");
        } else if (line.empty()) {
            pos = end + 1;
            break;
        } else if (starts_with(line, "FORMAT=")) {
            const std::string_view format = trimmed(line.substr(7));
            if (format == "32-bit_rle_rgbe") {
                h->xyz = false;
            } else if (format == "32-bit_rle_xyze") {
                h->xyz = true;
            } else {
                return refuse("unsupported pixel format " + quoted(format) + " " +
                                       at_offset(pos) + " (expected 32-bit_rle_rgbe or 32-bit_rle_xyze)");
            }
            format_seen = true;
        } else if (starts_with(line, "EXPOSURE=")) {
            const std::string_view value = trimmed(line.substr(9));
            float e = 0;
            const auto r = std::from_chars(value.data(), value.data() + value.size(), e);
            if (r.ec != std::errc() || r.ptr != value.data() + value.size() || !(e > 0) || !std::isfinite(e))
                return refuse("bad EXPOSURE value " + quoted(value) + " " + at_offset(pos));
            h->exposure *= e;
        }
        h->text.append(raw);
        h->text += '\n';
        pos = end + 1;
    }
    // With the magic, a header without a FORMAT line is RGB, the format's
    // default.
    if (!magic && !format_seen) return refuse("");
    // The resolution line, e.g. "-Y 480 +X 640".
    const size_t end = file.find('\n', pos);
    if (end == std::string_view::npos || end - pos > 256)
        return fail(error, "missing image size line " + at_offset(pos));
    std::string_view res = trimmed(file.substr(pos, end - pos));
    Axis a1, a2;
    if (!parse_axis(res, &a1) || !parse_axis(res, &a2) || a1.name == a2.name || !trimmed(res).empty())
        return fail(error, "bad image size line " + quoted(file.substr(pos, end - pos)) + " " + at_offset(pos) +
                               " (expected e.g. -Y 480 +X 640)");
    for (const Axis* a : {&a1, &a2})
        if (a->count < 1 || a->count > kRadianceMaxExtent)
            return fail(error, std::string(a->name == 'X' ? "width " : "height ") +
                                   (a->count > kRadianceMaxExtent ? "above 16777216" : std::to_string(a->count)) +
                                   " in the image size line " + at_offset(pos) + " (allowed: 1 to 16777216)");
    const int64_t pixels = a1.count * a2.count;
    if (pixels > static_cast<int64_t>(PTRDIFF_MAX / 12))
        return fail(error, "image of " + std::to_string(a1.count) + " x " + std::to_string(a2.count) +
                               " pixels is too large for this machine's memory");
    h->columns = a1.name == 'X';
    h->scanlines = static_cast<int32_t>(a1.count);
    h->scanline_length = static_cast<int32_t>(a2.count);
    h->width = static_cast<int32_t>(h->columns ? a1.count : a2.count);
    h->height = static_cast<int32_t>(h->columns ? a2.count : a1.count);
    // Y grows upward in the file's coordinates, X to the right.
    h->reverse_scanlines = (a1.name == 'Y') == (a1.sign == '+');
    h->reverse_pixels = (a2.name == 'Y') == (a2.sign == '+');
    h->pixel_offset = end + 1;
    // Every scanline takes at least 4 bytes (a marker or a pixel): a file
    // that claims more scanlines than its bytes can hold is refused before
    // anyone allocates for it.
    const size_t left = size - h->pixel_offset;
    if (left / 4 < static_cast<size_t>(h->scanlines))
        return fail(error, "file truncated: " + std::to_string(h->scanlines) + " scanlines need at least " +
                               std::to_string(int64_t{h->scanlines} * 4) + " bytes, " + std::to_string(left) +
                               " follow the header " + at_offset(h->pixel_offset));
    return true;
}

namespace {

// RGB of the format's standard primaries from XYZ with an equal-energy
// white: the inverse of the matrix whose columns are the primaries'
// chromaticities scaled so that R = G = B = 1 gives X = Y = Z = 1.
struct Matrix3 {
    double m[3][3];
};

constexpr Matrix3 inverse(const Matrix3& a) {
    const auto& m = a.m;
    const double det = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                       m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                       m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
    Matrix3 r{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            const int i1 = (j + 1) % 3, i2 = (j + 2) % 3, j1 = (i + 1) % 3, j2 = (i + 2) % 3;
            r.m[i][j] = (m[i1][j1] * m[i2][j2] - m[i1][j2] * m[i2][j1]) / det;
        }
    return r;
}

constexpr Matrix3 xyz_to_rgb_matrix() {
    const double xy[3][2] = {{0.640, 0.330}, {0.290, 0.600}, {0.150, 0.060}};
    Matrix3 p{};
    for (int c = 0; c < 3; ++c) {
        p.m[0][c] = xy[c][0] / xy[c][1];
        p.m[1][c] = 1.0;
        p.m[2][c] = (1.0 - xy[c][0] - xy[c][1]) / xy[c][1];
    }
    const Matrix3 pi = inverse(p);
    Matrix3 scaled{};
    for (int c = 0; c < 3; ++c) {
        const double s = pi.m[c][0] + pi.m[c][1] + pi.m[c][2];  // weights that give white (1, 1, 1)
        for (int r = 0; r < 3; ++r) scaled.m[r][c] = p.m[r][c] * s;
    }
    return inverse(scaled);
}

constexpr Matrix3 kXyzToRgb = xyz_to_rgb_matrix();

void xyz_to_rgb(float* p, int64_t n) {
    float k[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) k[i][j] = static_cast<float>(kXyzToRgb.m[i][j]);
    for (int64_t i = 0; i < n; ++i, p += 3) {
        const float x = p[0], y = p[1], z = p[2];
        p[0] = k[0][0] * x + k[0][1] * y + k[0][2] * z;
        p[1] = k[1][0] * x + k[1][1] * y + k[1][2] * z;
        p[2] = k[2][0] * x + k[2][1] * y + k[2][2] * z;
    }
}

struct Cursor {
    const uint8_t* data;
    size_t size, pos;
    size_t left() const { return size - pos; }
};

std::string where(int32_t scanline, size_t offset) {
    return "in scanline " + std::to_string(scanline) + " " + at_offset(offset);
}

// One scanline of `n` pixels: checked and skipped (Decode false), or
// decoded into R, G, B, E bytes (Decode true, for a scanline already
// checked).
template <bool Decode>
bool read_scanline(Cursor& c, int32_t n, int32_t s, uint8_t* rgbe, uint8_t* planes, std::string* error) {
    const uint8_t* d = c.data;
    // Below width 8 some writers still use run-length scanlines: a marker
    // naming this width exactly is taken as one (as a flat pixel it would
    // be a value near 2^-130, which no encoder writes).
    const bool marker = c.left() >= 4 && d[c.pos] == 2 && d[c.pos + 1] == 2 && !(d[c.pos + 2] & 0x80);
    if (marker && (run_length_width(n) || (d[c.pos + 2] << 8 | d[c.pos + 3]) == n)) {
        const int32_t length = d[c.pos + 2] << 8 | d[c.pos + 3];
        if (length != n)
            return fail(error, "scanline length " + std::to_string(length) + " differs from the image's " +
                                   std::to_string(n) + " " + where(s, c.pos));
        c.pos += 4;
        for (int k = 0; k < 4; ++k) {
            uint8_t* plane = Decode ? planes + static_cast<size_t>(k) * static_cast<size_t>(n) : nullptr;
            int32_t at = 0;
            while (at < n) {
                if (c.left() < 2) return fail(error, "file truncated " + where(s, c.size));
                const int32_t code = d[c.pos];
                if (code > 128) {
                    const int32_t run = code - 128;
                    if (run > n - at)
                        return fail(error, "run of " + std::to_string(run) + " overruns the " + std::to_string(n - at) +
                                               " bytes left of plane " + std::to_string(k) + " " + where(s, c.pos));
                    if constexpr (Decode) std::memset(plane + at, d[c.pos + 1], static_cast<size_t>(run));
                    at += run;
                    c.pos += 2;
                } else {
                    if (code == 0) return fail(error, "literal block of length 0 " + where(s, c.pos));
                    if (code > n - at)
                        return fail(error, "literal block of " + std::to_string(code) + " overruns the " +
                                               std::to_string(n - at) + " bytes left of plane " + std::to_string(k) +
                                               " " + where(s, c.pos));
                    if (c.left() < static_cast<size_t>(code) + 1)
                        return fail(error, "file truncated " + where(s, c.size));
                    if constexpr (Decode) std::memcpy(plane + at, d + c.pos + 1, static_cast<size_t>(code));
                    at += code;
                    c.pos += 1 + static_cast<size_t>(code);
                }
            }
        }
        const size_t w = static_cast<size_t>(n);
        for (size_t x = 0; Decode && x < w; ++x) {
            rgbe[4 * x + 0] = planes[x];
            rgbe[4 * x + 1] = planes[w + x];
            rgbe[4 * x + 2] = planes[2 * w + x];
            rgbe[4 * x + 3] = planes[3 * w + x];
        }
        return true;
    }
    // Flat pixels, among which (1, 1, 1, n) repeats the pixel before it n
    // times, n shifted left by 8 more for each repeat pixel in a row.
    int64_t x = 0;
    int shift = 0;
    while (x < n) {
        if (c.left() < 4) return fail(error, "file truncated " + where(s, c.size));
        const uint8_t* p = d + c.pos;
        if (p[0] == 1 && p[1] == 1 && p[2] == 1) {
            if (x == 0) return fail(error, "repeat pixel with no pixel before it " + where(s, c.pos));
            const uint64_t count = shift < 32 ? uint64_t{p[3]} << shift : UINT64_MAX;
            if (count > static_cast<uint64_t>(n - x))
                return fail(error, "repeat of " + (shift < 32 ? std::to_string(count) : std::string("2^32 or more")) +
                                       " pixels overruns the " + std::to_string(n - x) + " left " + where(s, c.pos));
            if constexpr (Decode)
                for (uint64_t i = 0; i < count; ++i) std::memcpy(rgbe + 4 * (x + i), rgbe + 4 * (x - 1), 4);
            x += static_cast<int64_t>(count);
            shift += 8;
        } else {
            if constexpr (Decode) std::memcpy(rgbe + 4 * x, p, 4);
            ++x;
            shift = 0;
        }
        c.pos += 4;
    }
    return true;
}

}  // namespace

bool decode_radiance_pixels(const uint8_t* data, size_t size, const RadianceHeader& h, float* out,
                            std::string* error) {
    // First the scanlines are checked and their offsets noted, in order
    // (the first fault is the one reported); then the good ones are decoded
    // by the thread team, each thread into its own rows.
    const int32_t n = h.scanline_length;
    const size_t w = static_cast<size_t>(n);
    std::unique_ptr<size_t[]> starts(new (std::nothrow) size_t[static_cast<size_t>(h.scanlines)]);
    const int team = team_capacity();
    const size_t scratch_bytes = 8 * w + 12 * w;
    std::unique_ptr<uint8_t[]> scratch(new (std::nothrow) uint8_t[scratch_bytes * static_cast<size_t>(team)]);
    if (!starts || !scratch)
        return fail(error, "out of memory for " + std::to_string(h.scanlines) + " scanlines of " + std::to_string(n) +
                               " pixels");
    Cursor c{data, size, h.pixel_offset};
    int32_t good = 0;
    bool ok = true;
    for (; good < h.scanlines; ++good) {
        starts[static_cast<size_t>(good)] = c.pos;
        if (!read_scanline<false>(c, n, good, nullptr, nullptr, error)) {
            ok = false;
            break;
        }
    }
    const bool direct = !h.columns && !h.reverse_pixels;
    const int64_t row_floats = int64_t{h.width} * 3;
    parallel_blocks(good, [&](int thread, int64_t begin, int64_t end) {
        uint8_t* rgbe = scratch.get() + scratch_bytes * static_cast<size_t>(thread);
        uint8_t* planes = rgbe + 4 * w;
        float* line = reinterpret_cast<float*>(planes + 4 * w);
        std::string unused;  // checked scanlines decode without faults
        for (int64_t s = begin; s < end; ++s) {
            Cursor sc{data, size, starts[static_cast<size_t>(s)]};
            read_scanline<true>(sc, n, static_cast<int32_t>(s), rgbe, planes, &unused);
            const int64_t index = h.reverse_scanlines ? h.scanlines - 1 - s : s;
            float* target = direct ? out + index * row_floats : line;
            radiance_row_kernels().rgbe_to_rgbf(rgbe, target, n);
            if (h.xyz) xyz_to_rgb(target, n);
            if (direct) continue;
            for (int64_t i = 0; i < n; ++i) {
                const int64_t along = h.reverse_pixels ? n - 1 - i : i;
                const int64_t row = h.columns ? along : index, col = h.columns ? index : along;
                std::memcpy(out + row * row_floats + 3 * col, line + 3 * i, 3 * sizeof(float));
            }
        }
    });
    return ok;
}

}  // namespace effects::detail
