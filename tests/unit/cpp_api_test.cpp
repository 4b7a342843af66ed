// The C++ face: views validate their geometry, typed conversions reach the
// same kernels as the C exports, and every misuse is an effects::Error that
// says what is wrong.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "effects/effects.hpp"

using namespace effects;

namespace {

template <class Fmt>
Image<Fmt> random_image(int w, int h, unsigned seed) {
    Image<Fmt> img(w, h);
    std::mt19937 rng(seed);
    for (std::ptrdiff_t i = 0; i < img.stride() * h; ++i) img.data()[i] = static_cast<uint8_t>(rng());
    return img;
}

template <class Fn>
std::string error_text(Errc want, Fn&& fn) {
    try {
        fn();
    } catch (const Error& e) {
        EXPECT_EQ(want, e.code()) << e.what();
        return e.what();
    }
    ADD_FAILURE() << "no error";
    return {};
}

}  // namespace

TEST(CppApi, TraitsDescribeTheLayouts) {
    static_assert(Bgra8::bytes_per_pixel == 4 && Rgba16::bytes_per_pixel == 8 && RgbaFloat::bytes_per_pixel == 16);
    static_assert(Rgbea::bytes_per_pixel == 5 && Rgbe::bytes_per_pixel == 4 && Rgb8::bytes_per_pixel == 3);
    static_assert(Rgb16::bytes_per_pixel == 6 && RgbFloat::bytes_per_pixel == 12 && Rgb8Packed::bytes_per_pixel == 3);
    for (int w = 1; w <= 5; ++w) EXPECT_EQ((w * 3 + 3) / 4 * 4, row_bytes<Rgb8>(w)) << w;
    EXPECT_EQ(12, row_bytes<Rgb8Packed>(4));
    EXPECT_EQ(-1, row_bytes<Bgra8>(-1));
    EXPECT_EQ(0, row_bytes<RgbaFloat>(0));
}

TEST(CppApi, ConvertMatchesTheCExportsByteForByte) {
    const int w = 13, h = 7;
    auto in = random_image<Bgra8>(w, h, 1);
    Image<Rgbea> a(w, h), b(w, h);
    convert(in, a);
    Convert32toRGBEAFast(w, h, in.data(), b.data());
    EXPECT_EQ(0, std::memcmp(a.data(), b.data(), static_cast<size_t>(w) * h * 5));

    auto rgb8 = random_image<Rgb8>(w, h, 2);
    Image<Bgra8> c(w, h), d(w, h);
    convert(rgb8, c);
    Convert24to32Fast(w, h, rgb8.data(), d.data());
    EXPECT_EQ(0, std::memcmp(c.data(), d.data(), static_cast<size_t>(w) * h * 4));

    auto words = random_image<Rgba16>(w, h, 3);
    Image<Bgra8> e(w, h), f(w, h);
    convert_for_screen(words, e);
    Convert64to32Screen(w * h * 4, f.data(), reinterpret_cast<const uint16_t*>(words.data()));
    EXPECT_EQ(0, std::memcmp(e.data(), f.data(), static_cast<size_t>(w) * h * 4));
}

TEST(CppApi, ViewsWithPaddedRowsConvertRowByRow) {
    const int w = 5, h = 3;
    auto packed = random_image<Bgra8>(w, h, 4);
    std::vector<uint8_t> padded(static_cast<size_t>(32) * h, 0xEE);
    for (int y = 0; y < h; ++y) std::memcpy(&padded[static_cast<size_t>(y) * 32], packed.view().row(y), w * 4);
    ImageView<const Bgra8> src(padded.data(), w, h, 32);
    std::vector<uint8_t> out(static_cast<size_t>(100) * h, 0x5A);
    ImageView<RgbaFloat> dst(out.data(), w, h, 100);
    convert(src, dst);
    Image<RgbaFloat> ref(w, h);
    convert(packed, ref);
    for (int y = 0; y < h; ++y) {
        EXPECT_EQ(0, std::memcmp(dst.row(y), ref.view().row(y), w * 16)) << y;
        for (int i = w * 16; i < 100; ++i) ASSERT_EQ(0x5A, out[static_cast<size_t>(y) * 100 + i]);
    }
}

TEST(CppApi, BadGeometryIsAnErrorThatSaysWhy) {
    uint8_t pixels[64] = {};
    EXPECT_NE(std::string::npos,
              error_text(Errc::negative_size, [&] { ImageView<Bgra8>(pixels, -1, 2); }).find("negative size"));
    EXPECT_NE(std::string::npos,
              error_text(Errc::bad_stride, [&] { ImageView<Bgra8>(pixels, 4, 2, 15); }).find("at least 16"));
    EXPECT_NE(std::string::npos,
              error_text(Errc::bad_stride, [&] { ImageView<Rgb8>(pixels, 5, 2, 15); }).find("at least 16"));
    error_text(Errc::null_pointer, [&] { ImageView<Bgra8>(nullptr, 4, 2); });
    error_text(Errc::too_large, [&] { ImageView<RgbaFloat>(pixels, 2, 1 << 30, PTRDIFF_MAX / 4); });
    error_text(Errc::too_large, [&] { Image<RgbaFloat>(1 << 30, 1 << 30); });
    EXPECT_NO_THROW(ImageView<Bgra8>(nullptr, 0, 0));

    Image<Bgra8> a(4, 2);
    Image<RgbaFloat> b(4, 3);
    EXPECT_NE(std::string::npos, error_text(Errc::size_mismatch, [&] { convert(a, b); }).find("Bgra8 4x2 into RgbaFloat 4x3"));
    ImageView<Bgra8> self(a.data(), 2, 2);
    ImageView<Rgba16> overlapping(a.data() + 4, 2, 2);
    error_text(Errc::overlap, [&] { convert(ImageView<const Bgra8>(self), overlapping); });
}

TEST(CppApi, EmptyImagesConvertToNothing) {
    Image<Bgra8> a(0, 5);
    Image<RgbaFloat> b(0, 5);
    EXPECT_NO_THROW(convert(a, b));
    EXPECT_FALSE(version().empty());
    EXPECT_EQ(1.0, rgbe_factor(136));
}
