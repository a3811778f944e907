// SPDX-License-Identifier: MIT
#include "LogFile.h"

#include <cerrno>
#include <string_view>
#include <tuple>
#include <utility>

#include <poll.h>
#include <sys/file.h>
#include <unistd.h>

#include <qz/qzDirUtils.h>
#include <qz/qzSystemUtils.h>

#include "Console.h"
#include "SignalSafety.h"
#include "frame/base/TimeText.h"
#include "text/LocalPath.h"
#include "text/TextServices.h"

namespace qz::log {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kBlockSize = 65536;
constexpr int kMostWaitMs = 1000;
constexpr long kUnknownDay = -2;  // of a time that the system can't represent

const char* getDateFormat(int timeRotation)
{
    switch (timeRotation) {
        case qzLog::RotateDaily:
            return "%Y-%m-%d";
        case qzLog::RotateWeekly:
            return "%Y-W%U";
        default:
            return "%Y-%m";
    }
}

// A number that differs from that of each other day. It follows the time zone as the time in a line
// does.
long getLocalDay(long second)
{
    tm parts = {};
    if (!getLocalTime(second, parts)) return kUnknownDay;
    return parts.tm_year * 1000L + parts.tm_yday;
}

std::string makeFileName(const qzLogParameters& parameters)
{
    std::string name;
    name.reserve(parameters.folder.size() + parameters.baseName.size() +
                 parameters.extension.size() + 16);
    name.append(parameters.folder).append("/").append(parameters.baseName);
    if (parameters.timeRotation != qzLog::RotateNever) {
        name.append("-").append(getPresentTimeText(getDateFormat(parameters.timeRotation)));
    }
    return name.append(parameters.extension);
}

// Lines may still come after the stop of the text services.
std::string makeLocalName(const std::string& fileName)
{
    return text::areServicesUp() ? text::toLocal(fileName) : fileName;
}

// Locks a log file for the first lines in it. Processes without the lock of the folder write to the
// same files: those without a log thread, forked children, and all that can't create that lock.
// Somebody else may hold a lock of the file for any length of time, so the wait has a limit. The
// lines are written then all the same.
class FirstLinesLock {
public:
    explicit FirstLinesLock(const FileDescriptor& file) : mFile(file)
    {
        for (int waitedMs = 0; !tryLock() && waitedMs < kMostWaitMs; ++waitedMs) {
            if (errno != EWOULDBLOCK) return;
            ::poll(nullptr, 0, /*timeoutMs=*/1);
        }
    }
    // Not left to the end of the descriptor, which a child that is forked now has as well.
    ~FirstLinesLock() { ::flock(mFile.get(), LOCK_UN); }
    FirstLinesLock(const FirstLinesLock&) = delete;
    FirstLinesLock& operator=(const FirstLinesLock&) = delete;

private:
    bool tryLock() const { return ::flock(mFile.get(), LOCK_EX | LOCK_NB) == 0; }

    const FileDescriptor& mFile;
};

}  // namespace

// --- The settings

void LogFile::request(const LogFileRequest& request)
{
    forget();
    mParameters.maxFileSize = request.maxSize;
    mParameters.fileFlags = request.flags;
    mParameters.maxFileCount = request.maxFiles;
    mParameters.timeRotation = request.interval;
    std::string path;
    qzDirUtils::GetAbsolutePathUtf8(request.path, path, {});
    if (path.empty()) return;
    mParameters.rotationPending = true;
    mParameters.requestedPath = path;
    std::string fileName;
    qzDirUtils::SplitFolderFilename(path, mParameters.folder, fileName);
    mParameters.baseName = qzDirUtils::ExtractFileBaseName(fileName);
    // All that is left of the name, so that the file that is written is the one that was asked for.
    mParameters.extension = fileName.substr(mParameters.baseName.size());
    // Already now, for a child that is forked before the log thread installs the file.
    updateName();
}

void LogFile::forget()
{
    mParameters.folder.clear();
    mParameters.baseName.clear();
    mParameters.extension.clear();
    mParameters.requestedPath.clear();
    mParameters.currentFileUtf8.clear();
    mParameters.currentFileLocal.clear();
    mParameters.currentFileDay = kNoDay;
}

void LogFile::takeOver(const qzLogParameters& inUse)
{
    if (mParameters.requestedPath != inUse.requestedPath) return;
    mParameters.currentFileUtf8 = inUse.currentFileUtf8;
    mParameters.currentFileLocal = inUse.currentFileLocal;
    mParameters.currentFileDay = inUse.currentFileDay;
    mParameters.rotationPending = inUse.rotationPending;
}

void LogFile::resumeChild()
{
    mParameters.rotationPending = false;
}

bool isSameFile(const qzLogParameters& left, const qzLogParameters& right)
{
    const auto request = [](const qzLogParameters& of) {
        return std::tie(of.baseName, of.extension, of.maxFileCount, of.maxFileSize, of.folder,
                        of.timeRotation, of.fileFlags, of.requestedPath);
    };
    return request(left) == request(right);
}

void LogFile::updateName()
{
    if (!isRequested()) {
        mParameters.currentFileUtf8.clear();
        mParameters.currentFileLocal.clear();
        mParameters.rotationPending = false;
        return;
    }
    const bool isDated = mParameters.timeRotation != qzLog::RotateNever;
    const long second = isDated ? qzSystemUtils::GetSecElapsedSinceEpoch() : 0;
    if (std::exchange(mNamedSecond, second) == second) return;
    // Within a day a name doesn't change.
    const long day = isDated ? getLocalDay(second) : 0;
    if (day == mParameters.currentFileDay) return;
    const bool hadName = std::exchange(mParameters.currentFileDay, day) != kNoDay;
    std::string fileName = makeFileName(mParameters);
    if (fileName == mParameters.currentFileUtf8) return;
    mParameters.currentFileLocal = makeLocalName(fileName);
    mParameters.currentFileUtf8 = std::move(fileName);
    // The first name is that of the file as it was found.
    if (hadName) mParameters.rotationPending = true;
}

// --- The lines of a batch

void LogFile::write(const qzLog::LogEntry& entry)
{
    if (!mHasBegun) begin();
    if (mParameters.maxFileSize > 0 && mPosition > mParameters.maxFileSize) rotate();
    if (!mFile.isOpen()) {
        // For the next batch, which will find the folder; this one has lost its file.
        if (text::areServicesUp()) qzDirUtils::MkpathUtf8(mParameters.folder);
        if (!mParameters.echoToConsole) Console::WriteLine(entry.prefix, entry.message);
        return;
    }
    const std::size_t sizeBefore = mLines.size();
    if (mPosition == 0) {
        mLines += kByteOrderMark;
        mBeginsFile = true;
    }
    mLines.append(entry.prefix).append(entry.message) += '\n';
    mPosition += static_cast<long>(mLines.size() - sizeBefore);
    if (mLines.size() >= kBlockSize) flush();
}

void LogFile::close()
{
    flush();
    mFile.close();
    mHasBegun = false;
}

void LogFile::begin()
{
    mHasBegun = true;
    // The calendar has given the file a new name.
    if (mParameters.rotationPending && text::areServicesUp()) prune();
    open(/*mode=*/0);
    mPosition = mFile.isOpen() ? ::lseek(mFile.get(), 0, SEEK_END) : -1;
}

void LogFile::rotate()
{
    if (!text::areServicesUp()) return;  // the last lines of a process go into the file as it is
    close();
    mHasBegun = true;
    renamePrevious();
    prune();
    open(O_TRUNC);
    mPosition = 0;
}

// In append mode also after truncation: a process without the lock may write to the file too.
void LogFile::open(int mode)
{
    mFile =
        FileDescriptor::Open(mParameters.currentFileLocal.c_str(), kOpenFlags | O_APPEND | mode);
    mIsStuck = false;
}

void LogFile::flush()
{
    if (mBeginsFile) {
        writeFirstLines();
    } else {
        writeLines(mLines);
    }
    mBeginsFile = false;
    mLines.clear();
}

// Without the mark if another process has begun the file since it was opened.
void LogFile::writeFirstLines()
{
    const FirstLinesLock lock(mFile);
    std::string_view lines = mLines;
    const long size = ::lseek(mFile.get(), 0, SEEK_END);
    if (size > 0) {
        lines.remove_prefix(kByteOrderMark.size());
        mPosition += size - static_cast<long>(kByteOrderMark.size());
    }
    writeLines(lines);
}

// An error ends the block: nobody can be told of it.
void LogFile::writeLines(std::string_view lines)
{
    while (mFile.isOpen() && !lines.empty()) {
        lines.remove_prefix(mFile.write(lines));
        if (lines.empty() || mIsStuck) return;
        discardOwnFileSizeSignal();
        if (errno != EAGAIN) return;
        mIsStuck = !FileDescriptor::AwaitSpace(mFile.get(), kMostWaitMs);
    }
}

// --- The lock

bool LogFolderLock::follow(const qzLogParameters& next, const qzLogParameters& inUse)
{
    if (next.folder == inUse.folder) return false;
    mLock.reset();
    if (!next.folder.empty()) mLock = std::make_unique<qzMutexSystem>(next.folder.c_str());
    return true;
}

std::unique_lock<qzMutexSystem> LogFolderLock::lock() const
{
    return mLock != nullptr ? std::unique_lock(*mLock) : std::unique_lock<qzMutexSystem>();
}

}  // namespace qz::log
