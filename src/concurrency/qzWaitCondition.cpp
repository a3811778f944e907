// SPDX-License-Identifier: MIT
#include <qz/qzWaitCondition.h>

#include <cerrno>

#include <pthread.h>
#include <time.h>

#include <qz/qzMutex.h>
#include <qz/qzSystemUtils.h>

#include "EarlyConstruction.h"

namespace qz {

struct qzWaitCondition::Impl {
    Impl() { ::pthread_cond_init(&condition, nullptr); }
    // The system's function returns when no thread waits (from glibc 2.25 on). In a forked child
    // the waiting threads of the parent don't exist, so it would never return.
    ~Impl()
    {
        if (qzSystemUtils::GetCurrentProcessID() == processId) ::pthread_cond_destroy(&condition);
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    pthread_cond_t condition;
    const long processId = qzSystemUtils::GetCurrentProcessID();  // of its maker
};

namespace {

constexpr long kNanosecondsInSecond = 1000000000;

// Compatibility: the seconds of a wait have 32 bits with a sign.
timespec addMilliseconds(timespec time, unsigned long timeMs)
{
    time.tv_sec += static_cast<int>(timeMs / 1000);
    time.tv_nsec += static_cast<long>(timeMs % 1000) * 1000000;
    if (time.tv_nsec >= kNanosecondsInSecond) {
        time.tv_nsec -= kNanosecondsInSecond;
        ++time.tv_sec;
    }
    return time;
}

}  // namespace

qzWaitCondition::qzWaitCondition() : mImpl(std::make_unique<Impl>())
{
    warnBeforeFullStart("WaitCondition created before full init of qzSystem");
}

qzWaitCondition::~qzWaitCondition()
{
    CheckIfProcessForkAfterThreadSafeInit();
}

bool qzWaitCondition::wait(qzMutex* mutex, unsigned long timeMs)
{
    auto* const platformMutex = static_cast<pthread_mutex_t*>(mutex->getMutexData());
    if (timeMs == msNoLimit) {
        ::pthread_cond_wait(&mImpl->condition, platformMutex);
        return true;
    }
    timespec now = {};
    if (::clock_gettime(CLOCK_REALTIME, &now) != 0) return false;
    const timespec deadline = addMilliseconds(now, timeMs);
    return ::pthread_cond_timedwait(&mImpl->condition, platformMutex, &deadline) != ETIMEDOUT;
}

void qzWaitCondition::wakeAll()
{
    ::pthread_cond_broadcast(&mImpl->condition);
}

void qzWaitCondition::wakeOne()
{
    ::pthread_cond_signal(&mImpl->condition);
}

void qzWaitCondition::FindBestImplementation() {}

}  // namespace qz
