// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceFileStream.h>

#include <ios>
#include <utility>

#include <qz/qzDirUtils.h>

#include "StreamState.h"
#include "frame/base/FileStreamBuffer.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

constexpr std::ios_base::openmode kNoMode{};
constexpr std::ios_base::openmode kRead = std::ios_base::in | std::ios_base::binary;
constexpr std::ios_base::openmode kWrite = std::ios_base::out | std::ios_base::binary;
constexpr std::ios_base::openmode kBoth = kRead | kWrite;
constexpr std::ios_base::openmode kAppend = std::ios_base::app | std::ios_base::ate;

std::ios_base::openmode chooseMode(qzIoDevice::DataWay way, bool truncate, const std::string& path)
{
    const auto makesNew = [&] { return truncate || !qzDirUtils::FileExistsUtf8(path); };
    switch (way) {
        case qzIoDevice::DataWayRead:
            return kRead;
        case qzIoDevice::DataWayWrite:
            return makesNew() ? kWrite | std::ios_base::trunc : kBoth | kAppend;
        case qzIoDevice::DataWayReadWrite:
            return makesNew() ? kBoth | std::ios_base::trunc : kBoth;
        default:
            return kNoMode;
    }
}

std::string makeOpenError(const std::string& path, bool isFailed, bool isBad)
{
    return "failed to open file: '" + path + "' (bits " + (isFailed ? '1' : '0') +
           (isBad ? '1' : '0') + ")";
}

}  // namespace

qzIoDeviceFileStream::qzIoDeviceFileStream() : qzIoDeviceRandomAccess(DataWayNone) {}

qzIoDeviceFileStream::qzIoDeviceFileStream(const std::string& path, DataWay way, bool truncate)
    : qzIoDeviceFileStream()
{
    open(path, way, truncate);
}

qzIoDeviceFileStream::~qzIoDeviceFileStream()
{
    close();
}

bool qzIoDeviceFileStream::open(DataWay way, bool truncate)
{
    close();
    clearDeviceError();
    if (mFilePath.empty()) {
        setDeviceError("File path is empty");
        return false;
    }
    const std::ios_base::openmode mode = chooseMode(way, truncate, mFilePath);
    if (mode == kNoMode) {
        setDeviceError(makeOpenError(mFilePath, false, false));
        return false;
    }
    mStream = std::make_unique<FileStream>();
    mIsOpen = mStream->open(text::toLocal(mFilePath).c_str(), mode);
    return settleOpen(way);
}

bool qzIoDeviceFileStream::open(FileDescriptor file)
{
    close();
    clearDeviceError();
    mStream = std::make_unique<FileStream>();
    mIsOpen = mStream->open(std::move(file), kBoth);
    return settleOpen(DataWayReadWrite);
}

bool qzIoDeviceFileStream::settleOpen(DataWay way)
{
    changeSupportedDataWay(way);
    if (!mIsOpen) setDeviceError(makeOpenError(mFilePath, mStream->fail(), mStream->bad()));
    return mIsOpen;
}

bool qzIoDeviceFileStream::open(const std::string& path, DataWay way, bool truncate)
{
    setFilePath(path);
    return open(way, truncate);
}

bool qzIoDeviceFileStream::close()
{
    const bool wasOpen = mIsOpen;
    if (mStream != nullptr) mStream->close();
    mStream.reset();
    mPosition = 0;
    mIsOpen = false;
    changeSupportedDataWay(DataWayNone);
    return wasOpen && !hasDeviceError();
}

bool qzIoDeviceFileStream::flush()
{
    if (mStream != nullptr) mStream->flush();
    return good();
}

bool qzIoDeviceFileStream::setFilePath(const std::string& path)
{
    close();
    clearDeviceError();
    mFilePath = path;
    return true;
}

const std::string& qzIoDeviceFileStream::getFilePath() const
{
    return mFilePath;
}

bool qzIoDeviceFileStream::isOpen() const
{
    return mIsOpen;
}

unsigned long qzIoDeviceFileStream::readBytes(char* dst, unsigned long size)
{
    if (mStream == nullptr || !good() || !(getSupportedDataWay() & DataWayRead)) return 0;
    if (!mStream->good() || !mStream->getBuffer().tryRead(dst, size)) {
        return readFromStream(dst, size);
    }
    mPosition += static_cast<long>(size);
    return size;
}

unsigned long qzIoDeviceFileStream::readFromStream(char* dst, unsigned long size)
{
    mStream->read(dst, static_cast<std::streamsize>(size));
    const auto count = static_cast<unsigned long>(mStream->gcount());
    if (settleAfterRead(*mStream, count, size) == ReadOutcome::Broken) {
        setDeviceError("std sub stream bad bit is set after a read");
        return 0;
    }
    mPosition += static_cast<long>(count);
    return count;
}

unsigned long qzIoDeviceFileStream::writeBytes(const char* src, unsigned long size)
{
    if (mStream == nullptr || !good() || !(getSupportedDataWay() & DataWayWrite)) return 0;
    if (!mStream->good() || !mStream->getBuffer().tryWrite(src, size)) {
        return writeToStream(src, size);
    }
    mPosition += static_cast<long>(size);
    return size;
}

unsigned long qzIoDeviceFileStream::writeToStream(const char* src, unsigned long size)
{
    // At the end of what was read the standard stream would silently drop the write.
    if (mStream->rdstate() == std::ios_base::eofbit) mStream->clear();
    mStream->write(src, static_cast<std::streamsize>(size));
    mPosition += static_cast<long>(size);
    if (mStream->fail()) {
        setDeviceError("std sub stream fail bit is set after a write");
        return 0;
    }
    if (mStream->bad()) {
        // Compatibility: never reached, since a bad stream has failed as well.
        setDeviceError("std sub stream bad bit is set after a write");
        return 0;
    }
    return size;
}

bool qzIoDeviceFileStream::atEnd() const
{
    if (mStream == nullptr) return false;
    const std::ios_base::iostate state = mStream->rdstate();
    const bool isEnd = isAtEnd(*mStream);
    // This check must not make a later write fail.
    if (getSupportedDataWay() & DataWayWrite) mStream->clear(state);
    return isEnd;
}

bool qzIoDeviceFileStream::seek(long offset, SeekStart start)
{
    if (mStream == nullptr) {
        setDeviceError("File is not open");
        return false;
    }
    if (getSupportedDataWay() & DataWayWrite) return seekWriting(offset, start);
    if (getSupportedDataWay() & DataWayRead) return seekReading(offset, start);
    return good();
}

bool qzIoDeviceFileStream::seekWriting(long offset, SeekStart start)
{
    const bool alsoReads = (getSupportedDataWay() & DataWayRead) != 0;
    if (alsoReads) mStream->clear(std::ios_base::eofbit);
    std::ios_base::seekdir direction{};
    if (toSeekDirection(start, direction)) mStream->seekp(offset, direction);
    mPosition = mStream->tellp();
    if (mStream->fail()) {
        setDeviceError("std sub stream is in error after a seekp");
        return false;
    }
    if (alsoReads) mStream->seekg(mPosition);
    if (mStream->bad()) {
        setDeviceError("std sub stream is in error after a seekg");
        return false;
    }
    return good();
}

bool qzIoDeviceFileStream::seekReading(long offset, SeekStart start)
{
    mStream->clear(std::ios_base::eofbit);
    std::ios_base::seekdir direction{};
    if (toSeekDirection(start, direction)) mStream->seekg(offset, direction);
    mPosition = mStream->tellg();
    if (mStream->bad()) {
        setDeviceError("std sub stream is in error after a seekg");
        return false;
    }
    return good();
}

long qzIoDeviceFileStream::getCurrentPos() const
{
    return mPosition;
}

}  // namespace qz
