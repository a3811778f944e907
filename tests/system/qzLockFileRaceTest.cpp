// SPDX-License-Identifier: MIT
// Processes that take and release one lock as fast as they can.

#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzLockFile.h>

#include "support/LibraryStart.h"
#include "support/OutputCapture.h"
#include "support/ScratchFolder.h"

namespace qz {

namespace {

// Under a sanitizer each round takes many times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kRounds = 100;
#else
constexpr int kRounds = 2000;
#endif
constexpr int kProcesses = 8;

// What the processes of a race share.
struct Race {
    std::atomic<int> holders;
    std::atomic<int> collisions;
    std::atomic<int> failedReleases;
};

Race& makeRace()
{
    void* memory =
        ::mmap(nullptr, sizeof(Race), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return *new (memory) Race();
}

void takeOften(const std::string& path, bool removesFile, Race& race)
{
    for (int round = 0; round < kRounds;) {
        qzLockFile lock;
        if (!lock.takeLockUtf8(path, nullptr, qzLockFile::LockExclusive, nullptr)) {
            ::sched_yield();
            continue;
        }
        ++round;
        if (race.holders.fetch_add(1) != 0) ++race.collisions;
        ::sched_yield();
        race.holders.fetch_sub(1);
        if (!lock.releaseLock(removesFile, nullptr)) ++race.failedReleases;
    }
}

}  // namespace

// Gives each of the processes its number, and waits for all of them.
void runProcesses(const std::function<void(int)>& body)
{
    support::flushStandardStreams();
    std::vector<pid_t> processes;
    for (int i = 0; i < kProcesses; ++i) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            body(i);
            ::_exit(0);
        }
        processes.push_back(pid);
    }
    for (const pid_t pid : processes) {
        int status = 0;
        ASSERT_EQ(::waitpid(pid, &status, 0), pid);
        EXPECT_EQ(status, 0);
    }
}

// The parameter says whether the file is removed at each release.
class qzLockFileRace : public ::testing::TestWithParam<bool> {
protected:
    support::LibraryStart mStart;
    support::ScratchFolder mFolder;
    std::string mPath = mFolder.getPath("lock");
};

INSTANTIATE_TEST_SUITE_P(Files, qzLockFileRace, ::testing::Bool(),
                         [](const auto& row) { return row.param ? "Removed" : "Kept"; });

TEST_P(qzLockFileRace, NeverHasTwoHolders)
{
    Race& race = makeRace();
    runProcesses([&](int) { takeOften(mPath, GetParam(), race); });
    EXPECT_EQ(race.collisions, 0);
    EXPECT_EQ(race.failedReleases, 0);
    EXPECT_EQ(std::filesystem::exists(mPath), !GetParam());
    ::munmap(&race, sizeof race);
}

class qzLockFileSharedRace : public ::testing::Test {
protected:
    support::LibraryStart mStart;
    support::ScratchFolder mFolder;
    std::string mPath = mFolder.getPath("lock");
};

TEST_F(qzLockFileSharedRace, NeverHasTwoExclusiveHolders)
{
    Race& race = makeRace();
    runProcesses([&](int i) {
        for (int round = 0; round < kRounds / 4;) {
            qzLockFile lock;
            bool wasThere = false;
            const bool isShared = i % 2 == 0;
            if (!lock.takeLockUtf8(mPath, &wasThere,
                                   isShared ? qzLockFile::LockShared : qzLockFile::LockExclusive,
                                   nullptr)) {
                ::sched_yield();
                continue;
            }
            ++round;
            const bool isAlone = !isShared || !wasThere;
            if (isAlone && race.holders.fetch_add(1) != 0) ++race.collisions;
            ::sched_yield();
            if (isAlone) race.holders.fetch_sub(1);
            lock.releaseLock(round % 3 != 0, nullptr);
        }
    });
    EXPECT_EQ(race.collisions, 0);
    ::munmap(&race, sizeof race);
}

}  // namespace qz
