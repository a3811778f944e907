#pragma once

#include <cctype>
#include <string>

namespace qz::text {

/// Makes a text lower case byte by byte, as the C library's `tolower` has it in the process's
/// locale.
inline void makeLowerCase(std::string& text)
{
    for (char& byte : text)
        byte = static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
}

}  // namespace qz::text
