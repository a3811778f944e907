// SPDX-License-Identifier: MIT
#include <qz/MemoryAndCpuWatcher.h>

#include <string>

#include <qz/AsciiTableBuilder.h>
#include <qz/qzStringUtils.h>
#include <qz/qzSystemUtils.h>

#include "HumanizedBytes.h"
#include "SeriesPeak.h"

namespace qz {

namespace {

using EndOfRow = AsciiTableBuilder::EndOfRow;
using FuseWithNextCell = AsciiTableBuilder::FuseWithNextCell;
using Reference = MemoryAndCpuWatcher::TimestampReference;

constexpr char kNone[] = "-";

std::string makePercent(double percent)
{
    return qzStringUtils::humanizeNumberGeneric<double>(
               percent, /*significantDigits=*/3, /*maxDecimals=*/1, /*binaryPrefixes=*/false,
               /*largePrefixes=*/false, /*smallPrefixes=*/false) +
           "%";
}

std::string makeDuration(long milliseconds)
{
    return qzStringUtils::humanizeDuration(milliseconds, /*detail=*/0, /*showMilliseconds=*/false);
}

double getAverage(const MemoryAndCpuWatcher::Series<float>& series)
{
    return series.count != 0 ? series.sum / static_cast<double>(series.count) : 0.0;
}

void addHeader(AsciiTableBuilder& table)
{
    table << std::string() << FuseWithNextCell{2} << "RAM" << FuseWithNextCell{1} << "CPU"
          << FuseWithNextCell{1} << "Time" << EndOfRow{};
    table << "Label"
          << "End"
          << "Δ"
          << "Peak"
          << "Avg"
          << "Peak"
          << "Time"
          << "Δ" << EndOfRow{};
}

// `previous` is null for the first segment.
void addReference(AsciiTableBuilder& table, const Reference& reference, const Reference* previous,
                  long startTimeMs)
{
    const bool isFirst = previous == nullptr;
    const long previousTimeMs = isFirst ? startTimeMs : previous->timeMs;
    table << reference.label << humanizeBytes(reference.lastRam)
          << (isFirst ? std::string(kNone) : humanizeBytes(reference.lastRam - previous->lastRam))
          << humanizeBytes(getPeak(reference.ramSeries))
          << makePercent(getAverage(reference.cpuSeries) * 100)
          << makePercent(getPeak(reference.cpuSeries) * 100)  // a float, as the samples are
          << makeDuration(reference.timeMs - startTimeMs)
          << '+' + makeDuration(reference.timeMs - previousTimeMs) << EndOfRow{};
}

}  // namespace

std::string MemoryAndCpuWatcher::getUsageAsAsciiTable()
{
    const qzMutexLocker locker(mMutex);
    if (mUsage.references.empty()) return {};
    const long nowMs = qzSystemUtils::GetMSecElapsedSinceEpoch();
    AsciiTableBuilder table("CPU & RAM usage");
    addHeader(table);
    const Reference* previous = nullptr;
    for (const Reference& reference : mUsage.references) {
        addReference(table, reference, previous, mUsage.startTimeMs);
        previous = &reference;
    }
    table << "Overall" << kNone << kNone << humanizeBytes(getPeak(mUsage.overallRam)) << kNone
          << kNone << makeDuration(nowMs - mUsage.startTimeMs) << kNone << EndOfRow{};
    return table.toString();
}

}  // namespace qz
