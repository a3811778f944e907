// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The work with locks, in a form that every contender fills with its own kinds.

#include <functional>
#include <thread>
#include <vector>

#include "../support.h"

namespace bench {

/// Locks and unlocks; `depth` times within each other.
template <typename Mutex>
void measureFreeLock(benchmark::State& state, int depth)
{
    Mutex mutex;
    for (auto _ : state) {
        for (int i = 0; i < depth; ++i)
            mutex.lock();
        keep(mutex);
        for (int i = 0; i < depth; ++i)
            mutex.unlock();
    }
}

/// Many threads raise a number under one lock, with a little work of their own in between.
template <typename Mutex>
void measureContendedLock(benchmark::State& state, std::size_t threadCount)
{
    const std::size_t rounds = sized(100000, 100) / threadCount;
    Mutex mutex;
    // Whether the number shares its cache line with the mutex, or with a pointer to it, changes the
    // time by more than a factor of two in either direction. So it has one of its own.
    struct alignas(64) Counted {
        std::size_t number = 0;
    } counted;
    const auto work = [&] {
        std::size_t own = 0;
        for (std::size_t i = 0; i < rounds; ++i) {
            mutex.lock();
            keep(++counted.number);
            mutex.unlock();
            for (int k = 0; k < 20; ++k)
                keep(++own);
        }
    };
    for (auto _ : state) {
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < threadCount; ++i)
            threads.emplace_back(work);
        for (std::thread& thread : threads)
            thread.join();
    }
}

/// Two threads hand a turn to and fro: `Turn` has `give(bool)` and `await(bool)`.
template <typename Turn>
void measureRoundTrip(benchmark::State& state)
{
    Turn turn;
    bool ends = false;
    std::thread other([&] {
        while (true) {
            turn.await(true);
            const bool isLast = ends;
            turn.give(false);
            if (isLast) return;
        }
    });
    for (auto _ : state) {
        turn.give(true);
        turn.await(false);
    }
    ends = true;
    turn.give(true);
    other.join();
}

}  // namespace bench
