// SPDX-License-Identifier: MIT
#include <qz/ext/CrashKit.h>

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qz/ext/LogTools.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>

#include "ext/CrashFixture.h"
#include "support/Files.h"
#include "support/SmallDisk.h"

namespace qz::ext {

namespace {

class CrashKitTest : public CrashTest {
protected:
    // The first report is about a fault at null, and whole.
    static void expectNullReport(const CrashReport& report)
    {
        ASSERT_FALSE(report.events.empty());
        EXPECT_EQ(report.events[0].cause, "SIGSEGV (11), SEGV_MAPERR (1), at 0x0");
        EXPECT_TRUE(report.events[0].isComplete);
        EXPECT_EQ(report.events[0].registers.size(), 20U);
        EXPECT_EQ(report.events[0].registers[17].rfind("eflags 0x", 0), 0U);
    }
};

// The numbers of the entries "entry N".
std::vector<int> getNumbers(const CrashReport& report)
{
    std::vector<int> numbers;
    const std::string head = " : entry ";
    for (const std::string& entry : report.entries) {
        const std::size_t at = entry.find(head);
        if (at != std::string::npos) numbers.push_back(std::stoi(entry.substr(at + head.size())));
    }
    return numbers;
}

}  // namespace

// --- The file

TEST_F(CrashKitTest, KeepsTheLastEntriesOfAKilledProcess)
{
    EXPECT_EQ(run({"fill|1000", "flush", "kill"}).getEnd(), "signal 9");
    const CrashReport report = readOnlyFile();
    EXPECT_TRUE(report.events.empty());
    EXPECT_FALSE(report.isRunning);
    const std::vector<int> numbers = getNumbers(report);
    ASSERT_EQ(numbers.size(), 1000U);
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(numbers[static_cast<std::size_t>(i)], i + 1);
}

TEST_F(CrashKitTest, ReplacesTheOldestEntriesWhenTheRingIsFull)
{
    EXPECT_EQ(run({"fill|40000", "flush", "kill"}).getEnd(), "signal 9");
    const std::vector<int> numbers = getNumbers(readOnlyFile());
    ASSERT_FALSE(numbers.empty());
    EXPECT_GT(numbers.front(), 1);
    EXPECT_EQ(numbers.back(), 40000);
    for (std::size_t i = 1; i < numbers.size(); ++i)
        ASSERT_EQ(numbers[i], numbers[i - 1] + 1);
}

TEST_F(CrashKitTest, RemovesItsFileAtANormalEnd)
{
    for (const std::vector<std::string>& steps :
         {std::vector<std::string>{"say|x"}, {"exit"}, {"remove"}, {"stop"}, {"install"}}) {
        EXPECT_EQ(run(steps).getEnd(), "exit 0");
        EXPECT_TRUE(listFiles().empty()) << steps[0];
    }
}

TEST_F(CrashKitTest, KeepsTheReportOfAFaultThatWasCaught)
{
    const support::ChildResult result = run({"catch null", "catch divide"});
    EXPECT_EQ(result.getEnd(), "exit 0");
    const CrashReport report = readOnlyFile();
    expectNullReport(report);
    EXPECT_EQ(report.events.size(), 2U);
    EXPECT_TRUE(report.hasEndedNormally);
}

TEST_F(CrashKitTest, KeepsTheFirstAndTheLastOfManyReports)
{
    // The last one is the first to replace others, or any further one, depending on the size.
    for (long last = 300; last < 320; ++last) {
        SCOPED_TRACE(last);
        std::vector<std::string> steps(static_cast<std::size_t>(last - 1), "catch null");
        steps.emplace_back("catch divide");
        EXPECT_EQ(run(steps).getEnd(), "exit 0");
        const CrashReport report = readOnlyFile();
        expectNullReport(report);
        ASSERT_GE(report.events.size(), 50U);
        EXPECT_EQ(report.events.front().number, 1);
        EXPECT_EQ(report.events.back().number, last);
        EXPECT_EQ(report.events.back().cause.rfind("SIGFPE", 0), 0U);
        for (std::size_t i = 0; i < report.events.size(); ++i) {
            EXPECT_TRUE(report.events[i].isComplete) << report.events[i].number;
            EXPECT_TRUE(i == 0 || report.events[i - 1].number < report.events[i].number);
        }
        for (const std::string& file : listFiles())
            std::filesystem::remove(file);
    }
}

TEST_F(CrashKitTest, LeavesAProcessAloneWhoseHandlerJumped)
{
    const support::ChildResult result = run({"jump"});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_NE(result.out.find("[jumped]"), std::string::npos);
    expectNullReport(readOnlyFile());
}

TEST_F(CrashKitTest, ReportsACrashOfACancelledThread)
{
    run({"cancelled"});
    expectNullReport(readOnlyFile());
}

TEST_F(CrashKitTest, LetsForkedChildrenReportWhileTheLogIsBusy)
{
    const support::ChildResult result = run({"forks"});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_NE(result.out.find("[hung 0]"), std::string::npos);
}

TEST_F(CrashKitTest, NamesTheProgramAndItsFrames)
{
    run({"null"});
    const CrashReport report = readOnlyFile();
    expectNullReport(report);
    ASSERT_FALSE(report.events.empty());
    EXPECT_EQ(std::filesystem::path(report.program).filename(), "crashes");
    EXPECT_GT(report.processId, 1);
    const CrashFrame& frame = report.events[0].frames.at(0);
    EXPECT_EQ(frame.file, report.program);
    EXPECT_EQ(frame.buildId.size(), 40U);
    EXPECT_LT(frame.offset, frame.address);
}

TEST_F(CrashKitTest, ShowsTheCallerOfABadAddress)
{
    run({"call"});
    const CrashReport report = readOnlyFile();
    expectNullReport(report);
    ASSERT_FALSE(report.events.empty());
    ASSERT_GE(report.events[0].frames.size(), 3U);
    EXPECT_EQ(report.events[0].frames[0].address, 0U);
    EXPECT_EQ(report.events[0].frames[1].file, report.program);
}

TEST_F(CrashKitTest, ReportsAThreadWhoseStackPointerIsWild)
{
    run({"stack"});
    const CrashReport report = readOnlyFile();
    ASSERT_FALSE(report.events.empty());
    EXPECT_TRUE(report.events[0].isComplete);
    EXPECT_FALSE(report.events[0].frames.empty());
}

TEST_F(CrashKitTest, ReportsTheTypeAndTextOfAnException)
{
    run({"throw"});
    const CrashReport report = readOnlyFile();
    ASSERT_FALSE(report.events.empty());
    EXPECT_EQ(report.events[0].exceptionType, "St12out_of_range");
    EXPECT_EQ(report.events[0].exceptionText, "from a destructor");
}

// --- At bad moments

// With the lock of the heap held, the library's handler hangs, and the alarm ends the process.
TEST_F(CrashKitTest, EndsAProcessThatHasCrashedInTheHeap)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer has a heap of its own, without that lock";
#endif
    EXPECT_EQ(run({"limit|2000", "install", "say|the last words", "flush", "malloc"}).getEnd(),
              "signal 6");
    const CrashReport report = readOnlyFile();
    ASSERT_FALSE(report.events.empty());
    EXPECT_EQ(report.events[0].cause.rfind("SIGABRT (6)", 0), 0U);
    EXPECT_TRUE(report.events[0].isComplete);
    EXPECT_TRUE(hasEntry(report, "the last words"));
}

TEST_F(CrashKitTest, ReportsACrashWithTheLockOfTheLoader)
{
    EXPECT_EQ(run({"dlopen"}).getEnd(), "signal 6");
    expectNullReport(readOnlyFile());
}

TEST_F(CrashKitTest, GoesOnAfterACrashInAReport)
{
    EXPECT_EQ(run({"broken"}).getEnd(), "signal 6");
    const CrashReport report = readOnlyFile();
    ASSERT_FALSE(report.events.empty());
    EXPECT_TRUE(report.events[0].isComplete);
    EXPECT_EQ(report.events[0].exceptionType, "N6faults10BrokenTextE");
    ASSERT_EQ(report.events[0].remarks.size(), 1U);
    EXPECT_EQ(report.events[0].remarks[0],
              "the part 'exception' is incomplete: it was ended by SIGSEGV");
}

TEST_F(CrashKitTest, EndsAReportThatHangs)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer calls the handler of an alarm only in certain functions";
#endif
    EXPECT_EQ(run({"limit|2000", "install", "endless"}).getEnd(), "signal 6");
    const CrashReport report = readOnlyFile();
    ASSERT_FALSE(report.events.empty());
    EXPECT_TRUE(report.events[0].isComplete);
    ASSERT_EQ(report.events[0].remarks.size(), 1U);
    EXPECT_EQ(report.events[0].remarks[0], "the part 'exception' is incomplete: it took too long");
}

// The report hangs in the text of an exception, and then a handler of the program does.
TEST_F(CrashKitTest, EndsAProcessWithinFiveSecondsByDefault)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer calls the handler of an alarm only in certain functions";
#endif
    const CrashOptions defaults;
    EXPECT_LT(defaults.reportLimitMs + defaults.handlingLimitMs, 5000);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(run({"hanging", "endless"}).getEnd(), "signal 6");
    // 5 seconds, and what a loaded machine takes.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5 + 30));
    const CrashReport report = readOnlyFile();
    ASSERT_EQ(report.events.size(), 1U);
    ASSERT_EQ(report.events[0].remarks.size(), 1U);
    EXPECT_EQ(report.events[0].remarks[0], "the part 'exception' is incomplete: it took too long");
}

// The last report may be cut by the end that the other thread brings about.
TEST_F(CrashKitTest, ReportsThreadsThatCrashAtOnce)
{
    EXPECT_EQ(run({"two"}).getEnd(), "signal 6");
    const CrashReport report = readOnlyFile();
    ASSERT_GE(report.events.size(), 2U);
    for (std::size_t i = 0; i + 1 < report.events.size(); ++i)
        EXPECT_TRUE(report.events[i].isComplete);
}

TEST_F(CrashKitTest, ReportsACrashWhileTheLogIsBusy)
{
    EXPECT_EQ(run({"printing"}).getEnd(), "signal 6");
    expectNullReport(readOnlyFile());
}

TEST_F(CrashKitTest, ReportsACrashOfADestructorAfterMain)
{
    EXPECT_EQ(run({"leaving", "exit"}).getEnd(), "signal 6");
    expectNullReport(readOnlyFile());
}

TEST_F(CrashKitTest, NeedsNoDescriptorForAReport)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP()
        << "the sanitizer of undefined behaviour makes pipes to test whether memory exists";
#endif
    EXPECT_EQ(run({"descriptors", "null"}).getEnd(), "signal 6");
    expectNullReport(readOnlyFile());
}

TEST_F(CrashKitTest, HasTheSpaceForAReportOnAFullDisk)
{
    const support::ChildResult result = support::runInChild([this] {
        if (!support::mountSmallDisk(mFolder.getPath(), "4m")) return support::kNoSmallDisk;
        const support::ChildResult crash = run({"disk", "null"});
        EXPECT_EQ(crash.getEnd(), "signal 6");
        expectNullReport(readOnlyFile());
        EXPECT_EQ(run({"exit"}).out.rfind("[refused posix_fallocate ", 0), 0U);
        return HasFailure() ? 1 : 0;
    });
    if (result.exitCode == support::kNoSmallDisk) GTEST_SKIP() << "this user may not mount a disk";
    EXPECT_EQ(result.getEnd(), "exit 0") << result.out;
}

// --- Forks, other installations, other starts

TEST_F(CrashKitTest, LeavesACrashOfAForkedChildToTheHandlersBefore)
{
    const support::ChildResult result = run({"fork null"});
    EXPECT_NE(result.out.find("[child ended by signal 6]"), std::string::npos) << result.out;
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_TRUE(listFiles().empty());
}

TEST_F(CrashKitTest, KeepsTheFileOfTheParentWhenAChildEnds)
{
    EXPECT_EQ(run({"fork exit", "fork say|x", "null"}).getEnd(), "signal 6");
    const CrashReport report = readOnlyFile();
    expectNullReport(report);
    ASSERT_FALSE(report.events.empty());
    EXPECT_EQ(report.events[0].thread.rfind(std::to_string(report.processId) + ' ', 0), 0U);
}

TEST_F(CrashKitTest, CanBeInstalledInAForkedChild)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer takes a new thread of the child for one of the parent";
#endif
    const support::ChildResult result = run({"fork early null"});
    EXPECT_NE(result.out.find("[child ended by signal 6]"), std::string::npos) << result.out;
    expectNullReport(readOnlyFile());
}

TEST_F(CrashKitTest, CanBeInstalledInAChildWithTheLockOfTheLoader)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer takes a new thread of the child for one of the parent";
#endif
    const support::ChildResult result = run({"loader fork anew null"});
    EXPECT_NE(result.out.find("[child ended by signal 6]"), std::string::npos) << result.out;
    expectNullReport(readOnlyFile());
}

// The child's thread has inherited the alternate stack of the parent's.
TEST_F(CrashKitTest, ReportsAnOverflowInAForkedChildThatHasInstalledIt)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer takes a new thread of the child for one of the parent";
#endif
    const support::ChildResult result = run({"fork anew overflow"});
    EXPECT_NE(result.out.find("[child ended by signal 6]"), std::string::npos) << result.out;
    const CrashReport report = readOnlyFile();
    ASSERT_FALSE(report.events.empty());
    EXPECT_EQ(report.events[0].cause.rfind("SIGSEGV (11), ", 0), 0U);
}

TEST_F(CrashKitTest, ReplacesItsOwnInstallation)
{
    EXPECT_EQ(run({"say|first", "flush", "install", "say|second", "flush", "null"}).getEnd(),
              "signal 6");
    const CrashReport report = readOnlyFile();
    expectNullReport(report);
    EXPECT_FALSE(hasEntry(report, "first"));
    EXPECT_TRUE(hasEntry(report, "second"));
}

TEST_F(CrashKitTest, SurvivesAStopAndAStartOfTheLibrary)
{
    EXPECT_EQ(run({"stop", "start", "install", "say|anew", "flush", "thread null"}).getEnd(),
              "signal 6");
    const CrashReport report = readOnlyFile();
    expectNullReport(report);
    EXPECT_TRUE(hasEntry(report, "anew"));
}

// The library's handler is then installed over the kit's, and each passes on to the other.
TEST_F(CrashKitTest, EndsAProcessWhoseLibraryWasStartedOverIt)
{
    for (const char* const crash : {"abort", "null", "divide"}) {
        EXPECT_EQ(run({"stop", "start", crash}).getEnd(), "signal 6");
        for (const std::string& file : listFiles())
            std::filesystem::remove(file);
    }
}

TEST_F(CrashKitTest, ReportsNothingAfterItsRemoval)
{
    EXPECT_EQ(run({"remove", "null"}).getEnd(), "signal 6");
    EXPECT_TRUE(listFiles().empty());
}

TEST_F(CrashKitTest, CoversThreadsOnRequest)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer calls the handler of a signal only in certain functions";
#endif
    EXPECT_EQ(run({"cover"}).out, "[covered 1]\n[end]\n");
    EXPECT_EQ(run({"remove", "cover"}).out, "[covered 0]\n[end]\n");
}

TEST_F(CrashKitTest, LeavesAThreadAloneThatWaitsForAllSignals)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer waits for signals in a way of its own";
#endif
    EXPECT_EQ(run({"sigwait"}).out, "[covered 0]\n[got 10]\n[end]\n");
}

TEST_F(CrashKitTest, DoesNotWaitForAFirstThreadThatHasEnded)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer ends the process with the first thread";
#endif
    EXPECT_EQ(run({"ended"}).out, "[covered 1]\n");
}

// --- Options

TEST_F(CrashKitTest, RefusesWhatMakesNoSense)
{
    const auto getRefusal = [](const CrashOptions& options) {
        SystemFailure failure;
        EXPECT_FALSE(CrashKit::Install(options, &failure));
        EXPECT_FALSE(CrashKit::Install(options));
        EXPECT_FALSE(CrashKit::IsInstalled());
        return failure.step + ", errno " + std::to_string(failure.error);
    };
    CrashOptions options;
    const std::string isImpossible = "CrashKit::Install, errno " + std::to_string(EINVAL);
    EXPECT_EQ(getRefusal(options), isImpossible) << "no folder";
    options.folder = mFolder.getPath();
    EXPECT_EQ(getRefusal(options),
              "CrashKit::Install before a full start, errno " + std::to_string(EPERM));
    options.entryBytes = 4095;
    EXPECT_EQ(getRefusal(options), isImpossible);
    options.entryBytes = 64UL * 1024 * 1024 + 1;
    EXPECT_EQ(getRefusal(options), isImpossible);
    EXPECT_EQ(CrashKit::GetFilePath(), "");
    EXPECT_FALSE(CrashKit::CoverThreads());
}

TEST_F(CrashKitTest, NeedsASignalWithoutAHandler)
{
    EXPECT_EQ(run({"start"}).out, "[end]\n");
    mEnvironment["QZ_NO_FREE_SIGNAL"] = "1";
    EXPECT_EQ(run({}).out.rfind("[refused CrashKit::Install without a free signal: ", 0), 0U);
}

namespace {

void countEntries(std::list<qzLog::LogEntry>& batch, void* data)
{
    *static_cast<std::size_t*>(data) += batch.size();
}

void keepEntries(std::list<qzLog::LogEntry>& batch, void* /*data*/)
{
    CrashKit::KeepEntries(batch);
}

// Runs in a child, because the kit and a full start stay.
support::ChildResult runWithLibrary(const std::function<void()>& body)
{
    return support::runInChild([&body] {
        const LibraryStart library(FullInit);
        qzLog::msInstance->setEchoToConsole(false);
        body();
        return ::testing::Test::HasFailure() ? 1 : 0;
    });
}

}  // namespace

TEST_F(CrashKitTest, PassesTheEntriesOn)
{
    const support::ChildResult result = runWithLibrary([this] {
        std::size_t count = 0;
        CrashOptions options;
        options.folder = mFolder.getPath("made/by it");
        options.nextHandler = &countEntries;
        options.nextHandlerData = &count;
        ASSERT_TRUE(CrashKit::Install(options));
        logInfo() << "passed on";
        qzLog::msInstance->flush();
        EXPECT_EQ(count, 1U);
        CrashReport report;
        ASSERT_TRUE(readCrashReport(CrashKit::GetFilePath(), report));
        EXPECT_TRUE(report.isRunning);
        EXPECT_TRUE(hasEntry(report, "passed on"));
        CrashKit::Remove();
        EXPECT_FALSE(CrashKit::IsInstalled());
    });
    EXPECT_EQ(result.getEnd(), "exit 0") << result.out;
}

TEST_F(CrashKitTest, KeepsWhatAHandlerOfTheProgramHandsOver)
{
    const support::ChildResult result = runWithLibrary([this] {
        CrashOptions options;
        options.folder = mFolder.getPath();
        qzLog::msInstance->installCustomHandler(&keepEntries, nullptr);
        SystemFailure failure;
        EXPECT_FALSE(CrashKit::Install(options, &failure));
        EXPECT_EQ(failure.error, EBUSY);
        EXPECT_EQ(failure.step, "CrashKit::Install: the log has another custom handler");
        options.usesLogHandler = false;
        options.folder = mFolder.write("file", "") + "/below";
        EXPECT_FALSE(CrashKit::Install(options, &failure));
        EXPECT_EQ(failure.step, "realpath " + options.folder);
        options.folder = mFolder.getPath();
        ASSERT_TRUE(CrashKit::Install(options));
        logInfo() << "handed over";
        qzLog::msInstance->flush();
        CrashReport report;
        ASSERT_TRUE(readCrashReport(CrashKit::GetFilePath(), report));
        EXPECT_TRUE(hasEntry(report, "handed over"));
        CrashKit::Remove();
    });
    EXPECT_EQ(result.getEnd(), "exit 0") << result.out;
}

namespace {

// Collects messages.
class MemoryOutlet : public LogOutlet {
public:
    bool take(const qzLog::LogEntry& entry) override
    {
        mMessages.push_back(entry.message);
        return true;
    }

    std::vector<std::string> mMessages;
};

void emptyBatch(std::list<qzLog::LogEntry>& batch, void* data)
{
    countEntries(batch, data);
    batch.clear();
}

bool isLogFree()
{
    const bool isFree = qzLog::msInstance->installCustomHandler(&keepEntries, nullptr);
    if (isFree) qzLog::msInstance->installCustomHandler(nullptr, nullptr);
    return isFree;
}

void report(const std::string& message)
{
    logInfo() << message;
    qzLog::msInstance->flush();
}

}  // namespace

TEST_F(CrashKitTest, SharesTheLogWithAnOutletThatIsInstalledLater)
{
    const support::ChildResult result = runWithLibrary([this] {
        std::size_t count = 0;
        CrashOptions options;
        options.folder = mFolder.getPath();
        options.nextHandler = &emptyBatch;
        options.nextHandlerData = &count;
        ASSERT_TRUE(CrashKit::Install(options));
        report("for the kit");
        MemoryOutlet outlet;
        {
            const LogOutletInstallation installed(outlet);
            ASSERT_TRUE(installed.isInstalled());
            report("for both");
        }
        report("for the kit again");
        EXPECT_EQ(outlet.mMessages, std::vector<std::string>{"for both"});
        EXPECT_EQ(count, 3U);
        CrashReport kept;
        ASSERT_TRUE(readCrashReport(CrashKit::GetFilePath(), kept));
        EXPECT_EQ(kept.entries.size(), 3U);
        EXPECT_FALSE(isLogFree());
        CrashKit::Remove();
        EXPECT_TRUE(isLogFree());
    });
    EXPECT_EQ(result.getEnd(), "exit 0") << result.out;
}

TEST_F(CrashKitTest, SharesTheLogWithAnOutletThatIsInstalledBefore)
{
    const support::ChildResult result = runWithLibrary([this] {
        MemoryOutlet outlet;
        {
            const LogOutletInstallation installed(outlet);
            CrashOptions options;
            options.folder = mFolder.getPath();
            ASSERT_TRUE(CrashKit::Install(options));
            report("for both");
            CrashReport kept;
            ASSERT_TRUE(readCrashReport(CrashKit::GetFilePath(), kept));
            EXPECT_TRUE(hasEntry(kept, "for both"));
            CrashKit::Remove();
            report("for the outlet");
            EXPECT_FALSE(isLogFree());
        }
        EXPECT_TRUE(isLogFree());
        EXPECT_EQ(outlet.mMessages, (std::vector<std::string>{"for both", "for the outlet"}));
    });
    EXPECT_EQ(result.getEnd(), "exit 0") << result.out;
}

TEST_F(CrashKitTest, DoesNotTakeAHandlerOfTheNextStartForItsOwn)
{
    const support::ChildResult result = support::runInChild([this] {
        CrashOptions options;
        options.folder = mFolder.getPath();
        initializeQzSystem(FullInit);
        EXPECT_TRUE(CrashKit::Install(options));
        terminateQzSystem();
        terminateQzSystem();  // the start of the fixture
        EXPECT_EQ(qzLog::msInstance, nullptr);
        initializeQzSystem(FullInit);
        qzLog::msInstance->setEchoToConsole(false);
        std::size_t count = 0;
        EXPECT_TRUE(qzLog::msInstance->installCustomHandler(&countEntries, &count));
        MemoryOutlet outlet;
        EXPECT_FALSE(LogOutletInstallation(outlet).isInstalled());
        SystemFailure failure;
        EXPECT_FALSE(CrashKit::Install(options, &failure));
        EXPECT_EQ(failure.error, EBUSY);
        CrashKit::Remove();
        report("for the handler");
        EXPECT_EQ(count, 1U);
        terminateQzSystem();
        return HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0") << result.out;
}

TEST_F(CrashKitTest, TakesAwayTheStackOfAThread)
{
    std::thread([] {
        const auto hasStack = [] {
            stack_t present = {};
            return ::sigaltstack(nullptr, &present) == 0 && (present.ss_flags & SS_DISABLE) == 0;
        };
        const bool hadOne = hasStack();  // of a sanitizer
        {
            const CrashStack stack;
            const CrashStack second;  // does nothing
            EXPECT_TRUE(hasStack());
        }
        EXPECT_EQ(hasStack(), hadOne);
    }).join();
}

}  // namespace qz::ext
