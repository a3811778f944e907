// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <qz/qzIoDevice.h>

#include "PlainFileBuffer.h"

namespace qz {

/// The file device in its plain form: every operation, step by step, over a standard stream. The
/// real one has shortcuts into its buffer, and must not differ from this.
///
/// Its path must be plain ASCII. Its buffer is as large as that of the real one, so that failed
/// writes show at the same call.
class PlainFileDevice {
public:
    using DataWay = qzIoDevice::DataWay;
    using SeekStart = qzIoDeviceRandomAccess::SeekStart;

    PlainFileDevice(std::string path, std::size_t bufferSize)
        : mPath(std::move(path)), mBufferSize(bufferSize)
    {
    }
    ~PlainFileDevice() { close(); }
    PlainFileDevice(const PlainFileDevice&) = delete;
    PlainFileDevice& operator=(const PlainFileDevice&) = delete;

    bool open(DataWay way, bool truncate);
    bool close();
    bool flush();
    unsigned long readBytes(char* dst, unsigned long size);
    unsigned long writeBytes(const char* src, unsigned long size);
    bool atEnd();
    bool seek(long offset, SeekStart start);
    unsigned long skipBytes(unsigned long count);
    bool loadFullFileContent(std::vector<char>& out);
    void clearDeviceError() { setState(false, {}); }
    void changeSupportedDataWay(DataWay way) { mWay = way; }

    long getCurrentPos() const { return mPosition; }
    bool isOpen() const { return mIsOpen; }
    bool good() const { return !mError; }
    DataWay getSupportedDataWay() const { return mWay; }
    const std::string& getDeviceErrorMsg() const { return mMessage; }

private:
    using Stream = std::iostream;

    bool reads() const { return (mWay & qzIoDevice::DataWayRead) != 0; }
    bool writes() const { return (mWay & qzIoDevice::DataWayWrite) != 0; }
    bool exists() const;
    Stream::openmode chooseMode(DataWay way, bool truncate) const;
    bool fail(const std::string& message);
    void setState(bool error, const std::string& message);
    template <typename Move>
    static void moveFrom(SeekStart start, Move move);

    std::string mPath;
    std::size_t mBufferSize;
    std::unique_ptr<PlainFileBuffer> mBuffer;
    std::unique_ptr<Stream> mStream;
    DataWay mWay = qzIoDevice::DataWayNone;
    long mPosition = 0;
    bool mIsOpen = false;
    bool mError = false;
    std::string mMessage;
};

inline bool PlainFileDevice::exists() const
{
    struct stat status = {};
    return ::stat(mPath.c_str(), &status) == 0 && (status.st_mode & S_IFMT) != 0;
}

inline PlainFileDevice::Stream::openmode PlainFileDevice::chooseMode(DataWay way,
                                                                     bool truncate) const
{
    using Ios = std::ios_base;
    if (way == qzIoDevice::DataWayRead) return Ios::in | Ios::binary;
    if (way == qzIoDevice::DataWayWrite && truncate) return Ios::out | Ios::trunc | Ios::binary;
    if (way == qzIoDevice::DataWayWrite && !exists()) return Ios::out | Ios::trunc | Ios::binary;
    if (way == qzIoDevice::DataWayWrite) {
        return Ios::in | Ios::out | Ios::app | Ios::ate | Ios::binary;
    }
    if (truncate || !exists()) return Ios::in | Ios::out | Ios::trunc | Ios::binary;
    return Ios::in | Ios::out | Ios::binary;
}

inline void PlainFileDevice::setState(bool error, const std::string& message)
{
    mError = error;
    mMessage = message;
}

inline bool PlainFileDevice::fail(const std::string& message)
{
    setState(true, mMessage.empty() ? message : mMessage);
    return false;
}

inline bool PlainFileDevice::open(DataWay way, bool truncate)
{
    close();
    clearDeviceError();
    if (mPath.empty()) return fail("File path is empty");
    const std::string text = "failed to open file: '" + mPath + "' (bits ";
    if (way < qzIoDevice::DataWayRead || way > qzIoDevice::DataWayReadWrite) {
        return fail(text + "00)");
    }
    const Stream::openmode mode = chooseMode(way, truncate);
    mBuffer = std::make_unique<PlainFileBuffer>(mBufferSize);
    mStream = std::make_unique<Stream>(mBuffer.get());
    mWay = way;
    mIsOpen = mBuffer->open(mPath.c_str(), mode);
    if (!mIsOpen) mStream->setstate(std::ios_base::failbit);
    if (mIsOpen) return true;
    const bool isFailed = mStream->fail() || mStream->bad();
    return fail(text + (isFailed ? "1" : "0") + (mStream->bad() ? "1" : "0") + ")");
}

inline bool PlainFileDevice::close()
{
    const bool wasOpen = mIsOpen;
    mStream.reset();
    mBuffer.reset();
    mPosition = 0;
    mIsOpen = false;
    mWay = qzIoDevice::DataWayNone;
    return wasOpen && good();
}

inline bool PlainFileDevice::flush()
{
    if (mStream != nullptr) mStream->flush();
    return good();
}

inline unsigned long PlainFileDevice::readBytes(char* dst, unsigned long size)
{
    if (mStream == nullptr || mError || !reads()) return 0;
    mStream->read(dst, static_cast<std::streamsize>(size));
    const std::streamsize count = mStream->gcount();
    if (mStream->bad()) {
        fail("std sub stream bad bit is set after a read");
        return 0;
    }
    mPosition += count;
    if (count == 0 && size != 0) {
        mStream->setstate(std::ios_base::eofbit);
        return 0;
    }
    if (mStream->fail() && mStream->eof()) mStream->clear(std::ios_base::eofbit);
    return static_cast<unsigned long>(count);
}

inline unsigned long PlainFileDevice::writeBytes(const char* src, unsigned long size)
{
    if (mStream == nullptr || mError || !writes()) return 0;
    if (mStream->rdstate() == std::ios_base::eofbit) mStream->clear();
    mStream->write(src, static_cast<std::streamsize>(size));
    mPosition += static_cast<long>(size);
    if (mStream->fail() || mStream->bad()) {
        fail("std sub stream fail bit is set after a write");
        return 0;
    }
    return size;
}

inline bool PlainFileDevice::atEnd()
{
    if (mStream == nullptr) return false;
    const std::ios_base::iostate state = mStream->rdstate();
    const bool isEnd = mStream->eof() || mStream->peek() == Stream::traits_type::eof();
    const bool isBad = mStream->bad();
    if (writes()) mStream->clear(state);
    return isEnd && !isBad;
}

template <typename Move>
void PlainFileDevice::moveFrom(SeekStart start, Move move)
{
    if (start == qzIoDeviceRandomAccess::SeekFromBegin) move(std::ios_base::beg);
    if (start == qzIoDeviceRandomAccess::SeekFromCurrent) move(std::ios_base::cur);
    if (start == qzIoDeviceRandomAccess::SeekFromEnd) move(std::ios_base::end);
}

inline bool PlainFileDevice::seek(long offset, SeekStart start)
{
    if (mStream == nullptr) return fail("File is not open");
    if (writes()) {
        if (reads()) mStream->clear(std::ios_base::eofbit);
        moveFrom(start, [&](std::ios_base::seekdir from) { mStream->seekp(offset, from); });
        mPosition = mStream->tellp();
        if (mStream->fail() || mStream->bad()) {
            return fail("std sub stream is in error after a seekp");
        }
        if (!reads()) return good();
        mStream->seekg(mPosition);
        if (mStream->bad()) return fail("std sub stream is in error after a seekg");
        return good();
    }
    if (reads()) {
        mStream->clear(std::ios_base::eofbit);
        moveFrom(start, [&](std::ios_base::seekdir from) { mStream->seekg(offset, from); });
        mPosition = mStream->tellg();
        if (mStream->bad()) return fail("std sub stream is in error after a seekg");
    }
    return good();
}

inline unsigned long PlainFileDevice::skipBytes(unsigned long count)
{
    std::vector<char> block(4096);
    unsigned long left = count;
    while (left > 0) {
        const unsigned long asked = left < block.size() ? left : block.size();
        const unsigned long got = readBytes(block.data(), asked);
        left -= got;
        if (got != asked) break;
    }
    return count - left;
}

inline bool PlainFileDevice::loadFullFileContent(std::vector<char>& out)
{
    if (!good()) return false;
    const long position = getCurrentPos();
    if (!seek(0, qzIoDeviceRandomAccess::SeekFromEnd)) return false;
    const long size = getCurrentPos();
    if (size < 0) return false;  // no such move in a pipe
    if (!seek(0, qzIoDeviceRandomAccess::SeekFromBegin)) return false;
    out.resize(static_cast<unsigned long>(size));
    if (readBytes(out.data(), out.size()) != out.size()) return false;
    if (!seek(position, qzIoDeviceRandomAccess::SeekFromBegin)) return false;
    return good();
}

}  // namespace qz
