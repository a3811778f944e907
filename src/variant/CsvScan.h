// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "CsvSpecials.h"

namespace qz::variant {

/// A cell that is in one piece in a buffer.
struct CsvCell {
    const char* begin;
    const char* end;
    const char* terminator;  ///< The delimiter or line feed that ends it.
    bool isAscii;
};

/// Finds the special bytes and the cells of a buffer, 64 bytes at a time.
///
/// The result for the last 64 bytes is cached: `reset` must be called when the content changes. The
/// delimiters are code points; one that isn't ASCII matches nothing.
class CsvScan {
public:
    CsvScan(int columnDelimiter, int stringDelimiter)
        : mSpecials(toByte(columnDelimiter), toByte(stringDelimiter)),
          mColumnDelimiter(columnDelimiter),
          mStringDelimiter(stringDelimiter)
    {
    }

    /// Forgets the content of the buffer.
    void reset() { mBlock = mBlockEnd = nullptr; }

    bool isSpecial(char c) const { return mSpecials.contains(c); }

    /// Finds the first special byte. @return `end`, that of the buffer, for none.
    /// @param isAscii receives whether all bytes before it are ASCII.
    const char* find(const char* begin, const char* end, bool& isAscii)
    {
        std::uint64_t highBits = 0;
        while (begin != end) {
            if (begin < mBlock || begin >= mBlockEnd) scan(begin, end);
            const auto done = static_cast<unsigned>(begin - mBlock);
            const std::uint64_t hits = mHits >> done;
            const std::uint64_t before = (hits - 1) & ~hits;
            highBits |= (mHighBits >> done) & before;
            if (hits != 0) {
                begin += std::countr_zero(hits);
                break;
            }
            begin = mBlockEnd;
        }
        isAscii = highBits == 0;
        return begin;
    }

    /// Finds the cell that begins outside of quotes at `begin`.
    /// @return false for one that isn't there to its end, or in pieces: with quotes or a carriage
    ///     return in the midst of it, or with doubled quotes.
    bool findCell(const char* begin, const char* end, CsvCell& cell)
    {
        cell.begin = begin;
        cell.end = find(begin, end, cell.isAscii);
        if (cell.end == end) return false;
        const char* next = cell.end;
        if (isQuote(*next)) {
            if (next != begin || !findClosingQuote(end, cell)) return false;
            next = cell.end + 1;
        }
        if (next != end && *next == '\r' && !isQuote('\r') && !isColumnDelimiter('\r')) ++next;
        cell.terminator = next;
        return next != end && !isQuote(*next) && (isColumnDelimiter(*next) || *next == '\n');
    }

private:
    static constexpr std::ptrdiff_t kBlockSize = 64;

    // A line feed, which is special anyway, replaces what matches nothing.
    static char toByte(int delimiter)
    {
        return delimiter >= 0 ? static_cast<char>(delimiter) : '\n';
    }

    // A byte beyond ASCII must not match a delimiter that is negative because it is such a byte.
    bool isColumnDelimiter(char c) const
    {
        return static_cast<unsigned char>(c) == mColumnDelimiter;
    }
    bool isQuote(char c) const { return static_cast<unsigned char>(c) == mStringDelimiter; }

    // Takes the quotes off a cell. Quotes of NUL have rules of their own.
    bool findClosingQuote(const char* end, CsvCell& cell)
    {
        if (mStringDelimiter == 0) return false;
        cell.end = ++cell.begin;
        for (;; ++cell.end) {
            bool isAscii = true;
            cell.end = find(cell.end, end, isAscii);
            cell.isAscii = cell.isAscii && isAscii;
            if (cell.end == end) return false;
            if (isQuote(*cell.end)) return true;
        }
    }

    void scan(const char* begin, const char* end)
    {
        mBlock = begin;
        mHits = 0;
        mHighBits = 0;
        if (end - begin >= kBlockSize) {
            mBlockEnd = begin + kBlockSize;
            scanBlock(begin);
            return;
        }
        // Zeros fill the rest. If they are special, the first of them is at `end`, which means
        // none.
        mBlockEnd = end;
        char rest[kBlockSize] = {};
        std::memcpy(rest, begin, static_cast<std::size_t>(end - begin));
        scanBlock(rest);
    }

    void scanBlock(const char* block)
    {
        for (std::ptrdiff_t at = 0; at != kBlockSize; at += CsvSpecials::kVectorSize) {
            const __m128i bytes = CsvSpecials::load(block + at);
            mHits |= std::uint64_t{mSpecials.findIn(bytes)} << at;
            mHighBits |= std::uint64_t{static_cast<unsigned>(_mm_movemask_epi8(bytes))} << at;
        }
    }

    CsvSpecials mSpecials;
    int mColumnDelimiter;
    int mStringDelimiter;
    // The bytes that were scanned last, with a bit for each that is special or not ASCII.
    const char* mBlock = nullptr;
    const char* mBlockEnd = nullptr;
    std::uint64_t mHits = 0;
    std::uint64_t mHighBits = 0;
};

}  // namespace qz::variant
