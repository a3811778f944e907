// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzCsvFileReader.h>

#include "support/LibraryStart.h"
#include "variant/MemoryFile.h"
#include "variant/PlainCsv.h"

namespace qz {

using plain::CsvRows;

/// The size of the reader's buffer.
constexpr std::size_t kBufferSize = 1048576;

constexpr const char* kHeaderTooLong =
    "Header cell size during parsing exceed max size of 65535 characters";

inline std::string xs(std::size_t count)
{
    return std::string(count, 'x');
}

inline std::string repeat(const std::string& text, std::size_t count)
{
    std::string all;
    while (count-- > 0)
        all += text;
    return all;
}

/// The texts of a table whose cells are texts.
inline CsvRows toTexts(const std::vector<qzCsvFileReader::Row>& table)
{
    CsvRows rows;
    for (const qzCsvFileReader::Row& row : table) {
        rows.emplace_back();
        for (const qzVariant& cell : row) {
            EXPECT_EQ(cell.getType(), qzVariant::STRING);
            rows.back().push_back(cell.toString());
        }
    }
    return rows;
}

/// A reader and its file.
class qzCsvFileReaderTest : public ::testing::Test {
protected:
    qzCsvFileReaderTest() { mReader.setFileName(mFile.getPath()); }

    /// Writes the file, reads it, and gives the rows.
    CsvRows read(const std::string& text)
    {
        mFile.write(text);
        mIsRead = mReader.parseCsvFile();
        return toTexts(mReader.getTable());
    }
    /// The error that the reading of a text ends with.
    std::string readError(const std::string& text)
    {
        read(text);
        EXPECT_FALSE(mIsRead);
        return mReader.getLastError();
    }
    /// Reads the file in batches as the plain form does, and compares each step.
    void compare(const std::string& text, char column, char quote, unsigned long rowCount,
                 bool clearTable)
    {
        const std::string shown =
            ::testing::PrintToString(text) + " with " + ::testing::PrintToString(column) + " and " +
            ::testing::PrintToString(quote) + " by " + std::to_string(rowCount);
        mReader.setColumnDelimiter(column);
        mReader.setStringDelimiter(quote);
        mFile.write(text);
        plain::CsvParser parser(text, column, quote);
        ASSERT_TRUE(mReader.startParsing());
        for (bool finished = false; !finished;) {
            bool plainFinished = true;
            const bool isRead = mReader.parseNext(finished, clearTable, rowCount);
            ASSERT_EQ(isRead, parser.parseNext(plainFinished, clearTable, rowCount)) << shown;
            ASSERT_EQ(finished, plainFinished) << shown;
            ASSERT_EQ(toTexts(mReader.getTable()), parser.getRows()) << shown;
            ASSERT_EQ(mReader.getMaxColumnCount(), parser.getMaxColumnCount()) << shown;
            ASSERT_EQ(mReader.getLastError(), parser.getError()) << shown;
            if (!isRead) return;
        }
    }
    /// The same for a whole text, and row by row if it has several.
    void compareAll(const std::string& text, char column, char quote)
    {
        compare(text, column, quote, 1024, /*clearTable=*/false);
        if (text.find('\n') != std::string::npos)
            compare(text, column, quote, 1, /*clearTable=*/true);
    }
    /// Compares all texts of up to so many letters.
    void compareTexts(const std::vector<std::string>& letters, std::size_t length, char column,
                      char quote)
    {
        std::vector<std::string> texts{""};
        std::size_t begin = 0;
        for (std::size_t round = 0; round <= length; ++round) {
            const std::size_t end = texts.size();
            for (; begin < end; ++begin) {
                const std::string text = texts[begin];
                compareAll(text, column, quote);
                if (HasFatalFailure()) return;
                if (round == length) continue;
                for (const std::string& letter : letters)
                    texts.push_back(text + letter);
            }
        }
    }

    support::LibraryStart mLibrary;  // names of files are converted
    const MemoryFile mFile;
    qzCsvFileReader mReader{false};
    bool mIsRead = false;
};

}  // namespace qz
