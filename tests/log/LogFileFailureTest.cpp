// SPDX-License-Identifier: MIT
// A log file that can't be made, removed, opened or written.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/SystemError.h>
#include <qz/qzLogObject.h>

#include "log/ConsoleRecorder.h"
#include "log/LogFileFixture.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Limits.h"

namespace qz {

using support::ChildResult;
using support::LibraryStart;
using support::runInChild;
using support::ScratchFolder;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::Not;

class LogFileFailureTest : public LogFileFixture, public ::testing::WithParamInterface<InitType> {
protected:
    LogFileFailureTest() : LogFileFixture(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(States, LogFileFailureTest, ::testing::Values(LightInit, FullInit),
                         [](const auto& state) {
                             return state.param == LightInit ? "Light" : "Full";
                         });

TEST_P(LogFileFailureTest, TellsThatItCannotBeMadeAndGoesOnOnTheConsole)
{
    mFolder.write("file", "");
    const std::string path = mFolder.getPath("file/log.txt");
    install("file/log.txt");
    const std::string report = "Fail to install log file handler to " + path +
                               " error was : Fail to create log folder, Fail to initialize log "
                               "file";
    EXPECT_EQ(showConsole(), report);
    EXPECT_THAT(mConsole.getText(), ::testing::StartsWith("CRITICAL PID "));
    write("text");
    EXPECT_EQ(showConsole(), report + ";text");
    EXPECT_EQ(log().getCurrentLogFileNameUtf8(), GetParam() == LightInit ? "" : path)
        << "the thread keeps its failure to itself";
}

TEST_P(LogFileFailureTest, TellsThatThePreviousFileCouldNotBeRemovedEither)
{
    mFolder.write("file", "");
    const std::string path = mFolder.getPath("file/log.txt");
    install("file/log.txt", 1);
    EXPECT_EQ(showConsole(), "Fail to install log file handler to " + path +
                                 " error was : Fail to remove previous log file remove error " +
                                 SystemError(ENOTDIR).toString() + " for '" + path +
                                 "', Fail to create log folder, Fail to initialize log file");
}

TEST_P(LogFileFailureTest, TellsOfTheFileAloneWhereTheFolderStands)
{
    const std::string name(300, 'x');  // more than a name may have
    install(name);
    EXPECT_EQ(showConsole(), "Fail to install log file handler to " + mFolder.getPath(name) +
                                 " error was : Fail to initialize log file");
}

TEST_P(LogFileFailureTest, IsNotMissedWhenItIsNotTried)
{
    mFolder.write("file", "");
    install("file/log.txt", 8);
    EXPECT_EQ(showConsole(), "");
    write("text");
    EXPECT_EQ(showConsole(), "text");
}

TEST_P(LogFileFailureTest, KeepsAFailedInstallationFromTheNextOne)
{
    mFolder.write("file", "");
    install("file/log.txt");
    install("log.txt");
    write("text");
    EXPECT_EQ(show("log.txt"), "BOM text");
    // Nothing but the thread's own settings loses the console again.
    if (GetParam() == LightInit) {
        EXPECT_THAT(showConsole(), EndsWith(";text"));
    } else {
        EXPECT_THAT(showConsole(), Not(EndsWith(";text")));
    }
}

// A failure of the installation stands in the thread's settings alone, so a change of any other
// setting finds the folder missing there and tries again.
TEST(LogFileRetryTest, IsTriedAgainWithTheNextSetting)
{
    const ScratchFolder folder;
    const LibraryStart library(FullInit);
    const ConsoleRecorder console;
    qzLog& log = *qzLog::msInstance;
    folder.write("sub", "");
    log.installFileHandlerUtf8(folder.getPath("sub/log.txt"));
    log.flush();
    ASSERT_TRUE(qzDirUtils::RemoveFileUtf8(folder.getPath("sub"), nullptr));
    log.setEchoToConsole(true);
    logInfo() << "text";
    log.flush();
    EXPECT_EQ(showLogFile(folder.read("sub/log.txt")), "BOM text");
}

TEST(LogFileShutFolderTest, GoesOnAppendingSilentlyToAFileThatCannotBeRemoved)
{
    const ScratchFolder folder;
    ASSERT_EQ(::mkdir(folder.getPath("shut").c_str(), 0755), 0);
    const std::string path = folder.write("shut/log.txt", "X PID : old\n");
    ::chmod(path.c_str(), 0666);
    ::chmod(folder.getPath("shut").c_str(), 0555);
    ::chmod(folder.getPath().c_str(), 0755);
    const ChildResult child = runInChild([&path] {
        support::becomeNobody();
        const LibraryStart library;
        qzLog::msInstance->installFileHandlerExUtf8(path, 1, -1, -1, qzLog::RotateNever);
        logInfo() << "new";
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_EQ(child.out, "");
    EXPECT_EQ(showLogFile(folder.read("shut/log.txt")), "old;new");
}

TEST(LogFileShutFileTest, SendsLinesToTheConsoleWhereTheFileCannotBeOpened)
{
    const ScratchFolder folder;
    const std::string path = folder.write("log.txt", "old");
    ::chmod(path.c_str(), 0444);
    ::chmod(folder.getPath().c_str(), 0755);
    const ChildResult child = runInChild([&path] {
        support::becomeNobody();
        const LibraryStart library;
        qzLog::msInstance->installFileHandlerUtf8(path);
        logInfo() << "text";
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_EQ(showLogFile(child.out), "text");
    EXPECT_EQ(folder.read("log.txt"), "old");
}

TEST_P(LogFileFailureTest, DoesNotStopTheLogWhenTheDiskIsFull)
{
    ASSERT_EQ(::symlink("/dev/full", mFolder.getPath("log.txt").c_str()), 0);
    install("log.txt", 4);
    write("first");
    write("second");
    EXPECT_EQ(showConsole(), "first;second");
    ASSERT_EQ(::unlink(mFolder.getPath("log.txt").c_str()), 0);
    write("third");
    EXPECT_EQ(show("log.txt"), "BOM third");
}

TEST_P(LogFileFailureTest, GrowsAgainWhenThereIsRoomAgain)
{
    install("log.txt");
    write("first");
    const std::string before = mFolder.read("log.txt");
    {
        const support::FileSizeLimit limit(before.size());
        write("lost");
    }
    write("second");
    EXPECT_EQ(show("log.txt"), "BOM first;second");
}

TEST_P(LogFileFailureTest, LeavesNoDescriptorOpen)
{
    install("log.txt");
    write("text");
    const std::size_t before = support::countOpenDescriptors();
    for (int i = 0; i < 20; ++i)
        write("text");
    EXPECT_EQ(support::countOpenDescriptors(), before);
}

// The first folder of the relative path is missing.
TEST(LogFilePathTest, IsNamedAsItWasGivenWhenItHasNoAbsoluteForm)
{
    for (const InitType start : {LightInit, FullInit}) {
        const ChildResult child = runInChild([start] {
            const ScratchFolder folder;
            if (::chdir(folder.getPath().c_str()) != 0) return 1;
            const LibraryStart library(start);
            qzLog::msInstance->installFileHandlerUtf8("missing/log.txt");
            qzLog::msInstance->flush();
            return 0;
        });
        EXPECT_EQ(child.getEnd(), "exit 0");
        EXPECT_THAT(takeMessages(child.out),
                    ElementsAre("Fail to install log file handler to missing/log.txt error was : "
                                "Fail to create log folder, Fail to initialize log file"));
    }
}

}  // namespace qz
