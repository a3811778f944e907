// SPDX-License-Identifier: MIT
// The console outlet next to an application that prints by itself.

#include <fcntl.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ext/stdio_filebuf.h>
#include <ext/stdio_sync_filebuf.h>
#include <iostream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>

#include "log/ConsoleRecorder.h"
#include "log/LogLines.h"
#include "support/CancelledThread.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"

namespace qz {

using support::ChildResult;
using support::LibraryStart;
using support::runInChild;
using support::runProgram;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

std::vector<std::string> splitLines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

}  // namespace

class ConsoleTest : public ::testing::TestWithParam<InitType> {};

TEST_P(ConsoleTest, ShowsLinesAfterTheApplicationHasBrokenItsStreams)
{
    const ChildResult child = runInChild([] {
        const LibraryStart library(GetParam());
        std::cout.setstate(std::ios_base::failbit);
        std::cerr.setstate(std::ios_base::badbit);
        logCritical() << "first";
        logCritical() << "second";
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_THAT(takeMessages(child.out), ElementsAre("first", "second"));
}

TEST_P(ConsoleTest, PutsWhatWasPrintedBeforeItsLine)
{
    const ChildResult child = runInChild([] {
        const LibraryStart library(GetParam());
        std::printf("printed\n");
        logWarning() << "line";
        std::cout << "streamed\n";
        logWarning() << "line";
        std::fflush(stdout);
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_THAT(splitLines(child.out),
                ElementsAre("printed", EndsWith(" : line"), "streamed", EndsWith(" : line")));
}

TEST_P(ConsoleTest, GoesThroughABufferOfTheApplicationWhateverTheStatesOfItsStream)
{
    const LibraryStart library(GetParam());
    const ConsoleRecorder console;
    std::cout.setstate(std::ios_base::failbit);
    logWarning() << "line";
    std::cout.clear();
    EXPECT_THAT(takeMessages(console.getFlushedText()), ElementsAre("line"));
}

// A buffer of the application may be of the type that the C++ library uses itself.
TEST_P(ConsoleTest, GoesThroughAFileBufferOfTheApplicationOnItsOwnDescriptor)
{
    const ChildResult child = runInChild([] {
        const LibraryStart library(GetParam());
        __gnu_cxx::stdio_filebuf<char> buffer(STDOUT_FILENO, std::ios_base::out);
        std::streambuf* const before = std::cout.rdbuf(&buffer);
        std::cout << "application\n";
        logWarning() << "line";
        std::cout.rdbuf(before);
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_THAT(splitLines(child.out), ElementsAre("application", EndsWith(" : line")));
}

TEST_P(ConsoleTest, GoesThroughABufferThatIsDerivedFromThatOfTheStream)
{
    class Tee : public __gnu_cxx::stdio_sync_filebuf<char> {
    public:
        Tee() : stdio_sync_filebuf(stdout) {}
        std::string text;

    private:
        std::streamsize xsputn(const char* added, std::streamsize size) override
        {
            text.append(added, static_cast<std::size_t>(size));
            return size;
        }
    };
    const LibraryStart library(GetParam());
    Tee tee;
    std::streambuf* const before = std::cout.rdbuf(&tee);
    logWarning() << "line";
    std::cout.rdbuf(before);
    EXPECT_THAT(takeMessages(tee.text), ElementsAre("line"));
}

TEST_P(ConsoleTest, GoesOnWhenABufferOfTheApplicationThrows)
{
    class ThrowingBuffer : public std::streambuf {
        int_type overflow(int_type /*character*/) override { throw std::runtime_error("full"); }
        std::streamsize xsputn(const char* /*text*/, std::streamsize /*size*/) override
        {
            throw std::runtime_error("full");
        }
    };
    const LibraryStart library(GetParam());
    ThrowingBuffer buffer;
    std::streambuf* const before = std::cout.rdbuf(&buffer);
    EXPECT_NO_THROW({ logWarning() << "line"; });
    std::cout.rdbuf(before);
}

TEST_P(ConsoleTest, LeavesErrnoAsItWas)
{
    const ChildResult child = runInChild([] {
        const LibraryStart library(GetParam());
        ::close(STDOUT_FILENO);
        bool isKept = true;
        for (const char* const tag : {static_cast<const char*>(nullptr), "qzSystem"}) {
            errno = EXDEV;
            logWarning(nullptr, tag) << "line";
            isKept = isKept && errno == EXDEV;
        }
        return isKept ? 0 : 1;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
}

INSTANTIATE_TEST_SUITE_P(Starts, ConsoleTest, ::testing::Values(LightInit, FullInit),
                         [](const auto& row) { return row.param == LightInit ? "Light" : "Full"; });

TEST(ConsoleCancellationTest, LetsACancelledThreadEndInABufferOfTheApplication)
{
    class CancellationPoint : public std::streambuf {
        std::streamsize xsputn(const char* /*text*/, std::streamsize size) override
        {
            ::pthread_testcancel();
            return size;
        }
    };
    const ChildResult child = runInChild([] {
        const LibraryStart library;
        CancellationPoint buffer;
        std::streambuf* const before = std::cout.rdbuf(&buffer);
        qzLog::LogEntry entry;
        entry.message = "line";
        const bool isCancelled = support::endsByCancellation(
            [&] { qzLog::msInstance->Write(entry, /*synchronous=*/false); });
        std::cout.rdbuf(before);
        return isCancelled ? 0 : 1;
    });
    EXPECT_EQ(child.getEnd(), "exit 0") << child.err;
}

TEST(ConsoleUnsynchronisedTest, KeepsItsLinesWhole)
{
    const ChildResult child = runInChild([] {
        std::ios_base::sync_with_stdio(false);
        // Two threads that write to a nameless file share its position without a lock of the
        // kernel.
        ::fcntl(STDOUT_FILENO, F_SETFL, O_APPEND);
        const LibraryStart library(FullInit);
        for (int i = 0; i < 20000; ++i) {
            std::cout << "application " << i << '\n';
            if (i % 5 == 0) logInfo() << "line " << i << " end";
        }
        std::cout.flush();
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    int count = 0;
    for (const std::string& line : splitLines(child.out)) {
        const std::size_t start = line.find("INFO PID ");
        if (start == std::string::npos) continue;
        ++count;
        ASSERT_THAT(line.substr(start), ::testing::MatchesRegex("INFO PID .* : line [0-9]+ end"));
    }
    EXPECT_EQ(count, 4000);
}

TEST(ConsoleLockTest, DoesNotWaitForTheLockOfStdout)
{
    const ChildResult child = runInChild(
        [] {
            const LibraryStart library(FullInit);
            ::flockfile(stdout);
            logWarning() << "line";  // the log thread writes it meanwhile
            ::funlockfile(stdout);
            return 0;
        },
        {}, /*timeoutSec=*/60);
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_THAT(takeMessages(child.out), ElementsAre("line"));
}

TEST(ConsoleForkTest, PrintsNoTextOfTheParentInAChild)
{
    const ChildResult child = runInChild([] {
        const LibraryStart library(FullInit);
        std::printf("printed once\n");
        const pid_t grandChild = ::fork();
        if (grandChild == 0) {
            logInfo() << "line";
            ::_exit(0);
        }
        ::waitpid(grandChild, nullptr, 0);
        std::fflush(stdout);
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_THAT(splitLines(child.out), ElementsAre(EndsWith(" : line"), "printed once"));
}

TEST(ConsoleForkTest, ShowsNoLineOfTheParentTwice)
{
    const ChildResult child = runInChild([] {
        const LibraryStart library(FullInit);
        for (int i = 0; i < 100; ++i) {
            logInfo() << "line " << i;
            const pid_t grandChild = ::fork();
            if (grandChild == 0) {
                std::fflush(stdout);
                std::cout.flush();
                ::_exit(0);
            }
            ::waitpid(grandChild, nullptr, 0);
        }
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_THAT(splitLines(child.out), SizeIs(100));
}

// A pipe that holds less than a line, and a reader that begins once it is full.
TEST(ConsoleNonBlockingTest, WaitsForASlowReader)
{
    const std::string text(200000, 'x');
    const ChildResult child = runInChild([&text] {
        const LibraryStart library(FullInit);
        int ends[2];
        if (::pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) return 1;
        ::dup2(ends[1], STDOUT_FILENO);
        ::close(ends[1]);
        std::string got;
        std::thread reader([&] {
            char buffer[4096];
            while (got.empty() || got.back() != '\n') {
                const ssize_t count = ::read(ends[0], buffer, sizeof buffer);
                if (count > 0) got.append(buffer, static_cast<std::size_t>(count));
                if (count < 0) ::usleep(1000);
            }
        });
        logWarning() << text;
        reader.join();
        std::cerr << (takeMessages(got) == std::vector<std::string>{text} ? "whole" : "cut");
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_EQ(child.err, "whole");
}

TEST(ConsoleEarlyTest, WorksBeforeTheStandardStreamsExist)
{
    const ChildResult child = runProgram({.program = "log_before_main"});
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_THAT(takeMessages(child.out), ElementsAre("constructor 1", "main", "destructor 2"));
}

}  // namespace qz
