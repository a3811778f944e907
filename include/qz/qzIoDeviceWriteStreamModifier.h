// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include <qz/qzExport.h>
#include <qz/qzIoDeviceDelegable.h>

namespace qz {

/// Puts a filter that can only be read, such as a decoder, into a chain that is written.
///
/// What is written to the modifier is kept in a buffer of pending bytes. The filter reads these
/// bytes from the modifier, and what it delivers is written to the modifier's delegate. The filter
/// runs on the writer's thread, inside `writeBytes` and `endDelegation`:
/// @code
/// Decoder decoder;  // derived from qzIoDeviceDelegable; its readBytes reads from its delegate
/// qzIoDeviceWriteStreamModifier modifier(&decoder);
/// modifier.beginDelegation(&file, qzIoDevice::DataWayWrite);
/// modifier.writeBytes(data, size);
/// if (!modifier.endDelegation()) std::cerr << modifier.getDeviceErrorMsg() << '\n';
/// @endcode
/// The filter begins when 2202009 bytes are pending, or at the end of the delegation if there were
/// never as many. In between it is called only while at least as many are pending; a single call
/// that takes more is then served one byte at a time, so that it doesn't see a false end. At the
/// end of the delegation it is called until it returns 0.
///
/// An error of the filter is seen only by what the filter returns: when it must fail the chain, it
/// returns false from `endDelegationImpl`.
class QZ_API qzIoDeviceWriteStreamModifier : public qzIoDeviceDelegable {
public:
    /// Makes an idle modifier. This takes 6 MiB of memory.
    /// @param filter the filter to read from; not owned. It must support reading, and must exist
    ///     as long as the modifier is used. A null filter fails as one that refuses to begin.
    explicit qzIoDeviceWriteStreamModifier(qzIoDeviceDelegable* filter);
    /// Frees the buffers. A delegation that is still running ends without the filter's knowledge.
    ~qzIoDeviceWriteStreamModifier() override;

    /// For the filter: takes pending bytes.
    /// @return 0 when none are pending, which is the end of the input; 1 when fewer than 2202009
    ///     bytes are pending before the end of the delegation; else what was asked for, as far as
    ///     it is there.
    unsigned long readBytes(char* dst, unsigned long size) override;
    /// For the caller: adds pending bytes, and runs the filter if they are enough. An error without
    /// a write delegation or without a delegate.
    /// @return `size`; 0 for a device in error, also when the filter or the delegate fails during
    ///     this call.
    unsigned long writeBytes(const char* src, unsigned long size) override;
    /// Runs the filter as long as enough bytes are pending and it delivers. Does nothing outside a
    /// write delegation and for a device in error.
    void processPendingData();
    /// Always false: the filter learns of the end by a read that returns 0.
    bool atEnd() const override;

protected:
    bool beginDelegationImpl() override;  ///< Drops the input that an earlier delegation left.
    /// Runs the filter to its end, and ends it. A filter that was not begun here, or that refused
    /// to begin, isn't ended: it may be working elsewhere.
    bool endDelegationImpl() override;
    void clearDelegationImpl() override;  ///< Does nothing.

private:
    friend class qzIoDeviceWriteStreamModifierTestPeer;

    QZ_LOCAL unsigned long getPendingSize() const { return mPending.size() - mConsumed; }
    QZ_LOCAL void addPending(const char* src, unsigned long size);
    QZ_LOCAL void dropConsumed();
    QZ_LOCAL bool beginFilter();
    QZ_LOCAL bool passOneBurst();

    qzIoDeviceDelegable* mFilter;
    std::vector<char> mPending;  // of which the filter has read the first mConsumed bytes
    std::vector<char> mOutput;   // receives what the filter delivers
    unsigned long mThreshold = 0;
    bool mIsFilterToBegin = true;
    bool mIsAtEnd = false;
    unsigned long mConsumed = 0;
};

}  // namespace qz
