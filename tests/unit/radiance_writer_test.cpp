// The checked Radiance writer (effects::io::write_radiance): the bytes of
// the legacy writer for every width, the same bytes for any thread count,
// the older file kept when a write fails, the C entry point's checks, and
// interchange with software nobody here wrote (pfstools' pfsin and pfsout).
#include <gtest/gtest.h>
#include <omp.h>

#include <effects/io.hpp>

#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#include "file_test_support.hpp"
#include "test_support.hpp"

#ifndef _WIN32
#include <csignal>
#include <sys/resource.h>
#endif

namespace efx_test {
namespace {

std::vector<float> floats(const effects::io::RadianceImage& img) { return {img.pixels.begin(), img.pixels.end()}; }

std::vector<float> random_rgb(int w, int h, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<float> v(static_cast<size_t>(w) * h * 3);
    // Runs of equal pixels as well as noise, so both codes of the coder occur.
    for (size_t i = 0; i < v.size(); i += 3) {
        const float f = (rng() % 3 == 0 && i > 0) ? v[i - 3] : random_float(rng);
        v[i] = f, v[i + 1] = (rng() % 2) ? f : random_float(rng), v[i + 2] = f * 0.5f;
    }
    return v;
}

effects::ImageView<const effects::RgbFloat> view_of(const std::vector<float>& v, int w, int h) {
    return {v.data(), w, h};
}

TEST(RadianceWriter, WritesTheBytesOfTheLegacyWriter) {
    ScratchDir dir;
    for (auto [w, h] : {std::pair{1, 1}, {7, 3}, {8, 2}, {127, 3}, {300, 5}, {33000, 1}}) {
        const auto rgb = random_rgb(w, h, static_cast<uint32_t>(w + h));
        effects::io::write_radiance(dir / "new.hdr", view_of(rgb, w, h));
        RGBE_WriteHeader_96(wide(dir / "old.hdr").c_str(), w, h, rgb.data());
        EXPECT_EQ(read_bytes(dir / "new.hdr"), read_bytes(dir / "old.hdr")) << w << "x" << h;
    }
}

TEST(RadianceWriter, BytesDoNotDependOnTheThreadCount) {
    ScratchDir dir;
    const int w = 97, h = 301;
    const auto rgb = random_rgb(w, h, 5);
    std::vector<std::vector<uint8_t>> files;
    const int before = omp_get_max_threads();
    for (int threads : {1, 2, 7}) {
        omp_set_num_threads(threads);
        effects::io::write_radiance(dir / "t.hdr", view_of(rgb, w, h));
        files.push_back(read_bytes(dir / "t.hdr"));
    }
    omp_set_num_threads(before);
    EXPECT_EQ(files[0], files[1]);
    EXPECT_EQ(files[0], files[2]);
}

TEST(RadianceWriter, RowsWithAStride) {
    ScratchDir dir;
    const int w = 9, h = 4;
    const auto packed = random_rgb(w, h, 11);
    std::vector<float> strided(static_cast<size_t>(w + 3) * 3 * h, -7.0f);
    for (int r = 0; r < h; ++r)
        std::copy_n(packed.begin() + r * w * 3, w * 3, strided.begin() + r * (w + 3) * 3);
    effects::io::write_radiance(dir / "s.hdr",
                                effects::ImageView<const effects::RgbFloat>(strided.data(), w, h, (w + 3) * 12));
    effects::io::write_radiance(dir / "p.hdr", view_of(packed, w, h));
    EXPECT_EQ(read_bytes(dir / "s.hdr"), read_bytes(dir / "p.hdr"));
}

TEST(RadianceWriter, ReadsBackToRgbePrecision) {
    ScratchDir dir;
    const int w = 40, h = 30;
    const auto rgb = random_rgb(w, h, 17);
    effects::io::write_radiance(dir / "r.hdr", view_of(rgb, w, h));
    const auto img = effects::io::read_radiance(dir / "r.hdr");
    ASSERT_EQ(img.pixels.size(), rgb.size());
    for (size_t i = 0; i < rgb.size(); i += 3) {
        uint8_t px[4];
        rgbe_encode(rgb[i], rgb[i + 1], rgb[i + 2], px);
        for (int k = 0; k < 3; ++k) ASSERT_EQ(img.pixels[i + k], rgbe_decode_half(px[k], px[3])) << i;
    }
}

TEST(RadianceWriter, FailureSaysWhyAndLeavesNoFileBehind) {
    ScratchDir dir;
    const std::vector<float> px(3, 1.0f);
    try {
        effects::io::write_radiance(dir / "no-folder" / "x.hdr", view_of(px, 1, 1));
        ADD_FAILURE();
    } catch (const effects::Error& e) {
        EXPECT_EQ(e.code(), effects::Errc::io);
        EXPECT_NE(std::string(e.what()).find("cannot write"), std::string::npos) << e.what();
        EXPECT_NE(std::string(e.what()).find("x.hdr"), std::string::npos) << e.what();
    }
    // A folder where the file should go: the rename fails, nothing is left.
    fs::create_directory(dir / "taken.hdr");
    EXPECT_THROW(effects::io::write_radiance(dir / "taken.hdr", view_of(px, 1, 1)), effects::Error);
    EXPECT_TRUE(fs::is_directory(dir / "taken.hdr"));
    size_t entries = 0;
    for (const auto& e : fs::directory_iterator(dir.path())) entries += e.path().filename() != "taken.hdr";
    EXPECT_EQ(entries, 0u);
}

#ifndef _WIN32
TEST(RadianceWriter, FullDiskKeepsTheOlderFile) {
    ScratchDir dir;
    const auto path = dir / "keep.hdr";
    const std::vector<float> small(3, 1.0f);
    effects::io::write_radiance(path, view_of(small, 1, 1));
    const auto old = read_bytes(path);
    // Files may grow to 4 KiB only: the writes of a large image fail as on
    // a full disk.
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit = before;
    limit.rlim_cur = 4096;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    const auto big = random_rgb(200, 200, 3);
    std::string what;
    try {
        effects::io::write_radiance(path, view_of(big, 200, 200));
    } catch (const effects::Error& e) {
        what = e.what();
    }
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, old_handler);
    EXPECT_NE(what.find("File too large"), std::string::npos) << what;
    EXPECT_EQ(read_bytes(path), old);
    size_t entries = 0;
    for (auto it = fs::directory_iterator(dir.path()); it != fs::directory_iterator(); ++it) ++entries;
    EXPECT_EQ(entries, 1u);
}
#endif

TEST(RadianceWriter, CEntryPointChecksItsArguments) {
    ScratchDir dir;
    const std::string path = (dir / "c.hdr").string();
    const std::vector<float> px(12, 0.5f);
    char msg[128];
    EXPECT_EQ(EffectsWriteRadiance(nullptr, 1, 1, px.data(), 12, msg, sizeof msg), EFFECTS_ERROR_NULL_POINTER);
    EXPECT_EQ(EffectsWriteRadiance(path.c_str(), 0, 1, px.data(), 12, msg, sizeof msg), EFFECTS_ERROR_NEGATIVE_SIZE);
    EXPECT_NE(std::string(msg).find("0 x 1"), std::string::npos);
    EXPECT_EQ(EffectsWriteRadiance(path.c_str(), 1, 1, nullptr, 12, msg, sizeof msg), EFFECTS_ERROR_NULL_POINTER);
    EXPECT_EQ(EffectsWriteRadiance(path.c_str(), 2, 1, px.data(), 12, msg, sizeof msg), EFFECTS_ERROR_BAD_STRIDE);
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(EffectsWriteRadiance(path.c_str(), 2, 2, px.data(), 24, msg, sizeof msg), EFFECTS_OK);
    EXPECT_EQ(effects::io::read_radiance(path).width, 2);
}

// ---- pfstools ----------------------------------------------------------------------

#ifndef _WIN32
bool have_pfstools() { return std::system("command -v pfsin >/dev/null 2>&1 && command -v pfsout >/dev/null 2>&1") == 0; }

int run(const std::string& command) { return std::system((command + " 2>&1").c_str()); }

std::string quote(const fs::path& p) { return "'" + p.string() + "'"; }

// A PFM file: "PF", size, -1 (little-endian), rows bottom to top, R G B.
void write_pfm(const fs::path& path, const std::vector<float>& rgb, int w, int h) {
    std::string head = "PF\n" + std::to_string(w) + " " + std::to_string(h) + "\n-1.0\n";
    std::vector<uint8_t> bytes = bytes_of(head);
    for (int r = h - 1; r >= 0; --r) {
        const auto* p = reinterpret_cast<const uint8_t*>(rgb.data() + static_cast<size_t>(r) * w * 3);
        bytes.insert(bytes.end(), p, p + static_cast<size_t>(w) * 12);
    }
    write_bytes(path, bytes);
}

std::vector<float> read_pfm(const fs::path& path, int w, int h) {
    const auto bytes = read_bytes(path);
    size_t pos = 0;
    for (int lines = 0; lines < 3 && pos < bytes.size(); ++pos) lines += bytes[pos] == '\n';
    std::vector<float> rgb(static_cast<size_t>(w) * h * 3);
    EXPECT_EQ(bytes.size() - pos, rgb.size() * 4);
    if (bytes.size() - pos != rgb.size() * 4) return {};
    for (int r = 0; r < h; ++r)
        std::memcpy(rgb.data() + static_cast<size_t>(h - 1 - r) * w * 3, bytes.data() + pos + static_cast<size_t>(r) * w * 12,
                    static_cast<size_t>(w) * 12);
    return rgb;
}

// Equal to the precision of one shared-exponent pixel: within a mantissa
// step of the largest channel (other decoders may skip the half step, and
// pfstools passes colours through XYZ).
void expect_rgbe_close(const std::vector<float>& got, const std::vector<float>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < want.size(); i += 3) {
        const float m = std::max({want[i], want[i + 1], want[i + 2], 0.0f});
        for (int k = 0; k < 3; ++k)
            ASSERT_NEAR(got[i + k], std::max(want[i + k], 0.0f), m / 128 + 1e-30f) << "pixel " << i / 3 << " channel " << k;
    }
}

std::vector<float> positive_rgb(int w, int h) {
    std::mt19937 rng(23);
    std::uniform_real_distribution<float> mant(0.05f, 1.0f);
    std::vector<float> v(static_cast<size_t>(w) * h * 3);
    for (size_t i = 0; i < v.size(); ++i) v[i] = mant(rng) * std::ldexp(1.0f, static_cast<int>(rng() % 12) - 6);
    for (size_t i = 30; i < std::min<size_t>(90, v.size()); ++i) v[i] = 0.75f;  // a run
    return v;
}

TEST(RadianceInterop, PfsinReadsWhatTheLibraryWrites) {
    if (!have_pfstools()) GTEST_SKIP() << "pfstools (pfsin, pfsout) not installed";
    ScratchDir dir;
    for (auto [w, h] : {std::pair{37, 23}, {5, 4}}) {
        const auto rgb = positive_rgb(w, h);
        effects::io::write_radiance(dir / "lib.hdr", view_of(rgb, w, h));
        ASSERT_EQ(run("pfsin " + quote(dir / "lib.hdr") + " | pfsout " + quote(dir / "lib.pfm")), 0);
        expect_rgbe_close(read_pfm(dir / "lib.pfm", w, h), rgb);
        // The legacy writers' files too.
        std::vector<float> work(rgb.size());
        std::vector<float> bgra;
        for (size_t i = 0; i < rgb.size(); i += 3) bgra.insert(bgra.end(), {rgb[i + 2], rgb[i + 1], rgb[i], 1.0f});
        RGBE_WriteHeader_128(wide(dir / "legacy.hdr").c_str(), w, h, bgra.data(), work.data());
        ASSERT_EQ(run("pfsin " + quote(dir / "legacy.hdr") + " | pfsout " + quote(dir / "legacy.pfm")), 0);
        expect_rgbe_close(read_pfm(dir / "legacy.pfm", w, h), rgb);
    }
}

TEST(RadianceInterop, ReaderReadsWhatPfsoutWrites) {
    if (!have_pfstools()) GTEST_SKIP() << "pfstools (pfsin, pfsout) not installed";
    ScratchDir dir;
    for (auto [w, h] : {std::pair{64, 20}, {6, 3}}) {
        const auto rgb = positive_rgb(w, h);
        write_pfm(dir / "in.pfm", rgb, w, h);
        ASSERT_EQ(run("pfsin " + quote(dir / "in.pfm") + " | pfsout " + quote(dir / "pfs.hdr")), 0);
        const auto img = effects::io::read_radiance(dir / "pfs.hdr");
        ASSERT_EQ(img.width, w);
        ASSERT_EQ(img.height, h);
        expect_rgbe_close(floats(img), rgb);
    }
}
#endif

}  // namespace
}  // namespace efx_test
