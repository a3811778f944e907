// SPDX-License-Identifier: MIT
#include "AccessList.h"

#include <cerrno>

#include <linux/limits.h>
#include <linux/xattr.h>
#include <sys/xattr.h>

namespace qz::ext {

std::optional<std::string> readAccessList(int folder, const std::string& name)
{
    // No call takes a folder and a name, and a file that may only be written to can't be opened.
    const std::string path = "/proc/thread-self/fd/" + std::to_string(folder) + "/" + name;
    std::string list(XATTR_SIZE_MAX, '\0');
    const ssize_t size =
        ::lgetxattr(path.c_str(), XATTR_NAME_POSIX_ACL_ACCESS, list.data(), list.size());
    if (size < 0 && errno != ENODATA) return std::nullopt;
    list.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return list;
}

bool writeAccessList(int file, const std::string& list)
{
    if (!list.empty())
        return ::fsetxattr(file, XATTR_NAME_POSIX_ACL_ACCESS, list.data(), list.size(), 0) == 0;
    return ::fremovexattr(file, XATTR_NAME_POSIX_ACL_ACCESS) == 0 || errno == ENODATA ||
           errno == EOPNOTSUPP;
}

}  // namespace qz::ext
