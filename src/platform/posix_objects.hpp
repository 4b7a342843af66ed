// The device contexts and bitmaps of hosts without GDI: a table of objects
// behind handles that are never reused, so that a stale or foreign handle is
// looked up and refused instead of dereferenced. Used by the stand-in for
// the GDI calls (platform_posix.cpp) and by the host's functions of
// <effects/platform.h>.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace effects::detail::platform::posix {

// Pixels of a bitmap: 24 or 32 bits each, rows padded to 4 bytes, stored
// bottom row first unless top_down.
struct Surface {
    int32_t width = 0;
    int32_t height = 0;  // always positive
    int32_t bit_count = 0;
    bool top_down = false;
    int64_t stride = 0;
    std::vector<uint8_t> bits;

    int32_t bytes_per_pixel() const { return bit_count / 8; }
    // Row y counted from the top of the image.
    uint8_t* row(int32_t y) { return bits.data() + (top_down ? y : height - 1 - y) * stride; }
    const uint8_t* row(int32_t y) const { return bits.data() + (top_down ? y : height - 1 - y) * stride; }
};

enum class Kind { Bitmap, Dc };

struct BitmapObject {
    Surface surface;
    uint64_t selected_into = 0;  // handle of the device context, 0 when free
};

struct DcObject {
    uint64_t selected = 0;        // the bitmap it draws into
    uint64_t own_bitmap = 0;      // the bitmap it was made with; deleted with it
};

// Surface with the given geometry and zeroed pixels, or nullptr when the
// size is out of range (each side 1..2^31-1, storage below 2^31 bytes).
std::unique_ptr<Surface> make_surface(int32_t width, int32_t height, int32_t bit_count, bool top_down);

// Every live object. All functions take the table's lock; callers that need
// several steps to be atomic hold a Lock across them and use the *_locked
// forms.
class ObjectTable {
public:
    using Lock = std::unique_lock<std::mutex>;
    static ObjectTable& instance();

    Lock lock() { return Lock(mutex_); }

    uint64_t add_bitmap_locked(std::unique_ptr<Surface> surface);
    uint64_t add_dc_locked(std::unique_ptr<Surface> own_surface);
    BitmapObject* bitmap_locked(uint64_t handle);
    DcObject* dc_locked(uint64_t handle);
    // Surface a device context draws into, or nullptr.
    Surface* dc_surface_locked(uint64_t handle);
    // Remove an object; false when the handle is not a live object of that
    // kind or (for a bitmap) when it is selected into a device context.
    bool remove_bitmap_locked(uint64_t handle);
    bool remove_dc_locked(uint64_t handle);

private:
    struct Entry {
        Kind kind;
        BitmapObject bitmap;
        DcObject dc;
    };
    Entry* find_locked(uint64_t handle, Kind kind);
    uint64_t next_handle_locked();

    std::mutex mutex_;
    uint64_t last_ = 0;
    std::map<uint64_t, Entry> entries_;
};

inline uint64_t handle_value(const void* h) { return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(h)); }
inline void* handle_pointer(uint64_t h) { return reinterpret_cast<void*>(static_cast<uintptr_t>(h)); }

}  // namespace effects::detail::platform::posix
