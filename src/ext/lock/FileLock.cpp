// SPDX-License-Identifier: MIT
#include <qz/ext/FileLock.h>

#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "LockLine.h"
#include "base/LocalText.h"
#include "base/OwnDescriptor.h"
#include "base/Restart.h"
#include "base/WaitLimit.h"

namespace qz::ext {

namespace {

constexpr mode_t kMode = S_IRUSR | S_IWUSR;
// A link or a device at the path must neither be followed nor be waited for.
constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
// So often may the file be replaced during one attempt.
constexpr int kMaxReplacements = 100;

// A file that exists is opened without O_CREAT: in a folder like /tmp, the system may refuse that
// flag for a file of another user.
OwnDescriptor openFile(const std::string& path)
{
    return OwnDescriptor::Open([&] {
        for (int i = 0; i < kMaxReplacements; ++i) {
            const int found = restart([&] { return ::open(path.c_str(), O_RDWR | kFlags); });
            if (found >= 0 || errno != ENOENT) return found;
            const int made = restart(
                [&] { return ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | kFlags, kMode); });
            if (made >= 0 || errno != EEXIST) return made;
        }
        errno = ESTALE;
        return -1;
    });
}

int setLock(int file, short type)
{
    struct flock range = {};  // the whole file
    range.l_type = type;
    range.l_whence = SEEK_SET;
    return restart([&] { return ::fcntl(file, F_OFD_SETLK, &range); });
}

bool isAtPath(int file, const std::string& path, struct stat& opened)
{
    struct stat found = {};
    return ::fstat(file, &opened) == 0 && ::lstat(path.c_str(), &found) == 0 &&
           opened.st_dev == found.st_dev && opened.st_ino == found.st_ino;
}

// If it fails, the text is empty and `errno` is set.
bool readStart(int file, std::string& text)
{
    text.resize(kMaxLockLineBytes);
    const ssize_t count = restart([&] { return ::pread(file, text.data(), text.size(), 0); });
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return count >= 0;
}

// Nobody, if the file can't be read.
LockHolder readHolder(int file)
{
    std::string text;
    readStart(file, text);
    return parseLockLine(text);
}

// A line that can't be written whole is left out: an old one would name somebody else.
void describeHolder(int file, const std::string& oldText)
{
    const std::string line = formatLockLine({::getpid(), program_invocation_short_name});
    if (oldText == line) return;
    const ssize_t written = restart([&] { return ::pwrite(file, line.data(), line.size(), 0); });
    const bool isWhole = written == static_cast<ssize_t>(line.size());
    [[maybe_unused]] const int cut =
        ::ftruncate(file, isWhole ? static_cast<off_t>(line.size()) : 0);
}

// Why a lock was refused.
SystemFailure describeRefusal(int file, int error)
{
    if (error != EAGAIN && error != EACCES) return {{}, error};
    const LockHolder holder = readHolder(file);
    if (holder.pid == 0) return {{}, EAGAIN};
    return {", held by process " + std::to_string(holder.pid) + " (" + holder.program + ")",
            EAGAIN};
}

}  // namespace

struct FileLock::Held {
    OwnDescriptor file;
    std::string localPath;
};

FileLock::FileLock() noexcept = default;
FileLock::FileLock(FileLock&&) noexcept = default;

FileLock::~FileLock()
{
    unlock();
}

FileLock& FileLock::operator=(FileLock&& other) noexcept
{
    FileLock taken(std::move(other));
    std::swap(mHeld, taken.mHeld);
    return *this;
}

bool FileLock::tryLocal(const std::string& path, Mode mode, SystemFailure* failure)
{
    const auto refuse = [&](const std::string& detail, int error) {
        return fail(failure, "lock " + toUtf8(path) + detail, error);
    };
    if (isLocked()) return refuse({}, EDEADLK);
    for (int i = 0; i < kMaxReplacements; ++i) {
        OwnDescriptor opened = openFile(path);
        if (!opened.isOpen()) return refuse({}, errno);
        const int file = opened.get();
        if (setLock(file, mode == Shared ? F_RDLCK : F_WRLCK) != 0) {
            const SystemFailure reason = describeRefusal(file, errno);
            return refuse(reason.step, reason.error);
        }
        struct stat status = {};
        if (!isAtPath(file, path, status)) continue;
        if (!S_ISREG(status.st_mode)) return refuse(", no regular file", EINVAL);
        if (status.st_nlink != 1) return refuse({}, EMLINK);
        std::string text;
        // Unread, a file that is no lock file would be overwritten.
        if (!readStart(file, text)) return refuse({}, errno);
        if (!isLockText(text)) return refuse(", no lock file", EINVAL);
        describeHolder(file, text);
        mHeld = std::make_unique<Held>(Held{std::move(opened), path});
        return true;
    }
    return refuse(", replaced again and again", ESTALE);
}

bool FileLock::tryLockUtf8(const std::string& path, Mode mode, SystemFailure* failure)
{
    return lockUtf8(path, mode, /*timeoutMs=*/0, /*cancel=*/nullptr, failure);
}

// The wait polls, because the cancel request can only be polled. A blocking call of the system
// would need a signal to end it, and signals belong to the application, or a thread that nobody can
// join. An attempt takes some microseconds, so that a waiting process uses some 0.2 % of a
// processor. With longer pauses a process misses the short times in which a lock in demand is free:
// where 8 processes held it for 1 ms and then did without it for 1 ms, pauses of up to 10 ms made
// some waits as long as 1 s.
bool FileLock::lockUtf8(const std::string& path, Mode mode, int timeoutMs,
                        const qzCancelInterfaceReadOnly* cancel, SystemFailure* failure)
{
    using std::chrono::microseconds;
    constexpr microseconds kFirstPause(100);
    constexpr microseconds kLongestPause(2000);
    const std::string localPath = toLocal(path);
    if (localPath.empty()) return fail(failure, "conversion of the path '" + path + "'", EILSEQ);
    const WaitLimit limit(timeoutMs, cancel);
    SystemFailure reason;
    for (microseconds pause = kFirstPause;; pause = std::min(2 * pause, kLongestPause)) {
        if (tryLocal(localPath, mode, &reason)) return true;
        if (reason.error != EAGAIN || timeoutMs == 0) break;
        reason.error = limit.getError();
        if (reason.error != 0) break;
        const int leftMs = limit.getPauseMs();
        std::this_thread::sleep_for(
            leftMs < 0 ? pause : std::min<microseconds>(pause, std::chrono::milliseconds(leftMs)));
    }
    return fail(failure, std::move(reason.step), reason.error);
}

void FileLock::unlock()
{
    // Closing is not enough: a process that another thread is starting may have a copy of the
    // descriptor until it executes its program.
    if (isLocked()) setLock(mHeld->file.get(), F_UNLCK);
    mHeld.reset();
}

bool FileLock::isLocked() const
{
    return mHeld != nullptr && mHeld->file.isOpen();
}

bool FileLock::isFileInPlace() const
{
    struct stat status = {};
    return isLocked() && isAtPath(mHeld->file.get(), mHeld->localPath, status);
}

std::optional<LockHolder> FileLock::FindHolderLocal(const std::string& localPath)
{
    const OwnDescriptor file = OwnDescriptor::Open(
        [&] { return restart([&] { return ::open(localPath.c_str(), O_RDONLY | kFlags); }); });
    if (!file.isOpen()) return std::nullopt;
    struct flock range = {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    if (::fcntl(file.get(), F_OFD_GETLK, &range) != 0 || range.l_type == F_UNLCK)
        return std::nullopt;
    return readHolder(file.get());
}

std::optional<LockHolder> FileLock::FindHolderUtf8(const std::string& path)
{
    return FindHolderLocal(toLocal(path));
}

}  // namespace qz::ext
