// SPDX-License-Identifier: MIT
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <qz/qzStringUtils.h>

#include "support/Allocations.h"
#include "support/Environment.h"
#include "text/PlainText.h"

namespace qz {

using support::EnvironmentLocale;
using namespace std::string_literals;

struct Utf8Row {
    const char* name;
    std::string text;
    bool isUtf8;
    std::size_t count;
};

class qzStringUtilsUtf8 : public ::testing::TestWithParam<Utf8Row> {};

TEST_P(qzStringUtilsUtf8, ReadsAsItsRow)
{
    EXPECT_EQ(qzStringUtils::IsUtf8String(GetParam().text), GetParam().isUtf8);
    EXPECT_EQ(qzStringUtils::CountUtf8Char(GetParam().text), GetParam().count);
}

TEST_P(qzStringUtilsUtf8, ReadsAsItsRowAfterALongText)
{
    const std::string before = std::string(997, 'x') + "\xc3\xa9";
    const bool isUtf8 = GetParam().isUtf8;
    EXPECT_EQ(qzStringUtils::IsUtf8String(before + GetParam().text), isUtf8);
    EXPECT_EQ(qzStringUtils::CountUtf8Char(before + GetParam().text),
              isUtf8 ? 998 + GetParam().count : 0);
}

const Utf8Row kUtf8Rows[] = {
    {"Empty", "", true, 0},
    {"Ascii", "abc", true, 3},
    {"Zero", "\0"s, true, 1},
    {"HighestOfOne", "\x7f", true, 1},
    {"LowestOfTwo", "\xc2\x80", true, 1},
    {"HighestOfTwo", "\xdf\xbf", true, 1},
    {"LowestOfThree", "\xe0\xa0\x80", true, 1},
    {"BelowTheSurrogates", "\xed\x9f\xbf", true, 1},
    {"AboveTheSurrogates", "\xee\x80\x80", true, 1},
    {"NonCharacter", "\xef\xbf\xbf", true, 1},
    {"ByteOrderMark", "\xef\xbb\xbf", true, 1},
    {"LowestOfFour", "\xf0\x90\x80\x80", true, 1},
    {"HighestOfAll", "\xf4\x8f\xbf\xbf", true, 1},
    {"Mixed", "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80", true, 4},
    {"LoneContinuation", "\x80", false, 0},
    {"ContinuationBehindAscii", "a\xbf", false, 0},
    {"OverlongZero", "\xc0\x80", false, 0},
    {"OverlongOfTwo", "\xc1\xbf", false, 0},
    {"OverlongOfThree", "\xe0\x9f\xbf", false, 0},
    {"OverlongOfFour", "\xf0\x8f\xbf\xbf", false, 0},
    {"FirstSurrogate", "\xed\xa0\x80", false, 0},
    {"LastSurrogate", "\xed\xbf\xbf", false, 0},
    {"PastTheEnd", "\xf4\x90\x80\x80", false, 0},
    {"FarPastTheEnd", "\xf7\xbf\xbf\xbf", false, 0},
    {"LeadOfFive", "\xf8\x88\x80\x80\x80", false, 0},
    {"LeadOfSix", "\xfc\x84\x80\x80\x80\x80", false, 0},
    {"NoLead", "\xff", false, 0},
    {"TwoCutShort", "ab\xc3", false, 0},
    {"ThreeCutShort", "ab\xe2\x82", false, 0},
    {"FourCutShort", "ab\xf0\x9f\x98", false, 0},
    {"CutShortByAscii", "\xe2\x82z", false, 0},
    {"CutShortByALead", "\xe2\x82\xc3\xa9", false, 0},
    {"Latin1", "caf\xe9", false, 0},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsUtf8, ::testing::ValuesIn(kUtf8Rows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzStringUtilsUtf8Large, DecidesAsTheRulesDo)
{
    const char* const sequences[] = {"a", "\xc3\xa9", "\xe6\x97\xa5", "\xf0\x9f\x98\x80"};
    for (const unsigned seed : plain::kSeeds) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        std::string text;
        while (text.size() < 20000)
            text += sequences[plain::choose(random, 4)];
        const std::size_t count = plain::countUtf8(text);
        ASSERT_NE(count, plain::kNone);
        EXPECT_TRUE(qzStringUtils::IsUtf8String(text));
        EXPECT_EQ(qzStringUtils::CountUtf8Char(text), count);
        text[plain::choose(random, text.size())] = '\xff';
        EXPECT_FALSE(qzStringUtils::IsUtf8String(text));
        EXPECT_EQ(qzStringUtils::CountUtf8Char(text), 0U);
    }
}

TEST(qzStringUtilsUtf8Large, AllocatesNothing)
{
    const std::string text(10000, '\xc3');
    const support::AllocationCounter counter;
    EXPECT_FALSE(qzStringUtils::IsUtf8String(text));
    EXPECT_EQ(counter.getCount(), 0U);
}

// --- Texts of unknown encoding

class qzStringUtilsUnknownEncoding : public ::testing::Test {
protected:
    ~qzStringUtilsUnknownEncoding() override { qzStringUtils::TerminateStringUtils(); }

    // Brings the services up with the character set of the locale.
    void useLocalSet(const char* locale)
    {
        mLocale.emplace(locale);
        qzStringUtils::InitializeStringUtils();
    }

private:
    std::optional<EnvironmentLocale> mLocale;
};

TEST_F(qzStringUtilsUnknownEncoding, KeepsUtf8)
{
    useLocalSet("de_DE.ISO-8859-1");
    EXPECT_EQ(qzStringUtils::UnknownEncodingToUtf8("caf\xc3\xa9", '?'), "caf\xc3\xa9");
    EXPECT_EQ(qzStringUtils::UnknownEncodingToUtf8("", '?'), "");
    EXPECT_EQ(qzStringUtils::UnknownEncodingToUtf8("a\0b"s, '?'), "a\0b"s);
}

TEST_F(qzStringUtilsUnknownEncoding, TakesOtherTextsForTheLocalSet)
{
    useLocalSet("de_DE.ISO-8859-1");
    EXPECT_EQ(qzStringUtils::UnknownEncodingToUtf8("caf\xe9", '?'), "caf\xc3\xa9");
}

TEST_F(qzStringUtilsUnknownEncoding, IsEmptyWhenTheConversionFails)
{
    useLocalSet("C.UTF-8");
    EXPECT_EQ(qzStringUtils::UnknownEncodingToUtf8("caf\xe9", '?'), "");
}

TEST_F(qzStringUtilsUnknownEncoding, IsEmptyWithoutTheServices)
{
    EXPECT_EQ(qzStringUtils::UnknownEncodingToUtf8("caf\xe9", '?'), "");
    EXPECT_EQ(qzStringUtils::UnknownEncodingToUtf8("cafe", '?'), "cafe");
}

TEST_F(qzStringUtilsUnknownEncoding, ReplacesBytesWhenTheConversionGivesNoUtf8)
{
    // The system's converter passes this code point, which is past the last one.
    useLocalSet("C.UTF-8");
    const std::string text = "a\xf4\x90\x80\x80\x7fz";
    ASSERT_EQ(qzStringUtils::convertCharset(text, qzStringUtils::CharSetLocal,
                                            qzStringUtils::CharSetUtf8),
              text);
    EXPECT_EQ(qzStringUtils::UnknownEncodingToUtf8(text, '?'), "a????\x7fz");
    EXPECT_EQ(qzStringUtils::UnknownEncodingToUtf8(text, '\0'), "a\0\0\0\0\x7fz"s);
}

}  // namespace qz
