#include "LockedFile.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "frame/base/FileDescriptor.h"

namespace qz::system {

namespace {

// Each further attempt needs a holder that removes the file between the opening and the lock.
constexpr int kMaxAttempts = 1000;

// Never truncates: the file of another taker must keep its content.
StandardFile openFile(const std::string& localPath, int extraFlags)
{
    FileDescriptor descriptor = FileDescriptor::Open(localPath.c_str(), O_RDWR | extraFlags);
    if (!descriptor.isOpen()) return {};
    StandardFile file(::fdopen(descriptor.get(), "r+"));
    if (file != nullptr) descriptor.release();
    return file;
}

bool changeLock(int descriptor, int operation)
{
    int result = 0;
    do {
        result = ::flock(descriptor, operation);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

// The system keeps the owner with the open file, so that a forked child can tell that the lock is
// its parent's, in every state of the library. Nobody but a forked child needs it, so a failure is
// none of the lock.
void setLockOwner(int descriptor)
{
    ::fcntl(descriptor, F_SETOWN, ::getpid());
}

bool isAtPath(int descriptor, const std::string& localPath)
{
    struct stat opened = {};
    struct stat atPath = {};
    return ::fstat(descriptor, &opened) == 0 && ::stat(localPath.c_str(), &atPath) == 0 &&
           opened.st_dev == atPath.st_dev && opened.st_ino == atPath.st_ino;
}

}  // namespace

LockFailure LockedFile::take(const std::string& localPath, bool isShared)
{
    for (int attempt = 0;; ++attempt) {
        StandardFile file = openFile(localPath, 0);
        mWasThere = file != nullptr;
        if (!mWasThere) file = openFile(localPath, O_CREAT);
        if (file == nullptr) return {"Fail to open lock file in w+, ", errno};
        const char* const failure = mWasThere ? "Fail to acquire lock on existing file, "
                                              : "Fail to set lock on created file, ";
        const int descriptor = ::fileno(file.get());
        const int operation = isShared && mWasThere ? LOCK_SH : LOCK_EX;
        if (!changeLock(descriptor, operation | LOCK_NB)) return {failure, errno};
        if (!isAtPath(descriptor, localPath)) {
            if (attempt < kMaxAttempts) continue;
            return {failure, EWOULDBLOCK};
        }
        setLockOwner(descriptor);
        mFile = std::move(file);
        return {};
    }
}

bool isLockOfParent(int descriptor)
{
    // A file without an owner has another type of owner, and one whose owner has ended has none but
    // the type.
    struct f_owner_ex owner = {};
    return ::fcntl(descriptor, F_GETOWN_EX, &owner) == 0 && owner.type == F_OWNER_PID &&
           owner.pid != ::getpid();
}

bool unlockFile(int descriptor)
{
    return changeLock(descriptor, LOCK_UN);
}

bool mayRemoveLocked(int descriptor, const std::string& localPath)
{
    // Two holders of a shared lock could otherwise both see the file at its path; the second would
    // then remove the file of a taker that came after the first.
    struct flock removal = {};
    removal.l_type = F_WRLCK;
    const bool isTaken =
        ::fcntl(descriptor, F_OFD_SETLK, &removal) != 0 && (errno == EAGAIN || errno == EACCES);
    return !isTaken && isAtPath(descriptor, localPath);
}

}  // namespace qz::system
