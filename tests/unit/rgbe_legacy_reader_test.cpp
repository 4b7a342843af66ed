// The legacy Radiance reader: round trips through the writers, each header
// error with its exact message, short and hostile files that leave the rest
// of the destination untouched, and guard bytes after every destination.
#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <vector>

#include "file_test_support.hpp"
#include "test_support.hpp"

namespace efx_test {
namespace {

constexpr float kSentinel = -12345.0f;

// A destination of n floats filled with the sentinel, with guard bytes.
struct Destination {
    explicit Destination(size_t floats) : buf(floats * 4) {
        for (size_t i = 0; i < floats; ++i) store_f(buf.data(), i, kSentinel);
    }
    float* data() { return reinterpret_cast<float*>(buf.data()); }
    float at(size_t i) const { return load_f(buf.data(), i); }
    Guarded buf;
};

// The floats the reader gives for file bytes R, G, B, E.
std::vector<float> decoded(const std::vector<uint8_t>& rgbe) {
    std::vector<float> out;
    for (size_t i = 0; i + 3 < rgbe.size(); i += 4)
        for (int k = 0; k < 3; ++k) out.push_back(rgbe_decode_half(rgbe[i + k], rgbe[i + 3]));
    return out;
}

std::vector<float> random_rgb(int w, int h, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<float> v(static_cast<size_t>(w) * h * 3);
    for (auto& f : v) f = random_float(rng);
    return v;
}

std::vector<uint8_t> encoded(const std::vector<float>& rgb) {
    std::vector<uint8_t> out;
    for (size_t i = 0; i < rgb.size(); i += 3) {
        uint8_t px[4];
        rgbe_encode(rgb[i], rgb[i + 1], rgb[i + 2], px);
        out.insert(out.end(), px, px + 4);
    }
    return out;
}

void expect_floats(const Destination& d, size_t from, const std::vector<float>& want) {
    for (size_t i = 0; i < want.size(); ++i) ASSERT_EQ(float_to_bits(d.at(from + i)), float_to_bits(want[i])) << i;
}

TEST(RgbeLegacyReader, ReadsWhatTheWritersWrite) {
    for (auto [w, h] : {std::pair{13, 5}, {5, 3}, {8, 1}, {1, 1}, {300, 2}}) {
        ScratchDir dir;
        const auto path = dir / "rt.hdr";
        const auto rgb = random_rgb(w, h, static_cast<uint32_t>(w * 100 + h));
        RGBE_WriteHeader_96(wide(path).c_str(), w, h, rgb.data());
        Destination d(rgb.size());
        std::string err = stderr_of([&] { EXPECT_EQ(RGBE_LoadHDR(wide(path).c_str(), d.data(), w, h), 0); });
        EXPECT_EQ(err, "");
        expect_floats(d, 0, decoded(encoded(rgb)));
        EXPECT_TRUE(d.buf.guards_intact());
    }
}

// Loads `bytes` as a file into a destination of `floats` floats.
std::string load(const std::vector<uint8_t>& bytes, Destination& d, int w, int h) {
    ScratchDir dir;
    const auto path = dir / "in.hdr";
    write_bytes(path, bytes);
    return stderr_of([&] { EXPECT_EQ(RGBE_LoadHDR(wide(path).c_str(), d.data(), w, h), 0); });
}

TEST(RgbeLegacyReader, AnyTextAfterTheMagicIsAccepted) {
    Destination d(3);
    const auto err = load(concat(bytes_of("#?SOMETHING ELSE\n# c\nFORMAT=32-bit_rle_rgbe\n\n-Y 1 +X 1\n"),
                                 {128, 64, 32, 129}),
                          d, 1, 1);
    EXPECT_EQ(err, "");
    expect_floats(d, 0, decoded({128, 64, 32, 129}));
}

TEST(RgbeLegacyReader, BadInitialToken) {
    Destination d(3);
    EXPECT_EQ(load(bytes_of("#!RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 1 +X 1\n"), d, 1, 1),
              "RGBE bad file format: bad initial token\n");
    EXPECT_TRUE(d.buf.guards_intact());
}

TEST(RgbeLegacyReader, NoFormatSpecifierAndThePixelsReadFromThere) {
    Destination d(6);
    const auto err = load(bytes_of("#?RADIANCE\n# no format\nFORMAT=32-bit_rle_rgbe\r\n\n-Y 1 +X 2\n"), d, 2, 1);
    EXPECT_EQ(err, "RGBE bad file format: no FORMAT specifier found\n");
    // The reader goes on after the blank line: the size line is read as two
    // flat pixels.
    expect_floats(d, 0, decoded(bytes_of("-Y 1 +X ")));
    EXPECT_TRUE(d.buf.guards_intact());
}

TEST(RgbeLegacyReader, MissingImageSizeSpecifier) {
    for (const char* line : {"Y 1 X 1\n", "-Y 7\n", "+Y 1 +X 1\n", "-Y1+X\n"}) {
        Destination d(3);
        EXPECT_EQ(load(bytes_of(std::string("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n") + line), d, 1, 1),
                  "RGBE bad file format: missing image size specifier\n")
            << line;
    }
    // Blanks are optional around the numbers, as in the scan format.
    Destination d(3);
    EXPECT_EQ(load(concat(bytes_of("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y1 +X   1\n"), {128, 0, 0, 129}), d, 1, 1),
              "");
}

TEST(RgbeLegacyReader, ReadErrorsGoThroughPerror) {
    Destination d(3);
    EXPECT_EQ(load({}, d, 1, 1).rfind("RGBE read error: ", 0), 0u);
    EXPECT_EQ(load(bytes_of("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n"), d, 1, 1).rfind("RGBE read error: ", 0), 0u);
    ScratchDir dir;
    const auto missing = dir / "missing.hdr";
    const auto err = stderr_of([&] { RGBE_LoadHDR(wide(missing).c_str(), d.data(), 1, 1); });
    EXPECT_EQ(err.rfind("RGBE read error: ", 0), 0u) << err;
    EXPECT_EQ(d.at(0), kSentinel);
    EXPECT_TRUE(d.buf.guards_intact());
}

TEST(RgbeLegacyReader, TruncatedRunLengthFileLeavesTheRestUntouched) {
    ScratchDir dir;
    const auto path = dir / "cut.hdr";
    const int w = 16, h = 4;
    const auto rgb = random_rgb(w, h, 7);
    RGBE_WriteHeader_96(wide(path).c_str(), w, h, rgb.data());
    auto bytes = read_bytes(path);
    // Keep the header, two scanlines and half of the third.
    const size_t header = radiance_header(kMadeWith, w, h).size();
    size_t end = header;
    std::vector<size_t> starts;
    for (int s = 0; s < h; ++s) {
        starts.push_back(end);
        // Skip a scanline: marker, then four planes of byte-run code.
        end += 4;
        for (int k = 0; k < 4; ++k)
            for (int at = 0; at < w;) {
                const int c = bytes[end];
                if (c > 128) at += c - 128, end += 2;
                else at += c, end += 1 + static_cast<size_t>(c);
            }
    }
    bytes.resize((starts[2] + starts[3]) / 2);
    Destination d(rgb.size());
    load(bytes, d, w, h);
    const auto want = decoded(encoded(rgb));
    expect_floats(d, 0, std::vector<float>(want.begin(), want.begin() + 2 * w * 3));
    for (size_t i = 2 * w * 3; i < rgb.size(); ++i) ASSERT_EQ(d.at(i), kSentinel) << i;
    EXPECT_TRUE(d.buf.guards_intact());
}

TEST(RgbeLegacyReader, TruncatedFlatFileKeepsTheWholePixelsRead) {
    const int w = 5, h = 2;
    const auto rgb = random_rgb(w, h, 3);
    const auto px = encoded(rgb);
    auto bytes = concat(bytes_of(radiance_header(kMadeWith, w, h)), px);
    bytes.resize(bytes.size() - px.size() + 7 * 4 + 2);
    Destination d(rgb.size());
    load(bytes, d, w, h);
    const auto want = decoded(px);
    expect_floats(d, 0, std::vector<float>(want.begin(), want.begin() + 7 * 3));
    for (size_t i = 7 * 3; i < rgb.size(); ++i) ASSERT_EQ(d.at(i), kSentinel);
    EXPECT_TRUE(d.buf.guards_intact());
}

// Runs RGBE_ReadPixels_RLE on `bytes` as an open stream; returns its result
// and the bytes the stream still holds.
std::pair<int, std::vector<uint8_t>> read_stream(const std::vector<uint8_t>& bytes, Destination& d, int w, int h) {
    ScratchDir dir;
    write_bytes(dir / "s", bytes);
    std::FILE* f = std::fopen((dir / "s").string().c_str(), "rb");
    EXPECT_NE(f, nullptr);
    const int rc = RGBE_ReadPixels_RLE(f, d.data(), w, h);
    std::vector<uint8_t> rest;
    for (int c; (c = std::fgetc(f)) != EOF;) rest.push_back(static_cast<uint8_t>(c));
    std::fclose(f);
    return {rc, rest};
}

const std::vector<uint8_t> kUniformScanline = {2, 2, 0, 8, 136, 128, 136, 64, 136, 32, 136, 129};

TEST(RgbeLegacyReader, FlatScanlineMidImageReadsOnlyToTheDestinationsEnd) {
    // Scanline 0 is run-length; scanline 1 starts with a plain pixel, after
    // which the count of the whole image less one is read flat: 23 pixels,
    // of which the 15 that fit are kept.
    std::vector<uint8_t> flat;
    for (int i = 0; i < 24; ++i) flat.insert(flat.end(), {static_cast<uint8_t>(10 + i), 20, 30, 130});
    const auto bytes = concat(concat(kUniformScanline, flat), bytes_of("TAILTAIL"));
    Destination d(8 * 3 * 3);
    const auto [rc, rest] = read_stream(bytes, d, 8, 3);
    EXPECT_EQ(rc, 1);
    EXPECT_EQ(rest, bytes_of("TAILTAIL"));
    std::vector<uint8_t> uniform;
    for (int i = 0; i < 8; ++i) uniform.insert(uniform.end(), {128, 64, 32, 129});
    expect_floats(d, 0, decoded(uniform));
    expect_floats(d, 24, decoded(std::vector<uint8_t>(flat.begin(), flat.begin() + 16 * 4)));
    EXPECT_TRUE(d.buf.guards_intact());
}

TEST(RgbeLegacyReader, BadScanlinesReturnOneAndKeepTheDestination) {
    const std::vector<std::vector<uint8_t>> bad = {
        {2, 2, 0, 9, 136, 1, 136, 1, 136, 1, 136, 1},          // length differs from the width
        {2, 2, 0, 8, 137, 1, 136, 1, 136, 1, 136, 1},          // run longer than the plane
        {2, 2, 0, 8, 9, 1, 2, 3, 4, 5, 6, 7, 8, 9},            // literal block longer than the plane
        {2, 2, 0, 8, 0, 1, 136, 1, 136, 1, 136, 1},            // literal block of 0
        {2, 2, 0, 8, 136, 1, 136, 1, 136},                     // short read
        {2, 2, 0},                                             // short marker
    };
    for (const auto& scanline : bad) {
        Destination d(8 * 3 * 2);
        const auto [rc, rest] = read_stream(concat(kUniformScanline, scanline), d, 8, 2);
        EXPECT_EQ(rc, 1);
        for (size_t i = 24; i < 48; ++i) ASSERT_EQ(d.at(i), kSentinel);
        EXPECT_TRUE(d.buf.guards_intact());
    }
}

TEST(RgbeLegacyReader, TopBitInTheLengthMeansFlatPixels) {
    std::vector<uint8_t> bytes = {2, 2, 0x80, 8};
    for (int i = 0; i < 7; ++i) bytes.insert(bytes.end(), {128, 128, 128, 128});
    Destination d(8 * 3);
    const auto [rc, rest] = read_stream(bytes, d, 8, 1);
    EXPECT_EQ(rc, 1);
    expect_floats(d, 0, decoded(bytes));
    EXPECT_TRUE(d.buf.guards_intact());
}

TEST(RgbeLegacyReader, NarrowAndWideImagesAreReadFlat) {
    std::vector<uint8_t> bytes;
    for (int i = 0; i < 6; ++i) bytes.insert(bytes.end(), {2, 2, static_cast<uint8_t>(i), 129});
    Destination d(6 * 3);
    EXPECT_EQ(read_stream(bytes, d, 3, 2).first, 0);
    expect_floats(d, 0, decoded(bytes));
    Destination d2(7 * 3);
    EXPECT_EQ(read_stream(bytes, d2, 7, 1).first, 1);  // one pixel short
    expect_floats(d2, 0, decoded(bytes));
    EXPECT_EQ(d2.at(18), kSentinel);
    EXPECT_TRUE(d2.buf.guards_intact());
    Destination none(1);
    EXPECT_EQ(read_stream(bytes, none, 0, 5).first, 0);
    EXPECT_EQ(read_stream(bytes, none, 8, 0).first, 0);
    EXPECT_EQ(none.at(0), kSentinel);
}

}  // namespace
}  // namespace efx_test
