#include <tuple>

#include <sys/stat.h>

#include <qz/qzDirUtils.h>

#include "text/LocalPath.h"

namespace qz {

namespace {

auto getNumbers(const qzFileInfoUtf8& info)
{
    return std::make_tuple(info.lastAccessTime, info.lastStatusChangeTime,
                           info.lastModificationTime, info.size);
}

auto getBits(const qzFileInfoUtf8& info)
{
    return std::make_tuple(bool(info.exists), bool(info.isFile), bool(info.isDirectory));
}

}  // namespace

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

}  // namespace qz
