// SPDX-License-Identifier: MIT
#pragma once

#include <limits>
#include <string>
#include <vector>

#include <qz/qzIoDevice.h>

namespace qz::support {

/// A growing device in memory that records every call and fails on order.
class DeviceStub : public qzIoDeviceRandomAccess {
public:
    /// A recorded call: "read 8 -> 3", "write 4 -> 4", "seek 0 from 2 -> 1", "atEnd -> 0".
    using Calls = std::vector<std::string>;

    explicit DeviceStub(std::string content = {}, DataWay way = DataWayReadWrite);

    /// From now on moves this many bytes, reads and writes together, and then no more.
    void stopAfter(unsigned long bytes) { mBytesLeft = bytes; }
    /// From now on moves at most this many bytes a call.
    void shortenTo(unsigned long bytes) { mMostBytesPerCall = bytes; }
    /// Sets the device's error for each call that moves fewer bytes than it should; empty, the
    /// default, for no error.
    void setErrorOfShortMoves(const std::string& message) { mErrorOfShortMoves = message; }
    /// Makes every later seek fail without an error.
    void refuseSeeks() { mRefusesSeeks = true; }

    const std::string& getContent() const { return mContent; }
    const Calls& getCalls() const { return mCalls; }
    void clearCalls() { mCalls.clear(); }

    unsigned long readBytes(char* dst, unsigned long size) override;
    unsigned long writeBytes(const char* src, unsigned long size) override;
    bool atEnd() const override;
    bool seek(long offset, SeekStart start) override;
    long getCurrentPos() const override;

private:
    unsigned long allow(unsigned long available);
    unsigned long record(const char* what, unsigned long size, unsigned long moved);

    std::string mContent;
    unsigned long mPosition = 0;
    unsigned long mBytesLeft = std::numeric_limits<unsigned long>::max();
    unsigned long mMostBytesPerCall = std::numeric_limits<unsigned long>::max();
    std::string mErrorOfShortMoves;
    bool mRefusesSeeks = false;
    mutable Calls mCalls;
};

}  // namespace qz::support
