// C exports of the HDR subsystem: the merge and alignment members (thin
// shims over src/hdr/, unchecked like every legacy export) and the checked
// EffectsHdr... entry points of the streamed pipeline.
#include <cmath>
#include <new>
#include <stdexcept>

#include "effects/effects.h"
#include "frame/image_checks.hpp"
#include "hdr/align.hpp"
#include "hdr/aligner.hpp"
#include "hdr/merge.hpp"
#include "hdr/pipeline.hpp"

namespace ed = effects::detail;

struct EffectsHdrMerge {
    ed::MergeSession session;
    int32_t width, height;
    bool finished = false;
};

struct EffectsHdrAligner {
    ed::Aligner aligner;
    int32_t width, height;
};

namespace {

// A Bgra8 frame and the pipeline's R, G, B float radiance.
ed::ImageSide bgra8(const void* p, intptr_t stride) { return {p, stride, 4, 1, 1}; }
ed::ImageSide rgb_float(const void* p, intptr_t stride) { return {p, stride, 12, 1, 4}; }

template <class Make>
int32_t create(Make make) {
    try {
        return make();
    } catch (const std::bad_alloc&) {
        return EFFECTS_ERROR_OUT_OF_MEMORY;
    } catch (const std::length_error&) {
        return EFFECTS_ERROR_TOO_LARGE;
    }
}

}  // namespace

extern "C" {

// ---- merging ----

EFFECTS_API int32_t VexoHDRWeight_Triangle(int32_t high, int32_t low, double* table) {
    ed::weight_triangle(high, low, table);
    return 0;
}
EFFECTS_API int32_t VexoHDRWeight_Sine(int32_t, int32_t, double* table) {
    ed::weight_sine(table);
    return 0;
}
EFFECTS_API void VexoHDRResponse_Gamma(float* table, int32_t count) { ed::response_gamma(table, count); }
EFFECTS_API void VexoHDRResponse_Linear(float* table, int32_t count) { ed::response_linear(table, count); }
EFFECTS_API int32_t VexoHDRNewCombineArray(int32_t width, int32_t height, float exposure, const uint8_t* pixels,
                                           float* accumulator, const double* weights, const float* response,
                                           float* plane) {
    ed::new_combine_array(width, height, exposure, pixels, accumulator, weights, response, plane);
    return 0;
}
EFFECTS_API int32_t VexoHDRNewCombineFinal(int32_t width, int32_t height, float* accumulator, float* plane,
                                           int32_t divisor) {
    ed::new_combine_final(width, height, accumulator, plane, divisor);
    return 0;
}
EFFECTS_API int32_t VexoHDRCombineArray(int32_t width, int32_t height, int32_t dx, int32_t dy, float factor,
                                        const uint8_t* pixels, float* accumulator) {
    ed::combine_array_offset(width, height, dx, dy, factor, pixels, accumulator);
    return 0;
}
EFFECTS_API int32_t VexoHDRFinalAdjustment(int32_t width, int32_t height, int32_t, float* buffer) {
    ed::final_adjustment(width, height, buffer, 4);
    return 0;
}
EFFECTS_API int32_t VexoHDRFinalAdjustment3Channels(int32_t width, int32_t height, int32_t, float* buffer) {
    ed::final_adjustment(width, height, buffer, 3);
    return 0;
}
EFFECTS_API int32_t VexoHDR_div3Channels(int32_t width, int32_t height, int32_t divisor, float* buffer) {
    ed::div_3_channels(width, height, divisor, buffer);
    return 0;
}
EFFECTS_API int32_t VexoHDRCorrectOverExposure(int32_t width, int32_t height, float* buffer) {
    ed::correct_over_exposure(width, height, buffer);
    return 0;
}
EFFECTS_API int32_t VexoHDR_Average(int32_t byteCount, const uint8_t* pixels) {
    return ed::brightness_figure(byteCount, pixels);
}
EFFECTS_API int32_t VexoHDR_Sine_Weighting_Filter(int32_t width, int32_t height, uint8_t* pixels) {
    ed::weighting_preview(width, height, pixels);
    return 0;
}

// ---- alignment ----

EFFECTS_API int32_t VexoHDRCreateAlignMTB(int32_t width, int32_t height, uint8_t* bitmap, const uint8_t* pixels) {
    ed::create_threshold_bitmap(width, height, bitmap, pixels, int64_t{width} * 4);
    return 0;
}
EFFECTS_API int32_t VexoHDRDetermineMedianValue(int32_t width, int32_t height, const uint8_t* pixels) {
    return ed::most_frequent_grey(width, height, pixels);
}
EFFECTS_API double VexoHDRTotalAlignmentFull(int32_t width, int32_t height, int32_t dx, int32_t dy,
                                             const uint8_t* reference, const uint8_t* other) {
    return ed::error_full(width, height, dx, dy, reference, other);
}
EFFECTS_API float VexoHDRTotalAlignmentThird(int32_t width, int32_t height, int32_t dx, int32_t dy,
                                             const uint8_t* reference, const uint8_t* other) {
    return ed::error_third(width, height, dx, dy, reference, other);
}
EFFECTS_API double VexoHDRTotalAlignmentRegion(int32_t width, int32_t height, int32_t dx, int32_t dy,
                                               const uint8_t* reference, const uint8_t* other, int32_t left,
                                               int32_t right, int32_t top, int32_t bottom) {
    return ed::error_region(width, height, dx, dy, reference, other, left, right, top, bottom);
}
EFFECTS_API double VexoHDRTotalAlignmentZones(int32_t width, int32_t height, int32_t dx, int32_t dy,
                                              const uint8_t* reference, const uint8_t* other, int32_t zone) {
    return ed::error_zone(width, height, dx, dy, reference, other, zone);
}
EFFECTS_API double VexoHDRTotalAlignmentRotateZones(int32_t width, int32_t height, int32_t dx, int32_t dy,
                                                    const uint8_t* reference, const uint8_t* other) {
    return ed::error_rotation_band(width, height, dx, dy, reference, other);
}
EFFECTS_API int32_t VexoHDRDetermineBestZone(int32_t width, int32_t height, const uint8_t* pixels) {
    return ed::best_zone(width, height, pixels, int64_t{width} * 4);
}
EFFECTS_API int32_t VexoHDRDetermineWorstZone(int32_t width, int32_t height, const uint8_t* pixels) {
    return ed::worst_zone(width, height, pixels, int64_t{width} * 4);
}

// ---- pipeline ----

EFFECTS_API int32_t EffectsHdrMergeCreate(int32_t width, int32_t height, int32_t weighting, int32_t response,
                                          float* rgb, intptr_t stride, EffectsHdrMerge** merge) {
    if (!merge) return EFFECTS_ERROR_NULL_POINTER;
    *merge = nullptr;
    if (const int32_t rc = ed::check_image(width, height, rgb_float(rgb, stride))) return rc;
    if ((weighting != EFFECTS_HDR_WEIGHT_TRIANGLE && weighting != EFFECTS_HDR_WEIGHT_SINE) ||
        (response != EFFECTS_HDR_RESPONSE_GAMMA && response != EFFECTS_HDR_RESPONSE_LINEAR))
        return EFFECTS_ERROR_BAD_ARGUMENT;
    return create([&] {
        *merge = new EffectsHdrMerge{ed::MergeSession(width, height, static_cast<ed::HdrWeighting>(weighting),
                                                      static_cast<ed::HdrResponse>(response), rgb, stride),
                                     width, height};
        return EFFECTS_OK;
    });
}

EFFECTS_API int32_t EffectsHdrMergeAdd(EffectsHdrMerge* merge, const uint8_t* bgra, intptr_t stride, float exposure,
                                       int32_t dx, int32_t dy) {
    if (!merge) return EFFECTS_ERROR_NULL_POINTER;
    if (const int32_t rc = ed::check_image(merge->width, merge->height, bgra8(bgra, stride))) return rc;
    if (merge->finished || !std::isfinite(exposure) || !(exposure > 0.0f)) return EFFECTS_ERROR_BAD_ARGUMENT;
    merge->session.add(bgra, stride, exposure, dx, dy);
    return EFFECTS_OK;
}

EFFECTS_API int32_t EffectsHdrMergeFinish(EffectsHdrMerge* merge) {
    if (!merge) return EFFECTS_ERROR_NULL_POINTER;
    if (merge->finished) return EFFECTS_ERROR_BAD_ARGUMENT;
    merge->session.finish();
    merge->finished = true;
    return EFFECTS_OK;
}

EFFECTS_API void EffectsHdrMergeDestroy(EffectsHdrMerge* merge) { delete merge; }

EFFECTS_API int32_t EffectsHdrAlignerCreate(int32_t width, int32_t height, const uint8_t* reference,
                                            intptr_t stride, int32_t maxShift, int32_t area,
                                            EffectsHdrAligner** aligner) {
    if (!aligner) return EFFECTS_ERROR_NULL_POINTER;
    *aligner = nullptr;
    if (const int32_t rc = ed::check_image(width, height, bgra8(reference, stride))) return rc;
    if (maxShift < 0 || area < EFFECTS_HDR_AREA_OVERLAP || area > EFFECTS_HDR_AREA_BEST_ZONE)
        return EFFECTS_ERROR_BAD_ARGUMENT;
    return create([&] {
        *aligner = new EffectsHdrAligner{
            ed::Aligner(width, height, reference, stride, maxShift, static_cast<ed::HdrArea>(area)), width, height};
        return EFFECTS_OK;
    });
}

EFFECTS_API int32_t EffectsHdrAlignerFind(const EffectsHdrAligner* aligner, const uint8_t* bgra, intptr_t stride,
                                          int32_t baseDx, int32_t baseDy, int32_t* dx, int32_t* dy) {
    if (!aligner || !dx || !dy) return EFFECTS_ERROR_NULL_POINTER;
    if (const int32_t rc = ed::check_image(aligner->width, aligner->height, bgra8(bgra, stride))) return rc;
    const int32_t limit = aligner->aligner.max_shift();
    if (baseDx < -limit || baseDx > limit || baseDy < -limit || baseDy > limit) return EFFECTS_ERROR_BAD_ARGUMENT;
    return create([&] {
        aligner->aligner.find(bgra, stride, baseDx, baseDy, dx, dy);
        return EFFECTS_OK;
    });
}

EFFECTS_API void EffectsHdrAlignerDestroy(EffectsHdrAligner* aligner) { delete aligner; }

}  // extern "C"
