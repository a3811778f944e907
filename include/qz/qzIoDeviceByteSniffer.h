// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>
#include <qz/qzIoDeviceDelegable.h>

namespace qz {

/// Copies all bytes that pass to another device.
class QZ_API qzIoDeviceByteSniffer : public qzIoDeviceDelegable {
public:
    /// Makes an idle sniffer that writes to `destination`, which is not owned and must outlive this
    /// device.
    explicit qzIoDeviceByteSniffer(qzIoDevice& destination);
    ~qzIoDeviceByteSniffer() override;

    /// Reads from the delegate and writes the bytes to the destination; an error outside a read
    /// delegation. @return 0 when the destination writes fewer: the bytes are lost for the caller.
    unsigned long readBytes(char* dst, unsigned long size) override;
    /// Writes to the destination and then to the delegate, which gets nothing when the destination
    /// writes fewer; an error outside a write delegation with a delegate.
    unsigned long writeBytes(const char* src, unsigned long size) override;
    /// Whether this device, its delegate or the destination is in error.
    bool hasDeviceError() const override;
    /// The texts of those in error, joined by ", ".
    std::string getDeviceErrorMsg() const override;

protected:
    bool beginDelegationImpl() override;  ///< Does nothing.
    bool endDelegationImpl() override;    ///< Does nothing.
    void clearDelegationImpl() override;  ///< Does nothing.

private:
    QZ_LOCAL bool copyToDestination(const char* bytes, unsigned long size);

    qzIoDevice* mDestination;
};

}  // namespace qz
