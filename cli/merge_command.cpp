// `effects merge`: every input is checked before any work (readable,
// decodable, one size, one exposure time each, outputs' folders present);
// then the frames are streamed through alignment and merging one at a time,
// so that memory holds the radiance sums, one weight plane and one frame.
#include "merge_command.hpp"

#include <algorithm>
#include <cmath>

#include "effects/io.hpp"

namespace cli {

namespace {

std::vector<double> parse_times(const std::string& text) {
    std::vector<double> times;
    std::size_t pos = 0;
    while (pos <= text.size()) {
        const std::size_t comma = std::min(text.find(',', pos), text.size());
        const std::string item = text.substr(pos, comma - pos);
        char* end = nullptr;
        double v = 0;
        v = std::strtod(item.c_str(), &end);
        if (*end == '/' && end != item.c_str()) {  // "1/250"
            const double den = std::strtod(end + 1, &end);
            v = den > 0 ? v / den : 0;
        }
        if (item.empty() || *end || !(v > 0) || !std::isfinite(v))
            throw Failure("--times: '" + item + "' is not a positive exposure time");
        times.push_back(v);
        pos = comma + 1;
    }
    return times;
}

// The frames' sizes agree and each has one exposure time, distinct from
// the others'.
std::vector<double> checked_times(const MergeRequest& r, std::int32_t& width, std::int32_t& height) {
    if (r.frames.size() < 2)
        throw Failure(r.frames.empty() ? "merge: no frames given"
                                       : r.frames[0] + ": a single frame; merging needs at least two exposures");
    for (std::size_t i = 0; i < r.frames.size(); ++i) {
        std::int32_t w = 0, h = 0;
        read_frame_size(r.frames[i], w, h);
        if (i == 0) width = w, height = h;
        if (w != width || h != height)
            throw Failure(r.frames[i] + ": " + effects::detail::size_text(w, h) + " frame, but " + r.frames[0] +
                          " is " + effects::detail::size_text(width, height));
    }
    std::vector<double> times = r.times;
    if (!times.empty() && times.size() != r.frames.size())
        throw Failure("--times: " + std::to_string(times.size()) + " exposure times for " +
                      std::to_string(r.frames.size()) + " frames");
    if (times.empty())
        for (const std::string& f : r.frames) {
            const auto t = exif_exposure_time(f);
            if (!t) throw Failure(f + ": no EXIF exposure time; give them all with --times");
            times.push_back(*t);
        }
    for (std::size_t i = 0; i < times.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            if (times[i] == times[j])
                throw Failure(r.frames[i] + ": same exposure time (" + seconds_text(times[i]) + ") as " + r.frames[j]);
    if (r.reference < 0 || r.reference > static_cast<int>(r.frames.size()))
        throw Failure("--reference: frame " + std::to_string(r.reference) + " of " +
                      std::to_string(r.frames.size()));
    if (r.max_shift < 0) throw Failure("--max-shift: must not be negative");
    check_output_folder(r.output);
    if (!r.preview.empty()) check_output_folder(r.preview);
    return times;
}

}  // namespace

MergeResult run_merge(const MergeRequest& r, std::FILE* report) {
    MergeResult result;
    result.times = checked_times(r, result.width, result.height);
    const Progress progress(r.quiet);

    // Frames come from loaders: each is decoded when a stage needs it and
    // dropped after. Decoding time is counted apart from the stages.
    double decoding = 0;
    std::string stage;
    std::size_t loaded = 0, total = 0;
    effects::hdr::Bracket bracket;
    for (std::size_t i = 0; i < r.frames.size(); ++i)
        bracket.add(
            [&, i]() {
                progress.show(stage, ++loaded, total);
                const Stopwatch clock;
                Frame f = read_frame(r.frames[i]);
                decoding += clock.seconds();
                if (f.image.width() != result.width || f.image.height() != result.height)
                    throw Failure(r.frames[i] + ": changed size while being read");
                return std::move(f.image);
            },
            static_cast<float>(result.times[i]));

    result.shifts.assign(r.frames.size(), {});
    double align_time = 0, align_decoding = 0;
    if (r.align) {
        stage = "aligning", loaded = 0, total = r.frames.size();
        effects::hdr::AlignOptions options;
        options.max_shift = r.max_shift;
        options.reference = r.reference - 1;
        const Stopwatch clock;
        result.shifts = effects::hdr::align(bracket, options);
        align_time = clock.seconds();
        align_decoding = decoding;
    }
    stage = "merging", loaded = 0, total = r.frames.size();
    const Stopwatch merge_clock;
    effects::Image<effects::RgbFloat> radiance =
        effects::hdr::merge(bracket, result.shifts, {r.weighting, r.response});
    const double merge_time = merge_clock.seconds() - (decoding - align_decoding);
    progress.clear();

    const Stopwatch write_clock;
    try {
        effects::io::write_radiance(r.output, radiance.view());
    } catch (const effects::Error& e) {
        throw Failure(r.output + ": " + e.what());
    }
    const double write_time = write_clock.seconds();
    result.range = effects::hdr_range(radiance.view());

    double preview_time = 0;
    if (!r.preview.empty()) {
        const Stopwatch clock;
        const effects::Image<effects::Bgra8> shown = effects::tonemap(to_rgba_float(radiance.view()).view(), r.tonemap);
        write_png(r.preview, shown.view());
        preview_time = clock.seconds();
    }

    for (std::size_t i = 0; i < r.frames.size(); ++i)
        std::fprintf(report, "frame %zu: %s  %s  shift %+d,%+d%s\n", i + 1, r.frames[i].c_str(),
                     seconds_text(result.times[i]).c_str(), result.shifts[i].dx, result.shifts[i].dy,
                     r.align ? "" : " (not aligned)");
    std::fprintf(report, "radiance: %dx%d, luminance %.4g to %.4g, dynamic range %.1f stops\n", result.width,
                 result.height, result.range.low_luminance, result.range.max_luminance, result.range.stops);
    std::fprintf(report, "time: decoding %.2f s, aligning %.2f s, merging %.2f s, writing %.2f s", decoding,
                 align_time - align_decoding, merge_time, write_time);
    if (!r.preview.empty()) std::fprintf(report, ", preview %.2f s", preview_time);
    std::fprintf(report, "\nwrote %s%s%s\n", r.output.c_str(), r.preview.empty() ? "" : " and ", r.preview.c_str());
    return result;
}

void merge_help(std::FILE* out) {
    std::fputs(
        "usage: effects merge FRAME... -o OUT.hdr [options]\n"
        "Merges a bracket of 8-bit JPEG, PNG or TIFF frames (16-bit samples are\n"
        "reduced to 8 bits) into a Radiance HDR file.\n"
        "  -o, --output OUT.hdr    the Radiance file to write (replaced only when complete)\n"
        "  --times T1,T2,...       exposure times in seconds (1/250 or 0.004), one per frame;\n"
        "                          default: each frame's EXIF ExposureTime\n"
        "  --no-align              merge the frames as they are\n"
        "  --max-shift N           largest shift in pixels between neighbouring frames (64)\n"
        "  --reference K           frame the others are aligned to, counted from 1 (middle one)\n"
        "  --weights triangle|sine pixel weighting over the 8-bit codes (triangle)\n"
        "  --response gamma|linear camera response assumed for the codes (gamma)\n"
        "  --preview PREVIEW.png   also write a tone-mapped preview\n"
        "  --tonemap reinhard|drago|PATH  operator or plug-in file for the preview (reinhard)\n"
        "  -q, --quiet             no progress on standard error\n"
        "Prints each frame's exposure time and shift, the dynamic range and the time\n"
        "per stage. Bad input: one line on standard error and exit status 2.\n",
        out);
}

int merge_command(Args& args) {
    MergeRequest r;
    while (!args.done()) {
        const std::string a = args.next();
        if (a == "-o" || a == "--output") r.output = args.value(a);
        else if (a == "--times") r.times = parse_times(args.value(a));
        else if (a == "--no-align") r.align = false;
        else if (a == "--max-shift") r.max_shift = args.integer(a);
        else if (a == "--reference") r.reference = args.integer(a);
        else if (a == "--weights") {
            const std::string& w = args.value(a);
            if (w == "triangle") r.weighting = effects::hdr::Weighting::triangle;
            else if (w == "sine") r.weighting = effects::hdr::Weighting::sine;
            else throw Failure("--weights: '" + w + "' is neither triangle nor sine");
        } else if (a == "--response") {
            const std::string& w = args.value(a);
            if (w == "gamma") r.response = effects::hdr::Response::gamma;
            else if (w == "linear") r.response = effects::hdr::Response::linear;
            else throw Failure("--response: '" + w + "' is neither gamma nor linear");
        } else if (a == "--preview") r.preview = args.value(a);
        else if (a == "--tonemap") r.tonemap = args.value(a);
        else if (a == "-q" || a == "--quiet") r.quiet = true;
        else if (a == "-h" || a == "--help") return merge_help(stdout), 0;
        else if (!a.empty() && a[0] == '-') throw Failure("merge: unknown option '" + a + "'");
        else r.frames.push_back(a);
    }
    if (r.output.empty()) throw Failure("merge: no output file; give -o OUT.hdr");
    run_merge(r, stdout);
    return 0;
}

}  // namespace cli
