// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceFileStream.h>
#include <qz/qzIoDeviceStdStreamProxy.h>

#include <numeric>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "io/FileDeviceFixture.h"
#include "support/ChildProcess.h"
#include "support/DeviceStub.h"
#include "support/LogCapture.h"

namespace qz {

using ::testing::ElementsAre;

// --- Reading

TEST_F(qzIoDeviceFileStreamTest, ReadsInPieces)
{
    openOver("abcdef", kRead);
    EXPECT_EQ(read(2), "ab");
    EXPECT_EQ(mDevice.getCurrentPos(), 2);
    EXPECT_EQ(read(0), "");
    EXPECT_EQ(read(4), "cdef");
    EXPECT_EQ(mDevice.getCurrentPos(), 6);
    EXPECT_TRUE(mDevice.good());
}

TEST_F(qzIoDeviceFileStreamTest, GivesAShortCountAtTheEndWithoutAnError)
{
    openOver("abc", kRead);
    EXPECT_EQ(read(10), "abc");
    EXPECT_TRUE(mDevice.good());
    EXPECT_TRUE(mDevice.atEnd());
    EXPECT_EQ(mDevice.getCurrentPos(), 3);
}

TEST_F(qzIoDeviceFileStreamTest, GivesNothingAfterTheEndWithoutAnError)
{
    openOver("abc", kRead);
    read(10);
    EXPECT_EQ(read(10), "");
    EXPECT_EQ(read(0), "");
    EXPECT_TRUE(mDevice.good());
    EXPECT_TRUE(mDevice.atEnd());
    EXPECT_EQ(mDevice.getCurrentPos(), 3);
}

TEST_F(qzIoDeviceFileStreamTest, ReadsOnAfterASeekBackFromTheEnd)
{
    openOver("abc", kRead);
    read(10);
    read(10);
    EXPECT_TRUE(mDevice.seek(1, kBegin));
    EXPECT_FALSE(mDevice.atEnd());
    EXPECT_EQ(read(10), "bc");
}

TEST_F(qzIoDeviceFileStreamTest, ReadsZeroBytesInTheContent)
{
    const std::string content("a\0\0b\n\r\xFF", 7);
    openOver(content, kRead);
    EXPECT_EQ(read(7), content);
}

TEST_F(qzIoDeviceFileStreamTest, ReadsNothingInError)
{
    openOver("abc", kRead);
    mDevice.setDeviceError("x");
    EXPECT_EQ(read(1), "");
    EXPECT_EQ(mDevice.getCurrentPos(), 0);
    mDevice.clearDeviceError();
    EXPECT_EQ(read(1), "a") << "the stream itself was not touched";
}

TEST_F(qzIoDeviceFileStreamTest, ReadsAndWritesNothingWhileClosed)
{
    EXPECT_EQ(read(1), "");
    EXPECT_EQ(write("a"), 0U);
    EXPECT_TRUE(mDevice.good());
    EXPECT_FALSE(mDevice.atEnd());
}

TEST_F(qzIoDeviceFileStreamTest, ReadsAndWritesByTheWayThatIsDeclared)
{
    openOver("abc", kBoth);
    mDevice.changeSupportedDataWay(kWrite);
    EXPECT_EQ(read(1), "");
    EXPECT_EQ(write("X"), 1U);
    mDevice.changeSupportedDataWay(kRead);
    EXPECT_EQ(read(1), "b");
    EXPECT_EQ(write("X"), 0U);
    mDevice.changeSupportedDataWay(kNone);
    EXPECT_EQ(read(1), "");
    EXPECT_EQ(write("X"), 0U);
    EXPECT_TRUE(mDevice.good());
}

// --- Writing

TEST_F(qzIoDeviceFileStreamTest, WritesInPieces)
{
    mDevice.open(mPath, kWrite, true);
    EXPECT_EQ(write("ab"), 2U);
    EXPECT_EQ(write(""), 0U);
    EXPECT_EQ(write(std::string("\0c", 2)), 2U);
    EXPECT_EQ(mDevice.getCurrentPos(), 4);
    mDevice.close();
    EXPECT_EQ(onDisk(), std::string("ab\0c", 4));
}

TEST_F(qzIoDeviceFileStreamTest, WritesNothingInError)
{
    mDevice.open(mPath, kWrite, true);
    mDevice.setDeviceError("x");
    EXPECT_EQ(write("ab"), 0U);
    EXPECT_EQ(mDevice.getCurrentPos(), 0);
    mDevice.close();
    EXPECT_EQ(onDisk(), "");
}

TEST_F(qzIoDeviceFileStreamTest, KeepsASmallWriteUntilTheFlush)
{
    mDevice.open(mPath, kWrite, true);
    write("abc");
    EXPECT_EQ(onDisk(), "");
    EXPECT_TRUE(mDevice.flush());
    EXPECT_EQ(onDisk(), "abc");
    write("def");
    EXPECT_TRUE(mDevice.close());
    EXPECT_EQ(onDisk(), "abcdef");
}

TEST_F(qzIoDeviceFileStreamTest, HandsASmallWriteOutAtASeek)
{
    mDevice.open(mPath, kWrite, true);
    write("abc");
    mDevice.seek(0, kBegin);
    EXPECT_EQ(onDisk(), "abc");
}

TEST_F(qzIoDeviceFileStreamTest, OverwritesInPlace)
{
    openOver("abcdef", kBoth);
    mDevice.seek(2, kBegin);
    EXPECT_EQ(write("XY"), 2U);
    EXPECT_EQ(mDevice.getCurrentPos(), 4);
    mDevice.close();
    EXPECT_EQ(onDisk(), "abXYef");
}

TEST_F(qzIoDeviceFileStreamTest, WritesWhereTheReadStopped)
{
    openOver("abcdef", kBoth);
    read(2);
    write("XY");
    EXPECT_EQ(read(1), "e");
    mDevice.close();
    EXPECT_EQ(onDisk(), "abXYef");
}

TEST_F(qzIoDeviceFileStreamTest, WritesAfterAReadThatMetTheEnd)
{
    openOver("abc", kBoth);
    EXPECT_EQ(read(10), "abc");
    EXPECT_EQ(write("de"), 2U) << "a write after the end must not be dropped in silence";
    EXPECT_TRUE(mDevice.close());
    EXPECT_EQ(onDisk(), "abcde");
}

TEST_F(qzIoDeviceFileStreamTest, WritesALargeBlockAfterAReadThatMetTheEnd)
{
    openOver("abc", kBoth);
    read(10);
    const std::string block(20000, 'x');
    EXPECT_EQ(write(block), block.size());
    mDevice.close();
    EXPECT_EQ(onDisk(), "abc" + block);
}

TEST_F(qzIoDeviceFileStreamTest, FailsAWriteAfterAReadThatGaveNothing)
{
    openOver("abc", kBoth);
    read(10);
    read(10);
    EXPECT_EQ(write("de"), 0U);
    EXPECT_EQ(error(), "std sub stream fail bit is set after a write");
    EXPECT_EQ(mDevice.getCurrentPos(), 5) << "the position moves before the look at the state";
}

TEST_F(qzIoDeviceFileStreamTest, WritesAgainAfterASeekFromWhereAReadGaveNothing)
{
    openOver("abc", kBoth);
    read(10);
    read(10);
    EXPECT_TRUE(mDevice.seek(0, kCurrent));
    EXPECT_EQ(write("de"), 2U);
    mDevice.close();
    EXPECT_EQ(onDisk(), "abcde");
}

TEST_F(qzIoDeviceFileStreamTest, MovesEverySmallSizeByteForByte)
{
    std::string bytes(70, ' ');
    std::iota(bytes.begin(), bytes.end(), '0');
    openOver("", kBoth);
    for (unsigned long size = 0; size <= bytes.size(); ++size) {
        EXPECT_EQ(write(bytes.substr(0, size)), size);
    }
    mDevice.seek(0, kBegin);
    for (unsigned long size = 0; size <= bytes.size(); ++size) {
        EXPECT_EQ(read(size), bytes.substr(0, size));
    }
    EXPECT_TRUE(mDevice.atEnd());
}

// --- atEnd

TEST_F(qzIoDeviceFileStreamTest, IsAtTheEndOfAnEmptyFile)
{
    openOver("", kRead);
    EXPECT_TRUE(mDevice.atEnd());
    EXPECT_EQ(read(1), "");
    EXPECT_TRUE(mDevice.good());
}

TEST_F(qzIoDeviceFileStreamTest, FindsTheEndBeforeARead)
{
    openOver("abc", kRead);
    EXPECT_FALSE(mDevice.atEnd());
    EXPECT_EQ(read(3), "abc");
    EXPECT_TRUE(mDevice.atEnd());
    EXPECT_EQ(mDevice.getCurrentPos(), 3);
}

TEST_F(qzIoDeviceFileStreamTest, SeesNoMoreOfAFileThatGrowsAfterItsEnd)
{
    openOver("abc", kRead);
    read(10);
    mFolder.write("file", "abcdef");
    EXPECT_TRUE(mDevice.atEnd());
    EXPECT_EQ(read(10), "");
    EXPECT_TRUE(mDevice.seek(3, kBegin));
    EXPECT_EQ(read(10), "def");
}

TEST_F(qzIoDeviceFileStreamTest, SeesNoMoreOfAFileThatGrowsOnceItSaidThatItEnds)
{
    openOver("abc", kRead);
    read(3);
    EXPECT_TRUE(mDevice.atEnd());
    mFolder.write("file", "abcdef");
    EXPECT_TRUE(mDevice.atEnd()) << "the end that was seen stays";
    EXPECT_EQ(read(10), "");
}

TEST_F(qzIoDeviceFileStreamTest, ChecksAgainForTheEndWhereItWritesToo)
{
    openOver("abc", kBoth);
    read(3);
    EXPECT_TRUE(mDevice.atEnd());
    mFolder.write("file", "abcdef");
    EXPECT_FALSE(mDevice.atEnd()) << "a question leaves no state behind";
    EXPECT_EQ(read(3), "def");
}

TEST_F(qzIoDeviceFileStreamTest, IsAtTheEndWhereItOnlyWrites)
{
    mDevice.open(mPath, kWrite, true);
    EXPECT_TRUE(mDevice.atEnd());
    EXPECT_TRUE(mDevice.atEnd());
    EXPECT_EQ(write("ab"), 2U) << "a question must not change what a later write does";
    EXPECT_TRUE(mDevice.atEnd());
    EXPECT_EQ(write("cd"), 2U);
    EXPECT_TRUE(mDevice.close());
    EXPECT_EQ(onDisk(), "abcd");
}

TEST_F(qzIoDeviceFileStreamTest, IsAtTheEndWhereItAppends)
{
    openOver("abc", kWrite);
    EXPECT_TRUE(mDevice.atEnd());
    EXPECT_EQ(write("de"), 2U);
    EXPECT_TRUE(mDevice.close());
    EXPECT_EQ(onDisk(), "abcde");
}

TEST_F(qzIoDeviceFileStreamTest, WritesOnAfterTheQuestionForTheEnd)
{
    openOver("abc", kBoth);
    read(3);
    EXPECT_TRUE(mDevice.atEnd());
    EXPECT_EQ(write("de"), 2U);
    EXPECT_TRUE(mDevice.atEnd());
    EXPECT_EQ(write(std::string(9000, 'x')), 9000U);
    EXPECT_TRUE(mDevice.close());
    EXPECT_EQ(onDisk(), "abcde" + std::string(9000, 'x'));
}

TEST_F(qzIoDeviceFileStreamTest, WritesInTheMiddleAfterTheQuestionForTheEnd)
{
    openOver("abcdef", kBoth);
    read(2);
    EXPECT_FALSE(mDevice.atEnd());
    EXPECT_EQ(write("XY"), 2U);
    EXPECT_FALSE(mDevice.atEnd());
    EXPECT_EQ(read(9), "ef");
    mDevice.close();
    EXPECT_EQ(onDisk(), "abXYef");
}

TEST_F(qzIoDeviceFileStreamTest, IsAtTheEndInErrorAsBefore)
{
    openOver("abc", kRead);
    mDevice.setDeviceError("x");
    EXPECT_FALSE(mDevice.atEnd());
    mDevice.seek(0, kEnd);
    EXPECT_TRUE(mDevice.atEnd());
}

// --- flush

TEST_F(qzIoDeviceFileStreamTest, FlushesNothingWhileClosed)
{
    EXPECT_TRUE(mDevice.flush());
    mDevice.setDeviceError("x");
    EXPECT_FALSE(mDevice.flush());
}

TEST_F(qzIoDeviceFileStreamTest, FlushesInErrorToo)
{
    mDevice.open(mPath, kWrite, true);
    write("abc");
    mDevice.setDeviceError("x");
    EXPECT_FALSE(mDevice.flush());
    EXPECT_EQ(onDisk(), "abc");
}

// --- A class over this one with an error state of its own

namespace {

class FileWithOwnErrorState : public qzIoDeviceFileStream {
public:
    bool hasDeviceError() const override { return isInError; }

    bool isInError = false;
};

}  // namespace

TEST_F(qzIoDeviceFileStreamTest, MovesNothingWhileAnOverriddenErrorStateIsBad)
{
    mFolder.write("file", "abc");
    FileWithOwnErrorState device;
    device.isInError = true;
    EXPECT_TRUE(device.open(mPath, kBoth, false));
    char byte = 'x';
    EXPECT_EQ(device.readBytes(&byte, 1), 0U);
    EXPECT_EQ(device.writeBytes(&byte, 1), 0U);
    EXPECT_EQ(device.getCurrentPos(), 0);
    EXPECT_FALSE(device.flush());
    EXPECT_FALSE(device.seek(0, kBegin));
    EXPECT_FALSE(device.close());
    EXPECT_EQ(onDisk(), "abc");
}

TEST_F(qzIoDeviceFileStreamTest, MovesAllWhileAnOverriddenErrorStateIsGood)
{
    mFolder.write("file", "abc");
    FileWithOwnErrorState device;
    EXPECT_TRUE(device.open(mPath, kBoth, false));
    device.setDeviceError("x");
    char byte = 'x';
    EXPECT_EQ(device.readBytes(&byte, 1), 1U);
    EXPECT_EQ(byte, 'a');
    EXPECT_EQ(device.writeBytes("X", 1), 1U);
    EXPECT_TRUE(device.flush());
    EXPECT_TRUE(device.seek(0, kBegin));
    EXPECT_TRUE(device.close());
    EXPECT_EQ(onDisk(), "aXc");
}

// --- What the base class makes of a file

TEST_F(qzIoDeviceFileStreamTest, LoadsTheWholeFile)
{
    const std::string content(100000, 'x');
    openOver(content, kRead);
    read(10);
    std::vector<char> loaded;
    EXPECT_TRUE(mDevice.loadFullFileContent(loaded));
    EXPECT_EQ(std::string(loaded.begin(), loaded.end()), content);
    EXPECT_EQ(mDevice.getCurrentPos(), 10);
}

TEST_F(qzIoDeviceFileStreamTest, LoadsAnEmptyFileIntoAVectorWithoutMemory)
{
    openOver("", kRead);
    std::vector<char> loaded;
    EXPECT_TRUE(mDevice.loadFullFileContent(loaded));
    EXPECT_TRUE(loaded.empty());
}

TEST_F(qzIoDeviceFileStreamTest, MovesNoBytesFromOrToNullPointers)
{
    openOver("abc", kBoth);
    EXPECT_EQ(mDevice.readBytes(nullptr, 0), 0U);
    EXPECT_EQ(mDevice.writeBytes(nullptr, 0), 0U);
    EXPECT_EQ(write("X"), 1U);
    EXPECT_EQ(mDevice.writeBytes(nullptr, 0), 0U);
    EXPECT_TRUE(mDevice.good());
}

TEST_F(qzIoDeviceFileStreamTest, LoadsNothingWhileClosed)
{
    std::vector<char> loaded;
    EXPECT_FALSE(mDevice.loadFullFileContent(loaded));
    EXPECT_EQ(error(), "File is not open");
}

TEST_F(qzIoDeviceFileStreamTest, LoadsNothingFromAFileThatHasNoSize)
{
    ASSERT_TRUE(mDevice.open("/proc/self/status", kRead, false));
    std::vector<char> loaded;
    EXPECT_FALSE(mDevice.loadFullFileContent(loaded));
}

TEST_F(qzIoDeviceFileStreamTest, LoadsWhatAnAppendingDeviceMayNotReadAsAFailure)
{
    openOver("abc", kWrite);
    std::vector<char> loaded;
    EXPECT_FALSE(mDevice.loadFullFileContent(loaded));
    EXPECT_TRUE(mDevice.good());
}

TEST_F(qzIoDeviceFileStreamTest, CopiesItselfToAnotherDevice)
{
    openOver("abcdef", kRead);
    read(2);
    support::DeviceStub destination;
    unsigned long written = 0;
    EXPECT_TRUE(mDevice.writeBackToDevice(destination, &written, nullptr));
    EXPECT_EQ(written, 4U);
    EXPECT_EQ(destination.getContent(), "cdef");
}

// --- Sources that are never at their end and give nothing. A child runs the copy, as it may hang.

std::string endOfCopy(qzIoDevice& source)
{
    const auto copy = [&] {
        support::DeviceStub destination;
        unsigned long written = 1;
        return source.writeBackToDevice(destination, &written, nullptr) && written == 0 ? 0 : 1;
    };
    return support::runInChild(copy, {}, /*timeoutSec=*/20).getEnd();
}

TEST_F(qzIoDeviceFileStreamTest, EndsACopyFromAClosedDevice)
{
    EXPECT_EQ(endOfCopy(mDevice), "exit 0");
    openOver("abc", kRead);
    mDevice.close();
    EXPECT_EQ(endOfCopy(mDevice), "exit 0");
}

TEST_F(qzIoDeviceFileStreamTest, EndsACopyFromADeviceThatOnlyWrites)
{
    openOver("abc", kWrite);
    mDevice.seek(0, kBegin);
    EXPECT_EQ(endOfCopy(mDevice), "exit 0");
}

TEST_F(qzIoDeviceFileStreamTest, EndsACopyFromAProxyWithoutAStream)
{
    qzIoDeviceStdStreamProxy proxy(static_cast<std::istream*>(nullptr));
    EXPECT_EQ(endOfCopy(proxy), "exit 0");
}

TEST_F(qzIoDeviceFileStreamTest, SkipsByReading)
{
    openOver(std::string(5000, 'x'), kRead);
    EXPECT_EQ(mDevice.skipBytes(10000), 5000U);
    EXPECT_EQ(mDevice.getCurrentPos(), 5000);
    EXPECT_TRUE(mDevice.good());
}

TEST_F(qzIoDeviceFileStreamTest, ReportsAFailedOpenAsTrace)
{
    const support::LogCapture log(LogLevelAll);
    mDevice.open(mPath, kRead, false);
    EXPECT_THAT(log.getLines(),
                ElementsAre("TRACE(iodevice) qzIoDevice error : failed to open file: '" + mPath +
                            "' (bits 10)"));
}

}  // namespace qz
