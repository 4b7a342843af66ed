// C exports of the statistics subsystem: the Histogram..., DynamicRange...
// and exposure members over the kernels of src/stats/, and the checked
// Effects... measures behind the C++ statistics (stats.hpp).
#include "effects/effects.h"
#include "stats/measures.hpp"
#include "stats/stats.hpp"

namespace sx = effects::detail;
using sx::Figures;
using sx::pixels_of_count;
using sx::pixels_of_size;

namespace {
const uint8_t* bytes(const void* p) { return static_cast<const uint8_t*>(p); }

// Histogram128Fast only starts its figures; the values stay as they start.
void start_figures(double* minimum, double* maximum, double* sum) {
    *minimum = 1e10;
    *maximum = 1e-10;
    *sum = 0.0;
}
}  // namespace

extern "C" {

// ---- luminance histograms ----

EFFECTS_API int32_t Histogram32Fast(int32_t count, const uint8_t* image, float* histogram, double* minimum,
                                    double* maximum, double* minimumNonZero, double* sum) {
    const Figures f{minimum, maximum, minimumNonZero, sum};
    sx::histogram_luma32(pixels_of_count(count), image, histogram, &f);
    return count;
}
EFFECTS_API int32_t Histogram64Fast(int32_t count, const uint16_t* image, float* histogram, double* minimum,
                                    double* maximum, double* minimumNonZero, double* sum) {
    const Figures f{minimum, maximum, minimumNonZero, sum};
    sx::histogram_luma64(pixels_of_count(count), bytes(image), histogram, &f);
    return count;
}
EFFECTS_API int32_t Histogram128Fast(int32_t width, int32_t height, const uint8_t* image, float* histogram,
                                     double* minimum, double* maximum, double* unused, double* sum) {
    (void)unused;
    start_figures(minimum, maximum, sum);
    sx::histogram_luma_rgbea(pixels_of_size(width, height), image, histogram);
    return 0;
}
EFFECTS_API int32_t Histogram32Lean(int32_t count, const uint8_t* image, float* histogram) {
    sx::histogram_luma32(pixels_of_count(count), image, histogram, nullptr);
    return count;
}
EFFECTS_API int32_t Histogram64Lean(int32_t count, const uint16_t* image, float* histogram) {
    sx::histogram_luma64(pixels_of_count(count), bytes(image), histogram, nullptr);
    return count;
}
EFFECTS_API int32_t Histogram128Lean(int32_t width, int32_t height, const uint8_t* image, float* histogram) {
    sx::histogram_luma_rgbea(pixels_of_size(width, height), image, histogram);
    return 0;
}

// ---- single-channel histograms ----

EFFECTS_API int32_t HistogramChannel32Fast(int32_t count, const uint8_t* image, float* histogram, double* minimum,
                                           double* maximum, double* minimumNonZero, double* sum, int32_t channel) {
    const Figures f{minimum, maximum, minimumNonZero, sum};
    sx::histogram_channel32(pixels_of_count(count), image, histogram, &f, channel);
    return count;
}
EFFECTS_API int32_t HistogramChannel64Fast(int32_t count, const uint16_t* image, float* histogram, double* minimum,
                                           double* maximum, double* minimumNonZero, double* sum, int32_t channel) {
    const Figures f{minimum, maximum, minimumNonZero, sum};
    sx::histogram_channel64(pixels_of_count(count), bytes(image), histogram, &f, channel);
    return count;
}
EFFECTS_API int32_t HistogramChannel128Fast(int32_t width, int32_t height, const uint8_t* image, float* histogram,
                                            double* minimum, double* maximum, double* minimumNonZero, double* sum,
                                            int32_t channel) {
    const Figures f{minimum, maximum, minimumNonZero, sum};
    sx::histogram_channel_rgbea(pixels_of_size(width, height), image, histogram, &f, channel);
    return 0;
}
EFFECTS_API int32_t HistogramChannel32Lean(int32_t count, const uint8_t* image, float* histogram, int32_t channel) {
    sx::histogram_channel32(pixels_of_count(count), image, histogram, nullptr, channel);
    return count;
}
EFFECTS_API int32_t HistogramChannel64Lean(int32_t count, const uint16_t* image, float* histogram, int32_t channel) {
    sx::histogram_channel64(pixels_of_count(count), bytes(image), histogram, nullptr, channel);
    return count;
}
EFFECTS_API int32_t HistogramChannel128Lean(int32_t width, int32_t height, const uint8_t* image, float* histogram,
                                            int32_t channel) {
    sx::histogram_channel_rgbea(pixels_of_size(width, height), image, histogram, nullptr, channel);
    return 0;
}

// ---- exposure figures ----

EFFECTS_API int32_t DynamicRange32Fast(int32_t count, const uint8_t* image, double* minimum, double* maximum,
                                       double* unused, double* sum) {
    (void)unused;
    sx::dynamic_range32(pixels_of_count(count), image, minimum, maximum, sum);
    return count;
}
EFFECTS_API int32_t DynamicRange64Fast(int32_t count, const uint16_t* image, double* minimum, double* maximum,
                                       double* unused, double* sum) {
    (void)unused;
    sx::dynamic_range64(pixels_of_count(count), bytes(image), minimum, maximum, sum);
    return count;
}
EFFECTS_API int32_t DynamicRange128Fast(int32_t count, const float* image, double* minimum, double* maximum,
                                        double* secondMinimum, double* sum) {
    sx::dynamic_range128(pixels_of_count(count), image, minimum, maximum, secondMinimum, sum);
    return count;
}
EFFECTS_API int32_t DetermineTemperature32(int32_t count, const uint8_t* image, uint16_t* blue, uint16_t* green,
                                           uint16_t* red) {
    sx::determine_temperature32(pixels_of_count(count), image, blue, green, red);
    return count;
}
EFFECTS_API int32_t VexoOverUnderExposedPixels32(int32_t width, int32_t height, uint8_t* image) {
    sx::over_under_exposed32(width, height, image);
    return 0;
}

// ---- checked measures ----

EFFECTS_API int32_t EffectsLuminanceHistogram(int32_t format, int32_t width, int32_t height, const void* pixels,
                                              intptr_t stride, uint64_t* bins) {
    return sx::luminance_histogram({format, width, height, bytes(pixels), stride}, bins);
}
EFFECTS_API int32_t EffectsChannelHistograms(int32_t format, int32_t width, int32_t height, const void* pixels,
                                             intptr_t stride, uint64_t* bins) {
    return sx::channel_histograms({format, width, height, bytes(pixels), stride}, bins);
}
EFFECTS_API int32_t EffectsHdrRange(int32_t format, int32_t width, int32_t height, const void* pixels,
                                    intptr_t stride, double lowPercentile, EffectsRangeReport* report) {
    return sx::hdr_range({format, width, height, bytes(pixels), stride}, lowPercentile, report);
}
EFFECTS_API int32_t EffectsClipping(int32_t format, int32_t width, int32_t height, const void* pixels,
                                    intptr_t stride, EffectsClippedPixels* clipped) {
    return sx::clipping({format, width, height, bytes(pixels), stride}, clipped);
}

}  // extern "C"
