// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace qz::ext {

/// A character and the size of its sequence in bytes; 0 for a sequence that isn't UTF-8.
struct Utf8Character {
    char32_t value = 0;
    unsigned int size = 0;
};

constexpr unsigned char toByte(char c)
{
    return static_cast<unsigned char>(c);
}

constexpr bool isSurrogate(char32_t value)
{
    return value >= 0xD800 && value <= 0xDFFF;
}

/// Decodes the character at `at`, which must not be `end`.
inline Utf8Character decodeCharacter(const char* at, const char* end)
{
    const unsigned int lead = toByte(*at);
    if (lead < 0x80) return {lead, 1};
    const unsigned int size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    // 0xC0 and 0xC1 begin overlong sequences only, and 0xF5 and above no character.
    if (lead < 0xC2 || lead > 0xF4 || end - at < static_cast<std::ptrdiff_t>(size)) return {};
    char32_t value = lead & (0xFFU >> (size + 1));
    for (unsigned int i = 1; i < size; ++i) {
        if ((toByte(at[i]) & 0xC0U) != 0x80) return {};
        value = value << 6U | (toByte(at[i]) & 0x3FU);
    }
    constexpr char32_t least[] = {0x80, 0x800, 0x10000};
    if (value < least[size - 2] || isSurrogate(value) || value > 0x10FFFF) return {};
    return {value, size};
}

/// Whether a character changes how the text around it is shown: a control character, a line break,
/// or one that changes the direction of writing.
constexpr bool isControlling(char32_t value)
{
    return value < 0x20 || (value >= 0x7F && value < 0xA0) || value == 0x061C || value == 0x200E ||
           value == 0x200F || (value >= 0x2028 && value <= 0x202E) ||
           (value >= 0x2066 && value <= 0x2069);
}

}  // namespace qz::ext
