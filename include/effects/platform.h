/* Effects imaging engine: device contexts and bitmaps for hosts without GDI.
 *
 * The members of the library that take a device context (EffectsDC) or a
 * bitmap (EffectsBitmap) draw into and exchange rows with objects of the host.
 * On Windows those are the host's own HDC and HBITMAP values, and this header
 * declares nothing more. On other systems the library keeps the objects
 * itself, and the host makes, fills, reads and deletes them here:
 *
 *  - A memory device context is a surface of width x height pixels, 4 bytes
 *    each (B, G, R and a fourth byte that drawing from 32-bit pixels copies
 *    and drawing from 24-bit pixels sets to 0), rows top-down, cleared to 0
 *    when made.
 *  - A bitmap has 24 or 32 bits per pixel (B, G, R or B, G, R, X) and rows
 *    padded to a multiple of 4 bytes. Its storage keeps the rows in the order
 *    the host asked for: bottom row first ("bottom-up", height > 0, as in a
 *    device-independent bitmap) or top row first (height < 0). Made cleared
 *    to 0.
 *
 * Handles are numbers that the library never reuses: a null, deleted or
 * wrong-kind handle makes every function (and every member that is given
 * it) fail with its documented result; nothing is dereferenced. The objects
 * are safe to make and delete from any thread; their pixels belong to
 * whoever is drawing into them, as in GDI.
 */
#ifndef EFFECTS_PLATFORM_H
#define EFFECTS_PLATFORM_H

#include <effects/effects.h>

#if !defined(_WIN32)

#ifdef __cplusplus
extern "C" {
#endif

/* A memory device context of width x height pixels (both 1 or more, width x
   height x 4 bytes at most 2^31 - 1), or NULL. */
EFFECTS_API EffectsDC EffectsCreateMemoryDC(int32_t width, int32_t height);

/* Deletes a device context made by EffectsCreateMemoryDC. Returns 1, or 0
   for a handle that is not a live device context. */
EFFECTS_API int32_t EffectsDeleteDC(EffectsDC dc);

/* Width and height of the surface that the device context draws into; 0 and
   0 (and the result 0) for a handle that is not a live device context,
   otherwise the result 1. Either pointer may be NULL. */
EFFECTS_API int32_t EffectsGetDCSize(EffectsDC dc, int32_t* width, int32_t* height);

/* Copies the device context's surface, top row first, width x 4 bytes a row,
   into dst. Returns the bytes copied, or 0 when the handle is not a live
   device context or size is smaller than the surface. */
EFFECTS_API int32_t EffectsReadDC(EffectsDC dc, void* dst, int32_t size);

/* A bitmap of width x |height| pixels (width and |height| 1 or more, storage
   at most 2^31 - 1 bytes), 24 or 32 bits per pixel, bottom-up when height > 0
   and top-down when height < 0; or NULL. */
EFFECTS_API EffectsBitmap EffectsCreateBitmap(int32_t width, int32_t height, int32_t bitsPerPixel);

/* Deletes a bitmap made by EffectsCreateBitmap. Returns 1, or 0 for a handle
   that is not a live bitmap. */
EFFECTS_API int32_t EffectsDeleteBitmap(EffectsBitmap bitmap);

/* Bytes of one stored row: width x bitsPerPixel / 8 rounded up to a multiple
   of 4; 0 for a handle that is not a live bitmap. */
EFFECTS_API int32_t EffectsBitmapStride(EffectsBitmap bitmap);

/* Copy the whole storage (stride x |height| bytes, rows in stored order) in
   from src or out to dst. Return the bytes copied, or 0 when the handle is
   not a live bitmap or size is smaller than the storage. */
EFFECTS_API int32_t EffectsWriteBitmap(EffectsBitmap bitmap, const void* src, int32_t size);
EFFECTS_API int32_t EffectsReadBitmap(EffectsBitmap bitmap, void* dst, int32_t size);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* !_WIN32 */

#endif /* EFFECTS_PLATFORM_H */
