// SPDX-License-Identifier: MIT
#include "stress/StressRun.h"

#include <iomanip>
#include <iostream>

namespace qz::stress {

StressRun::StressRun(int seconds) : mEnd(Clock::now() + std::chrono::seconds(seconds)) {}

void StressRun::add(const std::string& name, const Job& job)
{
    const auto seed = static_cast<unsigned int>(mThreads.size());
    mThreads.emplace_back([this, name, job, seed] { repeat(name, job, seed, mEnd); });
}

void StressRun::repeatHere(const std::string& name, int seconds, const Job& job)
{
    repeat(name, job, /*seed=*/0, Clock::now() + std::chrono::seconds(seconds));
}

void StressRun::repeat(const std::string& name, const Job& job, unsigned int seed,
                       Clock::time_point end)
{
    Random random(seed);
    unsigned long done = 0;
    unsigned long lost = 0;
    while (Clock::now() < end) {
        const std::string what = job(random);
        ++done;
        if (what.empty()) continue;
        ++lost;
        explainLoss(name, done, what);
    }
    report(name, done, lost);
}

void StressRun::join()
{
    for (std::thread& thread : mThreads)
        thread.join();
    mThreads.clear();
}

void StressRun::report(const std::string& name, unsigned long done, unsigned long lost)
{
    const std::scoped_lock lock(mMutex);
    std::cout << std::left << std::setw(48) << name << std::right << std::setw(10) << done
              << " done " << std::setw(6) << lost << " lost" << std::endl;
    mLost += lost;
}

void StressRun::explainLoss(const std::string& name, unsigned long round, const std::string& what)
{
    const std::scoped_lock lock(mMutex);
    std::cerr << name << ", round " << round << ": lost " << what << '\n';
}

}  // namespace qz::stress
