// SPDX-License-Identifier: MIT
#include <qz/MemoryAndCpuWatcher.h>

#include <csignal>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzSystemUtils.h>

#include "concurrency/LockedElsewhere.h"
#include "concurrency/NewThreads.h"
#include "concurrency/Waiter.h"
#include "concurrency/qzThreadTestPeer.h"
#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/Waiting.h"
#include "system/MemoryAndCpuWatcherTestPeer.h"

namespace qz {

using support::waitUntil;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Peer = MemoryAndCpuWatcherTestPeer;
using Watcher = MemoryAndCpuWatcher;

namespace {

constexpr unsigned int kLongestPeriodMs = std::numeric_limits<unsigned int>::max();

static_assert(sizeof(Watcher) == 816);
static_assert(sizeof(Watcher::Series<long>) == 72 && sizeof(Watcher::Series<float>) == 64);
static_assert(sizeof(Watcher::TimestampReference) == 256);
static_assert(sizeof(Watcher::MonitorEntry) == 32 && sizeof(Watcher::RamUsageData) == 128);
static_assert(!std::is_convertible_v<Watcher*, qzThread*>, "a private base");
static_assert(!std::is_copy_constructible_v<Watcher>);

class MemoryAndCpuWatcherTest : public ::testing::Test {
protected:
    support::LibraryStart mStart = support::LibraryStart(FullInit);
};

// Whether another thread can lock the mutex.
bool isFree(qzMutex& mutex)
{
    bool isLocked = false;
    std::thread([&] {
        isLocked = mutex.tryLock();
        if (isLocked) mutex.unlock();
    }).join();
    return isLocked;
}

unsigned long countSamples(Watcher& watcher)
{
    return watcher.extractResult().overallRam.count;
}

}  // namespace

// --- Series ----------------------------------------------------------------------------------

TEST(MemoryAndCpuWatcherSeries, StartsWithoutSamples)
{
    const Watcher::Series<long> longs;
    EXPECT_EQ(longs.minimum, std::numeric_limits<long>::max());
    EXPECT_EQ(longs.maximum, std::numeric_limits<long>::min());
    EXPECT_EQ(longs.count, 0U);
    EXPECT_EQ(longs.average, -1.0);
    const Watcher::Series<float> floats;
    EXPECT_EQ(floats.minimum, std::numeric_limits<float>::max());
    EXPECT_EQ(floats.maximum, std::numeric_limits<float>::lowest());
    EXPECT_EQ(floats.sum, 0.0);
}

TEST(MemoryAndCpuWatcherSeries, AddsUpItsSamples)
{
    Watcher::Series<long> series;
    for (const long value : {5L, -2L, 9L})
        series.addSample(value);
    EXPECT_EQ(series.sum, 12);
    EXPECT_EQ(series.count, 3U);
    EXPECT_EQ(series.minimum, -2);
    EXPECT_EQ(series.maximum, 9);
    EXPECT_THAT(series.samples, IsEmpty()) << "mode 0";
}

TEST(MemoryAndCpuWatcherSeries, SumsFloatsAsDoubles)
{
    static_assert(std::is_same_v<decltype(Watcher::Series<float>::sum), double>);
    Watcher::Series<float> series;
    series.addSample(16'777'216.0F);
    series.addSample(1.0F);
    EXPECT_EQ(series.sum, 16'777'217.0);
}

TEST(MemoryAndCpuWatcherSeries, KeepsItsSamplesInMode1Only)
{
    Watcher::Series<float> series;
    series.mode = 1;
    series.addSample(0.5F);
    series.addSample(0.25F);
    series.mode = 2;
    series.addSample(1.0F);
    EXPECT_THAT(series.samples, ElementsAre(0.5F, 0.25F));
}

TEST(MemoryAndCpuWatcherSeries, ResetsStateAndAverageWithEachSample)
{
    Watcher::Series<long> series;
    series.state = 7;
    series.average = 3.0;
    series.addSample(1);
    EXPECT_EQ(series.state, 0);
    EXPECT_EQ(series.average, -1.0);
}

TEST(MemoryAndCpuWatcherSeries, ClearsToItsStartValuesAndKeepsItsMemory)
{
    Watcher::TimestampReference reference;
    reference.label = "label";
    reference.timeMs = 1;
    reference.lastRam = 2;
    reference.secondSeries.addSample(3);
    reference.cpuSeries.addSample(0.5F);
    reference.ramSeries.mode = 1;
    reference.ramSeries.state = 4;
    reference.ramSeries.average = 4.0;
    for (long i = 0; i < 100; ++i)
        reference.ramSeries.addSample(i);
    const std::size_t capacity = reference.ramSeries.samples.capacity();

    reference.clear();

    EXPECT_EQ(reference.label, "");
    EXPECT_EQ(reference.timeMs, 0);
    EXPECT_EQ(reference.lastRam, 0);
    EXPECT_EQ(reference.secondSeries.count, 0U);
    EXPECT_EQ(reference.cpuSeries.maximum, std::numeric_limits<float>::lowest());
    EXPECT_EQ(reference.ramSeries.minimum, std::numeric_limits<long>::max());
    EXPECT_EQ(reference.ramSeries.sum, 0);
    EXPECT_EQ(reference.ramSeries.mode, 0);
    EXPECT_THAT(reference.ramSeries.samples, IsEmpty());
    EXPECT_EQ(reference.ramSeries.samples.capacity(), capacity);
}

// --- Watching --------------------------------------------------------------------------------

TEST_F(MemoryAndCpuWatcherTest, SamplesFromStartToStop)
{
    Watcher watcher;
    EXPECT_FALSE(watcher.isWatching());
    EXPECT_EQ(countSamples(watcher), 0U);
    watcher.startWatching(250);
    EXPECT_TRUE(watcher.isWatching());
    EXPECT_GE(countSamples(watcher), 1U) << "the first sample";
    EXPECT_TRUE(waitUntil([&] { return countSamples(watcher) >= 4; }));
    watcher.stopWatching();
    EXPECT_FALSE(watcher.isWatching());
    const Watcher::RamUsageData result = watcher.extractResult();
    EXPECT_GE(result.overallRam.count, 4U);
    EXPECT_GT(result.overallRam.minimum, 0);
    EXPECT_GT(result.startTimeMs, 0);
}

TEST_F(MemoryAndCpuWatcherTest, TakesASampleWhenAStartWakesTheThread)
{
    Watcher watcher;
    unsigned long starts = 0;
    // A thread that doesn't wait yet isn't woken.
    EXPECT_TRUE(waitUntil([&] {
        watcher.startWatching(kLongestPeriodMs);
        return countSamples(watcher) > ++starts;
    }));
}

TEST_F(MemoryAndCpuWatcherTest, HasAThreadThatLeavesSignalsFromOutsideToOthers)
{
    const NewThreads threads;
    Watcher watcher;
    ASSERT_THAT(threads.get(), SizeIs(1));
    EXPECT_TRUE(isSignalBlocked(threads.get().front(), SIGTERM));
}

TEST_F(MemoryAndCpuWatcherTest, TakesNoSampleWhenItIsWokenWhileNotWatching)
{
    Watcher watcher;
    const Waiter runner([&] { callSlot<void>(&watcher, 2); });
    ASSERT_TRUE(runner.awaitSleep());
    Peer::requestStop(watcher);
    EXPECT_TRUE(runner.awaitDone());
    EXPECT_EQ(countSamples(watcher), 0U);
}

TEST_F(MemoryAndCpuWatcherTest, TakesASampleAtEachWakeWhileWatching)
{
    const NewThreads threads;
    Watcher watcher;
    watcher.startWatching(kLongestPeriodMs);
    const Waiter runner([&] { callSlot<void>(&watcher, 2); });
    ASSERT_TRUE(waitUntil([&] { return threads.get().size() == 2; }));
    ASSERT_TRUE(awaitSleep(threads.get()));
    const unsigned long count = countSamples(watcher);
    Peer::requestStop(watcher);
    EXPECT_TRUE(runner.awaitDone());
    EXPECT_GT(countSamples(watcher), count);
}

TEST_F(MemoryAndCpuWatcherTest, ReusesItsBuffersForEachSample)
{
    Watcher watcher;
    std::size_t counts[3] = {};
    for (std::size_t& count : counts) {
        // The processor time is read once in a millisecond.
        const unsigned long before = qzSystemUtils::GetTimeBaseMs();
        ASSERT_TRUE(waitUntil([&] { return qzSystemUtils::GetTimeBaseMs() > before; }));
        const support::AllocationCounter allocations;
        watcher.captureNow(/*force=*/false);
        count = allocations.getCount();
    }
    EXPECT_LT(counts[1], counts[0]);
    EXPECT_EQ(counts[2], counts[1]);
}

TEST_F(MemoryAndCpuWatcherTest, EndsWithoutWaitingForItsPeriod)
{
    auto watcher = std::make_unique<Watcher>();
    watcher->startWatching(kLongestPeriodMs);
    watcher.reset();
    SUCCEED() << "otherwise the test hangs";
}

TEST_F(MemoryAndCpuWatcherTest, HasAThreadThatIsDescribedByItsType)
{
    const Watcher watcher;
    const qzThread& thread = Peer::getThread(watcher);
    EXPECT_EQ(qzThreadTestPeer::getDescription(thread),
              "N2qz19MemoryAndCpuWatcherE " + Peer::getThreadId(watcher));
}

TEST_F(MemoryAndCpuWatcherTest, IsPolledWithoutItsMutex)
{
    Watcher watcher;
    auto locked = std::make_unique<LockedElsewhere>(Peer::editMutex(watcher));
    const Waiter waiter([&] {
        EXPECT_FALSE(watcher.isWatching());
        watcher.stampReference("ignored");
    });
    EXPECT_TRUE(waiter.awaitDone());
    locked.reset();
}

struct LockedCall {
    const char* name;
    void (*call)(Watcher&);
};

class MemoryAndCpuWatcherLockedCall : public ::testing::TestWithParam<LockedCall> {
protected:
    support::LibraryStart mStart = support::LibraryStart(FullInit);
};

TEST_P(MemoryAndCpuWatcherLockedCall, WaitsForTheMutex)
{
    Watcher watcher;
    watcher.startWatching(kLongestPeriodMs);
    watcher.stampReference("segment");
    auto locked = std::make_unique<LockedElsewhere>(Peer::editMutex(watcher));
    const Waiter waiter([&] { GetParam().call(watcher); });
    EXPECT_TRUE(waiter.awaitSleep());
    EXPECT_FALSE(waiter.isDone());
    locked.reset();
    EXPECT_TRUE(waiter.awaitDone());
}

constexpr LockedCall kLockedCalls[] = {
    {"startWatching", [](Watcher& watcher) { watcher.startWatching(kLongestPeriodMs); }},
    {"stopWatching", [](Watcher& watcher) { watcher.stopWatching(); }},
    {"captureNow", [](Watcher& watcher) { watcher.captureNow(/*force=*/false); }},
    {"stampReference", [](Watcher& watcher) { watcher.stampReference("other"); }},
    {"extractResult", [](Watcher& watcher) { watcher.extractResult(); }},
    {"getUsageAsAsciiTable", [](Watcher& watcher) { watcher.getUsageAsAsciiTable(); }},
};

INSTANTIATE_TEST_SUITE_P(Rows, MemoryAndCpuWatcherLockedCall, ::testing::ValuesIn(kLockedCalls),
                         [](const auto& row) { return std::string(row.param.name); });

struct Period {
    const char* name;
    unsigned int requestedMs;
    unsigned int periodMs;
};

constexpr Period kPeriods[] = {
    {"None", 0, 250},        {"Short", 10, 250},
    {"JustBelow", 249, 250}, {"Shortest", 250, 250},
    {"JustAbove", 251, 251}, {"Longest", kLongestPeriodMs, kLongestPeriodMs},
};

class MemoryAndCpuWatcherPeriod : public ::testing::TestWithParam<Period> {
protected:
    support::LibraryStart mStart = support::LibraryStart(FullInit);
};

TEST_P(MemoryAndCpuWatcherPeriod, IsAtLeast250Ms)
{
    Watcher watcher;
    watcher.startWatching(GetParam().requestedMs);
    EXPECT_EQ(Peer::getPeriodMs(watcher), GetParam().periodMs);
}

INSTANTIATE_TEST_SUITE_P(Rows, MemoryAndCpuWatcherPeriod, ::testing::ValuesIn(kPeriods),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(MemoryAndCpuWatcherTest, ReservesMemoryForSegmentsAndEntries)
{
    Watcher watcher;
    watcher.startWatching(kLongestPeriodMs, 0, 1000, 1000);
    EXPECT_EQ(Peer::getReservedReferences(watcher), 64U);
    EXPECT_EQ(Peer::getReservedEntries(watcher), 0U) << "no time series";
    watcher.startWatching(kLongestPeriodMs, 1, 1000, 1000);
    EXPECT_EQ(Peer::getReservedEntries(watcher), 1000U);
}

TEST_F(MemoryAndCpuWatcherTest, CanBeDestroyedInAForkedChildWhileItsMutexIsLocked)
{
    auto watcher = std::make_unique<Watcher>();
    watcher->startWatching(kLongestPeriodMs);
    const LockedElsewhere locked(Peer::editMutex(*watcher));
    const support::ChildResult result = support::runInChild(
        [&] {
            watcher.reset();
            return 42;
        },
        {}, /*timeoutSec=*/60);
    EXPECT_EQ(result.getEnd(), "exit 42");
}

struct Reservation {
    const char* name;
    std::size_t number;
};

class MemoryAndCpuWatcherReservation : public ::testing::TestWithParam<Reservation> {
protected:
    support::LibraryStart mStart = support::LibraryStart(FullInit);
};

TEST_P(MemoryAndCpuWatcherReservation, ChangesNothingIfItFails)
{
    Watcher watcher;
    watcher.startWatching(kLongestPeriodMs);
    watcher.stampReference("kept");
    {
        const support::AllocationFault fault(GetParam().number);
        EXPECT_THROW(watcher.startWatching(300, 1, 1000, 1000), std::bad_alloc);
    }
    EXPECT_EQ(Peer::getPeriodMs(watcher), kLongestPeriodMs);
    EXPECT_THAT(watcher.extractResult().references, SizeIs(1));
    // The watcher's own thread may have the mutex for a moment.
    EXPECT_TRUE(waitUntil([&] { return isFree(Peer::editMutex(watcher)); }));
}

constexpr Reservation kReservations[] = {{"Segments", 1}, {"Entries", 2}};

INSTANTIATE_TEST_SUITE_P(Rows, MemoryAndCpuWatcherReservation, ::testing::ValuesIn(kReservations),
                         [](const auto& row) { return std::string(row.param.name); });

// --- Layout ----------------------------------------------------------------------------------

TEST_F(MemoryAndCpuWatcherTest, KeepsTheOrderOfItsFields)
{
    const Watcher watcher;
    EXPECT_THAT(Peer::getOffsets(watcher),
                ElementsAre(56, 80, 104, 120, 136, 264, 272, 280, 288, 544, 800, 804, 808, 812));
}

TEST(MemoryAndCpuWatcherRecords, KeepTheOrderOfTheirFields)
{
    const Watcher::Series<float> series;
    EXPECT_THAT((Offsets{findOffset(series, series.mode), findOffset(series, series.state),
                         findOffset(series, series.minimum), findOffset(series, series.maximum),
                         findOffset(series, series.sum), findOffset(series, series.count),
                         findOffset(series, series.average), findOffset(series, series.samples)}),
                ElementsAre(0, 4, 8, 12, 16, 24, 32, 40));
    const Watcher::TimestampReference reference;
    EXPECT_THAT(
        (Offsets{findOffset(reference, reference.label), findOffset(reference, reference.timeMs),
                 findOffset(reference, reference.lastRam),
                 findOffset(reference, reference.ramSeries),
                 findOffset(reference, reference.secondSeries),
                 findOffset(reference, reference.cpuSeries)}),
        ElementsAre(0, 32, 40, 48, 120, 192));
    const Watcher::MonitorEntry entry;
    EXPECT_THAT((Offsets{findOffset(entry, entry.timeMs), findOffset(entry, entry.peakRam),
                         findOffset(entry, entry.lastRam), findOffset(entry, entry.peakCpu)}),
                ElementsAre(0, 8, 16, 24));
    const Watcher::RamUsageData data;
    EXPECT_THAT((Offsets{findOffset(data, data.startTimeMs), findOffset(data, data.overallRam),
                         findOffset(data, data.references), findOffset(data, data.monitor)}),
                ElementsAre(0, 8, 80, 104));
}

// The two destructors have the slots before it.
TEST_F(MemoryAndCpuWatcherTest, RunsByItsVirtualSlot)
{
    Watcher watcher;
    Peer::requestStop(watcher);
    callSlot<void>(&watcher, 2);
    SUCCEED() << "otherwise the test crashes or hangs";
}

}  // namespace qz
