// SPDX-License-Identifier: MIT
#include <qz/qzCsvFileReader.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Allocations.h"
#include "support/LibraryStart.h"
#include "variant/CsvReaderFixture.h"

namespace qz {

namespace {

using ::testing::IsEmpty;

// --- The states of the parser

struct StateRow {
    const char* name;
    std::string text;
    CsvRows rows;
};

class qzCsvFileReaderState : public qzCsvFileReaderTest,
                             public ::testing::WithParamInterface<StateRow> {};

TEST_P(qzCsvFileReaderState, GivesTheRows)
{
    EXPECT_EQ(read(GetParam().text), GetParam().rows);
    EXPECT_TRUE(mIsRead);
    EXPECT_EQ(mReader.getLastError(), "");
}

INSTANTIATE_TEST_SUITE_P(
    States, qzCsvFileReaderState,
    ::testing::Values(StateRow{"QuoteOpens", "\"a,b\"\n", {{"a,b"}}},
                      StateRow{"QuoteOpensWithinACell", "a\"b,c\"\n", {{"ab,c"}}},
                      StateRow{"QuoteOpensAgain", "\"a\"b\"c,d\"\n", {{"abc,d"}}},
                      StateRow{"DoubledQuote", "\"a\"\"b\"\n", {{"a\"b"}}},
                      StateRow{"DoubledQuoteAlone", "\"\"\"\"\n", {{"\""}}},
                      StateRow{"DoubledQuotes", "\"\"\"\"\"\"\n", {{"\"\""}}},
                      StateRow{"EmptyQuotes", "\"\"\n", {{""}}},
                      StateRow{"ClosedByADelimiter", "\"a\",b\n", {{"a", "b"}}},
                      StateRow{"ClosedByALineFeed", "\"a\"\nb\n", {{"a"}, {"b"}}},
                      StateRow{"ClosedByACarriageReturn", "\"a\"\r\nb\n", {{"a"}, {"b"}}},
                      StateRow{"ClosedByText", "\"a\"b,c\n", {{"ab", "c"}}},
                      StateRow{"ClosedByNonAscii", "\"a\"\xc3\xa9,c\n", {{"a\xc3\xa9", "c"}}},
                      StateRow{"CarriageReturnBetweenQuotes", "\"a\"\r\"b\"\n", {{"ab"}}},
                      StateRow{"LineBreaksInQuotes", "\"a\r\nb\n\"\n", {{"a\r\nb\n"}}},
                      StateRow{"NonAsciiInQuotes", "\"\xc3\xa9\"\n", {{"\xc3\xa9"}}},
                      StateRow{"DelimiterClosesACell", "a,b\n", {{"a", "b"}}},
                      StateRow{"LineFeedClosesARow", "a\nb,c\n", {{"a"}, {"b", "c"}}},
                      StateRow{"CarriageReturnIsDropped", "\ra\rb\r,\r\n", {{"ab", ""}}},
                      StateRow{"OtherIsTaken",
                               "\xc3\xa9 \xe2\x82\xac\xf0\x9f\x98\x80\t;\n",
                               {{"\xc3\xa9 \xe2\x82\xac\xf0\x9f\x98\x80\t;"}}},
                      StateRow{"EmbeddedZero",
                               std::string("a\0,\0b\n", 6),
                               {{std::string("a\0", 2), std::string("\0b", 2)}}},
                      StateRow{"EmptyCells", ",a,,\n", {{"", "a", "", ""}}},
                      StateRow{"BlankLine", "a\n\nb\n", {{"a"}, {""}, {"b"}}},
                      StateRow{"LineFeedAlone", "\n", {{""}}},
                      StateRow{"EndWithoutALineFeed", "a,b", {{"a", "b"}}},
                      StateRow{"EndAfterADelimiter", "a,b,", {{"a", "b"}}},
                      StateRow{"DelimiterAndLineFeedAtTheEnd", "a,b,\n", {{"a", "b", ""}}},
                      StateRow{"DelimiterAlone", ",", {{""}}},
                      StateRow{"EndInQuotes", "a,\"b\nc", {{"a", "b\nc"}}},
                      StateRow{"EndAfterTheLineFeedOfOpenQuotes", "\"a\n", {{"a\n"}}},
                      StateRow{"EndAfterQuotes", "a\n\"b\"", {{"a"}, {"b"}}},
                      StateRow{"EndAfterEmptyQuotes", "a\n\"\"", {{"a"}}},
                      StateRow{"CarriageReturnAlone", "\r", {}}, StateRow{"NothingAtAll", "", {}},
                      StateRow{"ByteOrderMark",
                               "\xef\xbb\xbf\"a\"\n",
                               {{"\xef\xbb\xbf"
                                 "a"}}}),
    [](const auto& row) { return row.param.name; });

TEST_F(qzCsvFileReaderTest, MeasuresTheLongestRow)
{
    read("a\nb,c,d\ne,f\n");
    EXPECT_EQ(mReader.getMaxColumnCount(), 3U);
    read("a\n");
    EXPECT_EQ(mReader.getMaxColumnCount(), 1U);
}

TEST_F(qzCsvFileReaderTest, FinishesAnEmptyFileAtOnce)
{
    bool finished = false;
    EXPECT_TRUE(mReader.parseFirst(finished, 10));
    EXPECT_TRUE(finished);
    EXPECT_THAT(mReader.getTable(), IsEmpty());
}

// --- Delimiters

TEST_F(qzCsvFileReaderTest, TakesOtherDelimiters)
{
    mReader.setColumnDelimiter(';');
    mReader.setStringDelimiter('\'');
    EXPECT_EQ(read("a;'b;''';\"c\",d\n"), (CsvRows{{"a", "b;'", "\"c\",d"}}));
}

TEST_F(qzCsvFileReaderTest, NeverMatchesADelimiterBeyondAscii)
{
    mReader.setColumnDelimiter('\xe9');
    mReader.setStringDelimiter('\xc3');
    EXPECT_EQ(read("a\xc3\xa9,b\nc\n"), (CsvRows{{"a\xc3\xa9,b"}, {"c"}}));
}

TEST_F(qzCsvFileReaderTest, LetsTheQuoteWinOverAnEqualDelimiter)
{
    mReader.setColumnDelimiter('"');
    EXPECT_EQ(read("a\"b\"\"c\"d\n"), (CsvRows{{"ab\"cd"}}));
}

TEST_F(qzCsvFileReaderTest, LetsTheDelimiterWinOverTheLineFeed)
{
    mReader.setColumnDelimiter('\n');
    EXPECT_EQ(read("a\nb\n"), (CsvRows{{"a", "b"}}));
}

TEST_F(qzCsvFileReaderTest, ClosesQuotesOfZerosAtOnce)
{
    mReader.setStringDelimiter('\0');
    EXPECT_EQ(read(std::string("\0a,\0\0b\n", 7)), (CsvRows{{"a", std::string("\0b", 2)}}));
}

// --- Types

TEST_F(qzCsvFileReaderTest, GuessesTypesOnDemand)
{
    mFile.write("12,1.5,true,\"7\",x,\n");
    mReader.setEnableTypeGuess(true);
    ASSERT_TRUE(mReader.parseCsvFile());
    const std::vector<std::string> texts{"12", "1.5", "true", "7", "x", ""};
    ASSERT_EQ(mReader.getTable().size(), 1U);
    ASSERT_EQ(mReader.getTable()[0].size(), texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i)
        EXPECT_EQ(mReader.getTable()[0][i], qzVariant::BuildFromString(texts[i])) << texts[i];
    EXPECT_EQ(mReader.getTable()[0][0].getType(), qzVariant::INTEGER);
}

TEST(qzCsvFileReaderTypes, AreGuessedIfTheConstructorEnabledIt)
{
    const support::LibraryStart library;
    const MemoryFile file;
    file.write("12\n");
    qzCsvFileReader reader(true);
    reader.setFileName(file.getPath());
    ASSERT_TRUE(reader.parseCsvFile());
    EXPECT_EQ(reader.getTable()[0][0], qzVariant(12));
}

// --- Batches

TEST_F(qzCsvFileReaderTest, FinishesOnlyWithTheLastRow)
{
    mFile.write("a\nb\nc\n");
    bool finished = true;
    EXPECT_TRUE(mReader.parseFirst(finished, 1));
    EXPECT_FALSE(finished);
    EXPECT_EQ(toTexts(mReader.getTable()), (CsvRows{{"a"}}));
    EXPECT_TRUE(mReader.parseNext(finished, /*clearTable=*/true, 1));
    EXPECT_FALSE(finished);
    EXPECT_EQ(toTexts(mReader.getTable()), (CsvRows{{"b"}}));
    EXPECT_TRUE(mReader.parseNext(finished, /*clearTable=*/false, 1));
    EXPECT_TRUE(finished);
    EXPECT_EQ(toTexts(mReader.getTable()), (CsvRows{{"b"}, {"c"}}));
    EXPECT_TRUE(mReader.parseNext(finished, /*clearTable=*/true, 1));
    EXPECT_TRUE(finished);
    EXPECT_THAT(mReader.getTable(), IsEmpty());
}

TEST_F(qzCsvFileReaderTest, TakesARowCountOfZeroAsOne)
{
    mFile.write("a\nb\n");
    bool finished = true;
    EXPECT_TRUE(mReader.parseFirst(finished, 0));
    EXPECT_FALSE(finished);
    EXPECT_EQ(mReader.getTable().size(), 1U);
}

TEST_F(qzCsvFileReaderTest, StartsAgainWithAnEmptyTable)
{
    mFile.write("a,b\nc\n");
    bool finished = true;
    mReader.parseFirst(finished, 1);
    EXPECT_TRUE(mReader.startParsing());
    EXPECT_THAT(mReader.getTable(), IsEmpty());
    EXPECT_EQ(mReader.getMaxColumnCount(), 0U);
    EXPECT_TRUE(mReader.parseNext(finished, false, 9));
    EXPECT_EQ(toTexts(mReader.getTable()), (CsvRows{{"a", "b"}, {"c"}}));
}

TEST_F(qzCsvFileReaderTest, ReadsMoreRowsThanABatch)
{
    std::string text;
    for (int row = 0; row < 2500; ++row)
        text += std::to_string(row) + "\n";
    const CsvRows rows = read(text);
    ASSERT_EQ(rows.size(), 2500U);
    EXPECT_EQ(rows.back(), std::vector<std::string>{"2499"});
}

TEST_F(qzCsvFileReaderTest, HandsItsTableOver)
{
    read("a\nb\n");
    const qzVariant* const firstCell = mReader.getTable()[0].data();
    const std::vector<qzCsvFileReader::Row> table = mReader.takeTable();
    EXPECT_EQ(toTexts(table), (CsvRows{{"a"}, {"b"}}));
    EXPECT_EQ(table[0].data(), firstCell) << "the rows were copied";
    EXPECT_THAT(mReader.getTable(), IsEmpty());
    EXPECT_EQ(read("c\n"), (CsvRows{{"c"}}));
}

TEST_F(qzCsvFileReaderTest, ReadsARowOfMoreBytesThanAreReserved)
{
    const std::string cell(50000, 'x');
    const CsvRows rows = read(cell + "," + cell + "," + cell + "," + cell + "\na," + cell + "\n");
    EXPECT_EQ(rows, (CsvRows{{cell, cell, cell, cell}, {"a", cell}}));
}

TEST_F(qzCsvFileReaderTest, AllocatesForTheCellsOfARowAndTheRowOnly)
{
    mFile.write("a,b,c\na,b,c\n");
    bool finished = false;
    mReader.parseFirst(finished, 1);
    const support::AllocationCounter allocations;
    mReader.parseNext(finished, /*clearTable=*/true, 1);
    EXPECT_LE(allocations.getCount(), 4U) << "a string for each of three cells, and the row";
}

TEST_F(qzCsvFileReaderTest, AllocatesForARowOnceHoweverWideItIs)
{
    mFile.write("a\na,b,c,d,e,f,g\n");
    bool finished = false;
    mReader.parseFirst(finished, 1);
    const support::AllocationCounter allocations;
    mReader.parseNext(finished, /*clearTable=*/true, 1);
    EXPECT_LE(allocations.getCount(), 8U) << "a string for each of seven cells, and the row";
    EXPECT_EQ(mReader.getTable()[0].capacity(), 7U);
}

}  // namespace

}  // namespace qz
