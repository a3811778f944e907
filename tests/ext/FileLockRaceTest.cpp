// SPDX-License-Identifier: MIT
// Processes that take and release one lock as fast as they can, and die while they hold it.

#include <qz/ext/FileLock.h>

#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <map>

#include <gtest/gtest.h>

#include "support/LibraryStart.h"
#include "support/OutputCapture.h"
#include "support/ScratchFolder.h"

namespace qz::ext {

namespace {

// Under a sanitizer each round takes many times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kRounds = 100;
#else
constexpr int kRounds = 2000;
#endif
constexpr std::size_t kProcesses = 8;
// A holder kills itself each so many rounds; another number for each process.
constexpr int kRoundsBetweenKills = 97;

// What the processes share. Only the holder of the lock may change the plain numbers, so a second
// holder shows as a lost increment or as a holder that sees another one.
struct Race {
    volatile long counter = 0;
    volatile int holder = -1;
    volatile int collisions = 0;
    // How many rounds each process has made; the next one of its number goes on there.
    std::array<volatile int, kProcesses> rounds = {};
    std::array<volatile bool, kProcesses> isKilled = {};
};

class SharedRace {
public:
    SharedRace()
        : mRace(new (::mmap(nullptr, sizeof(Race), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Race())
    {
    }
    ~SharedRace() { ::munmap(mRace, sizeof(Race)); }
    SharedRace(const SharedRace&) = delete;
    SharedRace& operator=(const SharedRace&) = delete;

    Race* operator->() const { return mRace; }
    Race& operator*() const { return *mRace; }

private:
    Race* mRace;
};

int getRounds(std::size_t process)
{
    return kRounds + static_cast<int>(process) * kRounds / 20;
}

void holdOnce(Race& race, std::size_t self)
{
    const int other = race.holder;
    if (other >= 0 && !race.isKilled[static_cast<std::size_t>(other)])
        race.collisions = race.collisions + 1;
    race.isKilled[self] = false;
    race.holder = static_cast<int>(self);
    const long counter = race.counter;
    ::sched_yield();  // lets a second holder in, if there can be one
    race.counter = counter + 1;
    race.rounds[self] = race.rounds[self] + 1;
    if (race.rounds[self] % (kRoundsBetweenKills + static_cast<int>(self)) == 0) {
        race.isKilled[self] = true;
        ::raise(SIGKILL);
    }
    if (race.holder != static_cast<int>(self)) race.collisions = race.collisions + 1;
    race.holder = -1;
}

}  // namespace

// The parameter says whether holders remove the file, which they should not.
class FileLockRaceTest : public ::testing::TestWithParam<bool> {
protected:
    pid_t startProcess(std::size_t self)
    {
        const pid_t pid = ::fork();
        if (pid != 0) return pid;
        while (mRace->rounds[self] < getRounds(self)) {
            FileLock lock;
            SystemFailure failure;
            // Without pauses, processes often open the file that another one is removing or making.
            while (GetParam() && !lock.tryLockUtf8(mPath, FileLock::Exclusive, &failure)) {
                if (failure.error != EAGAIN && failure.error != ESTALE) ::_exit(2);
                ::sched_yield();
            }
            if (!GetParam() && !lock.lockUtf8(mPath, FileLock::Exclusive, -1, nullptr)) ::_exit(1);
            holdOnce(*mRace, self);
            if (GetParam()) ::unlink(mPath.c_str());
        }
        ::_exit(0);
    }

    support::LibraryStart mStart;
    support::ScratchFolder mFolder;
    const std::string mPath = mFolder.getPath("lock");
    const SharedRace mRace;
};

INSTANTIATE_TEST_SUITE_P(Files, FileLockRaceTest, ::testing::Bool(),
                         [](const auto& row) { return row.param ? "Removed" : "Kept"; });

TEST_P(FileLockRaceTest, NeverHasTwoHolders)
{
    support::flushStandardStreams();
    std::map<pid_t, std::size_t> running;
    long expected = 0;
    for (std::size_t i = 0; i < kProcesses; ++i) {
        running[startProcess(i)] = i;
        expected += getRounds(i);
    }
    int killed = 0;
    while (!running.empty()) {
        int status = 0;
        const pid_t pid = ::waitpid(-1, &status, 0);
        ASSERT_GT(pid, 0);
        const std::size_t self = running.at(pid);
        running.erase(pid);
        if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) {
            ++killed;
            running[startProcess(self)] = self;
        } else {
            EXPECT_EQ(status, 0);
        }
    }
    EXPECT_EQ(mRace->collisions, 0);
    EXPECT_EQ(mRace->counter, expected) << "an increment was lost";
    EXPECT_GT(killed, 0);
}

}  // namespace qz::ext
