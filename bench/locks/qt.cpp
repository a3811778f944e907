// SPDX-License-Identifier: MIT
#include <QMutex>
#include <QSemaphore>
#include <QWaitCondition>

#include "locks.h"

namespace bench {

namespace {

class Turn {
public:
    void give(bool mine)
    {
        const QMutexLocker locker(&mMutex);
        mIsOther = mine;
        mChanged.wakeOne();
    }
    void await(bool mine)
    {
        const QMutexLocker locker(&mMutex);
        while (mIsOther != mine)
            mChanged.wait(&mMutex);
    }

private:
    QMutex mMutex;
    QWaitCondition mChanged;
    bool mIsOther = false;
};

void measureFree(benchmark::State& state)
{
    measureFreeLock<QRecursiveMutex>(state, 1);
}

void measureTwice(benchmark::State& state)
{
    measureFreeLock<QRecursiveMutex>(state, 2);
}

void measureSemaphore(benchmark::State& state)
{
    QSemaphore semaphore(0);
    for (auto _ : state) {
        semaphore.release(1);
        semaphore.acquire(1);
    }
}

const Case kFree("lock and unlock, free", "Qt", measureFree);
const Case kTwice("taken twice", "Qt", measureTwice);
const Case kRoundTrip("condition round trip", "Qt", measureRoundTrip<Turn>, Clock::Wall);
const Case kSemaphore("semaphore release and acquire", "Qt", measureSemaphore);

}  // namespace

}  // namespace bench
