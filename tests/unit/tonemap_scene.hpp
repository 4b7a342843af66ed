// A compact high-dynamic-range test scene for the tone-mapping operators,
// in RgbaFloat (B, G, R, A; linear light, 1.0 = reference white). Three bands
// of equal height:
//  - a grey gradient whose luminance doubles every width / 14 pixels, from
//    2^-6 to 2^8 (14 stops), one value per column;
//  - hard edges: eight coloured patches side by side whose levels jump by up
//    to 12 stops from one patch to the next;
//  - texture: a fine seeded pattern of +-50 % around a level that sweeps six
//    stops across the band, mildly coloured.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace efx_test {

struct ToneScene {
    int32_t width = 0, height = 0;
    std::vector<float> pixels;  // width * height * 4 floats
    int32_t gradient_rows = 0;  // rows [0, gradient_rows) hold the gradient
    static constexpr float kLowStop = -6.0f, kStops = 14.0f;

    float* at(int32_t x, int32_t y) { return pixels.data() + (static_cast<size_t>(y) * width + x) * 4; }
    const float* at(int32_t x, int32_t y) const {
        return pixels.data() + (static_cast<size_t>(y) * width + x) * 4;
    }
};

inline void set_pixel(float* p, float r, float g, float b) {
    p[0] = b;
    p[1] = g;
    p[2] = r;
    p[3] = 1.0f;
}

inline ToneScene make_tone_scene(int32_t width = 384, int32_t band = 48) {
    ToneScene s;
    s.width = width;
    s.height = band * 3;
    s.gradient_rows = band;
    s.pixels.assign(static_cast<size_t>(s.width) * s.height * 4, 0.0f);
    for (int32_t y = 0; y < band; ++y)
        for (int32_t x = 0; x < width; ++x) {
            const float v = std::exp2(ToneScene::kLowStop + ToneScene::kStops * static_cast<float>(x) / (width - 1));
            set_pixel(s.at(x, y), v, v, v);
        }
    // Patches: level in stops and a colour, neighbours far apart.
    const float stops[8] = {-4, 6, -2, 4, 0, 7, -5, 2};
    // Saturated colours in the shadows and mid-tones, near-neutral ones in
    // the highlights (a saturated highlight rightly clips in one channel).
    const float colour[8][3] = {{1.0f, 0.9f, 0.8f}, {0.9f, 0.95f, 1.0f}, {1.0f, 0.6f, 0.5f}, {0.6f, 1.0f, 0.7f},
                                {0.9f, 0.9f, 0.9f}, {1.0f, 1.0f, 0.95f}, {0.5f, 0.6f, 1.0f}, {1.0f, 0.8f, 0.6f}};
    for (int32_t y = band; y < 2 * band; ++y)
        for (int32_t x = 0; x < width; ++x) {
            const int k = x * 8 / width;
            const float v = std::exp2(stops[k]);
            set_pixel(s.at(x, y), v * colour[k][0], v * colour[k][1], v * colour[k][2]);
        }
    std::mt19937 rng(20240607u);
    std::uniform_real_distribution<float> jitter(0.5f, 1.5f);
    for (int32_t y = 2 * band; y < 3 * band; ++y)
        for (int32_t x = 0; x < width; ++x) {
            const float level = std::exp2(-3.0f + 6.0f * static_cast<float>(x) / (width - 1));
            const float t = level * jitter(rng);
            set_pixel(s.at(x, y), t * 1.05f, t, t * 0.9f);
        }
    return s;
}

// Display luminance of a Bgra8 pixel in [0, 1] (Rec. 709 weights on the
// encoded values).
inline double display_luma(const uint8_t* p) { return (0.2126 * p[2] + 0.7152 * p[1] + 0.0722 * p[0]) / 255.0; }

// The sRGB transfer curve and its inverse, in double.
inline double srgb_encode(double v) { return v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1.0 / 2.4) - 0.055; }
inline double srgb_decode(double e) { return e <= 0.04045 ? e / 12.92 : std::pow((e + 0.055) / 1.055, 2.4); }
inline int srgb_byte(double v) {
    const double b = std::floor(srgb_encode(v < 0 ? 0 : (v > 1 ? 1 : v)) * 255.0 + 0.5);
    return static_cast<int>(b);
}

}  // namespace efx_test
