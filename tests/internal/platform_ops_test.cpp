// Every platform call against hand-made bitmaps and device contexts: the
// header query, 24- and 32-bit reads and writes of 24- and 32-bit bitmaps of
// widths 1 to 5 in both row orders, drawing into a memory device context
// with clipping at each edge and the scan-line count rule, the off-screen
// drawing calls, the dynamic loader, and the failure results for bad
// handles. On Windows the same tests run on real GDI.
#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#define EFFECTS_TEST_HOST_CORE 1
#include "../unit/platform_host.hpp"
#include "platform/platform.hpp"

namespace pf = effects::detail::platform;
using efx_host::pattern;
using efx_host::TestBitmap;
using efx_host::TestDC;

namespace {

pf::BitmapHeader query_header() {
    pf::BitmapHeader h{};
    h.size = sizeof h;
    return h;
}

pf::BitmapHeader rgb_header(int32_t width, int32_t height, uint16_t bits) {
    pf::BitmapHeader h = query_header();
    h.width = width;
    h.height = height;
    h.planes = 1;
    h.bit_count = bits;
    h.compression = pf::kCompressionRgb;
    return h;
}

int32_t stride_of(int32_t width, int32_t bits) { return ((width * bits + 31) / 32) * 4; }

using Shape = std::tuple<int /*bitmap bits*/, int /*width*/, bool /*top_down*/>;
std::string shape_name(const ::testing::TestParamInfo<Shape>& i) {
    return std::to_string(std::get<0>(i.param)) + "bit_w" + std::to_string(std::get<1>(i.param)) +
           (std::get<2>(i.param) ? "_topdown" : "_bottomup");
}

class DibCalls : public ::testing::TestWithParam<Shape> {};

TEST_P(DibCalls, HeaderQueryReportsThePositiveSize) {
    const auto [bits, width, top_down] = GetParam();
    TestDC dc(1, 1);
    TestBitmap bmp(width, top_down ? -3 : 3, bits);
    pf::BitmapHeader h = query_header();
    EXPECT_NE(pf::get_dib_bits(dc.handle(), bmp.handle(), 0, 0, nullptr, &h), 0);
    EXPECT_EQ(h.size, 40u);
    EXPECT_EQ(h.width, width);
    EXPECT_EQ(h.height, 3);
    EXPECT_EQ(h.planes, 1);
    EXPECT_EQ(h.bit_count, bits);
    // A 32-bit bitmap reports bit fields; the exchange resets it before reading.
    EXPECT_EQ(h.compression, bits == 32 ? pf::kCompressionBitFields : pf::kCompressionRgb);
    EXPECT_EQ(h.size_image, static_cast<uint32_t>(stride_of(width, bits) * 3));
}

TEST_P(DibCalls, ReadsRowsBottomUpPaddedToFourBytes) {
    const auto [bits, width, top_down] = GetParam();
    const int height = 3;
    TestDC dc(1, 1);
    TestBitmap bmp(width, top_down ? -height : height, bits);
    const std::vector<uint8_t> stored = pattern(bmp, width * 3 + bits);
    bmp.write(stored);
    for (uint16_t dib_bits : {uint16_t{24}, uint16_t{32}}) {
        SCOPED_TRACE("read as " + std::to_string(dib_bits) + " bits");
        const int32_t stride = stride_of(width, dib_bits);
        pf::BitmapHeader h = rgb_header(width, height, dib_bits);
        std::vector<uint8_t> buf(static_cast<size_t>(stride * height + 8), 0xC3);
        ASSERT_EQ(pf::get_dib_bits(dc.handle(), bmp.handle(), 0, height, buf.data(), &h), height);
        for (int y = 0; y < height; ++y)  // y from the top; buffer row height-1-y
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < 3; ++c)
                    ASSERT_EQ(buf[static_cast<size_t>((height - 1 - y) * stride + x * dib_bits / 8 + c)],
                              stored[static_cast<size_t>(bmp.offset(x, y) + c)])
                        << x << "," << y << " channel " << c;
        for (size_t i = static_cast<size_t>(stride * height); i < buf.size(); ++i) EXPECT_EQ(buf[i], 0xC3);
    }
}

TEST_P(DibCalls, ReadsTopDownWhenTheHeaderHeightIsNegative) {
    const auto [bits, width, top_down] = GetParam();
    const int height = 4;
    TestDC dc(1, 1);
    TestBitmap bmp(width, top_down ? -height : height, bits);
    const std::vector<uint8_t> stored = pattern(bmp, 77);
    bmp.write(stored);
    const int32_t stride = stride_of(width, 24);
    pf::BitmapHeader h = rgb_header(width, -height, 24);
    std::vector<uint8_t> buf(static_cast<size_t>(stride * height));
    ASSERT_EQ(pf::get_dib_bits(dc.handle(), bmp.handle(), 0, height, buf.data(), &h), height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(buf[static_cast<size_t>(y * stride + x * 3 + c)],
                          stored[static_cast<size_t>(bmp.offset(x, y) + c)]);
}

TEST_P(DibCalls, WritesRowsIntoTheBitmap) {
    const auto [bits, width, top_down] = GetParam();
    const int height = 3;
    TestDC dc(1, 1);
    TestBitmap bmp(width, top_down ? -height : height, bits);
    const int32_t stride = stride_of(width, 24);
    std::vector<uint8_t> rows(static_cast<size_t>(stride * height));
    for (size_t i = 0; i < rows.size(); ++i) rows[i] = static_cast<uint8_t>(i * 29 + 3);
    const pf::BitmapHeader h = rgb_header(width, height, 24);
    EXPECT_EQ(pf::set_dib_bits(dc.handle(), bmp.handle(), 0, height, rows.data(), &h), height);
    const std::vector<uint8_t> stored = bmp.read();
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(stored[static_cast<size_t>(bmp.offset(x, y) + c)],
                          rows[static_cast<size_t>((height - 1 - y) * stride + x * 3 + c)]);
            if (bits == 32) EXPECT_EQ(stored[static_cast<size_t>(bmp.offset(x, y) + 3)], 0);
        }
}

INSTANTIATE_TEST_SUITE_P(Widths1To5, DibCalls,
                         ::testing::Combine(::testing::Values(24, 32), ::testing::Values(1, 2, 3, 4, 5),
                                            ::testing::Bool()),
                         shape_name);

TEST(DibCallsPartial, ScanLinesCountFromTheBottom) {
    TestDC dc(1, 1);
    TestBitmap bmp(2, 4, 24);
    const std::vector<uint8_t> stored = pattern(bmp, 1);
    bmp.write(stored);
    const int32_t stride = 8;
    pf::BitmapHeader h = rgb_header(2, 4, 24);
    std::vector<uint8_t> buf(static_cast<size_t>(stride * 4), 0);
    // Scan lines 1 and 2 are image rows 2 and 1 (from the top).
    ASSERT_EQ(pf::get_dib_bits(dc.handle(), bmp.handle(), 1, 2, buf.data(), &h), 2);
    EXPECT_EQ(buf[0], stored[static_cast<size_t>(bmp.offset(0, 2))]);
    EXPECT_EQ(buf[static_cast<size_t>(stride + 3)], stored[static_cast<size_t>(bmp.offset(1, 1))]);
    // Asking past the last scan line gives only the lines there are.
    EXPECT_EQ(pf::get_dib_bits(dc.handle(), bmp.handle(), 2, 10, buf.data(), &h), 2);
}

TEST(DibCallsFailure, BadHandlesFailWithZero) {
    TestDC dc(1, 1);
    TestBitmap bmp(2, 2, 24);
    TestBitmap gone(2, 2, 24);
    EffectsBitmap stale = gone.release();
    ASSERT_EQ(efx_host::delete_bitmap(stale), 1);
    std::vector<uint8_t> buf(64, 0x11);
    for (void* bad : {static_cast<void*>(nullptr), stale, dc.handle()}) {
        pf::BitmapHeader q = query_header();
        EXPECT_EQ(pf::get_dib_bits(dc.handle(), bad, 0, 0, nullptr, &q), 0);
        EXPECT_EQ(q.width, 0);
        pf::BitmapHeader h = rgb_header(2, 2, 24);
        EXPECT_EQ(pf::get_dib_bits(dc.handle(), bad, 0, 2, buf.data(), &h), 0);
        EXPECT_EQ(pf::set_dib_bits(dc.handle(), bad, 0, 2, buf.data(), &h), 0);
    }
    EXPECT_EQ(buf, std::vector<uint8_t>(64, 0x11));
    // A bitmap in place of the device context.
    pf::BitmapHeader h = rgb_header(2, 2, 24);
    EXPECT_EQ(pf::set_dib_bits_to_device(bmp.handle(), 0, 0, 2, 2, 0, 0, 0, 2, buf.data(), &h), 0);
}

// ---- drawing into a device context ----

// The surface a draw should leave: the DC starts black, and image pixel
// (c, r) (r from the top) lands on (x + c, y + r) when the DC holds it and
// the buffer does: `lines` scan lines count from the bottom of the image in
// both row orders, so the buffer holds image rows h - lines .. h - 1 (bottom
// row first, or top row first when top_down). The fourth byte is copied too.
void expect_drawn(const TestDC& dc, const std::vector<uint8_t>& image, int32_t w, int32_t h, int32_t x, int32_t y,
                  int32_t lines, bool top_down) {
    const std::vector<uint8_t> got = dc.read();
    for (int32_t dy = 0; dy < dc.height(); ++dy)
        for (int32_t dx = 0; dx < dc.width(); ++dx) {
            const int32_t c = dx - x, r = dy - y;
            const bool inside = c >= 0 && c < w && r >= 0 && r < h;
            const bool drawn = inside && r >= h - lines;
            const int32_t row = top_down ? r - (h - lines) : h - 1 - r;
            for (int k = 0; k < 4; ++k) {
                const uint8_t want = drawn ? image[static_cast<size_t>((row * w + c) * 4 + k)] : 0;
                ASSERT_EQ(got[static_cast<size_t>((dy * dc.width() + dx) * 4 + k)], want)
                    << "surface pixel " << dx << "," << dy << " channel " << k;
            }
        }
}

std::vector<uint8_t> draw_image(int32_t w, int32_t h) {
    std::vector<uint8_t> v(static_cast<size_t>(w * h * 4));
    for (size_t i = 0; i < v.size(); ++i) v[i] = static_cast<uint8_t>(i % 4 == 3 ? 0x80 : 1 + i * 13 % 251);
    return v;
}

struct DrawCase {
    int32_t x, y;
    const char* name;
};
void PrintTo(const DrawCase& d, std::ostream* os) { *os << d.name; }
class DrawClipping : public ::testing::TestWithParam<DrawCase> {};

TEST_P(DrawClipping, BottomUpBufferLandsInsideTheSurfaceOnly) {
    const DrawCase d = GetParam();
    const int32_t w = 3, h = 4;
    TestDC dc(6, 5);
    const std::vector<uint8_t> image = draw_image(w, h);
    const pf::BitmapHeader hdr = rgb_header(w, h, 32);
    EXPECT_EQ(pf::set_dib_bits_to_device(dc.handle(), d.x, d.y, w, h, 0, 0, 0, h, image.data(), &hdr), h);
    expect_drawn(dc, image, w, h, d.x, d.y, h, false);
}

TEST_P(DrawClipping, TopDownBufferLandsInsideTheSurfaceOnly) {
    const DrawCase d = GetParam();
    const int32_t w = 3, h = 4;
    TestDC dc(6, 5);
    const std::vector<uint8_t> image = draw_image(w, h);
    const pf::BitmapHeader hdr = rgb_header(w, -h, 32);
    EXPECT_EQ(pf::set_dib_bits_to_device(dc.handle(), d.x, d.y, w, h, 0, 0, 0, h, image.data(), &hdr), h);
    expect_drawn(dc, image, w, h, d.x, d.y, h, true);
}

INSTANTIATE_TEST_SUITE_P(EachEdge, DrawClipping,
                         ::testing::Values(DrawCase{1, 1, "inside"}, DrawCase{-2, 1, "left"},
                                           DrawCase{1, -3, "top"}, DrawCase{4, 1, "right"},
                                           DrawCase{2, 3, "bottom"}, DrawCase{-1, -1, "top_left"},
                                           DrawCase{5, 4, "bottom_right"}, DrawCase{-3, 0, "all_left"},
                                           DrawCase{0, 5, "all_below"}),
                         [](const ::testing::TestParamInfo<DrawCase>& i) { return std::string(i.param.name); });

TEST(DrawScanLines, AShortCountDrawsTheBottomRowsOfABottomUpBuffer) {
    // The display members pass the end row of the overlap as the count: the
    // buffer's first rows in memory are the image's bottom rows.
    const int32_t w = 3, h = 4;
    for (int32_t lines = 1; lines <= h; ++lines) {
        SCOPED_TRACE("lines " + std::to_string(lines));
        TestDC dc(5, 6);
        const std::vector<uint8_t> image = draw_image(w, h);
        const pf::BitmapHeader hdr = rgb_header(w, h, 32);
        EXPECT_EQ(pf::set_dib_bits_to_device(dc.handle(), 1, 1, w, h, 0, 0, 0, lines, image.data(), &hdr), lines);
        expect_drawn(dc, image, w, h, 1, 1, lines, false);
    }
}

TEST(DrawScanLines, AShortCountOfATopDownBufferStillCountsFromTheBottom) {
    const int32_t w = 2, h = 3;
    TestDC dc(4, 4);
    const std::vector<uint8_t> image = draw_image(w, h);
    const pf::BitmapHeader hdr = rgb_header(w, -h, 32);
    EXPECT_EQ(pf::set_dib_bits_to_device(dc.handle(), 0, 0, w, h, 0, 0, 0, 2, image.data(), &hdr), 2);
    expect_drawn(dc, image, w, h, 0, 0, 2, true);
}

TEST(DrawFailure, DeletedOrMissingDeviceContextDrawsNothing) {
    const std::vector<uint8_t> image = draw_image(2, 2);
    const pf::BitmapHeader hdr = rgb_header(2, 2, 32);
    TestDC gone(2, 2);
    EffectsDC stale = gone.release();
    ASSERT_EQ(efx_host::delete_memory_dc(stale), 1);
    EXPECT_EQ(pf::set_dib_bits_to_device(stale, 0, 0, 2, 2, 0, 0, 0, 2, image.data(), &hdr), 0);
    EXPECT_EQ(pf::set_dib_bits_to_device(nullptr, 0, 0, 2, 2, 0, 0, 0, 2, image.data(), &hdr), 0);
}

// ---- off-screen drawing ----

TEST(OffScreen, CompatibleBitmapTakesACopyOfTheSurface) {
    const int32_t w = 4, h = 3;
    TestDC screen(w, h);
    const std::vector<uint8_t> image = draw_image(w, h);
    const pf::BitmapHeader hdr = rgb_header(w, -h, 32);
    ASSERT_EQ(pf::set_dib_bits_to_device(screen.handle(), 0, 0, w, h, 0, 0, 0, h, image.data(), &hdr), h);

    pf::Dc memory = pf::create_compatible_dc(screen.handle());
    ASSERT_NE(memory, nullptr);
    pf::Bitmap bmp = pf::create_compatible_bitmap(screen.handle(), 2, 2);
    ASSERT_NE(bmp, nullptr);
    pf::Object previous = pf::select_object(memory, bmp);
    ASSERT_NE(previous, nullptr);
    // The 2 x 2 block at (1, 1) of the surface, and a blit half outside it.
    EXPECT_TRUE(pf::bit_blt(memory, 0, 0, 2, 2, screen.handle(), 1, 1));
    EXPECT_EQ(pf::select_object(memory, previous), bmp);

    pf::BitmapHeader out = rgb_header(2, -2, 32);
    std::vector<uint8_t> px(16);
    ASSERT_EQ(pf::get_dib_bits(memory, bmp, 0, 2, px.data(), &out), 2);
    for (int32_t y = 0; y < 2; ++y)
        for (int32_t x = 0; x < 2; ++x)
            for (int k = 0; k < 3; ++k)
                EXPECT_EQ(px[static_cast<size_t>((y * 2 + x) * 4 + k)],
                          image[static_cast<size_t>(((y + 1) * w + x + 1) * 4 + k)]);

    EXPECT_TRUE(pf::delete_dc(memory));
    EXPECT_TRUE(pf::delete_object(bmp));
}

TEST(OffScreen, BlitBackIntoTheSurfaceAtAnOffset) {
    const int32_t w = 4, h = 4;
    TestDC screen(w, h);
    const std::vector<uint8_t> image = draw_image(w, h);
    const pf::BitmapHeader hdr = rgb_header(w, -h, 32);
    pf::set_dib_bits_to_device(screen.handle(), 0, 0, w, h, 0, 0, 0, h, image.data(), &hdr);
    pf::Dc memory = pf::create_compatible_dc(screen.handle());
    pf::Bitmap bmp = pf::create_compatible_bitmap(screen.handle(), w, h);
    pf::Object previous = pf::select_object(memory, bmp);
    EXPECT_TRUE(pf::bit_blt(memory, 0, 0, w, h, screen.handle(), 0, 0));
    // Shift the picture one pixel right and down.
    EXPECT_TRUE(pf::bit_blt(screen.handle(), 1, 1, w, h, memory, 0, 0));
    const std::vector<uint8_t> got = screen.read();
    for (int32_t y = 1; y < h; ++y)
        for (int32_t x = 1; x < w; ++x)
            for (int k = 0; k < 3; ++k)
                EXPECT_EQ(got[static_cast<size_t>((y * w + x) * 4 + k)],
                          image[static_cast<size_t>(((y - 1) * w + x - 1) * 4 + k)]);
    pf::select_object(memory, previous);
    EXPECT_TRUE(pf::delete_dc(memory));
    EXPECT_TRUE(pf::delete_object(bmp));
}

TEST(OffScreen, BadHandlesAreRefused) {
    TestDC dc(2, 2);
    TestBitmap bmp(2, 2, 24);
    TestDC gone(1, 1);
    EffectsDC stale = gone.release();
    ASSERT_EQ(efx_host::delete_memory_dc(stale), 1);
    EXPECT_EQ(pf::create_compatible_dc(stale), nullptr);
    EXPECT_EQ(pf::create_compatible_bitmap(stale, 2, 2), nullptr);
    EXPECT_EQ(pf::select_object(stale, bmp.handle()), nullptr);
    EXPECT_EQ(pf::select_object(dc.handle(), nullptr), nullptr);
    EXPECT_FALSE(pf::bit_blt(stale, 0, 0, 1, 1, dc.handle(), 0, 0));
    EXPECT_FALSE(pf::bit_blt(dc.handle(), 0, 0, 1, 1, stale, 0, 0));
    EXPECT_FALSE(pf::delete_dc(stale));
    EXPECT_FALSE(pf::delete_dc(nullptr));
    EXPECT_FALSE(pf::delete_object(nullptr));
}

// ---- dynamic loading ----

#if defined(_WIN32)
const char* const kPlugin = "effects_test_plugin.dll";
#else
const char* const kPlugin = EFFECTS_TEST_PLUGIN_PATH;
#endif

TEST(Loader, LoadsLooksUpCallsAndReleases) {
    pf::Library lib = pf::load_library(kPlugin);
    ASSERT_NE(lib, nullptr);
    using Entry = int32_t (*)(intptr_t, intptr_t, intptr_t, intptr_t, intptr_t);
    void* entry = pf::find_entry(lib, "ToneMapping128to32");
    ASSERT_NE(entry, nullptr);
    Entry fn;
    std::memcpy(&fn, &entry, sizeof fn);
    int32_t sum = 0;
    EXPECT_EQ(fn(reinterpret_cast<intptr_t>(&sum), 1, 20, 300, 4000), 7);
    EXPECT_EQ(sum, 4321);
    EXPECT_EQ(pf::find_entry(lib, "NoSuchEntry"), nullptr);
    EXPECT_EQ(pf::find_entry(lib, nullptr), nullptr);
    EXPECT_TRUE(pf::free_library(lib));
}

TEST(Loader, MissingLibraryAndNullHandleFail) {
    EXPECT_EQ(pf::load_library("effects_no_such_plugin_library_9f3a"), nullptr);
    EXPECT_EQ(pf::load_library(nullptr), nullptr);
    EXPECT_EQ(pf::find_entry(nullptr, "ToneMapping128to32"), nullptr);
    EXPECT_FALSE(pf::free_library(nullptr));
}

}  // namespace
