// The code of the guide to logging in production that runs until it is stopped: it is the same as
// here, and does what the guide says.

#include <signal.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzCancelConsoleEventCatcher.h>
#include <qz/qzSystem.h>

#include "ext/GuideBlocks.h"
#include "support/ChildProcess.h"

namespace guide {

namespace {

// The key is pressed twice in the third step.
void doNextStep()
{
    static int step = 0;
    std::cout << "step " << ++step << '\n';
    if (step < 3) return;
    std::raise(SIGINT);
    std::raise(SIGINT);
    std::cout << "done\n";
}

}  // namespace

void runUntilStopped()
{
    qz::initializeQzSystem(qz::FullInit);
    const qz::qzCancelInterfaceReadOnly* const stop = qz::qzCancelConsoleEventCatcher::Create();
    while (!stop->shouldCancel())
        doNextStep();
    qz::qzCancelConsoleEventCatcher::Delete();
    qz::terminateQzSystem();
}

}  // namespace guide

namespace qz::ext {

TEST(GuideProductionCodeTest, IsTheCodeOfThisFile)
{
    const std::string source = readProjectFile("tests/ext/GuideProductionCodeTest.cpp");
    const std::vector<std::string> blocks = readGuideBlocks("docs/guide-production.md");
    const auto isHere = [&](const std::string& block) {
        return source.find('\n' + block) != std::string::npos;
    };
    // The others begin a log file in a folder of the system, and install the crash kit.
    EXPECT_EQ(blocks.size(), 3U);
    EXPECT_EQ(std::count_if(blocks.begin(), blocks.end(), isHere), 1);
}

TEST(GuideProductionCodeTest, EndsAfterTheStepInWhichItIsStopped)
{
    constexpr int kTimeoutSec = 120;
    const support::ChildResult result = support::runInChild(
        [] {
            guide::runUntilStopped();
            return 0;
        },
        {}, kTimeoutSec);
    EXPECT_EQ(result.out + result.getEnd(), "step 1\nstep 2\nstep 3\ndone\nexit 0");
}

}  // namespace qz::ext
