// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace qz::variant {

/// Loads bytes as a number. The numbers have the order of the bytes.
template <typename Word>
Word loadOrdered(const char* bytes)
{
    static_assert(std::endian::native == std::endian::little);
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    if constexpr (sizeof word == 8)
        return __builtin_bswap64(word);
    else
        return __builtin_bswap32(word);
}

/// Compares `size` bytes by two loads that may overlap. `size` must be at least that of a word, and
/// at most that of two.
template <typename Word>
int compareWords(const char* left, const char* right, std::size_t size)
{
    auto leftWord = loadOrdered<Word>(left);
    auto rightWord = loadOrdered<Word>(right);
    if (leftWord == rightWord) {
        leftWord = loadOrdered<Word>(left + size - sizeof(Word));
        rightWord = loadOrdered<Word>(right + size - sizeof(Word));
    }
    if (leftWord == rightWord) return 0;
    return leftWord < rightWord ? -1 : 1;
}

/// Orders keys by their unsigned bytes, and the shorter first of two that begin alike. Keys are
/// short, so calls of `memcmp` would take most of the time of a search.
inline int compareKeys(std::string_view left, std::string_view right)
{
    const std::size_t size = left.size() < right.size() ? left.size() : right.size();
    int order = 0;
    if (size > 16 || size < 4)
        order = size == 0 ? 0 : std::memcmp(left.data(), right.data(), size);
    else if (size >= 8)
        order = compareWords<std::uint64_t>(left.data(), right.data(), size);
    else
        order = compareWords<std::uint32_t>(left.data(), right.data(), size);
    if (order != 0 || left.size() == right.size()) return order;
    return left.size() < right.size() ? -1 : 1;
}

}  // namespace qz::variant
