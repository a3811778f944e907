#include <cstdio>

#include <qz/SystemError.h>
#include <qz/qzDirUtils.h>

#include "frame/base/ErrnoPreserver.h"
#include "text/LocalPath.h"

namespace qz {

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

}  // namespace qz
