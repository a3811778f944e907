// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzVariant.h>

#include "support/Allocations.h"
#include "variant/VariantTrees.h"

namespace qz {

using ::testing::ElementsAre;
using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;

static_assert(Map::PathSearchMapsOnly == 0 && Map::PathSearchFirstListElement == 1);
static_assert(sizeof(Map::PathSearchPolicy) == 4);

namespace {

constexpr Map::PathSearchPolicy kMapsOnly = Map::PathSearchMapsOnly;
constexpr Map::PathSearchPolicy kFirstElement = Map::PathSearchFirstListElement;

Map makeChain(int levels)
{
    Map map;
    std::string path = "a";
    for (int i = 1; i != levels; ++i)
        path += "/a";
    map.editValuePath(path.c_str(), "end", '/');
    return map;
}

// --- Searching a path

struct LookRow {
    const char* name;
    const char* path;
    const char* mapsOnly;      // the description of what is found, or null
    const char* firstElement;  // the same with the other policy
};

const LookRow kLookRows[] = {
    {"TopKey", "scalar", "1", "1"},
    {"Missing", "none", nullptr, nullptr},
    {"Nested", "m/k", "2", "2"},
    {"MissingBelow", "m/none", nullptr, nullptr},
    {"MissingAbove", "none/k", nullptr, nullptr},
    {"Deep", "m/m/k", "3", "3"},
    {"MapItself", "m/m", R"({"k": 3})", R"({"k": 3})"},
    {"ThroughAScalar", "scalar/k", nullptr, nullptr},
    {"ThroughAnEmptyValue", "null/k", nullptr, nullptr},
    {"List", "maps", R"([{"b": 4, "l": [{"c": 5}]}, {"d": 6}])",
     R"([{"b": 4, "l": [{"c": 5}]}, {"d": 6}])"},
    {"ThroughAListOfMaps", "maps/b", nullptr, "4"},
    {"ThroughTwoLists", "maps/l/c", nullptr, "5"},
    {"NeverThroughTheSecondElement", "maps/d", nullptr, nullptr},
    {"ThroughAListOfScalars", "scalars/b", nullptr, nullptr},
    {"ThroughAListOfLists", "lists/b", nullptr, nullptr},
    {"ThroughAnEmptyList", "none-in-it/b", nullptr, nullptr},
    {"ThroughAListWithAMapBehindAScalar", "late/b", nullptr, nullptr},
    {"EmptyPath", "", "7", "7"},
    {"SeparatorBehind", "m/", "8", "8"},
    {"SeparatorAhead", "/k", nullptr, nullptr},
    {"OnlyASeparator", "/", nullptr, nullptr},
    {"EmptyKeyInTheMiddle", "e//k", "9", "9"},
    {"OtherSeparator", "m.k", nullptr, nullptr},
};

class qzVariantPathSearch : public ::testing::TestWithParam<LookRow> {
protected:
    static Map makeTree()
    {
        return {{"", 7},
                {"scalar", 1},
                {"null", qzVariant()},
                {"m", Map{{"", 8}, {"k", 2}, {"m", Map{{"k", 3}}}}},
                {"e", Map{{"", Map{{"k", 9}}}}},
                {"maps", List{Map{{"b", 4}, {"l", List{Map{{"c", 5}}}}}, Map{{"d", 6}}}},
                {"scalars", List{"x"}},
                {"lists", List{List{Map{{"b", 1}}}}},
                {"late", List{1, Map{{"b", 1}}}},
                {"none-in-it", List()}};
    }
    static std::string show(const qzVariant* found)
    {
        return found != nullptr ? describe(*found) : "null";
    }
};

TEST_P(qzVariantPathSearch, FindsTheEntryOfItsRow)
{
    Map tree = makeTree();
    const char* const path = GetParam().path;
    const qzVariant newValue("never");
    const std::string onlyMaps = GetParam().mapsOnly != nullptr ? GetParam().mapsOnly : "null";
    const std::string first = GetParam().firstElement != nullptr ? GetParam().firstElement : "null";
    EXPECT_EQ(show(tree.findPathImpl(path, '/', false, nullptr, kMapsOnly)), onlyMaps);
    EXPECT_EQ(show(tree.findPathImpl(path, '/', false, &newValue, kMapsOnly)), onlyMaps);
    EXPECT_EQ(show(std::as_const(tree).findPathImpl(path, '/')), onlyMaps);
    EXPECT_EQ(show(tree.findPathImpl(path, '/', false, nullptr, kFirstElement)), first);
    EXPECT_EQ(show(std::as_const(tree).findPathImpl(path, '/', kFirstElement)), first);
    EXPECT_EQ(tree, makeTree());
}

INSTANTIATE_TEST_SUITE_P(Rows, qzVariantPathSearch, ::testing::ValuesIn(kLookRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzVariantPathTest, FindsNothingAtANullPath)
{
    Map map{{"", 1}};
    EXPECT_EQ(map.findPathImpl(nullptr, '/', false, nullptr, kMapsOnly), nullptr);
    EXPECT_EQ(map.findPathImpl(nullptr, '/', true, &qzVariant::sNullVariant, kFirstElement),
              nullptr);
    EXPECT_EQ(std::as_const(map).findPathImpl(nullptr, '/'), nullptr);
    EXPECT_EQ(describe(map), R"({"": 1})");
}

TEST(qzVariantPathTest, GivesTheEntryItself)
{
    Map map{{"a", Map{{"b", 1}}}};
    *map.findPathImpl("a/b", '/', false, nullptr, kMapsOnly) = 2;
    EXPECT_EQ(describe(map), R"({"a": {"b": 2}})");
    EXPECT_EQ(std::as_const(map).findPathImpl("a/b", '/'), &map["a"].editMap()->find("b")->second);
}

TEST(qzVariantPathTest, TakesAnyByteForASeparator)
{
    Map map{{"a", Map{{"b", 1}}}};
    for (const char separator : {'.', '\\', '\xff', 'x', ' '}) {
        const std::string path = std::string("a") + separator + "b";
        EXPECT_NE(map.findPathImpl(path.c_str(), separator, false, nullptr, kMapsOnly), nullptr);
    }
    EXPECT_NE(map.findPathImpl("a", '\0', false, nullptr, kMapsOnly), nullptr);
    EXPECT_EQ(map.findPathImpl("a/b", '\0', false, nullptr, kMapsOnly), nullptr);
}

TEST(qzVariantPathTest, EndsAPathAtAZeroByte)
{
    Map map;
    map.editValuePath("a\0b", 1, '/') = 2;
    EXPECT_EQ(describe(map), R"({"a": 2})");
}

TEST(qzVariantPathTest, SearchesWithoutAnAllocation)
{
    const Map map = makeChain(5);
    const support::AllocationCounter allocations;
    EXPECT_NE(map.findPathImpl("a/a/a/a/a", '/'), nullptr);
    EXPECT_EQ(map.findPathImpl("a/a/a/a/b", '/'), nullptr);
    EXPECT_EQ(allocations.getCount(), 0U);
}

// --- Making a path

struct EditRow {
    const char* name;
    Map before;
    const char* path;
    const char* after;
    const char* found;
};

std::vector<EditRow> getEditRows()
{
    return {
        {"NewKey", {}, "a", R"({"a": 5})", "5"},
        {"NewPath", {}, "a/b/c", R"({"a": {"b": {"c": 5}}})", "5"},
        {"OldKeyStays", {{"a", 1}}, "a", R"({"a": 1})", "1"},
        {"OldEmptyValueStays", {{"a", qzVariant()}}, "a", R"({"a": UNKNOWN})", "UNKNOWN"},
        {"OldMapStays", {{"a", Map{{"b", 1}}}}, "a", R"({"a": {"b": 1}})", R"({"b": 1})"},
        {"ScalarGivesWay", {{"a", 1}}, "a/b", R"({"a": {"b": 5}})", "5"},
        {"EmptyValueGivesWay", {{"a", qzVariant()}}, "a/b", R"({"a": {"b": 5}})", "5"},
        {"StringGivesWay", {{"a", "x"}, {"z", 1}}, "a/b", R"({"a": {"b": 5}, "z": 1})", "5"},
        {"ListGivesWayAndIsNotEntered",
         {{"a", List{Map{{"b", 1}}}}},
         "a/b",
         R"({"a": {"b": 5}})",
         "5"},
        {"MapIsEntered", {{"a", Map{{"c", 1}}}}, "a/b", R"({"a": {"b": 5, "c": 1}})", "5"},
        {"DeepScalarGivesWay",
         {{"a", Map{{"b", 1}, {"k", 2}}}},
         "a/b/c/d",
         R"({"a": {"b": {"c": {"d": 5}}, "k": 2}})",
         "5"},
        {"EmptyPath", {}, "", R"({"": 5})", "5"},
        {"SeparatorBehind", {}, "a/", R"({"a": {"": 5}})", "5"},
        {"SeparatorAhead", {}, "/a", R"({"": {"a": 5}})", "5"},
        {"OnlySeparators", {}, "//", R"({"": {"": {"": 5}}})", "5"},
    };
}

class qzVariantPathEdit : public ::testing::TestWithParam<EditRow> {};

TEST_P(qzVariantPathEdit, MakesTheTreeOfItsRow)
{
    Map map(GetParam().before);
    const qzVariant& found = map.editValuePath(GetParam().path, 5, '/');
    EXPECT_EQ(describe(found), GetParam().found);
    EXPECT_EQ(describe(map), GetParam().after);
    EXPECT_EQ(map.findPathImpl(GetParam().path, '/', false, nullptr, kMapsOnly), &found);
}

TEST_P(qzVariantPathEdit, IgnoresThePolicyAndIsDoneTwiceTheSame)
{
    Map map(GetParam().before);
    const qzVariant value(5);
    qzVariant* const found = map.findPathImpl(GetParam().path, '/', true, &value, kFirstElement);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(describe(map), GetParam().after);
    const qzVariant other(6);
    EXPECT_EQ(map.findPathImpl(GetParam().path, '/', true, &other, kFirstElement), found);
    EXPECT_EQ(describe(map), GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzVariantPathEdit, ::testing::ValuesIn(getEditRows()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzVariantPathTest, MakesAnEmptyEntryWithoutAValue)
{
    Map map;
    EXPECT_TRUE(map.findPathImpl("a/b", '/', true, nullptr, kMapsOnly)->isNull());
    EXPECT_EQ(describe(map), R"({"a": {"b": UNKNOWN}})");
}

TEST(qzVariantPathTest, CopiesTheValueOfANewEntry)
{
    const qzVariant value(List{1});
    Map map;
    map.editValuePath("a", value, '/').editList()->clear();
    EXPECT_EQ(describe(value), "[1]");
}

TEST(qzVariantPathTest, DestroyedValuesGiveWayToo)
{
    Map map;
    map["a"].destroy();
    map.editValuePath("a/b", 5, '/');
    EXPECT_EQ(describe(map), R"({"a": {"b": 5}})");
}

TEST(qzVariantPathTest, TakesAPartOfTheValueThatItReplaces)
{
    Map map{{"a", List{"x"}}};
    map.editValuePath("a/b", (*map["a"].getList())[0], '/');
    EXPECT_EQ(describe(map), R"({"a": {"b": "x"}})");
}

TEST(qzVariantPathTest, TakesTheValueThatItReplaces)
{
    Map map{{"a", "x"}};
    map.editValuePath("a/b", map["a"], '/');
    EXPECT_EQ(describe(map), R"({"a": {"b": "x"}})");
}

TEST(qzVariantPathTest, TakesTheEmptyValueThatItReplaces)
{
    Map map{{"a", qzVariant()}};
    map.editValuePath("a/b", map["a"], '/');
    EXPECT_TRUE((*map["a"].getMap()).find("b")->second.isNull());
}

TEST(qzVariantPathTest, EditsAFallbackEntryAtANullPath)
{
    Map map;
    qzVariant& entry = map.editValuePath(nullptr, 5, '/');
    EXPECT_TRUE(entry.isNull());
    EXPECT_EQ(describe(map), R"({"avoidcrashkey": UNKNOWN})");
    entry = 6;
    EXPECT_EQ(&map.editValuePath(nullptr, 7, '/'), &entry);
    EXPECT_EQ(entry, 6);
    std::vector<std::string> keys;
    map.getKeys(keys);
    EXPECT_THAT(keys, ElementsAre("avoidcrashkey"));
    EXPECT_EQ(map.toString(), "(avoidcrashkey=6)");
}

TEST(qzVariantPathTest, FindsAFallbackEntryThatIsAnOrdinaryOne)
{
    Map map{{"avoidcrashkey", Map{{"a", 1}}}};
    EXPECT_EQ(describe(map.editValuePath(nullptr, 5, '/')), R"({"a": 1})");
    EXPECT_EQ(map.size(), 1U);
}

}  // namespace

}  // namespace qz
