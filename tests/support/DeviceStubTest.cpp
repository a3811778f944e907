// SPDX-License-Identifier: MIT
#include "support/DeviceStub.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/LibraryStart.h"

namespace qz::support {

using ::testing::ElementsAre;

class DeviceStubTest : public ::testing::Test {
protected:
    static std::string read(DeviceStub& device, unsigned long size)
    {
        std::string bytes(size, '?');
        bytes.resize(device.readBytes(bytes.data(), size));
        return bytes;
    }

    LibraryStart mLibrary;
};

TEST_F(DeviceStubTest, ReadsWhatWasWritten)
{
    DeviceStub device;
    EXPECT_EQ(device.writeBytes("abcdef", 6), 6U);
    EXPECT_TRUE(device.seek(-4, DeviceStub::SeekFromEnd));
    EXPECT_EQ(device.getCurrentPos(), 2);
    EXPECT_EQ(read(device, 2), "cd");
    EXPECT_EQ(device.writeBytes("XYZ", 3), 3U);
    EXPECT_EQ(device.getContent(), "abcdXYZ");
    EXPECT_EQ(read(device, 5), "");
}

TEST_F(DeviceStubTest, RecordsEveryCall)
{
    DeviceStub device("abc");
    read(device, 8);
    device.writeBytes("de", 2);
    EXPECT_FALSE(device.seek(-1, DeviceStub::SeekFromBegin));
    EXPECT_TRUE(device.atEnd());
    EXPECT_THAT(device.getCalls(),
                ElementsAre("read 8 -> 3", "write 2 -> 2", "seek -1 from 0 -> 0", "atEnd -> 1"));
    device.clearCalls();
    EXPECT_TRUE(device.getCalls().empty());
}

TEST_F(DeviceStubTest, StopsAfterItsBytesWithoutAnError)
{
    DeviceStub device("abcdef");
    device.stopAfter(4);
    EXPECT_EQ(read(device, 3), "abc");
    EXPECT_EQ(read(device, 3), "d");
    EXPECT_EQ(device.writeBytes("x", 1), 0U);
    EXPECT_TRUE(device.good());
    EXPECT_FALSE(device.atEnd());
}

TEST_F(DeviceStubTest, GivesShortCounts)
{
    DeviceStub device("abcdef");
    device.shortenTo(2);
    EXPECT_EQ(read(device, 5), "ab");
    EXPECT_EQ(device.writeBytes("12345", 5), 2U);
    EXPECT_EQ(device.getContent(), "ab12ef");
}

TEST_F(DeviceStubTest, PutsAShortMoveIntoItsErrorWhenAsked)
{
    DeviceStub device("abcdef");
    device.stopAfter(2);
    device.setErrorOfShortMoves("broken");
    EXPECT_EQ(read(device, 2), "ab");
    EXPECT_TRUE(device.good());
    EXPECT_EQ(read(device, 1), "");
    EXPECT_EQ(device.getDeviceErrorMsg(), "broken");
    device.stopAfter(100);
    EXPECT_EQ(read(device, 1), "") << "a device in error moves nothing";
}

TEST_F(DeviceStubTest, RefusesSeeksWhenAsked)
{
    DeviceStub device("abc");
    device.refuseSeeks();
    EXPECT_FALSE(device.seek(1, DeviceStub::SeekFromBegin));
    EXPECT_EQ(device.getCurrentPos(), 0);
    EXPECT_TRUE(device.good());
}

TEST_F(DeviceStubTest, FillsTheGapBeyondItsEndWithZeros)
{
    DeviceStub device("a");
    EXPECT_TRUE(device.seek(3, DeviceStub::SeekFromBegin));
    EXPECT_EQ(device.writeBytes("b", 1), 1U);
    EXPECT_EQ(device.getContent(), std::string("a\0\0b", 4));
}

}  // namespace qz::support
