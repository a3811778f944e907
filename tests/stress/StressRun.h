// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace qz::stress {

using Random = std::mt19937;

/// Does jobs on threads of their own for a time, and prints a line for each kind of work: how often
/// it was done, and how often something was lost.
class StressRun {
public:
    /// Returns an empty text, or what was lost.
    using Job = std::function<std::string(Random& random)>;

    explicit StressRun(int seconds);

    /// Starts a thread that repeats a job until the time is over. Its random numbers depend on the
    /// number of jobs that were added before.
    void add(const std::string& name, const Job& job);
    /// Whether the time is over.
    bool isOver() const { return Clock::now() >= mEnd; }
    /// Repeats a job on this thread for so many seconds of its own.
    void repeatHere(const std::string& name, int seconds, const Job& job);
    /// Waits for the jobs of the threads.
    void join();
    /// Prints the line for work that was counted elsewhere. From any thread.
    void report(const std::string& name, unsigned long done, unsigned long lost);
    /// @return 1 if anything was lost, otherwise 0.
    int getExitCode() const { return mLost == 0 ? 0 : 1; }

private:
    using Clock = std::chrono::steady_clock;

    void repeat(const std::string& name, const Job& job, unsigned int seed, Clock::time_point end);
    void explainLoss(const std::string& name, unsigned long round, const std::string& what);

    Clock::time_point mEnd;
    std::vector<std::thread> mThreads;
    std::mutex mMutex;        // for the output
    unsigned long mLost = 0;  // guarded by mMutex
};

}  // namespace qz::stress
