// The effects command: subcommands merge, demo, info, tonemap and convert,
// and the older options that report the library it runs on, the pixel
// formats that library converts between, what a Radiance file holds, and
// measures of raw images (--stats).
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <new>
#include <vector>

#include "command_kit.hpp"
#include "effects/effects.hpp"
#include "effects/io.hpp"
#include "effects/stats.hpp"
#include "merge_command.hpp"

namespace cli {
int demo_command(Args& args);
int info_command(Args& args);
int tonemap_command(Args& args);
int convert_command(Args& args);
}  // namespace cli

namespace {

void print_usage(std::FILE* out) {
    std::fputs(
        "usage: effects COMMAND [ARGS...]   (effects COMMAND --help for details)\n"
        "  merge FRAME... -o OUT.hdr   merge a bracket of JPEG/PNG/TIFF frames into HDR\n"
        "  demo [-o DIR]               render a scene, bracket it, merge it (no input needed)\n"
        "  info FILE                   size, format, header and dynamic range of an image\n"
        "  tonemap IN.hdr -o OUT.png   tone-map an HDR image for display\n"
        "  convert IN OUT              between PNG, JPEG, TIFF, Radiance .hdr and VZM\n"
        "or: effects [--version] [--formats] [--hdr-info FILE] [--stats FORMAT WIDTH HEIGHT FILE] [--help]\n"
        "  --version         print the library version\n"
        "  --formats         list the pixel formats and the conversions between them\n"
        "  --hdr-info FILE   size, exposure, header and value range of a Radiance file\n"
        "  --stats FORMAT WIDTH HEIGHT FILE\n"
        "                    measure a raw image (packed rows of FORMAT, e.g. Bgra8 or RgbaFloat):\n"
        "                    luminance histogram summary, clipped pixels and HDR range in stops\n",
        out);
}

template <class Fmt>
void print_format(const char* suffix, const char* layout) {
    std::printf("  %-11s %-6s %2d bytes/pixel  %s\n", Fmt::name, suffix, Fmt::bytes_per_pixel, layout);
}

void print_formats() {
    std::puts("pixel formats:");
    print_format<effects::Bgra8>("32", "B,G,R,A 8-bit");
    print_format<effects::Rgba16>("64", "B,G,R,A 16-bit words holding 0..32767");
    print_format<effects::RgbaFloat>("128", "B,G,R,A float, 1.0 = white, HDR above");
    print_format<effects::Rgbe>("RGBE", "R,G,B mantissas + shared exponent");
    print_format<effects::Rgbea>("RGBEA", "B,G,R mantissas + exponent + alpha");
    print_format<effects::Rgb8>("24", "B,G,R 8-bit, rows padded to 4 bytes, bottom-up");
    print_format<effects::Rgb8Packed>("", "R,G,B 8-bit");
    print_format<effects::Rgb16>("16BIT", "R,G,B 16-bit, 0..65534");
    print_format<effects::RgbFloat>("", "R,G,B float");
    static const char* const names[] = {
        nullptr,           "Rgba16 -> Bgra8",       "Rgba16 -> Bgra8 (screen)", "RgbaFloat -> Bgra8",
        "RgbaFloat -> Rgba16", "Bgra8 -> Rgba16",   "Bgra8 -> RgbaFloat",       "Rgba16 -> RgbaFloat",
        "Bgra8 -> Rgbe",   "Rgb8 -> Bgra8",         "Bgra8 -> Rgb8Packed",      "Rgb8Packed -> Bgra8",
        "RgbaFloat -> RgbFloat", "RgbFloat -> RgbaFloat", "Rgba16 -> Rgb16",    "Rgb16 -> Rgba16",
        "RgbFloat -> Rgba16 (order kept)", "Bgra8 -> Rgbea", "Rgba16 -> Rgbea", "RgbaFloat -> Rgbea",
        "RgbFloat -> Rgbe", "RgbFloat -> Rgbea",    "Rgbe -> Rgbea",            "Rgbe -> RgbaFloat",
        "Rgbea -> RgbaFloat", "Rgbea -> RgbFloat",  "Rgbea -> Bgra8",           "RgbFloat -> RgbaFloat (gamma 1/2.2)",
        "Rgbe -> RgbaFloat (gamma 1/2.2)",
    };
    std::puts("conversions:");
    for (int id = EFFECTS_CONVERT_64_TO_32; id <= EFFECTS_CONVERT_RGBE_TO_128_GAMMA; ++id)
        if (EffectsConversionRowBytes(id, 0, 1) > 0) std::printf("  %s\n", names[id]);
}

// Statistics of one raw image of format Fmt read from `path`.
template <class Fmt>
int print_stats(const char* path, int32_t width, int32_t height) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "effects: cannot open '%s'\n", path);
        return 1;
    }
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    const std::ptrdiff_t row = effects::ImageView<const Fmt>::checked_row_bytes(width);
    if (width < 1 || height < 1 || static_cast<double>(bytes.size()) < static_cast<double>(row) * height) {
        std::fprintf(stderr, "effects: '%s' holds %zu bytes, not a %dx%d %s image\n", path, bytes.size(), width,
                     height, Fmt::name);
        return 1;
    }
    const effects::ImageView<const Fmt> image(bytes.data(), width, height);
    const effects::Histogram h = effects::luminance_histogram(image);
    double sum = 0;
    for (int i = 0; i < 256; ++i) sum += static_cast<double>(h[i]) * i;
    const effects::Clipping c = effects::clipping(image);
    const effects::RangeReport r = effects::hdr_range(image);
    std::printf("%s %dx%d\n", Fmt::name, width, height);
    std::printf("  mean luminance bin  %.2f\n", sum / static_cast<double>(c.pixels));
    std::printf("  clipped             %.4f%% over, %.4f%% under\n", 100 * c.over_fraction(),
                100 * c.under_fraction());
    std::printf("  luminance           min %.6g  low %.6g (%.1f%%)  max %.6g\n", r.min_luminance, r.low_luminance,
                100 * r.low_percentile, r.max_luminance);
    std::printf("  dynamic range       %.2f stops\n", r.stops);
    return 0;
}

int stats_command(const char* format, const char* w, const char* h, const char* path) {
    const int32_t width = std::atoi(w), height = std::atoi(h);
    struct Entry {
        const char* name;
        int (*run)(const char*, int32_t, int32_t);
    };
    static const Entry table[] = {
        {effects::Bgra8::name, print_stats<effects::Bgra8>},
        {effects::Rgba16::name, print_stats<effects::Rgba16>},
        {effects::RgbaFloat::name, print_stats<effects::RgbaFloat>},
        {effects::Rgbe::name, print_stats<effects::Rgbe>},
        {effects::Rgbea::name, print_stats<effects::Rgbea>},
        {effects::Rgb8::name, print_stats<effects::Rgb8>},
        {effects::Rgb8Packed::name, print_stats<effects::Rgb8Packed>},
        {effects::Rgb16::name, print_stats<effects::Rgb16>},
        {effects::RgbFloat::name, print_stats<effects::RgbFloat>},
    };
    for (const Entry& e : table)
        if (!std::strcmp(e.name, format)) {
            try {
                return e.run(path, width, height);
            } catch (const effects::Error& err) {
                std::fprintf(stderr, "effects: %s\n", err.what());
                return 1;
            }
        }
    std::fprintf(stderr, "effects: unknown pixel format '%s' (see --formats)\n", format);
    return 2;
}

// Reads a Radiance file and says what it holds; 1 when it cannot be read.
int print_hdr_info(const char* path) {
    try {
        const auto img = effects::io::read_radiance(path);
        float lo = 0, hi = 0;
        if (!img.pixels.empty()) lo = hi = img.pixels[0];
        for (float v : img.pixels) lo = v < lo ? v : lo, hi = v > hi ? v : hi;
        std::printf("%s: %d x %d, exposure %g%s, values %g to %g\n", path, img.width, img.height,
                    static_cast<double>(img.exposure), img.converted_from_xyz ? ", XYZ converted to RGB" : "",
                    static_cast<double>(lo), static_cast<double>(hi));
        for (const auto& line : img.header) std::printf("  %s\n", line.c_str());
        return 0;
    } catch (const effects::Error& e) {
        std::fprintf(stderr, "effects: %s\n", e.what());
        return 1;
    }
}

}  // namespace

// Runs a subcommand; a Failure (bad input) is one line and status 2.
int run_command(int (*command)(cli::Args&), int argc, char** argv) {
    try {
        cli::Args args(argc, argv, 2);
        return command(args);
    } catch (const cli::Failure& e) {
        std::fprintf(stderr, "effects %s: %s\n", argv[1], e.what());
        return 2;
    } catch (const effects::Error& e) {
        std::fprintf(stderr, "effects %s: %s\n", argv[1], e.what());
        return 2;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "effects %s: out of memory\n", argv[1]);
        return 1;
    }
}

// The command usually runs beside other busy programs. OpenMP threads that
// spin at the end of each parallel region while their partner is descheduled
// lose whole time slices there, and alignment runs many short regions (on a
// loaded 2-core machine it took 5x longer). Waiting threads should sleep;
// the runtime reads that choice only when it loads, so the command starts
// itself again once with it set, unless the user chose a policy.
void prefer_sleeping_threads(char** argv) {
    if (std::getenv("OMP_WAIT_POLICY")) return;
    if (setenv("OMP_WAIT_POLICY", "passive", 1) != 0) return;
    execv("/proc/self/exe", argv);  // returns only on failure: carry on as we are
}

int main(int argc, char** argv) {
    prefer_sleeping_threads(argv);
    if (argc >= 2) {
        static const struct {
            const char* name;
            int (*command)(cli::Args&);
        } commands[] = {{"merge", cli::merge_command},     {"demo", cli::demo_command},
                        {"info", cli::info_command},       {"tonemap", cli::tonemap_command},
                        {"convert", cli::convert_command}};
        for (const auto& c : commands)
            if (!std::strcmp(argv[1], c.name)) return run_command(c.command, argc, argv);
    }
    if (argc < 2) {
        std::printf("effects %s\n", EffectsVersion());
        print_formats();
        return 0;
    }
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--version")) {
            std::printf("effects %s\n", EffectsVersion());
        } else if (!std::strcmp(argv[i], "--formats")) {
            print_formats();
        } else if (!std::strcmp(argv[i], "--stats")) {
            if (i + 4 >= argc) {
                print_usage(stderr);
                return 2;
            }
            if (const int rc = stats_command(argv[i + 1], argv[i + 2], argv[i + 3], argv[i + 4])) return rc;
            i += 4;
        } else if (!std::strcmp(argv[i], "--hdr-info") && i + 1 < argc) {
            if (print_hdr_info(argv[++i]) != 0) return 1;
        } else if (!std::strcmp(argv[i], "--help") || !std::strcmp(argv[i], "-h")) {
            print_usage(stdout);
        } else {
            std::fprintf(stderr, "effects: unknown option '%s'\n", argv[i]);
            print_usage(stderr);
            return 2;
        }
    }
    return 0;
}
