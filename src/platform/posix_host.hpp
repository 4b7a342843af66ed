// The host's side of the platform layer on systems without GDI: making,
// filling, reading and deleting device contexts and bitmaps. The C exports
// of <effects/platform.h> are shims over these.
#pragma once

#include <cstdint>

namespace effects::detail::platform::posix {

void* create_memory_dc(int32_t width, int32_t height);
int32_t delete_memory_dc(void* dc);
int32_t dc_size(void* dc, int32_t* width, int32_t* height);
int32_t read_dc(void* dc, void* dst, int32_t size);
void* create_bitmap(int32_t width, int32_t height, int32_t bits_per_pixel);
int32_t delete_bitmap(void* bitmap);
int32_t bitmap_stride(void* bitmap);
int32_t write_bitmap(void* bitmap, const void* src, int32_t size);
int32_t read_bitmap(void* bitmap, void* dst, int32_t size);

}  // namespace effects::detail::platform::posix
