// SPDX-License-Identifier: MIT
#include <clocale>
#include <random>
#include <string>
#include <string_view>

#include <locale.h>

#include <gtest/gtest.h>

#include <qz/qzStringUtils.h>

#include "support/Allocations.h"
#include "support/Environment.h"
#include "text/PlainText.h"

namespace qz {

using plain::kNone;
using plain::makeAllTexts;
using support::LocaleGuard;
using namespace std::string_literals;
using namespace std::string_view_literals;

// --- Prefixes

struct PrefixRow {
    const char* name;
    std::string text;
    std::string prefix;
    bool starts;
};

class qzStringUtilsStartsWith : public ::testing::TestWithParam<PrefixRow> {};

TEST_P(qzStringUtilsStartsWith, ReadsAsItsRow)
{
    const auto& [name, text, prefix, starts] = GetParam();
    EXPECT_EQ(qzStringUtils::StartsWith(text, prefix), starts);
    EXPECT_EQ(qzStringUtils::StartsWith(std::string_view(text), std::string_view(prefix)), starts);
}

const PrefixRow kPrefixRows[] = {
    {"BothEmpty", "", "", true},
    {"EmptyPrefix", "abc", "", true},
    {"LongerThanTheText", "ab", "abc", false},
    {"OfAnEmptyText", "", "a", false},
    {"Itself", "abc", "abc", true},
    {"TheBeginning", "abc", "ab", true},
    {"TheEnd", "abc", "bc", false},
    {"OtherCase", "abc", "A", false},
    {"WithZeros", "a\0b"s, "a\0"s, true},
    {"OtherBehindAZero", "a\0b"s, "a\0c"s, false},
    {"HighBytes", "\xc3\xa9t\xc3\xa9", "\xc3", true},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsStartsWith, ::testing::ValuesIn(kPrefixRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzStringUtilsStartsWithLiterals, MixesWithTheOtherTexts)
{
    EXPECT_TRUE(qzStringUtils::StartsWith("abc", "ab"));
    EXPECT_FALSE(qzStringUtils::StartsWith("ab", "abc"));
    EXPECT_TRUE(qzStringUtils::StartsWith("abc"s, "ab"));
    EXPECT_TRUE(qzStringUtils::StartsWith("abc"sv, "ab"));
}

// --- Search

struct FindRow {
    const char* name;
    std::string text;
    std::string what;
    std::size_t from;
    std::size_t place;          // with case
    std::size_t caselessPlace;  // without
};

class qzStringUtilsFind : public ::testing::TestWithParam<FindRow> {};

TEST_P(qzStringUtilsFind, ReadsAsItsRow)
{
    const FindRow& row = GetParam();
    EXPECT_EQ(qzStringUtils::FindCaseSensitive(row.text, row.what, row.from), row.place);
    EXPECT_EQ(qzStringUtils::FindCaseInsensitive(row.text, row.what, row.from), row.caselessPlace);
}

const FindRow kFindRows[] = {
    {"NothingInNothing", "", "", 0, 0, 0},
    {"NothingBehindNothing", "", "", 1, kNone, kNone},
    {"NothingAtTheBegin", "abc", "", 0, 0, 0},
    {"NothingInside", "abc", "", 2, 2, 2},
    {"NothingAtTheEnd", "abc", "", 3, 3, 3},
    {"NothingPastTheEnd", "abc", "", 4, kNone, kNone},
    {"NothingFarPastTheEnd", "abc", "", kNone, kNone, kNone},
    {"InNothing", "", "a", 0, kNone, kNone},
    {"AtTheEnd", "abc", "c", 3, kNone, kNone},
    {"PastTheEnd", "abc", "c", 4, kNone, kNone},
    {"FarPastTheEnd", "abc", "c", kNone, kNone, kNone},
    {"LongerThanTheText", "ab", "abc", 0, kNone, kNone},
    {"LongerThanTheRest", "abab", "aba", 2, kNone, kNone},
    {"Itself", "abc", "abc", 0, 0, 0},
    {"FirstOfMany", "xabab", "ab", 0, 1, 1},
    {"NextOne", "xabab", "ab", 2, 3, 3},
    {"AtFrom", "xabab", "ab", 3, 3, 3},
    {"LastByte", "abc", "c", 0, 2, 2},
    {"OneByteBehindFrom", "abcabc", "a", 1, 3, 3},
    {"OtherCaseInTheText", "xABAb", "ab", 0, kNone, 1},
    {"OtherCaseInTheWanted", "xabab", "AB", 0, kNone, 1},
    {"CaseDecides", "ABab", "ab", 0, 2, 0},
    {"NoLetterFolds", "@[`{", "`", 0, 2, 2},
    {"ZerosCount", "a\0b\0c"s, "\0c"s, 0, 3, 3},
    {"UmlautKeepsItsCase", "\xc3\x84", "\xc3\xa4", 0, kNone, kNone},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsFind, ::testing::ValuesIn(kFindRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzStringUtilsFindAll, SmallTextsAreSearchedAsByTheStandardLibrary)
{
    const std::vector<std::string> wanted = makeAllTexts("aB", 3);
    for (const std::string& text : makeAllTexts("abB", 6)) {
        for (const std::string& what : wanted) {
            for (std::size_t from = 0; from <= text.size() + 1; ++from) {
                ASSERT_EQ(qzStringUtils::FindCaseSensitive(text, what, from), text.find(what, from))
                    << text << " " << what << " " << from;
                ASSERT_EQ(qzStringUtils::FindCaseInsensitive(text, what, from),
                          plain::findIgnoringCase(text, what, from))
                    << text << " " << what << " " << from;
            }
        }
    }
}

TEST(qzStringUtilsFindAll, LargeTextsAreSearchedAsByTheStandardLibrary)
{
    for (const unsigned seed : plain::kSeeds) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        for (unsigned round = 0; round < 100; ++round) {
            const std::string text = plain::makeText(random, "aAbB-", plain::choose(random, 3000));
            const std::size_t from = plain::choose(random, text.size() + 1);
            const std::string what = plain::makeText(random, "aAbB-", 1 + round % 12);
            ASSERT_EQ(qzStringUtils::FindCaseSensitive(text, what, from), text.find(what, from))
                << text << " " << what << " " << from;
            ASSERT_EQ(qzStringUtils::FindCaseInsensitive(text, what, from),
                      plain::findIgnoringCase(text, what, from))
                << text << " " << what << " " << from;
        }
    }
}

TEST(qzStringUtilsFindAll, ARareFirstByteIsFoundAsByTheStandardLibrary)
{
    for (const unsigned seed : plain::kSeeds) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        for (unsigned round = 0; round < 100; ++round) {
            std::string text(5000, '-');
            for (std::size_t places = plain::choose(random, 60); places > 0; --places)
                text.replace(plain::choose(random, 4900), 3, plain::makeText(random, "abc", 3));
            const std::size_t from = plain::choose(random, text.size());
            const std::string what = "a" + plain::makeText(random, "abc-", round % 5);
            ASSERT_EQ(qzStringUtils::FindCaseSensitive(text, what, from), text.find(what, from))
                << text << " " << what << " " << from;
        }
    }
}

TEST(qzStringUtilsFindAll, LongPiecesAlikeAfterARareByteAreSearchedToTheEnd)
{
    std::string piece = "a" + std::string(299, '-');
    std::string text;
    for (int i = 0; i < 100; ++i)
        text += piece;
    std::string what = text.substr(0, 20000);
    what[19998] = '+';
    EXPECT_EQ(qzStringUtils::FindCaseSensitive(text, what, 0), kNone);
    EXPECT_EQ(qzStringUtils::FindCaseSensitive(text + what, what, 0), text.size());
}

TEST(qzStringUtilsFindAll, TextsWhereEveryPlaceLooksRightAreSearchedToTheEnd)
{
    std::string what(50, 'a');
    what[1] = 'b';
    const std::string text = std::string(20000, 'a') + what + "a";
    EXPECT_EQ(qzStringUtils::FindCaseSensitive(text, what, 0), 20000U);
    EXPECT_EQ(qzStringUtils::FindCaseSensitive(text, what, 20001), kNone);
    std::string capitals = text;
    for (char& byte : capitals)
        byte = byte == 'a' ? 'A' : 'B';
    EXPECT_EQ(qzStringUtils::FindCaseInsensitive(capitals, what, 0), 20000U);
    EXPECT_EQ(qzStringUtils::FindCaseInsensitive(capitals.substr(0, 20040), what, 5), kNone);
}

TEST(qzStringUtilsFindAll, SearchWithCaseAllocatesNothing)
{
    const std::string text(5000, 'a');
    const std::string what = "aab";
    const support::AllocationCounter counter;
    EXPECT_EQ(qzStringUtils::FindCaseSensitive(text, what, 0), kNone);
    EXPECT_EQ(qzStringUtils::FindCaseInsensitive(text, what, 0), kNone);
    EXPECT_EQ(counter.getCount(), 0U);
}

// Latin-1 has letters beyond ASCII whose case `tolower` knows.
class qzStringUtilsFindLatin1 : public ::testing::Test {
protected:
    const std::string mSmall = "caf\xe9";
    const std::string mCapital = "CAF\xc9";
    const std::string mLong = std::string(700, '-') + mCapital + std::string(700, '-');
};

TEST_F(qzStringUtilsFindLatin1, FoldsWhatTheLocaleFolds)
{
    const LocaleGuard latin1("de_DE.ISO-8859-1");
    EXPECT_EQ(qzStringUtils::FindCaseInsensitive(mCapital, mSmall, 0), 0U);
    EXPECT_EQ(qzStringUtils::FindCaseInsensitive(mSmall, mCapital, 0), 0U);
    EXPECT_EQ(qzStringUtils::FindCaseInsensitive(mLong, mSmall, 0), 700U);
    EXPECT_EQ(qzStringUtils::FindCaseInsensitive(mLong, "\xe9", 0), 703U);
}

TEST_F(qzStringUtilsFindLatin1, FoldsOnlyAsciiInTheCLocale)
{
    EXPECT_EQ(qzStringUtils::FindCaseInsensitive(mCapital, mSmall, 0), kNone);
    EXPECT_EQ(qzStringUtils::FindCaseInsensitive(mLong, mSmall, 0), kNone);
    EXPECT_EQ(qzStringUtils::FindCaseInsensitive(mLong, "caf\xc9", 0), 700U);
}

TEST_F(qzStringUtilsFindLatin1, FollowsTheLocaleOfTheThread)
{
    const support::EnvironmentLocale environment("de_DE.ISO-8859-1");
    locale_t const latin1 = ::newlocale(LC_ALL_MASK, "", nullptr);
    ASSERT_NE(latin1, nullptr);
    locale_t const before = ::uselocale(latin1);
    const std::size_t inShort = qzStringUtils::FindCaseInsensitive(mCapital, mSmall, 0);
    const std::size_t inLong = qzStringUtils::FindCaseInsensitive(mLong, mSmall, 0);
    ::uselocale(before);
    ::freelocale(latin1);
    EXPECT_EQ(inShort, 0U);
    EXPECT_EQ(inLong, 700U);
}

TEST(qzStringUtilsContains, AnswersAsItsSearch)
{
    EXPECT_TRUE(qzStringUtils::Contains("", "", true));
    EXPECT_TRUE(qzStringUtils::Contains("", "", false));
    EXPECT_TRUE(qzStringUtils::Contains("abc", "", true));
    EXPECT_TRUE(qzStringUtils::Contains("abc", "", false));
    EXPECT_FALSE(qzStringUtils::Contains("", "a", false));
    EXPECT_TRUE(qzStringUtils::Contains("abc", "bc", true));
    EXPECT_FALSE(qzStringUtils::Contains("abc", "BC", true));
    EXPECT_TRUE(qzStringUtils::Contains("abc", "BC", false));
    EXPECT_TRUE(qzStringUtils::Contains("aBC", "bc", false));
    EXPECT_FALSE(qzStringUtils::Contains("abc", "cb", false));
}

// --- Two buffers

class qzStringUtilsAstride : public ::testing::Test {
protected:
    int find(const std::string& first, const std::string& second, const std::string& what)
    {
        mFirst = first;
        mSecond = second;
        mFound = mFirst.data();  // so that it shows whether it is set
        return qzStringUtils::FindFirstAstrideBuffers(
            mFirst.data(), mFirst.data() + mFirst.size(), mSecond.data(),
            mSecond.data() + mSecond.size(), what.data(), what.data() + what.size(), mFound);
    }
    std::ptrdiff_t inFirst() const { return mFound - mFirst.data(); }
    std::ptrdiff_t inSecond() const { return mFound - mSecond.data(); }

    // The three stages, a place at a time.
    static int findPlainly(const std::string& first, const std::string& second,
                           const std::string& what, std::size_t& place)
    {
        const std::size_t n = what.size();
        for (place = 0; place + n <= first.size(); ++place) {
            if (first.compare(place, n, what) == 0) return 1;
        }
        for (place = first.size() > n ? first.size() - n : 0; place < first.size(); ++place) {
            const std::size_t head = first.size() - place;
            if (head > n || first.compare(place, head, what, 0, head) != 0) continue;
            const std::size_t rest = n - head;
            if (second.size() < rest) return 0;
            if (second.compare(0, rest, what, head, rest) == 0) return 3;
        }
        for (place = 0; place + n <= second.size(); ++place) {
            if (second.compare(place, n, what) == 0) return 2;
        }
        return 0;
    }

    std::string mFirst;
    std::string mSecond;
    const char* mFound = nullptr;
};

TEST_F(qzStringUtilsAstride, FindsInTheFirstBuffer)
{
    EXPECT_EQ(find("xabcabc", "abc", "abc"), 1);
    EXPECT_EQ(inFirst(), 1);
}

TEST_F(qzStringUtilsAstride, FindsAtTheVeryEndOfTheFirstBuffer)
{
    EXPECT_EQ(find("xxabc", "abc", "abc"), 1);
    EXPECT_EQ(inFirst(), 2);
}

TEST_F(qzStringUtilsAstride, FindsOverTheSeamAtEverySplit)
{
    for (std::ptrdiff_t head = 1; head < 4; ++head) {
        const std::string what = "abcd";
        EXPECT_EQ(find("xx" + what.substr(0, std::size_t(head)),
                       what.substr(std::size_t(head)) + "abcd", what),
                  3);
        EXPECT_EQ(inFirst(), 2);
    }
}

TEST_F(qzStringUtilsAstride, FindsOverTheSeamAfterAFalseStart)
{
    EXPECT_EQ(find("xaa", "b", "ab"), 3);
    EXPECT_EQ(inFirst(), 2);
    EXPECT_EQ(find("aaa", "ab", "aab"), 3) << "the first start fails in the second buffer";
    EXPECT_EQ(inFirst(), 2);
}

TEST_F(qzStringUtilsAstride, FindsInTheSecondBuffer)
{
    EXPECT_EQ(find("xab", "xabcabc", "abc"), 2);
    EXPECT_EQ(inSecond(), 1);
    EXPECT_EQ(find("", "abc", "abc"), 2);
    EXPECT_EQ(inSecond(), 0);
}

TEST_F(qzStringUtilsAstride, PrefersTheSeamToTheSecondBuffer)
{
    EXPECT_EQ(find("xa", "bcabc", "abc"), 3);
    EXPECT_EQ(inFirst(), 1);
}

TEST_F(qzStringUtilsAstride, FindsNothing)
{
    EXPECT_EQ(find("xab", "xbc", "abc"), 0);
    EXPECT_EQ(mFound, nullptr);
    EXPECT_EQ(find("xa", "b", "abc"), 0) << "the second buffer ends too soon";
    EXPECT_EQ(mFound, nullptr);
    EXPECT_EQ(find("", "", "a"), 0);
    EXPECT_EQ(mFound, nullptr);
    EXPECT_EQ(find("ab", "", "abc"), 0);
    EXPECT_EQ(mFound, nullptr);
}

TEST_F(qzStringUtilsAstride, TakesZerosForBytesLikeOthers)
{
    EXPECT_EQ(find("a\0b"s, "c", "\0b"s), 1);
    EXPECT_EQ(inFirst(), 1);
    EXPECT_EQ(find("a\0"s, "\0bc"s, "\0\0b"s), 3);
    EXPECT_EQ(inFirst(), 1);
    EXPECT_EQ(find("a", "b\0c"s, "\0c"s), 2);
    EXPECT_EQ(inSecond(), 1);
}

TEST_F(qzStringUtilsAstride, FindsAPatternLongerThanEachBuffer)
{
    const std::string what = std::string(700, 'a') + "b" + std::string(600, 'c');
    EXPECT_EQ(find(what.substr(0, 650), what.substr(650), what), 3);
    EXPECT_EQ(inFirst(), 0);
    EXPECT_EQ(find("a" + what.substr(0, 700), what.substr(700) + "c", what), 3);
    EXPECT_EQ(inFirst(), 1);
    EXPECT_EQ(find(what.substr(0, 650), what.substr(650, 650), what), 0);
    EXPECT_EQ(mFound, nullptr);
}

TEST_F(qzStringUtilsAstride, FindsNoEmptyPattern)
{
    EXPECT_EQ(find("a", "b", ""), 0);
    EXPECT_EQ(mFound, nullptr);
    EXPECT_EQ(find("", "", ""), 0);
    EXPECT_EQ(mFound, nullptr);
}

TEST_F(qzStringUtilsAstride, AllocatesNothingForAPatternOfUpTo513Bytes)
{
    for (const std::size_t size : {2U, 17U, 512U, 513U, 514U, 2000U}) {
        const std::string what(size, 'a');
        mFirst = 'b' + std::string(size - 1, 'a');
        mSecond = "a" + std::string(size, 'b');
        const support::AllocationCounter counter;
        const int stage = qzStringUtils::FindFirstAstrideBuffers(
            mFirst.data(), mFirst.data() + mFirst.size(), mSecond.data(),
            mSecond.data() + mSecond.size(), what.data(), what.data() + what.size(), mFound);
        EXPECT_EQ(counter.getCount(), size <= 513 ? 0U : 1U) << size;
        EXPECT_EQ(stage, 3) << size;
        EXPECT_EQ(inFirst(), 1) << size;
    }
}

TEST_F(qzStringUtilsAstride, AllocatesNothingIfTheBuffersCannotHoldThePattern)
{
    const std::string what(5000, 'a');
    mFirst = mSecond = std::string(2000, 'a');
    const support::AllocationCounter counter;
    EXPECT_EQ(qzStringUtils::FindFirstAstrideBuffers(
                  mFirst.data(), mFirst.data() + mFirst.size(), mSecond.data(),
                  mSecond.data() + mSecond.size(), what.data(), what.data() + what.size(), mFound),
              0);
    EXPECT_EQ(counter.getCount(), 0U);
}

TEST_F(qzStringUtilsAstride, TakesBuffersThatAreNotThere)
{
    const std::string what = "a";
    EXPECT_EQ(qzStringUtils::FindFirstAstrideBuffers(nullptr, nullptr, nullptr, nullptr,
                                                     what.data(), what.data() + 1, mFound),
              0);
    EXPECT_EQ(mFound, nullptr);
}

TEST_F(qzStringUtilsAstride, AgreesWithItsStagesOnAllSmallBuffers)
{
    const std::vector<std::string> buffers = makeAllTexts("ab", 5);
    for (const std::string& what : makeAllTexts("ab", 4)) {
        if (what.empty()) continue;
        for (const std::string& first : buffers) {
            for (const std::string& second : buffers) {
                std::size_t place = 0;
                const int expected = findPlainly(first, second, what, place);
                ASSERT_EQ(find(first, second, what), expected)
                    << first << "|" << second << " " << what;
                if (expected == 0) {
                    ASSERT_EQ(mFound, nullptr);
                } else {
                    ASSERT_EQ(expected == 2 ? inSecond() : inFirst(), std::ptrdiff_t(place))
                        << first << "|" << second << " " << what;
                }
            }
        }
    }
}

}  // namespace qz
