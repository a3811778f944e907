// SPDX-License-Identifier: MIT
// No peer but the floor: a semaphore that others may inspect and that a forked child may use needs
// a mutex around its count, and nothing else.

#include <condition_variable>
#include <mutex>

#include "locks.h"

namespace bench {

namespace {

class GuardedCount {
public:
    void release()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        ++mCount;
        mChanged.notify_one();
    }
    void acquire()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        mChanged.wait(lock, [this] { return mCount != 0; });
        --mCount;
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    int mCount = 0;
};

void measureSemaphore(benchmark::State& state)
{
    GuardedCount count;
    for (auto _ : state) {
        count.release();
        count.acquire();
    }
}

const Case kSemaphore("semaphore release and acquire", "limit", measureSemaphore);

}  // namespace

}  // namespace bench
