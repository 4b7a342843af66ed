// Effects imaging engine: the C++ interface. Typed image views over the
// caller's memory, errors a caller can read, and the pixel-format
// conversions as typed functions. Everything here is inline over the C
// exports of effects.h, so both faces run the same kernels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "effects/effects.h"
#include "effects/formats.hpp"

namespace effects {

enum class Errc {
    null_pointer = EFFECTS_ERROR_NULL_POINTER,
    negative_size = EFFECTS_ERROR_NEGATIVE_SIZE,
    bad_stride = EFFECTS_ERROR_BAD_STRIDE,
    too_large = EFFECTS_ERROR_TOO_LARGE,
    unknown = EFFECTS_ERROR_UNKNOWN,
    overlap = EFFECTS_ERROR_OVERLAP,
    misaligned = EFFECTS_ERROR_MISALIGNED,
    plugin_not_found = EFFECTS_ERROR_PLUGIN_NOT_FOUND,
    plugin_entry = EFFECTS_ERROR_PLUGIN_ENTRY,
    plugin_refused = EFFECTS_ERROR_PLUGIN_REFUSED,
    bad_file = EFFECTS_ERROR_BAD_FILE,
    io = EFFECTS_ERROR_IO,
    buffer_too_small = EFFECTS_ERROR_BUFFER_TOO_SMALL,
    bad_argument = EFFECTS_ERROR_BAD_ARGUMENT,
    out_of_memory = EFFECTS_ERROR_OUT_OF_MEMORY,
    unknown_format = EFFECTS_ERROR_UNKNOWN_FORMAT,
    size_mismatch = -100,
};

// Every failure of the C++ interface: what went wrong, as a code and a text.
class Error : public std::runtime_error {
public:
    Error(Errc code, const std::string& what) : std::runtime_error(what), code_(code) {}
    Errc code() const noexcept { return code_; }

private:
    Errc code_;
};

namespace detail {
inline std::string size_text(std::int64_t w, std::int64_t h) { return std::to_string(w) + "x" + std::to_string(h); }

inline const char* errc_text(int32_t code) {
    switch (code) {
        case EFFECTS_ERROR_NULL_POINTER: return "null pixel pointer for a non-empty image";
        case EFFECTS_ERROR_NEGATIVE_SIZE: return "negative width or height";
        case EFFECTS_ERROR_BAD_STRIDE: return "row stride smaller than one row of pixels or not a multiple of the channel size";
        case EFFECTS_ERROR_TOO_LARGE: return "image size overflows the address space";
        case EFFECTS_ERROR_UNKNOWN: return "unknown conversion";
        case EFFECTS_ERROR_OVERLAP: return "source and destination overlap";
        case EFFECTS_ERROR_MISALIGNED: return "pixels not aligned to the channel size";
        case EFFECTS_ERROR_PLUGIN_NOT_FOUND: return "the tone-mapping plug-in cannot be loaded";
        case EFFECTS_ERROR_PLUGIN_ENTRY: return "the library is not a tone-mapping plug-in";
        case EFFECTS_ERROR_PLUGIN_REFUSED: return "the tone-mapping plug-in refused its arguments or options";
        case EFFECTS_ERROR_BAD_FILE: return "not a file this reader takes";
        case EFFECTS_ERROR_IO: return "file could not be written";
        case EFFECTS_ERROR_BUFFER_TOO_SMALL: return "buffer too small for the result";
        case EFFECTS_ERROR_BAD_ARGUMENT: return "argument out of range";
        case EFFECTS_ERROR_OUT_OF_MEMORY: return "out of memory";
        case EFFECTS_ERROR_UNKNOWN_FORMAT: return "unknown pixel format";
        default: return "unexpected error";
    }
}
}  // namespace detail

// A view of width x height pixels of format Fmt in memory owned elsewhere.
// `stride` is the distance in bytes from one row to the next (rows of Rgb8
// keep their bottom-up order; the view only describes memory). A view of a
// const format (ImageView<const Bgra8>) is read-only.
template <class F>
class ImageView {
public:
    using Fmt = std::remove_const_t<F>;
    using byte_pointer = std::conditional_t<std::is_const_v<F>, const std::uint8_t*, std::uint8_t*>;
    using void_pointer = std::conditional_t<std::is_const_v<F>, const void*, void*>;

    ImageView() = default;
    // Rows packed as the format lays them out (Rgb8 padded to 4 bytes).
    ImageView(void_pointer data, std::int32_t width, std::int32_t height)
        : ImageView(data, width, height, checked_row_bytes(width)) {}
    ImageView(void_pointer data, std::int32_t width, std::int32_t height, std::ptrdiff_t stride)
        : data_(static_cast<byte_pointer>(data)), width_(width), height_(height), stride_(stride) {
        if (width < 0 || height < 0)
            throw Error(Errc::negative_size, std::string(Fmt::name) + " view of negative size " +
                                                 detail::size_text(width, height));
        const std::ptrdiff_t row = checked_row_bytes(width);
        if (height > 0 && stride < row)
            throw Error(Errc::bad_stride, std::string(Fmt::name) + " view of width " + std::to_string(width) +
                                              " needs a stride of at least " + std::to_string(row) + " bytes, got " +
                                              std::to_string(stride));
        if (height > 0 && stride > std::numeric_limits<std::ptrdiff_t>::max() / 2 / height)
            throw Error(Errc::too_large, std::string(Fmt::name) + " view of " + detail::size_text(width, height) +
                                             " with stride " + std::to_string(stride) + " overflows");
        if (!data && width > 0 && height > 0)
            throw Error(Errc::null_pointer, std::string(Fmt::name) + " view of " + detail::size_text(width, height) +
                                                " has no pixels");
    }
    // A read-only view of a writable one.
    template <class G, class = std::enable_if_t<std::is_const_v<F> && std::is_same_v<G, Fmt>>>
    ImageView(const ImageView<G>& other)
        : data_(other.data()), width_(other.width()), height_(other.height()), stride_(other.stride()) {}

    byte_pointer data() const { return data_; }
    byte_pointer row(std::int32_t y) const { return data_ + y * stride_; }
    std::int32_t width() const { return width_; }
    std::int32_t height() const { return height_; }
    std::ptrdiff_t stride() const { return stride_; }
    bool empty() const { return width_ == 0 || height_ == 0; }

    // Bytes per packed row of `width` pixels, or an Error when it overflows.
    static std::ptrdiff_t checked_row_bytes(std::int64_t width) {
        const std::ptrdiff_t row = row_bytes<Fmt>(width < 0 ? 0 : width);
        if (row < 0)
            throw Error(Errc::too_large, std::string(Fmt::name) + " row of width " + std::to_string(width) +
                                             " overflows");
        return row;
    }

private:
    byte_pointer data_ = nullptr;
    std::int32_t width_ = 0, height_ = 0;
    std::ptrdiff_t stride_ = 0;
};

// An image that owns its packed pixels.
template <class Fmt>
class Image {
public:
    Image() = default;
    Image(std::int32_t width, std::int32_t height) : width_(width), height_(height) {
        if (width < 0 || height < 0)
            throw Error(Errc::negative_size, std::string("image of negative size ") + detail::size_text(width, height));
        const std::ptrdiff_t row = ImageView<Fmt>::checked_row_bytes(width);
        if (height > 0 && row > std::numeric_limits<std::ptrdiff_t>::max() / 4 / height)
            throw Error(Errc::too_large, std::string(Fmt::name) + " image of " + detail::size_text(width, height) +
                                             " is too large");
        stride_ = row;
        pixels_.resize(static_cast<std::size_t>(row) * static_cast<std::size_t>(height));
    }
    ImageView<Fmt> view() { return {pixels_.data(), width_, height_, stride_}; }
    ImageView<const Fmt> view() const { return {pixels_.data(), width_, height_, stride_}; }
    operator ImageView<Fmt>() { return view(); }
    operator ImageView<const Fmt>() const { return view(); }
    std::uint8_t* data() { return pixels_.data(); }
    const std::uint8_t* data() const { return pixels_.data(); }
    std::int32_t width() const { return width_; }
    std::int32_t height() const { return height_; }
    std::ptrdiff_t stride() const { return stride_; }

private:
    std::vector<std::uint8_t> pixels_;
    std::int32_t width_ = 0, height_ = 0;
    std::ptrdiff_t stride_ = 0;
};

namespace detail {
template <class From, class To>
void run_conversion(EffectsConversion id, ImageView<const From> src, ImageView<To> dst) {
    if (src.width() != dst.width() || src.height() != dst.height())
        throw Error(Errc::size_mismatch, std::string("cannot convert ") + From::name + " " +
                                             size_text(src.width(), src.height()) + " into " + To::name + " " +
                                             size_text(dst.width(), dst.height()));
    const int32_t rc =
        EffectsConvertImage(id, src.width(), src.height(), src.data(), src.stride(), dst.data(), dst.stride());
    if (rc != EFFECTS_OK)
        throw Error(static_cast<Errc>(rc), std::string("cannot convert ") + From::name + " to " + To::name + ": " +
                                               errc_text(rc));
}
}  // namespace detail

// ---- conversions ------------------------------------------------------------
// convert(src, dst) picks the library's conversion between the two formats.
// The sizes must match. Source and destination must not overlap.

#define EFFECTS_CONVERSION(NAME, FROM, TO, ID)                          \
    inline void NAME(ImageView<const FROM> src, ImageView<TO> dst) {   \
        detail::run_conversion<FROM, TO>(ID, src, dst);                 \
    }

EFFECTS_CONVERSION(convert, Rgba16, Bgra8, EFFECTS_CONVERT_64_TO_32)
EFFECTS_CONVERSION(convert, RgbaFloat, Bgra8, EFFECTS_CONVERT_128_TO_32)
EFFECTS_CONVERSION(convert, RgbaFloat, Rgba16, EFFECTS_CONVERT_128_TO_64)
EFFECTS_CONVERSION(convert, Bgra8, Rgba16, EFFECTS_CONVERT_32_TO_64)
EFFECTS_CONVERSION(convert, Bgra8, RgbaFloat, EFFECTS_CONVERT_32_TO_128)
EFFECTS_CONVERSION(convert, Rgba16, RgbaFloat, EFFECTS_CONVERT_64_TO_128)
EFFECTS_CONVERSION(convert, Bgra8, Rgbe, EFFECTS_CONVERT_32_TO_RGBE)
EFFECTS_CONVERSION(convert, Rgb8, Bgra8, EFFECTS_CONVERT_24_TO_32)
EFFECTS_CONVERSION(convert, Bgra8, Rgb8Packed, EFFECTS_CONVERT_32_TO_RGB8)
EFFECTS_CONVERSION(convert, Rgb8Packed, Bgra8, EFFECTS_CONVERT_RGB8_TO_32)
EFFECTS_CONVERSION(convert, RgbaFloat, RgbFloat, EFFECTS_CONVERT_128_TO_RGBF)
EFFECTS_CONVERSION(convert, RgbFloat, RgbaFloat, EFFECTS_CONVERT_RGBF_TO_128)
EFFECTS_CONVERSION(convert, Rgba16, Rgb16, EFFECTS_CONVERT_64_TO_RGB16)
EFFECTS_CONVERSION(convert, Rgb16, Rgba16, EFFECTS_CONVERT_RGB16_TO_64)
EFFECTS_CONVERSION(convert, Bgra8, Rgbea, EFFECTS_CONVERT_32_TO_RGBEA)
EFFECTS_CONVERSION(convert, Rgba16, Rgbea, EFFECTS_CONVERT_64_TO_RGBEA)
EFFECTS_CONVERSION(convert, RgbaFloat, Rgbea, EFFECTS_CONVERT_128_TO_RGBEA)
EFFECTS_CONVERSION(convert, RgbFloat, Rgbe, EFFECTS_CONVERT_RGBF_TO_RGBE)
EFFECTS_CONVERSION(convert, RgbFloat, Rgbea, EFFECTS_CONVERT_RGBF_TO_RGBEA)
EFFECTS_CONVERSION(convert, Rgbe, Rgbea, EFFECTS_CONVERT_RGBE_TO_RGBEA)
EFFECTS_CONVERSION(convert, Rgbe, RgbaFloat, EFFECTS_CONVERT_RGBE_TO_128)
EFFECTS_CONVERSION(convert, Rgbea, RgbaFloat, EFFECTS_CONVERT_RGBEA_TO_128)
EFFECTS_CONVERSION(convert, Rgbea, RgbFloat, EFFECTS_CONVERT_RGBEA_TO_RGBF)
EFFECTS_CONVERSION(convert, Rgbea, Bgra8, EFFECTS_CONVERT_RGBEA_TO_32)

// Rgba16 to Bgra8 for display: words read unsigned, alpha set to 255.
EFFECTS_CONVERSION(convert_for_screen, Rgba16, Bgra8, EFFECTS_CONVERT_64_TO_32_SCREEN)
// Three floats to Rgba16 with the channel order kept (R lands in the blue
// slot): for float triples that are already in B, G, R order.
EFFECTS_CONVERSION(convert_keep_order, RgbFloat, Rgba16, EFFECTS_CONVERT_FLOAT3_TO_64)
// RgbFloat or Rgbe to RgbaFloat with each channel raised to 1/2.2 (the
// Rgbe variant decodes without the half step).
EFFECTS_CONVERSION(convert_with_display_gamma, RgbFloat, RgbaFloat, EFFECTS_CONVERT_RGBF_TO_128_GAMMA)
EFFECTS_CONVERSION(convert_with_display_gamma, Rgbe, RgbaFloat, EFFECTS_CONVERT_RGBE_TO_128_GAMMA)

#undef EFFECTS_CONVERSION

// The decoding factor 2^(exponent - 136) of a plain RGBE exponent byte.
inline double rgbe_factor(std::uint8_t exponent) { return ConvertRGBEto128(exponent); }

// ---- tone mapping -------------------------------------------------------------
// Operators are plug-ins (<effects/tonemap_plugin.h>): a bare name such as
// effects::reinhard or effects::drago names the plug-in installed next to the
// library; anything holding a path separator is a plug-in file's path.

inline constexpr const char* reinhard = "reinhard";  // photographic global operator (key, white)
inline constexpr const char* drago = "drago";        // adaptive logarithmic operator (bias)

// The options an operator may read; an empty one leaves the operator's
// default (an automatic key, the scene's brightest pixel as white, bias 0.85).
struct ToneMapOptions {
    std::optional<float> key;    // scene key value, > 0
    std::optional<float> white;  // smallest scene luminance mapped to white, > 0
    std::optional<float> bias;   // logarithm base bias, in (0, 1)
};

namespace detail {
inline std::string tonemap_failure(const std::string& op, int32_t rc) {
    return "tone mapping with \"" + op + "\" failed: " + errc_text(rc);
}
}  // namespace detail

// Tone-maps src into dst (same size) for display, with the sRGB curve.
inline void tonemap(ImageView<const RgbaFloat> src, ImageView<Bgra8> dst, const std::string& op,
                    const ToneMapOptions& options = {}) {
    if (src.width() != dst.width() || src.height() != dst.height())
        throw Error(Errc::size_mismatch, "cannot tone-map " + detail::size_text(src.width(), src.height()) +
                                             " into " + detail::size_text(dst.width(), dst.height()));
    EffectsToneMapOptions o{};
    o.size = sizeof o;
    o.version = EFFECTS_TONEMAP_OPTIONS_VERSION;
    const auto give = [&o](const std::optional<float>& value, std::uint32_t bit, float& field) {
        if (!value) return;
        o.given |= bit;
        field = *value;
    };
    give(options.key, EFFECTS_TONEMAP_USES_KEY, o.key);
    give(options.white, EFFECTS_TONEMAP_USES_WHITE, o.white);
    give(options.bias, EFFECTS_TONEMAP_USES_BIAS, o.bias);
    const int32_t rc = EffectsToneMap(op.c_str(), src.width(), src.height(), reinterpret_cast<const float*>(src.data()),
                                      src.stride(), dst.data(), dst.stride(), &o);
    if (rc != EFFECTS_OK) throw Error(static_cast<Errc>(rc), detail::tonemap_failure(op, rc));
}

// The same into a new image.
inline Image<Bgra8> tonemap(ImageView<const RgbaFloat> src, const std::string& op,
                            const ToneMapOptions& options = {}) {
    Image<Bgra8> out(src.width(), src.height());
    tonemap(src, out.view(), op, options);
    return out;
}

// Which options the operator reads: EFFECTS_TONEMAP_USES_... bits.
inline std::uint32_t tonemap_options_used(const std::string& op) {
    std::uint32_t used = 0;
    const int32_t rc = EffectsToneMapOptionsUsed(op.c_str(), &used);
    if (rc != EFFECTS_OK) throw Error(static_cast<Errc>(rc), detail::tonemap_failure(op, rc));
    return used;
}

// Version of the loaded library.
inline std::string version() { return EffectsVersion(); }

}  // namespace effects
