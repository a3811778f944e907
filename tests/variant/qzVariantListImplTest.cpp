// SPDX-License-Identifier: MIT
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzVariant.h>

#include "variant/VariantTrees.h"

namespace qz {

using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;

namespace {

TEST(qzVariantListImplTest, RemovesItsLastElement)
{
    List list{1, "x"};
    list.pop_back();
    EXPECT_EQ(describe(list), "[1]");
    list.pop_back();
    EXPECT_TRUE(list.empty());
}

TEST(qzVariantListImplTest, ErasesOneElementOrMany)
{
    List list{1, 2, 3, 4, 5};
    EXPECT_EQ(*list.erase(list.begin()), 2);
    const auto last = list.erase(list.begin() + 3);
    EXPECT_EQ(last, list.end());
    EXPECT_EQ(describe(list), "[2, 3, 4]");
    EXPECT_EQ(*list.erase(list.begin(), list.begin() + 2), 4);
    const auto first = list.erase(list.begin(), list.begin());
    EXPECT_EQ(first, list.begin());
    EXPECT_EQ(describe(list), "[4]");
}

TEST(qzVariantListImplTest, InsertsBeforeAPosition)
{
    List list{1, 3};
    const qzVariant value("x");
    EXPECT_EQ(*list.insert(list.begin(), value), "x");
    EXPECT_EQ(*list.insert(list.end(), Map{{"a", 1}}), (Map{{"a", 1}}));
    EXPECT_EQ(*list.insert(list.begin() + 2, {7, 8}), 7);
    EXPECT_EQ(*list.insert(list.begin(), 2, value), "x");
    EXPECT_EQ(describe(list), R"(["x", "x", "x", 1, 7, 8, 3, {"a": 1}])");
    const std::vector<int> numbers{4, 5};
    EXPECT_EQ(*list.insert(list.end(), numbers.begin(), numbers.end()), 4);
    EXPECT_EQ(list.back(), 5);
}

TEST(qzVariantListImplTest, InsertsPartsOfItself)
{
    List list{List{1}, "x"};
    list.insert(list.begin(), list.back());
    list.insert(list.begin(), (*list[1].editList())[0]);
    EXPECT_EQ(describe(list), R"([1, "x", [1], "x"])");
    qzVariant owner(List{1});
    owner.editList()->insert(owner.editList()->begin(), owner);
    EXPECT_EQ(describe(owner), "[[1], 1]");
}

TEST(qzVariantListImplTest, ShowsItsFirstAndLastElement)
{
    List list{1, 2};
    list.front() = "first";
    list.back() = "last";
    const List& same = list;
    EXPECT_EQ(same.front(), "first");
    EXPECT_EQ(same.back(), "last");
}

}  // namespace

}  // namespace qz
