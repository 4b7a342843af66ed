// Writes the fuzzer's seed corpus into the folder given: files made by the
// library's writers (flat, run-length, long runs and literals, the Rgbea
// bytes) and a few hand-made variants the writers do not produce (other
// orientations, old-style repeats, XYZ, exposure lines).
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "io/radiance.hpp"
#include "io/rgbe_legacy.hpp"
#include "platform/utf.hpp"

namespace {

std::vector<float> image(int w, int h, int seed) {
    std::vector<float> v(static_cast<size_t>(w) * h * 3);
    uint32_t x = static_cast<uint32_t>(seed) * 2654435761u + 1;
    for (size_t i = 0; i < v.size(); ++i) {
        x = x * 1664525u + 1013904223u;
        v[i] = (i / 3) % 5 == 0 ? 0.5f : std::ldexp(static_cast<float>(x >> 8) / 16777216.0f, static_cast<int>(x % 9) - 4);
    }
    return v;
}

void put(const std::string& path, const std::string& bytes) {
    if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: radiance_seeds FOLDER\n");
        return 2;
    }
    const std::string dir = argv[1];
    std::string error;
    const int sizes[][2] = {{1, 1}, {7, 3}, {8, 2}, {40, 5}, {200, 2}, {300, 1}};
    for (const auto& s : sizes) {
        const auto px = image(s[0], s[1], s[0]);
        const std::string name = dir + "/checked-" + std::to_string(s[0]) + "x" + std::to_string(s[1]) + ".hdr";
        effects::detail::write_radiance_file(name.c_str(), s[0], s[1], px.data(), int64_t{s[0]} * 12, &error);
    }
    std::vector<uint8_t> rgbea(16 * 2 * 5), work(16 * 2 * 4);
    for (size_t i = 0; i < rgbea.size(); ++i) rgbea[i] = static_cast<uint8_t>(i < 40 ? 7 : i * 13);
    const std::u16string name = effects::detail::utf8_to_utf16(dir + "/legacy-rgbea.hdr");
    effects::detail::write_legacy_rgbe(name.c_str(), 16, 2, rgbea.data(), work.data(),
                                       effects::detail::LegacySource::Rgbea, effects::detail::kCommentVersion, false);
    const std::string head = "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\nEXPOSURE=2.5\n\n";
    put(dir + "/orient-x.hdr", head + "+X 2 -Y 3\n" + std::string("\x80\x40\x20\x81", 4) + std::string(20, '\x81'));
    put(dir + "/repeat.hdr", head + "-Y 1 +X 300\n" + std::string("\xc8\x64\x32\x83\x01\x01\x01\x2b\x01\x01\x01\x01", 12));
    put(dir + "/xyze.hdr", "#?RGBE\nFORMAT=32-bit_rle_xyze\n\n+Y 1 -X 2\n" + std::string("\x80\x80\x80\x81\x00\x80\x00\x81", 8));
    put(dir + "/no-magic.hdr", "history line\nFORMAT=32-bit_rle_rgbe\n\n-Y 1 +X 1\n" + std::string("\x80\x80\x80\x81", 4));
    return 0;
}
