// SPDX-License-Identifier: MIT
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzVariant.h>

#include "support/Allocations.h"
#include "variant/CountedUserData.h"
#include "variant/PlainVariant.h"
#include "variant/VariantTrees.h"

namespace qz {

using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;

namespace {

// --- One value more for a key

struct InsertRow {
    const char* name;
    const char* before;  // the value of "k" before, as in the table of makeValue; null for none
    const char* added;
    const char* merged;  // the value of "k" afterwards
    const char* apart;   // the same with keepApart
};

qzVariant makeValue(const std::string& name)
{
    const double numbers[] = {1, 2};
    if (name == "null") return {};
    if (name == "1") return 1;
    if (name == "2.5") return 2.5;
    if (name == "true") return true;
    if (name == "vec") return {qzVariant::VEC2D, numbers};
    if (name == "date") return qzVariant::DateTime(1);
    if (name == "none") return qzVariant(static_cast<qzVariant::UserDataInterface*>(nullptr));
    if (name == "{}") return Map();
    if (name == "{a:1}") return Map{{"a", 1}};
    if (name == "{a:x,b:1}") return Map{{"a", "x"}, {"b", 1}};
    if (name == "{a:{c:1}}") return Map{{"a", Map{{"c", 1}}}};
    if (name == "{a:{c:2,d:3}}") return Map{{"a", Map{{"c", 2}, {"d", 3}}}};
    if (name == "[]") return List();
    if (name == "[x]") return List{"x"};
    if (name == "[x,y]") return List{"x", "y"};
    if (name == "[1]") return List{1};
    if (name == "[x,1]") return List{"x", 1};
    return name;
}

const InsertRow kInsertRows[] = {
    {"NewScalar", nullptr, "1", "1", "1"},
    {"NewString", nullptr, "x", R"("x")", R"("x")"},
    {"NewMap", nullptr, "{a:1}", R"({"a": 1})", R"({"a": 1})"},
    {"NewList", nullptr, "[x]", R"(["x"])", R"(["x"])"},
    {"NewEmpty", nullptr, "null", "UNKNOWN", "UNKNOWN"},

    {"EqualStrings", "x", "x", R"("x")", R"(["x", "x"])"},
    {"EmptyStrings", "", "", R"("")", R"(["", ""])"},
    {"OtherStrings", "x", "y", R"(["x", "y"])", R"(["x", "y"])"},
    {"EqualIntegers", "1", "1", "[1, 1]", "[1, 1]"},
    {"EqualReals", "2.5", "2.5", "[2.5, 2.5]", "[2.5, 2.5]"},
    {"EqualBools", "true", "true", "[true, true]", "[true, true]"},
    {"EqualDates", "date", "date", "[DATETIME(1), DATETIME(1)]", "[DATETIME(1), DATETIME(1)]"},
    {"EqualArrays", "vec", "vec", "[VEC2D[1.0, 2.0], VEC2D[1.0, 2.0]]",
     "[VEC2D[1.0, 2.0], VEC2D[1.0, 2.0]]"},
    {"EmptyValues", "null", "null", "[UNKNOWN, UNKNOWN]", "[UNKNOWN, UNKNOWN]"},
    {"EmptyAndScalar", "null", "1", "[UNKNOWN, 1]", "[UNKNOWN, 1]"},
    {"StringAndInteger", "x", "1", R"(["x", 1])", R"(["x", 1])"},
    {"IntegerAndString", "1", "x", R"([1, "x"])", R"([1, "x"])"},

    {"StringToListOfStrings", "[x]", "y", R"(["x", "y"])", R"(["x", "y"])"},
    {"EqualStringToListOfStrings", "[x]", "x", R"(["x", "x"])", R"(["x", "x"])"},
    {"StringToEmptyList", "[]", "x", R"(["x"])", R"(["x"])"},
    {"StringToListOfOthers", "[1]", "x", R"([1, "x"])", R"([1, "x"])"},
    {"StringToMixedList", "[x,1]", "x", R"(["x", 1, "x"])", R"(["x", 1, "x"])"},
    {"IntegerToListOfStrings", "[x]", "1", R"(["x", 1])", R"(["x", 1])"},
    {"IntegerToEmptyList", "[]", "1", "[1]", "[1]"},
    {"ListToList", "[x]", "[x,y]", R"(["x", ["x", "y"]])", R"(["x", ["x", "y"]])"},
    {"MapToList", "[1]", "{a:1}", R"([1, {"a": 1}])", R"([1, {"a": 1}])"},
    {"EmptyValueToList", "[1]", "null", "[1, UNKNOWN]", "[1, UNKNOWN]"},
    {"ListToString", "x", "[x]", R"(["x", ["x"]])", R"(["x", ["x"]])"},
    {"ListToMap", "{a:1}", "[x]", R"([{"a": 1}, ["x"]])", R"([{"a": 1}, ["x"]])"},

    {"MapAndMap", "{a:1}", "{a:x,b:1}", R"({"a": [1, "x"], "b": 1})",
     R"([{"a": 1}, {"a": "x", "b": 1}])"},
    {"MapsAlike", "{a:x,b:1}", "{a:x,b:1}", R"({"a": "x", "b": [1, 1]})",
     R"([{"a": "x", "b": 1}, {"a": "x", "b": 1}])"},
    {"MapsBelow", "{a:{c:1}}", "{a:{c:2,d:3}}", R"({"a": {"c": [1, 2], "d": 3}})",
     R"([{"a": {"c": 1}}, {"a": {"c": 2, "d": 3}}])"},
    {"MapAndEmptyMap", "{a:1}", "{}", R"({"a": 1})", R"([{"a": 1}, {}])"},
    {"EmptyMapAndMap", "{}", "{a:1}", R"({"a": 1})", R"([{}, {"a": 1}])"},
    {"MapBelowMeetsScalar", "{a:1}", "{a:{c:1}}", R"({"a": [1, {"c": 1}]})",
     R"([{"a": 1}, {"a": {"c": 1}}])"},
    {"ScalarBelowMeetsMap", "{a:{c:1}}", "{a:1}", R"({"a": [{"c": 1}, 1]})",
     R"([{"a": {"c": 1}}, {"a": 1}])"},
    {"MapAndScalar", "{a:1}", "1", R"([{"a": 1}, 1])", R"([{"a": 1}, 1])"},
    {"ScalarAndMap", "1", "{a:1}", R"([1, {"a": 1}])", R"([1, {"a": 1}])"},
    {"NoObjects", "none", "none", "[USERDATA(0), USERDATA(0)]", "[USERDATA(0), USERDATA(0)]"},
};

class qzVariantInsert : public ::testing::TestWithParam<InsertRow> {
protected:
    static Map makeMap()
    {
        Map map{{"j", "before"}, {"l", "behind"}};
        if (GetParam().before != nullptr) map["k"] = makeValue(GetParam().before);
        return map;
    }
    static std::string wanted(const std::string& value)
    {
        return R"({"j": "before", "k": )" + value + R"(, "l": "behind"})";
    }
};

TEST_P(qzVariantInsert, MergesAsItsRow)
{
    Map map = makeMap();
    const qzVariant added = makeValue(GetParam().added);
    map.multiInsert("k", added, false);
    EXPECT_EQ(describe(map), wanted(GetParam().merged));
    EXPECT_EQ(describe(added), describe(makeValue(GetParam().added)));
}

TEST_P(qzVariantInsert, KeepsApartAsItsRow)
{
    Map map = makeMap();
    map.multiInsert("k", makeValue(GetParam().added), true);
    EXPECT_EQ(describe(map), wanted(GetParam().apart));
}

TEST_P(qzVariantInsert, DoesTheSameWithAValueThatItMayDestroy)
{
    Map map = makeMap();
    qzVariant value = makeValue(GetParam().added);
    map.multiInsertAndDestroy("k", value, false);
    EXPECT_EQ(describe(map), wanted(GetParam().merged));
    value = makeValue(GetParam().added);
    map = makeMap();
    map.multiInsertAndDestroy("k", value, true);
    EXPECT_EQ(describe(map), wanted(GetParam().apart));
}

TEST_P(qzVariantInsert, MergesWithAMapOfTheValue)
{
    for (const bool keepApart : {false, true}) {
        Map map = makeMap();
        map.mergeWith(Map{{"k", makeValue(GetParam().added)}}, keepApart);
        EXPECT_EQ(describe(map), wanted(keepApart ? GetParam().apart : GetParam().merged));
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, qzVariantInsert, ::testing::ValuesIn(kInsertRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzVariantMergeTest, LeavesAnEmptyVariantWhereItSwappedTheValueIn)
{
    Map map;
    qzVariant value(List{1});
    map.multiInsertAndDestroy("k", value, false);
    EXPECT_TRUE(value.isNull());
    map["k"] = 1;
    value = 2;
    map.multiInsertAndDestroy("k", value, false);
    EXPECT_TRUE(value.isNull());
    map["k"] = "x";
    value = "x";
    map.multiInsertAndDestroy("k", value, true);
    EXPECT_TRUE(value.isNull());
}

TEST(qzVariantMergeTest, EmptiesAStringThatItTookOrHadAlready)
{
    Map map{{"k", "x"}};
    qzVariant value("x");
    map.multiInsertAndDestroy("k", value, false);
    EXPECT_EQ(value, "");
    map["k"] = List{"x"};
    value = "y";
    map.multiInsertAndDestroy("k", value, false);
    EXPECT_EQ(value, "");
    EXPECT_EQ(describe(map), R"({"k": ["x", "y"]})");
}

TEST(qzVariantMergeTest, LeavesAValueThatItCopied)
{
    Map map{{"k", List{1}}};
    qzVariant value("y");
    map.multiInsertAndDestroy("k", value, false);
    EXPECT_EQ(value, "y");
    map["k"] = List{"x"};
    map.multiInsertAndDestroy("k", value, true);
    EXPECT_EQ(value, "y");
}

// A single element that is no string counts, wherever it is in the list.
TEST(qzVariantMergeTest, LeavesAValueThatItAddsToAListOfNotOnlyStrings)
{
    for (const std::size_t size : {1U, 2U, 63U, 64U, 65U, 200U}) {
        for (std::size_t place = 0; place != size; ++place) {
            List list;
            list.resize(size, "x");
            list[place] = 1;
            Map map{{"k", list}};
            qzVariant value("new");
            map.multiInsertAndDestroy("k", value, false);
            ASSERT_EQ(value, "new") << place << " of " << size;
            ASSERT_EQ(map["k"].getList()->back(), "new");
        }
    }
}

TEST(qzVariantMergeTest, PaysNoDeepCopyForAValueThatItOwns)
{
    const std::string text(1000, 'x');
    Map map{{"old", text}, {"list", List{"a"}}, {"map", Map{{"a", 1}}}};
    qzVariant single(text + "s");
    qzVariant forList(text + "l");
    qzVariant forMap(Map{{"b", text + "m"}});
    const char* const singleBytes = single.getString()->data();
    const char* const listBytes = forList.getString()->data();
    const char* const mapBytes = forMap.getMap()->find("b")->second.getString()->data();
    map.multiInsertAndDestroy("old", single, false);
    map.multiInsertAndDestroy("list", forList, false);
    map.multiInsertAndDestroy("map", forMap, false);
    EXPECT_EQ((*map["old"].getList())[1].getString()->data(), singleBytes);
    EXPECT_EQ(map["list"].getList()->back().getString()->data(), listBytes);
    EXPECT_EQ(map.findPathImpl("map/b", '/')->getString()->data(), mapBytes);
}

TEST(qzVariantMergeTest, MakesAFlatListOfManyValues)
{
    Map map;
    for (const char* text : {"x", "y", "z"})
        map.multiInsert("k", text, false);
    EXPECT_EQ(describe(map), R"({"k": ["x", "y", "z"]})");
    for (const int number : {1, 2, 3})
        map.multiInsert("n", number, true);
    EXPECT_EQ(describe(map), R"({"k": ["x", "y", "z"], "n": [1, 2, 3]})");
}

TEST(qzVariantMergeTest, TakesItsOwnKeysAndValues)
{
    Map map{{"a", List{"x"}}, {"b", 1}};
    map.multiInsert(map.begin()->first, (*map["a"].getList())[0], false);
    EXPECT_EQ(describe(map), R"({"a": ["x", "x"], "b": 1})");
    map.multiInsert("b", map["a"], false);
    EXPECT_EQ(describe(map["b"]), R"([1, ["x", "x"]])");
    qzVariant& element = (*map["a"].editList())[0];
    map.multiInsertAndDestroy("a", element, false);
    EXPECT_EQ(describe(map["a"]), R"(["", "x", "x"])");
}

TEST(qzVariantMergeTest, MergesWithItself)
{
    Map map{{"a", 1}, {"b", "x"}, {"c", Map{{"d", List{2}}}}};
    map.mergeWith(map, false);
    EXPECT_EQ(describe(map), R"({"a": [1, 1], "b": "x", "c": {"d": [2, [2]]}})");
}

TEST(qzVariantMergeTest, ClonesObjectsForACopyOnly)
{
    Map map{{"a", qzVariant(new CountedUserData(1))}};
    CountedUserData::ResetCounts();
    qzVariant value(new CountedUserData(2));
    map.multiInsertAndDestroy("a", value, false);
    EXPECT_EQ(CountedUserData::sClones, 0);
    map.multiInsert("a", qzVariant(new CountedUserData(3)), false);
    EXPECT_EQ(map["a"].getList()->size(), 3U);
    EXPECT_EQ(CountedUserData::sComparisons, 0);
}

TEST(qzVariantMergeTest, MergesTreesOfRandomValuesAsThePlainForm)
{
    std::size_t lists = 0;
    for (unsigned int seed = 0; seed != 1000; ++seed) {
        TreeMaker maker(seed);
        Map map = maker.makeMap(3);
        Map plainMap = map;
        for (int i = 0; i != 4; ++i) {
            const bool keepApart = maker.draw(3) == 0;
            const Map other = maker.makeMap(3);
            map.mergeWith(other, keepApart);
            for (const auto& [key, value] : other)
                plain::multiInsert(plainMap, key, value, keepApart);
            ASSERT_EQ(describe(map), describe(plainMap)) << seed;
        }
        for (const auto& entry : map)
            lists += entry.second.getList() != nullptr ? 1 : 0;
    }
    EXPECT_GT(lists, 1000U) << "the maps don't meet";
}

// Each added string checks whether all elements are strings.
TEST(qzVariantMergeTest, AppendsToLongListsAsToShortOnes)
{
    Map map;
    Map plainMap;
    for (int i = 0; i != 300; ++i) {
        const qzVariant value = i == 150 ? qzVariant(i) : qzVariant(std::to_string(i % 7));
        map.multiInsert("k", value, false);
        plain::multiInsert(plainMap, "k", value, false);
    }
    EXPECT_EQ(describe(map), describe(plainMap));
    EXPECT_EQ(map["k"].getList()->size(), 300U);
}

TEST(qzVariantMergeTest, AppendsStringsWithOneAllocationEach)
{
    for (const std::size_t size : {1000U, 2000U, 4000U}) {
        Map map{{"k", List()}};
        qzVariant value;
        const support::AllocationCounter allocations;
        for (std::size_t i = 0; i != size; ++i) {
            value = "text";
            map.multiInsertAndDestroy("k", value, false);
        }
        EXPECT_EQ(map["k"].getList()->size(), size);
        EXPECT_LE(allocations.getCount(), 2 * size + 20);
    }
}

// --- Flattening

struct FlattenRow {
    const char* name;
    Map tree;
    const char* flat;
};

std::vector<FlattenRow> getFlattenRows()
{
    return {
        {"Empty", {}, "{}"},
        {"Flat", {{"a", 1}, {"b", "x"}}, R"({"a": 1, "b": "x"})"},
        {"Nested", {{"a", Map{{"b", 1}}}}, R"({"a.b": 1})"},
        {"Deep", {{"a", Map{{"b", Map{{"c", 1}}}, {"d", 2}}}}, R"({"a.b.c": 1, "a.d": 2})"},
        {"EmptyMap", {{"a", Map()}}, "{}"},
        {"EmptyList", {{"a", List()}}, "{}"},
        {"EmptyValue", {{"a", qzVariant()}}, R"({"a": UNKNOWN})"},
        {"EmptyKeys", {{"", Map{{"", 1}}}}, R"({".": 1})"},
        {"List", {{"a", List{1, 2}}}, R"({"a.": [1, 2]})"},
        {"ListOfOne", {{"a", List{1}}}, R"({"a.": 1})"},
        {"ListOfEqualStrings", {{"a", List{"x", "x", "y"}}}, R"({"a.": ["x", "y"]})"},
        {"ListOfLists", {{"a", List{List{1}, List{2, List{3}}}}}, R"({"a.": [1, 2, 3]})"},
        {"ListOfMaps",
         {{"a", List{Map{{"b", 1}}, Map{{"b", 2}, {"c", 3}}}}},
         R"({"a.b": [1, 2], "a.c": 3})"},
        {"MapInAListOfLists", {{"a", List{List{Map{{"b", List{1}}}}}}}, R"({"a.b.": 1})"},
        {"MixedList", {{"a", List{1, Map{{"b", 2}}, "x"}}}, R"({"a.": [1, "x"], "a.b": 2})"},
        {"ListInAMap", {{"a", Map{{"b", List{1}}, {"c", 2}}}}, R"({"a.b.": 1, "a.c": 2})"},
        {"KeysThatMeet", {{"a", Map{{"b", 1}}}, {"a.b", 2}}, R"({"a.b": [1, 2]})"},
        {"StringsThatMeet", {{"a", Map{{"b", "x"}}}, {"a.b", "x"}}, R"({"a.b": "x"})"},
    };
}

class qzVariantFlatten : public ::testing::TestWithParam<FlattenRow> {};

TEST_P(qzVariantFlatten, GivesTheLeavesOfItsRow)
{
    Map flat;
    GetParam().tree.toFlattenMap(flat, '.');
    EXPECT_EQ(describe(flat), GetParam().flat);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzVariantFlatten, ::testing::ValuesIn(getFlattenRows()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzVariantFlattenTest, AddsToWhatIsThere)
{
    Map flat{{"a/b", "old"}, {"z", 1}};
    Map{{"a", Map{{"b", "new"}}}}.toFlattenMap(flat, '/');
    EXPECT_EQ(describe(flat), R"({"a/b": ["old", "new"], "z": 1})");
}

TEST(qzVariantFlattenTest, TakesAnyByteForASeparator)
{
    for (const char separator : {'\0', '\xff', ' '}) {
        Map flat;
        Map{{"a", Map{{"b", 1}}}}.toFlattenMap(flat, separator);
        EXPECT_EQ(flat.count(std::string("a") + separator + "b"), 1U);
    }
}

TEST(qzVariantFlattenTest, FlattensIntoItself)
{
    Map map{{"a", Map{{"b", 1}}}, {"c", 2}};
    map.toFlattenMap(map, '/');
    EXPECT_EQ(describe(map), R"({"a": {"b": 1}, "a/b": 1, "c": [2, 2]})");
}

// In the order of keys, the new entry "a/b" comes after "a-", which is visited after "a".
TEST(qzVariantFlattenTest, FlattensIntoItselfWithoutItsNewEntries)
{
    Map map{{"a", Map{{"b", 1}}}, {"a-", 2}};
    map.toFlattenMap(map, '/');
    EXPECT_EQ(describe(map), R"({"a": {"b": 1}, "a-": [2, 2], "a/b": 1})");
}

TEST(qzVariantFlattenTest, RefusesAMapInsideItselfBeforeAnythingChanges)
{
    Map map{{"a", Map{{"A", 1}, {"B", 2}}}, {"l", List{1, List{Map{{"deep", Map()}}}}}};
    const std::string before = describe(map);
    Map& listed = *(*(*map["l"].editList())[1].editList())[0].editMap();
    for (Map* part : {map["a"].editMap(), &listed, listed["deep"].editMap()}) {
        std::string message;
        try {
            map.toFlattenMap(*part, '/');
        } catch (const std::invalid_argument& error) {
            message = error.what();
        }
        EXPECT_EQ(message, "a map is flattened into its own part");
        EXPECT_EQ(describe(map), before);
    }
}

TEST(qzVariantFlattenTest, FlattensIntoAMapThatContainsIt)
{
    Map map{{"a", Map{{"a", 1}, {"b", List{2, 3}}}}};
    map["a"].getMap()->toFlattenMap(map, '/');
    EXPECT_EQ(describe(map), R"({"a": [{"a": 1, "b": [2, 3]}, 1], "b/": [2, 3]})");
}

TEST(qzVariantMergeTest, KeepsAnEntryThatIsInsertedIntoItself)
{
    for (const bool keepApart : {false, true}) {
        Map map{{"text", "x"}, {"number", 5}, {"list", List{"x"}}, {"map", Map{{"a", 1}}}};
        const std::string before = describe(map);
        for (const char* key : {"text", "number", "list", "map"})
            map.multiInsertAndDestroy(key, map[key], keepApart);
        EXPECT_EQ(describe(map), before);
    }
}

TEST(qzVariantFlattenTest, FlattensTreesOfRandomValuesAsThePlainForm)
{
    for (unsigned int seed = 0; seed != 1000; ++seed) {
        TreeMaker maker(seed);
        const Map tree = maker.makeMap(5);
        Map flat = maker.makeMap(1);
        Map plainFlat = flat;
        tree.toFlattenMap(flat, '/');
        plain::flattenMap(tree, "", plainFlat, "/");
        ASSERT_EQ(describe(flat), describe(plainFlat)) << seed << ": " << tree;
    }
}

}  // namespace

}  // namespace qz
