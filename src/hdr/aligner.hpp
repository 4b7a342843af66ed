// The alignment search behind EffectsHdrAligner...: coarse to fine over a
// 2x pyramid of greys, each level split into threshold bitmaps by the
// library's own threshold rule and compared with the measure of its error
// functions, on bitmaps packed 64 pixels to a word.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "hdr/align.hpp"

namespace effects::detail {

enum class HdrArea : int32_t { overlap = 0, centre = 1, best_zone = 2 };

// One level of a frame's pyramid: its greys (rows `width` bytes apart) and
// their histogram.
struct GreyLevel {
    int32_t width = 0, height = 0;
    std::unique_ptr<uint8_t[]> greys;
    std::array<int64_t, 256> bins{};
};

// Levels of the pyramid for a frame size and a maximum shift: halvings
// until the shift left to find is at most 4 pixels or the frame's smaller
// side would drop below 64 pixels.
int32_t pyramid_levels(int32_t width, int32_t height, int32_t max_shift);

// The grey that splits a level at quantile q: the lowest grey at or below
// which more than q of the level's pixels lie (255 at most).
int32_t split_grey(const GreyLevel& level, double q);
// Greys above the returned value are 1 in the bitmap that the threshold
// rule of VexoHDRCreateAlignMTB gives for the level split at `cut` into 0
// and 255 (-1: every pixel is 1; 255: none is).
int32_t bitmap_cut(const GreyLevel& level, int32_t cut);

class Aligner {
public:
    Aligner(int32_t width, int32_t height, const uint8_t* reference, std::ptrdiff_t stride, int32_t max_shift,
            HdrArea area);
    // Shift (dx, dy) of a frame of the reference's size: reference pixel
    // (x, y) shows what the frame holds at (x - dx, y - dy). The reference
    // itself lies (base_dx, base_dy) from the bracket's reference, and the
    // total (base + shift) stays within +-max_shift on each axis; |base| must
    // not pass max_shift.
    void find(const uint8_t* bgra, std::ptrdiff_t stride, int32_t base_dx, int32_t base_dy, int32_t* dx,
              int32_t* dy) const;
    int32_t levels() const { return static_cast<int32_t>(reference_.size()); }
    int32_t max_shift() const { return max_shift_; }

private:
    std::vector<GreyLevel> pyramid(const uint8_t* bgra, std::ptrdiff_t stride) const;
    int32_t width_, height_, max_shift_;
    HdrArea area_;
    int32_t zone_ = 0;
    std::vector<GreyLevel> reference_;
};

}  // namespace effects::detail
