// SPDX-License-Identifier: MIT
// Many children, many threads that start them, and a machine with much else to do.

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzLogObject.h>

#include "ProcessFixture.h"
#include "support/ChildProcess.h"

namespace qz {

using support::runInChild;

namespace {

// Under a sanitizer a start takes many times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kManyChildren = 100;
constexpr int kChildrenPerThread = 8;
constexpr bool kSeesMemory = false;
#else
constexpr int kManyChildren = 1000;
constexpr int kChildrenPerThread = 60;
constexpr bool kSeesMemory = true;
#endif

bool runOne(int i)
{
    const int code = i % 256;
    qzProcess process;
    process.startProcess("/bin/sh", {"-c", "exit " + std::to_string(code)}, i % 2 == 0,
                         i % 3 == 0 ? qzProcess::PriorityLow : qzProcess::PriorityInherit);
    return process.waitForFinished(kLongMs) && process.exitCode() == code && !process.hasCrashed();
}

std::size_t getUsedMemory()
{
    return ::mallinfo2().uordblks;
}

}  // namespace

TEST(qzProcessCrowd, LeavesDescriptorsZombiesAndMemoryAsBefore)
{
    const support::LibraryStart start;
    ASSERT_TRUE(runOne(0) && runOne(1));  // what is made once and stays
    const std::size_t descriptors = support::countOpenDescriptors();
    const std::size_t memory = getUsedMemory();
    for (int i = 0; i < kManyChildren; ++i)
        ASSERT_TRUE(runOne(i)) << i;
    EXPECT_EQ(support::countOpenDescriptors(), descriptors);
    EXPECT_FALSE(support::hasChildren());
    if (kSeesMemory) {
        EXPECT_LE(getUsedMemory(), memory + 4096);
    }
}

namespace {

// Starts children on 8 threads, while 8 others allocate and write to the log.
int startOnManyThreads()
{
    const support::LibraryStart start(FullInit);
    qzLog::msInstance->setEchoToConsole(false);
    std::atomic<bool> isDone = false;
    std::atomic<int> lost = 0;
    std::vector<std::thread> noise;
    for (int i = 0; i < 8; ++i) {
        noise.emplace_back([&] {
            while (!isDone) {
                const std::string text(3000, 'x');
                logInfo() << text;
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        });
    }
    std::vector<std::thread> starters;
    for (int i = 0; i < 8; ++i) {
        starters.emplace_back([&, i] {
            for (int child = 0; child < kChildrenPerThread; ++child) {
                if (!runOne(i * kChildrenPerThread + child)) ++lost;
                if (child % 10 != 0) continue;
                qzProcess process;
                process.startProcess("/no/such/program", {}, false, qzProcess::PriorityInherit);
                if (!process.waitForFinished(kLongMs)) ++lost;
                if (!qzProcess::StartDetachedUtf8("/bin/true", {}, "", false)) ++lost;
            }
        });
    }
    for (std::thread& thread : starters)
        thread.join();
    isDone = true;
    for (std::thread& thread : noise)
        thread.join();
    if (support::hasChildren()) return 100;
    return lost > 99 ? 99 : lost.load();
}

}  // namespace

TEST(qzProcessCrowd, StartsOnManyThreadsWhileOthersAllocateAndLog)
{
    EXPECT_EQ(runInChild(&startOnManyThreads, {}, 250).getEnd(), "exit 0");
}

namespace {

struct BusyRow {
    const char* name;
    std::vector<std::string> arguments;  // see tests/programs/start_judgement.cpp
};

const BusyRow kBusyRows[] = {
    {"Attached", {"missing", "200", "light", "0", "8"}},
    {"AttachedWithMuchMemory", {"missing", "20", "full", "200", "8"}},
    {"Detached", {"detached", "200", "full", "0", "8"}},
    {"DetachedWithMuchMemory", {"detached", "10", "light", "200", "8"}},
};

}  // namespace

class qzProcessOnABusyMachine : public ::testing::TestWithParam<BusyRow> {};

INSTANTIATE_TEST_SUITE_P(Rows, qzProcessOnABusyMachine, ::testing::ValuesIn(kBusyRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(qzProcessOnABusyMachine, TakesNoMissingProgramForAStartedOne)
{
    const support::ChildResult result =
        support::runProgram({.program = "start_judgement", .arguments = GetParam().arguments});
    EXPECT_EQ(result.getEnd(), "exit 0") << result.out << result.err;
}

}  // namespace qz
