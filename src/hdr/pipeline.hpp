// The streamed merge behind the EffectsHdrMerge... entry points: a session
// that takes exposures one at a time (peak memory: the caller's accumulator,
// one weight plane and the frame being added). The alignment search is in
// aligner.hpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace effects::detail {

enum class HdrWeighting : int32_t { triangle = 0, sine = 1 };
enum class HdrResponse : int32_t { gamma = 0, linear = 1 };

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

}  // namespace effects::detail
