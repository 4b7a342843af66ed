// Throughput of every pixel-format conversion export of libeffects on a
// 3840x2160 image, each set against a memcpy that moves the same memory
// traffic, so the conversions that should run at memory speed can be judged.
//
// What is measured and how:
//  - Traffic of a conversion = source image bytes + destination image bytes
//    (bytes read + bytes written). SetBytesProcessed reports that traffic, so
//    the bytes_per_second column is memory traffic per second.
//  - The baseline is a memcpy of N = (src_bytes + dst_bytes) / 2 bytes: it
//    reads N and writes N, the same total traffic as the conversion. It is
//    split into one contiguous block per OpenMP thread, exactly like the
//    kernels split their rows, so both sides use the same thread count
//    (OMP_NUM_THREADS, default all cores). Its rows are named "memcpy/N".
//  - Counter "vs_memcpy" = conversion throughput / memcpy throughput, i.e.
//    (memcpy seconds per copy) / (conversion seconds per call), both taken as
//    the median of the single iterations: on a shared machine a burst of
//    other work during one of the two loops would otherwise decide a ratio
//    of means, and the fastest iteration alone proved just as erratic. (The
//    GB/s column stays Google Benchmark's mean.) The memcpy time
//    of each size is measured once per run and cached: by the "memcpy/N" row
//    registered just before the first conversion of that size, or, when that
//    row is filtered out, by the conversion itself before its timed loop.
//  - Counter "faults/iter" = minor page faults (getrusage ru_minflt, whole
//    process) during the timed loop, per iteration. Every buffer is
//    allocated and written once before any timing, and each benchmark makes
//    one untimed warm-up call, so a healthy kernel shows 0 here.
//  - Counter "target" = the vs_memcpy a conversion should reach: 0.9 for the
//    plain channel maps and the RGBE decoders, 0.5 for the RGBE encoders,
//    0 (none) for the two gamma members, whose pow per channel makes them
//    compute-bound.
//  - Times are wall-clock (UseRealTime): the kernels run on an OpenMP team.
//
// Source images are seeded random data: floats mostly in [0, 4) with about
// one value in 1024 in [4, 16384) (HDR highlights), float alpha in [0, 1);
// 16-bit words within their format's range; Rgbe/Rgbea pixels properly
// encoded from such floats (leading mantissa bit set, black as all zeros).
#include <benchmark/benchmark.h>
#include <omp.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "effects/effects.h"

namespace {

constexpr int32_t kWidth = 3840;
constexpr int32_t kHeight = 2160;
constexpr int64_t kPixels = int64_t{kWidth} * kHeight;
constexpr int32_t kCount = static_cast<int32_t>(kPixels * 4);  // channel values of a 4-channel image

// ---- pixel formats of the sources and destinations ------------------------

enum class Fmt { Bgra8, Rgba16, RgbaFloat, Rgbe, Rgbea, Rgb8, Rgb8Packed, Rgb16, RgbFloat };

struct FmtInfo {
    int bytes_per_pixel;
    int row_align;  // Rgb8 rows are padded to 4 bytes
};

FmtInfo info(Fmt f) {
    switch (f) {
        case Fmt::Bgra8:
            return {4, 1};
        case Fmt::Rgba16:
            return {8, 1};
        case Fmt::RgbaFloat:
            return {16, 1};
        case Fmt::Rgbe:
            return {4, 1};
        case Fmt::Rgbea:
            return {5, 1};
        case Fmt::Rgb8:
            return {3, 4};
        case Fmt::Rgb8Packed:
            return {3, 1};
        case Fmt::Rgb16:
            return {6, 1};
        case Fmt::RgbFloat:
            return {12, 1};
    }
    std::abort();
}

int64_t row_bytes(Fmt f) {
    const FmtInfo i = info(f);
    const int64_t packed = int64_t{kWidth} * i.bytes_per_pixel;
    return (packed + i.row_align - 1) / i.row_align * i.row_align;
}

int64_t image_bytes(Fmt f) {
    return row_bytes(f) * kHeight;
}

// ---- buffers ----------------------------------------------------------------

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
using Buffer = std::unique_ptr<uint8_t, FreeDeleter>;

// Page-aligned and written once, so every page is mapped before timing.
Buffer touched_buffer(int64_t bytes) {
    const size_t size = (static_cast<size_t>(bytes) + 4095) / 4096 * 4096;
    auto* p = static_cast<uint8_t*>(std::aligned_alloc(4096, size));
    if (!p) {
        std::fprintf(stderr, "effects_bench: cannot allocate %zu bytes\n", size);
        std::exit(1);
    }
    std::memset(p, 0, size);
    return Buffer(p);
}

// Seeded generator (splitmix64): fast enough to fill 130 MB in a blink.
struct Rng {
    uint64_t state;
    uint64_t next() {
        uint64_t z = (state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    float unit() { return static_cast<float>(next() >> 40) * 0x1p-24f; }  // [0, 1)
    // A scene value: mostly [0, 4), about one in 1024 a highlight in [4, 16384).
    float radiance() {
        if ((next() & 1023) == 0) return 4.0f * std::exp2(12.0f * unit());
        return 4.0f * unit();
    }
};

// The textbook shared-exponent encoding of one pixel into R,G,B,E.
void encode_rgbe(float r, float g, float b, uint8_t out[4]) {
    const double m = std::max({r, g, b});
    if (m < 1e-32) {
        out[0] = out[1] = out[2] = out[3] = 0;
        return;
    }
    int e = 0;
    const double scale = std::frexp(m, &e) * 256.0 / m;
    auto mantissa = [&](float v) { return static_cast<uint8_t>(std::min(255.0, v * scale)); };
    out[0] = mantissa(r);
    out[1] = mantissa(g);
    out[2] = mantissa(b);
    out[3] = static_cast<uint8_t>(e + 128);
}

void fill(Fmt f, uint8_t* p, uint64_t seed) {
    Rng rng{seed};
    const int64_t bytes = image_bytes(f);
    switch (f) {
        case Fmt::Bgra8:
        case Fmt::Rgb8:
        case Fmt::Rgb8Packed:
            for (int64_t i = 0; i < bytes; i += 8) {
                const uint64_t v = rng.next();
                std::memcpy(p + i, &v, static_cast<size_t>(std::min<int64_t>(8, bytes - i)));
            }
            break;
        case Fmt::Rgba16: {
            auto* w = reinterpret_cast<uint16_t*>(p);
            for (int64_t i = 0; i < bytes / 2; ++i) w[i] = static_cast<uint16_t>(rng.next() & 0x7FFF);
            break;
        }
        case Fmt::Rgb16: {
            auto* w = reinterpret_cast<uint16_t*>(p);
            for (int64_t i = 0; i < bytes / 2; ++i) w[i] = static_cast<uint16_t>(rng.next() % 65535);
            break;
        }
        case Fmt::RgbaFloat: {
            auto* v = reinterpret_cast<float*>(p);
            for (int64_t i = 0; i < kPixels; ++i) {
                v[4 * i + 0] = rng.radiance();
                v[4 * i + 1] = rng.radiance();
                v[4 * i + 2] = rng.radiance();
                v[4 * i + 3] = rng.unit();
            }
            break;
        }
        case Fmt::RgbFloat: {
            auto* v = reinterpret_cast<float*>(p);
            for (int64_t i = 0; i < kPixels * 3; ++i) v[i] = rng.radiance();
            break;
        }
        case Fmt::Rgbe:
            for (int64_t i = 0; i < kPixels; ++i) {
                const float r = rng.radiance(), g = rng.radiance(), b = rng.radiance();
                encode_rgbe(r, g, b, p + 4 * i);
            }
            break;
        case Fmt::Rgbea:
            for (int64_t i = 0; i < kPixels; ++i) {
                const float r = rng.radiance(), g = rng.radiance(), b = rng.radiance();
                uint8_t rgbe[4];
                encode_rgbe(r, g, b, rgbe);
                uint8_t* q = p + 5 * i;
                q[0] = rgbe[2];  // B
                q[1] = rgbe[1];  // G
                q[2] = rgbe[0];  // R
                q[3] = rgbe[3];  // E
                q[4] = static_cast<uint8_t>(rng.next());
            }
            break;
    }
}

// One source image per format, generated on first use and kept for the run.
const uint8_t* source_image(Fmt f) {
    static std::map<Fmt, Buffer> images;
    auto it = images.find(f);
    if (it == images.end()) {
        Buffer b = touched_buffer(image_bytes(f));
        fill(f, b.get(), 0x5EED0000u + static_cast<uint64_t>(f));
        it = images.emplace(f, std::move(b)).first;
    }
    return it->second.get();
}

// One destination shared by every conversion, as large as the largest image.
uint8_t* destination_arena() {
    static Buffer arena = touched_buffer(image_bytes(Fmt::RgbaFloat));
    return arena.get();
}

// ---- the memcpy baseline ------------------------------------------------------

struct CopyBuffers {
    Buffer src, dst;
    int64_t size;
};

CopyBuffers& copy_buffers(int64_t n) {
    static CopyBuffers b{nullptr, nullptr, 0};
    if (b.size < n) {
        b.src = touched_buffer(n);
        b.dst = touched_buffer(n);
        b.size = n;
    }
    return b;
}

// memcpy of n bytes, one contiguous block of whole cache lines per thread.
void parallel_copy(uint8_t* dst, const uint8_t* src, int64_t n) {
#pragma omp parallel
    {
        const int64_t t = omp_get_thread_num(), nt = omp_get_num_threads();
        const int64_t lines = (n + 63) / 64;
        const int64_t begin = lines * t / nt * 64;
        const int64_t end = std::min(n, lines * (t + 1) / nt * 64);
        if (begin < end) std::memcpy(dst + begin, src + begin, static_cast<size_t>(end - begin));
    }
}

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point t) {
    return std::chrono::duration<double>(Clock::now() - t).count();
}

double median(std::vector<double> v) {
    if (v.empty()) return 0.0;
    const auto mid = v.begin() + static_cast<std::ptrdiff_t>(v.size() / 2);
    std::nth_element(v.begin(), mid, v.end());
    return *mid;
}

// Median seconds per memcpy of each size, measured once per run.
std::map<int64_t, double>& memcpy_seconds_cache() {
    static std::map<int64_t, double> cache;
    return cache;
}

double memcpy_seconds(int64_t n) {
    auto& cache = memcpy_seconds_cache();
    if (auto it = cache.find(n); it != cache.end()) return it->second;
    CopyBuffers& b = copy_buffers(n);
    parallel_copy(b.dst.get(), b.src.get(), n);  // warm-up
    std::vector<double> times;
    const auto start = Clock::now();
    while (times.size() < 5 || seconds_since(start) < 0.3) {
        const auto t = Clock::now();
        parallel_copy(b.dst.get(), b.src.get(), n);
        times.push_back(seconds_since(t));
    }
    return cache[n] = median(std::move(times));
}

long minor_faults() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_minflt;
}

void bench_memcpy(benchmark::State& state, int64_t n) {
    CopyBuffers& b = copy_buffers(n);
    parallel_copy(b.dst.get(), b.src.get(), n);  // warm-up: thread team, caches
    std::vector<double> times;
    times.reserve(static_cast<size_t>(state.max_iterations));
    const long f0 = minor_faults();
    for (auto _ : state) {
        const auto t = Clock::now();
        parallel_copy(b.dst.get(), b.src.get(), n);
        benchmark::ClobberMemory();
        times.push_back(seconds_since(t));
    }
    const long f1 = minor_faults();
    state.SetBytesProcessed(state.iterations() * 2 * n);
    state.counters["vs_memcpy"] = 1.0;
    state.counters["faults/iter"] = static_cast<double>(f1 - f0) / static_cast<double>(state.iterations());
    // The last run of this row is the one reported; the conversions of this
    // size are judged against it.
    memcpy_seconds_cache()[n] = median(std::move(times));
}

// ---- the conversions ---------------------------------------------------------------

// The vs_memcpy a member should reach.
constexpr double kMemoryBound = 0.9;  // channel maps, RGBE decoders
constexpr double kRgbeEncoder = 0.5;  // the shared-exponent encoders
constexpr double kNoTarget = 0.0;     // pow per channel: compute-bound

using Call = void (*)(const void* src, void* dst);

struct Conversion {
    const char* name;  // the export
    EffectsConversion id;
    Fmt src, dst;
    double target;
    Call call;
};

template <class T>
const T* in(const void* p) {
    return static_cast<const T*>(p);
}
template <class T>
T* out(void* p) {
    return static_cast<T*>(p);
}

const std::vector<Conversion>& conversions() {
    static const std::vector<Conversion> table = {
        // count form: kCount channel values of a four-channel image
        {"Convert64to32Fast", EFFECTS_CONVERT_64_TO_32, Fmt::Rgba16, Fmt::Bgra8, kMemoryBound,
         [](const void* s, void* d) { Convert64to32Fast(kCount, out<uint8_t>(d), in<uint16_t>(s)); }},
        {"Convert64to32Screen", EFFECTS_CONVERT_64_TO_32_SCREEN, Fmt::Rgba16, Fmt::Bgra8, kMemoryBound,
         [](const void* s, void* d) { Convert64to32Screen(kCount, out<uint8_t>(d), in<uint16_t>(s)); }},
        {"Convert128to32Fast", EFFECTS_CONVERT_128_TO_32, Fmt::RgbaFloat, Fmt::Bgra8, kMemoryBound,
         [](const void* s, void* d) { Convert128to32Fast(kCount, out<uint8_t>(d), in<float>(s)); }},
        {"Convert128to64Fast", EFFECTS_CONVERT_128_TO_64, Fmt::RgbaFloat, Fmt::Rgba16, kMemoryBound,
         [](const void* s, void* d) { Convert128to64Fast(kCount, out<uint16_t>(d), in<float>(s)); }},
        {"Convert32to64Fast", EFFECTS_CONVERT_32_TO_64, Fmt::Bgra8, Fmt::Rgba16, kMemoryBound,
         [](const void* s, void* d) { Convert32to64Fast(kCount, in<uint8_t>(s), out<uint16_t>(d)); }},
        {"Convert32to128Fast", EFFECTS_CONVERT_32_TO_128, Fmt::Bgra8, Fmt::RgbaFloat, kMemoryBound,
         [](const void* s, void* d) { Convert32to128Fast(kCount, in<uint8_t>(s), out<float>(d)); }},
        {"Convert64to128Fast", EFFECTS_CONVERT_64_TO_128, Fmt::Rgba16, Fmt::RgbaFloat, kMemoryBound,
         [](const void* s, void* d) { Convert64to128Fast(kCount, in<uint16_t>(s), out<float>(d)); }},
        {"Convert32toRGBE", EFFECTS_CONVERT_32_TO_RGBE, Fmt::Bgra8, Fmt::Rgbe, kRgbeEncoder,
         [](const void* s, void* d) { Convert32toRGBE(kCount, in<uint8_t>(s), out<uint8_t>(d)); }},
        // geometry form
        {"Convert24to32Fast", EFFECTS_CONVERT_24_TO_32, Fmt::Rgb8, Fmt::Bgra8, kMemoryBound,
         [](const void* s, void* d) { Convert24to32Fast(kWidth, kHeight, in<uint8_t>(s), out<uint8_t>(d)); }},
        {"Convert32BIT_4to3ChannelsFast", EFFECTS_CONVERT_32_TO_RGB8, Fmt::Bgra8, Fmt::Rgb8Packed, kMemoryBound,
         [](const void* s, void* d) {
             Convert32BIT_4to3ChannelsFast(kWidth, kHeight, in<uint8_t>(s), out<uint8_t>(d));
         }},
        {"Convert32BIT_3to4ChannelsFast", EFFECTS_CONVERT_RGB8_TO_32, Fmt::Rgb8Packed, Fmt::Bgra8, kMemoryBound,
         [](const void* s, void* d) {
             Convert32BIT_3to4ChannelsFast(kWidth, kHeight, out<uint8_t>(d), in<uint8_t>(s));
         }},
        {"Convert32BITto24BITFast", EFFECTS_CONVERT_128_TO_RGBF, Fmt::RgbaFloat, Fmt::RgbFloat, kMemoryBound,
         [](const void* s, void* d) { Convert32BITto24BITFast(kWidth, kHeight, in<float>(s), out<float>(d)); }},
        {"Convert128BIT_3to4ChannelsFast", EFFECTS_CONVERT_RGBF_TO_128, Fmt::RgbFloat, Fmt::RgbaFloat, kMemoryBound,
         [](const void* s, void* d) { Convert128BIT_3to4ChannelsFast(kWidth, kHeight, out<float>(d), in<float>(s)); }},
        {"Convert15BITto16BITFast", EFFECTS_CONVERT_64_TO_RGB16, Fmt::Rgba16, Fmt::Rgb16, kMemoryBound,
         [](const void* s, void* d) { Convert15BITto16BITFast(kWidth, kHeight, in<uint16_t>(s), out<uint16_t>(d)); }},
        {"Convert16BITto15BITFast", EFFECTS_CONVERT_RGB16_TO_64, Fmt::Rgb16, Fmt::Rgba16, kMemoryBound,
         [](const void* s, void* d) { Convert16BITto15BITFast(kWidth, kHeight, in<uint16_t>(s), out<uint16_t>(d)); }},
        {"Convertfloat3xto64", EFFECTS_CONVERT_FLOAT3_TO_64, Fmt::RgbFloat, Fmt::Rgba16, kMemoryBound,
         [](const void* s, void* d) { Convertfloat3xto64(kWidth, kHeight, out<uint16_t>(d), in<float>(s)); }},
        {"Convert32toRGBEAFast", EFFECTS_CONVERT_32_TO_RGBEA, Fmt::Bgra8, Fmt::Rgbea, kRgbeEncoder,
         [](const void* s, void* d) { Convert32toRGBEAFast(kWidth, kHeight, in<uint8_t>(s), out<uint8_t>(d)); }},
        {"Convert64toRGBEAFast", EFFECTS_CONVERT_64_TO_RGBEA, Fmt::Rgba16, Fmt::Rgbea, kRgbeEncoder,
         [](const void* s, void* d) { Convert64toRGBEAFast(kWidth, kHeight, in<uint16_t>(s), out<uint8_t>(d)); }},
        {"Convert128RGBAtoRGBEA", EFFECTS_CONVERT_128_TO_RGBEA, Fmt::RgbaFloat, Fmt::Rgbea, kRgbeEncoder,
         [](const void* s, void* d) { Convert128RGBAtoRGBEA(kWidth, kHeight, in<float>(s), out<uint8_t>(d)); }},
        {"Convert128RGBtoRGBE", EFFECTS_CONVERT_RGBF_TO_RGBE, Fmt::RgbFloat, Fmt::Rgbe, kRgbeEncoder,
         [](const void* s, void* d) { Convert128RGBtoRGBE(kWidth, kHeight, in<float>(s), out<uint8_t>(d)); }},
        {"Convert128RGBtoRGBEA", EFFECTS_CONVERT_RGBF_TO_RGBEA, Fmt::RgbFloat, Fmt::Rgbea, kRgbeEncoder,
         [](const void* s, void* d) { Convert128RGBtoRGBEA(kWidth, kHeight, out<uint8_t>(d), in<float>(s), 0); }},
        {"ConvertRGBEtoRGBEA", EFFECTS_CONVERT_RGBE_TO_RGBEA, Fmt::Rgbe, Fmt::Rgbea, kMemoryBound,
         [](const void* s, void* d) { ConvertRGBEtoRGBEA(kWidth, kHeight, out<uint8_t>(d), in<uint8_t>(s), 0); }},
        {"ConvertRGBEto128RGBA", EFFECTS_CONVERT_RGBE_TO_128, Fmt::Rgbe, Fmt::RgbaFloat, kMemoryBound,
         [](const void* s, void* d) { ConvertRGBEto128RGBA(kWidth, kHeight, in<uint8_t>(s), out<float>(d)); }},
        {"ConvertRGBEAto128RGBA", EFFECTS_CONVERT_RGBEA_TO_128, Fmt::Rgbea, Fmt::RgbaFloat, kMemoryBound,
         [](const void* s, void* d) { ConvertRGBEAto128RGBA(kWidth, kHeight, in<uint8_t>(s), out<float>(d)); }},
        {"ConvertRGBEAto128RGB", EFFECTS_CONVERT_RGBEA_TO_RGBF, Fmt::Rgbea, Fmt::RgbFloat, kMemoryBound,
         [](const void* s, void* d) { ConvertRGBEAto128RGB(kWidth, kHeight, in<uint8_t>(s), out<float>(d)); }},
        {"ConvertRGBEAto32RGBA", EFFECTS_CONVERT_RGBEA_TO_32, Fmt::Rgbea, Fmt::Bgra8, kMemoryBound,
         [](const void* s, void* d) { ConvertRGBEAto32RGBA(kWidth, kHeight, in<uint8_t>(s), out<uint8_t>(d)); }},
        {"Convert128HDRFast", EFFECTS_CONVERT_RGBF_TO_128_GAMMA, Fmt::RgbFloat, Fmt::RgbaFloat, kNoTarget,
         [](const void* s, void* d) { Convert128HDRFast(kWidth, kHeight, out<float>(d), in<float>(s), 0); }},
        {"Convert128HDRRAWFast", EFFECTS_CONVERT_RGBE_TO_128_GAMMA, Fmt::Rgbe, Fmt::RgbaFloat, kNoTarget,
         [](const void* s, void* d) { Convert128HDRRAWFast(kWidth, kHeight, out<float>(d), in<uint8_t>(s), 0); }},
    };
    return table;
}

void bench_conversion(benchmark::State& state, const Conversion* c) {
    const uint8_t* src = source_image(c->src);
    uint8_t* dst = destination_arena();
    const int64_t traffic = image_bytes(c->src) + image_bytes(c->dst);
    const double copy_s = memcpy_seconds(traffic / 2);
    c->call(src, dst);  // warm-up: thread team, dispatch, caches
    std::vector<double> times;
    times.reserve(static_cast<size_t>(state.max_iterations));
    const long f0 = minor_faults();
    for (auto _ : state) {
        const auto t = Clock::now();
        c->call(src, dst);
        benchmark::ClobberMemory();
        times.push_back(seconds_since(t));
    }
    const long f1 = minor_faults();
    state.SetBytesProcessed(state.iterations() * traffic);
    state.counters["vs_memcpy"] = copy_s / median(std::move(times));
    state.counters["faults/iter"] = static_cast<double>(f1 - f0) / static_cast<double>(state.iterations());
    state.counters["target"] = c->target;
}

// The sizes above must be the library's own: a mismatch would let a kernel
// run off the end of a buffer.
bool sizes_agree() {
    bool ok = true;
    for (const Conversion& c : conversions()) {
        const intptr_t src_row = EffectsConversionRowBytes(c.id, 0, kWidth);
        const intptr_t dst_row = EffectsConversionRowBytes(c.id, 1, kWidth);
        if (src_row != row_bytes(c.src) || dst_row != row_bytes(c.dst)) {
            std::fprintf(stderr, "effects_bench: %s rows are %lld -> %lld bytes in the library, %lld -> %lld here\n",
                         c.name, static_cast<long long>(src_row), static_cast<long long>(dst_row),
                         static_cast<long long>(row_bytes(c.src)), static_cast<long long>(row_bytes(c.dst)));
            ok = false;
        }
    }
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    if (!sizes_agree()) return 1;

    benchmark::AddCustomContext("image", std::to_string(kWidth) + "x" + std::to_string(kHeight));
    benchmark::AddCustomContext("omp_threads", std::to_string(omp_get_max_threads()));
    benchmark::AddCustomContext("effects_version", EffectsVersion());

    // Each memcpy size gets one row, just before the first conversion that
    // uses it; that row's time is the baseline of every conversion of the size.
    std::map<int64_t, bool> copy_rows;
    for (const Conversion& c : conversions()) {
        const int64_t n = (image_bytes(c.src) + image_bytes(c.dst)) / 2;
        if (!copy_rows[n]) {
            copy_rows[n] = true;
            benchmark::RegisterBenchmark(("memcpy/" + std::to_string(n)).c_str(), bench_memcpy, n)
                ->UseRealTime()
                ->Unit(benchmark::kMillisecond);
        }
        benchmark::RegisterBenchmark(c.name, bench_conversion, &c)->UseRealTime()->Unit(benchmark::kMillisecond);
    }

    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
