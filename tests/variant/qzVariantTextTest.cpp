// SPDX-License-Identifier: MIT
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzVariant.h>

#include "support/Environment.h"
#include "variant/CountedUserData.h"
#include "variant/GlobalLocale.h"
#include "variant/PlainVariant.h"
#include "variant/VariantTrees.h"

namespace qz {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;

namespace {

// --- toString

TEST(qzVariantText, JoinsTheDoublesOfArraysWithoutBlanks)
{
    const double values[16] = {0.5, -1, 1e6, 3.141592653589793, 5, 6, 7, 8, 9, 10, 11, 12, 13,
                               14,  15, 16};
    const auto toText = [&](qzVariant::Type type) { return qzVariant(type, values).toString(); };
    EXPECT_EQ(toText(qzVariant::VEC2D), "[0.5,-1]");
    EXPECT_EQ(toText(qzVariant::VEC3D), "[0.5,-1,1e+06]");
    EXPECT_EQ(toText(qzVariant::VEC4D), "[0.5,-1,1e+06,3.14159]");
    EXPECT_EQ(toText(qzVariant::MAT3D), "[0.5,-1,1e+06,3.14159,5,6,7,8,9]");
    EXPECT_EQ(toText(qzVariant::MAT4D), "[0.5,-1,1e+06,3.14159,5,6,7,8,9,10,11,12,13,14,15,16]");
}

TEST(qzVariantText, WritesMapsAsPairsInKeyOrder)
{
    EXPECT_EQ(Map().toString(), "");
    EXPECT_EQ((Map{{"b", "x"}, {"a", 1}}.toString()), "(a=1),(b=x)");
    EXPECT_EQ((Map{{"", qzVariant()}, {"m", Map{{"k", true}, {"l", Map()}}}}.toString()),
              "(=),(m=(k=true),(l=))");
}

TEST(qzVariantText, WritesListsWithABlankOrTheGivenSeparator)
{
    const List list{1, "x", List{2, List{3, 4}}, Map{{"a", 5}, {"b", 6}}};
    EXPECT_EQ(qzVariant(list).toString(), "1 x 2 3 4 (a=5),(b=6)");
    EXPECT_EQ(list.toString(", "), "1, x, 2 3 4, (a=5),(b=6)");
    EXPECT_EQ(list.toString(""), "1x2 3 4(a=5),(b=6)");
    EXPECT_EQ((List{1, "x"}.toString(", ")), "1, x");
    EXPECT_EQ((List{qzVariant(), qzVariant()}.toString("-")), "-");
    EXPECT_EQ(List().toString(", "), "");
    EXPECT_EQ(List{1}.toString(", "), "1");
    EXPECT_EQ((Map{{"a", List{1, List{2, 3}}}}.toString()), "(a=1 2 3)");
}

TEST(qzVariantText, KeepsZeroBytesOfKeysTextsAndSeparators)
{
    const std::string zero("\0", 1);
    EXPECT_EQ((Map{{"a" + zero, "b" + zero}}.toString()), "(a" + zero + "=b" + zero + ")");
    EXPECT_EQ((List{1, 2}.toString(zero)), "1" + zero + "2");
}

TEST(qzVariantText, GivesTheTextsOfAList)
{
    const List list{1, "x", List{2, 3}, qzVariant()};
    std::vector<std::string> texts{"old"};
    list.toStringList(texts);
    EXPECT_THAT(texts, ElementsAre("1", "x", "2 3", ""));
    EXPECT_EQ(list.toStringList(), texts);
    EXPECT_EQ(qzVariant(list).toStringList(), texts);
    List().toStringList(texts);
    EXPECT_THAT(texts, IsEmpty());
}

TEST(qzVariantText, ReservesTheTextsOfAListAtOnce)
{
    const List list{1, 2, 3, 4, 5};
    std::vector<std::string> texts;
    list.toStringList(texts);
    EXPECT_EQ(texts.capacity(), 5U);
    EXPECT_EQ(qzVariant(list).toStringList().capacity(), 5U);
}

TEST(qzVariantText, WritesTreesOfRandomValuesAsThePlainForm)
{
    for (unsigned int seed = 0; seed != 500; ++seed) {
        const qzVariant tree = TreeMaker(seed).makeTree(4);
        ASSERT_EQ(tree.toString(), plain::toText(tree)) << seed;
    }
}

// Doubles of any bits, and those at which a form ends.
std::vector<double> getDoubles()
{
    using Limits = std::numeric_limits<double>;
    std::vector<double> values = {0.0,
                                  -0.0,
                                  1.0,
                                  999999.5,
                                  999999.4,
                                  1e-4,
                                  9.99999e-5,
                                  9.999995e-5,
                                  0.1,
                                  123456.5,
                                  1234565.0,
                                  Limits::max(),
                                  -1e100,
                                  Limits::min(),
                                  5e-324,
                                  Limits::infinity(),
                                  100000.0,
                                  -Limits::infinity(),
                                  Limits::quiet_NaN(),
                                  -Limits::quiet_NaN()};
    std::mt19937_64 random(1);
    for (int i = 0; i != 3000; ++i) {
        const std::uint64_t bits = random();
        double value = 0.0;
        std::memcpy(&value, &bits, sizeof value);
        values.push_back(value);
        values.push_back(static_cast<double>(static_cast<long>(bits >> (bits % 64))) / 64);
        // Half-way between two texts of six digits, and next to it.
        const double half = (static_cast<double>(bits % 900000) + 100000.5) *
                            std::pow(10.0, static_cast<double>(bits / 900000 % 50) - 25.0);
        values.insert(values.end(), {half, std::nextafter(half, 0.0), std::nextafter(half, 1e99)});
    }
    return values;
}

TEST(qzVariantText, WritesRealsAsAStreamDoes)
{
    for (const double value : getDoubles())
        ASSERT_EQ(qzVariant(value).toString(), plain::toText(value));
}

TEST(qzVariantText, WritesRealsAsAStreamDoesInAnotherLocale)
{
    const GlobalLocale global(makeGroupedLocale());
    for (const double value : getDoubles())
        ASSERT_EQ(qzVariant(value).toString(), plain::toText(value));
}

TEST(qzVariantText, FollowsTheGlobalLocaleOfTheProcess)
{
    const double values[] = {1.5, 2.5};
    const qzVariant vec(qzVariant::VEC2D, values);
    const qzVariant tree(Map{{"a", List{1234567, 0.5, true}}});
    {
        const GlobalLocale global(makeGroupedLocale());
        EXPECT_EQ(qzVariant(1234567).toString(), "1.234.567");
        EXPECT_EQ(qzVariant(-1234).toString(), "-1.234");
        EXPECT_EQ(qzVariant(qzVariant::DateTime(1234)).toString(), "1.234");
        EXPECT_EQ(qzVariant(1234.5).toString(), "1.234,5");
        EXPECT_EQ(qzVariant(true).toString(), "true");
        EXPECT_EQ(vec.toString(), "[1,5,2,5]");
        EXPECT_EQ(tree.toString(), "(a=1.234.567 0,5 true)");
        EXPECT_EQ((List{1234, 0.5}.toString("|")), "1.234|0,5");
        EXPECT_THAT((List{1234, 0.5}.toStringList()), ElementsAre("1.234", "0,5"));
    }
    EXPECT_EQ(qzVariant(1234567).toString(), "1234567");
    EXPECT_EQ(tree.toString(), "(a=1234567 0.5 true)");
}

TEST(qzVariantText, FollowsANamedGlobalLocale)
{
    const support::EnvironmentLocale environment("de_DE.UTF-8");
    const GlobalLocale global(std::locale("de_DE.UTF-8"));
    EXPECT_EQ(qzVariant(1234567).toString(), "1.234.567");
    EXPECT_EQ(qzVariant(0.5).toString(), "0,5");
}

TEST(qzVariantText, IsNotMovedByTheLocaleOfC)
{
    const support::LocaleGuard locale("de_DE.UTF-8");
    EXPECT_EQ(qzVariant(1234567).toString(), "1234567");
    EXPECT_EQ(qzVariant(0.5).toString(), "0.5");
}

// --- Descriptions

TEST(qzVariantText, DescribesEachTypeInItsOwnForm)
{
    const double values[] = {1, 2.5};
    qzVariant destroyed;
    destroyed.destroy();
    EXPECT_EQ(describe(qzVariant()), "UNKNOWN");
    EXPECT_EQ(describe(qzVariant(5)), "5");
    EXPECT_EQ(describe(qzVariant(5.0)), "5.0");
    EXPECT_EQ(describe(qzVariant(-0.0)), "-0.0");
    EXPECT_EQ(describe(qzVariant("5")), "\"5\"");
    EXPECT_EQ(describe(qzVariant(true)), "true");
    EXPECT_EQ(describe(qzVariant(false)), "false");
    EXPECT_EQ(describe(qzVariant(qzVariant::VEC2D, values)), "VEC2D[1.0, 2.5]");
    EXPECT_EQ(describe(qzVariant(qzVariant::DateTime(5))), "DATETIME(5)");
    EXPECT_EQ(describe(destroyed), "DESTROYED");
    EXPECT_EQ(describe(Map{{"a", List{1, Map()}}, {"b", List()}}), R"({"a": [1, {}], "b": []})");
    EXPECT_EQ(describe(List{1, "x"}), R"([1, "x"])");
}

TEST(qzVariantText, DescribesAnObjectByItsAddress)
{
    const qzVariant value(new CountedUserData(1));
    std::ostringstream address;
    address << static_cast<const void*>(value.getUserData());
    EXPECT_EQ(describe(value), "USERDATA(" + address.str() + ")");
}

TEST(qzVariantText, DescribesRealsInTheFewestDigitsThatGiveThemBack)
{
    EXPECT_EQ(describe(qzVariant(0.1)), "0.1");
    EXPECT_EQ(describe(qzVariant(0.1 + 0.2)), "0.30000000000000004");
    EXPECT_EQ(describe(qzVariant(1e300)), "1e+300");
    EXPECT_EQ(describe(qzVariant(std::numeric_limits<double>::infinity())), "inf");
    EXPECT_EQ(describe(qzVariant(std::numeric_limits<double>::quiet_NaN())), "nan");
}

TEST(qzVariantText, DescribesRealsBelowTheNormalOnes)
{
    EXPECT_EQ(qzVariant::BuildFromString(describe(qzVariant(5e-324))).toReal(), 5e-324);
    EXPECT_EQ(qzVariant::BuildFromString(describe(qzVariant(-1e-310))).toReal(), -1e-310);
}

TEST(qzVariantText, DescribesTheSameInAnotherLocale)
{
    const support::LocaleGuard locale("de_DE.UTF-8");
    const GlobalLocale global(makeGroupedLocale());
    EXPECT_EQ(describe(List{1234567, 0.1, 0.5, qzVariant::DateTime(1234)}),
              "[1234567, 0.1, 0.5, DATETIME(1234)]");
}

TEST(qzVariantText, DescribesArraysTheSameInAnotherLocale)
{
    const double values[] = {0.5, 1234};
    const GlobalLocale global(makeGroupedLocale());
    EXPECT_EQ(describe(qzVariant(qzVariant::VEC2D, values)), "VEC2D[0.5, 1234.0]");
}

TEST(qzVariantText, QuotesKeysAndTexts)
{
    const std::string bytes("a\"b\\c\n\x7f\0\xc3\xa9", 10);
    EXPECT_EQ(describe(qzVariant(bytes)), "\"a\\\"b\\\\c\\x0a\\x7f\\x00\xc3\xa9\"");
    EXPECT_EQ(describe(Map{{"\t", 1}}), "{\"\\x09\": 1}");
}

TEST(qzVariantText, GivesTheStreamBack)
{
    std::ostringstream stream;
    stream << qzVariant(1) << List{2} << Map{{"a", 3}} << 4;
    EXPECT_EQ(stream.str(), "1[2]{\"a\": 3}4");
}

}  // namespace

}  // namespace qz
