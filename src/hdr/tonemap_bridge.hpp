// The bridge to tone-mapping plug-ins: load a library by name, call one of
// its entries with the caller's values, unload it. The legacy exports print
// one message and return 1 on failure; the checked entry points resolve
// operator names to the plug-ins installed next to the library, validate the
// images and report codes.
#pragma once

#include <cstdint>
#include <string>

#include "effects/effects.h"

namespace effects::detail {

// What became of one attempt to call a plug-in entry.
enum class PluginCall { called, no_library, no_entry };

// What to do with a library that loaded but lacks the entry. The legacy
// bridge keeps it loaded (its hosts have always seen it stay resident, and a
// plug-in's own resources live on with it); the checked path releases it.
enum class MissingEntry { keep_loaded, release };

// Loads `path`, looks up `entry` and calls call(entry_address), then
// releases the library. `result` receives what the call returned.
PluginCall call_plugin_entry(const char* path, const char* entry, MissingEntry missing, intptr_t a1, intptr_t a2,
                             intptr_t a3, intptr_t a4, intptr_t a5, int32_t* result);
PluginCall call_plugin_entry(const char* path, const char* entry, MissingEntry missing, intptr_t a1,
                             int32_t* result);

// CallToneMapping and CallToneMappingOptions.
int32_t call_tone_mapping(const char* path, intptr_t a1, intptr_t a2, intptr_t a3, intptr_t a4, intptr_t a5);
int32_t call_tone_mapping_options(const char* path, intptr_t a1);

// The file a plug-in argument names: a path (holding a separator) as it is,
// a bare name as effects_<name><suffix> in the library's own folder.
std::string plugin_file(const char* plugin);

// EffectsToneMap and EffectsToneMapOptionsUsed.
int32_t tone_map_checked(const char* plugin, int32_t width, int32_t height, const float* src, intptr_t src_stride,
                         uint8_t* dst, intptr_t dst_stride, const EffectsToneMapOptions* options);
int32_t tone_map_options_used(const char* plugin, uint32_t* used);

}  // namespace effects::detail
