// SPDX-License-Identifier: MIT
#include "Target.h"

#include <cerrno>
#include <climits>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "base/FileDescriptor.h"
#include "base/LocalText.h"
#include "base/Restart.h"

namespace qz::ext {

namespace {

constexpr int kMostLinks = 40;  // as for the system
constexpr int kPlaceFlags = O_PATH | O_CLOEXEC;

// The rule by which the kernel protects links and files in folders such as /tmp
// (fs.protected_symlinks, fs.protected_regular), whether it is set to do so or not: links are
// followed here by hand. The kernel leaves out folders without the sticky bit, where the same
// attack succeeds.
bool isPlanted(int folder, const struct stat& entry)
{
    struct stat status = {};
    if (::fstat(folder, &status) != 0) return true;
    return (status.st_mode & S_IWOTH) != 0 && entry.st_uid != ::geteuid() &&
           entry.st_uid != status.st_uid;
}

// Nothing can be renamed or removed in such a folder, so a new file would stay there.
bool isAppendOnly(int folder)
{
    struct statx status = {};
    return ::statx(folder, "", AT_EMPTY_PATH, /*mask=*/0, &status) == 0 &&
           (status.stx_attributes & STATX_ATTR_APPEND) != 0;
}

// The text of a link of /proc is not always the path of the file that it leads to.
bool isOfProc(int link)
{
    struct statfs status = {};
    return ::fstatfs(link, &status) != 0 || status.f_type == PROC_SUPER_MAGIC;
}

// Reads a link. @return 0, or ENOENT and EINVAL for the end of the way: a name that is free or no
// link; any other error is a failure.
int readLink(int folder, const std::string& name, std::string& text)
{
    const FileDescriptor entry(
        restart([&] { return ::openat(folder, name.c_str(), kPlaceFlags | O_NOFOLLOW); }));
    struct stat status = {};
    if (!entry.isOpen() || ::fstat(entry.get(), &status) != 0) return errno;
    if (!S_ISLNK(status.st_mode)) return EINVAL;
    if (isPlanted(folder, status) || isOfProc(entry.get())) return EACCES;
    text.resize(PATH_MAX);
    const ssize_t size = ::readlinkat(entry.get(), "", text.data(), text.size());
    if (size < 0) return errno == EINVAL ? EIO : errno;
    text.resize(static_cast<std::size_t>(size));
    return 0;
}

bool isFolderName(const std::string& name)
{
    return name.empty() || name == "." || name == "..";
}

}  // namespace

std::pair<std::string, std::string> splitPath(const std::string& localPath)
{
    const std::size_t slash = localPath.rfind('/');
    if (slash == std::string::npos) return {".", localPath};
    return {localPath.substr(0, slash + 1), localPath.substr(slash + 1)};
}

bool findTarget(const std::string& localPath, Target& target, SystemFailure& failure)
{
    const auto refuse = [&](const char* step, int error) {
        return fail(&failure, step + toUtf8(localPath), error);
    };
    FileDescriptor folder;
    std::string path = localPath;
    for (int i = 0; i <= kMostLinks; ++i) {
        const auto [folderPath, name] = splitPath(path);
        if (isFolderName(name)) return refuse("open ", EISDIR);
        const int start = folder.isOpen() ? folder.get() : AT_FDCWD;
        folder = FileDescriptor(restart([&, &from = folderPath] {
            return ::openat(start, from.c_str(), kPlaceFlags | O_DIRECTORY);
        }));
        if (!folder.isOpen()) return refuse("open the folder of ", errno);
        const int error = readLink(folder.get(), name, path);
        if (error == 0) continue;
        if (error != ENOENT && error != EINVAL) return refuse("open ", error);
        // The folder is written to the disk later, for which a place isn't enough.
        target.folder = OwnDescriptor::Open([&] {
            return restart(
                [&] { return ::openat(folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
        });
        if (!target.folder.isOpen()) return refuse("open the folder of ", errno);
        if (isAppendOnly(target.folder.get())) return refuse("replace in its folder ", EPERM);
        target.name = name;
        const int statusError = updateStatus(target);
        return statusError == 0 || refuse("open ", statusError);
    }
    return refuse("open ", ELOOP);
}

int updateStatus(Target& target)
{
    struct stat status = {};
    target.status.reset();
    if (::fstatat(target.folder.get(), target.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? 0 : errno;
    if (S_ISDIR(status.st_mode)) return EISDIR;
    if (S_ISLNK(status.st_mode)) return ELOOP;
    if (!S_ISREG(status.st_mode)) return EINVAL;
    if (isPlanted(target.folder.get(), status)) return EACCES;
    target.status = status;
    return 0;
}

}  // namespace qz::ext
