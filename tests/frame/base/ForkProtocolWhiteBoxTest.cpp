#include "frame/base/ForkProtocol.h"

#include <gtest/gtest.h>

#include <qz/qzSystem.h>

#include "support/ChildProcess.h"
#include "support/LibraryStart.h"

namespace qz {

using support::LibraryStart;
using support::runInChild;

namespace {

// Whether a child forked here takes itself for one of a fully started process.
bool isChildMarked()
{
    return runInChild([] { return isForkedChild() ? 1 : 0; }).exitCode == 1;
}

}  // namespace

TEST(ForkProtocolTest, IsMissingInAProcessThatNobodyForked)
{
    EXPECT_FALSE(isForkedChild());
    const LibraryStart library(FullInit);
    EXPECT_FALSE(isForkedChild());
}

TEST(ForkProtocolTest, IsMissingInAChildOfAProcessThatIsNotFullyStarted)
{
    EXPECT_FALSE(isChildMarked());
    const LibraryStart library(LightInit);
    EXPECT_FALSE(isChildMarked());
}

TEST(ForkProtocolTest, IsOnAChildOfAFullyStartedProcess)
{
    const LibraryStart library(FullInit);
    EXPECT_TRUE(isChildMarked());
    EXPECT_FALSE(isForkedChild()) << "the parent has all its threads";
}

TEST(ForkProtocolTest, IsOnAGrandchild)
{
    const LibraryStart library(FullInit);
    EXPECT_EQ(runInChild([] { return isChildMarked() ? 1 : 0; }).exitCode, 1);
}

TEST(ForkProtocolTest, IsMissingAfterTheStopOfTheParent)
{
    {
        const LibraryStart library(FullInit);
    }
    EXPECT_FALSE(isChildMarked());
    const LibraryStart library(LightInit);
    EXPECT_FALSE(isChildMarked());
}

TEST(ForkProtocolTest, StaysUntilAFullStartOfTheChild)
{
    const LibraryStart library(FullInit);
    const support::ChildResult result = runInChild([] {
        terminateQzSystem();
        const bool afterStop = isForkedChild();
        initializeQzSystem(LightInit);
        const bool afterLightStart = isForkedChild();
        initializeQzSystem(FullInit);
        const bool afterFullStart = isForkedChild();
        return afterStop && afterLightStart && !afterFullStart ? 42 : 1;
    });
    EXPECT_EQ(result.getEnd(), "exit 42");
}

}  // namespace qz
