// SPDX-License-Identifier: MIT
#include "frame/base/ForkProtocol.h"

#include <functional>
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include <qz/qzSystem.h>

#include "support/ChildProcess.h"
#include "support/LibraryStart.h"

namespace qz {

using support::LibraryStart;
using support::runInChild;

namespace {

// Whether a child that is forked here is marked as one of a fully started process.
bool isChildMarked()
{
    return runInChild([] { return isForkedChild() ? 1 : 0; }).exitCode == 1;
}

// The steps around a fork, one character each: a participant's number in prepare, a letter from "a"
// in the parent, and from "A" in the child.
std::string gSteps;

template <char Participant>
ForkHandlers makeRecorder()
{
    return {[] { gSteps += Participant; }, [] { gSteps += Participant - '0' + 'a'; },
            [] { gSteps += Participant - '0' + 'A'; }};
}

// The steps as parent and child have seen them. Runs in a child, whose handlers are replaced.
std::string recordFork(const std::function<void()>& join)
{
    const auto body = [&] {
        join();
        gSteps.clear();
        const support::ChildResult child = runInChild([] {
            std::cout << gSteps << '\n';
            return 0;
        });
        std::cout << child.out << gSteps << '\n';
        return 0;
    };
    return runInChild(body).out;
}

void joinAll()
{
    // Not in their order.
    joinForkProtocol(ForkParticipant::RandomSeed, makeRecorder<'3'>());
    joinForkProtocol(ForkParticipant::Log, makeRecorder<'0'>());
    joinForkProtocol(ForkParticipant::TextServices, makeRecorder<'2'>());
    joinForkProtocol(ForkParticipant::Resources, makeRecorder<'1'>());
}

}  // namespace

TEST(ForkProtocolTest, PreparesInTheOrderOfTheServicesAndResumesInTheReverseOrder)
{
    EXPECT_EQ(recordFork(&joinAll), "0123DCBA\n0123dcba\n");
}

TEST(ForkProtocolTest, ReplacesTheHandlersOfAServiceThatJoinsAgain)
{
    const auto join = [] {
        joinAll();
        joinForkProtocol(ForkParticipant::Resources, makeRecorder<'7'>());
    };
    EXPECT_EQ(recordFork(join), "0723DCHA\n0723dcha\n");
}

TEST(ForkProtocolTest, LeavesOutMissingHandlers)
{
    const auto join = [] {
        joinAll();
        joinForkProtocol(ForkParticipant::Log, {});
        ForkHandlers inChildOnly;
        inChildOnly.resumeChild = makeRecorder<'2'>().resumeChild;
        joinForkProtocol(ForkParticipant::TextServices, inChildOnly);
    };
    EXPECT_EQ(recordFork(join), "13DCB\n13db\n");
}

TEST(ForkProtocolTest, HasMarkedTheChildBeforeItsHandlersRun)
{
    const auto join = [] {
        setFullyStarted(true);
        ForkHandlers handlers;
        handlers.prepare = [] { gSteps += isForkedChild() ? "marked " : "not marked "; };
        handlers.resumeParent = handlers.resumeChild = handlers.prepare;
        for (const auto participant : {ForkParticipant::Resources, ForkParticipant::TextServices,
                                       ForkParticipant::RandomSeed})
            joinForkProtocol(participant, {});
        joinForkProtocol(ForkParticipant::Log, handlers);
    };
    EXPECT_EQ(recordFork(join), "not marked marked \nnot marked not marked \n");
}

TEST(ForkProtocolTest, MarksNoProcessThatIsNotForked)
{
    EXPECT_FALSE(isForkedChild());
    const LibraryStart library(FullInit);
    EXPECT_FALSE(isForkedChild());
}

TEST(ForkProtocolTest, MarksNoChildOfAProcessThatIsNotFullyStarted)
{
    EXPECT_FALSE(isChildMarked());
    const LibraryStart library(LightInit);
    EXPECT_FALSE(isChildMarked());
}

TEST(ForkProtocolTest, MarksTheChildOfAFullyStartedProcess)
{
    const LibraryStart library(FullInit);
    EXPECT_TRUE(isChildMarked());
    EXPECT_FALSE(isForkedChild()) << "the parent has all its threads";
}

TEST(ForkProtocolTest, MarksAGrandchild)
{
    const LibraryStart library(FullInit);
    EXPECT_EQ(runInChild([] { return isChildMarked() ? 1 : 0; }).exitCode, 1);
}

TEST(ForkProtocolTest, MarksNoChildAfterTheStopOfTheParent)
{
    {
        const LibraryStart library(FullInit);
    }
    EXPECT_FALSE(isChildMarked());
    const LibraryStart library(LightInit);
    EXPECT_FALSE(isChildMarked());
}

TEST(ForkProtocolTest, KeepsTheMarkUntilAFullStartOfTheChild)
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
