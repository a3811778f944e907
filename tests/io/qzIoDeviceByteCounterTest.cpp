// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceByteCounter.h>

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/DeviceStub.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace qz {

using support::DeviceStub;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr auto kRead = qzIoDevice::DataWayRead;
constexpr auto kWrite = qzIoDevice::DataWayWrite;

}  // namespace

class qzIoDeviceByteCounterTest : public ::testing::Test {
protected:
    unsigned long write(const std::string& bytes)
    {
        return mCounter.writeBytes(bytes.data(), bytes.size());
    }
    unsigned long read(unsigned long size)
    {
        mRead.assign(size, '?');
        return mCounter.readBytes(mRead.data(), size);
    }

    support::LibraryStart mLibrary;
    DeviceStub mDevice;
    qzIoDeviceByteCounter mCounter;
    std::string mRead;
};

TEST_F(qzIoDeviceByteCounterTest, BeginsAtZero)
{
    EXPECT_EQ(mCounter.getWrittenBytes(), 0U);
    EXPECT_EQ(mCounter.getReadBytes(), 0U);
    EXPECT_EQ(mCounter.upToDateWriteEnd(), 0U);
}

TEST_F(qzIoDeviceByteCounterTest, CountsWhatItPassesOn)
{
    ASSERT_TRUE(mCounter.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write(std::string("a\0b", 3)), 3U);
    EXPECT_EQ(write(""), 0U);
    EXPECT_EQ(write("cd"), 2U);
    EXPECT_EQ(mCounter.getWrittenBytes(), 5U);
    EXPECT_EQ(mCounter.getReadBytes(), 0U);
    EXPECT_EQ(mDevice.getContent(), std::string("a\0bcd", 5));
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("write 3 -> 3", "write 0 -> 0", "write 2 -> 2"));
}

TEST_F(qzIoDeviceByteCounterTest, SwallowsWhatItCountsWithoutADelegate)
{
    ASSERT_TRUE(mCounter.beginDelegation(nullptr, kWrite));
    EXPECT_EQ(write("abc"), 3U);
    EXPECT_EQ(mCounter.getWrittenBytes(), 3U);
    EXPECT_TRUE(mCounter.good());
}

TEST_F(qzIoDeviceByteCounterTest, CountsWhileIdle)
{
    EXPECT_EQ(write("abc"), 3U);
    EXPECT_EQ(mCounter.getWrittenBytes(), 3U);
    EXPECT_TRUE(mCounter.good());
}

TEST_F(qzIoDeviceByteCounterTest, PassesAWriteOnInAReadDelegation)
{
    ASSERT_TRUE(mCounter.beginDelegation(&mDevice, kRead));
    EXPECT_EQ(write("abc"), 3U);
    EXPECT_EQ(mDevice.getContent(), "abc");
    EXPECT_EQ(mCounter.getWrittenBytes(), 3U);
    EXPECT_TRUE(mCounter.good());
}

TEST_F(qzIoDeviceByteCounterTest, CountsARefusedWrite)
{
    mDevice.stopAfter(2);
    ASSERT_TRUE(mCounter.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write("abc"), 2U) << "what the delegate took";
    EXPECT_EQ(write("de"), 0U);
    EXPECT_EQ(mCounter.getWrittenBytes(), 5U) << "what it was given";
    EXPECT_TRUE(mCounter.good()) << "a short count alone is no error";
}

TEST_F(qzIoDeviceByteCounterTest, CountsTheWriteThatBrokeTheDelegateAndNoneAfterIt)
{
    mDevice.stopAfter(1);
    mDevice.setErrorOfShortMoves("disk full");
    ASSERT_TRUE(mCounter.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write("abc"), 1U);
    EXPECT_EQ(write("def"), 0U);
    EXPECT_EQ(mCounter.getWrittenBytes(), 3U);
    EXPECT_EQ(mCounter.getDeviceErrorMsg(), "disk full");
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("write 3 -> 1"));
}

TEST_F(qzIoDeviceByteCounterTest, MovesAndCountsNothingInError)
{
    ASSERT_TRUE(mCounter.beginDelegation(&mDevice, kWrite));
    mCounter.setDeviceError("own");
    EXPECT_EQ(write("abc"), 0U);
    EXPECT_EQ(mCounter.getWrittenBytes(), 0U);
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
}

TEST_F(qzIoDeviceByteCounterTest, CountsWhatItReads)
{
    DeviceStub source("abcde");
    ASSERT_TRUE(mCounter.beginDelegation(&source, kRead));
    EXPECT_EQ(read(3), 3U);
    EXPECT_EQ(mRead, "abc");
    EXPECT_EQ(read(0), 0U);
    EXPECT_EQ(read(9), 2U);
    EXPECT_EQ(read(9), 0U);
    EXPECT_EQ(mCounter.getReadBytes(), 5U) << "what came, not what was asked for";
    EXPECT_EQ(mCounter.getWrittenBytes(), 0U);
    EXPECT_TRUE(mCounter.good());
    EXPECT_TRUE(mCounter.atEnd());
}

TEST_F(qzIoDeviceByteCounterTest, ReadsNothingInError)
{
    DeviceStub source("abcde");
    ASSERT_TRUE(mCounter.beginDelegation(&source, kRead));
    source.setDeviceError("broken");
    EXPECT_EQ(read(3), 0U);
    source.clearDeviceError();
    mCounter.setDeviceError("own");
    EXPECT_EQ(read(3), 0U);
    EXPECT_THAT(source.getCalls(), IsEmpty());
    EXPECT_EQ(mCounter.getReadBytes(), 0U);
}

TEST_F(qzIoDeviceByteCounterTest, RefusesReadsAtTheWrongTimeUncounted)
{
    const support::LogCapture quiet;
    EXPECT_EQ(read(3), 0U);
    EXPECT_EQ(mCounter.getDeviceErrorMsg(), "call read on a write delegation mode device");
    EXPECT_EQ(mCounter.getReadBytes(), 0U);
}

TEST_F(qzIoDeviceByteCounterTest, KeepsItsCountsAfterADelegation)
{
    ASSERT_TRUE(mCounter.beginDelegation(&mDevice, kWrite));
    write("abc");
    EXPECT_TRUE(mCounter.endDelegation());
    EXPECT_EQ(mCounter.getWrittenBytes(), 3U);
    EXPECT_EQ(mCounter.upToDateWriteEnd(), 3U);
    mCounter.clearDelegation();
    EXPECT_EQ(mCounter.getWrittenBytes(), 3U);
}

TEST_F(qzIoDeviceByteCounterTest, CountsAnewInEachDelegation)
{
    DeviceStub source("abcde");
    ASSERT_TRUE(mCounter.beginDelegation(&source, kRead));
    read(4);
    write("xy");
    ASSERT_TRUE(mCounter.endDelegation());
    ASSERT_TRUE(mCounter.beginDelegation(nullptr, kWrite));
    EXPECT_EQ(mCounter.getWrittenBytes(), 0U);
    EXPECT_EQ(mCounter.getReadBytes(), 0U);
}

TEST_F(qzIoDeviceByteCounterTest, KeepsItsCountsWhenABeginIsRefused)
{
    write("abc");
    EXPECT_FALSE(mCounter.beginDelegation(nullptr, kRead));
    EXPECT_EQ(mCounter.getWrittenBytes(), 3U);
}

TEST_F(qzIoDeviceByteCounterTest, StoresTheWriteEndOnRequest)
{
    write("abc");
    mCounter.updateWriteEnd();
    write("d");
    EXPECT_EQ(mCounter.upToDateWriteEnd(), 4U);
    EXPECT_EQ(mCounter.getWrittenBytes(), 4U);
    mCounter.updateWriteEnd();
    EXPECT_EQ(mCounter.upToDateWriteEnd(), 4U);
}

TEST_F(qzIoDeviceByteCounterTest, CountsBeyondFourGigabytes)
{
    ASSERT_TRUE(mCounter.beginDelegation(nullptr, kWrite));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(mCounter.writeBytes(nullptr, 1UL << 32), 1UL << 32);
    EXPECT_EQ(mCounter.getWrittenBytes(), 3UL << 32);
}

}  // namespace qz
