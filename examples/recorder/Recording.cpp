// SPDX-License-Identifier: MIT
#include "Recording.h"

#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include <qz/SystemError.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystemUtils.h>

#include "Checksum.h"
#include "LineReader.h"

namespace recorder {

namespace {

constexpr const char* kChannel = "recorder";
constexpr unsigned long kReportEvery = 1024UL * 1024;

// The device reports that a file can't be opened or read; only the system knows why.
std::string findReason(const qz::qzIoDeviceFileStream& device)
{
    const int descriptor = ::open(device.getFilePath().c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return qz::SystemError(errno).toString();
    char byte = 0;
    const bool isReadable = ::read(descriptor, &byte, 1) >= 0;
    const int error = errno;
    ::close(descriptor);
    return isReadable ? device.getDeviceErrorMsg() : qz::SystemError(error).toString();
}

void reportProgress(const Counts& counts, unsigned long lineSize)
{
    if (counts.bytesIn / kReportEvery == (counts.bytesIn - lineSize) / kReportEvery) return;
    qz::logDebug(kChannel) << counts.bytesIn / kReportEvery << " MB in " << counts.records
                           << " records";
}

unsigned long getResidentBytes()
{
    return qz::qzSystemUtils::GetUsedRamQuantityInBytes(qz::qzSystemUtils::RamResident);
}

}  // namespace

RecordWriter::RecordWriter(const std::string& path, qz::qzDataStream::Endianness endianness,
                           const SwapFolder* swapFolder,
                           const qz::qzCancelInterfaceReadOnly& cancel)
    : mMemoryBefore(getResidentBytes()),
      mDevice(path, qz::qzIoDevice::DataWayWrite, /*truncate=*/true),
      mBuffer(swapFolder ? std::make_unique<RecordBuffer>(swapFolder->getPath()) : nullptr),
      mTap(mBuffer ? mBuffer->editDevice() : mDevice, qz::qzIoDevice::DataWayWrite),
      mStream(mTap.editDevice(), endianness),
      mCancel(cancel)
{
    qz::logDev(kChannel) << "recording to '" << path << "'";
}

bool RecordWriter::recordFile(const std::string& path, RecordedFile& file, std::string& error)
{
    // A path of the kind "/dev/fd/63" stands for a pipe too, so the file's type decides.
    std::error_code unknown;
    file.isReadableAgain = std::filesystem::is_regular_file(path, unknown);

    qz::qzIoDeviceFileStream source(path, qz::qzIoDevice::DataWayRead, /*truncate=*/false);
    if (!source.isOpen()) {
        error = findReason(source);
        return false;
    }
    file.path = path;
    ++mCounts.files;
    Checksum checksum;
    LineReader lines(source);
    while (mStream.isOk() && !mCancel.shouldCancel() && lines.readLine(mRecord.text)) {
        mRecord.sequenceNumber = mCounts.records++;
        mRecord.wallClockMs = qz::qzSystemUtils::GetMSecElapsedSinceEpoch();
        mStream << mRecord.sequenceNumber << mRecord.wallClockMs << mRecord.text;
        mCounts.bytesIn += mRecord.text.size();
        ++file.records;
        checksum.writeBytes(mRecord.text.data(), mRecord.text.size());
        reportProgress(mCounts, mRecord.text.size());
    }
    file.checksum = checksum.getValue();
    mCounts.bytesOut = mTap.getWrittenBytes();
    qz::logTrace(kChannel) << "'" << path << "' ends at record " << mCounts.records;
    if (!source.good()) error = findReason(source);
    return source.good();
}

bool RecordWriter::finish()
{
    const bool isMoved = !mBuffer || moveBuffer();
    // A full disk may also refuse the bytes in the device's buffer. That shows at the next write,
    // which may be empty.
    mDevice.flush();
    mDevice.writeBytes("", 0);
    const bool isComplete = isMoved && isOk();
    mDevice.close();
    return isComplete;
}

// Writes the collected records to the file.
bool RecordWriter::moveBuffer()
{
    const unsigned long memory = getResidentBytes();
    mCounts.memory = memory > mMemoryBefore ? memory - mMemoryBefore : 0;
    return mBuffer->moveTo(mDevice);
}

std::string RecordWriter::getError() const
{
    // The devices before the buffer only report that it failed.
    if (mBuffer && !mBuffer->getError().empty()) return mBuffer->getError();
    return mStream.isOk() ? mDevice.getDeviceErrorMsg() : mStream.getErrorMsg();
}

RecordReader::RecordReader(const std::string& path, qz::qzDataStream::Endianness endianness,
                           const qz::qzCancelInterfaceReadOnly& cancel)
    : mDevice(path, qz::qzIoDevice::DataWayRead, /*truncate=*/false),
      mTap(mDevice, qz::qzIoDevice::DataWayRead),
      mStream(mTap.editDevice(), endianness),
      mCancel(cancel)
{
}

bool RecordReader::compareFile(const RecordedFile& file)
{
    ++mCounts.files;
    const bool isSame = file.isReadableAgain ? compareLines(file.path) : compareChecksum(file);
    mCounts.bytesOut = mTap.getReadBytes();
    return isSame;
}

bool RecordReader::compareLines(const std::string& path)
{
    qz::qzIoDeviceFileStream source(path, qz::qzIoDevice::DataWayRead, /*truncate=*/false);
    LineReader lines(source);
    std::string line;
    while (!mCancel.shouldCancel() && lines.readLine(line))
        if (!readRecord() || mRecord.text != line) return false;
    return true;
}

bool RecordReader::compareChecksum(const RecordedFile& file)
{
    Checksum checksum;
    for (unsigned long i = 0; i < file.records && !mCancel.shouldCancel(); ++i) {
        if (!readRecord()) return false;
        checksum.writeBytes(mRecord.text.data(), mRecord.text.size());
    }
    return checksum.getValue() == file.checksum;
}

bool RecordReader::readRecord()
{
    mStream >> mRecord.sequenceNumber >> mRecord.wallClockMs >> mRecord.text;
    if (!mStream.isOk() || mRecord.sequenceNumber != mCounts.records) return false;
    ++mCounts.records;
    mCounts.bytesIn += mRecord.text.size();
    return true;
}

}  // namespace recorder
