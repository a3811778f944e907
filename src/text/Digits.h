// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace qz::text {

/// 10^0 to 10^19: all that fit into 64 bits.
constexpr std::array<std::uint64_t, 20> kPowersOfTen = [] {
    std::array<std::uint64_t, 20> powers = {1};
    for (std::size_t i = 1; i < powers.size(); ++i)
        powers[i] = powers[i - 1] * 10;
    return powers;
}();

/// 10^0 to 10^22: all that a double holds exactly, so that `pow` returns the same.
constexpr std::array<double, 23> kExactRealPowersOfTen = [] {
    std::array<double, 23> powers = {1};
    for (std::size_t i = 1; i < powers.size(); ++i)
        powers[i] = powers[i - 1] * 10;
    return powers;
}();

/// The two digits of each number from 00 to 99.
constexpr std::array<char, 200> kDigitPairs = [] {
    std::array<char, 200> pairs = {};
    for (std::size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

/// Writes a number in decimal to `to`, which must have space for 20 characters.
/// @return the end of the text.
template <typename Integer>
char* writeInteger(char* to, Integer value)
{
    return std::to_chars(to, to + 20, value).ptr;
}

/// Writes a number with leading zeros as exactly `width` characters; it must fit.
/// @return the end of the text.
inline char* writePadded(char* to, std::uint64_t value, int width)
{
    char* at = to + width;
    for (; at - to >= 2; value /= 100)
        std::memcpy(at -= 2, &kDigitPairs[2 * (value % 100)], 2);
    if (at != to) *to = static_cast<char>('0' + value % 10);
    return to + width;
}

/// Copies a text. @return the end of the copy.
inline char* writeText(char* to, std::string_view text)
{
    return std::copy(text.begin(), text.end(), to);
}

}  // namespace qz::text
