// SPDX-License-Identifier: MIT
// Trees so deep that a walk by recursion would run out of stack.

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzVariant.h>

#include "support/Allocations.h"
#include "variant/CountedUserData.h"
#include "variant/VariantTrees.h"

namespace qz {

using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;

namespace {

constexpr int kLevels = 200'000;

qzVariant wrapInMap(qzVariant inner)
{
    Map map;
    map["a"] = std::move(inner);
    return map;
}

qzVariant wrapInList(qzVariant inner)
{
    List list;
    list.push_back(std::move(inner));
    return list;
}

// Maps and lists in turn around a value, a map outside.
qzVariant makeDeep(qzVariant inner)
{
    for (int i = 0; i != kLevels; i += 2)
        inner = wrapInMap(wrapInList(std::move(inner)));
    return inner;
}

qzVariant makeDeepMaps(qzVariant inner)
{
    for (int i = 0; i != kLevels; ++i)
        inner = wrapInMap(std::move(inner));
    return inner;
}

std::string repeat(const std::string& text, int count)
{
    std::string repeated;
    for (int i = 0; i != count; ++i)
        repeated += text;
    return repeated;
}

class qzVariantDepth : public ::testing::Test {
protected:
    qzVariantDepth() { mTree = makeDeep(qzVariant(new CountedUserData(1))); }

    int mAliveBefore = CountedUserData::sAlive;
    qzVariant mTree;
};

TEST_F(qzVariantDepth, EndsInEveryWay)
{
    {
        const qzVariant copy(mTree);
        EXPECT_EQ(CountedUserData::sAlive, mAliveBefore + 2);
    }
    EXPECT_EQ(CountedUserData::sAlive, mAliveBefore + 1);
    Map map;
    map["x"] = mTree;
    map.clear();
    map["x"] = mTree;
    map.erase("x");
    map["x"] = mTree;
    map["x"] = 1;
    List list{mTree, mTree};
    list.resize(1);
    list.clear();
    EXPECT_EQ(CountedUserData::sAlive, mAliveBefore + 1);
    mTree.destroy();
    EXPECT_EQ(CountedUserData::sAlive, mAliveBefore);
}

TEST_F(qzVariantDepth, EndsWithoutAnAllocation)
{
    const support::AllocationCounter allocations;
    mTree.clear();
    EXPECT_EQ(allocations.getCount(), 0U);
    EXPECT_EQ(CountedUserData::sAlive, mAliveBefore);
}

TEST_F(qzVariantDepth, IsCopiedAndCompared)
{
    qzVariant copy(mTree);
    EXPECT_TRUE(copy == mTree);
    EXPECT_TRUE(*copy.getMap() == *mTree.getMap());
    EXPECT_TRUE(copy < mTree || mTree < copy) << "objects are ordered by identity";
    qzVariant target("old");
    target = mTree;
    EXPECT_TRUE(target == copy);
    EXPECT_EQ(copy.toMap(), *mTree.getMap());
}

TEST_F(qzVariantDepth, IsAssignedAPartOfItself)
{
    mTree = *mTree.getMap()->findPathImpl("a", '/');
    EXPECT_EQ(mTree.getType(), qzVariant::LIST);
    mTree = std::move((*mTree.editList())[0]);
    EXPECT_EQ(mTree.getType(), qzVariant::MAP);
    EXPECT_EQ(CountedUserData::sAlive, mAliveBefore + 1);
}

TEST(qzVariantDepthTest, IsOrderedByWhatIsAtTheBottom)
{
    const qzVariant one = makeDeep(1);
    const qzVariant two = makeDeep(2);
    EXPECT_TRUE(one < two);
    EXPECT_FALSE(one > two);
    EXPECT_TRUE(two > one);
    EXPECT_FALSE(one == two);
    EXPECT_FALSE(one < one || one > one);
}

TEST(qzVariantDepthTest, IsWrittenAsText)
{
    const qzVariant tree = makeDeep(7);
    EXPECT_TRUE(tree.toString() == repeat("(a=", kLevels / 2) + "7" + repeat(")", kLevels / 2));
    EXPECT_TRUE(describe(tree) ==
                repeat("{\"a\": [", kLevels / 2) + "7" + repeat("]}", kLevels / 2));
    EXPECT_TRUE(wrapInList(tree).toStringList()[0] == tree.toString());
}

TEST(qzVariantDepthTest, IsFlattenedFromLists)
{
    qzVariant lists(7);
    for (int i = 0; i != kLevels; ++i)
        lists = wrapInList(std::move(lists));
    Map tree;
    tree["a"] = std::move(lists);
    Map flat;
    tree.toFlattenMap(flat, '/');
    EXPECT_EQ(describe(flat), R"({"a/": 7})");
}

TEST(qzVariantDepthTest, IsMadeFoundAndFlattenedByItsPath)
{
    const std::string path = repeat("a/", kLevels) + "a";
    Map tree;
    tree.editValuePath(path.c_str(), 7, '/');
    const qzVariant* const found = tree.findPathImpl(path.c_str(), '/');
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(*found, 7);
    Map flat;
    tree.toFlattenMap(flat, '/');
    ASSERT_EQ(flat.size(), 1U);
    EXPECT_TRUE(flat.begin()->first == path);
}

TEST(qzVariantDepthTest, IsMerged)
{
    const qzVariant tree = makeDeepMaps("x");
    Map merged = *tree.getMap();
    merged.mergeWith(*tree.getMap(), false);
    EXPECT_TRUE(merged == *tree.getMap());
    merged.mergeWith(*makeDeepMaps("y").getMap(), false);
    EXPECT_TRUE(merged == *makeDeepMaps(List{"x", "y"}).getMap());
}

TEST(qzVariantDepthTest, GivesWayToAnotherValueOnItsPath)
{
    Map map{{"a", makeDeep(1)}};
    map.editValuePath("a", 1, '/') = makeDeep(2);
    map["b"] = List{makeDeep(3)};
    map.editValuePath("b/c", 1, '/');
    EXPECT_EQ(describe(map["b"]), R"({"c": 1})");
}

}  // namespace

}  // namespace qz
