// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <string>

#include <qz/qzIoDevice.h>

namespace qz {

/// What stands in a chain, in plain form: bytes are texts, and an error is a text that isn't empty.
class PlainNode {
public:
    explicit PlainNode(int way) : mWay(way) {}
    virtual ~PlainNode() = default;
    PlainNode(const PlainNode&) = delete;
    PlainNode& operator=(const PlainNode&) = delete;

    virtual std::string read(std::size_t size) = 0;
    virtual std::size_t write(const std::string& bytes) = 0;
    virtual bool isAtEnd() const = 0;
    virtual bool isBroken() const { return !mError.empty(); }
    virtual std::string getError() const { return mError; }
    virtual int getWay() const { return mWay; }
    virtual void setWay(int way) { mWay = way; }
    virtual void clearError() { mError.clear(); }
    virtual void setError(const std::string& text)
    {
        if (mError.empty()) mError = text;
    }

protected:
    bool fail(const std::string& text)
    {
        setError(text);
        return false;
    }
    static void join(std::string& text, const PlainNode* other)
    {
        if (other == nullptr || !other->isBroken()) return;
        if (!text.empty()) text += ", ";
        text += other->getError();
    }

    int mWay;
    std::string mError;
};

/// A device that needs no plain form, as a node.
class PlainEnd : public PlainNode {
public:
    explicit PlainEnd(qzIoDevice& device) : PlainNode(0), mDevice(device) {}
    std::string read(std::size_t size) override
    {
        std::string bytes(size, '\0');
        bytes.resize(mDevice.readBytes(bytes.data(), size));
        return bytes;
    }
    std::size_t write(const std::string& bytes) override
    {
        return mDevice.writeBytes(bytes.data(), bytes.size());
    }
    bool isAtEnd() const override { return mDevice.atEnd(); }
    bool isBroken() const override { return mDevice.hasDeviceError(); }
    std::string getError() const override { return mDevice.getDeviceErrorMsg(); }
    int getWay() const override { return mDevice.getSupportedDataWay(); }
    void setWay(int way) override
    {
        mDevice.changeSupportedDataWay(static_cast<qzIoDevice::DataWay>(way));
    }
    void clearError() override { mDevice.clearDeviceError(); }
    void setError(const std::string& text) override { mDevice.setDeviceError(text); }

private:
    qzIoDevice& mDevice;
};

/// `qzIoDeviceKeepLastBytes` and `qzIoDeviceReadBytesLimiter` share this much.
class PlainWrapper : public PlainNode {
public:
    explicit PlainWrapper(PlainNode& source) : PlainNode(1), mSource(source) {}
    std::size_t write(const std::string& /*bytes*/) override
    {
        fail("write not implemented");
        return 0;
    }
    bool isAtEnd() const override { return isBroken() || mSource.isAtEnd(); }
    bool isBroken() const override { return !mError.empty() || mSource.isBroken(); }
    std::string getError() const override
    {
        std::string text = mError;
        join(text, &mSource);
        return text;
    }

protected:
    PlainNode& mSource;
};

/// What is held is a text that is cut and put together anew.
class PlainKeeper : public PlainWrapper {
public:
    PlainKeeper(PlainNode& source, std::size_t count) : PlainWrapper(source), mCount(count) {}
    std::string read(std::size_t size) override
    {
        std::string given = mHeld.substr(0, size);
        const bool wantsMore = mHeld.size() < size;
        mHeld.erase(0, given.size());
        if (wantsMore) given += mSource.read(size - given.size());
        mHeld += mSource.read(mCount - mHeld.size());
        if (mHeld.size() == mCount) return given;
        if (given.size() + mHeld.size() < mCount) {
            mHeld.clear();
            fail("Could not keep enough terminal bytes");
            return {};
        }
        const std::string all = given + mHeld;
        mHeld = all.substr(all.size() - mCount);
        return all.substr(0, all.size() - mCount);
    }
    const std::string& getHeld() const { return mHeld; }

private:
    std::size_t mCount;
    std::string mHeld;
};

/// Moves `view`, the device of the source, to the start at the first read.
class PlainLimiter : public PlainWrapper {
public:
    PlainLimiter(PlainNode& source, qzIoDeviceRandomAccess& view, long start, std::size_t limit)
        : PlainWrapper(source), mView(view), mStart(start), mRest(limit)
    {
    }
    std::string read(std::size_t size) override
    {
        const bool isFirst = mIsFirst;
        mIsFirst = false;
        if (isFirst && !mView.seek(mStart, qzIoDeviceRandomAccess::SeekFromBegin)) {
            fail("Fail to seek on delegate");
            return {};
        }
        const std::string got = mSource.read(std::min(size, mRest));
        mRest -= got.size();
        return got;
    }
    bool isAtEnd() const override { return mRest == 0 || PlainWrapper::isAtEnd(); }

private:
    qzIoDeviceRandomAccess& mView;
    long mStart;
    std::size_t mRest;
    bool mIsFirst = true;
};

/// The three filters: what differs between them stands in `read` and `write`.
class PlainFilter : public PlainNode {
public:
    enum Kind { Counter, Sniffer, Signaler };

    explicit PlainFilter(Kind kind, PlainNode* copy = nullptr, std::size_t threshold = 0)
        : PlainNode(3), mKind(kind), mCopy(copy), mThreshold(threshold)
    {
    }

    bool begin(PlainNode* delegate, int way)
    {
        mError.clear();
        const auto text = [](int number) { return std::to_string(number); };
        if (mDelegate != nullptr || mDelegationWay != 0)
            return fail("call begin delegation while a delegation is already setup");
        if (way != 1 && way != 2) return fail("invalid delegation way " + text(way));
        if (delegate == nullptr && way == 1) return fail("need delegate for read delegation");
        if ((mWay & way) == 0)
            return fail("incompatible delegation way " + text(mWay) + " " + text(way));
        if (delegate != nullptr && (delegate->getWay() & way) == 0)
            return fail("incompatible delegate features " + text(delegate->getWay()) + " " +
                        text(way));
        mDelegate = delegate;
        mDelegationWay = way;
        if (mKind == Counter) mWritten = mRead = 0;
        return !isBroken();
    }
    bool end()
    {
        if (mDelegationWay == 0) return fail("Call endDelegation while no delegation is setup");
        clear();
        return !isBroken();
    }
    void clear()
    {
        mDelegate = nullptr;
        mDelegationWay = 0;
    }

    std::string read(std::size_t size) override
    {
        if (mDelegate == nullptr || mDelegationWay != 1) {
            fail("call read on a write delegation mode device");
            return {};
        }
        if (isBroken()) return {};
        const std::string got = mDelegate->read(size);
        if (mKind == Counter) mRead += got.size();
        return mKind == Sniffer && !copy(got) ? std::string() : got;
    }
    std::size_t write(const std::string& bytes) override
    {
        switch (mKind) {
            case Counter:
                if (isBroken()) return 0;
                mWritten += bytes.size();
                break;
            case Sniffer:
                if (mDelegate == nullptr || mDelegationWay != 2) {
                    fail("call write on a read delegation mode device");
                    return 0;
                }
                if (isBroken() || !copy(bytes)) return 0;
                break;
            case Signaler:
                mSinceSignal += bytes.size();
                if (mSinceSignal >= mThreshold && !mIsSignalling) signal();
        }
        return mDelegate != nullptr ? mDelegate->write(bytes) : bytes.size();
    }

    bool isAtEnd() const override
    {
        return mDelegationWay != 1 || mDelegate->isAtEnd() || isBroken();
    }
    bool isBroken() const override
    {
        return !mError.empty() || (mDelegate != nullptr && mDelegate->isBroken()) ||
               (mCopy != nullptr && mCopy->isBroken());
    }
    std::string getError() const override
    {
        std::string text = mError;
        join(text, mDelegate);
        join(text, mCopy);
        return text;
    }
    std::size_t getWritten() const { return mWritten; }
    std::size_t getRead() const { return mRead; }
    std::size_t getSignals() const { return mSignals; }

private:
    bool copy(const std::string& bytes)
    {
        if (mCopy->write(bytes) < bytes.size()) return fail("Fail to write on destination");
        return !isBroken();
    }
    // The function writes one byte through the signaler itself.
    void signal()
    {
        mIsSignalling = true;
        ++mSignals;
        write("!");
        mIsSignalling = false;
        mSinceSignal = 0;
    }

    Kind mKind;
    PlainNode* mCopy;
    std::size_t mThreshold;
    PlainNode* mDelegate = nullptr;
    int mDelegationWay = 0;
    std::size_t mWritten = 0;
    std::size_t mRead = 0;
    std::size_t mSinceSignal = 0;
    std::size_t mSignals = 0;
    bool mIsSignalling = false;
};

}  // namespace qz
