// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <list>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>
#include <qz/qzSystemUtils.h>

#include "log/ConsoleRecorder.h"
#include "log/LogReference.h"
#include "log/qzLogTestPeer.h"
#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "support/OutputCapture.h"

namespace qz {

using support::ChildResult;
using support::LibraryStart;
using support::runInChild;
using support::StdoutCapture;
using support::TimeZoneGuard;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using Entry = qzLog::LogEntry;
using Peer = qzLogTestPeer;

namespace {

static_assert(Peer::kParametersOffset == 0);
static_assert(Peer::kLogThreadOffset == 8);
static_assert(Peer::kTypeEnabledOffset == 16);
static_assert(std::is_same_v<Peer::TypeEnabled, bool[6]>);
static_assert(sizeof(qzLog) == 24);

static_assert(LogLevelAll == 0 && LogLevelDebug == 1 && LogLevelNormal == 2);
static_assert(sizeof(qzLogLevel) == 4);
static_assert(qzLog::RotateNever == 0 && qzLog::RotateDaily == 1);
static_assert(qzLog::RotateWeekly == 2 && qzLog::RotateMonthly == 3);
static_assert(sizeof(qzLog::TimeRotationInterval) == 4);
static_assert(std::is_nothrow_destructible_v<qzLog>);
static_assert(!std::is_copy_constructible_v<qzLog> && !std::is_copy_assignable_v<qzLog>);

Entry makeEntry(int type, const std::string& message)
{
    Entry entry;
    entry.type = type;
    entry.message = message;
    entry.timeMs = 1794687476789;
    return entry;
}

// Keeps what the handler was given.
struct Received {
    std::vector<Entry> entries;
    std::vector<std::size_t> batchSizes;

    static void Receive(std::list<Entry>& batch, void* received)
    {
        auto* self = static_cast<Received*>(received);
        self->entries.insert(self->entries.end(), batch.begin(), batch.end());
        self->batchSizes.push_back(batch.size());
    }
    std::vector<std::string> getMessages() const
    {
        std::vector<std::string> messages;
        for (const Entry& entry : entries)
            messages.push_back(entry.message);
        return messages;
    }
};

// Takes what std::cout gets without memory of its own, until the end of the scope.
class ConsoleSink : private std::streambuf {
public:
    ConsoleSink() : mOldBuffer(std::cout.rdbuf(this)) {}
    ~ConsoleSink() override { std::cout.rdbuf(mOldBuffer); }
    ConsoleSink(const ConsoleSink&) = delete;
    ConsoleSink& operator=(const ConsoleSink&) = delete;

private:
    std::streamsize xsputn(const char* /*text*/, std::streamsize size) override { return size; }

    std::streambuf* mOldBuffer;
};

void throwOutOfHandler(std::list<Entry>& /*batch*/, void* /*data*/)
{
    throw std::runtime_error("out of the handler");
}

}  // namespace

// A started library whose console is recorded.
class qzLogTest : public ::testing::Test {
protected:
    void write(int type, const std::string& message, bool synchronous = false)
    {
        Entry entry = makeEntry(type, message);
        mLog.Write(entry, synchronous);
    }
    std::string makeLine(int type, const std::string& message)
    {
        return reference::makeLine(makeEntry(type, message));
    }

    const TimeZoneGuard mZone{"CET-1CEST,M3.5.0,M10.5.0/3"};
    const LibraryStart mLibrary;
    qzLog& mLog = *qzLog::msInstance;
    const ConsoleRecorder mConsole;
};

// --- The instance

TEST(qzLogInstanceTest, ExistsFromItsCreationToItsDestruction)
{
    EXPECT_EQ(qzLog::msInstance, nullptr);
    qzLog::createInstance(/*threadSafe=*/false);
    EXPECT_NE(qzLog::msInstance, nullptr);
    qzLog::destroyInstance();
    EXPECT_EQ(qzLog::msInstance, nullptr);
    qzLog::destroyInstance();
    EXPECT_EQ(qzLog::msInstance, nullptr);
}

TEST(qzLogInstanceTest, StaysTheSameWhenItIsCreatedAgain)
{
    qzLog::createInstance(/*threadSafe=*/false);
    const qzLog* const first = qzLog::msInstance;
    qzLog::msInstance->setLogLevel(LogLevelAll);
    qzLog::createInstance(/*threadSafe=*/false);
    EXPECT_EQ(qzLog::msInstance, first);
    EXPECT_EQ(qzLog::msInstance->getLogLevel(), LogLevelAll);
    qzLog::destroyInstance();
}

TEST(qzLogInstanceTest, StaysTheSameFromTheLightToTheFullState)
{
    const LibraryStart light(LightInit);
    const qzLog* const log = qzLog::msInstance;
    const LibraryStart full(FullInit);
    EXPECT_EQ(qzLog::msInstance, log);
}

TEST(qzLogInstanceTest, BeginsAnewAfterARestart)
{
    Received received;
    {
        const LibraryStart library;
        qzLog::msInstance->setLogLevel(LogLevelAll);
        qzLog::msInstance->setEchoToConsole(false);
        qzLog::msInstance->installCustomHandler(Received::Receive, &received);
    }
    const LibraryStart library;
    const ConsoleRecorder console;
    Entry entry = makeEntry(qzLog::Info, "text");
    const std::string line = reference::makeLine(entry);
    qzLog::msInstance->Write(entry, /*synchronous=*/false);
    EXPECT_EQ(qzLog::msInstance->getLogLevel(), LogLevelNormal);
    EXPECT_EQ(console.getText(), line);
    EXPECT_THAT(received.entries, IsEmpty());
}

TEST(qzLogInstanceTest, BeginsWithEchoAndTheNormalLevelAndWithoutAHandler)
{
    qzLog log(/*threadSafe=*/false);
    const ConsoleRecorder console;
    Entry entry = makeEntry(qzLog::Info, "text");
    log.Write(entry, /*synchronous=*/false);
    EXPECT_THAT(console.getText(), EndsWith(" : text\n"));
    EXPECT_EQ(log.getLogLevel(), LogLevelNormal);
    EXPECT_TRUE(log.installCustomHandler(Received::Receive, nullptr));
}

TEST(qzLogInstanceTest, IsThereWholeOrNotAtAllWhenMemoryEnds)
{
    std::size_t refused = 0;
    support::failEachAllocation(
        [] {
            qzLog::destroyInstance();
            qzLog::createInstance(/*threadSafe=*/false);
        },
        [&refused](const support::AllocationFailure& failure) {
            EXPECT_EQ(qzLog::msInstance == nullptr, failure.threwBadAlloc) << failure.number;
            ++refused;
        });
    EXPECT_GE(refused, 2U) << "the logger and its settings";
    EXPECT_NE(qzLog::msInstance, nullptr);
    qzLog::destroyInstance();
}

// --- Levels

struct LevelRow {
    const char* name;
    int level;
    std::array<bool, 6> isOn;  // DEV, TRACE, DEBUG, INFO, WARNING, CRITICAL
    int levelTold;
};

constexpr LevelRow kLevelRows[] = {
    {"All", 0, {true, true, true, true, true, true}, 0},
    {"Debug", 1, {true, false, true, true, true, true}, 1},
    {"Normal", 2, {false, false, false, true, true, true}, 2},
    {"Three", 3, {false, false, false, true, true, true}, 2},
    {"Seven", 7, {false, false, false, true, true, true}, 2},
    {"Negative", -1, {false, false, false, true, true, true}, 2},
    {"Largest", INT_MAX, {false, false, false, true, true, true}, 2},
    {"OneAboveAByte", 257, {false, false, false, true, true, true}, 2},
};

class qzLogLevelTable : public ::testing::TestWithParam<LevelRow> {};

TEST_P(qzLogLevelTable, SwitchesTheTypesOfItsRowFromWhateverLevelBefore)
{
    const LevelRow& row = GetParam();
    qzLog log(/*threadSafe=*/false);
    for (const qzLogLevel before : {LogLevelAll, LogLevelDebug, LogLevelNormal}) {
        log.setLogLevel(before);
        log.setLogLevel(static_cast<qzLogLevel>(row.level));
        EXPECT_EQ(std::to_array(Peer::getTypeEnabled(log)), row.isOn) << "after " << before;
        EXPECT_EQ(log.getLogLevel(), row.levelTold) << "after " << before;
        for (int type = 0; type < 6; ++type)
            EXPECT_EQ(log.isTypeEnabled(type), row.isOn.at(std::size_t(type))) << type;
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, qzLogLevelTable, ::testing::ValuesIn(kLevelRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzLogLevelTest, ShowsWhatIsNoType)
{
    const qzLog log(/*threadSafe=*/false);
    for (const int type : {6, 7, -1, INT_MAX, INT_MIN})
        EXPECT_TRUE(log.isTypeEnabled(type)) << type;
}

TEST(qzLogLevelTest, ChangesWhileAnotherThreadReports)
{
    const LibraryStart library;
    qzLog& log = *qzLog::msInstance;
    Received received;
    log.setEchoToConsole(false);
    log.installCustomHandler(Received::Receive, &received);
    std::thread switcher([&log] {
        for (int i = 0; i < 3000; ++i)
            log.setLogLevel(static_cast<qzLogLevel>(i % 3));
    });
    std::size_t always = 0;
    for (; always < 500; ++always) {
        logTrace() << "at times";
        logWarning() << "always";
    }
    switcher.join();
    const std::vector<std::string> messages = received.getMessages();
    const auto count = [&messages](const char* message) {
        return static_cast<std::size_t>(std::count(messages.begin(), messages.end(), message));
    };
    EXPECT_EQ(count("always"), always);
    EXPECT_EQ(count("at times"), messages.size() - always);
    EXPECT_EQ(log.getLogLevel(), LogLevelNormal);
}

TEST_F(qzLogTest, FiltersNothingOnTheWayToTheOutlets)
{
    mLog.setLogLevel(LogLevelNormal);
    write(qzLog::Dev, "dev");
    write(qzLog::Trace, "trace");
    write(qzLog::Debug, "debug");
    EXPECT_EQ(mConsole.getText(), makeLine(qzLog::Dev, "dev") + makeLine(qzLog::Trace, "trace") +
                                      makeLine(qzLog::Debug, "debug"));
}

// --- Writing

TEST_F(qzLogTest, HasFlushedALineToTheConsoleWhenItReturns)
{
    write(qzLog::Info, "first");
    EXPECT_EQ(mConsole.getFlushedText(), makeLine(qzLog::Info, "first"));
    write(qzLog::Warning, "second", /*synchronous=*/true);
    EXPECT_EQ(mConsole.getFlushedText(),
              makeLine(qzLog::Info, "first") + makeLine(qzLog::Warning, "second"));
    EXPECT_EQ(mConsole.getFlushCount(), 2);
}

TEST_F(qzLogTest, ComputesThePrefixAnew)
{
    Entry entry = makeEntry(qzLog::Info, "text");
    entry.prefix = "stale";
    mLog.Write(entry, /*synchronous=*/false);
    EXPECT_EQ(mConsole.getText(), makeLine(qzLog::Info, "text"));
}

TEST_F(qzLogTest, LeavesTheStringsOfAnEntryEmpty)
{
    for (const std::size_t size : {1U, 15U, 16U, 5000U}) {
        Entry entry = makeEntry(qzLog::Info, std::string(size, 'm'));
        entry.subType = entry.systemLogTag = entry.prefix = entry.threadId = std::string(size, 's');
        mLog.Write(entry, /*synchronous=*/false);
        EXPECT_EQ(entry.message + entry.subType + entry.systemLogTag + entry.prefix, "") << size;
        EXPECT_EQ(entry.threadId, "") << size;
    }
}

TEST_F(qzLogTest, WritesAnEntryWithoutAMessage)
{
    write(qzLog::Info, "");
    EXPECT_EQ(mConsole.getText(), makeLine(qzLog::Info, ""));
}

TEST_F(qzLogTest, IgnoresTheFormatOfTheConsole)
{
    std::cout.width(200);
    std::cout.fill('*');
    write(qzLog::Info, "text");
    std::cout.width(0);
    std::cout.fill(' ');
    EXPECT_EQ(mConsole.getText(), makeLine(qzLog::Info, "text"));
}

TEST_F(qzLogTest, ShowsNothingWithoutEcho)
{
    mLog.setEchoToConsole(false);
    write(qzLog::Critical, "hidden");
    EXPECT_EQ(mConsole.getText(), "");
    EXPECT_EQ(mConsole.getFlushCount(), 0);
    mLog.setEchoToConsole(true);
    write(qzLog::Info, "shown");
    EXPECT_EQ(mConsole.getText(), makeLine(qzLog::Info, "shown"));
}

TEST(qzLogConsoleTest, BringsEveryByteToTheStandardOutput)
{
    const LibraryStart library;
    const std::string megabyte(1 << 20, 'x');
    std::string expected;
    const StdoutCapture console;
    for (const std::string& message :
         {std::string("nul \0 inside", 12), std::string("two\nlines\n"),
          std::string("\r\x1B\xFF%s"), megabyte}) {
        Entry entry = makeEntry(qzLog::Info, message);
        entry.subType = std::string("a\0b", 3);
        expected += reference::makeLine(entry);
        qzLog::msInstance->Write(entry, /*synchronous=*/false);
    }
    const std::string written = console.getText();
    EXPECT_TRUE(written == expected) << "the texts are too long to show; the first has "
                                     << written.size() << " bytes of " << expected.size();
}

TEST(qzLogConsoleTest, IsOutBeforeAnythingElseHappens)
{
    const LibraryStart library;
    const ChildResult child = runInChild([]() -> int {
        Entry entry = makeEntry(qzLog::Info, "last words");
        qzLog::msInstance->Write(entry, /*synchronous=*/false);
        ::_exit(42);  // no buffer is flushed here
    });
    EXPECT_EQ(child.getEnd(), "exit 42");
    EXPECT_THAT(child.out, EndsWith(" : last words\n"));
}

TEST(qzLogConsoleTest, DoesNotStopTheHandlerWhenItIsFull)
{
    const LibraryStart library;
    const ChildResult child = runInChild([] {
        ::dup2(::open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        Received received;
        qzLog::msInstance->installCustomHandler(Received::Receive, &received);
        for (const char* message : {"first", "second"}) {
            Entry entry = makeEntry(qzLog::Info, message);
            qzLog::msInstance->Write(entry, /*synchronous=*/false);
        }
        qzLog::msInstance->installCustomHandler(nullptr, nullptr);
        return static_cast<int>(received.entries.size());
    });
    EXPECT_EQ(child.getEnd(), "exit 2");
}

TEST(qzLogForkTest, ShowsTheForkOnTheConsoleAtEachCheckInTheChild)
{
    const TimeZoneGuard zone("UTC0");
    const LibraryStart library(FullInit);
    const ChildResult child = runInChild([] {
        std::cout << IsQzSystemThreadSafe() << std::endl;
        CheckIfProcessForkAfterThreadSafeInit();
        std::cout << ::getpid();
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    const std::string pid = child.out.substr(child.out.rfind('\n') + 1);
    const std::string report = "CRITICAL PID " + pid + " [^:]+:[^:]+:[^:]+ : " +
                               "Detect process fork after thread initialization from " +
                               std::to_string(::getpid()) + " to " + pid + "\n";
    EXPECT_THAT(child.out, ::testing::MatchesRegex(report + "1\n" + report + pid));
}

TEST(qzLogConsoleTest, PassesTheEndOfMemoryOnAndStaysUsable)
{
    const LibraryStart library;
    Received received;
    const ConsoleSink console;
    const std::string message(100, 'x');
    const auto write = [&message] {
        Entry entry = makeEntry(qzLog::Info, message);
        qzLog::msInstance->Write(entry, /*synchronous=*/false);
    };
    const std::size_t failures =
        support::failEachAllocation(write, [](const support::AllocationFailure& failure) {
            EXPECT_TRUE(failure.threwBadAlloc) << failure.number;
        });
    EXPECT_GE(failures, 4U) << "the message, the batch, the prefix and the line";
    qzLog::msInstance->installCustomHandler(Received::Receive, &received);
    write();
    EXPECT_THAT(received.getMessages(), ElementsAre(message));
}

// --- The custom handler

TEST_F(qzLogTest, GivesTheHandlerEachEntryWithItsPrefix)
{
    Received received;
    EXPECT_TRUE(mLog.installCustomHandler(Received::Receive, &received));
    Entry entry = makeEntry(qzLog::Debug, "text");
    entry.subType = "iodevice";
    entry.systemLogTag = "tag";
    entry.threadId = "4712";
    const Entry copy = entry;
    mLog.Write(entry, /*synchronous=*/false);
    write(qzLog::Info, "second");
    ASSERT_THAT(received.getMessages(), ElementsAre("text", "second"));
    EXPECT_THAT(received.batchSizes, ElementsAre(1U, 1U));
    const Entry& first = received.entries.front();
    EXPECT_EQ(first.prefix, reference::makePrefix(copy));
    EXPECT_EQ(first.subType, "iodevice");
    EXPECT_EQ(first.systemLogTag, "tag");
    EXPECT_EQ(first.threadId, "4712");
    EXPECT_EQ(first.timeMs, copy.timeMs);
    EXPECT_EQ(first.type, qzLog::Debug);
}

class qzLogStateTest : public ::testing::TestWithParam<InitType> {};

INSTANTIATE_TEST_SUITE_P(States, qzLogStateTest, ::testing::Values(LightInit, FullInit),
                         [](const auto& row) { return row.param == LightInit ? "Light" : "Full"; });

TEST_P(qzLogStateTest, GivesTheHandlerTheVeryTextOfTheWriter)
{
    const LibraryStart library(GetParam());
    const ConsoleRecorder console;
    qzLog& log = *qzLog::msInstance;
    const char* seen = nullptr;
    log.installCustomHandler(
        [](std::list<Entry>& batch, void* data) {
            *static_cast<const char**>(data) = batch.front().message.data();
        },
        &seen);
    Entry entry = makeEntry(qzLog::Info, std::string(100, 'x'));
    const char* const text = entry.message.data();
    log.Write(entry, /*synchronous=*/true);
    EXPECT_EQ(seen, text) << "the entry was copied";
}

TEST_F(qzLogTest, CallsTheHandlerAfterTheConsole)
{
    struct Look {
        const ConsoleRecorder& console;
        std::string flushed;
    } look{mConsole, {}};
    mLog.installCustomHandler(
        [](std::list<Entry>&, void* data) {
            auto* self = static_cast<Look*>(data);
            self->flushed = self->console.getFlushedText();
        },
        &look);
    write(qzLog::Info, "text");
    EXPECT_EQ(look.flushed, makeLine(qzLog::Info, "text"));
}

TEST_F(qzLogTest, CallsTheHandlerWithoutEcho)
{
    Received received;
    mLog.setEchoToConsole(false);
    mLog.installCustomHandler(Received::Receive, &received);
    write(qzLog::Info, "text");
    EXPECT_THAT(received.getMessages(), ElementsAre("text"));
}

TEST_F(qzLogTest, LetsTheHandlerChangeAndEmptyItsBatch)
{
    mLog.installCustomHandler(
        [](std::list<Entry>& batch, void*) {
            batch.emplace_back();
            batch.front().message = "changed";
            batch.clear();
        },
        nullptr);
    Entry entry = makeEntry(qzLog::Info, "text");
    mLog.Write(entry, /*synchronous=*/false);
    EXPECT_EQ(entry.message, "");
    write(qzLog::Info, "next");
    EXPECT_EQ(mConsole.getText(), makeLine(qzLog::Info, "text") + makeLine(qzLog::Info, "next"));
}

TEST_F(qzLogTest, RefusesASecondHandlerAndKeepsTheFirstWithItsData)
{
    Received first;
    Received second;
    EXPECT_TRUE(mLog.installCustomHandler(Received::Receive, &first));
    EXPECT_FALSE(mLog.installCustomHandler(Received::Receive, &second));
    EXPECT_FALSE(mLog.installCustomHandler(throwOutOfHandler, &second));
    write(qzLog::Info, "text");
    EXPECT_THAT(first.getMessages(), ElementsAre("text"));
    EXPECT_THAT(second.entries, IsEmpty());
}

TEST_F(qzLogTest, TakesTheHandlerAwayByNull)
{
    Received received;
    int anything = 0;
    EXPECT_TRUE(mLog.installCustomHandler(nullptr, &anything));
    EXPECT_TRUE(mLog.installCustomHandler(Received::Receive, &received));
    EXPECT_TRUE(mLog.installCustomHandler(nullptr, &anything));
    EXPECT_TRUE(mLog.installCustomHandler(nullptr, nullptr));
    write(qzLog::Info, "for nobody");
    EXPECT_THAT(received.entries, IsEmpty());
    EXPECT_TRUE(mLog.installCustomHandler(Received::Receive, &received));
    write(qzLog::Info, "text");
    EXPECT_THAT(received.getMessages(), ElementsAre("text"));
}

TEST_F(qzLogTest, LetsAnExceptionOfTheHandlerOutAfterTheConsole)
{
    mLog.installCustomHandler(throwOutOfHandler, nullptr);
    Entry entry = makeEntry(qzLog::Info, "text");
    EXPECT_THROW(mLog.Write(entry, /*synchronous=*/true), std::runtime_error);
    EXPECT_EQ(entry.message, "");
    EXPECT_EQ(mConsole.getText(), makeLine(qzLog::Info, "text"));
    mLog.installCustomHandler(nullptr, nullptr);
    write(qzLog::Info, "next");
    EXPECT_THAT(mConsole.getText(), EndsWith(makeLine(qzLog::Info, "next")));
}

TEST_F(qzLogTest, LetsTheHandlerWriteItself)
{
    mLog.installCustomHandler(
        [](std::list<Entry>& batch, void* data) {
            auto* log = static_cast<qzLog*>(data);
            log->installCustomHandler(nullptr, nullptr);
            Entry entry = makeEntry(qzLog::Warning, "about " + batch.front().message);
            log->Write(entry, /*synchronous=*/true);
        },
        &mLog);
    write(qzLog::Info, "text");
    EXPECT_EQ(mConsole.getText(),
              makeLine(qzLog::Info, "text") + makeLine(qzLog::Warning, "about text"));
}

TEST_F(qzLogTest, DoesNotEnterTheHandlerForWhatItReportsItself)
{
    struct Reporter {
        qzLog& log;
        int calls;
    } reporter{mLog, 0};
    mLog.installCustomHandler(
        [](std::list<Entry>& batch, void* data) {
            auto* self = static_cast<Reporter*>(data);
            ++self->calls;
            Entry entry = makeEntry(qzLog::Warning, "about " + batch.front().message);
            self->log.Write(entry, /*synchronous=*/true);
        },
        &reporter);
    write(qzLog::Info, "text");
    EXPECT_EQ(reporter.calls, 1);
    EXPECT_EQ(mConsole.getText(),
              makeLine(qzLog::Info, "text") + makeLine(qzLog::Warning, "about text"));
}

// --- The time of day

TEST_F(qzLogTest, TellsTheTimeInTheFormOfALine)
{
    const std::string before = reference::makeTime(qzSystemUtils::GetMSecElapsedSinceEpoch());
    const std::string told = qzLog::GetTime();
    const std::string after = reference::makeTime(qzSystemUtils::GetMSecElapsedSinceEpoch());
    EXPECT_THAT(told, AnyOf(before, after));
    EXPECT_THAT(told, ::testing::HasSubstr("+0"));
    const TimeZoneGuard farAway("XXX-13:45");
    EXPECT_THAT(qzLog::GetTime(), ::testing::HasSubstr("+1345 "));
}

// --- Generated entries

class qzLogGenerated : public ::testing::TestWithParam<unsigned> {};

TEST_P(qzLogGenerated, ShowsAndHandsOverTheLinesOfThePlainForm)
{
    const LibraryStart library;
    reference::Generator generator(GetParam());
    Received received;
    qzLog::msInstance->installCustomHandler(Received::Receive, &received);
    const ConsoleRecorder console;
    std::string lines;
    std::vector<std::string> messages;
    for (int i = 0; i < 300; ++i) {
        Entry entry = generator.makeEntry();
        lines += reference::makeLine(entry);
        messages.push_back(entry.message);
        qzLog::msInstance->Write(entry, generator.toss());
    }
    EXPECT_TRUE(console.getText() == lines) << "seed " << GetParam();
    EXPECT_EQ(received.getMessages(), messages) << "seed " << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Seeds, qzLogGenerated, ::testing::ValuesIn(reference::kSeeds));

}  // namespace qz
