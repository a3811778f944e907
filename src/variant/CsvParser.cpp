// SPDX-License-Identifier: MIT
#include "CsvParser.h"

#include <algorithm>

#include <utf8.h>

#include "frame/base/CopyBytes.h"
#include "text/Utf8Scan.h"

namespace qz::variant {

namespace {

constexpr std::ptrdiff_t kLongestCharacter = 4;

bool isContinuation(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// The number of bytes that a lead byte announces, itself included; 1 for any other byte.
std::ptrdiff_t getSequenceSize(char lead)
{
    const auto byte = static_cast<unsigned char>(lead);
    if (byte >= 0xF0) return 4;
    if (byte >= 0xE0) return 3;
    return byte >= 0xC0 ? 2 : 1;
}

// Leaves out a character at the end whose last bytes may still come.
const char* withoutCutCharacter(const char* begin, const char* end)
{
    const char* lead = end;
    while (lead != begin && end - lead < kLongestCharacter) {
        --lead;
        if (!isContinuation(*lead)) return end - lead < getSequenceSize(*lead) ? lead : end;
    }
    return end;
}

}  // namespace

CsvParser::CsvParser(int columnDelimiter, int stringDelimiter, CsvRow row)
    : mScan(columnDelimiter, stringDelimiter),
      mRow(row),
      mColumnDelimiter(columnDelimiter),
      mStringDelimiter(stringDelimiter)
{
    mRow.bytes.resize(mRow.bytes.capacity());
    startRow();
}

void CsvParser::startRow()
{
    mRowSize = 0;
    mRow.cellSizes.clear();
    mIsRowComplete = false;
}

CsvParser::Stop CsvParser::parse(CsvInput input)
{
    if (mIsRowComplete) startRow();
    while (input.cursor != input.end) {
        if (takeWholeCells(input)) return Stop::RowComplete;
        const Stop stop = takePiece(input);
        if (stop != Stop::OutOfBytes) return stop;
        if (input.mayGrow && input.end - input.cursor < kLongestCharacter) break;
    }
    return Stop::OutOfBytes;
}

bool CsvParser::completeLastRow()
{
    if (mIsRowComplete) startRow();
    if (!mIsRowPending) return false;
    if (!mRow.cell.empty()) {
        storeCell(mRow.cell.data(), mRow.cell.size());
        mRow.cell.clear();
    }
    return !mRow.cellSizes.empty();
}

// Takes the cells that are in one piece. A cell with anything wrong in it is left to `takePiece`.
// @return whether the row is complete.
bool CsvParser::takeWholeCells(const CsvInput& input)
{
    if (mInQuotes || !mRow.cell.empty()) return false;
    CsvCell cell{};
    while (mScan.findCell(input.cursor, input.end, cell)) {
        const auto size = static_cast<unsigned long>(cell.end - cell.begin);
        if (size > input.longestCell) return false;
        if (!cell.isAscii && !text::isUtf8({cell.begin, size})) return false;
        storeCell(cell.begin, size);
        input.cursor = cell.terminator + 1;
        if (takeTerminator(*cell.terminator)) return true;
    }
    return false;
}

// Takes the text up to the next special byte, and that byte.
CsvParser::Stop CsvParser::takePiece(const CsvInput& input)
{
    if (!takeText(input)) return Stop::CellTooLong;
    if (input.cursor == input.end || !mScan.isSpecial(*input.cursor)) return Stop::OutOfBytes;
    return takeSpecial(*input.cursor++, input.longestCell);
}

bool CsvParser::takeText(const CsvInput& input)
{
    const char* const begin = input.cursor;
    bool isAscii = true;
    const char* end = mScan.find(begin, input.end, isAscii);
    if (end == input.end && !isAscii && input.mayGrow) end = withoutCutCharacter(begin, end);
    if (end == begin) return true;
    mIsRowPending = true;
    if (mAfterQuote) mInQuotes = false;
    mAfterQuote = false;

    const auto size = static_cast<unsigned long>(end - begin);
    const bool isWellFormed = isAscii || text::isUtf8({begin, size});
    // A single step shows which comes first, a malformed character or the limit.
    if (!isWellFormed || mRow.cell.size() + size > input.longestCell)
        return takeCharacters(input, end);
    input.cursor = end;
    return append(begin, size, input.longestCell);
}

bool CsvParser::takeCharacters(const CsvInput& input, const char* end)
{
    while (input.cursor < end) {
        const char* const begin = input.cursor;
        const char* next = begin;
        utf8::next(next, input.end);
        if (!append(begin, static_cast<unsigned long>(next - begin), input.longestCell))
            return false;
        input.cursor = next;
    }
    return true;
}

CsvParser::Stop CsvParser::takeSpecial(char c, unsigned long longestCell)
{
    // Compatibility: after an opening or a doubled quote the character before counts as NUL, which
    // is a quote only where the string delimiter is NUL.
    const bool isNulQuote = mStringDelimiter == 0;
    mIsRowPending = true;
    if (mInQuotes) {
        const bool isQuote = c == mStringDelimiter;
        if (isQuote && !mAfterQuote) {
            mAfterQuote = true;
            return Stop::OutOfBytes;
        }
        if (isQuote || !mAfterQuote) {  // a doubled quote, or any other byte in quotes
            if (isQuote) mAfterQuote = isNulQuote;
            return append(&c, 1, longestCell) ? Stop::OutOfBytes : Stop::CellTooLong;
        }
        mInQuotes = false;
        mAfterQuote = false;
    } else if (c == mStringDelimiter) {
        mInQuotes = true;
        mAfterQuote = isNulQuote;
        return Stop::OutOfBytes;
    }
    if (c != mColumnDelimiter && c != '\n') return Stop::OutOfBytes;  // a carriage return
    storeCell(mRow.cell.data(), mRow.cell.size());
    mRow.cell.clear();
    return takeTerminator(c) ? Stop::RowComplete : Stop::OutOfBytes;
}

// A column delimiter that is a line feed is a column delimiter. @return whether the row is
// complete.
bool CsvParser::takeTerminator(char terminator)
{
    mIsRowPending = terminator == mColumnDelimiter;
    mIsRowComplete = !mIsRowPending;
    return mIsRowComplete;
}

bool CsvParser::append(const char* bytes, unsigned long size, unsigned long longestCell)
{
    mRow.cell.insert(mRow.cell.end(), bytes, bytes + size);
    return mRow.cell.size() <= longestCell;
}

void CsvParser::storeCell(const char* bytes, unsigned long size)
{
    if (mRow.bytes.size() - mRowSize < size)
        mRow.bytes.resize(std::max(mRowSize + size, 2 * mRow.bytes.size()));
    copyBytes(mRow.bytes.data() + mRowSize, bytes, size);
    mRowSize += size;
    mRow.cellSizes.push_back(size);
}

}  // namespace qz::variant
