// The memory that a thread keeps of strings that went.

#include "variant/StringBoxes.h"

#include <malloc.h>
#include <pthread.h>

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzVariant.h>

#include "support/Allocations.h"

namespace qz {

namespace {

constexpr std::size_t kMoreThanAreKept = 20000;

std::vector<qzVariant> makeStrings()
{
    return std::vector<qzVariant>(kMoreThanAreKept, qzVariant("x"));
}

TEST(StringBoxes, HoldStringsOfAllKinds)
{
    const std::string text(100, 'x');
    std::string* const copy = variant::makeString(text);
    std::string* const repeated = variant::makeString(std::size_t{3}, 'y');
    EXPECT_EQ(*copy, text);
    EXPECT_EQ(*repeated, "yyy");
    variant::dropString(copy);
    variant::dropString(repeated);
}

// A sanitizer that looks for uses after the end gets each of them back at once.
TEST(StringBoxes, GoFromStringToString)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "none are kept under this sanitizer";
#else
    makeStrings();
    const support::AllocationCounter allocations;
    const qzVariant first("x");
    const qzVariant second = first;
    EXPECT_EQ(*second.getString(), "x");
    EXPECT_EQ(allocations.getCount(), 0U);
#endif
}

TEST(StringBoxes, AreGivenBackWhenTheStringCannotBeMade)
{
    const std::string text(1000, 'x');
    for (int round = 0; round != 3; ++round) {
        makeStrings();
        const std::size_t failures =
            support::failEachAllocation([&] { variant::dropString(variant::makeString(text)); });
        EXPECT_GE(failures, 1U);
    }
}

TEST(StringBoxes, MayGoToAnotherThread)
{
    std::vector<qzVariant> strings = makeStrings();
    std::thread([&] { strings.clear(); }).join();
    strings = makeStrings();
    EXPECT_EQ(*strings.back().getString(), "x");
}

TEST(StringBoxes, GoWithTheirThread)
{
    const auto runThread = [] { std::thread([] { makeStrings(); }).join(); };
    runThread();
    const std::size_t before = ::mallinfo2().uordblks;
    for (int i = 0; i != 20; ++i)
        runThread();
    EXPECT_LT(::mallinfo2().uordblks, before + 1'000'000) << "each thread kept 768 KiB";
}

// What a thread drops after its boxes went is kept anew, and must go as well.
TEST(StringBoxes, GoAlsoWhenTheThreadDropsStringsAtItsEnd)
{
    using Strings = std::vector<qzVariant>;
    makeStrings();  // so that the key of the boxes comes first, and they go first
    pthread_key_t key{};
    ASSERT_EQ(::pthread_key_create(&key, [](void* held) { delete static_cast<Strings*>(held); }),
              0);
    const auto runThread = [key] {
        std::thread([key] {
            makeStrings();
            ::pthread_setspecific(key, new Strings(makeStrings()));
        }).join();
    };
    runThread();
    const std::size_t before = ::mallinfo2().uordblks;
    for (int i = 0; i != 20; ++i)
        runThread();
    EXPECT_LT(::mallinfo2().uordblks, before + 1'000'000);
    ::pthread_key_delete(key);
}

}  // namespace

}  // namespace qz
