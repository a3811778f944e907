// SPDX-License-Identifier: MIT
// Chains of filters, as callers build them: from the device outward, and ended from the outermost
// filter inward.

#include <array>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzIoDeviceByteCounter.h>
#include <qz/qzIoDeviceByteSniffer.h>
#include <qz/qzIoDeviceFileStream.h>
#include <qz/qzIoDeviceKeepLastBytes.h>
#include <qz/qzIoDeviceReadBytesLimiter.h>
#include <qz/qzIoDeviceSignaler.h>

#include "io/FilterStub.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

namespace qz {

using support::DeviceStub;
using ::testing::IsEmpty;

namespace {

constexpr auto kRead = qzIoDevice::DataWayRead;
constexpr auto kWrite = qzIoDevice::DataWayWrite;
constexpr std::size_t kLength = 10;

// Counts what passes, and holds each write back until the next one or the end.
class HoldingCounter : public qzIoDeviceByteCounter {
public:
    unsigned long writeBytes(const char* src, unsigned long size) override
    {
        if (hasDeviceError() || !handOn()) return 0;
        mHeld.assign(src, size);
        return size;
    }

protected:
    bool endDelegationImpl() override
    {
        return handOn() && qzIoDeviceByteCounter::endDelegationImpl();
    }
    void clearDelegationImpl() override { mHeld.clear(); }

private:
    bool handOn()
    {
        if (mHeld.empty()) return true;
        const std::string held = std::exchange(mHeld, {});
        return qzIoDeviceByteCounter::writeBytes(held.data(), held.size()) == held.size();
    }

    std::string mHeld;
};

}  // namespace

// Ten filters in front of a device; the first is the outermost.
class FilterChainTest : public ::testing::Test {
protected:
    void begin(qzIoDevice& device, qzIoDevice::DataWay way)
    {
        qzIoDevice* behind = &device;
        for (std::size_t i = kLength; i-- > 0;) {
            ASSERT_TRUE(mFilters[i]->beginDelegation(behind, way)) << i;
            behind = mFilters[i];
        }
    }
    // Gives whether each end went well.
    bool end()
    {
        bool isGood = true;
        for (qzIoDeviceDelegable* filter : mFilters)
            isGood = filter->endDelegation() && isGood;
        return isGood;
    }
    qzIoDeviceDelegable& getOutermost() { return *mFilters.front(); }

    support::LibraryStart mLibrary;
    DeviceStub mDevice;
    DeviceStub mCopy;
    int mSignals = 0;
    qzIoDeviceSignaler::Signal mSignal = [this](qzIoDevice*) { ++mSignals; };
    std::array<qzIoDeviceByteCounter, 5> mCounters;
    std::array<HoldingCounter, 2> mHolders;
    qzIoDeviceByteSniffer mSniffer{mCopy};
    std::array<qzIoDeviceSignaler, 2> mSignalers{qzIoDeviceSignaler(&mSignal, 4),
                                                 qzIoDeviceSignaler(nullptr, 1)};
    std::vector<qzIoDeviceDelegable*> mFilters{
        &mCounters[0], &mHolders[0],   &mCounters[1], &mSniffer,      &mCounters[2],
        &mHolders[1],  &mSignalers[0], &mCounters[3], &mSignalers[1], &mCounters[4]};
};

TEST_F(FilterChainTest, PassesWritesToItsFarEnd)
{
    begin(mDevice, kWrite);
    for (const std::string piece : {"one ", "two ", "three"})
        EXPECT_EQ(getOutermost().writeBytes(piece.data(), piece.size()), piece.size());
    EXPECT_TRUE(getOutermost().good());
    EXPECT_EQ(mDevice.getContent(), "one ") << "two pieces are held back";
    EXPECT_EQ(mCounters[0].getWrittenBytes(), 13U);
    EXPECT_EQ(mCounters[4].getWrittenBytes(), 4U);
}

TEST_F(FilterChainTest, LosesNothingWhenItEndsFromTheOutermostInward)
{
    begin(mDevice, kWrite);
    for (const std::string piece : {"one ", "two ", "three"})
        getOutermost().writeBytes(piece.data(), piece.size());
    EXPECT_TRUE(end());
    EXPECT_EQ(mDevice.getContent(), "one two three");
    EXPECT_EQ(mCopy.getContent(), "one two three");
    for (const qzIoDeviceByteCounter& counter : mCounters)
        EXPECT_EQ(counter.getWrittenBytes(), 13U);
    EXPECT_EQ(mSignals, 3);
    for (const qzIoDeviceDelegable* filter : mFilters)
        EXPECT_TRUE(qzIoDeviceDelegableTestPeer::isIdle(*filter));
}

TEST_F(FilterChainTest, ForgetsWhatIsHeldBackWhenItIsCleared)
{
    begin(mDevice, kWrite);
    for (const std::string piece : {"one ", "two ", "three"})
        getOutermost().writeBytes(piece.data(), piece.size());
    for (qzIoDeviceDelegable* filter : mFilters)
        filter->clearDelegation();
    EXPECT_EQ(mDevice.getContent(), "one ");
    begin(mDevice, kWrite);
    EXPECT_TRUE(end());
    EXPECT_EQ(mDevice.getContent(), "one ");
}

TEST_F(FilterChainTest, ShowsAnErrorOfTheFarEndAtTheNearEnd)
{
    begin(mDevice, kWrite);
    mDevice.setDeviceError("disk full");
    for (const qzIoDeviceDelegable* filter : mFilters) {
        EXPECT_TRUE(filter->hasDeviceError());
        EXPECT_EQ(filter->getDeviceErrorMsg(), "disk full");
    }
    mDevice.clearDeviceError();
    EXPECT_TRUE(getOutermost().good());
}

TEST_F(FilterChainTest, JoinsTheErrorsFromTheNearEndToTheFarEnd)
{
    begin(mDevice, kWrite);
    mDevice.setDeviceError("device");
    mFilters[9]->setDeviceError("last");
    mFilters[4]->setDeviceError("middle");
    mCopy.setDeviceError("copy");
    EXPECT_EQ(getOutermost().getDeviceErrorMsg(), "middle, last, device, copy")
        << "the sniffer stands at the fourth place, and its destination behind all of its delegate";
    getOutermost().setDeviceError("first");
    EXPECT_EQ(getOutermost().getDeviceErrorMsg(), "first, middle, last, device, copy");
    EXPECT_EQ(mFilters[5]->getDeviceErrorMsg(), "last, device");
}

TEST_F(FilterChainTest, StopsAtTheNearEndOnceTheFarEndIsBroken)
{
    begin(mDevice, kWrite);
    mDevice.setDeviceError("disk full");
    EXPECT_EQ(getOutermost().writeBytes("abc", 3), 0U);
    for (const qzIoDeviceByteCounter& counter : mCounters)
        EXPECT_EQ(counter.getWrittenBytes(), 0U);
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
    EXPECT_THAT(mCopy.getCalls(), IsEmpty());
}

TEST_F(FilterChainTest, ReportsAtTheEndWhatCouldNotBeHandedOn)
{
    begin(mDevice, kWrite);
    getOutermost().writeBytes("held", 4);
    mDevice.stopAfter(1);
    mDevice.setErrorOfShortMoves("disk full");
    EXPECT_TRUE(mFilters[0]->endDelegation());
    EXPECT_TRUE(mFilters[1]->endDelegation()) << "the inner holder takes it";
    for (std::size_t i = 2; i < 5; ++i)
        EXPECT_TRUE(mFilters[i]->endDelegation()) << i;
    EXPECT_FALSE(mFilters[5]->endDelegation()) << "and can't get rid of it";
    EXPECT_TRUE(mFilters[5]->good()) << "the device behind is forgotten by then";
    EXPECT_EQ(mFilters[6]->getDeviceErrorMsg(), "disk full");
}

TEST_F(FilterChainTest, EndsInAnyOrderWithoutAnError)
{
    begin(mDevice, kWrite);
    for (std::size_t i = kLength; i-- > 0;)
        EXPECT_TRUE(mFilters[i]->endDelegation()) << i;
    EXPECT_TRUE(getOutermost().good());
}

TEST_F(FilterChainTest, PassesReadsFromItsFarEnd)
{
    DeviceStub source("0123456789 and a tail");
    qzIoDeviceReadBytesLimiter limiter(source, 2, 15);
    qzIoDeviceKeepLastBytes keeper(limiter, 7);
    begin(keeper, kRead);
    std::string bytes(20, '?');
    EXPECT_FALSE(getOutermost().atEnd());
    EXPECT_EQ(getOutermost().readBytes(bytes.data(), 5), 5U);
    EXPECT_EQ(getOutermost().readBytes(bytes.data() + 5, 15), 3U);
    EXPECT_EQ(bytes.substr(0, 8), "23456789");
    EXPECT_EQ(std::string(keeper.getTerminalBytes(), 7), " and a ");
    EXPECT_TRUE(getOutermost().atEnd());
    EXPECT_TRUE(end());
    EXPECT_EQ(mCopy.getContent(), "23456789");
    for (const qzIoDeviceByteCounter& counter : mCounters)
        EXPECT_EQ(counter.getReadBytes(), 8U);
    EXPECT_EQ(mSignals, 0);
}

TEST_F(FilterChainTest, ShowsAnErrorOfASourceThroughWrappers)
{
    DeviceStub source("0123456789 and a tail");
    qzIoDeviceReadBytesLimiter limiter(source, 2, 15);
    qzIoDeviceKeepLastBytes keeper(limiter, 7);
    begin(keeper, kRead);
    source.refuseSeeks();
    char byte = 0;
    EXPECT_EQ(getOutermost().readBytes(&byte, 1), 0U);
    EXPECT_EQ(getOutermost().getDeviceErrorMsg(), "Fail to seek on delegate");
    EXPECT_TRUE(getOutermost().atEnd());
}

TEST_F(FilterChainTest, GivesAFilterTheWayThatItsDelegateHas)
{
    const support::LogCapture quiet;
    begin(mDevice, kWrite);
    qzIoDeviceByteCounter another;
    EXPECT_TRUE(another.beginDelegation(&getOutermost(), kRead))
        << "a filter offers both ways, whatever it does at the moment";
    char byte = 0;
    EXPECT_EQ(another.readBytes(&byte, 1), 0U);
    EXPECT_EQ(another.getDeviceErrorMsg(), "call read on a write delegation mode device");
}

TEST_F(FilterChainTest, WritesAndReadsAFile)
{
    const support::ScratchFolder folder;
    const std::string text(100'000, 'f');
    qzIoDeviceFileStream file(folder.getPath("file"), kWrite, /*truncate=*/true);
    begin(file, kWrite);
    EXPECT_EQ(getOutermost().writeBytes(text.data(), text.size()), text.size());
    EXPECT_TRUE(end());
    EXPECT_TRUE(file.close());
    EXPECT_EQ(folder.read("file"), text);
    EXPECT_EQ(mCopy.getContent(), text);

    file.open(kRead, /*truncate=*/false);
    begin(file, kRead);
    DeviceStub destination;
    EXPECT_TRUE(getOutermost().writeBackToDevice(destination, nullptr, nullptr));
    EXPECT_EQ(destination.getContent(), text);
    EXPECT_TRUE(end());
}

TEST_F(FilterChainTest, ShowsAFullDisk)
{
    qzIoDeviceFileStream full("/dev/full", kWrite, /*truncate=*/false);
    begin(full, kWrite);
    const std::string text(100'000, 'f');
    getOutermost().writeBytes(text.data(), text.size());
    getOutermost().writeBytes(text.data(), text.size());
    getOutermost().writeBytes(text.data(), text.size());
    EXPECT_EQ(getOutermost().getDeviceErrorMsg(), "std sub stream fail bit is set after a write");
}

}  // namespace qz
