// The DynamicRange... exports against a plain serial walk (each pixel's
// luminance added in double, in pixel order) at zero difference, on images
// built to stress the chained sum: ties to even in every binade the sum
// passes, long runs of one value, signed sums that climb, fall through zero
// and turn negative, floats over 38 decades, NaN and infinities at the
// start, middle and end; each with 1, 2 and 7 threads.
#include <gtest/gtest.h>
#include <omp.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "effects/effects.h"

namespace {

constexpr float kB = 0.0721f, kG = 0.7154f, kR = 0.2125f;
enum Member { Bytes, Words, Floats };
constexpr size_t kPixelBytes[] = {4, 8, 16};

float value_of(Member m, const uint8_t* p) {
    if (m == Bytes) return p[0] * kB + p[2] * kR + p[1] * kG;
    if (m == Words) {
        int16_t w[3];
        std::memcpy(w, p, sizeof w);
        return static_cast<float>(w[0]) * kB + static_cast<float>(w[2]) * kR + static_cast<float>(w[1]) * kG;
    }
    float c[3];
    std::memcpy(c, p, sizeof c);
    const float l = c[0] * kB + c[2] * kR + c[1] * kG;
    return l < 1e-8f ? 1e-8f : l;
}

// Pixels appended one by one while the chain is followed, so that a case can
// aim at the grid of the sum as it grows.
struct Image {
    Member m;
    std::vector<uint8_t> bytes;
    double sum = 0.0;

    void add(float c0, float c1, float c2) {
        const size_t at = bytes.size();
        bytes.resize(at + kPixelBytes[m], 0x5A);  // the fourth channel is never read
        const float c[3] = {c0, c1, c2};
        for (int k = 0; k < 3; ++k) {
            const auto w = static_cast<int16_t>(c[k]);
            if (m == Bytes) bytes[at + k] = static_cast<uint8_t>(c[k]);
            if (m == Words) std::memcpy(&bytes[at + 2 * k], &w, 2);
            if (m == Floats) std::memcpy(&bytes[at + 4 * k], &c[k], 4);
        }
        sum += value_of(m, bytes.data() + at);
    }
    // The sum's grid is 2^(k - 52) in binade k: the bit (of 2^-27 for the
    // integer members, which all lie on it) where a value is a tie.
    int tie_bit() const { return std::ilogb(sum) - 53 + (m == Floats ? 0 : 27); }
};

// Integer pixels by the lowest set bit of their luminance in steps of 2^-27.
std::map<int, std::array<float, 3>> tie_pixels(Member m) {
    std::map<int, std::array<float, 3>> found;
    std::mt19937 rng(1234);
    for (int i = 0; i < 200000 && found.size() < 16; ++i) {
        auto pick = [&] {
            return static_cast<float>(static_cast<int>(rng() % (m == Bytes ? 256 : 32768)) >> (rng() % 16));
        };
        Image one{m, {}};
        const std::array<float, 3> c = {pick(), pick(), pick()};
        one.add(c[0], c[1], c[2]);
        if (one.sum != 0.0) found.emplace(std::countr_zero(static_cast<uint64_t>(std::ldexp(one.sum, 27))), c);
    }
    return found;
}

// Float channels whose luminance (c1 * 0.7154 rounded) is an odd multiple
// of 2^bit of 24 bits.
std::array<float, 3> odd_multiple(int bit, std::mt19937& rng) {
    for (;;) {
        const float target = std::ldexp(static_cast<float>((rng() % (1u << 22)) * 2 + (1u << 23) + 1), bit);
        float c1 = std::nextafter(std::nextafter(target / kG, 0.0f), 0.0f);
        for (; c1 * kG < target; c1 = std::nextafter(c1, HUGE_VALF)) {
        }
        if (c1 * kG == target) return {0.0f, c1, 0.0f};
    }
}

using Make = std::function<void(Image&, std::mt19937&)>;
struct Case {
    const char* name;
    Member member;
    Make make;
};
void PrintTo(const Case& c, std::ostream* os) {
    *os << c.name;
}

Make random_pixels(size_t n) {
    return [n](Image& im, std::mt19937& rng) {
        auto c = [&] {
            if (im.m == Floats) return std::ldexp(static_cast<float>(rng() % 1000), static_cast<int>(rng() % 12) - 16);
            return static_cast<float>(im.m == Words ? static_cast<int>(rng() % 65536) - 32768
                                                    : static_cast<int>(rng() % 256));
        };
        for (size_t i = 0; i < n; ++i) im.add(c(), c(), c());
    };
}

// Grey pixels of up to `top` (negative from pixel `turn` on) and, every third
// pixel, one whose luminance is a tie on the sum's grid at that point.
Make ties_everywhere(size_t n, int top, size_t turn) {
    return [=](Image& im, std::mt19937& rng) {
        const auto ties = tie_pixels(im.m);
        for (size_t i = 0; i < n; ++i) {
            const float sign = i < turn ? 1.0f : -1.0f;
            const auto it = im.sum == 0.0 ? ties.end() : ties.find(im.tie_bit());
            if (i % 3 == 2 && im.m == Floats && im.sum > 16.0) {  // ties above 1e-8
                const auto c = odd_multiple(im.tie_bit(), rng);
                im.add(c[0], c[1], c[2]);
            } else if (i % 3 == 2 && im.m != Floats && it != ties.end()) {
                im.add(sign * it->second[0], sign * it->second[1], sign * it->second[2]);
            } else {
                const float c = sign * static_cast<float>(rng() % static_cast<unsigned>(top));
                im.add(c, c, c);
            }
        }
    };
}

// `count` pixels (c0, c1, c2) after `lead` grey pixels of `top`.
Make run_of(size_t lead, float top, float c0, float c1, float c2, size_t count) {
    return [=](Image& im, std::mt19937&) {
        for (size_t i = 0; i < lead; ++i) im.add(top, top, top);
        for (size_t i = 0; i < count; ++i) im.add(c0, c1, c2);
    };
}

// Floats of 10^lo .. 10^hi, with `special` in channel 0 of the pixels at the
// fractions `at` of the image.
Make floats(size_t n, double lo, double hi, float special = 0.0f, std::vector<double> at = {}) {
    return [=](Image& im, std::mt19937& rng) {
        std::uniform_real_distribution<double> decade(lo, hi);
        for (size_t i = 0; i < n; ++i) {
            const float c = static_cast<float>(std::pow(10.0, decade(rng)));
            bool hit = false;
            for (double a : at) hit = hit || i == static_cast<size_t>(a * static_cast<double>(n - 1));
            im.add(hit ? special : c, i % 2 ? c : 0.0f, c);
        }
    };
}

const Case kCases[] = {
    {"bytes 1", Bytes, random_pixels(1)},
    {"bytes 7", Bytes, random_pixels(7)},
    {"bytes 4097", Bytes, random_pixels(4097)},
    {"bytes 3840x2160", Bytes, random_pixels(3840 * 2160)},
    {"words 1", Words, random_pixels(1)},
    {"words 7", Words, random_pixels(7)},
    {"words 4097", Words, random_pixels(4097)},
    {"floats 1", Floats, random_pixels(1)},
    {"floats 7", Floats, random_pixels(7)},
    {"floats 4097", Floats, random_pixels(4097)},
    {"bytes ties to 2^29", Bytes, ties_everywhere(4000000, 256, SIZE_MAX)},
    {"words ties to 2^33", Words, ties_everywhere(600000, 32768, SIZE_MAX)},
    {"words ties up through zero to negative", Words, ties_everywhere(600000, 32768, 200000)},
    {"floats ties", Floats, ties_everywhere(300000, 1 << 20, SIZE_MAX)},
    {"bytes run of white past 2^26", Bytes, run_of(0, 0, 255, 255, 255, 300000)},
    {"words run of white past 2^32", Words, run_of(0, 0, 32767, 32767, 32767, 150000)},
    {"words run of a tie at every step", Words, run_of(5000, 32767, 1, 0, 0, 60000)},
    {"words run of black below white", Words, run_of(20000, -32768, -1, -1, -1, 60000)},
    {"floats minimum at the last pixel", Floats, run_of(20000, 1e6f, 1e-9f, 1e-9f, 1e-9f, 1)},
    {"floats 1e-8 to 1e30", Floats, floats(200000, -8.0, 30.0)},
    {"floats NaN first", Floats, floats(50000, -3.0, 3.0, NAN, {0.0})},
    {"floats NaN middle", Floats, floats(50000, -3.0, 3.0, NAN, {0.5})},
    {"floats NaN last", Floats, floats(50000, -3.0, 3.0, NAN, {1.0})},
    {"floats plus inf first", Floats, floats(50000, -3.0, 3.0, HUGE_VALF, {0.0})},
    {"floats plus inf middle", Floats, floats(50000, -3.0, 3.0, HUGE_VALF, {0.5})},
    {"floats plus inf last", Floats, floats(50000, -3.0, 3.0, HUGE_VALF, {1.0})},
    {"floats minus inf", Floats, floats(50000, -3.0, 3.0, -HUGE_VALF, {0.0, 0.5, 1.0})},
    {"floats plus inf then NaN", Floats,
     [](Image& im, std::mt19937& rng) {
         floats(30000, -3.0, 3.0, HUGE_VALF, {0.2})(im, rng);
         floats(30000, -3.0, 3.0, NAN, {0.7})(im, rng);
     }},
    {"bytes all zero", Bytes, run_of(0, 0, 0, 0, 0, 9000)},
    {"words all zero", Words, run_of(0, 0, 0, 0, 0, 9000)},
    {"floats all zero", Floats, run_of(0, 0, 0, 0, 0, 9000)},
};

class DynamicRange : public ::testing::TestWithParam<Case> {
protected:
    void TearDown() override { omp_set_num_threads(threads_); }
    int threads_ = omp_get_max_threads();
};

bool same_bits(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST_P(DynamicRange, MatchesTheSerialWalk) {
    const Case& c = GetParam();
    std::mt19937 rng(2024);
    Image im{c.member, {}};
    c.make(im, rng);
    const size_t pixels = im.bytes.size() / kPixelBytes[c.member];
    double want[4] = {1e10, 1e-10, 1e10, 0.0};  // minimum, maximum, second minimum, sum
    for (size_t i = 0; i < pixels; ++i) {
        const double v = value_of(c.member, im.bytes.data() + i * kPixelBytes[c.member]);
        if (v < want[0]) want[2] = want[0], want[0] = v;
        if (v > want[1]) want[1] = v;
        want[3] += v;
    }
    for (int threads : {1, 2, 7}) {
        SCOPED_TRACE(std::to_string(threads) + " threads");
        omp_set_num_threads(threads);
        const int32_t count = static_cast<int32_t>(pixels * 4);
        double got[4] = {0, 0, 7.0, 0};
        const void* p = im.bytes.data();
        const int32_t r =
            c.member == Bytes
                ? DynamicRange32Fast(count, static_cast<const uint8_t*>(p), &got[0], &got[1], &got[2], &got[3])
            : c.member == Words
                ? DynamicRange64Fast(count, static_cast<const uint16_t*>(p), &got[0], &got[1], &got[2], &got[3])
                : DynamicRange128Fast(count, static_cast<const float*>(p), &got[0], &got[1], &got[2], &got[3]);
        EXPECT_EQ(r, count);
        if (c.member != Floats) want[2] = 7.0;  // the unused pointer is not written
        for (int k = 0; k < 4; ++k) EXPECT_TRUE(same_bits(got[k], want[k])) << k << ": " << got[k] << " vs " << want[k];
    }
}

INSTANTIATE_TEST_SUITE_P(Images, DynamicRange, ::testing::ValuesIn(kCases), [](const auto& info) {
    std::string name = info.param.name;
    for (char& ch : name)
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
    return name;
});

}  // namespace
