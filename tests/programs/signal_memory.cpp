// SPDX-License-Identifier: MIT
// Shows whether a report of a signal keeps other signals away from its memory.
//
// Raises SIGUSR1 and counts the calls of `operator new` and `operator delete` that the report makes
// while the next SIGUSR1 could interrupt them: a report of that one would need the same memory.

#include <pthread.h>
#include <signal.h>

#include <cstdlib>
#include <iostream>
#include <new>

#include <qz/qzLog.h>
#include <qz/qzSystem.h>

namespace {

thread_local bool tIsReporting = false;
thread_local int tCalls = 0;
thread_local int tInterruptibleCalls = 0;

void noteCall()
{
    if (!tIsReporting) return;
    ++tCalls;
    sigset_t blocked;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    if (::sigismember(&blocked, SIGUSR1) == 0) ++tInterruptibleCalls;
}

// The library calls it when its report has ended.
void endReport(int /*signal*/)
{
    tIsReporting = false;
}

}  // namespace

void* operator new(std::size_t size)
{
    noteCall();
    void* const memory = std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept
{
    noteCall();
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    operator delete(memory);
}

int main()
{
    ::signal(SIGUSR1, &endReport);
    qz::initializeQzSystem(qz::FullInit);
    qz::qzLog::msInstance->setEchoToConsole(false);
    tIsReporting = true;
    ::raise(SIGUSR1);
    std::cout << (tIsReporting || tCalls == 0 ? "no report" : "interruptible calls ")
              << tInterruptibleCalls << std::endl;
    qz::terminateQzSystem();
}
