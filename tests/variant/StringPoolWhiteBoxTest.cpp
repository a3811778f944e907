// SPDX-License-Identifier: MIT
// The memory of destroyed strings that is cached for new ones.

#include "variant/StringPool.h"

#include <malloc.h>
#include <pthread.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzVariant.h>

#include "support/Allocations.h"

namespace qz {

namespace {

constexpr std::size_t kMoreThanAreCached = 20000;

std::vector<qzVariant> makeStrings()
{
    return std::vector<qzVariant>(kMoreThanAreCached, qzVariant("x"));
}

TEST(StringPool, MakesStringsOfAllKinds)
{
    const std::string text(100, 'x');
    std::string* const copy = variant::makeString(text);
    std::string* const repeated = variant::makeString(std::size_t{3}, 'y');
    EXPECT_EQ(*copy, text);
    EXPECT_EQ(*repeated, "yyy");
    variant::destroyString(copy);
    variant::destroyString(repeated);
}

// With the address sanitizer nothing is cached, so that uses of destroyed strings are found.
TEST(StringPool, GivesTheMemoryOfOneStringToTheNext)
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

TEST(StringPool, FreesTheMemoryOfAStringThatCannotBeMade)
{
    const std::string text(1000, 'x');
    for (int round = 0; round != 3; ++round) {
        makeStrings();
        const std::size_t failures =
            support::failEachAllocation([&] { variant::destroyString(variant::makeString(text)); });
        EXPECT_GE(failures, 1U);
    }
}

TEST(StringPool, FreesStringsOfAnotherThread)
{
    std::vector<qzVariant> strings = makeStrings();
    std::thread([&] { strings.clear(); }).join();
    strings = makeStrings();
    EXPECT_EQ(*strings.back().getString(), "x");
}

TEST(StringPool, FreesTheMemoryOfAThreadAtItsEnd)
{
    const auto runThread = [] { std::thread([] { makeStrings(); }).join(); };
    runThread();
    const std::size_t before = ::mallinfo2().uordblks;
    for (int i = 0; i != 20; ++i)
        runThread();
    EXPECT_LT(::mallinfo2().uordblks, before + 1'000'000) << "each thread kept memory";
}

// Strings that a thread destroys after its memory was freed are cached again, and must be freed.
TEST(StringPool, FreesAlsoWhatAThreadDestroysAtItsEnd)
{
    using Strings = std::vector<qzVariant>;
    makeStrings();  // makes the key of the pool first, so that its destructor runs first
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

class IdleThreads {
public:
    IdleThreads(int count, const std::function<void()>& work)
    {
        for (int i = 0; i != count; ++i)
            mThreads.emplace_back([this, work] {
                work();
                std::unique_lock lock(mMutex);
                ++mIdleCount;
                mChanged.notify_all();
                mChanged.wait(lock, [this] { return mShouldEnd; });
            });
        std::unique_lock lock(mMutex);
        mChanged.wait(lock, [&] { return mIdleCount == count; });
    }
    ~IdleThreads()
    {
        {
            const std::lock_guard lock(mMutex);
            mShouldEnd = true;
        }
        mChanged.notify_all();
        for (std::thread& thread : mThreads)
            thread.join();
    }
    IdleThreads(const IdleThreads&) = delete;
    IdleThreads& operator=(const IdleThreads&) = delete;

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    int mIdleCount = 0;       // guarded by mMutex
    bool mShouldEnd = false;  // guarded by mMutex
    std::vector<std::thread> mThreads;
};

TEST(StringPool, LimitsTheMemoryOfIdleThreads)
{
    makeStrings();
    const std::size_t before = ::mallinfo2().uordblks;
    const IdleThreads threads(32, [] { makeStrings(); });
    EXPECT_LT(::mallinfo2().uordblks, before + 2'000'000) << "24 MB at 768 KiB a thread";
}

TEST(StringPool, ServesThreadsThatExchangeStrings)
{
    std::mutex mutex;
    std::vector<qzVariant> shared;  // guarded by mutex
    const auto exchange = [&] {
        for (int round = 0; round != 200; ++round) {
            std::vector<qzVariant> own(300, qzVariant("text"));
            const std::lock_guard lock(mutex);
            own.swap(shared);
            for (const qzVariant& string : own)
                ASSERT_EQ(*string.getString(), "text");
        }
    };
    std::thread first(exchange);
    std::thread second(exchange);
    first.join();
    second.join();
    EXPECT_EQ(shared.size(), 300U);
}

}  // namespace

}  // namespace qz
