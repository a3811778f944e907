// SPDX-License-Identifier: MIT
#include <qz/qzCsvFileReader.h>

#include <string>

#include <gtest/gtest.h>

#include "support/Allocations.h"
#include "variant/CsvReaderFixture.h"

namespace qz {

namespace {

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

TEST_F(qzCsvFileReaderTest, FindsMalformedTextBeforeTheLimit)
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

TEST_F(qzCsvFileReaderTest, ReportsWhatIsWrongWithTheText)
{
    EXPECT_EQ(readError("a\n\xff\n...."), "Invalid UTF-8");
    EXPECT_EQ(readError("a\n\x80...."), "Invalid UTF-8");
    EXPECT_EQ(readError("a\n\xc3(...."), "Invalid UTF-8");
    EXPECT_EQ(readError("a\n\xc0\x80...."), "Invalid UTF-8");
    EXPECT_EQ(readError("a\n\xed\xa0\x80...."), "Invalid code point");
    EXPECT_EQ(readError("a\n\xf4\x90\x80\x80...."), "Invalid code point");
    EXPECT_EQ(readError("a\n\xe2\x82"), "Not enough space");
}

TEST_F(qzCsvFileReaderTest, KeepsTheRowsBeforeMalformedText)
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

TEST_F(qzCsvFileReaderTest, ReportsALackOfMemory)
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

}  // namespace

}  // namespace qz
