// SPDX-License-Identifier: MIT
// Each allocation of the work on a tree fails once.

#include <functional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <qz/qzVariant.h>

#include "support/Allocations.h"
#include "variant/CountedUserData.h"
#include "variant/VariantTrees.h"

namespace qz {

using support::AllocationFailure;
using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;

namespace {

const std::string kLong(100, 'x');  // more than a string holds within itself

qzVariant makeTree()
{
    const double numbers[16] = {};
    Map map;
    map["a"] = List{1, kLong, qzVariant(qzVariant::MAT4D, numbers), List{"z", "y"}};
    map["b " + kLong] =
        Map{{"c", qzVariant(new CountedUserData(1))}, {"d", Map{{"e", kLong}, {"f", 2}}}};
    map["c"] = qzVariant(new CountedUserData(2));
    map["d"] = List{Map{{"m", "n"}}, Map{{"m", kLong}}};
    return map;
}

class qzVariantAllocation : public ::testing::Test {
protected:
    ~qzVariantAllocation() override { EXPECT_EQ(CountedUserData::sAlive, mAliveWithTree); }

    // Fails each allocation of `work`, which throws then, and calls `check` after each failure.
    static void failEach(const std::function<void()>& work, const std::function<void()>& check)
    {
        const std::size_t failures =
            support::failEachAllocation(work, [&](const AllocationFailure& failure) {
                EXPECT_TRUE(failure.threwBadAlloc) << failure.number;
                check();
            });
        EXPECT_GT(failures, 0U);
    }

    const qzVariant mTree = makeTree();
    // The memory of some destroyed strings is cached for new ones. These have all of it.
    const List mStrings = [] {
        List strings;
        strings.resize(20000);
        for (qzVariant& string : strings)
            string = "x";
        return strings;
    }();
    int mAliveWithTree = CountedUserData::sAlive;
};

TEST_F(qzVariantAllocation, CopyLeaksNothing)
{
    failEach([&] { const qzVariant copy(mTree); },
             [&] { EXPECT_EQ(CountedUserData::sAlive, mAliveWithTree); });
    failEach([&] { const Map copy(*mTree.getMap()); },
             [&] { EXPECT_EQ(CountedUserData::sAlive, mAliveWithTree); });
    const List list = mTree.toList();
    const int alive = CountedUserData::sAlive;
    failEach([&] { const List copy(list); }, [&] { EXPECT_EQ(CountedUserData::sAlive, alive); });
}

TEST_F(qzVariantAllocation, AssignmentLeavesTheTargetDestroyed)
{
    const qzVariant sources[] = {kLong, mTree, List{kLong},
                                 *mTree.getMap()->findPathImpl("c", '/')};
    for (const qzVariant& source : sources) {
        const int alive = CountedUserData::sAlive;
        qzVariant target;
        failEach(
            [&] {
                {
                    const support::AllocationPause ownWork;
                    target = List{qzVariant(new CountedUserData(3))};
                }
                target = source;
            },
            [&] {
                EXPECT_EQ(target.getType(), qzVariant::DESTROYED);
                EXPECT_EQ(CountedUserData::sAlive, alive);
                const support::AllocationPause ownWork;
                target = 5;
                EXPECT_EQ(target, 5);
            });
        EXPECT_EQ(target.getType(), source.getType());
    }
}

TEST_F(qzVariantAllocation, AssignmentOfAPartOfItselfLeavesTheTargetDestroyed)
{
    qzVariant target;
    failEach(
        [&] {
            {
                const support::AllocationPause ownWork;
                target = mTree;
            }
            target = *target.getMap()->findPathImpl("d", '/');
        },
        [&] {
            EXPECT_EQ(target.getType(), qzVariant::DESTROYED);
            EXPECT_EQ(CountedUserData::sAlive, mAliveWithTree);
        });
    EXPECT_EQ(target, *mTree.getMap()->findPathImpl("d", '/'));
}

TEST_F(qzVariantAllocation, AssignmentOfAContainerLeavesItAsItWas)
{
    const Map source = *mTree.getMap();
    Map map{{"old", 1}};
    failEach([&] { map = source; }, [&] { EXPECT_EQ(describe(map), R"({"old": 1})"); });
    EXPECT_EQ(map.size(), source.size());
    const List sourceList{kLong, mTree};
    List list{1};
    failEach([&] { list = sourceList; }, [&] { EXPECT_EQ(describe(list), "[1]"); });
    EXPECT_EQ(list.size(), 2U);
}

TEST_F(qzVariantAllocation, ConstructionOfContainersLeaksNothing)
{
    const int alive = CountedUserData::sAlive;
    failEach([&] { const qzVariant value{*mTree.getMap()}; },
             [&] { EXPECT_EQ(CountedUserData::sAlive, alive); });
    failEach(
        [&] {
            const Map map{{"a", mTree}, {"b", kLong}};
        },
        [&] { EXPECT_EQ(CountedUserData::sAlive, alive); });
    failEach(
        [&] {
            const List list{mTree, kLong};
        },
        [&] { EXPECT_EQ(CountedUserData::sAlive, alive); });
}

TEST_F(qzVariantAllocation, AMoveIntoAVariantKeepsTheContentWhenItFails)
{
    Map map{{"a", 1}};
    failEach([&] { const qzVariant value(std::move(map)); },
             [&] { EXPECT_EQ(describe(map), R"({"a": 1})"); });
    List list{1};
    failEach([&] { const qzVariant value(std::move(list)); },
             [&] { EXPECT_EQ(describe(list), "[1]"); });
    std::string text(kLong);
    failEach([&] { const qzVariant value(std::move(text)); }, [&] { EXPECT_EQ(text, kLong); });
}

TEST_F(qzVariantAllocation, AMergeLosesNothingThatWasThere)
{
    const Map before{{"a", List{kLong}}, {"c", kLong}, {"d", "y"}};
    Map map;
    failEach(
        [&] {
            {
                const support::AllocationPause ownWork;
                map = before;
            }
            map.mergeWith(*mTree.getMap(), false);
        },
        [&] {
            EXPECT_GE(map.size(), before.size());
            const qzVariant& list = *map.findPathImpl("a", '/');
            ASSERT_NE(list.getList(), nullptr);
            EXPECT_EQ((*list.getList())[0], kLong);
        });
    EXPECT_EQ(map.size(), 4U);
}

TEST_F(qzVariantAllocation, AnInsertionLosesNeitherOfTheTwoValues)
{
    Map map;
    qzVariant value;
    const auto isSomewhere = [&](const std::string& text) {
        return describe(map).find(text) != std::string::npos ||
               describe(value).find(text) != std::string::npos;
    };
    failEach(
        [&] {
            {
                const support::AllocationPause ownWork;
                map = Map{{"k", "old" + kLong}};
                value = "new" + kLong;
            }
            map.multiInsertAndDestroy("k", value, false);
        },
        [&] { EXPECT_TRUE(isSomewhere("old" + kLong) && isSomewhere("new" + kLong)); });
    EXPECT_EQ(map["k"].getList()->size(), 2U);
    failEach(
        [&] {
            {
                const support::AllocationPause ownWork;
                map = Map{{"k", List{"old"}}};
                value = "new" + kLong;
            }
            map.multiInsertAndDestroy("k", value, false);
        },
        [&] { EXPECT_EQ(describe(map), R"({"k": ["old"]})"); });
}

TEST_F(qzVariantAllocation, AMergeIntoALongListKeepsIt)
{
    List list;
    list.resize(64, kLong);
    Map map;
    qzVariant value;
    failEach(
        [&] {
            {
                const support::AllocationPause ownWork;
                map = Map{{"k", list}};
                value = kLong;
            }
            map.multiInsertAndDestroy("k", value, false);
        },
        [&] { EXPECT_EQ(map["k"].getList()->size(), 64U); });
}

TEST_F(qzVariantAllocation, AFlatteningKeepsTheTree)
{
    const std::string text = describe(mTree);
    failEach(
        [&] {
            Map flat;
            mTree.getMap()->toFlattenMap(flat, '/');
        },
        [&] { EXPECT_EQ(CountedUserData::sAlive, mAliveWithTree); });
    EXPECT_EQ(describe(mTree), text);
}

TEST_F(qzVariantAllocation, APathKeepsTheLevelsThatItMade)
{
    const std::string path = "a/" + kLong + "/b";
    Map map;
    failEach(
        [&] {
            map.clear();
            map.editValuePath(path.c_str(), kLong, '/');
        },
        [&] {
            Map copy(map);  // the levels that were made are complete
            EXPECT_LE(copy.size(), 1U);
        });
    EXPECT_EQ(*map.findPathImpl(path.c_str(), '/'), kLong);
}

TEST_F(qzVariantAllocation, APathKeepsTheValueThatItWouldReplace)
{
    Map map;
    const auto prepare = [&] {
        const support::AllocationPause ownWork;
        map = Map{{"a", "precious"}, {"m", Map{{"l", List{1}}}}};
    };
    const auto expectUnchanged = [&] {
        EXPECT_EQ(describe(map), R"({"a": "precious", "m": {"l": [1]}})");
    };
    failEach(
        [&] {
            prepare();
            map.editValuePath(("a/" + kLong + "/c").c_str(), kLong, '/');
        },
        expectUnchanged);
    EXPECT_EQ(*map.findPathImpl(("a/" + kLong + "/c").c_str(), '/'), kLong);
    failEach(
        [&] {
            prepare();
            map.editValuePath("m/l/x", mTree, '/');
        },
        expectUnchanged);
    EXPECT_EQ(map.findPathImpl("m/l/x", '/')->getType(), qzVariant::MAP);
    failEach(
        [&] {
            prepare();
            const qzVariant& own = map["m"];
            map.editValuePath("m/l/x", own, '/');
        },
        expectUnchanged);
}

TEST_F(qzVariantAllocation, AnInsertionHappensWholeOrNotAtAll)
{
    Map map{{"a", 1}};
    const Map::value_type entry("b" + kLong, mTree);
    failEach([&] { map.insert(entry); }, [&] { EXPECT_EQ(map.size(), 1U); });
    EXPECT_EQ(map.size(), 2U);
    failEach([&] { map.insert_or_assign("c" + kLong, kLong); }, [&] { EXPECT_EQ(map.size(), 2U); });
}

TEST_F(qzVariantAllocation, ATextComesWholeOrNotAtAll)
{
    const qzVariant tree(Map{{"a", List{1, 2.5, kLong}}, {"b", Map{{"c", kLong}}}});
    const std::string wanted = tree.toString();
    std::string text;
    failEach([&] { text = tree.toString(); }, [&] { EXPECT_EQ(text, ""); });
    EXPECT_EQ(text, wanted);
    failEach([&] { tree.toList().toStringList(); }, [] {});
}

TEST_F(qzVariantAllocation, AComparisonEndsOrThrows)
{
    const qzVariant copy(mTree);
    bool isEqual = false;
    failEach([&] { isEqual = copy == mTree; }, [&] { EXPECT_FALSE(isEqual); });
    EXPECT_TRUE(isEqual);
}

TEST_F(qzVariantAllocation, AConversionThatFailsLeavesOutAlone)
{
    const qzVariant source(kLong);
    qzVariant out(5);
    failEach([&] { source.convertLosslessTo(qzVariant::STRING, out); }, [&] { EXPECT_EQ(out, 5); });
    EXPECT_EQ(out, kLong);
    failEach([&] { const qzVariant guess = qzVariant::BuildFromString(kLong + ","); }, [] {});
}

}  // namespace

}  // namespace qz
