// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The work that pools do, in a form that every contender fills with its own calls.

#include <cmath>
#include <vector>

#include "../support.h"

namespace bench {

constexpr const char* kHandOver = "hand two solvers over and wait";
constexpr const char* kTinyJobs = "10,000 tiny jobs";
constexpr const char* kTinyLoop = "10,000 tiny jobs, in pieces of any size";
constexpr const char* kSquareRoots = "parallel for over 1e7 doubles";

/// Two pieces of work without content.
class TwoJobs {
public:
    void run(std::size_t index) { keep(++mRuns[index].count); }
    bool areDone() const { return mRuns[0].count == 1 && mRuns[1].count == 1; }

private:
    struct alignas(64) Runs {
        int count = 0;
    };
    Runs mRuns[2];
};

/// Many pieces of work of some nanoseconds each.
class TinyJobs {
public:
    TinyJobs() : mResults(sized(10000, 100)) {}
    std::size_t getCount() const { return mResults.size(); }
    void run(std::size_t index) { mResults[index] = Mix(index); }
    bool areDone() const
    {
        for (std::size_t i = 0; i < mResults.size(); ++i) {
            if (mResults[i] != Mix(i)) return false;
        }
        return true;
    }

private:
    static std::size_t Mix(std::size_t number)
    {
        number = (number + 1) * 0x9E3779B97F4A7C15U;
        number = (number ^ (number >> 30)) * 0xBF58476D1CE4E5B9U;
        return number ^ (number >> 27);
    }
    std::vector<std::size_t> mResults;
};

/// The square roots of many numbers.
class SquareRoots {
public:
    SquareRoots() : mSquares(sized(10'000'000, 1000)), mRoots(mSquares.size())
    {
        for (std::size_t i = 0; i < mSquares.size(); ++i)
            mSquares[i] = static_cast<double>(i);
    }
    std::size_t getCount() const { return mRoots.size(); }
    void run(std::size_t index) { mRoots[index] = std::sqrt(mSquares[index]); }
    bool areDone() const
    {
        for (std::size_t i = 0; i < mSquares.size(); ++i) {
            if (mRoots[i] != std::sqrt(mSquares[i])) return false;
        }
        return true;
    }

private:
    std::vector<double> mSquares;
    std::vector<double> mRoots;
};

/// A row of a contender, `Run`, which calls `run` of the work for all of its indices. That it does
/// is checked before.
template <typename Work, void (*Run)(Work&)>
class PoolCase {
public:
    PoolCase(const char* row, const char* contender)
        : mCheck(contender, DoesAll), mCase(row, contender, Measure, Clock::Wall)
    {
    }

private:
    static bool DoesAll()
    {
        Work work;
        Run(work);
        return work.areDone();
    }
    static void Measure(benchmark::State& state)
    {
        Work work;
        Run(work);  // the first use of the memory, and the start of the threads
        for (auto _ : state)
            Run(work);
    }

    Check mCheck;
    Case mCase;
};

}  // namespace bench
