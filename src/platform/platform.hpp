// What the library needs of its host: the device-independent-bitmap calls of
// the bitmap exchange and of display, the off-screen drawing calls of the one
// rotation member, and a dynamic loader for plug-ins. One implementation per
// host, chosen at build time: real GDI and the Win32 loader on Windows
// (platform_win32.cpp), the library's own objects and dlopen elsewhere
// (platform_posix.cpp). Each call keeps the arguments, row order, padding and
// results of its GDI namesake, so the members above it are written once.
#pragma once

#include <cstdint>
#include <string>

namespace effects::detail::platform {

using Dc = void*;
using Bitmap = void*;
using Object = void*;  // a bitmap, as SelectObject sees it
using Library = void*;

// The 40-byte header of a device-independent bitmap, field for field.
struct BitmapHeader {
    uint32_t size;  // 40
    int32_t width;
    int32_t height;  // > 0: bottom row first; < 0: top row first
    uint16_t planes;
    uint16_t bit_count;
    uint32_t compression;  // 0: none (RGB); 3: bit fields
    uint32_t size_image;
    int32_t x_pels_per_meter;
    int32_t y_pels_per_meter;
    uint32_t colours_used;
    uint32_t colours_important;
};
static_assert(sizeof(BitmapHeader) == 40, "the header must match the DIB layout byte for byte");

inline constexpr uint32_t kCompressionRgb = 0;
inline constexpr uint32_t kCompressionBitFields = 3;

// Row stride of a device-independent bitmap: bits rounded up to 32, in bytes.
inline int64_t dib_stride(int64_t width, int64_t bit_count) { return ((width * bit_count + 31) / 32) * 4; }

// GetDIBits with DIB_RGB_COLORS. With bits == nullptr: fills the header's
// size fields from the bitmap (width, positive height, bit count,
// compression, image size) and returns non-zero, or 0 on failure. With bits:
// copies scan lines [start, start + lines) of the bitmap into bits in the
// header's layout (24 or 32 bits, uncompressed; rows padded to 4 bytes,
// counted from the bottom when header.height > 0) and returns the number of
// lines copied, 0 on failure.
int get_dib_bits(Dc dc, Bitmap bitmap, uint32_t start, uint32_t lines, void* bits, BitmapHeader* header);

// SetDIBits with DIB_RGB_COLORS: writes scan lines in the header's layout
// into the bitmap. Returns the number of lines written, 0 on failure.
int set_dib_bits(Dc dc, Bitmap bitmap, uint32_t start, uint32_t lines, const void* bits,
                 const BitmapHeader* header);

// SetDIBitsToDevice with DIB_RGB_COLORS: draws the source rectangle
// (x_src, y_src, width, height) of a device-independent bitmap, of which bits
// holds scan lines [start, start + lines), at (x, y) of the device context,
// clipped to its surface. y_src counts from the bottom of a bottom-up bitmap.
// Scan lines count from the bottom of the image in both row orders: with
// fewer lines than rows, bits holds the bottom rows (in the header's row
// order). Returns the number of scan lines set, 0 on failure.
int set_dib_bits_to_device(Dc dc, int32_t x, int32_t y, uint32_t width, uint32_t height, int32_t x_src,
                           int32_t y_src, uint32_t start, uint32_t lines, const void* bits,
                           const BitmapHeader* header);

// The off-screen drawing calls. create_* return nullptr on failure;
// select_object returns the previously selected bitmap (nullptr on failure);
// bit_blt copies (SRCCOPY) and returns false on failure; delete_* return
// false for a handle that is not a live object of their kind.
Dc create_compatible_dc(Dc dc);
Bitmap create_compatible_bitmap(Dc dc, int32_t width, int32_t height);
Object select_object(Dc dc, Object object);
bool bit_blt(Dc dst, int32_t x, int32_t y, int32_t width, int32_t height, Dc src, int32_t x_src, int32_t y_src);
bool delete_dc(Dc dc);
bool delete_object(Object object);

// Dynamic loading: nullptr when the library cannot be loaded or has no such
// entry; free_library returns false when the handle is not a loaded library.
Library load_library(const char* path);
void* find_entry(Library library, const char* name);
bool free_library(Library library);

// Folder of the module (shared library or program) that holds this code,
// ending in its path separator; empty when the host cannot tell. Plug-ins
// installed with the library are found there.
std::string module_directory();

// File name ending of a loadable library on this host (".so", ".dll").
const char* library_suffix();

}  // namespace effects::detail::platform
