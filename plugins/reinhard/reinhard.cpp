// Tone-mapping plug-in: the photographic global operator of Reinhard,
// Stark, Shirley and Ferwerda (2002). The scene is scaled so that its
// log-average luminance (over the lit pixels) lands on the key value a,
// L = a / Lavg * Lw, and
// compressed with the burn-out curve Ld = L (1 + L / Lwhite^2) / (1 + L).
// Without a given key, a is estimated from the scene's range (Reinhard 2002,
// "Parameter estimation for photographic tone reproduction"); without a
// given white point, Lwhite is the scene's largest scaled luminance, so the
// brightest pixel maps to white and nothing burns out.
#include <cmath>

#include "common/tonemap_kit.hpp"

namespace {

using namespace effects_plugin;

// The automatic key: 0.18 * 4^((2 log2 Lavg - log2 Lmin - log2 Lmax) /
// (log2 Lmax - log2 Lmin)), with Lmin and Lmax the 1st and 99th percentile of
// the lit pixels; a scene without range keeps middle grey 0.18.
float automatic_key(const SceneStats& s) {
    if (!(s.low > 0.0f) || !(s.high > s.low)) return 0.18f;
    const float l2min = std::log2(s.low), l2max = std::log2(s.high), l2avg = std::log2(s.log_average);
    float f = (2.0f * l2avg - l2min - l2max) / (l2max - l2min);
    f = f < -1.0f ? -1.0f : (f > 1.0f ? 1.0f : f);
    return 0.18f * std::pow(4.0f, f);
}

struct Reinhard {
    float scale;      // a / Lavg
    float inv_white2; // 1 / Lwhite^2
    EFFECTS_PLUGIN_INLINE float operator()(float lw) const {
        const float l = scale * lw;
        return l * (1.0f + l * inv_white2) / (1.0f + l);
    }
};

EFFECTS_PLUGIN_ROW_CLONES void reinhard_row(const float* p, float* ratio, int64_t width, const Reinhard& op) {
    ratio_row(p, ratio, width, op);
}

}  // namespace

EFFECTS_PLUGIN_EXPORT int32_t ToneMapping128to32(intptr_t a1, intptr_t a2, intptr_t a3, intptr_t a4, intptr_t a5) {
    const auto check = [](const Call& c) {
        const bool bad_key = c.has(EFFECTS_TONEMAP_USES_KEY) && !(c.key > 0.0f);
        const bool bad_white = c.has(EFFECTS_TONEMAP_USES_WHITE) && !(c.white > 0.0f);
        return bad_key || bad_white ? EFFECTS_TONEMAP_ERROR_OPTIONS : EFFECTS_TONEMAP_OK;
    };
    const auto prepare = [](const Call& c) {
        const SceneStats s = scene_stats(c, !c.has(EFFECTS_TONEMAP_USES_KEY));
        const float key = c.has(EFFECTS_TONEMAP_USES_KEY) ? c.key : automatic_key(s);
        const float scale = key / s.log_average;
        const float white = c.has(EFFECTS_TONEMAP_USES_WHITE) ? c.white : scale * s.max;
        return Reinhard{scale, white > 0.0f ? 1.0f / (white * white) : 0.0f};
    };
    return tone_map_entry(a1, a2, a3, a4, a5, check, prepare, reinhard_row);
}

EFFECTS_PLUGIN_EXPORT int32_t TMOptionsUsed(intptr_t a1) {
    return report_options_used(a1, EFFECTS_TONEMAP_USES_KEY | EFFECTS_TONEMAP_USES_WHITE);
}
