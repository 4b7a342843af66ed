// The HDR previews: an 8-bit overlay laid onto an 8-bit canvas with an
// opacity or as a difference, and the grey-out of everything outside a
// rectangle of a bitmap's rows.
#pragma once

#include <cstdint>

#include "display/bitmap_exchange.hpp"

namespace effects::detail {

struct OverlayPlacement {
    int32_t x, y;                  // overlay position in the canvas (may be negative)
    int32_t width, height;         // overlay size
    int32_t canvas_width, canvas_height;
};

// Returns -1 for opacity 0, otherwise 1; draws only in modes 0 (opacity mix)
// and 3 (difference). Only B, G, R of the canvas are written.
int32_t merge_hdr_preview(const OverlayPlacement& at, const uint8_t* overlay, uint8_t* canvas, int32_t opacity,
                          int32_t mode);

// Greys the exchange's rows outside the inclusive rectangle (left, top) ..
// (right, bottom), clamped to the image and put in order; row indices are
// those of the rows as read (bottom row first for an ordinary bitmap).
void grey_outside_region(const Rgb24Rows& rows, int32_t left, int32_t top, int32_t right, int32_t bottom);

}  // namespace effects::detail
