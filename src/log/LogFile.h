// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include <fcntl.h>

#include <qz/qzLog.h>
#include <qz/qzMutex.h>

#include "frame/base/FileDescriptor.h"
#include "qzLogParameters.h"

namespace qz::log {

/// The bits of the flags that a file handler is installed with.
enum FileFlags : int {
    FileRemove = 1,         ///< Remove the previous file.
    FileRename = 2,         ///< With `FileRemove`: rename the previous file instead.
    FileEchoToConsole = 4,  ///< Go on showing entries on the console.
    FileUntried = 8,        ///< Don't try whether the file can be opened.
};

/// What a file handler is asked for.
struct LogFileRequest {
    std::string path;
    int flags = 0;
    long maxSize = 0;
    int maxFiles = 0;
    qzLog::TimeRotationInterval interval = qzLog::RotateNever;
};

/// The log file that a record of settings names: its name, its installation, its rotation and the
/// lines of one batch. No other code uses the file's fields of the record.
///
/// The file is open only while a batch is written, so that others may move or delete it in between.
///
/// A named pipe in its place never blocks the log for good. Without a reader it counts as a file
/// that can't be opened. A reader that is too slow is given a second in each batch; what it hasn't
/// taken then is lost.
class LogFile {
public:
    /// Makes an object that has opened nothing. The record must outlive it.
    explicit LogFile(qzLogParameters& parameters) : mParameters(parameters) {}
    ~LogFile() { close(); }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // --- The settings

    /// Stores what is asked for. A path that has no absolute form leaves the record without a file.
    void request(const LogFileRequest& request);
    /// Removes all names from the record, so that there is no file.
    void forget();
    /// Takes over from the record that was used so far which file is in use, if it is the same one.
    void takeOver(const qzLogParameters& inUse);
    /// Takes the file over as the parent of a forked child has left it.
    void resumeChild();
    /// Whether the record names a file.
    bool isRequested() const { return !mParameters.requestedPath.empty(); }

    // --- The file

    /// Prepares the disk for the file. If that fails, it reports so, and the record names no file
    /// any more: lines go to the console then.
    /// @param requestedPath as the caller gave it, for a path that has no absolute form.
    void install(const std::string& requestedPath);
    /// Gives the file the name of the present day, week or month.
    void updateName();
    /// Writes a line; to the console if the file can't be opened. The first line opens the file,
    /// whose name must be up to date.
    void write(const qzLog::LogEntry& entry);
    /// Brings the lines to the file, which stays open.
    void flush();
    /// Brings the lines to the file and closes it. A later line opens it again.
    void close();

private:
    // Without O_NONBLOCK a named pipe in the file's place would block the log until somebody reads.
    static constexpr int kOpenFlags = O_WRONLY | O_CREAT | O_NONBLOCK;

    void begin();
    void rotate();
    void open(int mode);
    void writeFirstLines();
    void writeLines(std::string_view lines);

    bool canOpen() const;
    void makeFolder(std::string& notes) const;
    void removePrevious(std::string& notes) const;
    void renamePrevious();
    void prune();
    void fallBackToConsole();

    qzLogParameters& mParameters;
    std::string mLines;        // not yet in the file
    long mNamedSecond = -1;    // for which the name is up to date
    long mPosition = -1;       // of the end of mLines in the file; negative if unknown
    FileDescriptor mFile;      // not open if that failed
    bool mBeginsFile = false;  // whether mLines begin with the byte order mark
    bool mHasBegun = false;    // whether this batch has tried to open the file
    bool mIsStuck = false;     // whether a pipe in the file's place takes no more
};

/// Keeps other processes that log into the same folder away.
class LogFolderLock {
public:
    /// Goes over from the folder of the record in use to that of another record, which may have
    /// none.
    /// @return whether they differ.
    bool follow(const qzLogParameters& next, const qzLogParameters& inUse);
    /// Waits for the lock.
    std::unique_lock<qzMutexSystem> lock() const;
    void reset() { mLock.reset(); }

    bool isEmpty() const { return mLock == nullptr; }

private:
    std::unique_ptr<qzMutexSystem> mLock;
};

/// Whether two records ask for the same file.
bool isSameFile(const qzLogParameters& left, const qzLogParameters& right);

}  // namespace qz::log
