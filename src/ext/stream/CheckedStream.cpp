// SPDX-License-Identifier: MIT
#include <qz/ext/CheckedStream.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <iterator>

#include "GrowingRead.h"
#include "MemoryDevice.h"

namespace qz::ext {

namespace {

// Shorter texts go through the stack, so that the destination keeps its memory.
constexpr unsigned long kShortTextBytes = 256;

constexpr const char* kLength = "length";

}  // namespace

CheckedStream::CheckedStream(qzIoDevice& device, qzDataStream::Endianness endianness,
                             const StreamLimits& limits)
    : mDevice(device),
      mLimits(limits),
      mEnd(limits.totalBytes),
      mIsBigEndian(endianness == qzDataStream::BigEndian)
{
}

CheckedStream::CheckedStream(std::string_view bytes, qzDataStream::Endianness endianness,
                             const StreamLimits& limits)
    : mOwnDevice(makeMemoryDevice(bytes)),
      mDevice(*mOwnDevice),
      mLimits(limits),
      mEnd(limits.totalBytes),
      mIsBigEndian(endianness == qzDataStream::BigEndian)
{
}

CheckedStream::~CheckedStream() = default;

void CheckedStream::setEndianness(qzDataStream::Endianness endianness)
{
    mIsBigEndian = endianness == qzDataStream::BigEndian;
}

// --- The device

// One call of the device.
inline unsigned long CheckedStream::pullSome(char* data, unsigned long size)
{
    const unsigned long count = std::min(mDevice.readBytes(data, size), size);
    mOffset += count;
    return count;
}

// Reads until all bytes have come; fewer come at the end, or if the device fails.
inline unsigned long CheckedStream::pull(char* data, unsigned long size)
{
    if (size == 0) return 0;
    const unsigned long count = pullSome(data, size);
    return count == size ? size : pullRest(data, size, count);
}

[[gnu::cold]] unsigned long CheckedStream::pullRest(char* data, unsigned long size,
                                                    unsigned long done)
{
    unsigned long count = done;
    while (count != 0 && done != size) {
        count = pullSome(data + done, size - done);
        done += count;
    }
    return done;
}

bool CheckedStream::readWhole(char* data, unsigned long size, const char* what)
{
    if (!isOk()) return false;
    if (size > getLeft()) return fail(StreamFailure::TotalLimit, what, mOffset, size, getLeft());
    const unsigned long start = mOffset;
    try {
        const unsigned long count = pull(data, size);
        return count == size || failShort(what, start, count, size);
    } catch (...) {
        fail(StreamFailure::Exception, what, start);
        throw;
    }
}

// --- Values

template <typename Number>
bool CheckedStream::readNumber(Number& value, const char* what)
{
    char bytes[sizeof value];
    if (!readWhole(bytes, sizeof bytes, what)) return false;
    if (mIsBigEndian) std::reverse(std::begin(bytes), std::end(bytes));
    std::memcpy(&value, bytes, sizeof value);
    return true;
}

template <typename Bytes>
bool CheckedStream::readCounted(Bytes& bytes, const char* what)
{
    const unsigned long start = mOffset;
    unsigned int size = 0;
    if (!readNumber(size, kLength)) return false;
    if (size > mLimits.textBytes)
        return fail(StreamFailure::TextLimit, what, start, size, mLimits.textBytes);
    if (size > getLeft()) return fail(StreamFailure::TotalLimit, what, start, size, getLeft());
    return readSized(bytes, size, what, start);
}

// The size is within the limits.
template <typename Bytes>
bool CheckedStream::readSized(Bytes& bytes, unsigned long size, const char* what,
                              unsigned long start)
{
    try {
        if (size <= kShortTextBytes) {
            char shortText[kShortTextBytes];
            const unsigned long count = pull(shortText, size);
            if (count != size) return failShort(what, start, count, size);
            bytes.resize(size);  // throws before it changes anything
            std::copy_n(shortText, size, bytes.data());
            return true;
        }
        Bytes fresh;
        const unsigned long count = readGrowing(
            fresh, size, [this](char* data, unsigned long step) { return pull(data, step); });
        if (count != size) return failShort(what, start, count, size);
        bytes.swap(fresh);
        return true;
    } catch (...) {
        fail(StreamFailure::Exception, what, start);
        throw;
    }
}

// For frames
template bool CheckedStream::readSized(std::string& bytes, unsigned long size, const char* what,
                                       unsigned long start);

bool CheckedStream::read(bool& value)
{
    char byte = 0;
    if (!readNumber(byte, "bool")) return false;
    value = byte != 0;
    return true;
}

bool CheckedStream::read(char& value)
{
    return readNumber(value, "char");
}

bool CheckedStream::read(unsigned char& value)
{
    return readNumber(value, "unsigned char");
}

bool CheckedStream::read(short& value)
{
    return readNumber(value, "short");
}

bool CheckedStream::read(unsigned short& value)
{
    return readNumber(value, "unsigned short");
}

bool CheckedStream::read(int& value)
{
    return readNumber(value, "int");
}

bool CheckedStream::read(unsigned int& value)
{
    return readNumber(value, "unsigned int");
}

bool CheckedStream::read(long& value)
{
    return readNumber(value, "long");
}

bool CheckedStream::read(unsigned long& value)
{
    return readNumber(value, "unsigned long");
}

bool CheckedStream::read(float& value)
{
    return readNumber(value, "float");
}

bool CheckedStream::read(double& value)
{
    return readNumber(value, "double");
}

bool CheckedStream::read(std::string& text)
{
    return readCounted(text, "text");
}

bool CheckedStream::read(std::vector<char>& text)
{
    return readCounted(text, "byte vector");
}

bool CheckedStream::readRaw(char* data, unsigned long size)
{
    return readWhole(data, size, "raw bytes");
}

bool CheckedStream::readEnd()
{
    if (!isOk()) return false;
    const unsigned long start = mOffset;
    try {
        char byte = 0;
        // Not by `pull`: a limit of the whole that is used up must not hide what follows.
        if (mDevice.readBytes(&byte, 1) == 0)
            return mDevice.good() || failShort("end", start, 0, 0);
        ++mOffset;
        return fail(StreamFailure::TrailingData, "end", start);
    } catch (...) {
        fail(StreamFailure::Exception, "end", start);
        throw;
    }
}

// --- Lists

CheckedStream::List::List(CheckedStream& stream)
    : mStream(stream), mListOffset(stream.mOffset), mItemOffset(stream.mOffset)
{
    unsigned int count = 0;
    const StreamLimits& limits = stream.mLimits;
    ++stream.mDepth;
    if (stream.isOk() && stream.mDepth > limits.depth)
        stream.fail(StreamFailure::DepthLimit, "list", mListOffset, stream.mDepth, limits.depth);
    else if (stream.readNumber(count, kLength) && count > limits.listItems)
        stream.fail(StreamFailure::ListLimit, "list", mListOffset, count, limits.listItems);
    mLeft = count;
}

CheckedStream::List::~List()
{
    --mStream.mDepth;
    if (mIsComplete) return;
    const bool isThrown = std::uncaught_exceptions() != 0;
    mStream.fail(isThrown ? StreamFailure::Exception : StreamFailure::Rejected, "list",
                 mListOffset);
}

bool CheckedStream::List::next(unsigned long itemBytes)
{
    if (!mStream.isOk() || mIsComplete) return false;
    // Items without bytes would take memory for each number that the count claims.
    if (mItemOffset == mStream.mOffset)
        return mStream.fail(StreamFailure::EmptyItem, "item", mItemOffset);
    mIsComplete = mLeft == 0;
    if (mIsComplete) return false;
    if (itemBytes > mStream.getLeft())
        return mStream.fail(StreamFailure::TotalLimit, "item", mStream.mOffset, itemBytes,
                            mStream.getLeft());
    mStream.mEnd -= itemBytes;
    mItemOffset = mStream.mOffset;
    --mLeft;
    return true;
}

}  // namespace qz::ext
