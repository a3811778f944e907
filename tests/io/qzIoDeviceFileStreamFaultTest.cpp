// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceDummy.h>
#include <qz/qzIoDeviceFileStream.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "io/DeviceTestPeers.h"
#include "io/FileDeviceFixture.h"
#include "support/Allocations.h"
#include "support/Files.h"
#include "support/Limits.h"
#include "support/LogCapture.h"

namespace qz {

using ::testing::ElementsAre;

namespace {

const char* const kWriteError = "std sub stream fail bit is set after a write";
const char* const kReadError = "std sub stream bad bit is set after a read";

}  // namespace

/// What a file device makes of failures of the system under it.
class qzIoDeviceFileStreamFault : public FileDeviceFixture {
protected:
    void openFull() { ASSERT_TRUE(mDevice.open("/dev/full", kWrite, false)); }

    // Makes the descriptor of the device's file unusable.
    void pullDescriptor() const
    {
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            if (std::filesystem::read_symlink(entry, gone) != mPath) continue;
            const int fd = std::stoi(entry.path().filename());
            // Its number stays taken, so that no later file is closed for it.
            const int unusable = ::open("/", O_PATH);
            ::dup2(unusable, fd);
            ::close(unusable);
            return;
        }
        FAIL() << "no descriptor of " << mPath;
    }
};

TEST_F(qzIoDeviceFileStreamFault, ShowsAFullDiskOnceTheBufferIsFull)
{
    openFull();
    const std::string block(1000, 'x');
    unsigned long taken = 0;
    while (taken < 1000000 && write(block) == block.size())
        taken += block.size();
    EXPECT_EQ(error(), kWriteError);
    EXPECT_GT(taken, 0U);
    EXPECT_LT(taken, 1000000U);
    EXPECT_EQ(mDevice.getCurrentPos(), static_cast<long>(taken + block.size()));
}

TEST_F(qzIoDeviceFileStreamFault, ShowsAFullDiskAtOnceToALargeBlock)
{
    openFull();
    EXPECT_EQ(write(std::string(100000, 'x')), 0U);
    EXPECT_EQ(error(), kWriteError);
    EXPECT_EQ(mDevice.getCurrentPos(), 100000);
    EXPECT_EQ(write("x"), 0U);
    EXPECT_EQ(mDevice.getCurrentPos(), 100000);
}

TEST_F(qzIoDeviceFileStreamFault, ShowsAFullDiskAtTheWriteAfterAFlush)
{
    openFull();
    write("abc");
    EXPECT_TRUE(mDevice.flush()) << "the flush itself doesn't look";
    EXPECT_EQ(write(""), 0U);
    EXPECT_EQ(error(), kWriteError);
}

TEST_F(qzIoDeviceFileStreamFault, ShowsAFullDiskAtASeek)
{
    openFull();
    write("abc");
    EXPECT_FALSE(mDevice.seek(0, kBegin));
    EXPECT_EQ(error(), "std sub stream is in error after a seekp");
    EXPECT_EQ(mDevice.getCurrentPos(), -1);
}

TEST_F(qzIoDeviceFileStreamFault, LosesWhatAFailedCloseCannotWrite)
{
    openFull();
    write("abc");
    EXPECT_TRUE(mDevice.close()) << "a failed close goes with the stream";
    EXPECT_TRUE(mDevice.good());
}

// Writes 500 bytes in lines, flushes them while the file may have 105, and closes it without the
// limit.
TEST_F(qzIoDeviceFileStreamFault, WritesNoByteTwiceAfterAFlushThatAFullDiskCutShort)
{
    std::string lines;
    for (int i = 0; i < 50; ++i)
        lines += "line " + std::to_string(1000 + i) + "\n";
    ASSERT_TRUE(mDevice.open(mPath, kWrite, true));
    write(lines);
    {
        const support::FileSizeLimit limit(105);
        EXPECT_TRUE(mDevice.flush());
        EXPECT_EQ(onDisk(), lines.substr(0, 105));
        EXPECT_TRUE(mDevice.flush()) << "fails again, with what is left";
    }
    EXPECT_TRUE(mDevice.close());
    EXPECT_EQ(onDisk(), lines);
}

TEST_F(qzIoDeviceFileStreamFault, WritesNoByteTwiceAfterAFullBufferThatAFullDiskCutShort)
{
    std::string written;
    ASSERT_TRUE(mDevice.open(mPath, kWrite, true));
    {
        const support::FileSizeLimit limit(1000);
        for (int i = 0; mDevice.good(); ++i) {
            const std::string line = "line " + std::to_string(i) + "\n";
            write(line);
            written += line;
        }
        EXPECT_EQ(onDisk(), written.substr(0, 1000));
    }
    mDevice.close();
    const std::string content = onDisk();
    EXPECT_GT(content.size(), 1000U);
    EXPECT_EQ(content, written.substr(0, content.size()));
}

TEST_F(qzIoDeviceFileStreamFault, ReportsAFullDiskAsTrace)
{
    openFull();
    const support::LogCapture log(LogLevelAll);
    write(std::string(100000, 'x'));
    write("more");
    EXPECT_THAT(log.getLines(),
                ElementsAre(std::string("TRACE(iodevice) qzIoDevice error : ") + kWriteError));
}

TEST_F(qzIoDeviceFileStreamFault, StopsWhereNoFileMayGrowFurther)
{
    const support::FileSizeLimit limit(100000);
    mDevice.open(mPath, kWrite, true);
    EXPECT_EQ(write(std::string(90000, 'x')), 90000U);
    EXPECT_EQ(write(std::string(90000, 'y')), 0U);
    EXPECT_EQ(error(), kWriteError);
    mDevice.close();
    EXPECT_EQ(onDisk(), std::string(90000, 'x') + std::string(10000, 'y'));
}

TEST_F(qzIoDeviceFileStreamFault, FailsOnADescriptorThatCannotWrite)
{
    openOver("abc", kBoth);
    pullDescriptor();
    EXPECT_EQ(write(std::string(90000, 'x')), 0U);
    EXPECT_EQ(error(), kWriteError);
    EXPECT_FALSE(mDevice.close());
    EXPECT_EQ(onDisk(), "abc");
}

TEST_F(qzIoDeviceFileStreamFault, FailsOnADescriptorThatCannotRead)
{
    openOver("abc", kRead);
    pullDescriptor();
    EXPECT_EQ(read(1), "");
    EXPECT_EQ(error(), kReadError);
    EXPECT_EQ(mDevice.getCurrentPos(), 0);
    EXPECT_EQ(read(1), "");
}

TEST_F(qzIoDeviceFileStreamFault, FailsOnADescriptorThatCannotMove)
{
    openOver("abc", kBoth);
    pullDescriptor();
    EXPECT_FALSE(mDevice.seek(1, kBegin));
    EXPECT_EQ(error(), "std sub stream is in error after a seekp");
}

TEST_F(qzIoDeviceFileStreamFault, GivesNothingOnADescriptorThatCannotMoveWhereItOnlyReads)
{
    openOver("abc", kRead);
    pullDescriptor();
    EXPECT_TRUE(mDevice.seek(1, kBegin)) << "only a bad state is an error here";
    EXPECT_EQ(mDevice.getCurrentPos(), -1);
    EXPECT_EQ(read(1), "");
    EXPECT_TRUE(mDevice.good());
}

TEST_F(qzIoDeviceFileStreamFault, MovesNoMoreOnceTheDescriptorIsGone)
{
    openOver(std::string(20000, 'x'), kBoth);
    read(1);
    pullDescriptor();
    EXPECT_EQ(read(20000), "");
    EXPECT_EQ(error(), kReadError);
    mDevice.clearDeviceError();
    EXPECT_FALSE(mDevice.seek(0, kBegin));
    EXPECT_EQ(error(), "std sub stream is in error after a seekp");
}

// A readable region of memory as a file: its end is an error for whoever reads on. The addresses
// after it are those of a file that is too short for them, so that nobody else gets them.
class MemoryWithAnEnd {
public:
    static constexpr std::size_t kSize = 65536;

    MemoryWithAnEnd()
    {
        const int file = ::memfd_create("memory", MFD_CLOEXEC);
        EXPECT_EQ(::ftruncate(file, kSize), 0);
        mBytes = static_cast<char*>(
            ::mmap(nullptr, 2 * kSize, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
        ::close(file);
    }
    ~MemoryWithAnEnd() { ::munmap(mBytes, 2 * kSize); }
    MemoryWithAnEnd(const MemoryWithAnEnd&) = delete;
    MemoryWithAnEnd& operator=(const MemoryWithAnEnd&) = delete;

    // Opens the device just before the last `count` bytes.
    void openBeforeEnd(qzIoDeviceFileStream& device, qzIoDevice::DataWay way, long count) const
    {
        ASSERT_TRUE(device.open("/proc/self/mem", way, false));
        const auto end = reinterpret_cast<long>(mBytes) + static_cast<long>(kSize);
        ASSERT_TRUE(device.seek(end - count, qzIoDeviceRandomAccess::SeekFromBegin));
    }

private:
    char* mBytes = nullptr;
};

class qzIoDeviceFileStreamReadError : public qzIoDeviceFileStreamFault,
                                      public ::testing::WithParamInterface<qzIoDevice::DataWay> {
protected:
    MemoryWithAnEnd mMemory;
};

TEST_P(qzIoDeviceFileStreamReadError, IsNoEndOfTheFile)
{
    mMemory.openBeforeEnd(mDevice, GetParam(), 100);
    EXPECT_EQ(read(100).size(), 100U);
    EXPECT_FALSE(mDevice.atEnd());
    EXPECT_FALSE(mDevice.atEnd()) << "nor the second time";
    EXPECT_TRUE(mDevice.good());
    EXPECT_EQ(read(1), "");
    EXPECT_EQ(error(), kReadError);
    EXPECT_FALSE(mDevice.atEnd());
}

TEST_P(qzIoDeviceFileStreamReadError, FailsACopyToAnotherDevice)
{
    mMemory.openBeforeEnd(mDevice, GetParam(), 100);
    qzIoDeviceDummy destination;
    EXPECT_FALSE(mDevice.writeBackToDevice(destination, nullptr, nullptr));
    EXPECT_EQ(error(), kReadError);
}

INSTANTIATE_TEST_SUITE_P(Ways, qzIoDeviceFileStreamReadError,
                         ::testing::Values(qzIoDevice::DataWayRead, qzIoDevice::DataWayReadWrite),
                         [](const auto& row) {
                             return row.param == qzIoDevice::DataWayRead ? "Read" : "ReadWrite";
                         });

TEST_F(qzIoDeviceFileStreamFault, FailsACopyOfAFolder)
{
    ASSERT_TRUE(mDevice.open(mFolder.getPath(), kRead, false));
    qzIoDeviceDummy destination;
    EXPECT_FALSE(mDevice.writeBackToDevice(destination, nullptr, nullptr));
    EXPECT_EQ(error(), kReadError);
}

// Breaks when its read position is moved, which no file of the system does.
class BreaksAtReadMoves : public std::stringbuf {
protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir start,
                     std::ios_base::openmode which) override
    {
        if (which & std::ios_base::in) throw std::runtime_error("broken");
        return std::stringbuf::seekoff(offset, start, which);
    }
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override
    {
        return seekoff(off_type(position), std::ios_base::beg, which);
    }
};

TEST_F(qzIoDeviceFileStreamFault, FailsOnABadStreamAfterAMoveWhereItOnlyReads)
{
    openOver("abc", kRead);
    BreaksAtReadMoves buffer;
    qzIoDeviceFileStreamTestPeer::replaceBuffer(mDevice, &buffer);
    EXPECT_FALSE(mDevice.seek(1, kBegin));
    EXPECT_EQ(error(), "std sub stream is in error after a seekg");
    EXPECT_EQ(mDevice.getCurrentPos(), -1);
}

TEST_F(qzIoDeviceFileStreamFault, FailsOnABadStreamAfterTheSecondMoveWhereItReadsAndWrites)
{
    openOver("abc", kBoth);
    BreaksAtReadMoves buffer;
    buffer.sputn("abc", 3);
    qzIoDeviceFileStreamTestPeer::replaceBuffer(mDevice, &buffer);
    EXPECT_FALSE(mDevice.seek(1, kBegin));
    EXPECT_EQ(error(), "std sub stream is in error after a seekg");
    EXPECT_EQ(mDevice.getCurrentPos(), 1);
}

TEST_F(qzIoDeviceFileStreamFault, GivesNothingOfAReadThatLeavesTheStreamBad)
{
    class BreaksItsStream : public std::stringbuf {
    public:
        explicit BreaksItsStream(std::ios& stream) : std::stringbuf("abc"), mStream(stream) {}

    protected:
        std::streamsize xsgetn(char* dst, std::streamsize size) override
        {
            mStream.setstate(std::ios::badbit);
            return std::stringbuf::xsgetn(dst, size);
        }

    private:
        std::ios& mStream;
    };
    openOver("abc", kRead);
    BreaksItsStream buffer(qzIoDeviceFileStreamTestPeer::getStream(mDevice));
    qzIoDeviceFileStreamTestPeer::replaceBuffer(mDevice, &buffer);
    EXPECT_EQ(read(2), "");
    EXPECT_EQ(error(), kReadError);
    EXPECT_EQ(mDevice.getCurrentPos(), 0);
}

TEST_F(qzIoDeviceFileStreamFault, WritesNothingToAPathThatOnlyReads)
{
    openOver("abc", kRead);
    mDevice.changeSupportedDataWay(kBoth);
    EXPECT_EQ(write(std::string(9000, 'x')), 0U);
    EXPECT_EQ(error(), kWriteError);
}

TEST_F(qzIoDeviceFileStreamFault, ReadsAPipeToItsEnd)
{
    ASSERT_EQ(::mkfifo(mPath.c_str(), 0600), 0);
    const int fd = ::open(mPath.c_str(), O_RDWR);
    ASSERT_TRUE(mDevice.open(mPath, kRead, false));
    ASSERT_EQ(::write(fd, "abc", 3), 3);
    ::close(fd);
    EXPECT_EQ(read(2), "ab");
    EXPECT_EQ(read(10), "c");
    EXPECT_TRUE(mDevice.atEnd());
    EXPECT_TRUE(mDevice.good());
}

TEST_F(qzIoDeviceFileStreamFault, LeaksNothingWhenThereIsNoMemory)
{
    mFolder.write("file", "abcdef");
    const std::size_t before = support::countOpenDescriptors();
    std::string got;
    support::failEachAllocation(
        [&] {
            qzIoDeviceFileStream device(mPath, kBoth, false);
            char bytes[6];
            got.assign(bytes, device.readBytes(bytes, sizeof bytes));
        },
        [&](const support::AllocationFailure&) {
            EXPECT_EQ(support::countOpenDescriptors(), before);
        });
    EXPECT_EQ(got, "abcdef");
}

}  // namespace qz
