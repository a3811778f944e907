// SPDX-License-Identifier: MIT
#include <qz/qzMutex.h>
#include <qz/qzSemaphore.h>
#include <qz/qzWaitCondition.h>

#include "locks.h"

namespace bench {

namespace {

class Turn {
public:
    void give(bool mine)
    {
        const qz::qzMutexLocker locker(mMutex);
        mIsOther = mine;
        mChanged.wakeOne();
    }
    void await(bool mine)
    {
        const qz::qzMutexLocker locker(mMutex);
        while (mIsOther != mine)
            mChanged.wait(&mMutex, qz::qzWaitCondition::msNoLimit);
    }

private:
    qz::qzMutex mMutex;
    qz::qzWaitCondition mChanged;
    bool mIsOther = false;
};

bool startsLibrary()
{
    startLibrary();
    // Locks are cheaper in a process that never had a second thread: nobody is to gain by that.
    std::thread([] {}).join();
    return true;
}

void measureFree(benchmark::State& state)
{
    measureFreeLock<qz::qzMutex>(state, 1);
}

void measureTwice(benchmark::State& state)
{
    measureFreeLock<qz::qzMutex>(state, 2);
}

template <std::size_t Threads>
void measureContended(benchmark::State& state)
{
    measureContendedLock<qz::qzMutex>(state, Threads);
}

void measureWake(benchmark::State& state)
{
    qz::qzWaitCondition condition;
    for (auto _ : state)
        condition.wakeAll();
}

void measureSemaphore(benchmark::State& state)
{
    qz::qzSemaphore semaphore(0);
    for (auto _ : state) {
        semaphore.release(1);
        semaphore.acquire(1);
    }
}

const Check kStart("the library doesn't start", startsLibrary);
const Case kFree("lock and unlock, free", "qz", measureFree);
const Case kTwice("taken twice", "qz", measureTwice);
const Case kTwo("contended, 2 threads", "qz", measureContended<2>, Clock::Wall);
const Case kFour("contended, 4 threads", "qz", measureContended<4>, Clock::Wall);
const Case kRoundTrip("condition round trip", "qz", measureRoundTrip<Turn>, Clock::Wall);
const Case kWake("wake with no waiter", "qz", measureWake);
const Case kSemaphore("semaphore release and acquire", "qz", measureSemaphore);

}  // namespace

}  // namespace bench
