// SPDX-License-Identifier: MIT
#include <algorithm>

#include <qz/qzThread.h>

namespace qz {

namespace {

constexpr unsigned int kShortestPeriodSeconds = 1;
constexpr unsigned int kMsInSecond = 1000;

}  // namespace

qzThreadPeriodicalUpdater::qzThreadPeriodicalUpdater(unsigned int periodSeconds)
    : mPeriodMs(std::max(periodSeconds, kShortestPeriodSeconds) * kMsInSecond)
{
    startThreadWithSignalsBlocked(nullptr);
}

qzThreadPeriodicalUpdater::~qzThreadPeriodicalUpdater()
{
    stopThread(mMutex, mWake, mStopRequested);
}

void qzThreadPeriodicalUpdater::addCallback(void (*callback)(void*), void* userData)
{
    const qzMutexLocker locker(mMutex);
    CallbackInfo& added = mCallbacks.emplace_back();
    added.callback = callback;
    added.userData = userData;
    mWake.wakeAll();
}

void qzThreadPeriodicalUpdater::removeCallback(void (*callback)(void*), void* userData)
{
    const qzMutexLocker locker(mMutex);
    const auto found =
        std::find_if(mCallbacks.begin(), mCallbacks.end(), [&](const CallbackInfo& entry) {
            return entry.callback == callback && entry.userData == userData;
        });
    if (found != mCallbacks.end()) mCallbacks.erase(found);
}

void qzThreadPeriodicalUpdater::run()
{
    const qzMutexLocker locker(mMutex);
    while (!mStopRequested) {
        mWake.wait(&mMutex, mCallbacks.empty() ? qzWaitCondition::msNoLimit : mPeriodMs);
        // Whatever ended the wait, also the stop: every function gets its last call.
        for (const CallbackInfo& entry : mCallbacks) {
            entry.callback(entry.userData);
        }
    }
}

}  // namespace qz
