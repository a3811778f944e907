// SPDX-License-Identifier: MIT
#include <qz/MemoryAndCpuWatcher.h>

#include <algorithm>
#include <utility>

#include <qz/qzLogObject.h>
#include <qz/qzSystemUtils.h>

#include "HumanizedBytes.h"
#include "frame/base/Relaxed.h"

namespace qz {

namespace {

constexpr unsigned int kShortestPeriodMs = 250;  // limits the cost of the watcher itself
constexpr std::size_t kReservedReferences = 64;

}  // namespace

MemoryAndCpuWatcher::MemoryAndCpuWatcher()
{
    startThreadWithSignalsBlocked(nullptr);
}

MemoryAndCpuWatcher::~MemoryAndCpuWatcher()
{
    stopThread(mMutex, mWake, mStopRequested);
}

void MemoryAndCpuWatcher::startWatching(unsigned int periodMs, unsigned int monitorPeriodSeconds,
                                        unsigned int monitorReserve, unsigned int monitorMaxEntries)
{
    // First what may throw.
    std::vector<TimestampReference> references;
    references.reserve(kReservedReferences);
    std::vector<MonitorEntry> monitor;
    if (monitorPeriodSeconds != 0) monitor.reserve(monitorReserve);

    const qzMutexLocker locker(mMutex);
    relaxedStore(mPeriodMs, std::max(periodMs, kShortestPeriodMs));
    mUsage.startTimeMs = qzSystemUtils::GetMSecElapsedSinceEpoch();
    mUsage.references = std::move(references);
    mUsage.monitor = std::move(monitor);
    mMonitorWindow.clear();
    mCurrent.clear();
    mMonitorPeriodSeconds = monitorPeriodSeconds;
    mMonitorMaxEntries = monitorMaxEntries;
    mLastMonitorTimeMs = 0;
    mWake.wakeAll();
    captureNow(/*force=*/true);
}

// The thread isn't woken: it sees the change at the end of the period.
void MemoryAndCpuWatcher::stopWatching()
{
    const qzMutexLocker locker(mMutex);
    relaxedStore(mPeriodMs, 0U);
}

bool MemoryAndCpuWatcher::isWatching() const
{
    return relaxedLoad(mPeriodMs) != 0;
}

void MemoryAndCpuWatcher::stampReference(std::string label)
{
    if (!isWatching()) return;
    const qzMutexLocker locker(mMutex);
    captureNow(/*force=*/true);
    mCurrent.label = std::move(label);
    mUsage.references.push_back(std::move(mCurrent));
    mCurrent.clear();
    if (IsDebugEnabled()) {
        const TimestampReference& ended = mUsage.references.back();
        logDebug("memory") << "Memory watcher RAM usage: " << humanizeBytes(ended.lastRam) << " @"
                           << ended.label;
    }
    captureNow(/*force=*/false);
}

// Without a log there is nobody to report details to.
bool MemoryAndCpuWatcher::IsDebugEnabled()
{
    return qzLog::msInstance != nullptr && qzLog::msInstance->isTypeEnabled(qzLog::Debug);
}

MemoryAndCpuWatcher::RamUsageData MemoryAndCpuWatcher::extractResult()
{
    const qzMutexLocker locker(mMutex);
    return mUsage;
}

void MemoryAndCpuWatcher::run()
{
    const qzMutexLocker locker(mMutex);
    while (!mStopRequested) {
        mWake.wait(&mMutex, isWatching() ? mPeriodMs : qzWaitCondition::msNoLimit);
        if (isWatching()) captureNow(/*force=*/false);
    }
}

}  // namespace qz
