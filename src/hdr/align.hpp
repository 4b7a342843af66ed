// Exposure alignment: threshold bitmaps, the most frequent grey, the error
// of one candidate shift over each comparison area, and the zone choosers.
// The pipeline's coarse-to-fine search is built on these same functions.
#pragma once

#include <cstddef>
#include <cstdint>

namespace effects::detail {

// Grey (B + G + R) / 3 of n Bgra8 pixels, and of every pixel of an image
// into a packed plane.
void grey_row(const uint8_t* bgra, uint8_t* greys, int64_t n);
void grey_plane(int32_t width, int32_t height, const uint8_t* pixels, std::ptrdiff_t stride, uint8_t* greys);
// Replaces a plane of greys by its threshold bitmap.
void threshold_greys(int32_t width, int32_t height, uint8_t* greys);
// Rows of `pixels` are `stride` bytes apart; the bitmap's rows are packed.
void create_threshold_bitmap(int32_t width, int32_t height, uint8_t* bitmap, const uint8_t* pixels,
                             std::ptrdiff_t stride);
int32_t most_frequent_grey(int32_t width, int32_t height, const uint8_t* pixels);

// The threshold of VexoHDRCreateAlignMTB for greys from lo to hi summing
// to `sum` over `count` pixels; a grey above it is bright.
int32_t bitmap_threshold(int32_t lo, int32_t hi, int64_t sum, int64_t count);

// Half-open columns [x0, x1) and rows [y0, y1) of the reference that an
// error function compares; empty ({}) where the function returns 0.0.
struct XorArea {
    int64_t x0 = 0, x1 = 0, y0 = 0, y1 = 0;
    int64_t pixels() const { return x1 > x0 && y1 > y0 ? (x1 - x0) * (y1 - y0) : 0; }
};
XorArea region_area(int32_t width, int32_t height, int32_t dx, int32_t dy, int32_t left, int32_t right, int32_t top,
                    int32_t bottom);
XorArea zone_area(int32_t width, int32_t height, int32_t dx, int32_t dy, int32_t zone);

// Errors of the shift (dx, dy): the mean XOR of reference(x, y) and
// other(x - dx, y - dy) over each function's area.
double error_full(int32_t width, int32_t height, int32_t dx, int32_t dy, const uint8_t* ref, const uint8_t* other);
float error_third(int32_t width, int32_t height, int32_t dx, int32_t dy, const uint8_t* ref, const uint8_t* other);
double error_region(int32_t width, int32_t height, int32_t dx, int32_t dy, const uint8_t* ref, const uint8_t* other,
                    int32_t left, int32_t right, int32_t top, int32_t bottom);
double error_zone(int32_t width, int32_t height, int32_t dx, int32_t dy, const uint8_t* ref, const uint8_t* other,
                  int32_t zone);
double error_rotation_band(int32_t width, int32_t height, int32_t dx, int32_t dy, const uint8_t* ref,
                           const uint8_t* other);

// Zone 1..5 whose brightness lies nearest to (best) or farthest from (worst)
// mid-grey; 5 on every tie; 0 for an empty image.
int32_t best_zone(int32_t width, int32_t height, const uint8_t* pixels, std::ptrdiff_t stride);
int32_t worst_zone(int32_t width, int32_t height, const uint8_t* pixels, std::ptrdiff_t stride);

}  // namespace effects::detail
