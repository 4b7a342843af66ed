// The Radiance pixel writer shared by every writer of the library. Scanlines
// are independent, so a batch of them is encoded by the thread team into
// per-scanline buffers and the buffers are written in order after the join.
#include "io/rgbe_pixels.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <new>

#include "frame/convert.hpp"
#include "frame/parallel.hpp"

namespace effects::detail {

void RgbeRows::fetch(int64_t y, int64_t x0, int64_t n, uint8_t* out) const {
    const uint8_t* row = base + y * stride;
    if (kind == Kind::RgbFloat)
        radiance_row_kernels().rgbf_to_rgbe(row + x0 * 12, out, n);
    else
        std::memcpy(out, row + x0 * 4, static_cast<size_t>(n) * 4);
}

namespace {

// The first i in [from, n - 3] where bytes i..i+3 are equal, or n. Eight
// bytes are tested at a time: byte k of z is 0 where byte k equals byte
// k + 1, and a window of four equal bytes at k is three zero bytes of z
// from k (k = 0..4 within one load).
size_t first_run_of_four(const uint8_t* d, size_t from, size_t n) {
    constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7Full;
    size_t i = from;
    for (; i + 8 <= n; i += 5) {
        uint64_t x;
        std::memcpy(&x, d + i, 8);
        const uint64_t z = x ^ (x >> 8);
        const uint64_t zero = ~(((z & kLow7) + kLow7) | z | kLow7);  // 0x80 in each zero byte
        const uint64_t windows = zero & (zero >> 8) & (zero >> 16) & 0x0000008080808080ull;
        if (windows) return i + static_cast<size_t>(std::countr_zero(windows) >> 3);
    }
    for (; i + 3 < n; ++i)
        if (d[i] == d[i + 1] && d[i] == d[i + 2] && d[i] == d[i + 3]) return i;
    return n;
}

}  // namespace

// The coder searches from `cur` for the next run of at least four equal
// bytes by stepping over groups of equal bytes; the group it steps over
// last (before the run, or before the plane's end) is written as a short
// run when it is all there is between `cur` and that point. The groups
// before a run of four are shorter than four, so the search is the first
// window of four equal bytes, and that last group is found by looking back.
size_t byte_run_encode(const uint8_t* data, size_t n, uint8_t* out) {
    constexpr size_t kMaxRun = 127, kMaxLiteral = 128;
    uint8_t* o = out;
    size_t cur = 0;
    while (cur < n) {
        const size_t beg = first_run_of_four(data, cur, n);
        size_t old = 0;
        if (beg > cur) {
            size_t j = beg - 1;
            while (j > cur && data[j - 1] == data[beg - 1]) --j;
            old = beg - j;
        }
        if (old > 1 && old == beg - cur) {
            *o++ = static_cast<uint8_t>(128 + old);
            *o++ = data[cur];
            cur = beg;
        }
        while (cur < beg) {
            const size_t k = std::min(beg - cur, kMaxLiteral);
            *o++ = static_cast<uint8_t>(k);
            std::memcpy(o, data + cur, k);
            o += k;
            cur += k;
        }
        if (beg < n) {
            size_t run = 1;
            while (beg + run < n && run < kMaxRun && data[beg] == data[beg + run]) ++run;
            *o++ = static_cast<uint8_t>(128 + run);
            *o++ = data[beg];
            cur += run;
        }
    }
    return static_cast<size_t>(o - out);
}

size_t encode_scanline(const uint8_t* rgbe, int32_t width, uint8_t* plane, uint8_t* out) {
    const size_t w = static_cast<size_t>(width);
    uint8_t* o = out;
    *o++ = 2;
    *o++ = 2;
    *o++ = static_cast<uint8_t>(width >> 8);
    *o++ = static_cast<uint8_t>(width & 0xFF);
    for (size_t k = 0; k < 4; ++k) {
        for (size_t x = 0; x < w; ++x) plane[x] = rgbe[4 * x + k];
        o += byte_run_encode(plane, w, o);
    }
    return static_cast<size_t>(o - out);
}

namespace {

bool put(std::FILE* f, const void* p, size_t n) { return n == 0 || std::fwrite(p, 1, n, f) == n; }

// Flat pixels, in chunks through a buffer on the stack: this path needs no
// heap, which makes it the fall-back when the heap has nothing to give.
bool write_flat(std::FILE* f, int32_t width, int32_t height, const RgbeRows& rows) {
    constexpr int64_t kChunk = 1024;
    uint8_t buf[4 * kChunk];
    bool ok = true;
    for (int64_t y = 0; y < height; ++y)
        for (int64_t x = 0; x < width; x += kChunk) {
            const int64_t n = std::min<int64_t>(kChunk, width - x);
            rows.fetch(y, x, n, buf);
            ok &= put(f, buf, static_cast<size_t>(n) * 4);
        }
    return ok;
}

}  // namespace

bool write_rgbe_pixels(std::FILE* f, int32_t width, int32_t height, const RgbeRows& rows) {
    if (width < 1 || height < 1) return true;
    if (!run_length_width(width)) return write_flat(f, width, height, rows);
    // A batch of scanlines: per scanline its R, G, B, E bytes, a plane and
    // room for its encoding; up to 8 MB, so that a large image takes few
    // parallel regions while the C library can hand the same memory back to
    // the next call (larger blocks come fresh from the system, page faults
    // and all). Less memory gives smaller batches; flat pixels only when not
    // even one scanline's room can be had.
    const size_t w = static_cast<size_t>(width);
    const size_t per_row = 4 * w + w + scanline_bound(w);
    int64_t batch = std::clamp<int64_t>(static_cast<int64_t>((size_t{8} << 20) / per_row), 1, height);
    std::unique_ptr<uint8_t[]> work;
    std::unique_ptr<size_t[]> used;
    for (; batch >= 1; batch /= 2) {
        work.reset(new (std::nothrow) uint8_t[per_row * static_cast<size_t>(batch)]);
        used.reset(new (std::nothrow) size_t[static_cast<size_t>(batch)]);
        if (work && used) break;
    }
    if (!work || !used) return write_flat(f, width, height, rows);
    bool ok = true;
    for (int64_t y0 = 0; y0 < height; y0 += batch) {
        const int64_t n = std::min<int64_t>(batch, height - y0);
        parallel_rows(n, [&](int64_t begin, int64_t end) {
            for (int64_t r = begin; r < end; ++r) {
                uint8_t* rgbe = work.get() + per_row * static_cast<size_t>(r);
                uint8_t* plane = rgbe + 4 * w;
                rows.fetch(y0 + r, 0, width, rgbe);
                used[r] = encode_scanline(rgbe, width, plane, plane + w);
            }
        });
        for (int64_t r = 0; r < n; ++r)
            ok &= put(f, work.get() + per_row * static_cast<size_t>(r) + 5 * w, used[r]);
    }
    return ok;
}

bool write_rgbe_header(std::FILE* f, const char* comment, int32_t width, int32_t height) {
    bool ok = std::fprintf(f, "#?%s\n", "RADIANCE") >= 0;
    ok &= std::fprintf(f, "#%s\n", comment) >= 0;
    ok &= std::fprintf(f, "FORMAT=32-bit_rle_rgbe\n") >= 0;
    ok &= std::fprintf(f, "EXPOSURE=          1.0000000000000\n\n") >= 0;
    ok &= std::fprintf(f, "-Y %d +X %d\n", height, width) >= 0;
    return ok;
}

}  // namespace effects::detail
