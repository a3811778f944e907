#pragma once

#include <cstddef>

#include <emmintrin.h>

namespace qz::filesystem {

/// How many bytes of a path are looked at in one go.
constexpr std::size_t kBlockSize = 16;

/// Reads a block, from any address.
inline __m128i loadBlock(const char* bytes)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

/// Marks the bytes of a block that are `byte`.
inline __m128i findInBlock(__m128i block, char byte)
{
    return _mm_cmpeq_epi8(block, _mm_set1_epi8(byte));
}

/// Gives the marks of a block as bits, the first byte's as the lowest one.
inline unsigned takeMarks(__m128i marks)
{
    return static_cast<unsigned>(_mm_movemask_epi8(marks));
}

}  // namespace qz::filesystem
