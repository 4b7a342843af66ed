// Exposure alignment: threshold bitmaps, the most frequent grey, the error
// of one candidate shift over each comparison area, and the zone choosers.
// The pipeline's coarse-to-fine search is built on these same functions.
#pragma once

#include <cstddef>
#include <cstdint>

namespace effects::detail {

// Grey (B + G + R) / 3 of every pixel into a packed plane.
void grey_plane(int32_t width, int32_t height, const uint8_t* pixels, std::ptrdiff_t stride, uint8_t* greys);
// Replaces a plane of greys by its threshold bitmap.
void threshold_greys(int32_t width, int32_t height, uint8_t* greys);
// Rows of `pixels` are `stride` bytes apart; the bitmap's rows are packed.
void create_threshold_bitmap(int32_t width, int32_t height, uint8_t* bitmap, const uint8_t* pixels,
                             std::ptrdiff_t stride);
int32_t most_frequent_grey(int32_t width, int32_t height, const uint8_t* pixels);

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
