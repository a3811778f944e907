// SPDX-License-Identifier: MIT
// The calls of the system that a lock file takes at least.

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "lockfile.h"

namespace bench {

namespace {

void measure(benchmark::State& state, const std::string& path, bool removesFile)
{
    for (auto _ : state) {
        const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (::flock(file, LOCK_EX | LOCK_NB) != 0) state.SkipWithError("no lock");
        if (removesFile) ::unlink(path.c_str());
        ::close(file);
    }
}

using Rows = FileRows<measure>;

void measureBetweenProcesses(benchmark::State& state)
{
    const ScratchFile scratch("lock");
    const int file = ::open(scratch.getPath().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    for (auto _ : state) {
        ::flock(file, LOCK_EX);
        ::flock(file, LOCK_UN);
    }
    ::close(file);
}

const Case kInMemory(kRemovedInMemory, "limit", Rows::measureRemovedInMemory);
const Case kOnDisk(kRemovedOnDisk, "limit", Rows::measureRemovedOnDisk, Clock::Wall);
const Case kKept(kKeptInMemory, "limit", Rows::measureKept);
const Case kExtLock(kFileLock, "limit", Rows::measureKept);
const Case kSystem(kBetweenProcesses, "limit", measureBetweenProcesses);

}  // namespace

}  // namespace bench
