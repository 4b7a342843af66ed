// The platform calls on Windows: GDI and the Win32 loader, called as they
// are. The header travels in a BITMAPINFO with room for a colour table, so
// that a call that reports bit-field masks or colours never writes past it.
#include "platform/win32_host.hpp"

#include <cstring>

#include "platform/platform.hpp"

namespace effects::detail::platform {

namespace {

static_assert(sizeof(BITMAPINFOHEADER) == sizeof(BitmapHeader), "the header must match BITMAPINFOHEADER");

struct InfoWithColours {
    BITMAPINFOHEADER header;
    RGBQUAD colours[256];
};

InfoWithColours to_info(const BitmapHeader* h) {
    InfoWithColours info;
    std::memset(&info, 0, sizeof info);
    std::memcpy(&info.header, h, sizeof(BitmapHeader));
    return info;
}

HDC dc_of(Dc dc) { return static_cast<HDC>(dc); }
HBITMAP bitmap_of(Bitmap b) { return static_cast<HBITMAP>(b); }

}  // namespace

int get_dib_bits(Dc dc, Bitmap bitmap, uint32_t start, uint32_t lines, void* bits, BitmapHeader* header) {
    if (!header) return 0;
    InfoWithColours info = to_info(header);
    const int n = GetDIBits(dc_of(dc), bitmap_of(bitmap), start, lines, bits, reinterpret_cast<BITMAPINFO*>(&info),
                            DIB_RGB_COLORS);
    if (n != 0) std::memcpy(header, &info.header, sizeof(BitmapHeader));
    return n;
}

int set_dib_bits(Dc dc, Bitmap bitmap, uint32_t start, uint32_t lines, const void* bits,
                 const BitmapHeader* header) {
    if (!header) return 0;
    const InfoWithColours info = to_info(header);
    return SetDIBits(dc_of(dc), bitmap_of(bitmap), start, lines, bits, reinterpret_cast<const BITMAPINFO*>(&info),
                     DIB_RGB_COLORS);
}

int set_dib_bits_to_device(Dc dc, int32_t x, int32_t y, uint32_t width, uint32_t height, int32_t x_src,
                           int32_t y_src, uint32_t start, uint32_t lines, const void* bits,
                           const BitmapHeader* header) {
    if (!header) return 0;
    const InfoWithColours info = to_info(header);
    return SetDIBitsToDevice(dc_of(dc), x, y, width, height, x_src, y_src, start, lines, bits,
                             reinterpret_cast<const BITMAPINFO*>(&info), DIB_RGB_COLORS);
}

Dc create_compatible_dc(Dc dc) { return CreateCompatibleDC(dc_of(dc)); }

Bitmap create_compatible_bitmap(Dc dc, int32_t width, int32_t height) {
    return CreateCompatibleBitmap(dc_of(dc), width, height);
}

Object select_object(Dc dc, Object object) {
    const HGDIOBJ previous = SelectObject(dc_of(dc), static_cast<HGDIOBJ>(object));
    return previous == HGDI_ERROR ? nullptr : previous;
}

bool bit_blt(Dc dst, int32_t x, int32_t y, int32_t width, int32_t height, Dc src, int32_t x_src, int32_t y_src) {
    return BitBlt(dc_of(dst), x, y, width, height, dc_of(src), x_src, y_src, SRCCOPY) != 0;
}

bool delete_dc(Dc dc) { return DeleteDC(dc_of(dc)) != 0; }

bool delete_object(Object object) { return DeleteObject(static_cast<HGDIOBJ>(object)) != 0; }

Library load_library(const char* path) { return path ? LoadLibraryA(path) : nullptr; }

void* find_entry(Library library, const char* name) {
    if (!library || !name) return nullptr;
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

bool free_library(Library library) { return library && FreeLibrary(static_cast<HMODULE>(library)) != 0; }

std::string module_directory() {
    HMODULE self = nullptr;
    if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCSTR>(&module_directory), &self))
        return {};
    char name[MAX_PATH + 1];
    const DWORD n = GetModuleFileNameA(self, name, MAX_PATH);
    if (n == 0 || n >= MAX_PATH) return {};
    const std::string file(name, n);
    const std::size_t slash = file.find_last_of("\\/");
    return slash == std::string::npos ? std::string() : file.substr(0, slash + 1);
}

const char* library_suffix() { return ".dll"; }

}  // namespace effects::detail::platform
