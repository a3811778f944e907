// SPDX-License-Identifier: MIT
#include "PrivateFolder.h"

#include <cerrno>
#include <cstdlib>

#include <sys/stat.h>
#include <unistd.h>

#include "LocalText.h"

namespace qz::ext {

namespace {

constexpr std::size_t kMaxNameBytes = 100;

bool isNameAllowed(const std::string& name)
{
    return !name.empty() && name.size() <= kMaxNameBytes && name[0] != '.' &&
           name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
}

bool isPrivate(const std::string& folder, SystemFailure* failure)
{
    struct stat status = {};
    if (::lstat(folder.c_str(), &status) != 0) return fail(failure, "lstat " + folder, errno);
    if (!S_ISDIR(status.st_mode)) return fail(failure, "use of the folder " + folder, ENOTDIR);
    if (status.st_uid != ::geteuid() || (status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        return fail(failure, "use of the folder " + folder + ", which others may enter", EPERM);
    return true;
}

}  // namespace

bool findPrivatePath(const std::string& name, const char* suffix, std::string& localPath,
                     SystemFailure* failure)
{
    if (!isNameAllowed(name)) return fail(failure, "use of the name '" + name + "'", EINVAL);
    const std::string localName = toLocal(name);
    if (localName.empty()) return fail(failure, "conversion of the name '" + name + "'", EILSEQ);
    std::string folder;
    const char* const runtimeFolder = std::getenv("XDG_RUNTIME_DIR");
    if (runtimeFolder != nullptr && runtimeFolder[0] == '/') {
        folder = runtimeFolder;
    } else {
        folder = "/tmp/" + localName + "-" + std::to_string(::geteuid());
        if (::mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST)
            return fail(failure, "mkdir " + folder, errno);
    }
    if (!isPrivate(folder, failure)) return false;
    localPath = folder + "/" + localName + suffix;
    return true;
}

}  // namespace qz::ext
