// Tone-mapping plug-in: the adaptive logarithmic operator of Drago, Myszkowski,
// Annen and Chiba (2003). Luminance is taken relative to the scene's
// log-average (the world adaptation luminance Lwa), and mapped through a
// logarithm whose base moves from 2 in the shadows to 10 at the brightest
// pixel, the move shaped by the bias b (0.85 by default):
//   Ld = 1 / log10(Lmax + 1) * log(Lw + 1) / log(2 + 8 (Lw / Lmax)^(log b / log 0.5))
// with Lw and Lmax divided by Lwa. The display's maximum of 100 cd/m^2 and
// the paper's factor 0.01 cancel, so the brightest pixel maps to 1.
#include <cmath>

#include "common/tonemap_kit.hpp"

namespace {

using namespace effects_plugin;

inline constexpr float kDefaultBias = 0.85f;

struct Drago {
    float inv_lwa;     // 1 / Lwa
    float inv_max;     // 1 / (Lmax / Lwa)
    float exponent;    // log b / log 0.5
    float scale;       // 1 / log10(Lmax / Lwa + 1)
    EFFECTS_PLUGIN_INLINE float operator()(float lw) const {
        const float l = lw * inv_lwa;
        const float base = 2.0f + 8.0f * powf_poly(l * inv_max, exponent);
        // log(l + 1) / log(base) is a ratio of logarithms: any base will do.
        return scale * log2f_poly(l + 1.0f) / log2f_poly(base);
    }
};

EFFECTS_PLUGIN_ROW_CLONES void drago_row(const float* p, float* ratio, int64_t width, const Drago& op) {
    ratio_row(p, ratio, width, op);
}

}  // namespace

EFFECTS_PLUGIN_EXPORT int32_t ToneMapping128to32(intptr_t a1, intptr_t a2, intptr_t a3, intptr_t a4, intptr_t a5) {
    const auto bias = [](const Call& c) { return c.has(EFFECTS_TONEMAP_USES_BIAS) ? c.bias : kDefaultBias; };
    const auto check = [&](const Call& c) {
        const float b = bias(c);
        return b > 0.0f && b < 1.0f ? EFFECTS_TONEMAP_OK : EFFECTS_TONEMAP_ERROR_OPTIONS;
    };
    const auto prepare = [&](const Call& c) {
        const SceneStats s = scene_stats(c, false);
        const float lmax = s.max / s.log_average;
        // A black scene has no range to map: every pixel stays black.
        return Drago{1.0f / s.log_average, lmax > 0.0f ? 1.0f / lmax : 0.0f, std::log(bias(c)) / std::log(0.5f),
                     lmax > 0.0f ? 1.0f / std::log10(lmax + 1.0f) : 0.0f};
    };
    return tone_map_entry(a1, a2, a3, a4, a5, check, prepare, drago_row);
}

EFFECTS_PLUGIN_EXPORT int32_t TMOptionsUsed(intptr_t a1) {
    return report_options_used(a1, EFFECTS_TONEMAP_USES_BIAS);
}
