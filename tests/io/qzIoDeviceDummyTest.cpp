// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceDummy.h>

#include <string>

#include <gtest/gtest.h>

#include "support/DeviceStub.h"
#include "support/LibraryStart.h"

namespace qz {

class qzIoDeviceDummyTest : public ::testing::Test {
protected:
    support::LibraryStart mLibrary;
    qzIoDeviceDummy mDevice;
    char mByte = 'x';
};

TEST_F(qzIoDeviceDummyTest, TakesAllThatIsWritten)
{
    EXPECT_EQ(mDevice.writeBytes(&mByte, 1), 1U);
    EXPECT_EQ(mDevice.writeBytes(nullptr, 0), 0U);
    EXPECT_EQ(mDevice.writeBytes(nullptr, ~0UL), ~0UL) << "it looks at no byte";
    EXPECT_TRUE(mDevice.good());
}

TEST_F(qzIoDeviceDummyTest, TakesAllInErrorToo)
{
    mDevice.setDeviceError("x");
    EXPECT_EQ(mDevice.writeBytes(&mByte, 1), 1U);
}

TEST_F(qzIoDeviceDummyTest, CannotBeReadFrom)
{
    EXPECT_EQ(mDevice.readBytes(&mByte, 1), 0U);
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), "Read is not supported");
    EXPECT_EQ(mByte, 'x');
}

TEST_F(qzIoDeviceDummyTest, FailsAReadOfNothingToo)
{
    EXPECT_EQ(mDevice.readBytes(&mByte, 0), 0U);
    EXPECT_FALSE(mDevice.good());
}

TEST_F(qzIoDeviceDummyTest, IsAlwaysAtTheEnd)
{
    EXPECT_TRUE(mDevice.atEnd());
    mDevice.writeBytes(&mByte, 1);
    EXPECT_TRUE(mDevice.atEnd());
}

TEST_F(qzIoDeviceDummyTest, CopiesNothing)
{
    support::DeviceStub destination;
    unsigned long written = 77;
    EXPECT_TRUE(mDevice.writeBackToDevice(destination, &written, nullptr));
    EXPECT_EQ(written, 0U);
    EXPECT_TRUE(mDevice.good());
}

}  // namespace qz
