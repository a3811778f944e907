// SPDX-License-Identifier: MIT
#pragma once

#include <iostream>
#include <string>

#include <qz/qzDataStream.h>
#include <qz/qzIoDevice.h>
#include <qz/qzIoDeviceFileStream.h>

#include "io/VirtualSlots.h"

namespace qz {

/// Looks into a device.
class qzIoDeviceTestPeer {
public:
    static Offsets getOffsets(const qzIoDevice& device)
    {
        return {findOffset(device, device.mErrorMessage), findOffset(device, device.mDataWay),
                findOffset(device, device.mError)};
    }
};

/// Looks into a file device.
class qzIoDeviceFileStreamTestPeer {
public:
    static Offsets getOffsets(const qzIoDeviceFileStream& device)
    {
        return {findOffset(device, device.mStream), findOffset(device, device.mFilePath),
                findOffset(device, device.mPosition), findOffset(device, device.mIsOpen)};
    }
    static bool hasStream(const qzIoDeviceFileStream& device) { return device.mStream != nullptr; }
    /// The stream of an open device.
    static std::iostream& getStream(qzIoDeviceFileStream& device)
    {
        // The stream's class is private; its standard base is its first part.
        return *reinterpret_cast<std::iostream*>(device.mStream.get());
    }
    /// Puts a buffer of the test in the place of the open file.
    static void replaceBuffer(qzIoDeviceFileStream& device, std::streambuf* buffer)
    {
        getStream(device).std::ios::rdbuf(buffer);
    }
};

/// Looks into a data stream.
class qzDataStreamTestPeer {
public:
    static Offsets getOffsets(const qzDataStream& stream)
    {
        return {findOffset(stream, stream.mDevice),      findOffset(stream, stream.mWrite2Bytes),
                findOffset(stream, stream.mWrite4Bytes), findOffset(stream, stream.mWrite8Bytes),
                findOffset(stream, stream.mRead2Bytes),  findOffset(stream, stream.mRead4Bytes),
                findOffset(stream, stream.mRead8Bytes),  findOffset(stream, stream.mErrorText),
                findOffset(stream, stream.mEndianness),  findOffset(stream, stream.mOk)};
    }
    /// Gives the stream the text that none of its own operations gives it.
    static void setErrorText(qzDataStream& stream, const std::string& text)
    {
        stream.mErrorText = text;
    }
};

}  // namespace qz
