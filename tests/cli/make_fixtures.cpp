// Writes the 16-bit and grey inputs of the command's tests, whose 8-bit
// reductions are known: every sample of a 16-bit file is 0x1234 + 0x0100 *
// channel (R, G, B), which scales to the bytes 18, 19, 20; the grey PNG's
// samples are 77.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <png.h>
#include <tiffio.h>

namespace {

constexpr int kWidth = 7, kHeight = 5;

bool write_png(const std::string& path, int bits, int colour, const std::vector<std::uint8_t>& row) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) {
        std::fclose(f);
        return false;
    }
    png_init_io(png, f);
    png_set_IHDR(png, info, kWidth, kHeight, bits, colour, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int y = 0; y < kHeight; ++y) png_write_row(png, row.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return std::fclose(f) == 0;
}

bool write_tiff16(const std::string& path, const std::vector<std::uint16_t>& row) {
    TIFF* tif = TIFFOpen(path.c_str(), "w");
    if (!tif) return false;
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, kWidth);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, kHeight);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 3);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    bool ok = true;
    for (int y = 0; y < kHeight; ++y)
        ok = ok && TIFFWriteScanline(tif, const_cast<std::uint16_t*>(row.data()), static_cast<uint32_t>(y), 0) == 1;
    TIFFClose(tif);
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const std::string dir = argv[1];
    std::vector<std::uint8_t> row16;  // big-endian samples
    std::vector<std::uint16_t> words;
    for (int x = 0; x < kWidth; ++x)
        for (int c = 0; c < 3; ++c) {
            const auto v = static_cast<std::uint16_t>(0x1234 + 0x0100 * c);
            row16.push_back(static_cast<std::uint8_t>(v >> 8));
            row16.push_back(static_cast<std::uint8_t>(v & 0xff));
            words.push_back(v);
        }
    const std::vector<std::uint8_t> grey(kWidth, 77);
    const bool ok = write_png(dir + "/rgb16.png", 16, PNG_COLOR_TYPE_RGB, row16) && write_tiff16(dir + "/rgb16.tif", words) &&
                    write_png(dir + "/grey8.png", 8, PNG_COLOR_TYPE_GRAY, grey);
    return ok ? 0 : 1;
}
