// The HDR pipeline on the bracketed photo sets of the shared test data (each
// folder's times.txt lists file and exposure time): each shift found makes
// the threshold bitmaps of a frame and its neighbour agree at least as well
// as no shift, and the
// merged image holds no NaN or infinity. Skipped when the data or the
// decoders are absent.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "effects/hdr.hpp"
#include "photo_files.hpp"

namespace {

namespace fs = std::filesystem;
namespace hdr = effects::hdr;

struct Listed {
    std::string path;
    float time;
};

std::vector<Listed> read_times(const fs::path& dir) {
    std::vector<Listed> out;
    std::ifstream in(dir / "times.txt");
    std::string name;
    double t;
    while (in >> name >> t) out.push_back({(dir / name).string(), static_cast<float>(t)});
    return out;
}

// Threshold bitmaps of two frames, as the library builds them.
double bitmap_error(const efx_test::Photo& ref, const efx_test::Photo& other, hdr::Shift s) {
    std::vector<uint8_t> a(static_cast<size_t>(ref.width) * ref.height), b(a.size());
    VexoHDRCreateAlignMTB(ref.width, ref.height, a.data(), ref.bgra.data());
    VexoHDRCreateAlignMTB(ref.width, ref.height, b.data(), other.bgra.data());
    const int m = 64;  // one rectangle for every shift compared
    return VexoHDRTotalAlignmentRegion(ref.width, ref.height, s.dx, s.dy, a.data(), b.data(), m - std::abs(s.dx),
                                       ref.width - m - std::abs(s.dx), m - std::abs(s.dy),
                                       ref.height - m - std::abs(s.dy));
}

class HdrPhotos : public ::testing::TestWithParam<const char*> {};

TEST_P(HdrPhotos, AlignAndMergeTheBracket) {
    const fs::path dir = fs::path(EFFECTS_TEST_DATA_DIR) / GetParam();
    if (!fs::exists(dir / "times.txt")) GTEST_SKIP() << dir << " is absent";
    const std::vector<Listed> files = read_times(dir);
    ASSERT_GE(files.size(), 2u);
    efx_test::Photo probe;
    if (!efx_test::decode_photo(files.front().path, probe)) GTEST_SKIP() << "no decoder for " << files.front().path;

    // Streamed: every frame is decoded when needed and dropped after.
    hdr::Bracket bracket;
    for (const Listed& f : files)
        bracket.add(
            [path = f.path] {
                efx_test::Photo p;
                if (!efx_test::decode_photo(path, p)) throw std::runtime_error("cannot decode " + path);
                effects::Image<effects::Bgra8> img(p.width, p.height);
                std::copy(p.bgra.begin(), p.bgra.end(), img.data());
                return img;
            },
            f.time);
    hdr::AlignOptions options;
    options.max_shift = 32;
    const std::vector<hdr::Shift> shifts = hdr::align(bracket, options);
    const size_t ref = (files.size() - 1) / 2;
    EXPECT_EQ(shifts[ref], hdr::Shift{});

    // Each frame was aligned to its neighbour on the way to the reference:
    // that step must make their bitmaps agree at least as well as no shift.
    for (size_t i = 0; i < files.size(); ++i) {
        if (i == ref) continue;
        const size_t n = i < ref ? i + 1 : i - 1;
        const hdr::Shift step{shifts[i].dx - shifts[n].dx, shifts[i].dy - shifts[n].dy};
        if (step == hdr::Shift{}) continue;
        efx_test::Photo near, other;
        ASSERT_TRUE(efx_test::decode_photo(files[n].path, near));
        ASSERT_TRUE(efx_test::decode_photo(files[i].path, other));
        // Frames that are nearly all black or white (most frequent grey
        // outside 20..235, such as the darkest church frames, which show
        // little but the windows) have no contours to judge a step by.
        const auto busy = [](const efx_test::Photo& p) {
            const int32_t g = VexoHDRDetermineMedianValue(p.width, p.height, p.bgra.data());
            return g >= 20 && g <= 235;
        };
        if (!busy(near) || !busy(other)) continue;
        EXPECT_LE(bitmap_error(near, other, step), bitmap_error(near, other, {}))
            << files[i].path << " step " << step.dx << "," << step.dy;
    }

    const auto image = hdr::merge(bracket, shifts);
    const float* p = reinterpret_cast<const float*>(image.data());
    size_t bad = 0;
    for (size_t i = 0; i < static_cast<size_t>(image.width()) * image.height() * 3; ++i)
        if (!std::isfinite(p[i])) ++bad;
    EXPECT_EQ(bad, 0u);
}

INSTANTIATE_TEST_SUITE_P(Sets, HdrPhotos,
                         ::testing::Values("brackets-memorial-church", "brackets-stlouis-arch", "brackets-window-e995"),
                         [](const auto& info) {
                             std::string n = info.param;
                             for (char& c : n)
                                 if (c == '-') c = '_';
                             return n;
                         });

}  // namespace
