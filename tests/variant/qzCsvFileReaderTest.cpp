#include <qz/qzCsvFileReader.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Allocations.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/ScratchFolder.h"
#include "variant/MemoryFile.h"
#include "variant/PlainCsv.h"

namespace qz {

using plain::CsvRows;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr std::size_t kBufferSize = 1048576;
const std::string kHeaderTooLong =
    "Header cell size during parsing exceed max size of 65535 characters";

CsvRows toTexts(const std::vector<qzCsvFileReader::Row>& table)
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

class qzCsvFileReaderTest : public ::testing::Test {
protected:
    qzCsvFileReaderTest() { mReader.setFileName(mFile.getPath()); }

    // Writes the file, reads it, and gives the rows.
    CsvRows read(const std::string& text)
    {
        mFile.write(text);
        mIsRead = mReader.parseCsvFile();
        return toTexts(mReader.getTable());
    }
    std::string readError(const std::string& text)
    {
        read(text);
        EXPECT_FALSE(mIsRead);
        return mReader.getLastError();
    }
    // Reads the file in batches as the plain form does, and compares each step.
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
    void compareAll(const std::string& text, char column, char quote)
    {
        compare(text, column, quote, 1024, /*clearTable=*/false);
        if (text.find('\n') != std::string::npos)
            compare(text, column, quote, 1, /*clearTable=*/true);
    }
    // Compares all texts of up to so many letters.
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

TEST(qzCsvFileReaderTypes, AreGuessedAsTheConstructorSays)
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

// --- The limit of the header

struct LimitRow {
    const char* name;
    std::string text;
    bool isRead;
};

class qzCsvFileReaderLimit : public qzCsvFileReaderTest,
                             public ::testing::WithParamInterface<LimitRow> {};

TEST_P(qzCsvFileReaderLimit, Holds)
{
    read(GetParam().text);
    EXPECT_EQ(mIsRead, GetParam().isRead);
    EXPECT_EQ(mReader.getLastError(), GetParam().isRead ? "" : kHeaderTooLong);
    EXPECT_EQ(mReader.getTable().empty(), !GetParam().isRead);
}

std::string xs(std::size_t count)
{
    return std::string(count, 'x');
}

std::string repeat(const std::string& text, std::size_t count)
{
    std::string all;
    while (count-- > 0)
        all += text;
    return all;
}

INSTANTIATE_TEST_SUITE_P(
    Limits, qzCsvFileReaderLimit,
    ::testing::Values(
        LimitRow{"Largest", xs(65535) + "\n", true}, LimitRow{"Beyond", xs(65536) + "\n", false},
        LimitRow{"BeyondAtTheEnd", xs(65536), false},
        LimitRow{"QuotedLargest", "\"" + xs(65535) + "\"\n", true},
        LimitRow{"QuotedBeyond", "\"" + xs(65536) + "\"\n", false},
        LimitRow{"QuotedBeyondInTheSecondRow", "a\n\"" + xs(65536) + "\"\n", true},
        LimitRow{"BeyondInTheSecondCell", "a," + xs(65536) + "\n", false},
        LimitRow{"ManyCells", xs(65535) + "," + xs(65535) + "\n", true},
        LimitRow{"CarriageReturnsDoNotCount", xs(65535) + "\r\r\n", true},
        LimitRow{"BeyondByALineFeedInQuotes", "\"" + xs(65535) + "\n\"\n", false},
        LimitRow{"BeyondByADelimiterInQuotes", "\"" + xs(65535) + ",\"\n", false},
        LimitRow{"BeyondByADoubledQuote", "\"" + xs(65535) + "\"\"\"\n", false},
        LimitRow{"LargestOfDoubledQuotes", "\"" + repeat("\"\"", 65535) + "\"\n", true},
        LimitRow{"LargestOfTwoBytesEach", "x" + repeat("\xc3\xa9", 32767) + "\n", true},
        LimitRow{"BeyondOfTwoBytesEach", repeat("\xc3\xa9", 32768) + "\n", false},
        LimitRow{"BeyondAheadOfMalformedText", xs(65536) + "\xff\n", false}),
    [](const auto& row) { return row.param.name; });

TEST_F(qzCsvFileReaderTest, MeetsMalformedTextAheadOfTheLimit)
{
    EXPECT_EQ(readError(xs(65535) + "\xff" + xs(10) + "\n"), "Invalid UTF-8");
}

TEST_F(qzCsvFileReaderTest, LimitsEachRowThatComesToAnEmptyTable)
{
    mFile.write("a\n" + xs(65536) + "\n");
    bool finished = false;
    ASSERT_TRUE(mReader.parseFirst(finished, 1));
    EXPECT_FALSE(mReader.parseNext(finished, /*clearTable=*/true, 1));
    EXPECT_EQ(mReader.getLastError(), kHeaderTooLong);
}

// --- Malformed text

TEST_F(qzCsvFileReaderTest, TellsWhatIsWrongWithTheText)
{
    EXPECT_EQ(readError("a\n\xff\n...."), "Invalid UTF-8");
    EXPECT_EQ(readError("a\n\x80...."), "Invalid UTF-8");
    EXPECT_EQ(readError("a\n\xc3(...."), "Invalid UTF-8");
    EXPECT_EQ(readError("a\n\xc0\x80...."), "Invalid UTF-8");
    EXPECT_EQ(readError("a\n\xed\xa0\x80...."), "Invalid code point");
    EXPECT_EQ(readError("a\n\xf4\x90\x80\x80...."), "Invalid code point");
    EXPECT_EQ(readError("a\n\xe2\x82"), "Not enough space");
}

TEST_F(qzCsvFileReaderTest, KeepsTheRowsAheadOfMalformedText)
{
    EXPECT_EQ(read("a\nb,c\nd,\xff\n"), (CsvRows{{"a"}, {"b", "c"}}));
    EXPECT_FALSE(mIsRead);
    bool finished = true;
    EXPECT_FALSE(mReader.parseNext(finished, /*clearTable=*/false, 1));
    EXPECT_FALSE(finished);
    EXPECT_EQ(mReader.getLastError(), "Invalid UTF-8");
    EXPECT_EQ(mReader.getTable().size(), 2U);
}

TEST_F(qzCsvFileReaderTest, MeetsMalformedTextInQuotesToo)
{
    EXPECT_EQ(readError("\"a\xff\"\n"), "Invalid UTF-8");
}

TEST_F(qzCsvFileReaderTest, ReadsAnotherTextAfterAFailure)
{
    readError("ab\xff");
    EXPECT_EQ(read("c\n"), (CsvRows{{"c"}})) << "something of the cell in progress is left";
    EXPECT_EQ(mReader.getLastError(), "");
}

TEST_F(qzCsvFileReaderTest, TellsOfMemoryThatRunsOut)
{
    mFile.write("a,b\nc,d\n");
    std::size_t failures = 0;
    for (std::size_t number = 1; number < 100; ++number) {
        ASSERT_TRUE(mReader.startParsing());
        bool finished = false;
        bool isRead = false;
        bool hasStruck = false;
        {
            const support::AllocationFault fault(number);
            isRead = mReader.parseNext(finished, false, 9);
            hasStruck = fault.hasStruck();
        }
        if (!hasStruck) break;
        ++failures;
        EXPECT_FALSE(isRead);
        EXPECT_FALSE(finished);
        EXPECT_EQ(mReader.getLastError(), "std::bad_alloc");
    }
    EXPECT_GT(failures, 0U);
    EXPECT_EQ(read("a\n"), (CsvRows{{"a"}}));
}

// --- Files

TEST(qzCsvFileReaderFile, IsMissingAtFirst)
{
    qzCsvFileReader reader(false);
    reader.setFileName("");
    EXPECT_EQ(reader.getLastError(), "") << "the name is the one it had";
    EXPECT_FALSE(reader.startParsing());
    bool flag = true;
    EXPECT_FALSE(reader.parseFirst(flag, 1));
    EXPECT_FALSE(flag);
    EXPECT_EQ(reader.getLastError(), "");
    flag = true;
    EXPECT_FALSE(reader.getData(flag));
    EXPECT_FALSE(flag);
    flag = true;
    EXPECT_FALSE(reader.parseNext(flag, true, 1));
    EXPECT_FALSE(flag);
    EXPECT_EQ(reader.getLastError(), kHeaderTooLong);
    EXPECT_FALSE(reader.parseCsvFile());
}

TEST(qzCsvFileReaderFile, ThatCannotBeOpenedReadsAsAnEmptyTable)
{
    const support::LibraryStart library;
    const support::ScratchFolder folder;
    qzCsvFileReader reader(false);
    reader.setFileName(folder.getPath("missing.csv"));
    EXPECT_EQ(reader.getLastError(), "Failed to open the file");
    EXPECT_TRUE(reader.startParsing());
    EXPECT_EQ(reader.getLastError(), "");
    EXPECT_TRUE(reader.parseCsvFile());
    EXPECT_THAT(reader.getTable(), IsEmpty());
}

TEST(qzCsvFileReaderFile, IsNotOpenedAgainUnderTheSameName)
{
    const support::LibraryStart library;
    const support::ScratchFolder folder;
    qzCsvFileReader reader(false);
    reader.setFileName(folder.getPath("a.csv"));
    folder.write("a.csv", "x\n");
    reader.setFileName(folder.getPath("a.csv"));
    EXPECT_TRUE(reader.parseCsvFile());
    EXPECT_THAT(reader.getTable(), IsEmpty());
    folder.write("b.csv", "y\n");
    reader.setFileName(folder.getPath("b.csv"));
    EXPECT_TRUE(reader.parseCsvFile());
    EXPECT_EQ(toTexts(reader.getTable()), (CsvRows{{"y"}}));
}

TEST(qzCsvFileReaderFile, IsOpenedAgainAfterAnEmptyName)
{
    const support::LibraryStart library;
    const support::ScratchFolder folder;
    qzCsvFileReader reader(false);
    reader.setFileName(folder.getPath("a.csv"));
    folder.write("a.csv", "x\n");
    reader.setFileName("");
    reader.setFileName(folder.getPath("a.csv"));
    EXPECT_TRUE(reader.parseCsvFile());
    EXPECT_EQ(toTexts(reader.getTable()), (CsvRows{{"x"}}));
}

TEST(qzCsvFileReaderFile, GivesTheRowsOfItsBufferUntilTheNextOneIsStarted)
{
    const support::LibraryStart library;
    const support::ScratchFolder folder;
    qzCsvFileReader reader(false);
    reader.setFileName(folder.write("a.csv", "1\n2\n3\n"));
    bool finished = false;
    EXPECT_TRUE(reader.parseFirst(finished, 1));
    reader.setFileName(folder.write("b.csv", "x\n"));
    EXPECT_TRUE(reader.parseNext(finished, /*clearTable=*/true, 10));
    EXPECT_TRUE(finished);
    EXPECT_EQ(toTexts(reader.getTable()), (CsvRows{{"2"}, {"3"}}));
    EXPECT_TRUE(reader.parseFirst(finished, 10));
    EXPECT_EQ(toTexts(reader.getTable()), (CsvRows{{"x"}}));
}

TEST(qzCsvFileReaderFile, IsNotInheritedByPrograms)
{
    const support::LibraryStart library;
    const support::ScratchFolder folder;
    qzCsvFileReader reader(false);
    const std::string path = folder.write("a.csv", "x\n");
    reader.setFileName(path);
    const std::string command = "! ls -l /proc/self/fd | grep -q -F '" + path + "'";
    EXPECT_EQ(std::system(command.c_str()), 0);
}

TEST(qzCsvFileReaderFile, GivesItsDescriptorToTheNextOne)
{
    const support::LibraryStart library;
    const support::ScratchFolder folder;
    qzCsvFileReader reader(false);
    reader.setFileName(folder.write("a.csv", "x\n"));
    const std::string next = folder.write("b.csv", "y\n");
    {
        const support::DescriptorLimit noneLeft(0);
        reader.setFileName(next);
    }
    EXPECT_EQ(reader.getLastError(), "");
    EXPECT_TRUE(reader.parseCsvFile());
    EXPECT_EQ(toTexts(reader.getTable()), (CsvRows{{"y"}}));
}

TEST(qzCsvFileReaderFile, IsNamedInUtf8)
{
    const support::LocaleGuard locale("de_DE.ISO-8859-1");
    const support::LibraryStart library;
    const support::ScratchFolder folder;
    folder.write("Z\xe4hler.csv", "x\n");
    qzCsvFileReader reader(false);
    reader.setFileName(folder.getPath("Z\xc3\xa4hler.csv"));
    EXPECT_EQ(reader.getLastError(), "");
    EXPECT_TRUE(reader.parseCsvFile());
    EXPECT_EQ(toTexts(reader.getTable()), (CsvRows{{"x"}}));
}

TEST(qzCsvFileReaderFile, MayBeAFolderWithoutRows)
{
    const support::LibraryStart library;
    const support::ScratchFolder folder;
    qzCsvFileReader reader(false);
    reader.setFileName(folder.getPath());
    EXPECT_TRUE(reader.parseCsvFile());
    EXPECT_THAT(reader.getTable(), IsEmpty());
}

TEST_F(qzCsvFileReaderTest, EndsWhereAFileThatShrinksEnds)
{
    mFile.write("a\n" + xs(kBufferSize) + "\nb\n");
    bool finished = false;
    ASSERT_TRUE(mReader.parseFirst(finished, 1));
    mFile.write("");
    EXPECT_TRUE(mReader.parseNext(finished, false, 9));
    EXPECT_TRUE(finished);
    EXPECT_EQ(mReader.getTable().size(), 2U);
}

TEST_F(qzCsvFileReaderTest, RefillsItsBufferUnlessItHoldsAWholeCharacter)
{
    mFile.write("abc");
    bool moreData = false;
    ASSERT_TRUE(mReader.startParsing());
    EXPECT_TRUE(mReader.getData(moreData));
    EXPECT_TRUE(moreData);
    EXPECT_TRUE(mReader.getData(moreData));
    EXPECT_FALSE(moreData) << "all bytes were read";
    mFile.write(xs(kBufferSize + 1));
    ASSERT_TRUE(mReader.startParsing());
    EXPECT_TRUE(mReader.getData(moreData));
    EXPECT_TRUE(mReader.getData(moreData));
    EXPECT_TRUE(moreData) << "a byte is left";
}

// --- The seam of the buffer

TEST_F(qzCsvFileReaderTest, ReadsAcrossTheSeamOfItsBuffer)
{
    const std::string tail =
        "\xc3\xa9,\"\xe2\x82\xac\"\"\n\"\r\n\xf0\x9f\x98\x80\"\r,\",\xf0\x9f\x98\x80\n\n\"a\"\"\"";
    const CsvRows rows = [&] {
        plain::CsvParser parser("h\n" + tail, ',', '"');
        bool finished = false;
        EXPECT_TRUE(parser.parseNext(finished, false, 1024));
        return parser.getRows();
    }();
    for (std::size_t ahead = 0; ahead <= tail.size() + 1; ++ahead) {
        const std::string pad = xs(kBufferSize - 2 - ahead);
        CsvRows expected = rows;
        expected[1][0] = pad + expected[1][0];
        ASSERT_TRUE(read("h\n" + pad + tail) == expected) << ahead << " bytes before the seam";
        ASSERT_TRUE(mIsRead);
    }
}

TEST_F(qzCsvFileReaderTest, MeetsMalformedTextAtTheSeamOfItsBuffer)
{
    const char* const tails[] = {"\xc3(abcd",     "\xe2\x82(abcd", "\xf0\x9f\x98(abcd",
                                 "\xffyzabcd",    "\x80yzabcd",    "\xe2\x82\xc3\xa9zabcd",
                                 "\xe2\x82",      "\xf0\x9f\x98",  "\xed\xa0\x80zzzz",
                                 "\xc3\xa9\xc3\n"};
    for (const std::string tail : tails) {
        plain::CsvParser parser("h\n" + tail, ',', '"');
        bool finished = false;
        ASSERT_FALSE(parser.parseNext(finished, false, 1024));
        for (std::size_t ahead = 0; ahead <= 4; ++ahead) {
            EXPECT_EQ(readError("h\n" + xs(kBufferSize - 2 - ahead) + tail), parser.getError())
                << ::testing::PrintToString(tail) << ", " << ahead;
            EXPECT_EQ(mReader.getTable().size(), 1U);
        }
    }
}

TEST_F(qzCsvFileReaderTest, EndsABatchAtTheSeamOfItsBuffer)
{
    for (std::size_t ahead = 0; ahead < 6; ++ahead) {
        const std::string pad = xs(kBufferSize - 3 - ahead);
        mFile.write("h\n" + pad + "\nab\nc");
        bool finished = false;
        ASSERT_TRUE(mReader.parseFirst(finished, 2));
        EXPECT_FALSE(finished);
        ASSERT_TRUE(mReader.parseNext(finished, /*clearTable=*/true, 2));
        EXPECT_TRUE(finished);
        EXPECT_EQ(toTexts(mReader.getTable()), (CsvRows{{"ab"}, {"c"}}));
    }
}

TEST_F(qzCsvFileReaderTest, ReadsTextBeyondAsciiThroughSeveralBuffers)
{
    const std::string cell = "x" + repeat("\xe2\x82\xac", kBufferSize);
    EXPECT_TRUE(read("h\n" + cell) == (CsvRows{{"h"}, {cell}}));
}

// --- Against the plain form

const char kDelimiters[][2] = {{',', '"'},      {'"', '"'},   {'\0', '"'},   {',', '\0'},
                               {'\0', '\0'},    {'\n', '"'},  {',', '\n'},   {'\r', ','},
                               {',', '\r'},     {'\n', '\n'}, {'\xe9', '"'}, {',', '\xc3'},
                               {'\xa9', '\xa9'}};

TEST_F(qzCsvFileReaderTest, ReadsAllShortTextsLikeThePlainForm)
{
    compareTexts({"a", ",", "\"", "\n", "\r"}, 5, ',', '"');
}

TEST_F(qzCsvFileReaderTest, ReadsAllShortBytesLikeThePlainForm)
{
    compareTexts({"a", "\"", "\n", "\xc3", "\xa9", "\xe2"}, 4, ',', '"');
}

TEST_F(qzCsvFileReaderTest, ReadsShortBytesThatAreDelimitersLikeThePlainForm)
{
    for (const auto& [column, quote] : {std::pair('\xc3', '"'), std::pair(',', '\xc3')})
        compareTexts({"a", "\"", ",", "\n", "\r", "\xc3", "\xa9"}, 4, column, quote);
}

TEST_F(qzCsvFileReaderTest, ReadsShortTextsWithAllDelimitersLikeThePlainForm)
{
    const std::string zero(1, '\0');
    for (const auto& [column, quote] : kDelimiters)
        compareTexts({"a", ",", "\"", "\n", "\r", "\xc3\xa9", zero}, 3, column, quote);
}

// A cell may be found in one piece or gathered from several, in one look at the buffer or in two.
TEST_F(qzCsvFileReaderTest, ReadsCellsAtEachPlaceLikeThePlainForm)
{
    const char* const cells[] = {"a,b\n",
                                 "\"a\",b\n",
                                 "\"a\"\r\n",
                                 "a\r\nb",
                                 "\"a\"\"b\",c\n",
                                 "\"a,b\nc\",d\n",
                                 "\"a\"b,c\n",
                                 "a\"b,\"c\n",
                                 "\xc3\xa9,\"\xc3\xa9\"\n",
                                 "a\rb,\"c\"\r\r\n",
                                 "\"\",\"\",,\n",
                                 "a,\xc3,b\n",
                                 "a,\"\xe2\x82\",b\n",
                                 "\"a"};
    for (std::size_t ahead = 0; ahead != 130; ++ahead)
        for (const std::string cell : cells)
            for (const std::string begin : {"", "\"", ","})
                compare(begin + xs(ahead) + cell + xs(70) + "\n", ',', '"', 1, /*clearTable=*/true);
}

TEST_F(qzCsvFileReaderTest, GuessesTheTypesOfCellsInPiecesToo)
{
    mFile.write("\"1\"\"2\",\"1\"2,1\r2,\"3\"\r\n4");
    mReader.setEnableTypeGuess(true);
    ASSERT_TRUE(mReader.parseCsvFile());
    using Row = qzCsvFileReader::Row;
    EXPECT_THAT(mReader.getTable(), ElementsAre(Row{"1\"2", 12, 12, 3}, Row{4}));
}

TEST_F(qzCsvFileReaderTest, ReadsGeneratedTextsLikeThePlainForm)
{
    const unsigned seed = 34;
    std::mt19937 random(seed);
    const std::string specials(",\"\n\r\0", 5);
    const char* const characters[] = {"\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80"};
    for (int round = 0; round < 300; ++round) {
        std::string text;
        for (auto left = random() % 200; left > 0; --left) {
            text += xs(random() % 2 == 0 ? random() % 40 : 0);
            if (random() % 3 != 0) text += specials[random() % specials.size()];
            if (random() % 4 == 0) text += characters[random() % 3];
            if (round % 10 == 0 && random() % 50 == 0) text += static_cast<char>(random() % 256);
        }
        const auto& [column, quote] =
            kDelimiters[random() % 2 == 0 ? 0 : random() % std::size(kDelimiters)];
        compare(text, column, quote, 1 + random() % 5, random() % 2 == 0);
        ASSERT_FALSE(HasFatalFailure()) << "seed " << seed << ", round " << round;
    }
}

}  // namespace

}  // namespace qz
