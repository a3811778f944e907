// SPDX-License-Identifier: MIT
#include <qz/qzIoDevice.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzIoDeviceDummy.h>

#include "support/Allocations.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/OutputCapture.h"

namespace qz {

using support::DeviceStub;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class qzIoDeviceTest : public ::testing::Test {
protected:
    static std::string toText(const std::vector<char>& bytes)
    {
        return {bytes.begin(), bytes.end()};
    }

    support::LibraryStart mLibrary;
    DeviceStub mDevice{"abcdef"};
};

// --- The error state

TEST_F(qzIoDeviceTest, BeginsWithoutAnError)
{
    EXPECT_TRUE(mDevice.good());
    EXPECT_FALSE(mDevice.hasDeviceError());
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), "");
}

TEST_F(qzIoDeviceTest, KeepsTheFirstErrorText)
{
    mDevice.setDeviceError("first");
    mDevice.setDeviceError("second");
    EXPECT_TRUE(mDevice.hasDeviceError());
    EXPECT_FALSE(mDevice.good());
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), "first");
}

TEST_F(qzIoDeviceTest, NamesAnErrorWithoutAText)
{
    mDevice.setDeviceError("");
    EXPECT_FALSE(mDevice.good());
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), " unknown device error");
    mDevice.setDeviceError("x");
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), " unknown device error");
}

TEST_F(qzIoDeviceTest, TakesANewTextOnceTheErrorIsCleared)
{
    mDevice.setDeviceError("old");
    mDevice.clearDeviceError();
    EXPECT_TRUE(mDevice.good());
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), "");
    mDevice.setDeviceError("x");
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), "x");
}

TEST_F(qzIoDeviceTest, KeepsZeroBytesInItsErrorText)
{
    const std::string text("a\0b", 3);
    mDevice.setDeviceError(text);
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), text);
}

TEST_F(qzIoDeviceTest, TakesItsOwnTextAsAMessage)
{
    mDevice.setDeviceError("first");
    mDevice.setDeviceError(mDevice.getDeviceErrorMsg());
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), "first");
}

namespace {

// Has an error state of its own, as a device over others has.
class OwnErrorState : public DeviceStub {
public:
    OwnErrorState() : DeviceStub("abcdef") {}
    bool hasDeviceError() const override { return isInError; }
    unsigned long readBytes(char* dst, unsigned long size) override
    {
        const unsigned long count = DeviceStub::readBytes(dst, size);
        isInError = isInError || failsToRead;
        return count;
    }

    bool isInError = false;
    bool failsToRead = false;
};

}  // namespace

TEST_F(qzIoDeviceTest, IsGoodWhenAnOverriddenErrorStateIs)
{
    OwnErrorState device;
    device.setDeviceError("x");
    EXPECT_TRUE(device.good());
    EXPECT_EQ(device.getDeviceErrorMsg(), "x");
}

TEST_F(qzIoDeviceTest, IsNotGoodWhenAnOverriddenErrorStateIsNot)
{
    OwnErrorState device;
    device.isInError = true;
    EXPECT_FALSE(device.good());
    EXPECT_EQ(device.getDeviceErrorMsg(), "");
}

TEST_F(qzIoDeviceTest, DeclaresAnyDirectionWithoutACheck)
{
    mDevice.setDeviceError("x");
    for (const int way : {0, 1, 2, 3, 4, -1}) {
        mDevice.changeSupportedDataWay(static_cast<qzIoDevice::DataWay>(way));
        EXPECT_EQ(mDevice.getSupportedDataWay(), way);
    }
}

// --- The report of an error

TEST_F(qzIoDeviceTest, ReportsAnErrorAsTrace)
{
    const support::LogCapture log(LogLevelAll);
    mDevice.setDeviceError("disk full");
    EXPECT_THAT(log.getLines(), ElementsAre("TRACE(iodevice) qzIoDevice error : disk full"));
}

TEST_F(qzIoDeviceTest, ReportsTheStoredTextNotTheNewOne)
{
    mDevice.setDeviceError("first");
    const support::LogCapture log(LogLevelAll);
    mDevice.setDeviceError("second");
    mDevice.setDeviceError("");
    EXPECT_THAT(log.getMessages(),
                ElementsAre("qzIoDevice error : first", "qzIoDevice error : first"));
}

TEST_F(qzIoDeviceTest, ReportsAnErrorWithoutATextByItsName)
{
    const support::LogCapture log(LogLevelAll);
    mDevice.setDeviceError("");
    EXPECT_THAT(log.getMessages(), ElementsAre("qzIoDevice error :  unknown device error"));
}

TEST_F(qzIoDeviceTest, ReportsWithoutASystemLogTag)
{
    const support::LogCapture log(LogLevelAll);
    mDevice.setDeviceError("x");
    ASSERT_EQ(log.getEntries().size(), 1U);
    EXPECT_EQ(log.getEntries()[0].subType, "iodevice");
    EXPECT_EQ(log.getEntries()[0].systemLogTag, "");
}

TEST_F(qzIoDeviceTest, ReportsNothingWhileTraceIsOff)
{
    for (const qzLogLevel level : {LogLevelDebug, LogLevelNormal}) {
        const support::LogCapture log(level);
        mDevice.setDeviceError("x");
        EXPECT_THAT(log.getLines(), IsEmpty());
    }
}

TEST_F(qzIoDeviceTest, AllocatesNothingForARepeatedErrorWhileTraceIsOff)
{
    const std::string text = "a text that is too long for a string's own buffer";
    mDevice.setDeviceError(text);
    const support::AllocationCounter counter;
    mDevice.setDeviceError(text);
    EXPECT_EQ(counter.getCount(), 0U);
}

// Before the start there is no log, which must not make an error a fault.
TEST(qzIoDeviceBeforeTheStart, ReportsAnErrorOnTheStandardOutput)
{
    const support::StdoutCapture output;
    DeviceStub device;
    device.setDeviceError("disk full");
    EXPECT_EQ(device.getDeviceErrorMsg(), "disk full");
    support::flushStandardStreams();
    EXPECT_THAT(output.getText(), StartsWith("TRACE(iodevice) "));
    EXPECT_THAT(output.getText(), EndsWith(" : qzIoDevice error : disk full\n"));
}

// --- Texts

TEST_F(qzIoDeviceTest, WritesTextsOneAfterTheOther)
{
    DeviceStub device;
    qzIoDevice& result = device << std::string("a\0b", 3) << "cd"
                                << "" << std::string();
    EXPECT_EQ(&result, &device);
    EXPECT_EQ(device.getContent(), std::string("a\0bcd", 5));
    EXPECT_THAT(device.getCalls(),
                ElementsAre("write 3 -> 3", "write 2 -> 2", "write 0 -> 0", "write 0 -> 0"));
}

TEST_F(qzIoDeviceTest, IgnoresThatATextWasCutShort)
{
    DeviceStub device;
    device.shortenTo(1);
    device << "ab" << std::string("cd");
    EXPECT_EQ(device.getContent(), "ac");
    EXPECT_TRUE(device.good());
}

// --- skipBytes

TEST_F(qzIoDeviceTest, SkipsByReadsOf4096Bytes)
{
    DeviceStub device(std::string(10000, 'x'));
    EXPECT_EQ(device.skipBytes(9000), 9000U);
    EXPECT_THAT(device.getCalls(),
                ElementsAre("read 4096 -> 4096", "read 4096 -> 4096", "read 808 -> 808"));
    EXPECT_EQ(device.getCurrentPos(), 9000);
}

TEST_F(qzIoDeviceTest, SkipsNothingWithoutARead)
{
    EXPECT_EQ(mDevice.skipBytes(0), 0U);
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
}

TEST_F(qzIoDeviceTest, ReportsHowManyBytesTheDeviceHadToSkip)
{
    DeviceStub device(std::string(5000, 'x'));
    EXPECT_EQ(device.skipBytes(10000), 5000U);
    EXPECT_THAT(device.getCalls(), ElementsAre("read 4096 -> 4096", "read 4096 -> 904"));
}

TEST_F(qzIoDeviceTest, SkipsWholeBlocksWithNoReadAfterThem)
{
    DeviceStub device(std::string(9000, 'x'));
    EXPECT_EQ(device.skipBytes(8192), 8192U);
    EXPECT_EQ(device.getCalls().size(), 2U);
}

TEST_F(qzIoDeviceTest, StopsToSkipAtAShortRead)
{
    DeviceStub device(std::string(5000, 'x'));
    device.shortenTo(100);
    EXPECT_EQ(device.skipBytes(5000), 100U);
    EXPECT_THAT(device.getCalls(), ElementsAre("read 4096 -> 100"));
}

TEST_F(qzIoDeviceTest, SkipsTheLargestCountAsFarAsTheDeviceGoes)
{
    EXPECT_EQ(mDevice.skipBytes(~0UL), 6U);
}

TEST_F(qzIoDeviceTest, SkipsNothingOnADeviceInError)
{
    mDevice.setDeviceError("x");
    EXPECT_EQ(mDevice.skipBytes(3), 0U);
}

// --- writeBackToDevice

TEST_F(qzIoDeviceTest, CopiesTheRestInBlocksOf4MiB)
{
    DeviceStub source(std::string(4194304, 'x') + "rest");
    source.seek(1, DeviceStub::SeekFromBegin);
    source.clearCalls();
    DeviceStub destination;
    unsigned long written = 0;
    EXPECT_TRUE(source.writeBackToDevice(destination, &written, nullptr));
    EXPECT_EQ(written, 4194307U);
    EXPECT_EQ(destination.getContent(), source.getContent().substr(1));
    EXPECT_EQ(destination.getCurrentPos(), 4194307);
    EXPECT_THAT(source.getCalls(), ElementsAre("atEnd -> 0", "read 4194304 -> 4194304",
                                               "atEnd -> 0", "read 4194304 -> 3", "atEnd -> 1"));
    EXPECT_THAT(destination.getCalls(), ElementsAre("write 4194304 -> 4194304", "write 3 -> 3"));
}

TEST_F(qzIoDeviceTest, CopiesNothingAtTheEnd)
{
    DeviceStub source;
    DeviceStub destination;
    unsigned long written = 77;
    EXPECT_TRUE(source.writeBackToDevice(destination, &written, nullptr));
    EXPECT_EQ(written, 0U);
    EXPECT_THAT(destination.getCalls(), IsEmpty());
}

TEST_F(qzIoDeviceTest, CopiesWithoutACountOrABuffer)
{
    DeviceStub destination;
    EXPECT_TRUE(mDevice.writeBackToDevice(destination, nullptr, nullptr));
    EXPECT_EQ(destination.getContent(), "abcdef");
}

TEST_F(qzIoDeviceTest, CopiesIntoTheMiddleOfTheDestination)
{
    DeviceStub destination("123456789");
    destination.seek(2, DeviceStub::SeekFromBegin);
    EXPECT_TRUE(mDevice.writeBackToDevice(destination, nullptr, nullptr));
    EXPECT_EQ(destination.getContent(), "12abcdef9");
}

TEST_F(qzIoDeviceTest, AddsUpShortReads)
{
    mDevice.shortenTo(4);
    DeviceStub destination;
    unsigned long written = 0;
    EXPECT_TRUE(mDevice.writeBackToDevice(destination, &written, nullptr));
    EXPECT_EQ(written, 6U);
    EXPECT_EQ(destination.getContent(), "abcdef");
}

TEST_F(qzIoDeviceTest, MakesTheCallersBuffer4MiBLarge)
{
    DeviceStub destination;
    for (const std::size_t size : {std::size_t(0), std::size_t(10), std::size_t(5000000)}) {
        std::vector<char> buffer(size, 'x');
        EXPECT_TRUE(mDevice.writeBackToDevice(destination, nullptr, &buffer));
        EXPECT_EQ(buffer.size(), 4194304U);
    }
}

TEST_F(qzIoDeviceTest, AllocatesOnceForRepeatedCopies)
{
    qzIoDeviceDummy destination;
    std::vector<char> buffer;
    mDevice.writeBackToDevice(destination, nullptr, &buffer);
    mDevice.seek(0, DeviceStub::SeekFromBegin);
    const support::AllocationCounter counter;
    mDevice.writeBackToDevice(destination, nullptr, &buffer);
    EXPECT_LT(counter.getBytes(), 4194304U);
}

TEST_F(qzIoDeviceTest, BlamesTheSourceForABrokenDestination)
{
    DeviceStub destination;
    destination.stopAfter(4);
    unsigned long written = 77;
    std::vector<char> buffer;
    EXPECT_FALSE(mDevice.writeBackToDevice(destination, &written, &buffer));
    EXPECT_EQ(written, 77U) << "the count isn't written on this way out";
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), "Destination device is in error");
    EXPECT_TRUE(destination.good());
    EXPECT_EQ(destination.getContent(), "abcd");
    EXPECT_EQ(buffer.size(), 4194304U);
}

TEST_F(qzIoDeviceTest, BlamesTheSourceForADestinationThatTakesNothing)
{
    DeviceStub destination;
    destination.setDeviceError("before");
    EXPECT_FALSE(mDevice.writeBackToDevice(destination, nullptr, nullptr));
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), "Destination device is in error");
    EXPECT_EQ(destination.getDeviceErrorMsg(), "before");
}

TEST_F(qzIoDeviceTest, CopiesNothingFromASourceInError)
{
    mDevice.setDeviceError("x");
    DeviceStub destination;
    unsigned long written = 77;
    EXPECT_FALSE(mDevice.writeBackToDevice(destination, &written, nullptr));
    EXPECT_EQ(written, 0U);
    EXPECT_THAT(destination.getCalls(), IsEmpty());
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("atEnd -> 0")) << "the end is asked for first";
}

TEST_F(qzIoDeviceTest, CopiesUntilAnOverriddenErrorStateIsBad)
{
    OwnErrorState source;
    source.shortenTo(2);
    source.failsToRead = true;
    DeviceStub destination;
    unsigned long written = 0;
    EXPECT_FALSE(source.writeBackToDevice(destination, &written, nullptr));
    EXPECT_EQ(written, 2U);
    EXPECT_EQ(destination.getContent(), "ab");
}

TEST_F(qzIoDeviceTest, CopiesAllWhileAnOverriddenErrorStateIsGood)
{
    OwnErrorState source;
    source.setDeviceError("x");
    DeviceStub destination;
    EXPECT_TRUE(source.writeBackToDevice(destination, nullptr, nullptr));
    EXPECT_EQ(destination.getContent(), "abcdef");
}

TEST_F(qzIoDeviceTest, HandsAnEmptyReadOnToTheDestination)
{
    mDevice.stopAfter(0);
    mDevice.setErrorOfShortMoves("broken");
    DeviceStub destination;
    unsigned long written = 77;
    EXPECT_FALSE(mDevice.writeBackToDevice(destination, &written, nullptr));
    EXPECT_EQ(written, 0U);
    EXPECT_THAT(destination.getCalls(), ElementsAre("write 0 -> 0"));
}

TEST_F(qzIoDeviceTest, CopiesWhatASourceGaveBeforeItBroke)
{
    mDevice.stopAfter(4);
    mDevice.setErrorOfShortMoves("broken");
    DeviceStub destination;
    unsigned long written = 0;
    EXPECT_FALSE(mDevice.writeBackToDevice(destination, &written, nullptr));
    EXPECT_EQ(written, 4U);
    EXPECT_EQ(destination.getContent(), "abcd");
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), "broken");
}

TEST_F(qzIoDeviceTest, LeaksNothingWhenThereIsNoMemoryForACopy)
{
    support::failEachAllocation(
        [] {
            DeviceStub source("abcdef");
            qzIoDeviceDummy destination;
            source.writeBackToDevice(destination, nullptr, nullptr);
        },
        [](const support::AllocationFailure& failure) { EXPECT_TRUE(failure.threwBadAlloc); });
}

// --- loadFullFileContent

TEST_F(qzIoDeviceTest, LoadsAllAndGoesBackToItsPosition)
{
    mDevice.seek(4, DeviceStub::SeekFromBegin);
    mDevice.clearCalls();
    std::vector<char> content(100, 'x');
    EXPECT_TRUE(mDevice.loadFullFileContent(content));
    EXPECT_EQ(toText(content), "abcdef");
    EXPECT_EQ(mDevice.getCurrentPos(), 4);
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("seek 0 from 2 -> 1", "seek 0 from 0 -> 1",
                                                "read 6 -> 6", "seek 4 from 0 -> 1"));
}

TEST_F(qzIoDeviceTest, LoadsAnEmptyDevice)
{
    DeviceStub device;
    std::vector<char> content(5, 'x');
    EXPECT_TRUE(device.loadFullFileContent(content));
    EXPECT_EQ(toText(content), "");
}

TEST_F(qzIoDeviceTest, LoadsNothingInError)
{
    mDevice.setDeviceError("x");
    std::vector<char> content(5, 'x');
    EXPECT_FALSE(mDevice.loadFullFileContent(content));
    EXPECT_EQ(toText(content), "xxxxx");
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
}

TEST_F(qzIoDeviceTest, LoadsByAnOverriddenErrorState)
{
    OwnErrorState device;
    std::vector<char> content(5, 'x');
    device.isInError = true;
    EXPECT_FALSE(device.loadFullFileContent(content));
    EXPECT_EQ(toText(content), "xxxxx");
    EXPECT_THAT(device.getCalls(), IsEmpty());
    device.isInError = false;
    device.setDeviceError("x");
    EXPECT_TRUE(device.loadFullFileContent(content));
    EXPECT_EQ(toText(content), "abcdef");
    device.clearDeviceError();
    device.failsToRead = true;
    EXPECT_FALSE(device.loadFullFileContent(content)) << "in error by the end of the load";
}

TEST_F(qzIoDeviceTest, LoadsNothingFromAShortRead)
{
    mDevice.shortenTo(5);
    std::vector<char> content;
    EXPECT_FALSE(mDevice.loadFullFileContent(content));
    EXPECT_EQ(content.size(), 6U);
    EXPECT_EQ(mDevice.getCurrentPos(), 5) << "a failed load doesn't go back";
    EXPECT_TRUE(mDevice.good());
}

TEST_F(qzIoDeviceTest, LoadsNothingOfASizeThatNoProcessCanHold)
{
    class Enormous : public DeviceStub {
    public:
        long getCurrentPos() const override { return 1L << 47; }
    };
    Enormous device;
    std::vector<char> content;
    EXPECT_FALSE(device.loadFullFileContent(content));
    EXPECT_EQ(content.capacity(), 0U);
}

TEST_F(qzIoDeviceTest, LoadsNothingWithoutAnEndToGoTo)
{
    mDevice.refuseSeeks();
    std::vector<char> content(5, 'x');
    EXPECT_FALSE(mDevice.loadFullFileContent(content));
    EXPECT_EQ(toText(content), "xxxxx");
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("seek 0 from 2 -> 0"));
}

// Seeks as long as its list of answers lasts.
class FewSeeks : public DeviceStub {
public:
    explicit FewSeeks(int count) : DeviceStub("abcdef"), mCount(count) {}
    bool seek(long offset, SeekStart start) override
    {
        if (mCount-- == 0) refuseSeeks();
        return DeviceStub::seek(offset, start);
    }

private:
    int mCount;
};

TEST_F(qzIoDeviceTest, LoadsNothingWithoutABeginningToGoTo)
{
    FewSeeks device(1);
    std::vector<char> content(5, 'x');
    EXPECT_FALSE(device.loadFullFileContent(content));
    EXPECT_EQ(toText(content), "xxxxx");
    EXPECT_EQ(device.getCurrentPos(), 6);
}

TEST_F(qzIoDeviceTest, FailsWhenALoadCannotGoBack)
{
    FewSeeks device(2);
    std::vector<char> content;
    EXPECT_FALSE(device.loadFullFileContent(content));
    EXPECT_EQ(toText(content), "abcdef");
    EXPECT_EQ(device.getCurrentPos(), 6);
}

TEST_F(qzIoDeviceTest, FailsWhenALoadBrokeTheDeviceOnTheWayBack)
{
    class BreaksAtSeeks : public DeviceStub {
    public:
        BreaksAtSeeks() : DeviceStub("abcdef") {}
        bool seek(long offset, SeekStart start) override
        {
            if (getCurrentPos() == 6 && start == SeekFromBegin && mHasRead) setDeviceError("x");
            return DeviceStub::seek(offset, start);
        }
        unsigned long readBytes(char* dst, unsigned long size) override
        {
            mHasRead = true;
            return DeviceStub::readBytes(dst, size);
        }

    private:
        bool mHasRead = false;
    };
    BreaksAtSeeks device;
    std::vector<char> content;
    EXPECT_FALSE(device.loadFullFileContent(content));
    EXPECT_EQ(toText(content), "abcdef");
}

TEST_F(qzIoDeviceTest, LoadsNothingFromADeviceOfUnknownSize)
{
    class Pipe : public DeviceStub {
    public:
        long getCurrentPos() const override { return -1; }
    };
    Pipe device;
    std::vector<char> content;
    EXPECT_FALSE(device.loadFullFileContent(content));
    EXPECT_EQ(toText(content), "");
}

}  // namespace qz
