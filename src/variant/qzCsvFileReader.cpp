#include <qz/qzCsvFileReader.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <fstream>

#include <utf8.h>

#include "CsvScan.h"
#include "text/LocalPath.h"
#include "text/Utf8Scan.h"

// All that means something is ASCII, so the text between two such bytes is taken in one piece; it
// is decoded only where it isn't ASCII.

namespace qz {

namespace {

constexpr unsigned long kMaxBufferSize = 1048576;
constexpr unsigned long kMaxHeaderCellSize = 65535;
constexpr unsigned long kLongestCharacter = 4;
constexpr unsigned long kRowsPerStep = 1024;
constexpr const char* kHeaderTooLong =
    "Header cell size during parsing exceed max size of 65535 characters";

// A delimiter that isn't ASCII matches nothing; a line feed is looked for anyway.
char toByte(int delimiter)
{
    return delimiter >= 0 ? static_cast<char>(delimiter) : '\n';
}

bool isContinuation(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// The bytes that a lead byte announces, itself included; 1 for anything else.
std::ptrdiff_t getSequenceSize(char lead)
{
    const auto byte = static_cast<unsigned char>(lead);
    if (byte >= 0xF0) return 4;
    if (byte >= 0xE0) return 3;
    return byte >= 0xC0 ? 2 : 1;
}

// Leaves out a character at the end that may go on behind it.
const char* withoutCutCharacter(const char* begin, const char* end)
{
    const char* lead = end;
    while (lead != begin && end - lead < static_cast<std::ptrdiff_t>(kLongestCharacter)) {
        --lead;
        if (!isContinuation(*lead)) return end - lead < getSequenceSize(*lead) ? lead : end;
    }
    return end;
}

}  // namespace

// Where a batch of rows stands.
struct qzCsvFileReader::Parse {
    variant::CsvSpecials specials;
    bool inQuotes = false;
    bool afterQuote = false;  // the quotes may have been closed by the character before
    bool isRowPending = false;
    unsigned long rows = 0;
};

qzCsvFileReader::qzCsvFileReader(bool typeGuess) : mTypeGuess(typeGuess)
{
    mCell.reserve(1024);
    mRowBytes.reserve(131072);
    mCellSizes.reserve(128);
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
    mInput.reset();  // gives its descriptor back for the next one
    mInput =
        std::make_unique<std::ifstream>(text::toLocal(utf8Path), std::ios::in | std::ios::binary);
    if (!mInput->is_open()) mLastError = "Failed to open the file";
    mFileSize = 0;
    mBytesRead = 0;
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

bool qzCsvFileReader::parseNext(bool& finished, bool clearTable, unsigned long rowCount)
{
    if (clearTable) mTable.clear();
    mRowBytes.clear();
    mCellSizes.clear();
    finished = false;
    try {
        bool moreData = false;
        if (!getData(moreData)) {
            mLastError = kHeaderTooLong;
            return false;
        }
        if (isBufferEmpty()) {
            finished = true;
            return true;
        }
        return parseRows(finished, std::max(rowCount, 1UL));
    } catch (const std::exception& error) {
        mLastError = error.what();
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
    const auto unread = static_cast<unsigned long>(mBufferEnd - mCursor);
    if (unread >= kLongestCharacter) return true;
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
    Parse parse{variant::CsvSpecials(toByte(mColumnDelimiter), toByte(mStringDelimiter))};
    bool moreData = false;
    while (!isBufferEmpty()) {
        if (!takeText(parse)) return false;
        if (!isBufferEmpty() && parse.specials.contains(*mCursor)) {
            bool isDone = false;
            if (!takeSpecial(parse, *mCursor++, rowCount, isDone)) return false;
            if (isDone) {
                getData(moreData);
                finished = isBufferEmpty();
                return true;
            }
        }
        if (mBufferEnd - mCursor < static_cast<std::ptrdiff_t>(kLongestCharacter))
            getData(moreData);
    }
    if (parse.isRowPending) {
        if (!mCell.empty()) closeCell();
        if (!mCellSizes.empty()) finishRow();
    }
    finished = true;
    return true;
}

// Takes the text up to the next byte that means something.
bool qzCsvFileReader::takeText(Parse& parse)
{
    bool isAscii = true;
    const char* end = parse.specials.find(mCursor, mBufferEnd, isAscii);
    if (end == mBufferEnd && !isAscii && canGrow()) end = withoutCutCharacter(mCursor, end);
    if (end == mCursor) return true;
    parse.isRowPending = true;
    if (parse.inQuotes && parse.afterQuote) parse.inQuotes = false;
    parse.afterQuote = false;

    const auto size = static_cast<unsigned long>(end - mCursor);
    const bool isWellFormed = isAscii || text::isUtf8({mCursor, size});
    // Which comes first, a malformed character or the limit, is found one by one.
    if (!isWellFormed || isTooLongForHeader(mCell.size() + size)) return takeCharacters(end);
    mCell.insert(mCell.end(), mCursor, mCursor + size);
    mCursor += size;
    return true;
}

// Throws at a character that is malformed.
bool qzCsvFileReader::takeCharacters(const char* end)
{
    while (mCursor < end) {
        char* next = mCursor;
        utf8::next(next, mBufferEnd);
        if (!append(mCursor, static_cast<unsigned long>(next - mCursor))) return false;
        mCursor = next;
    }
    return true;
}

bool qzCsvFileReader::takeSpecial(Parse& parse, char c, unsigned long rowCount, bool& isDone)
{
    // Behind an opening or a doubled quote stands a NUL in the place of the character before, which
    // is a quote only where NUL is.
    const bool isNulQuote = mStringDelimiter == 0;
    parse.isRowPending = true;
    if (parse.inQuotes) {
        if (c == mStringDelimiter) {
            const bool isDoubled = parse.afterQuote;
            parse.afterQuote = !isDoubled || isNulQuote;
            return !isDoubled || append(&c, 1);
        }
        if (!parse.afterQuote) return append(&c, 1);
        parse.inQuotes = false;
        parse.afterQuote = false;
    } else if (c == mStringDelimiter) {
        parse.inQuotes = true;
        parse.afterQuote = isNulQuote;
        return true;
    }
    return takeOutside(parse, c, rowCount, isDone);
}

bool qzCsvFileReader::takeOutside(Parse& parse, char c, unsigned long rowCount, bool& isDone)
{
    if (c == mColumnDelimiter) {
        closeCell();
    } else if (c == '\n') {
        closeCell();
        finishRow();
        parse.isRowPending = false;
        isDone = ++parse.rows == rowCount;
    }
    return true;
}

bool qzCsvFileReader::append(const char* bytes, unsigned long size)
{
    mCell.insert(mCell.end(), bytes, bytes + size);
    if (!isTooLongForHeader(mCell.size())) return true;
    mLastError = kHeaderTooLong;
    return false;
}

void qzCsvFileReader::closeCell()
{
    mCellSizes.push_back(mCell.size());
    mRowBytes.insert(mRowBytes.end(), mCell.begin(), mCell.end());
    mCell.clear();
}

void qzCsvFileReader::finishRow()
{
    Row row;
    row.reserve(mCellSizes.size());
    const char* cell = mRowBytes.data();
    for (const unsigned long size : mCellSizes) {
        std::string text(cell, size);
        cell += size;
        if (mTypeGuess)
            row.push_back(qzVariant::BuildFromString(text));
        else
            row.emplace_back(std::move(text));
    }
    mTable.push_back(std::move(row));
    mMaxColumnCount = std::max(mMaxColumnCount, static_cast<unsigned int>(mCellSizes.size()));
    mRowBytes.clear();
    mCellSizes.clear();
}

bool qzCsvFileReader::isTooLongForHeader(unsigned long size) const
{
    return size > kMaxHeaderCellSize && mTable.empty();
}

bool qzCsvFileReader::canGrow() const
{
    return mBytesRead != mFileSize && mInput->good();
}

}  // namespace qz
