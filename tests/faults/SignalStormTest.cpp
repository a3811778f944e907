// SPDX-License-Identifier: MIT
// A timer signal a thousand times a second, whose handler asks for no restart of system calls,
// changes nothing of what devices and streams move.

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iostream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzDataStream.h>
#include <qz/qzIoDeviceFileStream.h>

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

namespace {

std::atomic<long> gSignals = 0;

extern "C" void countSignal(int /*signal*/)
{
    ++gSignals;
}

// For the life of a child: nobody takes the timer down.
void startStorm()
{
    ::signal(SIGPIPE, SIG_IGN);  // a writer whose reader has given up is to see that and end
    struct sigaction action = {};
    action.sa_handler = &countSignal;
    ::sigaction(SIGALRM, &action, nullptr);
    const itimerval everyMs = {{0, 1000}, {0, 1000}};
    ::setitimer(ITIMER_REAL, &everyMs, nullptr);
}

constexpr std::size_t kSize = 32 << 20;

std::vector<char> makeBytes()
{
    std::mt19937_64 random(4711);
    std::vector<char> bytes(kSize);
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

// Sizes that take both roads, through the buffer and around it.
constexpr std::size_t kBlocks[] = {1, 100, 1000, 5000, 8191, 70'000};

// How a thread goes about its work: the other end of a pipe then has to wait for it, so that
// signals find it in the midst of a system call.
enum class Pace { Steady, WithPauses };

void pause(Pace pace, int block)
{
    if (pace == Pace::WithPauses && block % 64 == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
}

bool writeAll(qzIoDevice& device, const std::vector<char>& bytes, Pace pace)
{
    std::size_t done = 0;
    for (int i = 0; done < bytes.size(); ++i) {
        pause(pace, i);
        const std::size_t size = std::min(kBlocks[i % 6], bytes.size() - done);
        if (device.writeBytes(bytes.data() + done, size) != size) return false;
        done += size;
    }
    return true;
}

std::vector<char> readAll(qzIoDevice& device, Pace pace)
{
    std::vector<char> bytes(kSize + 1);
    std::size_t done = 0;
    std::size_t got = 1;
    for (int i = 0; got > 0; ++i) {
        pause(pace, i);
        got = device.readBytes(bytes.data() + done, std::min(kBlocks[i % 6], kSize + 1 - done));
        done += got;
    }
    bytes.resize(done);
    return bytes;
}

// The child tells its findings as 1 for right and 0 for wrong.
void expectAllRight(const ChildResult& result, const std::string& findings)
{
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, findings) << result.err;
}

bool wasAStorm()
{
    return waitUntil([] { return gSignals > 50; });
}

}  // namespace

TEST(SignalStorm, ChangesNothingInAFile)
{
    const ScratchFolder folder;
    const ChildResult result = runInChild([&folder] {
        const LibraryStart library(FullInit);
        const std::vector<char> bytes = makeBytes();
        startStorm();
        qzIoDeviceFileStream device(folder.getPath("file"), qzIoDevice::DataWayReadWrite, true);
        std::cout << writeAll(device, bytes, Pace::Steady) << device.seek(0, device.SeekFromBegin)
                  << (readAll(device, Pace::Steady) == bytes) << device.good();
        std::vector<char> content;
        std::cout << device.loadFullFileContent(content) << (content == bytes) << device.close()
                  << wasAStorm();
        return 0;
    });
    expectAllRight(result, "11111111");
}

// A signal goes to the main thread, which is one end of the pipe; the other end takes pauses.
class SignalStormInAPipe : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(::mkfifo(mPath.c_str(), 0600), 0); }

    // Both ends of the pipe. While they are opened none waits for the other; a signal would end it.
    struct Ends {
        explicit Ends(const std::string& path)
        {
            const int both = ::open(path.c_str(), O_RDWR);
            reader.open(path, qzIoDevice::DataWayRead, false);
            writer.open(path, qzIoDevice::DataWayWrite, true);
            ::close(both);
        }
        qzIoDeviceFileStream reader;
        qzIoDeviceFileStream writer;
    };

    ScratchFolder mFolder;
    std::string mPath = mFolder.getPath("pipe");
};

TEST_F(SignalStormInAPipe, ChangesNothingForTheReader)
{
    const ChildResult result = runInChild([this] {
        const LibraryStart library(FullInit);
        const std::vector<char> bytes = makeBytes();
        Ends ends(mPath);
        startStorm();
        bool isWritten = false;
        std::thread other([&] {
            isWritten = writeAll(ends.writer, bytes, Pace::WithPauses);
            ends.writer.close();
        });
        const bool isEqual = readAll(ends.reader, Pace::Steady) == bytes;
        ends.reader.close();
        other.join();
        std::cout << isWritten << isEqual << ends.reader.good() << ends.writer.good()
                  << wasAStorm();
        return 0;
    });
    expectAllRight(result, "11111");
}

TEST_F(SignalStormInAPipe, ChangesNothingForTheWriter)
{
    const ChildResult result = runInChild([this] {
        const LibraryStart library(FullInit);
        const std::vector<char> bytes = makeBytes();
        Ends ends(mPath);
        startStorm();
        bool isEqual = false;
        std::thread other([&] {
            isEqual = readAll(ends.reader, Pace::WithPauses) == bytes;
            ends.reader.close();
        });
        const bool isWritten = writeAll(ends.writer, bytes, Pace::Steady);
        ends.writer.close();
        other.join();
        std::cout << isWritten << isEqual << ends.reader.good() << ends.writer.good()
                  << wasAStorm();
        return 0;
    });
    expectAllRight(result, "11111");
}

TEST_F(SignalStormInAPipe, ChangesNothingForADataStream)
{
    const ChildResult result = runInChild([this] {
        constexpr int kRecords = 200'000;
        const LibraryStart library(FullInit);
        Ends ends(mPath);
        startStorm();
        bool isWritten = false;
        std::thread other([&] {
            qzDataStream stream(ends.writer, qzDataStream::BigEndian);
            for (int i = 0; i < kRecords; ++i) {
                if (i % 5000 == 0) pause(Pace::WithPauses, 0);
                stream << i << i / 3.0 << std::string(static_cast<std::size_t>(i % 200), 'x');
            }
            isWritten = stream.isOk();
            ends.writer.close();
        });
        qzDataStream stream(ends.reader, qzDataStream::BigEndian);
        int wrong = 0;
        for (int i = 0; i < kRecords; ++i) {
            int number = 0;
            double third = 0;
            std::string text;
            stream >> number >> third >> text;
            const std::string wanted(static_cast<std::size_t>(i % 200), 'x');
            wrong += number == i && third == i / 3.0 && text == wanted ? 0 : 1;
        }
        const bool isAtEnd = ends.reader.atEnd();
        ends.reader.close();
        other.join();
        std::cout << isWritten << wrong << stream.isOk() << isAtEnd << wasAStorm();
        std::cerr << stream.getErrorMsg() << ends.writer.getDeviceErrorMsg();
        return 0;
    });
    expectAllRight(result, "10111");
}

}  // namespace qz
