// SPDX-License-Identifier: MIT
#include <algorithm>
#include <climits>
#include <cwchar>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzStringUtils.h>

#include "text/PlainText.h"
#include "text/PlainVersion.h"

namespace qz {

using plain::makeAllTexts;
using namespace std::string_literals;

// --- Natural order

struct OrderRow {
    const char* name;
    std::string a;
    std::string b;
    int result;
};

class qzStringUtilsNatural : public ::testing::TestWithParam<OrderRow> {
protected:
    static int compareWide(const std::string& a, const std::string& b, bool caseSensitive)
    {
        const std::wstring wideA(a.begin(), a.end());
        const std::wstring wideB(b.begin(), b.end());
        return qzStringUtils::CompareUTF16Natural(wideA.data(), wideA.size(), wideB.data(),
                                                  wideB.size(), caseSensitive);
    }
};

TEST_P(qzStringUtilsNatural, ReadsAsItsRow)
{
    const auto& [name, a, b, result] = GetParam();
    for (const bool caseSensitive : {false, true}) {
        EXPECT_EQ(qzStringUtils::CompareUTF8Natural(a, b, caseSensitive), result);
        EXPECT_EQ(compareWide(a, b, caseSensitive), result);
    }
}

const OrderRow kOrderRows[] = {
    {"NoRunsOfDigits", "a2", "a10", 0},
    {"NoRunsOfDigitsBack", "a10", "a2", 1},
    {"NoFolding", "B", "a", 1},
    {"NoFoldingBack", "a", "B", 0},
    {"EmptyFirst", "", "x", 1},
    {"EmptyLast", "x", "", 0},
    {"BothEmpty", "", "", 0},
    {"Equal", "abc", "abc", 0},
    {"ShorterFirst", "ab", "abc", 1},
    {"LongerLast", "abc", "ab", 0},
    {"DifferenceBeforeLength", "b", "abc", 0},
    {"ZerosCount", "a\0a"s, "a\0b"s, 1},
    {"ZeroIsLonger", "a", "a\0"s, 1},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsNatural, ::testing::ValuesIn(kOrderRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzStringUtilsNaturalBytes, AreUnsigned)
{
    EXPECT_EQ(qzStringUtils::CompareUTF8Natural("a", "\xe9", true), 1);
    EXPECT_EQ(qzStringUtils::CompareUTF8Natural("\xe9", "a", true), 0);
}

TEST(qzStringUtilsNaturalWide, OrdersByWholeCharacters)
{
    const auto compare = [](const std::wstring& a, const std::wstring& b) {
        return qzStringUtils::CompareUTF16Natural(a.data(), a.size(), b.data(), b.size(), true);
    };
    EXPECT_EQ(compare(L"\u00ff", L"\u0100"), 1);
    EXPECT_EQ(compare(L"\u0100", L"\u00ff"), 0);
    EXPECT_EQ(compare(L"\U0001F600", L"\uFFFD"), 0);
    // As wmemcmp does, which takes wide characters for signed.
    const std::wstring negative(1, static_cast<wchar_t>(-1));
    EXPECT_EQ(compare(negative, L"a"), std::wmemcmp(negative.data(), L"a", 1) < 0 ? 1 : 0);
}

TEST(qzStringUtilsNaturalWide, LengthsEndTheTexts)
{
    EXPECT_EQ(qzStringUtils::CompareUTF16Natural(L"abX", 2, L"abcY", 3, true), 1);
    EXPECT_EQ(qzStringUtils::CompareUTF16Natural(L"abX", 2, L"abcY", 2, true), 0);
}

TEST(qzStringUtilsNaturalWide, NullIsAnErrorUnlessItIsEmpty)
{
    EXPECT_EQ(qzStringUtils::CompareUTF16Natural(nullptr, 0, L"a", 1, true), 1);
    EXPECT_EQ(qzStringUtils::CompareUTF16Natural(nullptr, 0, nullptr, 0, true), 0);
    EXPECT_THROW(qzStringUtils::CompareUTF16Natural(nullptr, 1, L"a", 1, true), std::logic_error);
    EXPECT_THROW(qzStringUtils::CompareUTF16Natural(L"a", 1, nullptr, 1, true), std::logic_error);
}

TEST(qzStringUtilsNaturalSort, TakesAllTextsForEqual)
{
    const std::vector<std::string> texts = makeAllTexts("aB1", 2);
    for (const std::string& a : texts) {
        for (const std::string& b : texts) {
            EXPECT_FALSE(qzStringUtils::UTF8NaturalSortFunction(a, b)) << a << " " << b;
            EXPECT_FALSE(qzStringUtils::UTF8NaturalSortFunctionCaseInsensitive(a, b))
                << a << " " << b;
        }
    }
}

TEST(qzStringUtilsNaturalSort, LeavesAStableSortAsItIs)
{
    std::vector<std::string> texts = {"c", "a", "B", "a10", "a2"};
    const std::vector<std::string> before = texts;
    std::stable_sort(texts.begin(), texts.end(), qzStringUtils::UTF8NaturalSortFunction);
    EXPECT_EQ(texts, before);
}

// --- Versions

static_assert(qzStringUtils::VersionCompareInvalid == 1 && qzStringUtils::VersionCompareEqual == 2);
static_assert(qzStringUtils::VersionCompareLower == 3 && qzStringUtils::VersionCompareHigher == 4);

struct VersionRow {
    const char* name;
    std::string a;
    std::string b;
    unsigned long maxComponents;
    int result;
};

// The numbers are read with and without the text services.
class qzStringUtilsVersion : public ::testing::TestWithParam<VersionRow> {
protected:
    ~qzStringUtilsVersion() override { qzStringUtils::TerminateStringUtils(); }
};

TEST_P(qzStringUtilsVersion, ReadsAsItsRow)
{
    const auto& [name, a, b, maxComponents, result] = GetParam();
    EXPECT_EQ(qzStringUtils::compareSoftwareVersion(a, b, maxComponents), result);
    qzStringUtils::InitializeStringUtils();
    EXPECT_EQ(qzStringUtils::compareSoftwareVersion(a, b, maxComponents), result);
}

const VersionRow kVersionRows[] = {
    {"NumericNotTextual", "1.10", "1.9", 2, 4},
    {"OnlyTwoAreTaken", "1.2.3", "1.2.4", 2, 2},
    {"ThreeAreTaken", "1.2.3", "1.2.4", 3, 3},
    {"NoNumber", "1.x", "1.0", 4, 1},
    {"NoNumberInTheSecond", "1.0", "1.x", 4, 1},
    {"NoNumberBehindTheBound", "1.0.x", "1.0.y", 2, 2},
    {"EmptyIsZero", "", "1.0", 4, 3},
    {"EmptyEqualsZero", "", "0", 4, 2},
    {"BothEmpty", "", "", 4, 2},
    {"WordBehindASpace", " 2.0 rc1", "2.0", 4, 2},
    {"CutAtTheFirstSpace", "1.2.3 beta 4", "1.2.3", 4, 2},
    {"CutMakesAnEmptyComponent", "1. 5", "1.0", 4, 2},
    {"NothingCompared", "1.0", "1.0", 0, 1},
    {"SecondSetsTheCount", "1.2.3", "1.2", 4, 2},
    {"PaddedWithZero", "1.2", "1.2.3", 4, 3},
    {"PaddedEqual", "1.2", "1.2.0", 4, 2},
    {"TrailingPoint", "1.", "1.0", 4, 2},
    {"TrailingPointInTheSecond", "1", "1.", 4, 2},
    {"LeadingPoint", ".5", "0.5", 4, 2},
    {"OnlyPoints", "..", "0.0.0", 4, 2},
    {"Hexadecimal", "0x10", "16", 4, 2},
    {"Octal", "010", "8", 4, 2},
    {"NoOctal", "08", "8", 4, 1},
    {"CutHexadecimal", "0x", "0", 4, 1},
    {"Sign", "+1", "1", 4, 2},
    {"MinusZero", "-0", "0", 4, 2},
    {"Negative", "-1", "0", 4, 1},
    {"OnlyASign", "1.-", "1.0", 4, 1},
    {"Largest", "4294967295", "4294967294", 4, 4},
    {"LargestIsNotNegative", "4294967295", "1", 4, 4},
    {"TooLarge", "4294967296", "0", 4, 1},
    {"FarTooLarge", "99999999999999999999", "0", 4, 1},
    {"FarTooSmall", "-99999999999999999999", "0", 4, 1},
    {"OtherBlanksAround", "\t\n1.2\r\v\f", "1.2", 4, 2},
    {"OtherBlankInsideIsSkippedInFront", "1.\t2", "1.2", 4, 2},
    {"OtherBlankInsideBehindANumber", "1\t.2", "1.2", 4, 1},
    {"OtherBlankAlone", "1.\t.2", "1.0.2", 4, 1},
    {"ZeroByte", "1\0"s, "1", 4, 1},
    {"ZeroByteAlone", "1.\0.2"s, "1.0.2", 4, 1},
    {"Lower", "1.2.3", "1.3", 4, 3},
    {"FirstDifferenceDecides", "2.0", "1.9", 4, 4},
    {"ManyComponents", "1.2.3.4.5.6.7.8", "1.2.3.4.5.6.7.9", ULONG_MAX, 3},
    {"Letter", "v1.0", "1.0", 4, 1},
    {"Exponent", "1e3", "1000", 4, 1},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsVersion, ::testing::ValuesIn(kVersionRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzStringUtilsVersions, AgreeWithTheStepsOnAllSmallTexts)
{
    for (const std::string& a : makeAllTexts("01.x \t-", 4)) {
        for (const char* b : {"1.0", "", "0.1.", " 1"}) {
            for (const std::size_t bound : {0U, 1U, 2U, 9U}) {
                ASSERT_EQ(qzStringUtils::compareSoftwareVersion(a, b, bound),
                          plain::compareVersions(a, b, bound))
                    << "\"" << a << "\" \"" << b << "\" " << bound;
            }
        }
    }
}

TEST(qzStringUtilsVersions, AgreeWithTheStepsOnGeneratedTexts)
{
    for (const unsigned seed : plain::kSeeds) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        for (int round = 0; round < 2000; ++round) {
            const std::string a = plain::makeText(random, "0123.x ", plain::choose(random, 9));
            const std::string b = plain::makeText(random, "0123.", plain::choose(random, 9));
            const std::size_t bound = plain::choose(random, 5);
            ASSERT_EQ(qzStringUtils::compareSoftwareVersion(a, b, bound),
                      plain::compareVersions(a, b, bound))
                << "\"" << a << "\" \"" << b << "\" " << bound;
        }
    }
}

}  // namespace qz
