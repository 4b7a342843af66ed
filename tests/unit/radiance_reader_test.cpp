// The checked Radiance reader (effects::io::read_radiance): the encodings
// and orientations real writers produce, header lines, exposure and XYZ, a
// clear error for each kind of bad file, and every Radiance file of the
// shared test data.
#include <gtest/gtest.h>

#include <effects/io.hpp>

#include <cmath>
#include <vector>

#include "file_test_support.hpp"
#include "test_support.hpp"

namespace efx_test {
namespace {

std::vector<float> floats(const effects::io::RadianceImage& img) { return {img.pixels.begin(), img.pixels.end()}; }

using effects::io::decode_radiance;
using effects::io::RadianceImage;
using effects::io::read_radiance;

RadianceImage decode(const std::vector<uint8_t>& bytes) { return decode_radiance(bytes.data(), bytes.size()); }

// The message of the error that decoding `bytes` throws.
std::string error_of(const std::vector<uint8_t>& bytes, effects::Errc code = effects::Errc::bad_file) {
    try {
        decode(bytes);
    } catch (const effects::Error& e) {
        EXPECT_EQ(e.code(), code) << e.what();
        return e.what();
    }
    ADD_FAILURE() << "no error";
    return {};
}

std::vector<uint8_t> file(const std::string& header, const std::vector<uint8_t>& pixels) {
    return concat(bytes_of(header), pixels);
}

float half(uint8_t m, uint8_t e) { return rgbe_decode_half(m, e); }

// Pixel (row, col) of the orientation tests: its red mantissa tells where it is.
std::vector<uint8_t> marked(int row, int col) { return {static_cast<uint8_t>(128 + 10 * row + col), 130, 140, 129}; }

TEST(RadianceReader, EveryOrientationComesBackTopDownLeftToRight) {
    const int W = 3, H = 2;
    const char* lines[] = {"-Y 2 +X 3", "-Y 2 -X 3", "+Y 2 +X 3", "+Y 2 -X 3",
                           "+X 3 -Y 2", "+X 3 +Y 2", "-X 3 -Y 2", "-X 3 +Y 2"};
    for (const char* line : lines) {
        const std::string res = line;
        const bool columns = res[1] == 'X';
        const int n1 = columns ? W : H, n2 = columns ? H : W;
        std::vector<uint8_t> px;
        for (int s = 0; s < n1; ++s)
            for (int i = 0; i < n2; ++i) {
                // Y grows upward, X to the right; the first axis picks the scanline.
                auto along = [&](char sign, char axis, int k, int n) {
                    return axis == 'Y' ? (sign == '-' ? k : n - 1 - k) : (sign == '+' ? k : n - 1 - k);
                };
                const int a = along(res[0], res[1], s, n1);
                const int b = along(res[res.find(' ', 3) + 1], res[res.find(' ', 3) + 2], i, n2);
                px = concat(px, columns ? marked(b, a) : marked(a, b));
            }
        const auto img = decode(file("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n" + res + "\n", px));
        ASSERT_EQ(img.width, W) << line;
        ASSERT_EQ(img.height, H) << line;
        for (int r = 0; r < H; ++r)
            for (int c = 0; c < W; ++c) {
                const size_t i = 3 * (static_cast<size_t>(r) * W + c);
                EXPECT_EQ(img.pixels[i], half(static_cast<uint8_t>(128 + 10 * r + c), 129)) << line << " " << r << c;
                EXPECT_EQ(img.pixels[i + 1], half(130, 129));
                EXPECT_EQ(img.pixels[i + 2], half(140, 129));
            }
    }
    // Hand-worked: "+Y 2 +X 3" stores the bottom row first.
    std::vector<uint8_t> px;
    for (int c = 0; c < 3; ++c) px = concat(px, marked(1, c));
    for (int c = 0; c < 3; ++c) px = concat(px, marked(0, c));
    EXPECT_EQ(decode(file("#?RADIANCE\n\n+Y 2 +X 3\n", px)).pixels[0], half(128, 129));
}

TEST(RadianceReader, OldStyleRepeatPixels) {
    // A pixel, 43 repeats, then 1 << 8 more: 300 pixels in all.
    std::vector<uint8_t> px = {200, 100, 50, 131, 1, 1, 1, 43, 1, 1, 1, 1};
    const auto img = decode(file("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 1 +X 300\n", px));
    ASSERT_EQ(img.pixels.size(), 900u);
    for (size_t i = 0; i < 300; ++i) {
        ASSERT_EQ(img.pixels[3 * i], half(200, 131)) << i;
        ASSERT_EQ(img.pixels[3 * i + 2], half(50, 131));
    }
    // Repeats of a short scanline after a plain pixel in the middle.
    const auto img2 = decode(file("#?RGBE\n\n-Y 1 +X 4\n", {1, 2, 3, 130, 1, 1, 1, 1, 9, 9, 9, 129, 1, 1, 1, 1}));
    EXPECT_EQ(img2.pixels[3], half(1, 130));
    EXPECT_EQ(img2.pixels[9], half(9, 129));
}

TEST(RadianceReader, FlatPixelsInTheRunLengthWidths) {
    std::vector<uint8_t> px;
    for (int i = 0; i < 16; ++i) px = concat(px, {static_cast<uint8_t>(i), 7, 8, 140});
    const auto img = decode(file("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 2 +X 8\n", px));
    for (int i = 0; i < 16; ++i) EXPECT_EQ(img.pixels[3 * i], half(static_cast<uint8_t>(i), 140));
}

TEST(RadianceReader, RunLengthScanlinesBelowWidthEight) {
    // Written so by some encoders: a marker that names the width exactly.
    const auto img = decode(file("#?RADIANCE\n\n-Y 1 +X 3\n", {2, 2, 0, 3, 131, 9, 131, 8, 131, 7, 131, 129}));
    EXPECT_EQ(floats(img), (std::vector<float>{half(9, 129), half(8, 129), half(7, 129),
                                                             half(9, 129), half(8, 129), half(7, 129),
                                                             half(9, 129), half(8, 129), half(7, 129)}));
    // Any other marker-like pixel is a flat pixel.
    const auto flat = decode(file("#?RADIANCE\n\n-Y 1 +X 1\n", {2, 2, 0, 8}));
    EXPECT_EQ(flat.pixels[0], half(2, 8));
}

TEST(RadianceReader, HeaderLinesExposureAndLineEnds) {
    const auto img = decode(file("#?RADIANCE\r\n# made by hand\r\nEXPOSURE=2\nSOFTWARE= test\nEXPOSURE= 0.5e1 \n"
                                 "FORMAT=32-bit_rle_rgbe\r\n\r\n-Y 1      +X 1     \r\n",
                                 {128, 64, 32, 129}));
    EXPECT_EQ(img.exposure, 10.0f);
    EXPECT_EQ(floats(img), (std::vector<float>{half(128, 129), half(64, 129), half(32, 129)}));
    EXPECT_EQ(img.header, (std::vector<std::string>{"#?RADIANCE\r", "# made by hand\r", "EXPOSURE=2", "SOFTWARE= test",
                                                    "EXPOSURE= 0.5e1 ", "FORMAT=32-bit_rle_rgbe\r"}));
    EXPECT_FALSE(img.converted_from_xyz);
}

TEST(RadianceReader, XyzPixelsBecomeRgb) {
    // Equal X, Y and Z is the white of the format's primaries: R = G = B.
    const auto img = decode(file("#?RADIANCE\nFORMAT=32-bit_rle_xyze\n\n-Y 1 +X 2\n", {128, 128, 128, 129, 0, 128, 0, 129}));
    EXPECT_TRUE(img.converted_from_xyz);
    const float v = half(128, 129);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(img.pixels[k], v, 1e-5f * v);
    // Pure Y: all three positive, green the largest (luminance is mostly green).
    EXPECT_GT(img.pixels[4], img.pixels[3]);
    EXPECT_GT(img.pixels[4], img.pixels[5]);
}

TEST(RadianceReader, OldFilesWithoutMagicAreTakenWhenTheyNameTheFormat) {
    const auto img = decode(file("Xim format conversion by: \nFORMAT=32-bit_rle_rgbe\nEXPOSURE=4\n\n-Y 1 +X 1\n",
                                 {128, 128, 128, 129}));
    EXPECT_EQ(img.exposure, 4.0f);
    EXPECT_EQ(img.header.front(), "Xim format conversion by: ");
}

TEST(RadianceReader, RefusesWhatIsNotARadianceFile) {
    EXPECT_NE(error_of(bytes_of("P6\n3 2\n255\n")).find("no \"#?\" magic at offset 0"), std::string::npos);
    EXPECT_NE(error_of({}).find("no \"#?\" magic"), std::string::npos);
    EXPECT_NE(error_of(bytes_of("#?\x01\x02\nFORMAT=32-bit_rle_rgbe\n\n-Y 1 +X 1\n")).find("bad magic \"#???\" at offset 0"),
              std::string::npos);
    EXPECT_NE(error_of(bytes_of("#?\n\n-Y 1 +X 1\n\1\1\1\1")).find("bad magic"), std::string::npos);
    std::string huge = "#?RADIANCE\n";
    while (huge.size() <= 70000) huge += "# a comment line that goes on and on and on and on\n";
    EXPECT_NE(error_of(bytes_of(huge + "\n-Y 1 +X 1\n....")).find("header longer than 64 KiB"), std::string::npos);
    EXPECT_NE(error_of(bytes_of("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n")).find("file ends inside the header at offset 34"),
              std::string::npos);
    EXPECT_NE(error_of(bytes_of("#?RADIANCE\nFORMAT=32-bit_rle_yuv\n\n-Y 1 +X 1\n")).find("unsupported pixel format"),
              std::string::npos);
    EXPECT_NE(error_of(bytes_of("#?RADIANCE\nEXPOSURE=fast\n\n-Y 1 +X 1\n")).find("bad EXPOSURE value"),
              std::string::npos);
}

TEST(RadianceReader, RefusesBadSizes) {
    const std::string h = "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n";
    const std::vector<uint8_t> px(64, 128);
    EXPECT_NE(error_of(bytes_of(h)).find("missing image size line at offset 35"), std::string::npos);
    EXPECT_NE(error_of(file(h + "\n", px)).find("bad image size line \"\" at offset 35"), std::string::npos);
    EXPECT_NE(error_of(file(h + "-Y 2 +Y 3\n", px)).find("bad image size line"), std::string::npos);
    EXPECT_NE(error_of(file(h + "-Y 2 +X 3 junk\n", px)).find("bad image size line"), std::string::npos);
    EXPECT_NE(error_of(file(h + "-Y 2 +X 0\n", px)).find("width 0 in the image size line at offset 35"),
              std::string::npos);
    EXPECT_NE(error_of(file(h + "-Y 0 +X 2\n", px)).find("height 0"), std::string::npos);
    EXPECT_NE(error_of(file(h + "-Y 1 +X 16777217\n", px)).find("width above 16777216"), std::string::npos);
    EXPECT_NE(error_of(file(h + "-Y 99999999999999999999 +X 1\n", px)).find("height above 16777216"),
              std::string::npos);
    // The largest sizes pass the size check, and a short file is refused
    // before anything is allocated for them.
    EXPECT_NE(error_of(file(h + "-Y 16777216 +X 16777216\n", px)).find("16777216 scanlines need at least 67108864 bytes"),
              std::string::npos);
}

TEST(RadianceReader, RefusesBadScanlinesSayingWhere) {
    const std::string h = "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 2 +X 8\n";  // pixels at offset 45
    const std::vector<uint8_t> good = {2, 2, 0, 8, 136, 1, 136, 2, 136, 3, 136, 130};
    EXPECT_NO_THROW(decode(file(h, concat(good, good))));
    EXPECT_NE(error_of(file(h, concat(good, {2, 2, 0, 8, 137, 1, 136, 2, 136, 3, 136, 130})))
                  .find("run of 9 overruns the 8 bytes left of plane 0 in scanline 1 at offset 61"),
              std::string::npos);
    EXPECT_NE(error_of(file(h, concat(good, {2, 2, 0, 8, 136, 1, 136, 2, 4, 1, 2, 3, 4, 5, 9, 9, 9, 9, 9, 9})))
                  .find("literal block of 5 overruns the 4 bytes left of plane 2 in scanline 1"),
              std::string::npos);
    EXPECT_NE(error_of(file(h, concat(good, {2, 2, 0, 8, 0, 1, 136, 2, 136, 3, 136, 130}))).find("literal block of length 0"),
              std::string::npos);
    EXPECT_NE(error_of(file(h, concat(good, {2, 2, 0, 9, 136, 1, 136, 2, 136, 3, 136, 130})))
                  .find("scanline length 9 differs from the image's 8 in scanline 1 at offset 57"),
              std::string::npos);
    EXPECT_NE(error_of(file(h, concat(good, {2, 2, 0, 8, 136, 1, 136}))).find("file truncated in scanline 1 at offset 64"),
              std::string::npos);
    EXPECT_NE(error_of(file(h, concat(good, {1, 1, 1, 4, 0, 0, 0, 0}))).find("repeat pixel with no pixel before it"),
              std::string::npos);
    EXPECT_NE(error_of(file(h, concat(good, {5, 5, 5, 130, 1, 1, 1, 8}))).find("repeat of 8 pixels overruns the 7 left"),
              std::string::npos);
    EXPECT_NE(error_of(file(h, concat(good, {5, 5, 5, 130, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1})))
                  .find("overruns"),
              std::string::npos);
}

// Found by the fuzzer: the checking pass of a run-length scanline formed
// plane addresses from a null buffer.
TEST(RadianceReader, CheckingPassTouchesNoBuffer) {
    const std::vector<uint8_t> bytes = {35, 63, 80, 79, 48, 10, 10, 45, 89, 32, 50, 32, 43, 88, 32, 49, 54, 10, 2,
                                        2,  0,  16, 136, 7, 8, 34, 99, 229, 164, 38, 103, 168, 233, 137, 7, 8, 86};
    EXPECT_NE(error_of(bytes).find("in scanline 0 at offset"), std::string::npos);
}

TEST(RadianceReader, ReadsFromDiskAndReportsMissingFiles) {
    ScratchDir dir;
    const auto path = dir / "a.hdr";
    write_bytes(path, file("#?RADIANCE\n\n-Y 1 +X 1\n", {128, 128, 128, 129}));
    EXPECT_EQ(read_radiance(path).pixels.size(), 3u);
    try {
        read_radiance(dir / "missing.hdr");
        ADD_FAILURE();
    } catch (const effects::Error& e) {
        EXPECT_EQ(e.code(), effects::Errc::io);
        EXPECT_NE(std::string(e.what()).find("missing.hdr"), std::string::npos);
    }
}

TEST(RadianceReader, CBufferChecks) {
    const auto bytes = file("#?RADIANCE\n\n-Y 1 +X 2\n", {128, 128, 128, 129, 128, 128, 128, 129});
    EffectsRadianceInfo info{};
    char msg[64];
    float px[6];
    char header[8];
    EXPECT_EQ(EffectsDecodeRadiance(bytes.data(), static_cast<intptr_t>(bytes.size()), &info, nullptr, 0, px, 5, msg,
                                    sizeof msg),
              EFFECTS_ERROR_BUFFER_TOO_SMALL);
    EXPECT_EQ(EffectsDecodeRadiance(bytes.data(), static_cast<intptr_t>(bytes.size()), &info, header, 8, px, 6, msg,
                                    sizeof msg),
              EFFECTS_ERROR_BUFFER_TOO_SMALL);
    EXPECT_EQ(info.header_bytes, 11);
    EXPECT_EQ(EffectsDecodeRadiance(bytes.data(), -1, &info, nullptr, 0, nullptr, 0, msg, sizeof msg),
              EFFECTS_ERROR_NEGATIVE_SIZE);
    EXPECT_EQ(EffectsDecodeRadiance(nullptr, 4, &info, nullptr, 0, nullptr, 0, msg, 1), EFFECTS_ERROR_NULL_POINTER);
    EXPECT_EQ(msg[0], 0);
    EXPECT_EQ(EffectsDecodeRadiance(bytes.data(), static_cast<intptr_t>(bytes.size()), &info, nullptr, 0, px, 6,
                                    nullptr, 0),
              EFFECTS_OK);
}

// ---- Files made by other software ------------------------------------------------

struct Known {
    const char* name;
    int width, height;
};

TEST(RadianceReader, ReadsEveryRadianceFileOfTheTestData) {
    const fs::path root = EFFECTS_TEST_DATA_DIR;
    if (!fs::is_directory(root)) GTEST_SKIP() << "no test data at " << root;
    const Known known[] = {{"image1.hdr", 128, 85}, {"rgbr4x4.hdr", 4, 4},        {"scale.hdr", 256, 8},
                           {"Earth.hdr", 512, 256}, {"dielectric_def.hdr", 128, 128}, {"test.hdr", 544, 544},
                           {"macbeth_spec.pic", 512, 408}};
    int files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        const auto ext = entry.path().extension();
        if (ext != ".hdr" && ext != ".pic") continue;
        SCOPED_TRACE(entry.path().string());
        const RadianceImage img = read_radiance(entry.path());
        ++files;
        ASSERT_GT(img.width, 0);
        ASSERT_EQ(img.pixels.size(), static_cast<size_t>(img.width) * img.height * 3);
        for (const Known& k : known)
            if (entry.path().filename() == k.name) {
                EXPECT_EQ(img.width, k.width);
                EXPECT_EQ(img.height, k.height);
            }
        size_t lit = 0;
        for (float v : img.pixels) {
            ASSERT_TRUE(std::isfinite(v) && v >= 0.0f) << v;
            lit += v > 0.0f;
        }
        EXPECT_GT(lit, img.pixels.size() / 2);
        EXPECT_FALSE(img.header.empty());
        // Files in the legacy reader's orientation with the magic decode to
        // the same floats through RGBE_LoadHDR.
        if (img.header.front().rfind("#?", 0) == 0) {
            std::vector<float> legacy(img.pixels.size() + 16, -1.0f);
            stderr_of([&] { RGBE_LoadHDR(wide(entry.path()).c_str(), legacy.data(), img.width, img.height); });
            legacy.resize(img.pixels.size());
            EXPECT_EQ(legacy, floats(img));
        }
    }
    EXPECT_GE(files, 1);
}

}  // namespace
}  // namespace efx_test
