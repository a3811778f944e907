// SPDX-License-Identifier: MIT
#pragma once

// Vectors of bytes, with the instructions for which the including file is compiled. This is the
// only home of such helpers.
//
// Everything here is local to the including file: the linker must not merge functions that are
// compiled for different levels of the processor. For that reason, files for a level beyond SSE2
// use no inline function of the standard library either.

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace qz::text {

namespace {

/// 16 bytes, compared as signed ones.
class Vector16 {
public:
    static constexpr std::size_t kSize = 16;

    Vector16() = default;
    static Vector16 load(const char* bytes)
    {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    }
    static Vector16 fill(int byte) { return _mm_set1_epi8(static_cast<char>(byte)); }

    Vector16 operator&(Vector16 other) const { return _mm_and_si128(mBytes, other.mBytes); }
    Vector16 operator|(Vector16 other) const { return _mm_or_si128(mBytes, other.mBytes); }
    Vector16 operator^(Vector16 other) const { return _mm_xor_si128(mBytes, other.mBytes); }
    /// Sets the bytes that are equal, or greater, to 0xFF and the others to 0.
    Vector16 operator==(Vector16 other) const { return _mm_cmpeq_epi8(mBytes, other.mBytes); }
    Vector16 operator>(Vector16 other) const { return _mm_cmpgt_epi8(mBytes, other.mBytes); }
    /// Unsigned; a negative result becomes 0.
    Vector16 minusSaturated(Vector16 other) const { return _mm_subs_epu8(mBytes, other.mBytes); }

    /// The high bit of each byte, the first byte lowest.
    std::uint64_t highBits() const { return static_cast<unsigned>(_mm_movemask_epi8(mBytes)); }
    void store(char* bytes) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), mBytes); }
    /// The sum of all bytes, unsigned.
    std::size_t sum() const
    {
        const __m128i halves = _mm_sad_epu8(mBytes, _mm_setzero_si128());
        const __m128i high = _mm_unpackhi_epi64(halves, halves);
        return static_cast<std::size_t>(_mm_cvtsi128_si64(_mm_add_epi64(halves, high)));
    }

#ifdef __SSSE3__
    /// For each byte, which must be below 16, the entry of `table` with that index.
    Vector16 lookUpIn(const std::uint8_t (&table)[16]) const
    {
        return _mm_shuffle_epi8(_mm_load_si128(reinterpret_cast<const __m128i*>(table)), mBytes);
    }
    Vector16 highNibbles() const
    {
        return Vector16(_mm_srli_epi16(mBytes, 4)) & fill(0x0F);
    }
    /// The bytes `Count` places earlier in the text; `before` is the preceding vector.
    template <int Count>
    Vector16 earlier(Vector16 before) const
    {
        return _mm_alignr_epi8(mBytes, before.mBytes, 16 - Count);
    }
#endif

private:
    Vector16(__m128i bytes) : mBytes(bytes) {}  // NOLINT(google-explicit-constructor)

    __m128i mBytes;
};

#ifdef __AVX2__
/// 32 bytes, compared as signed ones.
class Vector32 {
public:
    static constexpr std::size_t kSize = 32;

    Vector32() = default;
    static Vector32 load(const char* bytes)
    {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
    }
    static Vector32 fill(int byte) { return _mm256_set1_epi8(static_cast<char>(byte)); }

    Vector32 operator&(Vector32 other) const { return _mm256_and_si256(mBytes, other.mBytes); }
    Vector32 operator|(Vector32 other) const { return _mm256_or_si256(mBytes, other.mBytes); }
    Vector32 operator^(Vector32 other) const { return _mm256_xor_si256(mBytes, other.mBytes); }
    Vector32 operator==(Vector32 other) const { return _mm256_cmpeq_epi8(mBytes, other.mBytes); }
    Vector32 operator>(Vector32 other) const { return _mm256_cmpgt_epi8(mBytes, other.mBytes); }
    Vector32 minusSaturated(Vector32 other) const { return _mm256_subs_epu8(mBytes, other.mBytes); }

    std::uint64_t highBits() const { return static_cast<unsigned>(_mm256_movemask_epi8(mBytes)); }

    Vector32 lookUpIn(const std::uint8_t (&table)[16]) const
    {
        const __m128i half = _mm_load_si128(reinterpret_cast<const __m128i*>(table));
        return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(half), mBytes);
    }
    Vector32 highNibbles() const { return Vector32(_mm256_srli_epi16(mBytes, 4)) & fill(0x0F); }
    template <int Count>
    Vector32 earlier(Vector32 before) const
    {
        // The byte shift works in each half separately, so each needs the half before it.
        const __m256i halves = _mm256_permute2x128_si256(before.mBytes, mBytes, 0x21);
        return _mm256_alignr_epi8(mBytes, halves, 16 - Count);
    }

private:
    Vector32(__m256i bytes) : mBytes(bytes) {}  // NOLINT(google-explicit-constructor)

    __m256i mBytes;
};
#endif

}  // namespace

}  // namespace qz::text
