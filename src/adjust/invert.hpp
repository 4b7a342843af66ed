// Inversion of colour channels, chosen by a ChannelSelector: the row kernel
// written once over the byte layouts that carry B, G, R in their first three
// bytes, and the member on the rows of the bitmap exchange.
#pragma once

#include <cstdint>

#include "display/bitmap_exchange.hpp"

namespace effects::detail {

// Byte layouts of 8-bit pixels with blue, green, red first.
struct Rgb8Layout {
    static constexpr int kBytes = 3;  // B, G, R (rows padded by the caller's stride)
};
struct Bgra8Layout {
    static constexpr int kBytes = 4;  // B, G, R, A; alpha is never inverted
};

// XOR masks for blue, green and red: 0xFF where the channel is complemented.
struct InvertMask {
    uint8_t b, g, r;
};

// The masks of ChannelSelector 1 (all three), 2 (red), 3 (green), 4 (blue);
// false for any other value, which leaves the pixels as they are.
inline bool invert_mask(int32_t channel, InvertMask& m) {
    switch (channel) {
        case 1: m = {0xFF, 0xFF, 0xFF}; return true;
        case 2: m = {0x00, 0x00, 0xFF}; return true;
        case 3: m = {0x00, 0xFF, 0x00}; return true;
        case 4: m = {0xFF, 0x00, 0x00}; return true;
        default: return false;
    }
}

template <class Layout>
inline void invert_row(uint8_t* p, int32_t width, InvertMask m) {
    for (int32_t x = 0; x < width; ++x, p += Layout::kBytes) {
        p[0] = static_cast<uint8_t>(p[0] ^ m.b);
        p[1] = static_cast<uint8_t>(p[1] ^ m.g);
        p[2] = static_cast<uint8_t>(p[2] ^ m.r);
    }
}

// The work of VexoInvert on the exchange's rows, in parallel over rows.
void invert_rgb24_rows(const Rgb24Rows& rows, int32_t channel);

}  // namespace effects::detail
