// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "EntryReader.h"
#include "FileIdentity.h"
#include "Problems.h"

namespace qzlog {

/// An open log and its present entry. What is wrong with it is reported once each.
class LogFile {
public:
    /// @param isFollowed whether the file is read on when it has grown.
    LogFile(std::string path, int leastType, bool isFollowed, Problems& problems);
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// Opens a regular file, or the standard input for "-". @return false after a failure.
    bool open();
    /// Moves on to the next entry. @return false at the end (for now).
    bool next();

    const Entry& getEntry() const { return mEntry; }
    /// The time of the entry; that of the one before if it has none.
    long getTimeMs() const { return mTimeMs; }
    /// Whether there was any time yet.
    bool hasTime() const { return mHasTime; }
    /// What a filter has decided about the last entry with a prefix. Lines without one that come
    /// later, because the file has grown, belong to it. `Selection` alone uses it.
    struct Decision {
        bool isPrefixSelected = true;  ///< What the prefix contains is as the filter requires.
        bool isShown = false;
    };
    Decision& editDecision() { return mDecision; }
    const std::string& getPath() const { return mPath; }
    const FileIdentity& getIdentity() const { return mIdentity; }

private:
    static long ReadBytes(void* file, char* bytes, std::size_t size);

    void close();
    void closeAtEnd();
    void checkSize();
    void checkEntry();
    void reportOnce(unsigned int kind, const std::string& problem);

    const std::string mPath;
    const bool mIsFollowed;
    Problems& mProblems;
    int mDescriptor = -1;
    FileIdentity mIdentity;
    long mOffset = 0;
    int mError = 0;
    unsigned int mReportedKinds = 0;
    EntryReader mReader;
    Entry mEntry;
    long mTimeMs = 0;
    bool mHasTime = false;
    Decision mDecision;
};

}  // namespace qzlog
