// Hand-worked bytes of the conversion exports: the clamp cut-offs, the scale
// between 8-bit, 15-bit and float, the shared-exponent layouts and every
// deliberate quirk that callers depend on.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "test_support.hpp"

namespace efx_test {
namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();


// ---- Float to 8 and 15 bits ------------------------------------------------------

TEST(ConversionGolden, FloatToByteCutOffsLookLikeRoundingButTruncate) {
    const std::vector<float> in = {
        1.0f, 0.998f, 0.999f, 0.003f,                 // 255, 254.49, 254.745, 0.765
        -1.0f, 7.5f, kNaN, kInf,                      //
        bits_to_float(0x3f7f7f81u),                   // smallest float whose product passes 254.5
        bits_to_float(0x3f7f7f80u),                   // product exactly 254.5: truncated
        254.4f / 255.0f, 254.7f / 255.0f,             // products 254.4 and 254.7
        0.7f / 255.0f, 0.5f / 255.0f, 1.0f / 255.0f,  // products 0.7, 0.5 and 1
        -0.0f, 1e-33f, 3e38f, 2.0f / 255.0f};
    const std::vector<uint8_t> want = {255, 254, 255, 0, 0, 255, 0, 255, 255, 254,
                                       254, 255, 0,   0, 1, 0,   0, 255, 2,   0};
    std::vector<uint8_t> out(20, 0x77);
    std::vector<float> src = in;
    src.push_back(0.0f);
    EXPECT_EQ(Convert128to32Fast(20, out.data(), src.data()), 20);
    EXPECT_EQ(out, want);
}

TEST(ConversionGolden, FloatTo15BitCutOffs) {
    const std::vector<float> in = {1.0f,
                                   0.5f,                        // 16383.5 truncated
                                   bits_to_float(0x3f7fff01u),  // product 32766.502
                                   bits_to_float(0x3f7fff00u),  // product exactly 32766.5
                                   -1.0f,
                                   kNaN,
                                   7.5f,
                                   kInf,
                                   -kInf,
                                   0.5f / 32767.0f,  // product 0.5: truncates to 0
                                   1.0f / 32767.0f,
                                   2.0f / 32767.0f};
    const std::vector<uint16_t> want = {32767, 16383, 32767, 32766, 0, 0, 32767, 32767, 0, 0, 1, 2};
    std::vector<uint16_t> out(in.size(), 0x7777);
    EXPECT_EQ(Convert128to64Fast(12, out.data(), in.data()), 12);
    EXPECT_EQ(out, want);
}

TEST(ConversionGolden, Float3To64KeepsOrderAndWritesOpaqueAlpha) {
    const std::vector<float> in = {1.0f, bits_to_float(0x3f7fff00u), kNaN, 0.5f, -0.0f, kInf};
    std::vector<uint16_t> out(8, 0x7777);
    EXPECT_EQ(Convertfloat3xto64(2, 1, out.data(), in.data()), 0);
    EXPECT_EQ(out, (std::vector<uint16_t>{32767, 32766, 0, 32767, 16383, 0, 32767, 32767}));
}

// ---- 8-bit and 15-bit scale -----------------------------------------------------------

TEST(ConversionGolden, EightBitWhiteIs32640NotFullScale) {
    const std::vector<uint8_t> in = {0, 1, 127, 128, 254, 255, 2, 3};
    std::vector<uint16_t> out(8);
    EXPECT_EQ(Convert32to64Fast(8, in.data(), out.data()), 8);
    EXPECT_EQ(out, (std::vector<uint16_t>{0, 128, 16256, 16384, 32512, 32640, 256, 384}));
}

TEST(ConversionGolden, FifteenBitToEightBitShiftsRightBySeven) {
    const std::vector<uint16_t> in = {32767, 127, 128, 32640, 0, 255, 16384, 0xFFFF};
    std::vector<uint8_t> out(8, 0x77);
    EXPECT_EQ(Convert64to32Fast(8, out.data(), in.data()), 8);
    // 0xFFFF reads as -1, and -1 >> 7 is still -1: byte 255.
    EXPECT_EQ(out, (std::vector<uint8_t>{255, 0, 1, 255, 0, 1, 128, 255}));
}

TEST(ConversionGolden, ScreenConversionForcesOpaqueAlphaAndReturnsZero) {
    const std::vector<uint16_t> in = {32767, 128, 0xFFFF, 1234, 0x8000, 0x7F, 16384, 0};
    std::vector<uint8_t> out(8, 0x77);
    EXPECT_EQ(Convert64to32Screen(8, out.data(), in.data()), 0);
    EXPECT_EQ(out, (std::vector<uint8_t>{255, 1, 255, 255, 0, 0, 128, 255}));
}

TEST(ConversionGolden, EightBitToFloatUsesTheFloatReciprocal) {
    const std::vector<uint8_t> in = {0, 1, 255, 128};
    std::vector<float> out(4);
    EXPECT_EQ(Convert32to128Fast(4, in.data(), out.data()), 4);
    EXPECT_EQ(bytes_of(out), bytes_of(std::vector<float>{0.0f, kInv255, 255 * kInv255, 128 * kInv255}));
    EXPECT_EQ(out[2], 1.0f);

    const std::vector<uint16_t> w = {0, 32767, 0xFFFF, 0x8000};
    std::vector<float> outw(4);
    EXPECT_EQ(Convert64to128Fast(4, w.data(), outw.data()), 4);
    EXPECT_EQ(outw[0], 0.0f);
    EXPECT_EQ(outw[1], 1.0f);
    EXPECT_EQ(outw[2], -kInv32767);  // words read as signed
    EXPECT_EQ(outw[3], -32768.0f * kInv32767);
}

// ---- Shared-exponent decoding ---------------------------------------------------------

TEST(ConversionGolden, RgbeToFloatHalfStepAndReversedOrder) {
    const std::vector<uint8_t> in = {128, 64, 0, 129, /* black: */ 200, 100, 50, 0};
    std::vector<float> out(8, 7.0f);
    EXPECT_EQ(ConvertRGBEto128RGBA(2, 1, in.data(), out.data()), 0);
    EXPECT_EQ(out, (std::vector<float>{0.00390625f, 0.50390625f, 1.00390625f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f}));
}

TEST(ConversionGolden, ExponentZeroIsBlackOnlyForTheHalfStepDecoders) {
    const std::vector<uint8_t> rgbea = {200, 100, 50, 0, 51};
    std::vector<float> f4(4, 7.0f);
    EXPECT_EQ(ConvertRGBEAto128RGBA(1, 1, rgbea.data(), f4.data()), 0);
    EXPECT_EQ(f4, (std::vector<float>{0.0f, 0.0f, 0.0f, 51 * kInv255}));
    std::vector<float> f3(3, 7.0f);
    EXPECT_EQ(ConvertRGBEAto128RGB(1, 1, rgbea.data(), f3.data()), 0);
    EXPECT_EQ(f3, (std::vector<float>{0.0f, 0.0f, 0.0f}));
    std::vector<uint8_t> b4(4, 0x77);
    EXPECT_EQ(ConvertRGBEAto32RGBA(1, 1, rgbea.data(), b4.data()), 0);
    EXPECT_EQ(b4, (std::vector<uint8_t>{0, 0, 0, 51}));

    // The plain decoding has no test for E = 0: m * 2^-136, then the power.
    const std::vector<uint8_t> rgbe = {200, 100, 50, 0};
    std::vector<float> raw(4, 7.0f);
    EXPECT_EQ(Convert128HDRRAWFast(1, 1, raw.data(), rgbe.data(), 0), 0);
    const std::vector<float> want = {gamma_ref(std::ldexp(50.0f, -136)), gamma_ref(std::ldexp(100.0f, -136)),
                                     gamma_ref(std::ldexp(200.0f, -136)), 1.0f};
    EXPECT_GT(raw[0], 0.0f);
    EXPECT_EQ(bytes_of(raw), bytes_of(want));
}

TEST(ConversionGolden, RgbeaToBytesClampsTheHalfStep) {
    // E = 128: (m + 0.5) / 256 * 255. 255 -> 254.502 (255), 254 -> 253.5 (253), 0 -> 0.498 (0).
    const std::vector<uint8_t> in = {255, 254, 0, 128, 77, 1, 2, 3, 255, 9};
    std::vector<uint8_t> out(8, 0x77);
    EXPECT_EQ(ConvertRGBEAto32RGBA(2, 1, in.data(), out.data()), 0);
    EXPECT_EQ(out, (std::vector<uint8_t>{255, 253, 0, 77, 255, 255, 255, 9}));
}

TEST(ConversionGolden, PlainDecodingFactor) {
    EXPECT_EQ(ConvertRGBEto128(0), std::ldexp(1.0, -136));
    EXPECT_EQ(ConvertRGBEto128(1), std::ldexp(1.0, -135));
    EXPECT_EQ(ConvertRGBEto128(128), 1.0 / 256.0);
    EXPECT_EQ(ConvertRGBEto128(136), 1.0);
    EXPECT_EQ(ConvertRGBEto128(255), std::ldexp(1.0, 119));
}

// ---- Shared-exponent encoding ---------------------------------------------------------

TEST(ConversionGolden, ChannelOfExactlyOneEncodesAsExponent129Mantissa128) {
    const std::vector<float> rgba = {1.0f, 0.5f, 0.25f, 1.0f};
    std::vector<uint8_t> ea(5, 0x77);
    EXPECT_EQ(Convert128RGBAtoRGBEA(1, 1, rgba.data(), ea.data()), 0);
    EXPECT_EQ(ea, (std::vector<uint8_t>{128, 64, 32, 129, 255}));

    const std::vector<float> rgb = {0.25f, 1.0f, 0.5f};
    std::vector<uint8_t> e(4, 0x77);
    EXPECT_EQ(Convert128RGBtoRGBE(1, 1, rgb.data(), e.data()), 0);
    EXPECT_EQ(e, (std::vector<uint8_t>{32, 128, 64, 129}));
}

TEST(ConversionGolden, BlackEightBitPixelKeepsItsAlpha) {
    const std::vector<uint8_t> in = {0, 0, 0, 200, 255, 255, 255, 7};
    std::vector<uint8_t> out(10, 0x77);
    EXPECT_EQ(Convert32toRGBEAFast(2, 1, in.data(), out.data()), 0);
    EXPECT_EQ(out, (std::vector<uint8_t>{0, 0, 0, 0, 200, 128, 128, 128, 129, 7}));
}

TEST(ConversionGolden, RgbFloatToRgbeaWritesAlphaOneForLitPixels) {
    const std::vector<float> in = {1.0f,  0.5f,  0.25f,     // lit: reversed bytes, alpha 1 (not 255)
                                   0.0f,  0.0f,  0.0f,      // black
                                   1e-33f, -1.0f, 0.0f,     // below 1e-32: black
                                   1e-32f, 0.0f,  0.0f};    // exactly 1e-32: lit, 2^-107 <= m < 2^-106
    std::vector<uint8_t> out(20, 0x77);
    EXPECT_EQ(Convert128RGBtoRGBEA(4, 1, out.data(), in.data(), 12345), 0);
    EXPECT_EQ(out, (std::vector<uint8_t>{32, 64, 128, 129, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 207, 22, 1}));
}

TEST(ConversionGolden, RgbaFloatToRgbeaAlphaIsClampedEvenWhenBlack) {
    const std::vector<float> in = {0.0f, 0.0f, 0.0f, 0.998f, 0.0f, 0.0f, 0.0f, 7.5f, 0.0f, 0.0f, 0.0f, kNaN};
    std::vector<uint8_t> out(15, 0x77);
    EXPECT_EQ(Convert128RGBAtoRGBEA(3, 1, in.data(), out.data()), 0);
    EXPECT_EQ(out, (std::vector<uint8_t>{0, 0, 0, 0, 254, 0, 0, 0, 0, 255, 0, 0, 0, 0, 0}));
}

TEST(ConversionGolden, SerialEncoderTruncatesWhereTheClampedEncodersRoundUp) {
    // 254 / 255 has frexp exponent 0, so s = 256 and the product is 254.996:
    // truncated to 254 by the serial encoder, above 254.5 and so 255 elsewhere.
    const std::vector<uint8_t> px = {254, 254, 254, 9, /* B,G,R,A */ 10, 128, 255, 9};
    std::vector<uint8_t> rgbe(8, 0x77);
    EXPECT_EQ(Convert32toRGBE(8, px.data(), rgbe.data()), 8);
    // Second pixel: R = 1.0 (s = 128) gives 128; G 64.25 gives 64; B 5.02 gives 5.
    EXPECT_EQ(rgbe, (std::vector<uint8_t>{254, 254, 254, 128, 128, 64, 5, 129}));

    std::vector<uint8_t> rgbea(10, 0x77);
    EXPECT_EQ(Convert32toRGBEAFast(2, 1, px.data(), rgbea.data()), 0);
    EXPECT_EQ(rgbea, (std::vector<uint8_t>{255, 255, 255, 128, 9, 5, 64, 128, 129, 9}));
}

TEST(ConversionGolden, RgbeToRgbeaShufflesAndMakesOpaque) {
    const std::vector<uint8_t> in = {1, 2, 3, 4, 200, 0, 9, 0};
    std::vector<uint8_t> out(10, 0x77);
    EXPECT_EQ(ConvertRGBEtoRGBEA(2, 1, out.data(), in.data(), -7), 0);
    EXPECT_EQ(out, (std::vector<uint8_t>{3, 2, 1, 4, 255, 9, 0, 200, 0, 255}));
}

TEST(ConversionGolden, FifteenBitAlphaToRgbeaDividesBy128AndTruncates) {
    const std::vector<uint16_t> alphas = {32767, 128, 127, 16384, 255, 0};
    const std::vector<uint8_t> want = {255, 1, 0, 128, 1, 0};
    std::vector<uint16_t> in;
    for (uint16_t a : alphas) in.insert(in.end(), {0, 0, 0, a});
    std::vector<uint8_t> out(5 * alphas.size(), 0x77);
    EXPECT_EQ(Convert64toRGBEAFast(static_cast<int32_t>(alphas.size()), 1, in.data(), out.data()), 0);
    for (size_t i = 0; i < alphas.size(); ++i) {
        EXPECT_EQ(std::vector<uint8_t>(out.begin() + 5 * i, out.begin() + 5 * i + 4), std::vector<uint8_t>(4, 0));
        EXPECT_EQ(out[5 * i + 4], want[i]) << "alpha word " << alphas[i];
    }
}

// ---- Three-channel exchange layouts ---------------------------------------------------

TEST(ConversionGolden, SixteenBitToFifteenBitRescalesOnlyBlue) {
    // Source R, G, B words; destination B, G, R, A with A left as it was.
    const std::vector<uint16_t> in = {40000, 12345, 65535,  //
                                      1,     65535, 32767,  //
                                      7,     8,     2,      //
                                      0,     0,     3,      //
                                      9,     9,     20000,  //
                                      9,     9,     32768};
    std::vector<uint16_t> out(24, 0x1234);
    EXPECT_EQ(Convert16BITto15BITFast(6, 1, in.data(), out.data()), 0);
    // Blue: s * (1/65535) * 32767: 32767 -> 16383.25, 2 -> 0.99998, 3 -> 1.49998,
    // 20000 -> 9999.85; 65535 and 32768 read as negative and give 0.
    EXPECT_EQ(out, (std::vector<uint16_t>{0,     12345, 40000, 0x1234, 16383, 65535, 1,  0x1234,
                                          0,     8,     7,     0x1234, 1,     0,     0,  0x1234,
                                          9999,  9,     9,     0x1234, 0,     9,     9,  0x1234}));
}

TEST(ConversionGolden, FifteenBitToSixteenBitDoublesAndReverses) {
    const std::vector<uint16_t> in = {32767, 1, 0, 500, 100, 200, 300, 32767};
    std::vector<uint16_t> out(6, 0x7777);
    EXPECT_EQ(Convert15BITto16BITFast(2, 1, in.data(), out.data()), 0);
    EXPECT_EQ(out, (std::vector<uint16_t>{0, 2, 65534, 600, 400, 200}));
}

TEST(ConversionGolden, PackedEightBitChannelsReverse) {
    const std::vector<uint8_t> bgra = {1, 2, 3, 4, 5, 6, 7, 8};
    std::vector<uint8_t> rgb(6, 0x77);
    EXPECT_EQ(Convert32BIT_4to3ChannelsFast(2, 1, bgra.data(), rgb.data()), 0);
    EXPECT_EQ(rgb, (std::vector<uint8_t>{3, 2, 1, 7, 6, 5}));
    std::vector<uint8_t> back(8, 0x77);
    EXPECT_EQ(Convert32BIT_3to4ChannelsFast(2, 1, back.data(), rgb.data()), 0);
    EXPECT_EQ(back, (std::vector<uint8_t>{1, 2, 3, 255, 5, 6, 7, 255}));
}

TEST(ConversionGolden, FloatChannelsReverseBitForBit) {
    const std::vector<float> rgba = {1.5f, -0.0f, kNaN, 9.0f};
    std::vector<float> rgb(3, 7.0f);
    EXPECT_EQ(Convert32BITto24BITFast(1, 1, rgba.data(), rgb.data()), 0);
    EXPECT_EQ(bytes_of(rgb), bytes_of(std::vector<float>{kNaN, -0.0f, 1.5f}));
    std::vector<float> back(4, 7.0f);
    EXPECT_EQ(Convert128BIT_3to4ChannelsFast(1, 1, back.data(), rgb.data()), 0);
    EXPECT_EQ(bytes_of(back), bytes_of(std::vector<float>{1.5f, -0.0f, kNaN, 1.0f}));
}

// ---- Gamma members ----------------------------------------------------------------------

TEST(ConversionGolden, GammaIsTheFloatJustBelowOneOver2Point2InDoublePow) {
    EXPECT_EQ(float_to_bits(kGamma), 0x3EE8BA2Eu);
    // For this input the double pow with the float exponent and the double
    // pow with 1/2.2 round to different floats; only the first is right.
    const float t = bits_to_float(0x3c23d8a6u);
    const float want_t = gamma_ref(t);
    ASSERT_NE(want_t, static_cast<float>(std::pow(static_cast<double>(t), 1.0 / 2.2)));

    const std::vector<float> rgb = {t, 0.25f, 1.0f, 0.0f, 2.0f, 0.5f};
    std::vector<float> out(8, 7.0f);
    EXPECT_EQ(Convert128HDRFast(2, 1, out.data(), rgb.data(), 0), 0);
    EXPECT_EQ(bytes_of(out), bytes_of(std::vector<float>{1.0f, gamma_ref(0.25f), want_t, 1.0f, gamma_ref(0.5f),
                                                         gamma_ref(2.0f), 0.0f, 1.0f}));
    EXPECT_EQ(out[1], 0.532520533f);
}

TEST(ConversionGolden, RawGammaUsesPlainDecodingWithoutHalfStep) {
    const std::vector<uint8_t> rgbe = {128, 64, 0, 129};  // R = 1.0, G = 0.5, B = 0 exactly
    std::vector<float> out(4, 7.0f);
    EXPECT_EQ(Convert128HDRRAWFast(1, 1, out.data(), rgbe.data(), 99), 0);
    EXPECT_EQ(out, (std::vector<float>{0.0f, 0.729740083f, 1.0f, 1.0f}));
}

// ---- Results ------------------------------------------------------------------------------

TEST(ConversionGolden, CountFormReturnsCountGeometryFormReturnsZero) {
    for (const Conversion& c : conversions()) {
        Guarded src(image_bytes(c.src, 3, 2), 0);
        Guarded dst(image_bytes(c.dst, 3, 2));
        const int32_t want = c.count_form && c.returns_count ? 24 : 0;
        EXPECT_EQ(c.call(3, 2, src.data(), dst.data()), want) << c.name;
    }
    // The table's flags, spelt out: which members return their count.
    int counting = 0;
    for (const Conversion& c : conversions()) counting += c.returns_count ? 1 : 0;
    EXPECT_EQ(counting, 7);
}

}  // namespace
}  // namespace efx_test
