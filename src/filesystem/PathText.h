#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include <emmintrin.h>

namespace qz::filesystem {

/// Tells whether a byte parts components where a backslash counts too.
constexpr bool isSeparator(char byte)
{
    return byte == '/' || byte == '\\';
}

namespace impl {

constexpr std::size_t kBlockSize = 16;

/// Finds the last slash or backslash of a block. @return a negative number when there is none.
inline int findLastSeparatorInBlock(const char* bytes)
{
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    const __m128i isSlash = _mm_cmpeq_epi8(block, _mm_set1_epi8('/'));
    const __m128i isBackslash = _mm_cmpeq_epi8(block, _mm_set1_epi8('\\'));
    const int found = _mm_movemask_epi8(_mm_or_si128(isSlash, isBackslash));
    return found == 0 ? -1 : 31 - __builtin_clz(static_cast<unsigned>(found));
}

}  // namespace impl

/// Finds the last slash or backslash. @return npos when there is none.
inline std::size_t findLastSeparator(std::string_view path)
{
    std::size_t i = path.size();
    for (; i >= impl::kBlockSize; i -= impl::kBlockSize) {
        const std::size_t start = i - impl::kBlockSize;
        const int found = impl::findLastSeparatorInBlock(path.data() + start);
        if (found >= 0) return start + static_cast<std::size_t>(found);
    }
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
