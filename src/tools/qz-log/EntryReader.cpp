// SPDX-License-Identifier: MIT
#include "EntryReader.h"

#include <algorithm>
#include <cstring>

namespace qzlog {

namespace {

using qz::qzLog;

constexpr std::size_t kLeastBufferBytes = 1024;
constexpr std::size_t kFirstBufferBytes = 64UL * 1024;
constexpr std::size_t kMaxBufferBytes = 4 * EntryReader::kMaxEntryBytes;
constexpr int kNoPrefix = -1;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// The type whose name begins with this letter.
int getTypeOfLetter(std::string_view line)
{
    switch (line.empty() ? '\0' : line[0]) {
        case 'I':
            return qzLog::Info;
        case 'W':
            return qzLog::Warning;
        case 'C':
            return qzLog::Critical;
        case 'T':
            return qzLog::Trace;
        case 'U':
            return qzLog::Unknown;
        case 'D':
            return line.size() > 2 && line[2] == 'V' ? qzLog::Dev : qzLog::Debug;
        default:
            return kNoPrefix;
    }
}

}  // namespace

// The type of a line that may begin with a prefix; kNoPrefix for one that certainly doesn't.
int EntryReader::guessType(std::string_view line) const
{
    const int type = getTypeOfLetter(line);
    if (type == kNoPrefix) return type;
    const std::string_view name = mTypeNames[static_cast<std::size_t>(type)];
    if (line.size() <= name.size() || std::memcmp(line.data(), name.data(), name.size()) != 0)
        return kNoPrefix;
    const char after = line[name.size()];
    return after == ' ' || after == '(' ? type : kNoPrefix;
}

EntryReader::EntryReader(ReadBytes readBytes, void* source, int leastType, bool keepsLastLine)
    : mReadBytes(readBytes),
      mSource(source),
      mLeastType(leastType),
      mKeepsLastLine(keepsLastLine),
      mFirstBytes(kFirstBufferBytes)
{
    for (std::size_t i = 0; i != mTypeNames.size(); ++i)
        mTypeNames[i] = qz::ext::getTypeName(static_cast<int>(i));
}

// One byte more shows that there are no others.
void EntryReader::setSize(std::size_t size)
{
    mFirstBytes = std::clamp(size + 1, kLeastBufferBytes, kFirstBufferBytes);
}

void EntryReader::restart()
{
    mEntry = mKeptEnd = mLine = mSearched = mEnd = 0;
    mIsLineLoaded = mIsLineCut = mIsEntryBefore = mIsSelected = false;
}

bool EntryReader::next(Entry& entry)
{
    mEntry = mKeptEnd = mLine;
    // A line without a prefix belongs to the entry before it, and so to none at the beginning.
    while (loadLine()) {
        const bool hasPrefix = mLineType != kNoPrefix;
        if (hasPrefix) mIsSelected = mLineType >= mLeastType;
        if (mIsSelected || (!hasPrefix && !mIsEntryBefore && mLeastType <= qzLog::Dev)) break;
        if (hasPrefix) mIsEntryBefore = true;
        passLine();
        mEntry = mKeptEnd = mLine;
    }
    if (!mIsLineLoaded) return false;

    entry = {};
    entry.hasPrefix = mLineType != kNoPrefix;
    entry.isContinuation = !entry.hasPrefix && mIsEntryBefore;
    if (entry.hasPrefix) {
        entry.line = mParsed;
        mIsEntryBefore = true;
    }
    const char* const oldBegin = mBuffer.data() + mLine;
    mEntry = mKeptEnd = mLine;
    do {
        const std::size_t limit = mEntry + kMaxEntryBytes;
        if (mKeptEnd + 1 >= mLine) mKeptEnd = std::min(mLineEnd, limit);
        entry.isCut |= mIsLineCut || mKeptEnd != mLineEnd;
        passLine();
    } while (loadLine() && mLineType == kNoPrefix);
    entry.bytes = {mBuffer.data() + mEntry, mKeptEnd - mEntry};
    if (entry.isCut && entry.bytes.back() == '\n') entry.bytes.remove_suffix(1);
    if (entry.hasPrefix) relocate(entry, oldBegin);
    return true;
}

// Lets the parts of the first line point to where the bytes are now.
void EntryReader::relocate(Entry& entry, const char* oldBegin)
{
    const auto move = [&](std::string_view part) {
        if (part.empty()) return part;
        return entry.bytes.substr(static_cast<std::size_t>(part.data() - oldBegin), part.size());
    };
    entry.line.subType = move(entry.line.subType);
    entry.line.threadId = move(entry.line.threadId);
    const auto prefixSize = static_cast<std::size_t>(entry.line.text.data() - oldBegin);
    entry.line.text = entry.bytes.substr(std::min(prefixSize, entry.bytes.size()));
}

// Steps over the current line.
void EntryReader::passLine()
{
    mLine = mSearched = std::min(mLineEnd + 1, mEnd);
    mIsLineLoaded = mIsLineCut = false;
}

// Finds the current line, unless it is known. @return false if there is none (yet).
bool EntryReader::loadLine()
{
    if (mIsLineLoaded) return true;
    if (!findLineEnd()) return false;
    std::string_view line(mBuffer.data() + mLine, mLineEnd - mLine);
    // Within an entry it is text, unless another file begins there.
    if (line.substr(0, kByteOrderMark.size()) == kByteOrderMark &&
        (mEntry == mLine || classify(line.substr(kByteOrderMark.size())) != kNoPrefix)) {
        if (mEntry == mLine) mEntry += kByteOrderMark.size();
        mLine += kByteOrderMark.size();
        line.remove_prefix(kByteOrderMark.size());
    }
    mLineType = classify(line);
    mIsLineLoaded = true;
    return true;
}

bool EntryReader::findLineEnd()
{
    for (;;) {
        if (const std::size_t size = mEnd - mSearched; size != 0) {
            const void* const found = std::memchr(mBuffer.data() + mSearched, '\n', size);
            if (found != nullptr) {
                mLineEnd =
                    static_cast<std::size_t>(static_cast<const char*>(found) - mBuffer.data());
                return true;
            }
            mSearched = mEnd;
        }
        if (fill()) continue;
        mLineEnd = mEnd;
        return !mKeepsLastLine && mLine != mEnd;
    }
}

// Reads more bytes. @return false at the end and after a failure.
bool EntryReader::fill()
{
    if (mEnd == mBuffer.size()) makeRoom();
    const long count = mReadBytes(mSource, mBuffer.data() + mEnd, mBuffer.size() - mEnd);
    mHasFailed = count < 0;
    if (count <= 0) return false;
    mEnd += static_cast<std::size_t>(count);
    return true;
}

// Moves what is needed to the front. If that is all, the buffer grows, and at its limit the end of
// a huge line is dropped.
void EntryReader::makeRoom()
{
    const std::size_t kept = mKeptEnd - mEntry;
    const std::size_t gap = kept == 0 ? 0 : 1;  // for the line end
    const std::size_t moved = mLine - std::min(mLine, kept + gap);
    if (moved != 0) {
        std::memmove(mBuffer.data(), mBuffer.data() + mEntry, kept);
        std::memmove(mBuffer.data() + mLine - moved, mBuffer.data() + mLine, mEnd - mLine);
        if (gap != 0) mBuffer[kept] = '\n';
        mEntry = 0;
        mKeptEnd = kept;
        mLine -= moved;
        mSearched -= moved;
        mEnd -= moved;
    }
    if (mEnd < mBuffer.size()) return;
    if (mBuffer.size() < kMaxBufferBytes) {
        mBuffer.resize(std::clamp(mBuffer.size() * 2, mFirstBytes, kMaxBufferBytes));
    } else {
        mIsLineCut = true;
        mEnd = mSearched = mLine + kMaxEntryBytes;
    }
}

// The type of a line, or kNoPrefix. If neither this line nor the entry before has the level, it
// makes no difference whether the line belongs to that entry, so its prefix isn't parsed.
int EntryReader::classify(std::string_view line)
{
    const int type = guessType(line);
    if (type == kNoPrefix || (type < mLeastType && !mIsSelected)) return type;
    return qz::ext::parseLogLine(line, mParsed) ? mParsed.type : kNoPrefix;
}

}  // namespace qzlog
