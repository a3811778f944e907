// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The bytes of strings in JSON, for reading and writing.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include <emmintrin.h>

#include "base/Utf8Character.h"

namespace qz::ext {

/// Appends a character as UTF-8. It must not be a surrogate.
inline void appendCharacter(std::string& text, char32_t value)
{
    const auto append = [&text](char32_t byte) { text += static_cast<char>(byte); };
    if (value < 0x80) return append(value);
    if (value < 0x800) {
        append(0xC0U | value >> 6U);
    } else if (value < 0x10000) {
        append(0xE0U | value >> 12U);
        append(0x80U | (value >> 6U & 0x3FU));
    } else {
        append(0xF0U | value >> 18U);
        append(0x80U | (value >> 12U & 0x3FU));
        append(0x80U | (value >> 6U & 0x3FU));
    }
    append(0x80U | (value & 0x3FU));
}

/// Whether a byte of a string is handled apart: a quote, a backslash, a control character, or a
/// part of a character beyond ASCII.
constexpr bool isSpecial(char c)
{
    return c == '"' || c == '\\' || toByte(c) < 0x20 || toByte(c) >= 0x80;
}

/// A bit for each special byte among 16, the first one lowest.
inline unsigned int findSpecialIn(__m128i bytes)
{
    // As signed numbers, bytes from 0x80 on are below the control characters.
    const __m128i hits = _mm_or_si128(_mm_cmplt_epi8(bytes, _mm_set1_epi8(0x20)),
                                      _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('"')),
                                                   _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'))));
    return static_cast<unsigned int>(_mm_movemask_epi8(hits));
}

/// Finds the first special byte. @return `end` for none.
inline const char* findSpecial(const char* at, const char* end)
{
    for (; end - at >= 16; at += 16) {
        const unsigned int mask =
            findSpecialIn(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at)));
        if (mask != 0) return at + std::countr_zero(mask);
    }
    while (at != end && !isSpecial(*at))
        ++at;
    return at;
}

/// Copies `Word` bytes at both ends of a text, which may overlap. @return all of them.
template <typename Word>
__m128i copyEnds(const char* from, std::size_t size, char* to)
{
    Word first = 0;
    Word last = 0;
    std::memcpy(&first, from, sizeof first);
    std::memcpy(&last, from + size - sizeof last, sizeof last);
    std::memcpy(to, &first, sizeof first);
    std::memcpy(to + size - sizeof last, &last, sizeof last);
    if constexpr (sizeof(Word) == 8)
        return _mm_set_epi64x(static_cast<long long>(last), static_cast<long long>(first));
    else
        return _mm_set1_epi64x(static_cast<long long>(std::uint64_t{last} << 32U | first));
}

/// Copies a text. Keys and words mostly have fewer than 16 bytes: two moves replace a loop.
/// @return whether it has no special byte. If it has, what is at `to` is unspecified.
inline bool copyPlain(const char* from, std::size_t size, char* to)
{
    if (size >= 16) {
        std::memcpy(to, from, size);
        return findSpecial(from, from + size) == from + size;
    }
    if (size >= 8) return findSpecialIn(copyEnds<std::uint64_t>(from, size, to)) == 0;
    if (size >= 4) return findSpecialIn(copyEnds<std::uint32_t>(from, size, to)) == 0;
    for (std::size_t i = 0; i != size; ++i) {
        if (isSpecial(from[i])) return false;
        to[i] = from[i];
    }
    return true;
}

}  // namespace qz::ext
