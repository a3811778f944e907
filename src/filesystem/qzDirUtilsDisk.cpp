#include <sys/stat.h>
#include <sys/statvfs.h>

#include <qz/qzDirUtils.h>

#include "text/LocalPath.h"

namespace qz {

bool qzDirUtils::GrantAllFilePermissionsUtf8(const std::string& path)
{
    const std::string localPath = text::toLocal(path);
    struct stat status = {};
    if (::stat(localPath.c_str(), &status) != 0) return false;
    return ::chmod(localPath.c_str(), (status.st_mode & ALLPERMS) | ACCESSPERMS) == 0;
}

unsigned long qzDirUtils::GetAvailableDiskSizeUtf8(const std::string& path, std::string& errorMsg)
{
    // Cleared last: the path may be the same text.
    struct statvfs64 status = {};
    const bool isThere = ::statvfs64(text::toLocal(path).c_str(), &status) == 0;
    errorMsg.clear();
    return isThere ? status.f_bsize * status.f_bfree : 0;
}

std::string qzDirUtils::GetActualPathNameUtf8(const std::string& path)
{
    return path;
}

}  // namespace qz
