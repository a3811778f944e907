#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "ByteBlock.h"

namespace qz::filesystem {

/// Tells whether a byte parts components where a backslash counts too.
constexpr bool isSeparator(char byte)
{
    return byte == '/' || byte == '\\';
}

namespace impl {

/// Finds the last slash or backslash of a block. @return a negative number when there is none.
inline int findLastSeparatorInBlock(const char* bytes)
{
    const __m128i block = loadBlock(bytes);
    const unsigned found =
        takeMarks(_mm_or_si128(findInBlock(block, '/'), findInBlock(block, '\\')));
    return found == 0 ? -1 : 31 - __builtin_clz(found);
}

// Whether no byte of eight has its high bit set or is a backslash.
inline bool isPlainWord(const char* bytes)
{
    constexpr std::uint64_t kLowBits = 0x0101010101010101;
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    // Of bytes below 0x80, only a zero gets its high bit from the subtraction, or what stands
    // behind one.
    const std::uint64_t zeroForBackslash = word ^ (kLowBits * '\\');
    return ((word | (zeroForBackslash - kLowBits)) & kHighBits) == 0;
}

}  // namespace impl

/// Finds the last slash or backslash. @return npos when there is none.
inline std::size_t findLastSeparator(std::string_view path)
{
    std::size_t i = path.size();
    for (; i >= kBlockSize; i -= kBlockSize) {
        const std::size_t start = i - kBlockSize;
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

/// Tells whether a name has ASCII characters alone and no backslash among them: it is then the same
/// in UTF-8 and on the disk, and one component everywhere.
inline bool isPlainName(std::string_view name)
{
    const char* bytes = name.data();
    const char* const end = bytes + name.size();
    if (name.size() < sizeof(std::uint64_t)) {
        return std::all_of(bytes, end, [](char byte) { return byte >= 0 && byte != '\\'; });
    }
    for (; end - bytes > std::ptrdiff_t{sizeof(std::uint64_t)}; bytes += sizeof(std::uint64_t)) {
        if (!impl::isPlainWord(bytes)) return false;
    }
    // The last word overlaps the one before, so that no byte is looked at alone.
    return impl::isPlainWord(end - sizeof(std::uint64_t));
}

/// Two parts of a path at their joint: with one slash where neither has a separator there, and
/// without the second one where both do. An empty part counts for nothing.
class PathJoint {
public:
    PathJoint(std::string_view left, std::string_view right) : mLeft(left), mRight(right)
    {
        if (left.empty() || right.empty()) return;
        const bool isParted = isSeparator(left.back());
        const bool isPartedAgain = isSeparator(right.front());
        if (isParted && isPartedAgain) mRight.remove_prefix(1);
        mNeedsSlash = !isParted && !isPartedAgain;
    }

    /// Writes the path over a text of `size()` slashes: only the parts are copied, each in one go.
    void write(std::string& slashes) const
    {
        mLeft.copy(slashes.data(), mLeft.size());
        mRight.copy(slashes.data() + slashes.size() - mRight.size(), mRight.size());
    }
    std::size_t size() const { return mLeft.size() + mRight.size() + (mNeedsSlash ? 1 : 0); }

private:
    std::string_view mLeft;
    std::string_view mRight;
    bool mNeedsSlash = false;
};

/// Makes all backslashes slashes.
inline void makeSlashes(std::string& path)
{
    std::replace(path.begin(), path.end(), '\\', '/');
}

}  // namespace qz::filesystem
