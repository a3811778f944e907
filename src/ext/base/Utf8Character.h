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

/// The characters from one to another, both included.
struct CharacterRange {
    char32_t first;
    char32_t last;
};

/// Whether one of the ranges, which must be in order, holds the character.
template <std::size_t Count>
constexpr bool isInRanges(char32_t value, const CharacterRange (&ranges)[Count])
{
    for (const CharacterRange& range : ranges) {
        if (value <= range.last) return value >= range.first;
    }
    return false;
}

/// Whether a character isn't shown, or changes how the text around it is shown: control characters,
/// line breaks, and Unicode's "default ignorable" ones, such as marks of the direction of writing.
/// Not the selectors of a variant, as each has an effect on the character before it only.
constexpr bool isMisleading(char32_t value)
{
    constexpr CharacterRange kRanges[] = {
        {0x00, 0x1F},       {0x7F, 0x9F},       {0xAD, 0xAD},       {0x34F, 0x34F},
        {0x61C, 0x61C},     {0x115F, 0x1160},   {0x17B4, 0x17B5},   {0x180B, 0x180F},
        {0x200B, 0x200F},   {0x2028, 0x202E},   {0x2060, 0x206F},   {0x3164, 0x3164},
        {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},   {0xFFF0, 0xFFFB},   {0x1BCA0, 0x1BCA3},
        {0x1D173, 0x1D17A}, {0xE0000, 0xE00FF}, {0xE01F0, 0xE0FFF},
    };
    return isInRanges(value, kRanges);
}

}  // namespace qz::ext
