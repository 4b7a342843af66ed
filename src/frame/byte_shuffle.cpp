// Scalar and SSSE3 forms of the pixel byte rearrangements. The SSSE3 forms
// work on groups of 16 pixels: every output register is an OR of byte
// shuffles of the input registers it draws from, with shuffle masks built
// once from the same index rule the scalar form follows. The ragged end of
// a run goes through the scalar form.
#include "frame/byte_shuffle.hpp"

#include <cstring>
#include <utility>

#if defined(__x86_64__) || defined(_M_X64)
#include <immintrin.h>
#define EFFECTS_HAVE_SSSE3_PATH 1
#endif

namespace effects::detail {
namespace {

// ---- scalar forms --------------------------------------------------------

void pack_scalar(uint8_t* q, const uint32_t* word, const uint8_t* fifth, int64_t count) {
    for (int64_t i = 0; i < count; ++i) {
        std::memcpy(q + 5 * i, &word[i], 4);
        q[5 * i + 4] = fifth[i];
    }
}

void unpack_scalar(const uint8_t* p, uint32_t* word, uint8_t* fifth, int64_t count) {
    for (int64_t i = 0; i < count; ++i) {
        std::memcpy(&word[i], p + 5 * i, 4);
        fifth[i] = p[5 * i + 4];
    }
}

template <bool Reversed>
void expand_scalar(const uint8_t* s, uint8_t* d, int64_t count) {
    for (int64_t i = 0; i < count; ++i) {
        d[4 * i + 0] = s[3 * i + (Reversed ? 2 : 0)];
        d[4 * i + 1] = s[3 * i + 1];
        d[4 * i + 2] = s[3 * i + (Reversed ? 0 : 2)];
        d[4 * i + 3] = 255;
    }
}

bool g_vectors = true;

#ifdef EFFECTS_HAVE_SSSE3_PATH

// Shuffle masks taking output register `o` from input register `i`, built
// at compile time from a rule mapping each output byte (0 .. 16 * Outs - 1)
// to an input byte (0 .. 16 * Ins - 1) or to none (-1). A mask byte with its
// top bit set gives 0, so the OR over the input registers that an output
// draws from assembles it; registers it does not draw from are skipped.
template <int Ins, int Outs>
struct MaskTable {
    alignas(16) int8_t mask[Outs][Ins][16];
    bool used[Outs][Ins];
};

template <int Ins, int Outs, class Rule>
constexpr MaskTable<Ins, Outs> make_masks() {
    MaskTable<Ins, Outs> t{};
    for (int o = 0; o < Outs; ++o)
        for (int i = 0; i < Ins; ++i) {
            t.used[o][i] = false;
            for (int k = 0; k < 16; ++k) t.mask[o][i][k] = static_cast<int8_t>(-128);
        }
    for (int b = 0; b < 16 * Outs; ++b) {
        const int from = Rule{}(b);
        if (from < 0) continue;
        t.mask[b / 16][from / 16][b % 16] = static_cast<int8_t>(from % 16);
        t.used[b / 16][from / 16] = true;
    }
    return t;
}

template <int Ins, int Outs, class Rule>
inline constexpr MaskTable<Ins, Outs> kMasks = make_masks<Ins, Outs, Rule>();

template <int Ins, int Outs, class Rule, int O, int... I>
__attribute__((target("ssse3"), always_inline)) inline __m128i assemble(const __m128i* in,
                                                                       std::integer_sequence<int, I...>) {
    constexpr const MaskTable<Ins, Outs>& m = kMasks<Ins, Outs, Rule>;
    __m128i acc = _mm_setzero_si128();
    ((acc = m.used[O][I] ? _mm_or_si128(acc, _mm_shuffle_epi8(in[I], _mm_load_si128(reinterpret_cast<const __m128i*>(
                                                                          m.mask[O][I]))))
                         : acc),
     ...);
    return acc;
}

template <int Ins, int Outs, class Rule, int... O>
__attribute__((target("ssse3"), always_inline)) inline void shuffle(const __m128i* in, __m128i* out,
                                                                   std::integer_sequence<int, O...>) {
    ((out[O] = assemble<Ins, Outs, Rule, O>(in, std::make_integer_sequence<int, Ins>{})), ...);
}

template <int Ins, int Outs, class Rule>
__attribute__((target("ssse3"), always_inline)) inline void shuffle(const __m128i* in, __m128i* out) {
    shuffle<Ins, Outs, Rule>(in, out, std::make_integer_sequence<int, Outs>{});
}

// Inputs 0..3: the words of 16 pixels; input 4: their fifth bytes.
struct PackRule {
    constexpr int operator()(int b) const { return b % 5 < 4 ? (b / 5) * 4 + b % 5 : 64 + b / 5; }
};
// Outputs 0..3: the words of 16 pixels; output 4: their fifth bytes.
struct UnpackRule {
    constexpr int operator()(int b) const { return b < 64 ? (b / 4) * 5 + b % 4 : (b - 64) * 5 + 4; }
};
template <bool Reversed>
struct ExpandRule {
    constexpr int operator()(int b) const {
        const int k = b % 4;
        return k == 3 ? -1 : 3 * (b / 4) + (Reversed ? 2 - k : k);
    }
};

bool has_ssse3() {
    static const bool yes = __builtin_cpu_supports("ssse3");
    return yes;
}

__attribute__((target("ssse3"))) int64_t pack_ssse3(uint8_t* q, const uint32_t* word, const uint8_t* fifth,
                                                    int64_t count) {
    int64_t i = 0;
    for (; i + 16 <= count; i += 16) {
        __m128i in[5], out[5];
        for (int r = 0; r < 4; ++r) in[r] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(word + i + 4 * r));
        in[4] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(fifth + i));
        shuffle<5, 5, PackRule>(in, out);
        for (int r = 0; r < 5; ++r) _mm_storeu_si128(reinterpret_cast<__m128i*>(q + 5 * i + 16 * r), out[r]);
    }
    return i;
}

__attribute__((target("ssse3"))) int64_t unpack_ssse3(const uint8_t* p, uint32_t* word, uint8_t* fifth,
                                                      int64_t count) {
    int64_t i = 0;
    for (; i + 16 <= count; i += 16) {
        __m128i in[5], out[5];
        for (int r = 0; r < 5; ++r) in[r] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 5 * i + 16 * r));
        shuffle<5, 5, UnpackRule>(in, out);
        for (int r = 0; r < 4; ++r) _mm_storeu_si128(reinterpret_cast<__m128i*>(word + i + 4 * r), out[r]);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(fifth + i), out[4]);
    }
    return i;
}

template <bool Reversed>
__attribute__((target("ssse3"))) int64_t expand_ssse3(const uint8_t* s, uint8_t* d, int64_t count) {
    const __m128i alpha = _mm_set1_epi32(static_cast<int>(0xFF000000u));
    int64_t i = 0;
    for (; i + 16 <= count; i += 16) {
        __m128i in[3], out[4];
        for (int r = 0; r < 3; ++r) in[r] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 3 * i + 16 * r));
        shuffle<3, 4, ExpandRule<Reversed>>(in, out);
        for (int r = 0; r < 4; ++r)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 4 * i + 16 * r), _mm_or_si128(out[r], alpha));
    }
    return i;
}

#endif

}  // namespace

void set_byte_shuffle_vectors(bool enabled) { g_vectors = enabled; }
bool byte_shuffle_vectors() { return g_vectors; }

void pack_five_byte_pixels(uint8_t* q, const uint32_t* word, const uint8_t* fifth, int64_t count) {
    int64_t done = 0;
#ifdef EFFECTS_HAVE_SSSE3_PATH
    if (g_vectors && has_ssse3()) done = pack_ssse3(q, word, fifth, count);
#endif
    pack_scalar(q + 5 * done, word + done, fifth + done, count - done);
}

void unpack_five_byte_pixels(const uint8_t* p, uint32_t* word, uint8_t* fifth, int64_t count) {
    int64_t done = 0;
#ifdef EFFECTS_HAVE_SSSE3_PATH
    if (g_vectors && has_ssse3()) done = unpack_ssse3(p, word, fifth, count);
#endif
    unpack_scalar(p + 5 * done, word + done, fifth + done, count - done);
}

template <bool Reversed>
void expand_three_byte_pixels(const uint8_t* s, uint8_t* d, int64_t count) {
    int64_t done = 0;
#ifdef EFFECTS_HAVE_SSSE3_PATH
    if (g_vectors && has_ssse3()) done = expand_ssse3<Reversed>(s, d, count);
#endif
    expand_scalar<Reversed>(s + 3 * done, d + 4 * done, count - done);
}

template void expand_three_byte_pixels<false>(const uint8_t*, uint8_t*, int64_t);
template void expand_three_byte_pixels<true>(const uint8_t*, uint8_t*, int64_t);

}  // namespace effects::detail
