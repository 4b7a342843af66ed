// The HDR pipeline behind the EffectsHdr... entry points: a merge session
// that takes exposures one at a time (peak memory: the caller's accumulator,
// one weight plane and the frame being added), and an aligner that keeps the
// reference's greys at every level of a 2x pyramid and finds
// each other frame's shift coarse to fine over threshold bitmaps made with
// the library's own threshold rule and compared with its error functions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace effects::detail {

enum class HdrWeighting : int32_t { triangle = 0, sine = 1 };
enum class HdrResponse : int32_t { gamma = 0, linear = 1 };
enum class HdrArea : int32_t { overlap = 0, centre = 1, best_zone = 2 };

class MergeSession {
public:
    // `acc` holds width x height R, G, B float triples, rows `acc_stride`
    // bytes apart; it is zero-filled here and receives the radiance.
    MergeSession(int32_t width, int32_t height, HdrWeighting weighting, HdrResponse response, float* acc,
                 std::ptrdiff_t acc_stride);
    // Adds frame pixel (x - dx, y - dy) into accumulator pixel (x, y) where
    // that pixel lies inside the frame; other pixels get nothing from it.
    void add(const uint8_t* bgra, std::ptrdiff_t stride, float exposure, int32_t dx, int32_t dy);
    // The weighted means; a pixel that no frame trusted ends as 0.
    void finish();

private:
    float* acc_row(int64_t y) { return reinterpret_cast<float*>(reinterpret_cast<uint8_t*>(acc_) + y * acc_stride_); }
    int32_t width_, height_;
    float* acc_;
    std::ptrdiff_t acc_stride_;
    double weights_[256];
    float response_[256];
    std::vector<float> plane_;
};

// One level of a pyramid: greys or a threshold bitmap, width x height bytes.
struct BitmapLevel {
    int32_t width = 0, height = 0;
    std::vector<uint8_t> bits;
};

class Aligner {
public:
    Aligner(int32_t width, int32_t height, const uint8_t* reference, std::ptrdiff_t stride, int32_t max_shift,
            HdrArea area);
    // Shift (dx, dy) of a frame of the reference's size: reference pixel
    // (x, y) shows what the frame holds at (x - dx, y - dy).
    void find(const uint8_t* bgra, std::ptrdiff_t stride, int32_t* dx, int32_t* dy) const;
    int32_t levels() const { return static_cast<int32_t>(reference_.size()); }
    int32_t zone() const { return zone_; }

private:
    double error(const BitmapLevel& ref, const BitmapLevel& other, int32_t dx, int32_t dy, int32_t mx, int32_t my) const;
    std::vector<BitmapLevel> reference_;
    int32_t max_shift_;
    HdrArea area_;
    int32_t zone_ = 0;
};

// Levels of the pyramid for a frame size and a maximum shift: halvings
// until the shift left to find is at most 4 pixels or the frame's smaller
// side would drop below 64 pixels.
int32_t pyramid_levels(int32_t width, int32_t height, int32_t max_shift);

// Greys of a Bgra8 frame at `levels` levels; level 0 is full size, each next
// level a 2x2 box average of the one before.
std::vector<BitmapLevel> grey_pyramid(int32_t width, int32_t height, const uint8_t* bgra, std::ptrdiff_t stride,
                                      int32_t levels);

}  // namespace effects::detail
