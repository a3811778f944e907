// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceBroadcast.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzIoDeviceDummy.h>

#include "io/BreaksAnother.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace qz {

using support::DeviceStub;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class qzIoDeviceBroadcastTest : public ::testing::Test {
protected:
    support::LibraryStart mLibrary;
    DeviceStub mFirst;
    DeviceStub mSecond;
    DeviceStub mThird;
    qzIoDeviceBroadcast mBroadcast{{&mFirst, &mSecond, &mThird}};
    qzIoDeviceBroadcast mEmpty{{}};
};

TEST_F(qzIoDeviceBroadcastTest, WritesToEachDevice)
{
    const std::string bytes("a\0b", 3);
    EXPECT_EQ(mBroadcast.writeBytes(bytes.data(), 3), 3U);
    EXPECT_EQ(mFirst.getContent(), bytes);
    EXPECT_EQ(mSecond.getContent(), bytes);
    EXPECT_EQ(mThird.getContent(), bytes);
    EXPECT_TRUE(mBroadcast.good());
}

TEST_F(qzIoDeviceBroadcastTest, WritesInTheOrderOfTheVector)
{
    std::string order;
    class Named : public DeviceStub {
    public:
        Named(std::string& order, char name) : mOrder(order), mName(name) {}
        unsigned long writeBytes(const char* src, unsigned long size) override
        {
            mOrder += mName;
            return DeviceStub::writeBytes(src, size);
        }

    private:
        std::string& mOrder;
        char mName;
    };
    Named a(order, 'a');
    Named b(order, 'b');
    qzIoDeviceBroadcast broadcast({&b, &a, &b});
    EXPECT_EQ(broadcast.writeBytes("x", 1), 1U);
    EXPECT_EQ(order, "bab");
}

TEST_F(qzIoDeviceBroadcastTest, HandsAWriteOfNothingOn)
{
    EXPECT_EQ(mBroadcast.writeBytes("", 0), 0U);
    EXPECT_THAT(mThird.getCalls(), ElementsAre("write 0 -> 0"));
    EXPECT_TRUE(mBroadcast.good());
}

TEST_F(qzIoDeviceBroadcastTest, StopsAtTheDeviceThatTakesLess)
{
    mSecond.stopAfter(1);
    EXPECT_EQ(mBroadcast.writeBytes("ab", 2), 0U);
    EXPECT_EQ(mFirst.getContent(), "ab");
    EXPECT_EQ(mSecond.getContent(), "a");
    EXPECT_THAT(mThird.getCalls(), IsEmpty());
    EXPECT_EQ(mBroadcast.getDeviceErrorMsg(), "Sub device is in error");
    EXPECT_TRUE(mSecond.good());
}

TEST_F(qzIoDeviceBroadcastTest, StopsAtTheDeviceThatTakesAllInError)
{
    qzIoDeviceDummy sink;
    sink.setDeviceError("sink");
    qzIoDeviceBroadcast broadcast({&mFirst, &sink, &mThird});
    EXPECT_EQ(broadcast.writeBytes("ab", 2), 0U);
    EXPECT_EQ(mFirst.getContent(), "ab");
    EXPECT_THAT(mThird.getCalls(), IsEmpty());
    EXPECT_EQ(broadcast.getDeviceErrorMsg(), "Sub device is in error, sink");
}

TEST_F(qzIoDeviceBroadcastTest, StopsAtAWriteOfNothingToADeviceInError)
{
    mSecond.setDeviceError("x");
    EXPECT_EQ(mBroadcast.writeBytes("", 0), 0U);
    EXPECT_EQ(mBroadcast.getDeviceErrorMsg(), "Sub device is in error, x");
}

TEST_F(qzIoDeviceBroadcastTest, GivesNothingInErrorThoughTheDevicesTakeIt)
{
    mBroadcast.setDeviceError("own");
    EXPECT_EQ(mBroadcast.writeBytes("ab", 2), 0U);
    EXPECT_EQ(mThird.getContent(), "ab");
}

TEST_F(qzIoDeviceBroadcastTest, GivesNothingWhenALaterWriteBrokeAnEarlierDevice)
{
    BreaksAnother last(mFirst);
    qzIoDeviceBroadcast broadcast({&mFirst, &last});
    EXPECT_EQ(broadcast.writeBytes("ab", 2), 0U);
    EXPECT_FALSE(broadcast.good());
    EXPECT_EQ(broadcast.getDeviceErrorMsg(), "") << "its own text is empty";
}

TEST_F(qzIoDeviceBroadcastTest, TakesAllWithoutDevices)
{
    EXPECT_EQ(mEmpty.writeBytes("ab", 2), 2U);
    mEmpty.setDeviceError("x");
    EXPECT_EQ(mEmpty.writeBytes("ab", 2), 0U);
}

TEST_F(qzIoDeviceBroadcastTest, CopiesTheVector)
{
    std::vector<qzIoDevice*> devices{&mFirst};
    qzIoDeviceBroadcast broadcast(devices);
    devices.assign(1, nullptr);
    EXPECT_EQ(broadcast.writeBytes("ab", 2), 2U);
    EXPECT_EQ(mFirst.getContent(), "ab");
}

TEST_F(qzIoDeviceBroadcastTest, CannotBeReadFrom)
{
    char byte = 'x';
    EXPECT_EQ(mBroadcast.readBytes(&byte, 1), 0U);
    EXPECT_EQ(mBroadcast.getDeviceErrorMsg(), "Read is not implemented");
    EXPECT_THAT(mFirst.getCalls(), IsEmpty());
}

TEST_F(qzIoDeviceBroadcastTest, KnowsNoEndAndReportsTheQuestion)
{
    const support::LogCapture log;
    EXPECT_FALSE(mBroadcast.atEnd());
    EXPECT_FALSE(mEmpty.atEnd());
    EXPECT_THAT(log.getLines(), ElementsAre("CRITICAL qzIoDeviceBroadcast atEnd is not supported",
                                            "CRITICAL qzIoDeviceBroadcast atEnd is not supported"));
    EXPECT_TRUE(mBroadcast.good());
}

TEST_F(qzIoDeviceBroadcastTest, IsInErrorWithAnyOfItsDevices)
{
    EXPECT_FALSE(mBroadcast.hasDeviceError());
    mThird.setDeviceError("x");
    EXPECT_TRUE(mBroadcast.hasDeviceError());
    EXPECT_FALSE(mBroadcast.good());
    mThird.clearDeviceError();
    EXPECT_TRUE(mBroadcast.good());
}

TEST_F(qzIoDeviceBroadcastTest, ClearsItsOwnErrorOnly)
{
    mFirst.setDeviceError("x");
    mBroadcast.setDeviceError("own");
    mBroadcast.clearDeviceError();
    EXPECT_FALSE(mBroadcast.good());
    EXPECT_EQ(mFirst.getDeviceErrorMsg(), "x");
}

TEST_F(qzIoDeviceBroadcastTest, AppendsTheTextsOfTheDevicesInError)
{
    mFirst.setDeviceError("one");
    mThird.setDeviceError("three");
    mBroadcast.setDeviceError("own");
    EXPECT_EQ(mBroadcast.getDeviceErrorMsg(), "own, one, three");
}

TEST_F(qzIoDeviceBroadcastTest, HasNoTextWithoutOneOfItsOwn)
{
    mFirst.setDeviceError("one");
    EXPECT_FALSE(mBroadcast.good());
    EXPECT_EQ(mBroadcast.getDeviceErrorMsg(), "");
}

TEST_F(qzIoDeviceBroadcastTest, AppendsByTheErrorStateAndNotByTheText)
{
    class Careless : public DeviceStub {
    public:
        bool hasDeviceError() const override { return false; }
    };
    Careless careless;
    careless.setDeviceError("ignored");
    mThird.setDeviceError("three");
    qzIoDeviceBroadcast outer({&careless, &mBroadcast, &mThird});
    outer.setDeviceError("own");
    EXPECT_EQ(outer.getDeviceErrorMsg(), "own, , three") << "the inner one is in error, wordless";
}

TEST_F(qzIoDeviceBroadcastTest, AppendsTheTextsOfABroadcastUnderIt)
{
    mThird.setDeviceError("three");
    qzIoDeviceBroadcast outer({&mBroadcast});
    EXPECT_TRUE(outer.hasDeviceError());
    EXPECT_EQ(outer.writeBytes("a", 1), 0U);
    EXPECT_EQ(outer.getDeviceErrorMsg(), "Sub device is in error, Sub device is in error, three");
}

}  // namespace qz
