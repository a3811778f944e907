#include <sys/stat.h>

#include <qz/qzDirUtils.h>

#include "text/LocalPath.h"

namespace qz {

bool qzDirUtils::FileExistsUtf8(const std::string& path)
{
    struct stat status = {};
    return ::stat(text::toLocal(path).c_str(), &status) == 0 && (status.st_mode & S_IFMT) != 0;
}

bool qzDirUtils::DirExistsUtf8(const std::string& path)
{
    struct stat status = {};
    return ::stat(text::toLocal(SimplifyPath(path)).c_str(), &status) == 0 &&
           S_ISDIR(status.st_mode);
}

}  // namespace qz
