/* Effects imaging engine: the C interface of libeffects.
 *
 * ABI conventions, shared by every export below:
 *  - integers are int32_t; float and double arguments are as each function
 *    lists them; results are int32_t unless the declaration says otherwise;
 *  - buffers are plain pointers to caller-owned pixel memory; the library
 *    never keeps, frees or reallocates them;
 *  - file names are NUL-terminated UTF-16 strings (EffectsChar16) on every
 *    platform;
 *  - values passed through to tone-mapping plug-ins are pointer-sized
 *    (intptr_t);
 *  - the legacy exports (Convert..., Vexo..., Histogram..., RGBE_...) check
 *    nothing: the caller guarantees sizes, ranges and pointers. A size or count
 *    of zero or below touches no memory. The Effects... entry points validate
 *    their arguments and return a negative EFFECTS_ERROR_... code instead.
 *
 * Pixel formats (the suffix of an export names the format):
 *   32     Bgra8      4 bytes  B,G,R,A          8-bit
 *   64     Rgba16     8 bytes  B,G,R,A          16-bit words holding 0..32767
 *   128    RgbaFloat 16 bytes  B,G,R,A          float, 1.0 = white
 *   RGBE   Rgbe       4 bytes  R,G,B,E          shared exponent, bias 128
 *   RGBEA  Rgbea      5 bytes  B,G,R,E,A        shared exponent plus alpha
 *   24     Rgb8       3 bytes  B,G,R            rows padded to 4 bytes, bottom-up
 *          Rgb8Packed 3 bytes  R,G,B            8-bit, no padding
 *   16BIT  Rgb16      6 bytes  R,G,B            16-bit, 0..65534
 *          RgbFloat  12 bytes  R,G,B            float
 * Rows follow each other without gaps except in Rgb8.
 *
 * Count-form functions take the number of channel values (width x height x 4
 * for four-channel formats); a conversion to a narrower type takes the
 * destination first, one to a wider type the source first.
 */
#ifndef EFFECTS_EFFECTS_H
#define EFFECTS_EFFECTS_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <effects/tonemap_plugin.h>

#if defined(_WIN32)
#if defined(EFFECTS_BUILDING_LIBRARY)
#define EFFECTS_API __declspec(dllexport)
#else
#define EFFECTS_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define EFFECTS_API __attribute__((visibility("default")))
#else
#define EFFECTS_API
#endif

#ifdef __cplusplus
typedef char16_t EffectsChar16;
extern "C" {
#else
typedef uint_least16_t EffectsChar16;
#endif

/* Device contexts and bitmaps of the host, as pointer-sized opaque handles.
 * On Windows they are the host's HDC and HBITMAP values; on other systems the
 * host makes them with the functions of <effects/platform.h>. */
typedef void* EffectsDC;
typedef void* EffectsBitmap;

/* ---- Library ---------------------------------------------------------- */

/* "MAJOR.MINOR.PATCH" of the library actually loaded. */
EFFECTS_API const char* EffectsVersion(void);

/* ---- Pixel format conversion: count form ------------------------------- */

/* d = s >> 7 (word read as signed 16-bit). Returns count. */
EFFECTS_API int32_t Convert64to32Fast(int32_t count, uint8_t* dst, const uint16_t* src);
/* Serial; per pixel B,G,R = s >> 7 (unsigned word), A = 255. Returns 0. */
EFFECTS_API int32_t Convert64to32Screen(int32_t count, uint8_t* dst, const uint16_t* src);
/* d = ClampToByte(s * 255). Returns count. */
EFFECTS_API int32_t Convert128to32Fast(int32_t count, uint8_t* dst, const float* src);
/* d = ClampTo15(s * 32767). Returns count. */
EFFECTS_API int32_t Convert128to64Fast(int32_t count, uint16_t* dst, const float* src);
/* d = s << 7. Returns count. */
EFFECTS_API int32_t Convert32to64Fast(int32_t count, const uint8_t* src, uint16_t* dst);
/* d = s * (1/255 as a float). Returns count. */
EFFECTS_API int32_t Convert32to128Fast(int32_t count, const uint8_t* src, float* dst);
/* d = (signed) s * (1/32767 as a float). Returns count. */
EFFECTS_API int32_t Convert64to128Fast(int32_t count, const uint16_t* src, float* dst);
/* Serial; Bgra8 to Rgbe (R,G,B,E), mantissas truncated. Returns count. */
EFFECTS_API int32_t Convert32toRGBE(int32_t count, const uint8_t* src, uint8_t* dst);

/* ---- Pixel format conversion: geometry form (all return 0) -------------- */

/* Rgb8 (bottom-up, padded rows) to Bgra8, alpha 255. */
EFFECTS_API int32_t Convert24to32Fast(int32_t width, int32_t height, const uint8_t* src, uint8_t* dst);
/* Bgra8 to Rgb8Packed (channels reversed, alpha dropped). */
EFFECTS_API int32_t Convert32BIT_4to3ChannelsFast(int32_t width, int32_t height, const uint8_t* src,
                                                  uint8_t* dst);
/* Rgb8Packed to Bgra8 (channels reversed, alpha 255). */
EFFECTS_API int32_t Convert32BIT_3to4ChannelsFast(int32_t width, int32_t height, uint8_t* dst,
                                                  const uint8_t* src);
/* RgbaFloat to RgbFloat (reversed, alpha dropped). */
EFFECTS_API int32_t Convert32BITto24BITFast(int32_t width, int32_t height, const float* src, float* dst);
/* RgbFloat to RgbaFloat (reversed, alpha 1.0). */
EFFECTS_API int32_t Convert128BIT_3to4ChannelsFast(int32_t width, int32_t height, float* dst,
                                                   const float* src);
/* Rgba16 to Rgb16 (reversed, each value doubled, alpha dropped). */
EFFECTS_API int32_t Convert15BITto16BITFast(int32_t width, int32_t height, const uint16_t* src,
                                            uint16_t* dst);
/* Rgb16 to Rgba16: R and G words copied as they are, B rescaled to 15 bits,
   destination alpha left as it was. */
EFFECTS_API int32_t Convert16BITto15BITFast(int32_t width, int32_t height, const uint16_t* src,
                                            uint16_t* dst);
/* Three floats per pixel to Rgba16, channel order kept, alpha 32767. */
EFFECTS_API int32_t Convertfloat3xto64(int32_t width, int32_t height, uint16_t* dst, const float* src);
/* Bgra8 to Rgbea, alpha copied. */
EFFECTS_API int32_t Convert32toRGBEAFast(int32_t width, int32_t height, const uint8_t* src, uint8_t* dst);
/* Rgba16 to Rgbea, alpha = word 3 / 128. */
EFFECTS_API int32_t Convert64toRGBEAFast(int32_t width, int32_t height, const uint16_t* src, uint8_t* dst);
/* RgbaFloat to Rgbea, alpha = ClampToByte(a * 255). */
EFFECTS_API int32_t Convert128RGBAtoRGBEA(int32_t width, int32_t height, const float* src, uint8_t* dst);
/* RgbFloat to Rgbe, order kept. */
EFFECTS_API int32_t Convert128RGBtoRGBE(int32_t width, int32_t height, const float* src, uint8_t* dst);
/* RgbFloat to Rgbea, reversed; alpha byte 1 for a lit pixel, 0 for black. */
EFFECTS_API int32_t Convert128RGBtoRGBEA(int32_t width, int32_t height, uint8_t* dst, const float* src,
                                         int32_t unused);
/* Rgbe to Rgbea (bytes 2,1,0,3 then 255). */
EFFECTS_API int32_t ConvertRGBEtoRGBEA(int32_t width, int32_t height, uint8_t* dst, const uint8_t* src,
                                       int32_t unused);
/* Rgbe to RgbaFloat, half-step decoding, alpha 1.0. */
EFFECTS_API int32_t ConvertRGBEto128RGBA(int32_t width, int32_t height, const uint8_t* src, float* dst);
/* Rgbea to RgbaFloat, half-step decoding, alpha = byte 4 / 255. */
EFFECTS_API int32_t ConvertRGBEAto128RGBA(int32_t width, int32_t height, const uint8_t* src, float* dst);
/* Rgbea to RgbFloat, half-step decoding, reversed. */
EFFECTS_API int32_t ConvertRGBEAto128RGB(int32_t width, int32_t height, const uint8_t* src, float* dst);
/* Rgbea to Bgra8, half-step decoding clamped to bytes, alpha copied. */
EFFECTS_API int32_t ConvertRGBEAto32RGBA(int32_t width, int32_t height, const uint8_t* src, uint8_t* dst);
/* RgbFloat to RgbaFloat, reversed, each channel raised to 1/2.2, alpha 1.0. */
EFFECTS_API int32_t Convert128HDRFast(int32_t width, int32_t height, float* dst, const float* src,
                                      int32_t unused);
/* Rgbe to RgbaFloat, plain decoding, reversed, raised to 1/2.2, alpha 1.0. */
EFFECTS_API int32_t Convert128HDRRAWFast(int32_t width, int32_t height, float* dst, const uint8_t* src,
                                         int32_t unused);

/* ---- Pixel format conversion: scalar ------------------------------------ */

/* 2^(exponent - 136): the factor of the plain RGBE decoding. */
EFFECTS_API double ConvertRGBEto128(int32_t exponent);

/* ---- Checked conversion with row strides --------------------------------
 * The same kernels as the exports above, for images whose rows have any
 * stride in bytes that is at least the packed row size and a multiple of the
 * format's channel size (2 for 16-bit formats, 4 for float formats), with
 * buffers aligned to the channel size. Returns EFFECTS_OK or a negative
 * EFFECTS_ERROR_... code and then touches nothing. */

typedef enum EffectsConversion {
    EFFECTS_CONVERT_64_TO_32 = 1,        /* Rgba16 -> Bgra8       (Convert64to32Fast) */
    EFFECTS_CONVERT_64_TO_32_SCREEN,     /* Rgba16 -> Bgra8       (Convert64to32Screen) */
    EFFECTS_CONVERT_128_TO_32,           /* RgbaFloat -> Bgra8    (Convert128to32Fast) */
    EFFECTS_CONVERT_128_TO_64,           /* RgbaFloat -> Rgba16   (Convert128to64Fast) */
    EFFECTS_CONVERT_32_TO_64,            /* Bgra8 -> Rgba16       (Convert32to64Fast) */
    EFFECTS_CONVERT_32_TO_128,           /* Bgra8 -> RgbaFloat    (Convert32to128Fast) */
    EFFECTS_CONVERT_64_TO_128,           /* Rgba16 -> RgbaFloat   (Convert64to128Fast) */
    EFFECTS_CONVERT_32_TO_RGBE,          /* Bgra8 -> Rgbe         (Convert32toRGBE) */
    EFFECTS_CONVERT_24_TO_32,            /* Rgb8 -> Bgra8         (Convert24to32Fast) */
    EFFECTS_CONVERT_32_TO_RGB8,          /* Bgra8 -> Rgb8Packed   (Convert32BIT_4to3ChannelsFast) */
    EFFECTS_CONVERT_RGB8_TO_32,          /* Rgb8Packed -> Bgra8   (Convert32BIT_3to4ChannelsFast) */
    EFFECTS_CONVERT_128_TO_RGBF,         /* RgbaFloat -> RgbFloat (Convert32BITto24BITFast) */
    EFFECTS_CONVERT_RGBF_TO_128,         /* RgbFloat -> RgbaFloat (Convert128BIT_3to4ChannelsFast) */
    EFFECTS_CONVERT_64_TO_RGB16,         /* Rgba16 -> Rgb16       (Convert15BITto16BITFast) */
    EFFECTS_CONVERT_RGB16_TO_64,         /* Rgb16 -> Rgba16       (Convert16BITto15BITFast) */
    EFFECTS_CONVERT_FLOAT3_TO_64,        /* RgbFloat -> Rgba16    (Convertfloat3xto64, order kept) */
    EFFECTS_CONVERT_32_TO_RGBEA,         /* Bgra8 -> Rgbea        (Convert32toRGBEAFast) */
    EFFECTS_CONVERT_64_TO_RGBEA,         /* Rgba16 -> Rgbea       (Convert64toRGBEAFast) */
    EFFECTS_CONVERT_128_TO_RGBEA,        /* RgbaFloat -> Rgbea    (Convert128RGBAtoRGBEA) */
    EFFECTS_CONVERT_RGBF_TO_RGBE,        /* RgbFloat -> Rgbe      (Convert128RGBtoRGBE) */
    EFFECTS_CONVERT_RGBF_TO_RGBEA,       /* RgbFloat -> Rgbea     (Convert128RGBtoRGBEA) */
    EFFECTS_CONVERT_RGBE_TO_RGBEA,       /* Rgbe -> Rgbea         (ConvertRGBEtoRGBEA) */
    EFFECTS_CONVERT_RGBE_TO_128,         /* Rgbe -> RgbaFloat     (ConvertRGBEto128RGBA) */
    EFFECTS_CONVERT_RGBEA_TO_128,        /* Rgbea -> RgbaFloat    (ConvertRGBEAto128RGBA) */
    EFFECTS_CONVERT_RGBEA_TO_RGBF,       /* Rgbea -> RgbFloat     (ConvertRGBEAto128RGB) */
    EFFECTS_CONVERT_RGBEA_TO_32,         /* Rgbea -> Bgra8        (ConvertRGBEAto32RGBA) */
    EFFECTS_CONVERT_RGBF_TO_128_GAMMA,   /* RgbFloat -> RgbaFloat (Convert128HDRFast) */
    EFFECTS_CONVERT_RGBE_TO_128_GAMMA    /* Rgbe -> RgbaFloat     (Convert128HDRRAWFast) */
} EffectsConversion;

/* The results of every checked entry point: EFFECTS_OK or one of these
 * negative codes (the C++ face throws them as effects::Error). */
#define EFFECTS_OK 0
#define EFFECTS_ERROR_NULL_POINTER (-1)     /* a buffer is NULL while the image is not empty */
#define EFFECTS_ERROR_NEGATIVE_SIZE (-2)    /* width or height below 0 */
#define EFFECTS_ERROR_BAD_STRIDE (-3)       /* a stride smaller than one packed row */
#define EFFECTS_ERROR_TOO_LARGE (-4)        /* a row or image size overflows the address space */
#define EFFECTS_ERROR_UNKNOWN (-5)          /* not an EffectsConversion value */
#define EFFECTS_ERROR_OVERLAP (-6)          /* source and destination memory overlap */
#define EFFECTS_ERROR_MISALIGNED (-7)       /* a buffer not aligned to its channel size */
#define EFFECTS_ERROR_BAD_ARGUMENT (-8)     /* an option out of range, or a merge already finished */
#define EFFECTS_ERROR_OUT_OF_MEMORY (-9)    /* a working buffer could not be allocated */
#define EFFECTS_ERROR_BAD_FILE (-10)        /* a file's bytes are not an image this reader takes */
#define EFFECTS_ERROR_IO (-11)              /* a file could not be created, written or replaced */
#define EFFECTS_ERROR_BUFFER_TOO_SMALL (-12) /* a caller's buffer is smaller than the result */
#define EFFECTS_ERROR_UNKNOWN_FORMAT (-13)  /* not an EffectsPixelFormat value */
#define EFFECTS_ERROR_PLUGIN_NOT_FOUND (-30) /* the plug-in library cannot be loaded */
#define EFFECTS_ERROR_PLUGIN_ENTRY (-31)     /* the library lacks the plug-in entry */
#define EFFECTS_ERROR_PLUGIN_REFUSED (-32)   /* the plug-in refused its arguments or options */

EFFECTS_API int32_t EffectsConvertImage(int32_t conversion, int32_t width, int32_t height,
                                        const void* src, intptr_t src_stride, void* dst,
                                        intptr_t dst_stride);

/* Packed row size in bytes of a conversion's source (which = 0) or
   destination (which = 1) for the given width, or -1 for an unknown
   conversion or a size that does not fit. Rgb8 rows include their padding. */
EFFECTS_API intptr_t EffectsConversionRowBytes(int32_t conversion, int32_t which, int32_t width);

/* ---- Histograms and exposure statistics ---------------------------------
 * Histograms are 256 floats owned by the caller: each pixel adds 1.0 to one
 * bin and nothing is cleared first. Luminance = 0.0721 B + 0.2125 R +
 * 0.7154 G (single precision); bins and 8-bit values go through
 * ClampToByte (255 above 254.5, 0 below 0.5, otherwise truncated). The Fast
 * members also write the figures: minimum from 1e10, maximum from 1e-10,
 * sum from 0; the minimum non-zero figure is not reset but lowered from the
 * caller's value. Count-form members take count = width x height x 4 and
 * walk ((count - 1) / 4) + 1 pixels, returning count; the 128 members take
 * width and height of an Rgbea image (half-step decoded) and return 0.
 * Rgba16 words are read as signed 16-bit values. */

/* Bin = luminance of the bytes; figures over the bin numbers. */
EFFECTS_API int32_t Histogram32Fast(int32_t count, const uint8_t* image, float* histogram, double* minimum,
                                    double* maximum, double* minimumNonZero, double* sum);
/* Bin = luminance of the words x 1/128. */
EFFECTS_API int32_t Histogram64Fast(int32_t count, const uint16_t* image, float* histogram, double* minimum,
                                    double* maximum, double* minimumNonZero, double* sum);
/* Bin = decoded luminance x 255, with the red and blue weights swapped
   (byte 0 weighs 0.2125, byte 2 0.0721). The figures are only started. */
EFFECTS_API int32_t Histogram128Fast(int32_t width, int32_t height, const uint8_t* image, float* histogram,
                                     double* minimum, double* maximum, double* unused, double* sum);
EFFECTS_API int32_t Histogram32Lean(int32_t count, const uint8_t* image, float* histogram);
EFFECTS_API int32_t Histogram64Lean(int32_t count, const uint16_t* image, float* histogram);
EFFECTS_API int32_t Histogram128Lean(int32_t width, int32_t height, const uint8_t* image, float* histogram);
/* One channel by byte offset 0..3 (B, G, R, A): bin = the byte. */
EFFECTS_API int32_t HistogramChannel32Fast(int32_t count, const uint8_t* image, float* histogram, double* minimum,
                                           double* maximum, double* minimumNonZero, double* sum, int32_t channel);
/* One channel by word offset 0..3: value = word / 128 (signed, truncated);
   words above 32767 give negative values, which are in the figures only. */
EFFECTS_API int32_t HistogramChannel64Fast(int32_t count, const uint16_t* image, float* histogram, double* minimum,
                                           double* maximum, double* minimumNonZero, double* sum, int32_t channel);
/* Channel 0 red (byte 2), 1 green, 2 blue (byte 0): value = decoded channel
   raised to 1e-8, bin = ClampToByte(value x 255); figures over the values.
   Another channel number bins the previous value (0 at the start) again. */
EFFECTS_API int32_t HistogramChannel128Fast(int32_t width, int32_t height, const uint8_t* image, float* histogram,
                                            double* minimum, double* maximum, double* minimumNonZero, double* sum,
                                            int32_t channel);
EFFECTS_API int32_t HistogramChannel32Lean(int32_t count, const uint8_t* image, float* histogram, int32_t channel);
EFFECTS_API int32_t HistogramChannel64Lean(int32_t count, const uint16_t* image, float* histogram, int32_t channel);
/* As the Fast member, without the 1e-8 floor. */
EFFECTS_API int32_t HistogramChannel128Lean(int32_t width, int32_t height, const uint8_t* image, float* histogram,
                                            int32_t channel);
/* Minimum, maximum and sum (in pixel order, in double) of the luminance as
   a float, neither clamped nor binned: of the bytes, of the 15-bit words as
   they are, of the floats raised to 1e-8 (RgbaFloat). The 128 member's
   second minimum starts at 1e10 and takes the old minimum whenever a new
   one arrives. */
EFFECTS_API int32_t DynamicRange32Fast(int32_t count, const uint8_t* image, double* minimum, double* maximum,
                                       double* unused, double* sum);
EFFECTS_API int32_t DynamicRange64Fast(int32_t count, const uint16_t* image, double* minimum, double* maximum,
                                       double* unused, double* sum);
EFFECTS_API int32_t DynamicRange128Fast(int32_t count, const float* image, double* minimum, double* maximum,
                                        double* secondMinimum, double* sum);
/* B, G, R of the first pixel with the largest B + G + R; nothing is written
   for an all-black image. */
EFFECTS_API int32_t DetermineTemperature32(int32_t count, const uint8_t* image, uint16_t* blue, uint16_t* green,
                                           uint16_t* red);
/* In place: a pixel whose integer mean (B + G + R) / 3 is 255 turns red,
   one whose mean is 0 turns blue; alpha stays. Returns 0. */
EFFECTS_API int32_t VexoOverUnderExposedPixels32(int32_t width, int32_t height, uint8_t* image);

/* ---- HDR range analysis and preview ---------------------------------------
 * All return 0 except the two previews. */

/* Three floats per pixel, in place: every channel divided by the largest
   value of the image (in two rounded steps); an all-zero channel gives NaNs. */
EFFECTS_API int32_t VexoHDR4Display(int32_t width, int32_t height, float* image);
/* RgbaFloat in place: colour floats x 1 / (largest pixel mean). */
EFFECTS_API int32_t VexoDebevecDynamicMax(int32_t width, int32_t height, float* image);
/* Smallest and largest raw colour value (bytes, or signed 16-bit words):
   1e10 and 1e-10 (floats) for an empty image. */
EFFECTS_API int32_t DebevecRGBMaxMin32Fast(int32_t width, int32_t height, const uint8_t* image, double* minimum,
                                           double* maximum);
EFFECTS_API int32_t DebevecRGBMaxMin64Fast(int32_t width, int32_t height, const uint16_t* image, double* minimum,
                                           double* maximum);
/* Rgbea in place: the radiance of every pixel halved (k = k0 - (k0 - 0.5)),
   alpha untouched. */
EFFECTS_API int32_t VexoHDRLinearMax(int32_t width, int32_t height, uint8_t* image);
/* Lays the Bgra8 overlay at (x, y) onto the Bgra8 canvas, clipped to it:
   mode 0 mixes by opacity percent (above 99 copies), mode 3 mixes the
   difference; B, G, R written, alpha kept. Returns -1 for opacity 0,
   otherwise 1 (other modes draw nothing). */
EFFECTS_API int32_t Vexo32MergeHDRPreview(int32_t x, int32_t y, int32_t overlayWidth, int32_t overlayHeight,
                                          const uint8_t* overlay, uint8_t* canvas, int32_t canvasWidth,
                                          int32_t canvasHeight, int32_t opacity, int32_t mode);
/* Through the bitmap exchange: every pixel outside the inclusive rectangle
   (rows counted as the 24-bit read delivers them, bottom row first) turns
   into the darkened grey (B/2 + G/2 + R/2) / 3. */
EFFECTS_API int32_t VexoHDRRegion(EffectsDC dc, EffectsBitmap bitmap, int32_t left, int32_t top, int32_t right,
                                  int32_t bottom);

/* ---- Checked measures ------------------------------------------------------
 * Images of any pixel format with a row stride in bytes (at least one packed
 * row; Rgb8 rows keep their padding). Words and floats may sit at any
 * address. Return EFFECTS_OK (or a count) or a negative EFFECTS_ERROR_...
 * code and then write nothing. Counts are exact and independent of the
 * number of threads. Values in 8-bit units: bytes as they are, 15-bit words
 * / 128 (signed), 16-bit words / 256, floats and decoded RGBE x 255. */

typedef enum EffectsPixelFormat {
    EFFECTS_FORMAT_BGRA8 = 1,
    EFFECTS_FORMAT_RGBA16,
    EFFECTS_FORMAT_RGBA_FLOAT,
    EFFECTS_FORMAT_RGBE,
    EFFECTS_FORMAT_RGBEA,
    EFFECTS_FORMAT_RGB8,
    EFFECTS_FORMAT_RGB8_PACKED,
    EFFECTS_FORMAT_RGB16,
    EFFECTS_FORMAT_RGB_FLOAT
} EffectsPixelFormat;


/* bins[256] = pixels per bin of ClampToByte(luminance in 8-bit units), the
   luminance summed as in Histogram32Fast. */
EFFECTS_API int32_t EffectsLuminanceHistogram(int32_t format, int32_t width, int32_t height, const void* pixels,
                                              intptr_t stride, uint64_t* bins);
/* bins[4 x 256] = per-channel histograms in R, G, B, A order (8-bit units).
   Returns the channels counted: 4, or 3 for formats without alpha (whose
   alpha histogram is all 0). */
EFFECTS_API int32_t EffectsChannelHistograms(int32_t format, int32_t width, int32_t height, const void* pixels,
                                             intptr_t stride, uint64_t* bins);

/* The range of an HDR image's luminance, relative to white = 1.0. */
typedef struct EffectsRangeReport {
    int64_t pixels;           /* pixels measured */
    int64_t positive_pixels;  /* pixels of luminance above 0 */
    double min_luminance;     /* smallest positive luminance (0 without any) */
    double low_luminance;     /* positive luminance at the low percentile */
    double max_luminance;     /* largest luminance (0 without any positive) */
    double stops;             /* log2(max / low), 0 without positive pixels */
    double low_percentile;    /* the percentile used, 0 <= p < 1 */
} EffectsRangeReport;

/* The low luminance is the k-th smallest positive luminance (from 0),
   k = floor(lowPercentile x (positive pixels - 1)), so a few black or
   nearly black pixels do not make the range endless; lowPercentile 0 takes
   the smallest. Returns EFFECTS_ERROR_BAD_ARGUMENT for a percentile outside
   [0, 1). */
EFFECTS_API int32_t EffectsHdrRange(int32_t format, int32_t width, int32_t height, const void* pixels,
                                    intptr_t stride, double lowPercentile, EffectsRangeReport* report);

/* Clipped pixels of one frame: over = some colour channel at 255 in 8-bit
   units, under = every colour channel at 0. */
typedef struct EffectsClippedPixels {
    int64_t pixels;
    int64_t over;
    int64_t under;
} EffectsClippedPixels;

EFFECTS_API int32_t EffectsClipping(int32_t format, int32_t width, int32_t height, const void* pixels,
                                    intptr_t stride, EffectsClippedPixels* clipped);

/* ---- Bitmap exchange ----------------------------------------------------
 * Members on bitmap handles read the source bitmap as 24-bit rows (B, G, R,
 * rows padded to 4 bytes, bottom row first), work on them and write them into
 * the destination bitmap. They return -1 when the source bitmap's header
 * cannot be read, 0 when its rows cannot be read, and otherwise the number of
 * scan lines read. Source and destination may be the same bitmap. */

/* Complements (bitwise not) red and green and blue (channel 1), red (2),
   green (3) or blue (4); any other channel writes the rows back unchanged. */
EFFECTS_API int32_t VexoInvert(EffectsDC destinationDC, EffectsBitmap destinationBitmap, EffectsDC sourceDC,
                               EffectsBitmap sourceBitmap, int32_t channel);

/* ---- Radiance RGBE files ------------------------------------------------
 * Every writer writes the header "#?RADIANCE", a comment line,
 * "FORMAT=32-bit_rle_rgbe", "EXPOSURE=          1.0000000000000", a blank
 * line and "-Y height +X width", then the scanlines top to bottom:
 * run-length encoded for widths 8..32767, flat pixels otherwise. The work
 * buffers are the caller's and are overwritten. All return 0. */

/* Bgra8 image; work: width x height x 3 floats. */
EFFECTS_API int32_t RGBE_WriteHeader_32(const EffectsChar16* fileName, int32_t width, int32_t height,
                                        const uint8_t* image, float* work);
/* Rgba16 image; work: width x height x 3 floats. The file holds the header
   alone (the stream is closed before the pixels); the work buffer is filled. */
EFFECTS_API int32_t RGBE_WriteHeader_64(const EffectsChar16* fileName, int32_t width, int32_t height,
                                        const uint16_t* image, float* work);
/* RgbaFloat image; work: width x height x 3 floats. */
EFFECTS_API int32_t RGBE_WriteHeader_128(const EffectsChar16* fileName, int32_t width, int32_t height,
                                         const float* image, float* work);
/* Three floats per pixel in R, G, B order, written as they are. */
EFFECTS_API int32_t RGBE_WriteHeader_96(const EffectsChar16* fileName, int32_t width, int32_t height,
                                        const float* rgb);
/* Rgbea image, its bytes written without re-encoding (alpha dropped);
   work: width x height x 4 bytes. */
EFFECTS_API int32_t RGBE_WriteHeader_RGBEA(const EffectsChar16* fileName, int32_t width, int32_t height,
                                           const uint8_t* image, uint8_t* work);
/* Reads a file into width x height x 3 floats (R, G, B) with the caller's
   size (the file's own size line is checked for presence, not used).
   Header errors are printed on the error stream ("RGBE read error",
   "RGBE bad file format: ..."). Returns 0. Never writes past the
   destination; what a bad or short file does not fill keeps its bytes. */
EFFECTS_API int32_t RGBE_LoadHDR(const EffectsChar16* fileName, float* data, int32_t width, int32_t height);
/* Reads width x scanlines pixels from an open stream into three floats
   each. Returns 0, or 1 on a read or format error. */
EFFECTS_API int32_t RGBE_ReadPixels_RLE(FILE* file, float* data, int32_t width, int32_t scanlines);

/* ---- Native VZM files ----------------------------------------------------
 * A 16-byte little-endian header (1976, 1000, the low 16 bits of value1 and
 * value2, width and height as 32-bit numbers) and the image's bytes as they
 * lie in memory. All return 0. */
EFFECTS_API int32_t VexoSaveVZMFile32(const EffectsChar16* fileName, int32_t width, int32_t height,
                                      int32_t value1, int32_t value2, const uint8_t* image);
EFFECTS_API int32_t VexoSaveVZMFile64(const EffectsChar16* fileName, int32_t width, int32_t height,
                                      int32_t value1, int32_t value2, const uint16_t* image);
EFFECTS_API int32_t VexoSaveVZMFile128(const EffectsChar16* fileName, int32_t width, int32_t height,
                                       int32_t value1, int32_t value2, const float* image);
EFFECTS_API int32_t VexoSaveVZMFileRGBEA(const EffectsChar16* fileName, int32_t width, int32_t height,
                                         int32_t value1, int32_t value2, const uint8_t* image);

/* ---- Checked Radiance reading and writing -------------------------------
 * What a decoded file is: its size as returned (rows top-down, pixels left
 * to right, whatever the file's orientation), the product of its EXPOSURE=
 * values (not applied to the pixels: divide by it for the scene's values),
 * whether its pixels were XYZ and were converted to RGB, and the length of
 * its header text (the lines before the blank line, each ending in '\n'). */
typedef struct EffectsRadianceInfo {
    int32_t width;
    int32_t height;
    float exposure;
    int32_t converted_from_xyz;
    intptr_t header_bytes;
} EffectsRadianceInfo;

/* Decodes a Radiance file of `size` bytes held in memory. With pixels NULL
   only the header is read and checked. Otherwise pixels receives width x
   height x 3 floats (pixel_capacity counts floats). header, when not NULL,
   receives the header text and a NUL (header_capacity bytes). Returns
   EFFECTS_OK, or a negative code with a message saying what is wrong and
   where (file offset, scanline) in message (always NUL-terminated when
   message_capacity > 0). */
EFFECTS_API int32_t EffectsDecodeRadiance(const void* data, intptr_t size, EffectsRadianceInfo* info, char* header,
                                          intptr_t header_capacity, float* pixels, intptr_t pixel_capacity,
                                          char* message, intptr_t message_capacity);
/* Writes width x height pixels of three floats (R, G, B; rows `stride`
   bytes apart) as a run-length Radiance file at path (UTF-8). The file is
   written beside its target under a temporary name and renamed over it once
   complete: a failed write leaves an older file as it was. Returns
   EFFECTS_OK or a negative code with the reason in message. */
EFFECTS_API int32_t EffectsWriteRadiance(const char* path, int32_t width, int32_t height, const float* rgb,
                                         intptr_t stride, char* message, intptr_t message_capacity);

/* ---- HDR merging -------------------------------------------------------
 * Exposures are Bgra8. The radiance accumulator holds three floats per pixel
 * in R, G, B order (source byte 2 feeds float 0); the weight plane one float
 * per pixel; a weight table 256 doubles; a response table `count` floats
 * (at least 256 for the merge). The four-channel accumulator of the older
 * path is RgbaFloat, colour in the source's B, G, R order. The caller
 * zero-fills accumulators and planes before the first exposure. */

/* Tent over [low, high] divided by the centre's position. Returns 0. */
EFFECTS_API int32_t VexoHDRWeight_Triangle(int32_t high, int32_t low, double* table);
/* sin(i * pi / 256); both ints are ignored. Returns 0. */
EFFECTS_API int32_t VexoHDRWeight_Sine(int32_t unused1, int32_t unused2, double* table);
/* (i / (count / 4))^1.7 + 0.0001 for i < count; nothing when count < 1. */
EFFECTS_API void VexoHDRResponse_Gamma(float* table, int32_t count);
/* i / (count - 1) for i < count; nothing when count < 1. */
EFFECTS_API void VexoHDRResponse_Linear(float* table, int32_t count);
/* Adds one exposure of time `exposure`: acc += F[code] / exposure * w and
   plane += w, w the mean of the pixel's three weights. Returns 0. */
EFFECTS_API int32_t VexoHDRNewCombineArray(int32_t width, int32_t height, float exposure, const uint8_t* pixels,
                                           float* accumulator, const double* weights, const float* response,
                                           float* plane);
/* Divides by the weight sums (a zero sum is set to 1.0 in the plane) and
   by `divisor`. Returns 0. */
EFFECTS_API int32_t VexoHDRNewCombineFinal(int32_t width, int32_t height, float* accumulator, float* plane,
                                           int32_t divisor);
/* Older path: adds exposure pixel (x - dx, y - dy) / 255 * factor into the
   RgbaFloat accumulator, skipping |dx| columns and |dy| rows on both sides. */
EFFECTS_API int32_t VexoHDRCombineArray(int32_t width, int32_t height, int32_t dx, int32_t dy, float factor,
                                        const uint8_t* pixels, float* accumulator);
/* Brings the brightest pixel mean down to 2.0 (RgbaFloat, float 3 kept). */
EFFECTS_API int32_t VexoHDRFinalAdjustment(int32_t width, int32_t height, int32_t unused, float* buffer);
/* The same on three floats per pixel. */
EFFECTS_API int32_t VexoHDRFinalAdjustment3Channels(int32_t width, int32_t height, int32_t unused, float* buffer);
/* Multiplies every float of a three-float image by 1 / divisor. */
EFFECTS_API int32_t VexoHDR_div3Channels(int32_t width, int32_t height, int32_t divisor, float* buffer);
/* Sets the colour of every pixel whose float 3 is exactly 255.0 to the
   brightest pixel mean (RgbaFloat). */
EFFECTS_API int32_t VexoHDRCorrectOverExposure(int32_t width, int32_t height, float* buffer);
/* Mean grey (B + G + R) / 3 of ((byteCount - 1) / 4) + 1 pixels, times 9. */
EFFECTS_API int32_t VexoHDR_Average(int32_t byteCount, const uint8_t* pixels);
/* Writes, as grey, the triangle weight of each pixel's grey. Returns 0. */
EFFECTS_API int32_t VexoHDR_Sine_Weighting_Filter(int32_t width, int32_t height, uint8_t* pixels);

/* ---- HDR alignment -------------------------------------------------------
 * Threshold bitmaps are one byte (0 or 1) per pixel. A shift (dx, dy)
 * compares reference pixel (x, y) with other pixel (x - dx, y - dy); the
 * errors are the mean XOR over each function's area, 0.0 for an empty one. */

/* Bitmap of greys above ((min + max) / 2 + sum / (pixels - 1)) / 2. */
EFFECTS_API int32_t VexoHDRCreateAlignMTB(int32_t width, int32_t height, uint8_t* bitmap, const uint8_t* pixels);
/* Most frequent grey in 1..254, ties to the higher grey. */
EFFECTS_API int32_t VexoHDRDetermineMedianValue(int32_t width, int32_t height, const uint8_t* pixels);
EFFECTS_API double VexoHDRTotalAlignmentFull(int32_t width, int32_t height, int32_t dx, int32_t dy,
                                             const uint8_t* reference, const uint8_t* other);
EFFECTS_API float VexoHDRTotalAlignmentThird(int32_t width, int32_t height, int32_t dx, int32_t dy,
                                             const uint8_t* reference, const uint8_t* other);
EFFECTS_API double VexoHDRTotalAlignmentRegion(int32_t width, int32_t height, int32_t dx, int32_t dy,
                                               const uint8_t* reference, const uint8_t* other, int32_t left,
                                               int32_t right, int32_t top, int32_t bottom);
/* Zone 1 top-left, 2 top-right, 3 centre, 4 bottom-left, 5 bottom-right. */
EFFECTS_API double VexoHDRTotalAlignmentZones(int32_t width, int32_t height, int32_t dx, int32_t dy,
                                              const uint8_t* reference, const uint8_t* other, int32_t zone);
EFFECTS_API double VexoHDRTotalAlignmentRotateZones(int32_t width, int32_t height, int32_t dx, int32_t dy,
                                                    const uint8_t* reference, const uint8_t* other);
/* Zone 1..5 nearest to (best) or farthest from (worst) mid-grey; 5 on ties,
   0 for an empty image. */
EFFECTS_API int32_t VexoHDRDetermineBestZone(int32_t width, int32_t height, const uint8_t* pixels);
EFFECTS_API int32_t VexoHDRDetermineWorstZone(int32_t width, int32_t height, const uint8_t* pixels);

/* ---- HDR pipeline: streamed merge and alignment search --------------------
 * Checked entry points over the functions above. They return EFFECTS_OK or a
 * negative EFFECTS_ERROR_... code and then change nothing.
 *
 * A merge session accumulates into the caller's R, G, B float image (rows
 * `stride` bytes apart, zero-filled by Create); it owns only a weight plane.
 * Frames are added one at a time, each with its exposure time and the shift
 * found for it: accumulator pixel (x, y) takes frame pixel (x - dx, y - dy)
 * when that lies inside the frame, so uncovered borders are the weighted
 * mean of the frames that cover them. Finish divides by the weight sums (a
 * pixel that no frame trusted ends as 0). */

#define EFFECTS_HDR_WEIGHT_TRIANGLE 0       /* VexoHDRWeight_Triangle(255, 0) */
#define EFFECTS_HDR_WEIGHT_SINE 1           /* VexoHDRWeight_Sine */
#define EFFECTS_HDR_RESPONSE_GAMMA 0        /* VexoHDRResponse_Gamma(256) */
#define EFFECTS_HDR_RESPONSE_LINEAR 1       /* VexoHDRResponse_Linear(256) */
#define EFFECTS_HDR_AREA_OVERLAP 0          /* VexoHDRTotalAlignmentFull */
#define EFFECTS_HDR_AREA_CENTRE 1           /* VexoHDRTotalAlignmentThird */
#define EFFECTS_HDR_AREA_BEST_ZONE 2        /* VexoHDRTotalAlignmentZones on the reference's best zone */

typedef struct EffectsHdrMerge EffectsHdrMerge;
typedef struct EffectsHdrAligner EffectsHdrAligner;

EFFECTS_API int32_t EffectsHdrMergeCreate(int32_t width, int32_t height, int32_t weighting, int32_t response,
                                          float* rgb, intptr_t stride, EffectsHdrMerge** merge);
/* `bgra`: a frame of the merge's size, rows `stride` bytes apart; exposure
   finite and above 0. */
EFFECTS_API int32_t EffectsHdrMergeAdd(EffectsHdrMerge* merge, const uint8_t* bgra, intptr_t stride, float exposure,
                                       int32_t dx, int32_t dy);
EFFECTS_API int32_t EffectsHdrMergeFinish(EffectsHdrMerge* merge);
EFFECTS_API void EffectsHdrMergeDestroy(EffectsHdrMerge* merge);

/* An aligner keeps the reference frame's greys at every level of a 2x
 * pyramid (about 1.4 bytes per pixel) and finds each other frame's shift
 * coarse to fine: the full window at the coarsest level, then the 5x5 around
 * the doubled estimate at each finer one, full size included. Both frames'
 * greys are split at one shared quantile of the compared window (the median,
 * moved inside what neither frame has clipped there) and thresholded with
 * the rule of VexoHDRCreateAlignMTB. The overlap and the centre are compared
 * over one fixed rectangle per level (the pixels of
 * VexoHDRTotalAlignmentRegion), the best zone over the pixels of
 * VexoHDRTotalAlignmentZones, with the same mean XOR as those functions
 * (counted on bitmaps packed 64 pixels to a word). Among equal errors the
 * candidate nearest the window's centre (|dx| + |dy|) wins, then the smaller
 * dy, then the smaller dx. */
EFFECTS_API int32_t EffectsHdrAlignerCreate(int32_t width, int32_t height, const uint8_t* reference,
                                            intptr_t stride, int32_t maxShift, int32_t area,
                                            EffectsHdrAligner** aligner);
/* The aligner's reference lies (baseDx, baseDy) from the bracket's reference
   frame (0, 0 when it is that frame; each within +-maxShift); the shift
   found keeps baseDx + dx and baseDy + dy within +-maxShift, so that
   maxShift bounds every frame's total shift however the frames are
   chained. */
EFFECTS_API int32_t EffectsHdrAlignerFind(const EffectsHdrAligner* aligner, const uint8_t* bgra, intptr_t stride,
                                          int32_t baseDx, int32_t baseDy, int32_t* dx, int32_t* dy);
EFFECTS_API void EffectsHdrAlignerDestroy(EffectsHdrAligner* aligner);

/* ---- Tone-mapping plug-ins ----------------------------------------------
 * A plug-in is a shared library exporting "ToneMapping128to32" and
 * "TMOptionsUsed"; <effects/tonemap_plugin.h> is its contract. Each call
 * loads the library named by pluginPath, calls the entry and unloads it. */

/* Calls the plug-in's "ToneMapping128to32" with a1..a5 unchanged and returns
   0, whatever the entry returns. When the library cannot be loaded, or has no
   such entry, prints "Couldn't load plugin.\n" on standard output and returns
   1; a library without the entry is then left loaded. */
EFFECTS_API int32_t CallToneMapping(const char* pluginPath, intptr_t a1, intptr_t a2, intptr_t a3, intptr_t a4,
                                    intptr_t a5);
/* The same for the plug-in's "TMOptionsUsed" and the one value a1. */
EFFECTS_API int32_t CallToneMappingOptions(const char* pluginPath, intptr_t a1);

/* Tone-maps a RgbaFloat image (rows src_stride bytes apart) into a Bgra8 one
   (rows dst_stride bytes apart) with a plug-in. `plugin` is a path (it holds
   a '/' or '\\') or a bare operator name such as "reinhard" or "drago", which
   names the plug-in installed next to this library (effects_<name>.so, or
   .dll on Windows). options may be NULL; its strides are replaced by the
   strides given here. Validates everything and returns EFFECTS_OK or a
   negative EFFECTS_ERROR_... code; prints nothing. */
EFFECTS_API int32_t EffectsToneMap(const char* plugin, int32_t width, int32_t height, const float* src,
                                   intptr_t src_stride, uint8_t* dst, intptr_t dst_stride,
                                   const EffectsToneMapOptions* options);
/* Writes the EFFECTS_TONEMAP_USES_... bits of the options a plug-in reads
   into *used. Returns EFFECTS_OK or a negative EFFECTS_ERROR_... code. */
EFFECTS_API int32_t EffectsToneMapOptionsUsed(const char* plugin, uint32_t* used);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* EFFECTS_EFFECTS_H */
