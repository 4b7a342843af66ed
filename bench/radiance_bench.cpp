// Writing and reading a 3840x2160 float image as a Radiance file, next to a
// memcpy of the pixel bytes and, when OpenCV is built in, OpenCV's .hdr
// writer and reader on the same image in the same run.
//
//  - The image: the test data's photograph (hdr-radiance/test.hdr) tiled to
//    3840x2160 when it is there, otherwise a smooth gradient with noise, so
//    the run-length coder meets real content rather than pure noise.
//  - Files go to /dev/shm when there is one (else the temporary folder;
//    EFFECTS_BENCH_DIR overrides): each write replaces one file, each read
//    reads the file that the matching writer made.
//  - Times are wall-clock (UseRealTime); the library encodes scanlines on
//    the OpenMP team (OMP_NUM_THREADS).
//  - Counter "vs_opencv" on the library's rows: OpenCV's mean time / the
//    library's, the speed-up (target: 2 or more for writer and reader).
#include <benchmark/benchmark.h>

#include <effects/effects.h>
#include <effects/io.hpp>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#ifdef EFFECTS_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#endif

namespace {

constexpr int kW = 3840, kH = 2160;
namespace fs = std::filesystem;

const std::vector<float>& pixels() {
    static const std::vector<float> v = [] {
        std::vector<float> out(static_cast<size_t>(kW) * kH * 3);
        const fs::path photo = fs::path(EFFECTS_BENCH_DATA_DIR) / "hdr-radiance" / "test.hdr";
        std::error_code ec;
        if (fs::exists(photo, ec)) {
            const auto img = effects::io::read_radiance(photo);
            for (int y = 0; y < kH; ++y)
                for (int x = 0; x < kW; ++x)
                    std::memcpy(&out[3 * (static_cast<size_t>(y) * kW + x)],
                                &img.pixels[3 * (static_cast<size_t>(y % img.height) * img.width + x % img.width)], 12);
        } else {
            uint32_t s = 1;
            for (size_t i = 0; i < out.size(); ++i) {
                s = s * 1664525u + 1013904223u;
                const size_t p = i / 3;
                out[i] = 0.01f + static_cast<float>(p % kW) / kW * 4.0f + static_cast<float>(s >> 24) / 4096.0f;
            }
        }
        return out;
    }();
    return v;
}

// Memory-backed files (/dev/shm) where the system has them, so that the
// codecs are timed rather than the disk's write-back; EFFECTS_BENCH_DIR
// picks another folder.
fs::path file(const char* name) {
    static const fs::path dir = [] {
        if (const char* env = std::getenv("EFFECTS_BENCH_DIR")) return fs::path(env);
        std::error_code ec;
        return fs::is_directory("/dev/shm", ec) ? fs::path("/dev/shm") : fs::temp_directory_path();
    }();
    return dir / (std::string("effects-bench-") + name);
}

std::map<std::string, double>& seconds() {
    static std::map<std::string, double> s;
    return s;
}

void finish(benchmark::State& state, const std::string& key, const std::string& opencv_key) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kW * kH * 12);
    const auto it = seconds().find(opencv_key);
    if (it != seconds().end() && seconds()[key] > 0) state.counters["vs_opencv"] = it->second / seconds()[key];
}

template <class Fn>
void timed(benchmark::State& state, const std::string& key, Fn&& fn) {
    fn();  // warm-up: page cache, allocations
    double total = 0;
    int64_t n = 0;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        fn();
        total += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        ++n;
    }
    seconds()[key] = n ? total / static_cast<double>(n) : 0;
}

void BM_memcpy(benchmark::State& state) {
    const auto& src = pixels();
    std::vector<float> dst(src.size());
    timed(state, "memcpy", [&] {
        std::memcpy(dst.data(), src.data(), src.size() * 4);
        benchmark::DoNotOptimize(dst.data());
    });
    finish(state, "memcpy", "");
}

void BM_effects_write(benchmark::State& state) {
    const auto& src = pixels();
    timed(state, "effects_write",
          [&] { effects::io::write_radiance(file("effects.hdr"), effects::ImageView<const effects::RgbFloat>(src.data(), kW, kH)); });
    finish(state, "effects_write", "opencv_write");
}

void BM_effects_read(benchmark::State& state) {
    effects::io::write_radiance(file("effects.hdr"), effects::ImageView<const effects::RgbFloat>(pixels().data(), kW, kH));
    timed(state, "effects_read", [&] { benchmark::DoNotOptimize(effects::io::read_radiance(file("effects.hdr"))); });
    finish(state, "effects_read", "opencv_read");
}

void BM_legacy_write(benchmark::State& state) {
    const auto& src = pixels();
    const auto name = file("legacy.hdr").u16string();
    timed(state, "legacy_write", [&] { RGBE_WriteHeader_96(name.c_str(), kW, kH, src.data()); });
    finish(state, "legacy_write", "opencv_write");
}

void BM_legacy_read(benchmark::State& state) {
    const auto name = file("legacy.hdr").u16string();
    RGBE_WriteHeader_96(name.c_str(), kW, kH, pixels().data());
    std::vector<float> dst(pixels().size());
    timed(state, "legacy_read", [&] { RGBE_LoadHDR(name.c_str(), dst.data(), kW, kH); });
    finish(state, "legacy_read", "opencv_read");
}

#ifdef EFFECTS_BENCH_OPENCV
cv::Mat opencv_image() {
    // OpenCV holds B, G, R.
    cv::Mat m(kH, kW, CV_32FC3);
    const auto& src = pixels();
    for (int y = 0; y < kH; ++y) {
        float* row = m.ptr<float>(y);
        for (int x = 0; x < kW; ++x) {
            const float* p = &src[3 * (static_cast<size_t>(y) * kW + x)];
            row[3 * x] = p[2], row[3 * x + 1] = p[1], row[3 * x + 2] = p[0];
        }
    }
    return m;
}

void BM_opencv_write(benchmark::State& state) {
    const cv::Mat m = opencv_image();
    timed(state, "opencv_write", [&] { cv::imwrite(file("opencv.hdr").string(), m); });
    finish(state, "opencv_write", "");
}

void BM_opencv_read(benchmark::State& state) {
    cv::imwrite(file("opencv.hdr").string(), opencv_image());
    timed(state, "opencv_read", [&] { benchmark::DoNotOptimize(cv::imread(file("opencv.hdr").string(), cv::IMREAD_UNCHANGED)); });
    finish(state, "opencv_read", "");
}

BENCHMARK(BM_opencv_write)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_opencv_read)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

BENCHMARK(BM_memcpy)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_effects_write)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_effects_read)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_legacy_write)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_legacy_read)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
