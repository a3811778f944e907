// SPDX-License-Identifier: MIT
#include <Poco/NamedMutex.h>

#include "lockfile.h"

namespace bench {

namespace {

void measureBetweenProcesses(benchmark::State& state)
{
    Poco::NamedMutex mutex("bench_lockfile");
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
    }
}

const Case kSystem(kBetweenProcesses, "POCO", measureBetweenProcesses);

}  // namespace

}  // namespace bench
