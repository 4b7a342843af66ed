// libFuzzer target of the Radiance readers. Every input goes through the
// checked reader (header, then pixels when the image is small enough to
// allocate here) and through the legacy header and pixel readers into a
// destination of exactly width x height x 3 floats, so that the sanitizers
// see any read past the input or write past the destination.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "io/radiance.hpp"
#include "io/rgbe_legacy.hpp"

namespace {

// Sizes of the legacy destination (256 pixels each): flat widths, the
// run-length range and a single long scanline.
constexpr int kSizes[][2] = {{4, 64}, {8, 32}, {16, 16}, {32, 8}, {256, 1}};

void checked_reader(const uint8_t* data, size_t size) {
    effects::detail::RadianceHeader h;
    std::string error;
    if (!effects::detail::parse_radiance_header(data, size, &h, &error)) return;
    if (int64_t{h.width} * h.height > (int64_t{1} << 20)) return;  // keeps the fuzzer's memory small
    std::vector<float> out(static_cast<size_t>(h.width) * static_cast<size_t>(h.height) * 3);
    effects::detail::decode_radiance_pixels(data, size, h, out.data(), &error);
}

void legacy_reader(const uint8_t* data, size_t size) {
    if (size == 0) return;
    std::FILE* f = fmemopen(const_cast<uint8_t*>(data), size, "rb");
    if (!f) return;
    const auto* dims = kSizes[size % (sizeof kSizes / sizeof kSizes[0])];
    std::vector<float> out(static_cast<size_t>(dims[0]) * dims[1] * 3);
    int32_t w = 0, h = 0;
    effects::detail::read_legacy_header(f, &w, &h);
    effects::detail::read_legacy_pixels(f, out.data(), dims[0], dims[1]);
    std::fclose(f);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    checked_reader(data, size);
    legacy_reader(data, size);
    return 0;
}
