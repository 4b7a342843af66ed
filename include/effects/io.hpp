// Effects imaging engine: image files for C++ callers. Radiance RGBE files
// read into float R, G, B pixels with their header lines, and written so
// that a failed write never leaves a half-written file behind. Inline over
// EffectsDecodeRadiance and EffectsWriteRadiance of effects.h.
#pragma once

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "effects/effects.hpp"

namespace effects::io {

// An allocator that leaves new elements uninitialised: a decoder writes
// every pixel, and a large image is not cleared first for nothing.
template <class T>
struct UninitializedAllocator : std::allocator<T> {
    using value_type = T;
    template <class U>
    struct rebind {
        using other = UninitializedAllocator<U>;
    };
    UninitializedAllocator() = default;
    template <class U>
    UninitializedAllocator(const UninitializedAllocator<U>&) noexcept {}
    template <class U>
    void construct(U* p) noexcept {
        ::new (static_cast<void*>(p)) U;
    }
    template <class U, class... Args>
    void construct(U* p, Args&&... args) {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }
};

// Float pixels as a vector whose growth does not clear them.
using FloatBuffer = std::vector<float, UninitializedAllocator<float>>;

// A decoded Radiance image: rows top-down, pixels left to right (whatever
// the file's orientation), three floats R, G, B each, as stored. The
// header's EXPOSURE= values are not applied: their product is `exposure`,
// and pixels / exposure are the scene's values. A file stored as XYZ is
// converted to RGB (converted_from_xyz says so).
struct RadianceImage {
    std::int32_t width = 0, height = 0;
    FloatBuffer pixels;
    std::vector<std::string> header;  // the lines before the blank one, magic first
    float exposure = 1.0f;
    bool converted_from_xyz = false;

    ImageView<const RgbFloat> view() const { return {pixels.data(), width, height}; }
};

namespace detail {

inline std::string path_text(const std::filesystem::path& p) {
    const auto u8 = p.u8string();
    return std::string(u8.begin(), u8.end());
}

inline std::vector<std::string> split_lines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t pos = 0;
    for (std::size_t end; (end = text.find('\n', pos)) != std::string::npos; pos = end + 1)
        lines.push_back(text.substr(pos, end - pos));
    return lines;
}

}  // namespace detail

// Decodes a Radiance file held in memory; `name` is used in messages.
inline RadianceImage decode_radiance(const void* data, std::size_t size, const std::string& name = "buffer") {
    char message[512];
    EffectsRadianceInfo info{};
    const auto bytes = static_cast<intptr_t>(size);
    auto check = [&](int32_t rc) {
        if (rc != EFFECTS_OK) throw Error(static_cast<Errc>(rc), name + ": " + message);
    };
    check(EffectsDecodeRadiance(data, bytes, &info, nullptr, 0, nullptr, 0, message, sizeof message));
    RadianceImage image;
    image.width = info.width;
    image.height = info.height;
    image.exposure = info.exposure;
    image.converted_from_xyz = info.converted_from_xyz != 0;
    std::string text(static_cast<std::size_t>(info.header_bytes) + 1, '\0');
    const std::size_t floats = static_cast<std::size_t>(info.width) * static_cast<std::size_t>(info.height) * 3;
    try {
        image.pixels.resize(floats);
    } catch (const std::bad_alloc&) {
        throw Error(Errc::too_large, name + ": no memory for " + std::to_string(info.width) + " x " +
                                         std::to_string(info.height) + " pixels");
    }
    check(EffectsDecodeRadiance(data, bytes, &info, text.data(), static_cast<intptr_t>(text.size()),
                                image.pixels.data(), static_cast<intptr_t>(floats), message, sizeof message));
    text.pop_back();
    image.header = detail::split_lines(text);
    return image;
}

// Reads a Radiance file. Throws effects::Error: Errc::io when the file
// cannot be read, Errc::bad_file with what is wrong and where (file offset,
// scanline) when its bytes are not a Radiance image this reader takes.
inline RadianceImage read_radiance(const std::filesystem::path& path) {
    const std::string name = detail::path_text(path);
    std::ifstream in(path, std::ios::binary);
    if (!in) throw Error(Errc::io, "cannot open " + name + ": " + std::strerror(errno));
    std::vector<char> bytes;
    std::error_code ec;
    const auto expected = std::filesystem::file_size(path, ec);
    if (!ec) bytes.resize(static_cast<std::size_t>(expected));
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    char chunk[1 << 16];
    while (in.read(chunk, sizeof chunk) || in.gcount() > 0) bytes.insert(bytes.end(), chunk, chunk + in.gcount());
    if (in.bad()) throw Error(Errc::io, "cannot read " + name + ": " + std::strerror(errno));
    return decode_radiance(bytes.data(), bytes.size(), name);
}

// Writes float R, G, B pixels as a run-length Radiance file. The file is
// written under a temporary name in the same folder and renamed into place
// when complete, so a failed write (full disk, no permission) leaves an
// older file intact; the Error (Errc::io) says why.
inline void write_radiance(const std::filesystem::path& path, ImageView<const RgbFloat> image) {
    char message[512];
    const std::string name = detail::path_text(path);
    const int32_t rc = EffectsWriteRadiance(name.c_str(), image.width(), image.height(),
                                            reinterpret_cast<const float*>(image.data()), image.stride(), message,
                                            sizeof message);
    if (rc != EFFECTS_OK) throw Error(static_cast<Errc>(rc), message);
}

}  // namespace effects::io
