// SPDX-License-Identifier: MIT
// Variants of type numbers that no constructor gives: those of the reserved types, and beyond.

#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include "variant/VariantAccess.h"
#include "variant/VariantTrees.h"

namespace qz {

using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;
using impl::VariantAccess;

namespace {

qzVariant makeOfType(int number)
{
    qzVariant value(0x7ffffffffffffff1L);  // no address that could be freed or read
    VariantAccess::setType(value, static_cast<qzVariant::Type>(number));
    return value;
}

class VariantTypes : public ::testing::TestWithParam<int> {
protected:
    qzVariant mValue = makeOfType(GetParam());
};

TEST_P(VariantTypes, HasNoName)
{
    EXPECT_EQ(mValue.getTypeAsString(), "NOT DEFINED");
    EXPECT_FALSE(mValue.isNull());
}

TEST_P(VariantTypes, IsCopiedAsAnEmptyOne)
{
    const qzVariant copy(mValue);
    EXPECT_EQ(copy.getType(), qzVariant::UNKNOWN);
    EXPECT_EQ(VariantAccess::getCell(copy).integer, 0);
}

TEST_P(VariantTypes, IsAssignedAsAnEmptyOne)
{
    qzVariant target("text");
    target = mValue;
    EXPECT_EQ(target.getType(), qzVariant::UNKNOWN);
    EXPECT_EQ(VariantAccess::getCell(target).integer, 0);
    const qzVariant list(List(mValue.toList()));
    EXPECT_EQ(describe(list), "[UNKNOWN]");
}

TEST_P(VariantTypes, IsMovedAsItIs)
{
    qzVariant moved(std::move(mValue));
    EXPECT_EQ(moved.getType(), GetParam());
    EXPECT_EQ(mValue.getType(), qzVariant::UNKNOWN);
    EXPECT_EQ(VariantAccess::getCell(mValue).integer, 0);
    mValue = std::move(moved);
    EXPECT_EQ(mValue.getType(), GetParam());
}

TEST_P(VariantTypes, EqualsNothingNotEvenItself)
{
    EXPECT_FALSE(mValue == mValue);
    EXPECT_TRUE(mValue != mValue);
    EXPECT_FALSE(mValue == makeOfType(GetParam()));
    EXPECT_FALSE(mValue == qzVariant());
}

TEST_P(VariantTypes, IsNeitherSmallerNorLargerThanItsKind)
{
    const qzVariant same = makeOfType(GetParam());
    EXPECT_FALSE(mValue < same || mValue > same || mValue < mValue || mValue > mValue);
}

TEST_P(VariantTypes, OrdersByNumberAgainstOtherTypes)
{
    for (const int number : {0, 1, 4, 7, 8, 9, 10, 14, 15, 16, 17, 1000}) {
        if (number == GetParam()) continue;
        qzVariant other = makeOfType(number);
        EXPECT_EQ(mValue < other, GetParam() < number) << number;
        EXPECT_EQ(mValue > other, GetParam() > number) << number;
        EXPECT_FALSE(mValue == other) << number;
        VariantAccess::setType(other, qzVariant::INTEGER);  // its cell is no address to free
    }
}

TEST_P(VariantTypes, HasNoValue)
{
    EXPECT_EQ(mValue.toInteger(), 0);
    EXPECT_TRUE(std::isnan(mValue.toReal()));
    EXPECT_FALSE(mValue.toBool());
    EXPECT_EQ(mValue.toDateTime().count, 0);
    EXPECT_EQ(mValue.toString(), "");
    EXPECT_TRUE(mValue.toStringList().empty());
    EXPECT_TRUE(mValue.toMap().empty());
    qzVariant out(5);
    EXPECT_FALSE(mValue.convertLosslessTo(qzVariant::INTEGER, out));
    EXPECT_FALSE(mValue.convertLosslessTo(static_cast<qzVariant::Type>(GetParam()), out));
    EXPECT_EQ(out, 5);
}

TEST_P(VariantTypes, OwnsNothing)
{
    EXPECT_EQ(mValue.getArray(), nullptr);
    EXPECT_EQ(mValue.arraySize(), 0U);
    mValue.destroy();
    EXPECT_EQ(mValue.getType(), qzVariant::DESTROYED);
    EXPECT_EQ(VariantAccess::getCell(mValue).integer, 0);
    VariantAccess::setType(mValue, static_cast<qzVariant::Type>(GetParam()));
    mValue.clear();
    EXPECT_EQ(mValue.getType(), qzVariant::UNKNOWN);
}

TEST_P(VariantTypes, IsALeafOfATree)
{
    qzVariant tree(Map{{"a", List{1}}});
    tree.editMap()->editValuePath("a", 0, '/').editList()->back() = std::move(mValue);
    EXPECT_FALSE(tree == tree);
    EXPECT_FALSE(tree < tree || tree > tree);
    EXPECT_EQ(tree.toString(), "(a=)");
    EXPECT_EQ(describe(qzVariant(tree)), R"({"a": [UNKNOWN]})");
    Map flat;
    tree.getMap()->toFlattenMap(flat, '/');
    EXPECT_EQ(describe(flat), R"({"a/": UNKNOWN})");
}

INSTANTIATE_TEST_SUITE_P(Numbers, VariantTypes, ::testing::Values(8, 9, 16, 17, 1000),
                         [](const auto& row) { return "Type" + std::to_string(row.param); });

// A moved variant has a cell of zeros, whatever it was.
TEST(VariantCells, AreNullAfterAMove)
{
    qzVariant text("text");
    const qzVariant taken(std::move(text));
    EXPECT_EQ(VariantAccess::getCell(text).integer, 0);
    qzVariant integer(5);
    const qzVariant takenToo(std::move(integer));
    EXPECT_EQ(VariantAccess::getCell(integer).integer, 0);
    text = "again";
    text.destroy();
    EXPECT_EQ(VariantAccess::getCell(text).integer, 0);
}

}  // namespace

}  // namespace qz
