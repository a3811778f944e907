// SPDX-License-Identifier: MIT
#include <random>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzStringUtils.h>

#include "support/Allocations.h"
#include "text/PlainText.h"

namespace qz {

using namespace std::string_literals;

struct ReplaceRow {
    const char* name;
    std::string text;
    std::string from;
    std::string to;
    std::string result;
    unsigned count;
};

class qzStringUtilsReplace : public ::testing::TestWithParam<ReplaceRow> {};

TEST_P(qzStringUtilsReplace, ReadsAsItsRow)
{
    const ReplaceRow& row = GetParam();
    std::string text = row.text;
    EXPECT_EQ(qzStringUtils::ReplaceAllOccurrences(text, row.from, row.to), row.count);
    EXPECT_EQ(text, row.result);
}

const ReplaceRow kReplaceRows[] = {
    {"InNothing", "", "a", "b", "", 0},
    {"NotThere", "abc", "x", "yy", "abc", 0},
    {"LongerThanTheText", "ab", "abc", "x", "ab", 0},
    {"SameSize", "abcabc", "bc", "xy", "axyaxy", 2},
    {"Growing", "abcabc", "b", "<b>", "a<b>ca<b>c", 2},
    {"Shrinking", "a--b--c", "--", "-", "a-b-c", 2},
    {"Removing", "a--b--c", "--", "", "abc", 2},
    {"Whole", "abc", "abc", "x", "x", 1},
    {"WholeAway", "abc", "abc", "", "", 1},
    {"WhatCameInStays", "aaa", "a", "aa", "aaaaaa", 3},
    {"WhatCameInStaysThoughItMakesANewPlace", "aab", "ab", "b", "ab", 1},
    {"LeftToRight", "aaaaa", "aa", "b", "bba", 2},
    {"LeftToRightGrowing", "aaaaa", "aa", "bbb", "bbbbbba", 2},
    {"ByItself", "abab", "ab", "ab", "abab", 2},
    {"Zeros", "a\0b\0"s, "\0"s, "00", "a00b00", 2},
    {"AtBothEnds", "-a-", "-", "+", "+a+", 2},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsReplace, ::testing::ValuesIn(kReplaceRows),
                         [](const auto& row) { return std::string(row.param.name); });

static void expectAgreement(const std::string& before, const std::string& from,
                            const std::string& to)
{
    std::string expected = before;
    const unsigned count = plain::replaceAll(expected, from, to);
    std::string text = before;
    ASSERT_EQ(qzStringUtils::ReplaceAllOccurrences(text, from, to), count)
        << before << " " << from << " " << to;
    ASSERT_EQ(text, expected) << before << " " << from << " " << to;
}

TEST(qzStringUtilsReplaceAll, AgreesWithOneByOneOnAllSmallTexts)
{
    const std::vector<std::string> pieces = plain::makeAllTexts("ab", 3);
    for (const std::string& before : plain::makeAllTexts("ab", 6)) {
        for (const std::string& from : pieces) {
            if (from.empty()) continue;
            for (const std::string& to : pieces) {
                ASSERT_NO_FATAL_FAILURE(expectAgreement(before, from, to));
            }
        }
    }
}

TEST(qzStringUtilsReplaceAll, AgreesWithOneByOneOnGeneratedTexts)
{
    for (const unsigned seed : plain::kSeeds) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        for (int round = 0; round < 200; ++round) {
            const std::string before = plain::makeText(random, "abc", plain::choose(random, 3000));
            const std::string from = plain::makeText(random, "abc", 1 + plain::choose(random, 4));
            const std::string to = plain::makeText(random, "abc", plain::choose(random, 6));
            ASSERT_NO_FATAL_FAILURE(expectAgreement(before, from, to));
        }
    }
}

TEST(qzStringUtilsReplaceAll, CopiesPiecesOfEverySize)
{
    const std::string letters = "0123456789abcdefghijklmnopqrstuvwxyz";
    for (std::size_t fromSize = 1; fromSize <= letters.size(); fromSize += 5) {
        const std::string from = letters.substr(letters.size() - fromSize);
        for (std::size_t toSize = 0; toSize <= letters.size(); ++toSize) {
            for (std::size_t gap = 0; gap < 36; gap += 3) {
                const std::string between(letters, 0, gap);
                const std::string before = from + between + from + from + "-" + between + from;
                const std::string to = letters.substr(0, toSize);
                std::string expected = before;
                plain::replaceAll(expected, from, to);
                std::string text = before;
                qzStringUtils::ReplaceAllOccurrences(text, from, to);
                ASSERT_EQ(text, expected) << fromSize << " " << toSize << " " << gap;
            }
        }
    }
}

TEST(qzStringUtilsReplaceAll, TakesTimeAndMemoryOnceForAHundredThousandPlaces)
{
    // One by one this would move 10 GB.
    std::string text;
    for (int i = 0; i < 100000; ++i)
        text += "a,";
    EXPECT_EQ(qzStringUtils::ReplaceAllOccurrences(text, ",", ", "), 100000U);
    EXPECT_EQ(text.size(), 300000U);
    EXPECT_EQ(text.substr(0, 9), "a, a, a, ");
    EXPECT_EQ(text.substr(299991), "a, a, a, ");
}

TEST(qzStringUtilsReplaceAll, AllocatesTheResultAloneForWhatIsLongerInAShortText)
{
    for (const std::size_t matches : {1U, 256U, 257U, 8000U}) {
        std::string text(matches, 'a');
        const support::AllocationCounter counter;
        EXPECT_EQ(qzStringUtils::ReplaceAllOccurrences(text, "a", "bb"), matches);
        EXPECT_LE(counter.getCount(), 1U);
        EXPECT_EQ(text, std::string(2 * matches, 'b'));
    }
}

// A list of all places would need four times the memory of the result.
TEST(qzStringUtilsReplaceAll, AllocatesAQuarterOfALongTextBesideTheResult)
{
    constexpr std::size_t kMatches = 100'000;
    std::string text(kMatches, 'a');
    const support::AllocationCounter counter;
    EXPECT_EQ(qzStringUtils::ReplaceAllOccurrences(text, "a", "bb"), kMatches);
    EXPECT_EQ(counter.getCount(), 2U);
    EXPECT_LE(counter.getBytes(), 2 * kMatches + kMatches / 4 + 64);
    EXPECT_EQ(text, std::string(2 * kMatches, 'b'));
}

// The places from the list and those that are searched again meet without a gap.
TEST(qzStringUtilsReplaceAll, ReplacesAnyNumberOfPlacesWithWhatIsLonger)
{
    for (const std::size_t gap : {0U, 1U, 30U, 31U, 32U, 40U}) {
        for (const std::size_t matches : {255U, 256U, 257U, 300U, 511U, 512U, 513U, 2000U}) {
            std::string text;
            std::string expected;
            for (std::size_t i = 0; i < matches; ++i) {
                text.append(gap, '.').append("ab");
                expected.append(gap, '.').append("xyz");
            }
            EXPECT_EQ(qzStringUtils::ReplaceAllOccurrences(text, "ab", "xyz"), matches);
            EXPECT_EQ(text, expected) << matches << " places with gaps of " << gap;
        }
    }
}

TEST(qzStringUtilsReplaceAll, AllocatesNothingForWhatIsNotLonger)
{
    std::string text(4000, 'a');
    const std::string from = "aa";
    const std::string to = "b";
    const support::AllocationCounter counter;
    EXPECT_EQ(qzStringUtils::ReplaceAllOccurrences(text, from, to), 2000U);
    EXPECT_EQ(counter.getCount(), 0U);
}

TEST(qzStringUtilsReplaceAll, LeavesTheTextAloneWithoutMemory)
{
    const std::string before(1000, 'a');
    std::string text = before;
    const std::size_t failures = support::failEachAllocation(
        [&] {
            text = before;
            qzStringUtils::ReplaceAllOccurrences(text, "a", "bc");
        },
        [&](const support::AllocationFailure& failure) {
            EXPECT_TRUE(failure.threwBadAlloc);
            EXPECT_EQ(text, before);
        });
    EXPECT_GE(failures, 1U);
    EXPECT_EQ(text.size(), 2000U);
}

TEST(qzStringUtilsReplaceAll, TakesTheTextItselfForTheOthers)
{
    std::string text = "abc";
    EXPECT_EQ(qzStringUtils::ReplaceAllOccurrences(text, text, "x"), 1U);
    EXPECT_EQ(text, "x");
    text = "abc";
    EXPECT_EQ(qzStringUtils::ReplaceAllOccurrences(text, "b", text), 1U);
    EXPECT_EQ(text, "aabcc");
    EXPECT_EQ(qzStringUtils::ReplaceAllOccurrences(text, text, text), 1U);
    EXPECT_EQ(text, "aabcc");
}

TEST(qzStringUtilsReplaceAll, RefusesToReplaceNothing)
{
    std::string text = "abc";
    try {
        qzStringUtils::ReplaceAllOccurrences(text, "", "x");
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::length_error& error) {
        EXPECT_STREQ(error.what(), "An empty text can't be replaced");
    }
    EXPECT_THROW(qzStringUtils::ReplaceAllOccurrences(text, "", ""), std::length_error);
    EXPECT_EQ(text, "abc");
}

}  // namespace qz
