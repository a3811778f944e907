// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// What the contenders share that write lines to a file.

#include <cstddef>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "../support.h"

namespace bench {

inline const std::string kReportedName = "/var/lib/records/2026-11.dat";

/// The lines of the long run and of the burst.
inline std::size_t countOfLines()
{
    return sized(100000, 100);
}
inline constexpr std::size_t kBurstLines = 4000;

/// Has `lines` reports made by so many threads, each its share; `report` gets the line's number.
template <typename Report>
void produce(std::size_t producers, std::size_t lines, const Report& report)
{
    const auto produceShare = [&](std::size_t first) {
        for (std::size_t i = first; i < lines; i += producers)
            report(i);
    };
    std::vector<std::thread> threads;
    for (std::size_t first = 1; first < producers; ++first)
        threads.emplace_back(produceShare, first);
    produceShare(0);
    for (std::thread& thread : threads)
        thread.join();
}

/// Counts the lines of a file.
std::size_t countLines(const std::string& path);

/// The rows of one contender for many lines. `measure(state, producers, lines)` has so many lines
/// made by so many threads.
template <void (*measure)(benchmark::State&, std::size_t producers, std::size_t lines)>
class ProducerRows {
public:
    explicit ProducerRows(const char* name)
        : mOneProducer("100,000 lines, 1 producer", name, measureLines<1>, Clock::Wall),
          mTwoProducers("100,000 lines, 2 producers", name, measureLines<2>, Clock::Wall),
          mFourProducers("100,000 lines, 4 producers", name, measureLines<4>, Clock::Wall),
          mBurst("burst of 4,000 lines, 1 producer", name, measureBurst<1>, Clock::Wall),
          mBurst4("burst of 4,000 lines, 4 producers", name, measureBurst<4>, Clock::Wall)
    {
    }

private:
    template <std::size_t Producers>
    static void measureLines(benchmark::State& state)
    {
        measure(state, Producers, countOfLines());
    }

    template <std::size_t Producers>
    static void measureBurst(benchmark::State& state)
    {
        measure(state, Producers, kBurstLines);
    }

    Case mOneProducer;
    Case mTwoProducers;
    Case mFourProducers;
    Case mBurst;
    Case mBurst4;
};

/// Makes reports one by one, a little apart, and gives the time that the slowest of a share of them
/// took, in seconds. @param share 0.99 for the 99th percentile.
double measureLatency(double share, const std::function<void(std::size_t)>& report);

}  // namespace bench
