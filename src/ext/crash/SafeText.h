// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qz::ext::crash {

/// Writes text to a part of a file, line by line, with system calls only: for signal handlers.
class SafeText {
public:
    struct Hex {
        std::uint64_t value;
    };
    struct Number {
        long value;
    };
    /// A text from elsewhere: control characters are replaced by blanks, and it is cut to
    /// `kMostForeign` bytes.
    struct Foreign {
        const char* text;
    };
    static constexpr std::size_t kMostForeign = 2048;

    /// @param begin,end the part of the file. What doesn't fit is dropped.
    SafeText(int descriptor, std::size_t begin, std::size_t end)
        : mDescriptor(descriptor), mPosition(begin), mEnd(end)
    {
    }

    SafeText& operator<<(std::string_view text);
    SafeText& operator<<(Hex value);
    SafeText& operator<<(Number value);
    SafeText& operator<<(Foreign text);

    /// Writes the line, and a zero byte after it, which ends the text.
    void endLine();
    /// Writes what an interrupted part has left of a line.
    void endPart();
    /// Where the next line begins.
    std::size_t getPosition() const { return mPosition; }
    /// Goes back, so that the following lines replace what comes after that position.
    void rewind(std::size_t position) { mPosition = position; }
    /// The bytes that are left in the file.
    std::size_t getSpace() const { return mEnd - mPosition; }
    /// Keeps back bytes for later lines, or allows them again.
    void reserve(std::size_t size) { mEnd -= size; }
    void release(std::size_t size) { mEnd += size; }

private:
    void put(char character);

    const int mDescriptor;
    std::size_t mPosition;
    std::size_t mEnd;
    std::size_t mSize = 0;
    char mLine[4096] = {};
};

}  // namespace qz::ext::crash
