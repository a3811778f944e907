// SPDX-License-Identifier: MIT
#include <errno.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <iomanip>
#include <iostream>
#include <limits>
#include <list>
#include <locale>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/SystemError.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>

#include "log/LogReference.h"
#include "log/qzLogObjectTestPeer.h"
#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/OutputCapture.h"

namespace qz {

using support::AllocationCounter;
using support::ChildResult;
using support::LibraryStart;
using support::LogCapture;
using support::runInChild;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Peer = qzLogObjectTestPeer;

namespace {

static_assert(std::is_same_v<Peer::Type, int> && std::is_same_v<Peer::TimeMs, long>);
static_assert(std::is_same_v<Peer::Synchronous, bool>);
static_assert(sizeof(qzLogObject) == 88);
static_assert(!std::is_copy_constructible_v<qzLogObject>);
static_assert(!std::is_copy_assignable_v<qzLogObject>);
static_assert(!std::is_convertible_v<qzLog::EntryType, qzLogObject>);
static_assert(std::is_nothrow_destructible_v<qzLogObject>);

// Streams as a text of its own, and counts how often somebody wanted that.
struct CountedText {
    int& count;
};

std::ostream& operator<<(std::ostream& out, const CountedText& text)
{
    ++text.count;
    return out << "counted";
}

enum Plain { PlainZero, PlainOne };

class LoudPunctuation : public std::numpunct<char> {
    char do_thousands_sep() const override { return '!'; }
    std::string do_grouping() const override { return "\3"; }
    char do_decimal_point() const override { return ';'; }
    std::string do_truename() const override { return "sure"; }
};

// Makes the punctuation the global one until the end of the scope.
class GlobalPunctuation {
public:
    GlobalPunctuation()
        : mBefore(std::locale::global(std::locale(std::locale::classic(), new LoudPunctuation)))
    {
    }
    ~GlobalPunctuation() { std::locale::global(mBefore); }
    GlobalPunctuation(const GlobalPunctuation&) = delete;
    GlobalPunctuation& operator=(const GlobalPunctuation&) = delete;

private:
    std::locale mBefore;
};

void throwOutOfHandler(std::list<qzLog::LogEntry>& /*batch*/, void* /*data*/)
{
    throw std::runtime_error("out of the handler");
}

}  // namespace

TEST(qzLogObjectLayoutTest, HasItsFieldsInTheirOrder)
{
    EXPECT_THAT(Peer::kOffsets, ElementsAre(0, 32, 40, 48, 56, 64, 72, 80));
}

// A started library whose log is captured.
class qzLogObjectTest : public ::testing::Test {
protected:
    void setLevel(qzLogLevel level) { qzLog::msInstance->setLogLevel(level); }

    const LibraryStart mLibrary;
    const LogCapture mLog;
};

// --- One report

TEST_F(qzLogObjectTest, SendsItsTextAtItsEnd)
{
    {
        qzLogObject report(qzLog::Info);
        report << "one " << 2 << " three";
        EXPECT_THAT(mLog.getEntries(), IsEmpty());
    }
    EXPECT_THAT(mLog.getLines(), ElementsAre("INFO one 2 three"));
}

TEST_F(qzLogObjectTest, FillsTheEntry)
{
    setLevel(LogLevelDebug);
    const long before = qzSystemUtils::GetMSecElapsedSinceEpoch();
    qzLogObject(qzLog::Debug, true, "iodevice", "tag") << "text";
    const long after = qzSystemUtils::GetMSecElapsedSinceEpoch();
    const qzLog::LogEntry entry = mLog.getEntries().at(0);
    EXPECT_EQ(entry.message, "text");
    EXPECT_EQ(entry.subType, "iodevice");
    EXPECT_EQ(entry.systemLogTag, "tag");
    EXPECT_EQ(entry.threadId, qzThread::CurrentThreadId());
    EXPECT_EQ(entry.prefix, reference::makePrefix(entry));
    EXPECT_EQ(entry.type, qzLog::Debug);
    EXPECT_GE(entry.timeMs, before);
    EXPECT_LE(entry.timeMs, after);
}

TEST_F(qzLogObjectTest, SendsItsTypeToTheEntry)
{
    setLevel(LogLevelAll);
    for (const auto type : {qzLog::Dev, qzLog::Trace, qzLog::Debug, qzLog::Info, qzLog::Warning,
                            qzLog::Critical, static_cast<qzLog::EntryType>(7)}) {
        qzLogObject(type) << "text";
    }
    EXPECT_THAT(mLog.getLines(), ElementsAre("DEV text", "TRACE text", "DEBUG text", "INFO text",
                                             "WARNING text", "CRITICAL text", "UNKNOWN text"));
}

TEST_F(qzLogObjectTest, BeginsWithoutAnythingOfItsOwn)
{
    const qzLogObject report(qzLog::Info);
    EXPECT_EQ(Peer::getThreadId(report), "");
    EXPECT_EQ(Peer::getSubType(report), nullptr);
    EXPECT_EQ(Peer::getSystemLogTag(report), nullptr);
    EXPECT_EQ(Peer::getLog(report), qzLog::msInstance);
    EXPECT_FALSE(Peer::hasStream(report));
    EXPECT_EQ(Peer::getType(report), qzLog::Info);
    EXPECT_FALSE(Peer::isSynchronous(report));
}

TEST_F(qzLogObjectTest, HasTheTimeOfItsBeginning)
{
    long latestBeginning = 0;
    {
        qzLogObject report(qzLog::Info);
        latestBeginning = qzSystemUtils::GetMSecElapsedSinceEpoch();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        report << "text";
    }
    EXPECT_LE(mLog.getEntries().at(0).timeMs, latestBeginning);
}

TEST_F(qzLogObjectTest, NamesTheThreadOnlyWhileDebugIsOn)
{
    logInfo() << "normal";
    setLevel(LogLevelDebug);
    logInfo() << "debug";
    setLevel(LogLevelAll);
    logCritical() << "all";
    setLevel(LogLevelNormal);
    logCritical() << "normal again";
    std::vector<std::string> threads;
    for (const qzLog::LogEntry& entry : mLog.getEntries())
        threads.push_back(entry.threadId);
    const std::string& own = qzThread::CurrentThreadId();
    EXPECT_THAT(threads, ElementsAre("", own, own, ""));
}

TEST_F(qzLogObjectTest, NamesTheThreadThatBuiltIt)
{
    setLevel(LogLevelDebug);
    std::string idOfThread;
    std::thread([&idOfThread] {
        idOfThread = qzThread::CurrentThreadId();
        logInfo() << "text";
    }).join();
    EXPECT_EQ(mLog.getEntries().at(0).threadId, idOfThread);
    EXPECT_NE(idOfThread, qzThread::CurrentThreadId());
}

TEST_F(qzLogObjectTest, DecidesAtItsBeginningWhetherItIsOn)
{
    std::optional<qzLogObject> off(std::in_place, qzLog::Debug);
    setLevel(LogLevelAll);
    *off << "began while off";
    std::optional<qzLogObject> on(std::in_place, qzLog::Debug);
    setLevel(LogLevelNormal);
    *on << "began while on";
    off.reset();
    on.reset();
    EXPECT_THAT(mLog.getMessages(), ElementsAre("began while on"));
}

TEST_F(qzLogObjectTest, SaysNothingWithoutAnInsertion)
{
    logCritical("channel", "tag");
    EXPECT_THAT(mLog.getEntries(), IsEmpty());
}

TEST_F(qzLogObjectTest, DropsAReportOfEmptyTexts)
{
    const support::StdoutCapture console;
    logCritical() << "";
    logCritical("channel", "tag") << "" << std::string() << std::string_view();
    EXPECT_THAT(mLog.getEntries(), IsEmpty());
    EXPECT_EQ(console.getText(), "");
}

TEST_F(qzLogObjectTest, SendsAReportOfAnEmptyTextAndAnother)
{
    logInfo() << ""
              << "x"
              << "";
    EXPECT_THAT(mLog.getMessages(), ElementsAre("x"));
}

TEST_F(qzLogObjectTest, SendsALineFeedAlone)
{
    logInfo() << '\n';
    EXPECT_THAT(mLog.getMessages(), ElementsAre("\n"));
}

TEST_F(qzLogObjectTest, KeepsEveryByteOfALargeText)
{
    std::string text;
    while (text.size() < (1 << 20))
        text += std::string("line \n\0\r", 8);
    logInfo() << text;
    ASSERT_EQ(mLog.getEntries().size(), 1U);
    EXPECT_TRUE(mLog.getEntries().at(0).message == text);
}

TEST_F(qzLogObjectTest, MovesItsTextOnTheWay)
{
    // The capture copies; without it nobody has to.
    qzLog log(/*threadSafe=*/false);
    log.setEchoToConsole(false);
    qzLog* const instance = std::exchange(qzLog::msInstance, &log);
    auto report = std::make_unique<qzLogObject>(qzLog::Info);
    *report << std::string(1 << 20, 'x');
    const AllocationCounter counter;
    report.reset();
    const std::size_t bytes = counter.getBytes();
    qzLog::msInstance = instance;
    EXPECT_LT(bytes, 1U << 19);
}

// --- What can be inserted

TEST_F(qzLogObjectTest, InsertsWhatAStreamInserts)
{
    char array[] = "array";
    char* const pointer = array;
    const char* const text = "text";
    const std::string string("string");
    const std::string_view view("view and more", 4);
    unsigned long number = 18446744073709551615UL;
    logInfo() << array << '|' << pointer << '|' << text << '|' << string << '|' << view << '|'
              << std::string("temporary");
    logInfo() << 1 << '|' << -2L << '|' << 3U << '|' << number << '|' << 4ULL << '|'
              << static_cast<short>(5) << '|' << 'c' << '|' << true << '|' << 1.5 << '|' << 2.5F
              << '|' << PlainOne;
    EXPECT_THAT(mLog.getMessages(), ElementsAre("array|array|text|string|view|temporary",
                                                "1|-2|3|18446744073709551615|4|5|c|1|1.5|2.5|1"));
}

TEST_F(qzLogObjectTest, InsertsNullTextsByName)
{
    const char* const constant = nullptr;
    char* const changeable = nullptr;
    logInfo() << constant << " and " << changeable;
    EXPECT_THAT(mLog.getMessages(), ElementsAre("[NullPtr] and [NullPtr]"));
}

TEST_F(qzLogObjectTest, InsertsSystemErrorsByTheirText)
{
    const SystemError error(ENOENT);
    logInfo() << error << '|' << SystemError(EIO);
    EXPECT_THAT(mLog.getMessages(),
                ElementsAre(error.toString() + '|' + SystemError(EIO).toString()));
}

TEST_F(qzLogObjectTest, InsertsTypesOfTheCaller)
{
    int count = 0;
    logInfo() << CountedText{count} << ' ' << CountedText{count};
    EXPECT_THAT(mLog.getMessages(), ElementsAre("counted counted"));
    EXPECT_EQ(count, 2);
}

TEST_F(qzLogObjectTest, ObeysManipulators)
{
    logInfo() << std::hex << std::showbase << 255 << std::dec << ' ' << std::setw(4)
              << std::setfill('0') << 7 << ' ' << std::boolalpha << true << std::endl
              << std::setw(3) << "x" << std::setw(3) << std::string("y") << std::setw(3) << 8UL;
    EXPECT_THAT(mLog.getMessages(), ElementsAre("0xff 0007 true\n00x00y008"));
}

TEST_F(qzLogObjectTest, StartsEachReportWithAPlainStream)
{
    logInfo() << std::hex << std::setfill('*') << 255;
    logInfo() << std::setw(4) << 255;
    EXPECT_THAT(mLog.getMessages(), ElementsAre("ff", " 255"));
}

TEST_F(qzLogObjectTest, SpeaksTheGlobalLocaleInItsTextAndNotInItsPrefix)
{
    {
        const GlobalPunctuation punctuation;
        logInfo() << 1234567 << ' ' << 1234567UL << ' ' << 0.5 << ' ' << std::boolalpha << true;
    }
    const qzLog::LogEntry entry = mLog.getEntries().at(0);
    EXPECT_EQ(entry.message, "1!234!567 1!234!567 0;5 sure");
    EXPECT_EQ(entry.prefix, reference::makePrefix(entry));
}

TEST_F(qzLogObjectTest, KeepsTheLocaleOfItsFirstInsertion)
{
    {
        qzLogObject report(qzLog::Info);
        report << 1000;
        const GlobalPunctuation punctuation;
        report << 1000 << ' ' << 0.5;
    }
    {
        qzLogObject report(qzLog::Info);
        {
            const GlobalPunctuation punctuation;
            report << "text ";
        }
        report << 1000 << ' ' << 0.5;
    }
    EXPECT_THAT(mLog.getMessages(), ElementsAre("10001000 0.5", "text 1!000 0;5"));
}

TEST_F(qzLogObjectTest, InsertsWhileAnExceptionIsOnItsWay)
{
    const auto reportAndThrow = [] {
        qzLogObject report(qzLog::Info);
        report << "before";
        throw std::runtime_error("its own");
    };
    EXPECT_THROW(reportAndThrow(), std::runtime_error);
    EXPECT_THAT(mLog.getMessages(), ElementsAre("before"));
}

// --- Sub-type and tag

TEST_F(qzLogObjectTest, TakesSubTypeAndTagAfterItsBeginning)
{
    {
        qzLogObject report(qzLog::Info);
        report << "text";
        EXPECT_EQ(&report.setSubType("iodevice").setSystemLogTag("tag"), &report);
    }
    const qzLog::LogEntry entry = mLog.getEntries().at(0);
    EXPECT_EQ(entry.subType, "iodevice");
    EXPECT_EQ(entry.systemLogTag, "tag");
    EXPECT_EQ(entry.prefix, reference::makePrefix(entry));
}

TEST_F(qzLogObjectTest, ReplacesAndTakesAwaySubTypeAndTag)
{
    qzLogObject report(qzLog::Info, false, "first", "first");
    report.setSubType("second").setSystemLogTag("second");
    EXPECT_EQ(*Peer::getSubType(report), "second");
    EXPECT_EQ(*Peer::getSystemLogTag(report), "second");
    report.setSubType(nullptr).setSystemLogTag(nullptr);
    EXPECT_EQ(Peer::getSubType(report), nullptr);
    EXPECT_EQ(Peer::getSystemLogTag(report), nullptr);
}

TEST_F(qzLogObjectTest, ReadsAnEmptySubTypeAsNone)
{
    logInfo("") << "text";
    EXPECT_THAT(mLog.getLines(), ElementsAre("INFO text"));
}

TEST_F(qzLogObjectTest, CopiesItsNames)
{
    char name[] = "channel";
    {
        qzLogObject report(qzLog::Info);
        report.setSubType(name);
        name[0] = 'X';
        report << "text";
    }
    EXPECT_EQ(mLog.getEntries().at(0).subType, "channel");
}

// --- Switched off

class qzLogObjectOff : public ::testing::TestWithParam<qzLog::EntryType> {};

TEST_P(qzLogObjectOff, CostsNoAllocationAndFormatsNothing)
{
    const LibraryStart library;
    const std::string text(1000, 'x');
    const std::string_view view(text);
    int count = 0;
    const AllocationCounter counter;
    {
        qzLogObject report(GetParam(), false, "a sub-type that needs memory",
                           "a tag that needs memory as well");
        report << "text" << text << view << 1 << 2UL << 3.0 << SystemError(1) << std::hex
               << std::endl
               << CountedText{count};
        report.setSubType("another sub-type that needs memory");
        report.setSystemLogTag("another tag that needs memory too");
        EXPECT_FALSE(Peer::hasStream(report));
        EXPECT_EQ(Peer::getType(report), qzLog::Unknown);
        EXPECT_EQ(Peer::getSubType(report), nullptr);
        EXPECT_EQ(Peer::getSystemLogTag(report), nullptr);
        EXPECT_EQ(Peer::getThreadId(report), "");
    }
    EXPECT_EQ(counter.getCount(), 0U);
    EXPECT_EQ(count, 0);
}

INSTANTIATE_TEST_SUITE_P(Types, qzLogObjectOff,
                         ::testing::Values(qzLog::Dev, qzLog::Trace, qzLog::Debug, qzLog::Unknown));

TEST_F(qzLogObjectTest, LeavesNoTraceWhenItIsOff)
{
    const support::StdoutCapture console;
    const support::StderrCapture errors;
    logDev() << "hidden";
    logTrace("iodevice") << "hidden";
    logDebug("iodevice", "tag") << "hidden";
    qzLogObject(qzLog::Unknown, true, nullptr, "tag") << "hidden";
    EXPECT_THAT(mLog.getEntries(), IsEmpty());
    EXPECT_EQ(console.getText() + errors.getText(), "");
}

TEST_F(qzLogObjectTest, KnowsNoLoggerWhenItIsOff)
{
    const qzLogObject report(qzLog::Debug);
    EXPECT_EQ(Peer::getLog(report), nullptr);
}

TEST_F(qzLogObjectTest, AllocatesNothingForAReportThatSaysNothing)
{
    const AllocationCounter counter;
    {
        const qzLogObject report(qzLog::Critical);
    }
    EXPECT_EQ(counter.getCount(), 0U);
}

TEST(qzLogObjectUnknownTest, IsOffWithoutALoggerToo)
{
    const support::StdoutCapture console;
    qzLogObject(qzLog::Unknown) << "hidden";
    EXPECT_EQ(console.getText(), "");
}

// --- The shorthand

struct ShorthandRow {
    const char* name;
    qzLogObject (*begin)(const char* subType, const char* systemLogTag);
    int type;
    bool isSynchronous;
};

constexpr ShorthandRow kShorthandRows[] = {
    {"Dev", logDev, 0, false},        {"Trace", logTrace, 1, false},
    {"Debug", logDebug, 2, false},    {"Info", logInfo, 3, false},
    {"Warning", logWarning, 4, true}, {"Critical", logCritical, 5, true},
};

class LogShorthand : public ::testing::TestWithParam<ShorthandRow> {};

TEST_P(LogShorthand, BeginsTheReportOfItsRow)
{
    const LibraryStart library;
    const LogCapture log(LogLevelAll);
    const qzLogObject report = GetParam().begin("iodevice", "tag");
    EXPECT_EQ(Peer::getType(report), GetParam().type);
    EXPECT_EQ(Peer::isSynchronous(report), GetParam().isSynchronous);
    EXPECT_EQ(*Peer::getSubType(report), "iodevice");
    EXPECT_EQ(*Peer::getSystemLogTag(report), "tag");
    const qzLogObject bare = GetParam().begin(nullptr, nullptr);
    EXPECT_EQ(Peer::getSubType(bare), nullptr);
    EXPECT_EQ(Peer::getSystemLogTag(bare), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Rows, LogShorthand, ::testing::ValuesIn(kShorthandRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzLogObjectTest, HasAShorthandWithoutArguments)
{
    setLevel(LogLevelAll);
    logDev() << "text";
    logTrace() << "text";
    logDebug() << "text";
    logInfo() << "text";
    logWarning() << "text";
    logCritical() << "text";
    EXPECT_THAT(mLog.getLines(), ElementsAre("DEV text", "TRACE text", "DEBUG text", "INFO text",
                                             "WARNING text", "CRITICAL text"));
}

// --- Exceptions

TEST(qzLogObjectEndTest, EndsTheProcessWhenTheHandlerThrows)
{
    const LibraryStart library;
    const ChildResult child = runInChild([] {
        // A full start of an earlier test leaves the library's own handler, which adds its report.
        ::signal(SIGABRT, SIG_DFL);
        qzLog::msInstance->installCustomHandler(throwOutOfHandler, nullptr);
        try {
            logInfo() << "text";
        } catch (const std::exception&) {
            return 1;
        }
        return 2;
    });
    EXPECT_EQ(child.getEnd(), "signal " + std::to_string(SIGABRT));
    EXPECT_THAT(child.out, EndsWith(" : text\n"));
    EXPECT_THAT(child.err, HasSubstr("out of the handler"));
}

TEST(qzLogObjectEndTest, IsShownThroughAConsoleThatThrowsOnItsState)
{
    const LibraryStart library;
    const ChildResult child = runInChild([] {
        std::cout.setstate(std::ios_base::badbit);
        try {
            std::cout.exceptions(std::ios_base::badbit);
        } catch (const std::ios_base::failure&) {
        }
        logInfo() << "text";
        ::_exit(42);  // without the flush at the end of the child, which throws
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 42");
    EXPECT_THAT(child.out, EndsWith(" : text\n"));
}

TEST(qzLogObjectEndTest, EndsTheProcessWhenMemoryEndsOnTheWay)
{
    const LibraryStart library;
    const ChildResult child = runInChild([] {
        auto report = std::make_unique<qzLogObject>(qzLog::Info);
        *report << std::string(100, 'x');
        const support::AllocationFault first(1);
        report.reset();
        return 2;
    });
    EXPECT_EQ(child.getEnd(), "signal " + std::to_string(SIGABRT));
}

TEST(qzLogObjectEndTest, PassesAFailedAllocationOfItsMakingOn)
{
    const LibraryStart library;
    const LogCapture log;
    const std::string name(100, 'n');
    const std::size_t failures =
        support::failEachAllocation([&name] { logInfo(name.c_str(), name.c_str()); });
    EXPECT_EQ(failures, 4U) << "two strings and their texts";
    EXPECT_THAT(log.getEntries(), IsEmpty());
}

// --- Negative numbers in other bases

namespace {

template <typename Number>
std::string stream(Number value)
{
    std::ostringstream text;
    text << std::hex << value << ' ' << std::oct << value << ' ' << std::showbase << value << ' '
         << std::dec << value;
    return text.str();
}

template <typename Number>
void report(Number value)
{
    logInfo() << std::hex << value << ' ' << std::oct << value << ' ' << std::showbase << value
              << ' ' << std::dec << value;
}

}  // namespace

TEST_F(qzLogObjectTest, ShowsNegativeNumbersInOtherBasesAsAStreamDoes)
{
    std::vector<std::string> expected;
    const auto compare = [&expected](auto value) {
        expected.push_back(stream(value));
        report(value);
    };
    for (const int value : {-1, -2, 0, 1, 32767, -32768}) {
        compare(static_cast<short>(value));
        compare(value);
        compare(static_cast<long>(value));
        compare(static_cast<long long>(value));
    }
    compare(std::numeric_limits<int>::min());
    compare(std::numeric_limits<long>::min());
    EXPECT_EQ(mLog.getMessages(), expected);
}

}  // namespace qz
