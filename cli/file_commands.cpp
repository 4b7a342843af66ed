// `effects info`, `effects tonemap` and `effects convert`: any image file
// the command reads becomes either 8-bit B, G, R, A or float R, G, B, and
// each output takes the pixel format its file kind holds best.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "command_kit.hpp"
#include "effects/io.hpp"
#include "effects/stats.hpp"

namespace cli {

namespace {

namespace fs = std::filesystem;

struct AnyImage {
    bool hdr = false;
    effects::Image<effects::Bgra8> ldr;
    effects::Image<effects::RgbFloat> radiance;
    std::string format;                // what the file held
    std::vector<std::string> header;  // Radiance header lines
    std::int32_t width() const { return hdr ? radiance.width() : ldr.width(); }
    std::int32_t height() const { return hdr ? radiance.height() : ldr.height(); }
};

effects::Image<effects::RgbFloat> to_rgb_float(effects::ImageView<const effects::RgbaFloat> image) {
    effects::Image<effects::RgbFloat> out(image.width(), image.height());
    effects::convert(image, out.view());
    return out;
}

// A VZM file: its 16-byte header, then the pixels as they lay in memory;
// the bytes per pixel tell which of the four layouts it holds.
AnyImage read_vzm(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    unsigned char h[16];
    if (!in.read(reinterpret_cast<char*>(h), 16)) throw Failure(path + ": corrupt VZM: short header");
    const auto word = [&](int at) {
        return static_cast<std::uint32_t>(h[at] | h[at + 1] << 8 | h[at + 2] << 16) |
               static_cast<std::uint32_t>(h[at + 3]) << 24;
    };
    const std::uint32_t w = word(8), ht = word(12);
    std::error_code ec;
    const auto bytes = fs::file_size(path, ec) - 16;
    const std::uint64_t pixels = static_cast<std::uint64_t>(w) * ht;
    if (ec || w == 0 || ht == 0 || w > 65535 || ht > 65535 || bytes % pixels != 0)
        throw Failure(path + ": corrupt VZM: " + std::to_string(w) + "x" + std::to_string(ht) + " does not match " +
                      std::to_string(bytes) + " bytes of pixels");
    const auto width = static_cast<std::int32_t>(w), height = static_cast<std::int32_t>(ht);
    std::vector<char> data(bytes);
    if (!in.read(data.data(), static_cast<std::streamsize>(bytes))) throw Failure(path + ": cannot read the pixels");
    AnyImage image;
    switch (bytes / pixels) {
        case 4:
            image.ldr = effects::Image<effects::Bgra8>(width, height);
            std::copy(data.begin(), data.end(), image.ldr.data());
            image.format = "VZM, 8-bit B,G,R,A";
            return image;
        case 8:
            image.ldr = effects::Image<effects::Bgra8>(width, height);
            effects::convert(effects::ImageView<const effects::Rgba16>(data.data(), width, height), image.ldr.view());
            image.format = "VZM, 16-bit B,G,R,A (reduced to 8 bits)";
            return image;
        case 16:
            image.hdr = true;
            image.radiance = to_rgb_float(effects::ImageView<const effects::RgbaFloat>(data.data(), width, height));
            image.format = "VZM, float B,G,R,A";
            return image;
        case 5: {
            image.hdr = true;
            effects::Image<effects::RgbaFloat> wide(width, height);
            effects::convert(effects::ImageView<const effects::Rgbea>(data.data(), width, height), wide.view());
            image.radiance = to_rgb_float(wide.view());
            image.format = "VZM, RGBEA";
            return image;
        }
        default: throw Failure(path + ": corrupt VZM: " + std::to_string(bytes / pixels) + " bytes per pixel");
    }
}

AnyImage read_any(const std::string& path) {
    AnyImage image;
    const FileKind kind = kind_from_content(path);
    if (kind == FileKind::radiance) {
        effects::io::RadianceImage r;
        try {
            r = effects::io::read_radiance(path);
        } catch (const effects::Error& e) {
            throw Failure(e.what());
        }
        image.hdr = true;
        image.radiance = effects::Image<effects::RgbFloat>(r.width, r.height);
        std::copy(r.pixels.begin(), r.pixels.end(), reinterpret_cast<float*>(image.radiance.data()));
        image.header = r.header;
        image.format = r.converted_from_xyz ? "Radiance HDR (XYZ, converted to RGB)" : "Radiance HDR (RGBE)";
        return image;
    }
    if (kind == FileKind::vzm) return read_vzm(path);
    Frame f = read_frame(path);
    image.ldr = std::move(f.image);
    image.format = std::string(kind_name(kind)) + ", " + std::to_string(f.source_bits) + "-bit" +
                   (f.source_bits > 8 ? " (reduced to 8 bits)" : "");
    return image;
}

// Writes through the library's VZM writer into a pending file's place.
void write_vzm(const std::string& path, const AnyImage& image) {
    PendingFile out(path);
    const std::u16string name = fs::path(out.temporary_path()).u16string();
    const auto* wide = reinterpret_cast<const EffectsChar16*>(name.c_str());
    if (image.hdr) {
        const auto rgba = to_rgba_float(image.radiance.view());
        VexoSaveVZMFile128(wide, image.width(), image.height(), 0, 0, reinterpret_cast<const float*>(rgba.data()));
    } else {
        VexoSaveVZMFile32(wide, image.width(), image.height(), 0, 0, image.ldr.data());
    }
    std::error_code ec;
    const auto expected = 16 + static_cast<std::uintmax_t>(image.width()) * static_cast<std::uintmax_t>(image.height()) *
                                   (image.hdr ? 16u : 4u);
    if (fs::file_size(out.temporary_path(), ec) != expected) throw Failure(path + ": cannot write VZM");
    out.commit();
}

void draw_histogram(const std::string& path, const std::vector<double>& counts, double first, double step,
                    bool log_axis) {
    const std::int32_t w = 640, h = 320, margin = 20;
    effects::Image<effects::Bgra8> plot(w, h);
    std::fill(plot.data(), plot.data() + plot.stride() * h, std::uint8_t{255});
    const double top = *std::max_element(counts.begin(), counts.end());
    const auto bins = static_cast<std::int32_t>(counts.size());
    const std::int32_t inner = w - 2 * margin;
    auto put = [&](std::int32_t x, std::int32_t y, std::uint8_t b, std::uint8_t g, std::uint8_t r) {
        std::uint8_t* p = plot.data() + y * plot.stride() + 4 * x;
        p[0] = b, p[1] = g, p[2] = r;
    };
    // Grid lines at whole stops (HDR) or every 32 codes (8-bit).
    for (std::int32_t x = 0; x < inner; ++x) {
        const double v0 = first + step * bins * x / inner, v1 = first + step * bins * (x + 1) / inner;
        const double grid = log_axis ? 1.0 : 32.0;
        if (std::floor(v1 / grid) != std::floor(v0 / grid))
            for (std::int32_t y = margin; y < h - margin; ++y) put(x + margin, y, 220, 220, 220);
    }
    for (std::int32_t x = 0; x < inner; ++x) {
        const double c = counts[static_cast<std::size_t>(x * bins / inner)];
        const auto bar = static_cast<std::int32_t>(top > 0 ? c / top * (h - 2 * margin) : 0);
        for (std::int32_t y = h - margin - bar; y < h - margin; ++y) put(x + margin, y, 160, 90, 40);
    }
    for (std::int32_t x = margin; x < w - margin; ++x) put(x, h - margin, 0, 0, 0);
    write_png(path, plot.view());
}

int info(Args& args) {
    std::string file, histogram;
    while (!args.done()) {
        const std::string a = args.next();
        if (a == "--histogram") histogram = args.value(a);
        else if (a == "-h" || a == "--help") {
            std::puts("usage: effects info FILE [--histogram PLOT.png]\n"
                      "Size, format, Radiance header lines, luminance range and dynamic range in\n"
                      "stops of a PNG, JPEG, TIFF, Radiance .hdr or VZM file. --histogram draws\n"
                      "the luminance histogram (over stops for HDR images) as a PNG picture.");
            return 0;
        } else if (file.empty()) file = a;
        else throw Failure("info: one file at a time ('" + a + "')");
    }
    if (file.empty()) throw Failure("info: no file given");
    if (!histogram.empty()) check_output_folder(histogram);
    const AnyImage image = read_any(file);
    std::printf("%s: %dx%d, %s\n", file.c_str(), image.width(), image.height(), image.format.c_str());
    for (const auto& line : image.header) std::printf("  %s\n", line.c_str());
    std::vector<double> counts;
    double first = 0, step = 1;
    if (image.hdr) {
        const effects::RangeReport r = effects::hdr_range(image.radiance.view());
        std::printf("luminance: %.4g to %.4g (smallest positive %.4g; %lld of %lld pixels above zero)\n", r.low_luminance,
                    r.max_luminance, r.min_luminance, static_cast<long long>(r.positive_pixels), static_cast<long long>(r.pixels));
        std::printf("dynamic range: %.1f stops\n", r.stops);
        if (!histogram.empty() && r.positive_pixels > 0) {  // quarter-stop bins over log2 luminance
            first = std::floor(std::log2(r.min_luminance)), step = 0.25;
            counts.assign(static_cast<std::size_t>((std::ceil(std::log2(r.max_luminance)) - first) / step) + 1, 0);
            for (std::int32_t y = 0; y < image.height(); ++y) {
                const auto* p = reinterpret_cast<const float*>(image.radiance.view().row(y));
                for (std::int32_t x = 0; x < image.width(); ++x, p += 3) {
                    const float l = 0.2126f * p[0] + 0.7152f * p[1] + 0.0722f * p[2];
                    if (l > 0 && std::isfinite(l))
                        counts[std::min(counts.size() - 1, static_cast<std::size_t>((std::log2(l) - first) / step))] += 1;
                }
            }
        }
    } else {
        if (const auto t = exif_exposure_time(file)) std::printf("exposure time: %s\n", seconds_text(*t).c_str());
        counts.assign(256, 0);
        int lo = 255, hi = 0;
        for (std::int32_t y = 0; y < image.height(); ++y) {
            const std::uint8_t* p = image.ldr.view().row(y);
            for (std::int32_t x = 0; x < image.width(); ++x, p += 4) {
                const int l = (2126 * p[2] + 7152 * p[1] + 722 * p[0] + 5000) / 10000;
                lo = std::min(lo, l), hi = std::max(hi, l);
                counts[static_cast<std::size_t>(l)] += 1;
            }
        }
        std::printf("luminance codes: %d to %d (8-bit, display-encoded)\n", lo, hi);
    }
    if (!histogram.empty()) {
        if (counts.empty()) throw Failure(file + ": no pixel above zero to draw");
        draw_histogram(histogram, counts, first, step, image.hdr);
        std::printf("histogram written to %s\n", histogram.c_str());
    }
    return 0;
}

int tonemap(Args& args) {
    std::string in, out, op = effects::reinhard;
    effects::ToneMapOptions options;
    while (!args.done()) {
        const std::string a = args.next();
        if (a == "-o" || a == "--output") out = args.value(a);
        else if (a == "--operator") {
            op = args.value(a);
            if (op != "reinhard" && op != "drago") throw Failure("--operator: '" + op + "' is neither reinhard nor drago");
        } else if (a == "--plugin") op = args.value(a);
        else if (a == "--key") options.key = static_cast<float>(args.number(a));
        else if (a == "--white") options.white = static_cast<float>(args.number(a));
        else if (a == "--bias") options.bias = static_cast<float>(args.number(a));
        else if (a == "-h" || a == "--help") {
            std::puts("usage: effects tonemap IN.hdr -o OUT.png [--operator reinhard|drago] [--plugin PATH]\n"
                      "                       [--key K] [--white W] [--bias B]\n"
                      "Tone-maps an HDR image (Radiance .hdr or float VZM) for display and writes a\n"
                      "PNG, JPEG or TIFF by the output's name. --plugin loads an operator from a\n"
                      "plug-in file; --key and --white are read by reinhard, --bias by drago.");
            return 0;
        } else if (in.empty()) in = a;
        else throw Failure("tonemap: unexpected argument '" + a + "'");
    }
    if (in.empty() || out.empty()) throw Failure("tonemap: needs IN.hdr and -o OUT.png");
    check_output_folder(out);
    if (kind_from_name(out) == FileKind::unknown || kind_from_name(out) == FileKind::radiance ||
        kind_from_name(out) == FileKind::vzm)
        throw Failure(out + ": tone-mapped output must be .png, .jpg or .tif");
    const AnyImage image = read_any(in);
    if (!image.hdr) throw Failure(in + ": an 8-bit image; tone mapping needs HDR input");
    const Stopwatch clock;
    const auto shown = effects::tonemap(to_rgba_float(image.radiance.view()).view(), op, options);
    write_ldr(out, shown.view());
    std::printf("tone-mapped %s (%dx%d) with %s into %s in %.2f s\n", in.c_str(), image.width(), image.height(),
                op.c_str(), out.c_str(), clock.seconds());
    return 0;
}

int convert(Args& args) {
    std::vector<std::string> files;
    while (!args.done()) {
        const std::string a = args.next();
        if (a == "-h" || a == "--help") {
            std::puts("usage: effects convert IN OUT\n"
                      "Converts between PNG, JPEG, TIFF, Radiance .hdr and VZM by the output's name:\n"
                      "8-bit images stay 8-bit (VZM: B,G,R,A bytes); HDR images stay float\n"
                      "(VZM: float B,G,R,A). An 8-bit image written as .hdr keeps its codes scaled\n"
                      "to 0..1; an HDR image written as PNG, JPEG or TIFF is tone-mapped (reinhard).");
            return 0;
        }
        files.push_back(a);
    }
    if (files.size() != 2) throw Failure("convert: needs IN and OUT");
    const std::string &in = files[0], &out = files[1];
    const FileKind kind = kind_from_name(out);
    if (kind == FileKind::unknown) throw Failure(out + ": unknown output kind (.png, .jpg, .tif, .hdr or .vzm)");
    check_output_folder(out);
    AnyImage image = read_any(in);
    std::string did;
    if (kind == FileKind::vzm) {
        write_vzm(out, image);
        did = image.hdr ? "float B,G,R,A" : "8-bit B,G,R,A";
    } else if (kind == FileKind::radiance) {
        if (!image.hdr) {
            effects::Image<effects::RgbaFloat> wide(image.width(), image.height());
            effects::convert(image.ldr.view(), wide.view());
            image.radiance = to_rgb_float(wide.view());
            did = "RGBE, 8-bit codes scaled to 0..1 (no response curve applied)";
        } else {
            did = "RGBE";
        }
        try {
            effects::io::write_radiance(out, image.radiance.view());
        } catch (const effects::Error& e) {
            throw Failure(e.what());
        }
    } else {
        if (image.hdr) {
            image.ldr = effects::tonemap(to_rgba_float(image.radiance.view()).view(), effects::reinhard);
            did = std::string(kind_name(kind)) + " 8-bit, tone-mapped with reinhard";
        } else {
            did = std::string(kind_name(kind)) + " 8-bit";
        }
        write_ldr(out, image.ldr.view());
    }
    std::printf("%s (%dx%d, %s) -> %s (%s)\n", in.c_str(), image.width(), image.height(), image.format.c_str(),
                out.c_str(), did.c_str());
    return 0;
}

}  // namespace

int info_command(Args& args) { return info(args); }
int tonemap_command(Args& args) { return tonemap(args); }
int convert_command(Args& args) { return convert(args); }

}  // namespace cli
