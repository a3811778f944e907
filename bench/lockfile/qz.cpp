// SPDX-License-Identifier: MIT
#include <filesystem>

#include <unistd.h>

#include <qz/ext/FileLock.h>
#include <qz/qzLockFile.h>
#include <qz/qzMutex.h>

#include "lockfile.h"

namespace bench {

std::string makeDiskPath()
{
    // Not TMPDIR, which may be in memory.
    return std::filesystem::current_path() / ("bench_lockfile." + std::to_string(::getpid()));
}

namespace {

bool startsLibrary()
{
    startLibrary();
    return true;
}

void measure(benchmark::State& state, const std::string& path, bool removesFile)
{
    qz::qzLockFile lock;
    for (auto _ : state) {
        if (!lock.takeLockUtf8(path, nullptr, qz::qzLockFile::LockExclusive, nullptr) ||
            !lock.releaseLock(removesFile, nullptr))
            state.SkipWithError("no lock");
    }
}

using Rows = FileRows<measure>;

void measureFileLock(benchmark::State& state)
{
    const ScratchFile file("lock");
    qz::ext::FileLock lock;
    for (auto _ : state) {
        if (!lock.tryLockUtf8(file.getPath(), qz::ext::FileLock::Exclusive))
            state.SkipWithError("no lock");
        lock.unlock();
    }
}

void measureBetweenProcesses(benchmark::State& state)
{
    qz::qzMutexSystem mutex("bench_lockfile");
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
    }
}

const Check kStart("the library doesn't start", startsLibrary);
const Case kInMemory(kRemovedInMemory, "qz", Rows::measureRemovedInMemory);
const Case kOnDisk(kRemovedOnDisk, "qz", Rows::measureRemovedOnDisk, Clock::Wall);
const Case kKept(kKeptInMemory, "qz", Rows::measureKept);
const Case kExtLock(kFileLock, "qz", measureFileLock);
const Case kSystem(kBetweenProcesses, "qz", measureBetweenProcesses);

}  // namespace

}  // namespace bench
