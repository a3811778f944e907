#include <cstring>

#include <qz/qzDirUtils.h>

#include "ByteBlock.h"
#include "PathText.h"

namespace qz {

namespace {

using filesystem::findInBlock;
using filesystem::isSeparator;
using filesystem::kBlockSize;
using filesystem::loadBlock;

// Each of these begins what has to be changed, or might: a backslash, a second slash, a component
// with a dot at its start.
bool isOdd(char before, char byte)
{
    return byte == '\\' || (before == '/' && (byte == '/' || byte == '.'));
}

// Finds the first odd one of 16 bytes by the byte before each; `kBlockSize` for none.
std::size_t findOddInBlock(const char* bytes)
{
    const __m128i block = loadBlock(bytes);
    const __m128i isBehindSlash = findInBlock(loadBlock(bytes - 1), '/');
    const __m128i isSlashOrDot = _mm_or_si128(findInBlock(block, '/'), findInBlock(block, '.'));
    const __m128i isBackslash = findInBlock(block, '\\');
    const unsigned odd = filesystem::takeMarks(
        _mm_or_si128(isBackslash, _mm_and_si128(isBehindSlash, isSlashOrDot)));
    return odd == 0 ? kBlockSize : static_cast<std::size_t>(__builtin_ctz(odd));
}

// Finds the first byte that is odd, or a closing slash. Two paths of three have none, which decides
// what simplifying them costs. @return the size of the path for none.
std::size_t findOdd(const std::string& path)
{
    const std::size_t size = path.size();
    if (size == 0) return 0;
    if (path.front() == '\\') return 0;
    const char* const bytes = path.data();
    std::size_t i = 1;
    for (; i + kBlockSize <= size; i += kBlockSize) {
        const std::size_t odd = findOddInBlock(bytes + i);
        if (odd != kBlockSize) return i + odd;
    }
    if (i != size && size > kBlockSize) {
        // The last block goes back over bytes that are known.
        const std::size_t start = size - kBlockSize;
        const std::size_t odd = findOddInBlock(bytes + start);
        if (odd != kBlockSize) return start + odd;
        i = size;
    }
    for (; i != size; ++i) {
        if (isOdd(bytes[i - 1], bytes[i])) return i;
    }
    return bytes[size - 1] == '/' ? size - 1 : size;
}

// The components that stay, written over the path that they are read from: they never outgrow what
// was read. None of them is empty, and they are parted by one slash each.
class Components {
public:
    // Takes the first `size` bytes of the path, which need no change, for written.
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
    const std::size_t mRoot;  // the size of what is ahead of the components: a slash or nothing
    std::size_t mSize = 0;
    bool mHasRead = false;  // even if nothing is left of it
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
