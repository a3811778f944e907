// SPDX-License-Identifier: MIT
#include <qz/qzCsvFileReader.h>

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/ScratchFolder.h"
#include "variant/CsvReaderFixture.h"
#include "variant/PlainCsv.h"

namespace qz {

namespace {

using ::testing::IsEmpty;

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

}  // namespace

}  // namespace qz
