// File names cross the C interface as UTF-16 and the C++ interface as UTF-8;
// these convert between the two for the host's file calls. Unpaired
// surrogates and malformed UTF-8 become U+FFFD, so a conversion never fails.
#pragma once

#include <cstdint>
#include <string>

namespace effects::detail {

inline void append_utf8(std::string& out, uint32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// A NUL-terminated UTF-16 string as UTF-8.
inline std::string utf16_to_utf8(const char16_t* s) {
    std::string out;
    if (!s) return out;
    for (; *s; ++s) {
        uint32_t c = *s;
        if (c >= 0xD800 && c < 0xDC00 && s[1] >= 0xDC00 && s[1] < 0xE000) {
            c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<uint32_t>(s[1]) - 0xDC00);
            ++s;
        } else if (c >= 0xD800 && c < 0xE000) {
            c = 0xFFFD;
        }
        append_utf8(out, c);
    }
    return out;
}

// A UTF-8 string as UTF-16.
inline std::u16string utf8_to_utf16(const std::string& s) {
    std::u16string out;
    const auto* p = reinterpret_cast<const unsigned char*>(s.data());
    const size_t n = s.size();
    for (size_t i = 0; i < n;) {
        const uint32_t b = p[i];
        int extra = b < 0x80 ? 0 : (b >> 5) == 6 ? 1 : (b >> 4) == 14 ? 2 : (b >> 3) == 30 ? 3 : -1;
        uint32_t c = extra == 0 ? b : extra == 1 ? (b & 0x1F) : extra == 2 ? (b & 0x0F) : (b & 0x07);
        bool ok = extra >= 0;
        for (int k = 1; ok && k <= extra; ++k) {
            if (i + static_cast<size_t>(k) >= n || (p[i + k] & 0xC0) != 0x80) ok = false;
            else c = (c << 6) | (p[i + k] & 0x3F);
        }
        if (!ok || c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) {
            out += static_cast<char16_t>(0xFFFD);
            ++i;
            continue;
        }
        i += static_cast<size_t>(extra) + 1;
        if (c >= 0x10000) {
            out += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            out += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            out += static_cast<char16_t>(c);
        }
    }
    return out;
}

}  // namespace effects::detail
