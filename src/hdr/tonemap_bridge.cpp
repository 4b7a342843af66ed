// The tone-mapping plug-in bridge over the platform's dynamic loader.
#include "hdr/tonemap_bridge.hpp"

#include <cstdio>
#include <cstring>

#include "frame/image_checks.hpp"
#include "platform/platform.hpp"

namespace effects::detail {
namespace {

namespace pf = platform;

// Looks the entry up and calls it through fn(entry_address); see
// call_plugin_entry.
template <class Call>
PluginCall with_entry(const char* path, const char* entry, MissingEntry missing, Call&& call) {
    pf::Library library = pf::load_library(path);
    if (!library) return PluginCall::no_library;
    void* address = pf::find_entry(library, entry);
    if (!address) {
        if (missing == MissingEntry::release) pf::free_library(library);
        return PluginCall::no_entry;
    }
    call(address);
    pf::free_library(library);
    return PluginCall::called;
}

template <class Fn>
Fn entry_as(void* address) {
    Fn fn;
    std::memcpy(&fn, &address, sizeof fn);
    return fn;
}

// The legacy result: 0 once the entry ran, else the message and 1.
int32_t legacy_result(PluginCall outcome) {
    if (outcome == PluginCall::called) return 0;
    std::printf("Couldn't load plugin.\n");
    std::fflush(stdout);
    return 1;
}

int32_t checked_result(PluginCall outcome, int32_t plugin_result) {
    switch (outcome) {
        case PluginCall::no_library: return EFFECTS_ERROR_PLUGIN_NOT_FOUND;
        case PluginCall::no_entry: return EFFECTS_ERROR_PLUGIN_ENTRY;
        case PluginCall::called: break;
    }
    return plugin_result == EFFECTS_TONEMAP_OK ? EFFECTS_OK : EFFECTS_ERROR_PLUGIN_REFUSED;
}

}  // namespace

PluginCall call_plugin_entry(const char* path, const char* entry, MissingEntry missing, intptr_t a1, intptr_t a2,
                             intptr_t a3, intptr_t a4, intptr_t a5, int32_t* result) {
    return with_entry(path, entry, missing, [&](void* address) {
        *result = entry_as<EffectsToneMapEntry>(address)(a1, a2, a3, a4, a5);
    });
}

PluginCall call_plugin_entry(const char* path, const char* entry, MissingEntry missing, intptr_t a1,
                             int32_t* result) {
    return with_entry(path, entry, missing,
                      [&](void* address) { *result = entry_as<EffectsToneMapOptionsEntry>(address)(a1); });
}

int32_t call_tone_mapping(const char* path, intptr_t a1, intptr_t a2, intptr_t a3, intptr_t a4, intptr_t a5) {
    int32_t ignored = 0;
    return legacy_result(
        call_plugin_entry(path, EFFECTS_TONEMAP_ENTRY, MissingEntry::keep_loaded, a1, a2, a3, a4, a5, &ignored));
}

int32_t call_tone_mapping_options(const char* path, intptr_t a1) {
    int32_t ignored = 0;
    return legacy_result(
        call_plugin_entry(path, EFFECTS_TONEMAP_OPTIONS_ENTRY, MissingEntry::keep_loaded, a1, &ignored));
}

std::string plugin_file(const char* plugin) {
    if (std::strpbrk(plugin, "/\\")) return plugin;
    return pf::module_directory() + "effects_" + plugin + pf::library_suffix();
}

int32_t tone_map_checked(const char* plugin, int32_t width, int32_t height, const float* src, intptr_t src_stride,
                         uint8_t* dst, intptr_t dst_stride, const EffectsToneMapOptions* options) {
    if (!plugin || !*plugin) return EFFECTS_ERROR_NULL_POINTER;
    const int32_t rc = check_image_pair(width, height, {src, src_stride, 16, 1, 4}, {dst, dst_stride, 4, 1, 1});
    if (rc != EFFECTS_OK) return rc;
    // The plug-in sees the host's options with the strides of this call; an
    // options block older or newer than ours travels as version 1.
    EffectsToneMapOptions given{};
    if (options) {
        if (options->size < sizeof(EffectsToneMapOptions)) return EFFECTS_ERROR_PLUGIN_REFUSED;
        given = *options;
        given.size = sizeof(EffectsToneMapOptions);
    } else {
        given.size = sizeof(EffectsToneMapOptions);
        given.version = EFFECTS_TONEMAP_OPTIONS_VERSION;
    }
    given.src_stride = src_stride;
    given.dst_stride = dst_stride;
    const std::string file = plugin_file(plugin);
    int32_t result = 0;
    const PluginCall outcome =
        call_plugin_entry(file.c_str(), EFFECTS_TONEMAP_ENTRY, MissingEntry::release, width, height,
                          reinterpret_cast<intptr_t>(src), reinterpret_cast<intptr_t>(dst),
                          reinterpret_cast<intptr_t>(&given), &result);
    return checked_result(outcome, result);
}

int32_t tone_map_options_used(const char* plugin, uint32_t* used) {
    if (!plugin || !*plugin || !used) return EFFECTS_ERROR_NULL_POINTER;
    const std::string file = plugin_file(plugin);
    uint32_t bits = 0;
    int32_t result = 0;
    const PluginCall outcome = call_plugin_entry(file.c_str(), EFFECTS_TONEMAP_OPTIONS_ENTRY, MissingEntry::release,
                                                 reinterpret_cast<intptr_t>(&bits), &result);
    const int32_t rc = checked_result(outcome, EFFECTS_TONEMAP_OK);
    if (rc == EFFECTS_OK) *used = bits;
    return rc;
}

}  // namespace effects::detail
