// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include <qz/qzExport.h>
#include <qz/qzIoDeviceDelegable.h>

namespace qz {

/// Calls a function every so many written bytes, before the bytes that reach the threshold go on.
class QZ_API qzIoDeviceSignaler : public qzIoDeviceDelegable {
public:
    /// The function, called on the thread that writes, with the current delegate or null.
    using Signal = std::function<void(qzIoDevice*)>;

    /// Makes an idle signaler.
    /// @param signal not owned; null for none. An empty function throws `std::bad_function_call`
    ///     from the write that calls it.
    /// @param threshold the number of bytes after which it is called, 0 for each write. The bytes
    ///     of a write beyond it are not counted for the next call.
    qzIoDeviceSignaler(Signal* signal, unsigned long threshold);
    ~qzIoDeviceSignaler() override;

    /// Replaces the function; null for none. Not owned. A call from inside the function has no
    /// effect after that function's end.
    void setSignal(Signal* signal) { mSignal = signal; }

    /// Reads from the delegate, without a signal; an error outside a read delegation.
    unsigned long readBytes(char* dst, unsigned long size) override;
    /// Calls the function if the threshold is reached, even in error, and passes the bytes on;
    /// without a delegate it returns `size`. A write from inside the function doesn't signal again.
    /// If the function throws, the bytes are not passed on.
    unsigned long writeBytes(const char* src, unsigned long size) override;

protected:
    bool beginDelegationImpl() override;  ///< Does nothing: the count of bytes goes on.
    bool endDelegationImpl() override;    ///< Does nothing.
    void clearDelegationImpl() override;  ///< Does nothing.

private:
    QZ_LOCAL void callSignal();

    Signal* mSignal;
    unsigned long mThreshold;
    unsigned long mBytesSinceSignal = 0;
};

}  // namespace qz
