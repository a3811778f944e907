// SPDX-License-Identifier: MIT
#include <qz/ConcurrentPool.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>

#include "ConcurrentPoolTestPeer.h"
#include "NewThreads.h"
#include "Waiter.h"
#include "qzThreadTestPeer.h"
#include "support/CancelledThread.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"

namespace qz {

using support::ChildResult;
using support::LibraryStart;
using support::runInChild;
using support::waitUntil;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

namespace {

using Peer = ConcurrentPoolTestPeer;
using SolverBase = ConcurrentPool::SolverBase;

static_assert(std::is_abstract_v<SolverBase> && std::has_virtual_destructor_v<SolverBase>);
static_assert(sizeof(SolverBase) == 32);
static_assert(std::is_nothrow_destructible_v<ConcurrentPool>);

// Does what it is given to do, with the mutex held.
class TestSolver : public SolverBase {
public:
    using Work = std::function<void(qzMutex&, qzWaitCondition&)>;

    explicit TestSolver(Work work) : mWork(std::move(work)) {}
    void solve(qzMutex& mutex, qzWaitCondition& condition) override { mWork(mutex, condition); }

private:
    Work mWork;
};

// Some solvers that do the same.
class Solvers {
public:
    Solvers(int count, const TestSolver::Work& work)
    {
        for (int i = 0; i < count; ++i) {
            mSolvers.push_back(std::make_unique<TestSolver>(work));
            mPointers.push_back(mSolvers.back().get());
        }
    }
    const std::vector<SolverBase*>& get() const { return mPointers; }

private:
    std::vector<std::unique_ptr<TestSolver>> mSolvers;
    std::vector<SolverBase*> mPointers;
};

int countThreads()
{
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return static_cast<int>(std::distance(begin(threads), end(threads)));
}

class ConcurrentPoolTest : public ::testing::Test {
protected:
    LibraryStart mLibrary{FullInit};
};

}  // namespace

TEST_F(ConcurrentPoolTest, HasNoThreadForACountOfZeroOrOne)
{
    const int threads = countThreads();
    const ConcurrentPool none(0);
    const ConcurrentPool one(1);
    EXPECT_EQ(none.getWorkerCount(), 1U);
    EXPECT_EQ(one.getWorkerCount(), 1U);
    EXPECT_EQ(Peer::getThreadCount(one), 0U);
    EXPECT_EQ(countThreads(), threads);
}

TEST_F(ConcurrentPoolTest, HasAThreadForEachWorker)
{
    const int threads = countThreads();
    {
        const ConcurrentPool pool(4);
        EXPECT_EQ(pool.getWorkerCount(), 4U);
        EXPECT_EQ(countThreads(), threads + 4);
    }
    // The kernel removes a thread a little after it was joined.
    EXPECT_TRUE(waitUntil([&] { return countThreads() == threads; }));
}

TEST_F(ConcurrentPoolTest, RunsASolverOnEachWorkerAtOnce)
{
    ConcurrentPool pool(3);
    std::set<std::string> threads;
    int inside = 0;
    const Solvers solvers(3, [&](qzMutex& mutex, qzWaitCondition& condition) {
        threads.insert(qzThread::CurrentThreadId());
        ++inside;
        condition.wakeAll();
        while (inside < 3)
            condition.wait(&mutex, qzWaitCondition::msNoLimit);
    });
    pool.runSolvers(solvers.get());
    EXPECT_THAT(threads, SizeIs(3));
    EXPECT_EQ(threads.count(qzThread::CurrentThreadId()), 0U);
}

TEST_F(ConcurrentPoolTest, EntersSolversWithItsMutexHeld)
{
    ConcurrentPool pool(2);
    bool isFree = true;
    const Solvers solvers(1, [&](qzMutex& mutex, qzWaitCondition&) {
        EXPECT_EQ(&mutex, &Peer::editMutex(pool));
        std::thread([&] { isFree = mutex.tryLock(); }).join();
    });
    pool.runSolvers(solvers.get());
    EXPECT_FALSE(isFree);
}

TEST_F(ConcurrentPoolTest, GivesSolversItsMutexAndTheConditionThatIsTheirs)
{
    for (const unsigned int workers : {1U, 2U}) {
        ConcurrentPool pool(workers);
        const Solvers solvers(2, [&](qzMutex& mutex, qzWaitCondition& condition) {
            EXPECT_EQ(&mutex, &Peer::editMutex(pool));
            EXPECT_EQ(&condition, Peer::getSolverCondition(pool));
        });
        pool.runSolvers(solvers.get());
    }
}

TEST_F(ConcurrentPoolTest, WaitsForTheLastSolver)
{
    ConcurrentPool pool(2);
    std::atomic<int> finished = 0;
    std::atomic<bool> mayEnd = false;
    const Solvers quick(1, [&](qzMutex&, qzWaitCondition&) { ++finished; });
    const Solvers slow(1, [&](qzMutex& mutex, qzWaitCondition&) {
        mutex.unlock();
        waitUntil([&] { return mayEnd.load(); });
        mutex.lock();
        ++finished;
    });
    const Waiter caller([&] {
        pool.runSolvers({slow.get().front(), quick.get().front()});
        EXPECT_EQ(finished, 2);
    });
    EXPECT_TRUE(waitUntil([&] { return finished == 1; }));
    EXPECT_TRUE(caller.awaitSleep());
    EXPECT_FALSE(caller.isDone());
    mayEnd = true;
    EXPECT_TRUE(caller.awaitDone());
}

TEST_F(ConcurrentPoolTest, RunsMoreSolversThanWorkersAndLeavesOutNulls)
{
    ConcurrentPool pool(2);
    int runs = 0;
    const Solvers solvers(7, [&](qzMutex&, qzWaitCondition&) { ++runs; });
    std::vector<SolverBase*> withNulls = {nullptr};
    for (SolverBase* const solver : solvers.get()) {
        withNulls.push_back(solver);
        withNulls.push_back(nullptr);
    }
    pool.runSolvers(withNulls);
    EXPECT_EQ(runs, 7);
    pool.runSolvers({});
    pool.runSolvers({nullptr});
    EXPECT_EQ(runs, 7);
}

TEST_F(ConcurrentPoolTest, LetsItsCallersTakeTurns)
{
    for (const unsigned int workers : {1U, 2U}) {
        SCOPED_TRACE(workers);
        ConcurrentPool pool(workers);
        constexpr int kRounds = 300;
        unsigned int active = 0;  // solvers of any caller, guarded by the pool's mutex
        unsigned int most = 0;
        std::vector<int> runs(4);
        std::vector<std::thread> callers;
        for (int& count : runs) {
            callers.emplace_back([&] {
                const Solvers solvers(2, [&](qzMutex& mutex, qzWaitCondition&) {
                    most = std::max(most, ++active);
                    mutex.unlock();
                    std::this_thread::yield();
                    mutex.lock();
                    --active;
                    ++count;
                });
                for (int round = 0; round < kRounds; ++round)
                    pool.runSolvers(solvers.get());
            });
        }
        for (std::thread& caller : callers)
            caller.join();
        EXPECT_THAT(runs, Each(2 * kRounds));
        EXPECT_LE(most, workers);
    }
}

TEST_F(ConcurrentPoolTest, SolvesOnTheCallersThreadWithoutWorkers)
{
    ConcurrentPool pool(1);
    std::vector<std::string> threads;
    const auto isFree = [&pool] {
        return std::async(std::launch::async,
                          [&pool] {
                              const bool isLocked = Peer::editMutex(pool).tryLock();
                              if (isLocked) Peer::editMutex(pool).unlock();
                              return isLocked;
                          })
            .get();
    };
    const Solvers solvers(3, [&](qzMutex& mutex, qzWaitCondition&) {
        threads.push_back(qzThread::CurrentThreadId());
        EXPECT_FALSE(isFree());
        mutex.unlock();
        EXPECT_TRUE(isFree());
        mutex.lock();
    });
    pool.runSolvers(solvers.get());
    EXPECT_THAT(threads, SizeIs(3));
    EXPECT_THAT(threads, Each(qzThread::CurrentThreadId()));
    pool.runSolvers({nullptr, solvers.get().front(), nullptr});
    EXPECT_THAT(threads, SizeIs(4)) << "nulls are left out";
    EXPECT_TRUE(isFree());
}

TEST_F(ConcurrentPoolTest, SolvesOnTheCallersThreadWithinASolverOfAPoolWithoutWorkers)
{
    ConcurrentPool pool(1);
    int count = 0;
    const Solvers nested(2, [&](qzMutex&, qzWaitCondition&) { ++count; });
    const Solvers solvers(1, [&](qzMutex& mutex, qzWaitCondition&) {
        mutex.unlock();
        pool.runSolvers(nested.get());
        mutex.lock();
        pool.runSolvers(nested.get());
    });
    pool.runSolvers(solvers.get());
    EXPECT_EQ(count, 4);
    pool.runSolvers(nested.get());
    EXPECT_EQ(count, 6);
}

// Whether it holds the mutex or not: each would wait for the other otherwise.
TEST_F(ConcurrentPoolTest, EndsTheProcessAtOnceWhenASolverDestroysIt)
{
    for (const bool unlocks : {true, false}) {
        const ChildResult result = runInChild([&] {
            static std::unique_ptr<ConcurrentPool> pool = std::make_unique<ConcurrentPool>(3);
            const Solvers solvers(1, [&](qzMutex& mutex, qzWaitCondition&) {
                if (unlocks) mutex.unlock();
                std::exit(7);
            });
            pool->runSolvers(solvers.get());
            return 1;
        });
        EXPECT_EQ(result.getEnd(), "signal 6");
    }
}

// Its solver ends the process, say, and an exit handler destroys the pool.
TEST_F(ConcurrentPoolTest, IsDestroyedByASolverOnItsCallersThread)
{
    const ChildResult result = runInChild([] {
        auto pool = std::make_unique<ConcurrentPool>(1);
        const Solvers solvers(1, [&](qzMutex&, qzWaitCondition&) {
            pool.reset();
            ::_exit(7);
        });
        pool->runSolvers(solvers.get());
        return 1;
    });
    EXPECT_EQ(result.getEnd(), "exit 7");
}

TEST_F(ConcurrentPoolTest, StaysUsableWhenASolverEndsItsCallersThread)
{
    const ChildResult result = runInChild([] {
        ConcurrentPool pool(1);
        int runs = 0;
        const Solvers leaving(1, [](qzMutex&, qzWaitCondition&) { ::pthread_testcancel(); });
        const Solvers solvers(1, [&](qzMutex&, qzWaitCondition&) { ++runs; });
        if (!support::endsByCancellation([&] { pool.runSolvers(leaving.get()); })) return 1;
        pool.runSolvers(solvers.get());
        return runs == 1 ? 42 : 2;
    });
    EXPECT_EQ(result.getEnd(), "exit 42") << result.err;
}

// Its solvers use objects of its stack.
TEST_F(ConcurrentPoolTest, KeepsACancelledCallerUntilItsSolversHaveFinished)
{
    const ChildResult result = runInChild([] {
        ConcurrentPool pool(2);
        std::atomic<long> caller = 0;
        std::atomic<bool> hasLeft = false;
        bool hasLeftEarly = true;
        const Solvers solvers(1, [&](qzMutex& mutex, qzWaitCondition&) {
            mutex.unlock();
            waitUntil([&] { return hasLeft || isAsleep(caller); });
            hasLeftEarly = hasLeft;
            mutex.lock();
        });
        const bool isCancelled = support::endsByCancellation([&] {
            const auto leave = [](std::atomic<bool>* left) { *left = true; };
            const std::unique_ptr<std::atomic<bool>, decltype(leave)> end(&hasLeft, leave);
            caller = ::syscall(SYS_gettid);
            pool.runSolvers(solvers.get());
            ::pthread_testcancel();
        });
        return isCancelled && !hasLeftEarly ? 42 : 1;
    });
    EXPECT_EQ(result.getEnd(), "exit 42") << result.err;
}

TEST_F(ConcurrentPoolTest, SolvesOnAWorkerThatIsACaller)
{
    ConcurrentPool pool(2);
    std::string outer;
    std::vector<std::string> inner;
    const Solvers nested(
        2, [&](qzMutex&, qzWaitCondition&) { inner.push_back(qzThread::CurrentThreadId()); });
    const Solvers solvers(1, [&](qzMutex& mutex, qzWaitCondition&) {
        outer = qzThread::CurrentThreadId();
        mutex.unlock();
        pool.runSolvers(nested.get());
        mutex.lock();
    });
    pool.runSolvers(solvers.get());
    EXPECT_THAT(inner, ElementsAre(outer, outer));
}

TEST_F(ConcurrentPoolTest, FinishesASolverBeforeItEnds)
{
    std::atomic<bool> hasBegun = false;
    std::atomic<bool> mayEnd = false;
    std::atomic<bool> hasEnded = false;
    const Solvers solvers(1, [&](qzMutex& mutex, qzWaitCondition&) {
        mutex.unlock();
        hasBegun = true;
        waitUntil([&] { return mayEnd.load(); });
        mutex.lock();
        hasEnded = true;
    });
    auto pool = std::make_unique<ConcurrentPool>(2);
    Peer::startSolver(*pool, solvers.get().front());
    ASSERT_TRUE(waitUntil([&] { return hasBegun.load(); }));
    const Waiter ender([&] {
        pool.reset();
        EXPECT_TRUE(hasEnded);
    });
    EXPECT_TRUE(ender.awaitSleep());
    EXPECT_FALSE(ender.isDone());
    mayEnd = true;
    EXPECT_TRUE(ender.awaitDone());
}

TEST_F(ConcurrentPoolTest, BeginsNoSolverOnceItEnds)
{
    int runs = 0;
    const Solvers solvers(1, [&](qzMutex&, qzWaitCondition&) { ++runs; });
    {
        const NewThreads workers;
        ConcurrentPool pool(2);
        ASSERT_TRUE(awaitSleep(workers.get()));
        Peer::setSolver(pool, solvers.get().front());
    }
    EXPECT_EQ(runs, 0);
}

TEST_F(ConcurrentPoolTest, HasWorkersThatSleepUntilThereIsASolver)
{
    const NewThreads workers;
    const ConcurrentPool pool(4);
    ASSERT_THAT(workers.get(), SizeIs(4));
    EXPECT_TRUE(awaitSleep(workers.get()));
}

TEST_F(ConcurrentPoolTest, HasWorkersThatLeaveSignalsFromOutsideToOthers)
{
    const NewThreads workers;
    const ConcurrentPool pool(4);
    ASSERT_THAT(workers.get(), SizeIs(4));
    for (const long worker : workers.get()) {
        EXPECT_TRUE(isSignalBlocked(worker, SIGTERM));
    }
}

TEST_F(ConcurrentPoolTest, EndsTheProcessWhenASolverThrows)
{
    const auto solve = [](unsigned int workers) {
        return runInChild([workers] {
            ConcurrentPool pool(workers);
            const Solvers solvers(
                1, [](qzMutex&, qzWaitCondition&) { throw std::runtime_error("unsolved"); });
            try {
                pool.runSolvers(solvers.get());
            } catch (const std::exception&) {
                return 1;
            }
            return 2;
        });
    };
    EXPECT_EQ(solve(1).getEnd(), "signal 6");
    const ChildResult result = solve(2);
    EXPECT_EQ(result.getEnd(), "signal 6");
    EXPECT_THAT(result.out, HasSubstr("Catch an exception : 'std::runtime_error(\"unsolved\")'"));
}

TEST_F(ConcurrentPoolTest, HasWorkersThatAreDescribedByTheirType)
{
    const ConcurrentPool pool(2);
    auto* const worker = static_cast<qzThread*>(Peer::getWorker(pool));
    EXPECT_EQ(qzThreadTestPeer::getDescription(*worker),
              "N2qz14ConcurrentPool6WorkerE " + worker->getThreadId());
}

TEST_F(ConcurrentPoolTest, ComesAndGoesManyTimes)
{
    for (int i = 0; i < 200; ++i) {
        const ConcurrentPool pool(2 + static_cast<unsigned>(i % 3));
    }
}

TEST_F(ConcurrentPoolTest, EndsItsThreadsWhenOneCannotBeStarted)
{
    const ChildResult result = runInChild([] {
        // Threads of root count against no limit of its own.
        if (::geteuid() == 0 && ::setuid(65534) != 0) return 3;
        const rlimit limit = {2, 2};
        if (::setrlimit(RLIMIT_NPROC, &limit) != 0) return 4;
        try {
            const ConcurrentPool pool(64);
        } catch (const std::system_error&) {
            return waitUntil([] { return countThreads() == 1; }) ? 42 : 1;
        }
        return 2;
    });
    EXPECT_EQ(result.getEnd(), "exit 42");
}

// --- Solvers ---------------------------------------------------------------------------------

TEST(ConcurrentPoolSolverTest, DestroysWhatItOwns)
{
    class Resource : public SolverBase::SolverResource {
    public:
        explicit Resource(int& ends) : mEnds(ends) {}
        ~Resource() override { ++mEnds; }

    private:
        int& mEnds;
    };
    int ends = 0;
    {
        TestSolver solver({});
        solver.addResource(std::make_unique<Resource>(ends));
        solver.addResource(std::make_unique<Resource>(ends));
        EXPECT_EQ(ends, 0);
    }
    EXPECT_EQ(ends, 2);
}

TEST(ConcurrentPoolSolverTest, KeepsItsLayout)
{
    const TestSolver solver({});
    EXPECT_THAT(Peer::getOffsets(solver), ElementsAre(8));
    bool hasRun = false;
    TestSolver called([&](qzMutex&, qzWaitCondition&) { hasRun = true; });
    const LibraryStart library(FullInit);
    qzMutex mutex;
    qzWaitCondition condition;
    callSlot<void>(static_cast<SolverBase*>(&called), 2, &mutex, &condition);
    EXPECT_TRUE(hasRun);
}

TEST_F(ConcurrentPoolTest, KeepsTheOrderOfItsFields)
{
    const ConcurrentPool pool(1);
    EXPECT_THAT(Peer::getOffsets(pool), ElementsAre(0, 24, 40, 56, 72, 88, 92));
}

TEST_F(ConcurrentPoolTest, KeepsTheLayoutOfItsWorkers)
{
    class OtherThread : public qzThread {
    public:
        void run() override {}
    };
    const OtherThread other;
    const ConcurrentPool pool(2);
    const void* const worker = Peer::getWorker(pool);
    EXPECT_EQ(readField<const SolverBase*>(worker, Peer::kSolverOffset), nullptr);
    EXPECT_EQ(readField<const ConcurrentPool*>(worker, Peer::kPoolOffset), &pool);
    EXPECT_TRUE(readField<bool>(worker, Peer::kKeepRunningOffset));
    for (int slot = 0; slot < 3; ++slot) {
        EXPECT_NE(getSlot(worker, slot), getSlot(&other, slot)) << slot;
    }
}

// --- The pool of the process -----------------------------------------------------------------

TEST(DefaultPoolTest, ExistsInTheFullStateOnly)
{
    EXPECT_EQ(concurrent::GetConcurrentPool(), nullptr);
    const LibraryStart light(LightInit);
    EXPECT_EQ(concurrent::GetConcurrentPool(), nullptr);
    {
        const LibraryStart full(FullInit);
        ASSERT_NE(concurrent::GetConcurrentPool(), nullptr);
        EXPECT_EQ(concurrent::GetConcurrentPool()->getWorkerCount(),
                  qzSystemUtils::GetIdealThreadCount());
    }
    EXPECT_NE(concurrent::GetConcurrentPool(), nullptr) << "until the last stop";
}

TEST(DefaultPoolTest, DoesNotExistIfAWorkerCannotBeStarted)
{
    const ChildResult result =
        support::runProgram({.program = "thread_refused", .arguments = {"pool"}});
    EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
    EXPECT_EQ(result.out,
              "EAGAIN\n"
              "full 1, pool 0, SIGPIPE ignored 0\n"
              "full 0, pool 0\n"
              "full 1, pool 3, SIGPIPE ignored 1\n");
}

TEST(DefaultPoolTest, IsANewOneAfterARestart)
{
    for (int i = 0; i < 3; ++i) {
        const LibraryStart full(FullInit);
        int runs = 0;
        const Solvers solvers(2, [&](qzMutex&, qzWaitCondition&) { ++runs; });
        concurrent::GetConcurrentPool()->runSolvers(solvers.get());
        EXPECT_EQ(runs, 2);
    }
    EXPECT_EQ(concurrent::GetConcurrentPool(), nullptr);
}

TEST(DefaultPoolTest, HasNoWorkersInAForkedChildAndStopsThere)
{
    const LibraryStart full(FullInit);
    const ChildResult result = runInChild([] {
        const std::string own = qzThread::CurrentThreadId();
        int runs = 0;
        const Solvers solvers(2, [&](qzMutex& mutex, qzWaitCondition&) {
            mutex.unlock();
            mutex.lock();
            if (qzThread::CurrentThreadId() == own) ++runs;
        });
        concurrent::GetConcurrentPool()->runSolvers(solvers.get());
        terminateQzSystem();
        return runs == 2 && concurrent::GetConcurrentPool() == nullptr ? 42 : 1;
    });
    EXPECT_EQ(result.getEnd(), "exit 42");
}

TEST(DefaultPoolTest, StopsInAChildThatWasForkedWhileItsMutexWasHeld)
{
    const LibraryStart full(FullInit);
    std::atomic<bool> isHeld = false;
    std::atomic<bool> mayEnd = false;
    const Solvers solvers(1, [&](qzMutex&, qzWaitCondition&) {
        isHeld = true;
        waitUntil([&] { return mayEnd.load(); });
    });
    const Waiter caller([&] { concurrent::GetConcurrentPool()->runSolvers(solvers.get()); });
    ASSERT_TRUE(waitUntil([&] { return isHeld.load(); }));
    const ChildResult result = runInChild([] {
        terminateQzSystem();
        return 42;
    });
    mayEnd = true;
    EXPECT_EQ(result.getEnd(), "exit 42");
}

}  // namespace qz
