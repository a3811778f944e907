// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzIoDeviceByteCounter.h>
#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>
#include <qz/qzIoDeviceWriteStreamModifier.h>

namespace recorder {

/// Collects a recording in memory, and in a swap file when the memory is used up. All of it takes
/// 16 MiB of memory at most, however long the recording is.
class RecordBuffer {
public:
    /// @param swapFolder the folder for the swap file, in UTF-8.
    explicit RecordBuffer(const std::string& swapFolder);
    ~RecordBuffer();
    RecordBuffer(const RecordBuffer&) = delete;
    RecordBuffer& operator=(const RecordBuffer&) = delete;

    /// What to write to.
    qz::qzIoDevice& editDevice() { return mModifier; }
    /// Ends the collection and writes all of it to a device.
    /// @return false if something was lost on the way.
    bool moveTo(qz::qzIoDevice& device);
    /// Why the memory or the swap file couldn't take everything; empty if they could.
    std::string getError() const { return mBuffer.getDeviceErrorMsg(); }

private:
    bool mIsOpen = false;
    qz::qzIoDeviceMemoryChunkAndSwapBuffer mBuffer;
    // A filter that reads, and so needs the modifier to take part in a chain that is written.
    qz::qzIoDeviceByteCounter mCounter;
    qz::qzIoDeviceWriteStreamModifier mModifier{&mCounter};
};

}  // namespace recorder
