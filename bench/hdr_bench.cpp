// HDR pipeline on 3 frames of 6000x4000: the merge beside OpenCV's
// MergeDebevec (same times, linear response) and the alignment beside
// OpenCV's AlignMTB (same maximum shift), when OpenCV is present; and the
// accumulation loop (VexoHDRNewCombineArray) beside a memcpy of its bytes
// (frame 4 + accumulator 12 read and 12 written + plane 4 read and 4
// written = 36 bytes per pixel; the memcpy moves 18 read + 18 written).
// Thread count: OMP_NUM_THREADS (the targets are for 2). Wall-clock times.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "effects/hdr.hpp"
#include "../tests/unit/hdr_scene.hpp"

#if defined(EFFECTS_BENCH_OPENCV)
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>
#endif

namespace {

constexpr int32_t kW = 6000, kH = 4000;
constexpr float kTimes[3] = {0.25f, 1.0f, 4.0f};
const effects::hdr::Shift kTruth[3] = {{23, -17}, {0, 0}, {-41, 9}};

// Three frames rendered once from a scene: smooth, edged and textured.
struct Frames {
    std::vector<std::vector<uint8_t>> bgra;
    Frames() {
        const efx_scene::Scene s = efx_scene::make_scene(kW, kH, 64, 11);
        for (int k = 0; k < 3; ++k)
            bgra.push_back(efx_scene::render_frame(s, kW, kH, kTimes[k], kTruth[k].dx, kTruth[k].dy, 0.8f, 5u + k));
    }
};
const Frames& frames() {
    static const Frames f;
    return f;
}

effects::hdr::Bracket bracket() {
    effects::hdr::Bracket b;
    for (int k = 0; k < 3; ++k)
        b.add(effects::ImageView<const effects::Bgra8>(frames().bgra[k].data(), kW, kH), kTimes[k]);
    return b;
}

void BM_effects_merge(benchmark::State& st) {
    const auto b = bracket();
    const std::vector<effects::hdr::Shift> shifts(kTruth, kTruth + 3);
    for (auto _ : st) {
        auto img = effects::hdr::merge(b, shifts, {effects::hdr::Weighting::triangle, effects::hdr::Response::linear});
        benchmark::DoNotOptimize(img.data());
    }
}
BENCHMARK(BM_effects_merge)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

void BM_effects_align(benchmark::State& st) {
    const auto b = bracket();
    effects::hdr::AlignOptions o;
    o.max_shift = 64;
    for (auto _ : st) {
        auto s = effects::hdr::align(b, o);
        benchmark::DoNotOptimize(s.data());
        if (s[0] != kTruth[0] || s[2] != kTruth[2]) st.SkipWithError("wrong shift");
    }
}
BENCHMARK(BM_effects_align)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

// The accumulation of one frame, and a memcpy of the same traffic.
void BM_accumulate(benchmark::State& st) {
    static std::vector<float> acc(size_t{kW} * kH * 3, 0.0f), plane(size_t{kW} * kH, 0.0f);
    std::vector<double> W(256);
    std::vector<float> F(256);
    VexoHDRWeight_Triangle(255, 0, W.data());
    VexoHDRResponse_Gamma(F.data(), 256);
    const uint8_t* frame = frames().bgra[1].data();  // rendered before the timing
    for (auto _ : st)
        VexoHDRNewCombineArray(kW, kH, 1.0f, frame, acc.data(), W.data(), F.data(), plane.data());
    st.SetBytesProcessed(int64_t(st.iterations()) * kW * kH * 36);
}
BENCHMARK(BM_accumulate)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

void BM_memcpy_same_traffic(benchmark::State& st) {
    const size_t n = size_t{kW} * kH * 18;
    static std::vector<uint8_t> a(n, 1), b(n, 2);
    for (auto _ : st) {
#pragma omp parallel
        {
            const size_t t = omp_get_thread_num(), nt = omp_get_num_threads();
            const size_t b0 = n * t / nt, b1 = n * (t + 1) / nt;
            std::memcpy(b.data() + b0, a.data() + b0, b1 - b0);
        }
        benchmark::ClobberMemory();
    }
    st.SetBytesProcessed(int64_t(st.iterations()) * int64_t(n) * 2);
}
BENCHMARK(BM_memcpy_same_traffic)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

#if defined(EFFECTS_BENCH_OPENCV)
std::vector<cv::Mat> cv_frames() {
    std::vector<cv::Mat> m;
    for (int k = 0; k < 3; ++k) {
        cv::Mat bgra(kH, kW, CV_8UC4, const_cast<uint8_t*>(frames().bgra[k].data())), bgr;
        cv::cvtColor(bgra, bgr, cv::COLOR_BGRA2BGR);
        m.push_back(bgr);
    }
    return m;
}

void BM_opencv_merge_debevec(benchmark::State& st) {
    cv::setNumThreads(omp_get_max_threads());
    const auto m = cv_frames();
    const std::vector<float> times(kTimes, kTimes + 3);
    cv::Mat response(256, 1, CV_32FC3);
    for (int i = 0; i < 256; ++i) response.at<cv::Vec3f>(i) = cv::Vec3f::all(std::max(i, 1) / 255.0f);
    auto merge = cv::createMergeDebevec();
    for (auto _ : st) {
        cv::Mat out;
        merge->process(m, out, times, response);
        benchmark::DoNotOptimize(out.data);
    }
}
BENCHMARK(BM_opencv_merge_debevec)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

void BM_opencv_align_mtb(benchmark::State& st) {
    cv::setNumThreads(omp_get_max_threads());
    const auto m = cv_frames();
    auto align = cv::createAlignMTB(6);  // 2^6 = 64 pixels
    for (auto _ : st) {
        std::vector<cv::Mat> out;
        cv::Mat g0, g1, g2;
        cv::cvtColor(m[0], g0, cv::COLOR_BGR2GRAY);
        cv::cvtColor(m[1], g1, cv::COLOR_BGR2GRAY);
        cv::cvtColor(m[2], g2, cv::COLOR_BGR2GRAY);
        const cv::Point s0 = align->calculateShift(g1, g0), s2 = align->calculateShift(g1, g2);
        benchmark::DoNotOptimize(s0);
        benchmark::DoNotOptimize(s2);
    }
}
BENCHMARK(BM_opencv_align_mtb)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
#endif

}  // namespace

BENCHMARK_MAIN();
