// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace qz::filesystem {

/// Whether a byte separates components, for those who take a backslash as a separator too.
constexpr bool isSeparator(char byte)
{
    return byte == '/' || byte == '\\';
}

/// Makes all backslashes slashes.
inline void makeSlashes(std::string& path)
{
    std::replace(path.begin(), path.end(), '\\', '/');
}

/// The path with a slash for each backslash.
inline std::string withSlashes(std::string path)
{
    makeSlashes(path);
    return path;
}

namespace impl {

// Whether no byte of eight has its high bit set or is a backslash.
inline bool isPlainWord(const char* bytes)
{
    constexpr std::uint64_t kLowBits = 0x0101010101010101;
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    // Of bytes below 0x80, the subtraction sets the high bit only of a zero, or of one after it.
    const std::uint64_t zeroForBackslash = word ^ (kLowBits * '\\');
    return ((word | (zeroForBackslash - kLowBits)) & kHighBits) == 0;
}

}  // namespace impl

/// Whether a name has only ASCII characters and no backslash. It is then the same in UTF-8 and on
/// the disk, and always one component.
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
    // The last word overlaps the one before.
    return impl::isPlainWord(end - sizeof(std::uint64_t));
}

/// Two parts of a path that are joined: by a slash if neither has a separator at the joint, and
/// without the second separator if both have one. An empty part adds nothing.
class PathJoint {
public:
    PathJoint(std::string_view left, std::string_view right) : mLeft(left), mRight(right)
    {
        if (left.empty() || right.empty()) return;
        const bool hasFirst = isSeparator(left.back());
        const bool hasSecond = isSeparator(right.front());
        if (hasFirst && hasSecond) mRight.remove_prefix(1);
        mNeedsSlash = !hasFirst && !hasSecond;
    }

    /// Writes the path into a text of `size()` slashes: each part is one copy.
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

}  // namespace qz::filesystem
