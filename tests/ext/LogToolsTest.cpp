// SPDX-License-Identifier: MIT
#include <qz/ext/LogTools.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ext/Json.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>

#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"
#include "support/Waiting.h"

namespace qz::ext {

namespace {

using ::testing::ElementsAre;

// Remembers messages as "TYPE(sub-type) message", and loses what it is told to.
class MemoryOutlet : public LogOutlet {
public:
    bool take(const qzLog::LogEntry& entry) override
    {
        if (mLosesAll) return false;
        if (mHasNoMemory) throw std::bad_alloc();
        mEntries.push_back(entry);
        mMessages.push_back(entry.message);
        return true;
    }
    void endBatch() override { ++mBatchCount; }

    bool mLosesAll = false;
    bool mHasNoMemory = false;
    int mBatchCount = 0;
    std::vector<std::string> mMessages;
    std::vector<qzLog::LogEntry> mEntries;
};

qzLog::LogEntry makeEntry(const std::string& message, int type = qzLog::Info, long timeMs = 0)
{
    qzLog::LogEntry entry;
    entry.message = message;
    entry.type = type;
    entry.timeMs = timeMs;
    entry.computeLogPrefix(true);
    return entry;
}

void takeAll(LogOutlet& outlet, const std::vector<std::string>& messages)
{
    for (const std::string& message : messages)
        EXPECT_TRUE(outlet.take(makeEntry(message)));
}

std::vector<std::string> splitLines(const std::string& text)
{
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

std::string getText(const std::string& line)
{
    JsonReadResult read = readJson(line);
    if (!read.isSuccess() || read.value.editMap() == nullptr) return "no JSON: " + line;
    return (*read.value.editMap())["text"].toString();
}

std::vector<std::string> getTexts(const std::string& json)
{
    std::vector<std::string> texts;
    for (const std::string& line : splitLines(json))
        texts.push_back(getText(line));
    return texts;
}

// --- The installation

class ExtLogOutletTest : public ::testing::TestWithParam<qz::InitType> {
protected:
    ExtLogOutletTest() : mStart(GetParam()) { qzLog::msInstance->setEchoToConsole(false); }

    support::LibraryStart mStart;
};

INSTANTIATE_TEST_SUITE_P(Starts, ExtLogOutletTest, ::testing::Values(LightInit, FullInit),
                         [](const auto& row) { return row.param == LightInit ? "Light" : "Full"; });

TEST_P(ExtLogOutletTest, TakesTheEntriesBetweenItsInstallationAndItsEnd)
{
    MemoryOutlet outlet;
    logWarning() << "before";
    {
        const LogOutletInstallation installed(outlet);
        EXPECT_TRUE(installed.isInstalled());
        logInfo() << "first";
        logWarning() << "second";
    }
    logWarning() << "after";
    EXPECT_THAT(outlet.mMessages, ElementsAre("first", "second"));
    EXPECT_GE(outlet.mBatchCount, 1);
}

TEST_P(ExtLogOutletTest, IsRefusedBesideAnotherHandler)
{
    MemoryOutlet first;
    MemoryOutlet second;
    const LogOutletInstallation installed(first);
    {
        const LogOutletInstallation refused(second);
        EXPECT_FALSE(refused.isInstalled());
    }
    logWarning() << "for the first";
    EXPECT_THAT(first.mMessages, ElementsAre("for the first"));
    EXPECT_TRUE(second.mMessages.empty());
}

TEST_P(ExtLogOutletTest, CountsWhatNoOutletTook)
{
    MemoryOutlet outlet;
    const LogOutletInstallation installed(outlet);
    logWarning() << "taken";
    outlet.mLosesAll = true;
    logWarning() << "lost";
    outlet.mLosesAll = false;
    outlet.mHasNoMemory = true;
    logWarning() << "lost for lack of memory";
    EXPECT_EQ(installed.getLostCount(), 2U);
    EXPECT_THAT(outlet.mMessages, ElementsAre("taken"));
}

TEST_P(ExtLogOutletTest, TakesTheEntriesOfAForkedChild)
{
    const support::ScratchFolder folder;
    const std::string path = folder.getPath("all.json");
    JsonLinesOutlet file(path);
    ThrottlingOutlet outlet(file);
    const LogOutletInstallation installed(outlet);
    logWarning() << "parent";
    logWarning() << "parent";
    const support::ChildResult result = support::runInChild([] {
        logWarning() << "parent";
        logWarning() << "child";
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    logWarning() << "parent";
    logWarning() << "end";
    const std::vector<std::string> texts = getTexts(folder.read("all.json"));
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "... repeated 2 times"), 1);
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "child"), 1);
    EXPECT_EQ(texts.back(), "end");
}

TEST(ExtLogOutletInstallationTest, IsRefusedWithoutAStart)
{
    MemoryOutlet outlet;
    const LogOutletInstallation installed(outlet);
    EXPECT_FALSE(installed.isInstalled());
    EXPECT_EQ(installed.getLostCount(), 0U);
}

// A report of a signal that interrupts an outlet goes elsewhere, and the outlet isn't entered
// again.
TEST(ExtLogOutletInstallationTest, IsNotEnteredByTheReportOfASignalWithinIt)
{
    class RaisingOutlet : public LogOutlet {
    public:
        bool take(const qzLog::LogEntry& /*entry*/) override
        {
            if (mDepth++ != 0) ::_exit(3);
            ::raise(SIGUSR2);
            --mDepth;
            return true;
        }
        int mDepth = 0;
    };
    const support::ChildResult result = support::runInChild([] {
        initializeQzSystem(LightInit);
        ::signal(SIGUSR2, [](int) { logInfo() << "report of a signal"; });
        RaisingOutlet outlet;
        const LogOutletInstallation installed(outlet);
        logInfo() << "first";
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_NE(result.out.find("report of a signal"), std::string::npos);
}

// --- JsonLinesOutlet

class ExtJsonLinesTest : public ::testing::Test {
protected:
    support::LibraryStart mStart;
    support::ScratchFolder mFolder;
    const std::string mPath = mFolder.getPath("a/b/all.json");
};

TEST_F(ExtJsonLinesTest, MakesTheFileWithItsFolders)
{
    JsonLinesOutlet outlet(mPath);
    takeAll(outlet, {"one", "two\nlines"});
    EXPECT_THAT(getTexts(mFolder.read("a/b/all.json")), ElementsAre("one", "two\nlines"));
}

TEST_F(ExtJsonLinesTest, HasTimeOffsetAndProcessOfTheEntry)
{
    qzLog::LogEntry entry = makeEntry("x", qzLog::Critical, 1'794'687'476'250);
    entry.subType = "orders";
    entry.threadId = "77";
    entry.prefix = "CRITICAL(orders) PID 1 TID 77 Sat Nov 14 21:47:56+0130 2026 : ";
    JsonLinesOutlet outlet(mPath);
    EXPECT_TRUE(outlet.take(entry));
    EXPECT_EQ(mFolder.read("a/b/all.json"),
              "{\"time\":\"2026-11-14T21:47:56.250+01:30\",\"level\":\"CRITICAL\","
              "\"subType\":\"orders\",\"pid\":" +
                  std::to_string(::getpid()) + ",\"tid\":\"77\",\"text\":\"x\"}\n");
}

TEST_F(ExtJsonLinesTest, TakesNoOffsetFromTheSubType)
{
    qzLog::LogEntry entry = makeEntry("x");
    entry.subType = "a) PID 1 Sat Nov 14 22:17:56+0130 2026 : ";
    entry.computeLogPrefix(true);
    JsonLinesOutlet outlet(mPath);
    EXPECT_TRUE(outlet.take(entry));
    EXPECT_NE(mFolder.read("a/b/all.json").find("1970-01-01T00:00:00.000+00:00"),
              std::string::npos);
}

TEST_F(ExtJsonLinesTest, BeginsANewFileAfterTheOldOneWasMovedAway)
{
    JsonLinesOutlet outlet(mPath);
    takeAll(outlet, {"old"});
    outlet.endBatch();
    ASSERT_EQ(::rename(mPath.c_str(), (mPath + ".1").c_str()), 0);
    takeAll(outlet, {"new"});
    EXPECT_THAT(getTexts(mFolder.read("a/b/all.json.1")), ElementsAre("old"));
    EXPECT_THAT(getTexts(mFolder.read("a/b/all.json")), ElementsAre("new"));
}

TEST_F(ExtJsonLinesTest, LosesEntriesOfAPathThatIsNoFile)
{
    for (const std::string& path :
         {std::string(), mFolder.getPath(), std::string("/dev/full"), std::string("a\0b", 3)}) {
        JsonLinesOutlet outlet(path);
        EXPECT_FALSE(outlet.take(makeEntry("x"))) << path;
        outlet.endBatch();
    }
    JsonLinesOutlet closed(-1);
    EXPECT_FALSE(closed.take(makeEntry("x")));
}

TEST_F(ExtJsonLinesTest, BeginsANewLineAfterOneThatTheDiskHasCut)
{
    const support::ChildResult result = support::runInChild([&] {
        ::signal(SIGXFSZ, SIG_IGN);
        JsonLinesOutlet outlet(mPath);
        if (!outlet.take(makeEntry("first"))) return 1;
        struct stat status = {};
        if (::stat(mPath.c_str(), &status) != 0) return 2;
        rlimit limit = {};
        ::getrlimit(RLIMIT_FSIZE, &limit);
        limit.rlim_cur = static_cast<rlim_t>(status.st_size) + 10;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        if (outlet.take(makeEntry("cut"))) return 3;
        if (outlet.take(makeEntry("lost"))) return 4;
        outlet.endBatch();
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        return outlet.take(makeEntry("again")) ? 0 : 5;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    const std::vector<std::string> lines = splitLines(mFolder.read("a/b/all.json"));
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(getText(lines[0]), "first");
    EXPECT_EQ(lines[1].size(), 10U);
    EXPECT_EQ(getText(lines[2]), "again");
}

TEST_F(ExtJsonLinesTest, LosesEntriesOfAPipeWithoutAReader)
{
    int ends[2] = {};
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    ::close(ends[0]);
    JsonLinesOutlet outlet(ends[1]);
    EXPECT_FALSE(outlet.take(makeEntry("x")));
    ::close(ends[1]);
    const std::string fifo = mFolder.getPath("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    JsonLinesOutlet named(fifo);
    EXPECT_FALSE(named.take(makeEntry("x")));
}

TEST_F(ExtJsonLinesTest, GoesOnWhenASlowReaderTakesALineAgain)
{
    int ends[2] = {};
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    JsonLinesOutlet outlet(ends[1]);
    const std::string message(10'000, 'x');
    int taken = 0;
    while (outlet.take(makeEntry(message)) && taken < 1000)
        ++taken;
    EXPECT_GT(taken, 0);
    EXPECT_FALSE(outlet.take(makeEntry(message)));
    std::string all(1'000'000, '\0');
    const ssize_t count = ::read(ends[0], all.data(), all.size());
    ASSERT_GT(count, 0);
    all.resize(static_cast<std::size_t>(count));
    EXPECT_TRUE(outlet.take(makeEntry("again")));
    std::string rest(1'000'000, '\0');
    const ssize_t restCount = ::read(ends[0], rest.data(), rest.size());
    ASSERT_GT(restCount, 0);
    rest.resize(static_cast<std::size_t>(restCount));
    EXPECT_EQ(getText(splitLines(all + rest).back()), "again");
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(ExtJsonLinesTest, WritesAllLinesWholeBesideOtherProcesses)
{
    constexpr int kProcesses = 4;
    constexpr int kLines = 200;
    std::vector<std::thread> waiters;
    waiters.reserve(kProcesses);
    for (int i = 0; i != kProcesses; ++i) {
        waiters.emplace_back([&, i] {
            support::runInChild([&] {
                JsonLinesOutlet outlet(mPath);
                const qzLog::LogEntry entry =
                    makeEntry(std::string(500, static_cast<char>('a' + i)));
                for (int line = 0; line != kLines; ++line) {
                    if (!outlet.take(entry)) return 1;
                    outlet.endBatch();
                }
                return 0;
            });
        });
    }
    for (std::thread& waiter : waiters)
        waiter.join();
    const std::vector<std::string> texts = getTexts(mFolder.read("a/b/all.json"));
    EXPECT_EQ(texts.size(), static_cast<std::size_t>(kProcesses * kLines));
    for (const std::string& text : texts)
        ASSERT_EQ(text, std::string(500, text[0]));
}

TEST_F(ExtJsonLinesTest, WritesWholeLinesOnlyIfMemoryRunsOut)
{
    JsonLinesOutlet outlet(mPath);
    takeAll(outlet, {"first"});
    const qzLog::LogEntry entry = makeEntry(std::string(300, 'x'));
    const std::size_t failures = support::failEachAllocation([&] {
        outlet.take(entry);
        outlet.endBatch();
    });
    EXPECT_GT(failures, 0U);
    for (const std::string& text : getTexts(mFolder.read("a/b/all.json")))
        EXPECT_TRUE(text == "first" || text == entry.message) << text;
}

// --- FanOutOutlet

TEST(ExtFanOutTest, GivesEachOutletItsLevels)
{
    MemoryOutlet all;
    MemoryOutlet trouble;
    FanOutOutlet outlet;
    outlet.addOutlet(all, qzLog::Dev);
    outlet.addOutlet(trouble, qzLog::Warning);
    for (const int type : {qzLog::Dev, qzLog::Info, qzLog::Warning, qzLog::Critical})
        EXPECT_TRUE(outlet.take(makeEntry(std::to_string(type), type)));
    outlet.endBatch();
    EXPECT_THAT(all.mMessages, ElementsAre("0", "3", "4", "5"));
    EXPECT_THAT(trouble.mMessages, ElementsAre("4", "5"));
    EXPECT_EQ(all.mBatchCount + trouble.mBatchCount, 2);
}

TEST(ExtFanOutTest, LosesOnlyWhatNoneOfTheMeantOutletsTakes)
{
    MemoryOutlet good;
    MemoryOutlet bad;
    bad.mLosesAll = true;
    FanOutOutlet outlet;
    EXPECT_TRUE(outlet.take(makeEntry("for nobody")));
    outlet.addOutlet(bad, qzLog::Info);
    outlet.addOutlet(good, qzLog::Warning);
    EXPECT_TRUE(outlet.take(makeEntry("debug", qzLog::Debug)));
    EXPECT_FALSE(outlet.take(makeEntry("info", qzLog::Info)));
    EXPECT_TRUE(outlet.take(makeEntry("warning", qzLog::Warning)));
    bad.mLosesAll = false;
    bad.mHasNoMemory = true;
    EXPECT_TRUE(outlet.take(makeEntry("no memory", qzLog::Warning)));
    EXPECT_THAT(good.mMessages, ElementsAre("warning", "no memory"));
}

// --- EscapingOutlet

TEST(ExtEscapingTest, MakesOneLineOfMessageAndSubType)
{
    MemoryOutlet memory;
    EscapingOutlet outlet(memory);
    qzLog::LogEntry entry = makeEntry("eve\nCRITICAL PID 1 : forged");
    entry.subType = "a\nb";
    entry.computeLogPrefix(true);
    EXPECT_TRUE(outlet.take(entry));
    outlet.endBatch();
    ASSERT_EQ(memory.mEntries.size(), 1U);
    EXPECT_EQ(memory.mEntries[0].message, "eve\\nCRITICAL PID 1 : forged");
    EXPECT_EQ(memory.mEntries[0].subType, "a\\nb");
    EXPECT_EQ(memory.mEntries[0].prefix.find("INFO(a\\nb) PID "), 0U);
    EXPECT_EQ(memory.mBatchCount, 1);
    takeAll(outlet, {"plain"});
    EXPECT_EQ(memory.mMessages.back(), "plain");
}

// --- ThrottlingOutlet

TEST(ExtThrottlingTest, ReplacesRepeatedEntriesByACount)
{
    MemoryOutlet memory;
    {
        ThrottlingOutlet outlet(memory);
        takeAll(outlet, {"a", "b", "b", "b", "c", "c", "d", "d", "d"});
        EXPECT_THAT(memory.mMessages, ElementsAre("a", "b", "... repeated 2 times", "c", "c", "d"));
    }
    EXPECT_EQ(memory.mMessages.back(), "... repeated 2 times") << "the last series";
    EXPECT_EQ(memory.mMessages.size(), 7U);
}

TEST(ExtThrottlingTest, ComparesTypeAndSubTypeAsWell)
{
    MemoryOutlet memory;
    ThrottlingOutlet outlet(memory);
    qzLog::LogEntry entry = makeEntry("a");
    for (int i = 0; i != 2; ++i) {
        entry.type = qzLog::Info + i;
        entry.subType.clear();
        EXPECT_TRUE(outlet.take(entry));
        entry.subType = "orders";
        EXPECT_TRUE(outlet.take(entry));
    }
    EXPECT_THAT(memory.mMessages, ElementsAre("a", "a", "a", "a"));
}

TEST(ExtThrottlingTest, GivesTheCountTheTimeAndThreadOfTheLastEntry)
{
    MemoryOutlet memory;
    ThrottlingOutlet outlet(memory);
    for (int i = 1; i <= 3; ++i) {
        qzLog::LogEntry entry = makeEntry("a", qzLog::Warning, i);
        entry.threadId = std::to_string(i);
        outlet.take(entry);
    }
    takeAll(outlet, {"b"});
    ASSERT_EQ(memory.mEntries.size(), 3U);
    EXPECT_EQ(memory.mEntries[1].message, "... repeated 2 times");
    EXPECT_EQ(memory.mEntries[1].timeMs, 3);
    EXPECT_EQ(memory.mEntries[1].threadId, "3");
    EXPECT_EQ(memory.mEntries[1].type, qzLog::Warning);
}

TEST(ExtThrottlingTest, PassesTheCountOnAfterALongSilence)
{
    MemoryOutlet memory;
    ThrottlingOutlet outlet(memory, /*longestSilenceMs=*/100);
    for (const long timeMs : {0, 50, 99, 100, 150, 200})
        EXPECT_TRUE(outlet.take(makeEntry("a", qzLog::Info, timeMs)));
    EXPECT_THAT(memory.mMessages, ElementsAre("a", "... repeated 2 times", "a", "a", "a"));
}

TEST(ExtThrottlingTest, ReportsALostCountOnce)
{
    MemoryOutlet memory;
    ThrottlingOutlet outlet(memory);
    takeAll(outlet, {"a", "a", "a"});
    memory.mLosesAll = true;
    EXPECT_FALSE(outlet.take(makeEntry("b")));
    memory.mLosesAll = false;
    takeAll(outlet, {"c"});
    EXPECT_THAT(memory.mMessages, ElementsAre("a", "c"));
}

TEST(ExtThrottlingTest, CountsEachEntryThatALostCountStandsFor)
{
    MemoryOutlet memory;
    EscapingOutlet escaping(memory);
    ThrottlingOutlet outlet(escaping);
    EscapingOutlet first(outlet);
    takeAll(first, {"a", "a", "a", "a"});
    memory.mLosesAll = true;
    EXPECT_FALSE(first.take(makeEntry("b")));
    EXPECT_EQ(first.takeLaterLosses(), 3U);
    EXPECT_EQ(first.takeLaterLosses(), 0U);
    takeAll(first, {"b"});
    memory.mLosesAll = false;
    memory.mHasNoMemory = true;
    EXPECT_THROW(first.take(makeEntry("c")), std::bad_alloc);
    EXPECT_EQ(first.takeLaterLosses(), 1U);
}

TEST_P(ExtLogOutletTest, CountsTheEntriesThatALostCountStandsFor)
{
    MemoryOutlet memory;
    ThrottlingOutlet outlet(memory);
    const LogOutletInstallation installed(outlet);
    for (int i = 0; i != 10; ++i)
        logWarning() << "repeated";
    memory.mLosesAll = true;
    logWarning() << "lost as well";
    EXPECT_EQ(installed.getLostCount(), 10U);
}

TEST(ExtThrottlingTest, GoesOnAfterALackOfMemory)
{
    MemoryOutlet memory;
    ThrottlingOutlet outlet(memory);
    const qzLog::LogEntry first = makeEntry(std::string(100, 'a'));
    const qzLog::LogEntry second = makeEntry(std::string(200, 'b'));
    support::failEachAllocation([&] {
        outlet.take(first);
        outlet.take(second);
    });
    memory.mMessages.clear();
    takeAll(outlet, {"c", "c", "c", "d"});
    const std::vector<std::string> expected = {"c", "... repeated 2 times", "d"};
    ASSERT_GE(memory.mMessages.size(), expected.size());
    EXPECT_TRUE(std::equal(expected.rbegin(), expected.rend(), memory.mMessages.rbegin()));
}

}  // namespace

}  // namespace qz::ext
