// SPDX-License-Identifier: MIT
// The code of the guide to memory and time does what the text says.

#include <signal.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/MemoryAndCpuWatcher.h>
#include <qz/MemoryWatchDog.h>
#include <qz/ext/ContainerLimits.h>
#include <qz/qzCancelConsoleEventCatcher.h>
#include <qz/qzCancelIfParentProcessDied.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzVariant.h>

#include "support/ChildProcess.h"
#include "support/LibraryStart.h"

namespace guide {

namespace {

std::vector<std::string> gImported;
bool gAreSorted = false;
int gStepsLeft = 0;

void importFile(const std::string& file)
{
    gImported.push_back(file);
}

void sortAll()
{
    gAreSorted = true;
}

// Ctrl-C comes at the step before the last one.
bool doNextStep()
{
    if (--gStepsLeft == 1) std::raise(SIGINT);
    return gStepsLeft >= 0;
}

}  // namespace

#include "samples/measure-run.inc"

#include "samples/find-largest-segment.inc"

#include "samples/watch-for-a-day.inc"

#include "samples/import-and-sort.inc"

#include "samples/choose-limit.inc"

#include "samples/work-until-the-end.inc"

#include "samples/describe-machine.inc"

#include "samples/can-use-avx2.inc"

#include "samples/describe-limits.inc"

}  // namespace guide

namespace qz::ext {

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

class WatchersGuideTest : public ::testing::Test {
protected:
    support::LibraryStart mLibrary{FullInit};
};

TEST_F(WatchersGuideTest, MeasuresARun)
{
    EXPECT_THAT(guide::measureRun(),
                AllOf(HasSubstr("CPU & RAM usage"), HasSubstr("│ load "), HasSubstr("│ copy ")));
}

TEST_F(WatchersGuideTest, FindsTheLargestSegment)
{
    MemoryAndCpuWatcher watcher;
    EXPECT_EQ(guide::findLargestSegment(watcher), "");
    watcher.startWatching(500);
    watcher.stampReference("small");
    const std::vector<char> data(100'000'000, 'x');
    watcher.stampReference("large");
    EXPECT_EQ(guide::findLargestSegment(watcher), "large");
}

TEST_F(WatchersGuideTest, RecordsATimeSeries)
{
    MemoryAndCpuWatcher watcher;
    guide::watchForADay(watcher);
    const MemoryAndCpuWatcher::RamUsageData result = watcher.extractResult();
    EXPECT_THAT(result.monitor, SizeIs(1)) << "the start makes an entry";
}

TEST_F(WatchersGuideTest, WorksBelowTheLimit)
{
    guide::gImported.clear();
    guide::importAndSort({"a", "b"});
    EXPECT_THAT(guide::gImported, ElementsAre("a", "b"));
    EXPECT_TRUE(guide::gAreSorted);
}

TEST_F(WatchersGuideTest, ChoosesALimitBelowTheMemoryOfTheMachine)
{
    EXPECT_GT(guide::chooseLimitMiB(), 0U);
    EXPECT_LT(guide::chooseLimitMiB(), qzSystemUtils::GetRamQuantityInBytes() >> 20);
}

TEST_F(WatchersGuideTest, KnowsTheMachine)
{
    EXPECT_THAT(guide::describeMachine(),
                AllOf(HasSubstr("CPU"), HasSubstr("RAM"), HasSubstr("LogicalCore")));
    EXPECT_THAT(guide::describeLimits(), MatchesRegex("[1-9][0-9]* processors(, [0-9]+ bytes)?"));
    EXPECT_EQ(guide::canUseAvx2(), __builtin_cpu_supports("avx2") != 0);
}

// The catcher of Ctrl-C changes the actions of signals, so this runs in a process of its own.
TEST(WatchersGuideOfItsOwnProcessTest, WorksUntilCtrlC)
{
    const support::ChildResult result = support::runInChild([] {
        const support::LibraryStart library(FullInit);
        guide::gStepsLeft = 5;
        return guide::workUntilTheEnd();
    });
    EXPECT_EQ(result.getEnd(), "exit 4") << result.err;
}

}  // namespace

}  // namespace qz::ext
