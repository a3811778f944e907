// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceSignaler.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

class qzIoDeviceSignalerTest : public ::testing::Test {
protected:
    unsigned long write(unsigned long size, qzIoDevice& device)
    {
        return device.writeBytes(std::string(size, 'x').data(), size);
    }
    unsigned long write(unsigned long size) { return write(size, mSignaler); }

    // Writes of these sizes; gives which of them signalled, by their number from 1.
    std::vector<int> findSignals(const std::vector<unsigned long>& sizes)
    {
        std::vector<int> signalled;
        int number = 0;
        for (const unsigned long size : sizes) {
            ++number;
            const std::size_t before = mSeen.size();
            EXPECT_EQ(write(size), size);
            if (mSeen.size() != before) signalled.push_back(number);
        }
        return signalled;
    }

    support::LibraryStart mLibrary;
    DeviceStub mDevice;
    std::vector<const qzIoDevice*> mSeen;  // what the signal was called with
    qzIoDeviceSignaler::Signal mSignal = [this](qzIoDevice* device) { mSeen.push_back(device); };
    qzIoDeviceSignaler mSignaler{&mSignal, 10};
};

TEST_F(qzIoDeviceSignalerTest, FiresOnTheWriteThatReachesTheThreshold)
{
    EXPECT_THAT(findSignals({9, 1, 9, 1, 10}), ElementsAre(2, 4, 5));
}

TEST_F(qzIoDeviceSignalerTest, CarriesNothingOverBeyondTheThreshold)
{
    EXPECT_THAT(findSignals({9, 9, 9, 1, 100, 9, 1}), ElementsAre(2, 4, 5, 7));
}

TEST_F(qzIoDeviceSignalerTest, CountsAWriteOfNothing)
{
    EXPECT_THAT(findSignals({0, 9, 0, 1, 0}), ElementsAre(4));
}

TEST_F(qzIoDeviceSignalerTest, FiresAtEachWriteWithAThresholdOfZero)
{
    qzIoDeviceSignaler each(&mSignal, 0);
    write(0, each);
    write(5, each);
    EXPECT_EQ(mSeen.size(), 2U);
}

TEST_F(qzIoDeviceSignalerTest, FiresBeforeTheBytesAndWithTheDelegate)
{
    std::string seen = "none";
    mSignal = [&](qzIoDevice* device) {
        mSeen.push_back(device);
        seen = mDevice.getContent();
    };
    ASSERT_TRUE(mSignaler.beginDelegation(&mDevice, kWrite));
    write(4);
    EXPECT_EQ(write(6), 6U);
    EXPECT_EQ(seen, "xxxx") << "the bytes that reach the threshold come after";
    EXPECT_EQ(mDevice.getContent().size(), 10U);
    EXPECT_THAT(mSeen, ElementsAre(&mDevice));
}

TEST_F(qzIoDeviceSignalerTest, FiresWithNullWithoutADelegate)
{
    ASSERT_TRUE(mSignaler.beginDelegation(nullptr, kWrite));
    EXPECT_EQ(write(12), 12U);
    EXPECT_THAT(mSeen, ElementsAre(nullptr));
    EXPECT_TRUE(mSignaler.good());
}

TEST_F(qzIoDeviceSignalerTest, GivesTheCountOfTheDelegate)
{
    mDevice.stopAfter(3);
    ASSERT_TRUE(mSignaler.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write(12), 3U);
    EXPECT_EQ(write(9), 0U);
    EXPECT_EQ(mSeen.size(), 1U);
    write(1);
    EXPECT_EQ(mSeen.size(), 2U) << "refused bytes count";
}

TEST_F(qzIoDeviceSignalerTest, FiresAndForwardsInError)
{
    ASSERT_TRUE(mSignaler.beginDelegation(&mDevice, kWrite));
    mSignaler.setDeviceError("own");
    EXPECT_EQ(write(10), 10U) << "only the delegate's own state stops it";
    EXPECT_EQ(mSeen.size(), 1U);
    mDevice.setDeviceError("broken");
    EXPECT_EQ(write(10), 0U);
    EXPECT_EQ(mSeen.size(), 2U);
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("write 10 -> 10", "write 10 -> 0"));
}

TEST_F(qzIoDeviceSignalerTest, ForwardsAWriteInAReadDelegation)
{
    ASSERT_TRUE(mSignaler.beginDelegation(&mDevice, kRead));
    EXPECT_EQ(write(10), 10U);
    EXPECT_EQ(mDevice.getContent().size(), 10U);
    EXPECT_EQ(mSeen.size(), 1U);
    EXPECT_TRUE(mSignaler.good());
}

TEST_F(qzIoDeviceSignalerTest, ForwardsWithoutASignal)
{
    qzIoDeviceSignaler silent(nullptr, 1);
    ASSERT_TRUE(silent.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write(5, silent), 5U);
    EXPECT_EQ(mDevice.getContent().size(), 5U);
}

TEST_F(qzIoDeviceSignalerTest, GoesOnCountingWithoutASignal)
{
    mSignaler.setSignal(nullptr);
    write(25);
    EXPECT_THAT(mSeen, IsEmpty());
    mSignaler.setSignal(&mSignal);
    write(0);
    EXPECT_EQ(mSeen.size(), 1U) << "the count stood above the threshold";
    write(9);
    EXPECT_EQ(mSeen.size(), 1U);
}

TEST_F(qzIoDeviceSignalerTest, FiresTheFunctionThatWasSetLast)
{
    int others = 0;
    qzIoDeviceSignaler::Signal other = [&](qzIoDevice*) { ++others; };
    write(5);
    mSignaler.setSignal(&other);
    write(5);
    EXPECT_EQ(others, 1);
    EXPECT_THAT(mSeen, IsEmpty());
}

TEST_F(qzIoDeviceSignalerTest, KeepsItsCountOverDelegations)
{
    ASSERT_TRUE(mSignaler.beginDelegation(&mDevice, kWrite));
    write(6);
    ASSERT_TRUE(mSignaler.endDelegation());
    write(3);
    ASSERT_TRUE(mSignaler.beginDelegation(&mDevice, kWrite));
    write(1);
    EXPECT_EQ(mSeen.size(), 1U);
}

// --- What the function may do

TEST_F(qzIoDeviceSignalerTest, IsNotFiredAgainByAWriteFromInside)
{
    mSignal = [&](qzIoDevice* device) {
        mSeen.push_back(device);
        EXPECT_EQ(mSignaler.writeBytes("inner bytes, more than ten", 26), 26U);
    };
    ASSERT_TRUE(mSignaler.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write(10), 10U);
    EXPECT_EQ(mSeen.size(), 1U);
    EXPECT_EQ(mDevice.getContent(), "inner bytes, more than tenxxxxxxxxxx");
    write(9);
    EXPECT_EQ(mSeen.size(), 1U) << "what was written inside is not carried over";
    write(1);
    EXPECT_EQ(mSeen.size(), 2U);
}

TEST_F(qzIoDeviceSignalerTest, PutsTheFunctionBackThoughAnotherWasSetInside)
{
    int others = 0;
    qzIoDeviceSignaler::Signal other = [&](qzIoDevice*) { ++others; };
    mSignal = [&](qzIoDevice* device) {
        mSeen.push_back(device);
        mSignaler.setSignal(&other);
    };
    write(10);
    write(10);
    EXPECT_EQ(mSeen.size(), 2U);
    EXPECT_EQ(others, 0);
}

TEST_F(qzIoDeviceSignalerTest, FiresTheOtherFunctionThatWasSetInsideForWritesInside)
{
    int others = 0;
    qzIoDeviceSignaler::Signal other = [&](qzIoDevice*) { ++others; };
    mSignal = [&](qzIoDevice*) {
        mSignaler.setSignal(&other);
        write(1);
    };
    write(10);
    EXPECT_EQ(others, 1);
}

TEST_F(qzIoDeviceSignalerTest, StaysUsableWhenTheFunctionThrows)
{
    bool shouldThrow = true;
    mSignal = [&](qzIoDevice* device) {
        mSeen.push_back(device);
        if (shouldThrow) throw std::runtime_error("from the signal");
    };
    ASSERT_TRUE(mSignaler.beginDelegation(&mDevice, kWrite));
    write(4);
    EXPECT_THROW(write(6), std::runtime_error);
    EXPECT_EQ(mDevice.getContent(), "xxxx") << "the write did not happen";
    EXPECT_THROW(write(0), std::runtime_error) << "the count stays, so the next write tries again";
    shouldThrow = false;
    EXPECT_EQ(write(1), 1U);
    EXPECT_EQ(mSeen.size(), 3U);
    EXPECT_EQ(mDevice.getContent(), "xxxxx");
    write(9);
    EXPECT_EQ(mSeen.size(), 3U);
    EXPECT_TRUE(mSignaler.good());
}

TEST_F(qzIoDeviceSignalerTest, ThrowsForAFunctionThatHoldsNone)
{
    mSignal = nullptr;
    EXPECT_THROW(write(10), std::bad_function_call);
}

TEST_F(qzIoDeviceSignalerTest, WritesToTheDelegateThatTheFunctionLeft)
{
    DeviceStub next;
    mSignal = [&](qzIoDevice*) {
        mSignaler.endDelegation();
        mSignaler.beginDelegation(&next, kWrite);
    };
    ASSERT_TRUE(mSignaler.beginDelegation(&mDevice, kWrite));
    write(4);
    EXPECT_EQ(write(6), 6U);
    EXPECT_EQ(mDevice.getContent().size(), 4U);
    EXPECT_EQ(next.getContent().size(), 6U);
}

TEST_F(qzIoDeviceSignalerTest, TakesTheBytesWhenTheFunctionEndedTheDelegation)
{
    mSignal = [&](qzIoDevice*) { mSignaler.endDelegation(); };
    ASSERT_TRUE(mSignaler.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write(10), 10U);
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
}

// --- Reading

TEST_F(qzIoDeviceSignalerTest, ReadsWithoutCountingOrFiring)
{
    DeviceStub source(std::string(50, 's'));
    ASSERT_TRUE(mSignaler.beginDelegation(&source, kRead));
    std::string bytes(40, '?');
    EXPECT_EQ(mSignaler.readBytes(bytes.data(), 40), 40U);
    EXPECT_EQ(bytes, std::string(40, 's'));
    EXPECT_EQ(mSignaler.readBytes(bytes.data(), 40), 10U);
    EXPECT_THAT(mSeen, IsEmpty());
    mSignaler.clearDelegation();
    write(9);
    EXPECT_THAT(mSeen, IsEmpty());
}

TEST_F(qzIoDeviceSignalerTest, ReadsNothingInError)
{
    DeviceStub source("abc");
    ASSERT_TRUE(mSignaler.beginDelegation(&source, kRead));
    char byte = 0;
    mSignaler.setDeviceError("own");
    EXPECT_EQ(mSignaler.readBytes(&byte, 1), 0U);
    mSignaler.clearDeviceError();
    source.setDeviceError("broken");
    EXPECT_EQ(mSignaler.readBytes(&byte, 1), 0U);
    EXPECT_THAT(source.getCalls(), IsEmpty());
}

}  // namespace qz
