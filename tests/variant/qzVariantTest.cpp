// SPDX-License-Identifier: MIT
#include <qz/qzVariant.h>

#include <atomic>
#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "io/VirtualSlots.h"
#include "support/Allocations.h"
#include "variant/CountedUserData.h"
#include "variant/VariantTrees.h"

namespace qz {

using support::AllocationCounter;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;

static_assert(sizeof(qzVariant) == 16 && alignof(qzVariant) == 8);
static_assert(std::is_nothrow_move_constructible_v<qzVariant>);
static_assert(std::is_nothrow_move_assignable_v<qzVariant>);
static_assert(std::is_nothrow_destructible_v<qzVariant>);
static_assert(!std::is_polymorphic_v<qzVariant>);
static_assert(!std::is_polymorphic_v<Map> && !std::is_polymorphic_v<List>);
static_assert(sizeof(qzVariant::DateTime) == sizeof(long));
static_assert(std::is_same_v<decltype(qzVariant::DateTime::count), long>);
static_assert(sizeof(qzVariant::UserDataInterface) == sizeof(void*));
static_assert(std::is_abstract_v<qzVariant::UserDataInterface>);
static_assert(!std::is_constructible_v<qzVariant, const void*>, "no pointer is a truth value");

namespace {

constexpr double kNumbers[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

qzVariant makeArray(qzVariant::Type type)
{
    return {type, kNumbers};
}

qzVariant makeUserData(int value)
{
    return qzVariant(new CountedUserData(value));
}

// --- Types

struct TypeRow {
    const char* name;
    int number;
    const char* text;
    qzVariant value;
};

std::vector<TypeRow> getTypeRows()
{
    return {
        {"Unknown", 0, "UNKNOWN", {}},
        {"Integer", 1, "INTEGER", 5},
        {"Real", 2, "REAL", 5.0},
        {"String", 3, "STRING", "5"},
        {"Bool", 4, "BOOL", true},
        {"Vec2d", 5, "VEC2D", makeArray(qzVariant::VEC2D)},
        {"Vec3d", 6, "VEC3D", makeArray(qzVariant::VEC3D)},
        {"Vec4d", 7, "VEC4D", makeArray(qzVariant::VEC4D)},
        {"Map", 10, "MAP", Map()},
        {"List", 11, "LIST", List()},
        {"Mat3d", 12, "MAT3D", makeArray(qzVariant::MAT3D)},
        {"Mat4d", 13, "MAT4D", makeArray(qzVariant::MAT4D)},
        {"DateTime", 14, "NOT DEFINED", qzVariant::DateTime(5)},
        {"UserData", 15, "NOT DEFINED", makeUserData(5)},
    };
}

class qzVariantType : public ::testing::TestWithParam<TypeRow> {};

TEST_P(qzVariantType, HasItsNumberAndName)
{
    EXPECT_EQ(GetParam().value.getType(), GetParam().number);
    EXPECT_EQ(GetParam().value.getTypeAsString(), GetParam().text);
    EXPECT_EQ(GetParam().value.isNull(), GetParam().number == 0);
}

TEST_P(qzVariantType, IsKeptByACopy)
{
    const qzVariant copy(GetParam().value);
    EXPECT_EQ(copy.getType(), GetParam().number);
    EXPECT_EQ(copy, GetParam().value);
    EXPECT_EQ(GetParam().value.getType(), GetParam().number);
}

TEST_P(qzVariantType, IsKeptByAnAssignmentToEachOtherType)
{
    for (const TypeRow& row : getTypeRows()) {
        qzVariant target(row.value);
        EXPECT_EQ(&(target = GetParam().value), &target);
        EXPECT_EQ(target, GetParam().value) << "over a " << row.name;
    }
}

TEST_P(qzVariantType, MovesAndLeavesAnEmptySource)
{
    qzVariant source(GetParam().value);
    const AllocationCounter allocations;
    qzVariant moved(std::move(source));
    EXPECT_EQ(source.getType(), qzVariant::UNKNOWN);
    qzVariant target;
    target = std::move(moved);
    EXPECT_EQ(moved.getType(), qzVariant::UNKNOWN);
    EXPECT_EQ(allocations.getCount(), 0U);
    EXPECT_EQ(target, GetParam().value);
}

TEST_P(qzVariantType, IsDestroyedAndCleared)
{
    qzVariant value(GetParam().value);
    value.destroy();
    EXPECT_EQ(value.getType(), 16);
    EXPECT_EQ(value.getType(), qzVariant::DESTROYED);
    EXPECT_EQ(value.getTypeAsString(), "NOT DEFINED");
    value.destroy();
    EXPECT_EQ(value.getType(), qzVariant::DESTROYED);
    value = GetParam().value;
    EXPECT_EQ(value, GetParam().value);
    value.clear();
    EXPECT_EQ(value.getType(), qzVariant::UNKNOWN);
    EXPECT_EQ(value, qzVariant());
}

TEST_P(qzVariantType, StaysItselfWhenAssignedToItself)
{
    qzVariant value(GetParam().value);
    const qzVariant& same = value;
    const AllocationCounter allocations;
    value = same;
    EXPECT_EQ(allocations.getCount(), 0U);
    EXPECT_EQ(value, GetParam().value);
    value = std::move(const_cast<qzVariant&>(same));
    EXPECT_EQ(value, GetParam().value);
}

TEST_P(qzVariantType, SwapsWithEachOtherType)
{
    for (const TypeRow& row : getTypeRows()) {
        qzVariant left(GetParam().value);
        qzVariant right(row.value);
        left.swap(right);
        EXPECT_EQ(left, row.value);
        EXPECT_EQ(right, GetParam().value);
    }
}

TEST_P(qzVariantType, OpensForItsOwnAccessorsOnly)
{
    qzVariant value(GetParam().value);
    const int type = GetParam().number;
    EXPECT_EQ(value.getString() != nullptr, type == 3);
    EXPECT_EQ(value.getMap() != nullptr, type == 10);
    EXPECT_EQ(value.editMap(), value.getMap());
    EXPECT_EQ(value.getList() != nullptr, type == 11);
    EXPECT_EQ(value.editList(), value.getList());
    EXPECT_EQ(value.getUserData() != nullptr, type == 15);
    EXPECT_EQ(value.getArray() != nullptr, value.arraySize() != 0);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzVariantType, ::testing::ValuesIn(getTypeRows()),
                         [](const auto& row) { return std::string(row.param.name); });

// --- Construction

TEST(qzVariantTest, TakesIntegersOfBothSizes)
{
    EXPECT_EQ(qzVariant(-7).toInteger(), -7);
    EXPECT_EQ(qzVariant(std::numeric_limits<int>::min()).toInteger(), -2147483648L);
    EXPECT_EQ(qzVariant(std::numeric_limits<long>::max()).toInteger(), 0x7fffffffffffffffL);
    EXPECT_EQ(qzVariant(std::numeric_limits<long>::min()).toInteger(),
              std::numeric_limits<long>::min());
}

TEST(qzVariantTest, TakesTextsWithAllTheirBytes)
{
    const std::string text("a\0b\xff", 4);
    EXPECT_EQ(*qzVariant(text).getString(), text);
    EXPECT_EQ(*qzVariant(std::string(text)).getString(), text);
    EXPECT_EQ(*qzVariant("abc").getString(), "abc");
    EXPECT_EQ(*qzVariant(static_cast<const char*>(nullptr)).getString(), "");
}

TEST(qzVariantTest, DoesWhatItsHeaderShows)
{
    Map settings{{"name", "north"}, {"height", 412.5}, {"active", true}};
    settings.editValuePath("log/level", 0, '/') = 2;
    const qzVariant tree(std::move(settings));
    EXPECT_EQ(tree.getMap()->findPathImpl("log/level", '/')->toInteger(), 2);
}

// A pointer that converted to a variant would belong to that, and a comparison would delete it.
static_assert(!std::is_convertible_v<qzVariant::UserDataInterface*, qzVariant>);
static_assert(!std::is_convertible_v<CountedUserData*, qzVariant>);
static_assert(std::is_constructible_v<qzVariant, CountedUserData*>);

template <typename Variant, typename Value, typename = void>
constexpr bool isComparable = false;
template <typename Variant, typename Value>
constexpr bool isComparable<
    Variant, Value, std::void_t<decltype(std::declval<Variant>() == std::declval<Value>())>> = true;
static_assert(isComparable<qzVariant, int> && isComparable<qzVariant, std::size_t>);
static_assert(!isComparable<qzVariant, qzVariant::UserDataInterface*>);

template <typename Integer>
class qzVariantOfInteger : public ::testing::Test {
};

using Integers = ::testing::Types<char, signed char, unsigned char, short, unsigned short, int,
                                  unsigned int, long, unsigned long, long long, unsigned long long,
                                  std::size_t, std::ptrdiff_t, std::uint64_t, wchar_t, char32_t>;
TYPED_TEST_SUITE(qzVariantOfInteger, Integers);

TYPED_TEST(qzVariantOfInteger, IsAnInteger)
{
    const TypeParam number = 65;
    qzVariant value = number;
    EXPECT_EQ(value.getType(), qzVariant::INTEGER);
    value = number;
    EXPECT_EQ(value, 65);
}

TEST(qzVariantTest, TakesTheSizeOfAContainer)
{
    const List list{1, 2, 3};
    qzVariant value;
    value = list.size();
    EXPECT_EQ(value, 3);
    EXPECT_EQ((Map{{"size", list.size()}}["size"]), 3);
}

TEST(qzVariantTest, WrapsIntegersBeyondALongAround)
{
    EXPECT_EQ(qzVariant(std::numeric_limits<unsigned long>::max()), -1);
    EXPECT_EQ(qzVariant(1ULL << 63), std::numeric_limits<long>::min());
}

TEST(qzVariantTest, MovesATextWithoutACopyOfItsBytes)
{
    std::string text(1000, 'x');
    const char* const bytes = text.data();
    const qzVariant value(std::move(text));
    EXPECT_EQ(value.getString()->data(), bytes);
}

TEST(qzVariantTest, CopiesOrMovesMapsAndLists)
{
    Map map{{"a", 1}};
    List list{1, "x"};
    EXPECT_EQ(describe(qzVariant(map)), R"({"a": 1})");
    EXPECT_EQ(describe(qzVariant(list)), R"([1, "x"])");
    EXPECT_EQ(describe(qzVariant(std::move(map))), R"({"a": 1})");
    EXPECT_EQ(describe(qzVariant(std::move(list))), R"([1, "x"])");
    EXPECT_TRUE(map.empty());
    EXPECT_TRUE(list.empty());
}

TEST(qzVariantTest, CopiesTheDoublesOfAnArray)
{
    const std::pair<qzVariant::Type, std::size_t> rows[] = {
        {qzVariant::VEC2D, 2}, {qzVariant::VEC3D, 3},  {qzVariant::VEC4D, 4},
        {qzVariant::MAT3D, 9}, {qzVariant::MAT4D, 16},
    };
    for (const auto& [type, size] : rows) {
        const qzVariant value(type, kNumbers);
        ASSERT_EQ(value.arraySize(), size);
        EXPECT_NE(value.getArray(), kNumbers);
        EXPECT_TRUE(std::equal(kNumbers, kNumbers + size, value.getArray()));
        const qzVariant copy(value);
        EXPECT_NE(copy.getArray(), value.getArray());
    }
}

TEST(qzVariantTest, IsEmptyForAnArrayOfAnyOtherTypeOrOfNothing)
{
    for (const int number : {-1, 0, 1, 2, 3, 4, 8, 9, 10, 11, 14, 15, 16, 17, 1 << 30}) {
        const qzVariant value(static_cast<qzVariant::Type>(number), kNumbers);
        EXPECT_EQ(value.getType(), qzVariant::UNKNOWN) << number;
    }
    EXPECT_TRUE(qzVariant(qzVariant::VEC2D, nullptr).isNull());
}

TEST(qzVariantTest, CountsTimeFromZero)
{
    EXPECT_EQ(qzVariant::DateTime().count, 0);
    EXPECT_EQ(qzVariant::DateTime(-5).count, -5);
    EXPECT_EQ(qzVariant(qzVariant::DateTime(7)).toDateTime().count, 7);
}

TEST(qzVariantTest, HasAnEmptyVariantFromTheStart)
{
    EXPECT_EQ(qzVariant::sNullVariant.getType(), qzVariant::UNKNOWN);
}

// --- Allocations

TEST(qzVariantTest, NeverAllocatesForInlineKinds)
{
    const qzVariant values[] = {{}, 1, 2L, 3.0, true, qzVariant::DateTime(4)};
    const AllocationCounter allocations;
    for (const qzVariant& left : values) {
        for (const qzVariant& right : values) {
            qzVariant value(left);
            value = right;
            qzVariant other(std::move(value));
            other.swap(value);
            static_cast<void>(left == right || left < right || left > right);
            static_cast<void>(left.toReal() + static_cast<double>(left.toInteger()));
            static_cast<void>(left.toBool() || left.toDateTime().count == 0);
            static_cast<void>(left.convertLosslessTo(qzVariant::REAL, value));
            value.clear();
            other.destroy();
        }
    }
    EXPECT_EQ(allocations.getCount(), 0U);
}

TEST(qzVariantTest, NeverAllocatesForAnInlineKindOverAText)
{
    qzVariant text("text");
    const AllocationCounter allocations;
    text = qzVariant(5);
    EXPECT_EQ(allocations.getCount(), 0U);
}

TEST(qzVariantTest, ComparesLeavesWithoutAnAllocation)
{
    const qzVariant left(std::string(100, 'x'));
    const qzVariant right(left);
    const qzVariant array = makeArray(qzVariant::MAT4D);
    const AllocationCounter allocations;
    EXPECT_TRUE(left == right && !(left < right) && !(left > right) && array == array);
    EXPECT_EQ(allocations.getCount(), 0U);
}

TEST(qzVariantTest, CopiesAListWithOneAllocationForEachOwnedElement)
{
    for (const std::size_t size : {1000U, 2000U, 4000U}) {
        List list;
        list.resize(size, "short");
        const AllocationCounter allocations;
        const List copy(list);
        EXPECT_LE(allocations.getCount(), size + 10);
    }
}

TEST(qzVariantTest, MovesTheElementsOfAListThatGrows)
{
    List list;
    list.emplace_back(std::string(1000, 'x'));
    list.emplace_back(Map{{"a", 1}});
    const char* const bytes = list[0].getString()->data();
    const Map* const map = list[1].getMap();
    const AllocationCounter allocations;
    list.reserve(10000);
    EXPECT_EQ(allocations.getCount(), 1U);
    EXPECT_EQ(list[0].getString()->data(), bytes);
    EXPECT_EQ(list[1].getMap(), map);
}

TEST(qzVariantTest, AppendsToAListInLinearTime)
{
    List list;
    const AllocationCounter allocations;
    for (int i = 0; i != 100000; ++i)
        list.push_back(i);
    EXPECT_LE(allocations.getCount(), 20U);
    EXPECT_LE(allocations.getBytes(), 4 * 100000 * sizeof(qzVariant));
}

// --- Parts of itself

TEST(qzVariantTest, TakesAnElementOfItself)
{
    qzVariant value(Map{{"a", List{1, "x"}}});
    value = *value.getMap()->findPathImpl("a", '/');
    EXPECT_EQ(describe(value), R"([1, "x"])");
    value = (*value.getList())[1];
    EXPECT_EQ(describe(value), R"("x")");
}

TEST(qzVariantTest, TakesAnElementOfItselfByMove)
{
    qzVariant value(Map{{"a", List{1, "x"}}});
    value = std::move((*value.editMap())["a"]);
    EXPECT_EQ(describe(value), R"([1, "x"])");
    value = std::move((*value.editList())[1]);
    EXPECT_EQ(describe(value), R"("x")");
}

TEST(qzVariantTest, BecomesAnElementOfItself)
{
    qzVariant value(Map{{"a", 1}});
    (*value.editMap())["a"] = value;
    EXPECT_EQ(describe(value), R"({"a": {"a": UNKNOWN}})");
    qzVariant list(List{1});
    list.editList()->push_back(list);
    EXPECT_EQ(describe(list), "[1, [1]]");
    (*list.editList())[0] = list;
    EXPECT_EQ(describe(list), "[[UNKNOWN, [1]], [1]]");
}

TEST(qzVariantTest, GivesContainersThatTakePartsOfThemselves)
{
    Map map{{"a", Map{{"b", Map{{"c", 1}}}}}};
    map = *map["a"].getMap();
    EXPECT_EQ(describe(map), R"({"b": {"c": 1}})");
    map = std::move(*map["b"].editMap());
    EXPECT_EQ(describe(map), R"({"c": 1})");
    List list{1, List{2, List{3}}};
    list.push_back(List{4, 5});
    list = *list.back().getList();
    EXPECT_EQ(describe(list), "[4, 5]");
}

TEST(qzVariantTest, CopiesDeeply)
{
    const qzVariant source(Map{{"a", List{"x", Map{{"b", 1}}}}});
    qzVariant copy(source);
    (*(*copy.editMap())["a"].editList())[1].editMap()->clear();
    EXPECT_EQ(describe(copy), R"({"a": ["x", {}]})");
    EXPECT_EQ(describe(source), R"({"a": ["x", {"b": 1}]})");
}

// --- Objects of the caller's

class qzVariantUserData : public ::testing::Test {
protected:
    qzVariantUserData() { CountedUserData::ResetCounts(); }
    ~qzVariantUserData() override { EXPECT_EQ(CountedUserData::sAlive, mAliveBefore); }

    static int countAlive() { return CountedUserData::sAlive - mAliveBefore; }

private:
    // The rows of the tests above keep theirs.
    static inline int mAliveBefore = 0;
    void SetUp() override { mAliveBefore = CountedUserData::sAlive; }
};

TEST_F(qzVariantUserData, OwnsItsObject)
{
    auto* const object = new CountedUserData(1);
    qzVariant value(object);
    EXPECT_EQ(value.getUserData(), object);
    EXPECT_EQ(countAlive(), 1);
    value = 5;
    EXPECT_EQ(countAlive(), 0);
}

TEST_F(qzVariantUserData, ClonesOnceForACopyAndNeverForAMove)
{
    qzVariant value = makeUserData(1);
    qzVariant copy(value);
    EXPECT_EQ(CountedUserData::sClones, 1);
    EXPECT_NE(copy.getUserData(), value.getUserData());
    copy = value;
    EXPECT_EQ(CountedUserData::sClones, 2);
    EXPECT_EQ(countAlive(), 2);
    qzVariant moved(std::move(copy));
    moved.swap(value);
    EXPECT_EQ(CountedUserData::sClones, 2);
    EXPECT_EQ(countAlive(), 2);
}

TEST_F(qzVariantUserData, EndsWithDestroyClearAndItsContainer)
{
    qzVariant value = makeUserData(1);
    value.destroy();
    EXPECT_EQ(countAlive(), 0);
    value = makeUserData(2);
    value.clear();
    EXPECT_EQ(countAlive(), 0);
    Map map{{"a", List{makeUserData(1), makeUserData(2)}}};
    EXPECT_EQ(countAlive(), 2);
    map.clear();
    EXPECT_EQ(countAlive(), 0);
}

TEST_F(qzVariantUserData, CallsIsEqualOfTheLeftObject)
{
    const qzVariant value = makeUserData(1);
    const qzVariant same = makeUserData(1);
    const qzVariant other = makeUserData(2);
    EXPECT_TRUE(value == same);
    EXPECT_FALSE(value != same);
    EXPECT_FALSE(value == other);
    EXPECT_EQ(CountedUserData::sComparisons, 3);
}

TEST_F(qzVariantUserData, GivesTheRightObjectToTheLeft)
{
    class Recorder : public CountedUserData {
    public:
        using CountedUserData::CountedUserData;
        bool isEqual(const UserDataInterface* other) const override
        {
            mAsked = other;
            return true;
        }
        mutable const UserDataInterface* mAsked = nullptr;
    };
    auto* const recorder = new Recorder(1);
    const qzVariant left(recorder);
    const qzVariant right = makeUserData(2);
    EXPECT_TRUE(left == right);
    EXPECT_EQ(recorder->mAsked, right.getUserData());
    EXPECT_FALSE(right == left);
}

TEST_F(qzVariantUserData, ComparesNothingWithNothingOnly)
{
    const qzVariant none(static_cast<qzVariant::UserDataInterface*>(nullptr));
    const qzVariant copy(none);
    const qzVariant some = makeUserData(1);
    EXPECT_EQ(copy.getType(), qzVariant::USERDATA);
    EXPECT_EQ(copy.getUserData(), nullptr);
    EXPECT_TRUE(none == copy);
    EXPECT_FALSE(none == some);
    EXPECT_FALSE(some == none);
    EXPECT_EQ(CountedUserData::sComparisons, 0);
    EXPECT_TRUE(none < some);
    EXPECT_TRUE(some > none);
}

TEST_F(qzVariantUserData, OrdersByIdentityEvenWhatIsEqual)
{
    const qzVariant first = makeUserData(1);
    const qzVariant second = makeUserData(1);
    const bool isFirstLower = reinterpret_cast<std::size_t>(first.getUserData()) <
                              reinterpret_cast<std::size_t>(second.getUserData());
    EXPECT_TRUE(first == second);
    EXPECT_EQ(first < second, isFirstLower);
    EXPECT_EQ(first > second, !isFirstLower);
    EXPECT_EQ(CountedUserData::sComparisons, 1);
    EXPECT_FALSE(first < first || first > first);
}

TEST_F(qzVariantUserData, KeepsTheOrderOfItsVirtualFunctions)
{
    CountedUserData object(1);
    const CountedUserData other(2);
    const std::unique_ptr<qzVariant::UserDataInterface> copy(
        callSlot<qzVariant::UserDataInterface*>(&object, 2));
    EXPECT_EQ(CountedUserData::sClones, 1);
    EXPECT_TRUE(callSlot<bool>(&object, 3, copy.get()));
    EXPECT_FALSE(callSlot<bool>(&object, 3, static_cast<const void*>(&other)));
    EXPECT_EQ(CountedUserData::sComparisons, 2);
    callSlot<void>(new CountedUserData(3), 1);
    auto* const buffer = static_cast<CountedUserData*>(::operator new(sizeof(CountedUserData)));
    new (buffer) CountedUserData(4);
    callSlot<void>(buffer, 0);
    ::operator delete(buffer);
    EXPECT_EQ(countAlive(), 3);
}

TEST_F(qzVariantUserData, FindsItsVariantWithoutItInItsDestructor)
{
    struct Looker : CountedUserData {
        Looker(const qzVariant*& variant, int& type)
            : CountedUserData(1), mVariant(variant), mType(type)
        {
        }
        ~Looker() override { mType = mVariant->getType(); }
        const qzVariant*& mVariant;
        int& mType;
    };
    const qzVariant* seen = nullptr;
    int type = -1;
    qzVariant value(new Looker(seen, type));
    seen = &value;
    value.destroy();
    EXPECT_EQ(type, qzVariant::DESTROYED);
}

// --- Threads

TEST(qzVariantThreads, ReadOneTree)
{
    TreeMaker maker(1);
    const Map tree = maker.makeMap(4);
    const Map other(tree);
    const std::string text = tree.toString();
    std::atomic<int> differences = 0;
    const auto read = [&] {
        for (int i = 0; i != 100; ++i) {
            Map flat;
            tree.toFlattenMap(flat, '/');
            const bool isSame = tree == other && Map(tree).toString() == text &&
                                tree.findPathImpl("no/such/key", '/') == nullptr;
            const qzVariant value(tree);
            if (!isSame || flat.empty() || value < value) ++differences;
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i != 4; ++i)
        threads.emplace_back(read);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(differences, 0);
}

}  // namespace

}  // namespace qz
