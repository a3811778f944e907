#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace qz::filesystem {

/// Tells whether a byte parts components where a backslash counts too.
constexpr bool isSeparator(char byte)
{
    return byte == '/' || byte == '\\';
}

/// Finds the last slash or backslash. @return npos when there is none.
inline std::size_t findLastSeparator(std::string_view path)
{
    std::size_t i = path.size();
    while (i != 0 && !isSeparator(path[i - 1]))
        --i;
    return i - 1;  // npos for 0
}

/// Gives what stands behind the last slash or backslash.
inline std::string_view getFileName(std::string_view path)
{
    return path.substr(findLastSeparator(path) + 1);
}

/// Makes all backslashes slashes.
inline void makeSlashes(std::string& path)
{
    std::replace(path.begin(), path.end(), '\\', '/');
}

}  // namespace qz::filesystem
