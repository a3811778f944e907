// SPDX-License-Identifier: MIT
#include <qz/qzHighResTimer.h>

#include <sys/time.h>

struct qzHighResTimer::Times {
    timeval start = {};
    timeval stop = {};
    bool isStopped = true;
};

namespace {

double getMicroSec(const timeval& time)
{
    return static_cast<double>(time.tv_sec) * 1000000.0 + static_cast<double>(time.tv_usec);
}

}  // namespace

qzHighResTimer::qzHighResTimer() : mTimes(std::make_unique<Times>()) {}

qzHighResTimer::~qzHighResTimer() = default;

void qzHighResTimer::clearTimer()
{
    *mTimes = Times();
}

void qzHighResTimer::start()
{
    mTimes->isStopped = false;
    ::gettimeofday(&mTimes->start, nullptr);
}

void qzHighResTimer::stop()
{
    if (mTimes->isStopped) return;
    mTimes->isStopped = true;
    ::gettimeofday(&mTimes->stop, nullptr);
}

bool qzHighResTimer::isRunning()
{
    return !mTimes->isStopped;
}

double qzHighResTimer::getElapsedTimeInMicroSec()
{
    if (isRunning()) ::gettimeofday(&mTimes->stop, nullptr);
    return getMicroSec(mTimes->stop) - getMicroSec(mTimes->start);
}

double qzHighResTimer::getElapsedTimeInMilliSec()
{
    return getElapsedTimeInMicroSec() * 0.001;
}

double qzHighResTimer::getElapsedTimeInSec()
{
    return getElapsedTimeInMicroSec() * 0.000001;
}
