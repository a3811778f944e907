// The code of the guide to memory and time: it is the same as here, and does what the guide says.

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

#include "ext/GuideBlocks.h"
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

std::string measureRun()
{
    qz::MemoryAndCpuWatcher watcher;
    watcher.startWatching(/*periodMs=*/500);
    const std::vector<char> data(100'000'000, 'x');
    watcher.stampReference("load");
    const std::vector<char> copy = data;
    watcher.stampReference("copy");
    return watcher.getUsageAsAsciiTable();
}

// The segment that needed the most memory
std::string findLargestSegment(qz::MemoryAndCpuWatcher& watcher)
{
    std::string label;
    long peakBytes = 0;
    for (const auto& segment : watcher.extractResult().references) {
        if (segment.ramSeries.maximum <= peakBytes) continue;
        peakBytes = segment.ramSeries.maximum;
        label = segment.label;
    }
    return label;
}

void watchForADay(qz::MemoryAndCpuWatcher& watcher)
{
    watcher.startWatching(1000, /*monitorPeriodSeconds=*/60, /*monitorReserve=*/1440,
                          /*monitorMaxEntries=*/1440);
}

void importAndSort(const std::vector<std::string>& files)
{
    qz::MemoryWatchDog watchDog("import", /*thresholdMiB=*/2048, EXIT_FAILURE);
    for (const std::string& file : files)
        importFile(file);
    watchDog.setMonitoringEnabled(false);  // sorting may use more
    sortAll();
}

unsigned long chooseLimitMiB()
{
    const unsigned long machineBytes = qz::qzSystemUtils::GetRamQuantityInBytes();
    const std::optional<unsigned long> groupBytes = qz::ext::ContainerLimits::Read().memoryBytes;
    return std::min(groupBytes.value_or(machineBytes), machineBytes) / 1024 / 1024 / 4 * 3;
}

int workUntilTheEnd()
{
    int steps = 0;
    {
        const qz::qzCancelIfParentProcessDied cancel(qz::qzCancelConsoleEventCatcher::Create());
        while (!cancel.shouldCancel() && doNextStep())
            ++steps;
    }
    qz::qzCancelConsoleEventCatcher::Delete();
    return steps;
}

std::string describeMachine()
{
    qz::qzVariant::qzVariantMapImpl report;
    qz::qzSystemUtils::GenerateHardwareReport(report, /*detailed=*/false);
    return report.toString();
}

bool canUseAvx2()
{
    using Cpu = qz::qzSystemUtils::CPUInfo;
    return qz::qzSystemUtils::GetCPUInfo().isInstructionSetAvailable(Cpu::InstructionSetAVX2);
}

std::string describeLimits()
{
    const qz::ext::ContainerLimits limits = qz::ext::ContainerLimits::Read();
    std::string text = std::to_string(limits.processors) + " processors";
    if (limits.memoryBytes) text += ", " + std::to_string(*limits.memoryBytes) + " bytes";
    return text;
}

}  // namespace guide

namespace qz::ext {

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

class GuideMachineCodeTest : public ::testing::Test {
protected:
    support::LibraryStart mLibrary{FullInit};
};

TEST_F(GuideMachineCodeTest, IsTheCodeOfThisFile)
{
    const std::string source = readProjectFile("tests/ext/GuideMachineCodeTest.cpp");
    const std::vector<std::string> blocks = readGuideBlocks("docs/guide-watchers.md");
    EXPECT_THAT(blocks, SizeIs(9));
    for (const std::string& block : blocks)
        EXPECT_THAT(source, HasSubstr('\n' + block));
}

TEST_F(GuideMachineCodeTest, MeasuresARun)
{
    EXPECT_THAT(guide::measureRun(),
                AllOf(HasSubstr("CPU & RAM usage"), HasSubstr("│ load "), HasSubstr("│ copy ")));
}

TEST_F(GuideMachineCodeTest, FindsTheLargestSegment)
{
    MemoryAndCpuWatcher watcher;
    EXPECT_EQ(guide::findLargestSegment(watcher), "");
    watcher.startWatching(500);
    watcher.stampReference("small");
    const std::vector<char> data(100'000'000, 'x');
    watcher.stampReference("large");
    EXPECT_EQ(guide::findLargestSegment(watcher), "large");
}

TEST_F(GuideMachineCodeTest, RecordsATimeSeries)
{
    MemoryAndCpuWatcher watcher;
    guide::watchForADay(watcher);
    const MemoryAndCpuWatcher::RamUsageData result = watcher.extractResult();
    EXPECT_THAT(result.monitor, SizeIs(1)) << "the start makes an entry";
}

TEST_F(GuideMachineCodeTest, WorksBelowTheLimit)
{
    guide::gImported.clear();
    guide::importAndSort({"a", "b"});
    EXPECT_THAT(guide::gImported, ElementsAre("a", "b"));
    EXPECT_TRUE(guide::gAreSorted);
}

TEST_F(GuideMachineCodeTest, ChoosesALimitBelowTheMemoryOfTheMachine)
{
    EXPECT_GT(guide::chooseLimitMiB(), 0U);
    EXPECT_LT(guide::chooseLimitMiB(), qzSystemUtils::GetRamQuantityInBytes() >> 20);
}

TEST_F(GuideMachineCodeTest, KnowsTheMachine)
{
    EXPECT_THAT(guide::describeMachine(),
                AllOf(HasSubstr("CPU"), HasSubstr("RAM"), HasSubstr("LogicalCore")));
    EXPECT_THAT(guide::describeLimits(), MatchesRegex("[1-9][0-9]* processors(, [0-9]+ bytes)?"));
    EXPECT_EQ(guide::canUseAvx2(), __builtin_cpu_supports("avx2") != 0);
}

// The catcher of Ctrl-C changes the actions of signals, so this runs in a process of its own.
TEST(GuideMachineCodeOfItsOwnProcessTest, WorksUntilCtrlC)
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
