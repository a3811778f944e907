// SPDX-License-Identifier: MIT
// The road of entries and settings to the log thread. The thread is held in a handler where the
// order matters, and its flags tell when somebody waits.

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzThread.h>

#include "log/ConsoleRecorder.h"
#include "log/GatedHandler.h"
#include "log/qzLogThreadTestPeer.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"
#include "support/Waiting.h"

namespace qz {

using support::LibraryStart;
using support::ScratchFolder;
using support::waitUntil;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Entry = qzLog::LogEntry;

namespace {

constexpr std::uint64_t kMostQueuedBytes = 16777216;

void write(const std::string& message, bool synchronous = false, int type = qzLog::Info,
           const std::string& subType = {})
{
    Entry entry;
    entry.type = type;
    entry.message = message;
    entry.subType = subType;
    qzLog::msInstance->Write(entry, synchronous);
}

// A call on a thread of its own, which may take its time.
class Call {
public:
    explicit Call(std::function<void()> work)
        : mThread([this, work = std::move(work)] {
              work();
              mHasReturned = true;
          })
    {
    }
    ~Call() { mThread.join(); }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    bool hasReturned() const { return mHasReturned; }
    bool awaitReturn() const
    {
        return waitUntil([this] { return mHasReturned.load(); });
    }

private:
    std::atomic<bool> mHasReturned = false;
    std::thread mThread;
};

// Long enough for a call to return that doesn't wait. A call that does wait is still there then.
void giveTime()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

}  // namespace

class qzLogThreadTest : public ::testing::Test {
protected:
    qzLogThreadTest() { log().setLogLevel(LogLevelDebug); }

    static qzLog& log() { return *qzLog::msInstance; }

    // Whether a call waits for the batch that holds the log thread. It may wake up by itself or for
    // the end of an earlier wait, and is then still right to go.
    bool waitsForTheLogThread(const std::function<void()>& work)
    {
        const Call call(work);
        const bool isWaiting =
            waitUntil([&] { return call.hasReturned() || mThread.getWaiting() > 0; });
        giveTime();
        const bool result = isWaiting && !call.hasReturned() && mHandler.isHeld();
        mHandler.release();
        EXPECT_TRUE(call.awaitReturn());
        return result;
    }

    const LibraryStart mLibrary{FullInit};
    const ConsoleRecorder mConsole;
    GatedHandler mHandler;
    const qzLogTestPeer::Thread mThread{log()};
};

// --- The fields

TEST_F(qzLogThreadTest, HasItsFieldsInTheirOrderAfterTheBase)
{
    constexpr std::ptrdiff_t kShared = sizeof(std::string);
    constexpr std::ptrdiff_t kQueue = kShared + sizeof(qzLogParameters);
    constexpr std::ptrdiff_t kMutex = kQueue + sizeof(std::list<Entry>) + sizeof(std::uint64_t);
    constexpr std::ptrdiff_t kConditions = kMutex + sizeof(qzMutex);
    constexpr std::ptrdiff_t kFlags = kConditions + 2 * sizeof(qzWaitCondition);
    EXPECT_EQ(mThread.getOffsetOfFirst(), std::ptrdiff_t(sizeof(qzThread)));
    EXPECT_THAT(mThread.getOffsets(),
                ElementsAre(0, kShared, kQueue, kMutex - 8, kMutex, kConditions,
                            kConditions + sizeof(qzWaitCondition), kFlags, kFlags + 1, kFlags + 2,
                            kFlags + 3, kFlags + 8));
    EXPECT_EQ(sizeof(qzLogThread), 936U);
}

TEST_F(qzLogThreadTest, KnowsItsOwnId)
{
    log().flush();
    EXPECT_THAT(mThread.getOwnThreadId(), ::testing::MatchesRegex("[0-9]+"));
    EXPECT_NE(mThread.getOwnThreadId(), qzThread::CurrentThreadId());
}

// --- Writers

TEST_F(qzLogThreadTest, HasAnEntryOutWhenASynchronousWriteReturns)
{
    write("text", /*synchronous=*/true);
    EXPECT_THAT(mHandler.getMessages(), ElementsAre("text"));
    EXPECT_THAT(mConsole.getFlushedText(), HasSubstr(" : text\n"));
}

TEST_F(qzLogThreadTest, LetsAPlainWriteReturnAheadOfTheLine)
{
    mHandler.hold();
    write("plain");
    EXPECT_THAT(mHandler.getMessages(), ElementsAre("held"));
    EXPECT_EQ(mThread.getQueueSize(), 1U);
    EXPECT_EQ(mThread.getQueuedBytes(), 5U);
    EXPECT_TRUE(mThread.hasEntries());
    EXPECT_FALSE(mThread.isFlushRequested());
    mHandler.release();
    log().flush();
    EXPECT_THAT(mHandler.getMessages(), ElementsAre("held", "plain"));
    EXPECT_EQ(mThread.getQueuedBytes(), 0U);
    EXPECT_FALSE(mThread.hasEntries());
}

TEST_F(qzLogThreadTest, LetsASynchronousWriteWaitForTheBatchesAheadOfIt)
{
    mHandler.hold();
    write("before");
    EXPECT_TRUE(waitsForTheLogThread([] { write("text", /*synchronous=*/true); }));
    EXPECT_THAT(mHandler.getMessages(), ElementsAre("held", "before", "text"));
}

TEST_F(qzLogThreadTest, LetsAFlushWaitForTheBatchUnderWay)
{
    mHandler.hold();
    EXPECT_TRUE(waitsForTheLogThread([] { log().flush(); }));
}

TEST_F(qzLogThreadTest, LetsAPlainWriteWaitWhileSomebodyElseFlushes)
{
    mHandler.hold();
    const Call flush([] { log().flush(); });
    ASSERT_TRUE(waitUntil([&] { return mThread.isFlushRequested(); }));
    EXPECT_TRUE(waitsForTheLogThread([] { write("plain"); }));
    EXPECT_THAT(mHandler.getMessages(), ElementsAre("held", "plain"));
}

TEST_F(qzLogThreadTest, LetsAWaitEndEarlyWhenItIsWokenWithoutAReason)
{
    mHandler.hold();
    const Call call([] { write("text", /*synchronous=*/true); });
    ASSERT_TRUE(waitUntil([&] { return mThread.getWaiting() == 1; }));
    mThread.wakeWaiters();
    EXPECT_TRUE(call.awaitReturn());
    EXPECT_TRUE(mHandler.isHeld());
}

TEST_F(qzLogThreadTest, HoldsAWriterBackOnlyBeyondTheMostBytes)
{
    log().setEchoToConsole(false);
    mHandler.hold();
    const std::string block(65536, 'x');
    for (std::uint64_t bytes = 0; bytes < kMostQueuedBytes; bytes += block.size())
        write(block);
    EXPECT_EQ(mThread.getQueuedBytes(), kMostQueuedBytes);
    EXPECT_FALSE(mThread.isFlushRequested());
    EXPECT_TRUE(waitsForTheLogThread([] { write("x"); }));
    EXPECT_EQ(mHandler.getMessages().size(), 1 + kMostQueuedBytes / block.size() + 1);
    EXPECT_EQ(mHandler.getMessages().back(), "x");
    EXPECT_EQ(mThread.getQueuedBytes(), 0U);
}

TEST_F(qzLogThreadTest, CountsTheMessagesAloneAsQueuedBytes)
{
    mHandler.hold();
    Entry entry;
    entry.message = "12345";
    entry.subType = "sub";
    entry.systemLogTag = "tag";
    entry.threadId = "4711";
    entry.prefix = "prefix";
    log().Write(entry, /*synchronous=*/false);
    write("");
    EXPECT_EQ(mThread.getQueuedBytes(), 5U);
    EXPECT_EQ(entry.message + entry.subType + entry.systemLogTag + entry.threadId + entry.prefix,
              "");
}

TEST_F(qzLogThreadTest, TakesTheWholeQueueAsOneBatch)
{
    mHandler.hold();
    write("1");
    write("2");
    write("3");
    mHandler.release();
    log().flush();
    EXPECT_THAT(mHandler.getBatches(), ElementsAre("held", "1;2;3"));
}

TEST_F(qzLogThreadTest, EndsABatchAtASwitchedOffEntry)
{
    log().setSubTypeEnabled("off", false);
    mHandler.hold();
    write("1");
    write("2", false, qzLog::Debug, "off");
    write("3");
    mHandler.release();
    log().flush();
    EXPECT_THAT(mHandler.getBatches(), ElementsAre("held"));
    EXPECT_THAT(mConsole.getText(), HasSubstr(" : 1\n"));
    EXPECT_THAT(mConsole.getText(), Not(HasSubstr(" : 3\n")));
}

// --- Settings

namespace {

struct Setting {
    const char* name;
    void (*change)(const std::string& folder);
    void (*prepare)(const std::string& folder);  // what makes the next one change nothing
    void (*repeat)();
};

void ignore(std::list<Entry>& /*batch*/, void* /*data*/) {}

void installFile(const std::string& folder)
{
    qzLog::msInstance->installFileHandlerUtf8(folder + "/a.txt");
}

const Setting kSettings[] = {
    {"Echo", [](const std::string&) { qzLog::msInstance->setEchoToConsole(false); },
     [](const std::string&) { qzLog::msInstance->setEchoToConsole(true); },
     [] { qzLog::msInstance->setEchoToConsole(true); }},
    {"Handler",
     [](const std::string&) { qzLog::msInstance->installCustomHandler(nullptr, nullptr); },
     [](const std::string&) {},
     [] { EXPECT_FALSE(qzLog::msInstance->installCustomHandler(&ignore, nullptr)); }},
    {"SubTypes", [](const std::string&) { qzLog::msInstance->setSubTypeEnabled("a", false); },
     [](const std::string&) { qzLog::msInstance->setSubTypeEnabled("a", false); },
     [] { qzLog::msInstance->setSubTypeEnabled(std::vector<std::string>{"\ta "}, false); }},
    {"FileName", installFile, installFile,
     [] { EXPECT_NE(qzLog::msInstance->getCurrentLogFileNameUtf8(), ""); }},
    {"NoFile",
     [](const std::string& folder) {
         installFile(folder);
         qzLog::msInstance->removeFileHandler();
     },
     [](const std::string&) {}, [] { qzLog::msInstance->removeFileHandler(); }},
};

}  // namespace

struct SettingFolder {
    const ScratchFolder mFolder;
};

// The folder is removed after the stop of the library, whose thread may make it once more before.
class qzLogThreadSetting : public SettingFolder,
                           public qzLogThreadTest,
                           public ::testing::WithParamInterface<Setting> {};

TEST_P(qzLogThreadSetting, WaitsForWhatWasWrittenBefore)
{
    mHandler.hold();
    write("before");
    EXPECT_TRUE(waitsForTheLogThread([this] { GetParam().change(mFolder.getPath()); }));
    EXPECT_THAT(mHandler.getMessages(), ElementsAre("held", "before"));
    EXPECT_TRUE(waitUntil([this] { return !mThread.isReconfigurePending(); }))
        << "it waits for the next line";
}

TEST_P(qzLogThreadSetting, ReachesTheLogThreadWithoutALine)
{
    GetParam().change(mFolder.getPath());
    EXPECT_TRUE(waitUntil([this] { return !mThread.isReconfigurePending(); }));
}

TEST_P(qzLogThreadSetting, PublishesNothingWhereItStandsAlready)
{
    GetParam().prepare(mFolder.getPath());
    log().flush();
    mHandler.hold();
    write("before");
    GetParam().repeat();
    EXPECT_FALSE(mThread.isFlushRequested());
    EXPECT_FALSE(mThread.isReconfigurePending());
    EXPECT_TRUE(mHandler.isHeld());
}

INSTANTIATE_TEST_SUITE_P(Rows, qzLogThreadSetting, ::testing::ValuesIn(kSettings),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzLogThreadTest, WritesWhatWasThereBeforeUnderTheOldSettings)
{
    mHandler.hold();
    write("before");
    EXPECT_TRUE(waitsForTheLogThread([] { log().setEchoToConsole(false); }));
    write("behind", /*synchronous=*/true);
    EXPECT_THAT(mConsole.getText(), HasSubstr(" : before\n"));
    EXPECT_THAT(mConsole.getText(), Not(HasSubstr(" : behind\n")));
}

TEST_F(qzLogThreadTest, KeepsWhatAnotherThreadSetMeanwhile)
{
    mHandler.hold();
    write("before");
    const Call echo([] { log().setEchoToConsole(false); });
    const Call off([] { log().setSubTypeEnabled("a", false); });
    const Call more([] { log().setSubTypeEnabled("b", false); });
    ASSERT_TRUE(waitUntil([this] { return mThread.getWaiting() == 3; }));
    mHandler.release();
    EXPECT_TRUE(echo.awaitReturn() && off.awaitReturn() && more.awaitReturn());
    const qzLogParameters shared = mThread.getShared();
    EXPECT_FALSE(shared.echoToConsole);
    EXPECT_THAT(shared.subTypeBlacklist, ElementsAre("a", "b"));
    EXPECT_EQ(shared.pendingNotice, "log type blacklist : 'a'' ''b'");
}

TEST_F(qzLogThreadTest, DoesNotWaitWhereNothingIsQueued)
{
    log().flush();
    const qzMutexLocker locker(mThread.editMutex());  // the log thread can't confirm anything
    log().setEchoToConsole(false);
    log().setSubTypeEnabled("a", false);
    EXPECT_TRUE(mThread.isReconfigurePending());
}

TEST_F(qzLogThreadTest, CallsAnOldHandlerNoMoreWhenItsRemovalIsDone)
{
    log().installCustomHandler(nullptr, nullptr);
    log().setEchoToConsole(false);
    std::atomic<bool> isOver = false;
    std::vector<std::unique_ptr<Call>> writers;
    for (int i = 0; i < 4; ++i) {
        writers.push_back(std::make_unique<Call>([&isOver] {
            while (!isOver)
                write("text");
        }));
    }
    static std::atomic<int> lateCalls = 0;
    const auto look = [](std::list<Entry>&, void* isThere) {
        if (!*static_cast<std::atomic<bool>*>(isThere)) ++lateCalls;
    };
    std::vector<std::atomic<bool>> areThere(60);
    for (std::atomic<bool>& isThere : areThere) {
        isThere = true;
        log().installCustomHandler(look, &isThere);
        log().installCustomHandler(nullptr, nullptr);
        isThere = false;
    }
    isOver = true;
    writers.clear();
    EXPECT_EQ(lateCalls, 0);
}

// --- Inside the handler

namespace {

// Does everything that would wait elsewhere, with entries in the queue.
void callEverything(std::list<Entry>& batch, void* folder)
{
    if (batch.front().message != "go") return;
    qzLog& log = *qzLog::msInstance;
    write("inside");
    write("inside synchronously", /*synchronous=*/true);
    logCritical() << "report";
    log.flush();
    log.setEchoToConsole(false);
    log.setEchoToConsole(true);
    log.setSubTypeEnabled("x", false);
    log.setSubTypeEnabled(std::vector<std::string>{"y"}, false);
    log.installFileHandlerUtf8(*static_cast<std::string*>(folder) + "/first.txt");
    log.installFileHandlerExUtf8(*static_cast<std::string*>(folder) + "/last.txt", 4, -1, -1,
                                 qzLog::RotateNever);
    EXPECT_EQ(log.getCurrentLogFileNameUtf8(), *static_cast<std::string*>(folder) + "/last.txt");
    EXPECT_FALSE(log.installCustomHandler(&ignore, nullptr));
    log.installCustomHandler(nullptr, nullptr);
    EXPECT_TRUE(log.installCustomHandler(&callEverything, folder));
}

}  // namespace

TEST(qzLogThreadInsideTest, TakesEveryCallWithoutAWait)
{
    const LibraryStart library(FullInit);
    const ConsoleRecorder console;
    const ScratchFolder folder;
    std::string path = folder.getPath();
    qzLog::msInstance->installCustomHandler(&callEverything, &path);
    write("go", /*synchronous=*/true);
    write("behind", /*synchronous=*/true);
    for (const char* text :
         {" : go\n", " : inside\n", " : inside synchronously\n", " : report\n", " : behind\n"}) {
        EXPECT_THAT(console.getText(), HasSubstr(text));
    }
    EXPECT_THAT(folder.read("last.txt"), HasSubstr(" : behind\n"));
    EXPECT_EQ(folder.read("first.txt"), "") << "it was overtaken, and is made all the same";
    qzLog::msInstance->installCustomHandler(nullptr, nullptr);
}

// --- The thread itself

TEST_F(qzLogThreadTest, IsMadeOnce)
{
    const qzLogThread* const thread = qzLogTestPeer::Thread::get(log());
    ASSERT_NE(thread, nullptr);
    log().makeThreadSafe();
    EXPECT_EQ(qzLogTestPeer::Thread::get(log()), thread);
}

TEST(qzLogThreadStartTest, TakesOverWhatTheLightStateSet)
{
    const LibraryStart light;
    const ConsoleRecorder console;
    const ScratchFolder folder;
    qzLog& log = *qzLog::msInstance;
    log.setSubTypeEnabled("off", false);
    log.installFileHandlerExUtf8(folder.getPath("a.txt"), 4, 1000, 7, qzLog::RotateDaily);
    const qzLogParameters before = qzLogTestPeer::editParameters(log);
    const LibraryStart full(FullInit);
    const qzLogTestPeer::Thread thread(log);
    ASSERT_TRUE(waitUntil([&] { return !thread.isReconfigurePending(); }));
    log.flush();
    const qzLogParameters& working = thread.getWorking();
    EXPECT_TRUE(haveSameSettings(working, before));
    EXPECT_EQ(working.pendingNotice, before.pendingNotice);
    EXPECT_EQ(working.currentFileUtf8, before.currentFileUtf8);
    EXPECT_TRUE(thread.hasFolderLock());
}

TEST_F(qzLogThreadTest, HoldsAFolderLockWhileItHasAFile)
{
    const ScratchFolder folder;
    EXPECT_FALSE(mThread.hasFolderLock());
    log().installFileHandlerUtf8(folder.getPath("a.txt"));
    ASSERT_TRUE(waitUntil([this] { return !mThread.isReconfigurePending(); }));
    log().flush();
    EXPECT_TRUE(mThread.hasFolderLock());
    log().removeFileHandler();
    log().flush();
    EXPECT_FALSE(mThread.hasFolderLock());
}

TEST_F(qzLogThreadTest, MovesItsFolderLockWithItsFile)
{
    const ScratchFolder folders[2];
    const auto getLock = [&folders](int i) {
        std::string name = folders[i].getPath();
        for (char& character : name) {
            if (character == '/' || character == '.') character = '_';
        }
        return std::filesystem::path("/var/lock/" + name);
    };
    log().installFileHandlerUtf8(folders[0].getPath("a.txt"));
    log().flush();
    EXPECT_TRUE(exists(getLock(0)));
    log().installFileHandlerUtf8(folders[1].getPath("a.txt"));
    log().flush();
    EXPECT_FALSE(exists(getLock(0)));
    EXPECT_TRUE(exists(getLock(1)));
    log().removeFileHandler();
    log().flush();
    EXPECT_FALSE(exists(getLock(1)));
}

TEST_F(qzLogThreadTest, ChangesTheLevelWithoutItsMutex)
{
    ASSERT_TRUE(waitUntil([this] { return !mThread.isReconfigurePending(); }));
    mThread.editMutex().lock();
    const Call call([] { qzLog::msInstance->setLogLevel(LogLevelAll); });
    EXPECT_TRUE(call.awaitReturn());
    mThread.editMutex().unlock();
    EXPECT_FALSE(mThread.isReconfigurePending());
}

TEST_F(qzLogThreadTest, PublishesTheDataThatComeWithNoHandler)
{
    int first = 0;
    int second = 0;
    log().installCustomHandler(nullptr, &first);
    log().installCustomHandler(nullptr, &second);
    EXPECT_EQ(mThread.getShared().customHandlerData, &second);
}

// Another one of the folder, as another process would hold it.
TEST_F(qzLogThreadTest, InstallsAndWritesUnderTheLockOfTheFolder)
{
    const ScratchFolder folder;
    qzMutexSystem lock(folder.getPath().c_str());
    lock.lock();
    log().installFileHandlerUtf8(folder.getPath("a.txt"));
    ASSERT_TRUE(waitUntil([this] { return !mThread.isReconfigurePending(); }));
    EXPECT_TRUE(mThread.isFlushRequested()) << "until the queue is empty under the new settings";
    {
        const Call call([] { write("text"); });
        EXPECT_TRUE(waitUntil([this] { return mThread.getWaiting() == 1; }));
        giveTime();
        EXPECT_FALSE(call.hasReturned());
        EXPECT_EQ(::access(folder.getPath("a.txt").c_str(), F_OK), -1);
        lock.unlock();
        EXPECT_TRUE(call.awaitReturn());
    }
    EXPECT_THAT(folder.read("a.txt"), HasSubstr(" : text\n"));
    lock.lock();
    write("more");
    giveTime();
    EXPECT_THAT(folder.read("a.txt"), Not(HasSubstr(" : more\n")));
    lock.unlock();
    log().flush();
    EXPECT_THAT(folder.read("a.txt"), HasSubstr(" : more\n"));
}

TEST(qzLogThreadStopTest, WritesWhatIsQueued)
{
    std::vector<std::string> messages;
    {
        const LibraryStart library(FullInit);
        const ConsoleRecorder console;
        GatedHandler handler;
        handler.hold();
        for (int i = 0; i < 100; ++i)
            write(std::to_string(i));
        const Call open([&handler] {
            giveTime();
            handler.release();
        });
        qzLog::destroyInstance();
        messages = handler.getMessages();
    }
    EXPECT_EQ(messages.size(), 101U);
    EXPECT_EQ(messages.back(), "99");
}

TEST(qzLogThreadStopTest, LetsWaitingWritersGo)
{
    const LibraryStart library(FullInit);
    const ConsoleRecorder console;
    GatedHandler handler;
    const auto thread = std::make_unique<qzLogTestPeer::Thread>(*qzLog::msInstance);
    handler.hold();
    std::vector<std::unique_ptr<Call>> writers;
    for (int i = 0; i < 7; ++i) {
        writers.push_back(std::make_unique<Call>([] { write("text", /*synchronous=*/true); }));
    }
    writers.push_back(std::make_unique<Call>([] { qzLog::msInstance->flush(); }));
    ASSERT_TRUE(waitUntil([&] { return thread->getWaiting() == 8; }));
    const Call open([&] {
        // The stop wakes them, before the end of the batch.
        for (const auto& writer : writers)
            EXPECT_TRUE(writer->awaitReturn());
        handler.release();
    });
    qzLog::destroyInstance();
    EXPECT_EQ(handler.getMessages().size(), 8U);
}

// Others wait with a setting for the end of the queue: the stop ends that too.
TEST(qzLogThreadStopTest, LetsWaitingSettingsGo)
{
    const LibraryStart library(FullInit);
    const ConsoleRecorder console;
    GatedHandler handler;
    const auto thread = std::make_unique<qzLogTestPeer::Thread>(*qzLog::msInstance);
    handler.hold();
    write("text");
    const Call setting([] { qzLog::msInstance->setEchoToConsole(false); });
    ASSERT_TRUE(waitUntil([&] { return thread->getWaiting() == 1; }));
    const Call open([&] {
        EXPECT_TRUE(setting.awaitReturn());
        handler.release();
    });
    qzLog::destroyInstance();
    EXPECT_THAT(handler.getMessages(), ElementsAre("held", "text"));
}

}  // namespace qz
