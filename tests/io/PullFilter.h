// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <qz/qzIoDeviceDelegable.h>

namespace qz {

/// Looks into a modifier.
class qzIoDeviceWriteStreamModifierTestPeer {
public:
    template <typename Modifier>
    static unsigned long getPendingSize(const Modifier& modifier)
    {
        return modifier.getPendingSize();
    }
    template <typename Modifier>
    static unsigned long getPendingCapacity(const Modifier& modifier)
    {
        return modifier.mPending.capacity();
    }
};

/// A filter that is read: it delivers each byte that it takes `copies` times.
///
/// It records its hooks, "begin", "end" and "clear", and each of its reads.
class PullFilter : public qzIoDeviceDelegable {
public:
    struct Behaviour {
        const char* name = "Plain";
        std::vector<unsigned long> sizes = {65536};  ///< Asked of the delegate, in turn.
        unsigned long copies = 1;
        bool fillsItsOutput = false;      ///< Else one read of the delegate a read.
        unsigned long stopsAfter = ~0UL;  ///< Then its reads return 0.
    };

    explicit PullFilter(Behaviour behaviour)
        : qzIoDeviceDelegable(DataWayRead, 0x340), mBehaviour(std::move(behaviour))
    {
    }
    PullFilter() : PullFilter(Behaviour{}) {}

    unsigned long readBytes(char* dst, unsigned long size) override
    {
        if (!passes(DataWayRead)) return refuseRead();
        mCalls.push_back("read");
        unsigned long done = 0;
        do {
            const unsigned long got = pull((size - done) / mBehaviour.copies);
            if (got == 0) break;
            deliver(dst + done, got);
            done += got * mBehaviour.copies;
        } while (mBehaviour.fillsItsOutput);
        return done;
    }
    unsigned long writeBytes(const char* /*src*/, unsigned long /*size*/) override
    {
        return refuseWrite();
    }

    void refuseBegin() { mBegins = false; }
    void refuseEnd() { mEnds = false; }
    bool isIdle() const { return getDelegationWay() == DataWayNone; }
    /// The data way of the delegate when it was given.
    DataWay getWayOfDelegate() const { return mWayOfDelegate; }
    const std::vector<std::string>& getCalls() const { return mCalls; }
    /// What the delegate answered, in order.
    const std::vector<unsigned long>& getPulled() const { return mPulled; }

protected:
    bool beginDelegationImpl() override
    {
        mCalls.push_back("begin");
        mWayOfDelegate = getDelegate()->getSupportedDataWay();
        return mBegins;
    }
    bool endDelegationImpl() override
    {
        mCalls.push_back("end");
        return mEnds;
    }
    void clearDelegationImpl() override { mCalls.push_back("clear"); }

private:
    unsigned long pull(unsigned long mostBytes)
    {
        const unsigned long asked = mBehaviour.sizes[mNextSize++ % mBehaviour.sizes.size()];
        const unsigned long left = mBehaviour.stopsAfter - mTakenInAll;
        const unsigned long size = std::min({asked, mostBytes, left});
        if (size == 0) return 0;
        if (mTaken.size() < size) mTaken.resize(size);
        const unsigned long got = getDelegate()->readBytes(mTaken.data(), size);
        mPulled.push_back(got);
        mTakenInAll += got;
        return got;
    }

    // Without calls in its loops, which take minutes with a sanitizer.
    void deliver(char* dst, unsigned long size) const
    {
        const char* const taken = mTaken.data();
        const unsigned long copies = mBehaviour.copies;
        if (copies == 1) mTaken.copy(dst, size);
        for (unsigned long i = 0; copies > 1 && i < size; ++i) {
            for (unsigned long copy = 0; copy < copies; ++copy)
                *dst++ = taken[i];
        }
    }

    Behaviour mBehaviour;
    bool mBegins = true;
    bool mEnds = true;
    DataWay mWayOfDelegate = DataWayNone;
    std::vector<std::string> mCalls;
    std::vector<unsigned long> mPulled;
    std::string mTaken;
    std::size_t mNextSize = 0;
    unsigned long mTakenInAll = 0;
};

}  // namespace qz
