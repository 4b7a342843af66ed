// The bitmap exchange of the members that take device contexts and bitmap
// handles: read the source bitmap as 24-bit rows, let the member work on
// them, write them into the destination bitmap.
#pragma once

#include <cstdint>
#include <type_traits>

#include "platform/platform.hpp"

namespace effects::detail {

// Rows as the exchange hands them to a member: B, G, R bytes, `stride`
// bytes a row (width x 3 rounded up to 4), bottom row first.
struct Rgb24Rows {
    uint8_t* bits;
    int32_t width;
    int32_t height;
    int32_t stride;
};

using ExchangeWork = void (*)(void* context, const Rgb24Rows& rows);

// Returns -1 when the source bitmap's header cannot be read, 0 when its rows
// cannot be read (nothing is written then), otherwise the number of scan
// lines read. The work runs on the calling thread between the read and the
// write and may fork its own row loops.
int32_t bitmap_exchange(platform::Dc destination_dc, platform::Bitmap destination, platform::Dc source_dc,
                        platform::Bitmap source, ExchangeWork work, void* context);

template <class Fn>
int32_t bitmap_exchange(platform::Dc destination_dc, platform::Bitmap destination, platform::Dc source_dc,
                        platform::Bitmap source, Fn&& fn) {
    using F = std::remove_reference_t<Fn>;
    return bitmap_exchange(
        destination_dc, destination, source_dc, source,
        [](void* c, const Rgb24Rows& rows) { (*static_cast<F*>(c))(rows); }, &fn);
}

}  // namespace effects::detail
