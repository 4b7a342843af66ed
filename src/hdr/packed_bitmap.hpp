// Threshold bitmaps packed 64 pixels to a word, and the alignment search's
// error measure on them: the same mean XOR over the same pixels as the
// library's error functions (VexoHDRTotalAlignmentRegion and ...Zones on
// byte bitmaps), counted with popcount over whole words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "hdr/align.hpp"

namespace effects::detail {

// Bit x % 64 of word x / 64 of a row is pixel x. Each row has one zero word
// before and after its pixels, so that a row shifted by up to 64 pixels
// either way reads only words of its own row; bits past the width are 0.
// The words are left unset until pack_greys writes every one of them.
class PackedBitmap {
public:
    PackedBitmap() = default;
    PackedBitmap(int32_t width, int32_t height);
    int32_t width() const { return width_; }
    int32_t height() const { return height_; }
    int64_t words() const { return words_; }
    const uint64_t* row(int64_t y) const { return bits_.get() + y * stride_ + 1; }
    uint64_t* row(int64_t y) { return bits_.get() + y * stride_ + 1; }

private:
    int32_t width_ = 0, height_ = 0;
    int64_t words_ = 0, stride_ = 0;
    std::unique_ptr<uint64_t[]> bits_;
};

// Packs a plane of greys (rows `width` bytes apart): a pixel is 1 where its
// grey is above `above`; -1 sets every pixel, 255 none.
void pack_greys(const uint8_t* greys, int32_t above, PackedBitmap& out);
// Packs a byte bitmap of 0s and 1s (the library's layout).
void pack_bytes(const uint8_t* bitmap, PackedBitmap& out);

// One candidate of a search: the shift, the reference pixels compared (the
// reads at (x - dx, y - dy) must lie within 64 pixels of the other
// bitmap's columns and inside its rows), and the count found.
struct Candidate {
    int32_t dx = 0, dy = 0;
    XorArea area;
    int64_t differences = 0;
    // The mean XOR, as the library's functions give it while the count of
    // differing pixels stays within 2^24 (where their single-precision sum
    // is exact); an empty area gives 0.0 as theirs do.
    double error() const {
        const int64_t n = area.pixels();
        return n == 0 ? 0.0 : static_cast<double>(differences) / static_cast<double>(n);
    }
};

// Counts, for every candidate, the pixels of its area where reference(x, y)
// differs from other(x - dx, y - dy). Rows are split among threads, each
// counting all candidates on its rows; the per-thread counts are added
// after the join.
void count_differences(const PackedBitmap& ref, const PackedBitmap& other, Candidate* candidates, std::size_t n);

}  // namespace effects::detail
