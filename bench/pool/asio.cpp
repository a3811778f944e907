// SPDX-License-Identifier: MIT
#include <algorithm>
#include <latch>
#include <thread>
#include <utility>  // Boost 1.74 forgets it

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include "pool.h"

namespace bench {

namespace {

// Posts that many jobs, each with its index, and waits for them.
template <typename Job>
void postAll(boost::asio::thread_pool& pool, std::size_t count, const Job& job)
{
    std::latch left(static_cast<std::ptrdiff_t>(count));
    for (std::size_t i = 0; i < count; ++i) {
        boost::asio::post(pool, [&job, &left, i] {
            job(i);
            left.count_down();
        });
    }
    left.wait();
}

boost::asio::thread_pool& usePool()
{
    static boost::asio::thread_pool pool(std::max(1U, std::thread::hardware_concurrency()));
    return pool;
}

void handOver(TwoJobs& jobs)
{
    static boost::asio::thread_pool pool(2);
    postAll(pool, 2, [&](std::size_t index) { jobs.run(index); });
}

void runTinyJobs(TinyJobs& jobs)
{
    postAll(usePool(), jobs.getCount(), [&](std::size_t index) { jobs.run(index); });
}

// It has no loops: some equal parts for each thread.
template <typename Work>
void runLoop(Work& work)
{
    const std::size_t parts = 8 * std::max<std::size_t>(1, std::thread::hardware_concurrency());
    postAll(usePool(), parts, [&](std::size_t part) {
        const std::size_t end = work.getCount() * (part + 1) / parts;
        for (std::size_t i = work.getCount() * part / parts; i != end; ++i)
            work.run(i);
    });
}

const PoolCase<TwoJobs, handOver> kHand(kHandOver, "Boost.Asio");
const PoolCase<TinyJobs, runTinyJobs> kTiny(kTinyJobs, "Boost.Asio");
const PoolCase<TinyJobs, runLoop<TinyJobs>> kLoop(kTinyLoop, "Boost.Asio");
const PoolCase<SquareRoots, runLoop<SquareRoots>> kRoots(kSquareRoots, "Boost.Asio");

}  // namespace

}  // namespace bench
