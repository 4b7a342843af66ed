// Throughput of the histogram, range and statistics exports on a 3840x2160
// image, each beside a read-only pass over the same bytes in the same run.
//
// What is measured and how:
//  - The read-only pass sums the image's 64-bit words, split into one
//    contiguous block per OpenMP thread like the kernels' rows, so both
//    sides use the same threads (OMP_NUM_THREADS). Rows "read/N".
//  - Counter "vs_read" = (read-pass seconds) / (member seconds), both the
//    median of single timed runs, a read pass before each call of the
//    member (so a burst of other work on a shared machine hits both
//    sides): 1.0 means the member runs at the speed of merely reading its
//    input.
//  - Counter "target" = the vs_read a member should reach with 2 threads:
//    0.5 for the 8-bit histogram, the channel-range members and the
//    DynamicRange... members (whose serial chain of double additions is
//    rebuilt exactly from chunks walked in parallel); 0 (none) for the rest.
//  - Counter "vs_read_cold": the same ratio with the image's cache lines
//    flushed before each timed read pass and each timed call, so both read
//    it from memory, as a host does with an image it has not just touched.
//    A warm 33 MB image sits mostly in this machine's 32 MB L3, where the
//    read pass runs at L3 speed; the cold ratio shows the member against
//    memory bandwidth.
//  - Every buffer is written before timing and each member runs once
//    untimed first; times are wall-clock.
#include <benchmark/benchmark.h>
#include <omp.h>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "effects/effects.h"
#include "effects/stats.hpp"

namespace {

constexpr int32_t kWidth = 3840, kHeight = 2160;
constexpr int64_t kPixels = int64_t{kWidth} * kHeight;
constexpr int32_t kCount = static_cast<int32_t>(kPixels * 4);

struct Images {
    std::vector<uint8_t> bgra8, rgba16, rgba_float, rgbea;
    Images() : bgra8(kPixels * 4), rgba16(kPixels * 8), rgba_float(kPixels * 16), rgbea(kPixels * 5) {
        std::mt19937 rng(7);
        // A photo-like spread: smooth gradients with noise, a few clipped areas.
        for (int64_t i = 0; i < kPixels; ++i) {
            const int64_t x = i % kWidth, y = i / kWidth;
            for (int k = 0; k < 4; ++k) {
                const int v = static_cast<int>((x * (k + 1) + y * 3) / 32 % 300) + static_cast<int>(rng() % 16) - 8;
                bgra8[4 * i + k] = static_cast<uint8_t>(std::clamp(v, 0, 255));
            }
        }
        uint16_t* w = reinterpret_cast<uint16_t*>(rgba16.data());
        for (int64_t i = 0; i < kPixels * 4; ++i) w[i] = static_cast<uint16_t>(bgra8[i] * 128 + (rng() & 127));
        float* f = reinterpret_cast<float*>(rgba_float.data());
        for (int64_t i = 0; i < kPixels * 4; ++i) f[i] = std::ldexp(bgra8[i] / 255.0f, static_cast<int>(rng() % 8) - 4);
        Convert128RGBAtoRGBEA(kWidth, kHeight, f, rgbea.data());
    }
};
Images& images() {
    static Images im;
    return im;
}

// Evicts buf from every cache level (x86-64; elsewhere the cold rows equal
// the warm ones).
void flush(const std::vector<uint8_t>& buf) {
#if defined(__x86_64__)
    for (size_t i = 0; i < buf.size(); i += 64) _mm_clflush(buf.data() + i);
    _mm_mfence();
#else
    (void)buf;
#endif
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0.0 : v[v.size() / 2];
}

// One parallel read of n bytes; returns its seconds.
double read_pass(const uint8_t* p, int64_t n) {
    const auto t0 = std::chrono::steady_clock::now();
    uint64_t total = 0;
#pragma omp parallel reduction(+ : total)
    {
        const int64_t words = n / 8, t = omp_get_thread_num(), nt = omp_get_num_threads();
        const int64_t b = words * t / nt, e = words * (t + 1) / nt;
        uint64_t s = 0;
        for (int64_t i = b; i < e; ++i) {
            uint64_t v;
            std::memcpy(&v, p + 8 * i, 8);
            s += v;
        }
        total += s;
    }
    benchmark::DoNotOptimize(total);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

void BM_Read(benchmark::State& state, std::vector<uint8_t> Images::*which) {
    const auto& buf = images().*which;
    std::vector<double> t;
    for (auto _ : state) {
        const double s = read_pass(buf.data(), static_cast<int64_t>(buf.size()));
        state.SetIterationTime(s);
        t.push_back(s);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(buf.size()));
}

// Each iteration times one read-only pass and then one call of the member,
// so both medians are taken under the same load of a shared machine.
template <class Fn>
void run_member(benchmark::State& state, const std::vector<uint8_t>& buf, double target, Fn fn) {
    fn();  // untimed warm-up
    const auto timed = [&fn] {
        const auto t0 = std::chrono::steady_clock::now();
        fn();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    };
    std::vector<double> t, r, cold_t, cold_r;
    for (auto _ : state) {
        r.push_back(read_pass(buf.data(), static_cast<int64_t>(buf.size())));
        const double s = timed();
        state.SetIterationTime(s);
        t.push_back(s);
        state.PauseTiming();
        flush(buf);
        cold_r.push_back(read_pass(buf.data(), static_cast<int64_t>(buf.size())));
        flush(buf);
        cold_t.push_back(timed());
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(buf.size()));
    state.counters["vs_read"] = median(std::move(r)) / median(std::move(t));
    state.counters["vs_read_cold"] = median(std::move(cold_r)) / median(std::move(cold_t));
    state.counters["target"] = target;
}

const uint8_t* b8() { return images().bgra8.data(); }
const uint16_t* w16() { return reinterpret_cast<const uint16_t*>(images().rgba16.data()); }
const float* f128() { return reinterpret_cast<const float*>(images().rgba_float.data()); }
const uint8_t* ea() { return images().rgbea.data(); }

struct Sink {
    float hist[256];
    double a, b, c, d;
};
Sink sink;

#define EFFECTS_MEMBER(NAME, BUF, TARGET, CALL)                                     \
    void BM_##NAME(benchmark::State& state) {                                       \
        run_member(state, images().BUF, TARGET, [] { CALL; });                      \
    }                                                                               \
    BENCHMARK(BM_##NAME)->Name(#NAME)->UseManualTime()->Unit(benchmark::kMillisecond)

BENCHMARK_CAPTURE(BM_Read, bgra8, &Images::bgra8)->Name("read/Bgra8")->UseManualTime()->Unit(benchmark::kMillisecond);
EFFECTS_MEMBER(Histogram32Fast, bgra8, 0.5, Histogram32Fast(kCount, b8(), sink.hist, &sink.a, &sink.b, &sink.c, &sink.d));
EFFECTS_MEMBER(Histogram32Lean, bgra8, 0.5, Histogram32Lean(kCount, b8(), sink.hist));
EFFECTS_MEMBER(HistogramChannel32Fast, bgra8, 0.5,
               HistogramChannel32Fast(kCount, b8(), sink.hist, &sink.a, &sink.b, &sink.c, &sink.d, 1));
EFFECTS_MEMBER(DebevecRGBMaxMin32Fast, bgra8, 0.5, DebevecRGBMaxMin32Fast(kWidth, kHeight, b8(), &sink.a, &sink.b));
uint16_t temperature[3];
EFFECTS_MEMBER(DetermineTemperature32, bgra8, 0.0,
               DetermineTemperature32(kCount, b8(), &temperature[0], &temperature[1], &temperature[2]));
EFFECTS_MEMBER(DynamicRange32Fast, bgra8, 0.5, DynamicRange32Fast(kCount, b8(), &sink.a, &sink.b, &sink.c, &sink.d));
EFFECTS_MEMBER(cpp_luminance_histogram_Bgra8, bgra8, 0.0,
               benchmark::DoNotOptimize(effects::luminance_histogram(
                   effects::ImageView<const effects::Bgra8>(images().bgra8.data(), kWidth, kHeight))));

BENCHMARK_CAPTURE(BM_Read, rgba16, &Images::rgba16)->Name("read/Rgba16")->UseManualTime()->Unit(benchmark::kMillisecond);
EFFECTS_MEMBER(Histogram64Fast, rgba16, 0.0, Histogram64Fast(kCount, w16(), sink.hist, &sink.a, &sink.b, &sink.c, &sink.d));
EFFECTS_MEMBER(DebevecRGBMaxMin64Fast, rgba16, 0.5, DebevecRGBMaxMin64Fast(kWidth, kHeight, w16(), &sink.a, &sink.b));
EFFECTS_MEMBER(DynamicRange64Fast, rgba16, 0.5, DynamicRange64Fast(kCount, w16(), &sink.a, &sink.b, &sink.c, &sink.d));

BENCHMARK_CAPTURE(BM_Read, rgbea, &Images::rgbea)->Name("read/Rgbea")->UseManualTime()->Unit(benchmark::kMillisecond);
EFFECTS_MEMBER(Histogram128Lean, rgbea, 0.0, Histogram128Lean(kWidth, kHeight, ea(), sink.hist));
EFFECTS_MEMBER(HistogramChannel128Lean, rgbea, 0.0, HistogramChannel128Lean(kWidth, kHeight, ea(), sink.hist, 0));

BENCHMARK_CAPTURE(BM_Read, rgba_float, &Images::rgba_float)->Name("read/RgbaFloat")->UseManualTime()->Unit(benchmark::kMillisecond);
EFFECTS_MEMBER(DynamicRange128Fast, rgba_float, 0.5, DynamicRange128Fast(kCount, f128(), &sink.a, &sink.b, &sink.c, &sink.d));
EFFECTS_MEMBER(cpp_hdr_range_RgbaFloat, rgba_float, 0.0,
               benchmark::DoNotOptimize(effects::hdr_range(
                   effects::ImageView<const effects::RgbaFloat>(images().rgba_float.data(), kWidth, kHeight))));

}  // namespace

BENCHMARK_MAIN();
