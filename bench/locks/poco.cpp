// SPDX-License-Identifier: MIT
#include <Poco/Mutex.h>
#include <Poco/Semaphore.h>

#include "locks.h"

namespace bench {

namespace {

void measureFree(benchmark::State& state)
{
    measureFreeLock<Poco::Mutex>(state, 1);
}

void measureTwice(benchmark::State& state)
{
    measureFreeLock<Poco::Mutex>(state, 2);
}

void measureSemaphore(benchmark::State& state)
{
    Poco::Semaphore semaphore(0, 1000000);
    for (auto _ : state) {
        semaphore.set();
        semaphore.wait();
    }
}

const Case kFree("lock and unlock, free", "POCO", measureFree);
const Case kTwice("taken twice", "POCO", measureTwice);
const Case kSemaphore("semaphore release and acquire", "POCO", measureSemaphore);

}  // namespace

}  // namespace bench
