// SPDX-License-Identifier: MIT
#include <qz/qzVariant.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "variant/CountedUserData.h"
#include "variant/PlainVariant.h"
#include "variant/VariantTrees.h"

namespace qz {

using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr long kMax = std::numeric_limits<long>::max();
constexpr long kMin = std::numeric_limits<long>::min();

template <typename... Doubles>
qzVariant makeArray(qzVariant::Type type, Doubles... first)
{
    double values[16] = {static_cast<double>(first)...};
    return {type, values};
}

template <typename... Doubles>
qzVariant makeVec2(Doubles... values)
{
    return makeArray(qzVariant::VEC2D, values...);
}

std::string text(const char* bytes, std::size_t size)
{
    return {bytes, size};
}

// The relation of the left value to the right one.
enum Standing { Less, Equal, Greater, Neither };

struct CompareRow {
    const char* name;
    qzVariant left;
    qzVariant right;
    Standing standing;
};

void PrintTo(const CompareRow& row, std::ostream* out)
{
    *out << row.left << " against " << row.right;
}

std::vector<CompareRow> getRows()
{
    return {
        {"Unknowns", {}, {}, Equal},

        {"IntegersEqual", 5, 5, Equal},
        {"IntegersSigned", -1, 0, Less},
        {"IntegersFarApart", kMin, kMax, Less},
        {"IntegersByTheLastBit", kMax - 1, kMax, Less},
        {"DateTimesEqual", qzVariant::DateTime(5), qzVariant::DateTime(5), Equal},
        {"DateTimesSigned", qzVariant::DateTime(-1), qzVariant::DateTime(1), Less},

        {"RealsEqual", 1.5, 1.5, Equal},
        {"RealsByValue", -1.5, 1.0, Less},
        {"RealZeros", 0.0, -0.0, Equal},
        {"RealInfinities", -kInfinity, kInfinity, Less},
        {"RealNaNs", kNaN, kNaN, Neither},
        {"RealNaNLeft", kNaN, 1.0, Neither},
        {"RealNaNRight", 1.0, kNaN, Neither},

        {"StringsEqual", "abc", "abc", Equal},
        {"StringsByByte", "abc", "abd", Less},
        {"StringsUnsigned", "a", "\xff", Less},
        {"StringShorterFirst", "ab", "abc", Less},
        {"StringByteAheadOfLength", "b", "abc", Greater},
        {"StringEmpty", "", text("\0", 1), Less},
        {"StringBehindAZero", text("a\0b", 3), text("a\0c", 3), Less},

        {"Bools", false, true, Less},
        {"BoolsTrue", true, true, Equal},
        {"BoolsFalse", false, false, Equal},

        {"ArraysEqual", makeVec2(1, 2), makeVec2(1, 2), Equal},
        {"ArrayZerosDiffer", makeVec2(0.0, 1.0), makeVec2(-0.0, 1.0), Less},
        {"ArrayNaNsEqual", makeVec2(kNaN, 1.0), makeVec2(kNaN, 1.0), Equal},
        {"ArrayNaNsDiffer", makeVec2(kNaN, 1.0), makeVec2(-kNaN, 1.0), Less},
        {"ArrayByBytesNotByValue", makeVec2(1.0, 0.0), makeVec2(2.0, 0.0), Greater},
        {"ArrayByTheFirstByteFirst", makeVec2(2.0, 0.0), makeVec2(1.1, 0.0), Less},
        {"Vec3dLastElement", makeArray(qzVariant::VEC3D, 1, 1, 0),
         makeArray(qzVariant::VEC3D, 1, 1, 1), Less},
        {"Vec4dLastElement", makeArray(qzVariant::VEC4D, 1, 1, 1, 0),
         makeArray(qzVariant::VEC4D, 1, 1, 1, 1), Less},
        {"Mat3dLastElement", makeArray(qzVariant::MAT3D, 0, 0, 0, 0, 0, 0, 0, 0, 0),
         makeArray(qzVariant::MAT3D, 0, 0, 0, 0, 0, 0, 0, 0, 1), Less},
        {"Mat4dLastElement", makeArray(qzVariant::MAT4D),
         makeArray(qzVariant::MAT4D, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1), Less},

        {"MapsEmpty", Map(), Map(), Equal},
        {"MapEmptyFirst", Map(), Map{{"", 1}}, Less},
        {"MapsEqual", Map{{"a", 1}, {"b", "x"}}, Map{{"b", "x"}, {"a", 1}}, Equal},
        {"MapsByKey", Map{{"a", 2}}, Map{{"b", 1}}, Less},
        {"MapsByKeyAheadOfSize", Map{{"a", 1}, {"b", 1}}, Map{{"b", 1}}, Less},
        {"MapsByValue", Map{{"a", 1}}, Map{{"a", 2}}, Less},
        {"MapsByValueAheadOfSize", Map{{"a", 2}}, Map{{"a", 1}, {"b", 1}}, Greater},
        {"MapsByTypeOfValue", Map{{"a", 5}}, Map{{"a", 1.0}}, Less},
        {"MapPrefixFirst", Map{{"a", 1}}, Map{{"a", 1}, {"b", 1}}, Less},
        {"MapsNested", Map{{"a", Map{{"b", 1}}}}, Map{{"a", Map{{"b", 2}}}}, Less},
        {"MapsBehindANested", Map{{"a", Map{{"b", 1}}}, {"c", 1}},
         Map{{"a", Map{{"b", 1}}}, {"c", 0}}, Greater},
        {"MapKeysWithZeros", Map{{std::string("a"), 1}}, Map{{text("a\0", 2), 1}}, Less},

        {"ListsEmpty", List(), List(), Equal},
        {"ListEmptyFirst", List(), List{qzVariant()}, Less},
        {"ListsEqual", List{1, "x"}, List{1, "x"}, Equal},
        {"ListsByElement", List{1, 2}, List{1, 3}, Less},
        {"ListElementAheadOfLength", List{2}, List{1, 5}, Greater},
        {"ListPrefixFirst", List{1}, List{1, 1}, Less},
        {"ListsByTypeOfElement", List{5}, List{1.0}, Less},
        {"ListsNested", List{List{1, 2}, 1}, List{List{1, 3}, 0}, Less},
        {"ListBehindANested", List{List{1}, 0}, List{List{1}, 1}, Less},

        // A pair that is neither smaller nor larger is passed over.
        {"ListOfNaNs", List{kNaN}, List{kNaN}, Neither},
        {"ListBehindANaN", List{kNaN, 1}, List{1.0, 2}, Less},
        {"ListBehindANaNByLength", List{kNaN}, List{1.0, 2}, Less},
        {"MapBehindANaN", Map{{"a", kNaN}, {"b", 2}}, Map{{"a", 1.0}, {"b", 1}}, Greater},
        {"NestedBehindANaN", List{List{kNaN}, 2}, List{List{1.0}, 1}, Greater},
        {"ListOfZeros", List{0.0}, List{-0.0}, Equal},
    };
}

class qzVariantCompare : public ::testing::TestWithParam<CompareRow> {
protected:
    static void expect(const qzVariant& left, const qzVariant& right, Standing standing)
    {
        EXPECT_EQ(left == right, standing == Equal);
        EXPECT_EQ(left != right, standing != Equal);
        EXPECT_EQ(left < right, standing == Less);
        EXPECT_EQ(left > right, standing == Greater);
    }
};

TEST_P(qzVariantCompare, OrdersAsItsRow)
{
    expect(GetParam().left, GetParam().right, GetParam().standing);
}

TEST_P(qzVariantCompare, OrdersInReverseWithSidesExchanged)
{
    const Standing mirrored[] = {Greater, Equal, Less, Neither};
    expect(GetParam().right, GetParam().left, mirrored[GetParam().standing]);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzVariantCompare, ::testing::ValuesIn(getRows()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzVariantCompareTest, IsNotEqualToItselfWithANaNInside)
{
    const qzVariant real(kNaN);
    const qzVariant list(List{kNaN});
    EXPECT_FALSE(real == real);
    EXPECT_TRUE(real != real);
    EXPECT_FALSE(list == list);
    EXPECT_FALSE(*list.getList() == *list.getList());
}

TEST(qzVariantCompareTest, OrdersDifferentTypesByTheirNumbersAlone)
{
    // Values with the opposite order, which must not be compared.
    const qzVariant values[] = {
        {},
        kMax,
        kInfinity,
        "\xff",
        true,
        makeVec2(5, 5),
        makeArray(qzVariant::VEC3D, 4, 4),
        makeArray(qzVariant::VEC4D, 3, 3),
        Map{{"z", 1}},
        List{1},
        makeArray(qzVariant::MAT3D, 2),
        makeArray(qzVariant::MAT4D, 1),
        qzVariant::DateTime(kMin),
        qzVariant(static_cast<qzVariant::UserDataInterface*>(nullptr)),
    };
    for (const qzVariant& left : values) {
        for (const qzVariant& right : values) {
            if (&left == &right) continue;
            EXPECT_EQ(left < right, left.getType() < right.getType()) << left << right;
            EXPECT_EQ(left > right, left.getType() > right.getType()) << left << right;
            EXPECT_FALSE(left == right) << left << right;
            EXPECT_TRUE(left != right) << left << right;
        }
    }
}

TEST(qzVariantCompareTest, HoldsAnIntegerSmallerThanARealAndAString)
{
    EXPECT_TRUE(qzVariant(5) < qzVariant(1.0));
    EXPECT_TRUE(qzVariant(5) < qzVariant("0"));
    EXPECT_FALSE(qzVariant(1) == qzVariant(1.0));
}

TEST(qzVariantCompareTest, EqualsNothingOnceDestroyed)
{
    qzVariant destroyed;
    destroyed.destroy();
    EXPECT_FALSE(destroyed == destroyed);
    EXPECT_TRUE(destroyed != destroyed);
    EXPECT_FALSE(destroyed < destroyed || destroyed > destroyed);
    EXPECT_FALSE(destroyed == qzVariant());
    EXPECT_FALSE(qzVariant() == destroyed);
    EXPECT_TRUE(qzVariant() < destroyed);
    EXPECT_TRUE(destroyed > qzVariant("x"));
}

TEST(qzVariantCompareTest, ComparesMapsAndListsByThemselves)
{
    EXPECT_TRUE((Map{{"a", 1}} == Map{{"a", 1}}));
    EXPECT_TRUE((Map{{"a", 1}} != Map{{"a", 2}}));
    EXPECT_TRUE((Map{{"a", 1}} != Map{{"b", 1}}));
    EXPECT_TRUE((Map{{"a", 1}} != Map{{"a", 1}, {"b", 1}}));
    EXPECT_TRUE((List{1, 2} == List{1, 2}));
    EXPECT_TRUE((List{1, 2} != List{1}));
    EXPECT_TRUE((List{1, 2} != List{2, 1}));
}

TEST(qzVariantCompareTest, ComparesObjectsInsideOfTreesForEqualityAndNotForOrder)
{
    const qzVariant left(Map{{"a", List{qzVariant(new CountedUserData(1))}}});
    const qzVariant right(left);
    CountedUserData::ResetCounts();
    EXPECT_TRUE(left == right);
    EXPECT_EQ(CountedUserData::sComparisons, 1);
    EXPECT_NE(left<right, left> right);
    EXPECT_EQ(CountedUserData::sComparisons, 1);
}

TEST(qzVariantCompareTest, ComparesTreesOfRandomValuesAsThePlainForm)
{
    int nested = 0;
    int equal = 0;
    for (unsigned int seed = 0; seed != 300; ++seed) {
        TreeMaker maker(seed);
        std::vector<qzVariant> trees;
        for (int i = 0; i != 6; ++i)
            trees.push_back(maker.makeTree(4));
        trees.push_back(trees.back());
        for (const qzVariant& left : trees) {
            for (const qzVariant& right : trees) {
                const bool isEqual = left == right;
                ASSERT_EQ(isEqual, plain::isEqual(left, right))
                    << seed << ": " << left << " against " << right;
                ASSERT_EQ(left < right, plain::isLess(left, right))
                    << seed << ": " << left << " against " << right;
                ASSERT_EQ(left > right, plain::isGreater(left, right))
                    << seed << ": " << left << " against " << right;
                nested += left.getMap() != nullptr && !left.getMap()->empty() ? 1 : 0;
                equal += isEqual ? 1 : 0;
            }
        }
    }
    EXPECT_GT(nested, 1000) << "the trees have become leaves";
    EXPECT_GT(equal, 1000) << "the trees are all different";
}

// Without NaNs the two orderings are those of a total order: sorting relies on it.
TEST(qzVariantCompareTest, OrdersTotallyWithoutNaNs)
{
    const qzVariant values[] = {{},
                                1,
                                2,
                                0.5,
                                1.5,
                                "a",
                                "b",
                                makeVec2(1),
                                makeVec2(-1),
                                makeVec2(kNaN),
                                Map(),
                                List{1},
                                List{1, 2},
                                List{2},
                                Map{{"a", 1}},
                                Map{{"b", 1}},
                                List{Map()}};
    for (const qzVariant& a : values) {
        for (const qzVariant& b : values) {
            EXPECT_EQ((a < b) + (a == b) + (a > b), 1) << a << b;
            EXPECT_EQ(a<b, b> a) << a << b;
            for (const qzVariant& c : values)
                EXPECT_TRUE(!(a < b && b < c) || a < c) << a << b << c;
        }
    }
}

}  // namespace

}  // namespace qz
