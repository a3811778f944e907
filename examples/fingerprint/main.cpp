// SPDX-License-Identifier: MIT
// Calculates digests of all files below folders, and shows where the time and the memory went.

#include <algorithm>
#include <iostream>
#include <new>
#include <optional>
#include <system_error>

#include <qz/ConcurrentPool.h>
#include <qz/MemoryAndCpuWatcher.h>
#include <qz/MemoryWatchDog.h>
#include <qz/ext/ContainerLimits.h>
#include <qz/ext/LibraryStart.h>
#include <qz/ext/Parallel.h>
#include <qz/ext/ProgressView.h>
#include <qz/qzCancelConsoleEventCatcher.h>
#include <qz/qzCancelIfParentProcessDied.h>
#include <qz/qzStringUtils.h>
#include <qz/qzSystemUtils.h>

#include "Comparison.h"
#include "CsvFile.h"
#include "FileDigest.h"
#include "FileEntry.h"
#include "FolderWalk.h"
#include "Options.h"
#include "Problems.h"
#include "Status.h"

namespace {

using namespace fingerprint;
using qz::qzSystemUtils;
using qz::ext::ContainerLimits;

constexpr unsigned int kSamplePeriodMs = 250;

// The files with their digests, and how long those took.
struct Digests {
    FoundFiles files;
    unsigned long durationMs = 0;
    bool isComplete = false;
};

void digestFiles(const Options& options, qz::ConcurrentPool& pool,
                 const qz::qzCancelInterfaceReadOnly& cancel, Digests& digests)
{
    qz::ext::ProgressViewOptions shown;
    shown.title = "digest";
    shown.unit = " files";
    shown.total = static_cast<double>(digests.files.entries.size());
    shown.isQuiet = options.isQuiet;
    qz::ext::ProgressView view(shown, &cancel);
    qz::ext::ParallelOptions way;
    way.pool = &pool;
    way.notifier = &view;
    const unsigned long startMs = qzSystemUtils::GetTimeBaseMs();
    const auto digestOne = [&](FileEntry& entry) {
        digestFile(joinPath(options.folders[entry.folder], entry.path), cancel, entry);
    };
    const bool isDone = qz::ext::parallelForEach(digests.files.entries, digestOne, way).isComplete;
    digests.durationMs = qzSystemUtils::GetTimeBaseMs() - startMs;
    digests.isComplete = isDone && !cancel.shouldCancel();
}

Status reportInterruption(const Digests& digests)
{
    const auto doneCount =
        std::count_if(digests.files.entries.begin(), digests.files.entries.end(),
                      [](const FileEntry& entry) { return entry.digest.has_value(); });
    std::cerr << "fingerprint: interrupted; " << doneCount << " of " << digests.files.entries.size()
              << " files are done, no CSV file is written\n";
    return StatusInterrupted;
}

void compare(const Options& options, const Digests& digests, Problems& problems)
{
    std::string error;
    std::optional<Fingerprints> earlier = readCsv(options.comparedPath, error);
    if (earlier)
        printDifferences(options.folders, digests.files, std::move(*earlier));
    else
        problems.report("cannot compare with", options.comparedPath, error);
}

void write(const Options& options, const Digests& digests, Problems& problems)
{
    std::string error;
    if (!writeCsv(options.csvPath, digests.files.entries, error))
        problems.report("cannot write", options.csvPath, error);
}

void printSummary(const Digests& digests, unsigned int threadCount)
{
    constexpr double kMsPerSec = 1000;
    unsigned long fileCount = 0;
    unsigned long bytes = 0;
    for (const FileEntry& entry : digests.files.entries) {
        if (!entry.digest) continue;
        ++fileCount;
        bytes += entry.bytes;
    }
    const auto durationMs = static_cast<double>(std::max(digests.durationMs, 1UL));
    const double rate = static_cast<double>(bytes) / durationMs * kMsPerSec;
    std::cout << "files: " << fileCount << ", bytes: " << bytes << ", rate: "
              << qz::qzStringUtils::humanizeNumberGeneric(
                     rate, /*significantDigits=*/3, /*maxDecimals=*/2, /*binaryPrefixes=*/false,
                     /*largePrefixes=*/true, /*smallPrefixes=*/false)
              << "B/s, threads: " << threadCount << '\n';
}

Status run(const Options& options, qz::ConcurrentPool& pool,
           const qz::qzCancelInterfaceReadOnly& cancel)
{
    qz::MemoryAndCpuWatcher watcher;
    watcher.startWatching(kSamplePeriodMs);
    Problems problems;
    Digests digests;
    digests.files = findFiles(options.folders, pool, cancel, problems);
    // The list can't have the digest of itself.
    if (!options.csvPath.empty()) leaveOut(options.csvPath, options.folders, digests.files.entries);
    watcher.stampReference("find");
    digestFiles(options, pool, cancel, digests);
    for (const FileEntry& entry : digests.files.entries) {
        if (entry.error != 0)
            problems.report("cannot read", joinPath(options.folders[entry.folder], entry.path),
                            entry.error);
    }
    watcher.stampReference("digest");
    if (!digests.isComplete) return reportInterruption(digests);
    if (!options.comparedPath.empty()) {
        compare(options, digests, problems);
        watcher.stampReference("compare");
    }
    if (!options.csvPath.empty()) {
        write(options, digests, problems);
        watcher.stampReference("write");
    }
    // A table about no files would hide why there are none.
    if (!digests.files.entries.empty() || problems.getCount() == 0) {
        std::cout << watcher.getUsageAsAsciiTable() << '\n';
        printSummary(digests, pool.getWorkerCount());
    }
    if (!std::cout.flush()) problems.report("cannot print to", "standard output", "it has failed");
    return problems.getCount() == 0 ? StatusDone : StatusIncomplete;
}

// Three quarters of what the process may use; 0 if that isn't known.
unsigned long chooseMemoryMiB(const ContainerLimits& limits)
{
    constexpr int kMiBShift = 20;
    const unsigned long machineBytes = qzSystemUtils::GetRamQuantityInBytes();
    const unsigned long bytes = std::min(limits.memoryBytes.value_or(machineBytes), machineBytes);
    return (bytes >> kMiBShift) / 4 * 3;
}

Status runWatched(const Options& options)
{
    const ContainerLimits limits = ContainerLimits::Read();
    const unsigned long memoryMiB =
        options.memoryMiB != 0 ? options.memoryMiB : chooseMemoryMiB(limits);
    std::optional<qz::MemoryWatchDog> watchDog;
    if (memoryMiB != 0) watchDog.emplace("fingerprint", memoryMiB, StatusTooMuchMemory);
    qz::ConcurrentPool pool(options.threadCount != 0
                                ? static_cast<unsigned int>(options.threadCount)
                                : limits.processors);
    const qz::qzCancelIfParentProcessDied cancel(qz::qzCancelConsoleEventCatcher::Create());
    const Status status = run(options, pool, cancel);
    qz::qzCancelConsoleEventCatcher::Delete();
    return status;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    Options options;
    if (const std::optional<int> status = parseOptions(argumentCount, arguments, options))
        return *status;
    try {
        const qz::ext::LibraryStart library(qz::FullInit);
        return runWatched(options);
    } catch (const std::system_error& error) {
        std::cerr << "fingerprint: cannot start its threads: " << error.code().message() << '\n';
    } catch (const std::bad_alloc&) {
        std::cerr << "fingerprint: there is not enough memory\n";
    }
    return StatusIncomplete;
}
