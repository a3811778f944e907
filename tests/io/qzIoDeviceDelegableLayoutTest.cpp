// SPDX-License-Identifier: MIT
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzIoDeviceByteCounter.h>
#include <qz/qzIoDeviceByteSniffer.h>
#include <qz/qzIoDeviceKeepLastBytes.h>
#include <qz/qzIoDeviceReadBytesLimiter.h>
#include <qz/qzIoDeviceSignaler.h>

#include "io/FilterStub.h"
#include "io/VirtualSlots.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"

// Programs that were built against an earlier release hold these objects by value and call their
// virtual functions by number.

namespace qz {

using support::DeviceStub;
using ::testing::ElementsAre;

namespace {

constexpr std::size_t kDelegate = 48;
constexpr std::size_t kWay = 56;
constexpr std::size_t kType = 60;
constexpr std::size_t kFirstField = 64;  // of a class that is derived from a filter
constexpr std::size_t kFirstWrapperField = 48;

static_assert(sizeof(qzIoDeviceDelegable) == kFirstField);
static_assert(sizeof(qzIoDeviceByteCounter) == kFirstField + 24);
static_assert(sizeof(qzIoDeviceByteSniffer) == kFirstField + 8);
static_assert(sizeof(qzIoDeviceSignaler) == kFirstField + 24);
static_assert(sizeof(qzIoDeviceKeepLastBytes) == kFirstWrapperField + 40 + 8,
              "the start of its ring is a field after the others");
static_assert(sizeof(qzIoDeviceReadBytesLimiter) == kFirstWrapperField + 40);

static_assert(std::is_base_of_v<qzIoDevice, qzIoDeviceDelegable>);
static_assert(!std::is_base_of_v<qzIoDeviceRandomAccess, qzIoDeviceDelegable>);
static_assert(std::is_base_of_v<qzIoDeviceDelegable, qzIoDeviceByteCounter>);
static_assert(std::is_base_of_v<qzIoDeviceDelegable, qzIoDeviceByteSniffer>);
static_assert(std::is_base_of_v<qzIoDeviceDelegable, qzIoDeviceSignaler>);
static_assert(!std::is_base_of_v<qzIoDeviceDelegable, qzIoDeviceKeepLastBytes>);
static_assert(!std::is_base_of_v<qzIoDeviceRandomAccess, qzIoDeviceKeepLastBytes>);
static_assert(!std::is_base_of_v<qzIoDeviceDelegable, qzIoDeviceReadBytesLimiter>);
static_assert(!std::is_base_of_v<qzIoDeviceRandomAccess, qzIoDeviceReadBytesLimiter>);
static_assert(std::is_abstract_v<qzIoDeviceDelegable>);
static_assert(!std::is_constructible_v<qzIoDeviceDelegable, qzIoDevice::DataWay, int>,
              "made by its subclasses only");
static_assert(!std::is_convertible_v<DeviceStub&, qzIoDeviceByteSniffer>);

static_assert(std::is_same_v<decltype(&qzIoDeviceByteCounter::getWrittenBytes),
                             unsigned long (qzIoDeviceByteCounter::*)() const> &&
              std::is_same_v<decltype(&qzIoDeviceByteCounter::getReadBytes),
                             unsigned long (qzIoDeviceByteCounter::*)() const> &&
              std::is_same_v<decltype(&qzIoDeviceByteCounter::upToDateWriteEnd),
                             unsigned long (qzIoDeviceByteCounter::*)() const>);

constexpr int kDeletingDestructor = 1;
constexpr int kReadBytes = 2;
constexpr int kWriteBytes = 3;
constexpr int kAtEnd = 4;
constexpr int kHasDeviceError = 5;
constexpr int kGetDeviceErrorMsg = 6;
constexpr int kWriteBackToDevice = 7;
constexpr int kBeginDelegation = 8;
constexpr int kEndDelegation = 9;
constexpr int kClearDelegation = 10;
constexpr int kBeginDelegationImpl = 11;
constexpr int kEndDelegationImpl = 12;
constexpr int kClearDelegationImpl = 13;

// Answers each virtual function of a filter with something of its own.
class FilterProbe : public qzIoDeviceDelegable {
public:
    explicit FilterProbe(bool& ended) : qzIoDeviceDelegable(DataWayNone, 1), mEnded(&ended) {}
    ~FilterProbe() override { *mEnded = true; }
    unsigned long readBytes(char* /*dst*/, unsigned long size) override { return size + 1; }
    unsigned long writeBytes(const char* /*src*/, unsigned long size) override { return size + 2; }
    bool beginDelegation(qzIoDevice* delegate, DataWay way) override
    {
        return delegate == this && way == DataWayWrite;
    }
    bool endDelegation() override { return answer("end"); }
    void clearDelegation() override { answer("clear"); }
    const std::string& getLast() const { return mLast; }

protected:
    bool beginDelegationImpl() override { return answer("begin hook"); }
    bool endDelegationImpl() override { return answer("end hook"); }
    void clearDelegationImpl() override { answer("clear hook"); }

private:
    bool answer(const char* name)
    {
        mLast = name;
        return true;
    }

    bool* mEnded;
    std::string mLast;
};

}  // namespace

class qzIoDeviceDelegableSlots : public ::testing::Test {
protected:
    std::string call(int slot)
    {
        callSlot<void>(mProbe.get(), slot);
        return mProbe->getLast();
    }

    bool mEnded = false;
    std::unique_ptr<FilterProbe> mProbe = std::make_unique<FilterProbe>(mEnded);
    support::LibraryStart mLibrary;
    DeviceStub mDevice{"0123456789"};
    qzIoDeviceByteCounter mCounter;
    qzIoDeviceByteSniffer mSniffer{mDevice};
    qzIoDeviceSignaler mSignaler{nullptr, 3};
    qzIoDeviceKeepLastBytes mKeeper{mDevice, 4};
    qzIoDeviceReadBytesLimiter mLimiter{mDevice, 5, 6};
    FilterStub mStub;
};

TEST_F(qzIoDeviceDelegableSlots, BeginWithThoseOfADevice)
{
    char byte = 0;
    EXPECT_EQ((callSlot<unsigned long, char*, unsigned long>(mProbe.get(), kReadBytes, &byte, 70)),
              71U);
    EXPECT_EQ(
        (callSlot<unsigned long, const char*, unsigned long>(mProbe.get(), kWriteBytes, &byte, 70)),
        72U);
    callSlot<void>(mProbe.release(), kDeletingDestructor);
    EXPECT_TRUE(mEnded);
}

TEST_F(qzIoDeviceDelegableSlots, GoOnWithTheDelegation)
{
    EXPECT_TRUE((callSlot<bool, qzIoDevice*, qzIoDevice::DataWay>(
        mProbe.get(), kBeginDelegation, mProbe.get(), qzIoDevice::DataWayWrite)));
    EXPECT_EQ(call(kEndDelegation), "end");
    EXPECT_EQ(call(kClearDelegation), "clear");
}

TEST_F(qzIoDeviceDelegableSlots, EndWithTheHooks)
{
    EXPECT_EQ(call(kBeginDelegationImpl), "begin hook");
    EXPECT_EQ(call(kEndDelegationImpl), "end hook");
    EXPECT_EQ(call(kClearDelegationImpl), "clear hook");
}

TEST_F(qzIoDeviceDelegableSlots, OfACounterAndASignalerAreBytesAndHooks)
{
    for (const qzIoDevice* filter :
         {static_cast<const qzIoDevice*>(&mCounter), static_cast<const qzIoDevice*>(&mSignaler)}) {
        for (const int own : {kReadBytes, kWriteBytes, kBeginDelegationImpl, kEndDelegationImpl,
                              kClearDelegationImpl})
            EXPECT_NE(getSlot(filter, own), getSlot(&mStub, own)) << own;
        for (const int base : {kAtEnd, kHasDeviceError, kGetDeviceErrorMsg, kWriteBackToDevice,
                               kBeginDelegation, kEndDelegation, kClearDelegation})
            EXPECT_EQ(getSlot(filter, base), getSlot(&mStub, base)) << base;
    }
}

TEST_F(qzIoDeviceDelegableSlots, OfASnifferAreTheErrorQuestionsToo)
{
    for (const int own : {kReadBytes, kWriteBytes, kHasDeviceError, kGetDeviceErrorMsg,
                          kBeginDelegationImpl, kEndDelegationImpl, kClearDelegationImpl})
        EXPECT_NE(getSlot(&mSniffer, own), getSlot(&mStub, own)) << own;
    for (const int base :
         {kAtEnd, kWriteBackToDevice, kBeginDelegation, kEndDelegation, kClearDelegation})
        EXPECT_EQ(getSlot(&mSniffer, base), getSlot(&mStub, base)) << base;
}

TEST_F(qzIoDeviceDelegableSlots, OfTheWrappersAreAllOfADeviceButTheCopy)
{
    for (const int own : {kReadBytes, kWriteBytes, kAtEnd, kHasDeviceError, kGetDeviceErrorMsg}) {
        EXPECT_NE(getSlot(&mKeeper, own), getSlot(&mStub, own)) << own;
        EXPECT_NE(getSlot(&mLimiter, own), getSlot(&mStub, own)) << own;
    }
    EXPECT_EQ(getSlot(&mKeeper, kWriteBackToDevice), getSlot(&mStub, kWriteBackToDevice));
    EXPECT_EQ(getSlot(&mLimiter, kWriteBackToDevice), getSlot(&mStub, kWriteBackToDevice));
}

using qzIoDeviceDelegableFields = qzIoDeviceDelegableSlots;

TEST_F(qzIoDeviceDelegableFields, AreDelegateWayAndType)
{
    ASSERT_TRUE(mStub.beginDelegation(&mDevice, qzIoDevice::DataWayWrite));
    EXPECT_EQ(readField<qzIoDevice*>(&mStub, kDelegate), &mDevice);
    EXPECT_EQ(readField<int>(&mStub, kWay), 2);
    EXPECT_EQ(readField<int>(&mStub, kType), FilterStub::kType);
}

TEST_F(qzIoDeviceDelegableFields, HaveTheCodeAndTheWayOfTheClass)
{
    EXPECT_EQ(mCounter.getType(), 770);
    EXPECT_EQ(mSniffer.getType(), 772);
    EXPECT_EQ(mSignaler.getType(), 776);
    for (const qzIoDevice* filter :
         {static_cast<const qzIoDevice*>(&mCounter), static_cast<const qzIoDevice*>(&mSniffer),
          static_cast<const qzIoDevice*>(&mSignaler)})
        EXPECT_EQ(filter->getSupportedDataWay(), qzIoDevice::DataWayReadWrite);
    EXPECT_EQ(mKeeper.getSupportedDataWay(), qzIoDevice::DataWayRead);
    EXPECT_EQ(mLimiter.getSupportedDataWay(), qzIoDevice::DataWayRead);
}

TEST_F(qzIoDeviceDelegableFields, OfACounterAreWrittenEndAndRead)
{
    mCounter.writeBytes("abc", 3);
    EXPECT_EQ(readField<unsigned long>(&mCounter, kFirstField), 3U);
    EXPECT_EQ(readField<unsigned long>(&mCounter, kFirstField + 8), 0U);
    mCounter.updateWriteEnd();
    EXPECT_EQ(readField<unsigned long>(&mCounter, kFirstField + 8), 3U);
    char byte = 0;
    mCounter.beginDelegation(&mDevice, qzIoDevice::DataWayRead);
    mCounter.readBytes(&byte, 1);
    EXPECT_EQ(readField<unsigned long>(&mCounter, kFirstField), 0U);
    EXPECT_EQ(readField<unsigned long>(&mCounter, kFirstField + 8), 0U);
    EXPECT_EQ(readField<unsigned long>(&mCounter, kFirstField + 16), 1U);
}

TEST_F(qzIoDeviceDelegableFields, OfASnifferAreItsDestination)
{
    EXPECT_EQ(readField<qzIoDevice*>(&mSniffer, kFirstField), &mDevice);
}

TEST_F(qzIoDeviceDelegableFields, OfASignalerAreSignalThresholdAndCount)
{
    std::function<void(qzIoDevice*)> signal = [](qzIoDevice*) {};
    mSignaler.setSignal(&signal);
    mSignaler.writeBytes("ab", 2);
    EXPECT_EQ(readField<void*>(&mSignaler, kFirstField), &signal);
    EXPECT_EQ(readField<unsigned long>(&mSignaler, kFirstField + 8), 3U);
    EXPECT_EQ(readField<unsigned long>(&mSignaler, kFirstField + 16), 2U);
    mSignaler.writeBytes("ab", 2);
    EXPECT_EQ(readField<unsigned long>(&mSignaler, kFirstField + 16), 0U);
}

TEST_F(qzIoDeviceDelegableFields, OfAKeeperAreSourceHeldCountAndBytes)
{
    EXPECT_EQ(readField<qzIoDevice*>(&mKeeper, kFirstWrapperField), &mDevice);
    EXPECT_EQ(readField<unsigned long>(&mKeeper, kFirstWrapperField + 8), 0U);
    char byte = 0;
    mKeeper.readBytes(&byte, 1);
    EXPECT_EQ(readField<unsigned long>(&mKeeper, kFirstWrapperField + 8), 4U);
    EXPECT_EQ(readField<const char*>(&mKeeper, kFirstWrapperField + 16),
              mKeeper.getTerminalBytes());
    EXPECT_EQ(readField<const char*>(&mKeeper, kFirstWrapperField + 24),
              mKeeper.getTerminalBytes() + 4);
}

TEST_F(qzIoDeviceDelegableFields, OfALimiterAreSourceViewStartRestAndFlag)
{
    EXPECT_EQ(readField<qzIoDevice*>(&mLimiter, kFirstWrapperField), &mDevice);
    EXPECT_EQ(readField<qzIoDeviceRandomAccess*>(&mLimiter, kFirstWrapperField + 8), &mDevice);
    EXPECT_EQ(readField<unsigned long>(&mLimiter, kFirstWrapperField + 16), 5U);
    EXPECT_EQ(readField<unsigned long>(&mLimiter, kFirstWrapperField + 24), 6U);
    EXPECT_TRUE(readField<bool>(&mLimiter, kFirstWrapperField + 32));
    char byte = 0;
    mLimiter.readBytes(&byte, 1);
    EXPECT_EQ(readField<unsigned long>(&mLimiter, kFirstWrapperField + 24), 5U);
    EXPECT_FALSE(readField<bool>(&mLimiter, kFirstWrapperField + 32));

    const qzIoDeviceReadBytesLimiter plain(static_cast<qzIoDevice&>(mDevice), 7);
    EXPECT_EQ(readField<qzIoDeviceRandomAccess*>(&plain, kFirstWrapperField + 8), nullptr);
    EXPECT_EQ(readField<unsigned long>(&plain, kFirstWrapperField + 16), 0U);
    EXPECT_EQ(readField<unsigned long>(&plain, kFirstWrapperField + 24), 7U);
}

}  // namespace qz
