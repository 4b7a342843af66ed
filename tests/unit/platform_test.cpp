// The host's functions of <effects/platform.h> on systems without GDI:
// sizes, strides and stored row order of bitmaps, memory device contexts,
// and the refusal of null, deleted and wrong-kind handles. (On Windows the
// host uses GDI itself and this header declares nothing.)
#include <gtest/gtest.h>

#if !defined(_WIN32)

#include <effects/platform.h>

#include <cstdint>
#include <vector>

namespace {

TEST(PlatformBitmap, StrideIsPaddedToFourBytes) {
    // 24 bits: widths 1..5 give 3+1, 6+2, 9+3, 12, 15+1; 32 bits never pad.
    const int32_t want24[] = {4, 8, 12, 12, 16};
    for (int32_t w = 1; w <= 5; ++w) {
        EffectsBitmap b24 = EffectsCreateBitmap(w, 2, 24);
        EffectsBitmap b32 = EffectsCreateBitmap(w, -2, 32);
        ASSERT_NE(b24, nullptr);
        ASSERT_NE(b32, nullptr);
        EXPECT_EQ(EffectsBitmapStride(b24), want24[w - 1]) << "width " << w;
        EXPECT_EQ(EffectsBitmapStride(b32), 4 * w) << "width " << w;
        EXPECT_EQ(EffectsDeleteBitmap(b24), 1);
        EXPECT_EQ(EffectsDeleteBitmap(b32), 1);
    }
}

TEST(PlatformBitmap, RefusesSizesAndDepthsItCannotHold) {
    EXPECT_EQ(EffectsCreateBitmap(0, 1, 24), nullptr);
    EXPECT_EQ(EffectsCreateBitmap(1, 0, 24), nullptr);
    EXPECT_EQ(EffectsCreateBitmap(-1, 1, 32), nullptr);
    EXPECT_EQ(EffectsCreateBitmap(1, INT32_MIN, 32), nullptr);
    EXPECT_EQ(EffectsCreateBitmap(1, 1, 8), nullptr);
    EXPECT_EQ(EffectsCreateBitmap(1, 1, 16), nullptr);
    EXPECT_EQ(EffectsCreateBitmap(1, 1, 0), nullptr);
    EXPECT_EQ(EffectsCreateBitmap(65536, 65536, 32), nullptr);  // 16 GiB
}

TEST(PlatformBitmap, IsClearedAndRoundTripsItsStoredBytes) {
    EffectsBitmap b = EffectsCreateBitmap(3, 2, 24);
    ASSERT_NE(b, nullptr);
    std::vector<uint8_t> bytes(24, 0xAB);
    ASSERT_EQ(EffectsReadBitmap(b, bytes.data(), 24), 24);
    EXPECT_EQ(bytes, std::vector<uint8_t>(24, 0));
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 11);
    EXPECT_EQ(EffectsWriteBitmap(b, bytes.data(), 24), 24);
    std::vector<uint8_t> back(24);
    EXPECT_EQ(EffectsReadBitmap(b, back.data(), 24), 24);
    EXPECT_EQ(back, bytes);
    EXPECT_EQ(EffectsDeleteBitmap(b), 1);
}

TEST(PlatformBitmap, ShortBuffersAreRefusedUntouched) {
    EffectsBitmap b = EffectsCreateBitmap(2, 2, 32);
    std::vector<uint8_t> buf(15, 0x5A);
    EXPECT_EQ(EffectsReadBitmap(b, buf.data(), 15), 0);
    EXPECT_EQ(buf, std::vector<uint8_t>(15, 0x5A));
    EXPECT_EQ(EffectsWriteBitmap(b, buf.data(), 15), 0);
    EXPECT_EQ(EffectsReadBitmap(b, nullptr, 16), 0);
    EXPECT_EQ(EffectsWriteBitmap(b, nullptr, 16), 0);
    EXPECT_EQ(EffectsReadBitmap(b, buf.data(), -1), 0);
    EXPECT_EQ(EffectsDeleteBitmap(b), 1);
}

TEST(PlatformDC, MemoryDCIsAClearedSurfaceOfItsSize) {
    EffectsDC dc = EffectsCreateMemoryDC(3, 2);
    ASSERT_NE(dc, nullptr);
    int32_t w = -1, h = -1;
    EXPECT_EQ(EffectsGetDCSize(dc, &w, &h), 1);
    EXPECT_EQ(w, 3);
    EXPECT_EQ(h, 2);
    EXPECT_EQ(EffectsGetDCSize(dc, nullptr, nullptr), 1);
    std::vector<uint8_t> px(24, 0x77);
    EXPECT_EQ(EffectsReadDC(dc, px.data(), 24), 24);
    EXPECT_EQ(px, std::vector<uint8_t>(24, 0));
    EXPECT_EQ(EffectsReadDC(dc, px.data(), 23), 0);
    EXPECT_EQ(EffectsDeleteDC(dc), 1);
    EXPECT_EQ(EffectsCreateMemoryDC(0, 5), nullptr);
    EXPECT_EQ(EffectsCreateMemoryDC(5, -1), nullptr);
    EXPECT_EQ(EffectsCreateMemoryDC(46341, 46341), nullptr);  // over 2^31 bytes
}

TEST(PlatformHandles, NullDeletedAndWrongKindHandlesAreRefused) {
    EffectsDC dc = EffectsCreateMemoryDC(1, 1);
    EffectsBitmap b = EffectsCreateBitmap(1, 1, 24);
    uint8_t buf[64] = {};
    int32_t w = 7, h = 7;

    // Wrong kind: a device context is not a bitmap and the other way round.
    EXPECT_EQ(EffectsBitmapStride(dc), 0);
    EXPECT_EQ(EffectsReadBitmap(dc, buf, 64), 0);
    EXPECT_EQ(EffectsWriteBitmap(dc, buf, 64), 0);
    EXPECT_EQ(EffectsDeleteBitmap(dc), 0);
    EXPECT_EQ(EffectsReadDC(b, buf, 64), 0);
    EXPECT_EQ(EffectsGetDCSize(b, &w, &h), 0);
    EXPECT_EQ(w, 0);
    EXPECT_EQ(h, 0);
    EXPECT_EQ(EffectsDeleteDC(b), 0);

    // Null.
    EXPECT_EQ(EffectsBitmapStride(nullptr), 0);
    EXPECT_EQ(EffectsReadBitmap(nullptr, buf, 64), 0);
    EXPECT_EQ(EffectsDeleteBitmap(nullptr), 0);
    EXPECT_EQ(EffectsReadDC(nullptr, buf, 64), 0);
    EXPECT_EQ(EffectsDeleteDC(nullptr), 0);

    // Deleted: refused, and a second deletion too.
    ASSERT_EQ(EffectsDeleteBitmap(b), 1);
    ASSERT_EQ(EffectsDeleteDC(dc), 1);
    EXPECT_EQ(EffectsBitmapStride(b), 0);
    EXPECT_EQ(EffectsReadBitmap(b, buf, 64), 0);
    EXPECT_EQ(EffectsDeleteBitmap(b), 0);
    EXPECT_EQ(EffectsReadDC(dc, buf, 64), 0);
    EXPECT_EQ(EffectsDeleteDC(dc), 0);

    // Values that were never handles.
    for (uintptr_t v : {uintptr_t{1}, uintptr_t{0x10008}, uintptr_t{0xDEADBEEF}, ~uintptr_t{0}}) {
        void* forged = reinterpret_cast<void*>(v);
        EXPECT_EQ(EffectsBitmapStride(forged), 0);
        EXPECT_EQ(EffectsReadDC(forged, buf, 64), 0);
        EXPECT_EQ(EffectsDeleteBitmap(forged), 0);
        EXPECT_EQ(EffectsDeleteDC(forged), 0);
        EXPECT_EQ(VexoInvert(forged, forged, forged, forged, 1), -1);
    }
}

TEST(PlatformHandles, HandlesAreNeverReused) {
    EffectsBitmap first = EffectsCreateBitmap(1, 1, 24);
    ASSERT_EQ(EffectsDeleteBitmap(first), 1);
    for (int i = 0; i < 100; ++i) {
        EffectsBitmap b = EffectsCreateBitmap(1, 1, 24);
        EXPECT_NE(b, first);
        EffectsDeleteBitmap(b);
    }
    EXPECT_EQ(EffectsBitmapStride(first), 0);
}

}  // namespace

#endif  // !_WIN32
