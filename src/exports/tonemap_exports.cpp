// C exports of the tone-mapping plug-in bridge, legacy and checked: shims
// over src/hdr/tonemap_bridge.cpp.
#include "effects/effects.h"
#include "hdr/tonemap_bridge.hpp"

extern "C" {

EFFECTS_API int32_t CallToneMapping(const char* pluginPath, intptr_t a1, intptr_t a2, intptr_t a3, intptr_t a4,
                                    intptr_t a5) {
    return effects::detail::call_tone_mapping(pluginPath, a1, a2, a3, a4, a5);
}

EFFECTS_API int32_t CallToneMappingOptions(const char* pluginPath, intptr_t a1) {
    return effects::detail::call_tone_mapping_options(pluginPath, a1);
}

EFFECTS_API int32_t EffectsToneMap(const char* plugin, int32_t width, int32_t height, const float* src,
                                   intptr_t src_stride, uint8_t* dst, intptr_t dst_stride,
                                   const EffectsToneMapOptions* options) {
    return effects::detail::tone_map_checked(plugin, width, height, src, src_stride, dst, dst_stride, options);
}

EFFECTS_API int32_t EffectsToneMapOptionsUsed(const char* plugin, uint32_t* used) {
    return effects::detail::tone_map_options_used(plugin, used);
}

}  // extern "C"
