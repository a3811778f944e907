// SPDX-License-Identifier: MIT
#include <qz/qzCsvStream.h>

#include <algorithm>
#include <cstring>

#include "CsvSpecials.h"

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
    return variant::CsvSpecials(mColumnDelimiter, mStringDelimiter).areIn(data, size);
}

void qzCsvStream::writeQuoted(const char* data, unsigned long size)
{
    if (std::memchr(data, mStringDelimiter, size) != nullptr) {
        doubleDelimiters(data, data + size);
        data = mScratch.data();
        size = mScratch.size();
    }
    writeDelimiter(mStringDelimiter);
    write(data, size);
    writeDelimiter(mStringDelimiter);
}

void qzCsvStream::doubleDelimiters(const char* begin, const char* end)
{
    mScratch.clear();
    for (;;) {
        const char* const delimiter = std::find(begin, end, mStringDelimiter);
        mScratch.insert(mScratch.end(), begin, delimiter);
        if (delimiter == end) return;
        mScratch.insert(mScratch.end(), 2, mStringDelimiter);
        begin = delimiter + 1;
    }
}

}  // namespace qz
