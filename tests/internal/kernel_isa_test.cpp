// Every build of the conversion kernels (baseline, AVX2, AVX-512, with and
// without the SSSE3 byte shuffles) and of the histogram bin kernels gives
// the same bytes on the same input: random bit patterns, so NaNs,
// infinities, subnormals and every exponent byte go through each of them.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "frame/byte_shuffle.hpp"
#include "frame/convert.hpp"
#include "frame/isa.hpp"
#include "stats/bin_kernels.hpp"

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

TEST(KernelIsa, EveryBuildGivesTheBaselineBins) {
    std::mt19937 rng(77);
    std::vector<uint8_t> src(static_cast<size_t>(ed::kBinRun) * 8 + 8);
    for (auto& b : src) b = static_cast<uint8_t>(rng());
    std::vector<std::pair<const char*, ed::KernelIsa>> builds;
    if (ed::kernel_isa_supported(ed::KernelIsa::Avx2)) builds.push_back({"avx2", ed::KernelIsa::Avx2});
    if (ed::kernel_isa_supported(ed::KernelIsa::Avx512)) builds.push_back({"avx512", ed::KernelIsa::Avx512});
    // All bins of one kernel over runs of every length a vector body and
    // its tail can take, from every start.
    const auto bins_of = [&](const ed::BinKernels& k, int which) {
        std::vector<uint16_t> all;
        uint8_t b8[ed::kBinRun];
        uint16_t b16[ed::kBinRun];
        for (int n : {1, 7, 15, 16, 17, 63, 64, 65, 200, ed::kBinRun}) {
            const uint8_t* p = src.data() + n % 5;
            switch (which) {
                case 0: k.luma32(p, n, b8); break;
                case 1: k.luma64(p, n, b8); break;
                case 2: k.luma_rgbea(p, n, b8); break;
                case 3: case 4: case 5: case 6: k.byte_of32(p, n, which - 3, b8); break;
                case 7: k.word_of64(p, n, b16); break;
                default: k.channel_rgbea(p, n, which - 8, b8); break;
            }
            for (int j = 0; j < n; ++j) all.push_back(which == 7 ? b16[j] : b8[j]);
        }
        return all;
    };
    for (int which = 0; which < 11; ++which) {
        const auto want = bins_of(*ed::bin_kernels_baseline(), which);
        for (const auto& [name, isa] : builds) {
            ASSERT_TRUE(ed::pin_kernel_isa(isa));
            EXPECT_EQ(want, bins_of(ed::bin_kernels(), which)) << "bin kernel " << which << " built for " << name;
        }
    }
    ed::pin_kernel_isa(ed::best_kernel_isa());
}

TEST(KernelIsa, PinningAnUnsupportedBuildIsRefused) {
    EXPECT_TRUE(ed::pin_kernel_isa(ed::KernelIsa::Baseline));
    EXPECT_EQ(ed::KernelIsa::Baseline, ed::active_kernel_isa());
    if (!ed::kernel_isa_supported(ed::KernelIsa::Avx512)) EXPECT_FALSE(ed::pin_kernel_isa(ed::KernelIsa::Avx512));
    ed::pin_kernel_isa(ed::best_kernel_isa());
    EXPECT_EQ(ed::best_kernel_isa(), ed::active_kernel_isa());
}
