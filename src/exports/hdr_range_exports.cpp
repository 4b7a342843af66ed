// C exports of HDR range analysis and preview: shims over src/hdr/range and
// src/hdr/preview; the region highlight wrapped in the bitmap exchange.
#include "display/bitmap_exchange.hpp"
#include "effects/effects.h"
#include "hdr/preview.hpp"
#include "hdr/range.hpp"

namespace hx = effects::detail;

extern "C" {

EFFECTS_API int32_t VexoHDR4Display(int32_t width, int32_t height, float* image) {
    hx::hdr_for_display(width, height, image);
    return 0;
}
EFFECTS_API int32_t VexoDebevecDynamicMax(int32_t width, int32_t height, float* image) {
    hx::scale_to_brightest_mean(width, height, image);
    return 0;
}
EFFECTS_API int32_t DebevecRGBMaxMin32Fast(int32_t width, int32_t height, const uint8_t* image, double* minimum,
                                           double* maximum) {
    hx::channel_range32(width, height, image, minimum, maximum);
    return 0;
}
EFFECTS_API int32_t DebevecRGBMaxMin64Fast(int32_t width, int32_t height, const uint16_t* image, double* minimum,
                                           double* maximum) {
    hx::channel_range64(width, height, image, minimum, maximum);
    return 0;
}
EFFECTS_API int32_t VexoHDRLinearMax(int32_t width, int32_t height, uint8_t* image) {
    hx::hdr_linear_max(width, height, image);
    return 0;
}
EFFECTS_API int32_t Vexo32MergeHDRPreview(int32_t x, int32_t y, int32_t overlayWidth, int32_t overlayHeight,
                                          const uint8_t* overlay, uint8_t* canvas, int32_t canvasWidth,
                                          int32_t canvasHeight, int32_t opacity, int32_t mode) {
    return hx::merge_hdr_preview({x, y, overlayWidth, overlayHeight, canvasWidth, canvasHeight}, overlay, canvas,
                                 opacity, mode);
}
EFFECTS_API int32_t VexoHDRRegion(EffectsDC dc, EffectsBitmap bitmap, int32_t left, int32_t top, int32_t right,
                                  int32_t bottom) {
    return hx::bitmap_exchange(dc, bitmap, dc, bitmap, [=](const hx::Rgb24Rows& rows) {
        hx::grey_outside_region(rows, left, top, right, bottom);
    });
}

}  // extern "C"
