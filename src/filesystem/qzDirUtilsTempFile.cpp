#include <cstdlib>

#include <unistd.h>

#include <qz/qzDirUtils.h>

#include "LocalPath.h"

namespace qz {

std::string qzDirUtils::GetTempFileUtf8(const std::string& folder, const std::string& prefix)
{
    return GetTempFileUtf8(folder, prefix, "");
}

std::string qzDirUtils::GetTempFileUtf8(const std::string& folder, const std::string& prefix,
                                        const std::string& suffix)
{
    std::string localPath = filesystem::toLocal(folder + "/" + prefix + "XXXXXX" + suffix);
    const int descriptor = ::mkstemp(localPath.data());
    if (descriptor < 0) return {};
    ::close(descriptor);
    return filesystem::fromLocal(localPath.c_str());
}

}  // namespace qz
