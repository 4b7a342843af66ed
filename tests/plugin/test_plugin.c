/* A stand-in tone-mapping plug-in for the loader tests: one entry under the
   plug-in's entry name, which adds four values into the int32 that the
   first one points at and returns 7. */
#include <stdint.h>

#if defined(_WIN32)
#define PLUGIN_EXPORT __declspec(dllexport)
#else
#define PLUGIN_EXPORT __attribute__((visibility("default")))
#endif

PLUGIN_EXPORT int32_t ToneMapping128to32(intptr_t out, intptr_t a, intptr_t b, intptr_t c, intptr_t d) {
    *(int32_t*)out = (int32_t)(a + b + c + d);
    return 7;
}
