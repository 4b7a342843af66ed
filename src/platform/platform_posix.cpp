// The platform calls on hosts without GDI: the device-independent-bitmap and
// off-screen drawing calls over the library's own objects, with GDI's row
// order, padding, header fields, clipping and results, and the dynamic
// loader over dlopen. Also the host's functions of <effects/platform.h>.
#include <dlfcn.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "platform/platform.hpp"
#include "platform/posix_objects.hpp"
#include "platform/posix_host.hpp"

namespace effects::detail::platform {

namespace {

using posix::handle_pointer;
using posix::handle_value;
using posix::ObjectTable;
using posix::Surface;

// One pixel between layouts of 3 or 4 bytes: colour is copied; a fourth
// byte is copied when both have one and set to 0 when only the destination has.
inline void copy_pixel(uint8_t* d, int32_t d_bytes, const uint8_t* s, int32_t s_bytes) {
    d[0] = s[0];
    d[1] = s[1];
    d[2] = s[2];
    if (d_bytes == 4) d[3] = s_bytes == 4 ? s[3] : 0;
}

// The DIB layouts the calls accept: 24 or 32 bits, uncompressed, at least
// one pixel wide and one row high.
bool usable_layout(const BitmapHeader* h) {
    return h && h->size >= sizeof(BitmapHeader) && h->width > 0 && h->height != 0 &&
           (h->bit_count == 24 || h->bit_count == 32) && h->compression == kCompressionRgb;
}

struct DibGeometry {
    int64_t width, height, stride, bytes_per_pixel;
    bool top_down;
};
DibGeometry geometry(const BitmapHeader& h) {
    const int64_t height = h.height < 0 ? -int64_t{h.height} : int64_t{h.height};
    return {h.width, height, dib_stride(h.width, h.bit_count), h.bit_count / 8, h.height < 0};
}

// Scan lines [start, start + lines) clipped to the DIB and the bitmap, which
// share their bottom row (bottom-up) or their top row (top-down); calls
// fn(scan, bitmap row from the top) for each.
template <class Fn>
int64_t for_each_scan(const DibGeometry& g, const Surface& s, uint32_t start, uint32_t lines, Fn&& fn) {
    const int64_t end = std::min<int64_t>(int64_t{start} + lines, std::min<int64_t>(g.height, s.height));
    for (int64_t scan = start; scan < end; ++scan) fn(scan, g.top_down ? scan : s.height - 1 - scan);
    return std::max<int64_t>(end - int64_t{start}, 0);
}

void fill_query(BitmapHeader* h, const Surface& s) {
    h->width = s.width;
    h->height = s.height;
    h->planes = 1;
    h->bit_count = static_cast<uint16_t>(s.bit_count);
    h->compression = s.bit_count == 32 ? kCompressionBitFields : kCompressionRgb;
    h->size_image = static_cast<uint32_t>(s.stride * s.height);
    h->x_pels_per_meter = 0;
    h->y_pels_per_meter = 0;
    h->colours_used = 0;
    h->colours_important = 0;
}

}  // namespace

int get_dib_bits(Dc dc, Bitmap bitmap, uint32_t start, uint32_t lines, void* bits, BitmapHeader* header) {
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    posix::BitmapObject* b = table.bitmap_locked(handle_value(bitmap));
    if (!table.dc_locked(handle_value(dc)) || !b || !header || header->size < sizeof(BitmapHeader)) return 0;
    const Surface& s = b->surface;
    if (!bits) {
        if (header->bit_count == 0) {
            fill_query(header, s);
            return 1;
        }
        if (!usable_layout(header)) return 0;
        const DibGeometry g = geometry(*header);
        header->size_image = static_cast<uint32_t>(g.stride * g.height);
        return 1;
    }
    if (!usable_layout(header)) return 0;
    const DibGeometry g = geometry(*header);
    if (start >= g.height) return 0;
    const int64_t columns = std::min<int64_t>(g.width, s.width);
    const int32_t sb = s.bytes_per_pixel();
    const int32_t db = static_cast<int32_t>(g.bytes_per_pixel);
    auto* out = static_cast<uint8_t*>(bits);
    const int64_t n = for_each_scan(g, s, start, lines, [&](int64_t scan, int64_t y) {
        uint8_t* d = out + (scan - start) * g.stride;
        const uint8_t* p = s.row(static_cast<int32_t>(y));
        for (int64_t x = 0; x < columns; ++x) copy_pixel(d + x * db, db, p + x * sb, sb);
        std::memset(d + columns * db, 0, static_cast<std::size_t>(g.stride - columns * db));
    });
    if (n > 0) header->size_image = static_cast<uint32_t>(g.stride * g.height);
    return static_cast<int>(n);
}

int set_dib_bits(Dc dc, Bitmap bitmap, uint32_t start, uint32_t lines, const void* bits,
                 const BitmapHeader* header) {
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    posix::BitmapObject* b = table.bitmap_locked(handle_value(bitmap));
    if (!table.dc_locked(handle_value(dc)) || !b || !bits || !usable_layout(header)) return 0;
    Surface& s = b->surface;
    const DibGeometry g = geometry(*header);
    if (start >= g.height) return 0;
    const int64_t columns = std::min<int64_t>(g.width, s.width);
    const int32_t sb = static_cast<int32_t>(g.bytes_per_pixel);
    const int32_t db = s.bytes_per_pixel();
    const auto* in = static_cast<const uint8_t*>(bits);
    const int64_t n = for_each_scan(g, s, start, lines, [&](int64_t scan, int64_t y) {
        const uint8_t* p = in + (scan - start) * g.stride;
        uint8_t* d = s.row(static_cast<int32_t>(y));
        for (int64_t x = 0; x < columns; ++x) copy_pixel(d + x * db, db, p + x * sb, sb);
    });
    return static_cast<int>(n);
}

int set_dib_bits_to_device(Dc dc, int32_t x, int32_t y, uint32_t width, uint32_t height, int32_t x_src,
                           int32_t y_src, uint32_t start, uint32_t lines, const void* bits,
                           const BitmapHeader* header) {
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    Surface* s = table.dc_surface_locked(handle_value(dc));
    if (!s || !bits || !usable_layout(header)) return 0;
    const DibGeometry g = geometry(*header);
    // Scan lines present in the buffer.
    const int64_t scan_begin = start;
    const int64_t scan_end = std::min<int64_t>(int64_t{start} + lines, g.height);
    if (scan_begin >= scan_end) return 0;
    const auto* in = static_cast<const uint8_t*>(bits);
    const int32_t sb = static_cast<int32_t>(g.bytes_per_pixel);
    const int32_t db = s->bytes_per_pixel();
    // The source rectangle in image rows from the top: a bottom-up DIB
    // counts y_src from its bottom row.
    const int64_t h = height, w = width;
    const int64_t top = g.top_down ? int64_t{y_src} : g.height - (int64_t{y_src} + h);
    // The band of scan lines counts from the bottom of the image in both row
    // orders: it covers image rows [height - scan_end, height - scan_begin),
    // stored bottom row first, or top row first in a top-down buffer.
    const int64_t band_top = g.height - scan_end, band_bottom = g.height - scan_begin;
    for (int64_t r = 0; r < h; ++r) {
        const int64_t image_row = top + r;
        const int64_t dest_row = int64_t{y} + r;
        if (image_row < band_top || image_row >= band_bottom || dest_row < 0 || dest_row >= s->height) continue;
        const int64_t band_row = g.top_down ? image_row - band_top : g.height - 1 - image_row - scan_begin;
        const uint8_t* src_row = in + band_row * g.stride;
        uint8_t* dst_row = s->row(static_cast<int32_t>(dest_row));
        for (int64_t c = 0; c < w; ++c) {
            const int64_t sx = int64_t{x_src} + c, dx = int64_t{x} + c;
            if (sx < 0 || sx >= g.width || dx < 0 || dx >= s->width) continue;
            copy_pixel(dst_row + dx * db, db, src_row + sx * sb, sb);
        }
    }
    return static_cast<int>(scan_end - scan_begin);
}

Dc create_compatible_dc(Dc dc) {
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    // As in GDI, a null device context asks for one compatible with the screen.
    if (dc && !table.dc_locked(handle_value(dc))) return nullptr;
    return handle_pointer(table.add_dc_locked(posix::make_surface(1, 1, 32, true)));
}

Bitmap create_compatible_bitmap(Dc dc, int32_t width, int32_t height) {
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    const Surface* s = table.dc_surface_locked(handle_value(dc));
    if (!s) return nullptr;
    auto surface = posix::make_surface(width, height, s->bit_count, true);
    return surface ? handle_pointer(table.add_bitmap_locked(std::move(surface))) : nullptr;
}

Object select_object(Dc dc, Object object) {
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    const uint64_t dh = handle_value(dc), bh = handle_value(object);
    posix::DcObject* d = table.dc_locked(dh);
    posix::BitmapObject* b = table.bitmap_locked(bh);
    // A bitmap can be selected into one device context at a time.
    if (!d || !b || (b->selected_into != 0 && b->selected_into != dh)) return nullptr;
    const uint64_t previous = d->selected;
    if (posix::BitmapObject* p = table.bitmap_locked(previous)) p->selected_into = 0;
    d->selected = bh;
    b->selected_into = dh;
    return handle_pointer(previous);
}

bool bit_blt(Dc dst, int32_t x, int32_t y, int32_t width, int32_t height, Dc src, int32_t x_src, int32_t y_src) {
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    Surface* d = table.dc_surface_locked(handle_value(dst));
    const Surface* s = table.dc_surface_locked(handle_value(src));
    if (!d || !s) return false;
    // A blit within one surface reads from a copy, so that overlapping
    // rectangles see the source as it was.
    Surface before;
    if (d == s) {
        before = *s;
        s = &before;
    }
    const int32_t db = d->bytes_per_pixel(), sb = s->bytes_per_pixel();
    for (int64_t r = 0; r < height; ++r) {
        const int64_t sy = int64_t{y_src} + r, dy = int64_t{y} + r;
        if (sy < 0 || sy >= s->height || dy < 0 || dy >= d->height) continue;
        const uint8_t* sp = s->row(static_cast<int32_t>(sy));
        uint8_t* dp = d->row(static_cast<int32_t>(dy));
        for (int64_t c = 0; c < width; ++c) {
            const int64_t sx = int64_t{x_src} + c, dx = int64_t{x} + c;
            if (sx < 0 || sx >= s->width || dx < 0 || dx >= d->width) continue;
            copy_pixel(dp + dx * db, db, sp + sx * sb, sb);
        }
    }
    return true;
}

bool delete_dc(Dc dc) {
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    return table.remove_dc_locked(handle_value(dc));
}

bool delete_object(Object object) {
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    return table.remove_bitmap_locked(handle_value(object));
}

Library load_library(const char* path) { return path ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr; }

void* find_entry(Library library, const char* name) { return library && name ? dlsym(library, name) : nullptr; }

bool free_library(Library library) { return library && dlclose(library) == 0; }

std::string module_directory() {
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(&module_directory), &info) || !info.dli_fname) return {};
    const std::string file = info.dli_fname;
    const std::size_t slash = file.rfind('/');
    return slash == std::string::npos ? std::string() : file.substr(0, slash + 1);
}

const char* library_suffix() {
#if defined(__APPLE__)
    return ".dylib";
#else
    return ".so";
#endif
}

// ---- the host's side ----

namespace posix {

void* create_memory_dc(int32_t width, int32_t height) {
    auto surface = make_surface(width, height, 32, true);
    if (!surface) return nullptr;
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    return handle_pointer(table.add_dc_locked(std::move(surface)));
}

int32_t delete_memory_dc(void* dc) { return delete_dc(dc) ? 1 : 0; }

int32_t dc_size(void* dc, int32_t* width, int32_t* height) {
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    const Surface* s = table.dc_surface_locked(handle_value(dc));
    if (width) *width = s ? s->width : 0;
    if (height) *height = s ? s->height : 0;
    return s ? 1 : 0;
}

int32_t read_dc(void* dc, void* dst, int32_t size) {
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    const Surface* s = table.dc_surface_locked(handle_value(dc));
    if (!s || !dst) return 0;
    const int64_t row_bytes = int64_t{s->width} * 4, total = row_bytes * s->height;
    if (size < total) return 0;
    auto* out = static_cast<uint8_t*>(dst);
    const int32_t sb = s->bytes_per_pixel();
    for (int32_t y = 0; y < s->height; ++y)
        for (int32_t x = 0; x < s->width; ++x) copy_pixel(out + y * row_bytes + x * 4, 4, s->row(y) + x * sb, sb);
    return static_cast<int32_t>(total);
}

void* create_bitmap(int32_t width, int32_t height, int32_t bits_per_pixel) {
    if (height == std::numeric_limits<int32_t>::min()) return nullptr;
    auto surface = make_surface(width, height < 0 ? -height : height, bits_per_pixel, height < 0);
    if (!surface) return nullptr;
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    return handle_pointer(table.add_bitmap_locked(std::move(surface)));
}

int32_t delete_bitmap(void* bitmap) { return delete_object(bitmap) ? 1 : 0; }

int32_t bitmap_stride(void* bitmap) {
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    const BitmapObject* b = table.bitmap_locked(handle_value(bitmap));
    return b ? static_cast<int32_t>(b->surface.stride) : 0;
}

int32_t write_bitmap(void* bitmap, const void* src, int32_t size) {
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    BitmapObject* b = table.bitmap_locked(handle_value(bitmap));
    if (!b || !src || size < 0 || static_cast<std::size_t>(size) < b->surface.bits.size()) return 0;
    std::memcpy(b->surface.bits.data(), src, b->surface.bits.size());
    return static_cast<int32_t>(b->surface.bits.size());
}

int32_t read_bitmap(void* bitmap, void* dst, int32_t size) {
    auto& table = ObjectTable::instance();
    auto lock = table.lock();
    const BitmapObject* b = table.bitmap_locked(handle_value(bitmap));
    if (!b || !dst || size < 0 || static_cast<std::size_t>(size) < b->surface.bits.size()) return 0;
    std::memcpy(dst, b->surface.bits.data(), b->surface.bits.size());
    return static_cast<int32_t>(b->surface.bits.size());
}

}  // namespace posix

}  // namespace effects::detail::platform
