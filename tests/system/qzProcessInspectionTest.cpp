// SPDX-License-Identifier: MIT
// This process and its parent, seen through /proc.

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzSystemUtils.h>

#include "ProcessFixture.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Limits.h"

namespace qz {

using support::runInChild;
using support::runProgram;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// How tests/programs/inspect.cpp sees itself.
support::ChildResult inspect(std::vector<std::string> arguments,
                             const std::string& workingFolder = {})
{
    return runProgram(
        {.program = "inspect", .arguments = std::move(arguments), .workingFolder = workingFolder});
}

}  // namespace

class qzProcessInspection : public ::testing::Test, public ProcessFixture {};

TEST_F(qzProcessInspection, DescribesThisProcess)
{
    const support::EnvironmentVariable variable("QZ_VARIABLE", "\xC3\xA9");
    qzProcess process;
    ASSERT_TRUE(qzProcess::GetCurrentProcess(process));
    EXPECT_EQ(process.getState(), qzProcess::Running);
    EXPECT_EQ(process.getPid(), ::getpid());
    EXPECT_FALSE(process.hasFailedToStart());
    EXPECT_FALSE(process.hasCrashed());
    // The head of the executable file, not its path.
    EXPECT_EQ(process.getProgramUtf8(), support::readFile("/proc/self/exe").c_str());
    EXPECT_THAT(process.getProgramUtf8(), ::testing::StartsWith("\x7F"
                                                                "ELF"));
    EXPECT_EQ(process.getWorkingDirectoryUtf8(), std::filesystem::current_path().string());
    EXPECT_FALSE(process.getArgumentsUtf8().empty());
    std::vector<std::string> variables;
    process.getProcessEnvironmentUtf8(variables);
    EXPECT_THAT(variables, Contains(::testing::StartsWith("QZ_VARIABLE=")));
}

TEST_F(qzProcessInspection, NeverSeesTheEndOfThisProcess)
{
    qzProcess process;
    ASSERT_TRUE(qzProcess::GetCurrentProcess(process));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(process.waitForFinished(kLongMs));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(100)) << "it waited";
    EXPECT_FALSE(process.resetState());
    EXPECT_FALSE(process.setWorkingDirectory("/"));
    EXPECT_FALSE(process.startProcess("/bin/true", {}, false, qzProcess::PriorityInherit));
    EXPECT_FALSE(qzProcess::GetCurrentProcess(process));
    EXPECT_EQ(process.getState(), qzProcess::Running);
    process.clearProcess();
    EXPECT_EQ(process.getState(), qzProcess::NotStarted);
    EXPECT_TRUE(process.waitForFinished(0));
}

TEST_F(qzProcessInspection, SignalsThisProcess)
{
    for (const int signal : {SIGTERM, SIGKILL}) {
        const auto body = [signal] {
            qzProcess process;
            if (!qzProcess::GetCurrentProcess(process)) return 1;
            signal == SIGTERM ? process.terminateProcess() : process.killProcess();
            return 2;
        };
        EXPECT_EQ(runInChild(body).getEnd(), "signal " + std::to_string(signal));
    }
}

TEST_F(qzProcessInspection, SignalsTheParentWhileItRuns)
{
    const auto parent = [] {
        if (::fork() == 0) {
            qzProcess process;
            qzProcess::GetParentProcess(process);
            process.terminateProcess();
            ::_exit(0);
        }
        for (;;)
            ::pause();
        return 1;
    };
    EXPECT_EQ(runInChild(parent, {}, 60).getEnd(), "signal " + std::to_string(SIGTERM));
}

TEST_F(qzProcessInspection, LeavesARunningObjectAlone)
{
    const std::string go = getFolder().getPath("go");
    qzProcess process;
    ASSERT_TRUE(startChild(process, {"wait-for", go}));
    const int pid = process.getPid();
    EXPECT_FALSE(qzProcess::GetCurrentProcess(process));
    EXPECT_EQ(process.getPid(), pid);
    EXPECT_EQ(process.getProgramUtf8(), kChild);
    support::writeFile(go, "");
    EXPECT_TRUE(process.waitForFinished(kLongMs));
    EXPECT_EQ(process.exitCode(), 0);
}

TEST_F(qzProcessInspection, GetsArgumentsUpToTheFirstEmptyOne)
{
    EXPECT_EQ(inspect({"arguments", "a b", "\xC3\xA9", "", "after"}).out,
              "[" QZ_TEST_PROGRAMS_DIR "/inspect][arguments][a b][\xC3\xA9]");
}

TEST_F(qzProcessInspection, KeepsAnArgumentThatCannotBeConvertedAsAnEmptyOne)
{
    EXPECT_EQ(runProgram({.program = "inspect",
                          .arguments = {"arguments", "\xFF", "after"},
                          .environment = {{"LC_ALL", "C.UTF-8"}}})
                  .out,
              "[" QZ_TEST_PROGRAMS_DIR "/inspect][arguments][][after]");
}

TEST_F(qzProcessInspection, CutsALongCommandLine)
{
    const std::string program = QZ_TEST_PROGRAMS_DIR "/inspect";
    const std::string word(20'000, 'x');
    const std::size_t kept = 10'240 - (program.size() + 1) - (sizeof "arguments");
    EXPECT_EQ(inspect({"arguments", word}).out,
              "[" + program + "][arguments][" + word.substr(0, kept) + "]");
}

TEST_F(qzProcessInspection, FindsNoVariableInAnEmptyEnvironment)
{
    EXPECT_EQ(inspect({"cleared-environment"}).out, "0 0");
}

TEST_F(qzProcessInspection, FailsWithoutAWorkingFolder)
{
    EXPECT_EQ(inspect({"removed-folder"}, getFolder().getPath()).out, "false, unchanged");
}

TEST_F(qzProcessInspection, DescribesTheParent)
{
    qzProcess process;
    ASSERT_TRUE(startChild(process, {"exit", "3"}));
    ASSERT_TRUE(process.waitForFinished(kLongMs));
    qzProcess::GetParentProcess(process);
    EXPECT_EQ(process.getState(), qzProcess::Running);
    EXPECT_EQ(process.getPid(), ::getppid());
    EXPECT_EQ(process.getProgramUtf8(),
              support::readFile("/proc/" + std::to_string(::getppid()) + "/exe").c_str());
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_FALSE(process.hasFailedToStart());
    EXPECT_THAT(process.getArgumentsUtf8(), IsEmpty());
    EXPECT_FALSE(process.waitForFinished(0));
    EXPECT_FALSE(process.resetState());
}

TEST_F(qzProcessInspection, KeepsItsProgramWhereThatOfTheParentCannotBeRead)
{
    if (::geteuid() != 0) GTEST_SKIP() << "needs a parent with more rights";
    const auto body = [] {
        support::becomeNobody();
        qzProcess process;
        if (!startChild(process, {"exit", "0"}) || !process.waitForFinished(kLongMs)) return 1;
        qzProcess::GetParentProcess(process);
        return process.getPid() == ::getppid() && process.getProgramUtf8() == kChild ? 0 : 2;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

TEST_F(qzProcessInspection, FollowsTheParentWithAnObjectOfThisProcess)
{
    qzProcess process;
    ASSERT_TRUE(qzProcess::GetCurrentProcess(process));
    qzProcess::GetParentProcess(process);
    EXPECT_EQ(process.getPid(), ::getppid());
    EXPECT_EQ(process.getState(), qzProcess::Running);
}

TEST_F(qzProcessInspection, SeesTheEndOfTheParent)
{
    // The child's child reports into memory that all share.
    const auto body = [this] {
        const std::string path = getFolder().getPath("seen");
        const pid_t middle = ::fork();
        if (middle == 0) {
            const int pid = ::getpid();
            if (::fork() != 0) {
                // Ends once the grandchild has seen it run.
                support::waitUntil([&] { return std::filesystem::exists(path + ".running"); });
                ::_exit(0);
            }
            qzProcess parent;
            qzProcess::GetParentProcess(parent);
            const bool isRunning = parent.getState() == qzProcess::Running &&
                                   parent.getPid() == pid && !parent.waitForFinished(0);
            support::writeFile(path + ".running", "");
            const bool hasEnded = parent.waitForFinished(kLongMs) &&
                                  parent.getState() == qzProcess::Finished && !parent.hasCrashed();
            parent.killProcess();  // signals nobody
            support::writeFile(path + ".new", isRunning && hasEnded ? "seen" : "missed");
            std::filesystem::rename(path + ".new", path);
            ::_exit(0);
        }
        ::waitpid(middle, nullptr, 0);
        return support::waitUntil([&] { return std::filesystem::exists(path); }) ? 0 : 1;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
    EXPECT_EQ(getFolder().read("seen"), "seen");
}

TEST_F(qzProcessInspection, WaitsForNoParentInADestructor)
{
    qzProcess process;
    ASSERT_TRUE(startChild(process, {"exit", "0"}));  // whose end the destructor would wait for
    ASSERT_TRUE(process.waitForFinished(kLongMs));
    qzProcess::GetParentProcess(process);
}

TEST_F(qzProcessInspection, StartsAChildAfterTheParentWasSeen)
{
    const auto body = [] {
        const pid_t middle = ::fork();
        if (middle == 0) {
            qzProcess process;
            qzProcess::GetParentProcess(process);
            process.clearProcess();
            process.startProcess("/bin/sh", {"-c", "exit 4"}, false, qzProcess::PriorityInherit);
            ::_exit(process.waitForFinished(kLongMs) ? process.exitCode() : 1);
        }
        int status = 0;
        ::waitpid(middle, &status, 0);
        return WEXITSTATUS(status);
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 4");
}

// --- Memory

TEST_F(qzProcessInspection, GivesThePeakAlone)
{
    qzProcess process;
    ASSERT_TRUE(qzProcess::GetCurrentProcess(process));
    unsigned long resident = 1;
    unsigned long peak = 1;
    EXPECT_TRUE(process.getMemoryStatistics(resident, peak));
    EXPECT_EQ(resident, 0U);
    EXPECT_GT(peak, 1'000'000U);
    EXPECT_EQ(peak % 1024, 0U);
}

TEST_F(qzProcessInspection, GivesThePeakOfAChild)
{
    const std::string go = getFolder().getPath("go");
    qzProcess process;
    ASSERT_TRUE(startChild(process, {"wait-for", go}));
    unsigned long resident = 1;
    unsigned long peak = 1;
    EXPECT_TRUE(process.getMemoryStatistics(resident, peak));
    EXPECT_EQ(resident, 0U);
    EXPECT_GT(peak, 0U);
    support::writeFile(go, "");
    EXPECT_TRUE(process.waitForFinished(kLongMs));
}

TEST_F(qzProcessInspection, GivesNoMemoryOfNoProcess)
{
    const qzProcess process;
    unsigned long resident = 1;
    unsigned long peak = 1;
    EXPECT_FALSE(process.getMemoryStatistics(resident, peak));
    EXPECT_EQ(resident, 0U);
    EXPECT_EQ(peak, 0U);
}

// --- Odd files in /proc, in a private mount

struct StatusRow {
    const char* name;
    std::string content;
    const char* figures;  // result, resident, peak
};

class qzProcessOddStatus : public ProcessFixture, public ::testing::TestWithParam<StatusRow> {};

// Puts a file over one of /proc for the calling process alone. @return false without the right.
static bool mountOver(const std::string& file, const std::string& target)
{
    return ::unshare(CLONE_NEWNS) == 0 &&
           ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount(file.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) == 0;
}

TEST_P(qzProcessOddStatus, GivesTheFiguresOfItsRow)
{
    const std::string file = getFolder().write("status", GetParam().content);
    const auto body = [&] {
        qzProcess process;
        qzProcess::GetCurrentProcess(process);
        if (!mountOver(file, "/proc/self/status")) return 77;
        unsigned long resident = 1;
        unsigned long peak = 1;
        const bool isRead = process.getMemoryStatistics(resident, peak);
        std::cout << isRead << ' ' << resident << ' ' << peak;
        return 0;
    };
    const support::ChildResult result = runInChild(body);
    if (result.exitCode == 77) GTEST_SKIP() << "needs the right to mount";
    EXPECT_EQ(result.out, GetParam().figures);
}

const StatusRow kStatusRows[] = {
    {"Empty", "", "1 0 0"},
    {"NoFigure", "Name:\tx\nVmSize: 3 kB\n", "1 0 0"},
    {"PeakFirst", "VmPeak:\t  2 kB\nVmRSS:\t 1 kB\n", "1 0 2048"},
    {"ResidentFirst", "VmRSS:\t  1 kB\nVmPeak:\t 2 kB\n", "1 1024 0"},
    {"ResidentAlone", "x\nVmRSS: 3 kB", "1 3072 0"},
    {"WithoutADigit", "VmPeak: kB\nVmRSS: 1 kB\n", "1 0 0"},
    {"WithoutABlank", "VmPeak:5", "1 0 5120"},
    {"Octal", "VmPeak: 010 kB\n", "1 0 8192"},
    {"Hexadecimal", "VmPeak: 0x10 kB\n", "1 0 16384"},
    {"InALongLine", std::string(127, 'x') + "VmPeak: 1 kB\n", "1 0 1024"},
    {"WithinALine", " VmPeak: 1 kB\n", "1 0 0"},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzProcessOddStatus, ::testing::ValuesIn(kStatusRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzProcessInspection, KeepsItsListWhereTheCommandLineIsEmpty)
{
    const std::string empty = getFolder().write("empty", "");
    const auto body = [&] {
        qzProcess process;
        process.startProcess("/bin/true", {"kept"}, false, qzProcess::PriorityInherit);
        process.waitForFinished(kLongMs);
        if (!mountOver(empty, "/proc/self/cmdline")) return 77;
        const bool isFilled = qzProcess::GetCurrentProcess(process);
        return isFilled && process.getArgumentsUtf8() == std::vector<std::string>{"kept"} ? 0 : 1;
    };
    const support::ChildResult result = runInChild(body);
    if (result.exitCode == 77) GTEST_SKIP() << "needs the right to mount";
    EXPECT_EQ(result.getEnd(), "exit 0");
}

TEST_F(qzProcessInspection, FailsWithoutTheProcFiles)
{
    const std::string empty = getFolder().getPath("nothing");
    std::filesystem::create_directory(empty);
    const auto body = [&] {
        qzProcess process;
        qzProcess parent;
        qzProcess self;
        qzProcess::GetCurrentProcess(self);
        if (!mountOver(empty, "/proc")) return 77;
        unsigned long resident = 1;
        unsigned long peak = 1;
        if (qzProcess::GetCurrentProcess(process) || process.getState() != 0) return 1;
        if (self.getMemoryStatistics(resident, peak) || resident != 0 || peak != 0) return 2;
        qzProcess::GetParentProcess(parent);
        if (!parent.getProgramUtf8().empty() || parent.getState() != 1) return 3;
        return parent.getMemoryStatistics(resident, peak) ? 4 : 0;
    };
    const support::ChildResult result = runInChild(body);
    if (result.exitCode == 77) GTEST_SKIP() << "needs the right to mount";
    EXPECT_EQ(result.getEnd(), "exit 0");
}

TEST(qzProcessInspectionAlone, GivesItsTextsInUtf8)
{
    const support::ScratchFolder scratch;
    const std::string folder = std::filesystem::canonical(scratch.getPath());
    std::filesystem::create_directory(folder + "/\xE9");
    const auto body = [&] {
        const support::EnvironmentLocale locale("en_US.ISO-8859-1");
        const support::EnvironmentVariable variable("QZ_LATIN", "\xE8");
        const support::LibraryStart start;
        std::filesystem::current_path(folder + "/\xE9");
        qzProcess process;
        if (!qzProcess::GetCurrentProcess(process)) return 1;
        if (process.getWorkingDirectoryUtf8() != folder + "/\u00e9") return 2;
        std::vector<std::string> variables;
        process.getProcessEnvironmentUtf8(variables);
        return std::count(variables.begin(), variables.end(), "QZ_LATIN=\u00e8") == 1 ? 0 : 3;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

TEST(qzProcessInspectionAlone, WorksWithoutAStart)
{
    const auto body = [] {
        qzProcess process;
        if (!qzProcess::GetCurrentProcess(process) || process.getPid() != ::getpid()) return 1;
        qzProcess parent;
        qzProcess::GetParentProcess(parent);
        return parent.getPid() == ::getppid() ? 0 : 2;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

}  // namespace qz
