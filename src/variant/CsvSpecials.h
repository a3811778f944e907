// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include <emmintrin.h>

namespace qz::variant {

/// The bytes that mean something in a table: two delimiters and the line breaks. The others of a
/// cell go unlooked at.
class CsvSpecials {
public:
    static constexpr std::size_t kVectorSize = 16;

    CsvSpecials(char columnDelimiter, char stringDelimiter)
        : mBytes{columnDelimiter, stringDelimiter, '\n', '\r'}
    {
    }

    bool contains(char c) const
    {
        return c == mBytes[0] || c == mBytes[1] || c == mBytes[2] || c == mBytes[3];
    }

    /// The bytes of a vector.
    static __m128i load(const char* bytes)
    {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    }
    /// A bit for each special byte among 16, the first one lowest.
    unsigned findIn(__m128i bytes) const
    {
        __m128i hits = _mm_setzero_si128();
        for (const char c : mBytes)
            hits = _mm_or_si128(hits, _mm_cmpeq_epi8(bytes, _mm_set1_epi8(c)));
        return static_cast<unsigned>(_mm_movemask_epi8(hits));
    }

    /// Tells whether a text holds a special byte.
    bool areIn(const char* text, std::size_t size) const
    {
        if (size < 4) return std::any_of(text, text + size, [this](char c) { return contains(c); });
        if (size < kVectorSize) return findIn(loadShort(text, size)) != 0;
        const char* const last = text + size - kVectorSize;
        for (; text < last; text += kVectorSize) {
            if (findIn(load(text)) != 0) return true;
        }
        // The last vector overlaps the one before, so that no byte is handled alone.
        return findIn(load(last)) != 0;
    }

private:
    // Fills a vector with the bytes of a text of 4 to 15, some of them twice.
    static __m128i loadShort(const char* text, std::size_t size)
    {
        const char* const end = text + size;
        const __m128i bytes =
            size < 8 ? _mm_unpacklo_epi32(_mm_loadu_si32(text), _mm_loadu_si32(end - 4))
                     : _mm_loadl_epi64(reinterpret_cast<const __m128i*>(text));
        const __m128i more =
            size < 8 ? bytes : _mm_loadl_epi64(reinterpret_cast<const __m128i*>(end - 8));
        return _mm_unpacklo_epi64(bytes, more);
    }

    std::array<char, 4> mBytes;
};

}  // namespace qz::variant
