// SPDX-License-Identifier: MIT
// Locks of processes that fork, and of those that are killed.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <qz/qzLockFile.h>

#include "LockFileFixture.h"
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/ScratchFolder.h"
#include "support/Waiting.h"

namespace qz {

using support::runInChild;
using qzLockFileProcessesTest = LockFileFixture;

TEST_F(qzLockFileProcessesTest, TakesOverTheFileOfAKilledProcess)
{
    const auto body = [this] {
        qzLockFile lock;
        if (!take(lock)) return 1;
        ::raise(SIGKILL);
        return 2;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "signal 9");
    EXPECT_TRUE(hasFile());
    qzLockFile lock;
    EXPECT_TRUE(take(lock));
    EXPECT_TRUE(mWasThere);
}

TEST_F(qzLockFileProcessesTest, AForkedChildLeavesTheLockToItsParent)
{
    auto lock = std::make_unique<qzLockFile>();
    ASSERT_TRUE(take(*lock));
    EXPECT_EQ(runInChild([&] { return lock->releaseLock(true, nullptr) ? 0 : 1; }).getEnd(),
              "exit 0");
    const auto destroy = [&] {
        lock.reset();
        return 0;
    };
    EXPECT_EQ(runInChild(destroy).getEnd(), "exit 0");
    EXPECT_TRUE(hasFile());
    qzLockFile other;
    EXPECT_FALSE(take(other));
    EXPECT_TRUE(release(*lock, true));
    EXPECT_FALSE(hasFile());
}

// The system then knows no owner of the open file any longer.
TEST_F(qzLockFileProcessesTest, AForkedChildLeavesTheLockOfAnEndedParentToItsDescriptor)
{
    const auto parent = [this] {
        qzLockFile lock;
        if (!take(lock)) return 1;
        const pid_t self = ::getpid();
        if (::fork() != 0) ::_exit(0);
        while (::getppid() == self)
            ::usleep(1000);
        const bool isReleased = lock.releaseLock(true, nullptr);
        support::writeFile(mFolder.getPath("done"), isReleased && hasFile() ? "left" : "removed");
        ::_exit(0);
    };
    EXPECT_EQ(runInChild(parent).getEnd(), "exit 0");
    const std::string done = mFolder.getPath("done");
    const auto isDone = [&] {
        return std::filesystem::exists(done) && !support::readFile(done).empty();
    };
    EXPECT_TRUE(support::waitUntil(isDone));
    EXPECT_EQ(support::readFile(done), "left");
}

TEST_F(qzLockFileProcessesTest, AChildOfAnyKindOfForkLeavesTheLockToItsParent)
{
    support::writeFile(mPath, "");
    for (const auto type : {kExclusive, kShared}) {
        qzLockFile lock;
        ASSERT_TRUE(take(lock, type));
        const pid_t child = ::_Fork();  // without the handlers of a fork
        if (child == 0) ::_exit(lock.releaseLock(true, nullptr) && !lock.isLocked() ? 0 : 1);
        int status = 0;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        EXPECT_TRUE(hasFile());
        qzLockFile other;
        EXPECT_FALSE(take(other)) << "the child has released it";
        EXPECT_TRUE(release(lock, false));
    }
}

TEST_F(qzLockFileProcessesTest, AForkedChildKeepsItsLockFromAChildOfItsOwn)
{
    const auto body = [this] {
        qzLockFile lock;
        if (!take(lock)) return 1;
        const auto grandchild = [&] { return lock.releaseLock(true, nullptr) ? 0 : 1; };
        if (runInChild(grandchild).getEnd() != "exit 0" || !hasFile()) return 2;
        return release(lock, true) && !hasFile() ? 0 : 3;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

TEST_F(qzLockFileProcessesTest, IsReleasedThoughAnotherProcessHasACopyOfItsDescriptor)
{
    qzLockFile lock;
    ASSERT_TRUE(take(lock));
    const pid_t child = ::fork();
    if (child == 0) {
        for (;;)
            ::pause();
    }
    qzLockFile other;
    EXPECT_FALSE(take(other));
    EXPECT_TRUE(release(lock, false));
    EXPECT_TRUE(take(other)) << "the copy holds the lock";
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

TEST_F(qzLockFileProcessesTest, AForkedChildIsRefusedTheLockOfItsParent)
{
    auto lock = std::make_unique<qzLockFile>();
    ASSERT_TRUE(take(*lock));
    const auto body = [&] {
        qzLockFile other;
        if (take(other) || mError != kRefused) return 1;
        lock.reset();
        return take(other) ? 2 : 0;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
    EXPECT_TRUE(release(*lock, true));
}

// How a child knows that it is one; see tests/programs/lock_child.cpp.
class qzLockFileIdentity : public ::testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Ways, qzLockFileIdentity,
                         ::testing::Values("namespace", "without-wiped-memory"),
                         [](const auto& row) {
                             return row.param[0] == 'n' ? "Namespace" : "WithoutWipedMemory";
                         });

TEST_P(qzLockFileIdentity, AChildLeavesTheLockToItsParent)
{
    const support::ScratchFolder folder;
    const support::ChildResult result = support::runProgram(
        {.program = "lock_child", .arguments = {GetParam(), folder.getPath("lock")}});
    if (result.exitCode == 77) GTEST_SKIP() << "no right to make a namespace of process ids";
    EXPECT_EQ(result.getEnd(), "exit 0");
}

TEST_F(qzLockFileProcessesTest, AForkedChildHasLocksOfItsOwn)
{
    const auto body = [this] {
        qzLockFile lock;
        return take(lock) && release(lock, true) && !hasFile() ? 0 : 1;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

}  // namespace qz
