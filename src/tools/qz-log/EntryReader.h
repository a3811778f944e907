// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

#include <qz/ext/LogLine.h>

namespace qzlog {

/// One entry: the line that begins with a prefix and the lines without one that follow it.
struct Entry {
    std::string_view bytes = {};  ///< All lines, without the last line end.
    bool hasPrefix = false;       ///< False for lines without an entry, or of the one before.
    bool isContinuation = false;  ///< Whether the lines belong to the entry that was read before.
    bool isCut = false;           ///< Whether bytes of a huge entry are left out.
    bool isDamaged = false;       ///< Whether it has zero bytes or isn't UTF-8; set by `LogFile`.
    /// The parsed first line; its text reaches to the end of `bytes`. Only with a prefix.
    qz::ext::LogLine line = {};
};

/// Divides the bytes of a log into entries, with a buffer that stops growing at 4 MiB.
///
/// Most entries don't have the level that is searched for. Of these only the type is read.
class EntryReader {
public:
    /// Longer entries are cut.
    static constexpr std::size_t kMaxEntryBytes = 1024UL * 1024;

    /// Reads up to `size` bytes. @return their number, 0 at the end, negative for a failure.
    using ReadBytes = long (*)(void* source, char* bytes, std::size_t size);

    /// @param leastType entries of less serious types are skipped.
    /// @param keepsLastLine whether a last line without a line end is left for a later call, when
    ///     the log has grown.
    EntryReader(ReadBytes readBytes, void* source, int leastType, bool keepsLastLine);

    /// Finds the next entry, which is valid until the next call.
    /// @return false at the end and after a failure; a later call tries to read on.
    bool next(Entry& entry);
    /// Sets how many bytes the log has for now, so that a small one takes little memory.
    void setSize(std::size_t size);
    /// Whether the last read has failed.
    bool hasFailed() const { return mHasFailed; }
    /// Drops what is in the buffer, because the log begins anew.
    void restart();

private:
    bool loadLine();
    bool findLineEnd();
    bool fill();
    void makeRoom();
    int classify(std::string_view line);
    int guessType(std::string_view line) const;
    void passLine();
    static void relocate(Entry& entry, const char* oldBegin);

    const ReadBytes mReadBytes;
    void* const mSource;
    const int mLeastType;
    const bool mKeepsLastLine;
    std::array<std::string_view, 7> mTypeNames;  // by type
    bool mHasFailed = false;

    // Positions in the buffer. Needed are the part of the entry that is kept, and the bytes from
    // the current line on; what is between them belongs to a cut entry.
    std::size_t mFirstBytes;
    std::vector<char> mBuffer;
    std::size_t mEntry = 0;
    std::size_t mKeptEnd = 0;
    std::size_t mLine = 0;
    std::size_t mLineEnd = 0;   // of the current line, if one is loaded
    std::size_t mSearched = 0;  // there is no line end from mLine up to here
    std::size_t mEnd = 0;
    bool mIsLineLoaded = false;
    bool mIsLineCut = false;
    int mLineType = 0;         // kNoPrefix for a line without one
    bool mIsSelected = false;  // whether the entry before has the level
    bool mIsEntryBefore = false;
    qz::ext::LogLine mParsed;
};

}  // namespace qzlog
