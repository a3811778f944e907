// SPDX-License-Identifier: MIT
// The memory and the processor time of two segments are measured, with a time series beside them.

#include <algorithm>
#include <string>

#include <qz/MemoryAndCpuWatcher.h>

#include "faults/Scenario.h"
#include "support/LibraryStart.h"

namespace {

using Result = qz::MemoryAndCpuWatcher::RamUsageData;

// Whether each sample of the memory is one, as 0 is what a failed reading gives.
bool knowsMemory(const Result& result)
{
    return result.overallRam.minimum > 0 && result.overallRam.count >= result.references.size();
}

// Processor time that can't be read must not become a load.
bool hasImpossibleLoad(const Result& result)
{
    const auto isImpossible = [](const auto& segment) { return segment.cpuSeries.minimum < 0; };
    return std::any_of(result.references.begin(), result.references.end(), isImpossible);
}

std::string measure()
{
    constexpr unsigned int kPeriodMs = 250;
    qz::MemoryAndCpuWatcher watcher;
    watcher.startWatching(kPeriodMs, /*monitorPeriodSeconds=*/1, /*monitorReserve=*/8,
                          /*monitorMaxEntries=*/2);
    watcher.stampReference("first");
    watcher.captureNow(/*force=*/true);
    watcher.stampReference("second");
    const std::string table = watcher.getUsageAsAsciiTable();
    watcher.stopWatching();
    const Result result = watcher.extractResult();
    return "segments " + std::to_string(result.references.size()) + ", entries " +
           std::to_string(result.monitor.size()) +
           (table.find("second") != std::string::npos ? ", table" : ", no table") +
           (knowsMemory(result) ? ", memory" : ", a sample without memory") +
           (hasImpossibleLoad(result) ? ", impossible load" : "");
}

std::string work(const std::string& /*folder*/)
{
    return qz::faults::watchStart(&measure);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library(qz::FullInit);
    return qz::faults::runScenario(argumentCount, arguments, &work);
}
