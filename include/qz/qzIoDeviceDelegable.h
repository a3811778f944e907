// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>

namespace qz {

/// A filter in a chain of devices: for a while it passes bytes in one direction between its caller
/// and another device, its delegate.
///
/// A chain to write through A and B into a file is built by `b.beginDelegation(&file,
/// DataWayWrite)` and `a.beginDelegation(&b, DataWayWrite)`, and ended from the outside: A first,
/// then B, so that what A has buffered reaches B before B ends. An error at the far end is visible
/// at the near one while the delegation runs: check `good()` before the end. Nothing is owned: the
/// caller keeps all devices alive.
class QZ_API qzIoDeviceDelegable : public qzIoDevice {
public:
    ~qzIoDeviceDelegable() override;

    /// The code of the class.
    int getType() const { return mType; }

    /// True outside a read delegation; else when the delegate is at its end, or on an error.
    bool atEnd() const override;
    /// Whether this device or its delegate is in error.
    bool hasDeviceError() const override;
    /// The own text, then that of a delegate in error, joined by ", ".
    std::string getDeviceErrorMsg() const override;

    /// Begins to pass bytes; clears any earlier error first.
    /// @param delegate the next device, which must outlive the delegation; may be null for writing:
    ///     the device then only observes the bytes.
    /// @param way `DataWayRead` or `DataWayWrite`.
    /// @return false, with the reason as the device's error, when a delegation runs already, when
    ///     either device doesn't support `way`, or when the filter could not begin. Also false for
    ///     a delegate that is in error: the delegation runs then, and must be ended.
    virtual bool beginDelegation(qzIoDevice* delegate, DataWay way);
    /// Passes on what is buffered, and ends the delegation in any case.
    /// @return false when that failed, when this device is in error, or when none was running. An
    ///     error of the delegate alone doesn't count: check `good()` before, or the delegate.
    virtual bool endDelegation();
    /// Ends the delegation and discards what is buffered.
    virtual void clearDelegation();

protected:
    /// Makes an idle filter.
    /// @param way what it can do.
    /// @param type the code of the class.
    qzIoDeviceDelegable(DataWay way, int type);

    /// Prepares the filter; the delegate is set. @return false to refuse.
    virtual bool beginDelegationImpl() = 0;
    /// Passes on what is buffered; the delegate is still set. @return false for a failure.
    virtual bool endDelegationImpl() = 0;
    /// Discards what is buffered.
    virtual void clearDelegationImpl() = 0;

    /// The next device, or null.
    qzIoDevice* getDelegate() const { return mDelegate; }
    /// The direction of the running delegation, or `DataWayNone`.
    DataWay getDelegationWay() const { return mDelegationWay; }
    /// Whether a delegation in this direction is running, with a delegate.
    bool passes(DataWay way) const { return mDelegate != nullptr && mDelegationWay == way; }
    /// Puts the device in error for a read at the wrong time. @return 0
    unsigned long refuseRead();
    /// Puts the device in error for a write at the wrong time. @return 0
    unsigned long refuseWrite();

private:
    friend class qzIoDeviceDelegableTestPeer;

    QZ_LOCAL unsigned long refuse(const char* reason);

    qzIoDevice* mDelegate = nullptr;
    DataWay mDelegationWay = DataWayNone;
    int mType;
};

}  // namespace qz
