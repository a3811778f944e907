// SPDX-License-Identifier: MIT
#include <condition_variable>
#include <mutex>
#include <semaphore>

#include "locks.h"

namespace bench {

namespace {

class Turn {
public:
    void give(bool mine)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mIsOther = mine;
        mChanged.notify_one();
    }
    void await(bool mine)
    {
        std::unique_lock<std::mutex> lock(mMutex);
        mChanged.wait(lock, [&] { return mIsOther == mine; });
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mIsOther = false;
};

void measureFree(benchmark::State& state)
{
    measureFreeLock<std::recursive_mutex>(state, 1);
}

void measureTwice(benchmark::State& state)
{
    measureFreeLock<std::recursive_mutex>(state, 2);
}

template <std::size_t Threads>
void measureContended(benchmark::State& state)
{
    measureContendedLock<std::recursive_mutex>(state, Threads);
}

void measureWake(benchmark::State& state)
{
    std::condition_variable condition;
    for (auto _ : state)
        condition.notify_all();
}

void measureSemaphore(benchmark::State& state)
{
    std::counting_semaphore<> semaphore(0);
    for (auto _ : state) {
        semaphore.release(1);
        semaphore.acquire();
    }
}

const Case kFree("lock and unlock, free", "std", measureFree);
const Case kTwice("taken twice", "std", measureTwice);
const Case kTwo("contended, 2 threads", "std", measureContended<2>, Clock::Wall);
const Case kFour("contended, 4 threads", "std", measureContended<4>, Clock::Wall);
const Case kRoundTrip("condition round trip", "std", measureRoundTrip<Turn>, Clock::Wall);
const Case kWake("wake with no waiter", "std", measureWake);
const Case kSemaphore("semaphore release and acquire", "std", measureSemaphore);

}  // namespace

}  // namespace bench
