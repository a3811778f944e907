#include <qz/qzCsvFileReader.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <string_view>

#include <utf8.h>

#include "CsvScan.h"
#include "VariantAccess.h"
#include "VariantGuess.h"
#include "text/LocalPath.h"
#include "text/Utf8Scan.h"

// All that means something is ASCII, so the text between two such bytes is taken in one piece, and
// decoded only where it isn't ASCII. Nine cells of ten stand in the buffer as they are; those
// become values right there.

namespace qz {

namespace {

constexpr unsigned long kMaxBufferSize = 1048576;
constexpr unsigned long kMaxHeaderCellSize = 65535;
constexpr unsigned long kLongestCharacter = 4;
constexpr unsigned long kRowsPerStep = 1024;
constexpr const char* kHeaderTooLong =
    "Header cell size during parsing exceed max size of 65535 characters";

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
    variant::CsvScan scan;
    unsigned long rowsLeft;
    bool inQuotes = false;
    bool afterQuote = false;  // the quotes may have been closed by the character before
    bool isRowPending = false;
};

qzCsvFileReader::qzCsvFileReader(bool typeGuess) : mTypeGuess(typeGuess)
{
    mCell.reserve(1024);
    mRow.reserve(128);
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
    mRow.clear();
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
    Parse parse{variant::CsvScan(mColumnDelimiter, mStringDelimiter), rowCount};
    bool moreData = false;
    while (!isBufferEmpty()) {
        takeWholeCells(parse);
        if (parse.rowsLeft != 0 && !takePiece(parse)) return false;
        if (parse.rowsLeft == 0) {
            getData(moreData);
            finished = isBufferEmpty();
            return true;
        }
        if (mBufferEnd - mCursor < static_cast<std::ptrdiff_t>(kLongestCharacter)) {
            getData(moreData);
            parse.scan.reset();
        }
    }
    if (parse.isRowPending) {
        if (!mCell.empty()) closeCell();
        if (!mRow.empty()) finishRow();
    }
    finished = true;
    return true;
}

// Takes the cells that need not be gathered from pieces, as most are. Whatever is wrong with a cell
// is left for those who look at its pieces.
void qzCsvFileReader::takeWholeCells(Parse& parse)
{
    if (parse.inQuotes || !mCell.empty()) return;
    variant::CsvCell cell{};
    while (parse.rowsLeft != 0 && parse.scan.findCell(mCursor, mBufferEnd, cell)) {
        const auto size = static_cast<unsigned long>(cell.end - cell.begin);
        if (isTooLongForHeader(size)) return;
        if (!cell.isAscii && !text::isUtf8({cell.begin, size})) return;
        storeCell(cell.begin, size);
        mCursor = cell.terminator + 1;
        takeTerminator(parse, *cell.terminator);
    }
}

// Takes the text up to the next byte that means something, and that byte.
bool qzCsvFileReader::takePiece(Parse& parse)
{
    if (!takeText(parse)) return false;
    const bool isAtSpecial = !isBufferEmpty() && parse.scan.isSpecial(*mCursor);
    return !isAtSpecial || takeSpecial(parse, *mCursor++);
}

bool qzCsvFileReader::takeText(Parse& parse)
{
    bool isAscii = true;
    const char* end = parse.scan.find(mCursor, mBufferEnd, isAscii);
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
        const char* next = mCursor;
        utf8::next(next, mBufferEnd);
        if (!append(mCursor, static_cast<unsigned long>(next - mCursor))) return false;
        mCursor = next;
    }
    return true;
}

bool qzCsvFileReader::takeSpecial(Parse& parse, char c)
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
    if (c == mColumnDelimiter || c == '\n') {
        closeCell();
        takeTerminator(parse, c);
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
    storeCell(mCell.data(), mCell.size());
    mCell.clear();
}

void qzCsvFileReader::storeCell(const char* bytes, unsigned long size)
{
    const std::string_view text(bytes, size);
    mRow.push_back(mTypeGuess ? variant::guess(text) : variant::VariantAccess::makeString(text));
}

// A column delimiter that is a line feed is a column delimiter.
void qzCsvFileReader::takeTerminator(Parse& parse, char terminator)
{
    parse.isRowPending = terminator == mColumnDelimiter;
    if (parse.isRowPending) return;
    finishRow();
    --parse.rowsLeft;
}

void qzCsvFileReader::finishRow()
{
    mTable.emplace_back(std::make_move_iterator(mRow.begin()), std::make_move_iterator(mRow.end()));
    mMaxColumnCount = std::max(mMaxColumnCount, static_cast<unsigned int>(mRow.size()));
    mRow.clear();
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
