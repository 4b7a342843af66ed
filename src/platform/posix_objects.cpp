// The object table of hosts without GDI: handles are counted up from a
// fixed base and never reused, so a deleted handle stays invalid for good.
#include "platform/posix_objects.hpp"

#include <limits>
#include <utility>

#include "platform/platform.hpp"

namespace effects::detail::platform::posix {

std::unique_ptr<Surface> make_surface(int32_t width, int32_t height, int32_t bit_count, bool top_down) {
    if (width < 1 || height < 1 || (bit_count != 24 && bit_count != 32)) return nullptr;
    const int64_t stride = dib_stride(width, bit_count);
    if (stride * height > std::numeric_limits<int32_t>::max()) return nullptr;
    auto s = std::make_unique<Surface>();
    s->width = width;
    s->height = height;
    s->bit_count = bit_count;
    s->top_down = top_down;
    s->stride = stride;
    s->bits.assign(static_cast<std::size_t>(stride * height), 0);
    return s;
}

ObjectTable& ObjectTable::instance() {
    static ObjectTable table;
    return table;
}

// Handles start well away from 0 and small integers, and step by 16 so that
// they look like aligned pointers to code that inspects them.
uint64_t ObjectTable::next_handle_locked() {
    last_ = last_ == 0 ? 0x10000 : last_ + 16;
    return last_;
}

ObjectTable::Entry* ObjectTable::find_locked(uint64_t handle, Kind kind) {
    auto it = entries_.find(handle);
    return it != entries_.end() && it->second.kind == kind ? &it->second : nullptr;
}

uint64_t ObjectTable::add_bitmap_locked(std::unique_ptr<Surface> surface) {
    const uint64_t h = next_handle_locked();
    Entry e{Kind::Bitmap, {}, {}};
    e.bitmap.surface = std::move(*surface);
    entries_.emplace(h, std::move(e));
    return h;
}

uint64_t ObjectTable::add_dc_locked(std::unique_ptr<Surface> own_surface) {
    const uint64_t bitmap = add_bitmap_locked(std::move(own_surface));
    const uint64_t h = next_handle_locked();
    entries_.emplace(h, Entry{Kind::Dc, {}, DcObject{bitmap, bitmap}});
    find_locked(bitmap, Kind::Bitmap)->bitmap.selected_into = h;
    return h;
}

BitmapObject* ObjectTable::bitmap_locked(uint64_t handle) {
    Entry* e = find_locked(handle, Kind::Bitmap);
    return e ? &e->bitmap : nullptr;
}

DcObject* ObjectTable::dc_locked(uint64_t handle) {
    Entry* e = find_locked(handle, Kind::Dc);
    return e ? &e->dc : nullptr;
}

Surface* ObjectTable::dc_surface_locked(uint64_t handle) {
    DcObject* dc = dc_locked(handle);
    if (!dc) return nullptr;
    BitmapObject* b = bitmap_locked(dc->selected);
    return b ? &b->surface : nullptr;
}

bool ObjectTable::remove_bitmap_locked(uint64_t handle) {
    Entry* e = find_locked(handle, Kind::Bitmap);
    if (!e || e->bitmap.selected_into != 0) return false;
    entries_.erase(handle);
    return true;
}

bool ObjectTable::remove_dc_locked(uint64_t handle) {
    DcObject* dc = dc_locked(handle);
    if (!dc) return false;
    const DcObject d = *dc;
    if (BitmapObject* sel = bitmap_locked(d.selected)) sel->selected_into = 0;
    // The bitmap it was made with goes with it, unless the host has moved it
    // into another device context, which then keeps it.
    BitmapObject* own = bitmap_locked(d.own_bitmap);
    if (own && own->selected_into == 0) entries_.erase(d.own_bitmap);
    entries_.erase(handle);
    return true;
}

}  // namespace effects::detail::platform::posix
