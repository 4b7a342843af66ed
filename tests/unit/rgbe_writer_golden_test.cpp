// Hand-worked bytes of the legacy Radiance writers: the header of each, flat
// pixels below width 8 and above 32767, run-length scanlines in between,
// the byte-run coder's cases, the 64-bit writer's header-only file, the
// prepared work buffers and UTF-16 file names.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "file_test_support.hpp"
#include "test_support.hpp"

namespace efx_test {
namespace {

std::vector<uint8_t> rgbe_of(float r, float g, float b) {
    uint8_t out[4];
    rgbe_encode(r, g, b, out);
    return {out[0], out[1], out[2], out[3]};
}

TEST(RgbeWriterGolden, WidthSevenIsWrittenFlat) {
    ScratchDir dir;
    const auto path = dir / "flat.hdr";
    const std::vector<float> rgb = {1.0f, 0.5f, 0.25f,  0.0f, 0.0f, 0.0f,  2.0f, 0.0f, 0.0f,  0.5f, 0.5f, 0.5f,
                                    3.0f, 1.5f, 0.75f,  1e-33f, 0.0f, 0.0f,  0.25f, 1.0f, 0.0f,
                                    // second row: black
                                    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(RGBE_WriteHeader_96(wide(path).c_str(), 7, 2, rgb.data()), 0);
    std::vector<uint8_t> want = bytes_of(radiance_header(kMadeWith, 7, 2));
    want = concat(want, {128, 64, 32, 129, 0, 0, 0, 0, 128, 0, 0, 130, 128, 128, 128, 128,
                         192, 96, 48, 130, 0, 0, 0, 0, 32, 128, 0, 129});
    want.resize(want.size() + 7 * 4, 0);
    EXPECT_EQ(read_bytes(path), want);
}

TEST(RgbeWriterGolden, WidthEightGetsScanlineMarkers) {
    ScratchDir dir;
    const auto path = dir / "rle.hdr";
    std::vector<float> rgb;
    for (int i = 0; i < 8; ++i) rgb.insert(rgb.end(), {1.0f, 0.5f, 0.25f});
    RGBE_WriteHeader_96(wide(path).c_str(), 8, 1, rgb.data());
    const auto want = concat(bytes_of(radiance_header(kMadeWith, 8, 1)),
                             {2, 2, 0, 8, 136, 128, 136, 64, 136, 32, 136, 129});
    EXPECT_EQ(read_bytes(path), want);
}

TEST(RgbeWriterGolden, WidthAbove32767IsWrittenFlat) {
    ScratchDir dir;
    const auto path = dir / "wide.hdr";
    const int w = 32768;
    std::vector<float> rgb(static_cast<size_t>(w) * 3, 0.5f);
    RGBE_WriteHeader_96(wide(path).c_str(), w, 1, rgb.data());
    const auto bytes = read_bytes(path);
    const auto header = radiance_header(kMadeWith, w, 1);
    ASSERT_EQ(bytes.size(), header.size() + 4 * static_cast<size_t>(w));
    for (size_t i = header.size(); i < bytes.size(); i += 4)
        ASSERT_EQ(std::vector<uint8_t>(bytes.begin() + static_cast<long>(i), bytes.begin() + static_cast<long>(i) + 4),
                  (std::vector<uint8_t>{128, 128, 128, 128}));
}

// Writes one scanline through the Rgbea writer, whose bytes reach the file
// as they stand: plane R gets `r`, the other planes constant bytes.
std::vector<uint8_t> scanline_of_red_plane(const std::vector<uint8_t>& r) {
    ScratchDir dir;
    const auto path = dir / "plane.hdr";
    const int w = static_cast<int>(r.size());
    std::vector<uint8_t> image, work(r.size() * 4);
    for (uint8_t v : r) image.insert(image.end(), {9, 7, v, 140, 255});
    RGBE_WriteHeader_RGBEA(wide(path).c_str(), w, 1, image.data(), work.data());
    const auto bytes = read_bytes(path);
    const size_t at = radiance_header(kVersion, w, 1).size();
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + static_cast<long>(at), bytes.begin() + static_cast<long>(at) + 4),
              (std::vector<uint8_t>{2, 2, static_cast<uint8_t>(w >> 8), static_cast<uint8_t>(w & 255)}));
    // For widths up to 127 the other planes are one run each, the last six
    // bytes; the red plane's code is what comes before them.
    std::vector<uint8_t> red(bytes.begin() + static_cast<long>(at) + 4, bytes.end());
    if (w <= 127) {
        const std::vector<uint8_t> g_b_e = {static_cast<uint8_t>(128 + w), 7, static_cast<uint8_t>(128 + w), 9,
                                            static_cast<uint8_t>(128 + w), 140};
        EXPECT_EQ(std::vector<uint8_t>(red.end() - 6, red.end()), g_b_e);
        red.resize(red.size() - 6);
    }
    return red;
}

TEST(RgbeWriterGolden, TwoHundredEqualBytesAreTwoRuns) {
    const auto code = scanline_of_red_plane(std::vector<uint8_t>(200, 42));
    ASSERT_GE(code.size(), 4u);
    EXPECT_EQ(std::vector<uint8_t>(code.begin(), code.begin() + 4), (std::vector<uint8_t>{255, 42, 201, 42}));
}

TEST(RgbeWriterGolden, ShortRunBeforeLongRunIsARun) {
    EXPECT_EQ(scanline_of_red_plane({'a', 'a', 'b', 'b', 'b', 'b', 'c', 'd'}),
              (std::vector<uint8_t>{130, 'a', 132, 'b', 2, 'c', 'd'}));
    // Without a long run behind them the bytes stay literal.
    EXPECT_EQ(scanline_of_red_plane({'a', 'a', 'b', 'b', 'b', 'c', 'd', 'e'}),
              (std::vector<uint8_t>{8, 'a', 'a', 'b', 'b', 'b', 'c', 'd', 'e'}));
}

TEST(RgbeWriterGolden, ThreeHundredDistinctBytesAreLiteralBlocksOf128) {
    std::vector<uint8_t> plane(300);
    for (size_t i = 0; i < plane.size(); ++i) plane[i] = static_cast<uint8_t>(i);
    const auto code = scanline_of_red_plane(plane);
    std::vector<uint8_t> want = {128};
    for (int i = 0; i < 128; ++i) want.push_back(static_cast<uint8_t>(i));
    want.push_back(128);
    for (int i = 128; i < 256; ++i) want.push_back(static_cast<uint8_t>(i));
    want.push_back(44);
    for (int i = 0; i < 44; ++i) want.push_back(static_cast<uint8_t>(i));
    ASSERT_GE(code.size(), want.size());
    EXPECT_EQ(std::vector<uint8_t>(code.begin(), code.begin() + static_cast<long>(want.size())), want);
}

TEST(RgbeWriterGolden, EightBitWriterScalesAndReverses) {
    ScratchDir dir;
    const auto path = dir / "bgra.hdr";
    std::vector<uint8_t> image;
    for (int i = 0; i < 8; ++i) image.insert(image.end(), {static_cast<uint8_t>(i * 30), 128, 255, 17});
    std::vector<float> work(8 * 3 + 1, -9.0f);
    EXPECT_EQ(RGBE_WriteHeader_32(wide(path).c_str(), 8, 1, image.data(), work.data()), 0);
    std::vector<uint8_t> r, g, b, e;
    for (int i = 0; i < 8; ++i) {
        const float fr = 255 * kInv255, fg = 128 * kInv255, fb = static_cast<float>(i * 30) * kInv255;
        EXPECT_EQ(work[3 * i], fr);
        EXPECT_EQ(work[3 * i + 1], fg);
        EXPECT_EQ(work[3 * i + 2], fb);
        const auto px = rgbe_of(fr, fg, fb);
        r.push_back(px[0]), g.push_back(px[1]), b.push_back(px[2]), e.push_back(px[3]);
    }
    EXPECT_EQ(work[24], -9.0f);
    // R, G and E are constant (runs), B climbs (one literal block).
    std::vector<uint8_t> want = concat(bytes_of(radiance_header(kMadeWith, 8, 1)), {2, 2, 0, 8, 136, r[0], 136, g[0], 8});
    want = concat(concat(want, b), {136, e[0]});
    EXPECT_EQ(read_bytes(path), want);
}

TEST(RgbeWriterGolden, FifteenBitWriterLeavesTheHeaderAlone) {
    ScratchDir dir;
    const auto path = dir / "wide16.hdr";
    std::vector<uint16_t> image;
    for (int i = 0; i < 9; ++i) image.insert(image.end(), {100, 32767, 16384, 32767});
    std::vector<float> work(9 * 3, -1.0f);
    EXPECT_EQ(RGBE_WriteHeader_64(wide(path).c_str(), 9, 1, image.data(), work.data()), 0);
    EXPECT_EQ(read_bytes(path), bytes_of(radiance_header(kMadeWith, 9, 1)));
    // The work buffer is prepared all the same: words / 32767, reversed.
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(work[3 * i], 16384.0f * kInv32767);
        EXPECT_EQ(work[3 * i + 1], 32767.0f * kInv32767);
        EXPECT_EQ(work[3 * i + 2], 100.0f * kInv32767);
    }
}

TEST(RgbeWriterGolden, FloatWriterCopiesReversedUnderItsOwnComment) {
    ScratchDir dir;
    const auto path = dir / "f.hdr";
    const std::vector<float> image = {0.25f, 0.5f, 1.0f, 0.3f, 0.0f, 0.0f, 4.0f, 1.0f};
    std::vector<float> work(6);
    RGBE_WriteHeader_128(wide(path).c_str(), 2, 1, image.data(), work.data());
    EXPECT_EQ(work, (std::vector<float>{1.0f, 0.5f, 0.25f, 4.0f, 0.0f, 0.0f}));
    EXPECT_EQ(read_bytes(path), concat(bytes_of(radiance_header(kVersion, 2, 1)), {128, 64, 32, 129, 128, 0, 0, 131}));
}

TEST(RgbeWriterGolden, RgbeaWriterWritesItsBytesAsTheyStand) {
    ScratchDir dir;
    const auto path = dir / "rgbea.hdr";
    const std::vector<uint8_t> image = {10, 20, 30, 140, 99, 1, 2, 3, 4, 5};
    std::vector<uint8_t> work(8);
    RGBE_WriteHeader_RGBEA(wide(path).c_str(), 2, 1, image.data(), work.data());
    EXPECT_EQ(work, (std::vector<uint8_t>{30, 20, 10, 140, 3, 2, 1, 4}));
    EXPECT_EQ(read_bytes(path), concat(bytes_of(radiance_header(kVersion, 2, 1)), work));
}

TEST(RgbeWriterGolden, FileNamesAreUtf16) {
    ScratchDir dir;
    const fs::path path = dir.path() / fs::path(u8"Bild \u00e4\u00df \u65e5\u672c \U0001F600.hdr");
    const std::vector<float> rgb = {1.0f, 1.0f, 1.0f};
    RGBE_WriteHeader_96(wide(path).c_str(), 1, 1, rgb.data());
    EXPECT_TRUE(fs::exists(path));
    EXPECT_EQ(read_bytes(path), concat(bytes_of(radiance_header(kMadeWith, 1, 1)), {128, 128, 128, 129}));
}

TEST(RgbeWriterGolden, UnopenableFileWritesNothingAndStillPreparesTheWork) {
    ScratchDir dir;
    const auto path = dir / "no-such-folder" / "x.hdr";
    const std::vector<uint8_t> image = {0, 0, 255, 0};
    std::vector<float> work(3, -1.0f);
    EXPECT_EQ(RGBE_WriteHeader_32(wide(path).c_str(), 1, 1, image.data(), work.data()), 0);
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(work[0], 255 * kInv255);
}

TEST(RgbeWriterGolden, NothingAfterTheHeaderForAnEmptyImage) {
    ScratchDir dir;
    const auto path = dir / "empty.hdr";
    RGBE_WriteHeader_96(wide(path).c_str(), 0, 5, nullptr);
    EXPECT_EQ(read_bytes(path), bytes_of(radiance_header(kMadeWith, 0, 5)));
}

}  // namespace
}  // namespace efx_test
