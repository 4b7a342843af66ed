// VexoInvert through the bitmap exchange: every channel selector on 24- and
// 32-bit bitmaps of widths 1 to 5 (each padding case), bottom-up and
// top-down; separate source and destination; the failure results for
// missing, deleted and wrong-kind handles. The same suite runs on the
// library's own objects and on real GDI.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "platform_host.hpp"

namespace {

using efx_host::pattern;
using efx_host::TestBitmap;
using efx_host::TestDC;

// Expected colour of one stored pixel after inverting with `channel`: the
// independent statement of the selector table (1 all, 2 red, 3 green, 4 blue).
std::vector<uint8_t> expected_colour(const uint8_t* p, int channel) {
    std::vector<uint8_t> c{p[0], p[1], p[2]};
    const bool b = channel == 1 || channel == 4, g = channel == 1 || channel == 3, r = channel == 1 || channel == 2;
    if (b) c[0] = static_cast<uint8_t>(255 - c[0]);
    if (g) c[1] = static_cast<uint8_t>(255 - c[1]);
    if (r) c[2] = static_cast<uint8_t>(255 - c[2]);
    return c;
}

std::vector<uint8_t> colour_at(const TestBitmap& b, const std::vector<uint8_t>& bytes, int x, int y) {
    const uint8_t* p = bytes.data() + b.offset(x, y);
    return {p[0], p[1], p[2]};
}

using Shape = std::tuple<int /*bits*/, int /*width*/, bool /*top_down*/>;

class InvertShapes : public ::testing::TestWithParam<Shape> {};

TEST_P(InvertShapes, EverySelectorOnTheBitmapItself) {
    const auto [bits, width, top_down] = GetParam();
    const int height = 3;
    TestDC dc(4, 4);
    ASSERT_NE(dc.handle(), nullptr);
    for (int channel : {-1, 0, 1, 2, 3, 4, 5, 255}) {
        SCOPED_TRACE("channel " + std::to_string(channel));
        TestBitmap bmp(width, top_down ? -height : height, bits);
        ASSERT_NE(bmp.handle(), nullptr);
        const std::vector<uint8_t> before = pattern(bmp, channel * 7 + width);
        bmp.write(before);
        EXPECT_EQ(VexoInvert(dc.handle(), bmp.handle(), dc.handle(), bmp.handle(), channel), height);
        const std::vector<uint8_t> after = bmp.read();
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                SCOPED_TRACE("pixel " + std::to_string(x) + "," + std::to_string(y));
                EXPECT_EQ(colour_at(bmp, after, x, y), expected_colour(before.data() + bmp.offset(x, y), channel));
                // The rows come back as 24-bit colour: a fourth byte is cleared.
                if (bits == 32) EXPECT_EQ(after[static_cast<size_t>(bmp.offset(x, y) + 3)], 0);
            }
    }
}

INSTANTIATE_TEST_SUITE_P(Widths1To5, InvertShapes,
                         ::testing::Combine(::testing::Values(24, 32), ::testing::Values(1, 2, 3, 4, 5),
                                            ::testing::Bool()),
                         [](const ::testing::TestParamInfo<Shape>& i) {
                             return std::to_string(std::get<0>(i.param)) + "bit_w" +
                                    std::to_string(std::get<1>(i.param)) +
                                    (std::get<2>(i.param) ? "_topdown" : "_bottomup");
                         });

TEST(InvertExchange, GoldenBytesOfOneBottomUpRow) {
    // One 24-bit row of two pixels: B, G, R, B, G, R, then two pad bytes.
    TestDC dc(1, 1);
    TestBitmap bmp(2, 1, 24);
    bmp.write({0x00, 0x10, 0xF0, 0xFF, 0x7F, 0x80, 0xEE, 0xEE});
    ASSERT_EQ(VexoInvert(dc.handle(), bmp.handle(), dc.handle(), bmp.handle(), 2), 1);
    std::vector<uint8_t> got = bmp.read();
    got.resize(6);
    EXPECT_EQ(got, (std::vector<uint8_t>{0x00, 0x10, 0x0F, 0xFF, 0x7F, 0x7F}));
    ASSERT_EQ(VexoInvert(dc.handle(), bmp.handle(), dc.handle(), bmp.handle(), 1), 1);
    got = bmp.read();
    got.resize(6);
    EXPECT_EQ(got, (std::vector<uint8_t>{0xFF, 0xEF, 0xF0, 0x00, 0x80, 0x80}));
}

TEST(InvertExchange, TwiceWithEachSelectorRestoresTheColours) {
    TestDC dc(1, 1);
    for (int channel = 1; channel <= 4; ++channel) {
        TestBitmap bmp(5, 4, 24);
        const std::vector<uint8_t> before = pattern(bmp, channel);
        bmp.write(before);
        ASSERT_EQ(VexoInvert(dc.handle(), bmp.handle(), dc.handle(), bmp.handle(), channel), 4);
        ASSERT_EQ(VexoInvert(dc.handle(), bmp.handle(), dc.handle(), bmp.handle(), channel), 4);
        const std::vector<uint8_t> after = bmp.read();
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 5; ++x) EXPECT_EQ(colour_at(bmp, after, x, y), colour_at(bmp, before, x, y));
    }
}

TEST(InvertExchange, WritesIntoASeparateDestinationAndLeavesTheSource) {
    TestDC dc(1, 1);
    for (bool top_down : {false, true}) {
        TestBitmap src(3, top_down ? -5 : 5, 32);
        TestBitmap dst(3, 5, 24);  // bottom-up whatever the source is
        const std::vector<uint8_t> before = pattern(src, 11);
        src.write(before);
        dst.write(std::vector<uint8_t>(static_cast<size_t>(dst.size()), 0x55));
        ASSERT_EQ(VexoInvert(dc.handle(), dst.handle(), dc.handle(), src.handle(), 3), 5);
        EXPECT_EQ(src.read(), before);
        const std::vector<uint8_t> out = dst.read();
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 3; ++x)
                EXPECT_EQ(colour_at(dst, out, x, y), expected_colour(before.data() + src.offset(x, y), 3));
    }
}

TEST(InvertExchange, ALargerImageMatchesThePixelRule) {
    // Enough rows for every thread of the team to get a block.
    TestDC dc(1, 1);
    TestBitmap bmp(37, 61, 24);
    const std::vector<uint8_t> before = pattern(bmp, 3);
    bmp.write(before);
    ASSERT_EQ(VexoInvert(dc.handle(), bmp.handle(), dc.handle(), bmp.handle(), 1), 61);
    const std::vector<uint8_t> after = bmp.read();
    for (int y = 0; y < 61; ++y)
        for (int x = 0; x < 37; ++x)
            ASSERT_EQ(colour_at(bmp, after, x, y), expected_colour(before.data() + bmp.offset(x, y), 1));
}

// ---- failure results ----

TEST(InvertExchange, MissingSourceBitmapGivesMinusOneAndTouchesNothing) {
    TestDC dc(1, 1);
    TestBitmap dst(2, 2, 24);
    const std::vector<uint8_t> before = pattern(dst, 5);
    dst.write(before);
    EXPECT_EQ(VexoInvert(dc.handle(), dst.handle(), dc.handle(), nullptr, 1), -1);
    EXPECT_EQ(dst.read(), before);
}

TEST(InvertExchange, DeletedSourceBitmapGivesMinusOne) {
    TestDC dc(1, 1);
    TestBitmap bmp(2, 2, 24);
    EffectsBitmap stale = bmp.release();
    ASSERT_EQ(efx_host::delete_bitmap(stale), 1);
    EXPECT_EQ(VexoInvert(dc.handle(), stale, dc.handle(), stale, 1), -1);
}

TEST(InvertExchange, DeviceContextInPlaceOfTheBitmapGivesMinusOne) {
    TestDC dc(2, 2);
    TestDC other(2, 2);
    EXPECT_EQ(VexoInvert(dc.handle(), other.handle(), dc.handle(), other.handle(), 1), -1);
}

TEST(InvertExchange, DeletedSourceDeviceContextGivesMinusOne) {
    TestDC dc(1, 1);
    TestBitmap bmp(2, 2, 24);
    const std::vector<uint8_t> before = pattern(bmp, 9);
    bmp.write(before);
    TestDC gone(1, 1);
    EffectsDC stale = gone.release();
    ASSERT_EQ(efx_host::delete_memory_dc(stale), 1);
    EXPECT_EQ(VexoInvert(dc.handle(), bmp.handle(), stale, bmp.handle(), 1), -1);
    EXPECT_EQ(bmp.read(), before);
}

TEST(InvertExchange, BadDestinationStillReportsTheLinesRead) {
    // The write's own result is not the member's: the lines read are.
    TestDC dc(1, 1);
    TestBitmap src(4, 3, 24);
    const std::vector<uint8_t> before = pattern(src, 1);
    src.write(before);
    EXPECT_EQ(VexoInvert(dc.handle(), nullptr, dc.handle(), src.handle(), 1), 3);
    EXPECT_EQ(src.read(), before);
}

}  // namespace
