// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include <utf8.h>

/// The rules of comma-separated tables in their plain form, step by step.
namespace qz::plain {

using CsvRows = std::vector<std::vector<std::string>>;

/// A cell as it stands in a file.
inline std::string writeCsvCell(const std::string& cell, char columnDelimiter, char stringDelimiter)
{
    bool needsQuotes = false;
    std::string doubled;
    for (const char c : cell) {
        if (c == columnDelimiter || c == stringDelimiter || c == '\n' || c == '\r')
            needsQuotes = true;
        if (c == stringDelimiter) doubled += c;
        doubled += c;
    }
    return needsQuotes ? stringDelimiter + doubled + stringDelimiter : cell;
}

/// A table as it stands in a file.
inline std::string writeCsv(const CsvRows& rows, char columnDelimiter, char stringDelimiter,
                            const std::string& lineEnd)
{
    std::string text;
    for (std::size_t row = 0; row < rows.size(); ++row) {
        if (row != 0) text += lineEnd;
        for (std::size_t cell = 0; cell < rows[row].size(); ++cell) {
            if (cell != 0) text += columnDelimiter;
            text += writeCsvCell(rows[row][cell], columnDelimiter, stringDelimiter);
        }
    }
    return text;
}

/// Parses a text code point by code point.
class CsvParser {
public:
    CsvParser(std::string text, char columnDelimiter, char stringDelimiter)
        : mText(std::move(text)),
          mColumnDelimiter(static_cast<std::uint32_t>(static_cast<int>(columnDelimiter))),
          mStringDelimiter(static_cast<std::uint32_t>(static_cast<int>(stringDelimiter)))
    {
    }

    bool parseNext(bool& finished, bool clearTable, unsigned long rowCount)
    {
        if (clearTable) mRows.clear();
        mRow.clear();
        finished = false;
        mInQuotes = false;
        mPrevious = 0;
        bool isRowPending = false;
        for (unsigned long rows = 0; !isAtEnd();) {
            std::uint32_t c = 0;
            std::string bytes;
            if (!decode(c, bytes)) return false;
            const std::size_t rowsBefore = mRows.size();
            take(c, bytes);
            if (mRows.empty() && mCell.size() > 65535) {
                mError = "Header cell size during parsing exceed max size of 65535 characters";
                return false;
            }
            isRowPending = mRows.size() == rowsBefore;
            if (!isRowPending && ++rows >= rowCount) {
                finished = isAtEnd();
                return true;
            }
        }
        finished = true;
        if (!isRowPending) return true;
        if (!mCell.empty()) closeCell();
        if (!mRow.empty()) finishRow();
        return true;
    }

    const CsvRows& getRows() const { return mRows; }
    unsigned int getMaxColumnCount() const { return mMaxColumnCount; }
    const std::string& getError() const { return mError; }

private:
    bool isAtEnd() const { return mAt == mText.size(); }

    bool decode(std::uint32_t& c, std::string& bytes)
    {
        const char* const begin = mText.data() + mAt;
        const char* next = begin;
        try {
            c = utf8::next(next, mText.data() + mText.size());
        } catch (const std::exception& error) {
            mError = error.what();
            return false;
        }
        bytes.assign(begin, next);
        mAt += bytes.size();
        return true;
    }

    void take(std::uint32_t c, const std::string& bytes)
    {
        if (!mInQuotes && c == mStringDelimiter) {
            mInQuotes = true;
            mPrevious = 0;
        } else if (mInQuotes && mPrevious == mStringDelimiter && c == mStringDelimiter) {
            mCell += bytes;
            mPrevious = 0;
        } else if (mInQuotes && mPrevious == mStringDelimiter) {
            takeOutside(c, bytes);
        } else if (mInQuotes && c == mStringDelimiter) {
            mPrevious = c;
        } else if (mInQuotes) {
            mCell += bytes;
            mPrevious = c;
        } else {
            takeOutside(c, bytes);
        }
    }

    void takeOutside(std::uint32_t c, const std::string& bytes)
    {
        mInQuotes = false;
        mPrevious = c;
        if (c == mColumnDelimiter) {
            closeCell();
        } else if (c == '\n') {
            closeCell();
            finishRow();
        } else if (c != '\r') {
            mCell += bytes;
        }
    }

    void closeCell() { mRow.push_back(std::exchange(mCell, {})); }

    void finishRow()
    {
        if (mRow.size() > mMaxColumnCount) mMaxColumnCount = static_cast<unsigned>(mRow.size());
        mRows.push_back(std::exchange(mRow, {}));
    }

    const std::string mText;
    const std::uint32_t mColumnDelimiter;
    const std::uint32_t mStringDelimiter;
    std::size_t mAt = 0;
    bool mInQuotes = false;
    std::uint32_t mPrevious = 0;
    std::string mCell;
    std::vector<std::string> mRow;
    CsvRows mRows;
    unsigned int mMaxColumnCount = 0;
    std::string mError;
};

}  // namespace qz::plain
