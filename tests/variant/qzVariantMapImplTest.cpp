// SPDX-License-Identifier: MIT
#include <algorithm>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzVariant.h>

#include "support/Allocations.h"
#include "variant/CountedUserData.h"
#include "variant/VariantTrees.h"

namespace qz {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;

static_assert(sizeof(List) == sizeof(std::vector<qzVariant>));

namespace {

const std::string kZero("\0", 1);

// --- The map

TEST(qzVariantMapImplTest, KeepsItsKeysInTheOrderOfTheirBytes)
{
    Map map;
    for (const std::string& key : {std::string("b"), std::string("\xff"), std::string("aa"),
                                   std::string(), "a" + kZero, std::string("a"), std::string("B")})
        map[key] = 1;
    std::vector<std::string> keys{"old"};
    map.getKeys(keys);
    EXPECT_THAT(keys, ElementsAre("", "B", "a", "a" + kZero, "aa", "b", "\xff"));
    Map().getKeys(keys);
    EXPECT_THAT(keys, IsEmpty());
}

TEST(qzVariantMapImplTest, GivesTheKeysOfOneLevelOnly)
{
    std::vector<std::string> keys;
    Map{{"a", Map{{"b", 1}}}, {"c", List{Map{{"d", 1}}}}}.getKeys(keys);
    EXPECT_THAT(keys, ElementsAre("a", "c"));
}

TEST(qzVariantMapImplTest, FindsAddsAndRemoves)
{
    Map map;
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(map.find("a"), map.end());
    EXPECT_TRUE(map["a"].isNull());
    map["a"] = 1;
    map["b"] = 2;
    EXPECT_EQ(map.size(), 2U);
    EXPECT_EQ(map.find("a")->second, 1);
    EXPECT_EQ(std::as_const(map).find("b")->first, "b");
    EXPECT_EQ(std::as_const(map).find("c"), std::as_const(map).end());
    EXPECT_EQ(map.count("a"), 1U);
    EXPECT_EQ(map.count("c"), 0U);
    EXPECT_EQ(map.erase("c"), 0U);
    EXPECT_EQ(map.erase("a"), 1U);
    EXPECT_EQ(map.erase(map.begin()), map.end());
    EXPECT_TRUE(map.empty());
}

TEST(qzVariantMapImplTest, TakesTheFirstOfEqualKeysThatItIsMadeOf)
{
    EXPECT_EQ(describe(Map{{"a", 1}, {"b", 2}, {"a", 3}}), R"({"a": 1, "b": 2})");
}

TEST(qzVariantMapImplTest, FindsItsWayAfterManyAdditionsAndRemovals)
{
    Map map;
    std::map<std::string, long> plain;
    TreeMaker maker(1);
    for (int i = 0; i != 20000; ++i) {
        const std::string key = std::to_string(maker.draw(300));
        if (maker.draw(3) == 0) {
            ASSERT_EQ(map.erase(key), plain.erase(key));
        } else {
            map[key] = i;
            plain[key] = i;
        }
        if (i % 5000 == 4999) map = Map(map);
    }
    ASSERT_EQ(map.size(), plain.size());
    for (const auto& [key, value] : plain)
        EXPECT_EQ(map[key], value) << key;
}

TEST(qzVariantMapImplTest, DistinguishesKeysByEachOfTheirBytes)
{
    std::vector<std::string> keys;
    for (std::size_t length = 0; length != 40; ++length) {
        for (std::size_t place = 0; place != length; ++place) {
            for (const char byte : {'\0', 'a', 'c', '\xff'}) {
                std::string key(length, 'b');
                key[place] = byte;
                keys.push_back(key);
            }
        }
        keys.push_back(std::string(length, 'b'));
    }
    Map map;
    for (std::size_t i = 0; i != keys.size(); ++i)
        map[keys[i]] = static_cast<long>(i);
    ASSERT_EQ(map.size(), keys.size());
    for (std::size_t i = 0; i != keys.size(); ++i)
        EXPECT_EQ(map[keys[i]], static_cast<long>(i));
    std::vector<std::string> ordered;
    map.getKeys(ordered);
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(ordered, keys);
}

TEST(qzVariantMapImplTest, KeepsItsValuesInPlaceWhileItChanges)
{
    Map map;
    qzVariant* const first = &map["m"];
    *first = 5;
    for (int i = 0; i != 1000; ++i)
        map[std::to_string(i)] = i;
    for (int i = 0; i != 1000; i += 2)
        map.erase(std::to_string(i));
    EXPECT_EQ(&map["m"], first);
    EXPECT_EQ(*first, 5);
    Map moved(std::move(map));
    EXPECT_EQ(&moved["m"], first);
}

TEST(qzVariantMapImplTest, CopiesMovesAndAssigns)
{
    const Map source{{"a", 1}, {"b", List{2}}};
    Map copy(source);
    (*copy["b"].editList())[0] = 3;
    EXPECT_EQ(describe(source), R"({"a": 1, "b": [2]})");
    Map target{{"c", 1}};
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(target, source);
    Map moved(std::move(target));
    EXPECT_TRUE(target.empty());
    EXPECT_EQ(moved, source);
    target["again"] = 1;
    target = std::move(moved);
    EXPECT_TRUE(moved.empty());
    EXPECT_EQ(target, source);
    moved["again"] = 1;
    EXPECT_EQ(moved.size(), 1U);
}

TEST(qzVariantMapImplTest, StaysItselfWhenAssignedToItself)
{
    Map map{{"a", 1}};
    const Map& same = map;
    map = same;
    EXPECT_EQ(describe(map), R"({"a": 1})");
    map = std::move(const_cast<Map&>(same));
    EXPECT_EQ(describe(map), R"({"a": 1})");
}

TEST(qzVariantMapImplTest, IsUsableAfterItIsCleared)
{
    Map map{{"a", 1}};
    map.clear();
    map.clear();
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(map.erase("a"), 0U);
    map["b"] = 2;
    map.erase("b");
    map["c"] = 3;
    EXPECT_EQ(describe(map), R"({"c": 3})");
}

TEST(qzVariantMapImplTest, IsEmptyForADestructorOfItsValuesWhileItIsCleared)
{
    struct Looker : CountedUserData {
        Looker(Map& map, std::size_t& seen) : CountedUserData(1), mMap(map), mSeen(seen) {}
        ~Looker() override { mSeen = mMap.count("a") + mMap.size(); }
        Map& mMap;
        std::size_t& mSeen;
    };
    std::size_t seen = 99;
    Map map;
    map["a"] = qzVariant(new Looker(map, seen));
    map["b"] = 1;
    map.clear();
    EXPECT_EQ(seen, 0U);
}

TEST(qzVariantMapImplTest, MayBeClearedByTheDestructorOfAnErasedValue)
{
    struct Clearer : CountedUserData {
        explicit Clearer(Map& map) : CountedUserData(1), mMap(map) {}
        ~Clearer() override
        {
            mMap.clear();
            mMap["new"] = 1;
        }
        Map& mMap;
    };
    Map map{{"b", 1}, {"c", 2}};
    map["a"] = qzVariant(new Clearer(map));
    map.erase("a");
    EXPECT_EQ(describe(map), R"({"new": 1})");
}

TEST(qzVariantMapImplTest, DoesWhatItsHeaderShows)
{
    Map map;
    map.editValuePath("window/width", 800, '/');
    map.editValuePath("window/width", 0, '/') = 1024;
    map.multiInsert("file", "a.txt", /*keepApart=*/false);
    map.multiInsert("file", "b.txt", /*keepApart=*/false);
    EXPECT_EQ(map.toString(), "(file=a.txt b.txt),(window=(width=1024))");
}

TEST(qzVariantMapImplTest, IsEditedAsTheGuideShows)
{
    List names{"b", "c"};
    names.insert(names.begin(), "a");
    names.pop_back();
    Map map;
    map.insert({"count", names.size()});
    map["names"] = names;
    map["empty"];
    for (auto entry = map.begin(); entry != map.end();)
        entry = entry->second.isNull() ? map.erase(entry) : std::next(entry);
    EXPECT_EQ(describe(map), R"({"count": 2, "names": ["a", "b"]})");
}

TEST(qzVariantMapImplTest, InsertsOnlyNewKeys)
{
    Map map;
    const auto [first, isNew] = map.insert({"a", 1});
    EXPECT_TRUE(isNew);
    EXPECT_EQ(first->first, "a");
    const Map::value_type again("a", 2);
    const auto [second, isNewAgain] = map.insert(again);
    EXPECT_FALSE(isNewAgain);
    EXPECT_EQ(second, first);
    map.insert({{"a", 3}, {"b", "x"}, {"b", "y"}});
    const std::map<std::string, int> others{{"b", 4}, {"c", 5}};
    map.insert(others.begin(), others.end());
    EXPECT_EQ(describe(map), R"({"a": 1, "b": "x", "c": 5})");
}

TEST(qzVariantMapImplTest, KeepsTheValueOfAnEntryThatIsNotInserted)
{
    Map map{{"a", 1}};
    Map::value_type entry("a", "precious");
    map.insert(std::move(entry));
    EXPECT_EQ(entry.second, "precious");
    Map::value_type other("b", "x");
    EXPECT_EQ(map.insert(std::move(other)).first->second, "x");
}

TEST(qzVariantMapImplTest, AssignsAValueToANewOrOldKey)
{
    Map map;
    EXPECT_TRUE(map.insert_or_assign("a", 1).second);
    const auto [position, isNew] = map.insert_or_assign("a", List{2});
    EXPECT_FALSE(isNew);
    EXPECT_EQ(describe(position->second), "[2]");
}

TEST(qzVariantMapImplTest, ErasesARangeAndReturnsTheNextEntry)
{
    Map map{{"a", 1}, {"b", 2}, {"c", 3}, {"d", 4}};
    EXPECT_EQ(map.erase(map.find("b"), map.find("d"))->first, "d");
    EXPECT_EQ(describe(map), R"({"a": 1, "d": 4})");
    const auto next = map.erase(map.find("d"));
    EXPECT_EQ(next, map.end());
    EXPECT_EQ(map.erase(map.begin(), map.end()), map.end());
    EXPECT_TRUE(map.empty());
}

TEST(qzVariantMapImplTest, IsWalkedInBothDirections)
{
    Map map;
    for (const char* key : {"d", "a", "c", "b", "e"})
        map[key] = key;
    std::string forwards;
    for (Map::const_iterator it = map.begin(); it != map.end(); it++)
        forwards += it->first;
    std::string backwards;
    for (auto it = map.end(); it != map.begin();)
        backwards += (--it)->second.toString();
    EXPECT_EQ(forwards, "abcde");
    EXPECT_EQ(backwards, "edcba");
    EXPECT_EQ((*std::prev(map.end(), 2)).first, "d");
    EXPECT_EQ(std::distance(map.begin(), map.end()), 5);
}

TEST(qzVariantMapImplTest, KeepsReferencesToEntriesWhileOthersComeAndGo)
{
    Map map{{"key", "value"}};
    const auto position = map.find("key");
    const qzVariant& value = map["key"];
    for (int i = 0; i != 1000; ++i)
        map[std::to_string(i)] = i;
    for (int i = 0; i != 1000; ++i)
        map.erase(std::to_string(i));
    EXPECT_EQ(&position->second, &value);
    EXPECT_EQ(value, "value");
    EXPECT_EQ(std::next(position), map.end());
    Map moved(std::move(map));
    EXPECT_EQ(&moved["key"], &value);
}

TEST(qzVariantMapImplTest, AllocatesInProportionToItsEntries)
{
    for (const int size : {1000, 2000, 4000}) {
        Map map;
        const support::AllocationCounter additions;
        for (int i = 0; i != size; ++i)
            map[std::to_string(i)] = i;
        EXPECT_LE(additions.getCount(), static_cast<std::size_t>(size) + 10);
        const support::AllocationCounter copies;
        const Map copy(map);
        EXPECT_LE(copies.getCount(), static_cast<std::size_t>(size) + 10);
        EXPECT_LE(copies.getBytes(), static_cast<std::size_t>(size) * 160);
    }
}

// --- Lists

TEST(qzVariantListImplTest, BehavesAsAVector)
{
    List list;
    EXPECT_TRUE(list.empty());
    list.push_back(1);
    list.push_back(qzVariant("x"));
    EXPECT_EQ(list.emplace_back(2.5), 2.5);
    EXPECT_EQ(list.size(), 3U);
    EXPECT_EQ(list[1], "x");
    EXPECT_EQ(std::as_const(list)[2], 2.5);
    EXPECT_EQ(std::as_const(list).back(), 2.5);
    list.back() = true;
    EXPECT_EQ(std::vector<qzVariant>(list.begin(), list.end()).size(), 3U);
    EXPECT_EQ(std::as_const(list).end() - std::as_const(list).begin(), 3);
    list.resize(5);
    EXPECT_EQ(describe(list), R"([1, "x", true, UNKNOWN, UNKNOWN])");
    list.resize(1);
    list.resize(3, "y");
    EXPECT_EQ(describe(list), R"([1, "y", "y"])");
    list.clear();
    EXPECT_TRUE(list.empty());
}

TEST(qzVariantListImplTest, CopiesMovesAndAssigns)
{
    const List source{1, Map{{"a", 1}}};
    List copy(source);
    copy[1].editMap()->clear();
    EXPECT_EQ(describe(source), R"([1, {"a": 1}])");
    List target{2};
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(target, source);
    List moved(std::move(target));
    EXPECT_TRUE(target.empty());
    target = std::move(moved);
    EXPECT_TRUE(moved.empty());
    EXPECT_EQ(target, source);
    const List& same = target;
    target = same;
    EXPECT_EQ(target, source);
    target = std::move(const_cast<List&>(same));
    EXPECT_EQ(target, source);
}

TEST(qzVariantListImplTest, AppendsElementsOfItself)
{
    List list{"x", List{1}};
    for (int i = 0; i != 20; ++i)
        list.push_back(list[static_cast<std::size_t>(i)]);
    EXPECT_EQ(describe(list.back()), "[1]");
    EXPECT_EQ(list.size(), 22U);
}

}  // namespace

}  // namespace qz
