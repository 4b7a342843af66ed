// The checked Radiance writer: the same header and scanline coder as the
// legacy writers (its bytes equal RGBE_WriteHeader_96's), written to a
// temporary file beside the target, every write checked, the data flushed
// to the device, then renamed over the target. On any failure the temporary
// file is removed and an older file at the target is left as it was.
#include <cstdio>

#include "io/radiance.hpp"
#include "io/rgbe_legacy.hpp"
#include "io/rgbe_pixels.hpp"
#include "platform/files.hpp"

namespace effects::detail {

bool write_radiance_file(const char* path, int32_t width, int32_t height, const float* rgb, int64_t stride,
                         std::string* error) {
    const std::string target = path;
    std::string temp;
    std::FILE* f = platform::create_temporary_beside(target, &temp, error);
    if (!f) {
        *error = "cannot write " + target + ": " + *error;
        return false;
    }
    const RgbeRows rows{RgbeRows::Kind::RgbFloat, reinterpret_cast<const uint8_t*>(rgb), stride};
    bool ok = write_rgbe_header(f, kCommentMadeWith, width, height);
    ok = ok && write_rgbe_pixels(f, width, height, rows);
    std::string why = ok ? std::string() : platform::last_error_text();
    std::string close_error;
    if (!platform::finish_file(f, &close_error) && ok) {
        ok = false;
        why = close_error;
    }
    if (ok && !platform::replace_file(temp, target, &why)) ok = false;
    if (!ok) {
        platform::remove_file(temp);
        *error = "cannot write " + target + ": " + why;
    }
    return ok;
}

}  // namespace effects::detail
