// SPDX-License-Identifier: MIT
#include "WorkFile.h"

#include <cerrno>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <qz/ext/SecureRandom.h>

#include "AccessList.h"
#include "base/CancellationBlock.h"
#include "base/FileDescriptor.h"
#include "base/LocalText.h"
#include "base/Restart.h"

namespace qz::ext {

namespace {

constexpr std::size_t kCopyBufferSize = 262144;
constexpr mode_t kAllModeBits = 07777;
constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
constexpr mode_t kAnyNewFile = 0666;

// Nobody can guess the name, so nobody can put something there before.
bool chooseName(std::string& name)
{
    try {
        name = ".saving-" + SecureRandom::MakeName();
        return true;
    } catch (const std::system_error& refusal) {
        errno = refusal.code().value();
        return false;
    }
}

int createFile(int folder, const std::string& name, mode_t mode)
{
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    return restart([&] { return ::openat(folder, name.c_str(), kFlags, mode); });
}

}  // namespace

bool WorkFile::refuse(const char* step, int error, SystemFailure& failure) const
{
    return fail(&failure, step + mPath, error);
}

bool WorkFile::open(const std::string& path, SystemFailure& failure)
{
    // A file must not be lost between its creation and its owner.
    const CancellationBlock noCancellation;
    discard();
    mPath = path;
    mChosenMode.reset();
    mIsInPlace = false;
    const std::string localPath = toLocal(path);
    if (localPath.empty()) return fail(&failure, "conversion of the path '" + path + "'", EILSEQ);
    if (!findTarget(localPath, mTarget, failure)) return false;
    if (!mTarget.status) return findNewMode(failure) && make(failure);
    mMode = mTarget.status->st_mode & kAllModeBits;
    // A rename doesn't require this right, but a file that is protected from writing stays.
    if (::faccessat(mTarget.folder.get(), mTarget.name.c_str(), W_OK,
                    AT_EACCESS | AT_SYMLINK_NOFOLLOW) != 0)
        return refuse("write to ", errno, failure);
    // Again at the end, but a caller should know before it writes much.
    return make(failure) && takeOwner(failure);
}

// The umask of the process can only be read by changing it, and the folder may have a default
// access control list. So the system decides on an empty file. The work file itself would be
// readable by others until its mode is changed.
bool WorkFile::findNewMode(SystemFailure& failure)
{
    std::string name;
    if (!chooseName(name)) return refuse("choose a name beside ", errno, failure);
    const FileDescriptor sample(createFile(mTarget.folder.get(), name, kAnyNewFile));
    if (!sample.isOpen()) return refuse("create a file beside ", errno, failure);
    struct stat status = {};
    const int error = ::fstat(sample.get(), &status) != 0 ? errno : 0;
    if (::unlinkat(mTarget.folder.get(), name.c_str(), 0) != 0)
        return refuse("unlink a file beside ", errno, failure);
    if (error != 0) return refuse("fstat a file beside ", error, failure);
    mMode = status.st_mode & kAllModeBits;
    return true;
}

bool WorkFile::make(SystemFailure& failure)
{
    if (!chooseName(mName)) return refuse("choose a name beside ", errno, failure);
    bool isMade = false;
    mMakersProcess = ::getpid();
    mFile = OwnDescriptor::Open([&] {
        const int file = createFile(mTarget.folder.get(), mName, kOwnerOnly);
        isMade = file >= 0;
        return file;
    });
    // A reader by the path of the descriptor needs rights, which the umask may have taken.
    if (mFile.isOpen() && ::fchmod(mFile.get(), kOwnerOnly) == 0) return true;
    const int error = errno;
    // A process without standard streams may have no descriptor left above them.
    if (isMade) ::unlinkat(mTarget.folder.get(), mName.c_str(), 0);
    return refuse("create a file beside ", error, failure);
}

bool WorkFile::takeOwner(SystemFailure& failure)
{
    if (::fchown(mFile.get(), mTarget.status->st_uid, mTarget.status->st_gid) == 0) return true;
    return refuse("fchown to the owner of ", errno, failure);
}

// With a list, the bits of the group in the mode are the most that the list gives to anybody. As
// the mode of a file without one they would be new rights, and so would a list that the new file
// has from its folder.
bool WorkFile::takeAccessList(SystemFailure& failure)
{
    if (mChosenMode) return true;
    const auto list = readAccessList(mTarget.folder.get(), mTarget.name);
    return !list || writeAccessList(mFile.get(), *list) ||
           refuse("access control list for ", errno, failure);
}

bool WorkFile::write(std::string_view bytes, SystemFailure& failure)
{
    while (!bytes.empty()) {
        const ssize_t count =
            restart([&] { return ::write(mFile.get(), bytes.data(), bytes.size()); });
        if (count <= 0) return refuse("write for ", count < 0 ? errno : EIO, failure);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

bool WorkFile::copyFrom(int source, const std::string& sourcePath, SystemFailure& failure)
{
    std::vector<char> buffer(kCopyBufferSize);
    while (true) {
        const ssize_t count = restart([&] { return ::read(source, buffer.data(), buffer.size()); });
        if (count < 0) return fail(&failure, "read " + sourcePath, errno);
        if (count == 0) return true;
        if (!write({buffer.data(), static_cast<std::size_t>(count)}, failure)) return false;
    }
}

// After an fsync without a failure, a close has nothing to report.
bool WorkFile::commit(SystemFailure& failure)
{
    const CancellationBlock noCancellation;
    if (!isOpen()) return refuse("commit to ", EBADF, failure);
    const int folder = mTarget.folder.get();
    const int statusError = updateStatus(mTarget);
    if (statusError != 0) return refuse("stat ", statusError, failure);
    if (mTarget.status) {
        if (!takeOwner(failure) || !takeAccessList(failure)) return false;
        mMode = mTarget.status->st_mode & kAllModeBits;
    }
    // After the owner and the list, because a change of these changes bits of the mode.
    if (::fchmod(mFile.get(), mChosenMode.value_or(mMode)) != 0)
        return refuse("fchmod for ", errno, failure);
    if (restart([&] { return ::fsync(mFile.get()); }) != 0)
        return refuse("fsync for ", errno, failure);
    if (::renameat(folder, mName.c_str(), folder, mTarget.name.c_str()) != 0)
        return refuse("rename to ", errno, failure);
    mIsInPlace = true;
    // EINVAL is from file systems that need no fsync of a folder, or have none.
    if (restart([&] { return ::fsync(folder); }) != 0 && errno != EINVAL)
        return refuse("fsync of the folder of ", errno, failure);
    discard();
    return true;
}

void WorkFile::discard()
{
    const int savedErrno = errno;
    // In children of _Fork and of the bare system call, which run no handlers, the file is open
    // too.
    const bool isOwn = mMakersProcess == ::getpid();
    if (isOpen() && !mIsInPlace && isOwn) ::unlinkat(mTarget.folder.get(), mName.c_str(), 0);
    mFile.close();
    mTarget.folder.close();
    errno = savedErrno;
}

}  // namespace qz::ext
