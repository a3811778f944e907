// SPDX-License-Identifier: MIT
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/UUID.h>
#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>
#include <qz/qzRandomUtils.h>
#include <qz/qzSystem.h>
#include <qz/qzSystemUtils.h>

#include "io/SwapBufferPeer.h"
#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/DeviceStub.h"
#include "support/Environment.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

namespace qz {

using support::DeviceStub;
using support::ScratchFolder;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;
using ::testing::StartsWith;
using Buffer = qzIoDeviceMemoryChunkAndSwapBuffer;
using Peer = qzIoDeviceMemoryChunkAndSwapBufferTestPeer;

namespace {

constexpr auto kBegin = Buffer::SeekFromBegin;
constexpr unsigned long kMiB = 1UL << 20U;

unsigned long write(Buffer& buffer, const std::string& bytes)
{
    return buffer.writeBytes(bytes.data(), bytes.size());
}

std::string readAll(Buffer& buffer)
{
    buffer.seek(0, kBegin);
    std::string bytes(buffer.getUsedByteCount() + 1, '?');
    bytes.resize(buffer.readBytes(bytes.data(), bytes.size()));
    return bytes;
}

std::vector<std::string> list(const std::string& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

// Random bytes that are the same in each name, for as many names as are asked for.
class FixedNames {
public:
    explicit FixedNames(int count) : mOld(qzRandomUtils::SetRandGenerator(&FixedNames::Fill))
    {
        sCallsLeft = count;
    }
    ~FixedNames() { qzRandomUtils::SetRandGenerator(mOld); }
    FixedNames(const FixedNames&) = delete;
    FixedNames& operator=(const FixedNames&) = delete;

    static constexpr unsigned char kByte = 0xAB;
    static int CountCallsLeft() { return sCallsLeft; }

private:
    static int Fill(unsigned char* bytes, int size)
    {
        static std::mt19937 others(1);
        const bool isFixed = sCallsLeft-- > 0;
        for (int i = 0; i < size; ++i)
            bytes[i] = isFixed ? kByte : static_cast<unsigned char>(others());
        return 1;
    }

    static int sCallsLeft;
    qzRandomUtils::Generator mOld;
};

int FixedNames::sCallsLeft = 0;

// From now on the modes of files count for this process, also if it is root's.
bool dropPrivileges()
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[2] = {};
    return ::syscall(SYS_capset, &header, none) == 0;
}

// The name that a swap file gets at a time, with the bytes of FixedNames.
std::string getFixedName(long milliseconds)
{
    unsigned char bytes[16];
    std::fill(bytes, bytes + 16, FixedNames::kByte);
    for (int i = 0; i < 6; ++i)
        bytes[i] = static_cast<unsigned char>(milliseconds >> (40 - 8 * i));
    bytes[6] = 0x7B;
    bytes[8] = 0xAB;
    std::string name;
    UUID::BinaryToString<UUID::FormatHex>(bytes, name);
    return name + ".swap";
}

}  // namespace

class qzIoDeviceSwapFileTest : public ::testing::Test {
protected:
    std::unique_ptr<Buffer> makeBuffer() const
    {
        return std::make_unique<Buffer>(mSwap, 10, 10, 10);
    }
    // Puts links to a file at all names from now on, until five seconds after the last one is made.
    // A disk may be too slow to make a thousand of them in a second.
    std::string plantLinks() const
    {
        const std::string victim = mFolder.write("victim", "precious");
        std::filesystem::create_directories(mSwap);
        long time = qzSystemUtils::GetMSecElapsedSinceEpoch();
        for (; time < qzSystemUtils::GetMSecElapsedSinceEpoch() + 5000; ++time)
            std::filesystem::create_symlink(victim, mSwap + "/" + getFixedName(time));
        return victim;
    }

    static std::unique_ptr<support::EnvironmentVariable> ChooseMemory()
    {
        const char* const kMemory = "/dev/shm";
        if (::access(kMemory, W_OK | X_OK) != 0) return nullptr;
        return std::make_unique<support::EnvironmentVariable>("TMPDIR", kMemory);
    }

    support::LibraryStart mLibrary;
    const std::unique_ptr<support::EnvironmentVariable> mTemporary = ChooseMemory();
    ScratchFolder mFolder;
    std::string mSwap = mFolder.getPath("deep/swap");
};

TEST_F(qzIoDeviceSwapFileTest, HasANameOfTimeAndChanceInAFolderMadeForIt)
{
    const long before = qzSystemUtils::GetMSecElapsedSinceEpoch();
    const auto buffer = makeBuffer();
    EXPECT_FALSE(std::filesystem::exists(mSwap)) << "made before it is needed";
    write(*buffer, std::string(20, 'x'));
    const std::vector<std::string> names = list(mSwap);
    ASSERT_THAT(names, SizeIs(1));
    EXPECT_THAT(names[0],
                ::testing::MatchesRegex("[0-9a-f]{12}7[0-9a-f]{3}[89ab][0-9a-f]{15}\\.swap"));
    const long time = std::stol(names[0].substr(0, 12), nullptr, 16);
    EXPECT_GE(time, before);
    EXPECT_LE(time, qzSystemUtils::GetMSecElapsedSinceEpoch());
}

TEST_F(qzIoDeviceSwapFileTest, TakesItsNameFromTheRandomGenerator)
{
    const FixedNames names(1);
    const auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    const std::string name = list(mSwap).at(0);
    EXPECT_EQ(name, getFixedName(std::stol(name.substr(0, 12), nullptr, 16)));
}

TEST_F(qzIoDeviceSwapFileTest, HasNoRemainsOfTheStackInItsNameWhenTheGeneratorFails)
{
    const auto old = qzRandomUtils::SetRandGenerator([](unsigned char*, int) { return 0; });
    const auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    qzRandomUtils::SetRandGenerator(old);
    EXPECT_THAT(list(mSwap), ElementsAre(MatchesRegex("[0-9a-f]{12}70008000000000000000\\.swap")));
}

TEST_F(qzIoDeviceSwapFileTest, IsForItsOwnerAlone)
{
    const auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    struct stat status = {};
    ASSERT_EQ(::stat((mSwap + "/" + list(mSwap).at(0)).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    EXPECT_TRUE(S_ISREG(status.st_mode));
}

TEST_F(qzIoDeviceSwapFileTest, WorksWhenTheUmaskLeavesItsOwnerNothing)
{
    std::filesystem::create_directories(mSwap);
    const auto work = [this] {
        if (!dropPrivileges()) return 1;
        ::umask(0777);
        auto buffer = makeBuffer();
        if (write(*buffer, std::string(20, 'x')) != 20) return 2;
        if (readAll(*buffer) != std::string(20, 'x')) return 3;
        buffer->clearDevice(Buffer::ClearWipeChunks);
        if (write(*buffer, std::string(20, 'y')) != 20) return 4;
        buffer.reset();
        return list(mSwap).empty() ? 0 : 5;
    };
    EXPECT_EQ(support::runInChild(work).getEnd(), "exit 0");
}

TEST_F(qzIoDeviceSwapFileTest, IsNeitherInheritedByProgramsNorTakenForAStandardStream)
{
    const auto work = [this] {
        ::close(STDOUT_FILENO);
        const std::size_t before = support::countInheritedDescriptors();
        const auto buffer = makeBuffer();
        if (write(*buffer, std::string(20, 'x')) != 20) return 1;
        if (support::countInheritedDescriptors() != before) return 2;
        return ::fcntl(STDOUT_FILENO, F_GETFD) == -1 ? 0 : 3;
    };
    EXPECT_EQ(support::runInChild(work).getEnd(), "exit 0");
}

TEST_F(qzIoDeviceSwapFileTest, IsGoneAfterTheDevice)
{
    auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    buffer.reset();
    EXPECT_THAT(list(mSwap), IsEmpty());
}

TEST_F(qzIoDeviceSwapFileTest, IsGoneAfterTheDeviceWhenTheLibraryHasStopped)
{
    const auto work = [this] {
        auto buffer = makeBuffer();
        {
            const support::LibraryStart library;
            write(*buffer, std::string(20, 'x'));
            if (list(mSwap).size() != 1) return 1;
        }
        terminateQzSystem();
        buffer.reset();
        return list(mSwap).empty() ? 0 : 2;
    };
    EXPECT_EQ(support::runInChild(work).getEnd(), "exit 0");
}

TEST_F(qzIoDeviceSwapFileTest, IsLeftByAKilledProcessForTheLineOfTheGuideToRemove)
{
    const auto work = [this] {
        const auto buffer = makeBuffer();
        write(*buffer, std::string(100'000, 'x'));
        return ::kill(::getpid(), SIGKILL);
    };
    EXPECT_EQ(support::runInChild(work).getEnd(), "signal 9");
    ASSERT_THAT(list(mSwap), ElementsAre(MatchesRegex("[0-9a-f]{32}\\.swap")));
    mFolder.write("deep/swap/other", "no swap file");
    for (const std::string& name : list(mSwap))
        std::filesystem::last_write_time(
            mSwap + "/" + name,
            std::filesystem::file_time_type::clock::now() - std::chrono::hours(25));
    mFolder.write("deep/swap/of_today.swap", "");
    const std::string line = "find '" + mSwap + "' -name '*.swap' -mmin +1440 -delete";
    EXPECT_EQ(std::system(line.c_str()), 0);
    EXPECT_THAT(list(mSwap), ElementsAre("of_today.swap", "other"));
}

TEST_F(qzIoDeviceSwapFileTest, HasANewNameAfterAWipe)
{
    const auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    const std::vector<std::string> before = list(mSwap);
    const unsigned long memory = buffer->getMemoryFootPrint();
    buffer->clearDevice(Buffer::ClearWipeChunks);
    EXPECT_THAT(list(mSwap), SizeIs(1));
    EXPECT_NE(list(mSwap), before);
    EXPECT_EQ(Peer::getChunkCount(*buffer), 2U);
    EXPECT_EQ(buffer->getMemoryFootPrint(), memory);
}

TEST_F(qzIoDeviceSwapFileTest, StaysThroughAClearThatKeepsChunks)
{
    const auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    const std::vector<std::string> before = list(mSwap);
    buffer->clearDevice(Buffer::ClearKeepChunks);
    EXPECT_EQ(list(mSwap), before);
    // The file still has ten bytes, of which one is valid.
    write(*buffer, std::string(11, 'y'));
    EXPECT_EQ(readAll(*buffer), std::string(11, 'y'));
}

TEST_F(qzIoDeviceSwapFileTest, IsFoundThroughARelativeFolderAfterAMove)
{
    const auto work = [this] {
        std::filesystem::current_path(mFolder.getPath());
        Buffer buffer("relative", 10, 10, 10);
        write(buffer, std::string(20, 'x'));
        std::filesystem::current_path("/");
        if (list(mFolder.getPath("relative")).size() != 1) return 1;
        buffer.clearDevice(Buffer::ClearFreeChunks);
        return list(mFolder.getPath("relative")).empty() ? 0 : 2;
    };
    EXPECT_EQ(support::runInChild(work).getEnd(), "exit 0");
}

TEST_F(qzIoDeviceSwapFileTest, IsInTheCurrentFolderIfNoneIsNamed)
{
    const auto work = [this] {
        std::filesystem::current_path(mFolder.getPath());
        Buffer buffer("", 10, 10, 10);
        if (write(buffer, std::string(20, 'x')) != 20) return 1;
        std::filesystem::current_path("/");
        if (list(mFolder.getPath()).size() != 1) return 2;
        if (buffer.getMemoryFootPrint() != 10) return 3;
        buffer.clearDevice(Buffer::ClearFreeChunks);
        return list(mFolder.getPath()).empty() ? 0 : 4;
    };
    EXPECT_EQ(support::runInChild(work).getEnd(), "exit 0");
}

// --- Failures

TEST_F(qzIoDeviceSwapFileTest, ShowsAFolderThatCannotBeMadeAtTheFirstWrite)
{
    const support::LogCapture log;
    mFolder.write("deep", "a file in the way");
    auto buffer = makeBuffer();
    EXPECT_EQ(write(*buffer, std::string(10, 'x')), 10U);
    {
        const FixedNames names(10);
        EXPECT_EQ(write(*buffer, "y"), 0U);
        EXPECT_EQ(FixedNames::CountCallsLeft(), 9) << "one name is enough to see that";
    }
    EXPECT_THAT(buffer->getDeviceErrorMsg(),
                MatchesRegex("Fail to write to swap file failed to open file: '" + mSwap +
                             "/[0-9a-f]*.swap' \\(bits 10\\)"));
    EXPECT_EQ(buffer->getUsedByteCount(), 10U);
    buffer->clearDeviceError();
    EXPECT_TRUE(buffer->atEnd());
    EXPECT_EQ(readAll(*buffer), std::string(10, 'x'));
    EXPECT_TRUE(buffer->seek(10, kBegin));
    EXPECT_TRUE(buffer->atEnd()) << "an empty chunk follows";
    EXPECT_TRUE(buffer->seek(0, kBegin));
    EXPECT_FALSE(buffer->atEnd());
    EXPECT_TRUE(buffer->seek(10, kBegin));
    EXPECT_TRUE(buffer->atEnd()) << "of the chunk before the empty one";
    buffer.reset();
    EXPECT_THAT(log.getLines(), IsEmpty()) << "there was no file to remove";
}

TEST_F(qzIoDeviceSwapFileTest, IsMadeAfterAllWhenAClearFindsTheFolder)
{
    mFolder.write("deep", "a file in the way");
    const auto buffer = makeBuffer();
    EXPECT_EQ(write(*buffer, std::string(20, 'x')), 0U);
    std::filesystem::remove(mFolder.getPath("deep"));
    buffer->clearDevice(Buffer::ClearKeepChunks);
    EXPECT_EQ(write(*buffer, std::string(20, 'y')), 20U);
    EXPECT_EQ(readAll(*buffer), std::string(20, 'y'));
    EXPECT_THAT(list(mSwap), SizeIs(1));
}

TEST_F(qzIoDeviceSwapFileTest, LeavesNothingWhenThereIsNoDescriptorForIt)
{
    for (int left = 0; left < 2; ++left) {
        SCOPED_TRACE(left);
        const support::LogCapture log;
        auto buffer = makeBuffer();
        write(*buffer, std::string(10, 'x'));
        {
            const support::DescriptorLimit limit(left);
            EXPECT_EQ(write(*buffer, "y"), 0U);
        }
        EXPECT_THAT(buffer->getDeviceErrorMsg(),
                    StartsWith("Fail to write to swap file failed to open file: '" + mSwap));
        buffer->clearDevice(Buffer::ClearKeepChunks);
        EXPECT_EQ(write(*buffer, std::string(20, 'y')), 20U);
        EXPECT_EQ(readAll(*buffer), std::string(20, 'y'));
        buffer.reset();
        EXPECT_THAT(list(mSwap), IsEmpty());
        EXPECT_THAT(log.getLines(), IsEmpty());
    }
}

TEST_F(qzIoDeviceSwapFileTest, ReportsAWriteBeyondTheLimitOfFiles)
{
    const auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    {
        const support::FileSizeLimit limit(100'000);
        EXPECT_EQ(write(*buffer, std::string(200'000, 'y')), 0U);
    }
    EXPECT_EQ(buffer->getDeviceErrorMsg(),
              "Fail to write to swap file std sub stream fail bit is set after a write");
    EXPECT_EQ(buffer->getWrittenBytes(), 20U);
    buffer->clearDeviceError();
    EXPECT_EQ(write(*buffer, "z"), 0U) << "the file device is still in error";
    buffer->clearDeviceError();
    buffer->seek(0, kBegin);
    std::string bytes(10, '?');
    EXPECT_EQ(buffer->readBytes(bytes.data(), 10), 10U) << "in memory";
    EXPECT_EQ(bytes, std::string(10, 'x'));
    EXPECT_EQ(buffer->readBytes(bytes.data(), 1), 0U) << "in the file";
    buffer->clearDevice(Buffer::ClearKeepChunks);
    EXPECT_EQ(write(*buffer, std::string(200'000, 'z')), 200'000U);
    EXPECT_EQ(readAll(*buffer), std::string(200'000, 'z'));
}

TEST_F(qzIoDeviceSwapFileTest, ReportsASeekBeyondTheEndForWhichThereIsNoSpace)
{
    const auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    {
        const support::FileSizeLimit limit(300'000);
        EXPECT_FALSE(buffer->seek(1'000'000, kBegin));
    }
    EXPECT_EQ(buffer->getDeviceErrorMsg(),
              "Fail to write to swap file std sub stream fail bit is set after a write");
    EXPECT_EQ(buffer->getWrittenBytes(), 20U + 2 * 131072U) << "the pieces before";
    EXPECT_EQ(buffer->getCurrentPos(), 20 + 2 * 131072);
}

TEST_F(qzIoDeviceSwapFileTest, ReportsWhatItCannotFlushBeforeASeek)
{
    const auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    {
        const support::FileSizeLimit limit(5);
        EXPECT_EQ(readAll(*buffer), "");
        EXPECT_EQ(buffer->getDeviceErrorMsg(),
                  "Fail to seek in swap file std sub stream is in error after a seekp");
        buffer->clearDevice(Buffer::ClearKeepChunks);
    }
    EXPECT_EQ(write(*buffer, std::string(20, 'y')), 20U);
    EXPECT_EQ(readAll(*buffer), std::string(20, 'y'));
}

TEST_F(qzIoDeviceSwapFileTest, WorksAfterAClearThatCouldNotFlush)
{
    const auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    {
        const support::FileSizeLimit limit(5);
        buffer->clearDevice(Buffer::ClearKeepChunks);
    }
    EXPECT_EQ(write(*buffer, std::string(20, 'y')), 20U);
    EXPECT_EQ(readAll(*buffer), std::string(20, 'y'));
}

TEST_F(qzIoDeviceSwapFileTest, ReportsAFileThatHasBeenCut)
{
    const auto buffer = makeBuffer();
    write(*buffer, std::string(100'010, 'x'));
    buffer->seek(10, kBegin);
    char byte = 0;
    buffer->readBytes(&byte, 1);
    const std::string path = mSwap + "/" + list(mSwap).at(0);
    std::filesystem::resize_file(path, 1000);
    std::string bytes(50'000, '?');
    buffer->seek(50'010, kBegin);
    EXPECT_EQ(buffer->readBytes(bytes.data(), 50'000), 0U);
    EXPECT_EQ(buffer->getDeviceErrorMsg(), "Not enought data in swap file ");
    // A read that gets a part moves the file's position by that part.
    buffer->clearDeviceError();
    buffer->seek(510, kBegin);
    EXPECT_EQ(buffer->readBytes(bytes.data(), 50'000), 0U);
    buffer->clearDeviceError();
    buffer->seek(510, kBegin);
    EXPECT_EQ(buffer->readBytes(bytes.data(), 100), 100U);
    EXPECT_EQ(bytes.substr(0, 100), std::string(100, 'x'));
    buffer->seek(510, kBegin);
    EXPECT_EQ(buffer->readBytes(bytes.data(), 50'000), 0U);
    buffer->clearDeviceError();
    buffer->seek(50'510, kBegin);
    EXPECT_EQ(write(*buffer, "z"), 1U);
    EXPECT_EQ(std::filesystem::file_size(path), 1000U) << "still in the buffer of the file";
    buffer->seek(10, kBegin);
    EXPECT_EQ(buffer->readBytes(bytes.data(), 1), 1U);
    EXPECT_EQ(std::filesystem::file_size(path), 50'501U) << "where it belongs";
}

TEST_F(qzIoDeviceSwapFileTest, ReportsAFileThatHasBeenCutWhenItIsWrittenBack)
{
    const auto buffer = makeBuffer();
    write(*buffer, std::string(100'010, 'x'));
    buffer->seek(10, kBegin);
    std::filesystem::resize_file(mSwap + "/" + list(mSwap).at(0), 1000);
    const support::LogCapture log;
    DeviceStub destination;
    unsigned long count = 7;
    EXPECT_FALSE(buffer->writeBackToDevice(destination, &count, nullptr));
    EXPECT_EQ(count, 7U);
    EXPECT_TRUE(buffer->good());
    EXPECT_THAT(log.getLines(), ElementsAre("CRITICAL Fail to read back data from swap"));
}

TEST_F(qzIoDeviceSwapFileTest, ReportsAFileThatGivesNothingWhenItIsWrittenBack)
{
    const auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    const support::LogCapture log;
    DeviceStub destination;
    Peer::getFile(*buffer).changeSupportedDataWay(qzIoDevice::DataWayWrite);
    EXPECT_FALSE(buffer->writeBackToDevice(destination, nullptr, nullptr));
    EXPECT_THAT(log.getLines(), ElementsAre("CRITICAL Fail to read back data from swap"));
}

TEST_F(qzIoDeviceSwapFileTest, ReportsWhenItCannotBeWrittenBack)
{
    const auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    const support::LogCapture log;
    DeviceStub destination;
    Peer::getFile(*buffer).setDeviceError("words of the file");
    EXPECT_FALSE(buffer->writeBackToDevice(destination, nullptr, nullptr));
    readAll(*buffer);
    EXPECT_EQ(buffer->getDeviceErrorMsg(), "Fail to seek in swap file words of the file");
    EXPECT_THAT(log.getLines(),
                ElementsAre("CRITICAL Fail to seek in swap chunk words of the file"));
}

TEST_F(qzIoDeviceSwapFileTest, ReportsThatItCannotSeekBeforeAWrite)
{
    const auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    Peer::getFile(*buffer).setDeviceError("words of the file");
    EXPECT_TRUE(buffer->seek(12, kBegin)) << "the file is moved when it is used";
    EXPECT_EQ(write(*buffer, "y"), 0U);
    EXPECT_EQ(buffer->getDeviceErrorMsg(), "Fail to seek in swap file words of the file");
}

TEST_F(qzIoDeviceSwapFileTest, StaysWhereItIsWhenAWriteFails)
{
    const auto buffer = makeBuffer();
    write(*buffer, std::string(30, 'x'));
    buffer->seek(10, kBegin);
    std::string bytes(2, '?');
    ASSERT_EQ(buffer->readBytes(bytes.data(), 2), 2U);
    Peer::getFile(*buffer).setDeviceError("words of the file");
    EXPECT_EQ(write(*buffer, "abc"), 0U);
    EXPECT_EQ(buffer->getDeviceErrorMsg(), "Fail to write to swap file words of the file");
    EXPECT_EQ(buffer->getCurrentPos(), 12);
    buffer->clearDeviceError();
    EXPECT_TRUE(buffer->seek(15, kBegin));
    EXPECT_EQ(buffer->readBytes(bytes.data(), 1), 0U);
    EXPECT_EQ(buffer->getDeviceErrorMsg(), "Fail to seek in swap file words of the file");
}

TEST_F(qzIoDeviceSwapFileTest, ReportsAnErrorThatItMeetsWhileItIsWrittenBack)
{
    // The destination breaks the file after the first piece.
    class Breaking : public DeviceStub {
    public:
        explicit Breaking(Buffer& buffer) : mBuffer(buffer) {}
        unsigned long writeBytes(const char* src, unsigned long size) override
        {
            if (size == 4194304) Peer::getFile(mBuffer).setDeviceError("words of the file");
            return DeviceStub::writeBytes(src, size);
        }

    private:
        Buffer& mBuffer;
    };
    const auto buffer = makeBuffer();
    write(*buffer, std::string(5'000'000, 'x'));
    const support::LogCapture log;
    Breaking destination(*buffer);
    EXPECT_FALSE(buffer->writeBackToDevice(destination, nullptr, nullptr));
    EXPECT_THAT(
        log.getLines(),
        ElementsAre("CRITICAL Got an error while reading from swap chunk words of the file"));
}

TEST_F(qzIoDeviceSwapFileTest, WarnsWhenItIsGoneAlready)
{
    const support::LogCapture log;
    auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    const std::string path = mSwap + "/" + list(mSwap).at(0);
    std::filesystem::remove(path);
    buffer->clearDevice(Buffer::ClearWipeChunks);
    EXPECT_THAT(log.getLines(), ElementsAre("WARNING Fail to remove swap file " + path));
    EXPECT_EQ(write(*buffer, std::string(20, 'y')), 20U);
    std::filesystem::remove_all(mSwap);
    buffer.reset();
    EXPECT_THAT(log.getLines(), SizeIs(2));
}

TEST_F(qzIoDeviceSwapFileTest, WorksAgainAfterAFullDiskAndAClear)
{
    support::ProgramRun run;
    run.program = "swap_full_disk";
    run.arguments = {mFolder.getPath()};
    const support::ChildResult result = runProgram(run);
    if (result.exitCode == 77) GTEST_SKIP() << "no disk of one's own: " << result.err;
    EXPECT_EQ(result.getEnd(), "exit 0");
    const std::string full =
        "full: Fail to write to swap file std sub stream fail bit is set after a write\n";
    EXPECT_EQ(result.out, full + "after clear 1: whole \n" + full + "after clear 2: whole \n" +
                              full + "after clear 0: whole \n" + "files left: 0, reports: 0\n");
}

// --- Files and links of others

TEST_F(qzIoDeviceSwapFileTest, FollowsNoLinkAtItsNameAndTakesAnother)
{
    const std::string victim = plantLinks();
    const std::size_t planted = list(mSwap).size();
    const FixedNames names(3);
    const auto buffer = makeBuffer();
    EXPECT_EQ(write(*buffer, std::string(20, 'x')), 20U);
    EXPECT_EQ(readAll(*buffer), std::string(20, 'x'));
    EXPECT_EQ(FixedNames::CountCallsLeft(), -1) << "three names were taken, the fourth was free";
    EXPECT_THAT(list(mSwap), SizeIs(planted + 1));
    EXPECT_EQ(mFolder.read("victim"), "precious");
}

TEST_F(qzIoDeviceSwapFileTest, TakesTheThousandthName)
{
    plantLinks();
    const FixedNames names(999);
    const auto buffer = makeBuffer();
    EXPECT_EQ(write(*buffer, std::string(20, 'x')), 20U);
    EXPECT_EQ(buffer->getDeviceErrorMsg(), "");
}

TEST_F(qzIoDeviceSwapFileTest, GivesUpWhenEachNameIsTaken)
{
    plantLinks();
    const FixedNames names(1'000'000);
    const auto buffer = makeBuffer();
    EXPECT_EQ(write(*buffer, std::string(20, 'x')), 0U);
    EXPECT_THAT(buffer->getDeviceErrorMsg(),
                StartsWith("Fail to write to swap file failed to open file: '" + mSwap));
    EXPECT_EQ(mFolder.read("victim"), "precious");
}

TEST_F(qzIoDeviceSwapFileTest, FollowsNoLinkThatHasTakenItsPlace)
{
    const auto buffer = makeBuffer();
    write(*buffer, std::string(20, 'x'));
    const std::string victim = mFolder.write("victim", "precious");
    const std::string path = mSwap + "/" + list(mSwap).at(0);
    std::filesystem::remove(path);
    std::filesystem::create_symlink(victim, path);
    Peer::getFile(*buffer).setDeviceError("an error, so that a clear opens the file again");
    buffer->clearDevice(Buffer::ClearKeepChunks);
    EXPECT_EQ(write(*buffer, std::string(50'000, 'y')), 50'000U);
    EXPECT_EQ(readAll(*buffer), std::string(50'000, 'y'));
    EXPECT_EQ(mFolder.read("victim"), "precious");
}

// As in a container of which /proc is no part.
TEST_F(qzIoDeviceSwapFileTest, FollowsNoLinkThatHasTakenItsPlaceWhereThereIsNoProc)
{
    constexpr int kMayNot = 77;
    const std::string victim = mFolder.write("victim", "precious");
    const auto work = [this] {
        const char* const root = mFolder.getPath().c_str();
        if (::chroot(root) != 0 && (::unshare(CLONE_NEWUSER) != 0 || ::chroot(root) != 0))
            return kMayNot;
        std::filesystem::current_path("/");
        Buffer buffer("/swap", 10, 10, 10);
        if (write(buffer, std::string(20, 'x')) != 20) return 1;
        const std::string path = "/swap/" + list("/swap").at(0);
        std::filesystem::remove(path);
        std::filesystem::create_symlink("/victim", path);
        Peer::getFile(buffer).setDeviceError("an error, so that a clear opens the file again");
        buffer.clearDevice(Buffer::ClearKeepChunks);
        if (write(buffer, std::string(50'000, 'y')) != 50'000) return 2;
        return readAll(buffer) == std::string(50'000, 'y') ? 0 : 3;
    };
    const support::ChildResult result = support::runInChild(work);
    if (result.exitCode == kMayNot) GTEST_SKIP() << "this process may not change its root";
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_TRUE(mFolder.read("victim") == "precious");
}

// --- Forked children

class qzIoDeviceSwapFileFork : public qzIoDeviceSwapFileTest,
                               public ::testing::WithParamInterface<int> {};

TEST_P(qzIoDeviceSwapFileFork, IsTheParentsWhateverAChildDoesToTheDevice)
{
    auto buffer = makeBuffer();
    write(*buffer, std::string(100, 'x'));  // of which the buffer of the file still has some
    const std::vector<std::string> before = list(mSwap);
    const auto work = [&] {
        if (GetParam() < 3) {
            buffer->clearDevice(static_cast<Buffer::ClearMode>(GetParam()));
            if (write(*buffer, std::string(200, 'c')) != 200) return 1;
            if (readAll(*buffer) != std::string(200, 'c')) return 2;
        }
        buffer.reset();
        return list(mSwap) == before ? 0 : 3;
    };
    EXPECT_EQ(support::runInChild(work).getEnd(), "exit 0");
    EXPECT_EQ(list(mSwap), before);
    write(*buffer, std::string(50, 'y'));
    EXPECT_EQ(readAll(*buffer), std::string(100, 'x') + std::string(50, 'y'));
    EXPECT_EQ(std::filesystem::file_size(mSwap + "/" + before.at(0)), 140U);
    buffer.reset();
    EXPECT_THAT(list(mSwap), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Ways, qzIoDeviceSwapFileFork, ::testing::Values(0, 1, 2, 3));

// --- Memory

TEST_F(qzIoDeviceSwapFileTest, KeepsTheMemoryBelowTheBudgetAndOneChunk)
{
    constexpr unsigned long kBudget = 8 * kMiB;
    constexpr unsigned long kChunk = kMiB;
    constexpr unsigned long kOther = 4 * kMiB;  // buffers, the allocator's own
    const auto work = [this] {
        const std::string piece(100'000, 'x');
        const unsigned long before =
            qzSystemUtils::GetUsedRamQuantityInBytes(qzSystemUtils::RamResident);
        Buffer buffer(mSwap, kChunk, kChunk, kBudget);
        for (int i = 0; i < 640; ++i)
            if (write(buffer, piece) != piece.size()) return 1;
        const unsigned long after =
            qzSystemUtils::GetUsedRamQuantityInBytes(qzSystemUtils::RamResident);
        if (buffer.getMemoryFootPrint() > kBudget) return 2;
        if (!support::kSeesMalloc) return 0;  // a sanitizer's own memory would count
        return after - before <= kBudget + kChunk + kOther ? 0 : 3;
    };
    EXPECT_EQ(support::runInChild(work).getEnd(), "exit 0");
}

}  // namespace qz
