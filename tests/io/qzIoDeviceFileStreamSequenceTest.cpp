// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceFileStream.h>

#include <algorithm>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "io/FileDeviceTrial.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/ScratchFolder.h"

namespace qz {

namespace {

constexpr unsigned kSeeds[] = {1,   2,   3,   5,   8,    13,   21,   34,   55,    89,    144,
                               233, 377, 610, 987, 1597, 2584, 4181, 6765, 10946, 17711, 28657};

std::string makeContent(std::size_t size)
{
    std::string content(size, ' ');
    for (std::size_t i = 0; i < size; ++i) {
        content[i] = static_cast<char>('A' + i % 57);
    }
    return content;
}

}  // namespace

class qzIoDeviceFileStreamSequence : public ::testing::TestWithParam<unsigned> {
protected:
    // Two equal files to begin with.
    void startWith(const std::string& content) const
    {
        mFolder.write("device", content);
        mFolder.write("plain", content);
    }

    // Runs `stepCount` operations of chance, and stops at the first difference.
    std::string findDifference(int stepCount)
    {
        static const std::size_t bufferSize = FileDeviceTrial::measureBuffer(mFolder.getPath());
        FileDeviceTrial trial(mFolder.getPath(), bufferSize,
                              [this](unsigned long bound) { return choose(bound); });
        for (int i = 0; i < stepCount; ++i) {
            const std::string difference = trial.step();
            if (!difference.empty()) return "step " + std::to_string(i) + ", " + difference;
        }
        return trial.finish();
    }

    unsigned long choose(unsigned long bound)
    {
        return std::uniform_int_distribution<unsigned long>(0, bound - 1)(mRandom);
    }

    support::LibraryStart mLibrary;
    support::ScratchFolder mFolder;
    std::mt19937 mRandom{GetParam()};
};

TEST_P(qzIoDeviceFileStreamSequence, EqualsThePlainFormFromNoFileOn)
{
    EXPECT_EQ(findDifference(1500), "") << "seed " << GetParam();
}

TEST_P(qzIoDeviceFileStreamSequence, EqualsThePlainFormOverAFile)
{
    startWith(makeContent(50000));
    EXPECT_EQ(findDifference(1500), "") << "seed " << GetParam();
}

TEST_P(qzIoDeviceFileStreamSequence, EqualsThePlainFormWhenTheDiskFillsUp)
{
    startWith(makeContent(3000));
    const support::FileSizeLimit limit(5000 + choose(40000));
    EXPECT_EQ(findDifference(1500), "") << "seed " << GetParam();
}

// What the standard stream makes of a sequence is one thing; that it is right is another.
TEST_P(qzIoDeviceFileStreamSequence, ReadsAndOverwritesAsBytesInMemoryDo)
{
    std::string bytes = makeContent(20000);
    qzIoDeviceFileStream device(mFolder.write("file", bytes), qzIoDevice::DataWayReadWrite, false);
    unsigned long position = 0;
    for (int i = 0; i < 3000; ++i) {
        const unsigned long size = choose(8) == 0 ? choose(20000) : choose(300);
        const unsigned long ahead = bytes.size() - position;
        const std::string context = "seed " + std::to_string(GetParam()) + ", step " +
                                    std::to_string(i) + ", size " + std::to_string(size);
        switch (choose(4)) {
            case 0: {
                std::string got(size, '?');
                got.resize(device.readBytes(got.data(), size));
                ASSERT_EQ(got, bytes.substr(position, size)) << context;
                position += got.size();
                // A read that met the end wants a seek before a write.
                if (got.size() < size) device.seek(0, qzIoDeviceFileStream::SeekFromCurrent);
                break;
            }
            case 1: {
                const std::string written(size, static_cast<char>('a' + i % 26));
                ASSERT_EQ(device.writeBytes(written.data(), size), size) << context;
                bytes.replace(position, std::min(size, ahead), written);
                position += size;
                break;
            }
            case 2:
                position = choose(bytes.size() + 1);
                ASSERT_TRUE(
                    device.seek(static_cast<long>(position), qzIoDeviceFileStream::SeekFromBegin))
                    << context;
                break;
            default:
                ASSERT_EQ(device.atEnd(), ahead == 0) << context;
        }
        ASSERT_EQ(device.getCurrentPos(), static_cast<long>(position)) << context;
    }
    EXPECT_TRUE(device.close());
    EXPECT_EQ(mFolder.read("file"), bytes);
}

INSTANTIATE_TEST_SUITE_P(Seeds, qzIoDeviceFileStreamSequence, ::testing::ValuesIn(kSeeds),
                         ::testing::PrintToStringParamName());

}  // namespace qz
