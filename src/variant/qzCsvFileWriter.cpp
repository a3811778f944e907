// SPDX-License-Identifier: MIT
#include <qz/qzCsvFileWriter.h>

#include <algorithm>
#include <utility>

#include <qz/qzDirUtils.h>
#include <qz/qzIoDeviceFileStream.h>
#include <qz/qzLogObject.h>

namespace qz {

namespace {

constexpr char kByteOrderMark[] = {'\xef', '\xbb', '\xbf'};

}  // namespace

qzCsvFileWriter::qzCsvFileWriter(const std::string& folder, const std::string& baseName,
                                 unsigned int maxRowsPerFile, char columnDelimiter,
                                 char stringDelimiter, const std::string& lineEnd,
                                 bool writeByteOrderMark)
    : mFolder(folder),
      mBaseName(baseName),
      mMaxRowsPerFile(std::max(maxRowsPerFile, 1U)),
      mStream(std::make_unique<qzCsvStream>(nullptr, columnDelimiter, stringDelimiter, lineEnd)),
      mWritesByteOrderMark(writeByteOrderMark)
{
}

qzCsvFileWriter::~qzCsvFileWriter()
{
    closeFile();
}

void qzCsvFileWriter::setHeaders(const std::list<std::string>& headers)
{
    mHeaders = headers;
}

qzCsvStream* qzCsvFileWriter::getStream()
{
    const bool isFull = mStream->getRowCount() >= mMaxRowsPerFile && mStream->getCellCount() == 0;
    if (isFull) finalizeCurrentFile();
    if (mFile == nullptr) beginFile();
    return mStream.get();
}

void qzCsvFileWriter::finalizeCurrentFile()
{
    settle();
    closeFile();
}

bool qzCsvFileWriter::flush()
{
    settle();
    return std::exchange(mIsAllWritten, true);
}

// Checks whether the rows so far are written; a close reports no failure.
void qzCsvFileWriter::settle()
{
    bool isWritten = mStream->isOk();
    if (mFile != nullptr) {
        mFile->flush();
        mFile->writeBytes(nullptr, 0);  // reports a failed flush
        isWritten = isWritten && mFile->good();
    }
    mIsAllWritten = mIsAllWritten && isWritten;
}

void qzCsvFileWriter::closeFile()
{
    mStream->setDevice(nullptr);
    mFile.reset();
}

std::string qzCsvFileWriter::getNextPath() const
{
    std::string path = qzDirUtils::JoinPath(mFolder, mBaseName);
    if (mFileIndex != 0) path += " (" + std::to_string(mFileIndex) + ")";
    return path + ".csv";
}

void qzCsvFileWriter::beginFile()
{
    const std::string path = getNextPath();
    ++mFileIndex;
    mFile = std::make_unique<qzIoDeviceFileStream>(path, qzIoDevice::DataWayWrite,
                                                   /*truncate=*/true);
    if (mFile->hasDeviceError()) {
        // The device in error stays, so that no later row tries again.
        logCritical() << "Fail to open csv file " << path;
        mStream->setDevice(nullptr);
        return;
    }
    if (mWritesByteOrderMark) mFile->writeBytes(kByteOrderMark, sizeof kByteOrderMark);
    mStream->setDevice(mFile.get());
    if (mHeaders.empty()) return;
    for (const std::string& header : mHeaders)
        mStream->writeCell(header);
    mStream->endRow();
}

}  // namespace qz
