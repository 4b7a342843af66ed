// Helpers of the file tests: a scratch folder per test, UTF-16 names for the
// legacy exports, whole-file reads and writes, the error stream captured,
// and the fixed header that every Radiance writer puts first.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace efx_test {

namespace fs = std::filesystem;

// A folder of its own for the running test, removed afterwards.
class ScratchDir {
public:
    ScratchDir() {
        const auto* info = testing::UnitTest::GetInstance()->current_test_info();
        path_ = fs::temp_directory_path() /
                (std::string("effects-") + info->test_suite_name() + "-" + info->name() + "-" +
                 std::to_string(reinterpret_cast<uintptr_t>(this) & 0xFFFFFF));
        fs::remove_all(path_);
        fs::create_directories(path_);
    }
    ~ScratchDir() {
        std::error_code ec;
        fs::remove_all(path_, ec);
    }
    fs::path operator/(const std::string& name) const { return path_ / name; }
    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

// The NUL-terminated UTF-16 name that the legacy exports take.
inline std::u16string wide(const fs::path& p) { return p.u16string(); }

inline std::vector<uint8_t> read_bytes(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

inline void write_bytes(const fs::path& p, const std::vector<uint8_t>& bytes) {
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline std::vector<uint8_t> bytes_of(const std::string& s) { return {s.begin(), s.end()}; }

inline std::vector<uint8_t> concat(std::vector<uint8_t> a, const std::vector<uint8_t>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// The header lines of every Radiance writer, up to the resolution line.
inline std::string radiance_header(const char* comment, int width, int height) {
    return std::string("#?RADIANCE\n#") + comment + "\nFORMAT=32-bit_rle_rgbe\nEXPOSURE=          1.0000000000000\n\n" +
           "-Y " + std::to_string(height) + " +X " + std::to_string(width) + "\n";
}

inline constexpr const char* kMadeWith = " Made with 100% Vexo HDR";
inline constexpr const char* kVersion = " Vexo HDR 2.6";

// What a call prints on the error stream.
template <class Fn>
std::string stderr_of(Fn&& fn) {
    testing::internal::CaptureStderr();
    fn();
    std::fflush(stderr);
    return testing::internal::GetCapturedStderr();
}

}  // namespace efx_test
