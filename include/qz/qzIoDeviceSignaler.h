#pragma once

#include <functional>

#include <qz/qzExport.h>
#include <qz/qzIoDeviceDelegable.h>

namespace qz {

/// Calls a function every so many written bytes, before the bytes that reach the threshold go on.
class QZ_API qzIoDeviceSignaler : public qzIoDeviceDelegable {
public:
    /// What is called, on the thread that writes, with the present delegate or null.
    using Signal = std::function<void(qzIoDevice*)>;

    /// Makes an idle signaler.
    /// @param signal not owned; null for none.
    /// @param threshold the bytes after which it is called; those of a write beyond it don't carry
    ///     over to the next time.
    qzIoDeviceSignaler(Signal* signal, unsigned long threshold);
    ~qzIoDeviceSignaler() override;

    /// Replaces the function; null for none. Not owned.
    void setSignal(Signal* signal) { mSignal = signal; }

    /// Reads from the delegate, without a signal; an error outside a read delegation.
    unsigned long readBytes(char* dst, unsigned long size) override;
    /// Signals when it is time, whether or not there is an error, and hands the bytes on; without a
    /// delegate it takes them all. A write from inside the function doesn't signal again.
    unsigned long writeBytes(const char* src, unsigned long size) override;

protected:
    bool beginDelegationImpl() override;  ///< Does nothing: the count of bytes goes on.
    bool endDelegationImpl() override;    ///< Does nothing.
    void clearDelegationImpl() override;  ///< Does nothing.

private:
    void callSignal();

    Signal* mSignal;
    unsigned long mThreshold;
    unsigned long mBytesSinceSignal = 0;
};

}  // namespace qz
