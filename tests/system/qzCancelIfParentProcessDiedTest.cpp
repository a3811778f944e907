// SPDX-License-Identifier: MIT
#include <qz/qzCancelIfParentProcessDied.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <type_traits>

#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TestPaths.h"
#include "io/VirtualSlots.h"
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"
#include "support/Waiting.h"

namespace qz {

namespace {

static_assert(sizeof(qzCancelIfParentProcessDied) == 24);
static_assert(std::is_base_of_v<qzCancelInterfaceReadOnly, qzCancelIfParentProcessDied>);
static_assert(!std::is_convertible_v<qzCancelInterfaceReadOnly*, qzCancelIfParentProcessDied>);
static_assert(!std::is_copy_constructible_v<qzCancelIfParentProcessDied>);

class qzCancelIfParentProcessDiedTest : public ::testing::Test {
protected:
    support::LibraryStart mStart = support::LibraryStart(FullInit);
};

// Starts a program that starts another one, which watches it.
class WatchedParent {
public:
    explicit WatchedParent(const std::string& path) : mPid(::fork())
    {
        const std::string program = QZ_TEST_PROGRAMS_DIR "/parent_watch";
        if (mPid == 0) ::execl(program.c_str(), program.c_str(), "parent", path.c_str(), nullptr);
    }
    ~WatchedParent() { kill(); }
    WatchedParent(const WatchedParent&) = delete;
    WatchedParent& operator=(const WatchedParent&) = delete;

    void kill()
    {
        if (mPid <= 0) return;
        ::kill(mPid, SIGKILL);
        ::waitpid(mPid, nullptr, 0);
        mPid = 0;
    }

private:
    pid_t mPid;
};

}  // namespace

TEST(qzCancelIfParentProcessDied, CancelsWhenTheParentIsKilled)
{
    const support::ScratchFolder folder;
    const std::string path = folder.getPath() + "/ready";
    WatchedParent parent(path);
    ASSERT_TRUE(support::waitUntil([&] { return std::filesystem::exists(path); }));
    EXPECT_FALSE(std::filesystem::exists(path + ".end")) << "cancelled while the parent lived";
    parent.kill();
    ASSERT_TRUE(support::waitUntil([&] { return std::filesystem::exists(path + ".end"); }));
    EXPECT_EQ(support::readFile(path + ".end"), "INFO Parent process died\n");
}

TEST(qzCancelIfParentProcessDied, EndsWithoutWaitingForItsPoll)
{
    const support::ChildResult result =
        support::runProgram({.program = "parent_watch", .arguments = {"stop"}, .timeoutSec = 120});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "100");
}

TEST(qzCancelIfParentProcessDied, ReportsTheEndBeforeItCancels)
{
    const support::ChildResult result =
        support::runProgram({.program = "parent_watch", .arguments = {"order"}});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "entry, cancelled 0\nend, cancelled 1\n");
}

TEST(qzCancelIfParentProcessDied, MarksTheEndOfItsThreadAfterItHasUnlockedItsMutex)
{
    const support::ChildResult result =
        support::runProgram({.program = "parent_watch", .arguments = {"unlock"}});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "at unlock 1: 0, at last 1\n");
}

TEST(qzCancelIfParentProcessDied, DoesNotWaitForTheLogToCancel)
{
    const support::ChildResult result =
        support::runProgram({.program = "parent_watch", .arguments = {"blocked"}});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "cancelled 1\n");
}

TEST_F(qzCancelIfParentProcessDiedTest, AnswersFalseWhileTheParentLives)
{
    const support::LogCapture log;
    {
        const qzCancelIfParentProcessDied cancel;
        EXPECT_FALSE(cancel.shouldCancel());
    }
    qzLog::msInstance->flush();
    EXPECT_THAT(log.getLines(), ::testing::IsEmpty());
}

TEST_F(qzCancelIfParentProcessDiedTest, FollowsTheOtherSource)
{
    bool isCancelled = false;
    const qzCancelInterfaceProxyReadOnly other(&isCancelled);
    const qzCancelIfParentProcessDied cancel(&other);
    EXPECT_FALSE(cancel.shouldCancel());
    isCancelled = true;
    EXPECT_TRUE(cancel.shouldCancel());
}

TEST_F(qzCancelIfParentProcessDiedTest, KeepsTheVirtualSlots)
{
    bool isCancelled = false;
    const qzCancelInterfaceProxyReadOnly other(&isCancelled);
    qzCancelIfParentProcessDied cancel(&other);
    EXPECT_FALSE(callSlot<bool>(&cancel, 2));
    isCancelled = true;
    EXPECT_TRUE(callSlot<bool>(&cancel, 2));
    EXPECT_TRUE(
        (isEndedBySlot<qzCancelIfParentProcessDied, const qzCancelInterfaceReadOnly*>(1, nullptr)));
}

}  // namespace qz
