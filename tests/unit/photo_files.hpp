// Decoding of the PNG and JPEG photos of the shared test data into Bgra8
// frames, through libpng and libjpeg when the build found them (test code
// only; the library reads no such files).
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#if defined(EFFECTS_TEST_HAVE_DECODERS)
#include <jpeglib.h>
#include <png.h>
#endif

namespace efx_test {

struct Photo {
    int32_t width = 0, height = 0;
    std::vector<uint8_t> bgra;  // packed rows, alpha 255
};

#if defined(EFFECTS_TEST_HAVE_DECODERS)
inline bool decode_png(const std::string& path, Photo& out) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return false;
    image.format = PNG_FORMAT_BGRA;
    out.width = static_cast<int32_t>(image.width);
    out.height = static_cast<int32_t>(image.height);
    out.bgra.resize(PNG_IMAGE_SIZE(image));
    const bool ok = png_image_finish_read(&image, nullptr, out.bgra.data(), 0, nullptr) != 0;
    png_image_free(&image);
    return ok;
}

inline bool decode_jpeg(const std::string& path, Photo& out) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    jpeg_decompress_struct info;
    jpeg_error_mgr err;
    info.err = jpeg_std_error(&err);
    jpeg_create_decompress(&info);
    jpeg_stdio_src(&info, f);
    jpeg_read_header(&info, TRUE);
    info.out_color_space = JCS_RGB;
    jpeg_start_decompress(&info);
    out.width = static_cast<int32_t>(info.output_width);
    out.height = static_cast<int32_t>(info.output_height);
    out.bgra.assign(static_cast<size_t>(out.width) * out.height * 4, 255);
    std::vector<uint8_t> row(static_cast<size_t>(out.width) * 3);
    while (info.output_scanline < info.output_height) {
        const size_t y = info.output_scanline;
        JSAMPROW rows[1] = {row.data()};
        jpeg_read_scanlines(&info, rows, 1);
        for (int32_t x = 0; x < out.width; ++x) {
            uint8_t* p = &out.bgra[(y * out.width + x) * 4];
            p[0] = row[x * 3 + 2];
            p[1] = row[x * 3 + 1];
            p[2] = row[x * 3];
        }
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    std::fclose(f);
    return true;
}
#endif

// Decodes a .png or .jpg/.jpeg file; false when it cannot (or when the
// decoders were not built in).
inline bool decode_photo(const std::string& path, Photo& out) {
#if defined(EFFECTS_TEST_HAVE_DECODERS)
    const auto dot = path.rfind('.');
    const std::string ext = dot == std::string::npos ? "" : path.substr(dot + 1);
    if (ext == "png") return decode_png(path, out);
    if (ext == "jpg" || ext == "jpeg") return decode_jpeg(path, out);
#else
    (void)path;
    (void)out;
#endif
    return false;
}

}  // namespace efx_test
