// SPDX-License-Identifier: MIT
// Children that are forked while other threads use the library.

#include <signal.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>

#include "log/LogLines.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz {

using support::ChildResult;
using support::runProgram;
using support::ScratchFolder;

namespace {

// The sanitizers make each fork many times slower.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kChildren = 100;
#else
constexpr int kChildren = 2000;
#endif

ChildResult forkChildren(int count, const std::vector<std::string>& threads)
{
    const ScratchFolder folder;
    std::vector<std::string> arguments = {folder.getPath(), std::to_string(count)};
    arguments.insert(arguments.end(), threads.begin(), threads.end());
    return runProgram({.program = "log_forks", .arguments = arguments, .timeoutSec = 1200});
}

constexpr const char* kAllRight = "missing 0 doubled 0 damaged 0 waiting 0\n";

}  // namespace

TEST(LogForkTest, LosesNoLineOfAChildWhileFourThreadsWork)
{
    const ChildResult result = forkChildren(kChildren, {"log", "tag", "set", "convert"});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, kAllRight);
}

TEST(LogForkTest, NeverWaitsForTheSystemLogOfTheParent)
{
    EXPECT_EQ(forkChildren(kChildren / 10, {"tag", "tag"}).out, kAllRight);
}

TEST(LogForkTest, NeverWaitsForTheTimeZoneLockOfTheParent)
{
    EXPECT_EQ(forkChildren(kChildren / 10, {"convert", "convert"}).out, kAllRight);
}

TEST(LogForkTest, SeesWholeSettingsWhileAThreadChangesThem)
{
    EXPECT_EQ(forkChildren(kChildren / 10, {"set", "set"}).out, kAllRight);
}

}  // namespace qz
