// The native VZM writers: the 16-byte header, caller values cut to 16 bits
// and the buffer written unchanged for every format.
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "file_test_support.hpp"
#include "test_support.hpp"

namespace efx_test {
namespace {

TEST(VzmWriter, OnePixelIsTwentyBytes) {
    ScratchDir dir;
    const auto path = dir / "one.vzm";
    const uint8_t pixel[4] = {1, 2, 3, 4};
    EXPECT_EQ(VexoSaveVZMFile32(wide(path).c_str(), 1, 1, 0x1234, 7, pixel), 0);
    EXPECT_EQ(read_bytes(path), (std::vector<uint8_t>{0xB8, 0x07, 0xE8, 0x03, 0x34, 0x12, 7, 0, 1, 0, 0, 0, 1, 0, 0,
                                                      0, 1, 2, 3, 4}));
}

TEST(VzmWriter, CallerValuesKeepTheirLow16Bits) {
    ScratchDir dir;
    const auto path = dir / "v.vzm";
    const uint8_t pixel[4] = {};
    VexoSaveVZMFile32(wide(path).c_str(), 1, 1, 70000, -1, pixel);
    const auto b = read_bytes(path);
    ASSERT_EQ(b.size(), 20u);
    EXPECT_EQ(b[4] | b[5] << 8, 4464);
    EXPECT_EQ(b[6] | b[7] << 8, 0xFFFF);
}

TEST(VzmWriter, EmptyImageIsTheHeaderAlone) {
    ScratchDir dir;
    const auto path = dir / "empty.vzm";
    VexoSaveVZMFile128(wide(path).c_str(), 0, 0, 1, 2, nullptr);
    EXPECT_EQ(read_bytes(path), (std::vector<uint8_t>{0xB8, 0x07, 0xE8, 0x03, 1, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(VzmWriter, EveryFormatWritesItsBufferUnchanged) {
    ScratchDir dir;
    const int w = 5, h = 3;
    std::vector<uint8_t> b32(w * h * 4), b5(w * h * 5);
    std::vector<uint16_t> b64(w * h * 4);
    std::vector<float> b128(w * h * 4);
    std::iota(b32.begin(), b32.end(), uint8_t{1});
    std::iota(b5.begin(), b5.end(), uint8_t{3});
    std::iota(b64.begin(), b64.end(), uint16_t{1000});
    std::iota(b128.begin(), b128.end(), 0.5f);
    const std::vector<uint8_t> head = {0xB8, 0x07, 0xE8, 0x03, 9, 0, 8, 0, w, 0, 0, 0, h, 0, 0, 0};
    VexoSaveVZMFile32(wide(dir / "a").c_str(), w, h, 9, 8, b32.data());
    VexoSaveVZMFile64(wide(dir / "b").c_str(), w, h, 9, 8, b64.data());
    VexoSaveVZMFile128(wide(dir / "c").c_str(), w, h, 9, 8, b128.data());
    VexoSaveVZMFileRGBEA(wide(dir / "d").c_str(), w, h, 9, 8, b5.data());
    EXPECT_EQ(read_bytes(dir / "a"), concat(head, b32));
    EXPECT_EQ(read_bytes(dir / "b"), concat(head, bytes_of(b64)));
    EXPECT_EQ(read_bytes(dir / "c"), concat(head, bytes_of(b128)));
    EXPECT_EQ(read_bytes(dir / "d"), concat(head, b5));
}

TEST(VzmWriter, ExistingFileIsTruncatedAndUnopenableFileIgnored) {
    ScratchDir dir;
    const auto path = dir / "t.vzm";
    write_bytes(path, std::vector<uint8_t>(100, 0xEE));
    const uint8_t pixel[4] = {5, 6, 7, 8};
    VexoSaveVZMFile32(wide(path).c_str(), 1, 1, 0, 0, pixel);
    EXPECT_EQ(read_bytes(path).size(), 20u);
    EXPECT_EQ(VexoSaveVZMFile32(wide(dir / "missing" / "x.vzm").c_str(), 1, 1, 0, 0, pixel), 0);
}

}  // namespace
}  // namespace efx_test
