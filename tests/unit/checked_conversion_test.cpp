// The checked conversion entry point: every conversion id gives the bytes of
// its legacy export, rows may carry any stride, and bad arguments come back as
// error codes with nothing written.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "test_support.hpp"

namespace efx_test {
namespace {

intptr_t src_row(const Conversion& c, int w) { return EffectsConversionRowBytes(c.id, 0, w); }
intptr_t dst_row(const Conversion& c, int w) { return EffectsConversionRowBytes(c.id, 1, w); }

TEST(CheckedConversion, RowBytesArePackedRows) {
    for (const Conversion& c : conversions()) {
        SCOPED_TRACE(c.name);
        for (int w : {0, 1, 2, 3, 4, 5, 257}) {
            EXPECT_EQ(src_row(c, w), static_cast<intptr_t>(row_bytes(c.src, w))) << "width " << w;
            EXPECT_EQ(dst_row(c, w), static_cast<intptr_t>(row_bytes(c.dst, w))) << "width " << w;
        }
    }
    // Rgb8 rows include their padding.
    EXPECT_EQ(EffectsConversionRowBytes(EFFECTS_CONVERT_24_TO_32, 0, 1), 4);
    EXPECT_EQ(EffectsConversionRowBytes(EFFECTS_CONVERT_24_TO_32, 0, 5), 16);
    EXPECT_EQ(EffectsConversionRowBytes(EFFECTS_CONVERT_RGBF_TO_RGBEA, 1, 3), 15);
    for (int32_t bad : {0, -1, EFFECTS_CONVERT_RGBE_TO_128_GAMMA + 1, 1000}) {
        EXPECT_EQ(EffectsConversionRowBytes(bad, 0, 4), -1) << bad;
        EXPECT_EQ(EffectsConversionRowBytes(bad, 1, 4), -1) << bad;
    }
}

class CheckedConversion : public ::testing::TestWithParam<size_t> {};

TEST_P(CheckedConversion, PackedStridesGiveTheLegacyBytes) {
    const Conversion& c = conversions()[GetParam()];
    const int sizes[][2] = {{1, 1}, {7, 3}, {1, 9}, {9, 1}, {257, 131}};
    for (const auto& sz : sizes) {
        const int w = sz[0], h = sz[1];
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        const std::vector<uint8_t> in = random_image(c.src, w, h, seed_for(c.name, w + 1, h));
        Guarded legacy(image_bytes(c.dst, w, h));
        ASSERT_EQ(c.call(w, h, in.data(), legacy.data()), c.expected_result(w, h));

        Guarded src(in.size());
        std::memcpy(src.data(), in.data(), in.size());
        Guarded dst(image_bytes(c.dst, w, h));
        EXPECT_EQ(EffectsConvertImage(c.id, w, h, src.data(), src_row(c, w), dst.data(), dst_row(c, w)), EFFECTS_OK);
        EXPECT_TRUE(dst.guards_intact());
        EXPECT_EQ(src.payload(), in);
        const long at = first_difference(dst.payload(), legacy.payload());
        EXPECT_EQ(at, -1) << "first difference at byte " << at;
    }
}

// Converts a 13x7 image with `extra_src` and `extra_dst` bytes after every row
// and compares each row with the packed conversion.
void expect_padded_rows_match(const Conversion& c, size_t extra_src, size_t extra_dst) {
    const int w = 13, h = 7;
    const size_t srow = row_bytes(c.src, w), drow = row_bytes(c.dst, w);
    const size_t sstride = srow + extra_src, dstride = drow + extra_dst;

    const std::vector<uint8_t> in = random_image(c.src, w, h, seed_for(c.name, 99, 7));
    Guarded packed(image_bytes(c.dst, w, h));
    ASSERT_EQ(c.call(w, h, in.data(), packed.data()), c.expected_result(w, h));
    SCOPED_TRACE("strides " + std::to_string(sstride) + ", " + std::to_string(dstride));

    // The padded source carries noise between rows; the padded destination
    // carries guard bytes there, which must survive.
    std::mt19937 rng(7);
    Guarded src(sstride * h);
    for (size_t i = 0; i < src.size(); ++i) src.data()[i] = static_cast<uint8_t>(rng());
    for (int r = 0; r < h; ++r) std::memcpy(src.data() + r * sstride, in.data() + r * srow, srow);
    Guarded dst(dstride * h);
    // Members that leave a channel alone see the same prior bytes as the packed run.
    for (int r = 0; r < h; ++r) std::memset(dst.data() + r * dstride, kGuard, drow);

    ASSERT_EQ(EffectsConvertImage(c.id, w, h, src.data(), static_cast<intptr_t>(sstride), dst.data(),
                                  static_cast<intptr_t>(dstride)),
              EFFECTS_OK);
    EXPECT_TRUE(dst.guards_intact());
    for (int r = 0; r < h; ++r) {
        EXPECT_EQ(std::memcmp(dst.data() + r * dstride, packed.data() + r * drow, drow), 0) << "row " << r;
        for (size_t i = drow; i < dstride; ++i)
            ASSERT_EQ(dst.data()[r * dstride + i], kGuard) << "row " << r << " pad byte " << i;
    }
}

TEST_P(CheckedConversion, PaddedStridesMatchThePackedRows) {
    // Strides that keep every row aligned for its widest channel.
    expect_padded_rows_match(conversions()[GetParam()], 16, 48);
}

// Bytes of one channel: rows of words and floats must start on a multiple of it.
size_t channel_size(Fmt f) {
    switch (f) {
        case Fmt::Rgba16:
        case Fmt::Rgb16: return 2;
        case Fmt::RgbaFloat:
        case Fmt::RgbFloat: return 4;
        default: return 1;
    }
}

TEST_P(CheckedConversion, OddStridesWorkForByteFormatsAndAreRefusedForWider) {
    const Conversion& c = conversions()[GetParam()];
    if (channel_size(c.src) == 1 && channel_size(c.dst) == 1) {
        expect_padded_rows_match(c, 7, 11);
        return;
    }
    const int w = 3, h = 2;
    const intptr_t sr = static_cast<intptr_t>(row_bytes(c.src, w)), dr = static_cast<intptr_t>(row_bytes(c.dst, w));
    std::vector<uint8_t> in = random_image(c.src, w, h, 5);
    std::vector<uint8_t> src_buf(in.size() + 64), dst_buf(image_bytes(c.dst, w, h) + 64, kGuard);
    std::memcpy(src_buf.data() + 16, in.data(), in.size());
    uint8_t* s = src_buf.data() + 16;
    uint8_t* d = dst_buf.data() + 16;
    if (channel_size(c.src) > 1) {
        EXPECT_EQ(EFFECTS_ERROR_BAD_STRIDE, EffectsConvertImage(c.id, w, h, s, sr + 1, d, dr));
        EXPECT_EQ(EFFECTS_ERROR_MISALIGNED, EffectsConvertImage(c.id, w, h, s + 1, sr, d, dr));
    }
    if (channel_size(c.dst) > 1) {
        EXPECT_EQ(EFFECTS_ERROR_BAD_STRIDE, EffectsConvertImage(c.id, w, h, s, sr, d, dr + 1));
        EXPECT_EQ(EFFECTS_ERROR_MISALIGNED, EffectsConvertImage(c.id, w, h, s, sr, d + 1, dr));
    }
    for (uint8_t b : dst_buf) ASSERT_EQ(kGuard, b);
}

INSTANTIATE_TEST_SUITE_P(AllConversions, CheckedConversion, ::testing::Range<size_t>(0, conversions().size()),
                         ConversionName());

// ---- Errors ---------------------------------------------------------------------------

// Runs one call that must fail with `want` and checks that nothing was written.
void expect_error(int32_t want, int32_t id, int32_t w, int32_t h, const void* src, intptr_t sstride, void* dst,
                  intptr_t dstride, Guarded& watched) {
    EXPECT_EQ(EffectsConvertImage(id, w, h, src, sstride, dst, dstride), want);
    EXPECT_TRUE(watched.all_guard()) << "written despite error " << want;
    watched.reset();  // one wrong success must not spoil the next case
}

TEST(CheckedConversionErrors, EveryBadArgumentIsReportedAndNothingWritten) {
    const int w = 6, h = 4;
    for (const Conversion& c : conversions()) {
        SCOPED_TRACE(c.name);
        const intptr_t sr = src_row(c, w), dr = dst_row(c, w);
        std::vector<uint8_t> in = random_image(c.src, w, h, 3);
        Guarded dst(image_bytes(c.dst, w, h));

        expect_error(EFFECTS_ERROR_NULL_POINTER, c.id, w, h, nullptr, sr, dst.data(), dr, dst);
        expect_error(EFFECTS_ERROR_NULL_POINTER, c.id, w, h, in.data(), sr, nullptr, dr, dst);
        expect_error(EFFECTS_ERROR_NEGATIVE_SIZE, c.id, -1, h, in.data(), sr, dst.data(), dr, dst);
        expect_error(EFFECTS_ERROR_NEGATIVE_SIZE, c.id, w, -1, in.data(), sr, dst.data(), dr, dst);
        expect_error(EFFECTS_ERROR_BAD_STRIDE, c.id, w, h, in.data(), sr - 1, dst.data(), dr, dst);
        expect_error(EFFECTS_ERROR_BAD_STRIDE, c.id, w, h, in.data(), sr, dst.data(), dr - 1, dst);
        expect_error(EFFECTS_ERROR_BAD_STRIDE, c.id, w, h, in.data(), -sr, dst.data(), dr, dst);
        expect_error(EFFECTS_ERROR_TOO_LARGE, c.id, w, 3, in.data(), INTPTR_MAX / 2, dst.data(), dr, dst);

        // Overlap: the destination inside the source, and the same buffer twice.
        Guarded both(static_cast<size_t>(sr) * h + static_cast<size_t>(dr) * h);
        expect_error(EFFECTS_ERROR_OVERLAP, c.id, w, h, both.data(), sr, both.data(), dr, both);
        expect_error(EFFECTS_ERROR_OVERLAP, c.id, w, h, both.data(), sr, both.data() + sr * (h - 1), dr, both);
        expect_error(EFFECTS_ERROR_OVERLAP, c.id, w, h, both.data() + dr * (h - 1), sr, both.data(), dr, both);
        // Back to back is not an overlap.
        EXPECT_EQ(EffectsConvertImage(c.id, w, h, both.data(), sr, both.data() + sr * h, dr), EFFECTS_OK);
        EXPECT_TRUE(both.guards_intact());
    }
}

TEST(CheckedConversionErrors, UnknownConversionIsRefused) {
    const int w = 4, h = 2;
    std::vector<uint8_t> src(16 * w * h, 1);
    Guarded dst(16 * w * h);
    for (int32_t id : {0, -1, EFFECTS_CONVERT_RGBE_TO_128_GAMMA + 1, 1 << 20})
        expect_error(EFFECTS_ERROR_UNKNOWN, id, w, h, src.data(), 16 * w, dst.data(), 16 * w, dst);
}

TEST(CheckedConversionErrors, EmptyImagesNeedNoBuffers) {
    for (const Conversion& c : conversions()) {
        EXPECT_EQ(EffectsConvertImage(c.id, 0, 0, nullptr, 0, nullptr, 0), EFFECTS_OK) << c.name;
        EXPECT_EQ(EffectsConvertImage(c.id, 0, 5, nullptr, 0, nullptr, 0), EFFECTS_OK) << c.name;
        EXPECT_EQ(EffectsConvertImage(c.id, 5, 0, nullptr, src_row(c, 5), nullptr, dst_row(c, 5)), EFFECTS_OK)
            << c.name;
    }
}

}  // namespace
}  // namespace efx_test
