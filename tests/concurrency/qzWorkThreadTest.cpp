// SPDX-License-Identifier: MIT
#include <qz/qzWorkThread.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PlatformCalls.h"
#include "Waiter.h"
#include "io/VirtualSlots.h"
#include "qzWorkThreadTestPeer.h"
#include "support/LibraryStart.h"
#include "support/Waiting.h"

namespace qz {

using support::LibraryStart;
using support::waitUntil;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Peer = qzWorkThreadTestPeer;

static_assert(std::is_base_of_v<qzThread, qzWorkThread> && std::is_abstract_v<qzWorkThread>);
static_assert(std::has_virtual_destructor_v<qzJob> && !std::is_abstract_v<qzJob>);

constexpr int kDeletingDestructor = 1;
constexpr int kOnDelete = 2;
constexpr int kRun = 2;
constexpr int kStop = 3;
constexpr int kProcessJob = 4;

// Does what it is given to do, and counts how often it was dropped.
class TestJob : public qzJob {
public:
    explicit TestJob(std::function<void()> work = [] {}) : mWork(std::move(work)) {}
    void onDelete() override { ++mDrops; }
    void work() const { mWork(); }
    int getDrops() const { return mDrops; }

private:
    std::function<void()> mWork;
    int mDrops = 0;
};

class TestWorkThread : public qzWorkThread {
public:
    TestWorkThread() { startThread("work"); }
    ~TestWorkThread() override { stop(); }
    void processJob(qzJob* job) override
    {
        static_cast<TestJob*>(job)->work();
        ++mDone;
    }
    bool awaitDone(int count) const
    {
        return waitUntil([&] { return mDone >= count; });
    }
    // Waits until the thread has gone to wait.
    bool awaitIdle()
    {
        return waitUntil([this] {
            const qzMutexLocker locker(Peer::editQueueMutex(*this));
            return Peer::isIdle(*this);
        });
    }
    int getDone() const { return mDone; }

private:
    std::atomic<int> mDone = 0;
};

// A job that goes on until it is let go.
class LongJob : public TestJob {
public:
    LongJob()
        : TestJob([this] {
              mIsInside = true;
              waitUntil([this] { return mMayEnd.load(); });
          })
    {
    }
    bool awaitInside() const
    {
        return waitUntil([this] { return mIsInside.load(); });
    }
    void letEnd() { mMayEnd = true; }

private:
    std::atomic<bool> mIsInside = false;
    std::atomic<bool> mMayEnd = false;
};

void give(qzWorkThread& thread, const std::vector<qzJob*>& jobs)
{
    thread.beginWake();
    for (qzJob* const job : jobs)
        thread.addJob(job);
    thread.endWake();
}

}  // namespace

class qzWorkThreadTest : public ::testing::Test {
protected:
    LibraryStart mLibrary{FullInit};
};

// --- Work

TEST_F(qzWorkThreadTest, StartsIdleWithAnEmptyQueue)
{
    const TestWorkThread thread;
    EXPECT_TRUE(Peer::isIdle(thread));
    EXPECT_FALSE(Peer::isStopRequested(thread));
    EXPECT_THAT(Peer::getJobs(thread), IsEmpty());
}

TEST_F(qzWorkThreadTest, DoesNotStartByItself)
{
    class UnstartedThread : public qzWorkThread {
    public:
        void processJob(qzJob* /*job*/) override {}
    };
    UnstartedThread thread;
    EXPECT_FALSE(thread.isRunning());
    EXPECT_TRUE(thread.isFinished());
    thread.stop();
}

TEST_F(qzWorkThreadTest, DoesAJobAfterTheWake)
{
    TestWorkThread thread;
    TestJob job;
    thread.beginWake();
    thread.addJob(&job);
    EXPECT_EQ(thread.getDone(), 0);
    thread.endWake();
    EXPECT_TRUE(thread.awaitDone(1));
    EXPECT_TRUE(thread.awaitIdle());
    EXPECT_EQ(thread.getDone(), 1);
}

TEST_F(qzWorkThreadTest, DoesJobsInTheirOrderOnItsThread)
{
    std::vector<int> order;  // of the work thread until it has stopped
    std::vector<std::thread::id> threads;
    std::list<TestJob> jobs;
    std::vector<qzJob*> pointers;
    for (int i = 0; i < 50; ++i) {
        pointers.push_back(&jobs.emplace_back([&, i] {
            order.push_back(i);
            threads.push_back(std::this_thread::get_id());
        }));
    }
    TestWorkThread thread;
    give(thread, pointers);
    ASSERT_TRUE(thread.awaitDone(50));
    thread.stop();
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
        EXPECT_EQ(threads[static_cast<std::size_t>(i)], threads[0]);
    }
    EXPECT_NE(threads[0], std::this_thread::get_id());
}

TEST_F(qzWorkThreadTest, TakesJobsOffTheQueueOneAtATime)
{
    TestWorkThread thread;
    LongJob first;
    TestJob second;
    TestJob third;
    give(thread, {&first, &second, &third});
    ASSERT_TRUE(first.awaitInside());
    {
        const qzMutexLocker locker(Peer::editQueueMutex(thread));
        EXPECT_THAT(Peer::getJobs(thread), ElementsAre(&second, &third));
        EXPECT_FALSE(Peer::isIdle(thread));
    }
    first.letEnd();
    EXPECT_TRUE(thread.awaitDone(3));
}

TEST_F(qzWorkThreadTest, TurnsIdleAtTheEndOfTheQueueAndWakesAgain)
{
    TestWorkThread thread;
    for (int i = 1; i <= 3; ++i) {
        TestJob job;
        give(thread, {&job});
        EXPECT_TRUE(thread.awaitDone(i));
        EXPECT_TRUE(thread.awaitIdle());
    }
}

TEST_F(qzWorkThreadTest, GoesBackToSleepAfterAWakeForNothing)
{
    TestWorkThread thread;
    give(thread, {});
    EXPECT_TRUE(thread.awaitIdle());
    TestJob job;
    give(thread, {&job});
    EXPECT_TRUE(thread.awaitDone(1));
}

TEST_F(qzWorkThreadTest, LeavesJobsThatWereAddedBeforeTheFirstWake)
{
    class LateThread : public qzWorkThread {
    public:
        ~LateThread() override { stop(); }
        void run() override
        {
            mKernelId = ::syscall(SYS_gettid);
            qzWorkThread::run();
        }
        void processJob(qzJob* /*job*/) override { ++mDone; }
        std::atomic<long> mKernelId = 0;
        std::atomic<int> mDone = 0;
    };
    LateThread thread;
    TestJob job;
    thread.addJob(&job);
    thread.startThread("late");
    EXPECT_TRUE(waitUntil([&] { return isAsleep(thread.mKernelId); }));
    thread.beginWake();
    EXPECT_EQ(thread.mDone, 0);
    EXPECT_THAT(Peer::getJobs(thread), ElementsAre(&job)) << "idle, though there is a job";
    thread.endWake();
    EXPECT_TRUE(waitUntil([&] { return thread.mDone == 1; }));
}

TEST_F(qzWorkThreadTest, TakesOneJobAfterAWaitThatEndsWithoutAWake)
{
    TestWorkThread thread;
    TestJob first;
    TestJob second;
    thread.beginWake();
    thread.addJob(&first);
    thread.addJob(&second);
    Peer::editQueueMutex(thread).unlock();
    EXPECT_TRUE(waitUntil([&] {
        Peer::editWake(thread).wakeAll();
        return thread.getDone() > 0;
    }));
    EXPECT_TRUE(Peer::isIdle(thread)) << "it still waits for the end of a change";
    give(thread, {});
    EXPECT_TRUE(thread.awaitDone(2));
}

TEST_F(qzWorkThreadTest, HoldsTheJobsMutexDuringAJobAndNotTheQueues)
{
    TestWorkThread thread;
    LongJob job;
    give(thread, {&job});
    ASSERT_TRUE(job.awaitInside());
    EXPECT_FALSE(Peer::editJobMutex(thread).tryLock());
    EXPECT_TRUE(Peer::editQueueMutex(thread).tryLock());
    Peer::editQueueMutex(thread).unlock();
    job.letEnd();
    EXPECT_TRUE(thread.awaitDone(1));
    EXPECT_TRUE(thread.awaitIdle());
    EXPECT_TRUE(Peer::editJobMutex(thread).tryLock());
    Peer::editJobMutex(thread).unlock();
}

TEST_F(qzWorkThreadTest, EndsAChangeWhenTheJobAtWorkHasEnded)
{
    TestWorkThread thread;
    LongJob job;
    give(thread, {&job});
    ASSERT_TRUE(job.awaitInside());
    bool wasDone = false;
    const Waiter waiter([&] {
        thread.beginWake();
        thread.endWake();
        wasDone = true;
    });
    EXPECT_TRUE(waiter.awaitSleep());
    EXPECT_FALSE(waiter.isDone());
    job.letEnd();
    EXPECT_TRUE(waiter.awaitDone());
    EXPECT_TRUE(wasDone);
}

TEST_F(qzWorkThreadTest, TakesNoJobDuringAChange)
{
    TestWorkThread thread;
    LongJob first;
    TestJob second;
    give(thread, {&first, &second});
    ASSERT_TRUE(first.awaitInside());
    thread.beginWake();
    first.letEnd();
    EXPECT_TRUE(thread.awaitDone(1));
    EXPECT_THAT(Peer::getJobs(thread), ElementsAre(&second));
    thread.clearJobs();
    thread.endWake();
    EXPECT_TRUE(thread.awaitIdle());
    EXPECT_EQ(thread.getDone(), 1);
}

// --- Dropping

TEST_F(qzWorkThreadTest, NotifiesEachJobThatItIsDropped)
{
    TestWorkThread thread;
    TestJob first;
    TestJob second;
    thread.beginWake();
    thread.addJob(&first);
    thread.addJob(&second);
    thread.addJob(&first);
    thread.clearJobs();
    EXPECT_THAT(Peer::getJobs(thread), IsEmpty());
    thread.clearJobs();
    thread.endWake();
    EXPECT_EQ(first.getDrops(), 2) << "once an entry";
    EXPECT_EQ(second.getDrops(), 1);
    EXPECT_TRUE(thread.awaitIdle());
    EXPECT_EQ(thread.getDone(), 0);
}

TEST_F(qzWorkThreadTest, DropsInTheOrderOfTheQueueAndEmptiesItLast)
{
    struct Dropped : qzJob {
        Dropped(std::vector<std::size_t>* sizes, const qzWorkThread* thread)
            : mSizes(sizes), mThread(thread)
        {
        }
        void onDelete() override
        {
            mSizes->push_back(Peer::getJobs(*mThread).size());
            mSizes->push_back(Peer::getJobs(*mThread).front() == this ? 1 : 0);
        }
        std::vector<std::size_t>* mSizes;
        const qzWorkThread* mThread;
    };
    std::vector<std::size_t> sizes;
    TestWorkThread thread;
    Dropped first(&sizes, &thread);
    Dropped second(&sizes, &thread);
    thread.beginWake();
    thread.addJob(&first);
    thread.addJob(&second);
    thread.clearJobs();
    thread.endWake();
    EXPECT_THAT(sizes, ElementsAre(2, 1, 2, 0));
}

TEST_F(qzWorkThreadTest, LetsAJobDeleteItself)
{
    struct SelfDeleting : qzJob {
        explicit SelfDeleting(int* ended) : mEnded(ended) {}
        ~SelfDeleting() override { ++*mEnded; }
        void onDelete() override { delete this; }
        int* mEnded;
    };
    int ended = 0;
    TestWorkThread thread;
    thread.beginWake();
    thread.addJob(std::make_unique<SelfDeleting>(&ended).release());
    thread.addJob(std::make_unique<SelfDeleting>(&ended).release());
    thread.clearJobs();
    thread.endWake();
    EXPECT_EQ(ended, 2);
}

TEST_F(qzWorkThreadTest, DoesNothingToAPlainJobThatIsDropped)
{
    qzJob job;
    job.onDelete();
    TestWorkThread thread;
    thread.beginWake();
    thread.addJob(&job);
    thread.clearJobs();
    thread.endWake();
    EXPECT_THAT(Peer::getJobs(thread), IsEmpty());
}

// --- The stop

TEST_F(qzWorkThreadTest, StopsAfterTheRunningJobAndLeavesTheOthers)
{
    TestWorkThread thread;
    LongJob first;
    TestJob second;
    TestJob third;
    give(thread, {&first, &second, &third});
    ASSERT_TRUE(first.awaitInside());
    {
        const Waiter waiter([&] { thread.stop(); });
        EXPECT_TRUE(waiter.awaitSleep());
        EXPECT_FALSE(waiter.isDone());
        first.letEnd();
        EXPECT_TRUE(waiter.awaitDone());
    }
    EXPECT_EQ(thread.getDone(), 1);
    EXPECT_THAT(Peer::getJobs(thread), ElementsAre(&second, &third));
    EXPECT_EQ(second.getDrops() + third.getDrops(), 0);
    EXPECT_TRUE(thread.isFinished());
}

TEST_F(qzWorkThreadTest, StopsWhileItSleeps)
{
    TestWorkThread thread;
    TestJob job;
    give(thread, {&job});
    ASSERT_TRUE(thread.awaitDone(1) && thread.awaitIdle());
    thread.stop();
    EXPECT_TRUE(thread.isFinished());
    EXPECT_TRUE(Peer::isStopRequested(thread));
}

TEST_F(qzWorkThreadTest, StopsAtOnceWhereverItsThreadIs)
{
    // The stop meets the thread before its first look, asleep, at a job and after the last one.
    for (int i = 0; i < 200; ++i) {
        TestWorkThread thread;
        TestJob job;
        if (i % 2 == 0) give(thread, {&job});
        if (i % 3 == 0) std::this_thread::yield();
        thread.stop();
        EXPECT_TRUE(thread.isFinished());
    }
}

TEST_F(qzWorkThreadTest, MayBeStoppedAgain)
{
    TestWorkThread thread;
    thread.stop();
    thread.stop();
    EXPECT_TRUE(thread.isFinished());
}

TEST_F(qzWorkThreadTest, WaitsForTheQueueWhenItIsStopped)
{
    TestWorkThread thread;
    thread.stop();  // so that a second stop doesn't wait for the thread
    thread.beginWake();
    const Waiter waiter([&] { thread.stop(); });
    EXPECT_TRUE(waiter.awaitSleep());
    EXPECT_FALSE(waiter.isDone());
    thread.endWake();
}

TEST_F(qzWorkThreadTest, EndsAtOnceWhenStartedAfterAStop)
{
    TestWorkThread thread;
    thread.stop();
    TestJob job;
    give(thread, {&job});
    thread.startThread("again");
    EXPECT_TRUE(thread.waitThread(qzThread::msNoLimit));
    EXPECT_EQ(thread.getDone(), 0);
}

TEST_F(qzWorkThreadTest, GivesItsMutexesBackAtTheStop)
{
    TestWorkThread thread;
    thread.stop();
    EXPECT_TRUE(Peer::editQueueMutex(thread).tryLock());
    EXPECT_TRUE(Peer::editJobMutex(thread).tryLock());
    Peer::editQueueMutex(thread).unlock();
    Peer::editJobMutex(thread).unlock();
}

TEST_F(qzWorkThreadTest, ForgetsItsJobsInSilenceAtItsEnd)
{
    TestJob job;
    {
        TestWorkThread thread;
        thread.beginWake();
        thread.addJob(&job);
        thread.addJob(&job);
        Peer::editQueueMutex(thread).unlock();
    }
    EXPECT_EQ(job.getDrops(), 0);
}

// --- Several threads

TEST_F(qzWorkThreadTest, TakesJobsFromSeveralThreads)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 200;
    long count = 0;  // of the work thread until it has stopped
    TestJob job([&] { ++count; });
    TestWorkThread thread;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round)
                give(thread, {&job, &job});
        });
    }
    for (std::thread& giver : threads)
        giver.join();
    EXPECT_TRUE(thread.awaitDone(kThreads * kRounds * 2));
    thread.stop();
    EXPECT_EQ(count, kThreads * kRounds * 2);
}

// --- Layout

static_assert(sizeof(qzJob) == 8 && sizeof(qzWorkThread) == 136);

TEST_F(qzWorkThreadTest, HoldsItsFieldsInTheirOrder)
{
    const TestWorkThread thread;
    EXPECT_THAT(Peer::getOffsets(thread), ElementsAre(56, 72, 88, 104, 105, 112));
}

TEST_F(qzWorkThreadTest, HasItsVirtualFunctionsInTheirOrder)
{
    class ProbeThread : public qzWorkThread {
    public:
        explicit ProbeThread(std::string* trace) : mTrace(trace) {}
        ~ProbeThread() override { *mTrace += "end "; }
        void run() override { *mTrace += "run "; }
        void stop() override { *mTrace += "stop "; }
        void processJob(qzJob* job) override { *mTrace += job == nullptr ? "no job " : "job "; }

    private:
        std::string* mTrace;
    };
    std::string trace;
    qzJob job;
    auto thread = std::make_unique<ProbeThread>(&trace);
    callSlot<void>(thread.get(), kRun);
    callSlot<void>(thread.get(), kStop);
    callSlot<void>(thread.get(), kProcessJob, &job);
    callSlot<void>(thread.release(), kDeletingDestructor);
    EXPECT_EQ(trace, "run stop job end ");
}

TEST(qzJobTest, HasTheDestructorAndTheDropForVirtualFunctions)
{
    class ProbeJob : public qzJob {
    public:
        explicit ProbeJob(std::string* trace) : mTrace(trace) {}
        ~ProbeJob() override { *mTrace += "end "; }
        void onDelete() override { *mTrace += "drop "; }

    private:
        std::string* mTrace;
    };
    std::string trace;
    auto job = std::make_unique<ProbeJob>(&trace);
    callSlot<void>(job.get(), kOnDelete);
    callSlot<void>(job.release(), kDeletingDestructor);
    EXPECT_EQ(trace, "drop end ");
}

TEST(qzWorkThreadCallsTest, UnlocksTheQueueBeforeItWakesTheThread)
{
    EXPECT_EQ(getPlatformCalls({"end-wake"}), "broadcast\nunlocked\nbroadcast\n");
}

}  // namespace qz
