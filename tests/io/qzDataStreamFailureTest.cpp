// SPDX-License-Identifier: MIT
#include <qz/qzDataStream.h>

#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzIoDeviceBroadcast.h>
#include <qz/qzIoDeviceFileStream.h>

#include "io/DeviceTestPeers.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace qz {

using support::DeviceStub;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr auto kLittle = qzDataStream::LittleEndian;
constexpr auto kBig = qzDataStream::BigEndian;
const std::string kText("\3\0\0\0abc", 7);

}  // namespace

// --- The state and the words of a failure

class qzDataStreamFailure : public ::testing::Test {
protected:
    // A stream over a device with these bytes.
    qzDataStream& readFrom(const std::string& bytes, qzDataStream::Endianness endianness = kLittle)
    {
        mSource = std::make_unique<DeviceStub>(bytes);
        mStream.setIoDevice(mSource.get(), endianness);
        return mStream;
    }

    support::LibraryStart mLibrary;
    DeviceStub mDevice;
    std::unique_ptr<DeviceStub> mSource;
    qzDataStream mStream{mDevice, kLittle};
};

TEST_F(qzDataStreamFailure, OfAStreamWithoutADeviceIsThereFromTheBegin)
{
    const qzDataStream stream;
    EXPECT_FALSE(stream.isOk());
    EXPECT_EQ(stream.getErrorMsg(), "");
    EXPECT_EQ(stream.getEndianness(), kLittle);
}

TEST_F(qzDataStreamFailure, KeepsItsWordsToItself)
{
    mStream.setError("Write error");
    EXPECT_FALSE(mStream.isOk());
    EXPECT_EQ(mStream.getErrorMsg(), "");
}

TEST_F(qzDataStreamFailure, ReplacesATextThatIsThere)
{
    qzDataStreamTestPeer::setErrorText(mStream, "old");
    mStream.setError("");
    EXPECT_EQ(mStream.getErrorMsg(), "old") << "an empty text replaces nothing";
    EXPECT_FALSE(mStream.isOk());
    mStream.setError("new");
    EXPECT_EQ(mStream.getErrorMsg(), "new");
}

TEST_F(qzDataStreamFailure, ShowsTheDevicesTextAfterItsOwn)
{
    qzDataStreamTestPeer::setErrorText(mStream, "own");
    EXPECT_EQ(mStream.getErrorMsg(), "own");
    mDevice.setDeviceError("device");
    EXPECT_EQ(mStream.getErrorMsg(), "own, device");
    mStream.setIoDevice(&mDevice, kLittle);
    EXPECT_EQ(mStream.getErrorMsg(), "device") << "a new start empties the stream's text";
}

TEST_F(qzDataStreamFailure, OfTheDeviceShowsWithoutOneOfTheStream)
{
    mDevice.setDeviceError("device");
    EXPECT_FALSE(mStream.isOk());
    EXPECT_EQ(mStream.getErrorMsg(), "device");
    mDevice.clearDeviceError();
    EXPECT_TRUE(mStream.isOk()) << "the stream itself had not failed";
}

TEST_F(qzDataStreamFailure, OfADeviceUnderADeviceShowsWithoutAText)
{
    qzIoDeviceBroadcast broadcast({&mDevice});
    mStream.setIoDevice(&broadcast, kLittle);
    mDevice.setDeviceError("x");
    EXPECT_FALSE(mStream.isOk());
    EXPECT_EQ(mStream.getErrorMsg(), "");
}

namespace {

// Says that it is in error whenever it is asked, and moves its bytes all the same.
class Tireless : public DeviceStub {
public:
    using DeviceStub::DeviceStub;
    bool hasDeviceError() const override { return mIsBroken; }
    unsigned long readBytes(char* dst, unsigned long size) override
    {
        mIsBroken = false;
        const unsigned long count = DeviceStub::readBytes(dst, size);
        mIsBroken = true;
        return count;
    }
    unsigned long writeBytes(const char* src, unsigned long size) override
    {
        mIsBroken = false;
        const unsigned long count = DeviceStub::writeBytes(src, size);
        mIsBroken = true;
        return count;
    }
    void repair() { mIsBroken = false; }

private:
    bool mIsBroken = true;
};

}  // namespace

TEST_F(qzDataStreamFailure, OfTheDeviceAloneStopsNoWrite)
{
    Tireless device;
    mStream.setIoDevice(&device, kLittle);
    mStream << std::string("abc") << std::vector<char>{'a', 'b', 'c'};
    EXPECT_TRUE(mStream.writeRawData("raw", 3));
    EXPECT_EQ(device.getContent(), kText + kText + "raw");
    EXPECT_FALSE(mStream.isOk());
    device.repair();
    EXPECT_TRUE(mStream.isOk());
}

TEST_F(qzDataStreamFailure, OfTheDeviceAloneStopsNoRead)
{
    Tireless device(kText + kText + "raw");
    mStream.setIoDevice(&device, kLittle);
    std::string text;
    std::vector<char> bytes;
    char raw[3] = {};
    mStream >> text >> bytes;
    EXPECT_EQ(mStream.readRawBytes(raw, 3), 3U);
    EXPECT_EQ(text, "abc");
    EXPECT_THAT(bytes, ElementsAre('a', 'b', 'c'));
    EXPECT_EQ(std::string(raw, 3), "raw");
    EXPECT_FALSE(mStream.isOk());
    device.repair();
    EXPECT_TRUE(mStream.isOk());
}

TEST_F(qzDataStreamFailure, ShowsTheDevicesWordsByItsErrorState)
{
    mDevice.setDeviceError("device");
    qzIoDeviceBroadcast wordless({&mDevice});
    Tireless device;
    device.setDeviceError("ignored");
    device.repair();
    mStream.setIoDevice(&wordless, kLittle);
    qzDataStreamTestPeer::setErrorText(mStream, "own");
    EXPECT_EQ(mStream.getErrorMsg(), "own, ");
    mStream.setIoDevice(&device, kLittle);
    qzDataStreamTestPeer::setErrorText(mStream, "own");
    EXPECT_EQ(mStream.getErrorMsg(), "own");
}

TEST_F(qzDataStreamFailure, StaysWhenTheDeviceRecovers)
{
    mDevice.stopAfter(0);
    mStream << 1;
    mDevice.stopAfter(100);
    mStream << 2;
    EXPECT_FALSE(mStream.isOk());
    mStream.setIoDevice(&mDevice, kLittle);
    EXPECT_TRUE(mStream.isOk());
}

TEST_F(qzDataStreamFailure, PastTheEndOfTheDeviceHasNoWords)
{
    int value = 0;
    readFrom("abc") >> value;
    EXPECT_FALSE(mStream.isOk());
    EXPECT_EQ(mStream.getErrorMsg(), "");
}

TEST_F(qzDataStreamFailure, LeavesANumberPartlyFilled)
{
    int value = 0x01010101;
    readFrom("\x22\x33") >> value;
    EXPECT_EQ(value, 0x01013322);
}

TEST_F(qzDataStreamFailure, LeavesABigEndianNumberReversed)
{
    int value = 0x04030201;
    readFrom("", kBig) >> value;
    EXPECT_EQ(value, 0x01020304);
}

TEST_F(qzDataStreamFailure, LeavesACharacterAsItWas)
{
    char value = 'x';
    unsigned char other = 'y';
    readFrom("") >> value >> other;
    EXPECT_EQ(value, 'x');
    EXPECT_EQ(other, 'y');
}

TEST_F(qzDataStreamFailure, LeavesABoolFalse)
{
    bool value = true;
    readFrom("") >> value;
    EXPECT_FALSE(value);
}

TEST_F(qzDataStreamFailure, StillWritesATextWhoseCountFailed)
{
    mDevice.shortenTo(3);
    mStream << std::string("abcd");
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("write 4 -> 3", "write 4 -> 3"));
    EXPECT_FALSE(mStream.isOk());
}

TEST_F(qzDataStreamFailure, StopsTextsButNotNumbersAfterIt)
{
    mDevice.stopAfter(0);
    mStream << 1;
    mDevice.clearCalls();
    mStream << std::string("abc") << std::vector<char>(3);
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
    mStream << 2;
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("write 4 -> 0"));
}

TEST_F(qzDataStreamFailure, EmptiesTextsThatAreReadAfterIt)
{
    std::string text = "old";
    std::vector<char> bytes(3, 'x');
    readFrom(kText + kText).setError("x");
    mStream >> text >> bytes;
    EXPECT_EQ(text, "");
    EXPECT_THAT(bytes, IsEmpty());
    EXPECT_THAT(mSource->getCalls(), IsEmpty());
}

TEST_F(qzDataStreamFailure, EmptiesATextThatCameShort)
{
    std::string text = "old";
    std::vector<char> bytes(3, 'x');
    readFrom(std::string("\5\0\0\0abc", 7)) >> text;
    EXPECT_EQ(text, "");
    EXPECT_FALSE(mStream.isOk());
    readFrom(std::string("\5\0\0\0abc", 7)) >> bytes;
    EXPECT_THAT(bytes, IsEmpty());
    EXPECT_FALSE(mStream.isOk());
}

TEST_F(qzDataStreamFailure, EmptiesATextThatCameShortIntoOneOfItsSize)
{
    std::string text = "12345";
    std::vector<char> bytes(5, 'x');
    readFrom(std::string("\5\0\0\0abc", 7)) >> text;
    EXPECT_EQ(text, "");
    readFrom(std::string("\5\0\0\0abc", 7)) >> bytes;
    EXPECT_THAT(bytes, IsEmpty());
    EXPECT_FALSE(mStream.isOk());
}

TEST_F(qzDataStreamFailure, ReadsNoBytesAfterAShortCount)
{
    std::string text = "old";
    readFrom(std::string("\1\0\0", 3)) >> text;
    EXPECT_THAT(mSource->getCalls(), ElementsAre("read 4 -> 3"));
    EXPECT_EQ(text, "");
}

TEST_F(qzDataStreamFailure, GivesFalseForRawBytes)
{
    mDevice.stopAfter(2);
    EXPECT_FALSE(mStream.writeRawData("abc", 3));
    EXPECT_EQ(mDevice.getContent(), "ab");
    EXPECT_FALSE(mStream.writeRawData("abc", 3));
    EXPECT_FALSE(mStream.writeRawData("", 0));
    char byte = 'x';
    EXPECT_EQ(mStream.readRawBytes(&byte, 1), 0U);
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("write 3 -> 2"));
}

TEST_F(qzDataStreamFailure, OfAReadOfNothingIsNone)
{
    char byte = 'x';
    mStream.setError("x");
    EXPECT_EQ(mStream.readRawBytes(&byte, 0), 0U);
    mStream.setIoDevice(&mDevice, kLittle);
    EXPECT_EQ(mStream.readRawBytes(&byte, 0), 0U);
    EXPECT_TRUE(mStream.isOk());
}

TEST_F(qzDataStreamFailure, TakesItsRoadFromTheDiskToTheLog)
{
    qzIoDeviceFileStream file("/dev/full", qzIoDevice::DataWayWrite, false);
    const support::LogCapture log(LogLevelAll);
    mStream.setIoDevice(&file, kLittle);
    EXPECT_FALSE(mStream.writeRawData(std::string(100000, 'x').data(), 100000));
    EXPECT_FALSE(mStream.isOk());
    EXPECT_EQ(mStream.getErrorMsg(), "std sub stream fail bit is set after a write");
    EXPECT_THAT(log.getLines(), ElementsAre("TRACE(iodevice) qzIoDevice error : std sub stream "
                                            "fail bit is set after a write"));
}

// --- Counts beyond reason

TEST_F(qzDataStreamFailure, RefusesATextBeyond4GiB)
{
    // No byte of it is looked at.
    const std::string_view huge("x", 0x100000000UL);
    mStream << huge;
    EXPECT_FALSE(mStream.isOk());
    EXPECT_EQ(mStream.getErrorMsg(), "");
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
}

TEST_F(qzDataStreamFailure, RefusesTheLargestText)
{
    mStream << std::string_view("x", std::numeric_limits<std::size_t>::max() / 2);
    EXPECT_FALSE(mStream.isOk());
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
}

TEST_F(qzDataStreamFailure, NamesATextBeyond4GiB)
{
    qzDataStreamTestPeer::setErrorText(mStream, "old");
    mStream << std::string_view("x", 0x100000000UL);
    EXPECT_EQ(mStream.getErrorMsg(), "Trying to write 4GB+ string");
}

// A sink that looks at sizes only.
class SizeSink : public DeviceStub {
public:
    unsigned long writeBytes(const char* /*src*/, unsigned long size) override
    {
        mSizes.push_back(size);
        return size;
    }
    const std::vector<unsigned long>& getSizes() const { return mSizes; }

private:
    std::vector<unsigned long> mSizes;
};

TEST_F(qzDataStreamFailure, TakesATextOf4GiBLessAByte)
{
    SizeSink sink;
    mStream.setIoDevice(&sink, kLittle);
    mStream << std::string_view("x", 0xFFFFFFFFUL);
    EXPECT_TRUE(mStream.isOk());
    EXPECT_THAT(sink.getSizes(), ElementsAre(4U, 0xFFFFFFFFUL));
}

// Each failure has its words, which show where the stream has a text already.
TEST_F(qzDataStreamFailure, NamesAFailedWrite)
{
    mDevice.stopAfter(0);
    qzDataStreamTestPeer::setErrorText(mStream, "old");
    mStream << 1;
    EXPECT_EQ(mStream.getErrorMsg(), "Write error");
    qzDataStreamTestPeer::setErrorText(mStream, "old");
    mStream << 'c';
    EXPECT_EQ(mStream.getErrorMsg(), "Write error");
    mStream.setIoDevice(&mDevice, kLittle);
    qzDataStreamTestPeer::setErrorText(mStream, "old");
    mStream.writeRawData("a", 1);
    EXPECT_EQ(mStream.getErrorMsg(), "Write error");
}

TEST_F(qzDataStreamFailure, NamesAFailedRead)
{
    int number = 0;
    char byte = 0;
    std::string text;
    readFrom("");
    qzDataStreamTestPeer::setErrorText(mStream, "old");
    mStream >> number;
    EXPECT_EQ(mStream.getErrorMsg(), "Read error");
    qzDataStreamTestPeer::setErrorText(mStream, "old");
    mStream >> byte;
    EXPECT_EQ(mStream.getErrorMsg(), "Read error");
    readFrom(std::string("\5\0\0\0abc", 7));
    qzDataStreamTestPeer::setErrorText(mStream, "old");
    mStream >> text;
    EXPECT_EQ(mStream.getErrorMsg(), "Read error");
    readFrom("");
    qzDataStreamTestPeer::setErrorText(mStream, "old");
    mStream.readRawBytes(&byte, 1);
    EXPECT_EQ(mStream.getErrorMsg(), "Read error");
}

TEST_F(qzDataStreamFailure, NamesAFailedText)
{
    mDevice.stopAfter(5);
    qzDataStreamTestPeer::setErrorText(mStream, "old");
    mStream << std::string("abc");
    EXPECT_EQ(mStream.getErrorMsg(), "Fail to write string data");
}

TEST_F(qzDataStreamFailure, NamesAFailedTextOf4GiBLessAByte)
{
    mDevice.stopAfter(4);
    qzDataStreamTestPeer::setErrorText(mStream, "old");
    mStream << std::string_view("x", 0xFFFFFFFFUL);
    EXPECT_EQ(mStream.getErrorMsg(), "Fail to write string data");
}

}  // namespace qz
