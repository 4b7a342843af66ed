// Pixel formats of the Effects engine as C++ types with traits. Each format
// type is an empty tag: its traits give the storage type of one channel, the
// channels per pixel, the bytes per pixel, the full-scale value and the rules
// for row size and vertical order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace effects {

// Bytes per packed row of `width` pixels of `bytes_per_pixel`, with rows
// padded to a multiple of `row_align`; -1 when the size does not fit.
constexpr std::ptrdiff_t packed_row_bytes(std::int64_t width, int bytes_per_pixel, int row_align) {
    if (width < 0) return -1;
    const std::int64_t raw = width * bytes_per_pixel;
    const std::int64_t padded = (raw + row_align - 1) / row_align * row_align;
    if (padded > static_cast<std::int64_t>(std::numeric_limits<std::ptrdiff_t>::max() / 2)) return -1;
    return static_cast<std::ptrdiff_t>(padded);
}

// The common shape of a format's traits: storage type of one channel,
// channels (and bytes) per pixel, row alignment, vertical order and the
// value of full intensity.
template <class Channel, int Channels, int BytesPerPixel, int RowAlign, bool BottomUp>
struct FormatTraits {
    using channel_type = Channel;
    static constexpr int channels = Channels;
    static constexpr int bytes_per_pixel = BytesPerPixel;
    static constexpr int row_align = RowAlign;
    static constexpr bool bottom_up = BottomUp;
};

// Four 8-bit channels B, G, R, A ("32").
struct Bgra8 : FormatTraits<std::uint8_t, 4, 4, 1, false> {
    static constexpr float one = 255.0f;
    static constexpr const char* name = "Bgra8";
};

// Four 16-bit words B, G, R, A holding 0..32767 ("64"); read as signed.
struct Rgba16 : FormatTraits<std::uint16_t, 4, 8, 1, false> {
    static constexpr float one = 32767.0f;
    static constexpr const char* name = "Rgba16";
};

// Four floats B, G, R, A, 1.0 = white, larger values allowed ("128").
struct RgbaFloat : FormatTraits<float, 4, 16, 1, false> {
    static constexpr float one = 1.0f;
    static constexpr const char* name = "RgbaFloat";
};

// Radiance order R, G, B mantissas and a shared exponent byte (bias 128).
struct Rgbe : FormatTraits<std::uint8_t, 4, 4, 1, false> {
    static constexpr float one = 1.0f;
    static constexpr const char* name = "Rgbe";
};

// The library's compact HDR layout: B, G, R mantissas, exponent, alpha.
struct Rgbea : FormatTraits<std::uint8_t, 5, 5, 1, false> {
    static constexpr float one = 1.0f;
    static constexpr const char* name = "Rgbea";
};

// Device-independent 24-bit rows: B, G, R, each row padded to 4 bytes, rows
// stored bottom-up relative to Bgra8 ("24").
struct Rgb8 : FormatTraits<std::uint8_t, 3, 3, 4, true> {
    static constexpr float one = 255.0f;
    static constexpr const char* name = "Rgb8";
};

// Exchange layout R, G, B, 8-bit, no padding.
struct Rgb8Packed : FormatTraits<std::uint8_t, 3, 3, 1, false> {
    static constexpr float one = 255.0f;
    static constexpr const char* name = "Rgb8Packed";
};

// Exchange layout R, G, B, 16-bit full range ("16BIT").
struct Rgb16 : FormatTraits<std::uint16_t, 3, 6, 1, false> {
    static constexpr float one = 65535.0f;
    static constexpr const char* name = "Rgb16";
};

// Exchange layout R, G, B floats.
struct RgbFloat : FormatTraits<float, 3, 12, 1, false> {
    static constexpr float one = 1.0f;
    static constexpr const char* name = "RgbFloat";
};

template <class Fmt>
constexpr std::ptrdiff_t row_bytes(std::int64_t width) {
    return packed_row_bytes(width, Fmt::bytes_per_pixel, Fmt::row_align);
}

}  // namespace effects
