// SPDX-License-Identifier: MIT
#include "Tree.h"

#include <cerrno>

#include <unistd.h>

#include <qz/SystemError.h>
#include <qz/qzDirUtils.h>
#include <qz/qzStringUtils.h>

namespace resolve {

namespace {

using qz::qzDirUtils;
using qz::qzStringUtils;
using qz::qzXRefResolverSearchPath;

// The resolver adds a slash to the root, and results begin with that text.
std::string withoutLastSlashes(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

// The resolver treats a root that it can't read as an empty one.
bool checkRoot(const std::string& root, std::string& error)
{
    const std::string localPath = qzStringUtils::convertCharset(root, qzStringUtils::CharSetUtf8,
                                                                qzStringUtils::CharSetLocal);
    errno = 0;
    if (qzDirUtils::DirExistsUtf8(root) && ::access(localPath.c_str(), R_OK | X_OK) == 0)
        return true;
    const int systemError = errno;
    error = systemError != 0 ? qz::SystemError(systemError).toString() : "it is no folder";
    return false;
}

}  // namespace

bool Tree::index(const std::string& root, unsigned long maxFiles, std::string& error)
{
    const std::string cleanRoot = withoutLastSlashes(qzXRefResolverSearchPath::CleanFilePath(root));
    if (!checkRoot(cleanRoot, error)) {
        error = "cannot index '" + root + "': " + error;
        return false;
    }
    error = "cannot index '" + root + "'";
    return mFiles.initializeSearchPath(cleanRoot, /*ancestors=*/{}, maxFiles);
}

qzXRefResolverSearchPath::tMatchResult Tree::find(const std::string& path) const
{
    return mFiles.resolveXRef(path);
}

}  // namespace resolve
