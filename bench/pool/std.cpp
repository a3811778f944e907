// SPDX-License-Identifier: MIT
#include <thread>

#include "pool.h"

namespace bench {

namespace {

void measureThreadCount(benchmark::State& state)
{
    for (auto _ : state) {
        unsigned int count = std::thread::hardware_concurrency();
        keep(count);
    }
}

const Case kThreadCount("number of threads to use", "std", measureThreadCount);

}  // namespace

}  // namespace bench
