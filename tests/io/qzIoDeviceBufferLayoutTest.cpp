// SPDX-License-Identifier: MIT
#include <cstddef>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzIoDeviceByteCounter.h>
#include <qz/qzIoDeviceDummy.h>
#include <qz/qzIoDeviceFileStream.h>
#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>
#include <qz/qzIoDeviceWriteStreamModifier.h>

#include "io/PullFilter.h"
#include "io/SwapBufferPeer.h"
#include "io/VirtualSlots.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

// Programs that were built against an earlier release hold these objects by value and call their
// virtual functions by number.

namespace qz {

using ::testing::ElementsAre;
using Buffer = qzIoDeviceMemoryChunkAndSwapBuffer;
using Peer = qzIoDeviceMemoryChunkAndSwapBufferTestPeer;

static_assert(std::is_base_of_v<qzIoDeviceRandomAccess, Buffer>);
static_assert(std::is_base_of_v<qzIoDeviceDelegable, qzIoDeviceWriteStreamModifier>);
static_assert(!std::is_copy_constructible_v<Buffer> && !std::is_copy_assignable_v<Buffer>);
static_assert(!std::is_copy_constructible_v<Buffer::Chunk>);
static_assert(!std::is_copy_assignable_v<Buffer::Chunk>);
static_assert(!std::is_polymorphic_v<Buffer::Chunk>);
static_assert(!std::is_convertible_v<unsigned long, Buffer::Chunk>);
static_assert(!std::is_convertible_v<std::string, Buffer::Chunk>);
static_assert(sizeof(Buffer::Chunk) == 64);
static_assert(sizeof(Buffer) == 176);
static_assert(sizeof(Buffer::ClearMode) == 4);
static_assert(Buffer::ClearFreeChunks == 0);
static_assert(Buffer::ClearKeepChunks == 1);
static_assert(Buffer::ClearWipeChunks == 2);

namespace {

constexpr int kReadBytes = 2;
constexpr int kWriteBytes = 3;
constexpr int kAtEnd = 4;
constexpr int kHasDeviceError = 5;
constexpr int kGetDeviceErrorMsg = 6;
constexpr int kWriteBackToDevice = 7;
constexpr int kSeek = 8;
constexpr int kGetCurrentPos = 9;
constexpr int kBeginDelegation = 8;
constexpr int kEndDelegation = 9;
constexpr int kClearDelegation = 10;
constexpr int kBeginDelegationImpl = 11;
constexpr int kEndDelegationImpl = 12;
constexpr int kClearDelegationImpl = 13;

}  // namespace

class qzIoDeviceBufferLayout : public ::testing::Test {
protected:
    support::LibraryStart mLibrary;
    support::ScratchFolder mFolder;
    Buffer mBuffer{mFolder.getPath("swap"), 4, 5, 6};
    PullFilter mFilter;
    support::DeviceStub mDevice;
    qzIoDeviceWriteStreamModifier mModifier{&mFilter};
};

TEST_F(qzIoDeviceBufferLayout, OfABufferIsTheOrderOfItsFields)
{
    EXPECT_THAT(Peer::getOffsets(mBuffer),
                ElementsAre(48, 72, 80, 88, 96, 104, 136, 144, 152, 160, 168));
    EXPECT_EQ(readField<unsigned long>(&mBuffer, 72), 1U);
    EXPECT_EQ(readField<unsigned long>(&mBuffer, 80), 4U);
    EXPECT_EQ(readField<unsigned long>(&mBuffer, 88), 5U);
    EXPECT_EQ(readField<unsigned long>(&mBuffer, 96), 6U);
    EXPECT_EQ(readField<void*>(&mBuffer, 136), readField<void*>(&mBuffer, 48));
    EXPECT_EQ(readField<void*>(&mBuffer, 144), readField<void*>(&mBuffer, 48));
}

TEST_F(qzIoDeviceBufferLayout, OfABufferHasPositionAndCountAtTheEnd)
{
    mBuffer.writeBytes("12345", 5);
    EXPECT_EQ(readField<unsigned long>(&mBuffer, 72), 2U);
    EXPECT_NE(readField<void*>(&mBuffer, 136), readField<void*>(&mBuffer, 48));
    EXPECT_EQ(readField<void*>(&mBuffer, 144), readField<void*>(&mBuffer, 136));
    EXPECT_EQ(readField<unsigned long>(&mBuffer, 152), 4U);
    EXPECT_EQ(readField<unsigned long>(&mBuffer, 160), 1U);
    EXPECT_EQ(readField<unsigned long>(&mBuffer, 168), 5U);
}

TEST_F(qzIoDeviceBufferLayout, OfAChunkIsMemoryOrFile)
{
    const Buffer::Chunk memory(8);
    EXPECT_THAT(Peer::getOffsets(memory), ElementsAre(0, 8, 40, 48, 56));
    EXPECT_NE(readField<void*>(&memory, 0), nullptr);
    EXPECT_EQ(readField<void*>(&memory, 40), nullptr);
    EXPECT_TRUE(readField<std::size_t>(&memory, 16) == 0) << "the folder of a memory chunk";

    const Buffer::Chunk swap(mFolder.getPath());
    EXPECT_EQ(readField<void*>(&swap, 0), nullptr);
    EXPECT_NE(readField<void*>(&swap, 40), nullptr);
    EXPECT_EQ(readField<std::size_t>(&swap, 16), mFolder.getPath().size());
}

TEST_F(qzIoDeviceBufferLayout, OfAModifierIsTheOrderOfItsFields)
{
    EXPECT_EQ(readField<void*>(&mModifier, 64), &mFilter);
    const auto getVector = [this](std::size_t offset) {
        const char* const begin = readField<const char*>(&mModifier, offset);
        return std::pair(readField<const char*>(&mModifier, offset + 8) - begin,
                         readField<const char*>(&mModifier, offset + 16) - begin);
    };
    EXPECT_EQ(getVector(72), std::pair(0L, 5242880L));
    EXPECT_EQ(getVector(96), std::pair(1048576L, 1048576L));
    EXPECT_TRUE(readField<bool>(&mModifier, 128));
    EXPECT_FALSE(readField<bool>(&mModifier, 129));
    ASSERT_TRUE(mModifier.beginDelegation(&mDevice, qzIoDevice::DataWayWrite));
    EXPECT_EQ(readField<unsigned long>(&mModifier, 120), 2202009U);
    EXPECT_TRUE(readField<bool>(&mModifier, 128));
}

TEST_F(qzIoDeviceBufferLayout, HasTheWayAndTheCodeOfTheClass)
{
    EXPECT_EQ(mModifier.getType(), 769);
    EXPECT_EQ(mModifier.getSupportedDataWay(), qzIoDevice::DataWayWrite);
    EXPECT_EQ(mBuffer.getSupportedDataWay(), qzIoDevice::DataWayReadWrite);
}

TEST_F(qzIoDeviceBufferLayout, SlotsOfABufferAreAllButTheErrorQuestions)
{
    const qzIoDeviceFileStream file;
    for (const int own :
         {kReadBytes, kWriteBytes, kAtEnd, kWriteBackToDevice, kSeek, kGetCurrentPos})
        EXPECT_NE(getSlot(&mBuffer, own), getSlot(&file, own)) << own;
    for (const int base : {kHasDeviceError, kGetDeviceErrorMsg})
        EXPECT_EQ(getSlot(&mBuffer, base), getSlot(&file, base)) << base;

    EXPECT_EQ((callSlot<unsigned long, const char*, unsigned long>(&mBuffer, kWriteBytes, "ab", 2)),
              2U);
    EXPECT_EQ(callSlot<long>(&mBuffer, kGetCurrentPos), 2);
    EXPECT_TRUE(callSlot<bool>(&mBuffer, kAtEnd));
    EXPECT_TRUE(
        (callSlot<bool, long, Buffer::SeekStart>(&mBuffer, kSeek, -1, Buffer::SeekFromEnd)));
    char byte = 0;
    EXPECT_EQ((callSlot<unsigned long, char*, unsigned long>(&mBuffer, kReadBytes, &byte, 1)), 1U);
    EXPECT_EQ(byte, 'b');
    EXPECT_TRUE((callSlot<bool, qzIoDevice*, unsigned long*, std::vector<char>*>(
        &mBuffer, kWriteBackToDevice, &mDevice, nullptr, nullptr)));
    EXPECT_EQ(mDevice.getContent(), "ab");
}

TEST_F(qzIoDeviceBufferLayout, SlotsOfAModifierAreBytesEndAndHooks)
{
    const qzIoDeviceByteCounter counter;
    for (const int own : {kReadBytes, kWriteBytes, kAtEnd, kBeginDelegationImpl, kEndDelegationImpl,
                          kClearDelegationImpl})
        EXPECT_NE(getSlot(&mModifier, own), getSlot(&counter, own)) << own;
    for (const int base : {kHasDeviceError, kGetDeviceErrorMsg, kWriteBackToDevice,
                           kBeginDelegation, kEndDelegation, kClearDelegation})
        EXPECT_EQ(getSlot(&mModifier, base), getSlot(&counter, base)) << base;
}

TEST(qzIoDeviceBufferSlots, BeginWithTheDestructor)
{
    EXPECT_TRUE((isEndedBySlot<Buffer, unsigned long, unsigned long>(1, 4UL, 4UL)));
    EXPECT_TRUE((isEndedBySlot<qzIoDeviceWriteStreamModifier, qzIoDeviceDelegable*>(1, nullptr)));
}

}  // namespace qz
