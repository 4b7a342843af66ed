// `effects demo`: renders the built-in window scene, takes a hand-held
// bracket of it (five JPEG frames with small known shifts, sensor noise and
// their exposure times in EXIF), runs the merge path on those files, and
// reports the shifts found next to the true ones and the radiance error.
#include <algorithm>
#include <cmath>
#include <filesystem>

#include "demo_scene.hpp"
#include "effects/io.hpp"
#include "merge_command.hpp"

namespace cli {

namespace {

namespace fs = std::filesystem;

// Two stops apart, as powers of two, so the EXIF times are exact.
constexpr double kTimes[] = {1.0 / 2048, 1.0 / 512, 1.0 / 128, 1.0 / 32, 1.0 / 8};
// Where frame i's pixel (u, v) looks at the scene: (u + dx, v + dy). The
// middle frame is the reference.
constexpr effects::hdr::Shift kShifts[] = {{3, -2}, {-2, 1}, {0, 0}, {1, 3}, {-3, -2}};
constexpr int kFrames = 5;

effects::Image<effects::Bgra8> render_frame(const demo::Scene& scene, int i) {
    effects::Image<effects::Bgra8> frame(scene.width, scene.height);
    const auto t = static_cast<float>(kTimes[i]);
#pragma omp parallel for schedule(static)
    for (std::int32_t v = 0; v < scene.height; ++v) {
        std::uint8_t* p = frame.data() + v * frame.stride();
        for (std::int32_t u = 0; u < scene.width; ++u, p += 4) {
            float rgb[3];
            scene.at(u + kShifts[i].dx, v + kShifts[i].dy, rgb);
            for (int c = 0; c < 3; ++c)
                p[2 - c] = demo::expose(rgb[c] * t, 0.8f, static_cast<std::uint32_t>(u), static_cast<std::uint32_t>(v),
                                        static_cast<std::uint32_t>(100 + 10 * i + 4 * c));
            p[3] = 255;
        }
    }
    return frame;
}

effects::Image<effects::RgbFloat> render_truth(const demo::Scene& scene) {
    effects::Image<effects::RgbFloat> truth(scene.width, scene.height);
#pragma omp parallel for schedule(static)
    for (std::int32_t y = 0; y < scene.height; ++y) {
        auto* p = reinterpret_cast<float*>(truth.data() + y * truth.stride());
        for (std::int32_t x = 0; x < scene.width; ++x, p += 3) scene.at(x, y, p);
    }
    return truth;
}

// Median relative error of the merged radiance over the channels whose
// true value some frame codes between 32 and 224, away from the border
// that the shifts leave uncovered.
double median_error(effects::ImageView<const effects::RgbFloat> merged, effects::ImageView<const effects::RgbFloat> truth) {
    const double lo = std::pow(32.0 / 64.0, 1.7) / kTimes[kFrames - 1], hi = std::pow(224.0 / 64.0, 1.7) / kTimes[0];
    std::vector<float> errors;
    const int border = 8;
    for (std::int32_t y = border; y < truth.height() - border; y += 2) {
        const auto* m = reinterpret_cast<const float*>(merged.row(y));
        const auto* t = reinterpret_cast<const float*>(truth.row(y));
        for (std::int32_t i = 3 * border; i < 3 * (truth.width() - border); ++i)
            if (t[i] >= lo && t[i] <= hi) errors.push_back(std::fabs(m[i] - t[i]) / t[i]);
    }
    if (errors.empty()) return 0;
    const auto mid = errors.begin() + static_cast<std::ptrdiff_t>(errors.size() / 2);
    std::nth_element(errors.begin(), mid, errors.end());
    return *mid;
}

void demo_help(std::FILE* out) {
    std::fputs(
        "usage: effects demo [-o DIR] [--size WxH] [--frames-only] [-q]\n"
        "Renders a built-in room-and-window scene of about 15 stops, photographs it\n"
        "hand-held (5 JPEG frames two stops apart, small shifts, sensor noise,\n"
        "exposure times in EXIF) into DIR, then merges those files exactly as\n"
        "`effects merge` does and reports the shifts found beside the true ones.\n"
        "  -o, --output DIR  folder for frames, truth.hdr, merged.hdr, preview.png (demo-out)\n"
        "  --size WxH        frame size (1536x1024)\n"
        "  --frames-only     write the frames and stop (for benchmarks)\n"
        "  -q, --quiet       no progress on standard error\n",
        out);
}

}  // namespace

int demo_command(Args& args) {
    std::string dir = "demo-out";
    std::int32_t width = 1536, height = 1024;
    bool frames_only = false, quiet = false;
    while (!args.done()) {
        const std::string a = args.next();
        if (a == "-o" || a == "--output") dir = args.value(a);
        else if (a == "--size") {
            const std::string& s = args.value(a);
            if (std::sscanf(s.c_str(), "%dx%d", &width, &height) != 2 || width < 64 || height < 64 || width > 20000 ||
                height > 20000)
                throw Failure("--size: '" + s + "' is not WxH between 64 and 20000");
        } else if (a == "--frames-only") frames_only = true;
        else if (a == "-q" || a == "--quiet") quiet = true;
        else if (a == "-h" || a == "--help") return demo_help(stdout), 0;
        else throw Failure("demo: unknown argument '" + a + "'");
    }
    std::error_code ec;
    if (!fs::is_directory(dir, ec) && !fs::create_directory(dir, ec))
        throw Failure(dir + ": cannot create the output folder: " + ec.message());

    const demo::Scene scene{width, height};
    const Progress progress(quiet);
    MergeRequest request;
    const Stopwatch clock;
    for (int i = 0; i < kFrames; ++i) {
        progress.show("rendering", static_cast<std::size_t>(i + 1), kFrames);
        const std::string name = (fs::path(dir) / ("frame" + std::to_string(i + 1) + ".jpg")).string();
        write_jpeg(name, render_frame(scene, i).view(), 95, kTimes[i]);
        request.frames.push_back(name);
    }
    progress.clear();
    std::printf("rendered %d frames of %dx%d in %.2f s into %s\n", kFrames, width, height, clock.seconds(), dir.c_str());
    if (frames_only) return 0;

    request.output = (fs::path(dir) / "merged.hdr").string();
    request.preview = (fs::path(dir) / "preview.png").string();
    request.quiet = quiet;
    std::printf("\n$ effects merge");
    for (const auto& f : request.frames) std::printf(" %s", f.c_str());
    std::printf(" -o %s --preview %s\n", request.output.c_str(), request.preview.c_str());
    const MergeResult result = run_merge(request, stdout);

    const effects::Image<effects::RgbFloat> truth = render_truth(scene);
    effects::io::write_radiance((fs::path(dir) / "truth.hdr").string(), truth.view());
    const effects::io::RadianceImage merged = effects::io::read_radiance(request.output);

    std::printf("\nframe  true shift  found shift\n");
    bool all = true;
    for (int i = 0; i < kFrames; ++i) {
        const bool same = result.shifts[static_cast<std::size_t>(i)] == kShifts[i];
        all = all && same;
        std::printf("%5d  %+4d,%+-4d   %+4d,%+-4d  %s\n", i + 1, kShifts[i].dx, kShifts[i].dy,
                    result.shifts[static_cast<std::size_t>(i)].dx, result.shifts[static_cast<std::size_t>(i)].dy,
                    same ? "" : "differs");
    }
    std::printf("%s\n", all ? "all shifts found" : "some shifts differ");
    std::printf("median relative error against the scene where a frame is well exposed: %.2f%%\n",
                100.0 * median_error(merged.view(), truth.view()));
    std::printf("scene truth in %s\n", (fs::path(dir) / "truth.hdr").string().c_str());
    return all ? 0 : 1;
}

}  // namespace cli
