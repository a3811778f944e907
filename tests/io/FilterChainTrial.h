// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <qz/qzIoDeviceByteCounter.h>
#include <qz/qzIoDeviceByteSniffer.h>
#include <qz/qzIoDeviceKeepLastBytes.h>
#include <qz/qzIoDeviceReadBytesLimiter.h>
#include <qz/qzIoDeviceSignaler.h>

#include "PlainFilters.h"

namespace qz {

/// Bytes with room for so many; a write that finds too little of it breaks the device.
class RoomyDevice : public qzIoDeviceRandomAccess {
public:
    RoomyDevice(DataWay way, std::string content, std::size_t room)
        : qzIoDeviceRandomAccess(way), mContent(std::move(content)), mRoom(room)
    {
    }
    unsigned long readBytes(char* dst, unsigned long size) override
    {
        const std::size_t count = good() ? mContent.copy(dst, size, mPosition) : 0;
        mPosition += count;
        return count;
    }
    unsigned long writeBytes(const char* src, unsigned long size) override
    {
        if (!good()) return 0;
        const std::size_t count = std::min(size, mRoom);
        mContent.append(src, count);
        mRoom -= count;
        if (count < size) setDeviceError("full");
        return count;
    }
    bool atEnd() const override { return mPosition == mContent.size(); }
    bool seek(long offset, SeekStart /*start*/) override
    {
        if (!good() || offset > static_cast<long>(mContent.size())) return false;
        mPosition = static_cast<std::size_t>(offset);
        return true;
    }
    long getCurrentPos() const override { return static_cast<long>(mPosition); }
    const std::string& getContent() const { return mContent; }

private:
    std::string mContent;
    std::size_t mRoom;
    std::size_t mPosition = 0;
};

/// The ends of all chains.
struct ChainEnds {
    RoomyDevice both{qzIoDevice::DataWayReadWrite, "what stands in it already", 300};
    RoomyDevice source{qzIoDevice::DataWayRead, std::string(60, 's') + "and a tail", 0};
    RoomyDevice sink{qzIoDevice::DataWayWrite, "", 100};
    RoomyDevice copy{qzIoDevice::DataWayReadWrite, "", 200};

    std::vector<RoomyDevice*> getAll() { return {&both, &source, &sink, &copy}; }
};

/// Builds chains of chance from a few devices, uses and ends them, does the same to their plain
/// forms, and tells the first difference.
class FilterChainTrial {
public:
    /// Chooses a number below `bound`: at random, or from bytes that a fuzzer made up.
    using Choose = std::function<unsigned long(unsigned long bound)>;

    explicit FilterChainTrial(Choose choose) : mChoose(std::move(choose)) {}

    /// Does one operation of chance on both. @return the difference in words; empty for none.
    std::string step()
    {
        mDifference.clear();
        mStep.str({});
        doSomething();
        for (std::size_t i = 0; i < kNodes; ++i)
            compareNode(i);
        compareEnds();
        for (std::size_t i = 0; i < 3; ++i)
            compareCounts(mCounters[i], mPlainCounters[i]);
        compare("signals", mSignals, mPlainSignaler.getSignals());
        return mDifference;
    }

private:
    static constexpr std::size_t kFilters = 5;
    static constexpr std::size_t kNodes = kFilters + 6;

    template <typename Value>
    void compare(const std::string& what, const Value& got, const Value& plain)
    {
        if (got == plain || !mDifference.empty()) return;
        std::ostringstream text;
        text << mStep.str() << ": " << what << " is " << got << ", plain " << plain;
        mDifference = text.str();
    }

    void compareNode(std::size_t i)
    {
        const std::string name = " of " + std::to_string(i);
        const qzIoDevice& device = *mDevices[i];
        const PlainNode& plain = *mPlainNodes[i];
        compare("error" + name, device.getDeviceErrorMsg(), plain.getError());
        compare("good" + name, device.good(), !plain.isBroken());
        compare("end" + name, device.atEnd(), plain.isAtEnd());
    }

    void compareEnds()
    {
        const std::vector<RoomyDevice*> plain = mPlainEnds.getAll();
        for (std::size_t i = 0; i < plain.size(); ++i) {
            compare("content", mEnds.getAll()[i]->getContent(), plain[i]->getContent());
            compare("position", mEnds.getAll()[i]->getCurrentPos(), plain[i]->getCurrentPos());
        }
    }

    void compareCounts(const qzIoDeviceByteCounter& counter, const PlainFilter& plain)
    {
        compare("written bytes", counter.getWrittenBytes(), plain.getWritten());
        compare("write end", counter.upToDateWriteEnd(), plain.getWritten());
        compare("read bytes", counter.getReadBytes(), plain.getRead());
    }

    void doSomething()
    {
        switch (mChoose(10)) {
            case 0:
            case 1:
                return begin();
            case 2:
            case 3:
            case 4:
                return read();
            case 5:
            case 6:
            case 7:
                return write();
            case 8:
                return leave();
            default:
                return disturb();
        }
    }

    // A filter delegates only to what stands behind it in the list, so that no chain is a ring.
    void begin()
    {
        const std::size_t filter = mChoose(kFilters);
        const std::size_t behind = filter + 1 + mChoose(kNodes - filter);
        const int way =
            mChoose(8) == 0 ? static_cast<int>(mChoose(6)) - 1 : 1 + static_cast<int>(mChoose(2));
        const bool isNull = behind == kNodes;
        mStep << "begin " << filter << " to " << behind << " way " << way;
        compare("begin",
                mFilters[filter]->beginDelegation(isNull ? nullptr : mDevices[behind],
                                                  static_cast<qzIoDevice::DataWay>(way)),
                mPlainFilters[filter]->begin(isNull ? nullptr : mPlainNodes[behind], way));
    }

    void read()
    {
        const std::size_t node = mChoose(kNodes);
        const std::size_t size = mChoose(24);
        mStep << "read " << size << " from " << node;
        std::string bytes(size, '\0');
        bytes.resize(mDevices[node]->readBytes(bytes.data(), size));
        compare("bytes", bytes, mPlainNodes[node]->read(size));
    }

    void write()
    {
        const std::size_t node = mChoose(kNodes);
        const std::size_t size = mChoose(24);
        mStep << "write " << size << " to " << node;
        const std::string bytes(size, static_cast<char>('a' + mWrites++ % 26));
        compare("count", mDevices[node]->writeBytes(bytes.data(), size),
                mPlainNodes[node]->write(bytes));
    }

    void leave()
    {
        const std::size_t filter = mChoose(kFilters);
        if (mChoose(4) == 0) {
            mStep << "clear " << filter;
            mFilters[filter]->clearDelegation();
            return mPlainFilters[filter]->clear();
        }
        mStep << "end " << filter;
        compare("end", mFilters[filter]->endDelegation(), mPlainFilters[filter]->end());
    }

    void disturb()
    {
        const std::size_t node = mChoose(kNodes);
        const unsigned long how = mChoose(6);
        mStep << "disturb " << node << " by " << how;
        if (how == 0) {
            const std::string text = "error " + std::to_string(node);
            mDevices[node]->setDeviceError(text);
            mPlainNodes[node]->setError(text);
        } else if (how == 1) {
            const int way = static_cast<int>(mChoose(4));
            mDevices[node]->changeSupportedDataWay(static_cast<qzIoDevice::DataWay>(way));
            mPlainNodes[node]->setWay(way);
        } else if (how == 2) {
            mCounters[node % 3].updateWriteEnd();
        } else {
            mDevices[node]->clearDeviceError();
            mPlainNodes[node]->clearError();
        }
    }

    Choose mChoose;
    std::ostringstream mStep;
    std::string mDifference;
    std::size_t mWrites = 0;

    ChainEnds mEnds;
    std::size_t mSignals = 0;
    qzIoDeviceSignaler::Signal mSignal = [this](qzIoDevice*) {
        ++mSignals;
        mSignaler.writeBytes("!", 1);
    };
    qzIoDeviceByteCounter mCounters[3];
    qzIoDeviceByteSniffer mSniffer{mEnds.copy};
    qzIoDeviceSignaler mSignaler{&mSignal, 30};
    qzIoDeviceReadBytesLimiter mLimiter{mEnds.both, 3, 100};
    qzIoDeviceKeepLastBytes mKeeper{mEnds.source, 5};
    const std::vector<qzIoDeviceDelegable*> mFilters{&mCounters[0], &mSniffer, &mCounters[1],
                                                     &mSignaler, &mCounters[2]};
    const std::vector<qzIoDevice*> mDevices{&mCounters[0], &mSniffer,   &mCounters[1], &mSignaler,
                                            &mCounters[2], &mLimiter,   &mKeeper,      &mEnds.both,
                                            &mEnds.source, &mEnds.sink, &mEnds.copy};

    ChainEnds mPlainEnds;
    PlainEnd mPlainBoth{mPlainEnds.both};
    PlainEnd mPlainSource{mPlainEnds.source};
    PlainEnd mPlainSink{mPlainEnds.sink};
    PlainEnd mPlainCopy{mPlainEnds.copy};
    PlainFilter mPlainCounters[3] = {PlainFilter(PlainFilter::Counter),
                                     PlainFilter(PlainFilter::Counter),
                                     PlainFilter(PlainFilter::Counter)};
    PlainFilter mPlainSniffer{PlainFilter::Sniffer, &mPlainCopy};
    PlainFilter mPlainSignaler{PlainFilter::Signaler, nullptr, 30};
    PlainLimiter mPlainLimiter{mPlainBoth, mPlainEnds.both, 3, 100};
    PlainKeeper mPlainKeeper{mPlainSource, 5};
    const std::vector<PlainFilter*> mPlainFilters{&mPlainCounters[0], &mPlainSniffer,
                                                  &mPlainCounters[1], &mPlainSignaler,
                                                  &mPlainCounters[2]};
    const std::vector<PlainNode*> mPlainNodes{
        &mPlainCounters[0], &mPlainSniffer, &mPlainCounters[1], &mPlainSignaler,
        &mPlainCounters[2], &mPlainLimiter, &mPlainKeeper,      &mPlainBoth,
        &mPlainSource,      &mPlainSink,    &mPlainCopy};
};

}  // namespace qz
