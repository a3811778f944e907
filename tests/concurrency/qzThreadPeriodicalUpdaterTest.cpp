// SPDX-License-Identifier: MIT
#include <atomic>
#include <csignal>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzMutex.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>

#include "LockedElsewhere.h"
#include "NewThreads.h"
#include "PlatformCalls.h"
#include "io/VirtualSlots.h"
#include "qzThreadTestPeer.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/Waiting.h"

namespace qz {

using support::LibraryStart;
using support::waitUntil;
using ::testing::ElementsAre;
using ::testing::SizeIs;

namespace {

static_assert(std::is_base_of_v<qzThread, qzThreadPeriodicalUpdater>);
static_assert(std::is_nothrow_destructible_v<qzThreadPeriodicalUpdater>);
static_assert(sizeof(qzThreadPeriodicalUpdater::CallbackInfo) == 16);

// Beyond the life of any test, so that nothing but a change ends a wait.
constexpr unsigned kHourSeconds = 3600;

void count(void* counter)
{
    ++*static_cast<std::atomic<int>*>(counter);
}

void countByTen(void* counter)
{
    *static_cast<std::atomic<int>*>(counter) += 10;
}

// What callbacks note, in the order of their calls. They run one at a time.
struct Note {
    std::string* trace;
    const char* text;
};

void note(void* data)
{
    const auto* const given = static_cast<Note*>(data);
    *given->trace += given->text;
}

bool awaitCount(const std::atomic<int>& counter, int atLeast)
{
    return waitUntil([&] { return counter >= atLeast; });
}

}  // namespace

class qzThreadPeriodicalUpdaterTest : public ::testing::Test {
protected:
    // An updater whose thread waits: one that is still coming up hears of no change. Once a thread
    // has called something it gives the mutex back only by waiting.
    std::unique_ptr<qzThreadPeriodicalUpdater> make(unsigned periodSeconds = kHourSeconds)
    {
        auto updater = std::make_unique<qzThreadPeriodicalUpdater>(periodSeconds);
        std::atomic<int> calls = 0;
        EXPECT_TRUE(waitUntil([&] {
            updater->addCallback(&count, &calls);
            updater->removeCallback(&count, &calls);
            updater->addCallback(&count, &calls);
            std::this_thread::yield();
            updater->removeCallback(&count, &calls);
            return calls > 0;
        }));
        return updater;
    }

    LibraryStart mLibrary{FullInit};
};

TEST(CallbackInfoTest, NamesNothingAtFirst)
{
    const qzThreadPeriodicalUpdater::CallbackInfo info;
    EXPECT_EQ(info.callback, nullptr);
    EXPECT_EQ(info.userData, nullptr);
}

TEST_F(qzThreadPeriodicalUpdaterTest, RunsFromItsMakingOn)
{
    qzThreadPeriodicalUpdater updater(kHourSeconds);
    EXPECT_TRUE(updater.isRunning());
    EXPECT_EQ(qzThreadTestPeer::getDescription(updater),
              "N2qz25qzThreadPeriodicalUpdaterE " + updater.getThreadId());
}

TEST_F(qzThreadPeriodicalUpdaterTest, LeavesSignalsFromOutsideToOtherThreads)
{
    const NewThreads threads;
    const qzThreadPeriodicalUpdater updater(kHourSeconds);
    ASSERT_THAT(threads.get(), SizeIs(1));
    EXPECT_TRUE(isSignalBlocked(threads.get().front(), SIGTERM));
}

TEST_F(qzThreadPeriodicalUpdaterTest, CallsAtOnceWhatIsAdded)
{
    std::atomic<int> calls = 0;
    const auto updater = make();
    updater->addCallback(&count, &calls);
    EXPECT_TRUE(awaitCount(calls, 1));
}

TEST_F(qzThreadPeriodicalUpdaterTest, CallsAllWhenOneIsAdded)
{
    std::atomic<int> first = 0;
    std::atomic<int> second = 0;
    const auto updater = make();
    updater->addCallback(&count, &first);
    ASSERT_TRUE(awaitCount(first, 1));
    updater->addCallback(&count, &second);
    EXPECT_TRUE(awaitCount(second, 1));
    EXPECT_TRUE(awaitCount(first, 2));
}

TEST_F(qzThreadPeriodicalUpdaterTest, CallsAllALastTimeAtItsEnd)
{
    std::atomic<int> calls = 0;
    auto updater = make();
    updater->addCallback(&count, &calls);
    ASSERT_TRUE(awaitCount(calls, 1));
    updater.reset();
    EXPECT_EQ(calls, 2);
}

TEST_F(qzThreadPeriodicalUpdaterTest, CallsInTheOrderOfAddition)
{
    std::string trace;
    Note first{&trace, "1"};
    Note second{&trace, "2"};
    Note third{&trace, "3"};
    auto updater = make();
    updater->addCallback(&note, &first);
    updater->addCallback(&note, &second);
    updater->addCallback(&note, &third);
    updater.reset();
    // A round is an addition's or the last one; one round may serve several additions.
    EXPECT_THAT(trace, ::testing::MatchesRegex("(1(23?)?)*123"));
}

TEST_F(qzThreadPeriodicalUpdaterTest, CallsNothingMoreThatIsRemoved)
{
    std::atomic<int> removed = 0;
    std::atomic<int> kept = 0;
    const auto updater = make();
    updater->addCallback(&count, &removed);
    ASSERT_TRUE(awaitCount(removed, 1));
    updater->removeCallback(&count, &removed);
    updater->addCallback(&count, &kept);
    EXPECT_TRUE(awaitCount(kept, 1));
    EXPECT_EQ(removed, 1);
}

TEST_F(qzThreadPeriodicalUpdaterTest, RemovesTheFirstEntryThatIsEqualInBoth)
{
    std::string trace;
    Note first{&trace, "1"};
    Note second{&trace, "2"};
    auto updater = make();
    updater->addCallback(&note, &first);
    updater->addCallback(&note, &second);
    updater->addCallback(&note, &first);
    updater->removeCallback(&note, &first);
    updater.reset();
    ASSERT_GE(trace.size(), 2U);
    EXPECT_EQ(trace.substr(trace.size() - 2), "21") << trace;
}

TEST_F(qzThreadPeriodicalUpdaterTest, LeavesItsListForAnEntryThatIsNotInIt)
{
    std::atomic<int> calls = 0;
    std::atomic<int> other = 0;
    auto updater = make();
    updater->removeCallback(&count, &calls);
    updater->addCallback(&count, &calls);
    ASSERT_TRUE(awaitCount(calls, 1));
    updater->removeCallback(&count, &other);
    updater->removeCallback(&countByTen, &calls);
    updater->removeCallback(nullptr, nullptr);
    updater.reset();
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(other, 0);
}

TEST_F(qzThreadPeriodicalUpdaterTest, EndsWithoutACallWhenThereIsNone)
{
    for (int i = 0; i < 20; ++i) {
        const qzThreadPeriodicalUpdater updater(kHourSeconds);
    }
}

struct Adder {
    qzThreadPeriodicalUpdater* updater;
    std::atomic<int>* counter;
    bool hasAdded;
};

TEST_F(qzThreadPeriodicalUpdaterTest, LetsACallbackAddOthers)
{
    std::atomic<int> calls = 0;
    const auto updater = make();
    Adder adder{updater.get(), &calls, false};
    updater->addCallback(
        [](void* data) {
            auto* const given = static_cast<Adder*>(data);
            if (!given->hasAdded) given->updater->addCallback(&count, given->counter);
            given->hasAdded = true;
        },
        &adder);
    EXPECT_TRUE(awaitCount(calls, 1));
}

TEST_F(qzThreadPeriodicalUpdaterTest, HoldsItsMutexDuringTheCalls)
{
    struct Look {
        qzMutex* mutex;
        std::atomic<int> tries;
        bool wasFree;
    };
    const auto updater = make();
    Look look{&qzThreadTestPeer::editMutex(*updater), 0, false};
    updater->addCallback(
        [](void* data) {
            auto* const given = static_cast<Look*>(data);
            std::thread([given] {
                const bool isFree = given->mutex->tryLock();
                if (isFree) given->mutex->unlock();
                given->wasFree = given->wasFree || isFree;
            }).join();
            ++given->tries;
        },
        &look);
    ASSERT_TRUE(awaitCount(look.tries, 1));
    updater->removeCallback(nullptr, nullptr);  // waits for the mutex, and so for the calls
    EXPECT_FALSE(look.wasFree);
}

TEST_F(qzThreadPeriodicalUpdaterTest, CallsOncePeriod)
{
    std::atomic<int> calls = 0;
    const auto updater = make(1);
    updater->addCallback(&count, &calls);
    ASSERT_TRUE(awaitCount(calls, 1));
    // The wall clock measures the period; this is well below what any correction of it could do.
    const unsigned long begin = qzSystemUtils::GetTimeBaseMs();
    ASSERT_TRUE(awaitCount(calls, 2));
    EXPECT_GE(qzSystemUtils::GetTimeBaseMs() - begin, 900U);
}

TEST_F(qzThreadPeriodicalUpdaterTest, TakesChangesFromSeveralThreads)
{
    std::atomic<int> calls = 0;
    {
        qzThreadPeriodicalUpdater updater(kHourSeconds);
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                for (int round = 0; round < 100; ++round) {
                    updater.addCallback(&count, &calls);
                    updater.removeCallback(&count, &calls);
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        calls = 0;
    }
    EXPECT_EQ(calls, 0) << "all were removed";
}

static_assert(sizeof(qzThreadPeriodicalUpdater) == 120);

TEST_F(qzThreadPeriodicalUpdaterTest, HoldsItsFieldsInTheirOrder)
{
    const qzThreadPeriodicalUpdater updater(kHourSeconds);
    EXPECT_THAT(qzThreadTestPeer::getOffsets(updater), ElementsAre(56, 80, 96, 112, 116));
    EXPECT_EQ(readField<unsigned>(&updater, 112), kHourSeconds * 1000);
}

TEST_F(qzThreadPeriodicalUpdaterTest, OverridesTheDestructorAndTheBody)
{
    class OtherThread : public qzThread {
    public:
        void run() override {}
    };
    const OtherThread other;
    const qzThreadPeriodicalUpdater updater(kHourSeconds);
    for (int slot = 0; slot < 3; ++slot) {
        EXPECT_NE(getSlot(&updater, slot), getSlot(&other, slot)) << slot;
    }
}

// --- Its waits

class qzThreadPeriodicalUpdaterCalls : public ::testing::TestWithParam<PlatformCallsRow> {};

TEST_P(qzThreadPeriodicalUpdaterCalls, AreThoseOfItsRow)
{
    EXPECT_EQ(getPlatformCalls(GetParam().step), GetParam().calls);
}

// From the hundredth second on: without a limit until the first addition, then for the period.
std::string makeWaits(const std::string& deadline)
{
    return "wait without limit\nadding\ncall\nwait until " + deadline +
           "\nthe time is over\ncall\nwait until " + deadline + "\nending\ncall\n";
}

const PlatformCallsRow kUpdaters[] = {
    {"OneSecond", {"updater", "1"}, makeWaits("101 0")},
    {"NothingAsOneSecond", {"updater", "0"}, makeWaits("101 0")},
    {"SevenSeconds", {"updater", "7"}, makeWaits("107 0")},
    {"Longest", {"updater", "4294967"}, makeWaits("4295067 0")},
    {"Beyond32Bits", {"updater", "4294968"}, makeWaits("100 704000000")},
};

INSTANTIATE_TEST_SUITE_P(Rows, qzThreadPeriodicalUpdaterCalls, ::testing::ValuesIn(kUpdaters),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzThreadPeriodicalUpdaterFork, CanBeDestroyedInAForkedChildWhileItsMutexIsLocked)
{
    const LibraryStart start(FullInit);
    auto updater = std::make_unique<qzThreadPeriodicalUpdater>(kHourSeconds);
    const LockedElsewhere locked(qzThreadTestPeer::editMutex(*updater));
    const support::ChildResult result = support::runInChild(
        [&] {
            updater.reset();
            return 42;
        },
        {}, /*timeoutSec=*/60);
    EXPECT_EQ(result.getEnd(), "exit 42");
}

}  // namespace qz
