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

enum class Member { Bytes, Words, Floats };
constexpr size_t kPixelBytes[] = {4, 8, 16};

float value_of(Member m, const uint8_t* p) {
    if (m == Member::Bytes) return p[0] * kB + p[2] * kR + p[1] * kG;
    if (m == Member::Words) {
        int16_t w[3];
        std::memcpy(w, p, sizeof w);
        return static_cast<float>(w[0]) * kB + static_cast<float>(w[2]) * kR + static_cast<float>(w[1]) * kG;
    }
    float c[3];
    std::memcpy(c, p, sizeof c);
    const float l = c[0] * kB + c[2] * kR + c[1] * kG;
    return l < 1e-8f ? 1e-8f : l;
}

struct Figures {
    double mn, mx, second, sum;
};
bool same_bits(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

Figures serial(Member m, const std::vector<uint8_t>& img) {
    Figures f{1e10, 1e-10, 1e10, 0.0};
    for (size_t i = 0; i < img.size() / kPixelBytes[static_cast<int>(m)]; ++i) {
        const double v = value_of(m, img.data() + i * kPixelBytes[static_cast<int>(m)]);
        if (v < f.mn) f.second = f.mn, f.mn = v;
        if (v > f.mx) f.mx = v;
        f.sum += v;
    }
    return f;
}

Figures call(Member m, const std::vector<uint8_t>& img) {
    const int32_t count = static_cast<int32_t>(img.size() / kPixelBytes[static_cast<int>(m)] * 4);
    Figures f{0, 0, 7.0, 0};
    int32_t r = 0;
    if (m == Member::Bytes) r = DynamicRange32Fast(count, img.data(), &f.mn, &f.mx, &f.second, &f.sum);
    if (m == Member::Words)
        r = DynamicRange64Fast(count, reinterpret_cast<const uint16_t*>(img.data()), &f.mn, &f.mx, &f.second, &f.sum);
    if (m == Member::Floats)
        r = DynamicRange128Fast(count, reinterpret_cast<const float*>(img.data()), &f.mn, &f.mx, &f.second, &f.sum);
    EXPECT_EQ(r, count);
    return f;
}

// Appends pixels and follows the chain, so that a case can aim at the grid
// of the sum as it grows.
struct Builder {
    Member m;
    std::vector<uint8_t> img;
    double sum = 0.0;

    void add(const void* channels, size_t size) {
        const size_t at = img.size();
        img.resize(at + kPixelBytes[static_cast<int>(m)], 0x5A);  // the fourth channel is never read
        std::memcpy(img.data() + at, channels, size);
        sum += value_of(m, img.data() + at);
    }
    void add_ints(int c0, int c1, int c2) {
        if (m == Member::Bytes) {
            const uint8_t c[3] = {static_cast<uint8_t>(c0), static_cast<uint8_t>(c1), static_cast<uint8_t>(c2)};
            add(c, sizeof c);
        } else {
            const int16_t c[3] = {static_cast<int16_t>(c0), static_cast<int16_t>(c1), static_cast<int16_t>(c2)};
            add(c, sizeof c);
        }
    }
    void add_floats(float c0, float c1, float c2) {
        const float c[3] = {c0, c1, c2};
        add(c, sizeof c);
    }
    // Lowest set bit of v / 2^-27, the grid of every 8- and 15-bit luminance.
    static int low_bit(double v) { return std::countr_zero(static_cast<uint64_t>(std::fabs(std::ldexp(v, 27)))); }
    // The sum's grid is 2^(k - 52) in binade k; a value is a tie there when
    // its lowest set bit is at half of it.
    int tie_bit() const { return std::ilogb(sum) - 53 + 27; }
};

// Pixels of the integer members by the lowest set bit of their luminance.
std::map<int, std::array<int, 3>> tie_pixels(Member m) {
    std::map<int, std::array<int, 3>> found;
    std::mt19937 rng(1234);
    Builder b{m, {}, 0.0};
    for (int i = 0; i < 200000 && found.size() < 16; ++i) {
        const int top = m == Member::Bytes ? 256 : 32768;
        auto pick = [&] { return static_cast<int>(rng() % top) >> (rng() % 16); };
        const std::array<int, 3> c = {pick(), pick(), pick()};
        b.img.clear();
        b.add_ints(c[0], c[1], c[2]);
        const double v = value_of(m, b.img.data());
        if (v != 0.0 && Builder::low_bit(v) < 16) found.emplace(Builder::low_bit(v), c);
    }
    return found;
}

// A float pixel whose luminance is an odd multiple of 2^bit, of 24 bits
// (c0 = c2 = 0, so the luminance is the rounded product c1 * 0.7154).
std::array<float, 3> odd_multiple(int bit, std::mt19937& rng) {
    for (;;) {
        const float target = std::ldexp(static_cast<float>((rng() % (1u << 22)) * 2 + (1u << 23) + 1), bit);
        float c1 = target / kG;
        for (int step = 0; step < 4; ++step) c1 = std::nextafter(c1, 0.0f);
        for (int step = 0; step < 8; ++step, c1 = std::nextafter(c1, HUGE_VALF))
            if (c1 * kG == target) return {0.0f, c1, 0.0f};
    }
}

using Make = std::function<void(Builder&, std::mt19937&)>;
struct Case {
    const char* name;
    Member member;
    Make make;
};
void PrintTo(const Case& c, std::ostream* os) {
    *os << c.name;
}

// Random channels, n pixels.
Make random_pixels(size_t n) {
    return [n](Builder& b, std::mt19937& rng) {
        for (size_t i = 0; i < n; ++i) {
            if (b.m == Member::Bytes) b.add_ints(rng() & 255, rng() & 255, rng() & 255);
            if (b.m == Member::Words) b.add_ints(rng() & 0xFFFF, rng() & 0xFFFF, rng() & 0xFFFF);
            if (b.m == Member::Floats) {
                auto f = [&] {
                    return std::ldexp(static_cast<float>(rng() % 1000) / 1000.0f, static_cast<int>(rng() % 12) - 6);
                };
                b.add_floats(f(), f(), f());
            }
        }
    };
}

// Bulk pixels of up to `top` (negative from pixel `turn` on) with, every
// third pixel, one whose luminance is a tie on the sum's grid at that point.
Make ties_everywhere(size_t n, int top, size_t turn) {
    return [=](Builder& b, std::mt19937& rng) {
        const auto ties = b.m == Member::Floats ? std::map<int, std::array<int, 3>>{} : tie_pixels(b.m);
        for (size_t i = 0; i < n; ++i) {
            const int sign = i < turn ? 1 : -1;
            if (i % 3 == 2 && b.sum != 0.0) {
                if (b.m == Member::Floats && std::ldexp(1.0, b.tie_bit() - 27 + 23) > 1e-8) {
                    const auto c = odd_multiple(b.tie_bit() - 27, rng);
                    b.add_floats(c[0], c[1], c[2]);
                    continue;
                }
                const auto it = ties.find(b.tie_bit());
                if (it != ties.end()) {
                    b.add_ints(sign * it->second[0], sign * it->second[1], sign * it->second[2]);
                    continue;
                }
            }
            const int c = static_cast<int>(rng() % static_cast<unsigned>(top));
            if (b.m == Member::Floats)
                b.add_floats(static_cast<float>(c), static_cast<float>(c), static_cast<float>(c));
            else
                b.add_ints(sign * c, sign * c, sign * c);
        }
    };
}

// `count` pixels of one value, after `lead` bulk pixels of `top`.
Make run_of(size_t lead, int top, std::array<int, 3> c, size_t count) {
    return [=](Builder& b, std::mt19937&) {
        for (size_t i = 0; i < lead; ++i) b.add_ints(top, top, top);
        for (size_t i = 0; i < count; ++i) b.add_ints(c[0], c[1], c[2]);
    };
}

// Random floats, a special value at pixel `at` (a fraction of n) on channel `channel`.
Make floats_with(size_t n, double at, float special, float second = 0.0f) {
    return [=](Builder& b, std::mt19937& rng) {
        const size_t k = static_cast<size_t>(at * static_cast<double>(n - 1));
        for (size_t i = 0; i < n; ++i) {
            const float c = std::ldexp(static_cast<float>(rng() % 1000 + 1), static_cast<int>(rng() % 20) - 10);
            if (i == k)
                b.add_floats(special, c, c);
            else if (second != 0.0f && i == k + n / 4)
                b.add_floats(second, c, c);
            else
                b.add_floats(c, c, c);
        }
    };
}

// Floats whose luminances span 1e-8 .. 1e30.
Make wide_floats(size_t n) {
    return [n](Builder& b, std::mt19937& rng) {
        std::uniform_real_distribution<double> decade(-8.0, 30.0);
        for (size_t i = 0; i < n; ++i) {
            const float c = static_cast<float>(std::pow(10.0, decade(rng)));
            b.add_floats(c, i % 2 ? c : 0.0f, c);
        }
    };
}

const Case kCases[] = {
    {"bytes 1", Member::Bytes, random_pixels(1)},
    {"bytes 7", Member::Bytes, random_pixels(7)},
    {"bytes 4097", Member::Bytes, random_pixels(4097)},
    {"bytes 3840x2160", Member::Bytes, random_pixels(3840 * 2160)},
    {"words 1", Member::Words, random_pixels(1)},
    {"words 7", Member::Words, random_pixels(7)},
    {"words 4097", Member::Words, random_pixels(4097)},
    {"floats 1", Member::Floats, random_pixels(1)},
    {"floats 7", Member::Floats, random_pixels(7)},
    {"floats 4097", Member::Floats, random_pixels(4097)},
    {"bytes ties to 2^29", Member::Bytes, ties_everywhere(4000000, 256, SIZE_MAX)},
    {"words ties to 2^33", Member::Words, ties_everywhere(600000, 32768, SIZE_MAX)},
    {"words ties up, through zero, negative", Member::Words, ties_everywhere(600000, 32768, 200000)},
    {"floats ties", Member::Floats, ties_everywhere(300000, 1 << 20, SIZE_MAX)},
    {"bytes run of white past 2^26", Member::Bytes, run_of(0, 0, {255, 255, 255}, 300000)},
    {"words run of white past 2^32", Member::Words, run_of(0, 0, {32767, 32767, 32767}, 150000)},
    {"words run of a tie at every step", Member::Words, run_of(5000, 32767, {1, 0, 0}, 60000)},
    {"words run of black below white", Member::Words, run_of(20000, -32768, {-1, -1, -1}, 60000)},
    {"floats 1e-8 to 1e30", Member::Floats, wide_floats(200000)},
    {"floats falling to the last pixel", Member::Floats,
     [](Builder& b, std::mt19937&) {
         for (int i = 20000; i > 0; --i) b.add_floats(static_cast<float>(i), 1.0f, 1.0f);
     }},
    {"floats NaN first", Member::Floats, floats_with(50000, 0.0, NAN)},
    {"floats NaN middle", Member::Floats, floats_with(50000, 0.5, NAN)},
    {"floats NaN last", Member::Floats, floats_with(50000, 1.0, NAN)},
    {"floats plus inf first", Member::Floats, floats_with(50000, 0.0, HUGE_VALF)},
    {"floats plus inf middle", Member::Floats, floats_with(50000, 0.5, HUGE_VALF)},
    {"floats plus inf last", Member::Floats, floats_with(50000, 1.0, HUGE_VALF)},
    {"floats plus inf then NaN", Member::Floats, floats_with(50000, 0.25, HUGE_VALF, NAN)},
    {"floats minus inf middle", Member::Floats, floats_with(50000, 0.5, -HUGE_VALF)},
    {"bytes all zero", Member::Bytes, run_of(0, 0, {0, 0, 0}, 9000)},
    {"words all zero", Member::Words, run_of(0, 0, {0, 0, 0}, 9000)},
    {"floats all zero", Member::Floats,
     [](Builder& b, std::mt19937&) {
         for (int i = 0; i < 9000; ++i) b.add_floats(0.0f, 0.0f, 0.0f);
     }},
};

class DynamicRange : public ::testing::TestWithParam<Case> {
protected:
    void SetUp() override { threads_ = omp_get_max_threads(); }
    void TearDown() override { omp_set_num_threads(threads_); }
    int threads_ = 1;
};

TEST_P(DynamicRange, MatchesTheSerialWalk) {
    const Case& c = GetParam();
    std::mt19937 rng(2024);
    Builder b{c.member, {}, 0.0};
    c.make(b, rng);
    const Figures want = serial(c.member, b.img);
    for (int threads : {1, 2, 7}) {
        SCOPED_TRACE(std::to_string(threads) + " threads");
        omp_set_num_threads(threads);
        const Figures got = call(c.member, b.img);
        EXPECT_TRUE(same_bits(got.sum, want.sum)) << got.sum << " vs " << want.sum;
        EXPECT_TRUE(same_bits(got.mn, want.mn)) << got.mn << " vs " << want.mn;
        EXPECT_TRUE(same_bits(got.mx, want.mx)) << got.mx << " vs " << want.mx;
        if (c.member == Member::Floats)
            EXPECT_TRUE(same_bits(got.second, want.second)) << got.second << " vs " << want.second;
        else
            EXPECT_EQ(got.second, 7.0);  // the unused pointer is not written
    }
}

INSTANTIATE_TEST_SUITE_P(Images, DynamicRange, ::testing::ValuesIn(kCases), [](const auto& info) {
    std::string name = info.param.name;
    for (char& ch : name)
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
    return name;
});

}  // namespace
