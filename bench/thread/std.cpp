// SPDX-License-Identifier: MIT
#include <thread>

#include "../support.h"

namespace bench {

namespace {

void measureStartAndJoin(benchmark::State& state)
{
    for (auto _ : state) {
        std::thread thread([] {});
        thread.join();
    }
}

const Case kStartAndJoin("start and join", "std", measureStartAndJoin, Clock::Wall);

}  // namespace

}  // namespace bench
