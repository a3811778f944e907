// SPDX-License-Identifier: MIT
#include <qz/qzCsvFileReader.h>

#include <cxxabi.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <ios>
#include <limits>
#include <string_view>
#include <utility>

#include "CsvParser.h"
#include "VariantAccess.h"
#include "VariantGuess.h"
#include "frame/base/FileStreamBuffer.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

constexpr unsigned long kMaxBufferSize = 1048576;
constexpr unsigned long kMaxHeaderCellSize = 65535;
constexpr std::ptrdiff_t kLongestCharacter = 4;  // bytes
constexpr unsigned long kRowsPerStep = 1024;
constexpr unsigned long kReservedCellBytes = 1024;
constexpr unsigned long kReservedRowBytes = 131072;
constexpr unsigned long kReservedCells = 128;
constexpr const char* kHeaderTooLong =
    "Header cell size during parsing exceed max size of 65535 characters";

}  // namespace

qzCsvFileReader::qzCsvFileReader(bool typeGuess) : mTypeGuess(typeGuess)
{
    mCell.reserve(kReservedCellBytes);
    mRowBytes.reserve(kReservedRowBytes);
    mCellSizes.reserve(kReservedCells);
}

qzCsvFileReader::~qzCsvFileReader() = default;

void qzCsvFileReader::setColumnDelimiter(char delimiter)
{
    // A byte beyond ASCII becomes negative and matches nothing.
    mColumnDelimiter = delimiter;  // NOLINT(bugprone-signed-char-misuse)
}

void qzCsvFileReader::setStringDelimiter(char delimiter)
{
    mStringDelimiter = delimiter;  // NOLINT(bugprone-signed-char-misuse)
}

void qzCsvFileReader::setFileName(const std::string& utf8Path)
{
    if (utf8Path == mFileName) return;
    mFileName = utf8Path;
    mInput.reset();  // releases its descriptor before the next file is opened
    mInput = std::make_unique<FileStream>();
    if (!mInput->open(text::toLocal(utf8Path).c_str(), std::ios::in | std::ios::binary))
        mLastError = "Failed to open the file";
    mFileSize = 0;
    mBytesRead = 0;
}

std::vector<qzCsvFileReader::Row> qzCsvFileReader::takeTable()
{
    return std::exchange(mTable, {});
}

bool qzCsvFileReader::startParsing()
{
    mLastError.clear();
    mTable.clear();
    mMaxColumnCount = 0;
    mReadBuffer.clear();
    mCursor = nullptr;
    mBufferEnd = nullptr;
    mCell.clear();
    mBytesRead = 0;
    if (mInput == nullptr) return false;
    mInput->clear();
    mInput->seekg(0, std::ios::end);
    const std::streamoff size = mInput->tellg();
    mFileSize = static_cast<unsigned long>(std::max<std::streamoff>(size, 0));
    mInput->seekg(0, std::ios::beg);
    return true;
}

bool qzCsvFileReader::parseFirst(bool& finished, unsigned long rowCount)
{
    finished = false;
    return startParsing() && parseNext(finished, /*clearTable=*/false, rowCount);
}

// A cancellation has no object: the reference that catches it is null, which a sanitizer reports.
__attribute__((no_sanitize("null"))) bool qzCsvFileReader::parseNext(bool& finished,
                                                                     bool clearTable,
                                                                     unsigned long rowCount)
{
    if (clearTable) mTable.clear();
    finished = false;
    try {
        bool moreData = false;
        if (!getData(moreData)) {
            mLastError = kHeaderTooLong;
            return false;
        }
        if (mCursor == mBufferEnd) {
            finished = true;
            return true;
        }
        return parseRows(finished, std::max(rowCount, 1UL));
    } catch (const std::exception& error) {
        mLastError = error.what();
    } catch (const abi::__forced_unwind&) {  // the thread is being cancelled
        throw;
    } catch (...) {
        mLastError = "Unknown error";
    }
    return false;
}

bool qzCsvFileReader::parseCsvFile()
{
    bool finished = false;
    if (!parseFirst(finished, kRowsPerStep)) return false;
    while (!finished)
        if (!parseNext(finished, /*clearTable=*/false, kRowsPerStep)) return false;
    return true;
}

bool qzCsvFileReader::getData(bool& moreData)
{
    moreData = false;
    if (mInput == nullptr) return false;
    if (mReadBuffer.empty() && mFileSize != 0) {
        mReadBuffer.resize(std::min(mFileSize, kMaxBufferSize));
        mCursor = mReadBuffer.data() + mReadBuffer.size();
        mBufferEnd = mCursor;
    }
    if (mBytesRead == mFileSize) return true;
    moreData = true;
    if (mBufferEnd - mCursor >= kLongestCharacter) return true;
    const auto unread = static_cast<unsigned long>(mBufferEnd - mCursor);
    char* const begin = mReadBuffer.data();
    std::memmove(begin, mCursor, unread);
    const unsigned long wanted = std::min(mFileSize - mBytesRead, mReadBuffer.size() - unread);
    mInput->read(begin + unread, static_cast<std::streamsize>(wanted));
    const auto got = static_cast<unsigned long>(mInput->gcount());
    mBytesRead += got;
    mCursor = begin;
    mBufferEnd = begin + unread + got;
    return true;
}

bool qzCsvFileReader::parseRows(bool& finished, unsigned long rowCount)
{
    using Stop = variant::CsvParser::Stop;
    variant::CsvParser parser(mColumnDelimiter, mStringDelimiter, {mCell, mRowBytes, mCellSizes});
    bool moreData = false;
    while (mCursor != mBufferEnd) {
        const bool mayGrow = mBytesRead != mFileSize && mInput->good();
        const unsigned long longestCell =
            mTable.empty() ? kMaxHeaderCellSize : std::numeric_limits<unsigned long>::max();
        const Stop stop = parser.parse({mCursor, mBufferEnd, mayGrow, longestCell});
        if (stop == Stop::CellTooLong) {
            mLastError = kHeaderTooLong;
            return false;
        }
        if (stop == Stop::RowComplete) {
            finishRow();
            if (--rowCount == 0) {
                getData(moreData);
                finished = mCursor == mBufferEnd;
                return true;
            }
        }
        if (mBufferEnd - mCursor < kLongestCharacter) {
            getData(moreData);
            parser.forgetBytes();
        }
    }
    if (parser.completeLastRow()) finishRow();
    finished = true;
    return true;
}

void qzCsvFileReader::finishRow()
{
    Row row;
    row.reserve(mCellSizes.size());
    const char* cell = mRowBytes.data();
    for (const unsigned long size : mCellSizes) {
        const std::string_view text(cell, size);
        row.push_back(mTypeGuess ? variant::guess(text) : variant::VariantAccess::makeString(text));
        cell += size;
    }
    mTable.push_back(std::move(row));
    mMaxColumnCount = std::max(mMaxColumnCount, static_cast<unsigned int>(mCellSizes.size()));
}

}  // namespace qz
