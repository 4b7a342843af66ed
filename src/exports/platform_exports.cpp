// C exports of <effects/platform.h>: the host's device contexts and bitmaps
// on systems without GDI. Built on those systems only.
#include "effects/platform.h"
#include "platform/posix_host.hpp"

namespace host = effects::detail::platform::posix;

extern "C" {

EFFECTS_API EffectsDC EffectsCreateMemoryDC(int32_t width, int32_t height) {
    return host::create_memory_dc(width, height);
}
EFFECTS_API int32_t EffectsDeleteDC(EffectsDC dc) { return host::delete_memory_dc(dc); }
EFFECTS_API int32_t EffectsGetDCSize(EffectsDC dc, int32_t* width, int32_t* height) {
    return host::dc_size(dc, width, height);
}
EFFECTS_API int32_t EffectsReadDC(EffectsDC dc, void* dst, int32_t size) { return host::read_dc(dc, dst, size); }
EFFECTS_API EffectsBitmap EffectsCreateBitmap(int32_t width, int32_t height, int32_t bitsPerPixel) {
    return host::create_bitmap(width, height, bitsPerPixel);
}
EFFECTS_API int32_t EffectsDeleteBitmap(EffectsBitmap bitmap) { return host::delete_bitmap(bitmap); }
EFFECTS_API int32_t EffectsBitmapStride(EffectsBitmap bitmap) { return host::bitmap_stride(bitmap); }
EFFECTS_API int32_t EffectsWriteBitmap(EffectsBitmap bitmap, const void* src, int32_t size) {
    return host::write_bitmap(bitmap, src, size);
}
EFFECTS_API int32_t EffectsReadBitmap(EffectsBitmap bitmap, void* dst, int32_t size) {
    return host::read_bitmap(bitmap, dst, size);
}

}  // extern "C"
