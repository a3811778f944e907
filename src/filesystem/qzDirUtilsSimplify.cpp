// SPDX-License-Identifier: MIT
#include <cstring>

#include <qz/qzDirUtils.h>

#include "PathText.h"
#include "text/ByteVectors.h"

namespace qz {

namespace {

using filesystem::isSeparator;
using text::Vector16;

// Whether a byte starts something that has to be changed, or might: a backslash, a second slash, a
// component that begins with a dot.
bool isOdd(char before, char byte)
{
    return byte == '\\' || (before == '/' && (byte == '/' || byte == '.'));
}

// The first odd byte of a block; `Vector16::kSize` if there is none. Reads one byte before it too.
std::size_t findOddInBlock(const char* bytes)
{
    const Vector16 slash = Vector16::fill('/');
    const Vector16 block = Vector16::load(bytes);
    const Vector16 followsSlash = Vector16::load(bytes - 1) == slash;
    const Vector16 isSlashOrDot = (block == slash) | (block == Vector16::fill('.'));
    const Vector16 isBackslash = block == Vector16::fill('\\');
    const std::uint64_t odd = (isBackslash | (followsSlash & isSlashOrDot)).highBits();
    return odd == 0 ? Vector16::kSize : static_cast<std::size_t>(__builtin_ctzl(odd));
}

// The first byte that is odd, or a closing slash; the size of the path if there is none. That is so
// for two paths of three, so this decides what simplifying costs.
std::size_t findOdd(const std::string& path)
{
    const std::size_t size = path.size();
    if (size == 0) return 0;
    if (path.front() == '\\') return 0;
    const char* const bytes = path.data();
    std::size_t i = 1;
    for (; i + Vector16::kSize <= size; i += Vector16::kSize) {
        const std::size_t odd = findOddInBlock(bytes + i);
        if (odd != Vector16::kSize) return i + odd;
    }
    if (i != size && size > Vector16::kSize) {
        // The last block overlaps the one before.
        const std::size_t start = size - Vector16::kSize;
        const std::size_t odd = findOddInBlock(bytes + start);
        if (odd != Vector16::kSize) return start + odd;
        i = size;
    }
    for (; i != size; ++i) {
        if (isOdd(bytes[i - 1], bytes[i])) return i;
    }
    return bytes[size - 1] == '/' ? size - 1 : size;
}

// The components that remain. They overwrite the path from which they are read, and never need
// more bytes than were read. None of them is empty, and one slash separates them.
class Components {
public:
    // The first `size` bytes of the path remain as they are.
    Components(std::string& path, std::size_t size)
        : mPath(path), mRoot(path.front() == '/' ? 1 : 0)
    {
        mSize = size > mRoot && path[size - 1] == '/' ? size - 1 : std::max(size, mRoot);
        mHasRead = !isEmpty();
    }

    std::size_t getSize() const { return mSize; }

    void add(std::string_view component)
    {
        const bool isFirst = !mHasRead;
        mHasRead = true;
        if (component == "." && !isFirst) return;
        if (component == ".." && canRemoveLast()) {
            removeLast();
            return;
        }
        if (!isEmpty()) mPath[mSize++] = '/';
        std::memmove(&mPath[mSize], component.data(), component.size());
        mSize += component.size();
    }

private:
    bool isEmpty() const { return mSize == mRoot; }
    std::size_t findStartOfLast() const
    {
        std::size_t start = mSize;
        while (start != mRoot && mPath[start - 1] != '/')
            --start;
        return start;
    }
    bool canRemoveLast() const
    {
        const std::size_t start = findStartOfLast();
        const std::string_view last(&mPath[start], mSize - start);
        return !last.empty() && last != "." && last != "..";
    }
    void removeLast()
    {
        const std::size_t start = findStartOfLast();
        mSize = start == mRoot ? mRoot : start - 1;
    }

    std::string& mPath;
    const std::size_t mRoot;  // 1 if a slash comes before the components
    std::size_t mSize = 0;
    bool mHasRead = false;  // also true if none remains
};

void simplifyFrom(std::size_t odd, std::string& path)
{
    if (path.front() == '\\') path.front() = '/';
    Components components(path, odd);
    const char* in = path.data() + odd;
    const char* const end = path.data() + path.size();
    while (in != end) {
        const char* const start = std::find_if_not(in, end, isSeparator);
        in = std::find_if(start, end, isSeparator);
        if (start != in) components.add({start, static_cast<std::size_t>(in - start)});
    }
    path.resize(components.getSize());
}

}  // namespace

std::string qzDirUtils::SimplifyPath(const std::string& path)
{
    std::string simple = path;
    const std::size_t odd = findOdd(simple);
    if (odd != simple.size()) simplifyFrom(odd, simple);
    return simple;
}

}  // namespace qz
