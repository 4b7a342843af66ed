// Merging a bracket of 8-bit exposures into one radiance image: the weight
// and response tables, the accumulation of one exposure into the running
// sums, the final division, and the older offset path with its rescaling.
// The row kernels are shared with the streamed merge of the pipeline.
#pragma once

#include <cstdint>

namespace effects::detail {

// Tables indexed by an 8-bit code.
void weight_triangle(int32_t high, int32_t low, double* table);
void weight_sine(double* table);
void response_gamma(float* table, int32_t count);
void response_linear(float* table, int32_t count);

// The per-code terms of one exposure: the weight table as given, and the
// response times the exposure's 1/t (the first product of each channel's
// term, formed once per code instead of once per pixel).
struct CombineTable {
    double weight[256];
    float scaled[256];
    // When every weight is a float widened to double (the library's own
    // tables are), the same terms as pairs {scaled, weight as float}, one
    // 8-byte entry per code for the vector kernel.
    bool float_weights;
    float pairs[256][2];
};
void combine_table(const double* weights, const float* response, float inverse, CombineTable& table);

// One row of the accumulation: n Bgra8 pixels into n R, G, B float triples
// and n weight sums. The weight of a pixel is the mean of its three table
// entries, summed in double in the order red, green, blue; each channel adds
// scaled[code] x weight.
void combine_row(const uint8_t* src, float* acc, float* plane, int64_t n, const CombineTable& table);

// One row of the final division: a zero weight sum becomes 1.0 in the plane,
// then each channel is divided by the sum and multiplied by `inverse`.
void combine_final_row(float* acc, float* plane, int64_t n, float inverse);

// The exports' work, on packed rows.
void new_combine_array(int32_t width, int32_t height, float exposure, const uint8_t* pixels, float* acc,
                       const double* weights, const float* response, float* plane);
void new_combine_final(int32_t width, int32_t height, float* acc, float* plane, int32_t divisor);
void combine_array_offset(int32_t width, int32_t height, int32_t dx, int32_t dy, float factor,
                          const uint8_t* pixels, float* acc4);
// Brings the brightest pixel mean down to 2.0 on pixels of `channels` floats
// (3 or 4; only the first three are colour).
void final_adjustment(int32_t width, int32_t height, float* buffer, int channels);
void div_3_channels(int32_t width, int32_t height, int32_t divisor, float* buffer);
void correct_over_exposure(int32_t width, int32_t height, float* buffer);
int32_t brightness_figure(int32_t byte_count, const uint8_t* pixels);
void weighting_preview(int32_t width, int32_t height, uint8_t* pixels);

}  // namespace effects::detail
