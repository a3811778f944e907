// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzExport.h>
#include <qz/qzIoDeviceDelegable.h>

namespace qz {

/// Counts the bytes that pass. Writes are counted without a delegation, too.
///
/// @code
/// qzIoDeviceByteCounter counter;
/// counter.beginDelegation(&file, qzIoDevice::DataWayWrite);
/// counter << "some text";
/// counter.endDelegation();
/// const unsigned long size = counter.getWrittenBytes();
/// @endcode
class QZ_API qzIoDeviceByteCounter : public qzIoDeviceDelegable {
public:
    /// Makes an idle counter at 0.
    qzIoDeviceByteCounter();
    ~qzIoDeviceByteCounter() override;

    /// Reads from the delegate and counts what came; an error outside a read delegation.
    unsigned long readBytes(char* dst, unsigned long size) override;
    /// Counts `size`, even if the delegate then refuses the bytes, and passes them on; without a
    /// delegate it returns `size`.
    unsigned long writeBytes(const char* src, unsigned long size) override;

    /// The bytes written in the current or last delegation.
    unsigned long getWrittenBytes() const { return upToDateWriteEnd(); }
    /// The bytes read in the current or last delegation.
    unsigned long getReadBytes() const { return mReadCount; }
    /// The larger of the bytes written and of the write end that was stored.
    unsigned long upToDateWriteEnd() const;
    /// Stores `upToDateWriteEnd()` as the write end.
    void updateWriteEnd();

protected:
    bool beginDelegationImpl() override;  ///< Sets all counts to 0.
    bool endDelegationImpl() override;    ///< Stores the write end.
    void clearDelegationImpl() override;  ///< Keeps the counts.

private:
    unsigned long mWrittenCount = 0;
    unsigned long mWriteEnd = 0;
    unsigned long mReadCount = 0;
};

}  // namespace qz
