// SPDX-License-Identifier: MIT
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_group.h>

#include "pool.h"

namespace bench {

namespace {

// Less work than for the pool: the caller does a part, and the workers spin before they sleep.
void handOver(TwoJobs& jobs)
{
    tbb::task_group group;
    group.run([&] { jobs.run(0); });
    group.run([&] { jobs.run(1); });
    group.wait();
}

// Each job is a task of its own.
void runTinyJobs(TinyJobs& jobs)
{
    using Range = tbb::blocked_range<std::size_t>;
    const auto run = [&](const Range& range) {
        for (std::size_t i = range.begin(); i != range.end(); ++i)
            jobs.run(i);
    };
    tbb::parallel_for(Range(0, jobs.getCount(), 1), run, tbb::simple_partitioner());
}

template <typename Work>
void runLoop(Work& work)
{
    tbb::parallel_for(std::size_t{0}, work.getCount(), [&](std::size_t i) { work.run(i); });
}

const PoolCase<TwoJobs, handOver> kHand(kHandOver, "oneTBB");
const PoolCase<TinyJobs, runTinyJobs> kTiny(kTinyJobs, "oneTBB");
const PoolCase<TinyJobs, runLoop<TinyJobs>> kLoop(kTinyLoop, "oneTBB");
const PoolCase<SquareRoots, runLoop<SquareRoots>> kRoots(kSquareRoots, "oneTBB");

}  // namespace

}  // namespace bench
