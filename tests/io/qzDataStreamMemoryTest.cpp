// SPDX-License-Identifier: MIT
#include <qz/qzDataStream.h>

#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzIoDeviceStdStreamProxy.h>

#include "support/Allocations.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"

namespace qz {

using support::DeviceStub;

namespace {

constexpr auto kLittle = qzDataStream::LittleEndian;
constexpr unsigned long kMebibyte = 1UL << 20U;

}  // namespace

// --- A count that lies

class qzDataStreamDamagedCount : public ::testing::TestWithParam<unsigned int> {
protected:
    // Reads a value whose count is the parameter and of which only `size` bytes come.
    template <typename Bytes>
    void expectFailureAfter(unsigned long size)
    {
        std::string content = {'\0', '\0', '\0', '\0'};
        for (int i = 0; i < 4; ++i)
            content[static_cast<std::size_t>(i)] = static_cast<char>(GetParam() >> (8 * i));
        content.append(size, 'x');
        std::istringstream source(content);
        qzIoDeviceStdStreamProxy device(&source);
        qzDataStream stream(device, kLittle);
        Bytes bytes{'o', 'l', 'd'};
        const support::AllocationCounter counter;
        stream >> bytes;
        EXPECT_LE(counter.getBytes(), 4 * (size + kMebibyte)) << "more than the bytes that came";
        EXPECT_FALSE(stream.isOk());
        EXPECT_EQ(stream.getErrorMsg(), "");
        EXPECT_TRUE(bytes.empty());
        EXPECT_LT(bytes.capacity(), 100U);
    }

    support::LibraryStart mLibrary;
};

TEST_P(qzDataStreamDamagedCount, TakesNoMemoryForAString)
{
    expectFailureAfter<std::string>(0);
    expectFailureAfter<std::string>(5);
    expectFailureAfter<std::string>(3 * kMebibyte + 1);
}

TEST_P(qzDataStreamDamagedCount, TakesNoMemoryForABytesVector)
{
    expectFailureAfter<std::vector<char>>(0);
    expectFailureAfter<std::vector<char>>(5);
    expectFailureAfter<std::vector<char>>(3 * kMebibyte + 1);
}

INSTANTIATE_TEST_SUITE_P(Counts, qzDataStreamDamagedCount,
                         ::testing::Values(100000000, 0x80000000, 0xFFFFFFFF));

TEST(qzDataStreamLongValue, IsReadInSteps)
{
    const support::LibraryStart library;
    for (const unsigned long size :
         {kMebibyte - 1, kMebibyte, kMebibyte + 1, 2 * kMebibyte, 5 * kMebibyte + 3}) {
        DeviceStub device;
        std::string written(size, 'x');
        written[size / 2] = 'm';
        written.back() = 'e';
        qzDataStream stream(device, kLittle);
        stream << written;
        device.seek(0, DeviceStub::SeekFromBegin);
        device.clearCalls();
        std::string text(size % 2 == 0 ? size : 7, 'o');  // once of the right size already
        stream >> text;
        EXPECT_TRUE(stream.isOk());
        EXPECT_EQ(text, written);
        EXPECT_EQ(device.getCalls().size(), 1 + (size + kMebibyte - 1) / kMebibyte);
    }
}

// The capacity at least doubles, else the copies would take time in proportion to the square.
TEST(qzDataStreamLongValue, GrowsByDoubling)
{
    const support::LibraryStart library;
    std::string content = {'\0', '\0', '\0', '\4'};
    content.append(64 * kMebibyte, 'x');
    std::istringstream source(content);
    qzIoDeviceStdStreamProxy device(&source);
    qzDataStream stream(device, kLittle);
    std::vector<char> bytes;
    const support::AllocationCounter counter;
    stream >> bytes;
    EXPECT_LE(counter.getCount(), 10U);
    EXPECT_EQ(bytes.size(), 64 * kMebibyte);
}

// --- No memory

class qzDataStreamNoMemory : public ::testing::Test {
protected:
    // Reads 3,000,000 bytes, which is three steps, with each allocation failing in turn.
    template <typename Bytes>
    void expectBadAllocFromTheReadAlone()
    {
        std::istringstream source(std::string("\xC0\xC6\x2D\0", 4) + std::string(3000000, 'x'));
        qzIoDeviceStdStreamProxy device(&source);
        qzDataStream stream;
        Bytes bytes{'o', 'l', 'd'};
        const std::size_t failures = support::failEachAllocation(
            [&] {
                bytes = {'o', 'l', 'd'};
                device.seek(0, qzIoDeviceStdStreamProxy::SeekFromBegin);
                stream.setIoDevice(&device, kLittle);
                stream >> bytes;
            },
            [&](const support::AllocationFailure& failure) {
                EXPECT_TRUE(failure.threwBadAlloc);
                EXPECT_TRUE(bytes.empty());
                EXPECT_FALSE(stream.isOk()) << "the value is lost";
                EXPECT_TRUE(device.good());
            });
        EXPECT_GE(failures, 2U);
        EXPECT_EQ(bytes, Bytes(3000000, 'x'));
        EXPECT_TRUE(stream.isOk());
    }

    support::LibraryStart mLibrary;
};

TEST_F(qzDataStreamNoMemory, EndsTheOkStateAlsoWhenTheWordsOfAFailureFindNone)
{
    class OnlyCounts : public DeviceStub {
    public:
        unsigned long writeBytes(const char* /*src*/, unsigned long size) override
        {
            return size == 4 ? size : 0;
        }
    };
    OnlyCounts device;
    qzDataStream stream;
    const std::size_t failures = support::failEachAllocation(
        [&] {
            stream.setIoDevice(&device, kLittle);
            stream << "abc";
        },
        [&](const support::AllocationFailure& /*failure*/) { EXPECT_FALSE(stream.isOk()); });
    EXPECT_GE(failures, 1U);
    EXPECT_FALSE(stream.isOk());
}

TEST_F(qzDataStreamNoMemory, PassesThroughTheReadOfAString)
{
    expectBadAllocFromTheReadAlone<std::string>();
}

TEST_F(qzDataStreamNoMemory, PassesThroughTheReadOfABytesVector)
{
    expectBadAllocFromTheReadAlone<std::vector<char>>();
}

}  // namespace qz
