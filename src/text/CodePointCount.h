#pragma once

#include <string>

#include <utf8.h>

namespace qz::text {

/// The number of code points of a text in UTF-8; 0 for a malformed one.
inline std::size_t countCodePoints(const std::string& text)
{
    std::size_t count = 0;
    try {
        for (auto at = text.begin(); at != text.end(); ++count)
            utf8::next(at, text.end());
    } catch (const utf8::exception&) {
        return 0;
    }
    return count;
}

}  // namespace qz::text
