#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace qz::text {

/// Two digits each of 00 to 99.
constexpr std::array<char, 200> kDigitPairs = [] {
    std::array<char, 200> pairs = {};
    for (std::size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

/// Writes a number in decimal to `to`, which has room for it; 20 characters do for any.
/// @return the end of the text.
template <typename Integer>
char* writeInteger(char* to, Integer value)
{
    return std::to_chars(to, to + 20, value).ptr;
}

/// Writes a number with zeros in front to exactly `width` characters; it must fit.
/// @return the end of the text.
inline char* writePadded(char* to, std::uint64_t value, int width)
{
    char* at = to + width;
    for (; at - to >= 2; value /= 100)
        std::memcpy(at -= 2, &kDigitPairs[2 * (value % 100)], 2);
    if (at != to) *to = static_cast<char>('0' + value % 10);
    return to + width;
}

/// @return the end of the text.
inline char* writeText(char* to, std::string_view text)
{
    return std::copy(text.begin(), text.end(), to);
}

}  // namespace qz::text
