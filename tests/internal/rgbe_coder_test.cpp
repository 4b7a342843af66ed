// The byte-run coder of the Radiance writers against the rule written out
// step by step (the search that steps over groups of equal bytes), on
// planes of every kind of content; and its output bound.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "io/rgbe_pixels.hpp"

namespace {

// The rule as it reads: minimum run 4, runs of at most 127, literal blocks
// of at most 128, and a short run just before a long run.
std::vector<uint8_t> reference_encode(const std::vector<uint8_t>& d) {
    std::vector<uint8_t> out;
    const size_t n = d.size();
    size_t cur = 0;
    while (cur < n) {
        size_t beg = cur, run = 0, old = 0;
        while (run < 4 && beg < n) {
            beg += run;
            old = run;
            run = 1;
            while (beg + run < n && run < 127 && d[beg] == d[beg + run]) ++run;
        }
        if (old > 1 && old == beg - cur) {
            out.push_back(static_cast<uint8_t>(128 + old));
            out.push_back(d[cur]);
            cur = beg;
        }
        while (cur < beg) {
            const size_t k = std::min<size_t>(beg - cur, 128);
            out.push_back(static_cast<uint8_t>(k));
            out.insert(out.end(), d.begin() + static_cast<long>(cur), d.begin() + static_cast<long>(cur + k));
            cur += k;
        }
        if (run >= 4) {
            out.push_back(static_cast<uint8_t>(128 + run));
            out.push_back(d[beg]);
            cur += run;
        }
    }
    return out;
}

std::vector<uint8_t> encode(const std::vector<uint8_t>& d) {
    std::vector<uint8_t> out(effects::detail::byte_run_bound(d.size()) + 64, 0xEE);
    const size_t used = effects::detail::byte_run_encode(d.data(), d.size(), out.data());
    EXPECT_LE(used, effects::detail::byte_run_bound(d.size()));
    for (size_t i = used; i < out.size(); ++i) EXPECT_EQ(out[i], 0xEE);
    out.resize(used);
    return out;
}

TEST(RgbeCoder, MatchesTheStepwiseRuleOnEveryKindOfPlane) {
    std::mt19937 rng(1234);
    for (int trial = 0; trial < 20000; ++trial) {
        const size_t n = rng() % 400;
        const int alphabet = 1 + static_cast<int>(rng() % 4 == 0 ? 255 : rng() % 4);
        const int stickiness = static_cast<int>(rng() % 10);  // chance in 10 to repeat the byte before
        std::vector<uint8_t> d(n);
        for (size_t i = 0; i < n; ++i)
            d[i] = i > 0 && static_cast<int>(rng() % 10) < stickiness ? d[i - 1] : static_cast<uint8_t>(rng() % alphabet);
        ASSERT_EQ(encode(d), reference_encode(d)) << "trial " << trial << " n " << n;
    }
}

TEST(RgbeCoder, EdgesOfRunsAndBlocks) {
    for (size_t n : {0u, 1u, 2u, 3u, 4u, 5u, 127u, 128u, 129u, 254u, 255u, 256u, 1000u}) {
        ASSERT_EQ(encode(std::vector<uint8_t>(n, 9)), reference_encode(std::vector<uint8_t>(n, 9))) << n;
        std::vector<uint8_t> distinct(n);
        for (size_t i = 0; i < n; ++i) distinct[i] = static_cast<uint8_t>(i * 7);
        ASSERT_EQ(encode(distinct), reference_encode(distinct)) << n;
    }
    // Short groups at the end of a plane are a run when they stand alone.
    EXPECT_EQ(encode({5, 5}), (std::vector<uint8_t>{130, 5}));
    EXPECT_EQ(encode({5, 5, 5}), (std::vector<uint8_t>{131, 5}));
    EXPECT_EQ(encode({1, 5, 5, 5}), (std::vector<uint8_t>{4, 1, 5, 5, 5}));
}

}  // namespace
