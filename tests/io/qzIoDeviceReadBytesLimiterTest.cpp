// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceReadBytesLimiter.h>

#include <climits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/DeviceStub.h"
#include "support/LibraryStart.h"

namespace qz {

using support::DeviceStub;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class qzIoDeviceReadBytesLimiterTest : public ::testing::Test {
protected:
    static std::string read(qzIoDevice& device, unsigned long size)
    {
        std::string bytes(size, '?');
        bytes.resize(device.readBytes(bytes.data(), size));
        return bytes;
    }

    support::LibraryStart mLibrary;
    DeviceStub mSource{"0123456789"};
    qzIoDevice& mPlainSource = mSource;
    qzIoDeviceReadBytesLimiter mSpan{mSource, 3, 5};
    qzIoDeviceReadBytesLimiter mPlain{mPlainSource, 5};
};

TEST_F(qzIoDeviceReadBytesLimiterTest, ReadsOnFromThePositionOfASource)
{
    read(mSource, 2);
    EXPECT_EQ(read(mPlain, 3), "234");
    EXPECT_EQ(read(mPlain, 9), "56");
    EXPECT_EQ(read(mPlain, 9), "");
    EXPECT_TRUE(mPlain.atEnd());
    EXPECT_TRUE(mPlain.good());
    EXPECT_THAT(mSource.getCalls(),
                ElementsAre("read 2 -> 2", "read 3 -> 3", "read 2 -> 2", "read 0 -> 0"));
}

TEST_F(qzIoDeviceReadBytesLimiterTest, ReadsTheSpanOfASourceThatCanBeMoved)
{
    read(mSource, 8);
    EXPECT_EQ(read(mSpan, 2), "34");
    EXPECT_EQ(read(mSpan, 9), "567");
    EXPECT_TRUE(mSpan.atEnd());
    EXPECT_THAT(mSource.getCalls(),
                ElementsAre("read 8 -> 8", "seek 3 from 0 -> 1", "read 2 -> 2", "read 3 -> 3"));
}

TEST_F(qzIoDeviceReadBytesLimiterTest, MovesTheSourceOnce)
{
    EXPECT_EQ(read(mSpan, 1), "3");
    mSource.seek(9, DeviceStub::SeekFromBegin);
    EXPECT_EQ(read(mSpan, 1), "9") << "what moves the source afterwards moves the span";
}

TEST_F(qzIoDeviceReadBytesLimiterTest, DoesNothingBeforeTheFirstRead)
{
    EXPECT_THAT(mSource.getCalls(), IsEmpty());
}

TEST_F(qzIoDeviceReadBytesLimiterTest, IsAtTheEndAtOnceWithALimitOfZero)
{
    qzIoDeviceReadBytesLimiter nothing(mSource, 3, 0);
    EXPECT_TRUE(nothing.atEnd());
    EXPECT_EQ(read(nothing, 4), "");
    EXPECT_THAT(mSource.getCalls(), ElementsAre("seek 3 from 0 -> 1", "read 0 -> 0"))
        << "the first read still moves the source";
    EXPECT_TRUE(nothing.good());
}

TEST_F(qzIoDeviceReadBytesLimiterTest, MovesTheSourceForAReadOfNothing)
{
    EXPECT_EQ(read(mSpan, 0), "");
    EXPECT_THAT(mSource.getCalls(), ElementsAre("seek 3 from 0 -> 1", "read 0 -> 0"));
    EXPECT_EQ(read(mSpan, 9), "34567");
}

TEST_F(qzIoDeviceReadBytesLimiterTest, EndsWithAShorterSource)
{
    qzIoDeviceReadBytesLimiter span(mSource, 8, 5);
    EXPECT_EQ(read(span, 9), "89");
    EXPECT_TRUE(span.atEnd()) << "though three bytes of the span are left";
    EXPECT_TRUE(span.good());
    EXPECT_EQ(read(span, 9), "");
}

TEST_F(qzIoDeviceReadBytesLimiterTest, TakesOnlyWhatCameOffTheSpan)
{
    mSource.shortenTo(2);
    EXPECT_EQ(read(mSpan, 4), "34");
    EXPECT_EQ(read(mSpan, 4), "56");
    EXPECT_EQ(read(mSpan, 4), "7");
    EXPECT_EQ(read(mSpan, 4), "");
}

TEST_F(qzIoDeviceReadBytesLimiterTest, FailsOnceWhenTheSourceCannotBeMoved)
{
    mSource.refuseSeeks();
    EXPECT_EQ(read(mSpan, 2), "");
    EXPECT_EQ(mSpan.getDeviceErrorMsg(), "Fail to seek on delegate");
    EXPECT_THAT(mSource.getCalls(), ElementsAre("seek 3 from 0 -> 0"));
    EXPECT_TRUE(mSpan.atEnd());
    EXPECT_EQ(read(mSpan, 2), "01") << "the next read doesn't try again, nor looks at the error";
}

TEST_F(qzIoDeviceReadBytesLimiterTest, FailsForAStartThatNoSourceHas)
{
    qzIoDeviceReadBytesLimiter span(mSource, ULONG_MAX, 5);
    EXPECT_EQ(read(span, 2), "");
    EXPECT_EQ(span.getDeviceErrorMsg(), "Fail to seek on delegate");
}

TEST_F(qzIoDeviceReadBytesLimiterTest, ReadsAllWithTheLargestLimit)
{
    qzIoDeviceReadBytesLimiter all(mPlainSource, ULONG_MAX);
    EXPECT_EQ(read(all, 20), "0123456789");
    EXPECT_TRUE(all.atEnd()) << "by the source";
}

TEST_F(qzIoDeviceReadBytesLimiterTest, GivesItsSpanToACopy)
{
    DeviceStub destination;
    unsigned long written = 0;
    EXPECT_TRUE(mSpan.writeBackToDevice(destination, &written, nullptr));
    EXPECT_EQ(written, 5U);
    EXPECT_EQ(destination.getContent(), "34567");
}

TEST_F(qzIoDeviceReadBytesLimiterTest, CannotBeWrittenTo)
{
    EXPECT_EQ(mSpan.writeBytes("x", 1), 0U);
    EXPECT_EQ(mSpan.getDeviceErrorMsg(), "write not implemented");
    EXPECT_THAT(mSource.getCalls(), IsEmpty());
}

TEST_F(qzIoDeviceReadBytesLimiterTest, IsAtTheEndInErrorOrWithItsSource)
{
    EXPECT_FALSE(mPlain.atEnd());
    mPlain.setDeviceError("own");
    EXPECT_TRUE(mPlain.atEnd());
    mPlain.clearDeviceError();
    mSource.setDeviceError("broken");
    EXPECT_TRUE(mPlain.atEnd());
    mSource.clearDeviceError();
    EXPECT_FALSE(mPlain.atEnd());
    mSource.seek(0, DeviceStub::SeekFromEnd);
    EXPECT_TRUE(mPlain.atEnd());
}

TEST_F(qzIoDeviceReadBytesLimiterTest, IsInErrorWithItsSource)
{
    mSource.setDeviceError("broken");
    EXPECT_TRUE(mSpan.hasDeviceError());
    EXPECT_EQ(mSpan.getDeviceErrorMsg(), "broken");
    mSpan.setDeviceError("own");
    EXPECT_EQ(mSpan.getDeviceErrorMsg(), "own, broken");
    mSource.clearDeviceError();
    EXPECT_EQ(mSpan.getDeviceErrorMsg(), "own");
}

}  // namespace qz
