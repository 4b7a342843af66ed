// Decoding the command's input frames: JPEG through libjpeg-turbo straight
// to B, G, R, A; PNG through libpng with 16-bit samples scaled to 8 bits;
// TIFF through libtiff's RGBA reader. Every library error becomes one line
// naming the file.
#include <csetjmp>
#include <cstring>
#include <memory>

#include <jpeglib.h>
#include <jerror.h>
#include <libexif/exif-data.h>
#include <png.h>
#include <tiffio.h>

#include "codec_errors.hpp"
#include "image_files.hpp"

namespace cli {

using codec::JpegError;
using codec::jpeg_fail;
using codec::png_fail;

namespace {

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

FileHandle open_input(const std::string& path) {
    FileHandle f(std::fopen(path.c_str(), "rb"));
    if (!f) throw Failure(path + ": cannot open: " + std::strerror(errno));
    return f;
}

// ---- JPEG ----
// A file that ends before its last scanline is corrupt, not a grey tail.
void jpeg_warning(j_common_ptr info, int level) {
    if (level < 0 && info->err->msg_code == JWRN_JPEG_EOF) jpeg_fail(info);
}

// Decodes into `frame` (or only the size when pixels is false). The state
// that longjmp skips over is all plain data or freed by jpeg_destroy.
void decode_jpeg(const std::string& path, Frame& frame, bool pixels, std::int32_t& w, std::int32_t& h) {
    FileHandle f = open_input(path);
    jpeg_decompress_struct info;
    JpegError err;
    info.err = jpeg_std_error(&err.mgr);
    err.mgr.error_exit = jpeg_fail;
    err.mgr.emit_message = jpeg_warning;
    if (setjmp(err.jump)) {
        jpeg_destroy_decompress(&info);
        throw Failure(path + ": corrupt JPEG: " + err.text);
    }
    jpeg_create_decompress(&info);
    jpeg_stdio_src(&info, f.get());
    jpeg_read_header(&info, TRUE);
    w = static_cast<std::int32_t>(info.image_width);
    h = static_cast<std::int32_t>(info.image_height);
    if (!pixels) {
        jpeg_destroy_decompress(&info);
        return;
    }
    if (info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK) {
        jpeg_destroy_decompress(&info);
        throw Failure(path + ": unsupported image: CMYK JPEG");
    }
    info.out_color_space = JCS_EXT_BGRA;
    jpeg_start_decompress(&info);
    frame.image = effects::Image<effects::Bgra8>(w, h);
    frame.source_bits = 8;
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = frame.image.data() + static_cast<std::ptrdiff_t>(info.output_scanline) * frame.image.stride();
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
}

// ---- PNG ----
void png_warn(png_structp, png_const_charp) {}

void decode_png(const std::string& path, Frame& frame, bool pixels, std::int32_t& w, std::int32_t& h) {
    FileHandle f = open_input(path);
    std::string message;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &message, png_fail, png_warn);
    if (!png) throw Failure(path + ": out of memory");
    png_infop info = png_create_info_struct(png);
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        throw Failure(path + ": corrupt PNG: " + message);
    }
    png_set_user_limits(png, 65535, 65535);
    png_init_io(png, f.get());
    png_read_info(png, info);
    w = static_cast<std::int32_t>(png_get_image_width(png, info));
    h = static_cast<std::int32_t>(png_get_image_height(png, info));
    if (pixels) {
        const int bits = png_get_bit_depth(png, info);
        const int colour = png_get_color_type(png, info);
        png_set_scale_16(png);
        png_set_expand(png);
        if (colour == PNG_COLOR_TYPE_GRAY || colour == PNG_COLOR_TYPE_GRAY_ALPHA) png_set_gray_to_rgb(png);
        png_set_strip_alpha(png);
        png_set_filler(png, 0xff, PNG_FILLER_AFTER);
        png_set_bgr(png);
        const int passes = png_set_interlace_handling(png);
        png_read_update_info(png, info);
        frame.image = effects::Image<effects::Bgra8>(w, h);
        frame.source_bits = bits;
        for (int pass = 0; pass < passes; ++pass)
            for (std::int32_t y = 0; y < h; ++y)
                png_read_row(png, frame.image.data() + y * frame.image.stride(), nullptr);
        png_read_end(png, nullptr);
    }
    png_destroy_read_struct(&png, &info, nullptr);
}

// ---- TIFF ----
thread_local std::string tiff_message;

void tiff_error(const char*, const char* format, va_list args) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, args);
    tiff_message = text;
}

void tiff_warning(const char*, const char*, va_list) {}

void decode_tiff(const std::string& path, Frame& frame, bool pixels, std::int32_t& w, std::int32_t& h) {
    open_input(path);  // names a missing or unreadable file the same way as the others
    TIFFSetErrorHandler(tiff_error);
    TIFFSetWarningHandler(tiff_warning);
    tiff_message.clear();
    std::unique_ptr<TIFF, void (*)(TIFF*)> tif(TIFFOpen(path.c_str(), "r"), TIFFClose);
    if (!tif) throw Failure(path + ": corrupt TIFF: " + tiff_message);
    uint32_t tw = 0, th = 0;
    uint16_t bits = 8;
    TIFFGetField(tif.get(), TIFFTAG_IMAGEWIDTH, &tw);
    TIFFGetField(tif.get(), TIFFTAG_IMAGELENGTH, &th);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_BITSPERSAMPLE, &bits);
    if (tw == 0 || th == 0 || tw > 65535 || th > 65535)
        throw Failure(path + ": unsupported TIFF size " + std::to_string(tw) + "x" + std::to_string(th));
    w = static_cast<std::int32_t>(tw);
    h = static_cast<std::int32_t>(th);
    if (!pixels) return;
    char why[1024] = "";
    if (!TIFFRGBAImageOK(tif.get(), why)) throw Failure(path + ": unsupported TIFF: " + why);
    frame.image = effects::Image<effects::Bgra8>(w, h);
    frame.source_bits = bits;
    auto* words = reinterpret_cast<uint32_t*>(frame.image.data());
    if (!TIFFReadRGBAImageOriented(tif.get(), tw, th, words, ORIENTATION_TOPLEFT, 0))
        throw Failure(path + ": corrupt TIFF: " + tiff_message);
    // The reader packs R, G, B, A from the low byte up: swap R and B.
    std::uint8_t* p = frame.image.data();
    for (std::size_t i = 0, n = static_cast<std::size_t>(w) * static_cast<std::size_t>(h); i < n; ++i, p += 4) {
        const std::uint32_t v = TIFFGetR(words[i]), b = TIFFGetB(words[i]);
        const std::uint8_t g = static_cast<std::uint8_t>(TIFFGetG(words[i]));
        p[0] = static_cast<std::uint8_t>(b), p[1] = g, p[2] = static_cast<std::uint8_t>(v), p[3] = 255;
    }
}

void decode(const std::string& path, Frame& frame, bool pixels, std::int32_t& w, std::int32_t& h) {
    switch (kind_from_content(path)) {
        case FileKind::jpeg: return decode_jpeg(path, frame, pixels, w, h);
        case FileKind::png: return decode_png(path, frame, pixels, w, h);
        case FileKind::tiff: return decode_tiff(path, frame, pixels, w, h);
        case FileKind::radiance: throw Failure(path + ": a Radiance HDR file, not an 8-bit frame");
        default: throw Failure(path + ": unsupported image (not JPEG, PNG or TIFF)");
    }
}

}  // namespace

FileKind kind_from_name(const std::string& path) {
    const auto dot = path.rfind('.');
    std::string ext = dot == std::string::npos ? "" : path.substr(dot + 1);
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (ext == "png") return FileKind::png;
    if (ext == "jpg" || ext == "jpeg") return FileKind::jpeg;
    if (ext == "tif" || ext == "tiff") return FileKind::tiff;
    if (ext == "hdr" || ext == "pic") return FileKind::radiance;
    if (ext == "vzm") return FileKind::vzm;
    return FileKind::unknown;
}

FileKind kind_from_content(const std::string& path) {
    FileHandle f = open_input(path);
    unsigned char b[16] = {};
    const std::size_t n = std::fread(b, 1, sizeof b, f.get());
    if (std::ferror(f.get())) throw Failure(path + ": cannot read: " + std::strerror(errno));
    if (n == 0) throw Failure(path + ": empty file");
    if (n >= 3 && b[0] == 0xff && b[1] == 0xd8 && b[2] == 0xff) return FileKind::jpeg;
    if (n >= 8 && !std::memcmp(b, "\x89PNG\r\n\x1a\n", 8)) return FileKind::png;
    if (n >= 4 && (!std::memcmp(b, "II*\0", 4) || !std::memcmp(b, "MM\0*", 4))) return FileKind::tiff;
    if (n >= 2 && b[0] == '#' && b[1] == '?') return FileKind::radiance;
    if (n >= 16 && b[0] == (1976 & 0xff) && b[1] == (1976 >> 8) && b[2] == (1000 & 0xff) && b[3] == (1000 >> 8))
        return FileKind::vzm;
    return FileKind::unknown;
}

const char* kind_name(FileKind kind) {
    switch (kind) {
        case FileKind::png: return "PNG";
        case FileKind::jpeg: return "JPEG";
        case FileKind::tiff: return "TIFF";
        case FileKind::radiance: return "Radiance HDR";
        case FileKind::vzm: return "VZM";
        default: return "unknown";
    }
}

Frame read_frame(const std::string& path) {
    Frame frame;
    std::int32_t w = 0, h = 0;
    decode(path, frame, true, w, h);
    return frame;
}

void read_frame_size(const std::string& path, std::int32_t& width, std::int32_t& height) {
    Frame unused;
    decode(path, unused, false, width, height);
}

std::optional<double> exif_exposure_time(const std::string& path) {
    std::unique_ptr<ExifData, void (*)(ExifData*)> data(exif_data_new_from_file(path.c_str()), exif_data_unref);
    if (!data) return std::nullopt;
    ExifEntry* entry = exif_data_get_entry(data.get(), EXIF_TAG_EXPOSURE_TIME);
    if (!entry || entry->format != EXIF_FORMAT_RATIONAL || entry->components < 1) return std::nullopt;
    const ExifRational r = exif_get_rational(entry->data, exif_data_get_byte_order(data.get()));
    if (r.numerator == 0 || r.denominator == 0) return std::nullopt;
    return static_cast<double>(r.numerator) / static_cast<double>(r.denominator);
}

}  // namespace cli
