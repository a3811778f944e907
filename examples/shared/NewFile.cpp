// SPDX-License-Identifier: MIT
#include "NewFile.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <qz/SystemError.h>

namespace shared {

namespace {

constexpr mode_t kPermissions = 0777;

// Tries names until one is free. @return the descriptor; negative with `errno` set for a failure.
int makeFile(const std::string& path, std::string& workPath)
{
    constexpr int kMostNames = 1000;
    for (int i = 0; i < kMostNames; ++i) {
        workPath = path + ".new-" + std::to_string(::getpid()) + "-" + std::to_string(i);
        // O_EXCL fails for a link as well.
        const int fd = ::open(workPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    return -1;
}

bool fail(std::string& error)
{
    error = qz::SystemError(errno).toString();
    return false;
}

}  // namespace

NewFile::NewFile(const std::string& path) : mPath(path) {}

NewFile::~NewFile()
{
    remove();
}

bool NewFile::make(std::string& error)
{
    const int fd = makeFile(mPath, mWorkPath);
    if (fd < 0) return fail(error);
    mIsMade = true;
    // The system has applied the umask to the new file, so its mode is that of any new file.
    struct stat status = {};
    const bool isMade =
        (::fstat(fd, &status) == 0 && ::fchmod(fd, S_IRUSR | S_IWUSR) == 0) || fail(error);
    ::close(fd);
    struct stat oldStatus = {};
    const bool isReplacing = ::stat(mPath.c_str(), &oldStatus) == 0 && S_ISREG(oldStatus.st_mode);
    mFinalMode = (isReplacing ? oldStatus : status).st_mode & kPermissions;
    return isMade;
}

bool NewFile::moveIntoPlace(std::string& error)
{
    if (::chmod(mWorkPath.c_str(), mFinalMode) != 0) return fail(error);
    if (std::rename(mWorkPath.c_str(), mPath.c_str()) != 0) return fail(error);
    mIsMade = false;
    return true;
}

void NewFile::remove()
{
    if (mIsMade.exchange(false)) ::unlink(mWorkPath.c_str());
}

}  // namespace shared
