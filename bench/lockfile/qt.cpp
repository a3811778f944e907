// SPDX-License-Identifier: MIT
#include <QLockFile>

#include "lockfile.h"

namespace bench {

namespace {

// It always removes its file.
void measure(benchmark::State& state, const std::string& path)
{
    QLockFile lock(QString::fromStdString(path));
    for (auto _ : state) {
        if (!lock.tryLock()) state.SkipWithError("no lock");
        lock.unlock();
    }
}

void measureInMemory(benchmark::State& state)
{
    const ScratchFile file("lock");
    measure(state, file.getPath());
}

void measureOnDisk(benchmark::State& state)
{
    measure(state, makeDiskPath());
}

const Case kInMemory(kRemovedInMemory, "QLockFile", measureInMemory);
const Case kOnDisk(kRemovedOnDisk, "QLockFile", measureOnDisk, Clock::Wall);
const Case kKept(kKeptInMemory, "QLockFile", measureInMemory);
const Case kExtLock(kFileLock, "QLockFile", measureInMemory);

}  // namespace

}  // namespace bench
