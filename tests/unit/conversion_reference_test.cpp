// Every conversion export against a slow per-pixel reference written from the
// conversion rules, compared byte for byte on seeded random images of awkward
// sizes (single pixels, single rows and columns, odd widths, one large image).
#include <gtest/gtest.h>

#include <cstdio>
#include <map>

#include "test_support.hpp"

namespace efx_test {
namespace {

using RefFn = void (*)(int w, int h, const uint8_t* s, uint8_t* d);

// ---- Count form: n = w*h pixels of four channel values ------------------------

void ref_64to32(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int i = 0; i < w * h * 4; ++i) {
        const int v = static_cast<int16_t>(load_u16(s, i));
        d[i] = static_cast<uint8_t>(v >> 7);  // low byte of the arithmetic shift
    }
}

void ref_64to32screen(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        for (int k = 0; k < 3; ++k) d[4 * p + k] = static_cast<uint8_t>(load_u16(s, 4 * p + k) >> 7);
        d[4 * p + 3] = 255;
    }
}

void ref_128to32(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int i = 0; i < w * h * 4; ++i) d[i] = clamp_to_byte(load_f(s, i) * 255.0f);
}

void ref_128to64(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int i = 0; i < w * h * 4; ++i) store_u16(d, i, clamp_to_15(load_f(s, i) * 32767.0f));
}

void ref_32to64(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int i = 0; i < w * h * 4; ++i) store_u16(d, i, static_cast<uint16_t>(s[i] << 7));
}

void ref_32to128(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int i = 0; i < w * h * 4; ++i) store_f(d, i, static_cast<float>(s[i]) * kInv255);
}

void ref_64to128(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int i = 0; i < w * h * 4; ++i)
        store_f(d, i, static_cast<float>(static_cast<int16_t>(load_u16(s, i))) * kInv32767);
}

void ref_32toRGBE(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        const uint8_t* px = s + 4 * p;
        rgbe_encode(px[2] * kInv255, px[1] * kInv255, px[0] * kInv255, d + 4 * p, /*clamp=*/false);
    }
}

// ---- Geometry form ------------------------------------------------------------

void ref_24to32(int w, int h, const uint8_t* s, uint8_t* d) {
    const size_t stride = row_bytes(Fmt::Rgb8, w);
    for (int y = 0; y < h; ++y) {
        const uint8_t* row = s + stride * static_cast<size_t>(h - 1 - y);
        for (int x = 0; x < w; ++x) {
            uint8_t* o = d + 4 * (static_cast<size_t>(y) * w + x);
            o[0] = row[3 * x];
            o[1] = row[3 * x + 1];
            o[2] = row[3 * x + 2];
            o[3] = 255;
        }
    }
}

void ref_4to3(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p)
        for (int k = 0; k < 3; ++k) d[3 * p + k] = s[4 * p + 2 - k];
}

void ref_3to4(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        for (int k = 0; k < 3; ++k) d[4 * p + k] = s[3 * p + 2 - k];
        d[4 * p + 3] = 255;
    }
}

void ref_128toRgbF(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p)
        for (int k = 0; k < 3; ++k) std::memcpy(d + 12 * p + 4 * k, s + 16 * p + 4 * (2 - k), 4);
}

void ref_RgbFto128(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        for (int k = 0; k < 3; ++k) std::memcpy(d + 16 * p + 4 * k, s + 12 * p + 4 * (2 - k), 4);
        store_f(d, 4 * p + 3, 1.0f);
    }
}

void ref_15to16(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p)
        for (int k = 0; k < 3; ++k)
            store_u16(d, 3 * p + k, static_cast<uint16_t>(load_u16(s, 4 * p + 2 - k) * 2));
}

void ref_16to15(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        store_u16(d, 4 * p + 2, load_u16(s, 3 * p + 0));
        store_u16(d, 4 * p + 1, load_u16(s, 3 * p + 1));
        const float b = static_cast<float>(static_cast<int16_t>(load_u16(s, 3 * p + 2)));
        store_u16(d, 4 * p + 0, clamp_to_15(b * kInv65535 * 32767.0f));
        // word 3 (alpha) keeps what the destination held
    }
}

void ref_float3to64(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        for (int k = 0; k < 3; ++k) store_u16(d, 4 * p + k, clamp_to_15(load_f(s, 3 * p + k) * 32767.0f));
        store_u16(d, 4 * p + 3, 32767);
    }
}

void ref_32toRGBEA(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        const uint8_t* px = s + 4 * p;
        rgbe_encode(px[0] * kInv255, px[1] * kInv255, px[2] * kInv255, d + 5 * p);
        d[5 * p + 4] = px[3];
    }
}

void ref_64toRGBEA(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        float c[3];
        for (int k = 0; k < 3; ++k)
            c[k] = static_cast<float>(static_cast<int16_t>(load_u16(s, 4 * p + k))) * kInv32767;
        rgbe_encode(c[0], c[1], c[2], d + 5 * p);
        const float a = static_cast<float>(static_cast<int16_t>(load_u16(s, 4 * p + 3))) * 0.0078125f;
        d[5 * p + 4] = static_cast<uint8_t>(static_cast<int>(a));
    }
}

void ref_128toRGBEA(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        rgbe_encode(load_f(s, 4 * p), load_f(s, 4 * p + 1), load_f(s, 4 * p + 2), d + 5 * p);
        d[5 * p + 4] = clamp_to_byte(load_f(s, 4 * p + 3) * 255.0f);
    }
}

void ref_RgbFtoRGBE(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p)
        rgbe_encode(load_f(s, 3 * p), load_f(s, 3 * p + 1), load_f(s, 3 * p + 2), d + 4 * p);
}

void ref_RgbFtoRGBEA(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        // Encoded in the source's R, G, B order, written out B, G, R.
        uint8_t e[4];
        const bool lit = rgbe_encode(load_f(s, 3 * p), load_f(s, 3 * p + 1), load_f(s, 3 * p + 2), e);
        uint8_t* o = d + 5 * p;
        o[0] = e[2];
        o[1] = e[1];
        o[2] = e[0];
        o[3] = e[3];
        o[4] = lit ? 1 : 0;
    }
}

void ref_RGBEtoRGBEA(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        const uint8_t* i = s + 4 * p;
        uint8_t* o = d + 5 * p;
        o[0] = i[2];
        o[1] = i[1];
        o[2] = i[0];
        o[3] = i[3];
        o[4] = 255;
    }
}

void ref_RGBEto128(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        const uint8_t* i = s + 4 * p;
        for (int k = 0; k < 3; ++k) store_f(d, 4 * p + k, rgbe_decode_half(i[2 - k], i[3]));
        store_f(d, 4 * p + 3, 1.0f);
    }
}

void ref_RGBEAto128(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        const uint8_t* i = s + 5 * p;
        for (int k = 0; k < 3; ++k) store_f(d, 4 * p + k, rgbe_decode_half(i[k], i[3]));
        store_f(d, 4 * p + 3, static_cast<float>(i[4]) * kInv255);
    }
}

void ref_RGBEAtoRgbF(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        const uint8_t* i = s + 5 * p;
        for (int k = 0; k < 3; ++k) store_f(d, 3 * p + k, rgbe_decode_half(i[2 - k], i[3]));
    }
}

void ref_RGBEAto32(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        const uint8_t* i = s + 5 * p;
        for (int k = 0; k < 3; ++k) d[4 * p + k] = clamp_to_byte(rgbe_decode_half(i[k], i[3]) * 255.0f);
        d[4 * p + 3] = i[4];
    }
}

void ref_HDR(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        for (int k = 0; k < 3; ++k) store_f(d, 4 * p + k, gamma_ref(load_f(s, 3 * p + 2 - k)));
        store_f(d, 4 * p + 3, 1.0f);
    }
}

void ref_HDRRAW(int w, int h, const uint8_t* s, uint8_t* d) {
    for (int p = 0; p < w * h; ++p) {
        const uint8_t* i = s + 4 * p;
        for (int k = 0; k < 3; ++k) store_f(d, 4 * p + k, gamma_ref(rgbe_decode_plain(i[2 - k], i[3])));
        store_f(d, 4 * p + 3, 1.0f);
    }
}

const std::map<std::string, RefFn>& references() {
    static const std::map<std::string, RefFn> m = {
        {"Convert64to32Fast", ref_64to32},
        {"Convert64to32Screen", ref_64to32screen},
        {"Convert128to32Fast", ref_128to32},
        {"Convert128to64Fast", ref_128to64},
        {"Convert32to64Fast", ref_32to64},
        {"Convert32to128Fast", ref_32to128},
        {"Convert64to128Fast", ref_64to128},
        {"Convert32toRGBE", ref_32toRGBE},
        {"Convert24to32Fast", ref_24to32},
        {"Convert32BIT_4to3ChannelsFast", ref_4to3},
        {"Convert32BIT_3to4ChannelsFast", ref_3to4},
        {"Convert32BITto24BITFast", ref_128toRgbF},
        {"Convert128BIT_3to4ChannelsFast", ref_RgbFto128},
        {"Convert15BITto16BITFast", ref_15to16},
        {"Convert16BITto15BITFast", ref_16to15},
        {"Convertfloat3xto64", ref_float3to64},
        {"Convert32toRGBEAFast", ref_32toRGBEA},
        {"Convert64toRGBEAFast", ref_64toRGBEA},
        {"Convert128RGBAtoRGBEA", ref_128toRGBEA},
        {"Convert128RGBtoRGBE", ref_RgbFtoRGBE},
        {"Convert128RGBtoRGBEA", ref_RgbFtoRGBEA},
        {"ConvertRGBEtoRGBEA", ref_RGBEtoRGBEA},
        {"ConvertRGBEto128RGBA", ref_RGBEto128},
        {"ConvertRGBEAto128RGBA", ref_RGBEAto128},
        {"ConvertRGBEAto128RGB", ref_RGBEAtoRgbF},
        {"ConvertRGBEAto32RGBA", ref_RGBEAto32},
        {"Convert128HDRFast", ref_HDR},
        {"Convert128HDRRAWFast", ref_HDRRAW},
    };
    return m;
}

std::string hex(const uint8_t* p, size_t n) {
    std::string s;
    char buf[4];
    for (size_t i = 0; i < n; ++i) {
        std::snprintf(buf, sizeof buf, "%02x ", p[i]);
        s += buf;
    }
    return s;
}

TEST(ConversionReference, EveryExportHasAReference) {
    EXPECT_EQ(references().size(), conversions().size());
    for (const Conversion& c : conversions()) EXPECT_EQ(references().count(c.name), 1u) << c.name;
}

class ConversionReference : public ::testing::TestWithParam<size_t> {};

TEST_P(ConversionReference, MatchesReferenceBytes) {
    const Conversion& c = conversions()[GetParam()];
    const RefFn ref = references().at(c.name);
    const int sizes[][2] = {{1, 1}, {1, 9}, {9, 1}, {2, 2}, {7, 3}, {13, 5}, {5, 13}, {257, 131}};
    for (const auto& sz : sizes) {
        const int w = sz[0], h = sz[1];
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        const std::vector<uint8_t> in = random_image(c.src, w, h, seed_for(c.name, w, h));
        Guarded src(in.size());
        std::memcpy(src.data(), in.data(), in.size());
        const size_t out_bytes = image_bytes(c.dst, w, h);
        // The destination is pre-filled with guard bytes: whatever a member
        // leaves alone (the alpha of Convert16BITto15BITFast) must stay so.
        Guarded dst(out_bytes);
        std::vector<uint8_t> expected(out_bytes, kGuard);

        EXPECT_EQ(c.call(w, h, src.data(), dst.data()), c.expected_result(w, h));
        ref(w, h, in.data(), expected.data());

        EXPECT_TRUE(dst.guards_intact());
        EXPECT_TRUE(src.guards_intact());
        EXPECT_EQ(src.payload(), in) << "source modified";
        const std::vector<uint8_t> got = dst.payload();
        const long at = first_difference(got, expected);
        if (at >= 0) {
            const size_t dbpp = bytes_per_pixel(c.dst);
            const size_t px = static_cast<size_t>(at) / dbpp;
            const size_t sbpp = bytes_per_pixel(c.src);
            const size_t soff = c.src == Fmt::Rgb8 ? 0 : px * sbpp;
            ADD_FAILURE() << c.name << ": first difference at byte " << at << " (pixel " << px << ")\n  source pixel: "
                          << hex(in.data() + soff, c.src == Fmt::Rgb8 ? 0 : sbpp)
                          << "\n  expected: " << hex(expected.data() + px * dbpp, dbpp)
                          << "\n  actual:   " << hex(got.data() + px * dbpp, dbpp);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AllExports, ConversionReference, ::testing::Range<size_t>(0, conversions().size()),
                         ConversionName());

}  // namespace
}  // namespace efx_test
