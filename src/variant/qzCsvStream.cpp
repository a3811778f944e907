#include <qz/qzCsvStream.h>

#include "CsvScan.h"

namespace qz {

qzCsvStream::qzCsvStream(qzIoDevice* device, char columnDelimiter, char stringDelimiter,
                         const std::string& lineEnd)
    : mLineEnd(lineEnd), mColumnDelimiter(columnDelimiter), mStringDelimiter(stringDelimiter)
{
    setDevice(device);
}

void qzCsvStream::setDevice(qzIoDevice* device)
{
    mDevice = device;
    mRowCount = 0;
    mCellCount = 0;
    mIsOk = true;
    std::vector<char>().swap(mScratch);
}

void qzCsvStream::writeCell(const char* data, unsigned long size)
{
    if (!mIsOk || mDevice == nullptr) {
        mIsOk = false;
        return;
    }
    if (mCellCount != 0)
        writeDelimiter(mColumnDelimiter);
    else if (mRowCount != 0)
        write(mLineEnd.data(), mLineEnd.size());
    ++mCellCount;
    if (size == 0) return;
    if (needsQuotes(data, size))
        writeQuoted(data, size);
    else
        write(data, size);
}

void qzCsvStream::endRow()
{
    if (mDevice == nullptr) {
        mIsOk = false;
        return;
    }
    ++mRowCount;
    mCellCount = 0;
}

void qzCsvStream::write(const char* data, unsigned long size)
{
    mIsOk = mIsOk && mDevice->writeBytes(data, size) == size;
}

bool qzCsvStream::needsQuotes(const char* data, unsigned long size) const
{
    bool isAscii = true;
    const variant::CsvSpecials specials(mColumnDelimiter, mStringDelimiter);
    return specials.find(data, data + size, isAscii) != data + size;
}

void qzCsvStream::writeQuoted(const char* data, unsigned long size)
{
    mScratch.clear();
    for (const char* c = data; c != data + size; ++c) {
        if (*c == mStringDelimiter) mScratch.push_back(*c);
        mScratch.push_back(*c);
    }
    writeDelimiter(mStringDelimiter);
    write(mScratch.data(), mScratch.size());
    writeDelimiter(mStringDelimiter);
}

}  // namespace qz
