#include <sys/stat.h>

#include <qz/qzDirUtils.h>
#include <qz/qzStringUtils.h>

namespace qz {

bool qzDirUtils::FileExistsUtf8(const std::string& path)
{
    const std::string localPath = qzStringUtils::convertCharset(path, qzStringUtils::CharSetUtf8,
                                                                qzStringUtils::CharSetLocal);
    struct stat status = {};
    return ::stat(localPath.c_str(), &status) == 0 && (status.st_mode & S_IFMT) != 0;
}

}  // namespace qz
