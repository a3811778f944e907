// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string>
#include <string_view>

namespace qz::text {

/// Whether a character is one of "0" to "9", in every locale.
inline bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

/// Whether a byte is white space for the C library in the process's locale.
inline bool isSpace(char byte)
{
    return std::isspace(static_cast<unsigned char>(byte)) != 0;
}

/// The text without white space at its ends.
inline std::string_view trim(std::string_view text)
{
    const auto* const begin = std::find_if_not(text.begin(), text.end(), isSpace);
    const auto end = std::find_if_not(text.rbegin(), std::make_reverse_iterator(begin), isSpace);
    return {begin, static_cast<std::size_t>(end.base() - begin)};
}

/// Makes a text lower case byte by byte, as the C library's `tolower` does in the process's locale.
inline void makeLowerCase(std::string& text)
{
    for (char& byte : text)
        byte = static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
}

}  // namespace qz::text
