// SPDX-License-Identifier: MIT
#include <qz/MemoryWatchDog.h>

#include <atomic>
#include <cstdlib>

#include <qz/qzLogObject.h>
#include <qz/qzSystemUtils.h>

#include "HumanizedBytes.h"
#include "frame/base/Relaxed.h"

namespace qz {

namespace {

constexpr unsigned long kPeriodMs = 200;
constexpr int kMiBShift = 20;

// Set by the first watchdog that ends the process: `exit` must not be called twice.
std::atomic<bool> gIsExiting = false;

}  // namespace

MemoryWatchDog::MemoryWatchDog(const std::string& name, unsigned long thresholdMiB, int exitCode)
    : mExitCode(exitCode), mThresholdBytes(thresholdMiB << kMiBShift), mName(name)
{
    startThreadWithSignalsBlocked(nullptr);
    setMonitoringEnabled(true);
}

MemoryWatchDog::~MemoryWatchDog()
{
    stopThread(mMutex, mWake, mStopRequested);
}

void MemoryWatchDog::setMonitoringEnabled(bool enabled)
{
    const qzMutexLocker locker(mMutex);
    relaxedStore(mMonitoringEnabled, enabled);
    mWake.wakeAll();
    if (qzLog::msInstance != nullptr && !qzLog::msInstance->isTypeEnabled(qzLog::Trace)) return;
    if (enabled) {
        logTrace() << "Memory watchdog '" << mName << "' : start with a threshold of "
                   << humanizeBytes(mThresholdBytes);
    } else {
        logTrace() << "Memory watchdog '" << mName << "' : stop";
    }
}

bool MemoryWatchDog::isMonitoringEnabled()
{
    const qzMutexLocker locker(mMutex);
    return mMonitoringEnabled;
}

void MemoryWatchDog::run()
{
    while (!relaxedLoad(mStopRequested)) {
        awaitCheck();
        if (!relaxedLoad(mMonitoringEnabled)) continue;
        const unsigned long usedBytes =
            qzSystemUtils::GetUsedRamQuantityInBytes(qzSystemUtils::RamResident);
        if (usedBytes > mThresholdBytes) endProcess(usedBytes);
    }
}

void MemoryWatchDog::awaitCheck()
{
    const qzMutexLocker locker(mMutex);
    if (mStopRequested) return;
    mWake.wait(&mMutex, mMonitoringEnabled ? kPeriodMs : qzWaitCondition::msNoLimit);
}

void MemoryWatchDog::endProcess(unsigned long usedBytes)
{
    logCritical() << "Memory watchdog '" << mName << "' : process is using too much RAM "
                  << humanizeBytes(usedBytes) << ", it will be killed, threshold was "
                  << humanizeBytes(mThresholdBytes);
    if (!gIsExiting.exchange(true)) std::exit(mExitCode);
    // The exit of the other watchdog may destroy this one, and then it waits for this thread.
    const qzMutexLocker locker(mMutex);
    while (!mStopRequested) {
        mWake.wait(&mMutex, qzWaitCondition::msNoLimit);
    }
}

}  // namespace qz
