// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceByteSniffer.h>

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "io/BreaksAnother.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"

namespace qz {

using support::DeviceStub;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr auto kRead = qzIoDevice::DataWayRead;
constexpr auto kWrite = qzIoDevice::DataWayWrite;

}  // namespace

class qzIoDeviceByteSnifferTest : public ::testing::Test {
protected:
    unsigned long write(const std::string& bytes)
    {
        return mSniffer.writeBytes(bytes.data(), bytes.size());
    }
    std::string read(unsigned long size)
    {
        std::string bytes(size, '?');
        bytes.resize(mSniffer.readBytes(bytes.data(), size));
        return bytes;
    }

    support::LibraryStart mLibrary;
    DeviceStub mDevice;
    DeviceStub mCopy;
    DeviceStub mSource{std::string("ab\0cde", 6)};
    qzIoDeviceByteSniffer mSniffer{mCopy};
};

TEST_F(qzIoDeviceByteSnifferTest, WritesToTheDestinationToo)
{
    ASSERT_TRUE(mSniffer.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write(std::string("a\0b", 3)), 3U);
    EXPECT_EQ(write("cd"), 2U);
    EXPECT_EQ(mDevice.getContent(), std::string("a\0bcd", 5));
    EXPECT_EQ(mCopy.getContent(), mDevice.getContent());
    EXPECT_TRUE(mSniffer.endDelegation());
}

TEST_F(qzIoDeviceByteSnifferTest, WritesToTheDestinationFirst)
{
    BreaksAnother destination(mDevice);
    qzIoDeviceByteSniffer sniffer(destination);
    ASSERT_TRUE(sniffer.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(sniffer.writeBytes("ab", 2), 0U);
    EXPECT_EQ(destination.getContent(), "ab");
    EXPECT_THAT(mDevice.getCalls(), IsEmpty()) << "it was broken by then";
    EXPECT_EQ(sniffer.getDeviceErrorMsg(), "broken") << "and the sniffer has no text of its own";
}

TEST_F(qzIoDeviceByteSnifferTest, GivesTheCountOfTheDelegate)
{
    mDevice.stopAfter(1);
    ASSERT_TRUE(mSniffer.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write("ab"), 1U);
    EXPECT_EQ(mCopy.getContent(), "ab");
    EXPECT_TRUE(mSniffer.good());
}

TEST_F(qzIoDeviceByteSnifferTest, HandsAWriteOfNothingOn)
{
    ASSERT_TRUE(mSniffer.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write(""), 0U);
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("write 0 -> 0"));
    EXPECT_THAT(mCopy.getCalls(), ElementsAre("write 0 -> 0"));
    EXPECT_TRUE(mSniffer.good());
}

TEST_F(qzIoDeviceByteSnifferTest, WritesNothingOnWhenTheDestinationTakesLess)
{
    mCopy.stopAfter(1);
    ASSERT_TRUE(mSniffer.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write("ab"), 0U);
    EXPECT_EQ(mSniffer.getDeviceErrorMsg(), "Fail to write on destination");
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
    EXPECT_EQ(write("cd"), 0U);
    EXPECT_THAT(mCopy.getCalls(), ElementsAre("write 2 -> 1")) << "none after the error";
}

TEST_F(qzIoDeviceByteSnifferTest, WritesNothingInError)
{
    ASSERT_TRUE(mSniffer.beginDelegation(&mDevice, kWrite));
    for (qzIoDevice* broken :
         {static_cast<qzIoDevice*>(&mSniffer), static_cast<qzIoDevice*>(&mDevice),
          static_cast<qzIoDevice*>(&mCopy)}) {
        broken->setDeviceError("x");
        EXPECT_EQ(write("ab"), 0U);
        broken->clearDeviceError();
    }
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
    EXPECT_THAT(mCopy.getCalls(), IsEmpty());
}

TEST_F(qzIoDeviceByteSnifferTest, CopiesWhatItReads)
{
    ASSERT_TRUE(mSniffer.beginDelegation(&mSource, kRead));
    EXPECT_EQ(read(4), std::string("ab\0c", 4));
    EXPECT_EQ(read(9), "de");
    EXPECT_EQ(read(9), "");
    EXPECT_EQ(mCopy.getContent(), mSource.getContent());
    EXPECT_THAT(mCopy.getCalls(), ElementsAre("write 4 -> 4", "write 2 -> 2", "write 0 -> 0"));
    EXPECT_TRUE(mSniffer.good());
    EXPECT_TRUE(mSniffer.atEnd());
}

TEST_F(qzIoDeviceByteSnifferTest, GivesNothingWhenTheDestinationTakesLessOfARead)
{
    mCopy.stopAfter(1);
    ASSERT_TRUE(mSniffer.beginDelegation(&mSource, kRead));
    EXPECT_EQ(read(2), "");
    EXPECT_EQ(mSniffer.getDeviceErrorMsg(), "Fail to write on destination");
    EXPECT_EQ(mSource.getCurrentPos(), 2);
    EXPECT_EQ(read(2), "");
    EXPECT_EQ(mSource.getCurrentPos(), 2) << "none after the error";
}

TEST_F(qzIoDeviceByteSnifferTest, GivesNothingWhenTheReadBrokeTheDelegate)
{
    mSource.setErrorOfShortMoves("cut");
    ASSERT_TRUE(mSniffer.beginDelegation(&mSource, kRead));
    EXPECT_EQ(read(9), "");
    EXPECT_EQ(mCopy.getContent(), mSource.getContent()) << "the destination has them all the same";
    EXPECT_EQ(mSniffer.getDeviceErrorMsg(), "cut");
}

TEST_F(qzIoDeviceByteSnifferTest, ReadsNothingInError)
{
    ASSERT_TRUE(mSniffer.beginDelegation(&mSource, kRead));
    mCopy.setDeviceError("x");
    EXPECT_EQ(read(2), "");
    EXPECT_THAT(mSource.getCalls(), IsEmpty());
}

TEST_F(qzIoDeviceByteSnifferTest, IsInErrorWithItsDestination)
{
    EXPECT_FALSE(mSniffer.hasDeviceError());
    mCopy.setDeviceError("copy");
    EXPECT_TRUE(mSniffer.hasDeviceError()) << "while idle, too";
    EXPECT_EQ(mSniffer.getDeviceErrorMsg(), "copy");
    EXPECT_FALSE(mSniffer.beginDelegation(&mDevice, kWrite));
}

TEST_F(qzIoDeviceByteSnifferTest, JoinsOwnTextDelegateAndDestination)
{
    ASSERT_TRUE(mSniffer.beginDelegation(&mDevice, kWrite));
    mCopy.setDeviceError("copy");
    mDevice.setDeviceError("device");
    EXPECT_EQ(mSniffer.getDeviceErrorMsg(), "device, copy");
    mSniffer.setDeviceError("own");
    EXPECT_EQ(mSniffer.getDeviceErrorMsg(), "own, device, copy");
    mDevice.clearDeviceError();
    EXPECT_EQ(mSniffer.getDeviceErrorMsg(), "own, copy");
    mCopy.clearDeviceError();
    EXPECT_EQ(mSniffer.getDeviceErrorMsg(), "own");
}

TEST_F(qzIoDeviceByteSnifferTest, ReturnsFalseAtTheEndWithABrokenDestination)
{
    ASSERT_TRUE(mSniffer.beginDelegation(&mDevice, kWrite));
    mCopy.setDeviceError("copy");
    EXPECT_FALSE(mSniffer.endDelegation());
    EXPECT_EQ(mSniffer.getDeviceErrorMsg(), "copy");
    mCopy.clearDeviceError();
    EXPECT_TRUE(mSniffer.beginDelegation(&mDevice, kWrite));
}

}  // namespace qz
