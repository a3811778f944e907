// SPDX-License-Identifier: MIT
#include <qz/MemoryAndCpuWatcher.h>

#include <algorithm>

#include <unistd.h>

#include <qz/qzIoDeviceFileStream.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystemUtils.h>

#include "SeriesPeak.h"
#include "text/NumberParse.h"

namespace qz {

namespace {

constexpr std::size_t kBlockSize = 1024;  // the statistics have some 300 bytes

// The place of the user time. Compatibility: the fields are counted without regard to the
// parentheses around the program's name, so a blank in it shifts this one.
constexpr std::size_t kUserTimeField = 13;

}  // namespace

void MemoryAndCpuWatcher::captureNow(bool force)
{
    const qzMutexLocker locker(mMutex);
    const long nowMs = qzSystemUtils::GetMSecElapsedSinceEpoch();
    sampleRam(nowMs);
    sampleCpu();
    addMonitorEntry(nowMs, force);
}

void MemoryAndCpuWatcher::sampleRam(long nowMs)
{
    const auto ram =
        static_cast<long>(qzSystemUtils::GetUsedRamQuantityInBytes(qzSystemUtils::RamResident));
    mCurrent.timeMs = nowMs;
    mMonitorWindow.timeMs = nowMs;
    if (ram < 0) {
        if (IsDebugEnabled())
            logDebug("perf") << "Memory watcher got a negative value of RAM usage: " << ram;
        return;
    }
    mCurrent.lastRam = ram;
    mMonitorWindow.lastRam = ram;
    mCurrent.ramSeries.addSample(ram);
    mMonitorWindow.ramSeries.addSample(ram);
    mUsage.overallRam.addSample(ram);
}

void MemoryAndCpuWatcher::sampleCpu()
{
    const auto tickMs = static_cast<long>(qzSystemUtils::GetTimeBaseMs());
    if (mLastCpuTimeMs >= tickMs) return;
    long seconds = 0;
    if (!readUserSeconds(seconds)) return;
    const float elapsedSec = static_cast<float>(tickMs - mLastCpuTimeMs) / 1000.0F;
    const float load = static_cast<float>(seconds - mLastCpuSeconds) / elapsedSec;
    mCurrent.cpuSeries.addSample(load);
    mMonitorWindow.cpuSeries.addSample(load);
    mLastCpuSeconds = seconds;
    mLastCpuTimeMs = tickMs;
}

// Compatibility: fractions of a second are cut off.
bool MemoryAndCpuWatcher::readUserSeconds(long& seconds)
{
    const long ticksPerSecond = ::sysconf(_SC_CLK_TCK);
    if (ticksPerSecond <= 0 || !readProcessStatistics()) return false;
    splitProcessStatistics();
    if (mStatFields.size() <= kUserTimeField) return false;
    long ticks = 0;
    text::parseInteger(mStatFields[kUserTimeField], ticks);  // 0 if the field isn't a number
    seconds = ticks / ticksPerSecond;
    return true;
}

// The file has no size, so it is read until there is no more.
bool MemoryAndCpuWatcher::readProcessStatistics()
{
    mFileBuffer.clear();
    qzIoDeviceFileStream file("/proc/self/stat", qzIoDevice::DataWayRead, /*truncate=*/false);
    if (!file.isOpen()) return false;
    std::size_t size = 0;
    for (unsigned long count = 1; count != 0; size += count) {
        mFileBuffer.resize(size + kBlockSize);
        count = file.readBytes(mFileBuffer.data() + size, kBlockSize);
    }
    mFileBuffer.resize(size);
    return true;
}

// Fields are assigned to, not made anew, so that they keep their memory.
void MemoryAndCpuWatcher::splitProcessStatistics()
{
    const auto end = mFileBuffer.cend();
    auto begin = mFileBuffer.cbegin();
    std::size_t count = 0;
    for (bool hasMore = true; hasMore; ++count) {
        const auto blank = std::find(begin, end, ' ');
        if (count == mStatFields.size()) mStatFields.emplace_back();
        mStatFields[count].assign(begin, blank);
        hasMore = blank != end;
        if (hasMore) begin = blank + 1;
    }
    mStatFields.resize(count);
}

void MemoryAndCpuWatcher::addMonitorEntry(long nowMs, bool force)
{
    if (mMonitorPeriodSeconds == 0 || mUsage.monitor.size() >= mMonitorMaxEntries) return;
    const long periodMs = static_cast<long>(mMonitorPeriodSeconds) * 1000;
    if (!force && periodMs >= nowMs - mLastMonitorTimeMs) return;
    MonitorEntry& entry = mUsage.monitor.emplace_back();
    entry.timeMs = nowMs;
    entry.peakRam = getPeak(mMonitorWindow.ramSeries);
    entry.lastRam = mMonitorWindow.lastRam;
    entry.peakCpu = getPeak(mMonitorWindow.cpuSeries);
    mMonitorWindow.clear();
    mLastMonitorTimeMs = nowMs;
}

}  // namespace qz
