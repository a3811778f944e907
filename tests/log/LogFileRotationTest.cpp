// SPDX-License-Identifier: MIT
// New files by size and by the calendar, and the end of old ones. A program with a clock of its own
// writes them, so that names are known ahead; see programs/log_files.cpp.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log/LogFileFixture.h"
#include "support/ChildProcess.h"
#include "support/Limits.h"

namespace qz {

using support::ChildResult;
using support::runProgram;
using support::ScratchFolder;
using ::testing::ElementsAre;
using ::testing::Pair;

namespace {

const std::string kPrefix = "INFO PID 4711 Sat Nov 14 20:17:56+0000 2026 : ";
constexpr int kMark = 3;

int getLineSize(int messageSize)
{
    return static_cast<int>(kPrefix.size()) + messageSize + 1;
}

}  // namespace

class LogRotation : public ::testing::TestWithParam<std::string> {
protected:
    using Files = std::map<std::string, std::string>;

    // Runs the steps in the state of the parameter; "install" has "@" for the folder.
    void run(std::vector<std::string> steps, const std::string& zone = "UTC0") const
    {
        for (std::string& step : steps) {
            if (step.find('@') != std::string::npos)
                step.replace(step.find('@'), 1, mFolder.getPath());
        }
        steps.insert(steps.begin(), GetParam());
        steps.push_back("stop");
        const ChildResult result = runProgram({.program = "log_files",
                                               .arguments = steps,
                                               .environment = {{"TZ", zone}, {"LC_ALL", "C"}},
                                               .timeoutSec = 60});
        EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
    }
    static std::string install(const std::string& name, int flags, int size, int count,
                               int interval = 0)
    {
        return "install|@/" + name + '|' + std::to_string(flags) + '|' + std::to_string(size) +
               '|' + std::to_string(count) + '|' + std::to_string(interval);
    }
    // All files of the folder with what they hold.
    Files list() const
    {
        const support::LibraryStart library;
        std::vector<std::string> names;
        qzDirUtils::GlobFileAndFolderUtf8(mFolder.getPath(), nullptr, &names, nullptr,
                                          qzDirUtils::GlobBareNames);
        Files files;
        for (const std::string& name : names)
            files[name] = showLogFile(mFolder.read(name));
        return files;
    }

    const ScratchFolder mFolder;
};

INSTANTIATE_TEST_SUITE_P(States, LogRotation, ::testing::Values("start", "full"),
                         [](const auto& state) { return state.param; });

// Without a thread a batch has one line.
class LogBatchRotation : public LogRotation {};

INSTANTIATE_TEST_SUITE_P(States, LogBatchRotation, ::testing::Values("full"),
                         [](const auto& state) { return state.param; });

// --- By size

TEST_P(LogRotation, ComesWithTheFirstLineBeyondTheSize)
{
    const int size = kMark + 2 * getLineSize(1);
    run({install("log.txt", 0, size, -1), "write|1", "write|2", "write|3", "tick|1", "write|4"});
    EXPECT_THAT(list(), ElementsAre(Pair("log.txt", "BOM 4"),
                                    Pair("log_2026-11-14-20-17-57.txt", "BOM 1;2;3")))
        << "the size itself isn't beyond it";
}

TEST_P(LogRotation, LetsAFileGrowBeyondTheSizeByOneLine)
{
    const int size = kMark + 2 * getLineSize(1);
    run({install("log.txt", 0, size, -1), "write|1", "write|2", "fill|5000", "write|4", "write|5"});
    EXPECT_THAT(list(),
                ElementsAre(Pair("log.txt", "BOM 4;5"), Pair("log_2026-11-14-20-17-56.txt",
                                                             "BOM 1;2;" + std::string(5000, 'x'))));
}

TEST_P(LogRotation, ComesBelowTheSizeByOne)
{
    const int size = kMark + 2 * getLineSize(1) - 1;
    run({install("log.txt", 0, size, -1), "write|1", "write|2", "tick|3", "write|3"});
    EXPECT_THAT(list(), ElementsAre(Pair("log.txt", "BOM 3"),
                                    Pair("log_2026-11-14-20-17-59.txt", "BOM 1;2")));
}

TEST_P(LogRotation, NeverComesWithoutASize)
{
    for (const int size : {0, -1, -1000}) {
        run({install("log.txt", 1, size, -1), "fill|100000", "write|1"});
        EXPECT_THAT(list(), ElementsAre(Pair("log.txt", "BOM " + std::string(100000, 'x') + ";1")))
            << size;
    }
}

TEST_P(LogRotation, CountsWhatTheFileHeldBefore)
{
    mFolder.write("log.txt", "X PID : old\n");
    run({install("log.txt", 0, 5, -1), "write|1"});
    EXPECT_THAT(list(),
                ElementsAre(Pair("log.txt", "BOM 1"), Pair("log_2026-11-14-20-17-56.txt", "old")));
}

TEST_P(LogRotation, HasTheTimeAheadOfTheExtensionAndAtTheEndWithoutOne)
{
    run({install("log", 0, 1, -1), "write|1", "write|2"});
    EXPECT_THAT(list(),
                ElementsAre(Pair("log", "BOM 2"), Pair("log_2026-11-14-20-17-56", "BOM 1")));
}

TEST_P(LogRotation, HasTheLocalTime)
{
    run({install("log.txt", 0, 1, -1), "write|1", "write|2"}, "NST3:30");
    EXPECT_EQ(list().count("log_2026-11-14-16-47-56.txt"), 1U);
}

TEST_P(LogRotation, ReplacesThatOfTheSameSecond)
{
    run({install("log.txt", 0, 1, -1), "write|1", "write|2", "write|3", "tick|1", "write|4"});
    EXPECT_THAT(list(),
                ElementsAre(Pair("log.txt", "BOM 4"), Pair("log_2026-11-14-20-17-56.txt", "BOM 2"),
                            Pair("log_2026-11-14-20-17-57.txt", "BOM 3")));
}

TEST_P(LogRotation, LosesTheContentWhenTheRenamingFails)
{
    ASSERT_EQ(::mkdir(mFolder.getPath("log_2026-11-14-20-17-56.txt").c_str(), 0755), 0);
    run({install("log.txt", 0, 1, -1), "write|1", "write|2"});
    EXPECT_THAT(list(), ElementsAre(Pair("log.txt", "BOM 2")));
}

TEST_P(LogRotation, KeepsThePreviousFileUnderTheTimeOfTheInstallation)
{
    mFolder.write("log.txt", "X PID : old\n");
    run({"tick|4", install("log.txt", 3, -1, -1), "tick|4", "write|1"});
    const Files files = list();
    EXPECT_EQ(files.at("log.txt"), "BOM 1");
    EXPECT_EQ(files.at("log_2026-11-14-20-18-00.txt"), "old");
    EXPECT_EQ(files.size(), 2U);
}

TEST(LogRotationBatch, ComesWithinABatchToo)
{
    const ScratchFolder folder;
    std::vector<std::string> steps = {
        "full", "install|" + folder.getPath("log.txt") + "|4|150|-1|0", "hold"};
    std::string all = "held";
    for (int i = 0; i < 30; ++i) {
        steps.push_back(i % 2 == 0 ? "write|" + std::to_string(i) : "write|tick 1");
        all += i % 2 == 0 ? ';' + std::to_string(i) : std::string(";tick 1");
    }
    steps.insert(steps.end(), {"release", "stop"});
    const ChildResult result =
        runProgram({.program = "log_files", .arguments = steps, .environment = {{"TZ", "UTC0"}}});
    ASSERT_EQ(result.getEnd(), "exit 0");
    const support::LibraryStart library;
    std::vector<std::string> names;
    qzDirUtils::GlobFileAndFolderUtf8(folder.getPath(), nullptr, &names, nullptr,
                                      qzDirUtils::GlobBareNames);
    // "log.txt" comes before those with a time, and holds what came last.
    std::sort(names.begin(), names.end());
    std::rotate(names.begin(), names.begin() + 1, names.end());
    EXPECT_GE(names.size(), 10U);
    std::string found;
    for (const std::string& name : names) {
        const std::string content = folder.read(name);
        EXPECT_LE(content.size(), 150U + 60U) << name;
        EXPECT_EQ(content.compare(0, 3, kByteOrderMark), 0) << name;
        found += (found.empty() ? "" : ";") + showLogFile(content).substr(4);
    }
    EXPECT_EQ(found, all);
}

// --- By the calendar

struct CalendarRow {
    const char* name;
    int interval;
    long before;  // seconds
    const char* nameBefore;
    const char* nameBehind;  // a second later
    const char* zone = "UTC0";
};

constexpr long kNov15 = 1794700800;  // a Sunday, at 00:00 UTC
constexpr long kDec1 = kNov15 + 16L * 86400;
constexpr long kJan1 = kDec1 + 31L * 86400;

constexpr CalendarRow kCalendarRows[] = {
    {"Never", 0, kJan1 - 1, "log.txt", "log.txt"},
    {"Day", 1, kNov15 - 1, "log-2026-11-14.txt", "log-2026-11-15.txt"},
    {"NoDay", 1, kNov15, "log-2026-11-15.txt", "log-2026-11-15.txt"},
    {"Week", 2, kNov15 - 1, "log-2026-W45.txt", "log-2026-W46.txt"},
    {"NoWeek", 2, kNov15 + 86400 - 1, "log-2026-W46.txt", "log-2026-W46.txt"},
    {"WeekOfNewYear", 2, kJan1 - 1, "log-2026-W52.txt", "log-2027-W00.txt"},
    {"Month", 3, kDec1 - 1, "log-2026-11.txt", "log-2026-12.txt"},
    {"NoMonth", 3, kNov15 - 1, "log-2026-11.txt", "log-2026-11.txt"},
    {"Year", 3, kJan1 - 1, "log-2026-12.txt", "log-2027-01.txt"},
    {"MonthByAHigherNumber", 4, kDec1 - 1, "log-2026-11.txt", "log-2026-12.txt"},
    {"MonthByAMuchHigherNumber", 1000, kDec1 - 1, "log-2026-11.txt", "log-2026-12.txt"},
    {"DayOfTheLocalTime", 1, kNov15 + 12600 - 1, "log-2026-11-14.txt", "log-2026-11-15.txt",
     "NST3:30"},
};

TEST_P(LogRotation, FollowsTheCalendarAsInTheRows)
{
    for (const CalendarRow& row : kCalendarRows) {
        const ScratchFolder folder;
        run({"clock|" + std::to_string(row.before),
             "install|" + folder.getPath("log.txt") + "|0|-1|-1|" + std::to_string(row.interval),
             "write|1", "tick|1", "write|2"},
            row.zone);
        const bool isSame = std::string(row.nameBefore) == row.nameBehind;
        EXPECT_EQ(showLogFile(folder.read(row.nameBefore)), isSame ? "BOM 1;2" : "BOM 1")
            << row.name;
        EXPECT_EQ(showLogFile(folder.read(row.nameBehind)), isSame ? "BOM 1;2" : "BOM 2")
            << row.name;
    }
}

TEST_P(LogRotation, FollowsTheTimeZoneWithinASecond)
{
    run({install("log.txt", 0, -1, -1, 1), "write|1", "zone|BBB-14", "write|2"});
    EXPECT_THAT(list(), ElementsAre(Pair("log-2026-11-14.txt", "BOM 1"),
                                    Pair("log-2026-11-15.txt", "BOM 2")));
}

TEST_P(LogRotation, PutsTheTimeBehindTheDay)
{
    run({install("log.txt", 0, 1, -1, 1), "write|1", "write|2"});
    EXPECT_THAT(list(), ElementsAre(Pair("log-2026-11-14.txt", "BOM 2"),
                                    Pair("log-2026-11-14_2026-11-14-20-17-56.txt", "BOM 1")));
}

TEST_P(LogBatchRotation, LeavesABatchInItsFileWhenTheDayChangesInIt)
{
    run({install("log.txt", 4, -1, 0, 1), "hold", "write|1", "write|tick 86400", "write|2",
         "release", "write|3"});
    EXPECT_THAT(list(), ElementsAre(Pair("log-2026-11-15.txt", "BOM 3")))
        << "the old file goes with the first line of the new one";
}

TEST_P(LogBatchRotation, LeavesABatchInItsFileAfterANoticeToo)
{
    run({"off|a", install("log.txt", 4, -1, 1, 1), "hold", "write|1", "write|tick 86400", "debug|2",
         "write|3", "release", "write|4"});
    EXPECT_THAT(list(), ElementsAre(Pair("log-2026-11-14.txt",
                                         "BOM held;1;tick 86400;log type blacklist : 'a';2;3"),
                                    Pair("log-2026-11-15.txt", "BOM 4")));
}

TEST_P(LogBatchRotation, LeavesABatchInItsFileAndKeepsIt)
{
    run({install("log.txt", 4, -1, 1, 1), "hold", "write|1", "write|tick 86400", "write|2",
         "release", "write|3"});
    EXPECT_THAT(list(), ElementsAre(Pair("log-2026-11-14.txt", "BOM held;1;tick 86400;2"),
                                    Pair("log-2026-11-15.txt", "BOM 3")));
}

TEST_P(LogRotation, RemovesOldFilesWhenTheCalendarGivesANewName)
{
    run({install("log.txt", 0, -1, 0, 1), "write|1", "tick|86400", "write|2", "tick|86400",
         "write|3", "write|4"});
    EXPECT_THAT(list(), ElementsAre(Pair("log-2026-11-16.txt", "BOM 3;4")));
}

TEST_P(LogRotation, RemovesNothingMoreWithinTheSameDay)
{
    run({install("log.txt", 0, -1, 0, 1), "write|1", "install|@/log-other.txt|0|-1|-1|0", "write|2",
         install("log.txt", 0, -1, -1, 1), "write|3", "tick|60", "write|4"});
    EXPECT_THAT(list(), ElementsAre(Pair("log-2026-11-14.txt", "BOM 1;3;4"),
                                    Pair("log-other.txt", "BOM 2")));
}

// --- The end of old files

class LogPruning : public LogFileFixture, public ::testing::WithParamInterface<InitType> {
protected:
    LogPruning() : LogFileFixture(GetParam()) {}

    // Makes a file that was changed that many seconds ago.
    void make(const std::string& name, long ageSec) const
    {
        const std::string path = mFolder.write(name, "X PID : old\n");
        timespec times[2] = {};
        ::clock_gettime(CLOCK_REALTIME, &times[0]);
        times[0].tv_sec -= ageSec;
        times[1] = times[0];
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }
    void makeFive() const
    {
        make("log_c.txt", 500);
        make("log_a.txt", 400);
        make("log_d.txt", 300);
        make("log_b.txt", 200);
        make("log_e.txt", 100);
    }
};

INSTANTIATE_TEST_SUITE_P(States, LogPruning, ::testing::Values(LightInit, FullInit),
                         [](const auto& state) {
                             return state.param == LightInit ? "Light" : "Full";
                         });

TEST_P(LogPruning, RemovesTheOldestAtTheInstallationAndNotTheCurrentFile)
{
    makeFive();
    make("log.txt", 1000);
    install("log.txt", 0, -1, 2);
    EXPECT_THAT(list(), ElementsAre("log.txt", "log_b.txt", "log_e.txt"));
}

TEST_P(LogPruning, RemovesTheOldestAtARotation)
{
    install("log.txt", 0, 1, 2);
    write("1");
    makeFive();
    write("2");
    const std::vector<std::string> names = list();
    ASSERT_EQ(names.size(), 3U);
    EXPECT_EQ(names[0], "log.txt");
    EXPECT_EQ(show(names[1]), "BOM 1") << "the rotated one is the newest";
    EXPECT_EQ(names[2], "log_e.txt");
}

TEST_P(LogPruning, RemovesNothingBetweenRotations)
{
    install("log.txt", 0, -1, 0);
    makeFive();
    write("1");
    log().setEchoToConsole(true);
    log().setEchoToConsole(false);
    write("2");
    EXPECT_EQ(list().size(), 6U);
}

TEST_P(LogPruning, KeepsEverythingWithANegativeCount)
{
    makeFive();
    install("log.txt", 0, -1, -1);
    EXPECT_EQ(list().size(), 6U);
    install("log.txt", 0, -1, -1000);
    EXPECT_EQ(list().size(), 6U);
}

TEST_P(LogPruning, KeepsNothingElseInTheShortForm)
{
    makeFive();
    log().installFileHandlerUtf8(mFolder.getPath("log.txt"));
    write("1");
    EXPECT_THAT(list(), ElementsAre("log.txt"));
}

TEST_P(LogPruning, KeepsAsManyAsThereAre)
{
    makeFive();
    for (const int count : {5, 6, 2147483647}) {
        install("log.txt", 0, -1, count);
        EXPECT_EQ(list().size(), 6U) << count;
    }
    install("log.txt", 0, -1, 4);
    EXPECT_THAT(list(), ElementsAre("log.txt", "log_a.txt", "log_b.txt", "log_d.txt", "log_e.txt"));
}

TEST_P(LogPruning, TakesEveryFileOfThePrefixAndTheExtensionWhoeverMadeIt)
{
    for (const char* name :
         {"logs of the year.txt", "log.tar.txt", "log-foreign.txt", "logbook.txt"})
        make(name, 100);
    for (const char* name :
         {"log.log", "Log_a.txt", "log_a.TXT", "my log.txt", "log_txt", "lo.txt"})
        make(name, 100);
    install("log.txt", 0, -1, 0);
    std::vector<std::string> expected = {"Log_a.txt", "lo.txt",  "log.log",   "log.txt",
                                         "log_a.TXT", "log_txt", "my log.txt"};
    EXPECT_EQ(list(), expected);
}

TEST_P(LogPruning, TakesEveryFileOfThePrefixWithoutAnExtension)
{
    for (const char* name : {"log_a", "log.txt", "logbook", "lo", "xlog"})
        make(name, 100);
    install("log", 0, -1, 0);
    EXPECT_THAT(list(), ElementsAre("lo", "log", "xlog"));
}

TEST_P(LogPruning, TakesNothingForAnEmptyBaseName)
{
    for (const char* name : {"a.log", "b.log", "_2026-11-14-20-17-56.log"})
        make(name, 100);
    install(".log", 0, -1, 0);
    EXPECT_EQ(list().size(), 4U);
}

TEST_P(LogPruning, LeavesTheOtherNumbersOfANumberedName)
{
    for (const char* name : {"app.log.2", "app.log", "app.log.log.1", "app.1"})
        make(name, 100);
    install("app.log.1", 0, -1, 0);
    write("1");
    EXPECT_THAT(list(), ElementsAre("app.1", "app.log", "app.log.1", "app.log.2"))
        << "the same prefix and extension has but one";
}

TEST_P(LogPruning, TakesCapitalsAsTheyStand)
{
    for (const char* name : {"LOG_A.TXT", "log_a.txt", "LOG_A.txt", "log_a.TXT"})
        make(name, 100);
    install("LOG.TXT", 0, -1, 0);
    EXPECT_THAT(list(), ElementsAre("LOG.TXT", "LOG_A.txt", "log_a.TXT", "log_a.txt"));
}

TEST_P(LogPruning, LeavesFoldersAndDeeperFiles)
{
    ASSERT_EQ(::mkdir(mFolder.getPath("log_sub.txt").c_str(), 0755), 0);
    make("log_sub.txt/log_a.txt", 100);
    install("log.txt", 0, -1, 0);
    EXPECT_EQ(show("log_sub.txt/log_a.txt"), "old");
}

TEST_P(LogPruning, TakesADanglingLinkForTheOldest)
{
    ASSERT_EQ(::symlink("nowhere", mFolder.getPath("log_z.txt").c_str()), 0);
    make("log_a.txt", 100);
    install("log.txt", 0, -1, 1);
    EXPECT_THAT(list(), ElementsAre("log.txt", "log_a.txt"));
}

TEST(LogPruningRefused, CountsAFileThatCannotBeRemovedAsRemoved)
{
    if (::geteuid() != 0) GTEST_SKIP() << "needs files of two users";
    const ScratchFolder folder;
    // Root's file in a folder where everybody may remove their own.
    ASSERT_EQ(::chmod(folder.getPath().c_str(), 01777), 0);
    const std::string old = folder.write("log_a.txt", "");
    const timespec longAgo[2] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, old.c_str(), longAgo, 0), 0);
    const ChildResult child = support::runInChild([&folder] {
        support::becomeNobody();
        folder.write("log_b.txt", "");
        const support::LibraryStart library;
        qzLog::msInstance->installFileHandlerExUtf8(folder.getPath("log.txt"), 0, -1, 1,
                                                    qzLog::RotateNever);
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    for (const char* name : {"log.txt", "log_a.txt", "log_b.txt"})
        EXPECT_EQ(folder.read(name), "") << name;
}

}  // namespace qz
