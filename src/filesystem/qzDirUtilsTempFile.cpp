#include <cstdlib>

#include <unistd.h>

#include <qz/qzDirUtils.h>

#include "text/LocalPath.h"

namespace qz {

std::string qzDirUtils::GetTempFileUtf8(const std::string& folder, const std::string& prefix)
{
    return GetTempFileUtf8(folder, prefix, "");
}

std::string qzDirUtils::GetTempFileUtf8(const std::string& folder, const std::string& prefix,
                                        const std::string& suffix)
{
    std::string localPath = text::toLocal(folder + "/" + prefix + "XXXXXX" + suffix);
    const int descriptor = ::mkstemp(localPath.data());
    if (descriptor < 0) return {};
    ::close(descriptor);
    return text::fromLocal(text::endAtZeroByte(localPath));
}

}  // namespace qz
