// SPDX-License-Identifier: MIT
#include "pool.h"

namespace bench {

namespace {

// Less work than for the pool: the caller does a part, and the workers spin before they sleep.
void handOver(TwoJobs& jobs)
{
#pragma omp parallel for schedule(static, 1) num_threads(2)
    for (std::size_t index = 0; index < 2; ++index)
        jobs.run(index);
}

void runTinyJobs(TinyJobs& jobs)
{
#pragma omp parallel for schedule(dynamic, 1)
    for (std::size_t i = 0; i < jobs.getCount(); ++i)
        jobs.run(i);
}

template <typename Work>
void runLoop(Work& work)
{
#pragma omp parallel for
    for (std::size_t i = 0; i < work.getCount(); ++i)
        work.run(i);
}

const PoolCase<TwoJobs, handOver> kHand(kHandOver, "OpenMP");
const PoolCase<TinyJobs, runTinyJobs> kTiny(kTinyJobs, "OpenMP");
const PoolCase<TinyJobs, runLoop<TinyJobs>> kLoop(kTinyLoop, "OpenMP");
const PoolCase<SquareRoots, runLoop<SquareRoots>> kRoots(kSquareRoots, "OpenMP");

}  // namespace

}  // namespace bench
