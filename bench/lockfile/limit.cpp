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

void measureRemovedInMemory(benchmark::State& state)
{
    const ScratchFile file("lock");
    measure(state, file.getPath(), /*removesFile=*/true);
}

void measureRemovedOnDisk(benchmark::State& state)
{
    measure(state, makeDiskPath(), /*removesFile=*/true);
}

void measureKept(benchmark::State& state)
{
    const ScratchFile file("lock");
    measure(state, file.getPath(), /*removesFile=*/false);
}

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

const Case kInMemory(kRemovedInMemory, "limit", measureRemovedInMemory);
const Case kOnDisk(kRemovedOnDisk, "limit", measureRemovedOnDisk, Clock::Wall);
const Case kKept(kKeptInMemory, "limit", measureKept);
const Case kExtLock(kFileLock, "limit", measureKept);
const Case kSystem(kBetweenProcesses, "limit", measureBetweenProcesses);

}  // namespace

}  // namespace bench
