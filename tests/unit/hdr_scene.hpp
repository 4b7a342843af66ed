// Ground truth for the HDR pipeline: a known radiance map (smooth gradients
// over 12 stops, hard-edged shapes, fine texture, coloured), exposed at
// several times through the library's gamma response, quantised to 8 bits
// with noise, and rendered with known shifts. Header-only so that other
// programs (a demo renderer of the command-line tool) can reuse it.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace efx_scene {

// Radiance in linear units of the response table: the gamma response maps
// code Z to (Z / 64)^1.7 + 0.0001, so codes 16..240 of a frame of time t
// stand for radiance from about 0.1 / t to 9.5 / t.
struct Scene {
    int32_t width = 0, height = 0;  // canvas, larger than any frame by 2 x margin
    int32_t margin = 0;
    std::vector<float> rgb;         // R, G, B per canvas pixel

    // Radiance of channel c (0 R, 1 G, 2 B) at frame coordinates (x, y) of
    // an unshifted frame.
    float at(int32_t x, int32_t y, int c) const {
        return rgb[(static_cast<std::size_t>(y + margin) * width + (x + margin)) * 3 + c];
    }
};

// Integer hash in [0, 1).
inline float hash01(uint32_t x, uint32_t y, uint32_t seed) {
    uint32_t h = x * 0x8da6b343u ^ y * 0xd8163841u ^ seed * 0xcb1ab31fu;
    h ^= h >> 13;
    h *= 0x5bd1e995u;
    h ^= h >> 15;
    return static_cast<float>(h >> 8) / 16777216.0f;
}

// A frame_width x frame_height scene with `margin` pixels of canvas around
// it, radiance from 2^-6 to 2^6 (times a texture of +-15%).
inline Scene make_scene(int32_t frame_width, int32_t frame_height, int32_t margin, uint32_t seed) {
    Scene s;
    s.width = frame_width + 2 * margin;
    s.height = frame_height + 2 * margin;
    s.margin = margin;
    s.rgb.resize(static_cast<std::size_t>(s.width) * s.height * 3);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    struct Shape {
        float cx, cy, r;
        bool disc;
        float stops;  // radiance factor 2^stops inside
    };
    std::vector<Shape> shapes;
    const float scale = static_cast<float>(std::min(s.width, s.height));
    for (int i = 0; i < 24; ++i)
        shapes.push_back({u(rng) * s.width, u(rng) * s.height, (0.03f + 0.1f * u(rng)) * scale, i % 2 == 0,
                          std::round(u(rng) * 6.0f - 3.0f)});
    for (int32_t y = 0; y < s.height; ++y)
        for (int32_t x = 0; x < s.width; ++x) {
            const float fx = static_cast<float>(x) / s.width, fy = static_cast<float>(y) / s.height;
            // Smooth part: hills and valleys of +-5.5 stops, so that the
            // contours of equal radiance are closed curves, not parallel lines.
            float stops = 5.5f * std::sin(6.2831853f * (1.3f * fx + 0.2f)) * std::cos(6.2831853f * (0.9f * fy + 0.1f)) +
                          0.7f * std::sin(6.2831853f * (2.1f * fy + 1.7f * fx));
            for (const Shape& sh : shapes) {
                const float dx = static_cast<float>(x) - sh.cx, dy = static_cast<float>(y) - sh.cy;
                const bool inside = sh.disc ? dx * dx + dy * dy < sh.r * sh.r
                                            : std::fabs(dx) < sh.r && std::fabs(dy) < 0.6f * sh.r;
                if (inside) stops += sh.stops;
            }
            stops = std::clamp(stops, -6.0f, 6.0f);
            // Texture: +-15% per 2x2 cell, so it survives a halving.
            const float tex = 0.85f + 0.3f * hash01(static_cast<uint32_t>(x / 2), static_cast<uint32_t>(y / 2), seed);
            const float l = std::exp2(stops) * tex;
            float* p = &s.rgb[(static_cast<std::size_t>(y) * s.width + x) * 3];
            p[0] = l * (0.9f + 0.2f * fy);
            p[1] = l;
            p[2] = l * (1.1f - 0.2f * fx);
        }
    return s;
}

// The 8-bit code whose gamma response is nearest below radiance x time:
// the inverse of (Z / 64)^1.7 + 0.0001, plus Gaussian noise of `noise`
// codes, rounded and clamped.
inline uint8_t expose_code(float value, float noise, std::mt19937& rng) {
    const double v = std::max(0.0, static_cast<double>(value) - 0.0001);
    double z = 64.0 * std::pow(v, 1.0 / 1.7);
    if (noise > 0.0f) z += std::normal_distribution<double>(0.0, noise)(rng);
    return static_cast<uint8_t>(std::clamp(std::lround(z), 0L, 255L));
}

// A Bgra8 frame (packed rows, alpha 255) of exposure time `time` whose
// pixel (u, v) shows the scene at (u + dx, v + dy): aligned to an unshifted
// reference by the shift (dx, dy).
inline std::vector<uint8_t> render_frame(const Scene& s, int32_t width, int32_t height, float time, int32_t dx,
                                         int32_t dy, float noise, uint32_t seed) {
    std::vector<uint8_t> out(static_cast<std::size_t>(width) * height * 4);
    std::mt19937 rng(seed);
    for (int32_t v = 0; v < height; ++v)
        for (int32_t u = 0; u < width; ++u) {
            uint8_t* p = &out[(static_cast<std::size_t>(v) * width + u) * 4];
            for (int c = 0; c < 3; ++c) p[2 - c] = expose_code(s.at(u + dx, v + dy, c) * time, noise, rng);
            p[3] = 255;
        }
    return out;
}

}  // namespace efx_scene
