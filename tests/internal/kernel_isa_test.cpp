// Every build of the conversion kernels (baseline, AVX2, AVX-512, with and
// without the SSSE3 byte shuffles) gives the same bytes on the same input:
// random bit patterns, so NaNs, infinities, subnormals and every exponent
// byte go through each of them.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "frame/byte_shuffle.hpp"
#include "frame/convert.hpp"
#include "frame/isa.hpp"

namespace ed = effects::detail;

namespace {


// Runs one kernel over `pixels` pixels of random source bytes, split into
// calls of awkward lengths so that vector bodies and tails both run.
std::vector<uint8_t> run_kernel(const ed::ConversionKernel* table, int id, const std::vector<uint8_t>& src,
                                int64_t pixels) {
    const ed::ConversionKernel& k = table[id];
    std::vector<uint8_t> dst(static_cast<size_t>(pixels * k.dst_bytes_per_pixel) + 64, 0x5A);
    int64_t done = 0;
    for (int64_t len : {1, 3, 16, 17, 31, 64, 255, 256, 257, 1000}) {
        if (done + len > pixels) break;
        k.pixels(src.data() + done * k.src_bytes_per_pixel, dst.data() + done * k.dst_bytes_per_pixel, len);
        done += len;
    }
    k.pixels(src.data() + done * k.src_bytes_per_pixel, dst.data() + done * k.dst_bytes_per_pixel, pixels - done);
    return dst;
}

}  // namespace

TEST(KernelIsa, EveryBuildGivesTheBaselineBytes) {
    const int64_t pixels = 5000;
    std::mt19937 rng(2024);
    std::vector<uint8_t> src(static_cast<size_t>(pixels) * 16 + 64);
    for (auto& b : src) b = static_cast<uint8_t>(rng());

    std::vector<std::pair<const char*, ed::KernelIsa>> builds = {{"baseline", ed::KernelIsa::Baseline}};
    if (ed::kernel_isa_supported(ed::KernelIsa::Avx2)) builds.push_back({"avx2", ed::KernelIsa::Avx2});
    if (ed::kernel_isa_supported(ed::KernelIsa::Avx512)) builds.push_back({"avx512", ed::KernelIsa::Avx512});

    for (int id = EFFECTS_CONVERT_64_TO_32; id <= EFFECTS_CONVERT_RGBE_TO_128_GAMMA; ++id) {
        ed::set_byte_shuffle_vectors(false);
        const std::vector<uint8_t> want = run_kernel(ed::conversion_kernels_baseline(), id, src, pixels);
        for (bool shuffles : {false, true}) {
            ed::set_byte_shuffle_vectors(shuffles);
            for (const auto& [name, isa] : builds) {
                ASSERT_TRUE(ed::pin_kernel_isa(isa));
                const ed::ConversionKernel* k = ed::conversion_kernel(id);
                const std::vector<uint8_t> got = run_kernel(k - id, id, src, pixels);
                EXPECT_EQ(0, std::memcmp(want.data(), got.data(), want.size()))
                    << "conversion " << id << " built for " << name << (shuffles ? " with" : " without")
                    << " byte shuffles";
            }
        }
    }
    ed::set_byte_shuffle_vectors(true);
    ed::pin_kernel_isa(ed::best_kernel_isa());
}

TEST(KernelIsa, PinningAnUnsupportedBuildIsRefused) {
    EXPECT_TRUE(ed::pin_kernel_isa(ed::KernelIsa::Baseline));
    EXPECT_EQ(ed::KernelIsa::Baseline, ed::active_kernel_isa());
    if (!ed::kernel_isa_supported(ed::KernelIsa::Avx512)) EXPECT_FALSE(ed::pin_kernel_isa(ed::KernelIsa::Avx512));
    ed::pin_kernel_isa(ed::best_kernel_isa());
    EXPECT_EQ(ed::best_kernel_isa(), ed::active_kernel_isa());
}
