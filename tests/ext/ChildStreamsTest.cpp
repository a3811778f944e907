// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ext/ChildProcess.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzIoDevice.h>
#include <qz/qzIoDeviceFileStream.h>

#include "ext/ChildRuns.h"
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"
#include "support/Waiting.h"

namespace qz::ext {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

constexpr std::size_t kMegabyte = 1048576;

std::string makeBytes(std::size_t size)
{
    std::string bytes(size, '\0');
    unsigned int state = 1;
    for (char& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24U);
    }
    return bytes;
}

// A device over a text: reads give it, writes append to another one.
class TextDevice : public qzIoDevice {
public:
    explicit TextDevice(std::string toRead = {})
        : qzIoDevice(DataWayReadWrite), mToRead(std::move(toRead))
    {
    }
    unsigned long readBytes(char* dst, unsigned long size) override
    {
        if (hasDeviceError()) return 0;
        const std::size_t count = mToRead.copy(dst, size, mPosition);
        mPosition += count;
        return count;
    }
    unsigned long writeBytes(const char* src, unsigned long size) override
    {
        if (mWritten.size() + size > mCapacity) return 0;
        mWritten.append(src, size);
        return size;
    }
    bool atEnd() const override { return mPosition == mToRead.size(); }

    std::string mWritten;
    std::size_t mCapacity = 100 * kMegabyte;

private:
    std::string mToRead;
    std::size_t mPosition = 0;
};

class ChildStreamsTest : public ::testing::Test {
protected:
    ~ChildStreamsTest() override { EXPECT_EQ(support::countOpenDescriptors(), mDescriptors); }

    std::vector<std::string> splitLines(const std::string& script,
                                        std::size_t maxLineBytes = ChildOutput::kMaxLineBytes)
    {
        std::vector<std::string> lines;
        ChildOptions options = shell(script);
        options.output = ChildOutput::Lines(
            [&](std::string_view line) { lines.emplace_back(line); }, maxLineBytes);
        EXPECT_EQ(describe(ChildProcess::Run(options)), "exit 0");
        return lines;
    }

    const std::size_t mDescriptors = support::countOpenDescriptors();
    const support::ScratchFolder mFolder;
};

TEST_F(ChildStreamsTest, ConnectsToNothingUnlessToldOtherwise)
{
    ChildOptions options;
    options.programs = {{"sleep", {"300"}}};
    options.input = ChildInput::Nothing();
    options.error = ChildOutput::Nothing();
    ChildProcess process;
    ASSERT_TRUE(process.start(options));
    const std::string folder = "/proc/" + std::to_string(process.getPids()[0]) + "/fd/";
    for (const char* const place : {"0", "1", "2"})
        EXPECT_EQ(std::filesystem::read_symlink(folder + place), "/dev/null") << place;
}

TEST_F(ChildStreamsTest, PassesAMegabyteEachWay)
{
    const std::string bytes = makeBytes(kMegabyte);
    ChildOptions options = shell("tee /dev/stderr");
    options.input = ChildInput::Memory(bytes);
    const ChildResult result = ChildProcess::Run(options);
    ASSERT_EQ(describe(result), "exit 0");
    EXPECT_TRUE(result.output == bytes);
    EXPECT_TRUE(result.error == bytes);
    EXPECT_FALSE(result.isOutputCut);
    EXPECT_FALSE(result.isErrorCut);
}

TEST_F(ChildStreamsTest, PassesAMegabyteBetweenDevices)
{
    const std::string bytes = makeBytes(kMegabyte);
    TextDevice input(bytes);
    TextDevice output;
    TextDevice error;
    ChildOptions options = shell("tee /dev/stderr");
    options.input = ChildInput::Device(input);
    options.output = ChildOutput::Device(output);
    options.error = ChildOutput::Device(error);
    ASSERT_EQ(describe(ChildProcess::Run(options)), "exit 0");
    EXPECT_TRUE(output.mWritten == bytes);
    EXPECT_TRUE(error.mWritten == bytes);
}

TEST_F(ChildStreamsTest, ReadsAndWritesFiles)
{
    ChildOptions options = shell("cat; echo bad >&2");
    options.input = ChildInput::File(mFolder.write("in", "text\n"));
    options.output = ChildOutput::File(mFolder.write("out", "old and much longer\n"));
    options.error = ChildOutput::File(mFolder.write("err", "old\n"), ChildOutput::FileWay::Append);
    ASSERT_EQ(describe(ChildProcess::Run(options)), "exit 0");
    EXPECT_EQ(mFolder.read("out"), "text\n");
    EXPECT_EQ(mFolder.read("err"), "old\nbad\n");
}

TEST_F(ChildStreamsTest, NamesTheFileThatCanNotBeOpened)
{
    ChildOptions options = shell("exit 0");
    options.input = ChildInput::File("/no/such/file");
    EXPECT_EQ(describe(ChildProcess::Run(options)),
              "open /no/such/file, errno " + std::to_string(ENOENT));
    options = shell("exit 0");
    options.error = ChildOutput::File(mFolder.getPath());
    EXPECT_EQ(describe(ChildProcess::Run(options)),
              "open " + mFolder.getPath() + ", errno " + std::to_string(EISDIR));
}

TEST_F(ChildStreamsTest, InheritsTheStreamsOfThisProcess)
{
    const support::ChildResult outer = support::runInChild(
        [] {
            ChildOptions options = shell("cat; echo bad >&2");
            options.input = ChildInput::Inherited();
            options.output = ChildOutput::Inherited();
            options.error = ChildOutput::Inherited();
            return describe(ChildProcess::Run(options)) == "exit 0" ? 0 : 1;
        },
        "text\n");
    EXPECT_EQ(outer.getEnd(), "exit 0");
    EXPECT_EQ(outer.out, "text\n");
    EXPECT_EQ(outer.err, "bad\n");
}

TEST_F(ChildStreamsTest, ReportsThatAStreamCanNotBeInherited)
{
    const support::ChildResult outer = support::runInChild([] {
        ChildOptions options = shell("exit 0");
        options.input = ChildInput::Inherited();
        const support::DescriptorLimit noneLeft(0);
        const std::string end = describe(ChildProcess::Run(options));
        return end == "fcntl, errno " + std::to_string(EMFILE) ? 0 : 1;
    });
    EXPECT_EQ(outer.getEnd(), "exit 0") << "it was taken for a stream that is closed";
}

TEST_F(ChildStreamsTest, TakesNoTerminalThatIsAnInputAsItsOwn)
{
    const support::ChildResult outer = support::runInChild([] {
        const int screen = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        char path[100] = "";
        if (::setsid() < 0 || ::grantpt(screen) != 0 || ::unlockpt(screen) != 0) return 1;
        if (::ptsname_r(screen, path, sizeof path) != 0) return 2;
        ChildOptions options = shell("exit 0");
        options.input = ChildInput::File(path);
        if (describe(ChildProcess::Run(options)) != "exit 0") return 3;
        // The name of the own terminal, which there is none.
        return ::open("/dev/tty", O_RDWR) < 0 && errno == ENXIO ? 0 : 4;
    });
    EXPECT_EQ(outer.getEnd(), "exit 0");
}

TEST_F(ChildStreamsTest, MixesBothOutputsIfToldSo)
{
    ChildOptions options = shell("echo out; echo err >&2; echo out");
    options.error = ChildOutput::SameAsOutput();
    EXPECT_EQ(ChildProcess::Run(options).output, "out\nerr\nout\n");
    const support::ChildResult outer = support::runInChild([] {
        ChildOptions inner = shell("echo first >&2");
        inner.programs.push_back({"cat"});
        inner.output = ChildOutput::Inherited();
        inner.error = ChildOutput::SameAsOutput();
        return describe(ChildProcess::Run(inner)) == "exit 0" ? 0 : 1;
    });
    EXPECT_EQ(outer.out, "first\n");
}

TEST_F(ChildStreamsTest, WorksWithoutStandardStreamsOfItsOwn)
{
    const support::ChildResult outer = support::runInChild([] {
        for (int place = 0; place < 3; ++place)
            ::close(place);
        ChildOptions options = shell("cat; echo bad >&2");
        options.input = ChildInput::Memory("text\n");
        const ChildResult result = ChildProcess::Run(options);
        if (result.output != "text\n" || result.error != "bad\n") return 1;
        options.input = ChildInput::Inherited();
        options.output = ChildOutput::Inherited();
        options.error = ChildOutput::Memory();
        return ChildProcess::Run(options).error == "bad\n" ? 0 : 2;
    });
    EXPECT_EQ(outer.getEnd(), "exit 0");
}

TEST_F(ChildStreamsTest, EndsThoughAForkedProcessLivesOn)
{
    ChildProcess process;
    ChildOptions options = shell("cat; cat >&2 <&0");
    options.input = ChildInput::Memory("text");
    ASSERT_TRUE(process.start(options));
    const pid_t forked = ::fork();
    if (forked == 0) {
        for (;;)
            ::pause();
    }
    ChildWait wait;
    wait.timeoutMs = 60'000;  // only ends a hang
    const ChildResult result = process.communicate(wait);
    EXPECT_EQ(describe(result), "exit 0") << "the forked process has the input open";
    EXPECT_EQ(result.output, "text");
    ::kill(forked, SIGKILL);
    ::waitpid(forked, nullptr, 0);
}

TEST_F(ChildStreamsTest, PassesTheInputToAProcessThatOutlivesTheProgram)
{
    const std::string bytes = makeBytes(kMegabyte);
    ChildOptions options =
        shell("exec 3<&0; (until grep -q ') Z ' /proc/$$/stat; do :; done; exec cat <&3) & exit 0");
    options.input = ChildInput::Memory(bytes);
    const ChildResult result = ChildProcess::Run(options);
    EXPECT_EQ(describe(result), "exit 0");
    EXPECT_TRUE(result.output == bytes) << result.output.size();
}

TEST_F(ChildStreamsTest, HasNoPipeInAProcessThatIsForkedAtAnyMoment)
{
    std::atomic<bool> isOver = false;
    std::vector<pid_t> forked;
    std::thread forker([&] {
        while (!isOver && forked.size() < 300) {
            const pid_t pid = ::fork();
            if (pid == 0) {
                for (;;)
                    ::pause();
            }
            forked.push_back(pid);
        }
    });
    ChildWait wait;
    wait.timeoutMs = 120'000;  // only ends a hang
    for (int i = 0; i < 100; ++i) {
        ChildOptions options = program("/bin/cat");
        options.input = ChildInput::Memory("text");
        EXPECT_EQ(describe(ChildProcess::Run(options, wait)), "exit 0");
    }
    isOver = true;
    forker.join();
    for (const pid_t pid : forked) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
}

// --- Limits

TEST_F(ChildStreamsTest, CutsOutputsAtTheirLimits)
{
    ChildOptions options = shell("head -c 1000000 /dev/zero | tee /dev/stderr");
    options.output = ChildOutput::Memory(1000);
    options.error = ChildOutput::Memory(1000000);
    const ChildResult result = ChildProcess::Run(options);
    EXPECT_EQ(describe(result), "exit 0");
    EXPECT_EQ(result.output, std::string(1000, '\0'));
    EXPECT_TRUE(result.isOutputCut);
    EXPECT_EQ(result.error.size(), 1000000U);
    EXPECT_FALSE(result.isErrorCut);
}

TEST_F(ChildStreamsTest, WritesNoMoreThanTheLimitToADevice)
{
    TextDevice device;
    ChildOptions options = shell("echo 123456789 >&2");
    options.error = ChildOutput::Device(device, 5);
    const ChildResult result = ChildProcess::Run(options);
    EXPECT_EQ(describe(result), "exit 0");
    EXPECT_EQ(device.mWritten, "12345");
    EXPECT_TRUE(result.isErrorCut);
}

TEST_F(ChildStreamsTest, ReadsNoMoreThanTheLimitFromADevice)
{
    TextDevice device("123456789");
    ChildOptions options = shell("cat");
    options.input = ChildInput::Device(device, 5);
    EXPECT_EQ(ChildProcess::Run(options).output, "12345");
    EXPECT_FALSE(device.atEnd());
}

TEST_F(ChildStreamsTest, ReportsADeviceThatTakesNoMore)
{
    TextDevice device;
    device.mCapacity = 3;
    ChildOptions options = shell("head -c 1000000 /dev/zero");
    options.output = ChildOutput::Device(device);
    const ChildResult result = ChildProcess::Run(options);
    EXPECT_EQ(describe(result), "write to the device, errno " + std::to_string(EIO));
    EXPECT_EQ(result.ends[0].exitStatus, 0);
    EXPECT_FALSE(result.isSuccess());
}

TEST_F(ChildStreamsTest, WritesNoMoreToADeviceThatHasFailed)
{
    struct FailingDevice : TextDevice {
        unsigned long writeBytes(const char*, unsigned long) override
        {
            ++writes;
            return 0;
        }
        int writes = 0;
    } device;
    ChildOptions options = shell("echo one; sleep 0.05; echo two; sleep 0.05; echo three");
    options.output = ChildOutput::Device(device);
    EXPECT_EQ(describe(ChildProcess::Run(options)),
              "write to the device, errno " + std::to_string(EIO));
    EXPECT_EQ(device.writes, 1) << "there would be a gap in the output";
}

TEST_F(ChildStreamsTest, ReportsTheFirstOfTwoFailures)
{
    TextDevice device;
    device.mCapacity = 0;
    ChildProcess process;
    ChildOptions options = shell("echo text");
    options.output = ChildOutput::Device(device);
    ASSERT_TRUE(process.start(options));
    const int pid = process.getPids()[0];
    ASSERT_EQ(::waitpid(pid, nullptr, 0), pid);
    EXPECT_EQ(describe(process.communicate()), "write to the device, errno " + std::to_string(EIO));
}

TEST_F(ChildStreamsTest, WaitsAgainIfItsInputHasBecomeFullSinceThePoll)
{
    // Fills the pipe of the input before its own bytes can be written, and has it read afterwards.
    struct FillingDevice : TextDevice, qzCancelInterfaceReadOnly {
        using TextDevice::TextDevice;
        unsigned long readBytes(char* dst, unsigned long size) override
        {
            if (!isFull) {
                const std::string path = "/proc/" + std::to_string(process.getPids()[0]) + "/fd/0";
                const int pipe = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
                const std::string bytes(4096, 'x');
                while (::write(pipe, bytes.data(), bytes.size()) > 0) {
                }
                isFull = errno == EAGAIN;
                ::close(pipe);
            }
            return TextDevice::readBytes(dst, size);
        }
        bool shouldCancel() const override
        {
            if (isFull) support::writeFile(goPath, "");
            return false;
        }
        ChildProcess process;
        bool isFull = false;
        std::string goPath;
    } device("text");
    device.goPath = mFolder.getPath("go");
    ChildOptions options =
        shell("until [ -e $1 ]; do sleep 0.01; done; tail -c 4", {device.goPath});
    options.input = ChildInput::Device(device);
    ASSERT_TRUE(device.process.start(options));
    ChildWait wait;
    wait.cancel = &device;
    const ChildResult result = device.process.communicate(wait);
    EXPECT_TRUE(device.isFull);
    EXPECT_EQ(describe(result), "exit 0");
    EXPECT_EQ(result.output, "text");
}

TEST_F(ChildStreamsTest, ReportsADeviceInError)
{
    TextDevice device("text");
    device.setDeviceError("broken");
    ChildOptions options = shell("cat");
    options.input = ChildInput::Device(device);
    EXPECT_EQ(describe(ChildProcess::Run(options)),
              "read from the device, errno " + std::to_string(EIO));
}

TEST_F(ChildStreamsTest, RaisesNoSigpipeIfTheProgramReadsNothing)
{
    const support::ChildResult outer = support::runInChild([] {
        ::signal(SIGPIPE, SIG_DFL);
        ChildOptions options = program("/bin/true");
        options.input = ChildInput::Memory(std::string(10 * kMegabyte, 'x'));
        if (describe(ChildProcess::Run(options)) != "exit 0") return 1;
        sigset_t signals;
        ::sigpending(&signals);
        if (::sigismember(&signals, SIGPIPE) != 0) return 2;
        ::sigprocmask(SIG_BLOCK, nullptr, &signals);
        return ::sigismember(&signals, SIGPIPE) == 0 ? 0 : 3;
    });
    EXPECT_EQ(outer.getEnd(), "exit 0");
}

TEST_F(ChildStreamsTest, LeavesASigpipeThatWasPendingBefore)
{
    const support::ChildResult outer = support::runInChild([] {
        sigset_t signals;
        ::sigemptyset(&signals);
        ::sigaddset(&signals, SIGPIPE);
        ::sigprocmask(SIG_BLOCK, &signals, nullptr);
        ::raise(SIGPIPE);
        ChildOptions options = program("/bin/true");
        options.input = ChildInput::Memory(std::string(10 * kMegabyte, 'x'));
        if (describe(ChildProcess::Run(options)) != "exit 0") return 1;
        ::sigpending(&signals);
        return ::sigismember(&signals, SIGPIPE) == 1 ? 0 : 2;
    });
    EXPECT_EQ(outer.getEnd(), "exit 0");
}

TEST_F(ChildStreamsTest, WaitsForANamedPipeAcrossSignals)
{
    const std::string path = mFolder.getPath("fifo");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const support::ChildResult outer = support::runInChild([&] {
        static std::atomic<int> handled = 0;
        handled = 0;
        struct sigaction action = {};
        action.sa_handler = [](int) { ++handled; };
        ::sigaction(SIGUSR1, &action, nullptr);  // without SA_RESTART
        const pthread_t starter = ::pthread_self();
        std::thread writer([&] {
            support::waitUntil([&] {
                ::pthread_kill(starter, SIGUSR1);
                return handled > 20;
            });
            support::writeFile(path, "text");
        });
        ChildOptions options = shell("cat");
        options.input = ChildInput::File(path);
        const ChildResult result = ChildProcess::Run(options);
        if (result.failure) ::_exit(1);  // the writer waits for a reader
        writer.join();
        return result.output == "text" ? 0 : 2;
    });
    EXPECT_EQ(outer.getEnd(), "exit 0");
}

TEST_F(ChildStreamsTest, PassesBytesThroughDescriptorsBeyondAThousand)
{
    const support::ResourceLimit enough(RLIMIT_NOFILE, 2000);
    std::vector<int> taken;
    while (taken.size() < 1100)
        taken.push_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    EXPECT_GE(taken.back(), 1024);
    ChildOptions options = shell("cat; echo bad >&2");
    options.input = ChildInput::Memory("text\n");
    const ChildResult result = ChildProcess::Run(options);
    EXPECT_EQ(describe(result), "exit 0");
    EXPECT_EQ(result.output, "text\n");
    EXPECT_EQ(result.error, "bad\n");
    for (const int descriptor : taken)
        ::close(descriptor);
}

// --- Lines

TEST_F(ChildStreamsTest, PassesOnLines)
{
    EXPECT_THAT(splitLines("echo one; echo; printf two; sleep 0.05; echo three; printf last"),
                ElementsAre("one", "", "twothree", "last"));
}

TEST_F(ChildStreamsTest, KeepsZeroBytesInLines)
{
    EXPECT_THAT(splitLines("printf 'a\\0b\\n\\0'"),
                ElementsAre(std::string("a\0b", 3), std::string("\0", 1)));
}

TEST_F(ChildStreamsTest, PassesOnLinesAcrossTheBoundariesOfReads)
{
    const std::vector<std::string> lines = splitLines("seq 1 100000");
    ASSERT_EQ(lines.size(), 100000U);
    for (std::size_t i = 0; i < lines.size(); ++i)
        ASSERT_EQ(lines[i], std::to_string(i + 1));
}

TEST_F(ChildStreamsTest, PassesOnLongLinesInPieces)
{
    EXPECT_THAT(splitLines("echo 123456789; echo 1234; echo 12345678", 4),
                ElementsAre("1234", "5678", "9", "1234", "1234", "5678"));
}

TEST_F(ChildStreamsTest, EndsTheProgramsIfALineHandlerThrows)
{
    ChildProcess process;
    ChildOptions options = shell("echo line; sleep 300");
    options.output = ChildOutput::Lines([](std::string_view) { throw std::runtime_error("no"); });
    ASSERT_TRUE(process.start(options));
    const int pid = process.getPids()[0];
    EXPECT_THROW(process.communicate(), std::runtime_error);
    EXPECT_EQ(::kill(pid, 0), -1);
    EXPECT_FALSE(process.isRunning());
}

TEST_F(ChildStreamsTest, LetsALineHandlerUseTheObject)
{
    ChildProcess process;
    ChildOptions options = shell("echo ready; exec sleep 300");
    int lines = 0;
    options.output = ChildOutput::Lines([&](std::string_view) {
        ++lines;
        EXPECT_TRUE(process.isRunning());
        EXPECT_EQ(process.getPids().size(), 1U);
        SystemFailure failure;
        EXPECT_FALSE(process.start(shell("exit 0"), &failure));
        EXPECT_EQ(failure.error, EBUSY);
        EXPECT_EQ(describe(process.communicate()), "nothing");
        EXPECT_TRUE(process.sendSignal(SIGTERM));
    });
    ASSERT_TRUE(process.start(options));
    ChildWait wait;
    wait.timeoutMs = 60'000;  // only ends a hang
    EXPECT_EQ(describe(process.communicate(wait)), "signal " + std::to_string(SIGTERM));
    EXPECT_EQ(lines, 1);
    EXPECT_FALSE(process.isRunning());
}

TEST_F(ChildStreamsTest, EndsAfterALineHandlerHasSeenTheEndOfTheProgram)
{
    ChildProcess process;
    ChildOptions options = shell("echo last");
    options.output = ChildOutput::Lines([&](std::string_view) {
        EXPECT_TRUE(support::waitUntil([&] { return !process.isRunning(); }));
    });
    ASSERT_TRUE(process.start(options));
    ChildWait wait;
    wait.timeoutMs = 60'000;  // only ends a hang
    const ChildResult result = process.communicate(wait);
    EXPECT_EQ(describe(result), "exit 0");
    EXPECT_FALSE(result.hasTimedOut);
}

TEST_F(ChildStreamsTest, LogsLines)
{
    const support::LibraryStart library;
    support::LogCapture log;
    ChildOptions options = shell("echo one; echo; printf two; printf bad >&2");
    options.output = ChildOutput::Log(qzLog::Info, "tool");
    options.error = ChildOutput::Log(qzLog::Warning);
    ASSERT_EQ(describe(ChildProcess::Run(options)), "exit 0");
    EXPECT_THAT(log.getLines(),
                ::testing::UnorderedElementsAre("INFO(tool) one", "INFO(tool) two", "WARNING bad"));
}

TEST_F(ChildStreamsTest, LogsLinesWithoutACarriageReturnAtTheirEnd)
{
    const support::LibraryStart library;
    support::LogCapture log;
    ChildOptions options = shell("printf 'one\\r\\n\\r\\nt\\rwo\\nthree\\r\\r\\nlast\\r'");
    options.output = ChildOutput::Log(qzLog::Info);
    ASSERT_EQ(describe(ChildProcess::Run(options)), "exit 0");
    EXPECT_THAT(log.getLines(), ElementsAre("INFO one", "INFO t\rwo", "INFO three\r", "INFO last"));
}

}  // namespace

}  // namespace qz::ext
