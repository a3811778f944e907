// SPDX-License-Identifier: MIT
// The log file: its installation, its lines, and what becomes of files that others have touched.

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzLogObject.h>
#include <qz/qzMutex.h>

#include "log/ConsoleRecorder.h"
#include "log/GatedHandler.h"
#include "log/LogFileFixture.h"
#include "support/Environment.h"
#include "support/Limits.h"
#include "support/Waiting.h"

namespace qz {

using support::LibraryStart;
using support::ScratchFolder;
using support::waitUntil;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

namespace {

const char* const kDated = "_20[0-9][0-9]-[01][0-9]-[0-3][0-9]-[0-2][0-9]-[0-5][0-9]-[0-6][0-9]";

}  // namespace

// Both states go the same road; only the thread differs.
class LogFileTest : public LogFileFixture, public ::testing::WithParamInterface<InitType> {
protected:
    LogFileTest() : LogFileFixture(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(States, LogFileTest, ::testing::Values(LightInit, FullInit),
                         [](const auto& state) {
                             return state.param == LightInit ? "Light" : "Full";
                         });

// --- Lines

TEST_P(LogFileTest, HasAMarkAndThenTheLinesOfTheConsole)
{
    install("log.txt", 4);
    write("first");
    write("second");
    EXPECT_EQ(mFolder.read("log.txt"), kByteOrderMark + mConsole.getText());
    EXPECT_EQ(show("log.txt"), "BOM first;second");
}

TEST_P(LogFileTest, KeepsEveryByteOfAMessage)
{
    install("log.txt");
    std::string text;
    for (int byte = 0; byte < 256; ++byte)
        text += static_cast<char>(byte);
    write(text);
    EXPECT_THAT(mFolder.read("log.txt"), EndsWith(" : " + text + '\n'));
}

TEST_P(LogFileTest, TakesALineOfMegabytes)
{
    install("log.txt");
    const std::string text(3000000, 'x');
    write(text);
    write("short");
    EXPECT_EQ(show("log.txt"), "BOM " + text + ";short");
}

TEST_P(LogFileTest, IsMadeEmptyWhenItIsInstalled)
{
    install("log.txt");
    EXPECT_EQ(mFolder.read("log.txt"), "");
}

TEST_P(LogFileTest, GetsNoSecondMark)
{
    mFolder.write("log.txt", "x");
    install("log.txt");
    write("text");
    EXPECT_THAT(mFolder.read("log.txt"), MatchesRegex("xINFO .* : text\n"));
}

TEST_P(LogFileTest, GetsAMarkWhereItIsEmpty)
{
    mFolder.write("log.txt", "");
    install("log.txt");
    write("text");
    EXPECT_EQ(show("log.txt"), "BOM text");
}

TEST_P(LogFileTest, EndsTheEcho)
{
    install("log.txt");
    write("text");
    EXPECT_EQ(showConsole(), "");
    log().setEchoToConsole(true);
    write("more");
    EXPECT_EQ(showConsole(), "more");
    EXPECT_EQ(show("log.txt"), "BOM text;more");
}

TEST_P(LogFileTest, StandsAheadOfTheHandlersCall)
{
    struct Seen {
        const ScratchFolder& folder;
        std::string content;
    } seen{mFolder, {}};
    install("log.txt");
    log().installCustomHandler(
        [](std::list<qzLog::LogEntry>&, void* data) {
            auto* to = static_cast<Seen*>(data);
            to->content = showLogFile(to->folder.read("log.txt"));
        },
        &seen);
    write("text");
    EXPECT_EQ(seen.content, "BOM text");
}

TEST_P(LogFileTest, HasTheNoticeBetweenTheLines)
{
    log().setLogLevel(LogLevelDebug);
    log().setSubTypeEnabled("a", false);
    install("log.txt");
    write("info");
    logDebug() << "debug";
    write("info");
    EXPECT_EQ(show("log.txt"), "BOM info;log type blacklist : 'a';debug;info");
}

// --- Flags

struct FlagRow {
    const char* name;
    int flags;
    const char* content;  // of the file, after a line
    bool isRenamed;
    const char* console;
};

constexpr FlagRow kFlagRows[] = {
    {"None", 0, "old;new", false, ""},          {"Remove", 1, "BOM new", false, ""},
    {"RenameAlone", 2, "old;new", false, ""},   {"RemoveAndRename", 3, "BOM new", true, ""},
    {"Echo", 4, "old;new", false, "new"},       {"RemoveAndEcho", 5, "BOM new", false, "new"},
    {"All", 15, "BOM new", true, "new"},        {"Untried", 8, "old;new", false, ""},
    {"RemoveUntried", 9, "BOM new", false, ""}, {"Others", 16 + 32, "old;new", false, ""},
};

class LogFileFlags : public LogFileFixture,
                     public ::testing::WithParamInterface<std::tuple<InitType, FlagRow>> {
protected:
    LogFileFlags() : LogFileFixture(std::get<0>(GetParam())) {}
};

TEST_P(LogFileFlags, DoAsTheirRow)
{
    const FlagRow& row = std::get<1>(GetParam());
    mFolder.write("log.txt", "X PID : old\n");
    install("log.txt", row.flags);
    write("new");
    EXPECT_EQ(show("log.txt"), row.content);
    EXPECT_EQ(showConsole(), row.console);
    const std::vector<std::string> names = list();
    ASSERT_EQ(names.size(), row.isRenamed ? 2U : 1U);
    if (!row.isRenamed) return;
    EXPECT_THAT(names[1], MatchesRegex(std::string("log") + kDated + "\\.txt"));
    EXPECT_EQ(show(names[1]), "old");
}

INSTANTIATE_TEST_SUITE_P(Rows, LogFileFlags,
                         ::testing::Combine(::testing::Values(LightInit, FullInit),
                                            ::testing::ValuesIn(kFlagRows)),
                         [](const auto& row) {
                             return std::string(std::get<0>(row.param) == LightInit ? "Light"
                                                                                    : "Full") +
                                    std::get<1>(row.param).name;
                         });

TEST_P(LogFileTest, IsMadeByItsFirstLineWhenItIsNotTried)
{
    install("log.txt", 8);
    EXPECT_THAT(list(), IsEmpty());
    write("text");
    EXPECT_EQ(show("log.txt"), "BOM text");
}

TEST_P(LogFileTest, DoesNotMindThatThereIsNothingToRemoveOrRename)
{
    install("log.txt", 3);
    write("text");
    EXPECT_THAT(list(), ElementsAre("log.txt"));
    EXPECT_EQ(show("log.txt"), "BOM text");
}

// --- Names

struct NameRow {
    const char* name;
    const char* fileName;
    const char* renamed;  // the name of the previous file as a regular expression, "@" for the time
};

constexpr NameRow kNameRows[] = {
    {"Usual", "log.txt", "log@\\.txt"},
    {"NoExtension", "log", "log@"},
    {"Hidden", ".log", "@\\.log"},
    {"HiddenWithExtension", ".app.log", "\\.app@\\.log"},
    {"Capitals", "LOG.TXT", "LOG@\\.TXT"},
    {"Number", "app.log.1", "app\\.log@\\.1"},
    {"HexadecimalNumber", "app.0x1F", "app@\\.0x1F"},
    {"TwoExtensions", "app.tar.gz", "app\\.tar@\\.gz"},
    {"DotAtTheEnd", "log.", "log@\\."},
    {"Blanks", " a b .t t", " a b @\\.t t"},
    {"Utf8", "\xC3\xA9.\xC3\xBC", "\xC3\xA9@\\.\xC3\xBC"},
};

// Before the library's start, since a thread learns the character set once.
struct Utf8Environment {
    const support::EnvironmentLocale locale{"C.UTF-8"};
};

class LogFileName : private Utf8Environment,
                    public LogFileFixture,
                    public ::testing::WithParamInterface<NameRow> {
protected:
    LogFileName() : LogFileFixture(FullInit) {}
};

TEST_P(LogFileName, IsWrittenAndAnsweredAndRenamedAsItStands)
{
    const std::string name = GetParam().fileName;
    std::string renamed = GetParam().renamed;
    renamed.replace(renamed.find('@'), 1, kDated);
    install(name);
    write("first");
    EXPECT_THAT(list(), ElementsAre(name));
    EXPECT_EQ(log().getCurrentLogFileNameUtf8(), mFolder.getPath(name));
    install(name, 3);
    write("second");
    EXPECT_EQ(show(name), "BOM second");
    std::vector<std::string> names = list();
    ASSERT_EQ(names.size(), 2U);
    names.erase(std::find(names.begin(), names.end(), name));
    EXPECT_THAT(names.front(), MatchesRegex(renamed));
    EXPECT_EQ(show(names.front()), "BOM first");
}

INSTANTIATE_TEST_SUITE_P(Rows, LogFileName, ::testing::ValuesIn(kNameRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(LogFileTest, IsMadeAbsoluteFromTheCurrentFolder)
{
    const std::string before = qzDirUtils::GetCurrentWorkingDirUtf8();
    ASSERT_TRUE(qzDirUtils::SetCurrentWorkingDirUtf8(mFolder.getPath()));
    log().installFileHandlerUtf8("./sub/../deep/log.txt");
    EXPECT_EQ(log().getCurrentLogFileNameUtf8(), mFolder.getPath("deep/log.txt"));
    qzDirUtils::SetCurrentWorkingDirUtf8(before);
    write("text");
    EXPECT_EQ(show("deep/log.txt"), "BOM text");
}

TEST_P(LogFileTest, HasItsFolderMade)
{
    install("a/b/c/log.txt");
    write("text");
    EXPECT_EQ(show("a/b/c/log.txt"), "BOM text");
}

TEST(LogFileRootTest, MayStandInTheRootFolder)
{
    const LibraryStart library(FullInit);
    const ConsoleRecorder console;
    const std::string path = "/qz-log-test-" + std::to_string(::getpid()) + ".txt";
    if (::access("/", W_OK) != 0) GTEST_SKIP() << "the root folder can't be written to";
    qzLog::msInstance->installFileHandlerExUtf8(path, 0, -1, -1, qzLog::RotateNever);
    logInfo() << "text";
    qzLog::msInstance->flush();
    const std::string content = support::readFile(path);
    ::unlink(path.c_str());
    EXPECT_EQ(showLogFile(content), "BOM text");
    EXPECT_EQ(qzLog::msInstance->getCurrentLogFileNameUtf8(), path);
}

TEST(LogFileLocaleTest, HasANameInTheLocalCharacterSet)
{
    const support::EnvironmentLocale locale("de_DE.ISO-8859-1");
    const ScratchFolder folder;
    const ConsoleRecorder console;
    {
        const LibraryStart library(FullInit);
        qzLog::msInstance->installFileHandlerUtf8(folder.getPath("\xC3\xA9.txt"));
        logInfo() << "\xC3\xA9";
        qzLog::msInstance->flush();
        EXPECT_EQ(qzLog::msInstance->getCurrentLogFileNameUtf8(), folder.getPath("\xC3\xA9.txt"));
    }
    EXPECT_EQ(showLogFile(folder.read("\xE9.txt")), "BOM \xC3\xA9");
}

// --- Installing and removing

TEST_P(LogFileTest, IsNoMoreAfterAnEmptyPath)
{
    install("log.txt", 4);
    write("first");
    log().installFileHandlerExUtf8("", 0, 1000, 7, qzLog::RotateDaily);
    write("second");
    EXPECT_EQ(show("log.txt"), "BOM first");
    EXPECT_EQ(showConsole(), "first;second") << "an empty path changes nothing else";
    EXPECT_EQ(log().getCurrentLogFileNameUtf8(), "");
}

TEST_P(LogFileTest, IsNoMoreAfterItsRemovalAndTheEchoStaysOff)
{
    install("log.txt");
    log().removeFileHandler();
    write("text");
    EXPECT_EQ(show("log.txt"), "");
    EXPECT_EQ(showConsole(), "");
    EXPECT_EQ(log().getCurrentLogFileNameUtf8(), "");
}

TEST_P(LogFileTest, GivesWayToAnother)
{
    install("a.txt");
    write("a");
    install("b.txt");
    write("b");
    install("sub/c.txt");
    write("c");
    EXPECT_EQ(show("a.txt") + ' ' + show("b.txt") + ' ' + show("sub/c.txt"), "BOM a BOM b BOM c");
}

TEST_P(LogFileTest, IsInstalledOnceByEachCall)
{
    const ScratchFolder other;
    install("log.txt");
    for (const char* text : {"first", "second", "third"}) {
        write(text);
        install("log.txt", 1);  // the folder in use
        EXPECT_EQ(mFolder.read("log.txt"), "") << text;
        write("line");
        EXPECT_EQ(show("log.txt"), "BOM line") << text;
    }
    // None of them is left out for the one after it.
    for (int i = 0; i < 20; ++i)
        log().installFileHandlerExUtf8(mFolder.getPath(std::to_string(i)), 0, -1, -1,
                                       qzLog::RotateNever);
    log().flush();
    EXPECT_EQ(list().size(), 21U);
}

TEST_P(LogFileTest, IsInstalledWithoutALine)
{
    log().installFileHandlerUtf8(mFolder.getPath("log.txt"));
    EXPECT_TRUE(
        waitUntil([this] { return qzDirUtils::FileExistsUtf8(mFolder.getPath("log.txt")); }));
}

TEST_P(LogFileTest, IsNotInstalledAnewByOtherSettings)
{
    install("log.txt", 1);
    write("first");
    log().setEchoToConsole(true);
    log().setSubTypeEnabled("a", false);
    log().setEchoToConsole(false);
    write("second");
    EXPECT_EQ(show("log.txt"), "BOM first;second");
}

TEST(LogFileCarryTest, GoesOnFromTheLightToTheFullState)
{
    const ScratchFolder folder;
    const LibraryStart light;
    const ConsoleRecorder console;
    qzLog& log = *qzLog::msInstance;
    log.installFileHandlerUtf8(folder.getPath("log.txt"));
    logInfo() << "light";
    EXPECT_EQ(showLogFile(folder.read("log.txt")), "BOM light");
    const LibraryStart full(FullInit);
    logInfo() << "full";
    log.flush();
    EXPECT_EQ(showLogFile(folder.read("log.txt")), "BOM light;full");
    EXPECT_EQ(log.getCurrentLogFileNameUtf8(), folder.getPath("log.txt"));
    EXPECT_EQ(console.getText(), "");
}

// The thread installs on its own side what it takes over.
TEST(LogFileCarryTest, InstallsOnceMoreForTheThread)
{
    const ScratchFolder folder;
    const LibraryStart light;
    const ConsoleRecorder console;
    qzLog::msInstance->installFileHandlerExUtf8(folder.getPath("log.txt"), 1, -1, -1,
                                                qzLog::RotateNever);
    logInfo() << "light";
    const LibraryStart full(FullInit);
    logInfo() << "full";
    qzLog::msInstance->flush();
    EXPECT_EQ(showLogFile(folder.read("log.txt")), "BOM full");
}

// --- What others do to the file

TEST_P(LogFileTest, ComesAnewWhenItWasRemovedOrMovedBetweenBatches)
{
    install("log.txt");
    write("first");
    ASSERT_TRUE(
        qzDirUtils::RenameFileUtf8(mFolder.getPath("log.txt"), mFolder.getPath("moved"), nullptr));
    write("second");
    ASSERT_TRUE(qzDirUtils::RemoveFileUtf8(mFolder.getPath("log.txt"), nullptr));
    write("third");
    EXPECT_EQ(show("moved"), "BOM first");
    EXPECT_EQ(show("log.txt"), "BOM third");
}

TEST_P(LogFileTest, ComesAnewInAFolderThatWasRemovedAfterABatchOnTheConsole)
{
    install("sub/log.txt");
    write("first");
    ASSERT_TRUE(qzDirUtils::ClearFolderUtf8(mFolder.getPath("sub"), true, nullptr, nullptr));
    write("second");
    EXPECT_EQ(showConsole(), "second");
    write("third");
    EXPECT_EQ(showConsole(), "second");
    EXPECT_EQ(show("sub/log.txt"), "BOM third");
}

TEST_P(LogFileTest, ShowsTheLinesOfAWholeBatchOnTheConsoleOnce)
{
    install("sub/log.txt", 4);
    ASSERT_TRUE(qzDirUtils::ClearFolderUtf8(mFolder.getPath("sub"), true, nullptr, nullptr));
    write("text");
    EXPECT_EQ(showConsole(), "text") << "the echo has shown it already";
}

TEST(LogFileBatchTest, ShowsEveryLineOfABatchWithoutAFile)
{
    const ScratchFolder folder;
    const LibraryStart library(FullInit);
    const ConsoleRecorder console;
    GatedHandler handler;
    const std::string sub = folder.getPath("sub");
    qzLog::msInstance->installFileHandlerUtf8(sub + "/log.txt");
    handler.hold();
    for (const char* text : {"1", "2", "3"})
        logInfo() << text;
    ASSERT_TRUE(qzDirUtils::ClearFolderUtf8(sub, true, nullptr, nullptr));
    handler.release();
    qzLog::msInstance->flush();
    EXPECT_EQ(showLogFile(console.getText()), "1;2;3");
    EXPECT_THAT(handler.getBatches(), ElementsAre("held", "1;2;3"));
    logInfo() << "4";
    qzLog::msInstance->flush();
    EXPECT_EQ(showLogFile(folder.read("sub/log.txt")), "BOM 4");
}

TEST(LogFileBatchTest, KeepsTheOrderOfManyLines)
{
    const ScratchFolder folder;
    const LibraryStart library(FullInit);
    const ConsoleRecorder console;
    GatedHandler handler;
    qzLog::msInstance->installFileHandlerUtf8(folder.getPath("log.txt"));
    handler.hold();
    std::string expected = "BOM held";
    for (int i = 0; i < 2000; ++i) {
        logInfo() << i;
        expected += ';' + std::to_string(i);
    }
    handler.release();
    qzLog::msInstance->flush();
    EXPECT_EQ(showLogFile(folder.read("log.txt")), expected) << "in blocks, and in order";
}

TEST(LogFileReplacedTest, LosesNoEntryOfOtherThreads)
{
    constexpr int kLines = 2000;
    const ScratchFolder folder;
    const LibraryStart library(FullInit);
    const ConsoleRecorder console;
    const auto install = [&folder] {
        qzLog::msInstance->installFileHandlerExUtf8(folder.getPath("log.txt"), 0, -1, -1,
                                                    qzLog::RotateNever);
    };
    install();
    std::atomic<bool> isOver = false;
    std::thread writer([&isOver] {
        for (int i = 0; i < kLines; ++i)
            logInfo() << "line " << i;
        isOver = true;
    });
    while (!isOver)
        install();
    writer.join();
    qzLog::msInstance->flush();
    const std::vector<std::string> messages = takeMessages(folder.read("log.txt"));
    EXPECT_EQ(messages.size(), std::size_t(kLines));
    EXPECT_EQ(messages.back(), "line " + std::to_string(kLines - 1));
}

// Otherwise the memory of the requests and the duration of a fork grow without end.
TEST(LogFileReplacedTest, LimitsTheInstallationsThatWaitForTheLogThread)
{
    constexpr int kInstallations = 1000;
    // 64 that the log thread has begun with, and 64 that wait.
    constexpr int kMostAtOnce = 128;
    const ScratchFolder folder;
    const LibraryStart library(FullInit);
    const ConsoleRecorder console;
    qzMutexSystem folderLock(folder.getPath().c_str());
    folderLock.lock();  // the log thread waits for it at the first installation
    std::atomic<int> installations = 0;
    std::thread installer([&] {
        for (int i = 0; i < kInstallations; ++i) {
            qzLog::msInstance->installFileHandlerExUtf8(folder.getPath("log.txt"), 0, -1, -1,
                                                        qzLog::RotateNever);
            ++installations;
        }
    });
    EXPECT_FALSE(
        waitUntil([&] { return installations == kInstallations; }, std::chrono::seconds(1)));
    EXPECT_LE(installations, kMostAtOnce);
    folderLock.unlock();
    installer.join();
}

}  // namespace qz
