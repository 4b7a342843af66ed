// The kernels behind the DynamicRange... sum: a chunk's deltas against the
// serial chain of double additions started from both parities, ties to even
// included; every instruction-set build against the baseline; and the grid
// that the 8- and 15-bit luminances lie on.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "frame/isa.hpp"
#include "stats/range_sum.hpp"

namespace ed = effects::detail;

namespace {

// The kernel tables this processor runs, the baseline first.
std::vector<const ed::RangeKernels*> builds() {
    std::vector<const ed::RangeKernels*> b;
    for (ed::KernelIsa isa : {ed::KernelIsa::Baseline, ed::KernelIsa::Avx2, ed::KernelIsa::Avx512})
        if (ed::pin_kernel_isa(isa)) b.push_back(&ed::range_kernels());
    ed::pin_kernel_isa(ed::best_kernel_isa());
    return b;
}

// A chunk of values whose chain, started at m0 * G on the grid G = 2^(k-52)
// of binade k, stays inside the binade.
struct Walk {
    int k;
    int64_t m0;
    std::vector<float> v;
    double scale() const { return std::ldexp(1.0, 52 - k); }
    // m after the serial chain of double additions, started from m0 + parity.
    int64_t serial(int parity) const {
        double s = std::ldexp(static_cast<double>(m0 + parity), k - 52);
        for (float x : v) s += static_cast<double>(x);
        return static_cast<int64_t>(std::ldexp(s, 52 - k)) - m0 - parity;
    }
};

enum class Mix { General, Ties, Integral, OnGrid };

// Values of a few kinds, at most 2^(k-16) in size; kind OnGrid: multiples of
// 2^-27 with shift = k - 25 bits below G's point, as the integer members.
Walk make_walk(int k, size_t n, Mix mix, bool negative, std::mt19937& rng) {
    // An even m0, so that m0 + parity starts with that parity.
    Walk w{k, static_cast<int64_t>((int64_t{3} << 51) + 2 * (rng() % (int64_t{1} << 40))) * (negative ? -1 : 1), {}};
    auto random_float = [&](int top) {  // a 24-bit mantissa, at most 2^top
        return std::ldexp(static_cast<float>((rng() & 0xFFFFFF) | 0x800000), top - 24 - static_cast<int>(rng() % 8));
    };
    for (size_t i = 0; i < n; ++i) {
        float x = 0.0f;
        const int pick = static_cast<int>(rng() % 4);
        if (mix == Mix::General || (mix == Mix::Ties && pick == 0)) x = random_float(k - 16);
        if (mix == Mix::Ties && pick != 0)  // an odd multiple of G / 2
            x = std::ldexp(static_cast<float>(2 * (rng() % 4096) + 1), k - 53);
        if (mix == Mix::Integral) x = std::ldexp(static_cast<float>(rng() % 65536), k - 52);
        if (mix == Mix::OnGrid) {
            // Lowest set bit anywhere from 2^-27 up: ties whenever it is G / 2.
            const int low = -27 + static_cast<int>(rng() % static_cast<unsigned>(k - 25 + 4));
            x = std::ldexp(static_cast<float>((rng() & 0x7FFF) | 1), low);
        }
        if (rng() % 3 == 0) x = -x;
        w.v.push_back(x);
    }
    return w;
}

// The exact sum of v / 2^-27 of values on that grid.
int64_t units_of(const std::vector<float>& v) {
    int64_t u = 0;
    for (float x : v) u += static_cast<int64_t>(std::ldexp(static_cast<double>(x), 27));
    return u;
}

}  // namespace

TEST(RangeKernels, StepsAreTheSerialChainFromEitherParity) {
    std::mt19937 rng(77);
    for (const ed::RangeKernels* kern : builds()) {
        for (Mix mix : {Mix::General, Mix::Ties, Mix::Integral, Mix::OnGrid}) {
            for (int k : {26, 30, 33, 40}) {
                for (size_t n : {size_t{1}, size_t{15}, size_t{16}, size_t{17}, size_t{1000}, size_t{4096}}) {
                    const Walk w = make_walk(k, n, mix, rng() % 2 == 0, rng);
                    SCOPED_TRACE("mix " + std::to_string(static_cast<int>(mix)) + ", binade " + std::to_string(k) +
                                 ", " + std::to_string(n) + " values");
                    const ed::ChunkSteps grid = kern->grid_steps(w.v.data(), static_cast<int64_t>(n), w.scale());
                    ASSERT_TRUE(grid.valid);
                    EXPECT_EQ(grid.delta[0], w.serial(0));
                    EXPECT_EQ(grid.delta[1], w.serial(1));
                    if (mix == Mix::OnGrid) {
                        const ed::ChunkSteps fine =
                            kern->fine_steps(w.v.data(), static_cast<int64_t>(n), w.scale(), units_of(w.v), k - 25);
                        ASSERT_TRUE(fine.valid);
                        EXPECT_EQ(fine.delta[0], w.serial(0));
                        EXPECT_EQ(fine.delta[1], w.serial(1));
                    }
                }
            }
        }
    }
}

TEST(RangeKernels, EveryBuildGivesTheBaselineValuesAndSteps) {
    std::mt19937 rng(11);
    std::vector<uint8_t> image(5000 * 16);
    for (auto& b : image) b = static_cast<uint8_t>(rng());
    float* f = reinterpret_cast<float*>(image.data());
    for (size_t i = 0; i < 5000 * 4; ++i)  // finite floats with a few NaN, infinities and negatives
        f[i] = i % 97 == 0 ? NAN
               : i % 89 == 0
                   ? -HUGE_VALF
                   : std::ldexp(static_cast<float>(rng() % 100000) - 20000.0f, static_cast<int>(rng() % 40) - 30);
    const auto all = builds();
    for (int member = 0; member < 3; ++member) {
        for (int64_t n : {1, 15, 16, 17, 33, 4095, 4096}) {
            SCOPED_TRACE("member " + std::to_string(member) + ", " + std::to_string(n) + " pixels");
            std::vector<float> want(n), got(n);
            const ed::ChunkFigures fw = all[0]->values[member](image.data(), n, want.data());
            for (const ed::RangeKernels* kern : all) {
                const ed::ChunkFigures fg = kern->values[member](image.data(), n, got.data());
                EXPECT_EQ(0, std::memcmp(want.data(), got.data(), n * sizeof(float)));
                EXPECT_EQ(0, std::memcmp(&fw.minimum, &fg.minimum, sizeof(float)));
                EXPECT_EQ(0, std::memcmp(&fw.maximum, &fg.maximum, sizeof(float)));
                EXPECT_EQ(0, std::memcmp(&fw.least, &fg.least, sizeof(float)));
                EXPECT_EQ(fw.units, fg.units);
                if (member == 2) continue;  // the float member's sums are estimates
                const ed::ChunkSteps a = all[0]->grid_steps(want.data(), n, 0x1p22);
                const ed::ChunkSteps b = kern->grid_steps(got.data(), n, 0x1p22);
                EXPECT_EQ(a.delta[0], b.delta[0]);
                EXPECT_EQ(a.delta[1], b.delta[1]);
                const ed::ChunkSteps c = kern->fine_steps(got.data(), n, 0x1p22, fg.units, 5);
                EXPECT_EQ(a.delta[0], c.delta[0]);
                EXPECT_EQ(a.delta[1], c.delta[1]);
            }
        }
    }
}

TEST(RangeKernels, IntegerLuminancesLieOnTheGridOfTwoToMinus27) {
    // Every pixel of bytes, and signed words at random and at the extremes:
    // v * 2^27 is an integer of at most 43 bits.
    auto on_grid = [](float v) {
        const double t = std::ldexp(static_cast<double>(v), 27);
        return t == std::floor(t) && std::fabs(t) <= ed::kRangeStepLimit;
    };
    int64_t off = 0;
    uint8_t p[4] = {0, 0, 0, 0};
    for (uint32_t c = 0; c < (1u << 24); ++c) {
        p[0] = static_cast<uint8_t>(c), p[1] = static_cast<uint8_t>(c >> 8), p[2] = static_cast<uint8_t>(c >> 16);
        off += !on_grid(ed::RangeOfBytes::value(p));
    }
    std::mt19937 rng(3);
    const int16_t edges[] = {-32768, -32767, -1, 0, 1, 32766, 32767};
    for (int i = 0; i < (1 << 22); ++i) {
        int16_t w[4];
        for (int k = 0; k < 3; ++k)
            w[k] = i < 343 ? edges[(i / (k == 0   ? 1
                                         : k == 1 ? 7
                                                  : 49)) %
                                   7]
                           : static_cast<int16_t>(rng() >> (rng() % 17));
        off += !on_grid(ed::RangeOfWords::value(reinterpret_cast<const uint8_t*>(w)));
    }
    EXPECT_EQ(off, 0);
}
