// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzIoDeviceFileStream.h>

#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz {

/// A file device, closed at first, over a file of a scratch folder.
class FileDeviceFixture : public ::testing::Test {
protected:
    static constexpr auto kNone = qzIoDevice::DataWayNone;
    static constexpr auto kRead = qzIoDevice::DataWayRead;
    static constexpr auto kWrite = qzIoDevice::DataWayWrite;
    static constexpr auto kBoth = qzIoDevice::DataWayReadWrite;
    static constexpr auto kBegin = qzIoDeviceRandomAccess::SeekFromBegin;
    static constexpr auto kCurrent = qzIoDeviceRandomAccess::SeekFromCurrent;
    static constexpr auto kEnd = qzIoDeviceRandomAccess::SeekFromEnd;

    /// Opens the device over a new file with this content.
    void openOver(const std::string& content, qzIoDevice::DataWay way)
    {
        mFolder.write("file", content);
        ASSERT_TRUE(mDevice.open(mPath, way, /*truncate=*/false));
    }
    std::string read(unsigned long size)
    {
        std::string bytes(size, '?');
        bytes.resize(mDevice.readBytes(bytes.data(), size));
        return bytes;
    }
    unsigned long write(const std::string& bytes)
    {
        return mDevice.writeBytes(bytes.data(), bytes.size());
    }
    /// What the file holds, without what the device still keeps in its buffer.
    std::string onDisk() const { return mFolder.read("file"); }
    std::string error() const { return mDevice.getDeviceErrorMsg(); }

    support::LibraryStart mLibrary;
    support::ScratchFolder mFolder;
    std::string mPath = mFolder.getPath("file");
    qzIoDeviceFileStream mDevice;
};

/// The same for the tests of the device itself.
class qzIoDeviceFileStreamTest : public FileDeviceFixture {
protected:
    static constexpr auto kOutside = static_cast<qzIoDeviceRandomAccess::SeekStart>(3);
};

}  // namespace qz
