// Byte rearrangements of whole pixel groups that the compiler does not
// vectorise by itself: 5-byte pixels to and from words plus a fifth byte,
// and 3-byte pixels to 4-byte ones. Each has a portable scalar form and an
// SSSE3 form (byte shuffles over 16 pixels at a time) chosen at run time;
// both give the same bytes, and a test compares them.
#pragma once

#include <cstdint>

namespace effects::detail {

// q[5i..5i+3] = word[i] (little-endian), q[5i+4] = fifth[i], i < count.
void pack_five_byte_pixels(uint8_t* q, const uint32_t* word, const uint8_t* fifth, int64_t count);
// The inverse: word[i] = p[5i..5i+3], fifth[i] = p[5i+4].
void unpack_five_byte_pixels(const uint8_t* p, uint32_t* word, uint8_t* fifth, int64_t count);
// d[4i..4i+2] = s[3i..3i+2] (Reversed: s[3i+2], s[3i+1], s[3i]), d[4i+3] = 255.
template <bool Reversed>
void expand_three_byte_pixels(const uint8_t* s, uint8_t* d, int64_t count);

// Test switch: false forces the scalar forms everywhere (not thread-safe;
// set it only while no conversion runs).
void set_byte_shuffle_vectors(bool enabled);
bool byte_shuffle_vectors();

}  // namespace effects::detail
