/* Effects imaging engine: the contract of a tone-mapping plug-in.
 *
 * A tone-mapping plug-in is a shared library (a .so, or a DLL on Windows)
 * that exports two C functions under exact names. The library loads it by
 * file name for each call (CallToneMapping, CallToneMappingOptions and
 * EffectsToneMap in <effects/effects.h>), calls one entry and unloads it
 * again, so a plug-in keeps no state between calls. This header is all a
 * third party needs to write one; it declares no library function.
 *
 *   int32_t ToneMapping128to32(intptr_t a1, intptr_t a2, intptr_t a3,
 *                              intptr_t a4, intptr_t a5);
 *
 *     a1  width in pixels (0 or more)
 *     a2  height in pixels (0 or more)
 *     a3  const float*   source, RgbaFloat: four floats B, G, R, A per pixel,
 *                        linear light, 1.0 = reference white, larger values
 *                        allowed; negative and NaN channels count as 0
 *     a4  uint8_t*       destination, Bgra8: four bytes B, G, R, A per pixel,
 *                        display-ready (sRGB transfer curve applied)
 *     a5  const EffectsToneMapOptions*  the options below, or 0 (NULL) for
 *                        the plug-in's defaults and packed rows
 *
 *     Returns EFFECTS_TONEMAP_OK, or a negative EFFECTS_TONEMAP_ERROR_...
 *     code and then writes nothing. The legacy bridge (CallToneMapping)
 *     ignores the result; EffectsToneMap reports it.
 *
 *   int32_t TMOptionsUsed(intptr_t a1);
 *
 *     a1  uint32_t*      receives the set of EFFECTS_TONEMAP_USES_... bits
 *                        naming the options the plug-in reads; 0 (NULL) is
 *                        allowed and writes nothing
 *     Returns the same set of bits.
 *
 * Both entries must be exported with C linkage and the default calling
 * convention of the platform. The values are pointer-sized (intptr_t), so
 * pointers pass through unchanged on 64-bit hosts.
 *
 * Destination alpha: the source alpha times 255, rounded to the nearest
 * byte and clamped to 0..255.
 */
#ifndef EFFECTS_TONEMAP_PLUGIN_H
#define EFFECTS_TONEMAP_PLUGIN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Exact names of the two entries. */
#define EFFECTS_TONEMAP_ENTRY "ToneMapping128to32"
#define EFFECTS_TONEMAP_OPTIONS_ENTRY "TMOptionsUsed"

/* Results of ToneMapping128to32. */
#define EFFECTS_TONEMAP_OK 0
#define EFFECTS_TONEMAP_ERROR_ARGUMENT (-1) /* negative size, NULL pixels, short stride */
#define EFFECTS_TONEMAP_ERROR_OPTIONS (-2)  /* unknown version or size, or a value out of range */

/* Bits of EffectsToneMapOptions.given and of the set TMOptionsUsed reports. */
#define EFFECTS_TONEMAP_USES_KEY 0x1u   /* key: scene key value (middle grey), > 0 */
#define EFFECTS_TONEMAP_USES_WHITE 0x2u /* white: smallest luminance mapped to white, > 0 */
#define EFFECTS_TONEMAP_USES_BIAS 0x4u  /* bias: bias of the logarithm's base, in (0, 1) */

#define EFFECTS_TONEMAP_OPTIONS_VERSION 1u

/* Options of one call, version 1. The host fills size and version, sets the
   bit of every value it gives in `given` (values whose bit is clear are left
   to the plug-in's defaults, which may depend on the image), and may give row
   strides in bytes (0 means packed rows: width * 16 for the source, width * 4
   for the destination). A plug-in refuses a version it does not know and a
   size smaller than the version's structure; it ignores bytes past the
   fields it knows, so later versions may add fields at the end. */
typedef struct EffectsToneMapOptions {
    uint32_t size;    /* sizeof(EffectsToneMapOptions) as the host built it */
    uint32_t version; /* EFFECTS_TONEMAP_OPTIONS_VERSION */
    uint32_t given;   /* EFFECTS_TONEMAP_USES_... bits of the values below */
    float key;
    float white;
    float bias;
    intptr_t src_stride; /* 0, or at least width * 16 and a multiple of 4 */
    intptr_t dst_stride; /* 0, or at least width * 4 */
} EffectsToneMapOptions;

/* The entries' types, for a host that loads a plug-in itself. */
typedef int32_t (*EffectsToneMapEntry)(intptr_t, intptr_t, intptr_t, intptr_t, intptr_t);
typedef int32_t (*EffectsToneMapOptionsEntry)(intptr_t);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* EFFECTS_TONEMAP_PLUGIN_H */
