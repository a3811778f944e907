// SPDX-License-Identifier: MIT
// A named pipe in the place of a log file.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>

#include "log/LogLines.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz {

using support::ChildResult;
using support::LibraryStart;
using support::runInChild;
using support::ScratchFolder;
using ::testing::ElementsAre;

namespace {

constexpr int kLimitSec = 60;  // ends a hang

class LogFilePipeTest : public ::testing::TestWithParam<InitType> {
protected:
    void SetUp() override { ASSERT_EQ(::mkfifo(mPath.c_str(), 0600), 0); }

    static void install(const std::string& path)
    {
        qzLog::msInstance->installFileHandlerExUtf8(path, 0, -1, -1, qzLog::RotateNever);
    }

    const ScratchFolder mFolder;
    const std::string mPath = mFolder.getPath("log.txt");
};

}  // namespace

TEST_P(LogFilePipeTest, DoesNotHangTheLogWithoutAReader)
{
    const ChildResult child = runInChild(
        [this] {
            const LibraryStart library(GetParam());
            install(mPath);
            logWarning() << "first";
            logWarning() << "second";
            return 0;
        },
        {}, kLimitSec);
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_THAT(takeMessages(child.out), ElementsAre("first", "second"));
}

TEST_P(LogFilePipeTest, DoesNotHangTheLogWithAReaderThatNeverReads)
{
    const int reader = ::open(mPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const ChildResult child = runInChild(
        [this] {
            const LibraryStart library(GetParam());
            install(mPath);
            for (int i = 0; i < 5; ++i)
                logInfo() << std::string(60000, 'x');
            return 0;
        },
        {}, kLimitSec);
    ::close(reader);
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_EQ(child.out, "");
}

// Far more than a pipe holds, so that the log has to wait for the reader.
TEST_P(LogFilePipeTest, GivesAReaderEachLine)
{
    const ChildResult child = runInChild(
        [this] {
            const int reader = ::open(mPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
            const int lastWriter = ::open(mPath.c_str(), O_WRONLY | O_CLOEXEC);
            ::fcntl(reader, F_SETFL, 0);
            std::string text;
            std::thread collector([&] {
                char buffer[5000];
                for (ssize_t got = 0; (got = ::read(reader, buffer, sizeof buffer)) > 0;)
                    text.append(buffer, static_cast<std::size_t>(got));
            });
            {
                const LibraryStart library(GetParam());
                install(mPath);
                for (int i = 0; i < 100; ++i)
                    logInfo() << std::string(10000, 'x');
            }
            ::close(lastWriter);
            collector.join();
            return static_cast<int>(takeMessages(text).size());
        },
        {}, kLimitSec);
    EXPECT_EQ(child.getEnd(), "exit 100");
}

INSTANTIATE_TEST_SUITE_P(States, LogFilePipeTest, ::testing::Values(LightInit, FullInit),
                         [](const auto& state) {
                             return std::string(state.param == FullInit ? "Full" : "Light");
                         });

}  // namespace qz
