// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "CsvScan.h"

namespace qz::variant {

/// The cells of a row in progress. The vectors belong to the caller and keep their memory.
struct CsvRow {
    std::vector<char>& cell;                ///< The part of a cell that comes in pieces.
    std::vector<char>& bytes;               ///< Begins with the complete cells, end to end.
    std::vector<unsigned long>& cellSizes;  ///< Their sizes.
};

/// The bytes to parse.
struct CsvInput {
    const char*& cursor;        ///< The next byte; moves on as bytes are parsed.
    const char* end;            ///< The end of the bytes.
    bool mayGrow;               ///< Whether more bytes may follow these.
    unsigned long longestCell;  ///< A cell with more bytes is an error.
};

/// Splits UTF-8 text into the cells of rows; bytes in, rows out.
///
/// All special bytes are ASCII, so the text between two of them is taken in one piece, and is
/// checked only if it is not ASCII. Nine cells of ten are in one piece altogether.
class CsvParser {
public:
    /// Why `parse` returned.
    enum class Stop {
        OutOfBytes,   ///< No bytes are left, or fewer than a character has.
        RowComplete,  ///< `CsvRow` holds a row, until the next call.
        CellTooLong,  ///< The cell has more than `longestCell` bytes.
    };

    /// The delimiters are code points; one that is not ASCII never matches.
    CsvParser(int columnDelimiter, int stringDelimiter, CsvRow row);

    /// Parses up to the end of a row. Throws what `utf8::next` throws for malformed text; the
    /// cursor is then at that character.
    Stop parse(CsvInput input);
    /// Must be called when the bytes at an address have changed.
    void forgetBytes() { mScan.reset(); }
    /// Completes the last row, if no line feed has ended it. @return whether there is such a row.
    bool completeLastRow();

private:
    bool takeWholeCells(const CsvInput& input);
    Stop takePiece(const CsvInput& input);
    bool takeText(const CsvInput& input);
    bool takeCharacters(const CsvInput& input, const char* end);
    Stop takeSpecial(char c, unsigned long longestCell);
    bool takeTerminator(char terminator);
    bool append(const char* bytes, unsigned long size, unsigned long longestCell);
    void storeCell(const char* bytes, unsigned long size);
    void startRow();

    CsvScan mScan;
    CsvRow mRow;
    // The row's vector has space beyond these bytes, so that a cell is copied without a call.
    unsigned long mRowSize = 0;
    int mColumnDelimiter;
    int mStringDelimiter;
    bool mInQuotes = false;
    bool mAfterQuote = false;  // the quotes may have been closed by the character before
    bool mIsRowPending = false;
    bool mIsRowComplete = false;
};

}  // namespace qz::variant
