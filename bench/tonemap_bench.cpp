// Tone mapping of a 3840x2160 float image: the library's two plug-ins
// through effects::tonemap (loading and unloading the plug-in on every call,
// as the editor does) against OpenCV's TonemapReinhard and TonemapDrago on
// the same pixels in the same run, when OpenCV is there.
//
// Both sides produce display-ready 8-bit pixels: the plug-ins write Bgra8
// with the sRGB curve; OpenCV's operators run with gamma 2.2 on a 3-channel
// float image and their float result is converted to 8 bits (convertTo),
// which is timed with them. Thread count: EFFECTS_BENCH_THREADS (default 2)
// for both OpenMP and OpenCV. Times are wall-clock medians.
//
// The image is seeded synthetic HDR content: a luminance field sweeping
// about 16 stops in smooth waves, fine texture of +-40 %, mild colour, and
// a sprinkling of highlights near 2^10.
#include <benchmark/benchmark.h>
#include <effects/effects.hpp>
#include <omp.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#if defined(EFFECTS_BENCH_HAVE_OPENCV)
#include <opencv2/core.hpp>
#include <opencv2/photo.hpp>
#endif

namespace {

constexpr int kWidth = 3840, kHeight = 2160;

struct Scene {
    std::vector<float> bgra;  // RgbaFloat for the library
    std::vector<float> bgr;   // three floats per pixel for OpenCV
    Scene() : bgra(size_t{kWidth} * kHeight * 4), bgr(size_t{kWidth} * kHeight * 3) {
#pragma omp parallel for schedule(static)
        for (int y = 0; y < kHeight; ++y) {
            std::mt19937 rng(1234u + static_cast<unsigned>(y));
            std::uniform_real_distribution<float> texture(0.6f, 1.4f), spark(0.0f, 1.0f);
            for (int x = 0; x < kWidth; ++x) {
                const float u = static_cast<float>(x) / kWidth, v = static_cast<float>(y) / kHeight;
                float stops = -6.0f + 14.0f * u + 2.0f * std::sin(9.0f * v + 3.0f * u);
                if (spark(rng) < 0.001f) stops = 10.0f;
                const float l = std::exp2(stops) * texture(rng);
                const float r = l * (1.0f + 0.2f * v), g = l, b = l * (1.0f - 0.2f * u);
                float* p = &bgra[(size_t{static_cast<size_t>(y)} * kWidth + x) * 4];
                p[0] = b, p[1] = g, p[2] = r, p[3] = 1.0f;
                float* q = &bgr[(size_t{static_cast<size_t>(y)} * kWidth + x) * 3];
                q[0] = b, q[1] = g, q[2] = r;
            }
        }
    }
};

const Scene& scene() {
    static const Scene s;
    return s;
}

void BM_Effects(benchmark::State& state, const char* op) {
    const Scene& s = scene();
    effects::Image<effects::Bgra8> out(kWidth, kHeight);
    const effects::ImageView<const effects::RgbaFloat> src(s.bgra.data(), kWidth, kHeight);
    effects::tonemap(src, out.view(), op);  // warm-up: pages and the plug-in's tables
    for (auto _ : state) {
        effects::tonemap(src, out.view(), op);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * int64_t{kWidth} * kHeight);
}

#if defined(EFFECTS_BENCH_HAVE_OPENCV)
void BM_OpenCV(benchmark::State& state, bool drago) {
    const Scene& s = scene();
    const cv::Mat src(kHeight, kWidth, CV_32FC3, const_cast<float*>(s.bgr.data()));
    cv::Mat mapped, out;
    cv::Ptr<cv::Tonemap> op = drago ? cv::Ptr<cv::Tonemap>(cv::createTonemapDrago(2.2f, 1.0f, 0.85f))
                                    : cv::Ptr<cv::Tonemap>(cv::createTonemapReinhard(2.2f));
    op->process(src, mapped);
    mapped.convertTo(out, CV_8UC3, 255.0);
    for (auto _ : state) {
        op->process(src, mapped);
        mapped.convertTo(out, CV_8UC3, 255.0);
        benchmark::DoNotOptimize(out.data);
    }
    state.SetItemsProcessed(state.iterations() * int64_t{kWidth} * kHeight);
}
#endif

void configure(benchmark::internal::Benchmark* b) {
    b->UseRealTime()->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
}

int bench_threads() {
    const char* t = std::getenv("EFFECTS_BENCH_THREADS");
    return t && std::atoi(t) > 0 ? std::atoi(t) : 2;
}

}  // namespace

int main(int argc, char** argv) {
    const int threads = bench_threads();
    omp_set_num_threads(threads);
#if defined(EFFECTS_BENCH_HAVE_OPENCV)
    cv::setNumThreads(threads);
    configure(benchmark::RegisterBenchmark("OpenCV/TonemapReinhard", BM_OpenCV, false));
#endif
    configure(benchmark::RegisterBenchmark("Effects/reinhard", BM_Effects, effects::reinhard));
#if defined(EFFECTS_BENCH_HAVE_OPENCV)
    configure(benchmark::RegisterBenchmark("OpenCV/TonemapDrago", BM_OpenCV, true));
#endif
    configure(benchmark::RegisterBenchmark("Effects/drago", BM_Effects, effects::drago));
    benchmark::AddCustomContext("threads", std::to_string(threads));
    benchmark::AddCustomContext("image", "3840x2160 RgbaFloat");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
