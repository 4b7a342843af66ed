// The demo's built-in scene: a room lit by a window. A dark cabinet and far
// corners near 2^-1, a patterned picture and floor boards, a bright sky
// with clouds near 2^10 and a sun at 2^14, in the radiance units of the
// library's gamma response (code Z stands for (Z / 64)^1.7 + 0.0001). It
// is a function of position, so frames shifted by any amount are rendered
// without a canvas, and exposures of it are 8-bit codes with sensor noise.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace cli::demo {

// Integer hash in [0, 1).
inline float hash01(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
    std::uint32_t h = x * 0x8da6b343u ^ y * 0xd8163841u ^ seed * 0xcb1ab31fu;
    h ^= h >> 13;
    h *= 0x5bd1e995u;
    h ^= h >> 15;
    return static_cast<float>(h >> 8) / 16777216.0f;
}

struct Scene {
    std::int32_t width, height;

    // Radiance R, G, B at pixel (x, y) of the unshifted view (any integers).
    void at(std::int32_t x, std::int32_t y, float rgb[3]) const {
        const float fx = (static_cast<float>(x) + 0.5f) / static_cast<float>(width);
        const float fy = (static_cast<float>(y) + 0.5f) / static_cast<float>(height);
        const float aspect = static_cast<float>(width) / static_cast<float>(height);
        float stops;
        float tint[3] = {1.15f, 1.0f, 0.8f};  // warm interior light
        const bool in_window = fx > 0.55f && fx < 0.85f && fy > 0.1f && fy < 0.55f;
        const bool mullion = std::fabs(fx - 0.70f) < 0.008f || std::fabs(fy - 0.325f) < 0.008f * aspect ||
                             fx < 0.562f || fx > 0.838f || fy < 0.1f + 0.012f * aspect || fy > 0.55f - 0.012f * aspect;
        if (in_window && !mullion) {
            // Sky brightest at the top, bands of cloud, hills below, the sun.
            stops = 10.0f - 2.5f * (fy - 0.1f) / 0.45f;
            stops += 0.8f * std::max(0.0f, std::sin(fx * 47.0f + 2.0f * std::sin(fy * 23.0f)));
            tint[0] = 0.75f, tint[1] = 0.95f, tint[2] = 1.25f;
            if (fy > 0.42f + 0.05f * std::sin(fx * 31.0f)) {
                stops = 7.0f + 0.7f * std::sin(fx * 150.0f) * std::sin(fy * 90.0f);
                tint[0] = 0.8f, tint[1] = 1.1f, tint[2] = 0.7f;
            }
            const float sx = (fx - 0.63f) * aspect, sy = fy - 0.2f;
            if (sx * sx + sy * sy < 0.03f * 0.03f) {
                stops = 14.0f;
                tint[0] = tint[1] = tint[2] = 1.0f;
            }
        } else {
            // Interior lit from the window: light falls off with distance.
            const float dx = (fx - 0.7f) * aspect / 1.5f, dy = fy - 0.33f;
            stops = 3.0f - 3.8f * std::sqrt(dx * dx + dy * dy);
            if (in_window) stops = 0.5f;  // the window frame against the light
            if (fy > 0.72f) {            // floor boards and the light pool under the window
                stops += (static_cast<int>(std::floor(fx * 14.0f)) % 2 == 0) ? 0.4f : -0.2f;
                const float px = (fx - 0.66f) / 0.14f, py = (fy - 0.86f) / 0.07f;
                stops += 2.5f * std::exp(-(px * px + py * py));
            }
            if (fx > 0.08f && fx < 0.3f && fy > 0.38f && fy < 0.82f) stops = -1.0f + 0.4f * fy;  // dark cabinet
            if (fx > 0.14f && fx < 0.42f && fy > 0.1f && fy < 0.3f) {                          // a patterned picture
                const int cell = static_cast<int>(std::floor(fx * 60.0f)) + static_cast<int>(std::floor(fy * 40.0f));
                stops += (cell % 2 == 0) ? 1.0f : -1.2f;
                tint[0] = 1.3f, tint[1] = 0.8f, tint[2] = 0.7f;
            }
        }
        // Texture of +-15% per 2x2 cell, fixed to the scene.
        const float tex = 0.85f + 0.3f * hash01(static_cast<std::uint32_t>(x >> 1), static_cast<std::uint32_t>(y >> 1), 7u);
        const float l = std::exp2(stops) * tex;
        for (int c = 0; c < 3; ++c) rgb[c] = l * tint[c];
    }
};

// The 8-bit code of radiance x time under the gamma response, plus about
// Gaussian noise of `noise` codes (a sum of four hashed uniforms), rounded
// and clamped.
inline std::uint8_t expose(float value, float noise, std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
    const double v = std::max(0.0, static_cast<double>(value) - 0.0001);
    double z = 64.0 * std::pow(v, 1.0 / 1.7);
    if (noise > 0) {
        const float u = hash01(x, y, seed) + hash01(x, y, seed + 1) + hash01(x, y, seed + 2) + hash01(x, y, seed + 3);
        z += static_cast<double>((u - 2.0f) * 1.7320508f * noise);
    }
    return static_cast<std::uint8_t>(std::clamp(std::lround(z), 0L, 255L));
}

}  // namespace cli::demo
