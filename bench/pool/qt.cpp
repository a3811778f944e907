// SPDX-License-Identifier: MIT
#include <numeric>
#include <vector>

#include <QFuture>
#include <QtConcurrentMap>
#include <QtConcurrentRun>

#include "pool.h"

namespace bench {

namespace {

// A caller that waits takes a job that hasn't begun.
void handOver(TwoJobs& jobs)
{
    QFuture<void> first = QtConcurrent::run([&] { jobs.run(0); });
    QFuture<void> second = QtConcurrent::run([&] { jobs.run(1); });
    first.waitForFinished();
    second.waitForFinished();
}

// It goes through containers, not through ranges of numbers: this one counts from 0.
class Numbers {
public:
    explicit Numbers(std::size_t count) : mNumbers(count)
    {
        std::iota(mNumbers.begin(), mNumbers.end(), std::size_t{0});
    }
    auto begin() const { return mNumbers.begin(); }
    auto end() const { return mNumbers.end(); }

private:
    std::vector<std::size_t> mNumbers;
};

template <typename Work>
void runLoop(Work& work)
{
    static const Numbers numbers(Work().getCount());
    QtConcurrent::blockingMap(numbers.begin(), numbers.end(),
                              [&](const std::size_t& i) { work.run(i); });
}

const PoolCase<TwoJobs, handOver> kHand(kHandOver, "QtConcurrent");
const PoolCase<TinyJobs, runLoop<TinyJobs>> kLoop(kTinyLoop, "QtConcurrent");
const PoolCase<SquareRoots, runLoop<SquareRoots>> kRoots(kSquareRoots, "QtConcurrent");

}  // namespace

}  // namespace bench
