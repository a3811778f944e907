// SPDX-License-Identifier: MIT
#include <qz/qzIoDevice.h>

#include <memory>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzDataStream.h>
#include <qz/qzIoDeviceBroadcast.h>
#include <qz/qzIoDeviceDummy.h>
#include <qz/qzIoDeviceFileStream.h>
#include <qz/qzIoDeviceStdStreamProxy.h>

#include "io/DeviceTestPeers.h"
#include "io/VirtualSlots.h"
#include "support/LibraryStart.h"

// Programs that were built against an earlier release hold these objects by value and call their
// virtual functions by number.

namespace qz {

using ::testing::ElementsAre;

namespace {

static_assert(qzIoDevice::DataWayNone == 0 && qzIoDevice::DataWayRead == 1 &&
              qzIoDevice::DataWayWrite == 2 && qzIoDevice::DataWayReadWrite == 3);
static_assert(sizeof(qzIoDevice::DataWay) == 4);
static_assert(qzIoDeviceRandomAccess::SeekFromBegin == 0 &&
              qzIoDeviceRandomAccess::SeekFromCurrent == 1 &&
              qzIoDeviceRandomAccess::SeekFromEnd == 2);
static_assert(sizeof(qzIoDeviceRandomAccess::SeekStart) == 4);
static_assert(qzDataStream::LittleEndian == 0 && qzDataStream::BigEndian == 1);
static_assert(sizeof(qzDataStream::Endianness) == 4);

static_assert(sizeof(qzIoDevice) == 48);
static_assert(sizeof(qzIoDeviceRandomAccess) == sizeof(qzIoDevice), "it adds no field");
static_assert(sizeof(qzIoDeviceDummy) == sizeof(qzIoDevice));
static_assert(sizeof(qzIoDeviceBroadcast) == sizeof(qzIoDevice) + 24);
static_assert(sizeof(qzIoDeviceStdStreamProxy) == sizeof(qzIoDevice) + 16);
static_assert(sizeof(qzIoDeviceFileStream) == sizeof(qzIoDevice) + 56);
static_assert(sizeof(qzDataStream) == 144);

static_assert(std::is_base_of_v<qzIoDeviceRandomAccess, qzIoDeviceFileStream>);
static_assert(std::is_base_of_v<qzIoDeviceRandomAccess, qzIoDeviceStdStreamProxy>);
static_assert(std::is_base_of_v<qzIoDevice, qzIoDeviceRandomAccess>);
static_assert(!std::is_base_of_v<qzIoDeviceRandomAccess, qzIoDeviceBroadcast>);
static_assert(!std::is_base_of_v<qzIoDeviceRandomAccess, qzIoDeviceDummy>);
static_assert(std::is_abstract_v<qzIoDevice> && std::is_abstract_v<qzIoDeviceRandomAccess>);
static_assert(std::has_virtual_destructor_v<qzIoDevice>);
static_assert(!std::is_polymorphic_v<qzDataStream>);

constexpr int kFirstDestructor = 0;
constexpr int kDeletingDestructor = 1;
constexpr int kReadBytes = 2;
constexpr int kWriteBytes = 3;
constexpr int kAtEnd = 4;
constexpr int kHasDeviceError = 5;
constexpr int kGetDeviceErrorMsg = 6;
constexpr int kWriteBackToDevice = 7;
constexpr int kSeek = 8;
constexpr int kGetCurrentPos = 9;

// Answers each virtual function with something of its own.
class SlotProbe : public qzIoDeviceRandomAccess {
public:
    explicit SlotProbe(bool* ended) : qzIoDeviceRandomAccess(DataWayNone), mEnded(ended) {}
    ~SlotProbe() override { *mEnded = true; }
    unsigned long readBytes(char* /*dst*/, unsigned long size) override { return size + 1; }
    unsigned long writeBytes(const char* /*src*/, unsigned long size) override { return size + 2; }
    bool atEnd() const override { return mAnswer == kAtEnd; }
    bool hasDeviceError() const override { return mAnswer == kHasDeviceError; }
    std::string getDeviceErrorMsg() const override { return "a text too long for a short string"; }
    bool writeBackToDevice(qzIoDevice& destination, unsigned long* writtenBytes,
                           std::vector<char>* buffer) override
    {
        *writtenBytes = buffer->size();
        return &destination == this;
    }
    bool seek(long offset, SeekStart start) override { return offset == -5 && start == 2; }
    long getCurrentPos() const override { return -6; }
    void answer(int slot) { mAnswer = slot; }

private:
    bool* mEnded;
    int mAnswer = 0;
};

}  // namespace

class qzIoDeviceSlots : public ::testing::Test {
protected:
    void SetUp() override { mProbe = std::make_unique<SlotProbe>(&mEnded); }

    bool mEnded = false;
    std::unique_ptr<SlotProbe> mProbe;
    char mByte = 0;
};

TEST_F(qzIoDeviceSlots, BeginWithTheDestructor)
{
    callSlot<void>(mProbe.release(), kDeletingDestructor);
    EXPECT_TRUE(mEnded);
    EXPECT_NE(getSlot(std::make_unique<SlotProbe>(&mEnded).get(), kFirstDestructor), nullptr);
}

TEST_F(qzIoDeviceSlots, GoOnWithReadingAndWriting)
{
    EXPECT_EQ((callSlot<unsigned long, char*, unsigned long>(mProbe.get(), kReadBytes, &mByte, 70)),
              71U);
    EXPECT_EQ((callSlot<unsigned long, const char*, unsigned long>(mProbe.get(), kWriteBytes,
                                                                   &mByte, 70)),
              72U);
}

TEST_F(qzIoDeviceSlots, GoOnWithTheQuestions)
{
    mProbe->answer(kAtEnd);
    EXPECT_TRUE(callSlot<bool>(mProbe.get(), kAtEnd));
    EXPECT_FALSE(callSlot<bool>(mProbe.get(), kHasDeviceError));
    mProbe->answer(kHasDeviceError);
    EXPECT_FALSE(callSlot<bool>(mProbe.get(), kAtEnd));
    EXPECT_TRUE(callSlot<bool>(mProbe.get(), kHasDeviceError));
    EXPECT_EQ(callSlot<std::string>(mProbe.get(), kGetDeviceErrorMsg),
              "a text too long for a short string");
}

TEST_F(qzIoDeviceSlots, EndWithTheCopyInAPlainDevice)
{
    unsigned long written = 0;
    std::vector<char> buffer(3);
    EXPECT_TRUE((callSlot<bool, qzIoDevice*, unsigned long*, std::vector<char>*>(
        mProbe.get(), kWriteBackToDevice, mProbe.get(), &written, &buffer)));
    EXPECT_EQ(written, 3U);
}

TEST_F(qzIoDeviceSlots, EndWithThePositionInARandomAccessDevice)
{
    EXPECT_TRUE((callSlot<bool, long, qzIoDeviceRandomAccess::SeekStart>(
        mProbe.get(), kSeek, -5, qzIoDeviceRandomAccess::SeekFromEnd)));
    EXPECT_EQ(callSlot<long>(mProbe.get(), kGetCurrentPos), -6);
}

TEST_F(qzIoDeviceSlots, HoldTheBasesCodeWhereAClassHasNoneOfItsOwn)
{
    const qzIoDeviceDummy dummy;
    const qzIoDeviceBroadcast broadcast({});
    const qzIoDeviceFileStream file;
    const qzIoDeviceStdStreamProxy proxy(static_cast<std::istream*>(nullptr));
    for (const qzIoDevice* device :
         {static_cast<const qzIoDevice*>(&file), static_cast<const qzIoDevice*>(&proxy),
          static_cast<const qzIoDevice*>(&broadcast)}) {
        EXPECT_EQ(getSlot(device, kWriteBackToDevice), getSlot(&dummy, kWriteBackToDevice));
        EXPECT_NE(getSlot(device, kReadBytes), getSlot(&dummy, kReadBytes));
        EXPECT_NE(getSlot(device, kWriteBytes), getSlot(&dummy, kWriteBytes));
        EXPECT_NE(getSlot(device, kAtEnd), getSlot(&dummy, kAtEnd));
    }
    EXPECT_EQ(getSlot(&file, kHasDeviceError), getSlot(&dummy, kHasDeviceError));
    EXPECT_EQ(getSlot(&proxy, kHasDeviceError), getSlot(&dummy, kHasDeviceError));
    EXPECT_NE(getSlot(&broadcast, kHasDeviceError), getSlot(&dummy, kHasDeviceError));
    EXPECT_EQ(getSlot(&file, kGetDeviceErrorMsg), getSlot(&dummy, kGetDeviceErrorMsg));
    EXPECT_EQ(getSlot(&proxy, kGetDeviceErrorMsg), getSlot(&dummy, kGetDeviceErrorMsg));
    EXPECT_NE(getSlot(&broadcast, kGetDeviceErrorMsg), getSlot(&dummy, kGetDeviceErrorMsg));
}

TEST(qzIoDeviceFields, StandInTheirOrder)
{
    const qzIoDeviceDummy device;
    EXPECT_THAT(qzIoDeviceTestPeer::getOffsets(device), ElementsAre(8, 40, 44));
}

TEST(qzIoDeviceFields, OfAFileDeviceStandInTheirOrder)
{
    const qzIoDeviceFileStream device;
    EXPECT_THAT(qzIoDeviceFileStreamTestPeer::getOffsets(device), ElementsAre(48, 56, 88, 96));
}

TEST(qzIoDeviceFields, OfAProxyAreItsInputAndItsOutput)
{
    std::stringstream stream;
    const qzIoDeviceStdStreamProxy input(static_cast<std::istream*>(&stream));
    EXPECT_EQ(readField<std::istream*>(&input, 48), &stream);
    EXPECT_EQ(readField<std::ostream*>(&input, 56), nullptr);
    const qzIoDeviceStdStreamProxy output(static_cast<std::ostream*>(&stream));
    EXPECT_EQ(readField<std::istream*>(&output, 48), nullptr);
    EXPECT_EQ(readField<std::ostream*>(&output, 56), &stream);
}

TEST(qzIoDeviceFields, OfABroadcastAreItsCopyOfTheDevices)
{
    const std::vector<qzIoDevice*> devices(2);
    const qzIoDeviceBroadcast broadcast(devices);
    const auto* const begin = readField<const char*>(&broadcast, 48);
    EXPECT_NE(begin, reinterpret_cast<const char*>(devices.data()));
    EXPECT_EQ(readField<const char*>(&broadcast, 56) - begin, 16);
}

TEST(qzDataStreamFields, StandInTheirOrder)
{
    const qzDataStream stream;
    EXPECT_THAT(qzDataStreamTestPeer::getOffsets(stream),
                ElementsAre(0, 8, 24, 40, 56, 72, 88, 104, 136, 140));
}

TEST(qzDataStreamFields, HoldNoFunctionBeforeTheFirstDevice)
{
    qzDataStream stream;
    for (std::size_t offset = 8; offset < 104; offset += sizeof(long)) {
        EXPECT_EQ(readField<long>(&stream, offset), 0) << offset;
    }
    stream.setIoDevice(nullptr, qzDataStream::LittleEndian);
    for (std::size_t offset = 8; offset < 104; offset += 2 * sizeof(long)) {
        EXPECT_NE(readField<long>(&stream, offset), 0) << offset;
    }
}

TEST(qzIoDeviceDataWay, AtConstructionIsThatOfTheClass)
{
    std::stringstream stream;
    EXPECT_EQ(qzIoDeviceDummy().getSupportedDataWay(), qzIoDevice::DataWayWrite);
    EXPECT_EQ(qzIoDeviceBroadcast({}).getSupportedDataWay(), qzIoDevice::DataWayWrite);
    EXPECT_EQ(qzIoDeviceFileStream().getSupportedDataWay(), qzIoDevice::DataWayNone);
    EXPECT_EQ(qzIoDeviceStdStreamProxy(static_cast<std::istream*>(&stream)).getSupportedDataWay(),
              qzIoDevice::DataWayRead);
    EXPECT_EQ(qzIoDeviceStdStreamProxy(static_cast<std::ostream*>(&stream)).getSupportedDataWay(),
              qzIoDevice::DataWayWrite);
}

}  // namespace qz
