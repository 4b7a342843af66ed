// Effects imaging engine: image statistics in C++. Luminance and
// per-channel histograms of an image of any format, the range of an HDR
// image in stops, and the clipped pixels of each frame of a bracket. Inline
// over the checked Effects... entry points of effects.h; every failure
// throws effects::Error.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "effects/effects.hpp"

namespace effects {

// The EffectsPixelFormat of a format type.
template <class Fmt>
struct pixel_format_id;
#define EFFECTS_FORMAT_ID(FMT, ID) \
    template <>                    \
    struct pixel_format_id<FMT> {  \
        static constexpr std::int32_t value = ID; \
    };
EFFECTS_FORMAT_ID(Bgra8, EFFECTS_FORMAT_BGRA8)
EFFECTS_FORMAT_ID(Rgba16, EFFECTS_FORMAT_RGBA16)
EFFECTS_FORMAT_ID(RgbaFloat, EFFECTS_FORMAT_RGBA_FLOAT)
EFFECTS_FORMAT_ID(Rgbe, EFFECTS_FORMAT_RGBE)
EFFECTS_FORMAT_ID(Rgbea, EFFECTS_FORMAT_RGBEA)
EFFECTS_FORMAT_ID(Rgb8, EFFECTS_FORMAT_RGB8)
EFFECTS_FORMAT_ID(Rgb8Packed, EFFECTS_FORMAT_RGB8_PACKED)
EFFECTS_FORMAT_ID(Rgb16, EFFECTS_FORMAT_RGB16)
EFFECTS_FORMAT_ID(RgbFloat, EFFECTS_FORMAT_RGB_FLOAT)
#undef EFFECTS_FORMAT_ID

// Pixels per bin 0..255.
using Histogram = std::array<std::uint64_t, 256>;

struct ChannelHistograms {
    Histogram red{}, green{}, blue{}, alpha{};
    bool has_alpha = false;  // alpha stays all 0 for formats without it
};

// Luminance relative to white (1.0) of an HDR image.
struct RangeReport {
    std::int64_t pixels = 0;
    std::int64_t positive_pixels = 0;  // luminance above 0
    double min_luminance = 0;          // smallest positive luminance
    double low_luminance = 0;          // positive luminance at the low percentile
    double max_luminance = 0;
    double stops = 0;                  // log2(max_luminance / low_luminance)
    double low_percentile = 0;
};

// Clipped pixels of one frame: over = some colour channel at full scale,
// under = every colour channel at 0.
struct Clipping {
    std::int64_t pixels = 0, over = 0, under = 0;
    double over_fraction() const { return pixels ? double(over) / double(pixels) : 0.0; }
    double under_fraction() const { return pixels ? double(under) / double(pixels) : 0.0; }
    double fraction() const { return pixels ? double(over + under) / double(pixels) : 0.0; }
};

// The low percentile of hdr_range: the dynamic range is measured from the
// positive luminance that 0.1 % of the lit pixels lie below, so a handful
// of black or nearly black pixels cannot make it endless.
inline constexpr double kDefaultLowPercentile = 0.001;

namespace detail {
inline void check_stats(std::int32_t rc, const char* what, const char* format) {
    if (rc < 0) throw Error(static_cast<Errc>(rc), std::string(what) + " of " + format + ": " + errc_text(rc));
}
template <class F>
using stats_format = std::remove_const_t<F>;
}  // namespace detail

// Luminance (0.2125 R + 0.7154 G + 0.0721 B in 8-bit units, binned with
// ClampToByte) histogram of any image.
template <class F>
Histogram luminance_histogram(ImageView<F> image) {
    using Fmt = detail::stats_format<F>;
    Histogram h{};
    detail::check_stats(EffectsLuminanceHistogram(pixel_format_id<Fmt>::value, image.width(), image.height(),
                                                  image.data(), image.stride(), h.data()),
                        "luminance histogram", Fmt::name);
    return h;
}

// Histograms of R, G, B (and A) in 8-bit units.
template <class F>
ChannelHistograms channel_histograms(ImageView<F> image) {
    using Fmt = detail::stats_format<F>;
    std::array<std::uint64_t, 4 * 256> bins{};
    const std::int32_t rc = EffectsChannelHistograms(pixel_format_id<Fmt>::value, image.width(), image.height(),
                                                     image.data(), image.stride(), bins.data());
    detail::check_stats(rc, "channel histograms", Fmt::name);
    ChannelHistograms out;
    Histogram* parts[] = {&out.red, &out.green, &out.blue, &out.alpha};
    for (int c = 0; c < 4; ++c)
        for (int i = 0; i < 256; ++i) (*parts[c])[i] = bins[c * 256 + i];
    out.has_alpha = rc == 4;
    return out;
}

// Range of an HDR image (any format; float formats keep values above 1.0).
template <class F>
RangeReport hdr_range(ImageView<F> image, double low_percentile = kDefaultLowPercentile) {
    using Fmt = detail::stats_format<F>;
    EffectsRangeReport r{};
    detail::check_stats(EffectsHdrRange(pixel_format_id<Fmt>::value, image.width(), image.height(), image.data(),
                                        image.stride(), low_percentile, &r),
                        "HDR range", Fmt::name);
    return {r.pixels,        r.positive_pixels, r.min_luminance, r.low_luminance,
            r.max_luminance, r.stops,           r.low_percentile};
}

template <class F>
Clipping clipping(ImageView<F> frame) {
    using Fmt = detail::stats_format<F>;
    EffectsClippedPixels c{};
    detail::check_stats(EffectsClipping(pixel_format_id<Fmt>::value, frame.width(), frame.height(), frame.data(),
                                        frame.stride(), &c),
                        "clipping", Fmt::name);
    return {c.pixels, c.over, c.under};
}

// Clipping of every frame of a bracket, in the order given.
template <class F>
std::vector<Clipping> bracket_clipping(const std::vector<ImageView<F>>& frames) {
    std::vector<Clipping> out;
    out.reserve(frames.size());
    for (const auto& f : frames) out.push_back(clipping(f));
    return out;
}

// The same on owned images.
template <class Fmt>
Histogram luminance_histogram(const Image<Fmt>& image) { return luminance_histogram(image.view()); }
template <class Fmt>
ChannelHistograms channel_histograms(const Image<Fmt>& image) { return channel_histograms(image.view()); }
template <class Fmt>
RangeReport hdr_range(const Image<Fmt>& image, double low_percentile = kDefaultLowPercentile) {
    return hdr_range(image.view(), low_percentile);
}
template <class Fmt>
Clipping clipping(const Image<Fmt>& frame) { return clipping(frame.view()); }

}  // namespace effects
