// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceWriteStreamModifier.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "io/PullFilter.h"
#include "support/ChildProcess.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace qz {

using support::DeviceStub;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr auto kRead = qzIoDevice::DataWayRead;
constexpr auto kWrite = qzIoDevice::DataWayWrite;
constexpr auto kReadWrite = qzIoDevice::DataWayReadWrite;

constexpr unsigned long kThreshold = 2202009;
constexpr unsigned long kOutput = 1048576;

// One pattern again and again: a loop over all bytes would take minutes with a sanitizer.
std::string makeBytes(unsigned long size)
{
    constexpr unsigned long kPeriod = 64768;
    std::string bytes;
    for (unsigned long i = 0; i < std::min(size, kPeriod); ++i)
        bytes += static_cast<char>(i * 31 + i / 253);
    bytes.reserve(size);
    while (bytes.size() < size)
        bytes.append(bytes, 0, std::min(bytes.size(), size - bytes.size()));
    return bytes;
}

std::string repeat(const std::string& bytes, unsigned long copies)
{
    if (copies == 1) return bytes;
    std::string repeated;
    repeated.reserve(bytes.size() * copies);
    for (const char byte : bytes) {
        repeated.append(copies, byte);
    }
    return repeated;
}

unsigned long write(qzIoDevice& device, const std::string& bytes)
{
    return device.writeBytes(bytes.data(), bytes.size());
}

}  // namespace

class qzIoDeviceWriteStreamModifierTest : public ::testing::Test {
protected:
    void begin() { ASSERT_TRUE(mModifier.beginDelegation(&mDevice, kWrite)); }
    unsigned long getPendingSize() const
    {
        return qzIoDeviceWriteStreamModifierTestPeer::getPendingSize(mModifier);
    }

    support::LibraryStart mLibrary;
    DeviceStub mDevice;
    PullFilter mFilter;
    qzIoDeviceWriteStreamModifier mModifier{&mFilter};
};

TEST_F(qzIoDeviceWriteStreamModifierTest, CallsNoFilterBelowTheThreshold)
{
    begin();
    EXPECT_EQ(write(mModifier, makeBytes(kThreshold - 1)), kThreshold - 1);
    EXPECT_THAT(mFilter.getCalls(), IsEmpty());
    EXPECT_TRUE(mDevice.getContent().empty());
    EXPECT_TRUE(mModifier.endDelegation());
    EXPECT_EQ(mDevice.getContent(), makeBytes(kThreshold - 1));
}

TEST_F(qzIoDeviceWriteStreamModifierTest, BeginsTheFilterAndReadsItAtTheThreshold)
{
    begin();
    write(mModifier, makeBytes(kThreshold - 1));
    EXPECT_EQ(write(mModifier, "x"), 1U);
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin", "read"));
    EXPECT_EQ(mDevice.getContent(), makeBytes(65536));
    EXPECT_EQ(getPendingSize(), kThreshold - 65536);
}

TEST_F(qzIoDeviceWriteStreamModifierTest, BeginsReadsAndEndsTheFilterForNoBytesAtAll)
{
    begin();
    EXPECT_TRUE(mModifier.endDelegation());
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin", "read", "end", "clear"));
    EXPECT_THAT(mFilter.getPulled(), ElementsAre(0U));
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
}

TEST_F(qzIoDeviceWriteStreamModifierTest, AddsNothingForAWriteOfNothing)
{
    begin();
    EXPECT_EQ(mModifier.writeBytes(nullptr, 0), 0U);
    EXPECT_TRUE(mModifier.good());
    EXPECT_EQ(getPendingSize(), 0U);
}

TEST_F(qzIoDeviceWriteStreamModifierTest, RunsTheFilterInsideALargeWrite)
{
    begin();
    EXPECT_EQ(write(mModifier, makeBytes(7'000'000)), 7'000'000U);
    EXPECT_LT(getPendingSize(), kThreshold);
    EXPECT_EQ(mDevice.getContent().size() + getPendingSize(), 7'000'000U);
}

TEST_F(qzIoDeviceWriteStreamModifierTest, GivesSingleBytesBelowTheThresholdUntilTheEnd)
{
    PullFilter filter({"", {10}, 1, /*fillsItsOutput=*/true, 25});
    qzIoDeviceWriteStreamModifier modifier(&filter);
    ASSERT_TRUE(modifier.beginDelegation(&mDevice, kWrite));
    write(modifier, makeBytes(kThreshold));
    EXPECT_THAT(filter.getPulled(),
                ElementsAre(10U, 1U, 1U, 1U, 1U, 1U, 1U, 1U, 1U, 1U, 1U, 1U, 1U, 1U, 1U, 1U));
    EXPECT_EQ(mDevice.getContent(), makeBytes(25));
}

TEST_F(qzIoDeviceWriteStreamModifierTest, GivesNothingWhenNothingIsPending)
{
    // Takes all that there is for each byte that it delivers.
    class Digest : public PullFilter {
    public:
        unsigned long readBytes(char* dst, unsigned long /*size*/) override
        {
            std::string taken(kOutput, '?');
            unsigned long got = 0;
            EXPECT_EQ(getDelegate()->readBytes(taken.data(), 0), 0U);
            while ((got = getDelegate()->readBytes(taken.data(), taken.size())) != 0)
                mCount += got;
            *dst = 'd';
            return std::exchange(mIsDelivered, true) ? 0 : 1;
        }
        unsigned long getCount() const { return mCount; }

    private:
        unsigned long mCount = 0;
        bool mIsDelivered = false;
    };
    Digest digest;
    qzIoDeviceWriteStreamModifier modifier(&digest);
    ASSERT_TRUE(modifier.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write(modifier, makeBytes(kThreshold)), kThreshold);
    EXPECT_EQ(digest.getCount(), kThreshold);
    EXPECT_EQ(mDevice.getContent(), "d");
    EXPECT_EQ(write(modifier, "rest"), 4U);
    EXPECT_TRUE(modifier.endDelegation());
    EXPECT_EQ(digest.getCount(), kThreshold + 4);
}

TEST_F(qzIoDeviceWriteStreamModifierTest, GivesFullReadsInTheFinalFlush)
{
    PullFilter filter({"", {10}});
    qzIoDeviceWriteStreamModifier modifier(&filter);
    ASSERT_TRUE(modifier.beginDelegation(&mDevice, kWrite));
    write(modifier, makeBytes(25));
    EXPECT_TRUE(modifier.endDelegation());
    EXPECT_THAT(filter.getPulled(), ElementsAre(10U, 10U, 5U, 0U));
}

TEST_F(qzIoDeviceWriteStreamModifierTest, PassesAtMostAnOutputBufferAtOnce)
{
    PullFilter filter({"", {5'000'000}});
    qzIoDeviceWriteStreamModifier modifier(&filter);
    ASSERT_TRUE(modifier.beginDelegation(&mDevice, kWrite));
    write(modifier, makeBytes(3 * kOutput));
    EXPECT_THAT(filter.getPulled(), ElementsAre(kOutput));
    EXPECT_TRUE(modifier.endDelegation());
    EXPECT_THAT(filter.getPulled(), ElementsAre(kOutput, kOutput, kOutput, 0U));
}

TEST_F(qzIoDeviceWriteStreamModifierTest, IsReadableOnlyWhileItsFilterBegins)
{
    EXPECT_EQ(mModifier.getSupportedDataWay(), kWrite);
    begin();
    write(mModifier, makeBytes(kThreshold));
    EXPECT_EQ(mFilter.getWayOfDelegate(), kReadWrite);
    EXPECT_EQ(mModifier.getSupportedDataWay(), kWrite);
}

TEST_F(qzIoDeviceWriteStreamModifierTest, WaitsAgainWhenTheFilterHasReadWhileItBegan)
{
    class Opening : public PullFilter {
    protected:
        bool beginDelegationImpl() override
        {
            char head[10];
            return PullFilter::beginDelegationImpl() && getDelegate()->readBytes(head, 10) == 10;
        }
    };
    Opening filter;
    qzIoDeviceWriteStreamModifier modifier(&filter);
    ASSERT_TRUE(modifier.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write(modifier, makeBytes(kThreshold)), kThreshold);
    EXPECT_THAT(filter.getCalls(), ElementsAre("begin"));
    EXPECT_TRUE(modifier.endDelegation());
    EXPECT_EQ(mDevice.getContent(), makeBytes(kThreshold).substr(10));
}

TEST_F(qzIoDeviceWriteStreamModifierTest, SupportsTheSameDirectionsAfterItsFilterHasBegun)
{
    begin();
    mModifier.changeSupportedDataWay(kReadWrite);
    write(mModifier, makeBytes(kThreshold));
    EXPECT_EQ(mModifier.getSupportedDataWay(), kReadWrite);
}

TEST_F(qzIoDeviceWriteStreamModifierTest, KeepsThePendingBufferThatWasReserved)
{
    begin();
    const std::string bytes = makeBytes(kOutput);
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(write(mModifier, bytes), bytes.size());
    EXPECT_EQ(qzIoDeviceWriteStreamModifierTestPeer::getPendingCapacity(mModifier), 5242880U);
}

TEST_F(qzIoDeviceWriteStreamModifierTest, IsNeverAtItsEnd)
{
    EXPECT_FALSE(mModifier.atEnd());
    begin();
    EXPECT_TRUE(mModifier.endDelegation());
    EXPECT_FALSE(mModifier.atEnd());
}

TEST_F(qzIoDeviceWriteStreamModifierTest, RefusesToBeReadFrom)
{
    EXPECT_FALSE(mModifier.beginDelegation(&mDevice, kRead));
    EXPECT_EQ(mModifier.getDeviceErrorMsg(), "incompatible delegation way 2 1");
}

TEST_F(qzIoDeviceWriteStreamModifierTest, RefusesAWriteWithoutADelegation)
{
    const support::LogCapture log;
    EXPECT_EQ(write(mModifier, "x"), 0U);
    EXPECT_EQ(mModifier.getDeviceErrorMsg(), "call write on a read delegation mode device");
    EXPECT_THAT(log.getLines(),
                ElementsAre("CRITICAL qzIoDeviceDelegable call write on a read delegation mode "
                            "device"));
}

TEST_F(qzIoDeviceWriteStreamModifierTest, RefusesAWriteWithoutADelegate)
{
    const support::LogCapture log;
    ASSERT_TRUE(mModifier.beginDelegation(nullptr, kWrite));
    EXPECT_EQ(write(mModifier, "x"), 0U);
    EXPECT_EQ(mModifier.getDeviceErrorMsg(), "call write on a read delegation mode device");
    EXPECT_FALSE(mModifier.endDelegation());
}

TEST_F(qzIoDeviceWriteStreamModifierTest, EndsWithoutADelegateIfTheFilterDeliversNothing)
{
    ASSERT_TRUE(mModifier.beginDelegation(nullptr, kWrite));
    EXPECT_TRUE(mModifier.endDelegation());
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin", "read", "end", "clear"));
}

// Delivers a byte without input.
TEST_F(qzIoDeviceWriteStreamModifierTest, FailsWithoutADelegateIfTheFilterDelivers)
{
    class Source : public PullFilter {
    public:
        unsigned long readBytes(char* dst, unsigned long /*size*/) override
        {
            *dst = 'x';
            return mIsDone++ == 0 ? 1 : 0;
        }

    private:
        int mIsDone = 0;
    };
    Source source;
    qzIoDeviceWriteStreamModifier modifier(&source);
    ASSERT_TRUE(modifier.beginDelegation(nullptr, kWrite));
    EXPECT_FALSE(modifier.endDelegation());
    EXPECT_EQ(modifier.getDeviceErrorMsg(), "Fail to write on delegate");
}

TEST_F(qzIoDeviceWriteStreamModifierTest, ProcessesNothingOutsideADelegation)
{
    mModifier.processPendingData();
    EXPECT_THAT(mFilter.getCalls(), IsEmpty());
    begin();
    EXPECT_TRUE(mModifier.endDelegation());
    mModifier.processPendingData();
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin", "read", "end", "clear"));
}

TEST_F(qzIoDeviceWriteStreamModifierTest, FailsWhenTheFilterRefusesToBegin)
{
    mFilter.refuseBegin();
    begin();
    EXPECT_EQ(write(mModifier, makeBytes(kThreshold)), 0U);
    EXPECT_EQ(mModifier.getDeviceErrorMsg(), "Fail to begin delegation of read modifier");
    EXPECT_EQ(mModifier.getSupportedDataWay(), kWrite);
    EXPECT_FALSE(mModifier.endDelegation());
    EXPECT_EQ(mModifier.getDeviceErrorMsg(), "Fail to begin delegation of read modifier");
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin", "clear"));
}

TEST_F(qzIoDeviceWriteStreamModifierTest, FailsWhenTheFilterRefusesToBeginInTheFinalFlush)
{
    mFilter.refuseBegin();
    begin();
    EXPECT_EQ(write(mModifier, "x"), 1U);
    EXPECT_FALSE(mModifier.endDelegation());
    EXPECT_EQ(mModifier.getDeviceErrorMsg(), "Fail to begin delegation of read modifier");
}

TEST_F(qzIoDeviceWriteStreamModifierTest, LeavesAFilterAloneThatWorksElsewhere)
{
    DeviceStub other("abc");
    ASSERT_TRUE(mFilter.beginDelegation(&other, kRead));
    begin();
    EXPECT_FALSE(mModifier.endDelegation());
    EXPECT_EQ(mModifier.getDeviceErrorMsg(), "Fail to begin delegation of read modifier");
    EXPECT_FALSE(mFilter.isIdle());
}

TEST_F(qzIoDeviceWriteStreamModifierTest, FailsWithoutAFilterAsWithOneThatRefuses)
{
    qzIoDeviceWriteStreamModifier modifier(nullptr);
    ASSERT_TRUE(modifier.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write(modifier, "x"), 1U);
    EXPECT_FALSE(modifier.endDelegation());
    EXPECT_EQ(modifier.getDeviceErrorMsg(), "Fail to begin delegation of read modifier");
    EXPECT_TRUE(modifier.beginDelegation(&mDevice, kWrite));
}

TEST_F(qzIoDeviceWriteStreamModifierTest, FailsWhenTheFilterFailsToEnd)
{
    mFilter.refuseEnd();
    begin();
    write(mModifier, "x");
    EXPECT_FALSE(mModifier.endDelegation());
    EXPECT_EQ(mModifier.getDeviceErrorMsg(), "Fail to finalize delegatino of read device");
    EXPECT_EQ(mDevice.getContent(), "x");
}

TEST_F(qzIoDeviceWriteStreamModifierTest, FailsWhenTheFilterIsInErrorAtTheEnd)
{
    begin();
    write(mModifier, makeBytes(kThreshold));
    mFilter.setDeviceError("broken input");
    EXPECT_FALSE(mModifier.endDelegation());
    EXPECT_EQ(mModifier.getDeviceErrorMsg(), "Fail to finalize delegatino of read device");
}

TEST_F(qzIoDeviceWriteStreamModifierTest, FailsAtTheEndWhenTheFilterBreaksInTheMiddle)
{
    class Breaking : public PullFilter {
    public:
        unsigned long readBytes(char* dst, unsigned long size) override
        {
            if (getPulled().size() == 3) setDeviceError("broken input");
            return good() ? PullFilter::readBytes(dst, size) : 0;
        }
    };
    Breaking filter;
    qzIoDeviceWriteStreamModifier modifier(&filter);
    ASSERT_TRUE(modifier.beginDelegation(&mDevice, kWrite));
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(write(modifier, makeBytes(kOutput)), kOutput) << "no error of the modifier";
    EXPECT_TRUE(modifier.good());
    EXPECT_FALSE(modifier.endDelegation());
    EXPECT_EQ(modifier.getDeviceErrorMsg(), "Fail to finalize delegatino of read device");
    EXPECT_THAT(filter.getCalls(), ElementsAre("begin", "read", "read", "read", "end", "clear"));
    EXPECT_EQ(mDevice.getContent(), makeBytes(kOutput).substr(0, 3UL * 65536));
}

TEST_F(qzIoDeviceWriteStreamModifierTest, KeepsWhatAFilterDoesNotTake)
{
    PullFilter filter({"", {65536}, 1, false, 100'000});
    qzIoDeviceWriteStreamModifier modifier(&filter);
    ASSERT_TRUE(modifier.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(write(modifier, makeBytes(4'000'000)), 4'000'000U);
    EXPECT_EQ(write(modifier, "more"), 4U);
    EXPECT_EQ(qzIoDeviceWriteStreamModifierTestPeer::getPendingSize(modifier), 3'900'004U);
    EXPECT_TRUE(modifier.endDelegation());
    EXPECT_EQ(mDevice.getContent(), makeBytes(100'000));
}

TEST_F(qzIoDeviceWriteStreamModifierTest, StopsTheFilterWhenTheDelegateRefusesData)
{
    mDevice.stopAfter(100'000);
    begin();
    EXPECT_EQ(write(mModifier, makeBytes(3'000'000)), 0U);
    EXPECT_EQ(mModifier.getDeviceErrorMsg(), "Fail to write on delegate");
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin", "read", "read"));
    EXPECT_EQ(write(mModifier, "x"), 0U);
    EXPECT_FALSE(mModifier.endDelegation());
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin", "read", "read", "end", "clear"));
}

TEST_F(qzIoDeviceWriteStreamModifierTest, FailsWhenTheDelegateRefusesTheFinalFlush)
{
    mDevice.stopAfter(2);
    begin();
    EXPECT_EQ(write(mModifier, "abc"), 3U);
    EXPECT_FALSE(mModifier.endDelegation());
    EXPECT_EQ(mModifier.getDeviceErrorMsg(), "Fail to write on delegate");
}

TEST_F(qzIoDeviceWriteStreamModifierTest, LosesNoBytesInSilenceWhenTheDelegateIsInError)
{
    begin();
    write(mModifier, "abc");
    mDevice.setDeviceError("disk");
    EXPECT_EQ(mModifier.getDeviceErrorMsg(), "disk");
    EXPECT_EQ(write(mModifier, "def"), 0U);
    EXPECT_EQ(getPendingSize(), 3U) << "a refused write leaves nothing";
    EXPECT_FALSE(mModifier.endDelegation());
    EXPECT_EQ(mModifier.getDeviceErrorMsg(), "Fail to write on delegate");
    EXPECT_TRUE(mFilter.isIdle());
}

TEST_F(qzIoDeviceWriteStreamModifierTest, StopsWhenTheDelegateTakesAllButFails)
{
    class Failing : public DeviceStub {
    public:
        unsigned long writeBytes(const char* src, unsigned long size) override
        {
            const unsigned long count = DeviceStub::writeBytes(src, size);
            setDeviceError("late");
            return count;
        }
    } device;
    ASSERT_TRUE(mModifier.beginDelegation(&device, kWrite));
    EXPECT_EQ(write(mModifier, makeBytes(3'000'000)), 0U);
    EXPECT_EQ(mModifier.getDeviceErrorMsg(), "late");
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin", "read"));
}

TEST_F(qzIoDeviceWriteStreamModifierTest, StartsAnewAfterAClear)
{
    begin();
    write(mModifier, makeBytes(kThreshold));
    mModifier.clearDelegation();
    EXPECT_FALSE(mFilter.isIdle());
    begin();
    EXPECT_TRUE(mFilter.isIdle());
    EXPECT_EQ(getPendingSize(), 0U);
    const unsigned long before = mDevice.getContent().size();
    write(mModifier, "new");
    EXPECT_TRUE(mModifier.endDelegation());
    EXPECT_EQ(mDevice.getContent().substr(before), "new");
}

TEST_F(qzIoDeviceWriteStreamModifierTest, LeavesAnEndedFilterAloneWhenItBeginsAgain)
{
    begin();
    EXPECT_TRUE(mModifier.endDelegation());
    begin();
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin", "read", "end", "clear"));
}

// With one move of the pending bytes for each read, these are 6 terabytes.
TEST_F(qzIoDeviceWriteStreamModifierTest, TakesNoMinutesWithAFilterThatReadsByteByByte)
{
    const auto passByteByByte = [this] {
        PullFilter filter({"", {1}});
        qzIoDeviceWriteStreamModifier modifier(&filter);
        modifier.beginDelegation(&mDevice, kWrite);
        for (int i = 0; i < 30; ++i)
            write(modifier, makeBytes(100'000));
        return modifier.endDelegation() && mDevice.getContent().size() == 3'000'000 ? 0 : 1;
    };
    EXPECT_EQ(support::runInChild(passByteByByte, {}, /*timeoutSec=*/200).getEnd(), "exit 0");
}

// --- Sizes about the threshold and the output buffer

const PullFilter::Behaviour kBehaviours[] = {
    {"Plain", {65536}},
    {"OddSizes", {1, 7, 65537, 3, 1048575}},
    {"LargeReads", {100'000'000}},
    {"FillsItsOutput", {1000}, 1, true},
    {"DeliversMore", {4097}, 3},
    {"FillsWithMore", {10, 99'999}, 2, true},
};

constexpr unsigned long kSizes[] = {
    1,          kOutput - 1,    kOutput, kOutput + 1, kThreshold - 1,
    kThreshold, kThreshold + 1, 5242881, 7'000'000};

constexpr unsigned long kPieces[] = {100'000'000, 1'000'003, 4096};

class qzIoDeviceWriteStreamModifierSizes
    : public ::testing::TestWithParam<std::tuple<PullFilter::Behaviour, unsigned long>> {};

TEST_P(qzIoDeviceWriteStreamModifierSizes, PassAllBytesInTheirOrder)
{
    const support::LibraryStart library;
    const std::string bytes = makeBytes(std::get<1>(GetParam()));
    const std::string expected = repeat(bytes, std::get<0>(GetParam()).copies);
    for (const unsigned long piece : kPieces) {
        SCOPED_TRACE(piece);
        DeviceStub device;
        PullFilter filter(std::get<0>(GetParam()));
        qzIoDeviceWriteStreamModifier modifier(&filter);
        ASSERT_TRUE(modifier.beginDelegation(&device, kWrite));
        for (unsigned long at = 0; at < bytes.size(); at += piece) {
            const std::string part = bytes.substr(at, piece);
            ASSERT_EQ(write(modifier, part), part.size());
        }
        EXPECT_TRUE(modifier.endDelegation());
        EXPECT_TRUE(device.getContent() == expected) << device.getContent().size();
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, qzIoDeviceWriteStreamModifierSizes,
                         ::testing::Combine(::testing::ValuesIn(kBehaviours),
                                            ::testing::ValuesIn(kSizes)),
                         [](const auto& row) {
                             return std::get<0>(row.param).name +
                                    std::to_string(std::get<1>(row.param));
                         });

}  // namespace qz
