// SPDX-License-Identifier: MIT
#include <sys/resource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ScratchFolder.h"
#include "system/ProcessFixture.h"
#include "system/qzProcessTestPeer.h"

// Programs that were built against an earlier release hold these objects by value.

namespace qz {

using ::testing::ElementsAre;

static_assert(sizeof(qzProcess) == 16);
static_assert(std::has_virtual_destructor_v<qzProcess>);
static_assert(!std::is_copy_constructible_v<qzProcess> && !std::is_copy_assignable_v<qzProcess>);
static_assert(sizeof(qzProcess::ProcessState) == 4 && sizeof(qzProcess::ProcessPriority) == 4);
static_assert(qzProcess::NotStarted == 0 && qzProcess::Running == 1 && qzProcess::Finished == 2);
static_assert(qzProcess::PriorityLow == 0 && qzProcess::PriorityNormal == 1 &&
              qzProcess::PriorityHigh == 2 && qzProcess::PriorityInherit == 3);

using State = qzProcessTestPeer::State;

TEST(qzProcessWhiteBox, KeepsTheOrderOfItsFields)
{
    const qzProcess process;
    EXPECT_THAT(qzProcessTestPeer::getOffsets(process), ElementsAre(8));
    EXPECT_THAT(qzProcessTestPeer::getStateOffsets(process),
                ElementsAre(0, 24, 48, 80, 112, 116, 120));
    EXPECT_EQ(sizeof(State), 128U);
}

TEST(qzProcessWhiteBox, KeepsTheOrderOfItsBits)
{
    const qzProcess process;
    State& state = qzProcessTestPeer::getState(process);
    const auto getBits = [&] { return readField<unsigned char>(&state, 124); };
    EXPECT_EQ(getBits(), 0x80) << "inherit environment is set";
    state.crashed = true;
    EXPECT_EQ(getBits(), 0x81);
    state.killed = true;
    EXPECT_EQ(getBits(), 0x83);
    state.started = true;
    EXPECT_EQ(getBits(), 0x87);
    state.detached = true;
    EXPECT_EQ(getBits(), 0x8F);
    state.currentProcess = true;
    EXPECT_EQ(getBits(), 0x9F);
    state.parentProcess = true;
    EXPECT_EQ(getBits(), 0xDF);
    state.currentProcess = false;
    state.waitOnDestroy = true;
    EXPECT_EQ(getBits(), 0xEF);
    state.waitOnDestroy = false;
}

TEST(qzProcessWhiteBox, EndsByItsVirtualDestructor)
{
    EXPECT_TRUE(isEndedBySlot<qzProcess>(1));
}

TEST(qzProcessWhiteBox, TellsAKillFromACoreDump)
{
    const ProcessFixture fixture;
    const support::ScratchFolder folder;  // for the core dump
    // Whether there is a core dump, the system decides.
    const pid_t pid = ::fork();
    if (pid == 0)
        ::execl(kChild.c_str(), kChild.c_str(), "core", folder.getPath().c_str(), nullptr);
    siginfo_t end = {};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(pid), &end, WEXITED), 0);
    qzProcess process;
    ASSERT_TRUE(ProcessFixture::startChild(process, {"core", folder.getPath()}));
    ASSERT_TRUE(process.waitForFinished(kLongMs));
    EXPECT_EQ(qzProcessTestPeer::getState(process).killed, end.si_code == CLD_KILLED);
    EXPECT_TRUE(process.hasCrashed());
    EXPECT_EQ(process.exitCode(), SIGSEGV);
    qzProcess killed;
    ASSERT_TRUE(ProcessFixture::startChild(killed, {"signal", "11"}));
    ASSERT_TRUE(killed.waitForFinished(kLongMs));
    EXPECT_TRUE(qzProcessTestPeer::getState(killed).killed);
}

TEST(qzProcessWhiteBox, KeepsProcessAndWaitWhenItIsCleared)
{
    const ProcessFixture fixture;
    qzProcess process;
    ASSERT_TRUE(ProcessFixture::startChild(process, {"exit", "0"}));
    ASSERT_TRUE(process.waitForFinished(kLongMs));
    State& state = qzProcessTestPeer::getState(process);
    state.inheritEnvironment = false;
    state.detached = true;
    process.clearProcess();
    EXPECT_TRUE(state.waitOnDestroy);
    EXPECT_TRUE(state.inheritEnvironment);
    EXPECT_FALSE(state.detached);
    EXPECT_FALSE(state.started);
}

TEST(qzProcessWhiteBox, SignalsNoProcessThatHasGotTheNumberOfAnEndedChild)
{
    const ProcessFixture fixture;
    const pid_t other = ::fork();
    if (other == 0) {
        for (;;)
            ::pause();
    }
    qzProcess process;
    ASSERT_TRUE(ProcessFixture::startChild(process, {"exit", "0"}));
    ASSERT_TRUE(process.waitForFinished(kLongMs));
    qzProcessTestPeer::getState(process).pid = other;
    process.terminateProcess();
    process.killProcess();
    ::kill(other, SIGRTMAX);  // ends it unless another signal has
    int status = 0;
    ASSERT_EQ(::waitpid(other, &status, 0), other);
    EXPECT_EQ(WTERMSIG(status), SIGRTMAX);
}

TEST(qzProcessWhiteBox, StartsAChildAfterADetachedProcess)
{
    const ProcessFixture fixture;
    qzProcess process;
    qzProcessTestPeer::getState(process).detached = true;
    ASSERT_TRUE(ProcessFixture::startChild(process, {"exit", "3"}));
    EXPECT_TRUE(process.waitForFinished(kLongMs));
    EXPECT_EQ(process.exitCode(), 3);
}

TEST(qzProcessWhiteBox, FollowsTheParentAfterADetachedProcess)
{
    qzProcess process;
    State& state = qzProcessTestPeer::getState(process);
    state.detached = true;
    state.currentProcess = true;
    state.crashed = true;
    state.exitCode = 7;
    qzProcess::GetParentProcess(process);
    EXPECT_FALSE(state.detached || state.currentProcess || state.crashed);
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_EQ(process.getState(), qzProcess::Running);
}

TEST(qzProcessWhiteBox, DescribesThisProcessAfterAKilledChildAndAParent)
{
    qzProcess process;
    State& state = qzProcessTestPeer::getState(process);
    state.state = qzProcess::Finished;
    state.crashed = true;
    state.killed = true;
    state.parentProcess = true;
    ASSERT_TRUE(qzProcess::GetCurrentProcess(process));
    EXPECT_FALSE(state.crashed || state.killed || state.parentProcess);
}

TEST(qzProcessWhiteBox, NeverSeesTheEndOfADetachedProcess)
{
    const ProcessFixture fixture;
    qzProcess process;
    State& state = qzProcessTestPeer::getState(process);
    state.state = qzProcess::Running;
    state.detached = true;
    EXPECT_FALSE(process.waitForFinished(0));
    EXPECT_FALSE(process.waitForFinished(120));
    EXPECT_FALSE(process.setWorkingDirectory("/"));
    EXPECT_FALSE(process.resetState());
    EXPECT_EQ(process.getState(), qzProcess::Running);
}

}  // namespace qz
