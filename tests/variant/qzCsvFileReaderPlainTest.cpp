// SPDX-License-Identifier: MIT
#include <qz/qzCsvFileReader.h>

#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "variant/CsvReaderFixture.h"

namespace qz {

namespace {

using ::testing::ElementsAre;

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
