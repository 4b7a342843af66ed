// The host's side of device contexts and bitmaps, for tests that run on both
// systems: on Windows real GDI objects (DIB sections, whose stored bytes the
// test reads and writes directly, and memory device contexts drawing into a
// 32-bit top-down DIB section); elsewhere the objects of <effects/platform.h>
// (or, for tests linked with the core objects, the same functions behind
// those exports, selected by EFFECTS_TEST_HOST_CORE).
#pragma once

#include <effects/effects.h>
#include <effects/platform.h>

#include <cstdint>
#include <cstring>
#include <vector>

#if defined(_WIN32)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#elif defined(EFFECTS_TEST_HOST_CORE)
#include "platform/posix_host.hpp"
#endif

namespace efx_host {

inline int32_t dib_stride(int32_t width, int32_t bits) { return ((width * bits + 31) / 32) * 4; }

#if defined(_WIN32)

inline EffectsBitmap create_bitmap(int32_t width, int32_t height, int32_t bits) {
    if (width < 1 || height == 0 || (bits != 24 && bits != 32)) return nullptr;
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = static_cast<WORD>(bits);
    info.bmiHeader.biCompression = BI_RGB;
    void* pixels = nullptr;
    HBITMAP b = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &pixels, nullptr, 0);
    if (b && pixels) std::memset(pixels, 0, static_cast<size_t>(dib_stride(width, bits)) * (height < 0 ? -height : height));
    return b;
}
inline bool section_of(EffectsBitmap b, DIBSECTION& ds) {
    return b && GetObjectW(static_cast<HBITMAP>(b), sizeof ds, &ds) == sizeof ds && ds.dsBm.bmBits;
}
inline int32_t delete_bitmap(EffectsBitmap b) { return b && DeleteObject(static_cast<HBITMAP>(b)) ? 1 : 0; }
inline int32_t bitmap_stride(EffectsBitmap b) {
    DIBSECTION ds;
    return section_of(b, ds) ? dib_stride(ds.dsBm.bmWidth, ds.dsBm.bmBitsPixel) : 0;
}
inline int32_t write_bitmap(EffectsBitmap b, const void* src, int32_t size) {
    DIBSECTION ds;
    if (!section_of(b, ds)) return 0;
    const int32_t total = dib_stride(ds.dsBm.bmWidth, ds.dsBm.bmBitsPixel) * ds.dsBm.bmHeight;
    if (size < total) return 0;
    GdiFlush();
    std::memcpy(ds.dsBm.bmBits, src, static_cast<size_t>(total));
    return total;
}
inline int32_t read_bitmap(EffectsBitmap b, void* dst, int32_t size) {
    DIBSECTION ds;
    if (!section_of(b, ds)) return 0;
    const int32_t total = dib_stride(ds.dsBm.bmWidth, ds.dsBm.bmBitsPixel) * ds.dsBm.bmHeight;
    if (size < total) return 0;
    GdiFlush();
    std::memcpy(dst, ds.dsBm.bmBits, static_cast<size_t>(total));
    return total;
}

// A memory device context with a cleared 32-bit top-down surface selected.
inline EffectsDC create_memory_dc(int32_t width, int32_t height) {
    HBITMAP surface = static_cast<HBITMAP>(create_bitmap(width, -height, 32));
    if (!surface) return nullptr;
    HDC dc = CreateCompatibleDC(nullptr);
    SelectObject(dc, surface);
    return dc;
}
inline int32_t delete_memory_dc(EffectsDC dc) {
    if (!dc) return 0;
    HGDIOBJ surface = GetCurrentObject(static_cast<HDC>(dc), OBJ_BITMAP);
    const BOOL ok = DeleteDC(static_cast<HDC>(dc));
    if (ok && surface) DeleteObject(surface);
    return ok ? 1 : 0;
}
inline int32_t dc_size(EffectsDC dc, int32_t* width, int32_t* height) {
    DIBSECTION ds;
    const bool ok = dc && section_of(GetCurrentObject(static_cast<HDC>(dc), OBJ_BITMAP), ds);
    if (width) *width = ok ? ds.dsBm.bmWidth : 0;
    if (height) *height = ok ? ds.dsBm.bmHeight : 0;
    return ok ? 1 : 0;
}
inline int32_t read_dc(EffectsDC dc, void* dst, int32_t size) {
    if (!dc) return 0;
    return read_bitmap(GetCurrentObject(static_cast<HDC>(dc), OBJ_BITMAP), dst, size);
}

#elif defined(EFFECTS_TEST_HOST_CORE)

namespace core = effects::detail::platform::posix;
inline EffectsBitmap create_bitmap(int32_t w, int32_t h, int32_t bits) { return core::create_bitmap(w, h, bits); }
inline int32_t delete_bitmap(EffectsBitmap b) { return core::delete_bitmap(b); }
inline int32_t bitmap_stride(EffectsBitmap b) { return core::bitmap_stride(b); }
inline int32_t write_bitmap(EffectsBitmap b, const void* s, int32_t n) { return core::write_bitmap(b, s, n); }
inline int32_t read_bitmap(EffectsBitmap b, void* d, int32_t n) { return core::read_bitmap(b, d, n); }
inline EffectsDC create_memory_dc(int32_t w, int32_t h) { return core::create_memory_dc(w, h); }
inline int32_t delete_memory_dc(EffectsDC dc) { return core::delete_memory_dc(dc); }
inline int32_t dc_size(EffectsDC dc, int32_t* w, int32_t* h) { return core::dc_size(dc, w, h); }
inline int32_t read_dc(EffectsDC dc, void* d, int32_t n) { return core::read_dc(dc, d, n); }

#else

inline EffectsBitmap create_bitmap(int32_t w, int32_t h, int32_t bits) { return EffectsCreateBitmap(w, h, bits); }
inline int32_t delete_bitmap(EffectsBitmap b) { return EffectsDeleteBitmap(b); }
inline int32_t bitmap_stride(EffectsBitmap b) { return EffectsBitmapStride(b); }
inline int32_t write_bitmap(EffectsBitmap b, const void* s, int32_t n) { return EffectsWriteBitmap(b, s, n); }
inline int32_t read_bitmap(EffectsBitmap b, void* d, int32_t n) { return EffectsReadBitmap(b, d, n); }
inline EffectsDC create_memory_dc(int32_t w, int32_t h) { return EffectsCreateMemoryDC(w, h); }
inline int32_t delete_memory_dc(EffectsDC dc) { return EffectsDeleteDC(dc); }
inline int32_t dc_size(EffectsDC dc, int32_t* w, int32_t* h) { return EffectsGetDCSize(dc, w, h); }
inline int32_t read_dc(EffectsDC dc, void* d, int32_t n) { return EffectsReadDC(dc, d, n); }

#endif

// ---- owners and byte helpers shared by the tests ----

// A bitmap whose stored bytes the test fills with a pattern and reads back.
class TestBitmap {
public:
    TestBitmap(int32_t width, int32_t height, int32_t bits)
        : handle_(create_bitmap(width, height, bits)), width_(width), height_(height < 0 ? -height : height),
          bits_(bits), top_down_(height < 0) {}
    ~TestBitmap() {
        if (handle_) delete_bitmap(handle_);
    }
    TestBitmap(const TestBitmap&) = delete;
    TestBitmap& operator=(const TestBitmap&) = delete;

    EffectsBitmap handle() const { return handle_; }
    int32_t width() const { return width_; }
    int32_t height() const { return height_; }
    int32_t bits() const { return bits_; }
    bool top_down() const { return top_down_; }
    int32_t stride() const { return dib_stride(width_, bits_); }
    int32_t size() const { return stride() * height_; }
    // Offset in the stored bytes of pixel (x, y), y counted from the top.
    int32_t offset(int32_t x, int32_t y) const {
        return (top_down_ ? y : height_ - 1 - y) * stride() + x * bits_ / 8;
    }
    std::vector<uint8_t> read() const {
        std::vector<uint8_t> v(static_cast<size_t>(size()));
        read_bitmap(handle_, v.data(), size());
        return v;
    }
    void write(const std::vector<uint8_t>& v) { write_bitmap(handle_, v.data(), static_cast<int32_t>(v.size())); }
    // Release ownership (for tests that delete the handle themselves).
    EffectsBitmap release() {
        EffectsBitmap h = handle_;
        handle_ = nullptr;
        return h;
    }

private:
    EffectsBitmap handle_;
    int32_t width_, height_, bits_;
    bool top_down_;
};

class TestDC {
public:
    TestDC(int32_t width, int32_t height) : handle_(create_memory_dc(width, height)), width_(width), height_(height) {}
    ~TestDC() {
        if (handle_) delete_memory_dc(handle_);
    }
    TestDC(const TestDC&) = delete;
    TestDC& operator=(const TestDC&) = delete;

    EffectsDC handle() const { return handle_; }
    int32_t width() const { return width_; }
    int32_t height() const { return height_; }
    // Surface bytes, top row first, 4 a pixel.
    std::vector<uint8_t> read() const {
        std::vector<uint8_t> v(static_cast<size_t>(width_) * height_ * 4);
        read_dc(handle_, v.data(), static_cast<int32_t>(v.size()));
        return v;
    }
    EffectsDC release() {
        EffectsDC h = handle_;
        handle_ = nullptr;
        return h;
    }

private:
    EffectsDC handle_;
    int32_t width_, height_;
};

// A pattern of stored bytes where every pixel and channel differs: value
// (seed + 37 x + 101 y + 53 c) mod 256; padding bytes are 0xEE.
inline std::vector<uint8_t> pattern(const TestBitmap& b, int seed) {
    std::vector<uint8_t> v(static_cast<size_t>(b.size()), 0xEE);
    const int32_t bpp = b.bits() / 8;
    for (int32_t y = 0; y < b.height(); ++y)
        for (int32_t x = 0; x < b.width(); ++x)
            for (int32_t c = 0; c < bpp; ++c)
                v[static_cast<size_t>(b.offset(x, y) + c)] = static_cast<uint8_t>(seed + 37 * x + 101 * y + 53 * c);
    return v;
}

}  // namespace efx_host
