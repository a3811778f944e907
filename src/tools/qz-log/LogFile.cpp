// SPDX-License-Identifier: MIT
#include "LogFile.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <qz/SystemError.h>
#include <qz/qzStringUtils.h>

namespace qzlog {

namespace {

enum Kind : unsigned int {
    KindCut = 1,
    KindZeroByte = 2,
    KindShrunk = 4,
    KindFailure = 8,
    KindEncoding = 16,
};

}  // namespace

LogFile::LogFile(std::string path, int leastType, bool isFollowed, Problems& problems)
    : mPath(std::move(path)),
      mIsFollowed(isFollowed),
      mProblems(problems),
      mReader(&ReadBytes, this, leastType, isFollowed)
{
}

LogFile::~LogFile()
{
    close();
}

void LogFile::close()
{
    if (mDescriptor > STDERR_FILENO) ::close(mDescriptor);
    mDescriptor = -1;
}

bool LogFile::open()
{
    if (mPath == "-") {
        mDescriptor = STDIN_FILENO;
        return true;
    }
    // A named pipe without a writer would be waited for.
    mDescriptor = ::open(mPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    struct stat status = {};
    if (mDescriptor < 0 || ::fstat(mDescriptor, &status) != 0) {
        mProblems.report(mPath, errno);
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        mProblems.report(mPath, "it is no regular file");
        return false;
    }
    mIdentity = FileIdentity(mDescriptor, "", status);
    mReader.setSize(static_cast<std::size_t>(status.st_size));
    ::posix_fadvise(mDescriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    return true;
}

long LogFile::ReadBytes(void* file, char* bytes, std::size_t size)
{
    LogFile& self = *static_cast<LogFile*>(file);
    if (self.mDescriptor < 0) return 0;
    ssize_t count = 0;
    do {
        count = ::read(self.mDescriptor, bytes, size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) self.mError = errno;
    if (count > 0) self.mOffset += count;
    if (count >= 0 && static_cast<std::size_t>(count) < size) self.closeAtEnd();
    return count;
}

// What is read to its end needs no descriptor any more, so that there may be many small files.
void LogFile::closeAtEnd()
{
    if (mPath == "-" || mIsFollowed) return;
    struct stat status = {};
    if (::fstat(mDescriptor, &status) != 0 || status.st_size > mOffset) return;
    checkSize();
    close();
}

bool LogFile::next()
{
    const bool isThere = mReader.next(mEntry);
    if (mReader.hasFailed()) reportOnce(KindFailure, qz::SystemError(mError).toString());
    if (!isThere) {
        checkSize();
        return false;
    }
    if (mEntry.hasPrefix && mEntry.line.hasTime) {
        mTimeMs = mEntry.line.timeMs;
        mHasTime = true;
    }
    checkEntry();
    return true;
}

// At the end: the file may have become shorter than what was read.
void LogFile::checkSize()
{
    struct stat status = {};
    const bool isOpen = mPath != "-" && mDescriptor >= 0;
    if (!isOpen || ::fstat(mDescriptor, &status) != 0 || status.st_size >= mOffset) return;
    if (!mIsFollowed) {
        reportOnce(KindShrunk, "it became shorter while it was read");
        return;
    }
    mProblems.report(mPath, "it became shorter, and is read from its beginning");
    ::lseek(mDescriptor, 0, SEEK_SET);
    mOffset = 0;
    mReader.restart();
    mDecision = {};
}

void LogFile::checkEntry()
{
    if (mEntry.isCut) reportOnce(KindCut, "an entry of more than 1 MiB was cut");
    unsigned char allBits = 0;
    bool hasZero = false;
    for (const char c : mEntry.bytes) {
        allBits |= static_cast<unsigned char>(c);
        hasZero |= c == '\0';
    }
    const bool isUtf8 =
        allBits < 0x80 || qz::qzStringUtils::IsUtf8String(std::string(mEntry.bytes));
    mEntry.isDamaged = hasZero || !isUtf8;
    if (hasZero) reportOnce(KindZeroByte, "it contains zero bytes, which are shown as \\x00");
    // A cut may be within a character.
    if (!isUtf8 && !mEntry.isCut)
        reportOnce(KindEncoding, "it contains bytes that aren't UTF-8, which are shown as \\xC3");
}

void LogFile::reportOnce(unsigned int kind, const std::string& problem)
{
    if ((mReportedKinds & kind) != 0) return;
    mReportedKinds |= kind;
    mProblems.report(mPath, problem);
}

}  // namespace qzlog
