// White-box checks of the frame helpers: the exponent-field RGBE encoder
// against the frexp formulation, the exact single-precision decoders against
// ldexp, the static row split, the row-array allocator and the mirror.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "frame/numeric.hpp"
#include "frame/parallel.hpp"
#include "frame/rgbe.hpp"
#include "frame/scratch.hpp"

namespace ed = effects::detail;

namespace {

template <ed::MantissaRounding R>
void expect_same_encoding(float c0, float c1, float c2) {
    uint8_t fast[4], slow[4];
    const bool lf = ed::EncodeRgbe<R>(c0, c1, c2, fast);
    const bool ls = ed::EncodeRgbeReference<R>(c0, c1, c2, slow);
    ASSERT_EQ(lf, ls) << c0 << " " << c1 << " " << c2;
    ASSERT_EQ(0, std::memcmp(fast, slow, 4)) << c0 << " " << c1 << " " << c2;
}

float random_special(std::mt19937& rng) {
    static const float specials[] = {0.0f,
                                     -0.0f,
                                     1.0f,
                                     -1.0f,
                                     1e-32f,
                                     std::nextafter(1e-32f, 0.0f),
                                     std::nextafter(1e-32f, 1.0f),
                                     1e-38f,
                                     std::numeric_limits<float>::denorm_min(),
                                     std::numeric_limits<float>::max(),
                                     std::numeric_limits<float>::infinity(),
                                     -std::numeric_limits<float>::infinity(),
                                     std::numeric_limits<float>::quiet_NaN(),
                                     0.5f,
                                     2.0f,
                                     255.0f / 256.0f,
                                     0.99999994f};
    return specials[rng() % (sizeof specials / sizeof specials[0])];
}

}  // namespace

TEST(RgbeCodec, ExponentFieldEncoderMatchesFrexpOnEveryExponent) {
    std::mt19937 rng(7);
    for (uint32_t field = 0; field < 256; ++field) {
        for (int i = 0; i < 400; ++i) {
            const float m = ed::BitsToFloat(field << 23 | (rng() & 0x7FFFFFu));
            const float a = m * std::ldexp(1.0f, -static_cast<int>(rng() % 12));
            const float b = ed::BitsToFloat(rng());
            expect_same_encoding<ed::MantissaRounding::Clamp>(m, a, b);
            expect_same_encoding<ed::MantissaRounding::Clamp>(a, b, m);
            expect_same_encoding<ed::MantissaRounding::Truncate>(b, m, a);
        }
    }
    for (int i = 0; i < 20000; ++i)
        expect_same_encoding<ed::MantissaRounding::Clamp>(random_special(rng), random_special(rng), random_special(rng));
}

TEST(RgbeCodec, UnitRangeEncoderMatchesOnEveryEightBitTriple) {
    constexpr float kInv255 = 0.003921569f;
    for (uint32_t rgb = 0; rgb < (1u << 24); ++rgb) {
        const float c0 = static_cast<float>(rgb & 0xFF) * kInv255;
        const float c1 = static_cast<float>(rgb >> 8 & 0xFF) * kInv255;
        const float c2 = static_cast<float>(rgb >> 16) * kInv255;
        using ed::MantissaRounding, ed::RgbeInput;
        ASSERT_EQ((ed::EncodeRgbeWord<MantissaRounding::Clamp, RgbeInput::AnyFloat>(c0, c1, c2)),
                  (ed::EncodeRgbeWord<MantissaRounding::Clamp, RgbeInput::UnitRange>(c0, c1, c2)))
            << rgb;
        ASSERT_EQ((ed::EncodeRgbeWord<MantissaRounding::Truncate, RgbeInput::AnyFloat>(c0, c1, c2)),
                  (ed::EncodeRgbeWord<MantissaRounding::Truncate, RgbeInput::UnitRange>(c0, c1, c2)))
            << rgb;
    }
}

TEST(RgbeCodec, DecodersAreTheDoubleLdexpRoundedToFloat) {
    for (int e = 0; e < 256; ++e) {
        for (int m = 0; m < 256; ++m) {
            const float half = e == 0 ? 0.0f : static_cast<float>(ed::FloatLdexp(static_cast<float>(m) + 0.5f, e - 136));
            const float plain = static_cast<float>(static_cast<double>(m) * ed::FloatLdexp(1.0f, e - 136));
            const auto u8 = static_cast<uint8_t>(m), e8 = static_cast<uint8_t>(e);
            ASSERT_EQ(ed::FloatBits(half), ed::FloatBits(ed::DecodeRgbe<ed::RgbeDecoding::HalfStep>(u8, e8)));
            ASSERT_EQ(ed::FloatBits(plain), ed::FloatBits(ed::DecodeRgbe<ed::RgbeDecoding::Plain>(u8, e8)));
        }
    }
}

TEST(Clamps, CutOffsTruncationAndNaN) {
    EXPECT_EQ(255, ed::ClampToByte(254.7f));
    EXPECT_EQ(254, ed::ClampToByte(254.5f));
    EXPECT_EQ(254, ed::ClampToByte(254.4f));
    EXPECT_EQ(0, ed::ClampToByte(0.7f));
    EXPECT_EQ(0, ed::ClampToByte(std::numeric_limits<float>::quiet_NaN()));
    EXPECT_EQ(255, ed::ClampToByte(std::numeric_limits<float>::infinity()));
    EXPECT_EQ(0, ed::ClampToByte(-std::numeric_limits<float>::infinity()));
    EXPECT_EQ(32767, ed::ClampTo15(32766.6f));
    EXPECT_EQ(32766, ed::ClampTo15(32766.5f));
    EXPECT_EQ(0, ed::ClampTo15(0.49f));
    EXPECT_EQ(1, ed::ClampTo15(1.99f));
}

TEST(Clamps, NonNegativeClampAgreesWithTheFullClampOnEveryNonNegativeFloat) {
    // Every non-negative finite float and +inf, by bit pattern, in strides
    // that visit every exponent and a spread of mantissas near each cut-off.
    for (uint32_t bits = 0; bits <= 0x7F800000u; bits += 97) {
        const float f = ed::BitsToFloat(bits);
        ASSERT_EQ(ed::ClampToByte(f), ed::ClampNonNegativeToByte(f)) << f;
    }
    for (float f = 0.0f; f < 256.0f; f = std::nextafter(f, 300.0f) + 1.0f / 4096.0f)
        ASSERT_EQ(ed::ClampToByte(f), ed::ClampNonNegativeToByte(f)) << f;
    for (float f : {0.5f, std::nextafter(0.5f, 0.0f), 254.5f, std::nextafter(254.5f, 255.0f), 255.0f})
        ASSERT_EQ(ed::ClampToByte(f), ed::ClampNonNegativeToByte(f)) << f;
}

TEST(ParallelRows, StaticBlocksCoverEveryRowOnceInOrder) {
    for (int nt = 1; nt <= 9; ++nt) {
        for (int64_t rows = 0; rows <= 40; ++rows) {
            int64_t next = 0;
            for (int t = 0; t < nt; ++t) {
                const ed::RowBlock b = ed::static_block(rows, t, nt);
                EXPECT_EQ(next, b.begin);
                EXPECT_LE(b.end - b.begin, rows / nt + 1);
                EXPECT_GE(b.end - b.begin, rows / nt);
                next = b.end;
            }
            EXPECT_EQ(rows, next);
        }
    }
}

TEST(ParallelRows, EveryRowVisitedOnceAndNothingForEmptyRanges) {
    for (int threads : {1, 2, 7}) {
        omp_set_num_threads(threads);
        std::vector<int> hits(1000, 0);
        ed::parallel_rows(1000, [&](int64_t b, int64_t e) {
            for (int64_t r = b; r < e; ++r) ++hits[static_cast<size_t>(r)];
        });
        for (int h : hits) ASSERT_EQ(1, h);
        bool called = false;
        ed::parallel_rows(0, [&](int64_t, int64_t) { called = true; });
        ed::parallel_rows(-5, [&](int64_t, int64_t) { called = true; });
        EXPECT_FALSE(called);
    }
    omp_set_num_threads(ed::team_capacity());
}

TEST(Scratch, RowArrayAllocatesAndReleases) {
    uint8_t** rows = ed::AllocateRowArray(5, 33);
    ASSERT_NE(nullptr, rows);
    for (int i = 0; i < 5; ++i) std::memset(rows[i], i, 33);
    ed::FreeRowArray(rows, 5);
    EXPECT_EQ(nullptr, ed::AllocateRowArray(-1, 4));
    ed::ScratchBuffer<float> s(17);
    EXPECT_EQ(17u, s.size());
    s[16] = 1.0f;
    EXPECT_EQ(1.0f, s.data()[16]);
}

TEST(Mirror, FoldsOffsetsBeyondTheLastIndex) {
    EXPECT_EQ(3, ed::MirrorCoordinate(10, 3, 2));
    EXPECT_EQ(10 - 1 - 8, ed::MirrorCoordinate(10, 3, 8));
    EXPECT_EQ(9, ed::MirrorCoordinate(10, 9, 0));
    EXPECT_EQ(10 - 1 - 1, ed::MirrorCoordinate(10, 9, 1));
}
