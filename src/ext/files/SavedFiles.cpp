// SPDX-License-Identifier: MIT
// Files that are saved as a whole.

#include <cerrno>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <qz/ext/SafeFiles.h>
#include <qz/qzIniFile.h>

#include "WorkFile.h"
#include "base/CancellationBlock.h"
#include "base/FileDescriptor.h"
#include "base/LocalText.h"
#include "base/Restart.h"

namespace qz::ext {

namespace {

constexpr std::size_t kCopyBufferSize = 262144;
constexpr mode_t kPermissions = 0777;

bool copyOldContent(WorkFile& file, const std::string& path, SystemFailure& failure)
{
    const Target& target = file.getTarget();
    const FileDescriptor old(restart([&] {
        return ::openat(target.folder.get(), target.name.c_str(),
                        O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    }));
    if (!old.isOpen()) return fail(&failure, "open " + path, errno);
    return file.copyFrom(old.get(), path, failure);
}

bool saveIni(WorkFile& file, const std::string& path, const qzVariant::qzVariantMapImpl& map,
             bool merge, SystemFailure& failure)
{
    if (!file.open(path, failure)) return false;
    const bool isMerging = merge && file.getTarget().status.has_value();
    if (isMerging && !copyOldContent(file, path, failure)) return false;
    // By the descriptor, because another file can't take the place of that. Those of "self" are the
    // descriptors of the main thread, which may have ended or have others than this thread.
    const std::string workPath = "/proc/thread-self/fd/" + std::to_string(file.getDescriptor());
    errno = 0;
    if (!SaveIniFile(workPath, map, isMerging))
        return fail(&failure, "save of the values for " + path, errno != 0 ? errno : EINVAL);
    return file.commit(failure);
}

bool copyAll(qzIoDevice& source, AtomicFile& file)
{
    std::vector<char> buffer(kCopyBufferSize);
    while (source.good() && !source.atEnd()) {
        const unsigned long count = source.readBytes(buffer.data(), buffer.size());
        // More than requested is what a -1 of a system call becomes in a careless device.
        if (count > buffer.size()) return false;
        if (count == 0) break;
        if (file.writeBytes(buffer.data(), count) != count) return false;
    }
    return source.good() && source.atEnd();
}

FileDescriptor openSource(const std::string& path, struct stat& status, SystemFailure& failure)
{
    const std::string localPath = toLocal(path);
    const auto refuse = [&](const char* step, int error) {
        fail(&failure, step + path, error);
        return FileDescriptor();
    };
    if (localPath.empty()) return refuse("conversion of the path ", EILSEQ);
    // Not to wait for the other end of a pipe.
    FileDescriptor source(restart(
        [&] { return ::open(localPath.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
    if (!source.isOpen()) return refuse("open ", errno);
    if (::fstat(source.get(), &status) != 0) return refuse("fstat ", errno);
    if (S_ISDIR(status.st_mode)) return refuse("copy ", EISDIR);
    if (!S_ISREG(status.st_mode)) return refuse("copy ", EINVAL);
    return source;
}

bool copyFile(const std::string& sourcePath, const std::string& targetPath, SystemFailure& failure)
{
    struct stat status = {};
    const FileDescriptor source = openSource(sourcePath, status, failure);
    WorkFile file;
    if (!source.isOpen() || !file.open(targetPath, failure)) return false;
    const auto& old = file.getTarget().status;
    if (old && old->st_dev == status.st_dev && old->st_ino == status.st_ino)
        return fail(&failure, "copy of a file onto itself, " + targetPath, EINVAL);
    if (!file.copyFrom(source.get(), sourcePath, failure)) return false;
    file.setMode(status.st_mode & kPermissions);
    return file.commit(failure);
}

}  // namespace

bool saveIniFileAtomically(const std::string& path, const qzVariant::qzVariantMapImpl& map,
                           bool merge, SystemFailure* failure)
{
    // Devices of the first library close their files when they are destroyed, where a cancellation
    // would end the process.
    const CancellationBlock noCancellation;
    WorkFile file;
    SystemFailure reason;
    return saveIni(file, path, map, merge, reason) ||
           fail(failure, std::move(reason.step), reason.error);
}

bool saveDeviceAtomically(const std::string& path, qzIoDevice& source, SystemFailure* failure)
{
    AtomicFile file;
    if (!file.openUtf8(path, failure)) return false;
    if (copyAll(source, file)) return file.commit(failure);
    const SystemFailure& reason = file.getFailure();
    if (reason) return fail(failure, reason.step, reason.error);
    const std::string message = source.getDeviceErrorMsg();
    return fail(failure,
                "read of the device for " + path + (message.empty() ? "" : " (" + message + ")"),
                EIO);
}

bool copyFileChecked(const std::string& sourcePath, const std::string& targetPath,
                     SystemFailure* failure)
{
    SystemFailure reason;
    return copyFile(sourcePath, targetPath, reason) ||
           fail(failure, std::move(reason.step), reason.error);
}

}  // namespace qz::ext
