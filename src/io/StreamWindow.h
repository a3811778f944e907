#pragma once

#include <cstring>
#include <streambuf>

namespace qz {

/// Moves bytes that lie within a stream's own buffer without a call of the stream.
///
/// The stream's functions do the same behind three virtual calls and a sentry, which is most of the
/// price of a small read or write. All else (refills, flushes, large blocks) stays with them.
class StreamWindow : public std::streambuf {
public:
    /// Reads `size` bytes when the buffer holds them.
    static bool tryRead(std::streambuf& buffer, char* dst, unsigned long size)
    {
        const char* const next = (buffer.*kReadNext)();
        if (static_cast<unsigned long>((buffer.*kReadEnd)() - next) < size) return false;
        std::memcpy(dst, next, size);
        (buffer.*kReadSkip)(static_cast<int>(size));
        return true;
    }

    /// Writes `size` bytes when the buffer has more room than that.
    static bool tryWrite(std::streambuf& buffer, const char* src, unsigned long size)
    {
        char* const next = (buffer.*kWriteNext)();
        if (static_cast<unsigned long>((buffer.*kWriteEnd)() - next) <= size) return false;
        std::memcpy(next, src, size);
        (buffer.*kWriteSkip)(static_cast<int>(size));
        return true;
    }

private:
    // A derived class may name these members of its base, and they apply to every stream buffer.
    using Pointer = char* (std::streambuf::*)() const;
    using Skip = void (std::streambuf::*)(int);
    static constexpr Pointer kReadNext = &StreamWindow::gptr;
    static constexpr Pointer kReadEnd = &StreamWindow::egptr;
    static constexpr Skip kReadSkip = &StreamWindow::gbump;
    static constexpr Pointer kWriteNext = &StreamWindow::pptr;
    static constexpr Pointer kWriteEnd = &StreamWindow::epptr;
    static constexpr Skip kWriteSkip = &StreamWindow::pbump;
};

}  // namespace qz
