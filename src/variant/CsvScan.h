#pragma once

#include <array>
#include <bit>

#include <emmintrin.h>

namespace qz::variant {

/// The bytes that mean something in a table: two delimiters and the line breaks. The others of a
/// cell go unlooked at.
class CsvSpecials {
public:
    CsvSpecials(char columnDelimiter, char stringDelimiter)
        : mBytes{columnDelimiter, stringDelimiter, '\n', '\r'}
    {
    }

    bool contains(char c) const
    {
        return c == mBytes[0] || c == mBytes[1] || c == mBytes[2] || c == mBytes[3];
    }

    /// Finds the first special byte. @return `end` for none.
    /// @param isAscii receives whether all bytes ahead of it are ASCII.
    const char* find(const char* begin, const char* end, bool& isAscii) const
    {
        constexpr std::ptrdiff_t blockSize = 16;
        unsigned highBits = 0;
        for (; end - begin >= blockSize; begin += blockSize) {
            const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(begin));
            const auto high = static_cast<unsigned>(_mm_movemask_epi8(block));
            const unsigned hits = findInBlock(block);
            if (hits != 0) {
                const int first = std::countr_zero(hits);
                isAscii = (highBits | (high & ((1U << first) - 1))) == 0;
                return begin + first;
            }
            highBits |= high;
        }
        for (; begin != end && !contains(*begin); ++begin)
            highBits |= static_cast<unsigned char>(*begin) & 0x80U;
        isAscii = highBits == 0;
        return begin;
    }

private:
    unsigned findInBlock(__m128i block) const
    {
        __m128i hits = _mm_setzero_si128();
        for (const char c : mBytes)
            hits = _mm_or_si128(hits, _mm_cmpeq_epi8(block, _mm_set1_epi8(c)));
        return static_cast<unsigned>(_mm_movemask_epi8(hits));
    }

    std::array<char, 4> mBytes;
};

}  // namespace qz::variant
