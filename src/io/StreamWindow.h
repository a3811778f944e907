#pragma once

#include <cstdint>
#include <cstring>
#include <streambuf>

namespace qz {

/// Copies bytes; a few of them (a number, a short text) without the call that costs more than they.
inline void copyBytes(char* to, const char* from, unsigned long size)
{
    if (size < 4 || size > 16) {
        std::memcpy(to, from, size);
    } else if (size < 8) {  // two halves, which overlap in the middle
        std::uint32_t head;
        std::uint32_t tail;
        std::memcpy(&head, from, sizeof head);
        std::memcpy(&tail, from + size - sizeof tail, sizeof tail);
        std::memcpy(to, &head, sizeof head);
        std::memcpy(to + size - sizeof tail, &tail, sizeof tail);
    } else {
        std::uint64_t head;
        std::uint64_t tail;
        std::memcpy(&head, from, sizeof head);
        std::memcpy(&tail, from + size - sizeof tail, sizeof tail);
        std::memcpy(to, &head, sizeof head);
        std::memcpy(to + size - sizeof tail, &tail, sizeof tail);
    }
}

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
        const auto held = static_cast<unsigned long>((buffer.*kReadEnd)() - next);
        if (size == 0 || held < size) return false;  // there may be no buffer yet
        copyBytes(dst, next, size);
        (buffer.*kReadSkip)(static_cast<int>(size));
        return true;
    }

    /// Writes `size` bytes when the buffer has more room than that.
    static bool tryWrite(std::streambuf& buffer, const char* src, unsigned long size)
    {
        char* const next = (buffer.*kWriteNext)();
        const auto room = static_cast<unsigned long>((buffer.*kWriteEnd)() - next);
        if (size == 0 || room <= size) return false;  // nothing may come with a null address
        copyBytes(next, src, size);
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
