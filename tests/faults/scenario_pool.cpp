// SPDX-License-Identifier: MIT
// A pool of three workers starts, runs loops over a range and a list and a reduction, and ends. The
// pool of the process does a loop as well.

#include <filesystem>
#include <functional>
#include <iterator>
#include <list>
#include <string>
#include <system_error>
#include <vector>

#include <qz/ConcurrentPool.h>
#include <qz/ext/Parallel.h>
#include <qz/qzLog.h>
#include <qz/qzProgressNotifier.h>

#include "faults/Scenario.h"
#include "support/Allocations.h"
#include "support/LibraryStart.h"
#include "support/Waiting.h"

namespace {

using namespace qz::ext;

std::size_t countThreads()
{
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

std::string useWorkers(const ParallelOptions& options)
{
    std::vector<int> numbers(3000);
    const ParallelResult loop = parallelFor(
        0, numbers.size(), [&](std::size_t i) { numbers[i] = 1; }, options);
    std::list<int> list(10, 1);  // an allocation each
    const ParallelResult walk = parallelForEach(
        list, [](int& number) { ++number; }, options);
    const auto sum = parallelReduce(
        0, numbers.size(), 0, [&](std::size_t i) { return numbers[i]; }, std::plus<>(), options);
    const bool areDone = loop && walk && sum;
    return (areDone ? "sums " : "not done, sums ") + std::to_string(sum.value) + " " +
           std::to_string(list.front() + list.back());
}

std::string usePool()
{
    const qz::faults::Watch watch;
    qz::qzProgressNotifierBase progress;
    ParallelOptions options;
    options.notifier = &progress;
    std::string outcome;
    try {
        qz::ConcurrentPool pool(3);
        options.pool = &pool;
        outcome = useWorkers(options);
    } catch (const std::system_error& error) {
        outcome = std::string("no pool: ") + error.what();
    }
    options.pool = nullptr;
    return outcome + "; " + useWorkers(options);
}

std::string work(const std::string& /*folder*/)
{
    std::size_t threads = 0;
    {
        const qz::support::AllocationPause ownWork;
        threads = countThreads();
    }
    const std::string outcome = usePool();
    const qz::support::AllocationPause ownWork;
    // The kernel removes a thread a little after it was joined, so one of the last run may still
    // have been counted before this one.
    const bool haveEnded = qz::support::waitUntil([&] { return countThreads() <= threads; });
    return outcome + (haveEnded ? "" : "; threads are left");
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library(qz::FullInit);
    qz::qzLog::msInstance->setEchoToConsole(false);
    return qz::faults::runScenario(argumentCount, arguments, &work);
}
