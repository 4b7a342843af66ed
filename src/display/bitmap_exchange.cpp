// The bitmap exchange, in the order the handle-based members rely on:
// header query, 24-bit read of every scan line, the member's work, write
// back, and the number of lines read as the result.
#include "display/bitmap_exchange.hpp"

#include "frame/scratch.hpp"

namespace effects::detail {

int32_t bitmap_exchange(platform::Dc destination_dc, platform::Bitmap destination, platform::Dc source_dc,
                        platform::Bitmap source, ExchangeWork work, void* context) {
    platform::BitmapHeader header{};
    header.size = sizeof(platform::BitmapHeader);
    if (platform::get_dib_bits(source_dc, source, 0, 0, nullptr, &header) == 0) return -1;
    // The query reports a positive size for every bitmap; a header without
    // pixels describes nothing that could be read.
    if (header.width < 1 || header.height < 1) return -1;

    // 24 bits, uncompressed: the query of a 32-bit bitmap reports bit fields.
    header.bit_count = 24;
    header.compression = platform::kCompressionRgb;
    const int32_t stride = (header.width * 3 + 3) & ~3;
    const int32_t height = header.height;

    ScratchBuffer<uint8_t> bits(static_cast<std::size_t>(height) * static_cast<std::size_t>(stride));
    const int lines = platform::get_dib_bits(source_dc, source, 0, static_cast<uint32_t>(height), bits.data(), &header);
    if (lines == 0) return 0;

    work(context, Rgb24Rows{bits.data(), header.width, height, stride});

    platform::set_dib_bits(destination_dc, destination, 0, static_cast<uint32_t>(height), bits.data(), &header);
    return lines;
}

}  // namespace effects::detail
