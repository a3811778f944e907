#include <cerrno>

#include <sys/stat.h>

#include <qz/qzDirUtils.h>

#include "text/LocalPath.h"

namespace qz {

namespace {

constexpr mode_t kModeBeforeUmask = 0777;

// Somebody else who makes the folder in between makes this fail; nobody is forgiven here.
bool makeFolderUnlessThere(const char* localPath)
{
    struct stat status = {};
    if (::stat(localPath, &status) != 0) return ::mkdir(localPath, kModeBeforeUmask) == 0;
    if (S_ISDIR(status.st_mode)) return true;
    errno = ENOTDIR;
    return false;
}

}  // namespace

bool qzDirUtils::MkpathUtf8(const std::string& path)
{
    std::string localPath = text::toLocal(path);
    std::size_t start = 0;
    for (std::size_t slash = localPath.find('/'); slash != std::string::npos;
         slash = localPath.find('/', start)) {
        // The root and doubled slashes name nothing of their own.
        if (slash != start) {
            localPath[slash] = '\0';
            if (!makeFolderUnlessThere(localPath.c_str())) return false;
            localPath[slash] = '/';
        }
        start = slash + 1;
    }
    return makeFolderUnlessThere(localPath.c_str());
}

}  // namespace qz
