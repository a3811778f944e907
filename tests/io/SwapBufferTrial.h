// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>
#include <qz/qzIoDeviceStdStreamProxy.h>

namespace qz {

/// Does operations of chance on a chunk and swap buffer and on a plain row of bytes, and compares
/// the two after each.
class SwapBufferTrial {
public:
    using Buffer = qzIoDeviceMemoryChunkAndSwapBuffer;
    /// Chooses a number below `bound`.
    using Choose = std::function<unsigned long(unsigned long bound)>;

    SwapBufferTrial(const std::string& folder, Choose choose)
        : mChoose(std::move(choose)),
          mFirst(mChoose(50)),
          mBudget(mChoose(5) == 0 ? ~0UL : mChoose(300)),
          mBuffer(folder, mFirst, mChoose(50), mBudget)
    {
    }

    /// Does one operation. @return the difference in words; empty for none.
    std::string step()
    {
        mDifference.clear();
        mStep.str({});
        doSomething();
        compare("position", mBuffer.getCurrentPos(), static_cast<long>(mPosition));
        compare("atEnd", mBuffer.atEnd(), mPosition == mBytes.size());
        compare("written bytes", mBuffer.getWrittenBytes(), mWritten);
        compare("used bytes", mBuffer.getUsedByteCount(),
                static_cast<unsigned long>(mBytes.size()));
        compare("error", mBuffer.getDeviceErrorMsg(), mError);
        if (!mHasChunksByHand && mBudget != ~0UL) {
            const unsigned long most = std::max(mBudget, mFirst);
            compare("memory within the budget", mBuffer.getMemoryFootPrint() <= most, true);
        }
        return mDifference;
    }

    /// Compares all bytes. @return the difference in words; empty for none.
    std::string finish()
    {
        mDifference.clear();
        mStep.str("the end");
        mBuffer.clearDeviceError();
        mError.clear();
        copyOut();
        return mDifference;
    }

private:
    template <typename T>
    void compare(const char* what, const T& device, const T& plain)
    {
        if (device == plain || !mDifference.empty()) return;
        std::ostringstream text;
        text << mStep.str() << ": " << what << " is " << device << ", plainly " << plain;
        mDifference = text.str();
    }

    void doSomething()
    {
        switch (mChoose(24)) {
            case 0:
                return clear();
            case 1:
                return copyOut();
            case 2:
                return addChunk();
            case 3:
                return fail();
            case 4:
            case 5:
            case 6:
            case 7:
            case 8:
                return seek();
            case 9:
            case 10:
            case 11:
            case 12:
            case 13:
            case 14:
                return read();
            default:
                return write();
        }
    }

    // Few, and now and then many bytes.
    unsigned long chooseSize() { return mChoose(20) == 0 ? mChoose(250) * 200 : mChoose(70); }

    void write()
    {
        std::string bytes(chooseSize(), '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(++mNextByte);
        }
        mStep << "write " << bytes.size();
        const unsigned long done = mBuffer.writeBytes(bytes.data(), bytes.size());
        compare("count", done, mError.empty() ? bytes.size() : 0UL);
        if (mError.empty()) writePlainly(bytes);
    }

    void writePlainly(const std::string& bytes)
    {
        if (mBytes.size() < mPosition + bytes.size()) mBytes.resize(mPosition + bytes.size());
        std::copy(bytes.begin(), bytes.end(), mBytes.begin() + static_cast<long>(mPosition));
        mPosition += bytes.size();
        mWritten += bytes.size();
    }

    void read()
    {
        const unsigned long size = chooseSize();
        mStep << "read " << size;
        std::string bytes(size, '?');
        bytes.resize(mBuffer.readBytes(bytes.data(), size));
        const unsigned long left = mError.empty() ? mBytes.size() - mPosition : 0;
        const std::string plain(mBytes.data() + mPosition, std::min(left, size));
        compare("bytes", bytes, plain);
        mPosition += plain.size();
    }

    void seek()
    {
        const auto start = static_cast<Buffer::SeekStart>(mChoose(13) % 4);
        auto offset =
            static_cast<long>(mChoose(2) == 0 ? chooseSize() : mChoose(mBytes.size() + 1));
        if (mChoose(2) == 0) offset = -offset;
        mStep << "seek " << offset << " from " << start;
        const bool isDone = mBuffer.seek(offset, start);
        compare("result", isDone, mError.empty() && seekPlainly(offset, start));
    }

    bool seekPlainly(long offset, Buffer::SeekStart start)
    {
        const long bases[] = {0, static_cast<long>(mPosition), static_cast<long>(mBytes.size()), 0};
        if (start == Buffer::SeekFromBegin && offset < 0) {
            mError = "Fail to seek with a negative offset from begin";
        } else if (start == Buffer::SeekFromEnd && offset > 0) {
            mError = "Fail to seek with a negative offset from end";
        } else if (start <= Buffer::SeekFromEnd && bases[start] + offset < 0) {
            mError = "Try to reverse seek past begin";
        }
        if (!mError.empty() || start > Buffer::SeekFromEnd) return false;
        const auto target = static_cast<unsigned long>(bases[start] + offset);
        if (target > mBytes.size()) {
            mPosition = mBytes.size();
            writePlainly(std::string(target - mBytes.size(), '\0'));
        }
        mPosition = target;
        return true;
    }

    void clear()
    {
        const auto mode = static_cast<Buffer::ClearMode>(mChoose(3));
        mStep << "clear " << mode;
        mBuffer.clearDevice(mode);
        mBytes.clear();
        mPosition = 0;
        mWritten = 0;
        mError.clear();
    }

    void copyOut()
    {
        mStep << "copy out";
        std::ostringstream content;
        qzIoDeviceStdStreamProxy destination(&content);
        unsigned long count = 0;
        const bool isDone = mBuffer.writeBackToDevice(destination, &count, nullptr);
        compare("result", isDone, mError.empty());
        if (!isDone) return;
        mPosition = 0;
        compare("count", count, static_cast<unsigned long>(mBytes.size()));
        compare("content", content.str(), std::string(mBytes.begin(), mBytes.end()));
    }

    void addChunk()
    {
        const unsigned long size = mChoose(100);
        mStep << "add a chunk of " << size;
        mBuffer.addNewChunk(size);
        mHasChunksByHand = true;
    }

    void fail()
    {
        mStep << "error";
        if (mError.empty()) {
            mBuffer.setDeviceError("an error");
            mError = "an error";
        } else {
            mBuffer.clearDeviceError();
            mError.clear();
        }
    }

    Choose mChoose;
    unsigned long mFirst;
    unsigned long mBudget;
    Buffer mBuffer;
    std::vector<char> mBytes;
    unsigned long mPosition = 0;
    unsigned long mWritten = 0;
    std::string mError;
    bool mHasChunksByHand = false;
    unsigned int mNextByte = 0;
    std::ostringstream mStep;
    std::string mDifference;
};

}  // namespace qz
