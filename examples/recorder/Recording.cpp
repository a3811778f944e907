#include "Recording.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include <qz/SystemError.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystemUtils.h>

#include "LineReader.h"

namespace recorder {

namespace {

constexpr const char* kChannel = "recorder";
constexpr unsigned long kReportEvery = 1024UL * 1024;

// The device knows that a file can't be opened or read; the system knows why.
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

}  // namespace

RecordWriter::RecordWriter(const std::string& path, qz::qzDataStream::Endianness endianness,
                           const qz::qzCancelInterfaceReadOnly& cancel)
    : mDevice(path, qz::qzIoDevice::DataWayWrite, /*truncate=*/true),
      mTap(mDevice, qz::qzIoDevice::DataWayWrite),
      mStream(mTap.editDevice(), endianness),
      mCancel(cancel)
{
    qz::logDev(kChannel) << "recording to '" << path << "'";
}

bool RecordWriter::recordFile(const std::string& path, std::string& error)
{
    qz::qzIoDeviceFileStream source(path, qz::qzIoDevice::DataWayRead, /*truncate=*/false);
    if (!source.isOpen()) {
        error = findReason(source);
        return false;
    }
    ++mCounts.files;
    LineReader lines(source);
    while (mStream.isOk() && !mCancel.shouldCancel() && lines.readLine(mRecord.text)) {
        mRecord.sequenceNumber = mCounts.records++;
        mRecord.wallClockMs = qz::qzSystemUtils::GetMSecElapsedSinceEpoch();
        mStream << mRecord.sequenceNumber << mRecord.wallClockMs << mRecord.text;
        mCounts.bytesIn += mRecord.text.size();
        reportProgress(mCounts, mRecord.text.size());
    }
    mCounts.bytesOut = mTap.getWrittenBytes();
    qz::logTrace(kChannel) << "'" << path << "' ends at record " << mCounts.records;
    if (!source.good()) error = findReason(source);
    return source.good();
}

bool RecordWriter::finish()
{
    // What is still in the device's buffer may meet a full disk as well: it shows at the next
    // write, so an empty one asks.
    mDevice.flush();
    mStream.writeRawData("", 0);
    const bool isComplete = isOk();
    mDevice.close();
    return isComplete;
}

RecordReader::RecordReader(const std::string& path, qz::qzDataStream::Endianness endianness,
                           const qz::qzCancelInterfaceReadOnly& cancel)
    : mDevice(path, qz::qzIoDevice::DataWayRead, /*truncate=*/false),
      mTap(mDevice, qz::qzIoDevice::DataWayRead),
      mStream(mTap.editDevice(), endianness),
      mCancel(cancel)
{
}

bool RecordReader::compareFile(const std::string& path)
{
    qz::qzIoDeviceFileStream source(path, qz::qzIoDevice::DataWayRead, /*truncate=*/false);
    ++mCounts.files;
    LineReader lines(source);
    std::string line;
    while (!mCancel.shouldCancel() && lines.readLine(line)) {
        mStream >> mRecord.sequenceNumber >> mRecord.wallClockMs >> mRecord.text;
        if (!mStream.isOk() || mRecord.sequenceNumber != mCounts.records || mRecord.text != line) {
            return false;
        }
        ++mCounts.records;
        mCounts.bytesIn += line.size();
    }
    mCounts.bytesOut = mTap.getReadBytes();
    return true;
}

}  // namespace recorder
