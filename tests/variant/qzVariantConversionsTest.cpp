// SPDX-License-Identifier: MIT
#include <cmath>
#include <limits>
#include <locale>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzVariant.h>

#include "support/Allocations.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "variant/CountedUserData.h"
#include "variant/GlobalLocale.h"
#include "variant/VariantTrees.h"

namespace qz {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr long kMax = std::numeric_limits<long>::max();
constexpr long kMin = std::numeric_limits<long>::min();

qzVariant makeVec3()
{
    const double values[] = {1, 2, 3};
    return {qzVariant::VEC3D, values};
}

// A NaN equals NaNs here.
bool isSameReal(double left, double right)
{
    return std::isnan(left) ? std::isnan(right)
                            : left == right && std::signbit(left) == std::signbit(right);
}

// --- To each type, from each type

struct ValueRow {
    const char* name;
    qzVariant value;
    long integer;
    double real;
    bool truth;
    long ticks;
    const char* text;
};

std::vector<ValueRow> getValueRows()
{
    return {
        {"Unknown", {}, 0, kNaN, false, 0, ""},

        {"Integer", 5, 5, 5.0, true, 5, "5"},
        {"IntegerZero", 0, 0, 0.0, false, 0, "0"},
        {"IntegerNegative", -7, -7, -7.0, true, -7, "-7"},
        {"IntegerLargest", kMax, kMax, 0x1p63, true, kMax, "9223372036854775807"},
        {"IntegerSmallest", kMin, kMin, -0x1p63, true, kMin, "-9223372036854775808"},

        {"Real", 3.141592653589793, 3, 3.141592653589793, true, 0, "3.14159"},
        {"RealNegative", -3.99, -3, -3.99, true, 0, "-3.99"},
        {"RealMillion", 1e6, 1000000, 1e6, true, 0, "1e+06"},
        {"RealSmall", 0.00001, 0, 0.00001, true, 0, "1e-05"},
        {"RealZero", 0.0, 0, 0.0, false, 0, "0"},
        {"RealNegativeZero", -0.0, 0, -0.0, false, 0, "-0"},
        {"RealNaN", kNaN, kMin, kNaN, true, 0, "nan"},
        {"RealInfinity", kInfinity, kMin, kInfinity, true, 0, "inf"},
        {"RealNegativeInfinity", -kInfinity, kMin, -kInfinity, true, 0, "-inf"},
        {"RealTooLarge", 1e300, kMin, 1e300, true, 0, "1e+300"},
        {"RealBeyondByOne", 0x1p63, kMin, 0x1p63, true, 0, "9.22337e+18"},
        {"RealLargestThatFits", 0x1.fffffffffffffp62, 9223372036854774784, 0x1.fffffffffffffp62,
         true, 0, "9.22337e+18"},
        {"RealSmallestThatFits", -0x1p63, kMin, -0x1p63, true, 0, "-9.22337e+18"},

        {"BoolTrue", true, 1, 1.0, true, 0, "true"},
        {"BoolFalse", false, 0, 0.0, false, 0, "false"},

        {"DateTime", qzVariant::DateTime(12), 12, kNaN, false, 12, "12"},
        {"DateTimeNegative", qzVariant::DateTime(-12), -12, kNaN, false, -12, "-12"},

        {"String", "abc", 0, 0.0, false, 0, "abc"},
        {"StringEmpty", "", 0, 0.0, false, 0, ""},
        {"StringDecimal", "12", 12, 12.0, false, 0, "12"},
        {"StringHexadecimal", "0x1F", 31, 31.0, false, 0, "0x1F"},
        {"StringOctal", "017", 15, 17.0, false, 0, "017"},
        {"StringNoOctal", "08", 0, 8.0, false, 0, "08"},
        {"StringSigned", "+3", 3, 3.0, false, 0, "+3"},
        {"StringSpaceAhead", " \t\n12", 12, 12.0, false, 0, " \t\n12"},
        {"StringSpaceBehind", "12 ", 0, 0.0, false, 0, "12 "},
        {"StringReal", "1.5", 0, 1.5, false, 0, "1.5"},
        {"StringComma", "1,5", 0, 0.0, false, 0, "1,5"},
        {"StringExponent", "1e3", 0, 1000.0, false, 0, "1e3"},
        {"StringInfinity", "-inf", 0, -kInfinity, false, 0, "-inf"},
        {"StringNaN", "nan", 0, kNaN, false, 0, "nan"},
        {"StringClamped", "9223372036854775808", kMax, 0x1p63, false, 0, "9223372036854775808"},
        {"StringClampedBelow", "-9223372036854775809", kMin, -0x1p63, false, 0,
         "-9223372036854775809"},

        {"StringTrue", "true", 0, 0.0, true, 0, "true"},
        {"StringCapitalTrue", "True", 0, 0.0, true, 0, "True"},
        {"StringUpperTrue", "TRUE", 0, 0.0, true, 0, "TRUE"},
        {"StringT", "t", 0, 0.0, true, 0, "t"},
        {"StringOne", "1", 1, 1.0, true, 0, "1"},
        {"StringUpperT", "T", 0, 0.0, false, 0, "T"},
        {"StringOn", "on", 0, 0.0, false, 0, "on"},
        {"StringYes", "yes", 0, 0.0, false, 0, "yes"},
        {"StringSpaceTrue", " true", 0, 0.0, false, 0, " true"},
        {"StringMixedTrue", "tRUE", 0, 0.0, false, 0, "tRUE"},
        {"StringTwo", "2", 2, 2.0, false, 0, "2"},

        {"Vec", makeVec3(), 0, kNaN, false, 0, "[1,2,3]"},
        {"Map", Map{{"a", 1}, {"b", "x"}}, 0, kNaN, false, 0, "(a=1),(b=x)"},
        {"MapEmpty", Map(), 0, kNaN, false, 0, ""},
        {"List", List{1, "x"}, 0, kNaN, false, 0, "1 x"},
        {"ListEmpty", List(), 0, kNaN, false, 0, ""},
        {"UserData", qzVariant(new CountedUserData(1)), 0, kNaN, false, 0, ""},
        {"UserDataNone", qzVariant(static_cast<qzVariant::UserDataInterface*>(nullptr)), 0, kNaN,
         false, 0, ""},
    };
}

class qzVariantValue : public ::testing::TestWithParam<ValueRow> {};

TEST_P(qzVariantValue, ReadsAsItsRow)
{
    const ValueRow& row = GetParam();
    EXPECT_EQ(row.value.toInteger(), row.integer);
    EXPECT_PRED2(isSameReal, row.value.toReal(), row.real);
    EXPECT_EQ(row.value.toBool(), row.truth);
    EXPECT_EQ(row.value.toDateTime().count, row.ticks);
    EXPECT_EQ(row.value.toString(), row.text);
}

TEST_P(qzVariantValue, GivesAStringListOfAStringOrAListOnly)
{
    const qzVariant& value = GetParam().value;
    const std::vector<std::string> texts = value.toStringList();
    if (value.getType() == qzVariant::STRING)
        EXPECT_THAT(texts, ElementsAre(*value.getString()));
    else if (value.getList() == nullptr || value.getList()->empty())
        EXPECT_THAT(texts, IsEmpty());
    else
        EXPECT_THAT(texts, ElementsAre("1", "x"));
}

TEST_P(qzVariantValue, BecomesAListOfOneUnlessItIsAList)
{
    const qzVariant& value = GetParam().value;
    const List list = value.toList();
    if (value.getType() == qzVariant::LIST) {
        EXPECT_EQ(list, *value.getList());
        return;
    }
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].getType(), value.getType());
    EXPECT_EQ(list[0] == value, value == value);
}

TEST_P(qzVariantValue, BecomesAnEmptyMapUnlessItIsAMap)
{
    const qzVariant& value = GetParam().value;
    EXPECT_EQ(value.toMap(), value.getMap() != nullptr ? *value.getMap() : Map());
}

INSTANTIATE_TEST_SUITE_P(Rows, qzVariantValue, ::testing::ValuesIn(getValueRows()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzVariantConversionsTest, ReadsAZeroByteAsPartOfATextThatIsNoNumber)
{
    const qzVariant value(std::string("12\0", 3));
    EXPECT_EQ(value.toInteger(), 0);
    EXPECT_EQ(value.toReal(), 0.0);
    EXPECT_FALSE(qzVariant(std::string("t\0", 2)).toBool());
    EXPECT_EQ(value.toString(), std::string("12\0", 3));
}

TEST(qzVariantConversionsTest, CopiesTheContainersThatItGives)
{
    const qzVariant source(List{List{1}});
    List list = source.toList();
    list[0].editList()->clear();
    EXPECT_EQ(describe(source), "[[1]]");
    const qzVariant tree(Map{{"a", Map()}});
    Map map = tree.toMap();
    (*map["a"].editMap())["b"] = 1;
    EXPECT_EQ(describe(tree), R"({"a": {}})");
}

TEST(qzVariantConversionsTest, DestroyedReadsAsNothing)
{
    qzVariant value("12");
    value.destroy();
    EXPECT_EQ(value.toInteger(), 0);
    EXPECT_TRUE(std::isnan(value.toReal()));
    EXPECT_FALSE(value.toBool());
    EXPECT_EQ(value.toString(), "");
    EXPECT_THAT(value.toStringList(), IsEmpty());
    EXPECT_EQ(describe(value.toList()), "[UNKNOWN]");
    EXPECT_TRUE(value.toMap().empty());
}

// --- Guessing

struct GuessRow {
    const char* name;
    std::string text;
    qzVariant value;
};

std::vector<GuessRow> getGuessRows()
{
    return {
        {"Empty", "", 0},
        {"Decimal", "12", 12},
        {"Negative", "-12", -12},
        {"Plus", "+12", 12},
        {"Hexadecimal", "0x10", 16},
        {"UpperHexadecimal", "0XfF", 255},
        {"NegativeHexadecimal", "-0x10", -16},
        {"Octal", "010", 8},
        {"NegativeZero", "-0", 0},
        {"NoOctalIsReal", "08", 8.0},
        {"SpaceAhead", " 12", 12},
        {"AllSpacesAhead", " \t\n\v\f\r12", 12},
        {"SpaceBehind", "12 ", "12 "},
        {"SpaceBehindAReal", "1.5\n", "1.5\n"},
        {"SpaceAheadOfAReal", "\t1.5", 1.5},
        {"OnlySpace", " ", " "},
        {"Largest", "9223372036854775807", kMax},
        {"Clamped", "9223372036854775808", kMax},
        {"ClampedFar", std::string(400, '9'), kMax},
        {"ClampedBelow", "-99999999999999999999", kMin},
        {"ClampedHexadecimal", "0xffffffffffffffff", kMax},
        {"Exponent", "1e3", 1000.0},
        {"Point", "1.5", 1.5},
        {"PointAtTheEnd", "1.", 1.0},
        {"PointAtTheStart", ".5", 0.5},
        {"Comma", "1,5", 1.5},
        {"CommaAtTheStart", ",5", 0.5},
        {"CommaAtTheEnd", "5,", 5.0},
        {"CommaInSpace", " -1,5e2", -150.0},
        {"TwoCommas", "1,2,3", "1,2,3"},
        {"CommaAndPoint", "1.2,3", "1.2,3"},
        {"OnlyComma", ",", ","},
        {"Infinity", "inf", kInfinity},
        {"LongInfinity", "-INFINITY", -kInfinity},
        {"TooLargeReal", "1e999", kInfinity},
        {"TooSmallReal", "1e-999", 0.0},
        {"HexadecimalReal", "0x1p4", 16.0},
        {"HexadecimalComma", "0x1,8p1", 3.0},
        {"Bool", "true", "true"},
        {"Word", "word", "word"},
        {"BareHexadecimal", "0x", "0x"},
        {"BareSign", "-", "-"},
        {"TwoSigns", "--1", "--1"},
        {"ZeroByte", std::string("12\0", 3), std::string("12\0", 3)},
        {"OnlyZeroByte", std::string("\0", 1), std::string("\0", 1)},
        {"Utf8", "\xc3\xa9", "\xc3\xa9"},
    };
}

class qzVariantGuess : public ::testing::TestWithParam<GuessRow> {};

TEST_P(qzVariantGuess, BuildsTheValueOfItsRow)
{
    EXPECT_EQ(qzVariant::BuildFromString(GetParam().text), GetParam().value);
}

TEST_P(qzVariantGuess, BuildsTheSameInAGermanProcess)
{
    const support::LocaleGuard locale("de_DE.UTF-8");
    const support::LibraryStart library;
    EXPECT_EQ(qzVariant::BuildFromString(GetParam().text), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzVariantGuess, ::testing::ValuesIn(getGuessRows()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzVariantConversionsTest, GuessesNaNs)
{
    for (const char* text : {"nan", "NaN", "-nan", "nan(123)"}) {
        const qzVariant value = qzVariant::BuildFromString(text);
        EXPECT_EQ(value.getType(), qzVariant::REAL) << text;
        EXPECT_TRUE(std::isnan(value.toReal())) << text;
    }
}

TEST(qzVariantConversionsTest, GuessesNumbersWithoutAnAllocation)
{
    const std::string texts[] = {"12", "0x10", "1.5", "inf", "-9223372036854775807"};
    for (const std::string& text : texts)
        qzVariant::BuildFromString(text);
    const support::AllocationCounter allocations;
    for (const std::string& text : texts)
        qzVariant::BuildFromString(text);
    EXPECT_EQ(allocations.getCount(), 0U);
}

// --- Without loss

const qzVariant kFails;  // no conversion gives an empty variant

struct LosslessRow {
    const char* name;
    qzVariant source;
    qzVariant integer;
    qzVariant real;
    qzVariant string;
    qzVariant truth;
};

std::vector<LosslessRow> getLosslessRows()
{
    return {
        {"Integer", 5, 5, 5.0, "5", kFails},
        {"IntegerOne", 1, 1, 1.0, "1", true},
        {"IntegerZero", 0, 0, 0.0, "0", false},
        {"IntegerMinusOne", -1, -1, -1.0, "-1", kFails},
        {"IntegerExact", 9007199254740992, 9007199254740992, 0x1p53, "9007199254740992", kFails},
        {"IntegerInexact", 9007199254740993, 9007199254740993, kFails, "9007199254740993", kFails},
        {"IntegerLargest", kMax, kMax, kFails, "9223372036854775807", kFails},
        {"IntegerSmallest", kMin, kMin, -0x1p63, "-9223372036854775808", kFails},
        {"IntegerLargestExact", 9223372036854774784, 9223372036854774784, 0x1.fffffffffffffp62,
         "9223372036854774784", kFails},

        {"Real", 2.5, kFails, 2.5, "2.5", kFails},
        {"RealWhole", -2.0, -2, -2.0, "-2", kFails},
        {"RealOne", 1.0, 1, 1.0, "1", true},
        {"RealZero", 0.0, 0, 0.0, "0", false},
        {"RealNegativeZero", -0.0, 0, -0.0, "-0", false},
        {"RealInThreeDigits", 3.14159, kFails, 3.14159, "3.14", kFails},
        {"RealInThreeDigitsWhole", 123456.0, 123456, 123456.0, "1.23e+05", kFails},
        {"RealThousand", 1000.0, 1000, 1000.0, "1e+03", kFails},
        {"RealAlmostOne", 0.9999, kFails, 0.9999, "1", kFails},
        {"RealInfinity", kInfinity, kFails, kInfinity, "inf", kFails},
        {"RealNegativeInfinity", -kInfinity, kFails, -kInfinity, "-inf", kFails},
        {"RealBeyond", 0x1p63, kFails, 0x1p63, "9.22e+18", kFails},
        {"RealSmallestThatFits", -0x1p63, kMin, -0x1p63, "-9.22e+18", kFails},
        {"RealFarBelow", -1e300, kFails, -1e300, "-1e+300", kFails},

        {"StringEmpty", "", 0, 0.0, "", kFails},
        {"String", "abc", kFails, kFails, "abc", kFails},
        {"StringInteger", "12", 12, 12.0, "12", kFails},
        {"StringSpaceBehind", "12 ", kFails, kFails, "12 ", kFails},
        {"StringSpaceAhead", " 12", 12, 12.0, " 12", kFails},
        {"StringHexadecimal", "0x1F", 31, 31.0, "0x1F", kFails},
        {"StringOctal", "017", 15, 17.0, "017", kFails},
        {"StringReal", "1.5", kFails, 1.5, "1.5", kFails},
        {"StringComma", "1,5", kFails, kFails, "1,5", kFails},
        {"StringInfinity", "inf", kFails, kInfinity, "inf", kFails},
        {"StringClamped", "9223372036854775808", kMax, 0x1p63, "9223372036854775808", kFails},
        {"StringZeroByte", std::string("1\0", 2), kFails, kFails, std::string("1\0", 2), kFails},
        {"StringTrue", "true", kFails, kFails, "true", true},
        {"StringCapitalTrue", "True", kFails, kFails, "True", true},
        {"StringUpperTrue", "TRUE", kFails, kFails, "TRUE", true},
        {"StringT", "t", kFails, kFails, "t", true},
        {"StringOne", "1", 1, 1.0, "1", true},
        {"StringFalse", "false", kFails, kFails, "false", false},
        {"StringCapitalFalse", "False", kFails, kFails, "False", false},
        {"StringUpperFalse", "FALSE", kFails, kFails, "FALSE", false},
        {"StringF", "f", kFails, kFails, "f", false},
        {"StringZero", "0", 0, 0.0, "0", false},
        {"StringUpperT", "T", kFails, kFails, "T", kFails},
        {"StringUpperF", "F", kFails, kFails, "F", kFails},
        {"StringOn", "on", kFails, kFails, "on", kFails},
        {"StringSpaceTrue", " true", kFails, kFails, " true", kFails},

        {"BoolTrue", true, 1, 1.0, "true", true},
        {"BoolFalse", false, 0, 0.0, "false", false},
    };
}

class qzVariantLossless : public ::testing::TestWithParam<LosslessRow> {
protected:
    static void expect(qzVariant::Type target, const qzVariant& wanted)
    {
        const qzVariant before("before");
        qzVariant out(before);
        EXPECT_EQ(GetParam().source.convertLosslessTo(target, out), !wanted.isNull());
        EXPECT_EQ(describe(out), describe(wanted.isNull() ? before : wanted));
    }
    static void expectRow()
    {
        expect(qzVariant::INTEGER, GetParam().integer);
        expect(qzVariant::REAL, GetParam().real);
        expect(qzVariant::STRING, GetParam().string);
        expect(qzVariant::BOOL, GetParam().truth);
    }
};

TEST_P(qzVariantLossless, ConvertsToEachTypeAsItsRow)
{
    expectRow();
}

TEST_P(qzVariantLossless, ConvertsTheSameInAnotherLocale)
{
    const support::LocaleGuard locale("de_DE.UTF-8");
    const GlobalLocale global(std::locale("de_DE.UTF-8"));
    expectRow();
}

INSTANTIATE_TEST_SUITE_P(Rows, qzVariantLossless, ::testing::ValuesIn(getLosslessRows()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzVariantConversionsTest, ConvertsNaNsToRealsAndStringsOnly)
{
    qzVariant out;
    EXPECT_FALSE(qzVariant(kNaN).convertLosslessTo(qzVariant::INTEGER, out));
    EXPECT_FALSE(qzVariant(kNaN).convertLosslessTo(qzVariant::BOOL, out));
    EXPECT_TRUE(out.isNull());
    EXPECT_TRUE(qzVariant(kNaN).convertLosslessTo(qzVariant::REAL, out));
    EXPECT_TRUE(std::isnan(out.toReal()));
    EXPECT_TRUE(qzVariant(kNaN).convertLosslessTo(qzVariant::STRING, out));
    EXPECT_EQ(out, "nan");
    EXPECT_TRUE(qzVariant("nan").convertLosslessTo(qzVariant::REAL, out));
    EXPECT_TRUE(std::isnan(out.toReal()));
}

TEST(qzVariantConversionsTest, RefusesAllButTheScalarsEvenForTheirOwnTypes)
{
    qzVariant destroyed;
    destroyed.destroy();
    const qzVariant sources[] = {{},
                                 makeVec3(),
                                 Map(),
                                 List(),
                                 List{1},
                                 qzVariant::DateTime(1),
                                 qzVariant(static_cast<qzVariant::UserDataInterface*>(nullptr)),
                                 destroyed};
    for (const qzVariant& source : sources) {
        for (int target = 0; target <= 16; ++target) {
            qzVariant out(source);
            EXPECT_FALSE(source.convertLosslessTo(static_cast<qzVariant::Type>(target), out))
                << source << target;
            EXPECT_EQ(out.getType(), qzVariant(source).getType());
        }
    }
}

TEST(qzVariantConversionsTest, ReturnsForAnyOtherTargetWhetherOutHasThatType)
{
    const qzVariant outs[] = {
        {}, 1, 2.0, "x", true, makeVec3(), Map{{"a", 1}}, List{1}, qzVariant::DateTime(1)};
    for (const qzVariant& source :
         {qzVariant(1), qzVariant(1.0), qzVariant("1"), qzVariant(true)}) {
        for (const qzVariant& before : outs) {
            for (const int target : {-1, 0, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17}) {
                qzVariant out(before);
                EXPECT_EQ(source.convertLosslessTo(static_cast<qzVariant::Type>(target), out),
                          before.getType() == target)
                    << source << target << before;
                EXPECT_EQ(out, before);
            }
        }
    }
}

TEST(qzVariantConversionsTest, ConvertsIntoItself)
{
    qzVariant value("12");
    EXPECT_TRUE(value.convertLosslessTo(qzVariant::STRING, value));
    EXPECT_EQ(value, "12");
    EXPECT_TRUE(value.convertLosslessTo(qzVariant::INTEGER, value));
    EXPECT_EQ(value, 12);
    EXPECT_FALSE(value.convertLosslessTo(qzVariant::BOOL, value));
    EXPECT_EQ(value, 12);
}

TEST(qzVariantConversionsTest, ConvertsAnElementIntoItsList)
{
    qzVariant list(List{"12"});
    EXPECT_TRUE((*list.getList())[0].convertLosslessTo(qzVariant::INTEGER, list));
    EXPECT_EQ(list, 12);
}

}  // namespace

}  // namespace qz
