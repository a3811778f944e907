// SPDX-License-Identifier: MIT
#include <cstdio>
#include <cstdlib>
#include <tuple>

#include <sys/stat.h>

#include <qz/SystemError.h>
#include <qz/qzDirUtils.h>

#include "frame/base/ErrnoPreserver.h"
#include "frame/base/FileDescriptor.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

constexpr std::size_t kCopyBlockSize = 8192;

auto getNumbers(const qzFileInfoUtf8& info)
{
    return std::make_tuple(info.lastAccessTime, info.lastStatusChangeTime,
                           info.lastModificationTime, info.size);
}

auto getBits(const qzFileInfoUtf8& info)
{
    return std::make_tuple(bool(info.exists), bool(info.isFile), bool(info.isDirectory));
}

FileDescriptor openFile(const std::string& path, int flags)
{
    return FileDescriptor::Open(text::toLocal(path).c_str(), flags);
}

bool failCopy(std::string* errorMsg, const char* what, const std::string& path)
{
    if (errorMsg != nullptr) *errorMsg = what + path + "'";
    return false;
}

// Compatibility: a copy counts as made once both files are open. Errors of reading and writing are
// ignored, and what can still be written is written.
void copyContent(const FileDescriptor& source, const FileDescriptor& destination)
{
    char block[kCopyBlockSize];
    for (ssize_t got = source.read(block, sizeof block); got > 0;
         got = source.read(block, sizeof block)) {
        destination.write({block, static_cast<std::size_t>(got)});
    }
}

}  // namespace

// --- What a file is

qzFileInfoUtf8::qzFileInfoUtf8()
{
    clearInfos();
}

void qzFileInfoUtf8::clearInfos()
{
    path.clear();
    lastAccessTime = 0;
    lastStatusChangeTime = 0;
    lastModificationTime = 0;
    size = 0;
    exists = false;
    isFile = false;
    isDirectory = false;
}

bool qzFileInfoUtf8::operator==(const qzFileInfoUtf8& other) const
{
    return getNumbers(*this) == getNumbers(other) && getBits(*this) == getBits(other) &&
           path == other.path;
}

void qzDirUtils::GetFileInfoUtf8(const std::string& path, qzFileInfoUtf8& info)
{
    struct stat status = {};
    if (::stat(text::toLocal(path).c_str(), &status) != 0) {
        info.clearInfos();
        return;
    }
    info.path = path;
    info.lastAccessTime = status.st_atim.tv_sec;
    info.lastStatusChangeTime = status.st_ctim.tv_sec;
    info.lastModificationTime = status.st_mtim.tv_sec;
    info.size = static_cast<unsigned long>(status.st_size);
    info.exists = true;
    info.isFile = S_ISREG(status.st_mode);
    info.isDirectory = S_ISDIR(status.st_mode);
}

bool qzDirUtils::FileExistsUtf8(const std::string& path)
{
    struct stat status = {};
    return ::stat(text::toLocal(path).c_str(), &status) == 0 && (status.st_mode & S_IFMT) != 0;
}

std::string qzDirUtils::GetActualPathNameUtf8(const std::string& path)
{
    return path;
}

// --- Changes

bool qzDirUtils::CopyFileUtf8(const std::string& source, const std::string& destination,
                              bool overwrite, std::string* errorMsg)
{
    if (errorMsg != nullptr) errorMsg->clear();
    // Compatibility: users know this text, though the destination is the reason.
    if (!overwrite && FileExistsUtf8(destination))
        return failCopy(errorMsg, "source file is missing '", source);
    const FileDescriptor from = openFile(source, O_RDONLY);
    if (!from.isOpen()) return failCopy(errorMsg, "fail to open source file '", source);
    const FileDescriptor to = openFile(destination, O_WRONLY | O_CREAT | O_TRUNC);
    if (!to.isOpen()) return failCopy(errorMsg, "fail to open destination file '", destination);
    copyContent(from, to);
    return true;
}

bool qzDirUtils::RenameFileUtf8(const std::string& oldPath, const std::string& newPath,
                                std::string* errorMsg)
{
    const std::string oldLocalPath = text::toLocal(oldPath);
    if (std::rename(oldLocalPath.c_str(), text::toLocal(newPath).c_str()) == 0) return true;
    const ErrnoPreserver error;
    if (errorMsg != nullptr) *errorMsg = "rename error " + SystemError(error.get()).toString();
    return false;
}

bool qzDirUtils::RemoveFileUtf8(const std::string& path, std::string* errorMsg)
{
    if (errorMsg != nullptr) errorMsg->clear();
    if (path.empty()) return true;
    if (std::remove(text::toLocal(path).c_str()) == 0) return true;
    const ErrnoPreserver error;
    if (errorMsg != nullptr)
        *errorMsg = "remove error " + SystemError(error.get()).toString() + " for '" + path + "'";
    return false;
}

bool qzDirUtils::GrantAllFilePermissionsUtf8(const std::string& path)
{
    const std::string localPath = text::toLocal(path);
    struct stat status = {};
    if (::stat(localPath.c_str(), &status) != 0) return false;
    return ::chmod(localPath.c_str(), (status.st_mode & ALLPERMS) | ACCESSPERMS) == 0;
}

// --- Temporary files

std::string qzDirUtils::GetTempFileUtf8(const std::string& folder, const std::string& prefix)
{
    return GetTempFileUtf8(folder, prefix, "");
}

std::string qzDirUtils::GetTempFileUtf8(const std::string& folder, const std::string& prefix,
                                        const std::string& suffix)
{
    std::string localPath = text::toLocal(folder + "/" + prefix + "XXXXXX" + suffix);
    const FileDescriptor file(::mkostemp(localPath.data(), O_CLOEXEC));
    if (!file.isOpen()) return {};
    return text::fromLocal(text::endAtZeroByte(localPath));
}

}  // namespace qz
