// C exports of the tonal and colour adjustments: shims over the kernels of
// src/adjust/, the handle-based members wrapped in the bitmap exchange.
#include "adjust/invert.hpp"
#include "display/bitmap_exchange.hpp"
#include "effects/effects.h"

using effects::detail::bitmap_exchange;
using effects::detail::Rgb24Rows;

extern "C" {

EFFECTS_API int32_t VexoInvert(EffectsDC destinationDC, EffectsBitmap destinationBitmap, EffectsDC sourceDC,
                               EffectsBitmap sourceBitmap, int32_t channel) {
    return bitmap_exchange(destinationDC, destinationBitmap, sourceDC, sourceBitmap,
                           [channel](const Rgb24Rows& rows) { effects::detail::invert_rgb24_rows(rows, channel); });
}

}  // extern "C"
