// SPDX-License-Identifier: MIT
#include "ReportLock.h"

#include <atomic>

#include <sys/syscall.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

namespace qz::ext::crash {

namespace {

std::atomic<pid_t> gHolder = 0;
std::atomic<int> gWaiters = 0;
constexpr timespec kPause = {0, 200'000};

long getMonotonicMs()
{
    timespec now = {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1'000'000;
}

// The function would end a thread that is to be cancelled.
void pause()
{
    ::syscall(SYS_nanosleep, &kPause, nullptr);
}

bool take(pid_t thread)
{
    pid_t none = 0;
    return gHolder.compare_exchange_strong(none, thread);
}

}  // namespace

ReportLock::ReportLock(int timeoutMs)
{
    const pid_t own = ::gettid();
    ++gWaiters;
    const long endMs = getMonotonicMs() + timeoutMs;
    while (gHolder != own && !(mIsHeld = take(own)) && getMonotonicMs() < endMs)
        pause();
    --gWaiters;
}

ReportLock::~ReportLock()
{
    if (!mIsHeld) return;
    gHolder = 0;
    // This thread may be about to end the process, and another one to report its own crash.
    constexpr int kMostPauses = 1000;
    for (int i = 0; i < kMostPauses && gWaiters != 0 && gHolder == 0; ++i)
        pause();
}

bool ReportLock::IsHeldByCaller()
{
    return gHolder == ::gettid();
}

void ReportLock::Reset()
{
    gHolder = 0;
    gWaiters = 0;
}

}  // namespace qz::ext::crash
