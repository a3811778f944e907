// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <qz/qzIoDeviceDelegable.h>

namespace qz {

/// Looks into a filter.
class qzIoDeviceDelegableTestPeer {
public:
    static const qzIoDevice* getDelegate(const qzIoDeviceDelegable& filter)
    {
        return filter.mDelegate;
    }
    static qzIoDevice::DataWay getWay(const qzIoDeviceDelegable& filter)
    {
        return filter.mDelegationWay;
    }
    static bool isIdle(const qzIoDeviceDelegable& filter)
    {
        return getDelegate(filter) == nullptr && getWay(filter) == qzIoDevice::DataWayNone;
    }
};

/// A filter that records the calls of its hooks, with what they saw: "begin", "end" and "clear",
/// each with "+" while there is a delegate, and the way. Its hooks answer on order.
///
/// It moves bytes as a filter without a subject of its own does, and refuses at the wrong time.
class FilterStub : public qzIoDeviceDelegable {
public:
    static constexpr int kType = 0x340;

    explicit FilterStub(DataWay way = DataWayReadWrite) : qzIoDeviceDelegable(way, kType) {}

    unsigned long readBytes(char* dst, unsigned long size) override
    {
        return passes(DataWayRead) ? getDelegate()->readBytes(dst, size) : refuseRead();
    }
    unsigned long writeBytes(const char* src, unsigned long size) override
    {
        return passes(DataWayWrite) ? getDelegate()->writeBytes(src, size) : refuseWrite();
    }

    /// What `begin` and `end` answer from now on.
    void answer(bool isGood) { mAnswer = isGood; }
    /// Done inside `begin` and `end`.
    void setWork(std::function<void(FilterStub&)> work) { mWork = std::move(work); }
    /// What the hooks may do: hands bytes to the delegate.
    unsigned long handOn(const std::string& bytes)
    {
        return getDelegate()->writeBytes(bytes.data(), bytes.size());
    }

    const std::vector<std::string>& getCalls() const { return mCalls; }
    void clearCalls() { mCalls.clear(); }

protected:
    bool beginDelegationImpl() override { return record("begin"); }
    bool endDelegationImpl() override { return record("end"); }
    void clearDelegationImpl() override { note("clear"); }

private:
    void note(const char* call)
    {
        mCalls.push_back(call + std::string(getDelegate() != nullptr ? "+" : "") +
                         std::to_string(static_cast<int>(getDelegationWay())));
    }
    bool record(const char* call)
    {
        note(call);
        if (mWork) mWork(*this);
        return mAnswer;
    }

    bool mAnswer = true;
    std::function<void(FilterStub&)> mWork;
    std::vector<std::string> mCalls;
};

}  // namespace qz
