// Writing the command's 8-bit outputs (PNG, JPEG with an optional EXIF
// exposure time, TIFF), each through a temporary file renamed into place.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csetjmp>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include <jpeglib.h>
#include <libexif/exif-data.h>
#include <png.h>
#include <tiffio.h>

#include "codec_errors.hpp"
#include "image_files.hpp"

namespace cli {

using codec::JpegError;
using codec::jpeg_fail;
using codec::png_fail;

namespace fs = std::filesystem;

void check_output_folder(const std::string& path) {
    const fs::path parent = fs::path(path).parent_path();
    std::error_code ec;
    if (!parent.empty() && !fs::is_directory(parent, ec))
        throw Failure(path + ": output folder " + parent.string() + " does not exist");
    if (fs::is_directory(path, ec)) throw Failure(path + ": is a folder, not a file name");
}

PendingFile::PendingFile(const std::string& target) : target_(target) {
    check_output_folder(target);
    const fs::path p(target);
    const fs::path folder = p.parent_path().empty() ? fs::path(".") : p.parent_path();
    std::string leaf = p.filename().string();
    leaf.insert(leaf.begin(), '.');  // hidden while incomplete
    leaf += ".XXXXXX";
    std::string pattern = (folder / leaf).string();
    const int fd = ::mkstemp(pattern.data());
    if (fd < 0) throw Failure(target + ": cannot write: " + std::strerror(errno));
    temporary_ = pattern;
    stream_ = ::fdopen(fd, "wb");
    if (!stream_) {
        ::close(fd);
        std::remove(temporary_.c_str());
        throw Failure(target + ": cannot write: " + std::strerror(errno));
    }
}

PendingFile::~PendingFile() {
    if (stream_) std::fclose(stream_);
    if (!temporary_.empty()) std::remove(temporary_.c_str());
}

void PendingFile::commit() {
    const bool failed = std::ferror(stream_) != 0;
    const bool closed = std::fclose(stream_) == 0;
    stream_ = nullptr;
    if (failed || !closed) throw Failure(target_ + ": cannot write: " + std::strerror(errno));
    // A new file gets the permissions the user's umask gives, not mkstemp's 0600.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::chmod(temporary_.c_str(), 0666 & ~mask);
    if (std::rename(temporary_.c_str(), target_.c_str()) != 0)
        throw Failure(target_ + ": cannot replace: " + std::strerror(errno));
    temporary_.clear();
}

namespace {

// An APP1 block with the exposure time as a rational of 1/denominator (or
// n/1000000 when it is not a unit fraction).
std::vector<unsigned char> exif_block(double seconds) {
    std::unique_ptr<ExifData, void (*)(ExifData*)> data(exif_data_new(), exif_data_unref);
    exif_data_set_byte_order(data.get(), EXIF_BYTE_ORDER_INTEL);
    ExifEntry* entry = exif_entry_new();
    exif_content_add_entry(data->ifd[EXIF_IFD_EXIF], entry);
    exif_entry_initialize(entry, EXIF_TAG_EXPOSURE_TIME);
    ExifRational r{1, 1};
    const double inverse = 1.0 / seconds;
    if (seconds < 1.0 && inverse == static_cast<double>(static_cast<ExifLong>(inverse)))
        r.denominator = static_cast<ExifLong>(inverse);
    else
        r = {static_cast<ExifLong>(seconds * 1e6 + 0.5), 1000000};
    exif_set_rational(entry->data, EXIF_BYTE_ORDER_INTEL, r);
    exif_entry_unref(entry);
    unsigned char* bytes = nullptr;
    unsigned int size = 0;
    exif_data_save_data(data.get(), &bytes, &size);
    std::vector<unsigned char> out(bytes, bytes + size);
    std::free(bytes);
    return out;
}

}  // namespace

void write_png(const std::string& path, effects::ImageView<const effects::Bgra8> image) {
    PendingFile out(path);
    std::string message;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &message, png_fail, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        throw Failure(path + ": cannot write PNG: " + message);
    }
    png_init_io(png, out.stream());
    png_set_compression_level(png, 3);
    png_set_IHDR(png, info, static_cast<png_uint_32>(image.width()), static_cast<png_uint_32>(image.height()), 8,
                 PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    png_set_bgr(png);
    png_set_filler(png, 0, PNG_FILLER_AFTER);
    for (std::int32_t y = 0; y < image.height(); ++y) png_write_row(png, image.row(y));
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    out.commit();
}

void write_jpeg(const std::string& path, effects::ImageView<const effects::Bgra8> image, int quality,
                std::optional<double> exposure_time) {
    PendingFile out(path);
    const std::vector<unsigned char> exif = exposure_time ? exif_block(*exposure_time) : std::vector<unsigned char>();
    jpeg_compress_struct info;
    JpegError err;
    info.err = jpeg_std_error(&err.mgr);
    err.mgr.error_exit = jpeg_fail;
    if (setjmp(err.jump)) {
        jpeg_destroy_compress(&info);
        throw Failure(path + ": cannot write JPEG: " + err.text);
    }
    jpeg_create_compress(&info);
    jpeg_stdio_dest(&info, out.stream());
    info.image_width = static_cast<JDIMENSION>(image.width());
    info.image_height = static_cast<JDIMENSION>(image.height());
    info.input_components = 4;
    info.in_color_space = JCS_EXT_BGRA;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, quality, TRUE);
    // Full-resolution chroma: the merge sees colour edges where they are.
    for (int c = 0; c < info.num_components; ++c) info.comp_info[c].h_samp_factor = info.comp_info[c].v_samp_factor = 1;
    jpeg_start_compress(&info, TRUE);
    if (!exif.empty()) jpeg_write_marker(&info, JPEG_APP0 + 1, exif.data(), static_cast<unsigned>(exif.size()));
    while (info.next_scanline < info.image_height) {
        auto* row = const_cast<JSAMPROW>(image.row(static_cast<std::int32_t>(info.next_scanline)));
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    out.commit();
}

void write_tiff(const std::string& path, effects::ImageView<const effects::Bgra8> image) {
    PendingFile out(path);
    // libtiff writes through its own descriptor: a duplicate of the pending one.
    TIFF* tif = TIFFFdOpen(::dup(fileno(out.stream())), path.c_str(), "w");
    if (!tif) throw Failure(path + ": cannot write TIFF");
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(image.width()));
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(image.height()));
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 3);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif, 0));
    std::vector<std::uint8_t> row(static_cast<std::size_t>(image.width()) * 3);
    bool ok = true;
    for (std::int32_t y = 0; y < image.height() && ok; ++y) {
        const std::uint8_t* p = image.row(y);
        for (std::int32_t x = 0; x < image.width(); ++x, p += 4) {
            row[3 * static_cast<std::size_t>(x)] = p[2];
            row[3 * static_cast<std::size_t>(x) + 1] = p[1];
            row[3 * static_cast<std::size_t>(x) + 2] = p[0];
        }
        ok = TIFFWriteScanline(tif, row.data(), static_cast<uint32_t>(y), 0) == 1;
    }
    TIFFClose(tif);
    if (!ok) throw Failure(path + ": cannot write TIFF");
    out.commit();
}

void write_ldr(const std::string& path, effects::ImageView<const effects::Bgra8> image) {
    switch (kind_from_name(path)) {
        case FileKind::png: return write_png(path, image);
        case FileKind::jpeg: return write_jpeg(path, image, 95);
        case FileKind::tiff: return write_tiff(path, image);
        default: throw Failure(path + ": cannot tell the output format from the name (.png, .jpg or .tif)");
    }
}

}  // namespace cli
