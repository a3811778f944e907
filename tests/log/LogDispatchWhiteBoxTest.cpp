// SPDX-License-Identifier: MIT
// The way of a batch to its outlets, under settings that nothing public makes alone.

#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <cstddef>
#include <iostream>
#include <list>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>

#include "log/ConsoleRecorder.h"
#include "log/LogFile.h"
#include "log/LogReference.h"
#include "log/qzLogParameters.h"
#include "log/qzLogTestPeer.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz {

using support::LibraryStart;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Entry = qzLog::LogEntry;
using Batch = std::list<Entry>;

namespace {

static_assert(sizeof(qzLogParameters) == 320);
static_assert(std::is_same_v<decltype(qzLogParameters::subTypeBlacklist), std::set<std::string>>);
static_assert(sizeof(qzLogParameters::maxFileSize) == 8 && sizeof(qzLogParameters::fileFlags) == 4);

template <typename Field>
std::ptrdiff_t getOffset(Field qzLogParameters::*field)
{
    static const qzLogParameters parameters;
    return reinterpret_cast<const char*>(&(parameters.*field)) -
           reinterpret_cast<const char*>(&parameters);
}

// All six together.
std::string getNames(const qzLogParameters& parameters)
{
    return parameters.folder + parameters.baseName + parameters.extension +
           parameters.requestedPath + parameters.currentFileUtf8 + parameters.currentFileLocal;
}

Entry makeEntry(int type, const std::string& message, const std::string& subType = {})
{
    Entry entry;
    entry.type = type;
    entry.message = message;
    entry.subType = subType;
    entry.timeMs = 1794687476789;
    return entry;
}

}  // namespace

// A batch and its settings. Every call of an outlet is noted: a line of the console by its message,
// a call of the handler by the messages it got.
class LogDispatchTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        mParameters.customHandler = &LogDispatchTest::Receive;
        mParameters.customHandlerData = this;
    }

    void dispatch(Batch batch) { qzLog::WriteImpl(mParameters, batch); }

    std::string getConsole() const { return mConsole.getText(); }
    static std::string makeLines(const Batch& batch)
    {
        std::string lines;
        for (const Entry& entry : batch)
            lines += reference::makeLine(entry);
        return lines;
    }

    static void Receive(Batch& batch, void* test)
    {
        auto* self = static_cast<LogDispatchTest*>(test);
        std::string call;
        for (const Entry& entry : batch)
            call += entry.message + ';';
        self->mHandlerCalls.push_back(call);
        self->mReceived.insert(self->mReceived.end(), batch.begin(), batch.end());
        self->mConsoleAtHandler = self->mConsole.getFlushedText();
    }

    const LibraryStart mLibrary;
    qzLogParameters mParameters;
    const ConsoleRecorder mConsole;
    std::vector<std::string> mHandlerCalls;
    Batch mReceived;
    std::string mConsoleAtHandler;
};

TEST(qzLogParametersTest, HasItsFieldsInTheirOrder)
{
    using Fields = qzLogParameters;
    EXPECT_EQ(getOffset(&Fields::customHandler), 0);
    EXPECT_EQ(getOffset(&Fields::customHandlerData), 8);
    EXPECT_EQ(getOffset(&Fields::subTypeBlacklist), 16);
    EXPECT_EQ(getOffset(&Fields::pendingNotice), 64);
    EXPECT_EQ(getOffset(&Fields::fileFlags), 96);
    EXPECT_EQ(getOffset(&Fields::maxFileCount), 100);
    EXPECT_EQ(getOffset(&Fields::maxFileSize), 104);
    EXPECT_EQ(getOffset(&Fields::timeRotation), 112);
    EXPECT_EQ(getOffset(&Fields::echoToConsole), 116);
    EXPECT_EQ(getOffset(&Fields::consoleFallback), 117);
    EXPECT_EQ(getOffset(&Fields::rotationPending), 118);
    EXPECT_EQ(getOffset(&Fields::folder), 120);
    EXPECT_EQ(getOffset(&Fields::baseName), 152);
    EXPECT_EQ(getOffset(&Fields::extension), 184);
    EXPECT_EQ(getOffset(&Fields::requestedPath), 216);
    EXPECT_EQ(getOffset(&Fields::currentFileUtf8), 248);
    EXPECT_EQ(getOffset(&Fields::currentFileLocal), 280);
    EXPECT_EQ(getOffset(&Fields::currentFileDay), 312);
}

TEST_F(LogDispatchTest, BeginsWithSettingsThatOnlyEcho)
{
    const qzLogParameters fresh;
    EXPECT_EQ(fresh.customHandler, nullptr);
    EXPECT_EQ(fresh.customHandlerData, nullptr);
    EXPECT_THAT(fresh.subTypeBlacklist, IsEmpty());
    EXPECT_TRUE(fresh.echoToConsole);
    EXPECT_FALSE(fresh.consoleFallback);
    EXPECT_FALSE(fresh.rotationPending);
    EXPECT_EQ(fresh.timeRotation, qzLog::RotateNever);
    EXPECT_EQ(fresh.fileFlags + fresh.maxFileCount + fresh.maxFileSize, 0);
    EXPECT_EQ(fresh.pendingNotice + fresh.folder + fresh.baseName + fresh.extension, "");
    EXPECT_EQ(fresh.requestedPath + fresh.currentFileUtf8 + fresh.currentFileLocal, "");
}

// --- Whole batches

TEST_F(LogDispatchTest, CallsTheHandlerForAnEmptyBatch)
{
    dispatch({});
    EXPECT_THAT(mHandlerCalls, ElementsAre(""));
    EXPECT_EQ(getConsole(), "");
    mParameters.customHandler = nullptr;
    dispatch({});
}

TEST_F(LogDispatchTest, LeavesThePendingNoticeToABatchWithDebug)
{
    mParameters.pendingNotice = "notice";
    dispatch({});
    dispatch({makeEntry(qzLog::Info, "info"), makeEntry(qzLog::Trace, "trace")});
    EXPECT_THAT(mHandlerCalls, ElementsAre("", "info;trace;"));
    EXPECT_EQ(mParameters.pendingNotice, "notice");
}

TEST_F(LogDispatchTest, GivesTheHandlerTheWholeBatchAfterTheConsole)
{
    const Batch batch{makeEntry(qzLog::Info, "first"), makeEntry(qzLog::Debug, "second", "perf"),
                      makeEntry(qzLog::Critical, "third")};
    dispatch(batch);
    EXPECT_EQ(getConsole(), makeLines(batch));
    EXPECT_THAT(mHandlerCalls, ElementsAre("first;second;third;"));
    EXPECT_EQ(mConsoleAtHandler, makeLines(batch));
    EXPECT_EQ(mConsole.getFlushCount(), 3);
    for (const Entry& entry : mReceived)
        EXPECT_EQ(entry.prefix, reference::makePrefix(entry));
}

TEST_F(LogDispatchTest, ComputesThePrefixForTheHandlerWithoutEcho)
{
    mParameters.echoToConsole = false;
    dispatch({makeEntry(qzLog::Info, "text")});
    EXPECT_EQ(getConsole(), "");
    EXPECT_EQ(mReceived.front().prefix, reference::makePrefix(mReceived.front()));
}

struct ConsoleRow {
    const char* name;
    bool echo;
    bool fallback;
    int lines;
};

constexpr ConsoleRow kConsoleRows[] = {
    {"Neither", false, false, 0},
    {"Echo", true, false, 1},
    {"Fallback", false, true, 1},
    {"BothShowALineOnce", true, true, 1},
};

class LogDispatchConsole : public ::testing::TestWithParam<ConsoleRow> {};

TEST_P(LogDispatchConsole, ShowsTheLinesOfItsRow)
{
    const LibraryStart library;
    const ConsoleRecorder console;
    qzLogParameters parameters;
    parameters.echoToConsole = GetParam().echo;
    parameters.consoleFallback = GetParam().fallback;
    Batch batch{makeEntry(qzLog::Info, "text")};
    const std::string line = reference::makeLine(batch.front());
    qzLog::WriteImpl(parameters, batch);
    EXPECT_EQ(console.getText(), GetParam().lines == 0 ? "" : line);
    EXPECT_EQ(console.getFlushCount(), GetParam().lines);
}

INSTANTIATE_TEST_SUITE_P(Rows, LogDispatchConsole, ::testing::ValuesIn(kConsoleRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(LogDispatchTest, LetsAnExceptionOfTheHandlerOutAfterTheConsole)
{
    mParameters.customHandler = [](Batch&, void*) { throw std::runtime_error("its own"); };
    const Batch batch{makeEntry(qzLog::Info, "first"), makeEntry(qzLog::Info, "second")};
    EXPECT_THROW(dispatch(batch), std::runtime_error);
    EXPECT_EQ(getConsole(), makeLines(batch));
}

// --- Switched-off sub-types

TEST_F(LogDispatchTest, EndsAtASwitchedOffEntryWithTheRestOfTheBatchAndTheHandler)
{
    mParameters.subTypeBlacklist = {"perf"};
    const Entry first = makeEntry(qzLog::Info, "first");
    dispatch({first, makeEntry(qzLog::Debug, "second", "perf"), makeEntry(qzLog::Info, "third"),
              makeEntry(qzLog::Info, "fourth")});
    EXPECT_EQ(getConsole(), makeLines({first}));
    EXPECT_THAT(mHandlerCalls, IsEmpty());
}

TEST_F(LogDispatchTest, ShowsNothingOfABatchThatASwitchedOffEntryLeads)
{
    mParameters.subTypeBlacklist = {"iodevice", "perf"};
    dispatch({makeEntry(qzLog::Debug, "first", "iodevice"), makeEntry(qzLog::Critical, "second")});
    EXPECT_EQ(getConsole(), "");
    EXPECT_THAT(mHandlerCalls, IsEmpty());
}

TEST_F(LogDispatchTest, GoesOnWithTheNextBatch)
{
    mParameters.subTypeBlacklist = {"perf"};
    dispatch({makeEntry(qzLog::Debug, "off", "perf")});
    dispatch({makeEntry(qzLog::Debug, "on", "iodevice")});
    EXPECT_THAT(mHandlerCalls, ElementsAre("on;"));
    EXPECT_THAT(mParameters.subTypeBlacklist, ElementsAre("perf"));
}

TEST_F(LogDispatchTest, WritesEveryOtherTypeOfASwitchedOffSubType)
{
    mParameters.subTypeBlacklist = {"perf"};
    Batch batch;
    for (const int type : {0, 1, 3, 4, 5, 6, 7, -1})
        batch.push_back(makeEntry(type, "text", "perf"));
    dispatch(batch);
    EXPECT_EQ(getConsole(), makeLines(batch));
    EXPECT_THAT(mHandlerCalls, ElementsAre("text;text;text;text;text;text;text;text;"));
}

TEST_F(LogDispatchTest, WritesDebugWithoutASubTypeWhateverIsSwitchedOff)
{
    mParameters.subTypeBlacklist = {"", "perf"};
    const Batch batch{makeEntry(qzLog::Debug, "none"), makeEntry(qzLog::Debug, "longer", "perf2"),
                      makeEntry(qzLog::Debug, "shorter", "per"),
                      makeEntry(qzLog::Debug, "other case", "Perf")};
    dispatch(batch);
    EXPECT_EQ(getConsole(), makeLines(batch));
}

TEST_F(LogDispatchTest, HoldsForReportsOnTheirWholeWay)
{
    qzLog& log = *qzLog::msInstance;
    log.setLogLevel(LogLevelAll);
    log.installCustomHandler(&LogDispatchTest::Receive, this);
    qzLogTestPeer::editParameters(log).subTypeBlacklist = {"perf"};
    logDebug("perf") << "off";
    logInfo("perf") << "on";
    logDebug("iodevice") << "other";
    EXPECT_THAT(mHandlerCalls, ElementsAre("on;", "other;"));
}

// --- The pending notice

TEST_F(LogDispatchTest, EmitsThePendingNoticeAheadOfADebugEntryAsABatchOfItsOwn)
{
    mParameters.pendingNotice = "notice";
    const long before = qzSystemUtils::GetMSecElapsedSinceEpoch();
    dispatch({makeEntry(qzLog::Info, "first"), makeEntry(qzLog::Debug, "second"),
              makeEntry(qzLog::Debug, "third")});
    const long after = qzSystemUtils::GetMSecElapsedSinceEpoch();
    EXPECT_THAT(mHandlerCalls, ElementsAre("notice;", "first;second;third;"));
    EXPECT_EQ(mParameters.pendingNotice, "");
    const Entry& notice = mReceived.front();
    EXPECT_EQ(notice.type, qzLog::Debug);
    EXPECT_EQ(notice.subType + notice.systemLogTag, "");
    EXPECT_EQ(notice.threadId, qzThread::CurrentThreadId());
    EXPECT_EQ(notice.prefix, reference::makePrefix(notice));
    EXPECT_GE(notice.timeMs, before);
    EXPECT_LE(notice.timeMs, after);
}

// The time of a second is made once for all lines of a batch, except here.
TEST_F(LogDispatchTest, ShowsTheTimeZoneThatTheHandlerSetsAtTheNotice)
{
    const support::TimeZoneGuard zone("UTC0");
    mParameters.pendingNotice = "notice";
    mParameters.customHandler = [](Batch& batch, void* test) {
        Receive(batch, test);
        ::setenv("TZ", "XST-1", /*overwrite=*/1);
        ::tzset();
    };
    dispatch({makeEntry(qzLog::Info, "first"), makeEntry(qzLog::Debug, "second")});
    EXPECT_THAT(mReceived, ElementsAre(Field(&Entry::prefix, HasSubstr("+0000 ")),
                                       Field(&Entry::prefix, HasSubstr("+0000 ")),
                                       Field(&Entry::prefix, HasSubstr("+0100 "))));
}

TEST_F(LogDispatchTest, ShowsANewTimeZoneInTheNextBatchOfTheSameSecond)
{
    for (const auto& [zone, offset] : {std::pair("UTC0", "+0000 "), std::pair("XST-1", "+0100 ")}) {
        const support::TimeZoneGuard guard(zone);
        dispatch({makeEntry(qzLog::Info, "text")});
        EXPECT_THAT(mReceived.back().prefix, HasSubstr(offset));
    }
}

TEST_F(LogDispatchTest, ShowsEachSecondOfABatch)
{
    Batch batch;
    for (const long second : {1794687476L, 1794687476L, 1794687477L, 1794687476L, 0L, -1L}) {
        batch.push_back(makeEntry(qzLog::Info, std::to_string(second)));
        batch.back().timeMs = second * 1000;
    }
    mParameters.customHandler = nullptr;
    dispatch(batch);
    EXPECT_EQ(getConsole(), makeLines(batch));
}

TEST_F(LogDispatchTest, ShowsThePendingNoticeBetweenTheLinesOfTheBatch)
{
    mParameters.pendingNotice = "notice";
    dispatch({makeEntry(qzLog::Info, "first"), makeEntry(qzLog::Debug, "second")});
    const Entry notice = mReceived.front();
    EXPECT_EQ(getConsole(), makeLines({makeEntry(qzLog::Info, "first"), notice,
                                       makeEntry(qzLog::Debug, "second")}));
}

TEST_F(LogDispatchTest, EmitsANoticeOnce)
{
    mParameters.pendingNotice = "notice";
    dispatch({makeEntry(qzLog::Debug, "first")});
    dispatch({makeEntry(qzLog::Debug, "second")});
    EXPECT_THAT(mHandlerCalls, ElementsAre("notice;", "first;", "second;"));
}

TEST_F(LogDispatchTest, KeepsTheNoticeWhenTheEntryIsSwitchedOff)
{
    mParameters.pendingNotice = "notice";
    mParameters.subTypeBlacklist = {"perf"};
    dispatch({makeEntry(qzLog::Debug, "off", "perf")});
    EXPECT_THAT(mHandlerCalls, IsEmpty());
    EXPECT_EQ(mParameters.pendingNotice, "notice");
    dispatch({makeEntry(qzLog::Debug, "on", "iodevice")});
    EXPECT_THAT(mHandlerCalls, ElementsAre("notice;", "on;"));
}

TEST_F(LogDispatchTest, HasClearedTheNoticeWhenTheHandlerGetsIt)
{
    struct Look {
        qzLogParameters& parameters;
        std::vector<std::string> pending;
    } look{mParameters, {}};
    mParameters.pendingNotice = "notice";
    mParameters.customHandlerData = &look;
    mParameters.customHandler = [](Batch&, void* data) {
        auto* self = static_cast<Look*>(data);
        self->pending.push_back(self->parameters.pendingNotice);
    };
    dispatch({makeEntry(qzLog::Debug, "text")});
    EXPECT_THAT(look.pending, ElementsAre("", ""));
}

TEST_F(LogDispatchTest, LetsAnExceptionOutOfTheNoticeWithoutTheEntryBehindIt)
{
    mParameters.pendingNotice = "notice";
    mParameters.customHandler = [](Batch& batch, void* data) {
        Receive(batch, data);
        throw std::runtime_error("its own");
    };
    EXPECT_THROW(dispatch({makeEntry(qzLog::Debug, "text")}), std::runtime_error);
    EXPECT_THAT(mHandlerCalls, ElementsAre("notice;"));
    EXPECT_EQ(mParameters.pendingNotice, "");
    EXPECT_EQ(getConsole(), makeLines(mReceived));
}

TEST_F(LogDispatchTest, WritesANoticeOfManyBytesWhole)
{
    mParameters.pendingNotice = std::string("nul \0\n", 6) + std::string(1 << 20, 'x');
    const std::string notice = mParameters.pendingNotice;
    dispatch({makeEntry(qzLog::Debug, "text")});
    EXPECT_TRUE(mReceived.front().message == notice);
}

// --- Settings that the logger keeps

TEST_F(LogDispatchTest, KeepsTheDataThatCameWithAHandlerAndThatCameWithNull)
{
    qzLog& log = *qzLog::msInstance;
    const qzLogParameters& kept = qzLogTestPeer::editParameters(log);
    int first = 0;
    int second = 0;
    EXPECT_TRUE(log.installCustomHandler(&LogDispatchTest::Receive, &first));
    EXPECT_FALSE(log.installCustomHandler(&LogDispatchTest::Receive, &second));
    EXPECT_EQ(kept.customHandler, &LogDispatchTest::Receive);
    EXPECT_EQ(kept.customHandlerData, &first);
    EXPECT_TRUE(log.installCustomHandler(nullptr, &second));
    EXPECT_EQ(kept.customHandler, nullptr);
    EXPECT_EQ(kept.customHandlerData, &second);
}

TEST_F(LogDispatchTest, KeepsTheRulesOfAFileThatIsRemoved)
{
    qzLog& log = *qzLog::msInstance;
    const support::ScratchFolder folder;
    log.installFileHandlerExUtf8(folder.getPath("log.txt"), 4, 1000, 7, qzLog::RotateDaily);
    log.removeFileHandler();
    const qzLogParameters& kept = qzLogTestPeer::editParameters(log);
    EXPECT_EQ(getNames(kept), "");
    EXPECT_EQ(kept.maxFileSize, 1000);
    EXPECT_EQ(kept.maxFileCount, 7);
    EXPECT_EQ(kept.fileFlags, 4);
    EXPECT_EQ(kept.timeRotation, qzLog::RotateDaily);
    EXPECT_TRUE(kept.echoToConsole);
}

TEST_F(LogDispatchTest, LosesTheRulesOfAFileThatCannotBeMade)
{
    qzLog& log = *qzLog::msInstance;
    const support::ScratchFolder folder;
    folder.write("file", "");
    log.installFileHandlerExUtf8(folder.getPath("file/log.txt"), 4, 1000, 7, qzLog::RotateDaily);
    const qzLogParameters& kept = qzLogTestPeer::editParameters(log);
    EXPECT_EQ(getNames(kept), "");
    EXPECT_EQ(kept.fileFlags + kept.maxFileCount + kept.maxFileSize, 0);
    EXPECT_EQ(kept.timeRotation, qzLog::RotateNever);
    EXPECT_FALSE(kept.rotationPending);
    EXPECT_FALSE(kept.echoToConsole);
    EXPECT_TRUE(kept.consoleFallback);
}

TEST_F(LogDispatchTest, RemovesOldFilesOnANewDayInAForkedChildToo)
{
    const support::ScratchFolder folder;
    folder.write("log-2000-01-01.txt", "");
    log::LogFile(mParameters).request({folder.getPath("log.txt"), 0, -1, 0, qzLog::RotateDaily});
    mParameters.rotationPending = false;
    mParameters.currentFileUtf8 = folder.getPath("log-2000-01-01.txt");
    mParameters.currentFileDay = 0;
    log::LogFile(mParameters).resumeChild();
    dispatch({makeEntry(qzLog::Info, "text")});
    EXPECT_NE(::access(folder.getPath("log-2000-01-01.txt").c_str(), F_OK), 0);
    EXPECT_EQ(::access(mParameters.currentFileUtf8.c_str(), F_OK), 0);
}

struct SettingRow {
    const char* name;
    bool isSetting;
    void (*change)(qzLogParameters& parameters);
};

class LogSettings : public ::testing::TestWithParam<SettingRow> {};

TEST_P(LogSettings, AreTheSameExceptForTheirRow)
{
    qzLogParameters left;
    const qzLogParameters right;
    EXPECT_TRUE(haveSameSettings(left, right));
    GetParam().change(left);
    EXPECT_EQ(haveSameSettings(left, right), !GetParam().isSetting);
    EXPECT_EQ(haveSameSettings(right, left), !GetParam().isSetting);
}

using Fields = qzLogParameters;
const SettingRow kSettingRows[] = {
    {"customHandler", true, [](Fields& fields) { fields.customHandler = [](Batch&, void*) {}; }},
    {"customHandlerData", true, [](Fields& fields) { fields.customHandlerData = &fields; }},
    {"subTypeBlacklist", true, [](Fields& fields) { fields.subTypeBlacklist = {"a"}; }},
    {"pendingNotice", false, [](Fields& fields) { fields.pendingNotice = "a"; }},
    {"fileFlags", true, [](Fields& fields) { fields.fileFlags = 1; }},
    {"maxFileCount", true, [](Fields& fields) { fields.maxFileCount = 1; }},
    {"maxFileSize", true, [](Fields& fields) { fields.maxFileSize = 1; }},
    {"timeRotation", true, [](Fields& fields) { fields.timeRotation = qzLog::RotateDaily; }},
    {"echoToConsole", true, [](Fields& fields) { fields.echoToConsole = false; }},
    {"consoleFallback", true, [](Fields& fields) { fields.consoleFallback = true; }},
    {"rotationPending", false, [](Fields& fields) { fields.rotationPending = true; }},
    {"folder", true, [](Fields& fields) { fields.folder = "a"; }},
    {"baseName", true, [](Fields& fields) { fields.baseName = "a"; }},
    {"extension", true, [](Fields& fields) { fields.extension = "a"; }},
    {"requestedPath", true, [](Fields& fields) { fields.requestedPath = "a"; }},
    {"currentFileUtf8", false, [](Fields& fields) { fields.currentFileUtf8 = "a"; }},
    {"currentFileLocal", false, [](Fields& fields) { fields.currentFileLocal = "a"; }},
    {"currentFileDay", false, [](Fields& fields) { fields.currentFileDay = 1; }},
};

INSTANTIATE_TEST_SUITE_P(Rows, LogSettings, ::testing::ValuesIn(kSettingRows),
                         [](const auto& row) { return std::string(row.param.name); });

// --- Random batches against a model of the rules

class LogDispatchGenerated : public ::testing::TestWithParam<unsigned> {};

namespace {

// What each outlet is to get, by messages. Reads as the rules do.
struct Model {
    std::set<std::string> blacklist;
    std::string notice;
    std::vector<std::string> console;
    std::vector<std::string> handler;

    void dispatch(const Batch& batch)
    {
        for (const Entry& entry : batch) {
            const bool isDebug = entry.type == qzLog::Debug;
            if (isDebug && !entry.subType.empty() && blacklist.count(entry.subType) > 0) return;
            if (isDebug && !notice.empty()) {
                console.push_back(notice);
                handler.push_back(notice + ';');
                notice.clear();
            }
            console.push_back(entry.message);
        }
        std::string call;
        for (const Entry& entry : batch)
            call += entry.message + ';';
        handler.push_back(call);
    }
};

std::vector<std::string> takeMessages(const std::string& console)
{
    std::vector<std::string> messages;
    std::istringstream lines(console);
    for (std::string line; std::getline(lines, line);)
        messages.push_back(line.substr(line.rfind(" : ") + 3));
    return messages;
}

}  // namespace

TEST_P(LogDispatchGenerated, FollowsTheModel)
{
    const LibraryStart library;
    reference::Generator generator(GetParam());
    const std::string subTypes[] = {"", "a", "b", "c"};
    Model model;
    qzLogParameters parameters;
    std::vector<std::string> calls;
    parameters.customHandlerData = &calls;
    parameters.customHandler = [](Batch& batch, void* data) {
        std::string call;
        for (const Entry& entry : batch)
            call += entry.message + ';';
        static_cast<std::vector<std::string>*>(data)->push_back(call);
        batch.clear();
    };
    const ConsoleRecorder console;
    for (int run = 0; run < 500; ++run) {
        if (generator.toss()) model.notice = parameters.pendingNotice = "n" + std::to_string(run);
        if (generator.toss()) model.blacklist = {generator.choose(subTypes)};
        parameters.subTypeBlacklist = model.blacklist;
        Batch batch;
        for (long left = generator.getNumber(0, 5); left > 0; --left) {
            batch.push_back(makeEntry(static_cast<int>(generator.getNumber(0, 6)),
                                      "m" + std::to_string(run) + '-' + std::to_string(left),
                                      generator.choose(subTypes)));
        }
        model.dispatch(batch);
        qzLog::WriteImpl(parameters, batch);
        ASSERT_EQ(parameters.pendingNotice, model.notice) << "run " << run;
    }
    EXPECT_EQ(calls, model.handler) << "seed " << GetParam();
    EXPECT_EQ(takeMessages(console.getText()), model.console) << "seed " << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Seeds, LogDispatchGenerated, ::testing::ValuesIn(reference::kSeeds));

}  // namespace qz
