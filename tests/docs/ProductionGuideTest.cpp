// SPDX-License-Identifier: MIT
// The code of the guide to logging in production does what the text says.

#include <signal.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzCancelConsoleEventCatcher.h>
#include <qz/qzSystem.h>

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

#include "samples/run-until-stopped.inc"

}  // namespace guide

namespace qz::ext {

TEST(ProductionGuideTest, EndsAfterTheStepInWhichItIsStopped)
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
