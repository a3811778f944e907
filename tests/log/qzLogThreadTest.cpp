// SPDX-License-Identifier: MIT
// The log thread as callers meet it: its settings, a stop, a fork, many writers, its memory.

#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <iostream>
#include <list>
#include <set>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ConcurrentPool.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>

#include "log/ConsoleRecorder.h"
#include "log/GatedHandler.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"
#include "support/Waiting.h"

namespace qz {

using support::ChildResult;
using support::LibraryStart;
using support::runInChild;
using support::ScratchFolder;
using support::waitUntil;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Entry = qzLog::LogEntry;

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif

void write(const std::string& message, int type = qzLog::Info, const std::string& subType = {})
{
    Entry entry;
    entry.type = type;
    entry.message = message;
    entry.subType = subType;
    qzLog::msInstance->Write(entry, /*synchronous=*/false);
}

// The lines of a console or a file without their prefixes.
std::vector<std::string> takeMessages(const std::string& text)
{
    std::vector<std::string> messages;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        messages.push_back(line.substr(line.find(" : ") + 3));
    return messages;
}

}  // namespace

// --- Sub-types, in both states

class qzLogSubType : public ::testing::TestWithParam<InitType> {
protected:
    qzLogSubType() { log().setLogLevel(LogLevelDebug); }

    static qzLog& log() { return *qzLog::msInstance; }
    // What the console shows of a DEBUG entry of a sub-type.
    std::vector<std::string> show(const std::string& subType, int type = qzLog::Debug)
    {
        log().flush();
        const std::size_t before = mConsole.getText().size();
        write("text", type, subType);
        log().flush();
        return takeMessages(mConsole.getText().substr(before));
    }
    // What is said about the sub-types that are off, once.
    std::string showNotice()
    {
        const std::vector<std::string> lines = show("");
        return lines.size() == 2 ? lines.front() : std::to_string(lines.size()) + " lines";
    }

    const LibraryStart mLibrary{GetParam()};
    const ConsoleRecorder mConsole;
};

TEST_P(qzLogSubType, AreSwitchedOffByAText)
{
    log().setSubTypeEnabled(" a ; b|c ", false);
    EXPECT_EQ(showNotice(), "log type blacklist : 'a'' ''b'' ''c'");
    for (const char* off : {"a", "b", "c"})
        EXPECT_THAT(show(off), IsEmpty()) << off;
    EXPECT_THAT(show("d"), ElementsAre("text"));
    EXPECT_THAT(show(""), ElementsAre("text"));
}

TEST_P(qzLogSubType, StandBetweenEachOfTheSeparators)
{
    log().setSubTypeEnabled(" /\\,;|one two/three\\four,five;six|seven /\\,;|", false);
    EXPECT_EQ(showNotice(),
              "log type blacklist : 'five'' ''four'' ''one'' ''seven'' ''six'' ''three'' ''two'");
}

TEST_P(qzLogSubType, LoseTheWhiteSpaceAroundThemInATextToo)
{
    log().setSubTypeEnabled("\ta\n;\vb\f\r", false);
    EXPECT_EQ(showNotice(), "log type blacklist : 'a'' ''b'");
}

TEST_P(qzLogSubType, AreNotTouchedByANullTextOrOneOfSeparators)
{
    log().setSubTypeEnabled(nullptr, false);
    log().setSubTypeEnabled("", false);
    log().setSubTypeEnabled(" ;|", false);
    EXPECT_EQ(showNotice(), "1 lines");
}

TEST_P(qzLogSubType, LoseTheWhiteSpaceAroundThemInAVectorButNotWithin)
{
    log().setSubTypeEnabled(std::vector<std::string>{" \t\n\v\f\ra b, c\r\f\v\n\t "}, false);
    EXPECT_EQ(showNotice(), "log type blacklist : 'a b, c'");
    EXPECT_THAT(show("a b, c"), IsEmpty());
}

TEST_P(qzLogSubType, MayHaveAnEmptyName)
{
    log().setSubTypeEnabled({std::string(), "  "}, false);
    EXPECT_EQ(showNotice(), "log type blacklist : ''");
    EXPECT_THAT(show(""), ElementsAre("text")) << "no sub-type is none that can be off";
}

TEST_P(qzLogSubType, KeepZeroBytesAndBytesBeyondAscii)
{
    const std::string name("n\0\xC3\xA9\xA0", 5);
    log().setSubTypeEnabled({name}, false);
    EXPECT_EQ(showNotice(), "log type blacklist : '" + name + "'");
    EXPECT_THAT(show(name), IsEmpty());
}

TEST_P(qzLogSubType, AreNamedInTheOrderOfTheirBytes)
{
    log().setSubTypeEnabled({"b", "a", "\xC3\xA9", "B", "aa", "b"}, false);
    EXPECT_EQ(showNotice(), "log type blacklist : 'B'' ''a'' ''aa'' ''b'' ''\xC3\xA9'");
}

TEST_P(qzLogSubType, AreSwitchedOnAgain)
{
    log().setSubTypeEnabled("iodevice perf", false);
    EXPECT_EQ(showNotice(), "log type blacklist : 'iodevice'' ''perf'");
    log().setSubTypeEnabled(std::vector<std::string>{" iodevice"}, true);
    EXPECT_EQ(showNotice(), "log type blacklist : 'perf'");
    EXPECT_THAT(show("iodevice"), ElementsAre("text"));
    EXPECT_THAT(show("perf"), IsEmpty());
    log().setSubTypeEnabled("perf", true);
    EXPECT_EQ(showNotice(), "log type blacklist : ");
    EXPECT_THAT(show("perf"), ElementsAre("text"));
}

TEST_P(qzLogSubType, LeaveNoNoticeWhereNothingChanges)
{
    log().setSubTypeEnabled("a b c", false);
    EXPECT_EQ(showNotice(), "log type blacklist : 'a'' ''b'' ''c'");
    log().setSubTypeEnabled("a b c", false);
    log().setSubTypeEnabled("d", true);
    EXPECT_EQ(showNotice(), "1 lines");
}

TEST_P(qzLogSubType, AreTaggedWithTypeTimeAndThreadInTheNotice)
{
    log().setSubTypeEnabled("a", false);
    show("");
    EXPECT_THAT(mConsole.getText(),
                ::testing::MatchesRegex("DEBUG PID [0-9]+ TID [0-9]+ ... ... [0-9]+ .* : log type "
                                        "blacklist : 'a'\nDEBUG PID .* : text\n"));
}

TEST_P(qzLogSubType, BringTheirNoticeOutWithADebugEntryThatPasses)
{
    log().setSubTypeEnabled("off", false);
    EXPECT_THAT(show("", qzLog::Info), ElementsAre("text"));
    EXPECT_THAT(show("off", qzLog::Critical), ElementsAre("text"));
    EXPECT_THAT(show("off"), IsEmpty());
    EXPECT_THAT(show("on"), ElementsAre("log type blacklist : 'off'", "text"));
}

INSTANTIATE_TEST_SUITE_P(States, qzLogSubType, ::testing::Values(LightInit, FullInit),
                         [](const auto& state) {
                             return state.param == LightInit ? "Light" : "Full";
                         });

TEST(qzLogSubTypeNoticeTest, ComesBackAfterEachReconfigurationOfTheLogThread)
{
    const LibraryStart library(FullInit);
    const ConsoleRecorder console;
    qzLog& log = *qzLog::msInstance;
    log.setLogLevel(LogLevelDebug);
    log.setSubTypeEnabled("a", false);
    for (int i = 0; i < 3; ++i) {
        write("1", qzLog::Debug);
        write("2", qzLog::Debug);
        log.setEchoToConsole(false);
        log.setEchoToConsole(true);
    }
    log.setEchoToConsole(true);  // stands already, so it brings nothing back
    write("3", qzLog::Info);
    log.flush();
    const std::string notice = "log type blacklist : 'a'";
    EXPECT_THAT(takeMessages(console.getText()),
                ElementsAre(notice, "1", "2", notice, "1", "2", notice, "1", "2", "3"));
}

TEST(qzLogSubTypeNoticeTest, ComesOnceWithoutALogThread)
{
    const LibraryStart library;
    const ConsoleRecorder console;
    qzLog& log = *qzLog::msInstance;
    log.setSubTypeEnabled("a", false);
    write("1", qzLog::Debug);
    log.setEchoToConsole(false);
    log.setEchoToConsole(true);
    write("2", qzLog::Debug);
    EXPECT_THAT(takeMessages(console.getText()), ElementsAre("log type blacklist : 'a'", "1", "2"));
}

// --- The thread

TEST(qzLogThreadRunTest, IsAnotherOneThanTheWriters)
{
    const LibraryStart library(FullInit);
    const ConsoleRecorder console;
    static std::string threadId;
    const auto note = [](std::list<Entry>&, void*) { threadId = qzThread::CurrentThreadId(); };
    qzLog::msInstance->installCustomHandler(note, nullptr);
    qzLog::msInstance->setLogLevel(LogLevelDebug);
    logInfo() << "text";
    qzLog::msInstance->flush();
    EXPECT_NE(threadId, qzThread::CurrentThreadId());
    EXPECT_NE(threadId, "");
    EXPECT_THAT(console.getText(), HasSubstr(" TID " + qzThread::CurrentThreadId() + ' '));
}

TEST(qzLogThreadRunTest, LeavesTheAsynchronousSignalsToOtherThreads)
{
    sigset_t before;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &before);
    const LibraryStart library(FullInit);
    const ConsoleRecorder console;
    static sigset_t mask;
    const auto note = [](std::list<Entry>&, void*) {
        ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    };
    qzLog::msInstance->installCustomHandler(note, nullptr);
    write("text");
    qzLog::msInstance->flush();
    for (const int signal :
         {SIGHUP, SIGINT, SIGPIPE, SIGPROF, SIGPWR, SIGQUIT, SIGTSTP, SIGTERM, SIGTTIN, SIGTTOU,
          SIGURG, SIGUSR1, SIGUSR2, SIGVTALRM, SIGXCPU, SIGXFSZ}) {
        EXPECT_EQ(::sigismember(&mask, signal), 1) << signal;
    }
    for (const int signal : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP})
        EXPECT_EQ(::sigismember(&mask, signal), 0) << signal;
    sigset_t after;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal = 1; signal < 32; ++signal)
        EXPECT_EQ(::sigismember(&after, signal), ::sigismember(&before, signal)) << signal;
}

TEST(qzLogThreadRunTest, LetsTheLoggerGoOnWithoutItWhenTheSystemRefusesIt)
{
    const ChildResult child =
        support::runProgram({.program = "thread_refused", .arguments = {"log"}});
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_THAT(child.out, ::testing::MatchesRegex(".*EAGAIN\nINFO .* : text\nafter the text\n"));
}

TEST(qzLogThreadRunTest, EndsTheProcessWithAReportWhenAHandlerThrows)
{
    const ChildResult child = runInChild([] {
        const LibraryStart library(FullInit);
        const auto fail = [](std::list<Entry>& batch, void*) {
            if (batch.front().message == "bad") throw std::runtime_error("of the handler");
        };
        qzLog::msInstance->installCustomHandler(fail, nullptr);
        write("good");
        qzLog::msInstance->flush();
        write("bad");
        qzLog::msInstance->flush();
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "signal " + std::to_string(SIGABRT));
    EXPECT_THAT(child.out, HasSubstr(" : good\n"));
    EXPECT_THAT(child.out, HasSubstr(" : bad\n"));
    EXPECT_THAT(child.out, HasSubstr("Catch an exception : 'std::runtime_error(\"of the handler\")"
                                     "' see application and system logs\n"));
}

TEST(qzLogThreadRunTest, BringsEverythingOutAtTheStop)
{
    const ChildResult child = runInChild([] {
        initializeQzSystem(FullInit);
        for (int i = 0; i < 10000; ++i)
            logInfo() << i;
        terminateQzSystem();
        return 0;
    });
    ASSERT_EQ(child.getEnd(), "exit 0");
    const std::vector<std::string> messages = takeMessages(child.out);
    ASSERT_EQ(messages.size(), 10000U);
    for (std::size_t i = 0; i < messages.size(); ++i)
        ASSERT_EQ(messages[i], std::to_string(i));
}

TEST(qzLogThreadRunTest, EndsThoughAHandlerReportsInEachCall)
{
    const ChildResult child = runInChild(
        [] {
            const LibraryStart library;
            qzLog log(/*threadSafe=*/true);
            log.setEchoToConsole(false);
            const auto report = [](std::list<Entry>& /*batch*/, void* data) {
                Entry entry;
                entry.message = "again";
                entry.type = qzLog::Info;
                static_cast<qzLog*>(data)->Write(entry, /*synchronous=*/false);
            };
            log.installCustomHandler(report, &log);
            std::list<Entry> none;
            report(none, &log);
            return 0;
        },
        {}, 60);
    EXPECT_EQ(child.getEnd(), "exit 0");
}

TEST(qzLogThreadRunTest, IsThereAgainAfterARestart)
{
    for (int i = 0; i < 20; ++i) {
        const LibraryStart library(FullInit);
        const ConsoleRecorder console;
        logInfo() << i;
        qzLog::msInstance->flush();
        ASSERT_THAT(takeMessages(console.getText()), ElementsAre(std::to_string(i)));
    }
}

// --- Forked children

class qzLogForkedChildTest : public ::testing::Test {
protected:
    const LibraryStart mLibrary{FullInit};
    const ScratchFolder mFolder;
};

// Everything that would wait for the thread of the parent, which is held while the child lives.
TEST_F(qzLogForkedChildTest, WritesOnItsOwnThread)
{
    const ConsoleRecorder console;
    GatedHandler handler;
    handler.hold();
    write("queued in the parent");
    std::thread waiting([] { qzLog::msInstance->flush(); });
    const ChildResult child = runInChild(
        [] {
            std::cout.rdbuf(nullptr);
            std::string written;
            static std::string* const to = &written;
            const auto note = [](std::list<Entry>& batch, void*) {
                for (const Entry& entry : batch)
                    *to += entry.message + '\n';
            };
            qzLog& log = *qzLog::msInstance;
            log.installCustomHandler(nullptr, nullptr);
            log.installCustomHandler(note, nullptr);
            logInfo() << "plain";
            logCritical() << "synchronous";
            log.flush();
            log.setEchoToConsole(false);
            log.setSubTypeEnabled("a", false);
            log.removeFileHandler();
            IsQzSystemThreadSafe();
            terminateQzSystem();
            std::fputs(written.c_str(), stdout);
            return 0;
        },
        {}, /*timeoutSec=*/60);
    handler.release();
    waiting.join();
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_THAT(child.out,
                ::testing::MatchesRegex("plain\nsynchronous\n(Detect process fork after thread "
                                        "initialization from [0-9]+ to [0-9]+\n)+"));
    EXPECT_THAT(handler.getMessages(), ElementsAre("held", "queued in the parent"));
}

TEST_F(qzLogForkedChildTest, ReportsTheForkAtEachCheck)
{
    const ChildResult child = runInChild([] {
        CheckIfProcessForkAfterThreadSafeInit();
        IsQzSystemThreadSafe();
        return 0;
    });
    EXPECT_EQ(takeMessages(child.out).size(), 2U);
    EXPECT_THAT(child.out, ::testing::StartsWith("CRITICAL PID "));
}

TEST_F(qzLogForkedChildTest, TakesTheFileOverAsItIs)
{
    const ConsoleRecorder console;
    qzLog& log = *qzLog::msInstance;
    log.installFileHandlerExUtf8(mFolder.getPath("a.txt"), 0, -1, 0, qzLog::RotateNever);
    write("parent");
    log.flush();
    mFolder.write("a-foreign.txt", "");
    const ChildResult child = runInChild([] {
        write("child");
        write("child again");
        return 0;
    });
    write("parent again");
    log.flush();
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_THAT(takeMessages(mFolder.read("a.txt")),
                ElementsAre("parent", "child", "child again", "parent again"));
    EXPECT_EQ(mFolder.read("a-foreign.txt"), "") << "the child has pruned";
    EXPECT_EQ(log.getCurrentLogFileNameUtf8(), mFolder.getPath("a.txt"));
}

TEST_F(qzLogForkedChildTest, InstallsAFileOfItsOwn)
{
    const ConsoleRecorder console;
    const ChildResult child = runInChild([this] {
        qzLog::msInstance->installFileHandlerUtf8(mFolder.getPath("child.txt"));
        write("child");
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_THAT(takeMessages(mFolder.read("child.txt")), ElementsAre("child"));
    EXPECT_EQ(qzLog::msInstance->getCurrentLogFileNameUtf8(), "");
}

TEST_F(qzLogForkedChildTest, MayStartAThreadOfItsOwn)
{
    // Each lock, condition and thread that the stop destroys reports the fork: of the pool one
    // lock, three conditions and its workers, and the lock of the resources.
    const std::size_t reports = concurrent::GetConcurrentPool()->getWorkerCount() + 5U;
    const ChildResult child = runInChild([] {
        terminateQzSystem();
        const LibraryStart library(FullInit);
        logInfo() << "text";
        qzLog::msInstance->flush();
        return IsQzSystemThreadSafe() ? 0 : 1;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    std::vector<std::string> messages = takeMessages(child.out);
    ASSERT_THAT(messages, ::testing::Not(IsEmpty()));
    EXPECT_EQ(messages.back(), "text");
    messages.pop_back();
    EXPECT_THAT(messages, ::testing::Each(HasSubstr("Detect process fork")));
    EXPECT_THAT(messages, ::testing::SizeIs(reports));
}

TEST_F(qzLogForkedChildTest, HasChildrenThatWriteToo)
{
    const ChildResult child = runInChild([] {
        const ChildResult grandChild = runInChild([] {
            write("grandchild");
            return 0;
        });
        std::cout << grandChild.out;
        return grandChild.exitCode;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_THAT(takeMessages(child.out), ElementsAre("grandchild"));
}

// --- Many writers

namespace {

constexpr int kThreads = 8;
constexpr long kEntries = kIsSanitized ? 4000 : 200000;

// Follows the entries of each writer: "THREAD NUMBER" and a text that depends on both.
class Follower {
public:
    static std::string makeMessage(int thread, long number)
    {
        return std::to_string(thread) + ' ' + std::to_string(number) + ' ' +
               std::string(static_cast<std::size_t>((number * 7 + thread) % 90),
                           static_cast<char>('a' + (number + thread) % 26));
    }

    static void Receive(std::list<Entry>& batch, void* follower)
    {
        static_cast<Follower*>(follower)->receive(batch);
    }

    void receive(const std::list<Entry>& batch)
    {
        for (const Entry& entry : batch)
            follow(entry.message);
    }
    void follow(const std::string& message)
    {
        int thread = -1;
        long number = -1;
        if (std::sscanf(message.c_str(), "%d %ld", &thread, &number) != 2 || thread < 0 ||
            thread >= kThreads) {
            mOthers.insert(message);
            return;
        }
        mIsOrdered =
            mIsOrdered && number == mNext[thread] && message == makeMessage(thread, number);
        mNext[thread] = number + 1;
    }

    bool isOrdered() const { return mIsOrdered; }
    long getCount(int thread) const { return mNext[thread]; }
    const std::multiset<std::string>& getOthers() const { return mOthers; }

private:
    bool mIsOrdered = true;
    long mNext[kThreads] = {};
    std::multiset<std::string> mOthers;
};

void writeAsThread(int thread)
{
    for (long number = 0; number < kEntries; ++number) {
        Entry entry;
        entry.type = qzLog::Info;
        entry.message = Follower::makeMessage(thread, number);
        qzLog::msInstance->Write(entry, /*synchronous=*/number % 5000 == 4999);
    }
}

void expectEverything(const Follower& follower)
{
    EXPECT_TRUE(follower.isOrdered());
    for (int thread = 0; thread < kThreads; ++thread)
        EXPECT_EQ(follower.getCount(thread), kEntries) << "of thread " << thread;
}

// Takes what the console gets, until the end of the scope.
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

// Goes on with a change as long as the writers write.
void writeFromManyThreads(const std::function<void(int)>& change)
{
    std::atomic<bool> isOver = false;
    std::thread changer([&] {
        for (int i = 0; !isOver; ++i)
            change(i);
    });
    std::vector<std::thread> writers;
    for (int thread = 0; thread < kThreads; ++thread)
        writers.emplace_back(&writeAsThread, thread);
    for (std::thread& writer : writers)
        writer.join();
    isOver = true;
    changer.join();
}

}  // namespace

TEST(qzLogThreadStressTest, BringsEachEntryOutOnceAndInOrderWhileSettingsChange)
{
    Follower follower;
    const ConsoleSink sink;
    const ScratchFolder folder;
    {
        const LibraryStart library(FullInit);
        qzLog& log = *qzLog::msInstance;
        log.installCustomHandler(&Follower::Receive, &follower);
        writeFromManyThreads([&](int i) {
            log.setEchoToConsole(i % 8 == 0);
            log.setSubTypeEnabled("a b", i % 2 == 0);
            EXPECT_FALSE(log.installCustomHandler(&Follower::Receive, nullptr));
            if (i % 16 == 0) log.installFileHandlerUtf8(folder.getPath("log.txt"));
            if (i % 16 == 1) log.removeFileHandler();
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        });
    }
    expectEverything(follower);
    EXPECT_THAT(follower.getOthers(), IsEmpty());
}

TEST(qzLogThreadStressTest, BringsEachEntryToTheFileWhileHandlersComeAndGo)
{
    Follower byFile;
    const ConsoleSink sink;
    const ScratchFolder folder;
    {
        const LibraryStart library(FullInit);
        qzLog& log = *qzLog::msInstance;
        log.installFileHandlerExUtf8(folder.getPath("log.txt"), 4, -1, -1, qzLog::RotateNever);
        std::atomic<long> handled = 0;
        const qzLog::CustomHandler count = [](std::list<Entry>& batch, void* number) {
            *static_cast<std::atomic<long>*>(number) += static_cast<long>(batch.size());
            batch.clear();
        };
        const auto change = [&](int i) {
            log.installCustomHandler(i % 2 == 0 ? count : nullptr, &handled);
            log.setEchoToConsole(i % 4 < 2);
        };
        std::thread changer([&] {
            for (int i = 0; i < 400; ++i)
                change(i);
        });
        std::vector<std::thread> writers;
        for (int thread = 0; thread < kThreads; ++thread) {
            writers.emplace_back([thread] {
                for (long number = 0; number < 2000; ++number)
                    write(Follower::makeMessage(thread, number));
            });
        }
        for (std::thread& writer : writers)
            writer.join();
        changer.join();
        change(1);
    }
    for (const std::string& message : takeMessages(folder.read("log.txt")))
        byFile.follow(message);
    EXPECT_TRUE(byFile.isOrdered());
    for (int thread = 0; thread < kThreads; ++thread)
        EXPECT_EQ(byFile.getCount(thread), 2000) << "of thread " << thread;
    EXPECT_THAT(byFile.getOthers(), IsEmpty());
}

// After a batch the log thread isn't woken for a short time. The distances lead before, into and
// after that time.
TEST(qzLogThreadStressTest, BringsAnEntryOutSoonAfterABatchThoughNobodyFlushes)
{
    const LibraryStart library(FullInit);
    const ConsoleRecorder console;
    static std::atomic<int> received;
    received = 0;
    const auto count = [](std::list<Entry>& batch, void*) {
        received += static_cast<int>(batch.size());
    };
    qzLog::msInstance->installCustomHandler(count, nullptr);
    for (int i = 0; i < 500; ++i) {
        write("first");
        const auto end = std::chrono::steady_clock::now() + std::chrono::nanoseconds(500 * i);
        while (std::chrono::steady_clock::now() < end)
            std::this_thread::yield();
        write("second");
        ASSERT_TRUE(waitUntil([&] { return received == 2 * (i + 1); })) << i;
    }
    qzLog::msInstance->installCustomHandler(nullptr, nullptr);
}

// --- Memory

namespace {

long getPeakKilobytes()
{
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

}  // namespace

// The texts that wait are bounded, and so are the elements of their list: with texts of 100 bytes
// some 170,000. Each is an entry between two links, a text and a prefix, three blocks of memory
// with 16 bytes of the system's own at most.
TEST(qzLogThreadMemoryTest, StaysBoundedHoweverManyEntriesPass)
{
    if (kIsSanitized) GTEST_SKIP() << "the memory is the sanitizer's";
    const ChildResult child = runInChild([] {
        initializeQzSystem(FullInit);
        qzLog& log = *qzLog::msInstance;
        log.setEchoToConsole(false);
        const auto dawdle = [](std::list<Entry>&, void*) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        };
        log.installCustomHandler(dawdle, nullptr);
        const long before = getPeakKilobytes();
        std::vector<std::thread> writers;
        for (int thread = 0; thread < 4; ++thread) {
            writers.emplace_back([] {
                for (int i = 0; i < 250000; ++i)
                    write(std::string(100, 'x'));
            });
        }
        for (std::thread& writer : writers)
            writer.join();
        terminateQzSystem();
        std::cout << getPeakKilobytes() - before;
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    constexpr long kElementSize = sizeof(Entry) + 2 * sizeof(void*) + 100 + 80 + 3 * 16;
    // Two batches: one in the queue and one being written.
    EXPECT_LT(std::stol(child.out), 2L * 170 * kElementSize + 20 * 1024);
}

TEST(qzLogThreadMemoryTest, HoldsWritersBackWhileTheLogThreadIsHeld)
{
    const LibraryStart library(FullInit);
    const ConsoleRecorder console;
    qzLog::msInstance->setEchoToConsole(false);
    GatedHandler handler;
    handler.hold();
    std::atomic<long> written = 0;
    std::vector<std::thread> writers;
    for (int thread = 0; thread < 4; ++thread) {
        writers.emplace_back([&written] {
            for (int i = 0; i < 64; ++i) {
                write(std::string(131072, 'x'));
                ++written;
            }
        });
    }
    // 128 of these are 16 MiB: the next one waits, and with it whoever comes after it.
    ASSERT_TRUE(waitUntil([&] { return written == 128; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(written, 128);
    handler.release();
    for (std::thread& writer : writers)
        writer.join();
    qzLog::msInstance->flush();
    EXPECT_EQ(handler.getMessages().size(), 257U);
}

}  // namespace qz
