// SPDX-License-Identifier: MIT
#include "LockedFile.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <qz/qzSystemUtils.h>

#include "frame/base/FileDescriptor.h"
#include "frame/base/ProcessIdentity.h"

namespace qz::system {

namespace {

// Each further attempt needs a holder that removes the file between the opening and the lock.
constexpr int kMaxAttempts = 1000;

// Nothing is truncated: the file of another taker must keep its content. A taker must not wait
// either for the reader of a full named pipe or for the end of a lease, which O_NONBLOCK makes
// failures, and a terminal at the path must not become that of the process.
constexpr int kFlags = O_RDWR | O_NONBLOCK | O_NOCTTY;

FileDescriptor openWith(const std::string& localPath, int extraFlags)
{
    return FileDescriptor::Open(localPath.c_str(), kFlags | extraFlags);
}

StandardFile makeStream(FileDescriptor descriptor)
{
    if (!descriptor.isOpen()) return {};
    StandardFile file(::fdopen(descriptor.get(), "r+"));
    if (file != nullptr) descriptor.release();
    return file;
}

// Opens the file, or makes it if it is missing. The first attempt makes it: most locks are released
// with the removal of their file, so that it is missing, and a failed opening is saved.
StandardFile openFile(const std::string& localPath, bool& wasThere)
{
    wasThere = false;
    FileDescriptor made = openWith(localPath, O_CREAT | O_EXCL);
    if (made.isOpen()) return makeStream(std::move(made));
    StandardFile existing = makeStream(openWith(localPath, 0));
    wasThere = existing != nullptr;
    if (wasThere) return existing;
    return makeStream(openWith(localPath, O_CREAT));  // at the end of a link, or just removed
}

bool changeLock(int descriptor, int operation)
{
    int result = 0;
    do {
        result = ::flock(descriptor, operation);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

// A forked child has copies of its parent's objects. So that it can tell its own locks from those
// of its parent, the system keeps the child with the open file. The process that has loaded the
// library has no such copies and needs no mark.
void markLockOfForkedChild(int descriptor)
{
    if (isForkedSinceLoad())
        ::fcntl(descriptor, F_SETOWN, static_cast<pid_t>(qzSystemUtils::GetCurrentProcessID()));
}

// A release must know the kind of its lock, and the fixed layout of `qzLockFile` has no field for
// it. So the buffering of the stream shows it, which has no other effect: the content is flushed at
// once. To treat each lock as a shared one is no way out, as anybody's record lock would then
// prevent the removal of the file.
void markKindOfLock(std::FILE* file, bool isShared)
{
    std::setvbuf(file, nullptr, isShared ? _IOLBF : _IONBF, 0);
}

bool hasSharedLock(std::FILE* file)
{
    return ::__flbf(file) != 0;
}

bool isAtPath(int descriptor, const std::string& localPath)
{
    struct stat opened = {};
    struct stat atPath = {};
    return ::fstat(descriptor, &opened) == 0 && ::stat(localPath.c_str(), &atPath) == 0 &&
           opened.st_dev == atPath.st_dev && opened.st_ino == atPath.st_ino;
}

// Two holders of a shared lock could otherwise both see the file at its path; the second would then
// remove the file of a taker that came after the first.
bool isOnlyRemover(int descriptor)
{
    struct flock removal = {};
    removal.l_type = F_WRLCK;
    const bool isTaken =
        ::fcntl(descriptor, F_OFD_SETLK, &removal) != 0 && (errno == EAGAIN || errno == EACCES);
    return !isTaken;
}

}  // namespace

LockFailure LockedFile::take(const std::string& localPath, bool isShared)
{
    for (int attempt = 0;; ++attempt) {
        StandardFile file = openFile(localPath, mWasThere);
        if (file == nullptr) return {"Fail to open lock file in w+, ", errno};
        const char* const failure = mWasThere ? "Fail to acquire lock on existing file, "
                                              : "Fail to set lock on created file, ";
        const int descriptor = ::fileno(file.get());
        const bool isSharedLock = isShared && mWasThere;
        if (!changeLock(descriptor, (isSharedLock ? LOCK_SH : LOCK_EX) | LOCK_NB))
            return {failure, errno};
        if (!isAtPath(descriptor, localPath)) {
            if (attempt < kMaxAttempts) continue;
            return {failure, EWOULDBLOCK};
        }
        markLockOfForkedChild(descriptor);
        markKindOfLock(file.get(), isSharedLock);
        mFile = std::move(file);
        return {};
    }
}

bool isLockOfParent(int descriptor)
{
    if (!isForkedSinceLoad()) return false;
    // 0 for a file without an owner, and for one whose owner has ended.
    const int owner = ::fcntl(descriptor, F_GETOWN);
    return owner >= 0 && owner != qzSystemUtils::GetCurrentProcessID();
}

bool unlockFile(int descriptor)
{
    return changeLock(descriptor, LOCK_UN);
}

bool mayRemoveLocked(std::FILE* file, const std::string& localPath)
{
    const int descriptor = ::fileno(file);
    return (!hasSharedLock(file) || isOnlyRemover(descriptor)) && isAtPath(descriptor, localPath);
}

}  // namespace qz::system
