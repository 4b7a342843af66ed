// The HDR previews. Both are row-parallel point operations: each canvas or
// bitmap row is written by one thread.
#include "hdr/preview.hpp"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "frame/numeric.hpp"
#include "frame/parallel.hpp"

namespace effects::detail {

namespace {

// A blended byte: the float result truncated and stored modulo 256, as the
// host has always seen it (only opacities outside 1..100 leave 0..255).
inline uint8_t blended(int32_t delta, float a, int32_t canvas) {
    return static_cast<uint8_t>(TruncateToInt(static_cast<float>(delta) * a + static_cast<float>(canvas)));
}

}  // namespace

int32_t merge_hdr_preview(const OverlayPlacement& at, const uint8_t* overlay, uint8_t* canvas, int32_t opacity,
                          int32_t mode) {
    if (opacity == 0) return -1;
    if (mode != 0 && mode != 3) return 1;
    // Rows max(y, 0) .. min(y + height, canvas height), columns likewise;
    // canvas pixel (c, r) takes overlay pixel (c - x, r - y).
    const int64_t row0 = std::max(at.y, 0), col0 = std::max(at.x, 0);
    const int64_t row1 = std::min<int64_t>(int64_t{at.y} + at.height, at.canvas_height);
    const int64_t col1 = std::min<int64_t>(int64_t{at.x} + at.width, at.canvas_width);
    if (row1 <= row0 || col1 <= col0) return 1;
    const float a = static_cast<float>(opacity) * 0.01f;
    const bool copy = mode == 0 && opacity > 99;
    parallel_rows(row1 - row0, [&](int64_t begin, int64_t end) {
        for (int64_t r = row0 + begin; r < row0 + end; ++r) {
            uint8_t* c = canvas + (r * at.canvas_width + col0) * 4;
            const uint8_t* o = overlay + ((r - at.y) * at.width + (col0 - at.x)) * 4;
            for (int64_t n = col1 - col0; n > 0; --n, c += 4, o += 4)
                for (int k = 0; k < 3; ++k) {
                    if (copy) {
                        c[k] = o[k];
                    } else if (mode == 0) {
                        c[k] = blended(o[k] - c[k], a, c[k]);
                    } else {
                        c[k] = blended(std::abs(c[k] - o[k]) - c[k], a, c[k]);
                    }
                }
        }
    });
    return 1;
}

void grey_outside_region(const Rgb24Rows& rows, int32_t left, int32_t top, int32_t right, int32_t bottom) {
    int32_t t = std::max(top, 0), b = bottom < rows.height ? bottom : rows.height - 1;
    int32_t l = std::max(left, 0), r = right < rows.width ? right : rows.width - 1;
    if (t > b) std::swap(t, b);
    if (l > r) std::swap(l, r);
    uint8_t half[256];
    for (int i = 0; i < 256; ++i) half[i] = static_cast<uint8_t>(i / 2);
    parallel_rows(rows.height, [&](int64_t begin, int64_t end) {
        for (int64_t y = begin; y < end; ++y) {
            uint8_t* p = rows.bits + y * rows.stride;
            const bool row_inside = y >= t && y <= b;
            for (int32_t x = 0; x < rows.width; ++x, p += 3) {
                if (row_inside && x >= l && x <= r) continue;
                const uint8_t g = static_cast<uint8_t>((half[p[0]] + half[p[1]] + half[p[2]]) / 3);
                p[0] = p[1] = p[2] = g;
            }
        }
    });
}

}  // namespace effects::detail
